#include <array>
#include <cstdlib>
#include <cstring>

#include "t_common.h"

// The block codecs use SSSE3's byte shuffles where the processor has them (every x86-64
// processor of the last fifteen years); elsewhere every character takes the table loop.
#if defined(__x86_64__) && defined(__GNUC__)
#define TCOMMON_BASE64_SSSE3 1
#include <immintrin.h>
#endif

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
// bad character), which the caller reads one character at a time. Writes 16 bytes per block
// (the last 4 are overwritten by the next block or lie in the caller's 4 bytes of slack).
// Returns the characters read; without SSSE3 nothing is read here.
#if defined(TCOMMON_BASE64_SSSE3)
// Asked once, on first use (not from a static initialiser, which may run before the
// processor model is filled in).
bool hasSsse3() {
  static const bool has = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("ssse3") != 0;
  }();
  return has;
}

__attribute__((target("ssse3"))) size_t decodeBlocksSsse3(const char *text, size_t length,
                                                          uint8_t *&p) {
  // A character is in the alphabet when the classes of its low and of its high nibble
  // share no bit: high nibble 2 takes only B and F ('+', '/'), 3 takes 0-9, 4 and 6 all but
  // 0, 5 and 7 up to A, anything else nothing.
  const __m128i lowClasses = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                           0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i highClasses = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                            0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  // What each character adds to become its value, by high nibble ('/' one lower): '/' to
  // 63, '+' to 62, 0-9 to 52-61, A-Z to 0-25, a-z to 26-51.
  const __m128i offsets = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i nibble = _mm_set1_epi8(0x0F);
  const __m128i zero = _mm_setzero_si128();
  // Bytes 2, 1, 0 of each group's 24 bits, most significant first.
  const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  size_t i = 0;
  for (; i + 16 <= length; i += 16) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
    const __m128i high = _mm_and_si128(_mm_srli_epi32(c, 4), nibble);
    const __m128i classes = _mm_and_si128(_mm_shuffle_epi8(lowClasses, _mm_and_si128(c, nibble)),
                                          _mm_shuffle_epi8(highClasses, high));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(classes, zero)) != 0xFFFF) break;
    const __m128i isSlash = _mm_cmpeq_epi8(c, _mm_set1_epi8('/'));
    const __m128i values = _mm_add_epi8(c, _mm_shuffle_epi8(offsets, _mm_add_epi8(high, isSlash)));
    // Pairs of values to 12 bits, pairs of those to each group's 24 bits.
    const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm_shuffle_epi8(groups, order));
    p += 12;
  }
  return i;
}

size_t decodeBlocks(const char *text, size_t length, uint8_t *&p) {
  return hasSsse3() ? decodeBlocksSsse3(text, length, p) : 0;
}
#else
size_t decodeBlocks(const char *, size_t, uint8_t *&) {
  return 0;
}
#endif

uint32_t malformed(uint8_t *output, uint8_t **data, uint64_t *decoded) {
  std::free(output);
  *data = nullptr;
  *decoded = 0;
  return TCOMMON_MALFORMED;
}

#if defined(TCOMMON_BASE64_SSSE3)
// Twelve bytes into sixteen characters per step with SSSE3's byte shuffle; returns how many
// bytes it encoded (whole steps that can load sixteen bytes without reading past the end).
__attribute__((target("ssse3"))) uint64_t encodeSsse3(const uint8_t *data, uint64_t length,
                                                      char *out) {
  // Each 32-bit lane gets the group's bytes s1 s0 s2 s1, so that its 16-bit halves are
  // s0:s1 and s1:s2 and every 6-bit index lies inside one half.
  const __m128i spread = _mm_set_epi8(10, 11, 9, 10, 7, 8, 6, 7, 4, 5, 3, 4, 1, 2, 0, 1);
  // What to add to an index to get its character: 0-25 'A', 26-51 'a' - 26, 52-61
  // '0' - 52, 62 '+' - 62, 63 '/' - 63, chosen by a small class number per index.
  const __m128i offsets =
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
  uint64_t i = 0;
  for (; i + 16 <= length; i += 12, out += 16) {
    __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(data + i));
    bytes = _mm_shuffle_epi8(bytes, spread);
    // First and third index moved to the low byte of their half, second and fourth to the
    // high byte.
    const __m128i high = _mm_mulhi_epu16(_mm_and_si128(bytes, _mm_set1_epi32(0x0FC0FC00)),
                                         _mm_set1_epi32(0x04000040));
    const __m128i low = _mm_mullo_epi16(_mm_and_si128(bytes, _mm_set1_epi32(0x003F03F0)),
                                        _mm_set1_epi32(0x01000010));
    const __m128i indices = _mm_or_si128(high, low);
    // Class: 0 for 26-51, 1-12 for 52-63, 13 for 0-25.
    __m128i classes = _mm_subs_epu8(indices, _mm_set1_epi8(51));
    const __m128i isUpper = _mm_cmpgt_epi8(_mm_set1_epi8(26), indices);
    classes = _mm_or_si128(classes, _mm_and_si128(isUpper, _mm_set1_epi8(13)));
    const __m128i text = _mm_add_epi8(indices, _mm_shuffle_epi8(offsets, classes));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out), text);
  }
  return i;
}
#endif

}  // namespace

extern "C" TCOMMON_API uint64_t TCommonBase64_encodeInto(const uint8_t *data, uint64_t length,
                                                         char *out) {
  char *p = out;
  uint64_t i = 0;
#if defined(TCOMMON_BASE64_SSSE3)
  if (hasSsse3()) {
    i = encodeSsse3(data, length, p);
    p += i / 3 * 4;
  }
#endif
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
  return static_cast<uint64_t>(p - out);
}

extern "C" TCOMMON_API uint32_t TCommonBase64_encode(const uint8_t *data, uint64_t length,
                                                     char **text) {
  if (text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *text = nullptr;
  if (data == nullptr && length != 0) return TCOMMON_INVALID_ARGUMENT;
  if (length / 3 >= (SIZE_MAX - 5) / 4) return TCOMMON_NO_MEMORY;
  auto *out = static_cast<char *>(std::malloc((length + 2) / 3 * 4 + 1));
  if (out == nullptr) return TCOMMON_NO_MEMORY;
  TCommonBase64_encodeInto(data, length, out);
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
