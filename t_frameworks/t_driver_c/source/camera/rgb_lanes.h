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

// Pixels p[0 .. 11] as R0 G0 B0 R1 | G1 B1 R2 G2 | B2 R3 G3 B3. Every shuffle takes its two
// low lanes from the first vector and its two high lanes from the second: one instruction on
// x86-64 (shufps) without needing SSE4.
inline Rgb load(const float *p) {
  const Vec a = vector4::load(p), b = vector4::load(p + 4), c = vector4::load(p + 8);
  const Vec r2r1 = __builtin_shufflevector(b, c, 2, 2, 5, 5);  // R2 R2 R3 R3
  const Vec g0g1 = __builtin_shufflevector(a, b, 1, 1, 4, 4);  // G0 G0 G1 G1
  const Vec g2g3 = __builtin_shufflevector(b, c, 3, 3, 6, 6);  // G2 G2 G3 G3
  const Vec b0b1 = __builtin_shufflevector(a, b, 2, 2, 5, 5);  // B0 B0 B1 B1
  return {__builtin_shufflevector(a, r2r1, 0, 3, 4, 6),
          __builtin_shufflevector(g0g1, g2g3, 0, 2, 4, 6),
          __builtin_shufflevector(b0b1, c, 0, 2, 4, 7)};
}

inline void store(float *p, const Rgb &v) {
  const Vec r0g0 = __builtin_shufflevector(v.r, v.g, 0, 0, 4, 4);  // R0 R0 G0 G0
  const Vec b0r1 = __builtin_shufflevector(v.b, v.r, 0, 0, 5, 5);  // B0 B0 R1 R1
  const Vec g1b1 = __builtin_shufflevector(v.g, v.b, 1, 1, 5, 5);  // G1 G1 B1 B1
  const Vec r2g2 = __builtin_shufflevector(v.r, v.g, 2, 2, 6, 6);  // R2 R2 G2 G2
  const Vec b2r3 = __builtin_shufflevector(v.b, v.r, 2, 2, 7, 7);  // B2 B2 R3 R3
  const Vec g3b3 = __builtin_shufflevector(v.g, v.b, 3, 3, 7, 7);  // G3 G3 B3 B3
  vector4::store(p, __builtin_shufflevector(r0g0, b0r1, 0, 2, 4, 6));
  vector4::store(p + 4, __builtin_shufflevector(g1b1, r2g2, 0, 2, 4, 6));
  vector4::store(p + 8, __builtin_shufflevector(b2r3, g3b3, 0, 2, 4, 6));
}

inline Vec clamp(Vec v, float low, float high) {
  return vector4::min(vector4::max(v, vector4::splat(low)), vector4::splat(high));
}

}  // namespace tcamera::rgb_lanes

#endif  // T_DRIVER_CAMERA_RGB_LANES_H
