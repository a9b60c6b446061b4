// Four floats at once for the costliest row loops of the simulated camera's stages. GCC and
// clang vector types compile to SSE on x86-64 and to NEON on AArch64 alike; comparisons give
// lane masks, and a ? b : c on them selects per lane without branches.
#ifndef T_DRIVER_CAMERA_VECTOR4_H
#define T_DRIVER_CAMERA_VECTOR4_H

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tcamera::vector4 {

using Vec = float __attribute__((vector_size(16)));
constexpr int kLanes = 4;

// Rows handed to vector loops are padded to whole groups of lanes.
constexpr int roundUp(int count) {
  return (count + kLanes - 1) / kLanes * kLanes;
}

inline Vec load(const float *p) {
  Vec v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline void store(float *p, Vec v) {
  std::memcpy(p, &v, sizeof v);
}

inline Vec splat(float v) {
  return Vec{v, v, v, v};
}

// a > b ? a : b and a < b ? a : b per lane (b where either is NaN). SSE's maxps and minps are
// defined as exactly that; GCC does not see it for vector selects and emits a compare and
// three logic instructions instead.
inline Vec max(Vec a, Vec b) {
#if defined(__SSE2__)
  return _mm_max_ps(a, b);
#else
  return a > b ? a : b;
#endif
}

inline Vec min(Vec a, Vec b) {
#if defined(__SSE2__)
  return _mm_min_ps(a, b);
#else
  return a < b ? a : b;
#endif
}

inline Vec abs(Vec a) {
  return a < splat(0) ? -a : a;
}

}  // namespace tcamera::vector4

#endif  // T_DRIVER_CAMERA_VECTOR4_H
