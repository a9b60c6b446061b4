#include "json_utf8.h"

#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tjson {

size_t sequenceLength(const unsigned char *text, size_t available) {
  const unsigned char lead = text[0];
  if (lead < 0x80) return 1;
  if (lead < 0xC2) return 0;
  if (lead < 0xE0) return available >= 2 && isContinuation(text[1]) ? 2 : 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead < 0xF0) {
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
    return available >= 3 && text[1] >= low && text[1] <= high && isContinuation(text[2]) ? 3 : 0;
  }
  if (lead < 0xF5) {
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
    return available >= 4 && text[1] >= low && text[1] <= high && isContinuation(text[2]) &&
                   isContinuation(text[3])
               ? 4
               : 0;
  }
  return 0;
}

bool isValidUtf8(const char *text, size_t length) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(text);
  size_t i = 0;
  while (i < length) {
#if defined(__SSE2__)
    // Sixteen ASCII bytes at a time: requests and settings documents are mostly ASCII.
    while (length - i >= 16 &&
           _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + i))) == 0) {
      i += 16;
    }
    if (i == length) break;
#endif
    // Eight ASCII bytes at a time: settings documents are mostly ASCII.
    uint64_t word = 0;
    if (length - i >= sizeof word) {
      std::memcpy(&word, bytes + i, sizeof word);
      if ((word & 0x8080808080808080u) == 0) {
        i += sizeof word;
        continue;
      }
    }
    const size_t step = sequenceLength(bytes + i, length - i);
    if (step == 0) return false;
    i += step;
  }
  return true;
}

}  // namespace tjson
