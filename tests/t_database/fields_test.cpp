// The field engine and settings documents, on a record of the test's own that has every
// kind of field: numbers at their limits, texts, 2-D and 3-D arrays, a group holding a
// group, a table of rows, and members that are not settings.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "fields.h"
#include "settings.h"
#include "t_common.h"
#include "t_json.h"

namespace tdatabase {
namespace {

struct Point {
  int16_t x, y;
};

struct Row {
  uint8_t enabled;
  char label[8];
  Point corner;
  uint32_t hits;  // measured, not a setting
};

struct Sample {
  uint8_t on;
  int8_t i8;
  uint8_t u8;
  int16_t i16;
  uint16_t u16;
  int32_t i32;
  uint32_t u32;
  int64_t i64;
  uint64_t u64;
  float f32;
  double f64;
  char name[16];
  uint64_t matrix[2][3];
  float cube[2][2][3];
  uint8_t flags[2][2];
  Row best;
  Row rows[3];
  const void *buffer;  // transient, not a setting
};

const Field kPointFields[] = {field("x", &Point::x), field("y", &Point::y)};
const Layout kPointLayout = layoutOf<Point>(kPointFields);

const Field kRowFields[] = {
    boolean("enabled", &Row::enabled),
    text("label", &Row::label),
    group("corner", &Row::corner, kPointLayout),
};
const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kSampleFields[] = {boolean("on", &Sample::on),
                               field("i8", &Sample::i8),
                               field("u8", &Sample::u8),
                               field("i16", &Sample::i16),
                               field("u16", &Sample::u16),
                               field("i32", &Sample::i32),
                               field("u32", &Sample::u32),
                               field("i64", &Sample::i64),
                               field("u64", &Sample::u64),
                               field("f32", &Sample::f32),
                               field("f64", &Sample::f64),
                               text("name", &Sample::name),
                               field("matrix", &Sample::matrix),
                               field("cube", &Sample::cube),
                               boolean("flags", &Sample::flags),
                               group("best", &Sample::best, kRowLayout),
                               table("rows", &Sample::rows, kRowLayout)};
const Layout kSampleLayout = layoutOf<Sample>(kSampleFields);

const RecordType kSampleType = {"T", kSampleLayout, nullptr};  // (defaults are not used here)
const RecordType kPointType = {"PT", kPointLayout, nullptr};
const RecordType *const kTypes[] = {&kSampleType, &kPointType};
const Point kFilledPoint = {-3, 7};

Sample zeroSample() {
  Sample sample;
  std::memset(&sample, 0, sizeof(sample));  // padding too, so records compare bytewise
  return sample;
}

Sample filledSample() {
  Sample s = zeroSample();
  s.on = s.flags[0][1] = s.flags[1][0] = 1;
  s.i8 = INT8_MIN;
  s.u8 = UINT8_MAX;
  s.i16 = INT16_MIN;
  s.u16 = UINT16_MAX;
  s.i32 = INT32_MIN;
  s.u32 = UINT32_MAX;
  s.i64 = INT64_MIN;
  s.u64 = UINT64_MAX;
  s.f32 = 0.1f;
  s.f64 = -1.0 / 3.0;
  std::strcpy(s.name, "say \"hi\"\\\n\t\xc3\xa9");
  const uint64_t matrix[2][3] = {{UINT64_MAX, 1, 0}, {7, INT64_MAX, 123456}};
  std::memcpy(s.matrix, matrix, sizeof(matrix));
  const float cube[2][2][3] = {{{FLT_MAX, -FLT_MAX, FLT_MIN}, {1e-45f, 3.14159265f, -2.5f}},
                               {{-0.0f, 1e30f, 7.0f}, {-FLT_MIN, 0.5f, 1e-40f}}};
  std::memcpy(s.cube, cube, sizeof(cube));
  s.best.enabled = 1;
  std::memcpy(s.best.label, "best-row", sizeof(s.best.label));  // fills it: no NUL
  s.best.corner = {INT16_MIN, INT16_MAX};
  for (int r = 0; r < 3; ++r) {
    s.rows[r].enabled = r % 2;
    std::snprintf(s.rows[r].label, sizeof(s.rows[r].label), "row-%d", r);
    s.rows[r].corner = {static_cast<int16_t>(r * 100), static_cast<int16_t>(-r)};
  }
  return s;
}

template <typename Record>
bool sameBytes(const Record &left, const Record &right) {
  return std::memcmp(&left, &right, sizeof(Record)) == 0;
}

// The records of kTypes (filled, or all zero), with scratch records for parsing.
struct Records {
  explicit Records(bool isFilled = true)
      : sample(isFilled ? filledSample() : zeroSample()),
        point(isFilled ? kFilledPoint : Point{}) {}
  Sample sample;
  Point point;
  Sample scratchSample = zeroSample();
  Point scratchPoint{};

  std::string print() {
    TJsonWriter *writer = nullptr;
    EXPECT_EQ(TJsonWriter_open(nullptr, &writer), TCOMMON_SUCCESS);
    const void *const records[] = {&sample, &point};
    const char *text = "";
    uint64_t length = 0;
    EXPECT_EQ(writeSettings(kTypes, records, writer, &text, &length), TCOMMON_SUCCESS);
    std::string printed(text, length);
    TJsonWriter_close(&writer);
    return printed;
  }

  uint32_t parse(const std::string &text, std::string &error) {
    void *const records[] = {&sample, &point};
    void *const scratch[] = {&scratchSample, &scratchPoint};
    return parseSettings(kTypes, records, scratch, text.data(), text.data() + text.size(), error);
  }
};

TEST(Settings, RoundTripKeepsEveryValueExactly) {
  Records source;
  const std::string text = source.print();
  // Compact, categories in order, 64-bit integers exact, arrays nested per dimension,
  // groups as objects, tables as arrays of objects.
  for (const char *piece : {R"({"T":{"on":true,"i8":-128,)", R"("u64":18446744073709551615,)",
                            R"("matrix":[[18446744073709551615,1,0],[7,)", R"(]],"cube":[[[)",
                            R"("best":{"enabled":true,"label":"best-row","corner":{"x":-32768,)",
                            R"("corner":{"x":200,"y":-2}}]},"PT":{"x":-3,"y":7}})"}) {
    EXPECT_NE(text.find(piece), std::string::npos) << piece << " not in " << text;
  }

  Records target(false);
  std::string error;
  ASSERT_EQ(target.parse(text, error), TCOMMON_SUCCESS) << error;
  EXPECT_TRUE(sameBytes(target.sample, source.sample));
  EXPECT_TRUE(sameBytes(target.point, kFilledPoint));
  EXPECT_EQ(target.print(), text);
}

TEST(Settings, RefusedDocumentsChangeNothing) {
  struct Case {
    const char *document;
    const char *error;
  };
  const Case cases[] = {
      // The range check: below a signed minimum, above a maximum, negative into unsigned.
      {R"({"T":{"i8":-129}})", "T.i8: -129 is out of range for i8"},
      {R"({"PT":{"x":5},"T":{"i64":9223372036854775808}})",
       "T.i64: 9223372036854775808 is out of range for i64"},
      {R"({"T":{"u32":-1}})", "T.u32: -1 is out of range for u32"},
      {R"({"T":{"u8":1},"PT":{"y":1.5}})", "PT.y: expected an integer, found 1.5"},
      {R"({"T":{"u64":"1"}})", "T.u64: expected an integer, found a string"},
      {R"({"T":{"on":1}})", "T.on: expected true or false, found a number"},
      {R"({"T":{"f64":null}})", "T.f64: expected a number, found null"},
      {R"({"T":{"f32":1e39}})", "T.f32: 1e+39 is out of range for f32"},
      // Numbers where other values are due, and doubles into integers.
      {R"({"T":{"on":0.5}})", "T.on: expected true or false, found a number"},
      {R"({"T":{"name":5}})", "T.name: expected a string, found a number"},
      {R"({"T":{"best":2.5}})", "T.best: expected an object, found a number"},
      {R"({"T":7})", "T: expected an object, found a number"},
      {R"(7.5)", "a settings document is a JSON object, found a number"},
      {R"({"T":{"u8":256.0}})", "T.u8: 256 is out of range for u8"},
      {R"({"T":{"i8":-1e300}})", "T.i8: -1e+300 is out of range for i8"},
      {R"({"T":{"name":"0123456789abcdefg"}})", "T.name: expected at most 16 bytes, found 17"},
      {R"({"T":{"name":"a\u0000b"}})", "T.name: text contains a NUL byte"},
      {R"({"T":{"name":["a"]}})", "T.name: expected a string, found an array"},
      {R"({"T":{"matrix":5}})", "T.matrix: expected an array, found a number"},
      {R"({"T":{"matrix":[[1,2,3],[4,5]]}})", "T.matrix[1]: expected 3 elements, found 2"},
      {R"({"T":{"cube":[[[0,0,0],[0,0,0]],[[0,0,0],[0,true,0]]]}})",
       "T.cube[1][1][1]: expected a number, found a boolean"},
      // Inside runs of numbers: the place of the refused element is counted on.
      {R"({"T":{"matrix":[[1,2,3],[4,-1,6]]}})", "T.matrix[1][1]: -1 is out of range for u64"},
      {R"({"T":{"cube":[[[1,2,3],[4,5,6]],[[7,8,9],[1,2.5,1e39]]]}})",
       "T.cube[1][1][2]: 1e+39 is out of range for f32"},
      {R"({"T":{"best":[]}})", "T.best: expected an object, found an array"},
      {R"({"T":{"rows":[{"corner":{"x":1,"z":2}},{},{}]}})", "T.rows[0].corner.z: unknown field"},
      {R"({"T":null})", "T: expected an object, found null"},
      {R"({"PT":{},"t":{}})", "t: unknown category"},
      // A name given twice in one object, at every level; the second is the refused one.
      {R"({"T":{"u8":1,"u16":2,"u8":1}})", "T.u8: field named twice"},
      {R"({"T":{"best":{"corner":{"x":1,"x":1}}}})", "T.best.corner.x: field named twice"},
      {R"({"T":{"rows":[{},{"label":"a","label":"a"},{}]}})", "T.rows[1].label: field named twice"},
      {R"({"T":{"u8":1},"PT":{"x":1},"T":{}})", "T: category named twice"},
      {R"({"PT":{},"PT":{"x":"no"}})", "PT: category named twice"},
      {R"([{"T":{}}])", "a settings document is a JSON object, found an array"},
      {R"({"T":{"u8":1})", "invalid JSON at byte "},  // and the reader's reason
      // Which refusal wins: the first in document order, but a wrong length refuses its
      // whole array before anything inside it, and invalid JSON outranks everything.
      {R"({"T":{"matrix":[[1,true,3],[4,5]]}})",
       "T.matrix[0][1]: expected an integer, found a boolean"},
      {R"({"T":{"matrix":[[1,true,3],[4,5,6],[7,8,9]]}})",
       "T.matrix: expected 2 elements, found 3"},
      {R"({"T":{"matrix":[[1,2,3,[4]],[4,5,6]]},"X":1})",
       "T.matrix[0]: expected 3 elements, found 4"},
      {R"({"T":{"rows":[{"corner":{"x":true}},{},{},{}],"u8":"x"}})",
       "T.rows: expected 3 elements, found 4"},
      {R"({"T":{"u8":"x"},"X":{}} x)", "invalid JSON at byte "},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.document);
    Records records;
    std::string error;
    EXPECT_EQ(records.parse(c.document, error), TCOMMON_WRONG_CONFIGURATION);
    if (error.rfind("invalid JSON", 0) == 0) {
      EXPECT_EQ(error.rfind(c.error, 0), 0u) << error;
      EXPECT_GT(error.size(), std::strlen(c.error) + 3) << error;
    } else {
      EXPECT_EQ(error, c.error);
    }
    EXPECT_TRUE(sameBytes(records.sample, filledSample()));
    EXPECT_TRUE(sameBytes(records.point, kFilledPoint));
  }
}

TEST(Settings, AcceptsEveryValidFormAndKeepsOmittedFields) {
  Records records;
  // Members in any order, an integral double for an integer, an integer for a float, the
  // upper limits, the shortest text of FLT_MAX (a little above it), a text that fills its
  // field (kept without a NUL), a shorter one (the rest of the field is cleared), a partial
  // group in a group and partial rows (the same member in each); the category left out
  // keeps its values.
  const std::string document = R"({"T":{"u16":0,"i8":127,"i16":32767,"i32":-4.0,
      "i64":9223372036854775807,"f32":3.4028235e38,"f64":-7,"name":"ab",
      "best":{"corner":{"y":1}},"rows":[{"label":"1"},{"label":"1"},{"label":"12345678"}]}})";
  std::string error;
  ASSERT_EQ(records.parse(document, error), TCOMMON_SUCCESS) << error;

  Sample expected = filledSample();
  expected.u16 = 0;
  expected.i8 = INT8_MAX;
  expected.i16 = INT16_MAX;
  expected.i32 = -4;
  expected.i64 = INT64_MAX;
  expected.f32 = FLT_MAX;
  expected.f64 = -7.0;
  std::strncpy(expected.name, "ab", sizeof(expected.name));
  expected.best.corner.y = 1;
  std::memcpy(expected.rows[2].label, "12345678", sizeof(expected.rows[2].label));
  // The same member in sibling rows is no repetition.
  for (int r : {0, 1}) std::strncpy(expected.rows[r].label, "1", sizeof(expected.rows[r].label));
  EXPECT_TRUE(sameBytes(records.sample, expected));
  EXPECT_TRUE(sameBytes(records.point, kFilledPoint));
}

// Array elements take a short cut when their field takes the number as it is. It must take
// exactly the integers the general path takes, every double it takes only where that path
// does, and store the same bytes: every kind of number field, at and beyond its limits.
TEST(Fields, ElementShortCutTakesWhatTheGeneralPathTakes) {
  const int64_t integers[] = {INT64_MIN,
                              INT32_MIN - 1LL,
                              INT32_MIN,
                              INT16_MIN - 1,
                              INT16_MIN,
                              INT8_MIN - 1,
                              INT8_MIN,
                              -1,
                              0,
                              1,
                              INT8_MAX,
                              INT8_MAX + 1,
                              UINT8_MAX,
                              UINT8_MAX + 1,
                              INT16_MAX,
                              INT16_MAX + 1,
                              UINT16_MAX,
                              UINT16_MAX + 1,
                              INT32_MAX,
                              INT32_MAX + 1LL,
                              UINT32_MAX,
                              UINT32_MAX + 1LL,
                              (1LL << 53) + 1,
                              INT64_MAX};
  const double doubles[] = {
      0.0,          -0.0,     0.1,          -2.5,        255.0,
      1e300,        FLT_MAX,  3.4028235e38, kFloatLimit, std::nextafter(kFloatLimit, 0.0),
      -kFloatLimit, HUGE_VAL, -HUGE_VAL,    std::nan("")};
  for (const Field &f : std::span(kSampleFields, 11)) {  // "on" and every number kind
    SCOPED_TRACE(f.name);
    for (const int64_t value : integers) {
      SCOPED_TRACE(value);
      unsigned char fast[8] = {}, general[8] = {};
      FieldError error;
      const bool taken = storeIntegerIfAccepted(f.kind, value, fast);
      EXPECT_EQ(taken, applyInteger(f, value, general, error) == TCOMMON_SUCCESS);
      EXPECT_EQ(std::memcmp(fast, general, sizeof(fast)), 0);
    }
    const bool isFloat = f.kind == Kind::F32 || f.kind == Kind::F64;
    for (const double value : doubles) {
      SCOPED_TRACE(value);
      unsigned char fast[8] = {}, general[8] = {};
      FieldError error;
      const bool taken = storeDoubleIfAccepted(f.kind, value, fast);
      const bool accepted = applyDouble(f, value, general, error) == TCOMMON_SUCCESS;
      EXPECT_TRUE(isFloat ? taken == accepted : !taken);
      if (taken) {
        EXPECT_EQ(std::memcmp(fast, general, sizeof(fast)), 0);
      }
    }
  }
}

TEST(Fields, CopyTakesOnlyTheListedFields) {
  Sample source = filledSample();
  source.buffer = &source;
  source.best.hits = 12;
  source.rows[1].hits = 13;
  Sample destination = zeroSample();
  copyFields(kSampleLayout, &destination, &source);
  // Every setting arrived; the other members are still zero, as in filledSample().
  EXPECT_TRUE(sameBytes(destination, filledSample()));
}

}  // namespace
}  // namespace tdatabase
