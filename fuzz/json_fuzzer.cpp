// Raw texts through the JSON reader. Checking, parsing and a plain walk (every token read by
// RapidJSON, where the tree reads runs of numbers itself) must agree on every text (same
// result, same error place), and a parsed tree must print as JSON that reads back into a
// tree that prints the same.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "t_common.h"
#include "t_json.h"

namespace {

[[noreturn]] void fail(const char *what) {
  fprintf(stderr, "json_fuzzer: %s\n", what);
  abort();
}

struct Tools {
  TJsonReader *reader = nullptr;
  TJsonWriter *writer = nullptr;
};

Tools &tools() {
  static Tools *made = [] {
    auto *opened = new Tools;
    if (TJsonReader_open(&opened->reader) != TCOMMON_SUCCESS ||
        TJsonWriter_open(nullptr, &opened->writer) != TCOMMON_SUCCESS) {
      fail("open");
    }
    return opened;
  }();
  return *made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Tools &t = tools();
  // Exactly size bytes of its own, so that reading past the end is caught.
  char *text = static_cast<char *>(malloc(size == 0 ? 1 : size));
  if (size != 0) memcpy(text, data, size);

  const uint32_t checked = TJsonReader_check(t.reader, text, text + size);
  uint64_t checkOffset = 0;
  const char *checkText = nullptr;
  TJsonReader_error(t.reader, &checkOffset, &checkText);
  const std::string checkError = checkText != nullptr ? checkText : "";

  TJsonValue *value = nullptr;
  const uint32_t parsed = TJsonReader_parse(t.reader, text, text + size, &value);
  uint64_t parseOffset = 0;
  const char *parseText = nullptr;
  TJsonReader_error(t.reader, &parseOffset, &parseText);
  const std::string parseError = parseText != nullptr ? parseText : "";

  static const TJsonEvents kIgnored = {
      [](void *) {},
      [](void *) {},
      [](void *) {},
      [](void *) {},
      [](void *, const char *, uint64_t) {},
      [](void *, TJsonValue *) {},
  };
  const uint32_t walked = TJsonReader_walk(t.reader, text, text + size, &kIgnored, nullptr);
  uint64_t walkOffset = 0;
  const char *walkText = nullptr;
  TJsonReader_error(t.reader, &walkOffset, &walkText);
  free(text);

  if (walked != parsed) fail("walk and parse disagree");
  if (walkOffset != parseOffset || parseError != (walkText != nullptr ? walkText : "")) {
    fail("walk and parse report different errors");
  }
  if (checked != parsed) fail("check and parse disagree");
  if (parsed != TCOMMON_SUCCESS) {
    if (parsed != TCOMMON_PARSE_ERROR || value != nullptr) fail("a failed parse left a tree");
    if (checkOffset != parseOffset || checkError != parseError) {
      fail("check and parse report different errors");
    }
    if (parseOffset > size) fail("an error offset past the end");
    return 0;
  }

  const char *printed = nullptr;
  if (TJsonWriter_stringify(t.writer, value, &printed) != TCOMMON_SUCCESS) fail("stringify");
  const std::string first = printed;
  TJsonValue *reread = nullptr;
  if (TJsonReader_parse(t.reader, first.data(), first.data() + first.size(), &reread) !=
      TCOMMON_SUCCESS) {
    fprintf(stderr, "json_fuzzer: printed text does not read back: %s\n", first.c_str());
    abort();
  }
  if (TJsonWriter_stringify(t.writer, reread, &printed) != TCOMMON_SUCCESS) fail("stringify");
  if (first != printed) {
    fprintf(stderr, "json_fuzzer: printed twice differently:\n%s\n%s\n", first.c_str(), printed);
    abort();
  }
  TJsonValue_delete(reread);
  TJsonValue_delete(value);
  return 0;
}
