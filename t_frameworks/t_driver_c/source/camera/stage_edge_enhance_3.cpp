// "EE_3" in the simulated ISP: sharpens the luma of the display-encoded picture and adds the
// luma change to R, G and B alike, so hue stays. Levels and thresholds are in 10-bit luma
// steps (0 .. 1023), gains in 1/256.
//   - Two bands of the luma: detail = Y - blur3(Y) and edge = blur3(Y) - blur5(Y) (binomial
//     3 x 3 and 5 x 5), summed as detail x detailScaler / 32 + edge x edgeScaler / 32.
//   - Coring: the band's size is reduced by gradTh[0], so noise below it is left alone; with
//     isCurve the result is scaled by hfMergeCurve, four gains spread evenly from gradTh[0]
//     to gradTh[1] (joined by lines, held beyond).
//   - Gain: strength / 64, times sharpGain[0] for bright (overshoot) and sharpGain[1] for dark
//     (undershoot) edges; with isCa times caCurve over the chroma size (65 points over 0 .. 128
//     8-bit chroma steps) where the pixel's Cb and Cr lie inside the cb/cr Down/Up window.
//   - Only where the luma lies within yDownThreshold .. yUpThreshold.
//   - Halo clips with isSharpLimit: the overshoot at most sharpLimit[0], the undershoot at most
//     sharpLimit[1]; sharpLimitType 0 measures them from the pixel's own luma, type 1 from the
//     brightest and darkest luma of its 3 x 3 neighbourhood (flat halos, crisp edges).
//   - Skin (skinProcessEn): pixels whose chroma lies near the skin tone (weight scaled by
//     skinDetectStrength / 128) use gradThSkin, hfMergeCurveSkin, sharpGainSkin and
//     sharpLimitSkin instead, blended by that weight.
//   - isYuvDomain 0 sharpens the luma made linear with the power deGamma and encodes it back:
//     equal steps in light, so on the display the dark side of an edge deepens more than the
//     bright side rises. Thresholds and limits then apply to linear luma.
//   - isDci maps the sharpened luma through dciCurve (65 points, input i x 16, 10-bit out).
#include <algorithm>
#include <cmath>
#include <vector>

#include "rgb_lanes.h"
#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr float kKr = 0.299f, kKg = 0.587f, kKb = 0.114f;
constexpr float kCbScale = 0.5f / (1.0f - kKb);
constexpr float kCrScale = 0.5f / (1.0f - kKr);
constexpr float kSteps = 1023.0f;       // 10-bit luma steps
constexpr float kChromaSteps = 255.0f;  // 8-bit chroma steps for the chroma thresholds
constexpr float kGainUnit = 256.0f;
constexpr float kStrengthUnity = 64.0f;
constexpr float kScalerUnity = 32.0f;
constexpr int kCurvePoints = 65;
constexpr float kCaSpan = 128.0f;  // chroma size covered by caCurve, 8-bit steps
constexpr float kDciStep = 16.0f;  // input spacing of dciCurve
// Skin tones in 8-bit chroma steps, and how far from that centre the weight reaches zero.
constexpr float kSkinCb = -26.0f, kSkinCr = 25.0f, kSkinRadius = 24.0f;
constexpr int kDomainTable = 4096;

// The settings of one kind of pixel (ordinary or skin), in luma 0..1 units.
struct Shape {
  float core, curveEnd;  // gradTh
  float curve[4];        // hfMergeCurve gains
  float gainUp, gainDown;
  float limitUp, limitDown;
};

Shape shapeOf(const uint16_t gradTh[2], const uint16_t curve[4], const uint16_t gain[2],
              const uint16_t limit[2], bool useCurve, float strength) {
  Shape s{};
  s.core = gradTh[0] / kSteps;
  s.curveEnd = std::max(gradTh[1] / kSteps, s.core + 1.0f / kSteps);
  for (int i = 0; i < 4; ++i) s.curve[i] = useCurve ? curve[i] / kGainUnit : 1.0f;
  s.gainUp = strength * gain[0] / kGainUnit;
  s.gainDown = strength * gain[1] / kGainUnit;
  s.limitUp = limit[0] / kSteps;
  s.limitDown = limit[1] / kSteps;
  return s;
}

// The sharpening added for band value hf.
float boost(const Shape &s, float hf) {
  const float size = std::fabs(hf) - s.core;
  if (size <= 0) return 0;
  const float position = std::min(size / (s.curveEnd - s.core), 1.0f) * 3;
  const int i = std::min(static_cast<int>(position), 2);
  const float gain = s.curve[i] + (position - i) * (s.curve[i + 1] - s.curve[i]);
  return hf > 0 ? size * gain * s.gainUp : -size * gain * s.gainDown;
}

float interpolate(const float *table, float position, int last) {
  position = std::clamp(position, 0.0f, static_cast<float>(last));
  const int i = std::min(static_cast<int>(position), last - 1);
  return table[i] + (position - i) * (table[i + 1] - table[i]);
}

// The row halves of the separable binomial blurs of a luma row, clamped at its ends.
void blurRow(const float *src, int width, float *b3, float *b5) {
  auto at = [&](int x) { return src[std::clamp(x, 0, width - 1)]; };
  auto blur = [&](int x, float l2, float l1, float c, float r1, float r2) {
    b3[x] = 0.25f * (l1 + r1) + 0.5f * c;
    b5[x] = 0.0625f * (l2 + r2) + 0.25f * (l1 + r1) + 0.375f * c;
  };
  // Clamped reads only near the borders, so the middle of the row vectorises.
  const int inner = std::max(2, width - 2);
  for (int x = 0; x < std::min(2, width); ++x)
    blur(x, at(x - 2), at(x - 1), src[x], at(x + 1), at(x + 2));
  int x = 2;
  for (; x + vector4::kLanes <= inner; x += vector4::kLanes) {
    using namespace vector4;
    const Vec l2 = load(src + x - 2), l1 = load(src + x - 1), c = load(src + x);
    const Vec r1 = load(src + x + 1), r2 = load(src + x + 2);
    store(b3 + x, splat(0.25f) * (l1 + r1) + splat(0.5f) * c);
    store(b5 + x, splat(0.0625f) * (l2 + r2) + splat(0.25f) * (l1 + r1) + splat(0.375f) * c);
  }
  for (; x < inner; ++x) blur(x, src[x - 2], src[x - 1], src[x], src[x + 1], src[x + 2]);
  for (int x = std::max(inner, std::min(2, width)); x < width; ++x)
    blur(x, at(x - 2), at(x - 1), src[x], at(x + 1), at(x + 2));
}

}  // namespace

bool stageEdgeEnhance_3(const RgbImage &in, const TDatabaseEdgeEnhance_3 &state,
                        const FrameContext &, RgbImage &out) {
  if (state.state == 0) return false;
  const float strength = state.strength / kStrengthUnity;
  const bool sharpens = strength > 0 && (state.detailScaler > 0 || state.edgeScaler > 0);
  if (!sharpens && !state.isDci) return false;
  const int width = in.width, height = in.height;

  const bool useCurve = state.isCurve != 0;
  const Shape normal = shapeOf(state.gradTh, state.hfMergeCurve, state.sharpGain, state.sharpLimit,
                               useCurve, strength);
  const Shape skin = shapeOf(state.gradThSkin, state.hfMergeCurveSkin, state.sharpGainSkin,
                             state.sharpLimitSkin, useCurve, strength);
  const float skinStrength = state.skinProcessEn ? state.skinDetectStrength / 128.0f : 0.0f;
  const float minCore = skinStrength > 0 ? std::min(normal.core, skin.core) : normal.core;
  const float detailScale = state.detailScaler / kScalerUnity;
  const float edgeScale = state.edgeScaler / kScalerUnity;
  const float yLow = state.yDownThreshold / kSteps, yHigh = state.yUpThreshold / kSteps;
  float caCurve[kCurvePoints], dciCurve[kCurvePoints];
  for (int i = 0; i < kCurvePoints; ++i) {
    caCurve[i] = state.caCurve[i] / kGainUnit;
    dciCurve[i] = std::min(state.dciCurve[i] / kSteps, 1.0f);
  }
  // Sharpening domain: the encoded luma itself, or luma made linear with deGamma.
  const bool linearDomain = !state.isYuvDomain && state.deGamma > 0;
  std::vector<float> decode, encode;
  if (linearDomain) {
    decode.resize(kDomainTable + 1);
    encode.resize(kDomainTable + 1);
    for (int i = 0; i <= kDomainTable; ++i) {
      const float v = static_cast<float>(i) / kDomainTable;
      decode[i] = std::pow(v, state.deGamma);
      encode[i] = std::pow(v, 1.0f / state.deGamma);
    }
  }

  out = in.sameShape();
  // Settings read per pixel, as locals the compiler can keep in registers.
  const bool chromaAdaptive = state.isCa != 0, limits = state.isSharpLimit != 0;
  const bool neighbourhoodLimits = state.sharpLimitType == 1, dci = state.isDci != 0;
  const float cbLow = state.cbDownThreshold, cbHigh = state.cbUpThreshold;
  const float crLow = state.crDownThreshold, crHigh = state.crUpThreshold;
  const float *source = in.data.data();
  float *target = out.data.data();
  parallelRows(height, [&](int first, int last) {
    std::vector<float> bands(width);  // the row's band sum, before coring
    // The luma rows the 5 x 5 blur reaches and their row blurs, in rings of five rows made
    // as the band goes down, so the picture is read once while its rows are still cached.
    constexpr int kRing = 5;
    const size_t padded = vector4::roundUp(width) + vector4::kLanes;
    std::vector<float> ring(3 * kRing * padded);
    auto slot = [&](int kind, int y) { return &ring[(kind * kRing + y % kRing) * padded]; };
    auto makeRow = [&](int y) {
      float *l = slot(0, y);
      const float *p = source + static_cast<size_t>(y) * width * 3;
      int x = 0;
      for (; x + vector4::kLanes <= width; x += vector4::kLanes, p += 12) {
        using namespace vector4;
        const rgb_lanes::Rgb v = rgb_lanes::load(p);
        store(l + x, splat(kKr) * v.r + splat(kKg) * v.g + splat(kKb) * v.b);
      }
      for (; x < width; ++x, p += 3) l[x] = kKr * p[0] + kKg * p[1] + kKb * p[2];
      if (linearDomain)
        for (x = 0; x < width; ++x)
          l[x] = interpolate(decode.data(), l[x] * kDomainTable, kDomainTable);
      blurRow(l, width, slot(1, y), slot(2, y));
    };
    int next = std::max(first - 2, 0);
    for (int y = first; y < last; ++y) {
      for (; next <= std::min(y + 2, height - 1); ++next) makeRow(next);
      // Luma (L), row blurs (R3, R5) of the rows y - 2 .. y + 2, clamped at the frame.
      const float *L[kRing], *R3[kRing], *R5[kRing];
      for (int k = 0; k < kRing; ++k) {
        const int at = std::clamp(y + k - 2, 0, height - 1);
        L[k] = slot(0, at), R3[k] = slot(1, at), R5[k] = slot(2, at);
      }
      const size_t row = static_cast<size_t>(y) * width;
      // The vertical halves of the blurs and the bands for the whole row, branch-free.
      auto band = [&](int x) {
        const float b3 = 0.25f * (R3[1][x] + R3[3][x]) + 0.5f * R3[2][x];
        const float b5 =
            0.0625f * (R5[0][x] + R5[4][x]) + 0.25f * (R5[1][x] + R5[3][x]) + 0.375f * R5[2][x];
        bands[x] = (L[2][x] - b3) * detailScale + (b3 - b5) * edgeScale;
      };
      int x = 0;
      for (; x + vector4::kLanes <= width; x += vector4::kLanes) {
        using namespace vector4;
        const Vec b3 =
            splat(0.25f) * (load(R3[1] + x) + load(R3[3] + x)) + splat(0.5f) * load(R3[2] + x);
        const Vec b5 = splat(0.0625f) * (load(R5[0] + x) + load(R5[4] + x)) +
                       splat(0.25f) * (load(R5[1] + x) + load(R5[3] + x)) +
                       splat(0.375f) * load(R5[2] + x);
        store(bands.data() + x,
              (load(L[2] + x) - b3) * splat(detailScale) + (b3 - b5) * splat(edgeScale));
      }
      for (; x < width; ++x) band(x);
      for (x = 0; x < width; ++x) {
        const float *p = source + (row + x) * 3;
        float *q = target + (row + x) * 3;
        if (!dci && x % vector4::kLanes == 0 && x + vector4::kLanes <= width) {
          // Four pixels whose bands are all below both coring thresholds pass as they are.
          using namespace vector4;
          const auto above = abs(load(&bands[x])) > splat(minCore);
          if ((above[0] | above[1] | above[2] | above[3]) == 0) {
            std::copy(p, p + 3 * kLanes, q);
            x += kLanes - 1;
            continue;
          }
        }
        const float encodedY = kKr * p[0] + kKg * p[1] + kKb * p[2];
        float level = L[2][x];
        bool changed = false;
        if (sharpens && encodedY >= yLow && encodedY <= yHigh) {
          const float hf = bands[x];
          float delta = 0;
          float limitUp = normal.limitUp, limitDown = normal.limitDown;
          // Below both coring thresholds nothing is added: most of a frame stops here.
          if (std::fabs(hf) > minCore) {
            const float cb = (p[2] - encodedY) * kCbScale * kChromaSteps;
            const float cr = (p[0] - encodedY) * kCrScale * kChromaSteps;
            float skinWeight = 0;
            if (skinStrength > 0) {
              const float dcb = cb - kSkinCb, dcr = cr - kSkinCr;
              const float distance = std::sqrt(dcb * dcb + dcr * dcr);
              skinWeight = std::clamp(skinStrength * (1 - distance / kSkinRadius), 0.0f, 1.0f);
            }
            delta = boost(normal, hf);
            if (skinWeight > 0) {
              delta += skinWeight * (boost(skin, hf) - delta);
              limitUp += skinWeight * (skin.limitUp - limitUp);
              limitDown += skinWeight * (skin.limitDown - limitDown);
            }
            if (chromaAdaptive && cb >= cbLow && cb <= cbHigh && cr >= crLow && cr <= crHigh) {
              const float size = std::sqrt(cb * cb + cr * cr) / kCaSpan * (kCurvePoints - 1);
              delta *= interpolate(caCurve, size, kCurvePoints - 1);
            }
          }
          if (delta != 0 && limits) {
            float low = level, high = level;
            if (neighbourhoodLimits) {
              const int xl = std::max(x - 1, 0), xr = std::min(x + 1, width - 1);
              for (const float *r : {L[1], L[2], L[3]}) {
                low = std::min({low, r[xl], r[x], r[xr]});
                high = std::max({high, r[xl], r[x], r[xr]});
              }
            }
            delta = std::clamp(level + delta, low - limitDown, high + limitUp) - level;
          }
          level += delta;
          changed = delta != 0;
        }
        if (!changed && !dci) {  // nothing added: the pixel passes as it is
          q[0] = p[0], q[1] = p[1], q[2] = p[2];
          continue;
        }
        float newY =
            linearDomain ? interpolate(encode.data(), level * kDomainTable, kDomainTable) : level;
        if (dci)
          newY = interpolate(dciCurve, std::clamp(newY, 0.0f, 1.0f) * kSteps / kDciStep,
                             kCurvePoints - 1);
        const float shift = newY - encodedY;
        for (int c = 0; c < 3; ++c) q[c] = std::clamp(p[c] + shift, 0.0f, 1.0f);
      }
    }
  });
  return true;
}

}  // namespace tcamera
