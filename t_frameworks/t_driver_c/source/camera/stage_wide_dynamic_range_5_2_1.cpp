// "WDR_5_2_1" in the simulated ISP: local tone mapping of the display-encoded picture. It
// lifts dark regions and may compress bright ones with a gain that follows the local mean
// luma, so a shadow gets brighter without flattening the detail inside it.
//   - Luma from wdrRgbCoef (of 256), moved towards the brightest of R, G and B by
//     wdrLightnessWeight (of 256), so saturated colours are lifted less and do not clip in
//     one channel. Its local mean comes from a coarse grid of blocks
//     (about a sixteenth of the frame's shorter side), smoothed and interpolated; fixedWeight
//     (of 256) pulls the curve's input towards the frame's mean, a more global curve.
//   - Curve 0: the local mean A is mapped to A^(1 / (1 + k)), k = strength / 255 x
//     lowStrength / 256 (x the entropy factor); the gain is that over A. Curve 1
//     (wdrCurveSelect) scales curve 0's lift by curve2LoFactor below the local mean curve2Thr
//     and by curve2HiFactor above, and lets the chroma of lifted shadows follow the gain only
//     by the fraction curve2LoSat.
//   - Entropy-adaptive strength (entropyEnable): a frame whose luma histogram (256 levels of
//     the drive, every fourth pixel of every fourth row) has entropy H bits is tone mapped with
//     k scaled by (entropyBase + entropySlope x (8 - H)) / 1024: a frame whose tones crowd into
//     a few levels (deep shadows beside bright areas) gets a stronger curve than one whose
//     tones spread evenly (H = 8).
//   - Highlight compression above the level 2^hlcBaseLog (log2 of linear light in 12-bit
//     codes times the exposure ratio ratioActual of merged frames; linear = encoded^deGamma):
//     the gain falls as 1 / (1 + highStrength / 255 x hlcSlope / 32 x the distance above it,
//     as a fraction of the way to full scale).
//   - The gain is held within minGain .. maxGain (256 = 1.0) and rises from 1 at black to its
//     full value at darkAttentionLevel (8-bit luma), so the noise floor is not lifted.
//   - contrast (512 = 1.0) scales the pixel's detail about its local mean.
//   - Flat areas: a block's activity is the mean step between neighbouring pixels of its rows
//     (drive, 8-bit steps). Against flatLevel (flatMode 0), or for every block the frame's mean
//     activity against flatLevelGlobal (flatMode 1), it falls in flatness class 3 (below a
//     quarter of the level), 2, 1 or 0 (below the level), or in none; the block's gain then
//     rises by flatLevelInc[class] / 256 (up to maxGain), read over its curve input in 17
//     bins: flat areas have no detail for a stronger curve to flatten, so they may take more
//     lift.
//   - Halo suppression: where the pixel's drive differs from its local mean by more than
//     diffLow (full scale = 1), its gain moves towards the curve's gain at its own drive, all the
//     way at diffHigh; so a bright object in a dark block (or a dark one in a bright block) is
//     not lifted (or held) with its surroundings, and no halo forms along the edge.
//   - Saturation by gain: where the gain exceeds satThrGainUp / 64, the chroma follows it less,
//     down to the fraction satRange of it at satThrGainDown / 64 and above (lifted shadows
//     would otherwise show amplified colour noise).
//   - Coloured-light protection (lightEn): a pixel whose saturation (max - min over max, of
//     255) lies above lightSatLoThr (full weight at lightSatHiThr) and whose level (log2 as for
//     hlcBaseLog, of its brightest channel) passes the four knots light<Hue>ThrLog (weight 0,
//     1/3, 2/3, 1; the knots of the two hues nearest its own, of red, yellow, green, cyan, blue
//     and magenta, blended by hue) is taken for a coloured lamp: its gain is held where its
//     brightest channel reaches full scale, so it is not clipped towards white, and its chroma
//     is exempt from the saturation control.
// The curve is evaluated at the block centres and the gains interpolated between them.
// R, G and B are multiplied by the gain, which keeps the hue (the chroma by less where the
// saturation control or curve 1 say so).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "rgb_lanes.h"
#include "stages.h"

namespace tcamera {
namespace {

constexpr float kCoefUnit = 256.0f;
constexpr float kGainUnit = 256.0f;
constexpr float kStrengthUnit = 255.0f;  // strength, highStrength: 255 = all of the curve
constexpr float kLowStrengthUnit = 256.0f;
constexpr float kHlcSlopeUnit = 32.0f;
constexpr float kContrastUnit = 512.0f;
constexpr float kCodes = 4095.0f;     // linear levels of the ...Log thresholds: 12-bit codes
constexpr float kLumaSteps = 255.0f;  // darkAttentionLevel unit
constexpr int kGridDivisions = 16;    // blocks along the shorter side
constexpr int kMinBlock = 4, kMaxBlock = 64;
constexpr int kTable = 1024;           // gain table over the local mean
constexpr float kCurve2Blend = 0.05f;  // curve 1 changes factor over +-this about curve2Thr
constexpr float kEntropyUnit = 1024.0f;
constexpr float kFullEntropy = 8.0f;  // bits of a histogram spread evenly over 256 levels
constexpr int kHistogramLevels = 256;
constexpr int kHistogramStep = 4;           // every fourth pixel of every fourth row
constexpr float kSatGainUnit = 64.0f;       // satThrGainUp, satThrGainDown
constexpr float kSaturationSteps = 255.0f;  // lightSat{Hi,Lo}Thr
constexpr int kLevelTable = 1024;           // log2 level over the brightest channel
constexpr int kFlatClasses = 4, kFlatBins = 17;
constexpr float kFlatIncUnit = 256.0f;  // flatLevelInc: 256 = a gain of 1.0 more

struct Curve {
  std::vector<float> gain;      // over the local mean 0..1, kTable + 1 entries
  std::vector<float> loWeight;  // 1 in curve 1's shadow segment, 0 above (chroma handling)
};

Curve buildCurve(const TDatabaseWideDynamicRange_5_2_1 &state, float entropyFactor) {
  Curve curve;
  curve.gain.resize(kTable + 1);
  curve.loWeight.assign(kTable + 1, 0.0f);
  const float k =
      state.strength / kStrengthUnit * (state.lowStrength / kLowStrengthUnit) * entropyFactor;
  const float exponent = 1.0f / (1.0f + k);
  const float deGamma = state.deGamma > 0 ? state.deGamma : 1.0f;
  const float ratio = std::max(state.ratioActual, 1.0f);
  const float baseLinear = std::exp2(state.hlcBaseLog) / (kCodes * ratio);
  const float base = std::pow(std::min(baseLinear, 1.0f), 1.0f / deGamma);
  const float compression = state.highStrength / kStrengthUnit * (state.hlcSlope / kHlcSlopeUnit);
  const float minGain = state.minGain / kGainUnit;
  const float maxGain = std::max(state.maxGain / kGainUnit, minGain);
  for (int i = 0; i <= kTable; ++i) {
    const float a = std::max(static_cast<float>(i) / kTable, 0.5f / kTable);
    float gain = std::pow(a, exponent) / a;
    if (state.wdrCurveSelect == 1) {
      const float t = std::clamp((a - state.curve2Thr) / (2 * kCurve2Blend) + 0.5f, 0.0f, 1.0f);
      const float factor = state.curve2LoFactor + t * (state.curve2HiFactor - state.curve2LoFactor);
      gain = 1.0f + (gain - 1.0f) * factor;
      curve.loWeight[i] = 1.0f - t;
    }
    if (a > base && base < 1.0f) gain /= 1.0f + compression * (a - base) / (1.0f - base);
    curve.gain[i] = std::clamp(gain, minGain, maxGain);
  }
  return curve;
}

inline float lookUp(const float *table, float a) {
  const float position = std::clamp(a, 0.0f, 1.0f) * kTable;
  const int i = std::min(static_cast<int>(position), kTable - 1);
  return table[i] + (position - i) * (table[i + 1] - table[i]);
}

// Bilinear taps from pixel positions to block centres.
struct Taps {
  std::vector<int> near, far;
  std::vector<float> weight;
  std::vector<int> runStart;  // where each run of pixels between the same two centres begins
};

Taps taps(int pixels, int block, int blocks) {
  Taps t;
  t.near.resize(pixels);
  t.far.resize(pixels);
  t.weight.resize(pixels);
  for (int i = 0; i < pixels; ++i) {
    const float position =
        std::clamp((i + 0.5f) / block - 0.5f, 0.0f, static_cast<float>(blocks - 1));
    t.near[i] = std::min(static_cast<int>(position), blocks - 1);
    t.far[i] = std::min(t.near[i] + 1, blocks - 1);
    t.weight[i] = position - t.near[i];
    if (i == 0 || t.near[i] != t.near[i - 1] || t.far[i] != t.far[i - 1]) t.runStart.push_back(i);
  }
  t.runStart.push_back(pixels);
  return t;
}

// The gain a block of flatness class (3 flattest .. 0; -1 none) adds at curve input a.
float flatIncrement(const TDatabaseWideDynamicRange_5_2_1 &state, int flatClass, float a) {
  if (flatClass < 0) return 0;
  const float position = std::clamp(a, 0.0f, 1.0f) * (kFlatBins - 1);
  const int i = std::min(static_cast<int>(position), kFlatBins - 2);
  const uint8_t *row = state.flatLevelInc[flatClass];
  return (row[i] + (position - i) * (row[i + 1] - row[i])) / kFlatIncUnit;
}

// The flatness class of an activity against a level (8-bit steps).
int flatClassOf(float activity, float level) {
  if (level <= 0 || activity >= level) return -1;
  return kFlatClasses - 1 - std::min(static_cast<int>(activity / level * kFlatClasses), 3);
}

// The strength factor of a frame from its luma histogram.
float entropyFactor(const TDatabaseWideDynamicRange_5_2_1 &state,
                    const std::vector<uint32_t> &histogram) {
  uint64_t total = 0;
  for (uint32_t count : histogram) total += count;
  if (total == 0) return 1.0f;
  double entropy = 0;
  for (uint32_t count : histogram)
    if (count != 0) {
      const double p = static_cast<double>(count) / total;
      entropy -= p * std::log2(p);
    }
  const float deficit = kFullEntropy - static_cast<float>(entropy);
  return std::max(0.0f, (state.entropyBase + state.entropySlope * deficit) / kEntropyUnit);
}

// Coloured-lamp detection.
struct LampDetector {
  float satLow = 0, satHigh = 0;  // saturation 0..1
  float knots[6][4] = {};         // log2 levels of red, yellow, green, cyan, blue, magenta
  std::vector<float> level;       // log2 level over the brightest channel, kLevelTable + 1
};

LampDetector lampDetector(const TDatabaseWideDynamicRange_5_2_1 &state, float deGamma,
                          float ratio) {
  LampDetector d;
  d.satLow = state.lightSatLoThr / kSaturationSteps;
  d.satHigh = state.lightSatHiThr / kSaturationSteps;
  const float *hues[6] = {state.lightRedThrLog,  state.lightYellowThrLog, state.lightGreenThrLog,
                          state.lightCyanThrLog, state.lightBlueThrLog,   state.lightMagentaThrLog};
  // Knots out of order are taken as rising: a later knot is never below an earlier one.
  for (int h = 0; h < 6; ++h)
    for (int i = 0; i < 4; ++i)
      d.knots[h][i] = i == 0 ? hues[h][0] : std::max(hues[h][i], d.knots[h][i - 1]);
  d.level.resize(kLevelTable + 1);
  const float offset = std::log2(kCodes * ratio);
  for (int i = 0; i <= kLevelTable; ++i) {
    const float encoded = std::max(static_cast<float>(i), 0.25f) / kLevelTable;
    d.level[i] = deGamma * std::log2(encoded) + offset;
  }
  return d;
}

// How surely pixel p (R, G, B) is a coloured lamp, 0..1.
float lampWeight(const LampDetector &d, const float *p) {
  const float high = std::max({p[0], p[1], p[2]}), low = std::min({p[0], p[1], p[2]});
  if (high <= 0) return 0;
  const float saturation = (high - low) / high;
  if (saturation < d.satLow || saturation <= 0) return 0;
  const float satWeight = d.satHigh > d.satLow
                              ? std::min((saturation - d.satLow) / (d.satHigh - d.satLow), 1.0f)
                              : 1.0f;
  // Hue 0 .. 6 from red over yellow, green, cyan, blue and magenta.
  const float span = high - low;
  float hue = high == p[0]   ? (p[1] - p[2]) / span
              : high == p[1] ? 2 + (p[2] - p[0]) / span
                             : 4 + (p[0] - p[1]) / span;
  if (hue < 0) hue += 6;
  const int h0 = std::min(static_cast<int>(hue), 5), h1 = (h0 + 1) % 6;
  const float t = hue - h0;
  float knot[4];
  for (int i = 0; i < 4; ++i) knot[i] = d.knots[h0][i] + t * (d.knots[h1][i] - d.knots[h0][i]);
  const float level = d.level[std::min(static_cast<int>(high * kLevelTable + 0.5f), kLevelTable)];
  float levelWeight;
  if (level <= knot[0]) {
    levelWeight = 0;
  } else if (level >= knot[3]) {
    levelWeight = 1;
  } else {
    int i = 0;
    while (i < 2 && level >= knot[i + 1]) ++i;
    const float width = knot[i + 1] - knot[i];
    levelWeight = (i + (width > 0 ? (level - knot[i]) / width : 1.0f)) / 3;
  }
  return satWeight * levelWeight;
}

}  // namespace

bool stageWideDynamicRange_5_2_1(const RgbImage &in, const TDatabaseWideDynamicRange_5_2_1 &state,
                                 const FrameContext &, RgbImage &out) {
  if (state.state == 0 || in.width == 0 || in.height == 0) return false;
  const int width = in.width, height = in.height;
  const float coef[3] = {state.wdrRgbCoef[0] / kCoefUnit, state.wdrRgbCoef[1] / kCoefUnit,
                         state.wdrRgbCoef[2] / kCoefUnit};
  const bool curve1 = state.wdrCurveSelect == 1;
  const float loSat = std::clamp(state.curve2LoSat, 0.0f, 1.0f);
  const float contrast = state.contrast / kContrastUnit;
  const float darkLevel = state.darkAttentionLevel / kLumaSteps;
  const float fixedWeight = std::min(state.fixedWeight / kCoefUnit, 1.0f);
  const float lightness = std::min(state.wdrLightnessWeight / kCoefUnit, 1.0f);
  const bool entropy = state.entropyEnable != 0;

  // Mean luma per block.
  const int block = std::clamp(std::min(width, height) / kGridDivisions, kMinBlock, kMaxBlock);
  const int columns = (width + block - 1) / block, rows = (height + block - 1) / block;
  std::vector<float> grid(static_cast<size_t>(columns) * rows);
  // The curve's drive (luma moved towards the brightest channel) of every pixel of a row.
  auto driveRow = [&](const float *p, float *drive) {
    using vector4::splat;
    const vector4::Vec c0 = splat(coef[0]), c1 = splat(coef[1]), c2 = splat(coef[2]);
    const vector4::Vec mix = splat(lightness);
    int x = 0;
    for (; x + vector4::kLanes <= width; x += vector4::kLanes, p += 12) {
      const rgb_lanes::Rgb v = rgb_lanes::load(p);
      const vector4::Vec luma = c0 * v.r + c1 * v.g + c2 * v.b;
      const vector4::Vec brightest = vector4::max(vector4::max(v.r, v.g), v.b);
      vector4::store(drive + x, luma + mix * (brightest - luma));
    }
    for (; x < width; ++x, p += 3) {
      const float luma = coef[0] * p[0] + coef[1] * p[1] + coef[2] * p[2];
      drive[x] = luma + lightness * (std::max({p[0], p[1], p[2]}) - luma);
    }
  };
  // Sums of the drive per row and block on every core, then down each block's rows; the
  // histogram of the sampled rows, each row its own, added up after (in a fixed order).
  std::vector<float> rowSums(static_cast<size_t>(height) * columns);
  bool flat = false;
  for (const auto &row : state.flatLevelInc)
    for (uint8_t increment : row) flat = flat || increment != 0;
  // Sums of the steps between neighbouring pixels per row and block (the block's activity).
  std::vector<float> rowSteps(flat ? static_cast<size_t>(height) * columns : 0);
  std::vector<uint32_t> rowHistograms(
      entropy
          ? static_cast<size_t>((height + kHistogramStep - 1) / kHistogramStep) * kHistogramLevels
          : 0);
  parallelRows(height, [&](int first, int last) {
    std::vector<float> drive(width);
    for (int y = first; y < last; ++y) {
      driveRow(in.pixel(0, y), drive.data());
      float *sums = &rowSums[static_cast<size_t>(y) * columns];
      for (int bx = 0; bx < columns; ++bx) {
        const int x0 = bx * block, x1 = std::min(x0 + block, width);
        // Four partial sums, so the additions do not wait on each other.
        float partial[vector4::kLanes] = {};
        int x = x0;
        for (; x + vector4::kLanes <= x1; x += vector4::kLanes)
          for (int k = 0; k < vector4::kLanes; ++k) partial[k] += drive[x + k];
        for (; x < x1; ++x) partial[0] += drive[x];
        sums[bx] = (partial[0] + partial[1]) + (partial[2] + partial[3]);
      }
      if (flat) {
        float *steps = &rowSteps[static_cast<size_t>(y) * columns];
        for (int bx = 0; bx < columns; ++bx) {
          const int x0 = std::max(bx * block, 1), x1 = std::min(bx * block + block, width);
          vector4::Vec partial = vector4::splat(0.0f);
          int x = x0;
          for (; x + vector4::kLanes <= x1; x += vector4::kLanes)
            partial += vector4::abs(vector4::load(&drive[x]) - vector4::load(&drive[x - 1]));
          float sum = (partial[0] + partial[1]) + (partial[2] + partial[3]);
          for (; x < x1; ++x) sum += std::fabs(drive[x] - drive[x - 1]);
          steps[bx] = sum;
        }
      }
      if (entropy && y % kHistogramStep == 0) {
        uint32_t *bins = &rowHistograms[static_cast<size_t>(y / kHistogramStep) * kHistogramLevels];
        for (int x = 0; x < width; x += kHistogramStep)
          ++bins[std::clamp(static_cast<int>(drive[x] * (kHistogramLevels - 1) + 0.5f), 0,
                            kHistogramLevels - 1)];
      }
    }
  });
  std::vector<uint32_t> histogram(kHistogramLevels, 0);
  for (size_t i = 0; i < rowHistograms.size(); ++i)
    histogram[i % kHistogramLevels] += rowHistograms[i];
  const Curve curve = buildCurve(state, entropy ? entropyFactor(state, histogram) : 1.0f);
  std::vector<float> activity(flat ? grid.size() : 0);
  for (int by = 0; by < rows; ++by) {
    const int y0 = by * block, y1 = std::min(y0 + block, height);
    for (int bx = 0; bx < columns; ++bx) {
      float sum = 0;
      for (int y = y0; y < y1; ++y) sum += rowSums[static_cast<size_t>(y) * columns + bx];
      const int x0 = bx * block, x1 = std::min(x0 + block, width);
      grid[static_cast<size_t>(by) * columns + bx] =
          sum / static_cast<float>((x1 - x0) * (y1 - y0));
      if (flat) {
        float steps = 0;
        for (int y = y0; y < y1; ++y) steps += rowSteps[static_cast<size_t>(y) * columns + bx];
        const int count = std::max((x1 - std::max(x0, 1)) * (y1 - y0), 1);
        activity[static_cast<size_t>(by) * columns + bx] = steps / count * kLumaSteps;
      }
    }
  }
  // Smooth the grid (1 2 1 both ways, clamped) and blend in the frame's mean.
  double total = 0;
  for (float v : grid) total += v;
  const float frameMean = static_cast<float>(total / grid.size());
  std::vector<float> smooth(grid.size()), curveInput(grid.size());
  for (int by = 0; by < rows; ++by)
    for (int bx = 0; bx < columns; ++bx) {
      float sum = 0, weight = 0;
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          const int yy = std::clamp(by + dy, 0, rows - 1), xx = std::clamp(bx + dx, 0, columns - 1);
          const float w = (dy == 0 ? 2.0f : 1.0f) * (dx == 0 ? 2.0f : 1.0f);
          sum += w * grid[static_cast<size_t>(yy) * columns + xx];
          weight += w;
        }
      const float local = sum / weight;
      smooth[static_cast<size_t>(by) * columns + bx] = local;
      curveInput[static_cast<size_t>(by) * columns + bx] =
          local + fixedWeight * (frameMean - local);
    }

  // The curve is read at the block centres; pixels interpolate the gains between them.
  std::vector<float> gainGrid(grid.size()), loGrid(grid.size());
  int frameClass = -1;  // flatMode 1: the class of the frame as a whole
  if (flat && state.flatMode) {
    double sum = 0;
    for (float a : activity) sum += a;
    frameClass = flatClassOf(static_cast<float>(sum / activity.size()), state.flatLevelGlobal);
  }
  const float maxGain = std::max(state.maxGain, state.minGain) / kGainUnit;
  for (size_t i = 0; i < grid.size(); ++i) {
    gainGrid[i] = lookUp(curve.gain.data(), curveInput[i]);
    loGrid[i] = lookUp(curve.loWeight.data(), curveInput[i]);
    if (flat) {
      const int flatClass = state.flatMode ? frameClass : flatClassOf(activity[i], state.flatLevel);
      gainGrid[i] = std::min(gainGrid[i] + flatIncrement(state, flatClass, curveInput[i]), maxGain);
    }
  }

  // Halo suppression, saturation control and lamp detection.
  const float diffLow = state.diffLow;
  const float diffScale = state.diffHigh > diffLow ? 1.0f / (state.diffHigh - diffLow) : 1e6f;
  const float satUp = state.satThrGainUp / kSatGainUnit;
  const float satScale = state.satThrGainDown > state.satThrGainUp
                             ? kSatGainUnit / (state.satThrGainDown - state.satThrGainUp)
                             : 1e6f;
  const float satLoss = 1.0f - state.satRange;
  const bool saturationControl = satLoss != 0;
  const bool lamps = state.lightEn != 0;
  const LampDetector detector = lamps
                                    ? lampDetector(state, state.deGamma > 0 ? state.deGamma : 1.0f,
                                                   std::max(state.ratioActual, 1.0f))
                                    : LampDetector{};

  const Taps tx = taps(width, block, columns), ty = taps(height, block, rows);
  const bool detail = contrast != 1.0f;
  out = in.sameShape();
  parallelRows(height, [&](int first, int last) {
    // One grid row interpolated to this pixel row, per quantity.
    std::vector<float> rowGain(columns), rowLocal(columns), rowLo(columns);
    // Per pixel of the row, padded to whole groups of four.
    const size_t padded = vector4::roundUp(width);
    std::vector<float> gains(padded), locals(padded), shadows(padded);
    std::vector<float> lampWeights(lamps ? padded : 0), lampCaps(lamps ? padded : 0);
    for (int y = first; y < last; ++y) {
      const size_t r0 = static_cast<size_t>(ty.near[y]) * columns;
      const size_t r1 = static_cast<size_t>(ty.far[y]) * columns;
      const float wy = ty.weight[y];
      for (int bx = 0; bx < columns; ++bx) {
        rowGain[bx] = gainGrid[r0 + bx] + wy * (gainGrid[r1 + bx] - gainGrid[r0 + bx]);
        rowLocal[bx] = smooth[r0 + bx] + wy * (smooth[r1 + bx] - smooth[r0 + bx]);
        rowLo[bx] = loGrid[r0 + bx] + wy * (loGrid[r1 + bx] - loGrid[r0 + bx]);
      }
      // The gains (and local means, shadow weights) of the row's pixels, then the pixels four
      // at a time.
      // Run by run between the same two block centres, so the loops vectorise.
      const float *wx = tx.weight.data();
      for (size_t run = 0; run + 1 < tx.runStart.size(); ++run) {
        const int x0 = tx.runStart[run], x1 = tx.runStart[run + 1];
        const int a = tx.near[x0], b = tx.far[x0];
        const float g0 = rowGain[a], gd = rowGain[b] - g0;
        const float l0 = rowLocal[a], ld = rowLocal[b] - l0;
        const float s0 = rowLo[a], sd = rowLo[b] - s0;
        int x = x0;
        for (; x + vector4::kLanes <= x1; x += vector4::kLanes) {
          using namespace vector4;
          const Vec w = load(wx + x);
          store(&gains[x], splat(g0) + w * splat(gd));
          store(&locals[x], splat(l0) + w * splat(ld));
          if (curve1) store(&shadows[x], splat(s0) + w * splat(sd));
        }
        for (; x < x1; ++x) {
          gains[x] = g0 + wx[x] * gd;
          locals[x] = l0 + wx[x] * ld;
          if (curve1) shadows[x] = s0 + wx[x] * sd;
        }
      }
      const float *p = in.pixel(0, y);
      if (lamps)
        for (int x = 0; x < width; ++x) {
          const float *pixel = p + 3 * x;
          lampWeights[x] = lampWeight(detector, pixel);
          // The gain at which the brightest channel reaches full scale.
          lampCaps[x] = 1.0f / std::max({pixel[0], pixel[1], pixel[2], 1e-3f});
        }
      float *q = out.pixel(0, y);
      using vector4::splat;
      using vector4::Vec;
      const float *gainTable = curve.gain.data();
      auto apply = [&](const rgb_lanes::Rgb &v, int x) {
        const Vec luma = splat(coef[0]) * v.r + splat(coef[1]) * v.g + splat(coef[2]) * v.b;
        Vec gain = vector4::load(&gains[x]);
        // The curve's drive, as driveRow makes it.
        const Vec brightest = vector4::max(vector4::max(v.r, v.g), v.b);
        const Vec drive = luma + splat(lightness) * (brightest - luma);
        const Vec local = vector4::load(&locals[x]);
        const Vec difference = vector4::abs(drive - local);
        const auto far = difference > splat(diffLow);
        if (far[0] | far[1] | far[2] | far[3]) {
          // Towards the curve's gain at the pixel's own drive.
          const Vec position = rgb_lanes::clamp(drive, 0, 1) * splat(kTable);
          Vec own;
          for (int k = 0; k < vector4::kLanes; ++k) {
            const int i = std::min(static_cast<int>(position[k]), kTable - 1);
            own[k] = gainTable[i] + (position[k] - i) * (gainTable[i + 1] - gainTable[i]);
          }
          const Vec w = rgb_lanes::clamp((difference - splat(diffLow)) * splat(diffScale), 0, 1);
          gain = gain + w * (own - gain);
        }
        if (darkLevel > 0) {
          const Vec fade = luma < splat(darkLevel) ? luma * splat(1.0f / darkLevel) : splat(1.0f);
          gain = splat(1.0f) + (gain - splat(1.0f)) * fade;
        }
        Vec lamp = splat(0.0f);
        if (lamps) {
          lamp = vector4::load(&lampWeights[x]);
          gain = gain + lamp * (vector4::min(gain, vector4::load(&lampCaps[x])) - gain);
        }
        Vec shift = splat(0.0f);  // the detail change, the same for R, G and B
        if (detail) shift = gain * splat(contrast - 1.0f) * (drive - local);
        // The share of the gain the chroma keeps, where the gain is high enough to lose some.
        bool chromaApart = curve1;
        Vec kept = splat(1.0f);
        if (saturationControl) {
          const auto high = gain > splat(satUp);
          if (high[0] | high[1] | high[2] | high[3]) {
            const Vec t = rgb_lanes::clamp((gain - splat(satUp)) * splat(satScale), 0, 1);
            kept = splat(1.0f) - splat(satLoss) * t;
            kept = kept + lamp * (splat(1.0f) - kept);
            chromaApart = true;
          }
        }
        if (chromaApart) {
          Vec chromaGain = gain * kept;
          // Curve 1's shadows: luma takes the full gain, chroma only curve2LoSat of it.
          if (curve1)
            chromaGain =
                (gain + vector4::load(&shadows[x]) * splat(loSat - 1.0f) * (gain - splat(1.0f))) *
                kept;
          const Vec base = gain * luma + shift;
          return rgb_lanes::Rgb{rgb_lanes::clamp(base + chromaGain * (v.r - luma), 0.0f, 1.0f),
                                rgb_lanes::clamp(base + chromaGain * (v.g - luma), 0.0f, 1.0f),
                                rgb_lanes::clamp(base + chromaGain * (v.b - luma), 0.0f, 1.0f)};
        }
        return rgb_lanes::Rgb{rgb_lanes::clamp(gain * v.r + shift, 0.0f, 1.0f),
                              rgb_lanes::clamp(gain * v.g + shift, 0.0f, 1.0f),
                              rgb_lanes::clamp(gain * v.b + shift, 0.0f, 1.0f)};
      };
      int x = 0;
      for (; x + vector4::kLanes <= width; x += vector4::kLanes, p += 12, q += 12)
        rgb_lanes::store(q, apply(rgb_lanes::load(p), x));
      if (x < width) {
        // The last few pixels through a padded group.
        float group[12] = {};
        const int floats = (width - x) * 3;
        std::copy(p, p + floats, group);
        rgb_lanes::store(group, apply(rgb_lanes::load(group), x));
        std::copy(group, group + floats, q);
      }
    }
  });
  return true;
}

}  // namespace tcamera
