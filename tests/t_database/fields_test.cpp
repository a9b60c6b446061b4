// The field engine and settings documents, on a record of the test's own that has every
// kind of field: numbers at their limits, texts, 2-D and 3-D arrays, nested groups and a
// table of rows, next to fields that are not settings.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "fields.h"
#include "settings.h"
#include "t_common.h"
#include "t_json.h"

namespace tdatabase {
namespace {

struct Point {
  int16_t x;
  int16_t y;
};

struct Row {
  uint8_t enabled;
  char label[8];
  float gain[2];
  Point corner;
  uint32_t hits;  // measured, not a setting
};

struct Nested {
  double weight;
  Point points[2];
  uint8_t flags[2][2];
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
  int32_t matrix[2][3];
  float cube[2][2][3];
  Nested nested;
  Row rows[3];
  const void *buffer;    // transient, not a setting
  uint32_t measured[4];  // measured, not a setting
};

const Field kPointFields[] = {field("x", &Point::x), field("y", &Point::y)};
const Layout kPointLayout = layoutOf<Point>(kPointFields);

const Field kRowFields[] = {
    boolean("enabled", &Row::enabled),
    text("label", &Row::label),
    field("gain", &Row::gain),
    group("corner", &Row::corner, kPointLayout),
};
const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kNestedFields[] = {
    field("weight", &Nested::weight),
    table("points", &Nested::points, kPointLayout),
    boolean("flags", &Nested::flags),
};
const Layout kNestedLayout = layoutOf<Nested>(kNestedFields);

const Field kSampleFields[] = {
    boolean("on", &Sample::on),
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
    group("nested", &Sample::nested, kNestedLayout),
    table("rows", &Sample::rows, kRowLayout),
};
const Layout kSampleLayout = layoutOf<Sample>(kSampleFields);

const Sample kSampleDefaults{};
const Point kPointDefaults{};
const RecordType kSampleType = {"T", kSampleLayout, &kSampleDefaults};
const RecordType kPointType = {"PT", kPointLayout, &kPointDefaults};
const RecordType *const kTypes[] = {&kSampleType, &kPointType};

Sample zeroSample() {
  Sample sample;
  std::memset(&sample, 0, sizeof(sample));  // padding too, so records compare bytewise
  return sample;
}

Sample filledSample() {
  Sample s = zeroSample();
  s.on = 1;
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
  const int32_t matrix[2][3] = {{INT32_MAX, -1, 0}, {7, -7, 123456}};
  std::memcpy(s.matrix, matrix, sizeof(matrix));
  const float special[] = {FLT_MAX, -FLT_MAX, FLT_MIN, 1e-45f, 3.14159265f, -2.5f};
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 2; ++j) {
      for (int k = 0; k < 3; ++k) s.cube[i][j][k] = special[(i * 6 + j * 3 + k) % 6] / (1 + i);
    }
  }
  s.nested.weight = 1e300;
  s.nested.points[0] = {-32768, 32767};
  s.nested.points[1] = {12, -34};
  s.nested.flags[0][1] = 1;
  s.nested.flags[1][0] = 1;
  for (int r = 0; r < 3; ++r) {
    s.rows[r].enabled = r % 2;
    std::snprintf(s.rows[r].label, sizeof(s.rows[r].label), "row-%d%s", r, r == 2 ? "xx" : "");
    s.rows[r].gain[0] = 1.0f / (r + 3);
    s.rows[r].gain[1] = -1024.75f * r;
    s.rows[r].corner = {static_cast<int16_t>(r * 100), static_cast<int16_t>(-r)};
  }
  return s;
}

const Point kFilledPoint = {-3, 7};

struct WriterCloser {
  void operator()(TJsonWriter *writer) const { TJsonWriter_close(&writer); }
};

// The record pair of kTypes, with scratch records for parsing.
struct Records {
  Sample sample = zeroSample();
  Point point{};
  Sample scratchSample = zeroSample();
  Point scratchPoint{};

  std::string print() {
    TJsonWriter *opened = nullptr;
    EXPECT_EQ(TJsonWriter_open(nullptr, &opened), TCOMMON_SUCCESS);
    std::unique_ptr<TJsonWriter, WriterCloser> writer(opened);
    const void *const records[] = {&sample, &point};
    const char *text = nullptr;
    uint64_t length = 0;
    EXPECT_EQ(writeSettings(kTypes, records, opened, &text, &length), TCOMMON_SUCCESS);
    return text == nullptr ? std::string() : std::string(text, length);
  }

  uint32_t parse(const std::string &text, std::string &error) {
    void *const records[] = {&sample, &point};
    void *const scratch[] = {&scratchSample, &scratchPoint};
    return parseSettings(kTypes, records, scratch, text.data(), text.data() + text.size(), error);
  }
};

bool sameBytes(const Sample &left, const Sample &right) {
  return std::memcmp(&left, &right, sizeof(Sample)) == 0;
}

TEST(Settings, RoundTripKeepsEveryValueExactly) {
  Records source;
  source.sample = filledSample();
  source.point = kFilledPoint;
  const std::string text = source.print();

  // The shape of the document: compact, categories in order, members named as fields,
  // 64-bit integers exact, arrays nested per dimension, tables as arrays of objects, and
  // nothing of the fields that are not settings.
  for (const char *piece :
       {"{\"T\":{\"on\":true,\"i8\":-128,", "\"u64\":18446744073709551615,",
        "\"i64\":-9223372036854775808,", "\"matrix\":[[2147483647,-1,0],[7,-7,123456]],",
        "\"cube\":[[[", "\"flags\":[[false,true],[true,false]]", "\"rows\":[{\"enabled\":false,",
        "\"corner\":{\"x\":200,\"y\":-2}}]", ",\"PT\":{\"x\":-3,\"y\":7}}"}) {
    EXPECT_NE(text.find(piece), std::string::npos) << piece << " not in " << text;
  }
  for (const char *absent : {"buffer", "measured", "hits", "\n", ": ", ", "}) {
    EXPECT_EQ(text.find(absent), std::string::npos) << absent << " in " << text;
  }

  Records target;
  std::string error;
  ASSERT_EQ(target.parse(text, error), TCOMMON_SUCCESS) << error;
  EXPECT_TRUE(sameBytes(target.sample, source.sample));
  EXPECT_EQ(target.sample.u64, UINT64_MAX);
  EXPECT_EQ(target.sample.i64, INT64_MIN);
  EXPECT_EQ(target.sample.cube[0][0][0], FLT_MAX);
  EXPECT_EQ(target.sample.cube[0][1][0], 1e-45f);
  EXPECT_STREQ(target.sample.name, source.sample.name);
  EXPECT_EQ(target.point.x, kFilledPoint.x);
  EXPECT_EQ(target.point.y, kFilledPoint.y);
  // Printing what was parsed gives the same document again.
  EXPECT_EQ(target.print(), text);
}

TEST(Settings, RefusedDocumentsChangeNothing) {
  struct Case {
    const char *document;
    const char *error;  // the whole text, or its start when isPrefix
    bool isPrefix = false;
  };
  const Case cases[] = {
      {R"({"T":{"u32":4294967296}})", "T.u32: 4294967296 is out of range for u32"},
      {R"({"T":{"u32":-1}})", "T.u32: -1 is out of range for u32"},
      {R"({"T":{"i8":-129}})", "T.i8: -129 is out of range for i8"},
      {R"({"T":{"u8":256}})", "T.u8: 256 is out of range for u8"},
      {R"({"T":{"i16":32768}})", "T.i16: 32768 is out of range for i16"},
      {R"({"T":{"u16":65536}})", "T.u16: 65536 is out of range for u16"},
      {R"({"T":{"i32":-2147483649}})", "T.i32: -2147483649 is out of range for i32"},
      {R"({"T":{"i64":9223372036854775808}})",
       "T.i64: 9223372036854775808 is out of range for i64"},
      {R"({"T":{"u64":-1}})", "T.u64: -1 is out of range for u64"},
      {R"({"T":{"u8":1e3}})", "T.u8: 1000 is out of range for u8"},
      {R"({"T":{"i32":2.5}})", "T.i32: expected an integer, found 2.5"},
      {R"({"T":{"u64":"1"}})", "T.u64: expected an integer, found a string"},
      {R"({"T":{"on":1}})", "T.on: expected true or false, found a number"},
      {R"({"T":{"on":"true"}})", "T.on: expected true or false, found a string"},
      {R"({"T":{"f32":"0.5"}})", "T.f32: expected a number, found a string"},
      {R"({"T":{"f64":null}})", "T.f64: expected a number, found null"},
      {R"({"T":{"f32":1e39}})", "T.f32: 1e+39 is out of range for f32"},
      {R"({"T":{"name":"0123456789abcdef"}})", "T.name: expected at most 15 bytes, found 16"},
      {R"({"T":{"name":"a\u0000b"}})", "T.name: text contains a NUL byte"},
      {R"({"T":{"name":["a"]}})", "T.name: expected a string, found an array"},
      {R"({"T":{"matrix":5}})", "T.matrix: expected an array, found a number"},
      {R"({"T":{"matrix":[[1,2,3]]}})", "T.matrix: expected 2 elements, found 1"},
      {R"({"T":{"matrix":[[1,2,3],[4,5]]}})", "T.matrix[1]: expected 3 elements, found 2"},
      {R"({"T":{"matrix":[[1,2,3],[4,5,[6]]]}})",
       "T.matrix[1][2]: expected an integer, found an array"},
      {R"({"T":{"cube":[[[0,0,0],[0,0,0]],[[0,0,0],[0,true,0]]]}})",
       "T.cube[1][1][1]: expected a number, found a boolean"},
      {R"({"T":{"nested":[]}})", "T.nested: expected an object, found an array"},
      {R"({"T":{"nested":{"bogus":1}}})", "T.nested.bogus: unknown field"},
      {R"({"T":{"nested":{"points":[{"x":1},{"y":40000}]}}})",
       "T.nested.points[1].y: 40000 is out of range for i16"},
      {R"({"T":{"nested":{"flags":[[true,false],[true,0]]}}})",
       "T.nested.flags[1][1]: expected true or false, found a number"},
      {R"({"T":{"rows":[{},{}]}})", "T.rows: expected 3 elements, found 2"},
      {R"({"T":{"rows":[{},{},[]]}})", "T.rows[2]: expected an object, found an array"},
      {R"({"T":{"rows":[{},{},{"label":"too long"}]}})",
       "T.rows[2].label: expected at most 7 bytes, found 8"},
      {R"({"T":{"rows":[{"corner":{"x":1,"z":2}},{},{}]}})", "T.rows[0].corner.z: unknown field"},
      {R"({"T":{"hits":1}})", "T.hits: unknown field"},
      {R"({"T":{"buffer":null}})", "T.buffer: unknown field"},
      {R"({"T":[]})", "T: expected an object, found an array"},
      {R"({"T":null})", "T: expected an object, found null"},
      {R"({"NOPE":{}})", "NOPE: unknown category"},
      {R"({"t":{}})", "t: unknown category"},
      {R"([{"T":{}}])", "a settings document is a JSON object, found an array"},
      {R"("T")", "a settings document is a JSON object, found a string"},
      // Valid categories before the refused one are not applied either.
      {R"({"PT":{"x":5},"T":{"u8":300}})", "T.u8: 300 is out of range for u8"},
      {R"({"T":{"u8":1,"i8":2},"PT":{"y":1.5}})", "PT.y: expected an integer, found 1.5"},
      {R"({"T":{"u8":1})", "invalid JSON at byte ", true},
      {"", "invalid JSON at byte 0: ", true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.document);
    Records records;
    records.sample = filledSample();
    records.point = kFilledPoint;
    const Sample before = records.sample;
    std::string error;
    EXPECT_EQ(records.parse(c.document, error), TCOMMON_WRONG_CONFIGURATION);
    if (c.isPrefix) {
      EXPECT_EQ(error.rfind(c.error, 0), 0u) << error;
      EXPECT_GT(error.size(), std::strlen(c.error)) << "the reader's reason is missing";
    } else {
      EXPECT_EQ(error, c.error);
    }
    EXPECT_TRUE(sameBytes(records.sample, before));
    EXPECT_EQ(records.point.x, kFilledPoint.x);
    EXPECT_EQ(records.point.y, kFilledPoint.y);
  }
}

TEST(Settings, AcceptsEveryValidFormAndKeepsOmittedFields) {
  Records records;
  records.sample = filledSample();
  records.point = kFilledPoint;
  std::string error;
  // Members in any order, integers for floats, integral doubles for integers, the limits
  // of every range, the longest text that fits, an empty category.
  const std::string document = R"({"PT":{},"T":{
      "u64": 18446744073709551615, "i64": -9223372036854775808, "i8": -128, "u8": 255,
      "i16": 32767, "u16": 0, "i32": -4.0, "u32": 4294967295, "f32": 3, "f64": -7,
      "name": "0123456789abcde",
      "nested": {"flags": [[true,true],[false,false]], "points": [{"y": 1}, {"x": 2}]},
      "rows": [{}, {"gain": [2, 0.5]}, {"label": "1234567", "enabled": true}],
      "cube": [[[1e1,0,0],[0,0,0]],[[0,0,0],[0,0,3.4028235e38]]]}})";
  ASSERT_EQ(records.parse(document, error), TCOMMON_SUCCESS) << error;
  const Sample expected = filledSample();
  const Sample &s = records.sample;
  EXPECT_EQ(s.u64, UINT64_MAX);
  EXPECT_EQ(s.i64, INT64_MIN);
  EXPECT_EQ(s.i8, -128);
  EXPECT_EQ(s.u8, 255);
  EXPECT_EQ(s.i16, 32767);
  EXPECT_EQ(s.u16, 0);
  EXPECT_EQ(s.i32, -4);
  EXPECT_EQ(s.u32, UINT32_MAX);
  EXPECT_EQ(s.f32, 3.0f);
  EXPECT_EQ(s.f64, -7.0);
  EXPECT_STREQ(s.name, "0123456789abcde");
  EXPECT_EQ(s.nested.flags[0][1], 1);
  EXPECT_EQ(s.nested.flags[1][0], 0);
  EXPECT_EQ(s.nested.points[0].x, expected.nested.points[0].x);
  EXPECT_EQ(s.nested.points[0].y, 1);
  EXPECT_EQ(s.nested.points[1].x, 2);
  EXPECT_EQ(s.nested.points[1].y, expected.nested.points[1].y);
  EXPECT_EQ(s.rows[1].gain[0], 2.0f);
  EXPECT_EQ(s.rows[1].gain[1], 0.5f);
  EXPECT_STREQ(s.rows[1].label, expected.rows[1].label);
  EXPECT_STREQ(s.rows[2].label, "1234567");
  EXPECT_EQ(s.rows[2].enabled, 1);
  EXPECT_EQ(s.cube[0][0][0], 10.0f);
  EXPECT_EQ(s.cube[1][1][2], FLT_MAX);
  // Left out: unchanged.
  EXPECT_EQ(s.on, expected.on);
  EXPECT_EQ(s.nested.weight, expected.nested.weight);
  EXPECT_EQ(std::memcmp(s.matrix, expected.matrix, sizeof(s.matrix)), 0);
  EXPECT_EQ(records.point.x, kFilledPoint.x);
  EXPECT_EQ(records.point.y, kFilledPoint.y);

  // A shorter text clears the rest of the field, so records compare bytewise.
  ASSERT_EQ(records.parse(R"({"T":{"name":"ab"}})", error), TCOMMON_SUCCESS) << error;
  for (size_t i = 2; i < sizeof(s.name); ++i) EXPECT_EQ(s.name[i], '\0') << i;
}

TEST(Fields, CopyTakesOnlyTheListedFields) {
  Sample source = filledSample();
  source.buffer = &source;
  source.measured[0] = 11;
  source.rows[1].hits = 12;

  const int owned = 0;
  Sample destination = zeroSample();
  destination.buffer = &owned;
  destination.measured[3] = 99;
  destination.rows[1].hits = 77;
  copyFields(kSampleLayout, &destination, &source);

  EXPECT_EQ(destination.buffer, &owned);
  EXPECT_EQ(destination.measured[0], 0u);
  EXPECT_EQ(destination.measured[3], 99u);
  EXPECT_EQ(destination.rows[1].hits, 77u);
  // Every setting arrived: with the non-settings made equal, the records are identical.
  destination.buffer = source.buffer;
  std::memcpy(destination.measured, source.measured, sizeof(source.measured));
  for (int r = 0; r < 3; ++r) destination.rows[r].hits = source.rows[r].hits;
  EXPECT_TRUE(sameBytes(destination, source));

  // Onto itself: nothing changes.
  const Sample before = source;
  copyFields(kSampleLayout, &source, &source);
  EXPECT_TRUE(sameBytes(source, before));
}

}  // namespace
}  // namespace tdatabase
