#include <array>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "t_common.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr uint8_t kInvalid = 0xFF;
constexpr uint8_t kSpace = 0xFE;
constexpr uint8_t kPad = 0xFD;

constexpr std::array<uint8_t, 256> makeDecodeTable() {
  std::array<uint8_t, 256> table{};
  table.fill(kInvalid);
  for (uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
  for (unsigned char c : {' ', '\t', '\n', '\v', '\f', '\r'}) table[c] = kSpace;
  table['='] = kPad;
  return table;
}

constexpr std::array<uint8_t, 256> kDecode = makeDecodeTable();

// The two characters of every 12-bit half of a 3-byte group: two lookups per group.
constexpr std::array<char, 2 * 4096> makePairTable() {
  std::array<char, 2 * 4096> table{};
  for (unsigned i = 0; i < 4096; ++i) {
    table[2 * i] = kAlphabet[i >> 6];
    table[2 * i + 1] = kAlphabet[i & 0x3F];
  }
  return table;
}

constexpr std::array<char, 2 * 4096> kPairs = makePairTable();

// Decodes whole blocks of 16 alphabet characters into 12 bytes each, from text up to
// length, and stops before the first block holding anything else (white space, padding, a
// bad character), which the caller reads one character at a time. Writes 13 bytes per block
// (the last one is overwritten by the next block or lies in the caller's slack). Returns the
// characters read.
size_t decodeBlocks(const char *text, size_t length, uint8_t *&p) {
  size_t i = 0;
#if defined(__SSE2__)
  const auto above = [](__m128i c, char low) { return _mm_cmpgt_epi8(c, _mm_set1_epi8(low)); };
  const auto below = [](__m128i c, char high) { return _mm_cmplt_epi8(c, _mm_set1_epi8(high)); };
  const auto within = [&](__m128i c, char first, char last) {
    return _mm_and_si128(above(c, static_cast<char>(first - 1)),
                         below(c, static_cast<char>(last + 1)));
  };
  for (; i + 16 <= length; i += 16) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
    // Bytes above 0x7F compare as negative and fall in no range.
    const __m128i upper = within(c, 'A', 'Z');
    const __m128i lower = within(c, 'a', 'z');
    const __m128i digit = within(c, '0', '9');
    const __m128i plus = _mm_cmpeq_epi8(c, _mm_set1_epi8('+'));
    const __m128i slash = _mm_cmpeq_epi8(c, _mm_set1_epi8('/'));
    const __m128i valid =
        _mm_or_si128(_mm_or_si128(upper, lower), _mm_or_si128(digit, _mm_or_si128(plus, slash)));
    if (_mm_movemask_epi8(valid) != 0xFFFF) break;
    // Each character plus the offset of its range: A-Z to 0-25, a-z to 26-51, 0-9 to 52-61,
    // '+' to 62, '/' to 63.
    const __m128i offset =
        _mm_or_si128(_mm_or_si128(_mm_and_si128(upper, _mm_set1_epi8(-'A')),
                                  _mm_and_si128(lower, _mm_set1_epi8(26 - 'a'))),
                     _mm_or_si128(_mm_and_si128(digit, _mm_set1_epi8(52 - '0')),
                                  _mm_or_si128(_mm_and_si128(plus, _mm_set1_epi8(62 - '+')),
                                               _mm_and_si128(slash, _mm_set1_epi8(63 - '/')))));
    const __m128i v = _mm_add_epi8(c, offset);
    // Per group of four (one 32-bit lane, first character lowest): its 24 bits.
    const __m128i bits =
        _mm_or_si128(_mm_or_si128(_mm_slli_epi32(_mm_and_si128(v, _mm_set1_epi32(0x000000FF)), 18),
                                  _mm_slli_epi32(_mm_and_si128(v, _mm_set1_epi32(0x0000FF00)), 4)),
                     _mm_or_si128(_mm_srli_epi32(_mm_and_si128(v, _mm_set1_epi32(0x00FF0000)), 10),
                                  _mm_srli_epi32(v, 24)));
    uint32_t groups[4];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(groups), bits);
    for (const uint32_t group : groups) {
      // The three bytes, most significant first, and one more that the next overwrites.
      const uint32_t bytes = __builtin_bswap32(group << 8);
      std::memcpy(p, &bytes, 4);
      p += 3;
    }
  }
#else
  (void)text;
  (void)length;
  (void)p;
#endif
  return i;
}

uint32_t malformed(uint8_t *output, uint8_t **data, uint64_t *decoded) {
  std::free(output);
  *data = nullptr;
  *decoded = 0;
  return TCOMMON_MALFORMED;
}

}  // namespace

extern "C" TCOMMON_API uint32_t TCommonBase64_encode(const uint8_t *data, uint64_t length,
                                                     char **text) {
  if (text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *text = nullptr;
  if (data == nullptr && length != 0) return TCOMMON_INVALID_ARGUMENT;
  if (length / 3 >= (SIZE_MAX - 5) / 4) return TCOMMON_NO_MEMORY;
  const uint64_t size = (length + 2) / 3 * 4;
  auto *out = static_cast<char *>(std::malloc(size + 1));
  if (out == nullptr) return TCOMMON_NO_MEMORY;

  char *p = out;
  uint64_t i = 0;
  for (; i + 3 <= length; i += 3) {
    const uint32_t group = uint32_t{data[i]} << 16 | uint32_t{data[i + 1]} << 8 | data[i + 2];
    std::memcpy(p, &kPairs[2 * (group >> 12)], 2);
    std::memcpy(p + 2, &kPairs[2 * (group & 0xFFF)], 2);
    p += 4;
  }
  if (const uint64_t rest = length - i; rest != 0) {
    const uint32_t group = uint32_t{data[i]} << 16 | (rest == 2 ? uint32_t{data[i + 1]} << 8 : 0);
    *p++ = kAlphabet[group >> 18];
    *p++ = kAlphabet[(group >> 12) & 0x3F];
    *p++ = rest == 2 ? kAlphabet[(group >> 6) & 0x3F] : '=';
    *p++ = '=';
  }
  *p = '\0';
  *text = out;
  return TCOMMON_SUCCESS;
}

// Padding, when present, must be complete ("xx==" or "xxx=") and may only be followed by
// white space. Bits of the last character that fall beyond the last byte are ignored.
extern "C" TCOMMON_API uint32_t TCommonBase64_decode(const char *text, uint64_t length,
                                                     uint8_t **data, uint64_t *decoded) {
  if (data == nullptr || decoded == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *data = nullptr;
  *decoded = 0;
  if (text == nullptr && length != 0) return TCOMMON_INVALID_ARGUMENT;
  // Every 4 characters give at most 3 bytes; 4 more cover a partial group and the NUL.
  auto *out = static_cast<uint8_t *>(std::malloc(length / 4 * 3 + 4));
  if (out == nullptr) return TCOMMON_NO_MEMORY;

  uint8_t *p = out;
  uint32_t group = 0;
  unsigned count = 0;    // characters in the current group
  unsigned padding = 0;  // '=' seen so far; once non-zero only padding and space may follow
  // Whole blocks of 16 alphabet characters, the bulk of any long text, at once; the rest
  // one character or group at a time.
  for (uint64_t i = decodeBlocks(text, length, p); i < length; ++i) {
    // Whole groups of four alphabet characters in one step.
    while (count == 0 && i + 4 <= length) {
      const uint8_t a = kDecode[static_cast<unsigned char>(text[i])];
      const uint8_t b = kDecode[static_cast<unsigned char>(text[i + 1])];
      const uint8_t c = kDecode[static_cast<unsigned char>(text[i + 2])];
      const uint8_t d = kDecode[static_cast<unsigned char>(text[i + 3])];
      if ((a | b | c | d) >= 64 || padding != 0) break;
      const uint32_t whole = uint32_t{a} << 18 | uint32_t{b} << 12 | uint32_t{c} << 6 | d;
      p[0] = static_cast<uint8_t>(whole >> 16);
      p[1] = static_cast<uint8_t>(whole >> 8);
      p[2] = static_cast<uint8_t>(whole);
      p += 3;
      i += 4;
    }
    if (i == length) break;
    const uint8_t value = kDecode[static_cast<unsigned char>(text[i])];
    if (value == kSpace) continue;
    if (value == kInvalid) return malformed(out, data, decoded);
    if (value == kPad) {
      if (count < 2 || count + padding >= 4) return malformed(out, data, decoded);
      ++padding;
      continue;
    }
    if (padding != 0) return malformed(out, data, decoded);
    group = group << 6 | value;
    if (++count == 4) {
      *p++ = static_cast<uint8_t>(group >> 16);
      *p++ = static_cast<uint8_t>(group >> 8);
      *p++ = static_cast<uint8_t>(group);
      group = 0;
      count = 0;
    }
  }
  if (count == 1) return malformed(out, data, decoded);
  if (padding != 0 && count + padding != 4) return malformed(out, data, decoded);
  if (count == 2) {
    *p++ = static_cast<uint8_t>(group >> 4);
  } else if (count == 3) {
    *p++ = static_cast<uint8_t>(group >> 10);
    *p++ = static_cast<uint8_t>(group >> 2);
  }
  *p = 0;
  *data = out;
  *decoded = static_cast<uint64_t>(p - out);
  return TCOMMON_SUCCESS;
}
