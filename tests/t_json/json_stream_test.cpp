// Streamed printing must give the text a tree of the same document prints, in every layout,
// and refuse pieces that would make the text malformed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "t_common.h"
#include "t_json.h"

namespace {

// One document: {"n":[<integers>],"f":[<doubles>],"s":"<text>","p":"<plain>","o":{"b":
// true,"u":<u64>,"x":<double>},"e":[],"t":<integer table>,"g":<double table>,"z":[[],[]]},
// as a tree and streamed.
struct Document {
  std::vector<int64_t> integers;
  std::vector<double> floats;
  std::string text;   // to be escaped and repaired
  std::string plain;  // printed as it is
};

// The tables: integers of shape 2 x 3 x 4 (taken from the document's), doubles 3 x 5, and
// one with an empty last dimension.
constexpr uint32_t kCubeShape[] = {2, 3, 4};
constexpr uint32_t kGridShape[] = {3, 5};
constexpr uint32_t kHollowShape[] = {2, 0};

// values[first..] as nested arrays of shape (dimensions of them) in array; returns the
// values after them.
template <typename Number>
size_t addTable(TJsonValue *array, const std::vector<Number> &values, size_t first,
                const uint32_t *shape, uint32_t dimensions) {
  TJsonValue_create(TJSON_TYPE_ARRAY, &array);
  for (uint32_t i = 0; i < shape[0]; ++i) {
    TJsonValue *item = nullptr;
    TJsonValue_item(array, i, &item);
    if (dimensions > 1) {
      first = addTable(item, values, first, shape + 1, dimensions - 1);
    } else if constexpr (std::is_floating_point_v<Number>) {
      TJsonValue_assignAsFloat(item, values[first++]);
    } else {
      TJsonValue_assignAsInteger(item, values[first++]);
    }
  }
  return first;
}

TJsonValue *makeTree(const Document &document) {
  TJsonValue *root = nullptr;
  EXPECT_EQ(TJsonValue_create(TJSON_TYPE_OBJECT, &root), TCOMMON_SUCCESS);
  TJsonValue *member = nullptr;
  TJsonValue_member(root, "n", &member);
  TJsonValue_create(TJSON_TYPE_ARRAY, &member);
  for (int64_t value : document.integers) TJsonValue_addIntegerToArray(member, value);
  TJsonValue_member(root, "f", &member);
  TJsonValue_create(TJSON_TYPE_ARRAY, &member);
  for (double value : document.floats) TJsonValue_addFloatToArray(member, value);
  TJsonValue_member(root, "s", &member);
  TJsonValue_assignAsStringLength(member, document.text.data(), document.text.size());
  TJsonValue_member(root, "p", &member);
  TJsonValue_assignAsStringLength(member, document.plain.data(), document.plain.size());
  TJsonValue *inner = nullptr;
  TJsonPath(root, "o.b", &inner);
  TJsonValue_assignAsBoolean(inner, 1);
  TJsonPath(root, "o.u", &inner);
  TJsonValue_assignAsUnsigned(inner, UINT64_MAX);
  TJsonPath(root, "o.x", &inner);
  TJsonValue_assignAsFloat(inner, 0.1);
  TJsonPath(root, "o.absent", &inner);  // looked up only: printed nowhere
  TJsonValue_member(root, "e", &member);
  TJsonValue_create(TJSON_TYPE_ARRAY, &member);
  TJsonValue_member(root, "t", &member);
  addTable(member, document.integers, 0, kCubeShape, 3);
  TJsonValue_member(root, "g", &member);
  addTable(member, document.floats, 0, kGridShape, 2);
  TJsonValue_member(root, "z", &member);
  addTable(member, document.integers, 0, kHollowShape, 2);
  return root;
}

std::string printTree(TJsonWriter *writer, const Document &document) {
  TJsonValue *root = makeTree(document);
  const char *text = nullptr;
  EXPECT_EQ(TJsonWriter_stringify(writer, root, &text), TCOMMON_SUCCESS);
  std::string printed = text;
  TJsonValue_delete(root);
  return printed;
}

std::string printStream(TJsonWriter *writer, const Document &document) {
  uint32_t code = TJsonWriter_begin(writer);
  auto key = [&](const char *name) {
    if (code == TCOMMON_SUCCESS) code = TJsonWriter_key(writer, name, std::strlen(name));
  };
  auto step = [&](uint32_t result) {
    if (code == TCOMMON_SUCCESS) code = result;
  };
  step(TJsonWriter_startObject(writer));
  key("n");
  step(TJsonWriter_startArray(writer));
  step(TJsonWriter_integers(writer, document.integers.data(), document.integers.size()));
  step(TJsonWriter_endArray(writer));
  key("f");
  step(TJsonWriter_startArray(writer));
  // Mixed: a run, then single values, so both paths share one array.
  const size_t half = document.floats.size() / 2;
  step(TJsonWriter_floats(writer, document.floats.data(), half));
  for (size_t i = half; i < document.floats.size(); ++i) {
    step(TJsonWriter_float(writer, document.floats[i]));
  }
  step(TJsonWriter_endArray(writer));
  key("s");
  step(TJsonWriter_string(writer, document.text.data(), document.text.size()));
  key("p");
  step(TJsonWriter_string(writer, document.plain.data(), document.plain.size()));
  key("o");
  step(TJsonWriter_startObject(writer));
  key("b");
  step(TJsonWriter_boolean(writer, 1));
  key("u");
  step(TJsonWriter_unsigned(writer, UINT64_MAX));
  key("x");
  step(TJsonWriter_float(writer, 0.1));
  step(TJsonWriter_endObject(writer));
  key("e");
  step(TJsonWriter_startArray(writer));
  step(TJsonWriter_integers(writer, nullptr, 0));
  step(TJsonWriter_endArray(writer));
  key("t");
  step(TJsonWriter_integerTable(writer, document.integers.data(), kCubeShape, 3));
  key("g");
  step(TJsonWriter_floatTable(writer, document.floats.data(), kGridShape, 2));
  key("z");
  step(TJsonWriter_integerTable(writer, nullptr, kHollowShape, 2));
  step(TJsonWriter_endObject(writer));
  const char *text = nullptr;
  step(TJsonWriter_end(writer, &text));
  EXPECT_EQ(code, TCOMMON_SUCCESS);
  return code == TCOMMON_SUCCESS ? std::string(text) : std::string();
}

// The tree's members streamed one value tree at a time, each freed once printed, as a host
// answers a request item by item.
std::string printPieces(TJsonWriter *writer, const Document &document) {
  TJsonValue *root = makeTree(document);
  uint32_t code = TJsonWriter_begin(writer);
  if (code == TCOMMON_SUCCESS) code = TJsonWriter_startObject(writer);
  for (const char *name : {"n", "f", "s", "p", "o", "e", "t", "g", "z"}) {
    TJsonValue *member = nullptr;
    TJsonValue_member(root, name, &member);
    if (code == TCOMMON_SUCCESS) code = TJsonWriter_key(writer, name, std::strlen(name));
    if (code == TCOMMON_SUCCESS) code = TJsonWriter_value(writer, member);
    TJsonValue_removeMemberFromObject(root, name);
  }
  if (code == TCOMMON_SUCCESS) code = TJsonWriter_endObject(writer);
  const char *text = nullptr;
  if (code == TCOMMON_SUCCESS) code = TJsonWriter_end(writer, &text);
  EXPECT_EQ(code, TCOMMON_SUCCESS);
  TJsonValue_delete(root);
  return code == TCOMMON_SUCCESS ? std::string(text) : std::string();
}

// The doubles printed at f read back as the document's (null for the non-finite ones).
void expectFloatsReadBack(const std::string &printed, const Document &document) {
  TJsonReader *reader = nullptr;
  ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
  TJsonValue *root = nullptr;
  ASSERT_EQ(TJsonReader_parse(reader, printed.data(), printed.data() + printed.size(), &root),
            TCOMMON_SUCCESS);
  TJsonValue *floats = nullptr;
  TJsonValue_member(root, "f", &floats);
  uint64_t size = 0;
  TJsonValue_size(floats, &size);
  EXPECT_EQ(size, document.floats.size());
  for (uint64_t i = 0; i < size && i < document.floats.size(); ++i) {
    TJsonValue *item = nullptr;
    TJsonValue_item(floats, i, &item);
    double number = 0;
    const bool isNumber = TJsonValue_asFloat(item, &number) == TCOMMON_SUCCESS;
    if (!std::isfinite(document.floats[i])) {
      EXPECT_FALSE(isNumber) << "element " << i;
    } else {
      EXPECT_TRUE(isNumber && std::memcmp(&number, &document.floats[i], sizeof number) == 0)
          << "element " << i << ": " << document.floats[i] << " read back as " << number;
    }
  }
  TJsonValue_delete(root);
  TJsonReader_close(&reader);
}

TEST(JsonStreamTest, StreamedDocumentsPrintAsTheirTree) {
  Document document;
  // More than one run of numbers, with the widest texts of both kinds, and every number of
  // digits around the short integers' boundaries.
  for (int64_t i = -100; i < 100; ++i) document.integers.push_back(i * 1234567);
  for (int64_t edge : {0, 1, 9, 10, 99, 100, 999, 1000, 9999, 10000, 65535}) {
    document.integers.push_back(edge);
    document.integers.push_back(-edge - 1);
  }
  document.integers.push_back(std::numeric_limits<int64_t>::min());
  document.integers.push_back(std::numeric_limits<int64_t>::max());
  for (int i = 0; i < 150; ++i) document.floats.push_back(std::ldexp(1.0 + i / 7.0, i * 13 - 900));
  for (double special : {0.0, -0.0, 1.0, -2.5e-300, 1e21, 1e-7, -1.7976931348623157e308,
                         std::numeric_limits<double>::infinity(), std::nan("")}) {
    document.floats.push_back(special);
  }
  // Values repeated in turns, as a tuning table repeats its gains: printed again from
  // what the writer remembers of them, and evicting each other there.
  for (int i = 0; i < 600; ++i) {
    document.floats.push_back(static_cast<float>(0.1 * (i % 211)) * (i % 2 == 0 ? 1 : -1));
  }
  document.text = "caf\xC3\xA9 \"quoted\"\n\xFF end" + std::string(300, 'x');
  document.plain = "data:text/json;base64," + std::string(400, 'A') + "\xC3\xA9\xFF";

  const TJsonWriterConfiguration layouts[] = {
      {TJSON_WRITER_NULL_FOR_ABSENT | TJSON_WRITER_SHORTEST_FLOAT, 0, {}},
      {0, 0, {}},
      {TJSON_WRITER_SHORTEST_FLOAT, 2, {}},
  };
  for (const TJsonWriterConfiguration &layout : layouts) {
    TJsonWriter *writer = nullptr;
    ASSERT_EQ(TJsonWriter_open(&layout, &writer), TCOMMON_SUCCESS);
    const std::string expected = printTree(writer, document);
    EXPECT_EQ(printStream(writer, document), expected) << "flags " << layout.flags;
    expectFloatsReadBack(expected, document);
    EXPECT_EQ(printPieces(writer, document), expected) << "flags " << layout.flags;
    uint64_t length = 0;
    TJsonWriter_length(writer, &length);
    EXPECT_EQ(length, expected.size());
    // A second document on the same writer starts afresh.
    EXPECT_EQ(printStream(writer, document), expected);
    TJsonWriter_close(&writer);
  }
}

TEST(JsonStreamTest, PiecesOutOfPlaceAreRefused) {
  TJsonWriter *writer = nullptr;
  ASSERT_EQ(TJsonWriter_open(nullptr, &writer), TCOMMON_SUCCESS);
  const int64_t one = 1;
  EXPECT_EQ(TJsonWriter_integer(writer, 1), TCOMMON_INVALID_ARGUMENT);  // before begin

  ASSERT_EQ(TJsonWriter_begin(writer), TCOMMON_SUCCESS);
  const char *text = nullptr;
  EXPECT_EQ(TJsonWriter_end(writer, &text), TCOMMON_INVALID_ARGUMENT);  // nothing yet
  ASSERT_EQ(TJsonWriter_startObject(writer), TCOMMON_SUCCESS);
  EXPECT_EQ(TJsonWriter_integer(writer, 1), TCOMMON_INVALID_ARGUMENT);  // key due
  EXPECT_EQ(TJsonWriter_integers(writer, &one, 1), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonWriter_endArray(writer), TCOMMON_INVALID_ARGUMENT);  // wrong container
  EXPECT_EQ(TJsonWriter_value(writer, nullptr), TCOMMON_INVALID_ARGUMENT);
  ASSERT_EQ(TJsonWriter_key(writer, "a", 1), TCOMMON_SUCCESS);
  EXPECT_EQ(TJsonWriter_key(writer, "b", 1), TCOMMON_INVALID_ARGUMENT);  // value due
  EXPECT_EQ(TJsonWriter_endObject(writer), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TJsonWriter_end(writer, &text), TCOMMON_INVALID_ARGUMENT);  // still open
  ASSERT_EQ(TJsonWriter_integer(writer, 7), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonWriter_key(writer, "z", 1), TCOMMON_SUCCESS);
  ASSERT_EQ(TJsonWriter_value(writer, nullptr), TCOMMON_SUCCESS);  // NULL prints as null
  ASSERT_EQ(TJsonWriter_endObject(writer), TCOMMON_SUCCESS);
  EXPECT_EQ(TJsonWriter_startArray(writer), TCOMMON_INVALID_ARGUMENT);  // second root
  ASSERT_EQ(TJsonWriter_end(writer, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "{\"a\":7,\"z\":null}");  // the refused pieces printed nothing
  EXPECT_EQ(TJsonWriter_null(writer), TCOMMON_INVALID_ARGUMENT);  // after end
  TJsonWriter_close(&writer);
}

}  // namespace
