// "CP_1_2" in the simulated ISP: brightness, contrast, hue and saturation of the YCbCr output
// (BT.601 from the display-encoded RGB), then back to RGB for the picture:
//   Y' = (Y - 0.5) * contrast + 0.5 + bright / 255        (bright in 8-bit luma steps)
//   (Cb', Cr') = saturation * rotate(hue degrees)(Cb, Cr) + chroma offsets / 255
// yuvRange 1 puts the result in limited (video) range, luma 16..235 and chroma 16..240 of
// 255; the picture shows it as a full-range display would, with lifted blacks and dimmer
// whites, which is what a client sees when the range does not match the display.
#include <algorithm>
#include <cmath>

#include "stages.h"

namespace tcamera {
namespace {

constexpr float kKr = 0.299f, kKg = 0.587f, kKb = 0.114f;
constexpr float kCbScale = 0.5f / (1.0f - kKb);  // (B - Y) to Cb
constexpr float kCrScale = 0.5f / (1.0f - kKr);  // (R - Y) to Cr
constexpr float kCbToB = 1.0f / kCbScale, kCrToR = 1.0f / kCrScale, kInverseKg = 1.0f / kKg;
constexpr float kCodeSteps = 255.0f;  // bright and chroma offsets are 8-bit steps
constexpr float kLimitedBlack = 16.0f / 255.0f;
constexpr float kLimitedLumaSpan = 219.0f / 255.0f;
constexpr float kLimitedChromaSpan = 224.0f / 255.0f;
constexpr float kPi = 3.14159265358979f;

bool isNeutral(const TDatabaseColorProcess_1_2 &state) {
  return state.bright == 0 && state.contrast == 1 && state.hue == 0 && state.saturation == 1 &&
         state.chromaOffsetCb == 0 && state.chromaOffsetCr == 0 && state.yuvRange == 0;
}

}  // namespace

bool stageColorProcess_1_2(const RgbImage &in, const TDatabaseColorProcess_1_2 &state,
                           const FrameContext &, RgbImage &out) {
  if (state.state == 0 || isNeutral(state)) return false;
  const float angle = state.hue * kPi / 180.0f;
  const float saturation = std::max(0.0f, state.saturation);
  // Chroma rotation and gain as one 2 x 2 matrix.
  const float cc = saturation * std::cos(angle), cs = saturation * std::sin(angle);
  const float lumaGain = state.contrast;
  const float lumaOffset = 0.5f - 0.5f * state.contrast + state.bright / kCodeSteps;
  const float offsetCb = state.chromaOffsetCb / kCodeSteps;
  const float offsetCr = state.chromaOffsetCr / kCodeSteps;
  const bool limited = state.yuvRange == 1;

  out = in.sameShape();
  const size_t rowFloats = static_cast<size_t>(in.width) * 3;
  parallelRows(in.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *src = in.data.data() + y * rowFloats;
      float *dst = out.data.data() + y * rowFloats;
      for (int x = 0; x < in.width; ++x, src += 3, dst += 3) {
        const float luma = kKr * src[0] + kKg * src[1] + kKb * src[2];
        const float cb = (src[2] - luma) * kCbScale;
        const float cr = (src[0] - luma) * kCrScale;
        float y2 = std::clamp(luma * lumaGain + lumaOffset, 0.0f, 1.0f);
        float cb2 = std::clamp(cc * cb - cs * cr + offsetCb, -0.5f, 0.5f);
        float cr2 = std::clamp(cs * cb + cc * cr + offsetCr, -0.5f, 0.5f);
        if (limited) {
          y2 = kLimitedBlack + y2 * kLimitedLumaSpan;
          cb2 *= kLimitedChromaSpan;
          cr2 *= kLimitedChromaSpan;
        }
        const float r = y2 + cr2 * kCrToR;
        const float b = y2 + cb2 * kCbToB;
        const float g = (y2 - kKr * r - kKb * b) * kInverseKg;
        dst[0] = std::clamp(r, 0.0f, 1.0f);
        dst[1] = std::clamp(g, 0.0f, 1.0f);
        dst[2] = std::clamp(b, 0.0f, 1.0f);
      }
    }
  });
  return true;
}

}  // namespace tcamera
