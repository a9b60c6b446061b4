#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "t_common.h"
#include "t_json.h"

namespace {

struct TreeDeleter {
  void operator()(TJsonValue *value) const { TJsonValue_delete(value); }
};
using Tree = std::unique_ptr<TJsonValue, TreeDeleter>;

class JsonTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TJsonReader_open(&reader_), TCOMMON_SUCCESS);
    ASSERT_EQ(TJsonWriter_open(nullptr, &writer_), TCOMMON_SUCCESS);
  }
  void TearDown() override {
    EXPECT_EQ(TJsonReader_close(&reader_), TCOMMON_SUCCESS);
    EXPECT_EQ(TJsonWriter_close(&writer_), TCOMMON_SUCCESS);
    EXPECT_EQ(reader_, nullptr);
    for (TJsonWriter *&writer : otherWriters_)
      EXPECT_EQ(TJsonWriter_close(&writer), TCOMMON_SUCCESS);
  }

  // A writer with other settings, closed after the test.
  TJsonWriter *openWriter(uint32_t flags, uint32_t indent = 0) {
    TJsonWriterConfiguration configuration{};
    configuration.flags = flags;
    configuration.indent = indent;
    TJsonWriter *writer = nullptr;
    EXPECT_EQ(TJsonWriter_open(&configuration, &writer), TCOMMON_SUCCESS);
    otherWriters_.push_back(writer);
    return writer;
  }
  Tree make(uint32_t type) {
    TJsonValue *value = nullptr;
    EXPECT_EQ(TJsonValue_create(type, &value), TCOMMON_SUCCESS);
    return Tree(value);
  }

  Tree parse(const std::string &text) {
    TJsonValue *value = nullptr;
    const uint32_t result =
        TJsonReader_parse(reader_, text.data(), text.data() + text.size(), &value);
    EXPECT_EQ(result, TCOMMON_SUCCESS) << text;
    return Tree(value);
  }
  std::string print(const TJsonValue *value, TJsonWriter *writer = nullptr) {
    if (writer == nullptr) writer = writer_;
    const char *text = nullptr;
    EXPECT_EQ(TJsonWriter_stringify(writer, value, &text), TCOMMON_SUCCESS);
    uint64_t length = 0;
    EXPECT_EQ(TJsonWriter_length(writer, &length), TCOMMON_SUCCESS);
    if (text == nullptr) return "<no text>";
    EXPECT_EQ(length, std::strlen(text));
    return std::string(text, length);
  }
  TJsonValue *member(TJsonValue *object, const char *name) {
    TJsonValue *found = nullptr;
    EXPECT_EQ(TJsonValue_member(object, name, &found), TCOMMON_SUCCESS) << name;
    return found;
  }
  TJsonValue *path(TJsonValue *value, const char *text) {
    TJsonValue *found = nullptr;
    EXPECT_EQ(TJsonPath(value, text, &found), TCOMMON_SUCCESS) << text;
    return found;
  }
  uint32_t typeOf(const TJsonValue *value) {
    uint32_t type = 99;
    EXPECT_EQ(TJsonValue_type(value, &type), TCOMMON_SUCCESS);
    return type;
  }
  uint64_t sizeOf(const TJsonValue *value) {
    uint64_t size = 99;
    EXPECT_EQ(TJsonValue_size(value, &size), TCOMMON_SUCCESS);
    return size;
  }

  TJsonReader *reader_ = nullptr;
  TJsonWriter *writer_ = nullptr;
  std::vector<TJsonWriter *> otherWriters_;
};

// ---- Reading and printing ----------------------------------------------------------------

TEST_F(JsonTest, ParsedTextsPrintBackCompactAndKeepNumberKinds) {
  constexpr uint32_t kInt = TJSON_TYPE_INTEGER, kUnsigned = TJSON_TYPE_UNSIGNED,
                     kFloat = TJSON_TYPE_FLOAT, kObject = TJSON_TYPE_OBJECT,
                     kString = TJSON_TYPE_STRING;
  struct Case {
    std::string input;
    std::string output;
    uint32_t type;
  };
  const Case cases[] = {
      {R"({"b":1,"a":[true,false,null],"c":{},"d":[]})",
       R"({"b":1,"a":[true,false,null],"c":{},"d":[]})", kObject},
      {" {\n \"a\" :\t[ 1 , 2 ] ,\r\n\"z\":\"\" } ", R"({"a":[1,2],"z":""})", kObject},
      {R"({"a":1,"a":2})", R"({"a":1,"a":2})", kObject},
      {"[[[[]]],{\"x\":[{}]}]", "[[[[]]],{\"x\":[{}]}]", TJSON_TYPE_ARRAY},
      {R"("\u00e9\u20AC\ud83d\ude00")", "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"", kString},
      {R"("\"\\\/\b\f\n\r\t\u0001\u001f")", R"("\"\\/\b\f\n\r\t\u0001\u001F")", kString},
      {R"({"a\u0000b":"c\u0000d"})", R"({"a\u0000b":"c\u0000d"})", kObject},
      {"-9223372036854775808", "-9223372036854775808", kInt},
      {"9223372036854775807", "9223372036854775807", kInt},
      {"4294967296", "4294967296", kInt},
      {"9223372036854775808", "9223372036854775808", kUnsigned},
      {"18446744073709551615", "18446744073709551615", kUnsigned},
      // Beyond 64 bits: a double, printed in the shortest form that reads back the same.
      {"18446744073709551616", "18446744073709553000.0", kFloat},
      {"-9223372036854775809", "-9223372036854776000.0", kFloat},
      {"1e308", "1e308", kFloat},
      {"-1.7976931348623157e308", "-1.7976931348623157e308", kFloat},
      {"5e-324", "5e-324", kFloat},
      {"-0.0", "-0.0", kFloat},
      {"-0", "0", kInt},
      {"1.0", "1.0", kFloat},
      {"1E2", "100.0", kFloat},
      {"123.456e-2", "1.23456", kFloat},
      {"0.10000000149011612", "0.10000000149011612", kFloat},
      {"true", "true", TJSON_TYPE_BOOLEAN},
      {"null", "null", TJSON_TYPE_NULL},
  };
  for (const Case &c : cases) {
    Tree tree = parse(c.input);
    ASSERT_NE(tree, nullptr) << c.input;
    EXPECT_EQ(print(tree.get()), c.output) << c.input;
    EXPECT_EQ(typeOf(tree.get()), c.type) << c.input;
  }
}

TEST_F(JsonTest, DoublesReadBackExactlyInBothPrintModes) {
  TJsonWriter *longWriter = openWriter(TJSON_WRITER_NULL_FOR_ABSENT);

  std::vector<double> numbers = {0.1,     1.0 / 3.0, 2.5e-308, 4.9e-324, 1.7976931348623157e308,
                                 -123.25, 1e21,      1e-7,     65536.0,  static_cast<double>(0.1f)};
  std::mt19937_64 random(20240601);
  while (numbers.size() < 2000) {
    double number;
    const uint64_t bits = random();
    std::memcpy(&number, &bits, sizeof number);
    if (std::isfinite(number)) numbers.push_back(number);
  }
  Tree value = make(TJSON_TYPE_FLOAT);
  for (double number : numbers) {
    ASSERT_EQ(TJsonValue_assignAsFloat(value.get(), number), TCOMMON_SUCCESS);
    for (TJsonWriter *writer : {writer_, longWriter}) {
      const std::string text = print(value.get(), writer);
      Tree back = parse(text);
      ASSERT_NE(back, nullptr) << text;
      EXPECT_EQ(typeOf(back.get()), static_cast<uint32_t>(TJSON_TYPE_FLOAT)) << text;
      double read = 0;
      ASSERT_EQ(TJsonValue_asFloat(back.get(), &read), TCOMMON_SUCCESS);
      EXPECT_EQ(std::memcmp(&read, &number, sizeof number), 0) << text;
    }
  }
}

TEST_F(JsonTest, TextNeedNotBeTerminated) {
  const std::string text = "[1,2]]]garbage";
  TJsonValue *value = nullptr;
  ASSERT_EQ(TJsonReader_parse(reader_, text.data(), text.data() + 5, &value), TCOMMON_SUCCESS);
  Tree tree(value);
  EXPECT_EQ(print(value), "[1,2]");
  // A number that ends exactly at the end of the range.
  const std::string number = "12345";
  ASSERT_EQ(TJsonReader_parse(reader_, number.data(), number.data() + 3, &value), TCOMMON_SUCCESS);
  Tree three(value);
  EXPECT_EQ(print(value), "123");
  EXPECT_EQ(TJsonReader_check(reader_, text.data(), text.data() + 5), TCOMMON_SUCCESS);
}

TEST_F(JsonTest, MalformedTextsAreRefusedWithOffset) {
  struct Case {
    std::string text;
    uint64_t offset;
    const char *error;
  };
  const std::string deepArrays = std::string(257, '[') + std::string(257, ']');
  std::string deepObjects;
  for (int i = 0; i < 257; ++i) deepObjects += "{\"a\":";
  deepObjects += "1" + std::string(257, '}');
  const Case cases[] = {
      {"", 0, "The document is empty."},
      {" \t\r\n", 4, "The document is empty."},
      {"{} x", 3, "The document root must not be followed by other values."},
      {"[1] [2]", 4, "The document root must not be followed by other values."},
      {std::string("{}\0x", 4), 2, "The document root must not be followed by other values."},
      {std::string("\0", 1), 0, "Invalid value."},
      {"01", 1, "The document root must not be followed by other values."},
      {"[1,2", 4, "Missing a comma or ']' after an array element."},
      {"[1,]", 3, "Invalid value."},
      {"{\"a\" 1}", 5, "Missing a colon after a name of object member."},
      {"{a:1}", 1, "Missing a name for object member."},
      {"{\"a\":1,}", 7, "Missing a name for object member."},
      {"{\"a\":1", 6, "Missing a comma or '}' after an object member."},
      {"\"abc", 4, "Missing a closing quotation mark in string."},
      {"\"a\\x\"", 2, "Invalid escape character in string."},
      {"\"\\u12G4\"", 1, "Incorrect hex digit after \\u escape in string."},
      {"\"\\ud800\"", 1, "The surrogate pair in string is invalid."},
      {"\"a\x01\"", 2, "Invalid escape character in string."},
      {"\"\xFF\"", 1, "Invalid encoding in string."},
      {"\"\xC0\xAF\"", 1, "Invalid encoding in string."},
      {"\"\xED\xA0\x80\"", 1, "Invalid encoding in string."},
      {"\"\xE2\x82\"", 1, "Invalid encoding in string."},
      {"1.", 2, "Miss fraction part in number."},
      {"1e", 2, "Miss exponent in number."},
      {"1e400", 0, "Number too big to be stored in double."},
      {"tru", 3, "Invalid value."},
      {"NaN", 0, "Invalid value."},
      {"'a'", 0, "Invalid value."},
      {"[1] // note", 4, "The document root must not be followed by other values."},
      {deepArrays, 256, "Nesting deeper than 256 levels"},
      {deepObjects, 256 * 5, "Nesting deeper than 256 levels"},
  };
  for (const Case &c : cases) {
    const char *begin = c.text.data();
    const char *end = begin + c.text.size();
    TJsonValue *value = reinterpret_cast<TJsonValue *>(&value);  // must be cleared
    EXPECT_EQ(TJsonReader_parse(reader_, begin, end, &value), TCOMMON_PARSE_ERROR) << c.text;
    EXPECT_EQ(value, nullptr);
    uint64_t offset = 99;
    const char *error = nullptr;
    ASSERT_EQ(TJsonReader_error(reader_, &offset, &error), TCOMMON_SUCCESS);
    EXPECT_EQ(offset, c.offset) << c.text;
    EXPECT_STREQ(error, c.error) << c.text;

    // check() agrees; a success in between resets the error.
    Tree fine = parse("{}");
    ASSERT_EQ(TJsonReader_error(reader_, &offset, &error), TCOMMON_SUCCESS);
    EXPECT_EQ(offset, 0u);
    EXPECT_STREQ(error, "No error");
    EXPECT_EQ(TJsonReader_check(reader_, begin, end), TCOMMON_PARSE_ERROR) << c.text;
    ASSERT_EQ(TJsonReader_error(reader_, &offset, &error), TCOMMON_SUCCESS);
    EXPECT_EQ(offset, c.offset) << c.text;
    EXPECT_STREQ(error, c.error) << c.text;
  }
}

TEST_F(JsonTest, NestingUpToTheLimitIsAccepted) {
  const std::string arrays =
      std::string(TJSON_MAX_DEPTH, '[') + "1" + std::string(TJSON_MAX_DEPTH, ']');
  EXPECT_EQ(TJsonReader_check(reader_, arrays.data(), arrays.data() + arrays.size()),
            TCOMMON_SUCCESS);
  Tree tree = parse(arrays);
  EXPECT_EQ(print(tree.get()), arrays);
  // The depth count goes down again: many limit-deep values side by side are fine.
  const std::string siblings =
      "[" + std::string(TJSON_MAX_DEPTH - 1, '[') + std::string(TJSON_MAX_DEPTH - 1, ']') + "," +
      std::string(TJSON_MAX_DEPTH - 1, '[') + std::string(TJSON_MAX_DEPTH - 1, ']') + "]";
  Tree both = parse(siblings);
  EXPECT_EQ(print(both.get()), siblings);
}

TEST_F(JsonTest, LargeDocumentRoundTrips) {
  std::string text = "{\"items\":[";
  for (int i = 0; i < 1500; ++i) {
    if (i != 0) text += ",";
    text += "{\"category\":\"block" + std::to_string(i) + "\",\"key\":\"a rather long key name " +
            std::to_string(i) + "\",\"value\":{\"current\":[" + std::to_string(i) + ",-" +
            std::to_string(i * 7 + 1) + ",0.5," + std::to_string(i) +
            ".25],\"enabled\":" + (i % 2 ? "true" : "false") + ",\"x\":null}}";
  }
  text += "]}";
  ASSERT_GT(text.size(), 100000u);
  Tree tree = parse(text);
  const std::string printed = print(tree.get());
  EXPECT_TRUE(printed == text)
      << "first difference at "
      << std::mismatch(text.begin(), text.end(), printed.begin(), printed.end()).first -
             text.begin();
  int64_t last = 0;
  ASSERT_EQ(TJsonValue_asInteger(path(tree.get(), "items.1499.value.current.0"), &last),
            TCOMMON_SUCCESS);
  EXPECT_EQ(last, 1499);
}

// ---- Absent members ------------------------------------------------------------------------

TEST_F(JsonTest, AbsentValueOfAnItemAppearsOnAssignment) {
  Tree tree = parse(R"({"items":[{"category":"AWB","key":"mode"}]})");
  TJsonValue *item = path(tree.get(), "items.0");
  TJsonValue *value = member(item, "value");
  TJsonValue *current = member(value, "current");
  EXPECT_EQ(typeOf(value), static_cast<uint32_t>(TJSON_TYPE_ABSENT));
  EXPECT_EQ(typeOf(current), static_cast<uint32_t>(TJSON_TYPE_ABSENT));
  EXPECT_EQ(TJsonValue_isEmpty(value), 1);
  EXPECT_EQ(TJsonValue_isEmpty(current), 1);
  EXPECT_EQ(sizeOf(item), 2u);
  // Looked up only: nothing printed, and the same nodes come back.
  EXPECT_EQ(print(tree.get()), R"({"items":[{"category":"AWB","key":"mode"}]})");
  EXPECT_EQ(member(item, "value"), value);
  EXPECT_EQ(member(value, "current"), current);
  EXPECT_EQ(path(tree.get(), "items.0.value.current"), current);

  ASSERT_EQ(TJsonValue_assignAsInteger(current, 5), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()),
            R"({"items":[{"category":"AWB","key":"mode","value":{"current":5}}]})");
  EXPECT_EQ(typeOf(value), static_cast<uint32_t>(TJSON_TYPE_OBJECT));
  EXPECT_EQ(sizeOf(item), 3u);
  EXPECT_EQ(member(item, "value"), value);
}

TEST_F(JsonTest, ContainersThatAreEmptyOrNullGetTheMember) {
  struct Case {
    const char *input;
    const char *output;
  };
  const Case cases[] = {
      {R"({"value":{}})", R"({"value":{"current":1}})"},
      {R"({"value":null,"z":0})", R"({"value":{"current":1},"z":0})"},
      {R"({"value":{},"z":0})", R"({"value":{"current":1},"z":0})"},
      {R"({"value":{"min":0}})", R"({"value":{"min":0,"current":1}})"},
      {R"({"other":2})", R"({"other":2,"value":{"current":1}})"},
      {R"({"value":{"current":"old"}})", R"({"value":{"current":1}})"},
  };
  for (const Case &c : cases) {
    Tree tree = parse(c.input);
    ASSERT_EQ(TJsonValue_assignAsInteger(path(tree.get(), "value.current"), 1), TCOMMON_SUCCESS);
    EXPECT_EQ(print(tree.get()), c.output) << c.input;
  }
}

TEST_F(JsonTest, LookedUpMembersAppearAtTheEndWhenAssigned) {
  Tree tree = parse(R"({"a":1})");
  TJsonValue *late = member(tree.get(), "late");
  TJsonValue *deep = path(tree.get(), "x.y.z");
  ASSERT_EQ(TJsonValue_addValueToObject(tree.get(), "b", make(TJSON_TYPE_STRING).release()),
            TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"a":1,"b":""})");
  EXPECT_EQ(sizeOf(tree.get()), 2u);
  ASSERT_EQ(TJsonValue_assignAsBoolean(late, 1), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsNull(deep), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"a":1,"b":"","late":true,"x":{"y":{"z":null}}})");

  // Members of a looked-up container that are never assigned stay out.
  TJsonValue *unused = path(tree.get(), "x.y.unused");
  EXPECT_EQ(typeOf(unused), static_cast<uint32_t>(TJSON_TYPE_ABSENT));
  EXPECT_EQ(sizeOf(path(tree.get(), "x.y")), 1u);
  EXPECT_EQ(print(tree.get()), R"({"a":1,"b":"","late":true,"x":{"y":{"z":null}}})");
}

TEST_F(JsonTest, AbsentRootPrintsNullOrNothing) {
  Tree tree = make(TJSON_TYPE_ABSENT);
  TJsonValue *absent = tree.get();
  EXPECT_EQ(print(absent), "null");
  EXPECT_EQ(print(nullptr), "null");
  TJsonWriter *writer = openWriter(0);
  EXPECT_EQ(print(absent, writer), "");
  EXPECT_EQ(print(nullptr, writer), "");
  // An absent member printed on its own is an absent value too.
  Tree object = parse("{}");
  EXPECT_EQ(print(member(object.get(), "missing"), writer), "");
  EXPECT_EQ(print(member(object.get(), "missing")), "null");
}

TEST_F(JsonTest, PathStepsThroughArraysAndMembers) {
  Tree tree = parse(R"({"a":[{"b":1},[10,20]],"7":{"8":"eight"}})");
  int64_t number = 0;
  ASSERT_EQ(TJsonValue_asInteger(path(tree.get(), "a.0.b"), &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 1);
  ASSERT_EQ(TJsonValue_asInteger(path(tree.get(), "a.1.1"), &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 20);
  // Digits name members of objects.
  const char *text = nullptr;
  ASSERT_EQ(TJsonValue_asString(path(tree.get(), "7.8"), &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "eight");
  EXPECT_EQ(path(tree.get(), ""), tree.get());
  // An index past the end grows the array, as item does.
  ASSERT_EQ(TJsonValue_assignAsInteger(path(tree.get(), "a.1.3"), 40), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"a":[{"b":1},[10,20,null,40]],"7":{"8":"eight"}})");
  // Stepping into a scalar fails.
  TJsonValue *out = nullptr;
  EXPECT_EQ(TJsonPath(tree.get(), "a.0.b.c", &out), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonPath(tree.get(), "a.99999999999999999999999", &out), TCOMMON_OUT_OF_RANGE);
}

// ---- Shape -----------------------------------------------------------------------------------

TEST_F(JsonTest, EmptinessAndSizeFollowWhatTheClientWrote) {
  struct Case {
    const char *text;
    uint8_t empty;
    uint64_t size;
  };
  const Case cases[] = {
      {"null", 1, 0},   {"{}", 1, 0},           {"false", 0, 0},        {"0", 0, 0},
      {"0.0", 0, 0},    {"\"\"", 1, 0},         {"\"h\\u00e9\"", 0, 3}, {"[]", 1, 0},
      {"[null]", 0, 1}, {"[1,[2,3],{}]", 0, 3}, {"{\"a\":null}", 0, 1}, {"true", 0, 0},
  };
  for (const Case &c : cases) {
    Tree tree = parse(c.text);
    EXPECT_EQ(TJsonValue_isEmpty(tree.get()), c.empty) << c.text;
    EXPECT_EQ(sizeOf(tree.get()), c.size) << c.text;
  }
  EXPECT_EQ(TJsonValue_isEmpty(nullptr), 1);
  // Looked-up members neither fill an object nor count.
  Tree object = parse("{}");
  EXPECT_EQ(TJsonValue_isEmpty(member(object.get(), "looked-up")), 1);
  EXPECT_EQ(TJsonValue_isEmpty(object.get()), 1);
  EXPECT_EQ(sizeOf(object.get()), 0u);
}

TEST_F(JsonTest, EmptyTextOrArrayValuesTakeALookedUpMemberLikeNull) {
  for (const char *empty : {R"("")", "[]", "null", "{}"}) {
    Tree item = parse(std::string(R"({"value":)") + empty + R"(,"key":"k"})");
    TJsonValue *current = nullptr;
    ASSERT_EQ(TJsonPath(item.get(), "value.current", &current), TCOMMON_SUCCESS) << empty;
    ASSERT_EQ(TJsonValue_assignAsInteger(current, 5), TCOMMON_SUCCESS);
    EXPECT_EQ(print(item.get()), R"({"value":{"current":5},"key":"k"})") << empty;
  }
  TJsonValue *member = nullptr;
  Tree text = parse(R"("x")");
  EXPECT_EQ(TJsonValue_member(text.get(), "current", &member), TCOMMON_WRONG_TYPE);
  Tree array = parse("[0]");
  EXPECT_EQ(TJsonValue_member(array.get(), "current", &member), TCOMMON_WRONG_TYPE);
}

TEST_F(JsonTest, ItemGrowsArraysWithNull) {
  Tree tree = make(TJSON_TYPE_ARRAY);
  TJsonValue *array = tree.get();
  TJsonValue *third = nullptr;
  ASSERT_EQ(TJsonValue_item(array, 2, &third), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsInteger(third, 3), TCOMMON_SUCCESS);
  EXPECT_EQ(print(array), "[null,null,3]");
  TJsonValue *again = nullptr;
  ASSERT_EQ(TJsonValue_item(array, 2, &again), TCOMMON_SUCCESS);
  EXPECT_EQ(again, third);
  EXPECT_EQ(sizeOf(array), 3u);

  // Absent and null values become arrays; other values refuse.
  Tree object = parse(R"({"n":null,"s":"x","o":{}})");
  TJsonValue *element = nullptr;
  ASSERT_EQ(TJsonValue_item(member(object.get(), "list"), 1, &element), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_item(member(object.get(), "n"), 0, &element), TCOMMON_SUCCESS);
  EXPECT_EQ(print(object.get()), R"({"n":[null],"s":"x","o":{},"list":[null,null]})");
  EXPECT_EQ(TJsonValue_item(member(object.get(), "s"), 0, &element), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonValue_item(member(object.get(), "o"), 0, &element), TCOMMON_WRONG_TYPE);
}

TEST_F(JsonTest, AssignmentReplacesTheValueInPlace) {
  // Children of replaced containers are freed (the sanitizer build checks for leaks).
  Tree tree = parse(
      R"({"a":[1,[2,3],{"x":"a string longer than sixteen bytes"}],"b":{"c":{"d":[]}},"c":1})");
  TJsonValue *a = member(tree.get(), "a");
  TJsonValue *b = member(tree.get(), "b");
  ASSERT_EQ(TJsonValue_assignAsFloat(a, 2.0), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsString(b, "now a string that is long enough for the heap"),
            TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()),
            R"({"a":2.0,"b":"now a string that is long enough for the heap","c":1})");
  EXPECT_EQ(member(tree.get(), "a"), a);

  // Assigning a part of the value's own text.
  const char *text = nullptr;
  ASSERT_EQ(TJsonValue_asString(b, &text), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsString(b, text + 4), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_asString(b, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "a string that is long enough for the heap");
  ASSERT_EQ(TJsonValue_assignAsStringLength(b, text + 2, 6), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_asString(b, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "string");
  ASSERT_EQ(TJsonValue_assignAsStringLength(b, "x\0y", 3), TCOMMON_SUCCESS);
  EXPECT_EQ(sizeOf(b), 3u);
  ASSERT_EQ(TJsonValue_asString(b, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "x");

  // create() on an existing value resets it to an empty value of the type.
  struct Case {
    uint32_t type;
    const char *printed;
  };
  const Case cases[] = {{TJSON_TYPE_ARRAY, "[]"},  {TJSON_TYPE_OBJECT, "{}"},
                        {TJSON_TYPE_NULL, "null"}, {TJSON_TYPE_BOOLEAN, "false"},
                        {TJSON_TYPE_INTEGER, "0"}, {TJSON_TYPE_UNSIGNED, "0"},
                        {TJSON_TYPE_FLOAT, "0.0"}, {TJSON_TYPE_STRING, "\"\""}};
  for (const Case &c : cases) {
    Tree value = parse(R"({"k":[1,{"deep":["x"]}]})");
    TJsonValue *k = member(value.get(), "k");
    ASSERT_EQ(TJsonValue_create(c.type, &k), TCOMMON_SUCCESS);
    EXPECT_EQ(k, member(value.get(), "k"));
    EXPECT_EQ(print(k), c.printed);
    EXPECT_EQ(print(value.get()), std::string("{\"k\":") + c.printed + "}");
  }
  // ... and makes an absent value real.
  Tree object = parse("{}");
  TJsonValue *list = member(object.get(), "list");
  ASSERT_EQ(TJsonValue_create(TJSON_TYPE_ARRAY, &list), TCOMMON_SUCCESS);
  EXPECT_EQ(print(object.get()), R"({"list":[]})");
  EXPECT_EQ(TJsonValue_create(TJSON_TYPE_OBJECT + 1, &list), TCOMMON_INVALID_ARGUMENT);
}

TEST_F(JsonTest, HandlesSurviveSiblingChanges) {
  Tree tree = parse(R"({"first":1,"array":[0],"last":2})");
  TJsonValue *first = member(tree.get(), "first");
  TJsonValue *array = member(tree.get(), "array");
  TJsonValue *zero = nullptr;
  ASSERT_EQ(TJsonValue_item(array, 0, &zero), TCOMMON_SUCCESS);
  for (int i = 0; i < 500; ++i) {
    const std::string name = "member" + std::to_string(i);
    ASSERT_EQ(TJsonValue_assignAsInteger(member(tree.get(), name.c_str()), i), TCOMMON_SUCCESS);
    ASSERT_EQ(TJsonValue_addIntegerToArray(array, i + 1), TCOMMON_SUCCESS);
  }
  ASSERT_EQ(TJsonValue_removeMemberFromObject(tree.get(), "last"), TCOMMON_SUCCESS);
  TJsonValue *element = nullptr;
  ASSERT_EQ(TJsonValue_item(array, 1, &element), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_delete(element), TCOMMON_SUCCESS);  // removes it from the array

  int64_t number = 0;
  ASSERT_EQ(TJsonValue_asInteger(first, &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 1);
  ASSERT_EQ(TJsonValue_assignAsInteger(zero, -5), TCOMMON_SUCCESS);
  EXPECT_EQ(sizeOf(array), 500u);
  ASSERT_EQ(TJsonValue_itemAsInteger(array, 0, &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, -5);
  ASSERT_EQ(TJsonValue_itemAsInteger(array, 1, &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(sizeOf(tree.get()), 502u);
  ASSERT_EQ(TJsonValue_asInteger(member(tree.get(), "member499"), &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 499);
}

TEST_F(JsonTest, RemoveMemberRemovesEveryOneOfThatName) {
  Tree tree = parse(R"({"a":1,"b":{"x":[1]},"a":2,"c":3})");
  member(tree.get(), "d");  // absent
  ASSERT_EQ(TJsonValue_removeMemberFromObject(tree.get(), "a"), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_removeMemberFromObject(tree.get(), "b"), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_removeMemberFromObject(tree.get(), "d"), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_removeMemberFromObject(tree.get(), "nothing"), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"c":3})");
  EXPECT_EQ(sizeOf(tree.get()), 1u);
  // The absent member was dropped: a new lookup makes a new one at the end.
  ASSERT_EQ(TJsonValue_assignAsInteger(member(tree.get(), "d"), 4), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"c":3,"d":4})");

  EXPECT_EQ(TJsonValue_removeMemberFromObject(member(tree.get(), "absent"), "x"), TCOMMON_SUCCESS);
  EXPECT_EQ(TJsonValue_removeMemberFromObject(member(tree.get(), "c"), "x"), TCOMMON_WRONG_TYPE);
  Tree array = parse("[1]");
  EXPECT_EQ(TJsonValue_removeMemberFromObject(array.get(), "x"), TCOMMON_WRONG_TYPE);
}

TEST_F(JsonTest, ForEachMemberVisitsRealMembersInOrder) {
  Tree tree = parse(R"({"z":1,"a":2,"m":3})");
  member(tree.get(), "absent");
  std::vector<std::string> names;
  auto collect = [](void *context, const char *name, TJsonValue *) -> uint32_t {
    static_cast<std::vector<std::string> *>(context)->push_back(name);
    return 0;
  };
  ASSERT_EQ(TJsonValue_forEachMember(tree.get(), collect, &names), TCOMMON_SUCCESS);
  EXPECT_EQ(names, (std::vector<std::string>{"z", "a", "m"}));

  names.clear();
  auto stopAtA = [](void *context, const char *name, TJsonValue *) -> uint32_t {
    static_cast<std::vector<std::string> *>(context)->push_back(name);
    return std::strcmp(name, "a") == 0 ? 42u : 0u;
  };
  EXPECT_EQ(TJsonValue_forEachMember(tree.get(), stopAtA, &names), 42u);
  EXPECT_EQ(names, (std::vector<std::string>{"z", "a"}));

  Tree array = parse("[1]");
  EXPECT_EQ(TJsonValue_forEachMember(array.get(), collect, &names), TCOMMON_WRONG_TYPE);
}

TEST_F(JsonTest, CloneIsIndependent) {
  Tree tree = parse(R"({"a":[1,"a long string value here",{"b":null}],"c":1.5})");
  member(tree.get(), "absent");
  TJsonValue *copy = nullptr;
  ASSERT_EQ(TJsonValue_clone(tree.get(), &copy), TCOMMON_SUCCESS);
  Tree owned(copy);
  ASSERT_EQ(TJsonValue_assignAsInteger(path(tree.get(), "a.1"), 2), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsInteger(member(tree.get(), "absent"), 3), TCOMMON_SUCCESS);
  EXPECT_EQ(print(copy), R"({"a":[1,"a long string value here",{"b":null}],"c":1.5})");
  EXPECT_EQ(print(tree.get()), R"({"a":[1,2,{"b":null}],"c":1.5,"absent":3})");
  EXPECT_EQ(sizeOf(copy), 2u);

  // A clone of a member is a root of its own.
  TJsonValue *part = nullptr;
  ASSERT_EQ(TJsonValue_clone(path(tree.get(), "a.2"), &part), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addValueToArray(member(tree.get(), "a"), part), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsInteger(member(part, "b"), 7), TCOMMON_SUCCESS);
  EXPECT_EQ(print(member(tree.get(), "a")), R"([1,2,{"b":null},{"b":7}])");
}

TEST_F(JsonTest, AddValueToArrayMovesARoot) {
  Tree tree = parse(R"({"list":[1]})");
  TJsonValue *list = member(tree.get(), "list");
  TJsonValue *element = make(TJSON_TYPE_OBJECT).release();
  ASSERT_EQ(TJsonValue_addValueToArray(list, element), TCOMMON_SUCCESS);
  // The handle now designates the element.
  ASSERT_EQ(TJsonValue_assignAsString(member(element, "k"), "v"), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addValueToArray(list, nullptr), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addBooleanToArray(list, 7), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addUnsignedToArray(list, UINT64_MAX), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addFloatToArray(list, 0.5), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addStringToArray(list, "s"), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"list":[1,{"k":"v"},null,true,18446744073709551615,0.5,"s"]})");

  // Only roots move, and never into their own tree.
  EXPECT_EQ(TJsonValue_addValueToArray(list, element), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonValue_addValueToArray(list, tree.get()), TCOMMON_INVALID_ARGUMENT);
  Tree self = make(TJSON_TYPE_ARRAY);
  EXPECT_EQ(TJsonValue_addValueToArray(self.get(), self.get()), TCOMMON_INVALID_ARGUMENT);

  // An absent member becomes an array; scalars refuse.
  ASSERT_EQ(TJsonValue_addIntegerToArray(member(tree.get(), "more"), 1), TCOMMON_SUCCESS);
  EXPECT_EQ(TJsonValue_addIntegerToArray(member(element, "k"), 1), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(print(tree.get()),
            R"({"list":[1,{"k":"v"},null,true,18446744073709551615,0.5,"s"],"more":[1]})");
}

TEST_F(JsonTest, AddValueToObjectReplacesInPlaceOrAppends) {
  auto root = [&](uint32_t type) { return make(type).release(); };  // ownership moves
  Tree tree = parse(R"({"a":1,"b":{"x":[1,2]},"c":3})");
  member(tree.get(), "d");  // looked up before "e" is added
  ASSERT_EQ(TJsonValue_addBooleanToArray(member(tree.get(), "e"), 0), TCOMMON_SUCCESS);
  TJsonValue *value = root(TJSON_TYPE_STRING);
  ASSERT_EQ(TJsonValue_addValueToObject(tree.get(), "b", value), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_assignAsString(value, "replaced"), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addValueToObject(tree.get(), "d", root(TJSON_TYPE_INTEGER)),
            TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addValueToObject(tree.get(), "a long member name over sixteen",
                                        root(TJSON_TYPE_NULL)),
            TCOMMON_SUCCESS);
  EXPECT_EQ(
      print(tree.get()),
      R"({"a":1,"b":"replaced","c":3,"e":[false],"d":0,"a long member name over sixteen":null})");
  EXPECT_EQ(TJsonValue_addValueToObject(tree.get(), "x", value), TCOMMON_INVALID_ARGUMENT);

  // Absent and null objects become objects; other values refuse.
  Tree nested = parse(R"({"n":null,"i":1})");
  ASSERT_EQ(TJsonValue_addValueToObject(member(nested.get(), "n"), "k", root(TJSON_TYPE_BOOLEAN)),
            TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonValue_addValueToObject(path(nested.get(), "p.q"), "k", root(TJSON_TYPE_BOOLEAN)),
            TCOMMON_SUCCESS);
  Tree refused = make(TJSON_TYPE_BOOLEAN);
  EXPECT_EQ(TJsonValue_addValueToObject(member(nested.get(), "i"), "k", refused.get()),
            TCOMMON_WRONG_TYPE);
  EXPECT_EQ(print(nested.get()), R"({"n":{"k":false},"i":1,"p":{"q":{"k":false}}})");
}

TEST_F(JsonTest, DeepTreesBuiltThroughTheApiNeedNoRecursion) {
  constexpr int kDepth = 100000;
  Tree tree = make(TJSON_TYPE_ARRAY);
  TJsonValue *root = tree.get();
  TJsonValue *current = root;
  for (int i = 1; i < kDepth; ++i) {
    TJsonValue *next = nullptr;
    ASSERT_EQ(TJsonValue_item(current, 0, &next), TCOMMON_SUCCESS);
    ASSERT_EQ(TJsonValue_create(TJSON_TYPE_ARRAY, &next), TCOMMON_SUCCESS);
    current = next;
  }
  const std::string expected = std::string(kDepth, '[') + std::string(kDepth, ']');
  EXPECT_EQ(print(root), expected);
  TJsonValue *copy = nullptr;
  ASSERT_EQ(TJsonValue_clone(root, &copy), TCOMMON_SUCCESS);
  Tree copyOwner(copy);
  EXPECT_EQ(print(copy), expected);
}

// ---- Conversions -----------------------------------------------------------------------------

TEST_F(JsonTest, ConversionsFollowTheTable) {
  constexpr uint32_t kOk = TCOMMON_SUCCESS;
  constexpr uint32_t kNo = TCOMMON_WRONG_TYPE;
  struct Case {
    const char *text;
    uint32_t booleanResult;
    uint8_t boolean;
    uint32_t integerResult;
    int64_t integer;
    uint32_t unsignedResult;
    uint64_t unsignedInteger;
    uint32_t floatResult;
    double number;
  };
  const Case cases[] = {
      {"true", kOk, 1, kOk, 1, kOk, 1, kOk, 1.0},
      {"false", kOk, 0, kOk, 0, kOk, 0, kOk, 0.0},
      {"0", kOk, 0, kOk, 0, kOk, 0, kOk, 0.0},
      {"-1", kOk, 1, kOk, -1, kOk, UINT64_MAX, kOk, -1.0},
      {"-9223372036854775808", kOk, 1, kOk, INT64_MIN, kOk, 1ull << 63, kOk, -0x1p63},
      {"9223372036854775808", kOk, 1, kOk, INT64_MIN, kOk, 1ull << 63, kOk, 0x1p63},
      {"18446744073709551615", kOk, 1, kOk, -1, kOk, UINT64_MAX, kOk, 0x1p64},
      {"2.9", kOk, 1, kOk, 2, kOk, 2, kOk, 2.9},
      {"-2.9", kOk, 1, kOk, -2, kOk, 0, kOk, -2.9},
      {"0.0", kOk, 0, kOk, 0, kOk, 0, kOk, 0.0},
      {"-0.0", kOk, 0, kOk, 0, kOk, 0, kOk, -0.0},
      {"0.25", kOk, 1, kOk, 0, kOk, 0, kOk, 0.25},
      {"1e300", kOk, 1, kOk, INT64_MAX, kOk, UINT64_MAX, kOk, 1e300},
      {"-1e300", kOk, 1, kOk, INT64_MIN, kOk, 0, kOk, -1e300},
      {"9223372036854775807.0", kOk, 1, kOk, INT64_MAX, kOk, 1ull << 63, kOk, 0x1p63},
      {"-9223372036854775808.0", kOk, 1, kOk, INT64_MIN, kOk, 0, kOk, -0x1p63},
      {"18446744073709551616.0", kOk, 1, kOk, INT64_MAX, kOk, UINT64_MAX, kOk, 0x1p64},
      {"18446744073709549568.0", kOk, 1, kOk, INT64_MAX, kOk, 18446744073709549568ull, kOk,
       18446744073709549568.0},
      {"\"5\"", kNo, 0, kNo, 0, kNo, 0, kNo, 0},
      {"null", kNo, 0, kNo, 0, kNo, 0, kNo, 0},
      {"[1]", kNo, 0, kNo, 0, kNo, 0, kNo, 0},
      {"{}", kNo, 0, kNo, 0, kNo, 0, kNo, 0},
  };
  for (const Case &c : cases) {
    Tree tree = parse(c.text);
    // Sentinels: a refused conversion leaves the output as it was.
    uint8_t boolean = 77;
    int64_t integer = 77;
    uint64_t unsignedInteger = 77;
    double number = 77;
    EXPECT_EQ(TJsonValue_asBoolean(tree.get(), &boolean), c.booleanResult) << c.text;
    EXPECT_EQ(boolean, c.booleanResult == kOk ? c.boolean : 77) << c.text;
    EXPECT_EQ(TJsonValue_asInteger(tree.get(), &integer), c.integerResult) << c.text;
    EXPECT_EQ(integer, c.integerResult == kOk ? c.integer : 77) << c.text;
    EXPECT_EQ(TJsonValue_asUnsigned(tree.get(), &unsignedInteger), c.unsignedResult) << c.text;
    EXPECT_EQ(unsignedInteger, c.unsignedResult == kOk ? c.unsignedInteger : 77) << c.text;
    EXPECT_EQ(TJsonValue_asFloat(tree.get(), &number), c.floatResult) << c.text;
    if (c.floatResult == kOk) {
      EXPECT_EQ(std::signbit(number), std::signbit(c.number)) << c.text;
      EXPECT_EQ(number, c.number) << c.text;
    } else {
      EXPECT_EQ(number, 77.0) << c.text;
    }
    const char *text = "untouched";
    const uint32_t stringResult = TJsonValue_asString(tree.get(), &text);
    if (c.text[0] == '"') {
      EXPECT_EQ(stringResult, kOk);
      EXPECT_STREQ(text, "5");
    } else {
      EXPECT_EQ(stringResult, kNo) << c.text;
      EXPECT_STREQ(text, "untouched") << c.text;
    }
  }
}

TEST_F(JsonTest, NonFiniteDoublesConvertWithoutSurprises) {
  struct Case {
    double number;
    int64_t integer;
    uint64_t unsignedInteger;
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {{std::numeric_limits<double>::quiet_NaN(), 0, 0},
                        {inf, INT64_MAX, UINT64_MAX},
                        {-inf, INT64_MIN, 0}};
  Tree value = make(TJSON_TYPE_FLOAT);
  for (const Case &c : cases) {
    ASSERT_EQ(TJsonValue_assignAsFloat(value.get(), c.number), TCOMMON_SUCCESS);
    int64_t integer = 5;
    uint64_t unsignedInteger = 5;
    ASSERT_EQ(TJsonValue_asInteger(value.get(), &integer), TCOMMON_SUCCESS);
    ASSERT_EQ(TJsonValue_asUnsigned(value.get(), &unsignedInteger), TCOMMON_SUCCESS);
    EXPECT_EQ(integer, c.integer) << c.number;
    EXPECT_EQ(unsignedInteger, c.unsignedInteger) << c.number;
  }
}

TEST_F(JsonTest, ItemConversionsCheckIndexAndType) {
  Tree tree = parse(R"([true,-3,18446744073709551615,2.5,"text"])");
  uint8_t boolean = 0;
  int64_t integer = 0;
  uint64_t unsignedInteger = 0;
  double number = 0;
  const char *text = nullptr;
  ASSERT_EQ(TJsonValue_itemAsBoolean(tree.get(), 0, &boolean), TCOMMON_SUCCESS);
  EXPECT_EQ(boolean, 1);
  ASSERT_EQ(TJsonValue_itemAsInteger(tree.get(), 1, &integer), TCOMMON_SUCCESS);
  EXPECT_EQ(integer, -3);
  ASSERT_EQ(TJsonValue_itemAsUnsigned(tree.get(), 2, &unsignedInteger), TCOMMON_SUCCESS);
  EXPECT_EQ(unsignedInteger, UINT64_MAX);
  ASSERT_EQ(TJsonValue_itemAsFloat(tree.get(), 3, &number), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 2.5);
  ASSERT_EQ(TJsonValue_itemAsString(tree.get(), 4, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "text");
  EXPECT_EQ(TJsonValue_itemAsString(tree.get(), 3, &text), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonValue_itemAsInteger(tree.get(), 5, &integer), TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(TJsonValue_itemAsFloat(tree.get(), UINT64_MAX, &number), TCOMMON_OUT_OF_RANGE);
  Tree object = parse(R"({"a":1})");
  EXPECT_EQ(TJsonValue_itemAsInteger(object.get(), 0, &integer), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonValue_itemAsInteger(member(object.get(), "absent"), 0, &integer),
            TCOMMON_WRONG_TYPE);
  // Reading never grows the array.
  EXPECT_EQ(sizeOf(tree.get()), 5u);
}

TEST_F(JsonTest, AssignedUnsignedNumbersKeepTheReaderKinds) {
  Tree value = make(TJSON_TYPE_NULL);
  ASSERT_EQ(TJsonValue_assignAsUnsigned(value.get(), 5), TCOMMON_SUCCESS);
  EXPECT_EQ(typeOf(value.get()), static_cast<uint32_t>(TJSON_TYPE_INTEGER));
  ASSERT_EQ(TJsonValue_assignAsUnsigned(value.get(), (1ull << 63) + 1), TCOMMON_SUCCESS);
  EXPECT_EQ(typeOf(value.get()), static_cast<uint32_t>(TJSON_TYPE_UNSIGNED));
  EXPECT_EQ(print(value.get()), "9223372036854775809");
}

TEST_F(JsonTest, WriterPrintsDoublesAsConfigured) {
  TJsonWriter *longWriter = openWriter(TJSON_WRITER_NULL_FOR_ABSENT);
  struct Case {
    double number;
    const char *shortest;
    const char *long17;
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {0.1, "0.1", "0.10000000000000001"},
      {static_cast<double>(0.1f), "0.10000000149011612", "0.10000000149011612"},
      {1.0, "1.0", "1.0"},
      {-0.0, "-0.0", "-0.0"},
      {1e300, "1e300", "1.0000000000000001e+300"},
      {123456.0, "123456.0", "123456.0"},
      {1e22, "1e22", "1e+22"},
      {2.5e-7, "2.5e-7", "2.4999999999999999e-07"},
      {inf, "null", "null"},
      {-inf, "null", "null"},
      {std::numeric_limits<double>::quiet_NaN(), "null", "null"},
  };
  for (const Case &c : cases) {
    Tree tree = make(TJSON_TYPE_ARRAY);
    ASSERT_EQ(TJsonValue_addFloatToArray(tree.get(), c.number), TCOMMON_SUCCESS);
    EXPECT_EQ(print(tree.get()), std::string("[") + c.shortest + "]");
    EXPECT_EQ(print(tree.get(), longWriter), std::string("[") + c.long17 + "]");
  }
}

TEST_F(JsonTest, WriterPrettyPrintsWithIndent) {
  TJsonWriter *writer = openWriter(TJSON_WRITER_NULL_FOR_ABSENT | TJSON_WRITER_SHORTEST_FLOAT, 2);
  Tree tree = parse(R"({"a":[1,2.5],"b":{},"c":{"d":"e"}})");
  member(tree.get(), "absent");
  EXPECT_EQ(print(tree.get(), writer),
            "{\n  \"a\": [\n    1,\n    2.5\n  ],\n  \"b\": {},\n  \"c\": {\n    \"d\": \"e\"\n  "
            "}\n}");
  EXPECT_EQ(print(make(TJSON_TYPE_FLOAT).get(), writer), "0.0");
}

TEST_F(JsonTest, WriterReplacesInvalidUtf8) {
  struct Case {
    std::string bytes;
    std::string printed;
  };
  const std::string r = "\xEF\xBF\xBD";
  const Case cases[] = {
      {"plain", "plain"},
      {"\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
      {"a\xFF"
       "b",
       "a" + r + "b"},
      {"\xE2\x82", r + r},
      {"\xED\xA0\x80", r + r + r},
      {"\xC0\xAF", r + r},
      {"\xF4\x90\x80\x80", r + r + r + r},
      {"x\x80", "x" + r},
  };
  for (const Case &c : cases) {
    Tree tree = make(TJSON_TYPE_OBJECT);
    TJsonValue *value = tree.get();
    ASSERT_EQ(TJsonValue_assignAsStringLength(member(value, c.bytes.c_str()), c.bytes.data(),
                                              c.bytes.size()),
              TCOMMON_SUCCESS);
    const std::string expected = "{\"" + c.printed + "\":\"" + c.printed + "\"}";
    const std::string printed = print(value);
    EXPECT_EQ(printed, expected) << c.bytes;
    // What we print, we read.
    Tree back = parse(printed);
    EXPECT_NE(back, nullptr);
  }
}

// ---- Display -----------------------------------------------------------------------------------

TEST(JsonUtility, ShortenForDisplay) {
  struct Case {
    std::string text;
    uint64_t limit;
    uint64_t capacity;
    std::string preview;
  };
  const std::string e = "\xC3\xA9";  // two bytes
  const Case cases[] = {
      {"abc", 10, 64, "abc"},
      {"", 10, 64, ""},
      {"{\n  \"a\" :\t 1\r\n}", 64, 64, "{ \"a\" : 1 }"},
      {"  a  ", 64, 64, " a "},
      {"a\x01"
       "b\x7F",
       64, 64, "a?b?"},
      {"abcdefgh", 8, 64, "abcdefgh"},
      {"abcdefghi", 8, 64, "abcde..."},
      {"a  b  c  d  e", 8, 64, "a b c..."},
      {"abcdefghij", 100, 5, "abcd"},
      {"abcdefghij", 8, 6, "abcde"},
      {"abcdefghij", 8, 8, "abcde.."},
      {e + e + e + e + e, 6, 64, e + "..."},
      {e + e + e + e + e, 7, 64, e + e + "..."},
      {e + e + e + e + e, 8, 64, e + e + "..."},
      {e + e + e + e + e, 9, 64, e + e + e + "..."},
      {e + e, 100, 4, e},
      {"abcdef", 2, 64, ".."},
      {"abcdef", 0, 64, ""},
      {"abc", 3, 1, ""},
  };
  for (const Case &c : cases) {
    std::vector<char> buffer(c.capacity + 8, '#');
    ASSERT_EQ(TJsonUtility_shortenForDisplay(c.text.data(), c.text.data() + c.text.size(), c.limit,
                                             buffer.data(), c.capacity),
              TCOMMON_SUCCESS)
        << c.text;
    EXPECT_EQ(std::string(buffer.data()), c.preview) << c.text << " " << c.limit;
    // Nothing is written past capacity.
    EXPECT_EQ(buffer[c.capacity], '#') << c.text;
  }
  // The text need not be terminated, and the end is respected.
  const char text[] = {'a', 'b', 'c', 'd'};
  char buffer[16];
  ASSERT_EQ(TJsonUtility_shortenForDisplay(text, text + 2, 10, buffer, sizeof buffer),
            TCOMMON_SUCCESS);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(TJsonUtility_shortenForDisplay(text, text + 2, 10, buffer, 0),
            TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonUtility_shortenForDisplay(nullptr, text, 10, buffer, 16),
            TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonUtility_shortenForDisplay(text, nullptr, 10, buffer, 16),
            TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonUtility_shortenForDisplay(text, text + 2, 10, nullptr, 16),
            TCOMMON_INVALID_ARGUMENT);
}

// ---- Arguments
// -----------------------------------------------------------------------------------

TEST_F(JsonTest, NullArgumentsAreRefused) {
  Tree tree = parse(R"({"a":[1]})");
  TJsonValue *value = tree.get();
  TJsonValue *out = nullptr;
  uint64_t size = 0;
  int64_t integer = 0;
  const char *text = nullptr;
  const uint32_t results[] = {
      TJsonReader_open(nullptr),
      TJsonReader_parse(nullptr, "1", nullptr, &out),
      TJsonReader_parse(reader_, nullptr, nullptr, &out),
      TJsonReader_parse(reader_, "1", nullptr, &out),
      TJsonReader_check(reader_, nullptr, nullptr),
      TJsonReader_error(reader_, nullptr, &text),
      TJsonWriter_open(nullptr, nullptr),
      TJsonWriter_stringify(nullptr, value, &text),
      TJsonWriter_stringify(writer_, value, nullptr),
      TJsonWriter_length(writer_, nullptr),
      TJsonValue_create(TJSON_TYPE_NULL, nullptr),
      TJsonValue_clone(nullptr, &out),
      TJsonValue_clone(value, nullptr),
      TJsonValue_type(nullptr, nullptr),
      TJsonValue_size(nullptr, &size),
      TJsonValue_member(nullptr, "a", &out),
      TJsonValue_member(value, nullptr, &out),
      TJsonValue_member(value, "a", nullptr),
      TJsonPath(value, nullptr, &out),
      TJsonValue_item(nullptr, 0, &out),
      TJsonValue_forEachMember(value, nullptr, nullptr),
      TJsonValue_removeMemberFromObject(value, nullptr),
      TJsonValue_asInteger(nullptr, &integer),
      TJsonValue_asInteger(value, nullptr),
      TJsonValue_itemAsInteger(nullptr, 0, &integer),
      TJsonValue_assignAsInteger(nullptr, 1),
      TJsonValue_assignAsString(value, nullptr),
      TJsonValue_assignAsStringLength(value, nullptr, 2),
      TJsonValue_addValueToArray(nullptr, nullptr),
      TJsonValue_addStringToArray(member(value, "a"), nullptr),
      TJsonValue_addValueToObject(value, "x", nullptr),
      TJsonValue_addValueToObject(value, nullptr, value),
  };
  for (size_t i = 0; i < sizeof results / sizeof results[0]; ++i) {
    EXPECT_EQ(results[i], TCOMMON_INVALID_ARGUMENT) << "call " << i;
  }
  EXPECT_EQ(TJsonValue_delete(nullptr), TCOMMON_SUCCESS);
  EXPECT_EQ(print(tree.get()), R"({"a":[1]})");
}

}  // namespace
