#include "t_common.h"

namespace {

constexpr unsigned char lowerAscii(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

}  // namespace

extern "C" TCOMMON_API uint8_t TCommonString_equal(const char *left, const char *right,
                                                   uint32_t mode) {
  if (left == nullptr || right == nullptr) return 0;
  if (mode != TCOMMON_STRING_IGNORE_CASE && mode != TCOMMON_STRING_EXACT) return 0;
  const bool ignoreCase = mode == TCOMMON_STRING_IGNORE_CASE;
  for (;; ++left, ++right) {
    unsigned char l = static_cast<unsigned char>(*left);
    unsigned char r = static_cast<unsigned char>(*right);
    if (ignoreCase) {
      l = lowerAscii(l);
      r = lowerAscii(r);
    }
    if (l != r) return 0;
    if (l == '\0') return 1;
  }
}
