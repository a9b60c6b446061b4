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
#include <vector>

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

using Plane = std::vector<float>;

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

// out = in filtered by weightsX along rows then weightsY along columns, borders clamped.
void separable(const Plane &in, int width, int height, const std::vector<float> &weightsX,
               const std::vector<float> &weightsY, Plane &scratch, Plane &out) {
  const int rx = static_cast<int>(weightsX.size()) / 2, ry = static_cast<int>(weightsY.size()) / 2;
  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *src = &in[static_cast<size_t>(y) * width];
      float *dst = &scratch[static_cast<size_t>(y) * width];
      auto clamped = [&](int x) {
        float sum = 0;
        for (int k = -rx; k <= rx; ++k)
          sum += weightsX[k + rx] * src[std::clamp(x + k, 0, width - 1)];
        dst[x] = sum;
      };
      // Clamped reads only near the borders.
      const int inner = std::max(rx, width - rx);
      for (int x = 0; x < std::min(rx, width); ++x) clamped(x);
      // The middle four pixels at a time, the rest one by one.
      int x = rx;
      for (; x + vector4::kLanes <= inner; x += vector4::kLanes) {
        vector4::Vec sum = vector4::splat(0);
        for (int k = -rx; k <= rx; ++k)
          sum += vector4::splat(weightsX[k + rx]) * vector4::load(src + x + k);
        vector4::store(dst + x, sum);
      }
      for (; x < inner; ++x) {
        float sum = 0;
        for (int k = -rx; k <= rx; ++k) sum += weightsX[k + rx] * src[x + k];
        dst[x] = sum;
      }
      for (x = std::max(inner, std::min(rx, width)); x < width; ++x) clamped(x);
    }
  });
  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      float *dst = &out[static_cast<size_t>(y) * width];
      std::fill(dst, dst + width, 0.0f);
      for (int k = -ry; k <= ry; ++k) {
        const float *src = &scratch[static_cast<size_t>(std::clamp(y + k, 0, height - 1)) * width];
        const float w = weightsY[k + ry];
        int x = 0;
        for (; x + vector4::kLanes <= width; x += vector4::kLanes)
          vector4::store(dst + x,
                         vector4::load(dst + x) + vector4::splat(w) * vector4::load(src + x));
        for (; x < width; ++x) dst[x] += w * src[x];
      }
    }
  });
}

// a[i] += share * (b[i] - a[i]) over the whole plane.
void mix(Plane &a, const Plane &b, float share, int width, int height) {
  parallelRows(height, [&](int first, int last) {
    size_t i = static_cast<size_t>(first) * width;
    const size_t end = static_cast<size_t>(last) * width;
    const vector4::Vec s = vector4::splat(share);
    for (; i + vector4::kLanes <= end; i += vector4::kLanes) {
      const vector4::Vec va = vector4::load(&a[i]);
      vector4::store(&a[i], va + s * (vector4::load(&b[i]) - va));
    }
    for (; i < end; ++i) a[i] += share * (b[i] - a[i]);
  });
}

}  // namespace

bool stage3DNoiseReduction_4(const RgbImage &in, const TDatabase3DNoiseReduction_4 &state,
                             const FrameContext &, TemporalHistory &history, RgbImage &out) {
  if (state.state == 0 || !history.valid || history.previous.width != in.width ||
      history.previous.height != in.height || history.previous.data.size() != in.data.size())
    return false;
  const int width = in.width, height = in.height;
  const size_t pixels = static_cast<size_t>(width) * height;
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
  auto detectionLevel = [&](const float *p) {
    float luma = std::clamp(kKr * p[0] + kKg * p[1] + kKb * p[2], 0.0f, 1.0f);
    if (linear) {
      const float position = luma * kLinearTable;
      const int i = static_cast<int>(position);
      luma = toLinear[i] + (position - i) * (toLinear[i + 1] - toLinear[i]);
    }
    return luma * levels;
  };

  // Per pixel: its level and its difference measured against the noise expected there.
  const bool squared = state.diffType == 1;
  const float squareWeight = state.sqrDiffFactor / kSquareUnit;
  const LevelTable noiseScale = levelTable(levels, [&](float at) {
    const float variance =
        static_cast<float>(std::max(state.noiseModelA * at + state.noiseModelB, 1e-6));
    return squared ? squareWeight / (2 * variance)
                   : 1.0f / (kMeanAbsOfNoiseDifference * std::sqrt(variance));
  });
  Plane level(pixels), measure(pixels);
  parallelRows(height, [&](int first, int last) {
    const size_t end = static_cast<size_t>(last) * width;
    for (size_t i = static_cast<size_t>(first) * width; i < end; ++i) {
      const float now = detectionLevel(&in.data[i * 3]);
      const float d = now - detectionLevel(&previous.data[i * 3]);
      level[i] = now;
      measure[i] = (squared ? d * d : std::fabs(d)) * noiseScale.at(now);
    }
  });

  // Window mean, mixed with the pixel's own measure.
  Plane scratch(pixels), motion(pixels);
  separable(measure, width, height, window(state.filterLen, state.isGaussBlur),
            window(state.filterLen2, state.isGaussBlur), scratch, motion);
  mix(motion, measure, 1.0f - std::min(state.sadWeight / kSadUnit, 1.0f), width, height);

  if (state.isMotionDilate && state.dilateH > 0) {
    const int reach = std::min<int>(state.dilateH, width);
    parallelRows(height, [&](int first, int last) {
      for (int y = first; y < last; ++y) {
        const float *src = &motion[static_cast<size_t>(y) * width];
        float *dst = &scratch[static_cast<size_t>(y) * width];
        auto widest = [&](int x, int from, int to) {
          float most = src[from];
          for (int k = from + 1; k <= to; ++k) most = std::max(most, src[k]);
          dst[x] = most;
        };
        // Bounds checks only near the borders.
        const int inner = std::max(reach, width - reach);
        for (int x = 0; x < std::min(reach, width); ++x)
          widest(x, 0, std::min(x + reach, width - 1));
        for (int x = reach; x < inner; ++x) widest(x, x - reach, x + reach);
        for (int x = std::max(inner, std::min(reach, width)); x < width; ++x)
          widest(x, std::max(x - reach, 0), width - 1);
      }
    });
    motion.swap(scratch);
  }
  // The smoothed motion map goes to `measure`, mixed in by the blend below.
  const float smoothShare =
      state.motionSmoothLevel > 0
          ? std::clamp(static_cast<float>(state.motionSmoothFactor), 0.0f, 1.0f)
          : 0.0f;
  if (smoothShare > 0) {
    const std::vector<float> box =
        window(2 * std::min<int>(state.motionSmoothLevel, kMaxWindow / 2) + 1, false);
    separable(motion, width, height, box, box, scratch, measure);
  }

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
  const float lumaStrength = state.tnrStrength / kStrengthUnit;
  const float chromaStrength = state.tnrStrength2 / kStrengthUnit;
  out = in.sameShape();
  parallelRows(height, [&](int first, int last) {
    const size_t end = static_cast<size_t>(last) * width;
    for (size_t i = static_cast<size_t>(first) * width; i < end; ++i) {
      const float at = level[i];
      const float measured =
          smoothShare > 0 ? motion[i] + smoothShare * (measure[i] - motion[i]) : motion[i];
      const float moving = std::clamp((measured - threshold) * motionSlope.at(at), 0.0f, 1.0f);
      const float still = (1.0f - moving) * stillShare.at(at);
      const float kLuma = std::min(still * lumaStrength, 1.0f);
      const float kChroma = std::min(still * chromaStrength, 1.0f);
      const float *p = &in.data[i * 3];
      const float *q = &previous.data[i * 3];
      float *o = &out.data[i * 3];
      const float delta[3] = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
      const float deltaLuma = kKr * delta[0] + kKg * delta[1] + kKb * delta[2];
      for (int c = 0; c < 3; ++c)
        o[c] = p[c] + kLuma * deltaLuma + kChroma * (delta[c] - deltaLuma);
    }
  });
  return true;
}

}  // namespace tcamera
