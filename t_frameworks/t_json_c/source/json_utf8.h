// UTF-8 checks shared by the reader (a text valid throughout takes the fast parse), the
// writer (strings printed as they are, or with bad bytes replaced) and the display helpers.
#ifndef T_JSON_UTF8_H
#define T_JSON_UTF8_H

#include <cstddef>

namespace tjson {

constexpr bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// Length of the well-formed UTF-8 sequence at text (1 for ASCII; no overlong forms, no
// surrogates, nothing above U+10FFFF), or 0 when there is none. available >= 1.
size_t sequenceLength(const unsigned char *text, size_t available);

// Whether the length bytes at text are well-formed UTF-8 throughout.
bool isValidUtf8(const char *text, size_t length);

}  // namespace tjson

#endif  // T_JSON_UTF8_H
