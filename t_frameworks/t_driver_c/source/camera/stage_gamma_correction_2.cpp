// "GC_2" in the simulated ISP: encodes linear light for display through a 64-point curve,
// from 12-bit input levels to 10-bit output levels, applied to R, G and B alike.
//   - isStandard: the curve is x^(1 / standardVal) instead of the points;
//   - otherwise the points (curvePx[i], curve[i]) joined by straight lines, at the fixed,
//     evenly spaced input levels i * 65 unless isUserCurveX selects curvePx. User input
//     levels that do not rise are skipped, so a half-edited curve still maps every level.
// A curve whose points are all equal (an all-zero record that was never loaded, for example)
// would blank the picture; the block then falls back to the standard curve, and a standard
// exponent that is not positive falls back to the display gamma 2.2.
// The curve is sampled once per frame into a 4096-entry table, read with interpolation.
#include <algorithm>
#include <cmath>
#include <vector>

#include "stages.h"

namespace tcamera {
namespace {

constexpr int kPoints = 64;
constexpr int kInputMax = 4095;        // 12-bit input levels
constexpr float kOutputMax = 1023.0f;  // 10-bit output levels
constexpr int kFixedInputStep = 65;    // 63 steps of 65 span 0..4095
constexpr float kFallbackGamma = 2.2f;

bool curveIsFlat(const TDatabaseGammaCorrection_2 &state) {
  return std::all_of(state.curve, state.curve + kPoints,
                     [&](uint16_t level) { return level == state.curve[0]; });
}

// Output (0..1) for every input level 0..kInputMax, plus one guard entry for interpolation.
std::vector<float> buildTable(const TDatabaseGammaCorrection_2 &state) {
  std::vector<float> table(kInputMax + 2);
  if (state.isStandard || curveIsFlat(state)) {
    const float gamma = state.standardVal > 0 ? state.standardVal : kFallbackGamma;
    for (int level = 0; level <= kInputMax; ++level)
      table[level] = std::pow(static_cast<float>(level) / kInputMax, 1.0f / gamma);
  } else {
    // Points with rising input levels.
    float px[kPoints], py[kPoints];
    int count = 0;
    for (int i = 0; i < kPoints; ++i) {
      const float x = state.isUserCurveX ? static_cast<float>(state.curvePx[i])
                                         : static_cast<float>(i * kFixedInputStep);
      if (count > 0 && x <= px[count - 1]) continue;
      px[count] = x;
      py[count] = std::min(static_cast<float>(state.curve[i]), kOutputMax) / kOutputMax;
      ++count;
    }
    int segment = 0;
    for (int level = 0; level <= kInputMax; ++level) {
      const float x = static_cast<float>(level);
      while (segment + 1 < count && px[segment + 1] <= x) ++segment;
      if (x <= px[0]) {
        table[level] = py[0];
      } else if (segment + 1 >= count) {
        table[level] = py[count - 1];
      } else {
        const float t = (x - px[segment]) / (px[segment + 1] - px[segment]);
        table[level] = py[segment] + t * (py[segment + 1] - py[segment]);
      }
    }
  }
  table[kInputMax + 1] = table[kInputMax];
  return table;
}

}  // namespace

bool stageGammaCorrection_2(const RgbImage &in, const TDatabaseGammaCorrection_2 &state,
                            const FrameContext &, RgbImage &out) {
  if (state.state == 0) return false;
  const std::vector<float> table = buildTable(state);
  out = in.sameShape();
  out.encoded = true;
  const size_t rowFloats = static_cast<size_t>(in.width) * 3;
  parallelRows(in.height, [&](int first, int last) {
    const float *lut = table.data();
    for (int y = first; y < last; ++y) {
      const float *src = in.data.data() + y * rowFloats;
      float *dst = out.data.data() + y * rowFloats;
      for (size_t i = 0; i < rowFloats; ++i) {
        // Written so that a NaN from upstream maps to black rather than to any index.
        const float level = src[i] > 0.0f ? std::min(src[i], 1.0f) : 0.0f;
        const float position = level * kInputMax;
        const int index = static_cast<int>(position);
        const float t = position - static_cast<float>(index);
        dst[i] = lut[index] + t * (lut[index + 1] - lut[index]);
      }
    }
  });
  return true;
}

}  // namespace tcamera
