// "CCM" in the simulated ISP: turns white-balanced sensor RGB into the output colours with a
// 3 x 3 matrix and an offset per channel, on linear light: out = ccMatrix * in + ccOffset.
// The offsets are in 12-bit codes of the full scale; negative results clip at black, values
// above full scale travel on to the gamma stage, which clips them.
#include <algorithm>

#include "rgb_lanes.h"
#include "stages.h"

namespace tcamera {
namespace {

constexpr float kOffsetFullScale = 4095.0f;  // ccOffset is in 12-bit codes
constexpr float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

bool isNeutral(const TDatabaseColorCorrectionMatrix &state) {
  for (int i = 0; i < 9; ++i)
    if (state.ccMatrix[i] != kIdentity[i]) return false;
  return state.ccOffset[0] == 0 && state.ccOffset[1] == 0 && state.ccOffset[2] == 0;
}

}  // namespace

bool stageColorCorrectionMatrix(const RgbImage &in, const TDatabaseColorCorrectionMatrix &state,
                                const FrameContext &, RgbImage &out) {
  if (state.state == 0 || isNeutral(state)) return false;
  float m[9];
  std::copy(state.ccMatrix, state.ccMatrix + 9, m);
  const float offset[3] = {state.ccOffset[0] / kOffsetFullScale,
                           state.ccOffset[1] / kOffsetFullScale,
                           state.ccOffset[2] / kOffsetFullScale};
  out = in.sameShape();
  const int width = in.width;
  const float *source = in.data.data();
  float *target = out.data.data();
  parallelRows(in.height, [=](int first, int last) {
    // Coefficients in locals: the compiler need not reload them after every store.
    const float m0 = m[0], m1 = m[1], m2 = m[2], m3 = m[3], m4 = m[4], m5 = m[5], m6 = m[6],
                m7 = m[7], m8 = m[8];
    const float o0 = offset[0], o1 = offset[1], o2 = offset[2];
    const float *src = source + static_cast<size_t>(first) * width * 3;
    float *dst = target + static_cast<size_t>(first) * width * 3;
    const size_t count = static_cast<size_t>(last - first) * width;
    // Four pixels at a time, the few left over one by one.
    size_t i = 0;
    for (; i + vector4::kLanes <= count; i += vector4::kLanes, src += 12, dst += 12) {
      using vector4::splat;
      const rgb_lanes::Rgb p = rgb_lanes::load(src);
      const vector4::Vec zero = splat(0.0f);
      rgb_lanes::store(
          dst,
          {vector4::max(zero, splat(m0) * p.r + splat(m1) * p.g + splat(m2) * p.b + splat(o0)),
           vector4::max(zero, splat(m3) * p.r + splat(m4) * p.g + splat(m5) * p.b + splat(o1)),
           vector4::max(zero, splat(m6) * p.r + splat(m7) * p.g + splat(m8) * p.b + splat(o2))});
    }
    for (; i < count; ++i, src += 3, dst += 3) {
      const float r = src[0], g = src[1], b = src[2];
      dst[0] = std::max(0.0f, m0 * r + m1 * g + m2 * b + o0);
      dst[1] = std::max(0.0f, m3 * r + m4 * g + m5 * b + o1);
      dst[2] = std::max(0.0f, m6 * r + m7 * g + m8 * b + o2);
    }
  });
  return true;
}

}  // namespace tcamera
