// "CPD_1_1" in the simulated ISP: expands companded sensor data back to linear data.
//
// Sensors with a high dynamic range compress their output along a knee curve; the block undoes
// it. Levels are on the 12-bit scale: a site's code is brought to that scale, loses the
// black level of its channel (bls[], R, Gr, Gb, B) when blsEnable is set, and is then mapped
// along the piecewise-linear curve expandCurveX (compressed level) -> expandCurveY (linear
// level, which may exceed 12 bits). The curve is made of the points from the first on for as
// long as X keeps rising; below its first point and above its last it holds the end values. With
// expandUseOutYCurve off the expansion is skipped and only the black level is removed. The
// black and white levels of the mosaic are carried through the same mapping (infrared sites
// and the black level use the mean of the four channel levels). Both exposures of a
// two-exposure frame are expanded alike.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr int kRecordBits = 12;  // bls[] and the curve are on the 12-bit scale
constexpr int kCurvePoints = 64;
constexpr float kLargestLevel = 1 << 20;  // bounds the lookup table whatever the levels say

using vector4::kLanes;
using vector4::Vec;
using Bits = int32_t __attribute__((vector_size(16)));

struct Curve {
  float x[kCurvePoints];
  float y[kCurvePoints];
  int points = 0;  // 0: no expansion
};

Curve expansionCurve(const TDatabaseCompand_1_1 &state) {
  Curve curve;
  if (!state.expandUseOutYCurve) return curve;
  for (int i = 0; i < kCurvePoints; ++i) {
    if (i > 0 && state.expandCurveX[i] <= state.expandCurveX[i - 1]) break;
    curve.x[i] = static_cast<float>(state.expandCurveX[i]);
    curve.y[i] = static_cast<float>(state.expandCurveY[i]);
    curve.points = i + 1;
  }
  return curve;
}

// True when the curve maps every level from 0 up to top onto itself.
bool isIdentity(const Curve &curve, float top) {
  if (curve.points == 0) return true;
  if (curve.x[0] > 0 || curve.x[curve.points - 1] < top) return false;
  for (int i = 0; i < curve.points; ++i)
    if (curve.x[i] != curve.y[i]) return false;
  return true;
}

// Level on the 12-bit scale -> expanded level on the 12-bit scale.
float expand(const Curve &curve, float level) {
  if (curve.points == 0) return level;
  if (level <= curve.x[0]) return curve.y[0];
  const int last = curve.points - 1;
  if (level >= curve.x[last]) return curve.y[last];
  const int upper =
      static_cast<int>(std::upper_bound(curve.x, curve.x + curve.points, level) - curve.x);
  const int lower = upper - 1;
  const float t = (level - curve.x[lower]) / (curve.x[upper] - curve.x[lower]);
  return curve.y[lower] + t * (curve.y[upper] - curve.y[lower]);
}

// The curve between each whole level i and i + 1 (for i up to ceil(top)), as the output in
// sensor codes at i and its slope: the curve's points lie on whole levels, so this reproduces
// it exactly.
struct Segment {
  float base, slope;
};

std::vector<Segment> expansionTable(const Curve &curve, float top, float scale) {
  const float last = std::ceil(top > 0 ? std::min(top, kLargestLevel) : 0.0f);
  std::vector<Segment> table(static_cast<size_t>(last) + 1);
  float next = expand(curve, 0) * scale;
  for (size_t i = 0; i < table.size(); ++i) {
    const float here = next;
    next = expand(curve, static_cast<float>(i + 1)) * scale;
    table[i] = {here, next - here};
  }
  return table;
}

void expandPlane(const std::vector<float> &in, const Mosaic &shape,
                 const std::vector<Segment> &table, const std::array<float, 5> &blackByColour,
                 float scale, std::vector<float> &out) {
  const float toRecord = 1 / scale;
  const float topLevel = static_cast<float>(table.size());
  const int lastSegment = static_cast<int>(table.size()) - 1;
  const int groups = shape.width / kLanes * kLanes;
  parallelRows(shape.height, [&](int first, int last) {
    // A row in three passes: levels and segments four at a time, the segments' starts and
    // slopes looked up site by site, the expansion four at a time.
    std::vector<float> levels(groups), bases(groups), slopes(groups);
    std::vector<int32_t> indices(groups);
    for (int y = first; y < last; ++y) {
      float rowBlack[4];
      for (int x = 0; x < 4; ++x)
        rowBlack[x] = blackByColour[static_cast<int>(shape.colourAt(x, y))];
      const size_t row = static_cast<size_t>(y) * shape.width;
      const Vec black = {rowBlack[0], rowBlack[1], rowBlack[2], rowBlack[3]};
      for (int x = 0; x < groups; x += kLanes) {
        const Vec level = vector4::min(
            vector4::max(vector4::load(&in[row + x]) * toRecord - black, vector4::splat(0)),
            vector4::splat(topLevel));
        const Bits index = __builtin_convertvector(level, Bits);
        vector4::store(&levels[x], level);
        const Bits segment = index < lastSegment ? index : Bits{} + lastSegment;
        std::memcpy(&indices[x], &segment, sizeof segment);
      }
      for (int x = 0; x < groups; ++x) {
        const Segment segment = table[indices[x]];
        bases[x] = segment.base, slopes[x] = segment.slope;
      }
      for (int x = 0; x < groups; x += kLanes) {
        Bits index;
        std::memcpy(&index, &indices[x], sizeof index);
        const Vec fraction = vector4::load(&levels[x]) - __builtin_convertvector(index, Vec);
        vector4::store(&out[row + x],
                       vector4::load(&bases[x]) + vector4::load(&slopes[x]) * fraction);
      }
      for (int x = groups; x < shape.width; ++x) {
        const float level = std::clamp(in[row + x] * toRecord - rowBlack[x & 3], 0.0f, topLevel);
        const int index = std::min(static_cast<int>(level), lastSegment);
        const Segment segment = table[index];
        out[row + x] = segment.base + segment.slope * (level - static_cast<float>(index));
      }
    }
  });
}

}  // namespace

bool stageCompand_1_1(const Mosaic &in, const TDatabaseCompand_1_1 &state,
                      const FrameContext &context, Mosaic &out) {
  if (state.state == 0) return false;
  const Curve curve = expansionCurve(state);
  std::array<float, 5> blackByColour{};  // R, Gr, Gb, B, IR on the 12-bit scale
  if (state.blsEnable) {
    for (int c = 0; c < 4; ++c) blackByColour[c] = static_cast<float>(state.bls[c]);
    blackByColour[4] =
        (blackByColour[0] + blackByColour[1] + blackByColour[2] + blackByColour[3]) / 4;
  }
  const bool noBlack = std::all_of(blackByColour.begin(), blackByColour.end(),
                                   [](float level) { return level == 0; });
  const float scale = std::ldexp(1.0f, context.bitDepth - kRecordBits);
  const float top = in.whiteLevel / scale;  // no site of the input lies above it
  if (noBlack && isIdentity(curve, top)) return false;

  const std::vector<Segment> table = expansionTable(curve, top, scale);
  out = in.sameShape();
  expandPlane(in.data, in, table, blackByColour, scale, out.data);
  if (!in.shortData.empty())
    expandPlane(in.shortData, in, table, blackByColour, scale, out.shortData);
  const float meanBlack = blackByColour[4];
  out.blackLevel = expand(curve, std::max(0.0f, in.blackLevel / scale - meanBlack)) * scale;
  out.whiteLevel = expand(curve, std::max(0.0f, in.whiteLevel / scale - meanBlack)) * scale;
  return true;
}

}  // namespace tcamera
