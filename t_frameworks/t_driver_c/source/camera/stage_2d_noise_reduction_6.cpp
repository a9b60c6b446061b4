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
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr float kCodes = 1023;       // levels and thresholds are 10-bit codes
constexpr float kOffsetUnit = 8;     // sigmaOffset in 1/8 code
constexpr float kShotNoise = 0.35f;  // shot noise in codes at level 1 code, unity gain
constexpr float kRangeSigmas = 2;    // neighbours further off than this many sigmas drop out
constexpr float kCurveUnit = 64;     // luma curve outputs and motion sigma factors: 64 = 1
constexpr int kCurvePoints = 12;
constexpr int kLevels = 1023;       // levels of the noise table
constexpr float kNoRange = 1e-30f;  // range^2 of a filter with no range: the centre and its equals

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
  // Per 10-bit level (the mean of the nine taps): range^2 of the static filter, then of the
  // moving one, side by side so that one site's pair is one load.
  std::vector<std::array<float, 2>> reach;
};

using vector4::kLanes;
using vector4::load;
using vector4::splat;
using vector4::Vec;

using Bits = int32_t __attribute__((vector_size(16)));
constexpr int32_t kSignBit = INT32_MIN;

// What the filter takes off, partly given back: detail above the threshold returns less the
// threshold, boosted past the boost threshold up to the clip. The size and the sign of what was
// taken off are its bits, without compares and selects.
inline Vec restore(Vec removed, const Filter &f) {
  const Vec zero = splat(0);
  const Bits sign = reinterpret_cast<Bits>(removed) & kSignBit;
  const Vec size = reinterpret_cast<Vec>(reinterpret_cast<Bits>(removed) & ~kSignBit);
  const Vec back = vector4::max(size - splat(f.detailThreshold), zero);
  const Vec boosted = vector4::min(back * splat(f.boost), vector4::max(back, splat(f.clip)));
  const Vec given = size > splat(f.boostThreshold) ? boosted : back;
  return reinterpret_cast<Vec>(reinterpret_cast<Bits>(given) | sign);
}

// One tap of both range filters. A neighbour's weight max(0, 1 - d^2 / range^2) is kept times
// range^2, which leaves the average as it is (the centre weighs range^2) and saves a product per
// tap; sums are of differences to the centre.
inline void accumulate(Vec tap, Vec centre, Vec reachS, Vec reachM, Vec &sumS, Vec &weightS,
                       Vec &sumM, Vec &weightM) {
  const Vec zero = splat(0);
  const Vec d = tap - centre, d2 = d * d;
  const Vec ws = vector4::max(reachS - d2, zero);
  const Vec wm = vector4::max(reachM - d2, zero);
  sumS += ws * d, weightS += ws;
  sumM += wm * d, weightM += wm;
}

// The range of each site of a row (as filterRow takes the rows): range^2 of either filter
// from the noise table at the mean of its nine same-colour taps. A pass of its own, so that the
// filter reads the ranges back long after they were written.
void rangeRow(const float *up, const float *mid, const float *down, const Params &p, int span,
              float *reachStatic, float *reachMoving) {
  const Vec highest = splat(static_cast<float>(p.reach.size() - 1));
  const std::array<float, 2> *table = p.reach.data();
  for (int x = 0; x < span; x += kLanes) {
    const Vec mean =
        (load(up + x) + load(up + x + 2) + load(up + x + 4) + load(mid + x) + load(mid + x + 2) +
         load(mid + x + 4) + load(down + x) + load(down + x + 2) + load(down + x + 4)) *
        splat(1.0f / 9);
    // Clamped as floats (a NaN goes to level 0), then truncated like a cast.
    const Bits level =
        __builtin_convertvector(vector4::min(vector4::max(mean, splat(0)), highest), Bits);
    // Each level's pair as one 64-bit load, then split into the two filters' vectors.
    using Pairs = double __attribute__((vector_size(16)));
    const auto pair = [&](int at) {
      double both;
      std::memcpy(&both, table[at].data(), sizeof both);
      return both;
    };
    const Vec low = reinterpret_cast<Vec>(Pairs{pair(level[0]), pair(level[1])});
    const Vec high = reinterpret_cast<Vec>(Pairs{pair(level[2]), pair(level[3])});
    vector4::store(reachStatic + x, __builtin_shufflevector(low, high, 0, 2, 4, 6));
    vector4::store(reachMoving + x, __builtin_shufflevector(low, high, 1, 3, 5, 7));
  }
}

// One row of sites: up, mid and down hold the rows two above, this one and two below, in codes
// above black, with two reflected sites at each end (index x + 2 is site x) and padded to
// whole groups of kLanes; reach* give each site's range^2. Both range filters run over
// the nine same-colour taps in one sweep.
void filterRow(const float *up, const float *mid, const float *down, const float *reachStatic,
               const float *reachMoving, const Params &p, int span, float *result) {
  const Vec staticShare = splat(1 - p.movingWeight), movingShare = splat(p.movingWeight);
  for (int x = 0; x < span; x += kLanes) {
    const Vec centre = load(mid + x + 2);
    const Vec is = load(reachStatic + x), im = load(reachMoving + x);
    Vec sumS = splat(0), weightS = is, sumM = splat(0), weightM = im;
    accumulate(load(up + x), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(up + x + 2), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(up + x + 4), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(mid + x), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(mid + x + 4), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(down + x), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(down + x + 2), centre, is, im, sumS, weightS, sumM, weightM);
    accumulate(load(down + x + 4), centre, is, im, sumS, weightS, sumM, weightM);
    const Vec fs = centre + sumS / weightS, fm = centre + sumM / weightM;
    const Vec out = staticShare * (fs + restore(centre - fs, p.stat)) +
                    movingShare * (fm + restore(centre - fm, p.moving));
    vector4::store(result + x, out);
  }
}

// dst[x] = (src[x] - offset) * scale over a row, four sites at a time.
void scaleRow(const float *src, float offset, float scale, int width, float *dst) {
  const Vec o = splat(offset), k = splat(scale);
  int x = 0;
  for (; x + kLanes <= width; x += kLanes) vector4::store(dst + x, (load(src + x) - o) * k);
  for (; x < width; ++x) dst[x] = (src[x] - offset) * scale;
}

void filterRows(const Mosaic &in, const Params &p, Mosaic &out, int first, int last) {
  const int width = in.width, height = in.height;
  const float black = in.blackLevel;
  const float toCodes = kCodes / std::max(in.whiteLevel - black, 1.0f);
  // Reflection about the edge keeps the colour of the neighbour two sites away.
  const auto reflect = [](int i, int size) {
    return i < 0 ? -i : i >= size ? 2 * (size - 1) - i : i;
  };
  // The band's rows and two above and below, in codes above black, each with two reflected
  // sites at either end and padded to whole groups of lanes: every source row is converted
  // once. Kept by the thread between passes: a band's rows are a megabyte, fresh every frame
  // they would cost zero-filling and page faults.
  const int span = vector4::roundUp(width), stride = span + 4;
  thread_local std::vector<float> rows;
  rows.resize(std::max(rows.size(), static_cast<size_t>(last - first + 4) * stride));
  for (int y = first - 2; y < last + 2; ++y) {
    float *row = &rows[static_cast<size_t>(y - first + 2) * stride] + 2;
    scaleRow(&in.data[static_cast<size_t>(reflect(y, height)) * width], black, toCodes, width, row);
    for (int k = 1; k <= 2; ++k)
      row[-k] = row[reflect(-k, width)], row[width - 1 + k] = row[reflect(width - 1 + k, width)];
  }
  std::vector<float> reachStatic(span), reachMoving(span), result(span);
  for (int y = first; y < last; ++y) {
    const float *up = &rows[static_cast<size_t>(y - first) * stride];
    const float *mid = up + 2 * stride, *down = up + 4 * stride;
    rangeRow(up, mid, down, p, span, reachStatic.data(), reachMoving.data());
    filterRow(up, mid, down, reachStatic.data(), reachMoving.data(), p, span, result.data());
    scaleRow(result.data(), -black * toCodes, 1 / toCodes, width,
             &out.data[static_cast<size_t>(y) * width]);
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
  p.reach.resize(kLevels + 1);
  for (int level = 0; level <= kLevels; ++level) {
    float sigma = base * (offset + shot * std::sqrt(static_cast<float>(level)));
    if (state.isLumaCtrl)
      sigma *= curveAt(state.lumaCurvePx, state.lumaCurveX, state.lumaCurveY, level) / kCurveUnit;
    const auto reach = [&](float factor) {
      const float range = kRangeSigmas * sigma * factor;
      return range > 0 ? range * range : kNoRange;
    };
    p.reach[level] = {reach(p.stat.sigmaFactor), reach(p.moving.sigmaFactor)};
  }

  out = in.sameShape();
  out.shortData = in.shortData;
  parallelRows(in.height, [&](int first, int last) { filterRows(in, p, out, first, last); });
  return true;
}

}  // namespace tcamera
