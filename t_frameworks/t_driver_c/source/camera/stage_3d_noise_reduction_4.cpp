// "3DNR_4" in the simulated ISP: temporal noise reduction. Each pixel is blended with the
// previous frame as it left this block, as far as the two frames differ by no more than
// noise; where they differ more (motion) the current frame is kept, so moving edges do not
// smear. The first frame, and a frame whose size changed, pass through.
//   - Motion is detected on the luma, gamma-compressed as it arrives (isGammaFeBe) or made
//     linear again with the display gamma, in levels of inputBits.
//   - Each difference is measured against the noise expected at that level, deviation
//     sqrt(noiseModelA x level + noiseModelB): absolute differences over 1.13 deviations
//     (diffType 0, about 1 for pure noise) or squared ones over twice the variance, times
//     sqrDiffFactor / 4 (diffType 1, weighs large changes more).
//   - The measure is averaged over a filterLen x filterLen2 window (binomial weights with
//     isGaussBlur, else flat) and mixed with the pixel's own by sadWeight (of 16, the
//     window's share); isMotionDilate spreads motion dilateH pixels sideways; a box of
//     radius motionSmoothLevel smooths the motion map, mixed in by motionSmoothFactor.
//   - Motion = (measure - noiseLevel / 8) x thrMotionSlope / 256 x the motion slope at that
//     level (tnrMotionSlopeY / 64), held within 0 .. 1.
//   - The previous frame's share is (1 - motion) x the luma curve at that level
//     (tnrLumaCurveX / tnrLumaCurveY of 1023, held at its value at fixCurveStart below it)
//     x tnrStrength / 256 for the luma and tnrStrength2 / 256 for the chroma.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "rgb_lanes.h"
#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr float kKr = 0.299f, kKg = 0.587f, kKb = 0.114f;
constexpr float kDisplayGamma = 2.2f;
constexpr float kMeanAbsOfNoiseDifference = 1.128f;  // E|a - b| / deviation, a, b Gaussian
constexpr float kSquareUnit = 4.0f;
constexpr float kSadUnit = 16.0f;
// noiseLevel counts eighths of the modelled deviation: the shipped 64 passes changes up to eight
// deviations of a model that may underestimate the sensor; a calibrated model wants about 16.
constexpr float kNoiseLevelUnit = 8.0f;
constexpr float kSlopeUnit = 256.0f;
constexpr float kSlopeCurveUnit = 64.0f;
constexpr float kCurveUnit = 1023.0f;
constexpr float kStrengthUnit = 256.0f;
constexpr int kCurvePoints = 12;
constexpr int kMaxWindow = 9;
constexpr int kMinBits = 8, kMaxBits = 16;
constexpr int kLinearTable = 1024;
constexpr int kLevelTable = 1024;

// Piecewise-linear curve over rising x, held flat outside.
float curveAt(const uint16_t *xs, const uint16_t *ys, float x) {
  if (x <= xs[0]) return ys[0];
  for (int i = 1; i < kCurvePoints; ++i) {
    if (x < xs[i]) {
      if (xs[i] <= xs[i - 1]) return ys[i];
      const float t = (x - xs[i - 1]) / static_cast<float>(xs[i] - xs[i - 1]);
      return ys[i - 1] + t * (static_cast<float>(ys[i]) - ys[i - 1]);
    }
  }
  return ys[kCurvePoints - 1];
}

// A function of the level sampled over 0 .. levels, read at the nearest sample.
struct LevelTable {
  float scale = 0;  // samples per level
  std::vector<float> values;
  float at(float level) const {
    return values[std::clamp(static_cast<int>(level * scale + 0.5f), 0, kLevelTable)];
  }
  // Four levels at once.
  using Index = int __attribute__((vector_size(16)));
  // Clamped as floats (min and max instructions; a NaN goes to 0), then truncated.
  Index indexOf(vector4::Vec level) const {
    using namespace vector4;
    const Vec position = level * splat(scale) + splat(0.5f);
    const Vec clamped =
        position > splat(0.0f) ? min(position, splat(static_cast<float>(kLevelTable))) : splat(0);
    return __builtin_convertvector(clamped, Index);
  }
  // Tables over the same levels share their indices.
  vector4::Vec at(Index i) const {
    return vector4::Vec{values[i[0]], values[i[1]], values[i[2]], values[i[3]]};
  }
  vector4::Vec at(vector4::Vec level) const { return at(indexOf(level)); }
};

// Two tables over the same levels side by side, so that both values at an index come with
// one 64-bit load.
struct LevelPairs {
  std::vector<float> values;  // first, second, first, second, ...
  LevelPairs(const LevelTable &first, const LevelTable &second) : values(2 * first.values.size()) {
    for (size_t i = 0; i < first.values.size(); ++i)
      values[2 * i] = first.values[i], values[2 * i + 1] = second.values[i];
  }
  double pairAt(int i) const {
    double pair;
    std::memcpy(&pair, &values[2 * static_cast<size_t>(i)], sizeof pair);
    return pair;
  }
  // Both tables' values at four indices.
  void at(LevelTable::Index i, vector4::Vec &first, vector4::Vec &second) const {
    using Pairs = double __attribute__((vector_size(16)));
    const auto low = reinterpret_cast<vector4::Vec>(Pairs{pairAt(i[0]), pairAt(i[1])});
    const auto high = reinterpret_cast<vector4::Vec>(Pairs{pairAt(i[2]), pairAt(i[3])});
    first = __builtin_shufflevector(low, high, 0, 2, 4, 6);
    second = __builtin_shufflevector(low, high, 1, 3, 5, 7);
  }
};

template <typename F>
LevelTable levelTable(float levels, F f) {
  LevelTable table;
  table.scale = kLevelTable / levels;
  table.values.resize(kLevelTable + 1);
  for (int i = 0; i <= kLevelTable; ++i) table.values[i] = f(levels * i / kLevelTable);
  return table;
}

// Weights of an odd window of `length` taps: flat or binomial, summing to 1.
std::vector<float> window(int length, bool gaussian) {
  length = std::clamp(length | 1, 1, kMaxWindow);
  std::vector<float> weights(length, 1.0f);
  if (gaussian)
    for (int n = 1; n < length; ++n)
      for (int k = n - 1; k > 0; --k) weights[k] += weights[k - 1];
  float sum = 0;
  for (float w : weights) sum += w;
  for (float &w : weights) w /= sum;
  return weights;
}

// Row buffers for the vector loops: every row is read and written in whole groups of lanes.
using Row = std::vector<float>;

Row rowOf(int width, int border = 0) {
  return Row(static_cast<size_t>(vector4::roundUp(width + 2 * border)) + vector4::kLanes, 0.0f);
}

// pad[0 .. width + 2 reach) = src with its first and last value repeated reach times.
void padRow(const float *src, int width, int reach, float *pad) {
  for (int k = 0; k < reach; ++k) pad[k] = src[0], pad[reach + width + k] = src[width - 1];
  std::copy(src, src + width, pad + reach);
}

// dst[x] = sum of w[k] x rows[k][x] over Taps rows, whole groups of lanes: the tap count
// fixed, so that the loop over the taps unrolls and the weights stay in registers.
template <int Taps>
void weightedSum(const float *const *rows, const vector4::Vec *w, int width, float *dst) {
  using namespace vector4;
  for (int x = 0; x < width; x += kLanes) {
    Vec sum = w[0] * load(rows[0] + x);
    for (int k = 1; k < Taps; ++k) sum += w[k] * load(rows[k] + x);
    store(dst + x, sum);
  }
}

// The same for an odd tap count up to kMaxWindow (windows always have one).
void weightedSum(int taps, const float *const *rows, const vector4::Vec *w, int width, float *dst) {
  switch (taps) {
    case 1:
      return weightedSum<1>(rows, w, width, dst);
    case 3:
      return weightedSum<3>(rows, w, width, dst);
    case 5:
      return weightedSum<5>(rows, w, width, dst);
    case 7:
      return weightedSum<7>(rows, w, width, dst);
    default:
      return weightedSum<kMaxWindow>(rows, w, width, dst);
  }
}

// dst[x] = sum of weights[k] x pad[x + k]: a row filter over a padded row.
void filterRow(const float *pad, int width, const std::vector<float> &weights, float *dst) {
  using namespace vector4;
  // The weights splatted once, in locals the stores cannot change; tap k reads the row from k.
  Vec w[kMaxWindow];
  const float *shifted[kMaxWindow];
  const int taps = static_cast<int>(weights.size());
  for (int k = 0; k < taps; ++k) w[k] = splat(weights[k]), shifted[k] = pad + k;
  weightedSum(taps, shifted, w, width, dst);
}

}  // namespace

bool stage3DNoiseReduction_4(const RgbImage &in, const TDatabase3DNoiseReduction_4 &state,
                             const FrameContext &, TemporalHistory &history, RgbImage &out) {
  if (state.state == 0 || !history.valid || history.previous.width != in.width ||
      history.previous.height != in.height || history.previous.data.size() != in.data.size())
    return false;
  const int width = in.width, height = in.height;
  const RgbImage &previous = history.previous;

  const float levels =
      std::exp2(static_cast<float>(std::clamp<int>(state.inputBits, kMinBits, kMaxBits))) - 1;
  const bool linear = !state.isGammaFeBe;
  std::vector<float> toLinear;
  if (linear) {
    toLinear.resize(kLinearTable + 2);
    for (int i = 0; i <= kLinearTable; ++i)
      toLinear[i] = std::pow(static_cast<float>(i) / kLinearTable, kDisplayGamma);
    toLinear[kLinearTable + 1] = 1.0f;
  }

  // Per pixel: its level and its difference measured against the noise expected there.
  const bool squared = state.diffType == 1;
  const float squareWeight = state.sqrDiffFactor / kSquareUnit;
  const LevelTable noiseScale = levelTable(levels, [&](float at) {
    const float variance =
        static_cast<float>(std::max(state.noiseModelA * at + state.noiseModelB, 1e-6));
    return squared ? squareWeight / (2 * variance)
                   : 1.0f / (kMeanAbsOfNoiseDifference * std::sqrt(variance));
  });
  const std::vector<float> weightsX = window(state.filterLen, state.isGaussBlur);
  const std::vector<float> weightsY = window(state.filterLen2, state.isGaussBlur);
  const int rx = static_cast<int>(weightsX.size()) / 2, ry = static_cast<int>(weightsY.size()) / 2;
  const float ownShare = 1.0f - std::min(state.sadWeight / kSadUnit, 1.0f);
  const int reach = state.isMotionDilate ? std::min<int>(state.dilateH, width) : 0;
  // The smoothed motion map is mixed in by the blend below.
  const float smoothShare =
      state.motionSmoothLevel > 0
          ? std::clamp(static_cast<float>(state.motionSmoothFactor), 0.0f, 1.0f)
          : 0.0f;
  const std::vector<float> box = window(
      smoothShare > 0 ? 2 * std::min<int>(state.motionSmoothLevel, kMaxWindow / 2) + 1 : 1, false);
  const int rs = static_cast<int>(box.size()) / 2;

  // Blend.
  const float threshold = state.noiseLevel / kNoiseLevelUnit;
  const float slope = state.thrMotionSlope / kSlopeUnit;
  const float fixStart = state.fixCurveStart;
  const LevelTable motionSlope = levelTable(levels, [&](float at) {
    return slope * curveAt(state.tnrLumaCurveX, state.tnrMotionSlopeY, at) / kSlopeCurveUnit;
  });
  const LevelTable stillShare = levelTable(levels, [&](float at) {
    return curveAt(state.tnrLumaCurveX, state.tnrLumaCurveY, std::max(at, fixStart)) / kCurveUnit;
  });
  const LevelPairs slopeAndShare(motionSlope, stillShare);
  const float lumaStrength = state.tnrStrength / kStrengthUnit;
  const float chromaStrength = state.tnrStrength2 / kStrengthUnit;
  out = in.sameShape();
  const float *current = in.data.data();
  const float *before = previous.data.data();
  float *target = out.data.data();

  // Each band streams its rows through rings of the few rows its filters reach: the measure
  // rows the window spans, and the motion rows (with their row-smoothed copies) the smoothing
  // box spans. Rows next to a band are worked out again by both bands rather than kept.
  parallelRows(height, [&](int first, int last) {
    using namespace vector4;
    const int measureRing = 2 * ry + 1, motionRing = 2 * rs + 1;
    // The current frame's levels of the measured rows, kept until their blend.
    const int levelRing = 2 * (ry + rs) + 1;
    std::vector<Row> measures(measureRing, rowOf(width)), motions(motionRing, rowOf(width)),
        smoothed(motionRing, rowOf(width)), levelRows(levelRing, rowOf(width));
    Row column = rowOf(width), pad = rowOf(width, std::max(rx, reach)), filtered = rowOf(width);
    // dst = sum of weights[k + reach] x rowAt(k) over k = -reach .. reach, whole rows.
    auto columnSum = [&](int reach, const std::vector<float> &weights, auto rowAt, float *dst) {
      const float *rowsAt[kMaxWindow];
      Vec w[kMaxWindow];
      const int taps = 2 * reach + 1;
      for (int k = 0; k < taps; ++k) rowsAt[k] = rowAt(k - reach), w[k] = splat(weights[k]);
      weightedSum(taps, rowsAt, w, width, dst);
    };
    // Four pixels of a row at a time; the last few through a padded group.
    auto forGroups = [&](auto work) {
      int x = 0;
      for (; x + kLanes <= width; x += kLanes) work(x, x * 3);
      if (x < width) work(x, -1);
    };
    auto pixelsAt = [&](const float *rowStart, int x, int at) {
      if (at >= 0) return rgb_lanes::load(rowStart + at);
      float group[12] = {};
      std::copy(rowStart + x * 3, rowStart + width * 3, group);
      return rgb_lanes::load(group);
    };
    auto detectionLevels = [&](const float *p, float *levelsOut) {
      forGroups([&](int x, int at) {
        const rgb_lanes::Rgb v = pixelsAt(p, x, at);
        Vec luma =
            rgb_lanes::clamp(splat(kKr) * v.r + splat(kKg) * v.g + splat(kKb) * v.b, 0.0f, 1.0f);
        if (linear) {
          for (int k = 0; k < kLanes; ++k) {
            const float position = luma[k] * kLinearTable;
            const int i = static_cast<int>(position);
            luma[k] = toLinear[i] + (position - i) * (toLinear[i + 1] - toLinear[i]);
          }
        }
        store(levelsOut + x, luma * splat(levels));
      });
    };
    auto computeMeasure = [&](int y) {
      float *m = measures[y % measureRing].data();
      const size_t at = static_cast<size_t>(y) * width * 3;
      const float *nowLevels = levelRows[y % levelRing].data();
      detectionLevels(current + at, levelRows[y % levelRing].data());
      detectionLevels(before + at, m);
      for (int x = 0; x < width; x += kLanes) {
        const Vec now = load(nowLevels + x);
        const Vec d = now - load(m + x);
        store(m + x, (squared ? d * d : abs(d)) * noiseScale.at(now));
      }
    };
    auto computeMotion = [&](int y) {
      // Window mean (columns first, then along the row), mixed with the pixel's own measure.
      columnSum(
          ry, weightsY,
          [&](int k) { return measures[std::clamp(y + k, 0, height - 1) % measureRing].data(); },
          column.data());
      padRow(column.data(), width, rx, pad.data());
      filterRow(pad.data(), width, weightsX, filtered.data());
      const float *own = measures[y % measureRing].data();
      float *motion = motions[y % motionRing].data();
      const Vec share = splat(ownShare);
      for (int x = 0; x < width; x += kLanes) {
        const Vec f = load(&filtered[x]);
        store(&filtered[x], f + share * (load(own + x) - f));
      }
      if (reach > 0) {
        // Motion spread sideways: the largest value within reach.
        padRow(filtered.data(), width, reach, pad.data());
        for (int x = 0; x < width; x += kLanes) {
          Vec most = load(&pad[x]);
          for (int k = 1; k <= 2 * reach; ++k) most = max(most, load(&pad[x + k]));
          store(motion + x, most);
        }
      } else {
        std::copy(filtered.begin(), filtered.end(), motion);
      }
      if (rs > 0) {
        padRow(motion, width, rs, pad.data());
        filterRow(pad.data(), width, box, smoothed[y % motionRing].data());
      }
    };

    int nextMeasure = std::max(first - rs - ry, 0), nextMotion = std::max(first - rs, 0);
    for (int y = first; y < last; ++y) {
      for (; nextMotion <= std::min(y + rs, height - 1); ++nextMotion) {
        for (; nextMeasure <= std::min(nextMotion + ry, height - 1); ++nextMeasure)
          computeMeasure(nextMeasure);
        computeMotion(nextMotion);
      }
      // The smoothed motion map (columns of the row-smoothed rows), mixed into the motion.
      float *measured = filtered.data();
      const float *motion = motions[y % motionRing].data();
      if (rs > 0) {
        columnSum(
            rs, box,
            [&](int k) { return smoothed[std::clamp(y + k, 0, height - 1) % motionRing].data(); },
            column.data());
        const Vec share = splat(smoothShare);
        for (int x = 0; x < width; x += kLanes) {
          const Vec m = load(motion + x);
          store(measured + x, m + share * (load(&column[x]) - m));
        }
      } else {
        std::copy(motion, motion + width, measured);
      }
      const size_t row = static_cast<size_t>(y) * width * 3;
      const float *levelRow = levelRows[y % levelRing].data();
      const float *p = current + row, *q = before + row;
      float *o = target + row;
      auto blend = [&](const rgb_lanes::Rgb &now, const rgb_lanes::Rgb &then, int x) {
        // Both curves are sampled at the same levels: one index for both.
        Vec slopeAt, shareAt;
        slopeAndShare.at(motionSlope.indexOf(load(levelRow + x)), slopeAt, shareAt);
        const Vec moving =
            rgb_lanes::clamp((load(measured + x) - splat(threshold)) * slopeAt, 0.0f, 1.0f);
        const Vec still = (splat(1.0f) - moving) * shareAt;
        const Vec kLuma = min(still * splat(lumaStrength), splat(1.0f));
        const Vec kChroma = min(still * splat(chromaStrength), splat(1.0f));
        const Vec d0 = then.r - now.r, d1 = then.g - now.g, d2 = then.b - now.b;
        const Vec deltaLuma = splat(kKr) * d0 + splat(kKg) * d1 + splat(kKb) * d2;
        const Vec lumaPart = (kLuma - kChroma) * deltaLuma;
        return rgb_lanes::Rgb{now.r + lumaPart + kChroma * d0, now.g + lumaPart + kChroma * d1,
                              now.b + lumaPart + kChroma * d2};
      };
      forGroups([&](int x, int at) {
        const rgb_lanes::Rgb result = blend(pixelsAt(p, x, at), pixelsAt(q, x, at), x);
        if (at >= 0) {
          rgb_lanes::store(o + at, result);
        } else {
          float group[12];
          rgb_lanes::store(group, result);
          std::copy(group, group + (width - x) * 3, o + x * 3);
        }
      });
    }
  });
  return true;
}

}  // namespace tcamera
