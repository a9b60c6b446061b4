#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "t_common.h"
#include "t_json.h"

namespace {

#define ASSERT_OK(call) ASSERT_EQ((call), TCOMMON_SUCCESS)

using Tree =
    std::unique_ptr<TJsonValue, decltype([](TJsonValue *value) { TJsonValue_delete(value); })>;
using Pair = std::pair<std::string, std::string>;

// One conversion's outcome as text: the output, after an 'x' when it was refused.
template <typename T>
std::string shown(uint32_t result, const T &value) {
  std::string text = result == TCOMMON_SUCCESS ? "" : "x";
  if constexpr (std::is_same_v<T, double>) {
    char buffer[32];
    return text.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
  } else if constexpr (std::is_same_v<T, const char *>) {
    return text + value;
  } else {
    return text + std::to_string(value);
  }
}

// Every conversion of value (asItem: of its element 0), the outputs preset to 77.
std::string conversions(const TJsonValue *value, bool asItem) {
  uint8_t boolean = 77;
  int64_t integer = 77;
  uint64_t unsignedInteger = 77;
  double number = 77;
  const char *text = "77";
  auto read = [&](auto direct, auto item, auto *out) {
    return shown(asItem ? item(value, 0, out) : direct(value, out), *out);
  };
  return read(TJsonValue_asBoolean, TJsonValue_itemAsBoolean, &boolean) + " " +
         read(TJsonValue_asInteger, TJsonValue_itemAsInteger, &integer) + " " +
         read(TJsonValue_asUnsigned, TJsonValue_itemAsUnsigned, &unsignedInteger) + " " +
         read(TJsonValue_asFloat, TJsonValue_itemAsFloat, &number) + " " +
         read(TJsonValue_asString, TJsonValue_itemAsString, &text);
}

// What a getter reports, or 99 when it fails.
template <typename T>
T get(uint32_t (*getter)(const TJsonValue *, T *), const TJsonValue *value) {
  T out = 99;
  return getter(value, &out) == TCOMMON_SUCCESS ? out : 99;
}
int typeOf(const TJsonValue *value) {
  return static_cast<int>(get(TJsonValue_type, value));
}

class JsonTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_OK(TJsonReader_open(&reader_));
    ASSERT_OK(TJsonWriter_open(nullptr, &writers_.emplace_back()));
    writer_ = writers_.back();
  }
  void TearDown() override {
    TJsonReader_close(&reader_);
    for (TJsonWriter *&writer : writers_) TJsonWriter_close(&writer);
  }

  TJsonWriter *openWriter(uint32_t flags, uint32_t indent = 0) {
    const TJsonWriterConfiguration configuration{flags, indent, {}};
    EXPECT_EQ(TJsonWriter_open(&configuration, &writers_.emplace_back()), TCOMMON_SUCCESS);
    return writers_.back();
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
    uint64_t length = 0;
    EXPECT_EQ(TJsonWriter_stringify(writer, value, &text), TCOMMON_SUCCESS);
    EXPECT_EQ(TJsonWriter_length(writer, &length), TCOMMON_SUCCESS);
    return text != nullptr ? std::string(text, length) : "<no text>";
  }
  std::string lastError() {
    uint64_t offset = 99;
    const char *text = "?";
    EXPECT_EQ(TJsonReader_error(reader_, &offset, &text), TCOMMON_SUCCESS);
    return std::to_string(offset) + " " + text;
  }
  // Looks up a '.'-separated path (a single name: a member).
  TJsonValue *at(TJsonValue *value, const char *path) {
    TJsonValue *found = nullptr;
    EXPECT_EQ(TJsonPath(value, path, &found), TCOMMON_SUCCESS) << path;
    return found;
  }

  TJsonReader *reader_ = nullptr;
  TJsonWriter *writer_ = nullptr;
  std::vector<TJsonWriter *> writers_;
};

// ---- Reading and printing ----------------------------------------------------------------

TEST_F(JsonTest, ParsedTextsPrintBackAndKeepNumberKinds) {
  const std::tuple<std::string, std::string, int> cases[] = {
      {" {\"b\" :\t[true,false,null] ,\r\n\"a\":{},\"b\":[]} ",
       R"({"b":[true,false,null],"a":{},"b":[]})", TJSON_TYPE_OBJECT},
      {R"("\u00e9\ud83d\ude00\"\\\/\n\u001f")", "\"\xC3\xA9\xF0\x9F\x98\x80\\\"\\\\/\\n\\u001F\"",
       TJSON_TYPE_STRING},
      {R"({"a\u0000b":"c\u0000d"})", R"({"a\u0000b":"c\u0000d"})", TJSON_TYPE_OBJECT},
      // An escaped backslash before "udc00" is no escape of a surrogate.
      {R"(["\\udc00","\ud800\udc00"])", "[\"\\\\udc00\",\"\xF0\x90\x80\x80\"]", TJSON_TYPE_ARRAY},
      {"-9223372036854775808", "-9223372036854775808", TJSON_TYPE_INTEGER},
      {"9223372036854775807", "9223372036854775807", TJSON_TYPE_INTEGER},
      {"9223372036854775808", "9223372036854775808", TJSON_TYPE_UNSIGNED},
      {"18446744073709551615", "18446744073709551615", TJSON_TYPE_UNSIGNED},
      // Beyond 64 bits: a double, printed in the shortest form that reads back the same.
      {"18446744073709551616", "18446744073709552000.0", TJSON_TYPE_FLOAT},
      {"-9223372036854775809", "-9223372036854776000.0", TJSON_TYPE_FLOAT},
      {"-0", "0", TJSON_TYPE_INTEGER},
      {"1E2", "100.0", TJSON_TYPE_FLOAT},
      {"0.10000000149011612", "0.10000000149011612", TJSON_TYPE_FLOAT},
      // A zero with an exponent is zero; below the smallest double, the nearest is zero.
      {"0e297", "0.0", TJSON_TYPE_FLOAT},
      {"-0.0e-5", "-0.0", TJSON_TYPE_FLOAT},
      {"1e-400", "0.0", TJSON_TYPE_FLOAT},
      {"2.4e-324", "0.0", TJSON_TYPE_FLOAT},
      {"2.5e-324", "5e-324", TJSON_TYPE_FLOAT},
      // Doubles among other values: each converted from its own text.
      {"[7,\n-2.5E0 ,0e297,{\"k\":1e-7}]", R"([7,-2.5,0.0,{"k":1e-7}])", TJSON_TYPE_ARRAY},
  };
  for (const auto &[input, output, type] : cases) {
    Tree tree = parse(input);
    EXPECT_EQ(print(tree.get()), output) << input;
    EXPECT_EQ(typeOf(tree.get()), type) << input;
  }
}

// A walk's events as text; numbers given typed are printed through a node of their own type,
// so that both ways of handing them over give the same transcript.
struct WalkTranscript {
  TJsonWriter *writer;
  std::string text;
  int numberNodes = 0;  // integers and doubles that arrived through scalar

  void add(const TJsonValue *value) {
    const char *printed = nullptr;
    EXPECT_EQ(TJsonWriter_stringify(writer, value, &printed), TCOMMON_SUCCESS);
    text += std::to_string(typeOf(value)) + ":" + (printed != nullptr ? printed : "?") + " ";
  }
  template <typename Number>
  void addNumber(uint32_t type, Number number) {
    TJsonValue *node = nullptr;
    ASSERT_OK(TJsonValue_create(type, &node));
    if constexpr (std::is_same_v<Number, double>) {
      ASSERT_OK(TJsonValue_assignAsFloat(node, number));
    } else {
      ASSERT_OK(TJsonValue_assignAsInteger(node, number));
    }
    add(node);
    TJsonValue_delete(node);
  }
  static WalkTranscript &of(void *context) { return *static_cast<WalkTranscript *>(context); }
};

TEST_F(JsonTest, WalksHandNumbersOverTypedOrAsNodesAlike) {
  static const TJsonEvents kEvents = {
      [](void *c) { WalkTranscript::of(c).text += "{ "; },
      [](void *c) { WalkTranscript::of(c).text += "} "; },
      [](void *c) { WalkTranscript::of(c).text += "[ "; },
      [](void *c) { WalkTranscript::of(c).text += "] "; },
      [](void *c, const char *name, uint64_t length) {
        WalkTranscript::of(c).text += std::string(name, length) + ": ";
      },
      [](void *c, TJsonValue *value) {
        const int type = typeOf(value);
        WalkTranscript::of(c).numberNodes += type == TJSON_TYPE_INTEGER || type == TJSON_TYPE_FLOAT;
        WalkTranscript::of(c).add(value);
      },
  };
  const auto integer = [](void *c, int64_t v) {
    WalkTranscript::of(c).addNumber(TJSON_TYPE_INTEGER, v);
  };
  const auto real = [](void *c, double v) { WalkTranscript::of(c).addNumber(TJSON_TYPE_FLOAT, v); };
  const auto integers = [](void *c, const int64_t *values, uint64_t count) {
    EXPECT_GT(count, 0u);
    for (uint64_t i = 0; i < count; ++i)
      WalkTranscript::of(c).addNumber(TJSON_TYPE_INTEGER, values[i]);
  };
  const TJsonNumberEvents both{integer, real, nullptr}, batched{integer, real, integers},
      onlyIntegers{integer, nullptr, integers}, onlyDoubles{nullptr, real, nullptr};
  // More integers in a row than are handed over at once, a double among them.
  std::string longRun = "[";
  for (int i = 0; i < 150; ++i) {
    longRun += (i != 0 ? "," : "") + std::to_string(i * 37 - 2000) + (i == 70 ? ".5" : "");
  }
  longRun += "]";
  const std::string texts[] = {
      longRun,
      R"([1,-2,1.5,-0.0,9223372036854775807,-9223372036854775808,9223372036854775808,)"
      R"(18446744073709551616,1e-7,0e297,true,null,"s",{"k":[0,2.5e300],"":-1}])",
      // Runs of numbers in arrays: every form at the edges of the short cut, and breaks in
      // the run, which must be refused at the same byte.
      "[0, -0,-0.0,12 ,\n123456789012345678,\t1234567890123456789,0.5,-1.25,123456789012.345,"
      "0.1234567890123456,-0.009999999776482582,1.000000000000000000000000000001,1.5e3,2,3]",
      "[[1,2],[3.5,4.25],[],[5]]",
      // A run followed by what the tree cannot keep packed.
      R"({"a":[1,2,"x",3],"b":[1,2.5,[3,4],5]})",
      "[1,01]",
      "[1,]",
      "[1, -]",
      "[1,1.,2]",
      "[1,2 3]",
      "[1,2,3",
      "[1,2,3 ]x",
      "[7]",
      "[[1,2 ] ,[3]]",
      "42",
      " 0.25 ",
      "[1,2.5,",
      "[1,2.5]x",
      "1e999",
  };
  for (const std::string &text : texts) {
    SCOPED_TRACE(text);
    const char *begin = text.data();
    const char *end = begin + text.size();
    WalkTranscript expected{writer_, {}, 0};
    const uint32_t result = TJsonReader_walk(reader_, begin, end, &kEvents, &expected);
    const std::string error = lastError();
    EXPECT_TRUE(result != TCOMMON_SUCCESS || !expected.text.empty());
    // The tree reads its arrays' runs of numbers the same way: the same outcome and error, and
    // a tree whose printed text walks as the original does.
    TJsonValue *value = nullptr;
    EXPECT_EQ(TJsonReader_parse(reader_, begin, end, &value), result);
    EXPECT_EQ(lastError(), error);
    if (value != nullptr) {
      const std::string printed = print(Tree(value).get());
      WalkTranscript reread{writer_, {}, 0};
      EXPECT_EQ(TJsonReader_walk(reader_, printed.data(), printed.data() + printed.size(), &kEvents,
                                 &reread),
                TCOMMON_SUCCESS);
      EXPECT_EQ(reread.text, expected.text);
    }
    for (const TJsonNumberEvents *numbers : {&both, &batched, &onlyIntegers, &onlyDoubles,
                                             static_cast<const TJsonNumberEvents *>(nullptr)}) {
      WalkTranscript typed{writer_, {}, 0};
      EXPECT_EQ(TJsonReader_walkNumbers(reader_, begin, end, &kEvents, numbers, &typed), result);
      EXPECT_EQ(typed.text, expected.text);
      EXPECT_EQ(lastError(), error);
      if (numbers == &both || numbers == &batched) {
        EXPECT_EQ(typed.numberNodes, 0);
      }
    }
  }
}

TEST_F(JsonTest, DoublesReadAsTheNearestDouble) {
  // Texts with few digits and small exponents take a short cut; longer ones do not. Both
  // must give the double nearest to the text, as from_chars does.
  std::mt19937_64 random(20261122);
  std::vector<std::string> texts;
  for (int i = 0; i < 3000; ++i) {
    const uint64_t digits = random() >> (random() % 64);
    const int power = static_cast<int>(random() % 61) - 30;
    const std::string number = std::to_string(digits);
    const size_t point = 1 + random() % number.size();
    const std::string whole = number.substr(0, point);
    const std::string fraction = point < number.size() ? number.substr(point) : "0";
    texts.push_back((i % 2 != 0 ? "-" : "") + whole + "." + fraction + "e" + std::to_string(power));
    texts.push_back(whole + "." + fraction + "5");
  }
  std::string array = "[";
  for (const std::string &text : texts) array += (array.size() > 1 ? "," : "") + text;
  Tree tree = parse(array + "]");
  for (size_t i = 0; i < texts.size(); ++i) {
    double expected = 0.0;
    const std::string &text = texts[i];
    std::from_chars(text.data(), text.data() + text.size(), expected);
    double read = 0.0;
    ASSERT_OK(TJsonValue_itemAsFloat(tree.get(), i, &read));
    EXPECT_EQ(std::bit_cast<uint64_t>(read), std::bit_cast<uint64_t>(expected)) << text;
  }
}

TEST_F(JsonTest, DoublesPrintAsConfiguredAndReadBackExactly) {
  TJsonWriter *longWriter = openWriter(TJSON_WRITER_NULL_FOR_ABSENT);
  const double inf = std::numeric_limits<double>::infinity();
  const std::tuple<double, std::string, std::string> cases[] = {
      {0.1, "0.1", "0.10000000000000001"},
      {static_cast<double>(0.1f), "0.10000000149011612", "0.10000000149011612"},
      {1.0, "1.0", "1.0"},
      {-0.0, "-0.0", "-0.0"},
      {1e22, "1e22", "1e+22"},
      {1e21, "1e21", "1e+21"},
      {100.0, "100.0", "100.0"},
      {-0.5, "-0.5", "-0.5"},
      {1125899906842623.5, "1125899906842623.5", "1125899906842623.5"},
      {1125899906842624.0, "1125899906842624.0", "1125899906842624.0"},
      {0.1 + 0.2, "0.30000000000000004", "0.30000000000000004"},
      {5e-324, "5e-324", "4.9406564584124654e-324"},
      {-1.7976931348623157e308, "-1.7976931348623157e308", "-1.7976931348623157e+308"},
      {2.5e-7, "2.5e-7", "2.4999999999999999e-07"},
      {inf, "null", "null"},
      {std::nan(""), "null", "null"}};
  for (const auto &[number, shortest, long17] : cases) {
    Tree tree = make(TJSON_TYPE_ARRAY);
    ASSERT_OK(TJsonValue_addFloatToArray(tree.get(), number));
    EXPECT_EQ(print(tree.get()), "[" + shortest + "]");
    EXPECT_EQ(print(tree.get(), longWriter), "[" + long17 + "]");
  }
  // Random bit patterns: both print modes read back to the very same double.
  std::mt19937_64 random(20240601);
  Tree value = make(TJSON_TYPE_FLOAT);
  for (int i = 0; i < 2000; ++i) {
    const double number = std::bit_cast<double>(static_cast<uint64_t>(random()));
    if (!std::isfinite(number)) continue;
    ASSERT_OK(TJsonValue_assignAsFloat(value.get(), number));
    for (TJsonWriter *writer : {writer_, longWriter}) {
      const std::string text = print(value.get(), writer);
      double read = 0;
      ASSERT_OK(TJsonValue_asFloat(parse(text).get(), &read));
      EXPECT_EQ(std::bit_cast<uint64_t>(read), std::bit_cast<uint64_t>(number)) << text;
    }
  }
}

TEST_F(JsonTest, OnlyTheGivenRangeIsRead) {
  const std::string text = "[1,2]]]garbage 12345";
  TJsonValue *value = nullptr;
  ASSERT_OK(TJsonReader_parse(reader_, text.data(), text.data() + 5, &value));
  EXPECT_EQ(print(Tree(value).get()), "[1,2]");
  // A number that ends exactly at the end of the range.
  const char *number = text.data() + text.size() - 5;
  ASSERT_OK(TJsonReader_parse(reader_, number, number + 3, &value));
  EXPECT_EQ(print(Tree(value).get()), "123");
  // Nesting up to the limit is accepted, and the depth count goes down again.
  const std::string deep = std::string(TJSON_MAX_DEPTH, '[') + std::string(TJSON_MAX_DEPTH, ']');
  const std::string inner = deep.substr(1, deep.size() - 2);
  for (const std::string &fine : {deep, "[" + inner + "," + inner + "]"}) {
    EXPECT_EQ(TJsonReader_check(reader_, fine.data(), fine.data() + fine.size()), TCOMMON_SUCCESS);
    EXPECT_EQ(print(parse(fine).get()), fine);
  }
}

TEST_F(JsonTest, MalformedTextsAreRefusedWithOffset) {
  const std::string notSingle = " The document root must not be followed by other values.";
  const std::string encoding = "1 Invalid encoding in string.";
  const std::string surrogate = "The surrogate pair in string is invalid.";
  std::string deepObjects;
  for (int i = 0; i < 257; ++i) deepObjects += "{\"a\":";
  deepObjects += "1" + std::string(257, '}');
  const Pair cases[] = {
      {"", "0 The document is empty."},
      {"{} x", "3" + notSingle},
      {std::string("{}\0x", 4), "2" + notSingle},
      {std::string("\0", 1), "0 Invalid value."},
      {"{\"a\":1,}", "7 Missing a name for object member."},
      {"\"abc", "4 Missing a closing quotation mark in string."},
      {"\"a\x01\"", "2 Invalid escape character in string."},
      {"\"\xFF\"", encoding},
      {"\"\xED\xA0\x80\"", encoding},
      {"\"\xE2\x82\"", encoding},
      // A low surrogate's escape needs the high one right before it; both alone are refused.
      {R"(["a","\udd0cb"])", "6 " + surrogate},
      {R"({"k\\\udc00":1})", "5 " + surrogate},
      {R"(["\ud83d\u0041\ude00"])", "14 " + surrogate},
      {R"("\ud83dx")", "1 " + surrogate},
      {"1e400", "0 Number too big to be stored in double."},
      {"[0,9.9e308]", "3 Number too big to be stored in double."},
      // A number followed by characters a number can hold: read up to where it ends.
      {"[-2.5" + std::string(40, '+') + "1]", "5 Missing a comma or ']' after an array element."},
      {"{\"a\":1.5e3-7}", "10 Missing a comma or '}' after an object member."},
      {std::string(257, '[') + std::string(257, ']'), "256 Nesting deeper than 256 levels"},
      {deepObjects, "1280 Nesting deeper than 256 levels"},
  };
  for (const auto &[text, error] : cases) {
    const char *begin = text.data();
    TJsonValue *value = reinterpret_cast<TJsonValue *>(&value);  // must be cleared
    EXPECT_EQ(TJsonReader_parse(reader_, begin, begin + text.size(), &value), TCOMMON_PARSE_ERROR)
        << text;
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(lastError(), error) << text;
    // A success in between resets the error; check() agrees with parse().
    parse("{}");
    EXPECT_EQ(lastError(), "0 No error");
    EXPECT_EQ(TJsonReader_check(reader_, begin, begin + text.size()), TCOMMON_PARSE_ERROR);
    EXPECT_EQ(lastError(), error) << text;
  }
}

// Arrays of numbers only are printed in one pass: each element must read as it does when
// printed on its own, across the runs of the pass, with every kind of number and layout.
TEST_F(JsonTest, ArraysOfNumbersPrintAsTheirElementsDo) {
  for (const uint32_t flags : {0u, static_cast<uint32_t>(TJSON_WRITER_SHORTEST_FLOAT)}) {
    TJsonWriter *writer = openWriter(flags);
    for (const uint64_t count : {1u, 2u, 64u, 65u, 130u}) {
      Tree array = make(TJSON_TYPE_ARRAY);
      std::string expected = "[";
      for (uint64_t i = 0; i < count; ++i) {
        TJsonValue *element = nullptr;
        ASSERT_OK(TJsonValue_item(array.get(), i, &element));
        switch (i % 6) {
          case 0:
            ASSERT_OK(TJsonValue_assignAsInteger(element, INT64_MIN + static_cast<int64_t>(i)));
            break;
          case 1:
            ASSERT_OK(TJsonValue_assignAsUnsigned(element, UINT64_MAX - i));
            break;
          case 2:
            ASSERT_OK(TJsonValue_assignAsFloat(element, 0.1 * static_cast<double>(i)));
            break;
          case 3:
            ASSERT_OK(TJsonValue_assignAsFloat(element, std::nan("")));
            break;
          case 4:
            ASSERT_OK(TJsonValue_assignAsFloat(element, -1e300 / static_cast<double>(i)));
            break;
          default:
            ASSERT_OK(TJsonValue_assignAsInteger(element, static_cast<int64_t>(i)));
        }
        expected += (i ? "," : "") + print(element, writer);
      }
      EXPECT_EQ(print(array.get(), writer), expected + "]") << flags << " " << count;
    }
    // Anything else in the array prints element by element as before.
    Tree mixed = parse(R"([1,2.5,true,null,"x",[3],{"a":4}])");
    EXPECT_EQ(print(mixed.get(), writer), R"([1,2.5,true,null,"x",[3],{"a":4}])");
  }
}

// A container's list of children is kept in the block of its first children: it must
// survive the children leaving, move out when it grows, and go with the container.
TEST_F(JsonTest, ChildListsOutliveTheirChildrenAndMoveOutToGrow) {
  Tree object = parse(R"({"a":1,"b":2})");
  for (const char *name : {"c", "d", "e"})
    ASSERT_OK(TJsonValue_assignAsInteger(at(object.get(), name), 3));
  EXPECT_EQ(print(object.get()), R"({"a":1,"b":2,"c":3,"d":3,"e":3})");

  Tree array = parse("[1,2,3]");
  for (int i = 0; i < 3; ++i) {
    TJsonValue *first = nullptr;
    ASSERT_OK(TJsonValue_item(array.get(), 0, &first));
    ASSERT_OK(TJsonValue_delete(first));
  }
  EXPECT_EQ(print(array.get()), "[]");
  ASSERT_OK(TJsonValue_addIntegerToArray(array.get(), 7));
  EXPECT_EQ(print(array.get()), "[7]");

  Tree grown = make(TJSON_TYPE_ARRAY);
  TJsonValue *element = nullptr;
  ASSERT_OK(TJsonValue_item(grown.get(), 1, &element));
  ASSERT_OK(TJsonValue_assignAsInteger(element, 1));
  ASSERT_OK(TJsonValue_item(grown.get(), 4, &element));
  ASSERT_OK(TJsonValue_assignAsInteger(element, 4));
  EXPECT_EQ(print(grown.get()), "[null,1,null,null,4]");
  Tree copy;
  {
    TJsonValue *cloned = nullptr;
    ASSERT_OK(TJsonValue_clone(grown.get(), &cloned));
    copy.reset(cloned);
  }
  grown.reset();
  ASSERT_OK(TJsonValue_addIntegerToArray(copy.get(), 5));
  EXPECT_EQ(print(copy.get()), "[null,1,null,null,4,5]");
}

// A check keeps its tree for the next parse of the same bytes on its thread; the parse
// must give what it would have built itself, whatever came between.
TEST_F(JsonTest, AParseAfterACheckGivesTheTreeOfItsOwnText) {
  TJsonReader *other = nullptr;
  ASSERT_OK(TJsonReader_open(&other));
  const std::string checked = R"({"a":[1,2.5,"x"],"b":{"c":null}})";
  const std::string sameLength = R"({"a":[1,2.5,"y"],"b":{"c":null}})";
  auto check = [&](const std::string &text) {
    return TJsonReader_check(other, text.data(), text.data() + text.size());
  };
  // What is parsed after a check of `checked`, and what it must print as.
  const struct {
    std::string parsed;
    std::string printed;
  } kCases[] = {
      {checked, checked},
      {std::string(checked), checked},  // the same bytes elsewhere
      {sameLength, sameLength},
      {"[" + checked + "]", "[" + checked + "]"},
  };
  for (const auto &c : kCases) {
    ASSERT_OK(check(checked));
    Tree tree = parse(c.parsed);
    EXPECT_EQ(print(tree.get()), c.printed) << c.parsed;
    EXPECT_EQ(lastError(), "0 No error");
    // Nothing is kept twice: a second parse builds its own tree.
    Tree again = parse(checked);
    EXPECT_EQ(print(again.get()), checked);
  }
  // A failed check keeps nothing, and its error is the parse's.
  ASSERT_OK(check(checked));
  EXPECT_EQ(check("[1,"), TCOMMON_PARSE_ERROR);
  uint64_t offset = 0;
  const char *text = nullptr;
  ASSERT_OK(TJsonReader_error(other, &offset, &text));
  EXPECT_EQ(offset, 3u);
  EXPECT_EQ(print(parse(checked).get()), checked);
  // Another thread's check is not this thread's.
  std::thread([&] { EXPECT_EQ(check(sameLength), TCOMMON_SUCCESS); }).join();
  EXPECT_EQ(print(parse(checked).get()), checked);
  TJsonReader_close(&other);
}

// ---- Absent members ------------------------------------------------------------------------

TEST_F(JsonTest, LookedUpMembersStayOutUntilAssigned) {
  const std::string text = R"({"items":[{"category":"AWB","key":"mode"}]})";
  Tree tree = parse(text);
  TJsonValue *item = at(tree.get(), "items.0");
  TJsonValue *value = nullptr, *current = nullptr;
  ASSERT_OK(TJsonValue_member(item, "value", &value));
  ASSERT_OK(TJsonValue_member(value, "current", &current));
  EXPECT_EQ(typeOf(current), TJSON_TYPE_ABSENT);
  EXPECT_EQ(get(TJsonValue_size, item), 2u);
  EXPECT_EQ(print(tree.get()), text);
  EXPECT_EQ(print(current), "null");
  EXPECT_EQ(print(current, openWriter(0)), "");
  EXPECT_EQ(print(nullptr, openWriter(0)), "");
  EXPECT_EQ(at(tree.get(), "items.0.value.current"), current);  // the same nodes come back

  ASSERT_OK(TJsonValue_assignAsInteger(current, 5));
  EXPECT_EQ(print(tree.get()),
            R"({"items":[{"category":"AWB","key":"mode","value":{"current":5}}]})");
  EXPECT_EQ(at(item, "value"), value);
}

TEST_F(JsonTest, AssignedPathsAppearAtTheEndOfTheirObjects) {
  // Empty or null containers stay in place and get the member; missing ones appear at the end.
  Tree tree =
      parse(R"({"e":{},"n":null,"s":"","a":[],"m":{"min":0},"c":{"current":"old","max":2}})");
  for (const char *name : {"e", "n", "s", "a", "m", "c", "missing"}) {
    ASSERT_OK(TJsonValue_assignAsInteger(at(at(tree.get(), name), "current"), 1)) << name;
  }
  EXPECT_EQ(print(tree.get()), R"({"e":{"current":1},"n":{"current":1},"s":{"current":1},)"
                               R"("a":{"current":1},"m":{"min":0,"current":1},)"
                               R"("c":{"current":1,"max":2},"missing":{"current":1}})");
  // A container looked up before a sibling was added still comes after it.
  tree = parse(R"({"a":1})");
  TJsonValue *late = at(tree.get(), "x.y");
  at(late, "unused");
  ASSERT_OK(TJsonValue_addValueToObject(tree.get(), "b", make(TJSON_TYPE_STRING).release()));
  ASSERT_OK(TJsonValue_assignAsNull(at(late, "z")));
  EXPECT_EQ(print(tree.get()), R"({"a":1,"b":"","x":{"y":{"z":null}}})");
  EXPECT_EQ(get(TJsonValue_size, late), 1u);
  // Only empty texts and arrays stand for an object to be.
  for (const char *full : {R"("x")", "[0]", "1"}) {
    EXPECT_EQ(TJsonValue_member(parse(full).get(), "current", &late), TCOMMON_WRONG_TYPE) << full;
  }
}

// ---- Shape -----------------------------------------------------------------------------------

TEST_F(JsonTest, EmptinessAndSizeFollowWhatTheClientWrote) {
  Tree tree = parse(R"([null,{},"",[],false,0,[null],[1,[2,3]],{"a":null},"h\u00e9"])");
  at(tree.get(), "1.looked-up");  // neither fills an object nor counts
  std::string seen;               // per element: emptiness, then size
  for (uint64_t i = 0; i < 10; ++i) {
    TJsonValue *item = nullptr;
    ASSERT_OK(TJsonValue_item(tree.get(), i, &item));
    seen +=
        std::to_string(TJsonValue_isEmpty(item)) + std::to_string(get(TJsonValue_size, item)) + " ";
  }
  EXPECT_EQ(seen, "10 10 10 10 00 00 01 02 01 03 ");
  EXPECT_EQ(TJsonValue_isEmpty(at(tree.get(), "1.looked-up")), 1);
  EXPECT_EQ(TJsonValue_isEmpty(nullptr), 1);
}

TEST_F(JsonTest, RunsOfElementsConvertAsSingleElementsDo) {
  Tree tree = parse(R"([1, 2.5, "x", true, null, -3, 18446744073709551615])");
  // Entries of elements that do not convert, or that the array lacks, keep what they held.
  std::vector<int64_t> integers = {100, 101, 102, 103, 104, 105, 106, 107};
  ASSERT_OK(TJsonValue_itemsAsIntegers(tree.get(), 0, integers.data(), integers.size()));
  EXPECT_EQ(integers, (std::vector<int64_t>{1, 2, 102, 1, 104, -3, -1, 107}));
  std::vector<double> floats = {0.25, 0.25, 0.25};
  ASSERT_OK(TJsonValue_itemsAsFloats(tree.get(), 5, floats.data(), floats.size()));
  EXPECT_EQ(floats, (std::vector<double>{-3.0, 18446744073709551615.0, 0.25}));
  ASSERT_OK(TJsonValue_itemsAsFloats(tree.get(), 9, floats.data(), floats.size()));
  EXPECT_EQ(TJsonValue_itemsAsIntegers(at(parse("{}").get(), ""), 0, integers.data(), 1),
            TCOMMON_WRONG_TYPE);

  // The strict run stops at the first element that does not convert, at every start.
  const struct {
    uint64_t first;
    uint32_t code;
    uint64_t converted;
  } kStrict[] = {{0, TCOMMON_WRONG_TYPE, 2},
                 {3, TCOMMON_WRONG_TYPE, 1},
                 {5, TCOMMON_SUCCESS, 2},
                 {9, TCOMMON_SUCCESS, 0}};
  for (const auto &run : kStrict) {
    std::vector<int64_t> strict(4, 100);
    uint64_t converted = 99;
    EXPECT_EQ(TJsonValue_itemsAsIntegersStrict(tree.get(), run.first, strict.data(), strict.size(),
                                               &converted),
              run.code)
        << run.first;
    EXPECT_EQ(converted, run.converted) << run.first;
    for (uint64_t i = converted; i < strict.size(); ++i) EXPECT_EQ(strict[i], 100) << run.first;
  }
  uint64_t converted = 0;
  EXPECT_EQ(TJsonValue_itemsAsIntegersStrict(at(parse("{}").get(), ""), 0, integers.data(), 1,
                                             &converted),
            TCOMMON_WRONG_TYPE);

  // Assigned runs replace what was there, grow the array, and make an absent value real.
  Tree mixed = parse(R"(["a", {"b": 1}])");
  const int64_t seven[] = {7, 8, 9};
  ASSERT_OK(TJsonValue_assignItemsAsIntegers(mixed.get(), 1, seven, 3));
  EXPECT_EQ(print(mixed.get()), R"(["a",7,8,9])");
  Tree object = make(TJSON_TYPE_OBJECT);
  const double half = 0.5;
  ASSERT_OK(TJsonValue_assignItemsAsFloats(at(object.get(), "t"), 2, &half, 1));
  EXPECT_EQ(print(object.get()), R"({"t":[null,null,0.5]})");
  EXPECT_EQ(TJsonValue_assignItemsAsIntegers(at(mixed.get(), "0"), 0, seven, 1),
            TCOMMON_WRONG_TYPE);

  // Runs assigned in order to an empty array (a read's table row) keep it without nodes,
  // growing it past its room; a gap, an item or a copy must still see every element.
  Tree row = make(TJSON_TYPE_ARRAY);
  std::vector<int64_t> counting(300);
  for (size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<int64_t>(i) - 1;
  ASSERT_OK(TJsonValue_assignItemsAsIntegers(row.get(), 0, counting.data(), 256));
  ASSERT_OK(TJsonValue_assignItemsAsIntegers(row.get(), 256, counting.data() + 256, 44));
  const double halves[] = {0.5, -1.5};
  ASSERT_OK(TJsonValue_assignItemsAsFloats(row.get(), 1, halves, 2));
  ASSERT_OK(TJsonValue_assignItemsAsFloats(row.get(), 300, halves, 1));
  std::string expected = "[-1,0.5,-1.5";
  for (int64_t i = 2; i < 299; ++i) expected += "," + std::to_string(i);
  expected += ",0.5]";
  EXPECT_EQ(print(row.get()), expected);
  EXPECT_EQ(get(TJsonValue_size, row.get()), 301u);
  std::vector<int64_t> read(4, 77);
  ASSERT_OK(TJsonValue_itemsAsIntegers(row.get(), 299, read.data(), read.size()));
  EXPECT_EQ(read, (std::vector<int64_t>{298, 0, 77, 77}));
  TJsonValue *copy = nullptr;
  ASSERT_OK(TJsonValue_clone(row.get(), &copy));
  EXPECT_EQ(print(Tree(copy).get()), expected);
  ASSERT_OK(TJsonValue_assignItemsAsIntegers(row.get(), 302, seven, 1));
  EXPECT_EQ(print(row.get()), expected.substr(0, expected.size() - 1) + ",null,7]");
  Tree gap = make(TJSON_TYPE_ARRAY);
  ASSERT_OK(TJsonValue_assignItemsAsFloats(gap.get(), 1, halves, 1));
  EXPECT_EQ(print(gap.get()), "[null,0.5]");
}

// A parsed array of numbers is kept without element nodes until a call needs one. Every
// call must answer on such a row as on the same row once its nodes exist (here made by
// taking an item of every array first), and leave the tree printing the same.
TEST_F(JsonTest, RowsOfNumbersAnswerAsTheirNodesDo) {
  std::string longRow = "[";
  for (int i = 0; i < 150; ++i) longRow += (i ? "," : "") + std::to_string(i * 7919 - 500000);
  longRow += ",0.1,-2.5e-300]";
  const struct {
    std::string text;
    const char *row;  // path of the array the calls work on
  } kCases[] = {
      {"[1,-2,3]", ""},
      {"[0.5,-0.0,1e300,2.9,-2.9,9223372036854775808,-9223372036854775808,18446744073709551615,"
       "18446744073709551616]",
       ""},
      {R"({"t":[[1,2,3],[4.5,5,6],[]],"u":[7]})", "t.1"},
      {R"({"t":[[1,2,3],[4.5,5,6],[]],"u":[7]})", "t"},
      {R"({"t":[[1,2,3],[4.5,5,6],[]],"u":[7]})", "u"},
      {longRow, ""},
      {longRow.substr(0, longRow.size() - 1) + R"(,"x"])", ""},  // mixed arrays hold nodes
      {"[1,2,[3,4],5]", "2"},
      {"[1,true]", ""},
      {"[1,null,2]", ""},
      {R"([1,"2"])", ""},
      {"[]", ""},
  };
  // Walks every array and object, taking every element's node.
  std::function<void(TJsonValue *)> makeNodes = [&](TJsonValue *value) {
    const uint64_t size = get(TJsonValue_size, value);
    if (typeOf(value) == TJSON_TYPE_OBJECT) {
      TJsonValue_forEachMember(
          value,
          [](void *walk, const char *, TJsonValue *member) -> uint32_t {
            (*static_cast<std::function<void(TJsonValue *)> *>(walk))(member);
            return 0;
          },
          &makeNodes);
    } else if (typeOf(value) == TJSON_TYPE_ARRAY) {
      for (uint64_t i = 0; i < size; ++i) {
        TJsonValue *item = nullptr;
        EXPECT_EQ(TJsonValue_item(value, i, &item), TCOMMON_SUCCESS);
        makeNodes(item);
      }
    }
  };
  TJsonWriter *pretty = openWriter(TJSON_WRITER_SHORTEST_FLOAT, 2);
  TJsonWriter *digits17 = openWriter(0);
  // Each call on the row, its outcome as text (printing the whole tree after a change).
  using Call = std::function<std::string(TJsonValue * tree, TJsonValue * row)>;
  const std::pair<const char *, Call> kCalls[] = {
      {"print",
       [&](TJsonValue *tree, TJsonValue *) {
         std::string printed = print(tree) + print(tree, pretty) + print(tree, digits17);
         const char *text = nullptr;
         uint64_t length = 0;
         EXPECT_EQ(TJsonWriter_begin(writer_), TCOMMON_SUCCESS);
         EXPECT_EQ(TJsonWriter_value(writer_, tree), TCOMMON_SUCCESS);
         EXPECT_EQ(TJsonWriter_end(writer_, &text), TCOMMON_SUCCESS);
         EXPECT_EQ(TJsonWriter_length(writer_, &length), TCOMMON_SUCCESS);
         return printed + std::string(text, length);
       }},
      {"queries",
       [&](TJsonValue *, TJsonValue *row) {
         TJsonValue *member = nullptr;
         return std::to_string(typeOf(row)) + std::to_string(get(TJsonValue_size, row)) +
                std::to_string(TJsonValue_isEmpty(row)) +
                shown(TJsonValue_member(row, "m", &member), 0) + conversions(row, true);
       }},
      {"runs",
       [&](TJsonValue *, TJsonValue *row) {
         std::string outcome;
         const uint64_t size = get(TJsonValue_size, row);
         for (const uint64_t first : {uint64_t{0}, uint64_t{1}, size - 1, size, size + 3}) {
           for (const uint64_t count : {uint64_t{2}, uint64_t{300}}) {
             std::vector<int64_t> integers(count, 77), strict(count, 77);
             std::vector<double> floats(count, 0.25);
             uint64_t converted = 99;
             outcome += shown(TJsonValue_itemsAsIntegers(row, first, integers.data(), count), 0);
             outcome += shown(TJsonValue_itemsAsFloats(row, first, floats.data(), count), 0);
             outcome += shown(
                 TJsonValue_itemsAsIntegersStrict(row, first, strict.data(), count, &converted),
                 converted);
             for (uint64_t i = 0; i < count; ++i) {
               outcome += " " + shown(0, integers[i]) + " " + shown(0, floats[i]) + " " +
                          shown(0, strict[i]);
             }
           }
         }
         return outcome;
       }},
      {"assign into an element",
       [&](TJsonValue *tree, TJsonValue *row) {
         TJsonValue *item = nullptr;
         const uint32_t code = TJsonValue_item(row, 1, &item);
         if (code == TCOMMON_SUCCESS) TJsonValue_assignAsString(item, "s");
         TJsonValue *again = nullptr;
         TJsonValue_item(row, 1, &again);
         return shown(code, again == item) + print(tree);
       }},
      {"remove an element",
       [&](TJsonValue *tree, TJsonValue *row) {
         TJsonValue *item = nullptr;
         if (TJsonValue_item(row, 0, &item) == TCOMMON_SUCCESS) TJsonValue_delete(item);
         return print(tree) + print(tree, pretty);
       }},
      {"add elements",
       [&](TJsonValue *tree, TJsonValue *row) {
         TJsonValue_addIntegerToArray(row, -1);
         TJsonValue_addValueToArray(row, make(TJSON_TYPE_OBJECT).release());
         return print(tree);
       }},
      {"assign runs",
       [&](TJsonValue *tree, TJsonValue *row) {
         const double halves[] = {0.5, 1.5, 2.5};
         const int64_t sevens[] = {7, 77};
         TJsonValue_assignItemsAsFloats(row, 1, halves, 3);
         TJsonValue_assignItemsAsIntegers(row, 0, sevens, 2);
         return print(tree);
       }},
      {"grow to an index",
       [&](TJsonValue *tree, TJsonValue *row) {
         TJsonValue *item = nullptr;
         TJsonValue_item(row, get(TJsonValue_size, row) + 1, &item);
         TJsonValue_assignAsFloat(item, 3.25);
         return print(tree);
       }},
      {"clone",
       [&](TJsonValue *tree, TJsonValue *row) {
         TJsonValue *copy = nullptr;
         EXPECT_EQ(TJsonValue_clone(tree, &copy), TCOMMON_SUCCESS);
         Tree owned(copy);
         TJsonValue_assignAsInteger(row, 0);  // the copy keeps its own
         TJsonValue *item = nullptr;
         TJsonValue_item(copy, 0, &item);
         TJsonValue_assignAsBoolean(item, 1);
         return print(copy) + print(copy, pretty) + print(tree);
       }},
      {"replace the row",
       [&](TJsonValue *tree, TJsonValue *row) {
         TJsonValue_assignAsString(row, "a text long enough for the heap, not the node");
         return print(tree);
       }},
  };
  for (const auto &c : kCases) {
    for (const auto &[name, call] : kCalls) {
      Tree packed = parse(c.text);
      Tree nodes = parse(c.text);
      makeNodes(nodes.get());
      EXPECT_EQ(call(nodes.get(), at(nodes.get(), c.row)),
                call(packed.get(), at(packed.get(), c.row)))
          << c.text << " " << c.row << ": " << name;
    }
  }
}

TEST_F(JsonTest, PathsAndItemsGrowArraysWithNull) {
  Tree tree = parse(R"({"a":[{"b":1},[10]],"7":{"8":2},"n":null,"s":"x"})");
  EXPECT_EQ(get(TJsonValue_asInteger, at(tree.get(), "a.0.b")), 1);
  EXPECT_EQ(get(TJsonValue_asInteger, at(tree.get(), "7.8")), 2);  // digits name members
  EXPECT_EQ(at(tree.get(), ""), tree.get());
  TJsonValue *third = at(tree.get(), "a.1.2"), *again = nullptr, *element = nullptr;
  ASSERT_OK(TJsonValue_assignAsInteger(third, 3));
  ASSERT_OK(TJsonValue_item(at(tree.get(), "a.1"), 2, &again));
  EXPECT_EQ(again, third);
  // Absent and null values become arrays; other values refuse.
  ASSERT_OK(TJsonValue_item(at(tree.get(), "list"), 1, &element));
  ASSERT_OK(TJsonValue_item(at(tree.get(), "n"), 0, &element));
  EXPECT_EQ(TJsonValue_item(at(tree.get(), "s"), 0, &element), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonValue_item(at(tree.get(), "7"), 0, &element), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonPath(tree.get(), "a.0.b.c", &element), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonPath(tree.get(), "a.99999999999999999999999", &element), TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(print(tree.get()),
            R"({"a":[{"b":1},[10,null,3]],"7":{"8":2},"n":[null],"s":"x","list":[null,null]})");
}

TEST_F(JsonTest, AssignmentReplacesTheValueInPlace) {
  // Children of replaced containers are freed (the sanitizer build checks for leaks).
  Tree tree = parse(R"({"a":[1,{"x":"a string longer than sixteen bytes"}],"b":{"c":[]}})");
  TJsonValue *a = at(tree.get(), "a");
  TJsonValue *b = at(tree.get(), "b");
  ASSERT_OK(TJsonValue_assignAsFloat(a, 2.0));
  ASSERT_OK(TJsonValue_assignAsString(b, "now a string long enough for the heap"));
  EXPECT_EQ(print(tree.get()), R"({"a":2.0,"b":"now a string long enough for the heap"})");
  EXPECT_EQ(at(tree.get(), "a"), a);
  // Assigning a part of the value's own text.
  const char *text = nullptr;
  ASSERT_OK(TJsonValue_asString(b, &text));
  ASSERT_OK(TJsonValue_assignAsString(b, text + 4));
  ASSERT_OK(TJsonValue_asString(b, &text));
  ASSERT_OK(TJsonValue_assignAsStringLength(b, text + 2, 6));
  EXPECT_EQ(print(b), "\"string\"");
  // Unsigned values that fit are stored as the reader stores them.
  ASSERT_OK(TJsonValue_assignAsUnsigned(a, 5));
  EXPECT_EQ(typeOf(a), TJSON_TYPE_INTEGER);

  // create() on an existing value resets it to an empty value of the type.
  const std::pair<uint32_t, std::string> cases[] = {
      {TJSON_TYPE_ARRAY, "[]"},   {TJSON_TYPE_OBJECT, "{}"}, {TJSON_TYPE_BOOLEAN, "false"},
      {TJSON_TYPE_UNSIGNED, "0"}, {TJSON_TYPE_FLOAT, "0.0"}, {TJSON_TYPE_STRING, "\"\""}};
  for (const auto &[type, printed] : cases) {
    Tree value = parse(R"({"k":[1,{"deep":["x"]}]})");
    TJsonValue *k = at(value.get(), "k");
    ASSERT_OK(TJsonValue_create(type, &k));
    EXPECT_EQ(k, at(value.get(), "k"));
    EXPECT_EQ(print(value.get()), "{\"k\":" + printed + "}");
  }
  // ... and makes an absent value real.
  TJsonValue *list = at(tree.get(), "list");
  ASSERT_OK(TJsonValue_create(TJSON_TYPE_ARRAY, &list));
  EXPECT_EQ(get(TJsonValue_size, tree.get()), 3u);
}

TEST_F(JsonTest, HandlesSurviveSiblingChanges) {
  Tree tree = parse(R"({"first":1,"array":[0],"last":2})");
  TJsonValue *first = at(tree.get(), "first");
  TJsonValue *array = at(tree.get(), "array");
  TJsonValue *zero = at(tree.get(), "array.0");
  for (int i = 0; i < 500; ++i) {
    const std::string name = "member" + std::to_string(i);
    ASSERT_OK(TJsonValue_assignAsInteger(at(tree.get(), name.c_str()), i));
    ASSERT_OK(TJsonValue_addIntegerToArray(array, i + 1));
  }
  ASSERT_OK(TJsonValue_removeMemberFromObject(tree.get(), "last"));
  ASSERT_OK(TJsonValue_delete(at(tree.get(), "array.1")));  // leaves the array
  ASSERT_OK(TJsonValue_assignAsInteger(zero, -5));
  EXPECT_EQ(get(TJsonValue_asInteger, first), 1);
  EXPECT_EQ(get(TJsonValue_size, array), 500u);
  EXPECT_EQ(get(TJsonValue_size, tree.get()), 502u);
  EXPECT_EQ(print(at(tree.get(), "array")).substr(0, 8), "[-5,2,3,");
  EXPECT_EQ(get(TJsonValue_asInteger, at(tree.get(), "member499")), 499);
}

TEST_F(JsonTest, RemoveAndVisitMembers) {
  Tree tree = parse(R"({"a":1,"z":{"x":[1]},"a":2,"c":3,"m":4})");
  at(tree.get(), "d");  // absent
  for (const char *name : {"a", "d", "nothing"}) {
    ASSERT_OK(TJsonValue_removeMemberFromObject(tree.get(), name)) << name;
  }
  // The absent member was removed too: a new lookup makes a new one at the end.
  ASSERT_OK(TJsonValue_assignAsInteger(at(tree.get(), "d"), 5));
  at(tree.get(), "absent");
  std::vector<std::string> names;
  auto stopAtM = [](void *context, const char *name, TJsonValue *) -> uint32_t {
    static_cast<std::vector<std::string> *>(context)->push_back(name);
    return std::strcmp(name, "m") == 0 ? 42u : 0u;
  };
  EXPECT_EQ(TJsonValue_forEachMember(tree.get(), stopAtM, &names), 42u);
  ASSERT_OK(TJsonValue_removeMemberFromObject(tree.get(), "m"));
  EXPECT_EQ(TJsonValue_forEachMember(tree.get(), stopAtM, &names), TCOMMON_SUCCESS);
  EXPECT_EQ(names, (std::vector<std::string>{"z", "c", "m", "z", "c", "d"}));
  EXPECT_EQ(TJsonValue_forEachMember(at(tree.get(), "c"), stopAtM, &names), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(TJsonValue_removeMemberFromObject(at(tree.get(), "c"), "x"), TCOMMON_WRONG_TYPE);
}

TEST_F(JsonTest, CloneIsIndependent) {
  const std::string text = R"({"a":[1,"a long string value here",{"b":null}],"c":1.5})";
  Tree tree = parse(text);
  at(tree.get(), "absent");
  TJsonValue *copy = nullptr, *part = nullptr;
  ASSERT_OK(TJsonValue_clone(tree.get(), &copy));
  Tree owned(copy);
  ASSERT_OK(TJsonValue_assignAsInteger(at(tree.get(), "a.1"), 2));
  ASSERT_OK(TJsonValue_assignAsInteger(at(tree.get(), "absent"), 3));
  EXPECT_EQ(print(copy), text);
  EXPECT_EQ(get(TJsonValue_size, copy), 2u);
  // A clone of a member is a root of its own.
  ASSERT_OK(TJsonValue_clone(at(tree.get(), "a.2"), &part));
  ASSERT_OK(TJsonValue_addValueToArray(at(tree.get(), "a"), part));
  ASSERT_OK(TJsonValue_assignAsInteger(at(part, "b"), 7));
  EXPECT_EQ(print(tree.get()), R"({"a":[1,2,{"b":null},{"b":7}],"c":1.5,"absent":3})");
}

TEST_F(JsonTest, AddValueToArrayMovesARoot) {
  Tree tree = parse(R"({"list":[1]})");
  TJsonValue *list = at(tree.get(), "list");
  TJsonValue *element = make(TJSON_TYPE_OBJECT).release();
  ASSERT_OK(TJsonValue_addValueToArray(list, element));
  ASSERT_OK(TJsonValue_assignAsString(at(element, "k"), "v"));  // the handle moved along
  ASSERT_OK(TJsonValue_addValueToArray(list, nullptr));
  ASSERT_OK(TJsonValue_addBooleanToArray(list, 7));
  ASSERT_OK(TJsonValue_addUnsignedToArray(list, UINT64_MAX));
  ASSERT_OK(TJsonValue_addStringToArray(list, "s"));
  // Only roots move, and never into their own tree.
  EXPECT_EQ(TJsonValue_addValueToArray(list, element), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonValue_addValueToArray(list, tree.get()), TCOMMON_INVALID_ARGUMENT);
  // An absent member becomes an array; scalars refuse.
  ASSERT_OK(TJsonValue_addIntegerToArray(at(tree.get(), "more"), 1));
  EXPECT_EQ(TJsonValue_addIntegerToArray(at(element, "k"), 1), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(print(tree.get()),
            R"({"list":[1,{"k":"v"},null,true,18446744073709551615,"s"],"more":[1]})");
}

TEST_F(JsonTest, AddValueToObjectReplacesInPlaceOrAppends) {
  auto root = [&](uint32_t type) { return make(type).release(); };  // ownership moves
  Tree tree = parse(R"({"a":1,"b":{"x":[1,2]},"n":null,"i":1})");
  at(tree.get(), "d");  // looked up before "e" is added
  ASSERT_OK(TJsonValue_addValueToObject(tree.get(), "e", root(TJSON_TYPE_BOOLEAN)));
  TJsonValue *value = root(TJSON_TYPE_STRING);
  ASSERT_OK(TJsonValue_addValueToObject(tree.get(), "b", value));
  ASSERT_OK(TJsonValue_assignAsString(value, "replaced"));
  ASSERT_OK(TJsonValue_addValueToObject(tree.get(), "d", root(TJSON_TYPE_INTEGER)));
  EXPECT_EQ(TJsonValue_addValueToObject(tree.get(), "x", value), TCOMMON_INVALID_ARGUMENT);
  // Absent and null objects become objects; other values refuse.
  ASSERT_OK(TJsonValue_addValueToObject(at(tree.get(), "n"), "k", root(TJSON_TYPE_NULL)));
  ASSERT_OK(TJsonValue_addValueToObject(at(tree.get(), "p.q"), "k", root(TJSON_TYPE_NULL)));
  Tree refused = make(TJSON_TYPE_BOOLEAN);
  EXPECT_EQ(TJsonValue_addValueToObject(at(tree.get(), "i"), "k", refused.get()),
            TCOMMON_WRONG_TYPE);
  EXPECT_EQ(print(tree.get()), R"({"a":1,"b":"replaced","n":{"k":null},"i":1,"e":false,"d":0,)"
                               R"("p":{"q":{"k":null}}})");
}

TEST_F(JsonTest, DeepTreesBuiltThroughTheApiNeedNoRecursion) {
  constexpr int kDepth = 100000;
  Tree tree = make(TJSON_TYPE_ARRAY);
  TJsonValue *current = tree.get(), *copy = nullptr;
  for (int i = 1; i < kDepth; ++i) {
    ASSERT_OK(TJsonValue_item(current, 0, &current));
    ASSERT_OK(TJsonValue_create(TJSON_TYPE_ARRAY, &current));
  }
  ASSERT_OK(TJsonValue_clone(tree.get(), &copy));
  EXPECT_EQ(print(Tree(copy).get()), std::string(kDepth, '[') + std::string(kDepth, ']'));
}

// ---- Conversions -----------------------------------------------------------------------------

TEST_F(JsonTest, ConversionsSaturateAndKeepBitPatterns) {
  // As boolean, integer, unsigned, float and string; 'x': refused, output untouched.
  const std::pair<const char *, const char *> cases[] = {
      {"true", "1 1 1 1 x77"},
      {"false", "0 0 0 0 x77"},
      {"-1", "1 -1 18446744073709551615 -1 x77"},
      {"9223372036854775808", "1 -9223372036854775808 9223372036854775808 9223372036854775808 x77"},
      {"18446744073709551615", "1 -1 18446744073709551615 18446744073709551616 x77"},
      {"2.9", "1 2 2 2.9 x77"},
      {"-2.9", "1 -2 0 -2.9 x77"},
      {"-0.0", "0 0 0 -0 x77"},
      {"0.25", "1 0 0 0.25 x77"},
      {"9223372036854775807.0",
       "1 9223372036854775807 9223372036854775808 9223372036854775808 x77"},
      {"18446744073709551616.0",
       "1 9223372036854775807 18446744073709551615 18446744073709551616 x77"},
      {"18446744073709549568.0",
       "1 9223372036854775807 18446744073709549568 18446744073709549568 x77"},
      {"inf", "1 9223372036854775807 18446744073709551615 inf x77"},
      {"-inf", "1 -9223372036854775808 0 -inf x77"},
      {"nan", "1 0 0 nan x77"},
      {"\"5\"", "x77 x77 x77 x77 5"},
      {"null", "x77 x77 x77 x77 x77"},
  };
  for (const auto &[text, expected] : cases) {
    // Texts that are not JSON (inf, nan) are assigned as doubles.
    const bool json = TJsonReader_check(reader_, text, text + std::strlen(text)) == 0;
    Tree value = json ? parse(text) : make(TJSON_TYPE_FLOAT);
    if (!json) {
      ASSERT_OK(TJsonValue_assignAsFloat(value.get(), std::strtod(text, nullptr)));
    }
    EXPECT_EQ(conversions(value.get(), false), expected) << text;
    Tree array = make(TJSON_TYPE_ARRAY);
    ASSERT_OK(TJsonValue_addValueToArray(array.get(), value.release()));
    EXPECT_EQ(conversions(array.get(), true), expected) << text;
    // A parsed array of numbers keeps them packed, without nodes.
    if (json) {
      EXPECT_EQ(conversions(parse("[" + std::string(text) + "]").get(), true), expected) << text;
    }
  }
  Tree array = parse("[1]");
  int64_t integer = 0;
  EXPECT_EQ(TJsonValue_itemAsInteger(array.get(), 1, &integer), TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(TJsonValue_itemAsInteger(parse("{}").get(), 0, &integer), TCOMMON_WRONG_TYPE);
  EXPECT_EQ(get(TJsonValue_size, array.get()), 1u);  // reading never grows the array
}

// ---- Writer ----------------------------------------------------------------------------------

TEST_F(JsonTest, WriterIndentsAndReplacesInvalidUtf8) {
  Tree tree = parse(R"({"a":[1,2.5],"b":{},"c":{"d":"e"}})");
  at(tree.get(), "absent");
  EXPECT_EQ(print(tree.get(), openWriter(TJSON_WRITER_SHORTEST_FLOAT, 2)),
            "{\n  \"a\": [\n    1,\n    2.5\n  ],\n  \"b\": {},\n  \"c\": {\n    \"d\": \"e\"\n  "
            "}\n}");
  const std::string r = "\xEF\xBF\xBD";
  const Pair cases[] = {{"\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
                        {"a\xFF"
                         "b",
                         "a" + r + "b"},
                        {"\xE2\x82", r + r},
                        {"\xED\xA0\x80", r + r + r},
                        {"\xC0\xAF", r + r},
                        {"\xF4\x90\x80\x80", r + r + r + r}};
  for (const auto &[bytes, printed] : cases) {
    Tree object = make(TJSON_TYPE_OBJECT);
    TJsonValue *member = at(object.get(), bytes.c_str());
    ASSERT_OK(TJsonValue_assignAsStringLength(member, bytes.data(), bytes.size()));
    const std::string text = print(object.get());
    EXPECT_EQ(text, "{\"" + printed + "\":\"" + printed + "\"}") << bytes;
    EXPECT_NE(parse(text), nullptr);  // what we print, we read
  }
}

TEST_F(JsonTest, LongTextsEscapeEveryByteThatNeedsIt) {
  // Long texts are checked in blocks of 64, 16 and 8 bytes: put each byte that needs
  // escaping in every part of a block and in the tail, and the bytes nearest to those that
  // need none beside it.
  const Pair escaped[] = {{"\"", "\\\""},      {"\\", "\\\\"},      {"\n", "\\n"},
                          {"\x01", "\\u0001"}, {"\x1F", "\\u001F"}, {" ", " "},
                          {"!", "!"},          {"#", "#"},          {"[", "["},
                          {"]", "]"},          {"\x7F", "\x7F"},    {"\xC3\xA9", "\xC3\xA9"}};
  const std::string base(300, 'x');
  for (const auto &[byte, printed] : escaped) {
    for (size_t at : {0, 5, 7, 40, 63, 150, 255, 260, 298}) {
      const std::string text = base.substr(0, at) + byte + base.substr(at + 1);
      Tree value = make(TJSON_TYPE_STRING);
      ASSERT_OK(TJsonValue_assignAsStringLength(value.get(), text.data(), text.size()));
      EXPECT_EQ(print(value.get()),
                "\"" + base.substr(0, at) + printed + base.substr(at + 1) + "\"")
          << "byte " << static_cast<int>(static_cast<unsigned char>(byte[0])) << " at " << at;
    }
  }
}

// Short texts (member names, keys) with nothing to escape are copied as they stand:
// every other byte still takes the escaping or the UTF-8 repair, as a name and as a value,
// in both layouts.
TEST_F(JsonTest, ShortTextsAndNamesEscapeEveryByteThatNeedsIt) {
  const Pair escaped[] = {{"\"", "\\\""},
                          {"\\", "\\\\"},
                          {"\n", "\\n"},
                          {"\x01", "\\u0001"},
                          {"\x1F", "\\u001F"},
                          {" ", " "},
                          {"~", "~"},
                          {"\x7F", "\x7F"},
                          {"\xC3\xA9", "\xC3\xA9"},
                          {"\xFF", "\xEF\xBF\xBD"},
                          {"", ""}};
  TJsonWriter *pretty = openWriter(0, 2);
  for (const auto &[byte, printed] : escaped) {
    const std::string text = "ab" + byte + "cd";
    const std::string shown = "\"ab" + printed + "cd\"";
    Tree object = make(TJSON_TYPE_OBJECT);
    TJsonValue *member = nullptr;
    ASSERT_OK(TJsonValue_member(object.get(), text.c_str(), &member));
    ASSERT_OK(TJsonValue_assignAsStringLength(member, text.data(), text.size()));
    ASSERT_OK(TJsonValue_member(object.get(), "n", &member));
    ASSERT_OK(TJsonValue_assignAsInteger(member, 1));
    EXPECT_EQ(print(object.get()), "{" + shown + ":" + shown + ",\"n\":1}") << text;
    EXPECT_EQ(print(object.get(), pretty), "{\n  " + shown + ": " + shown + ",\n  \"n\": 1\n}")
        << text;
  }
}

// ---- Display -----------------------------------------------------------------------------------

TEST(JsonUtility, ShortenForDisplay) {
  const std::string e = "\xC3\xA9";  // two bytes
  const std::tuple<std::string, uint64_t, uint64_t, std::string> cases[] = {
      {"{\n  \"a\" :\t 1\r\n}", 64, 64, "{ \"a\" : 1 }"},
      {std::string("a\x01z\x7F", 4), 64, 64, "a?z?"},
      {"abcdefgh", 8, 64, "abcdefgh"},
      {"a  b  c  d  e", 8, 64, "a b c..."},
      {"abcdefghij", 100, 5, "abcd"},
      {"abcdefghij", 8, 8, "abcde.."},
      {e + e + e + e + e, 6, 64, e + "..."},
      {e + e + e + e + e, 7, 64, e + e + "..."},
      {e + e, 100, 4, e},
      {"abcdef", 2, 64, ".."},
      {"abc", 3, 1, ""}};
  for (const auto &[text, limit, capacity, preview] : cases) {
    std::vector<char> buffer(capacity + 8, '#');
    ASSERT_OK(TJsonUtility_shortenForDisplay(text.data(), text.data() + text.size(), limit,
                                             buffer.data(), capacity));
    EXPECT_EQ(std::string(buffer.data()), preview) << text << " " << limit;
    EXPECT_EQ(buffer[capacity], '#') << text;  // nothing written past capacity
  }
  // The end of the range is respected; there must be room for the NUL.
  const char text[] = {'a', 'b', 'c', 'd'};
  char buffer[16];
  ASSERT_OK(TJsonUtility_shortenForDisplay(text, text + 2, 10, buffer, sizeof buffer));
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(TJsonUtility_shortenForDisplay(text, text + 2, 10, buffer, 0),
            TCOMMON_INVALID_ARGUMENT);
}

}  // namespace
