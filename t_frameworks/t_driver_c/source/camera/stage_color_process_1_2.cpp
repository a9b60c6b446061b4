// "CP_1_2" in the simulated ISP: brightness, contrast, hue and saturation of the YCbCr output
// (BT.601 from the display-encoded RGB), then back to RGB for the picture:
//   Y' = (Y - 0.5) * contrast + 0.5 + bright / 255        (bright in 8-bit luma steps)
//   (Cb', Cr') = saturation * rotate(hue degrees)(Cb, Cr) + chroma offsets / 255
// yuvRange 1 puts the result in limited (video) range, luma 16..235 and chroma 16..240 of
// 255; the picture shows it as a full-range display would, with lifted blacks and dimmer
// whites, which is what a client sees when the range does not match the display.
#include <algorithm>
#include <cmath>

#include "rgb_lanes.h"
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

  // The limited range scales the clamped luma and chroma once more: one gain and offset for
  // each, chosen per frame.
  const float outLumaGain = limited ? kLimitedLumaSpan : 1.0f;
  const float outLumaOffset = limited ? kLimitedBlack : 0.0f;
  const float outChromaGain = limited ? kLimitedChromaSpan : 1.0f;

  out = in.sameShape();
  const size_t rowPixels = static_cast<size_t>(in.width);
  const float *source = in.data.data();
  float *target = out.data.data();
  parallelRows(in.height, [=](int first, int last) {
    using vector4::Vec;
    using vector4::splat;
    const size_t begin = first * rowPixels, end = last * rowPixels;
    auto convert = [&](const rgb_lanes::Rgb &p) {
      const Vec luma = splat(kKr) * p.r + splat(kKg) * p.g + splat(kKb) * p.b;
      const Vec cb = (p.b - luma) * splat(kCbScale);
      const Vec cr = (p.r - luma) * splat(kCrScale);
      const Vec y2 = rgb_lanes::clamp(luma * splat(lumaGain) + splat(lumaOffset), 0.0f, 1.0f) *
                         splat(outLumaGain) +
                     splat(outLumaOffset);
      const Vec cb2 =
          rgb_lanes::clamp(splat(cc) * cb - splat(cs) * cr + splat(offsetCb), -0.5f, 0.5f) *
          splat(outChromaGain);
      const Vec cr2 =
          rgb_lanes::clamp(splat(cs) * cb + splat(cc) * cr + splat(offsetCr), -0.5f, 0.5f) *
          splat(outChromaGain);
      const Vec r = y2 + cr2 * splat(kCrToR);
      const Vec b = y2 + cb2 * splat(kCbToB);
      const Vec g = (y2 - splat(kKr) * r - splat(kKb) * b) * splat(kInverseKg);
      return rgb_lanes::Rgb{rgb_lanes::clamp(r, 0.0f, 1.0f), rgb_lanes::clamp(g, 0.0f, 1.0f),
                            rgb_lanes::clamp(b, 0.0f, 1.0f)};
    };
    // Four pixels at a time; the last few go through a padded group.
    size_t i = begin;
    for (; i + vector4::kLanes <= end; i += vector4::kLanes)
      rgb_lanes::store(target + i * 3, convert(rgb_lanes::load(source + i * 3)));
    if (i < end) {
      float group[12] = {};
      const size_t floats = (end - i) * 3;
      std::copy(source + i * 3, source + i * 3 + floats, group);
      rgb_lanes::store(group, convert(rgb_lanes::load(group)));
      std::copy(group, group + floats, target + i * 3);
    }
  });
  return true;
}

}  // namespace tcamera
