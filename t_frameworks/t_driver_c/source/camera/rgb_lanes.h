// Four interleaved RGB pixels at once for the colour stages: twelve floats loaded as three
// four-lane vectors and split into one vector per channel, and joined again for the store.
// The shuffles compile to SSE on x86-64 and to NEON on AArch64 (GCC 12 and clang alike).
#ifndef T_DRIVER_CAMERA_RGB_LANES_H
#define T_DRIVER_CAMERA_RGB_LANES_H

#include "vector4.h"

namespace tcamera::rgb_lanes {

using vector4::Vec;

struct Rgb {
  Vec r, g, b;
};

// Pixels p[0 .. 11] as R0 G0 B0 R1 | G1 B1 R2 G2 | B2 R3 G3 B3.
inline Rgb load(const float *p) {
  const Vec a = vector4::load(p), b = vector4::load(p + 4), c = vector4::load(p + 8);
  const Vec ab = __builtin_shufflevector(a, b, 0, 3, 6, 5);   // R0 R1 R2 .
  const Vec abG = __builtin_shufflevector(a, b, 1, 4, 7, 4);  // G0 G1 G2 .
  const Vec abB = __builtin_shufflevector(a, b, 2, 5, 5, 5);  // B0 B1 . .
  return {__builtin_shufflevector(ab, c, 0, 1, 2, 5), __builtin_shufflevector(abG, c, 0, 1, 2, 6),
          __builtin_shufflevector(abB, c, 0, 1, 4, 7)};
}

inline void store(float *p, const Rgb &v) {
  const Vec rg = __builtin_shufflevector(v.r, v.g, 0, 4, 1, 5);         // R0 G0 R1 G1
  const Vec rgHigh = __builtin_shufflevector(v.r, v.g, 2, 6, 3, 7);     // R2 G2 R3 G3
  const Vec a = __builtin_shufflevector(rg, v.b, 0, 1, 4, 2);           // R0 G0 B0 R1
  const Vec middle = __builtin_shufflevector(v.b, rgHigh, 1, 4, 5, 0);  // B1 R2 G2 .
  const Vec b = __builtin_shufflevector(rg, middle, 3, 4, 5, 6);        // G1 B1 R2 G2
  const Vec c = __builtin_shufflevector(rgHigh, v.b, 6, 2, 3, 7);       // B2 R3 G3 B3
  vector4::store(p, a);
  vector4::store(p + 4, b);
  vector4::store(p + 8, c);
}

inline Vec clamp(Vec v, float low, float high) {
  return vector4::min(vector4::max(v, vector4::splat(low)), vector4::splat(high));
}

}  // namespace tcamera::rgb_lanes

#endif  // T_DRIVER_CAMERA_RGB_LANES_H
