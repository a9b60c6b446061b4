// Base64 texts through the runtime's decoder, compared with a plain decoder written from
// the documented rules: ASCII white space is skipped anywhere, the final padding may be
// left out but when present it must be complete ("xx==", "xxx=") and only white space may
// follow, a lone trailing character or any other byte is malformed. Whatever decodes must
// also survive encoding and decoding again.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "t_common.h"

namespace {

int valueOf(uint8_t c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool isSpace(uint8_t c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

std::optional<std::vector<uint8_t>> referenceDecode(const uint8_t *text, size_t length) {
  std::vector<uint8_t> symbols;
  size_t padding = 0;
  for (size_t i = 0; i < length; ++i) {
    if (isSpace(text[i])) continue;
    if (text[i] == '=') {
      ++padding;
      continue;
    }
    if (padding != 0 || valueOf(text[i]) < 0) return std::nullopt;
    symbols.push_back(static_cast<uint8_t>(valueOf(text[i])));
  }
  const size_t rest = symbols.size() % 4;
  if (rest == 1) return std::nullopt;
  if (padding != 0 && (rest == 0 || rest + padding != 4)) return std::nullopt;
  std::vector<uint8_t> bytes;
  uint32_t group = 0;
  unsigned bits = 0;
  for (uint8_t symbol : symbols) {
    group = (group << 6) | symbol;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes.push_back(static_cast<uint8_t>(group >> bits));
    }
  }
  return bytes;
}

[[noreturn]] void fail(const char *what) {
  fprintf(stderr, "base64_fuzzer: %s\n", what);
  abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  uint8_t *decoded = nullptr;
  uint64_t length = 0;
  const uint32_t code =
      TCommonBase64_decode(reinterpret_cast<const char *>(data), size, &decoded, &length);
  const auto expected = referenceDecode(data, size);
  if (code != TCOMMON_SUCCESS) {
    if (code != TCOMMON_MALFORMED || decoded != nullptr) fail("a refusal other than malformed");
    if (expected) fail("a valid text was refused");
    return 0;
  }
  if (!expected) fail("a malformed text was accepted");
  if (length != expected->size() ||
      (length != 0 && memcmp(decoded, expected->data(), length) != 0)) {
    fail("decoded bytes differ");
  }
  if (decoded[length] != 0) fail("no NUL after the decoded bytes");

  char *encoded = nullptr;
  if (TCommonBase64_encode(decoded, length, &encoded) != TCOMMON_SUCCESS) fail("encode");
  uint8_t *again = nullptr;
  uint64_t againLength = 0;
  if (TCommonBase64_decode(encoded, strlen(encoded), &again, &againLength) != TCOMMON_SUCCESS ||
      againLength != length || (length != 0 && memcmp(again, decoded, length) != 0)) {
    fail("encoding does not decode to the same bytes");
  }
  free(again);
  free(encoded);
  free(decoded);
  return 0;
}
