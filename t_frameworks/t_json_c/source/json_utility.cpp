#include "json_utf8.h"
#include "t_common.h"
#include "t_json.h"

namespace {

using tjson::isContinuation;

constexpr char kEllipsis[] = "...";

bool isSpace(unsigned char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r' || byte == '\v' ||
         byte == '\f';
}

// Moves a cut before byte position cut back to the start of the UTF-8 character that the
// byte there continues, so that no character is split. Gives up (keeps the cut) when the
// bytes are not UTF-8 anyway.
uint64_t characterBoundary(const char *text, uint64_t cut) {
  uint64_t start = cut;
  for (int step = 0; step < 3 && start > 0; ++step) {
    if (!isContinuation(static_cast<unsigned char>(text[start]))) break;
    --start;
  }
  return static_cast<unsigned char>(text[start]) >= 0xC0 ? start : cut;
}

}  // namespace

extern "C" uint32_t TJsonUtility_shortenForDisplay(const char *text, const char *end,
                                                   uint64_t limit, char *buffer,
                                                   uint64_t capacity) {
  if (text == nullptr || end == nullptr || end < text || buffer == nullptr || capacity == 0) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  // The preview is produced byte by byte. Up to capacity bytes are kept (the last one is
  // only there to tell whether a cut splits a character; the NUL takes its place), and
  // production stops as soon as it is known to be longer than limit.
  uint64_t stored = 0;
  uint64_t produced = 0;
  bool tooLong = false;
  bool inSpace = false;
  for (const char *p = text; p < end; ++p) {
    const auto byte = static_cast<unsigned char>(*p);
    char out;
    if (isSpace(byte)) {
      if (inSpace) continue;
      inSpace = true;
      out = ' ';
    } else {
      inSpace = false;
      out = byte < 0x20 || byte == 0x7F ? '?' : static_cast<char>(byte);
    }
    if (produced == limit) {
      tooLong = true;
      break;
    }
    if (stored < capacity) buffer[stored++] = out;
    ++produced;
  }
  uint64_t length = produced;
  if (tooLong) {
    // limit - 3 characters and "..."; a limit below 3 leaves room for dots only.
    const uint64_t dots = limit < 3 ? limit : 3;
    uint64_t keep = limit - dots;
    if (keep < stored) keep = characterBoundary(buffer, keep);
    for (uint64_t i = 0; i < dots && keep + i < capacity; ++i) buffer[keep + i] = kEllipsis[i];
    length = keep + dots;
  }
  if (length > capacity - 1) {
    // Every position below capacity holds a byte of the preview: cut at the last one.
    length = characterBoundary(buffer, capacity - 1);
  }
  buffer[length] = '\0';
  return TCOMMON_SUCCESS;
}
