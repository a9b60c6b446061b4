// "CCM" in the simulated ISP: turns white-balanced sensor RGB into the output colours with a
// 3 x 3 matrix and an offset per channel, on linear light: out = ccMatrix * in + ccOffset.
// The offsets are in 12-bit codes of the full scale; negative results clip at black, values
// above full scale travel on to the gamma stage, which clips them.
#include <algorithm>

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
  const size_t rowFloats = static_cast<size_t>(in.width) * 3;
  parallelRows(in.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *src = in.data.data() + y * rowFloats;
      float *dst = out.data.data() + y * rowFloats;
      for (int x = 0; x < in.width; ++x, src += 3, dst += 3) {
        const float r = src[0], g = src[1], b = src[2];
        dst[0] = std::max(0.0f, m[0] * r + m[1] * g + m[2] * b + offset[0]);
        dst[1] = std::max(0.0f, m[3] * r + m[4] * g + m[5] * b + offset[1]);
        dst[2] = std::max(0.0f, m[6] * r + m[7] * g + m[8] * b + offset[2]);
      }
    }
  });
  return true;
}

}  // namespace tcamera
