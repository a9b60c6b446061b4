// Streamed printing must give the text a tree of the same document prints, in every layout,
// and refuse pieces that would make the text malformed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "t_common.h"
#include "t_json.h"

namespace {

// One document: {"n":[<integers>],"f":[<doubles>],"s":"<text>","p":"<plain>","o":{"b":
// true,"u":<u64>,"x":<double>},"e":[]}, as a tree and streamed.
struct Document {
  std::vector<int64_t> integers;
  std::vector<double> floats;
  std::string text;   // to be escaped and repaired
  std::string plain;  // printed as it is
};

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
  for (const char *name : {"n", "f", "s", "p", "o", "e"}) {
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

TEST(JsonStreamTest, StreamedDocumentsPrintAsTheirTree) {
  Document document;
  // More than one run of numbers, with the widest texts of both kinds.
  for (int64_t i = -100; i < 100; ++i) document.integers.push_back(i * 1234567);
  document.integers.push_back(std::numeric_limits<int64_t>::min());
  document.integers.push_back(std::numeric_limits<int64_t>::max());
  for (int i = 0; i < 150; ++i) document.floats.push_back(std::ldexp(1.0 + i / 7.0, i * 13 - 900));
  for (double special : {0.0, -0.0, 1.0, -2.5e-300, 1e21, 1e-7, -1.7976931348623157e308,
                         std::numeric_limits<double>::infinity(), std::nan("")}) {
    document.floats.push_back(special);
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
