// "2DNR_6" in the simulated ISP: spatial noise reduction on the mosaic.
//
// Each site is filtered with the eight nearest sites of its own colour (two sites away) by a
// range filter: a neighbour counts the less the more it differs from the site, and not at all
// beyond kRangeSigmas times the expected noise. The expected noise follows the sensor: an offset
// plus a shot-noise term that grows with the square root of the level and of the sensor gain,
// scaled by the luma curve. Two such filters run side by side, one tuned for static content
// (sigmaFactorMotionMin, staticFactor, static detail table) and one for moving content
// (sigmaFactorMotionMax, moving detail table); what each takes off and is larger than its
// detail threshold goes back (less the threshold), boosted above the boost threshold up to the
// clip. A single frame carries no motion, so the two are mixed at the static blend weight.
// Levels are in 10-bit codes above black whatever the sensor's depth.
#include <algorithm>
#include <cmath>
#include <vector>

#include "stages.h"

namespace tcamera {
namespace {

constexpr float kCodes = 1023;       // levels and thresholds are 10-bit codes
constexpr float kOffsetUnit = 8;     // sigmaOffset in 1/8 code
constexpr float kShotNoise = 0.35f;  // shot noise in codes at level 1 code, unity gain
constexpr float kRangeSigmas = 2;    // neighbours further off than this many sigmas drop out
constexpr float kCurveUnit = 64;     // luma curve outputs and motion sigma factors: 64 = 1
constexpr int kCurvePoints = 12;
constexpr int kLevels = 1023;      // levels of the noise table
constexpr float kNoRange = 1e30f;  // 1 / range^2 of a filter with no range: only the centre

// A curve of the block: X the input of each point, Y its output, Px the log2 of the distance
// to the next point, which is what the hardware divides by (a Px that disagrees with the X
// spacing gives the curve a step, as on the chip).
float curveAt(const uint16_t (&px)[kCurvePoints], const uint16_t (&xs)[kCurvePoints],
              const uint16_t (&ys)[kCurvePoints], float x) {
  if (x <= xs[0]) return ys[0];
  for (int i = 0; i + 1 < kCurvePoints; ++i) {
    if (x < xs[i + 1]) {
      const float t =
          std::min(1.0f, (x - xs[i]) / static_cast<float>(1u << std::min<int>(px[i], 16)));
      return ys[i] + t * (static_cast<float>(ys[i + 1]) - ys[i]);
    }
  }
  return ys[kCurvePoints - 1];
}

// One of the two filters: how wide its range is, relative to the noise, and its detail table
// (the finest band at the finest level).
struct Filter {
  float sigmaFactor;
  float detailThreshold, boostThreshold, clip, boost;
};

struct Params {
  Filter stat, moving;
  float movingWeight;  // share of the moving-content filter
  // Per 10-bit level (the mean of the nine taps): 1 / range^2 of each filter, 0 for no range.
  std::vector<float> inverseStatic, inverseMoving;
};

// What the filter takes off, partly given back: detail above the threshold returns less the
// threshold, boosted past the boost threshold up to the clip. Written without branches: noise
// makes them unpredictable.
float restore(float removed, const Filter &f) {
  const float size = std::fabs(removed);
  const float back = std::max(size - f.detailThreshold, 0.0f);
  const float boosted = std::min(back * f.boost, std::max(back, f.clip));
  const float high = static_cast<float>(size > f.boostThreshold);
  return std::copysign(back + high * (boosted - back), removed);
}

// The two range filters over the same nine taps (the centre is taps[4]), in one sweep.
void rangeFilters(const float *taps, float inverseA, float inverseB, float &a, float &b) {
  const float centre = taps[4];
  float sumA = 0, weightsA = 0, sumB = 0, weightsB = 0;
  for (int i = 0; i < 9; ++i) {
    const float d2 = (taps[i] - centre) * (taps[i] - centre);
    const float wa = std::max(0.0f, 1 - d2 * inverseA), wb = std::max(0.0f, 1 - d2 * inverseB);
    sumA += wa * taps[i], weightsA += wa;
    sumB += wb * taps[i], weightsB += wb;
  }
  a = sumA / weightsA;  // the centre's own weight is 1
  b = sumB / weightsB;
}

void filterRows(const Mosaic &in, const Params &shared, Mosaic &out, int first, int last) {
  const Params &p = shared;
  const Filter stat = p.stat, moving = p.moving;
  const float movingWeight = p.movingWeight;
  const int width = in.width, height = in.height;
  const float black = in.blackLevel;
  const float toCodes = kCodes / std::max(in.whiteLevel - black, 1.0f);
  const float toInput = 1 / toCodes;
  const int levels = static_cast<int>(p.inverseStatic.size()) - 1;
  // Reflection about the edge keeps the colour of the neighbour two sites away.
  const auto reflect = [](int i, int size) {
    return i < 0 ? -i : i >= size ? 2 * (size - 1) - i : i;
  };
  for (int y = first; y < last; ++y) {
    const float *rows[3] = {&in.data[static_cast<size_t>(reflect(y - 2, height)) * width],
                            &in.data[static_cast<size_t>(y) * width],
                            &in.data[static_cast<size_t>(reflect(y + 2, height)) * width]};
    float *dst = &out.data[static_cast<size_t>(y) * width];
    const auto site = [&](int x, int left, int right) {
      const int cols[3] = {left, x, right};
      float taps[9];
      float mean = 0;
      for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) mean += taps[j * 3 + i] = (rows[j][cols[i]] - black) * toCodes;
      const int level = std::clamp(static_cast<int>(mean * (1.0f / 9)), 0, levels);
      const float centre = taps[4];
      float fs, fm;
      rangeFilters(taps, p.inverseStatic[level], p.inverseMoving[level], fs, fm);
      const float result = (1 - movingWeight) * (fs + restore(centre - fs, stat)) +
                           movingWeight * (fm + restore(centre - fm, moving));
      dst[x] = black + result * toInput;
    };
    for (int x = 0; x < std::min(2, width); ++x)
      site(x, reflect(x - 2, width), reflect(x + 2, width));
    for (int x = 2; x < width - 2; ++x) site(x, x - 2, x + 2);
    for (int x = std::max(2, width - 2); x < width; ++x)
      site(x, reflect(x - 2, width), reflect(x + 2, width));
  }
}

}  // namespace

bool stage2DNoiseReduction_6(const Mosaic &in, const TDatabase2DNoiseReduction_6 &state,
                             const FrameContext &context, Mosaic &out) {
  if (state.state == 0 || in.width < 3 || in.height < 3) return false;
  Params p{};
  p.stat = {state.sigmaFactorMotionMin / kCurveUnit * state.staticFactor[0],
            static_cast<float>(state.staticDetailThresh[0][0]),
            static_cast<float>(state.staticDetailBoostThresh[0][0]),
            static_cast<float>(state.staticDetailClipThresh[0][0]), state.staticDetailBoost[0][0]};
  p.moving = {
      state.sigmaFactorMotionMax / kCurveUnit, static_cast<float>(state.movingDetailThresh[0][0]),
      static_cast<float>(state.movingDetailBoostThresh[0][0]),
      static_cast<float>(state.movingDetailClipThresh[0][0]), state.movingDetailBoost[0][0]};
  p.movingWeight = std::clamp(state.blendStatic, 0.0f, 1.0f);
  // The expected noise at each level: floor plus shot noise, scaled by the luma curve.
  const float base = state.sigmaScale[0] * state.sigmaFactorMul[0];
  const float offset = state.sigmaOffset / kOffsetUnit;
  const float shot = state.vstFactor * kShotNoise * std::sqrt(std::max(context.sensorGain, 0.0f));
  p.inverseStatic.resize(kLevels + 1);
  p.inverseMoving.resize(kLevels + 1);
  for (int level = 0; level <= kLevels; ++level) {
    float sigma = base * (offset + shot * std::sqrt(static_cast<float>(level)));
    if (state.isLumaCtrl)
      sigma *= curveAt(state.lumaCurvePx, state.lumaCurveX, state.lumaCurveY, level) / kCurveUnit;
    const auto inverse = [&](float factor) {
      const float range = kRangeSigmas * sigma * factor;
      return range > 0 ? 1 / (range * range) : kNoRange;
    };
    p.inverseStatic[level] = inverse(p.stat.sigmaFactor);
    p.inverseMoving[level] = inverse(p.moving.sigmaFactor);
  }

  out = in.sameShape();
  out.shortData = in.shortData;
  parallelRows(in.height, [&](int first, int last) { filterRows(in, p, out, first, last); });
  return true;
}

}  // namespace tcamera
