// "DPCC" in the simulated ISP: finds hot and dead sites and replaces them from their
// same-colour neighbours.
//
// A site is judged against its eight same-colour neighbours two sites away (a 5 x 5 window).
// Detection runs up to three method sets (setUse bit i enables set i); a site is defective
// when every method enabled in any one used set says so. methodsSet[i] enables the methods of
// set i, bits 0-4 for green sites and bits 8-12 for red and blue sites; the factor and
// threshold tables have one row per plane (green, then red and blue) and one column per set.
// Each method judges the site p against its neighbours, the same way up for a hot site (above
// their mean m) and upside down for a dead one (below it):
//   bit 0 peak gradient:   p - m > pgFac x (the neighbours' mean absolute deviation from m plus
//                          the mean difference across the four lines through the site), which
//                          isolated defects pass and edges, lines and noise do not;
//   bit 1 line:            along the smoothest of those four lines, p lies further than
//                          lineThresh from the mean of the two neighbours on it and further
//                          than lineMadFac x their difference;
// and, with the rank bound b the roLimits-th brightest neighbour (roLimits - 1 neighbours may
// be defective themselves):
//   bit 2 rank order:      p > b;
//   bit 3 rank difference: p - b > rndThresh + rndOffs x sqrt(b), a noise-shaped threshold, as
//                          shot noise grows with the square root of the signal;
//   bit 4 rank gradient:   p - b > rgFac / 16 x the step from b to the next rank.
// Levels are on the 12-bit scale above black. A detected site is replaced according to
// outMode, a site listed in the bad-pixel table (bptEnable, the first bptNum entries of
// bptPosX/bptPosY) according to bptOutMode: 0 mean of the horizontal pair, 1 of the vertical
// pair, 2 of the four nearest, 3 of the pair along the smoothest line, 4 and above the median
// of all eight. On an RGB-IR sensor the red and blue sites have no same-colour neighbours at
// that distance and pass unchanged. Both exposures of a two-exposure frame are corrected alike.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr int kRecordBits = 12;  // thresholds are on the 12-bit scale
constexpr int kSets = 3;
constexpr int kNeighbours = 8;
constexpr int kRadius = 2;           // same-colour neighbours lie two sites away
constexpr float kGradientUnit = 16;  // rgFac 16 = once the step
constexpr int kMaxRank = 4;          // a bound beyond the fourth neighbour is no bound
constexpr int kRun = 8;  // sites gated together, a multiple of the 4 x 4 pattern's width

using vector4::Vec;
using Bits = int32_t __attribute__((vector_size(16)));
constexpr float kNever = 3e38f;  // a margin no site passes

enum Method : uint8_t {
  kPeakGradient = 1 << 0,
  kLine = 1 << 1,
  kRankOrder = 1 << 2,
  kRankDifference = 1 << 3,
  kRankGradient = 1 << 4,
  kRankMethods = kRankOrder | kRankDifference | kRankGradient,
  kAllMethods = kPeakGradient | kLine | kRankMethods,
};

enum Replacement : int { kHorizontal = 0, kVertical = 1, kNearest = 2, kSmoothest = 3 };

// One method set for one plane, its thresholds in codes of the sensor.
struct MethodSet {
  uint8_t methods = 0;  // 0: the set takes no part
  int rank = 1;
  float peakFactor = 0, gradientFactor = 0;
  float rankThreshold = 0, rankNoise = 0;  // rankNoise multiplies sqrt(codes)
  float lineThreshold = 0, lineFactor = 0;
};

struct Plane {
  MethodSet sets[kSets];
  bool any = false;
  // Every used set tests the peak gradient: a site below the smallest of its factors is not
  // defective, which settles most sites before anything costly.
  bool peakGate = false;
  float smallestPeakFactor = 0;
};

Plane planeOf(const TDatabaseDefectPixelClusterCorrection &state, int plane, float scale) {
  Plane result;
  result.peakGate = true;
  result.smallestPeakFactor = 1e30f;
  for (int i = 0; i < kSets; ++i) {
    MethodSet &set = result.sets[i];
    if (!((state.setUse >> i) & 1)) continue;
    set.methods = static_cast<uint8_t>((state.methodsSet[i] >> (plane * 8)) & kAllMethods);
    if (!set.methods) continue;
    set.rank = std::clamp<int>(state.roLimits[plane][i], 1, kMaxRank);
    set.peakFactor = state.pgFac[plane][i];
    set.gradientFactor = state.rgFac[plane][i] / kGradientUnit;
    set.rankThreshold = state.rndThresh[plane][i] * scale;
    set.rankNoise = state.rndOffs[plane][i] * std::sqrt(scale);
    set.lineThreshold = state.lineThresh[plane][i] * scale;
    set.lineFactor = state.lineMadFac[plane][i];
    result.any = true;
    if (set.methods & kPeakGradient)
      result.smallestPeakFactor = std::min(result.smallestPeakFactor, set.peakFactor);
    else
      result.peakGate = false;
  }
  result.peakGate = result.peakGate && result.any;
  return result;
}

// The same-colour neighbour at offset (kRadius or -kRadius) from index along a side of size
// sites: beyond the frame, the one on the other side of the site.
int neighbourAt(int index, int offset, int size) {
  const int at = index + offset;
  return at < 0 || at >= size ? index - offset : at;
}

// Neighbour order: the row above (left, middle, right), left, right, the row below.
// Lines through the site: horizontal, vertical and the two diagonals.
constexpr int kLines[4][2] = {{3, 4}, {1, 6}, {0, 7}, {2, 5}};

void sortEight(float (&v)[kNeighbours]) {
  static constexpr int kNetwork[19][2] = {{0, 2}, {1, 3}, {4, 6}, {5, 7}, {0, 4}, {1, 5}, {2, 6},
                                          {3, 7}, {0, 1}, {2, 3}, {4, 5}, {6, 7}, {2, 4}, {3, 5},
                                          {1, 4}, {3, 6}, {1, 2}, {3, 4}, {5, 6}};
  for (const auto &pair : kNetwork) {
    const float low = std::min(v[pair[0]], v[pair[1]]);
    const float high = std::max(v[pair[0]], v[pair[1]]);
    v[pair[0]] = low;
    v[pair[1]] = high;
  }
}

// The line through the site along which its neighbours agree best.
int smoothestLine(const float (&n)[kNeighbours]) {
  int best = 0;
  float bestDifference = std::fabs(n[kLines[0][0]] - n[kLines[0][1]]);
  for (int line = 1; line < 4; ++line) {
    const float difference = std::fabs(n[kLines[line][0]] - n[kLines[line][1]]);
    if (difference < bestDifference) {
      bestDifference = difference;
      best = line;
    }
  }
  return best;
}

float replacement(const float (&n)[kNeighbours], int mode) {
  const auto pairMean = [&](int line) { return (n[kLines[line][0]] + n[kLines[line][1]]) * 0.5f; };
  switch (mode) {
    case kHorizontal:
      return pairMean(0);
    case kVertical:
      return pairMean(1);
    case kNearest:
      return (pairMean(0) + pairMean(1)) * 0.5f;
    case kSmoothest:
      return pairMean(smoothestLine(n));
    default: {
      float sorted[kNeighbours];
      std::copy(std::begin(n), std::end(n), sorted);
      sortEight(sorted);
      return (sorted[3] + sorted[4]) * 0.5f;
    }
  }
}

// The site's standing among its neighbours, seen the right way up (sign +1 for a site above
// their mean, -1 below it: the tests are written for hot sites and see a dead one through
// negated levels).
struct Standing {
  float sign;
  float peak;    // sign x (p - m)
  float spread;  // mean absolute deviation plus mean difference across the lines
};

// Written as balanced sums without branches: this runs for every site of the frame.
Standing standingOf(const float (&n)[kNeighbours], float p) {
  const float mean =
      (((n[0] + n[1]) + (n[2] + n[3])) + ((n[4] + n[5]) + (n[6] + n[7]))) * (1.0f / kNeighbours);
  float d[kNeighbours];
  for (int i = 0; i < kNeighbours; ++i) d[i] = std::fabs(n[i] - mean);
  const float deviation = ((d[0] + d[1]) + (d[2] + d[3])) + ((d[4] + d[5]) + (d[6] + d[7]));
  const float across = (std::fabs(n[3] - n[4]) + std::fabs(n[1] - n[6])) +
                       (std::fabs(n[0] - n[7]) + std::fabs(n[2] - n[5]));
  return {std::copysign(1.0f, p - mean), std::fabs(p - mean),
          deviation * (1.0f / kNeighbours) + across * 0.25f};
}

bool detected(const Plane &plane, const float (&n)[kNeighbours], float p, const Standing &standing,
              float black) {
  const float sign = standing.sign;
  float sorted[kNeighbours];
  bool isSorted = false;
  for (const MethodSet &set : plane.sets) {
    if (!set.methods) continue;
    if ((set.methods & kPeakGradient) && !(standing.peak > set.peakFactor * standing.spread))
      continue;
    if (set.methods & kLine) {
      const int line = smoothestLine(n);
      const float a = n[kLines[line][0]], b = n[kLines[line][1]];
      const float distance = sign * (p - (a + b) * 0.5f);
      if (!(distance > set.lineThreshold && distance > set.lineFactor * std::fabs(a - b))) continue;
    }
    if (set.methods & kRankMethods) {
      if (!isSorted) {
        std::copy(std::begin(n), std::end(n), sorted);
        sortEight(sorted);
        isSorted = true;
      }
      // Neighbours ranked from the brightest, as seen through sign.
      const auto ranked = [&](int i) { return sign > 0 ? sorted[7 - i] : -sorted[i]; };
      const float bound = ranked(set.rank - 1);
      const float distance = sign * p - bound;
      if ((set.methods & kRankOrder) && !(distance > 0)) continue;
      if ((set.methods & kRankGradient) &&
          !(distance > 0 && distance > set.gradientFactor * (bound - ranked(set.rank))))
        continue;
      if (set.methods & kRankDifference) {
        const float level = std::max(0.0f, sign * bound - black);
        if (!(distance > set.rankThreshold + set.rankNoise * std::sqrt(level))) continue;
      }
    }
    return true;
  }
  return false;
}

struct Settings {
  Plane planes[2];      // green; red, blue and infrared
  bool detect = false;  // some set of some plane takes part
  int outMode = kSmoothest;
  int tableMode = kSmoothest;
};

// Which of the 4 x 4 pattern positions have same-colour neighbours two sites away, and their
// plane.
struct Sites {
  bool checked[16];
  int plane[16];
};

Sites sitesOf(const Mosaic &shape) {
  Sites sites{};
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) {
      const Cfa colour = shape.colourAt(x, y);
      bool same = true;
      for (int dy = -kRadius; dy <= kRadius; dy += kRadius)
        for (int dx = -kRadius; dx <= kRadius; dx += kRadius)
          same = same && shape.colourAt(x + dx + 4, y + dy + 4) == colour;
      sites.checked[y * 4 + x] = same;
      sites.plane[y * 4 + x] = colour == Cfa::kGreenRed || colour == Cfa::kGreenBlue ? 0 : 1;
    }
  return sites;
}

// Rows of the frame with kRadius columns added on each side, so that the neighbours of every
// column are plain offsets: a column beyond the frame holds the neighbour on the other side
// of the site that reads it. Each band keeps the last five rows it padded.
class PaddedRows {
 public:
  PaddedRows(const std::vector<float> &in, int width)
      : in_(in), width_(width), rows_(kSlots * (width + 2 * kRadius)) {
    std::fill(std::begin(held_), std::end(held_), -1);
  }

  // Column x of row y is at [x + kRadius].
  const float *row(int y) {
    const int slot = y % kSlots;
    float *padded = &rows_[static_cast<size_t>(slot) * (width_ + 2 * kRadius)];
    if (held_[slot] != y) {
      const float *source = &in_[static_cast<size_t>(y) * width_];
      std::copy(source, source + width_, padded + kRadius);
      // Column -i is read only by site kRadius - i, column width - 1 + i only by site
      // width - 1 + i - kRadius.
      for (int i = 1; i <= kRadius; ++i) {
        padded[kRadius - i] = source[neighbourAt(kRadius - i, -kRadius, width_)];
        padded[kRadius + width_ - 1 + i] =
            source[neighbourAt(width_ - 1 + i - kRadius, kRadius, width_)];
      }
      held_[slot] = y;
    }
    return padded;
  }

 private:
  static constexpr int kSlots = 2 * kRadius + 1;
  const std::vector<float> &in_;
  int width_;
  std::vector<float> rows_;
  int held_[kSlots];
};

void gather(const float *above, const float *here, const float *below, int x,
            float (&n)[kNeighbours]) {
  // Column x - kRadius of a padded row is at [x].
  n[0] = above[x];
  n[1] = above[x + kRadius];
  n[2] = above[x + 2 * kRadius];
  n[3] = here[x];
  n[4] = here[x + 2 * kRadius];
  n[5] = below[x];
  n[6] = below[x + kRadius];
  n[7] = below[x + 2 * kRadius];
}

// |v| by clearing the sign bits.
inline Vec magnitude(Vec v) {
  return reinterpret_cast<Vec>(reinterpret_cast<Bits>(v) & INT32_MAX);
}

// How far the peak of each of four sites from x passes factor x spread (see Standing), one
// site per lane; the rows are padded as PaddedRows gives them.
inline Vec gateFour(const float *above, const float *here, const float *below, int x, Vec factor) {
  using vector4::load;
  const Vec a0 = load(above + x), a2 = load(above + x + 2), a4 = load(above + x + 4);
  const Vec h0 = load(here + x), h2 = load(here + x + 2), h4 = load(here + x + 4);
  const Vec b0 = load(below + x), b2 = load(below + x + 2), b4 = load(below + x + 4);
  const Vec mean = (((a0 + a2) + (a4 + h0)) + ((h4 + b0) + (b2 + b4))) * (1.0f / kNeighbours);
  const Vec deviation = ((magnitude(a0 - mean) + magnitude(a2 - mean)) +
                         (magnitude(a4 - mean) + magnitude(h0 - mean))) +
                        ((magnitude(h4 - mean) + magnitude(b0 - mean)) +
                         (magnitude(b2 - mean) + magnitude(b4 - mean)));
  const Vec across =
      (magnitude(h0 - h4) + magnitude(a2 - b2)) + (magnitude(a0 - b4) + magnitude(a4 - b0));
  const Vec spread = deviation * (1.0f / kNeighbours) + across * 0.25f;
  return magnitude(h2 - mean) - factor * spread;
}

void correctPlane(const std::vector<float> &in, const Mosaic &shape, const Settings &settings,
                  const Sites &sites, const TDatabaseDefectPixelClusterCorrection &state,
                  std::vector<float> &out) {
  const int width = shape.width, height = shape.height;
  const float black = shape.blackLevel;
  parallelRows(height, [&](int first, int last) {
    PaddedRows rows(in, width);
    for (int y = first; y < last; ++y) {
      const size_t start = static_cast<size_t>(y) * width;
      std::copy(&in[start], &in[start] + width, &out[start]);
      if (!settings.detect) continue;
      const Plane *planeAt[4];
      for (int x = 0; x < 4; ++x) {
        const int position = (y & 3) * 4 + x;
        const Plane &plane = settings.planes[sites.plane[position]];
        planeAt[x] = sites.checked[position] && plane.any ? &plane : nullptr;
      }
      const float *above = rows.row(neighbourAt(y, -kRadius, height));
      const float *below = rows.row(neighbourAt(y, kRadius, height));
      const float *here = rows.row(y);
      // The peak gate over a run of sites, in fixed runs the compiler can vectorise; a site
      // that fails it (most sites) is done with.
      float gate[4];
      for (int x = 0; x < 4; ++x)
        gate[x] = planeAt[x] && planeAt[x]->peakGate ? planeAt[x]->smallestPeakFactor : -1.0f;
      // Where every checked position has the gate, a run none of whose sites passes it (most
      // runs) is passed over whole, judged from the margins in registers; an unchecked
      // position's margin never passes.
      bool gated = true;
      Vec factor, limit;
      for (int x = 0; x < 4; ++x) {
        gated = gated && (!planeAt[x] || gate[x] >= 0);
        factor[x] = gate[x];
        limit[x] = planeAt[x] ? 0.0f : kNever;
      }
      for (int run = 0; run < width; run += kRun) {
        const int length = std::min(kRun, width - run);
        float margin[kRun];
        if (length == kRun) {
          const Vec low = gateFour(above, here, below, run, factor);
          const Vec high = gateFour(above, here, below, run + 4, factor);
          if (gated) {
            const Bits passed = (low > limit) | (high > limit);
            if (!(passed[0] | passed[1] | passed[2] | passed[3])) continue;
          }
          vector4::store(margin, low);
          vector4::store(margin + 4, high);
        } else {
          for (int i = 0; i < length; ++i) {
            float n[kNeighbours];
            gather(above, here, below, run + i, n);
            const Standing standing = standingOf(n, here[run + i + kRadius]);
            margin[i] = standing.peak - gate[i & 3] * standing.spread;
          }
        }
        for (int i = 0; i < length; ++i) {
          const int x = run + i;
          const Plane *plane = planeAt[x & 3];
          if (!plane || !(margin[i] > 0 || gate[i & 3] < 0)) continue;
          float n[kNeighbours];
          gather(above, here, below, x, n);
          const float p = here[x + kRadius];
          if (detected(*plane, n, p, standingOf(n, p), black))
            out[start + x] = replacement(n, settings.outMode);
        }
      }
    }
  });
  if (!state.bptEnable) return;
  const int entries = std::min<int>(state.bptNum, TDATABASE_DPCC_BPT_ENTRIES);
  PaddedRows rows(in, width);
  for (int i = 0; i < entries; ++i) {
    const int x = state.bptPosX[i], y = state.bptPosY[i];
    if (x >= width || y >= height || !sites.checked[(y & 3) * 4 + (x & 3)]) continue;
    float n[kNeighbours];
    gather(rows.row(neighbourAt(y, -kRadius, height)), rows.row(y),
           rows.row(neighbourAt(y, kRadius, height)), x, n);
    out[static_cast<size_t>(y) * width + x] = replacement(n, settings.tableMode);
  }
}

}  // namespace

bool stageDefectPixelClusterCorrection(const Mosaic &in,
                                       const TDatabaseDefectPixelClusterCorrection &state,
                                       const FrameContext &context, Mosaic &out) {
  // Frames too small for the 5 x 5 window pass unchanged.
  if (state.state == 0 || in.width <= 2 * kRadius || in.height <= 2 * kRadius) return false;
  const float scale = std::ldexp(1.0f, context.bitDepth - kRecordBits);
  Settings settings;
  settings.planes[0] = planeOf(state, 0, scale);
  settings.planes[1] = planeOf(state, 1, scale);
  settings.outMode = state.outMode;
  settings.tableMode = state.bptOutMode;
  settings.detect = settings.planes[0].any || settings.planes[1].any;
  const bool table = state.bptEnable && state.bptNum > 0;
  if (!settings.detect && !table) return false;

  const Sites sites = sitesOf(in);
  out = in.sameShape();
  correctPlane(in.data, in, settings, sites, state, out.data);
  if (!in.shortData.empty()) correctPlane(in.shortData, in, settings, sites, state, out.shortData);
  return true;
}

}  // namespace tcamera
