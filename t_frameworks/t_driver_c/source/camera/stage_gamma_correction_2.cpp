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
#include <cstring>
#include <vector>

#include "stages.h"
#include "vector4.h"

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

// Two floats side by side, moved as one 64-bit value.
using Pairs = double __attribute__((vector_size(16)));
inline double entry(const float *lut, int index) {
  double pair;
  std::memcpy(&pair, lut + 2 * index, sizeof pair);
  return pair;
}

}  // namespace

bool stageGammaCorrection_2(const RgbImage &in, const TDatabaseGammaCorrection_2 &state,
                            const FrameContext &, RgbImage &out) {
  if (state.state == 0) return false;
  const std::vector<float> table = buildTable(state);
  // Each level's output and the step to the next one side by side: one cache line holds both
  // values a pixel interpolates between.
  std::vector<float> pairs(2 * (kInputMax + 1));
  for (int level = 0; level <= kInputMax; ++level) {
    pairs[2 * level] = table[level];
    pairs[2 * level + 1] = table[level + 1] - table[level];
  }
  out = in.sameShape();
  out.encoded = true;
  const size_t rowFloats = static_cast<size_t>(in.width) * 3;
  const float *source = in.data.data();
  float *target = out.data.data();
  const float *lut = pairs.data();
  parallelRows(in.height, [=](int first, int last) {
    using namespace vector4;
    using Index = int __attribute__((vector_size(16)));
    const size_t end = last * rowFloats;
    size_t i = first * rowFloats;
    // Written so that a NaN from upstream maps to black rather than to any index.
    auto level = [](Vec v) { return v > splat(0.0f) ? min(v, splat(1.0f)) : splat(0.0f); };
    for (; i + kLanes <= end; i += kLanes) {
      const Vec position = level(load(source + i)) * splat(kInputMax);
      const Index index = __builtin_convertvector(position, Index);
      const Vec t = position - __builtin_convertvector(index, Vec);
      // Each entry's level and step as one 64-bit load, then split into two vectors.
      const Vec low = reinterpret_cast<Vec>(Pairs{entry(lut, index[0]), entry(lut, index[1])});
      const Vec high = reinterpret_cast<Vec>(Pairs{entry(lut, index[2]), entry(lut, index[3])});
      const Vec base = __builtin_shufflevector(low, high, 0, 2, 4, 6);
      const Vec step = __builtin_shufflevector(low, high, 1, 3, 5, 7);
      store(target + i, base + t * step);
    }
    for (; i < end; ++i) {
      const float position = level(splat(source[i]))[0] * kInputMax;
      const int index = static_cast<int>(position);
      target[i] = lut[2 * index] + (position - static_cast<float>(index)) * lut[2 * index + 1];
    }
  });
  return true;
}

}  // namespace tcamera
