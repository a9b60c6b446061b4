// "DMSC_3" in the simulated ISP: turns the Bayer mosaic into linear RGB.
//
// Green at red and blue sites is interpolated along the smoother of the horizontal and the
// vertical direction (the neighbours' mean corrected by the site colour's second difference);
// red and blue follow green through their colour differences. Then, in this order: lateral
// chromatic aberration correction (red and blue resampled radially about the optical centre),
// false-colour suppression (colour differences pulled towards their 3 x 3 median), purple
// fringe desaturation next to strong edges, and sharpening: the detail of the interpolated
// green, shaped by the sharpening curve of the sensor gain, plus a gain of its own for thin
// lines, added to all three channels so the hue stays. Level thresholds are in 12-bit codes of
// the full scale (0 .. 4095) whatever the sensor's depth. A bypassed block still has to
// deliver a picture: a plain bilinear interpolation, nothing else.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr float kCodes = 4095;            // level thresholds are 12-bit codes
constexpr float kGreenLapUnit = 32;       // interpDirStrength[0..1]: 8 = a quarter (1/32 steps)
constexpr float kColourDiffUnit = 16;     // interpDirStrength[2..3]: 16 = full colour difference
constexpr float kStrengthUnit = 16;       // colorStrength, saturationShrink: 16 = all the way
constexpr float kFactorUnit = 64;         // sharpening factors
constexpr float kCurveGainUnit = 256;     // sharpening curve gains layerR*
constexpr int kFringeReach = 4;           // sites from an edge a purple fringe may reach
constexpr float kLineStrengthUnit = 128;  // sharpenLineCurve strength: 128 = 1
constexpr float kLineGain = 4;  // sensor gain that selects line curve 2 (3 from kHighGain)
constexpr float kMidGain = 2, kHighGain = 8;  // sensor gains that select curves 1 and 2

using vector4::kLanes;
using vector4::load;
using vector4::splat;
using vector4::Vec;

enum Site : uint8_t { kR, kG, kB };

// A float plane with a reflected border of `pad` sites, so that neighbourhoods need no
// clamping. Reflection about the edge keeps the Bayer phase of every neighbour.
struct Plane {
  int width = 0, height = 0, pad = 0, stride = 0;
  std::vector<float> data;

  void shape(int w, int h, int p) {
    width = w, height = h, pad = p, stride = w + 2 * p;
    data.resize(static_cast<size_t>(stride) * (h + 2 * p));
  }
  float *row(int y) { return &data[static_cast<size_t>(y + pad) * stride + pad]; }
  const float *row(int y) const { return &data[static_cast<size_t>(y + pad) * stride + pad]; }
  void reflectColumns(int first, int last) {
    for (int y = first; y < last; ++y) {
      float *r = row(y);
      for (int k = 1; k <= pad; ++k) {
        r[-k] = r[std::min(k, width - 1)];
        r[width - 1 + k] = r[std::max(width - 1 - k, 0)];
      }
    }
  }
  void reflectRows() {
    for (int k = 1; k <= pad; ++k) {
      std::copy_n(row(std::min(k, height - 1)) - pad, stride, row(-k) - pad);
      std::copy_n(row(std::max(height - 1 - k, 0)) - pad, stride, row(height - 1 + k) - pad);
    }
  }
};

// Scratch planes kept between frames: a frame is tens of megabytes, and allocating it afresh
// costs page faults on every frame.
struct Scratch {
  Plane mosaic, green, red, blue, diffRed, diffBlue;
};

// The block's parameters as the interpolation uses them, in full-scale units.
struct Interp {
  float lapH, lapV;        // weight of the second difference in the green estimates
  float diffAtGreen;       // weight of the colour difference, red/blue at green sites
  float diffAtColour;      // ... blue at red sites and red at blue sites
  bool colourInGradient;   // gradients include the site colour's second difference
  bool hardDecision;       // no blend zone between the two directions
  float gradMin, gradMax;  // direction contrast: blend both below, one only above
  bool refineGreen;        // average Gr and Gb where they differ by little
  float refineThreshold;
};

Interp interpFrom(const TDatabaseDeMosaic_3 &s, bool bilinear) {
  Interp p{};
  if (bilinear) {
    p.gradMin = 1e30f, p.gradMax = 2e30f;  // never a preferred direction
    return p;
  }
  p.lapH = s.interpDirStrength[0] / kGreenLapUnit;
  p.lapV = s.interpDirStrength[1] / kGreenLapUnit;
  p.diffAtGreen = s.interpDirStrength[2] / kColourDiffUnit;
  p.diffAtColour = s.interpDirStrength[3] / kColourDiffUnit;
  p.colourInGradient = s.gradControl != 0;
  p.hardDecision = s.dir0InterpType != 0;
  p.gradMin = s.gradThresholdMin / kCodes;
  p.gradMax = std::max<float>(s.gradThresholdMax, s.gradThresholdMin + 1) / kCodes;
  p.refineGreen = s.isDeMoireRefineGreen != 0;
  p.refineThreshold = s.refineGreenThreshold / kCodes;
  return p;
}

// The 2 x 2 Bayer quad of the mosaic. Infrared sites still in the data (infrared separation
// bypassed) are read as the colour of the Bayer site they replace.
std::array<Site, 4> bayerQuad(const Mosaic &in) {
  std::array<Site, 4> quad{kG, kG, kG, kG};
  int red = -1, blue = -1, other = -1;
  for (int i = 0; i < 4; ++i) {
    const Cfa c = in.pattern[(i >> 1) * 4 + (i & 1)];
    if (c == Cfa::kRed) red = i;
    if (c == Cfa::kBlue) blue = i;
    if (c == Cfa::kInfrared) other = i;
  }
  // Red and blue sit on one diagonal; one of them may be replaced by an infrared site.
  if (red < 0 && blue < 0) red = 0, blue = 3;
  if (red < 0) red = other >= 0 ? other : 3 - blue;
  if (blue < 0) blue = other >= 0 && other != red ? other : 3 - red;
  quad[red] = kR;
  quad[blue] = kB;
  return quad;
}

using Bits = int32_t __attribute__((vector_size(16)));

// |v| by clearing the sign bits: one instruction where a compare and a select take three.
inline Vec magnitude(Vec v) {
  return reinterpret_cast<Vec>(reinterpret_cast<Bits>(v) & INT32_MAX);
}

// Four pixels of red, green and blue, never below zero, stored interleaved at o.
inline void storeRgb(float *o, Vec r, Vec g, Vec b) {
  const Vec zero = splat(0);
  r = vector4::max(r, zero), g = vector4::max(g, zero), b = vector4::max(b, zero);
  const Vec rg = __builtin_shufflevector(r, g, 0, 4, 1, 5);  // r0 g0 r1 g1
  const Vec gb = __builtin_shufflevector(g, b, 1, 5, 2, 6);  // g1 b1 g2 b2
  const Vec br = __builtin_shufflevector(b, r, 2, 7, 3, 7);  // b2 r3 b3 r3
  vector4::store(o, __builtin_shufflevector(rg, b, 0, 1, 4, 2));
  vector4::store(o + 4, __builtin_shufflevector(gb, r, 0, 1, 6, 2));
  vector4::store(o + 8, __builtin_shufflevector(br, g, 0, 1, 7, 2));
}

// v limited to [0, 1], in a form that compiles to min/max instructions, not branches.
float unit(float v) {
  return std::min(1.0f, std::max(0.0f, v));
}

// Sites are handled eight at a time, split by colour: the green and the red or blue sites of a
// row alternate, so each half of the group is four sites of one colour, and only the formula
// that colour needs is evaluated.
constexpr int kGroup = 2 * kLanes;

constexpr int roundUpGroup(int count) {
  return (count + kGroup - 1) / kGroup * kGroup;
}

// p[0], p[2], p[4], p[6].
inline Vec evens(const float *p) {
  return __builtin_shufflevector(load(p), load(p + 3), 0, 2, 5, 7);
}

// Stores eight sites from the four of the group's first site colour (a) and the four of the
// other (b), alternating.
inline void storeAlternating(float *o, Vec a, Vec b) {
  vector4::store(o, __builtin_shufflevector(a, b, 0, 4, 1, 5));
  vector4::store(o + kLanes, __builtin_shufflevector(a, b, 2, 6, 3, 7));
}

// Offset of the first green site in row y: 0 or 1.
int greenOffset(const std::array<Site, 4> &quad, int y) {
  return quad[(y & 1) * 2] == kG ? 0 : 1;
}

// Green at every site (rows [first, last)). Green sites keep their value (refined towards
// their diagonal greens where those differ little); red and blue sites interpolate along the
// smoother direction.
void interpolateGreen(const Plane &n, const std::array<Site, 4> &quad, const Interp &p, Plane &g,
                      int first, int last) {
  const Vec zero = splat(0), half = splat(0.5f), two = splat(2), quarter = splat(0.25f);
  const Vec blendScale = splat(0.5f / (p.gradMax - p.gradMin)), gradMin = splat(p.gradMin);
  const Vec refineThreshold = splat(p.refineGreen ? p.refineThreshold : -1.0f);
  const Vec lapWeightH = splat(p.lapH), lapWeightV = splat(p.lapV);
  const Vec colourTerm = splat(p.colourInGradient ? 1.0f : 0.0f);
  const Vec hard = splat(p.hardDecision ? 1.0f : 0.0f);
  for (int y = first; y < last; ++y) {
    const float *r0 = n.row(y), *u1 = n.row(y - 1), *d1 = n.row(y + 1), *u2 = n.row(y - 2),
                *d2 = n.row(y + 2);
    float *out = g.row(y);
    // The row's phase as a constant, so that the loads the two halves share are made once.
    const auto row = [&](auto phase) {
      constexpr int gx = decltype(phase)::value, cx = 1 - gx;
      for (int x = 0; x < roundUpGroup(n.width); x += kGroup) {
        // The green sites: moved to the midpoint with their diagonal greens when they differ
        // little.
        const float *q = r0 + x + gx, *qu = u1 + x + gx, *qd = d1 + x + gx;
        const Vec green = evens(q);
        const Vec diagonal =
            quarter * (evens(qu - 1) + evens(qu + 1) + evens(qd - 1) + evens(qd + 1));
        const Vec refined =
            magnitude(green - diagonal) < refineThreshold ? half * (green + diagonal) : green;
        // The red or blue sites: along the smoother direction.
        const int at = x + cx;
        const float *c0 = r0 + at;
        const Vec c = evens(c0);
        const Vec gl = evens(c0 - 1), gr = evens(c0 + 1), gu = evens(u1 + at), gd = evens(d1 + at);
        const Vec lapH = two * c - evens(c0 - 2) - evens(c0 + 2);
        const Vec lapV = two * c - evens(u2 + at) - evens(d2 + at);
        const Vec estH = half * (gl + gr) + lapWeightH * lapH;
        const Vec estV = half * (gu + gd) + lapWeightV * lapV;
        const Vec dH = magnitude(gl - gr) + colourTerm * magnitude(lapH);
        const Vec dV = magnitude(gu - gd) + colourTerm * magnitude(lapV);
        const Vec contrast = magnitude(dH - dV);
        // Weight of the smoother direction: a half (both alike) up to one (that one alone).
        const Vec ramp = vector4::min(half, vector4::max(zero, (contrast - gradMin) * blendScale));
        const Vec step = contrast > gradMin ? half : zero;
        const Vec smooth = half + ramp + hard * (step - ramp);
        const Vec wH = dH < dV ? smooth : splat(1) - smooth;
        const Vec interpolated = estV + wH * (estH - estV);
        if constexpr (gx == 0)
          storeAlternating(out + x, refined, interpolated);
        else
          storeAlternating(out + x, interpolated, refined);
      }
    };
    if (greenOffset(quad, y) == 0)
      row(std::integral_constant<int, 0>{});
    else
      row(std::integral_constant<int, 1>{});
  }
}

// Red and blue at every site from their colour differences to green, written as red and
// blue planes (for the aberration correction) or straight as differences to green.
void interpolateColour(const Plane &n, const Plane &g, const std::array<Site, 4> &quad,
                       const Interp &p, bool asDifferences, Plane &red, Plane &blue, int first,
                       int last) {
  const Vec half = splat(0.5f), quarter = splat(0.25f);
  const Vec atGreen = splat(p.diffAtGreen), atColour = splat(p.diffAtColour);
  const Vec bias = splat(asDifferences ? 1.0f : 0.0f);
  for (int y = first; y < last; ++y) {
    const float *n0 = n.row(y), *nu = n.row(y - 1), *nd = n.row(y + 1);
    const float *g0 = g.row(y), *gu = g.row(y - 1), *gd = g.row(y + 1);
    const int greenX = greenOffset(quad, y);
    const bool redRow = quad[(y & 1) * 2 + 1 - greenX] == kR;
    float *sameRow = redRow ? red.row(y) : blue.row(y);
    float *otherRow = redRow ? blue.row(y) : red.row(y);
    // The row's phase as a constant, so that the loads the two halves share are made once.
    const auto row = [&](auto phase) {
      constexpr int gx = decltype(phase)::value, cx = 1 - gx;
      for (int x = 0; x < roundUpGroup(n.width); x += kGroup) {
        // Green sites: the row's colour from left and right, the other one from above and below.
        const int q = x + gx;
        const Vec green = evens(g0 + q);
        const Vec horizontal = half * (evens(n0 + q - 1) + evens(n0 + q + 1)) +
                               atGreen * (green - half * (evens(g0 + q - 1) + evens(g0 + q + 1)));
        const Vec vertical = half * (evens(nu + q) + evens(nd + q)) +
                             atGreen * (green - half * (evens(gu + q) + evens(gd + q)));
        // Red or blue sites: their own value, the other colour from the four diagonals.
        const int c = x + cx;
        const Vec greenC = evens(g0 + c);
        const Vec diagonal =
            quarter *
                (evens(nu + c - 1) + evens(nu + c + 1) + evens(nd + c - 1) + evens(nd + c + 1)) +
            atColour * (greenC - quarter * (evens(gu + c - 1) + evens(gu + c + 1) +
                                            evens(gd + c - 1) + evens(gd + c + 1)));
        const Vec sameG = horizontal - bias * green, otherG = vertical - bias * green;
        const Vec sameC = evens(n0 + c) - bias * greenC, otherC = diagonal - bias * greenC;
        if constexpr (gx == 0) {
          storeAlternating(sameRow + x, sameG, sameC);
          storeAlternating(otherRow + x, otherG, otherC);
        } else {
          storeAlternating(sameRow + x, sameC, sameG);
          storeAlternating(otherRow + x, otherC, otherG);
        }
      }
    };
    if (greenX == 0)
      row(std::integral_constant<int, 0>{});
    else
      row(std::integral_constant<int, 1>{});
  }
}

// Bilinear sample of a plane at (fx, fy), clamped to the picture.
float sample(const Plane &plane, float fx, float fy) {
  fx = std::clamp(fx, 0.0f, static_cast<float>(plane.width - 1));
  fy = std::clamp(fy, 0.0f, static_cast<float>(plane.height - 1));
  const int x0 = std::min(static_cast<int>(fx), plane.width - 2 < 0 ? 0 : plane.width - 2);
  const int y0 = std::min(static_cast<int>(fy), plane.height - 2 < 0 ? 0 : plane.height - 2);
  const float ax = fx - x0, ay = fy - y0;
  const float *r0 = plane.row(y0), *r1 = plane.row(y0 + 1);
  const float top = r0[x0] + ax * (r0[x0 + 1] - r0[x0]);
  const float bottom = r1[x0] + ax * (r1[x0 + 1] - r1[x0]);
  return top + ay * (bottom - top);
}

// Colour differences to green after the aberration correction: red and blue are resampled
// at 1 + a + b r + c r^2 times their distance from the optical centre (r = 1 at the corner of
// a centred picture).
void correctAberration(const Plane &g, const Plane &red, const Plane &blue,
                       const TDatabaseDeMosaic_3 &s, Plane &diffR, Plane &diffB, int first,
                       int last) {
  const float cx = 0.5f * (g.width - 1) + s.cac.centerHOffs;
  const float cy = 0.5f * (g.height - 1) + s.cac.centerVOffs;
  const float norm = 1.0f / std::sqrt(0.25f * g.width * g.width + 0.25f * g.height * g.height);
  for (int y = first; y < last; ++y) {
    const float *g0 = g.row(y);
    float *dr = diffR.row(y), *db = diffB.row(y);
    const float dy = y - cy;
    for (int x = 0; x < g.width; ++x) {
      const float dx = x - cx;
      const float r = std::sqrt(dx * dx + dy * dy) * norm;
      const float sr = 1 + s.cac.aRed + r * (s.cac.bRed + r * s.cac.cRed);
      const float sb = 1 + s.cac.aBlue + r * (s.cac.bBlue + r * s.cac.cBlue);
      dr[x] = sample(red, cx + dx * sr, cy + dy * sr) - g0[x];
      db[x] = sample(blue, cx + dx * sb, cy + dy * sb) - g0[x];
    }
  }
}

Vec median3(Vec a, Vec b, Vec c) {
  return vector4::max(vector4::min(a, b), vector4::min(vector4::max(a, b), c));
}

// The medians of three along a row of colour differences, kept for the three rows that pull
// towards them: each row's medians are worked out once, not once for every row that reads them.
class RowMedians {
 public:
  explicit RowMedians(const Plane &diff) : diff_(diff), span_(vector4::roundUp(diff.width)) {
    data_.resize(static_cast<size_t>(kRows) * span_);
  }

  const float *row(int y) {
    const int slot = ((y % kRows) + kRows) % kRows;
    float *medians = &data_[static_cast<size_t>(slot) * span_];
    if (held_[slot] != y) {
      const float *r = diff_.row(y);
      for (int x = 0; x < span_; x += kLanes)
        vector4::store(medians + x, median3(load(r + x - 1), load(r + x), load(r + x + 1)));
      held_[slot] = y;
    }
    return medians;
  }

 private:
  static constexpr int kRows = 3;
  const Plane &diff_;
  int span_;
  std::vector<float> data_;
  int held_[kRows] = {INT32_MIN, INT32_MIN, INT32_MIN};
};

// A colour-difference row pulled towards the median of the row medians of its 3 x 3
// neighbourhood (a separable stand-in for the 3 x 3 median that keeps thin lines). Four sites
// at once, over the row padded to whole groups (the plane's border covers the overhang).
void pullToMedian(const Plane &diff, RowMedians &medians, int y, float strength, float *out) {
  const float *m = diff.row(y);
  const float *mu = medians.row(y - 1), *mm = medians.row(y), *md = medians.row(y + 1);
  const Vec share = splat(strength);
  for (int x = 0; x < vector4::roundUp(diff.width); x += kLanes) {
    const Vec centre = load(m + x);
    const Vec median = median3(load(mu + x), load(mm + x), load(md + x));
    vector4::store(out + x, centre + share * (median - centre));
  }
}

// Largest green difference on the cross of kFringeReach sites about (x, y): a purple fringe
// spreads a few sites from the edge that causes it.
float greenContrast(const Plane &g, int x, int y) {
  float lo = g.row(y)[x], hi = lo;
  const float *r0 = g.row(y);
  for (int k = -kFringeReach; k <= kFringeReach; ++k) {
    const float h = r0[std::clamp(x + k, 0, g.width - 1)];
    const float v = g.row(std::clamp(y + k, 0, g.height - 1))[x];
    lo = std::min({lo, h, v});
    hi = std::max({hi, h, v});
  }
  return hi - lo;
}

// The finishing steps on the interpolated picture.
struct Finish {
  bool falseColour;
  float falseColourStrength;
  bool purple;
  float purpleChroma;  // blue minus green above which a site counts as purple
  float purpleEdge;    // green contrast in 3 x 3 that marks an edge the fringe sits on
  float purpleKeep;    // fraction of the chroma a purple fringe keeps
  bool sharpen;
  float coring;
  float t1, t2, t3, t4;      // detail levels of the sharpening curve
  float r1, r2, r3;          // its gains
  float positive, negative;  // factors for brightening and darkening detail
  float clipUp, clipDown;    // largest change either way
  float highlight, highlightScale;
  bool lines;
  float lineStrength, lineT1, lineRise, lineR1, lineR2;  // line sharpening
};

Finish finishFrom(const TDatabaseDeMosaic_3 &s, const FrameContext &context, bool bypassed) {
  Finish f{};
  if (bypassed) return f;
  f.falseColour = s.isDeFalseColor != 0;
  f.falseColourStrength = std::min<float>(s.colorStrength, kStrengthUnit) / kStrengthUnit;
  f.purple = s.isDePurple != 0;
  f.purpleChroma = s.cbCrClassThreshold / kCodes;
  f.purpleEdge =
      static_cast<float>(s.protectThresholdLow << std::min<int>(s.protectShift, 12)) / kCodes;
  f.purpleKeep = 1 - std::min<float>(s.saturationShrink, kStrengthUnit) / kStrengthUnit;
  f.sharpen = s.isSharpen != 0;
  const int level = context.sensorGain < kMidGain ? 0 : context.sensorGain < kHighGain ? 1 : 2;
  const auto &curve = s.sharpenCurve[level];
  f.coring = s.threshold / kCodes;
  f.t1 = curve.layerT1 / kCodes;
  f.t2 = f.t1 + static_cast<float>(1u << std::min<int>(curve.layerT2Shift, 16)) / kCodes;
  f.t3 = std::max(f.t2, curve.layer0T3 / kCodes);
  f.t4 = f.t3 + static_cast<float>(1u << std::min<int>(curve.layerT4Shift, 16)) / kCodes;
  f.r1 = curve.layerR1 / kCurveGainUnit;
  f.r2 = curve.layerR2 / kCurveGainUnit;
  f.r3 = curve.layerR3 / kCurveGainUnit;
  f.positive = s.factors[2 * level] / kFactorUnit;
  f.negative = s.factors[2 * level + 1] / kFactorUnit;
  f.clipUp = s.clips[2 * level] / kCodes;
  f.clipDown = s.clips[2 * level + 1] / kCodes;
  f.highlight = s.highlightControlThreshold / kCodes;
  f.highlightScale = 1.0f / static_cast<float>(1u << std::min<int>(s.highlightControlShift, 16));
  f.lines = s.isSharpenLine != 0;
  const int lineLevel = context.sensorGain < kMidGain    ? 0
                        : context.sensorGain < kLineGain ? 1
                        : context.sensorGain < kHighGain ? 2
                                                         : 3;
  const auto &line = s.sharpenLineCurve[lineLevel];
  f.lineStrength = line.strength / kLineStrengthUnit;
  f.lineT1 = line.t1 / kCodes;
  f.lineRise = kCodes / static_cast<float>(1u << std::min<int>(line.shift1, 16));
  f.lineR1 = line.r1 / kCurveGainUnit;
  f.lineR2 = line.r2 / kCurveGainUnit;
  return f;
}

// The sharpening of a row of green: the detail (green minus its 3 x 3 binomial blur), cored,
// times the curve's gain at the detail level (r1 up to t1, rising to r2 at t2, r2 up to t3,
// moving to r3 at t4, r3 beyond) and the factor of its sign, clipped, and weakened in
// near-white highlights.
struct Sharpener {
  Vec rise, fall, zero = splat(0), one = splat(1), coring, t1, t3, r1, r21, r32;
  Vec positive, negative, clipUp, clipDown, highlight, highlightScale;

  explicit Sharpener(const Finish &f)
      : rise(splat(1.0f / std::max(f.t2 - f.t1, 1e-6f))),
        fall(splat(1.0f / std::max(f.t4 - f.t3, 1e-6f))),
        coring(splat(f.coring)),
        t1(splat(f.t1)),
        t3(splat(f.t3)),
        r1(splat(f.r1)),
        r21(splat(f.r2 - f.r1)),
        r32(splat(f.r3 - f.r2)),
        positive(splat(f.positive)),
        negative(splat(f.negative)),
        clipUp(splat(f.clipUp)),
        clipDown(splat(f.clipDown)),
        highlight(splat(f.highlight)),
        highlightScale(splat(f.highlightScale)) {}

  Vec unit(Vec v) const { return vector4::min(one, vector4::max(zero, v)); }

  // The sharpened green of the four sites from x of row g0 (gu above, gd below).
  Vec at(const float *gu, const float *g0, const float *gd, int x) const {
    const Vec green = load(g0 + x);
    const Vec blur =
        (load(gu + x - 1) + load(gu + x + 1) + load(gd + x - 1) + load(gd + x + 1) +
         splat(2) * (load(gu + x) + load(gd + x) + load(g0 + x - 1) + load(g0 + x + 1)) +
         splat(4) * green) *
        splat(1.0f / 16);
    const Vec detail = green - blur;
    const Vec level = magnitude(detail);
    const Vec cored = vector4::max(level - coring, zero);
    const Vec gain = r1 + r21 * unit((level - t1) * rise) + r32 * unit((level - t3) * fall);
    const Vec up = vector4::min(cored * gain * positive, clipUp);
    const Vec down = vector4::min(cored * gain * negative, clipDown);
    const Vec delta = detail > zero ? up : -down;
    return green + (green > highlight ? delta * highlightScale : delta);
  }
};

void sharpenRow(const Plane &g, int y, const Finish &f, float *out) {
  const float *gu = g.row(y - 1), *g0 = g.row(y), *gd = g.row(y + 1);
  const Sharpener sharpener(f);
  for (int x = 0; x < vector4::roundUp(g.width); x += kLanes)
    vector4::store(out + x, sharpener.at(gu, g0, gd, x));
}

// Thin lines (one or two sites wide) get sharpening of their own, on top: the second
// difference across the line, where it exceeds the one along the line and the slope across it
// (which marks an edge, not a line) by more than t1, with a gain rising from r1 at t1 to r2 at
// t1 + 2^shift1, times strength.
void sharpenLines(const Plane &g, int y, const Finish &f, float *out) {
  const float *gu = g.row(y - 1), *g0 = g.row(y), *gd = g.row(y + 1);
  for (int x = 0; x < g.width; ++x) {
    const float c = g0[x];
    // Second differences and slopes across each of four directions; the perpendicular
    // direction's second difference is the one along a line.
    const float second[4] = {c - 0.5f * (g0[x - 1] + g0[x + 1]), c - 0.5f * (gu[x] + gd[x]),
                             c - 0.5f * (gu[x - 1] + gd[x + 1]),
                             c - 0.5f * (gu[x + 1] + gd[x - 1])};
    const float slope[4] = {g0[x + 1] - g0[x - 1], gd[x] - gu[x], gd[x + 1] - gu[x - 1],
                            gd[x - 1] - gu[x + 1]};
    constexpr int kAlong[4] = {1, 0, 3, 2};
    float across = 0, margin = 0;
    for (int d = 0; d < 4; ++d) {
      const float m =
          std::fabs(second[d]) - std::fabs(second[kAlong[d]]) - 0.5f * std::fabs(slope[d]);
      if (m > margin) margin = m, across = second[d];
    }
    if (margin <= f.lineT1) continue;
    const float gain = f.lineR1 + (f.lineR2 - f.lineR1) * unit((margin - f.lineT1) * f.lineRise);
    out[x] += std::clamp(across * gain * f.lineStrength, -f.clipDown, f.clipUp);
  }
}

// The finishing steps without the purple fringe and the line sharpening, which work a site
// at a time: the colour differences pulled towards their medians, the sharpened green and the
// RGB store in one pass over each row, four sites at a time, nothing stored between them.
void finishRowsDirect(const Plane &g, const Plane &diffR, const Plane &diffB, const Finish &f,
                      RowMedians &mediansR, RowMedians &mediansB, RgbImage &out, int first,
                      int last) {
  const Sharpener sharpener(f);
  const Vec share = splat(f.falseColourStrength);
  const auto pull = [&](const float *diff, const float *mu, const float *mm, const float *md,
                        int x) {
    const Vec centre = load(diff + x);
    const Vec median = median3(load(mu + x), load(mm + x), load(md + x));
    return centre + share * (median - centre);
  };
  for (int y = first; y < last; ++y) {
    const float *cr = diffR.row(y), *cb = diffB.row(y);
    const float *gu = g.row(y - 1), *g0 = g.row(y), *gd = g.row(y + 1);
    const float *ru = nullptr, *rm = nullptr, *rd = nullptr, *bu = nullptr, *bm = nullptr,
                *bd = nullptr;
    if (f.falseColour) {
      ru = mediansR.row(y - 1), rm = mediansR.row(y), rd = mediansR.row(y + 1);
      bu = mediansB.row(y - 1), bm = mediansB.row(y), bd = mediansB.row(y + 1);
    }
    const auto group = [&](int x, float *o) {
      const Vec red = f.falseColour ? pull(cr, ru, rm, rd, x) : load(cr + x);
      const Vec blue = f.falseColour ? pull(cb, bu, bm, bd, x) : load(cb + x);
      const Vec green = f.sharpen ? sharpener.at(gu, g0, gd, x) : load(g0 + x);
      storeRgb(o, green + red, green, green + blue);
    };
    float *o = out.pixel(0, y);
    int x = 0;
    for (; x + kLanes <= g.width; x += kLanes, o += 3 * kLanes) group(x, o);
    if (x < g.width) {
      float rest[3 * kLanes];
      group(x, rest);
      std::copy_n(rest, 3 * (g.width - x), o);
    }
  }
}

void finishRows(const Plane &g, const Plane &diffR, const Plane &diffB, const Finish &f,
                RgbImage &out, int first, int last) {
  const int span = vector4::roundUp(g.width);
  std::vector<float> rowR(span), rowB(span), rowG(span);
  RowMedians mediansR(diffR), mediansB(diffB);
  if (!f.purple && !f.lines) {
    finishRowsDirect(g, diffR, diffB, f, mediansR, mediansB, out, first, last);
    return;
  }
  for (int y = first; y < last; ++y) {
    const float *cr = diffR.row(y), *cb = diffB.row(y), *green = g.row(y);
    if (f.falseColour) {
      pullToMedian(diffR, mediansR, y, f.falseColourStrength, rowR.data());
      pullToMedian(diffB, mediansB, y, f.falseColourStrength, rowB.data());
      cr = rowR.data(), cb = rowB.data();
    }
    if (f.purple) {
      if (cr != rowR.data()) std::copy_n(cr, g.width, rowR.data()), cr = rowR.data();
      if (cb != rowB.data()) std::copy_n(cb, g.width, rowB.data()), cb = rowB.data();
      for (int x = 0; x < g.width; ++x) {
        if (rowB[x] > f.purpleChroma && rowR[x] > 0 && rowB[x] > rowR[x] &&
            greenContrast(g, x, y) > f.purpleEdge)
          rowR[x] *= f.purpleKeep, rowB[x] *= f.purpleKeep;
      }
    }
    if (f.sharpen) {
      sharpenRow(g, y, f, rowG.data());
      green = rowG.data();
    }
    if (f.lines) {
      if (green != rowG.data()) std::copy_n(green, g.width, rowG.data()), green = rowG.data();
      sharpenLines(g, y, f, rowG.data());
    }
    float *o = out.pixel(0, y);
    int x = 0;
    for (; x + kLanes <= g.width; x += kLanes, o += 3 * kLanes) {
      const Vec gx = load(green + x);
      storeRgb(o, gx + load(cr + x), gx, gx + load(cb + x));
    }
    for (; x < g.width; ++x, o += 3) {
      o[0] = std::max(0.0f, green[x] + cr[x]);
      o[1] = std::max(0.0f, green[x]);
      o[2] = std::max(0.0f, green[x] + cb[x]);
    }
  }
}

}  // namespace

bool stageDeMosaic_3(const Mosaic &in, const TDatabaseDeMosaic_3 &state,
                     const FrameContext &context, RgbImage &out) {
  const int width = in.width, height = in.height;
  out.width = width;
  out.height = height;
  out.encoded = false;
  out.data.resize(static_cast<size_t>(width) * height * 3);
  if (width <= 0 || height <= 0) return true;

  thread_local Scratch scratch;
  Plane &n = scratch.mosaic, &g = scratch.green, &red = scratch.red, &blue = scratch.blue,
        &diffR = scratch.diffRed, &diffB = scratch.diffBlue;
  const bool bypassed = state.state == 0;
  const bool cac = !bypassed && state.isCac != 0;
  // Groups of eight sites read the mosaic up to nine sites past a row's last site and the
  // other planes up to eight, and write up to seven past it: borders of ten and nine.
  n.shape(width, height, kGroup + 2);
  g.shape(width, height, kGroup + 1);
  if (cac) red.shape(width, height, kGroup + 1), blue.shape(width, height, kGroup + 1);
  diffR.shape(width, height, kGroup + 1);
  diffB.shape(width, height, kGroup + 1);

  const Interp interp = interpFrom(state, bypassed);
  const Finish finish = finishFrom(state, context, bypassed);
  const auto quad = bayerQuad(in);
  const float black = in.blackLevel;
  const float scale = in.whiteLevel > black ? 1.0f / (in.whiteLevel - black) : 1.0f;

  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *src = &in.data[static_cast<size_t>(y) * width];
      float *dst = n.row(y);
      int x = 0;
      for (; x + kLanes <= width; x += kLanes)
        vector4::store(dst + x, (load(src + x) - splat(black)) * splat(scale));
      for (; x < width; ++x) dst[x] = (src[x] - black) * scale;
    }
    n.reflectColumns(first, last);
  });
  n.reflectRows();
  parallelRows(height, [&](int first, int last) {
    interpolateGreen(n, quad, interp, g, first, last);
    g.reflectColumns(first, last);
  });
  g.reflectRows();
  // Without the aberration correction red and blue go straight to differences to green.
  Plane &firstR = cac ? red : diffR, &firstB = cac ? blue : diffB;
  parallelRows(height, [&](int first, int last) {
    interpolateColour(n, g, quad, interp, !cac, firstR, firstB, first, last);
    firstR.reflectColumns(first, last);
    firstB.reflectColumns(first, last);
  });
  firstR.reflectRows();
  firstB.reflectRows();
  if (cac) {
    parallelRows(height, [&](int first, int last) {
      correctAberration(g, red, blue, state, diffR, diffB, first, last);
      diffR.reflectColumns(first, last);
      diffB.reflectColumns(first, last);
    });
    diffR.reflectRows();
    diffB.reflectRows();
  }
  parallelRows(height,
               [&](int first, int last) { finishRows(g, diffR, diffB, finish, out, first, last); });
  return true;
}

}  // namespace tcamera
