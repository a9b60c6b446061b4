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
//   - Source weighting, where the band passes coring: the pixel's own fine detail
//     (Y - blur3(Y)) is kept x sourceStrength / 256 (0 .. 2) before the band is added,
//     x sourceStrengthSkin / 256 on skin (blended by the skin weight): below 256 the texture
//     riding on an edge gives way to the edge's boost, so sharpened skin does not turn grainy.
//     Limits then apply about the weighted luma.
//   - Chroma sharpening: where the luma is sharpened, the pixel's chroma detail (its R, G, B
//     less their 3 x 3 binomial blur, less the same of the luma) is added x sharpGainUv / 64,
//     so colour edges keep pace with the sharpened luma; the luma stays as sharpened.
//   - Purple-fringe removal (isDePurple), after the sharpening: a pixel within depfDetectRange
//     pixels (at most 15) of a luma of at least depfDetectLumaTh, that much darker than it by
//     depfDetectLumaDiff or more (full weight depfCompLumaDiff further on), and purple
//     (Cb and Cr both above zero; full weight from 4 chroma steps), is corrected twice: its
//     chroma is lowered by depfSatStrength / 256 about its luma, then depfFixStrength / 256 of
//     the excess of R and of B over G is taken away (a fringe is the bright edge's red and blue
//     light displaced by the lens, so it is dimmed as well as greyed). No channel changes by
//     more than depfLimit (8-bit steps) of the band the bright luma falls in: four bands from
//     depfDetectLumaTh to full scale, brighter edges allowed larger corrections.
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
constexpr float kUvGainUnit = 64.0f;   // sharpGainUv
constexpr float kSourceUnit = 256.0f;  // sourceStrength, sourceStrengthSkin
constexpr float kMaxSource = 2.0f;
constexpr int kMaxFringeReach = 15;   // depfDetectRange, pixels
constexpr float kPurpleSteps = 4.0f;  // chroma steps over which a pixel becomes purple

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

// Purple-fringe removal on image (in place); luma is the picture's luma before the sharpening.
void removePurpleFringes(const TDatabaseEdgeEnhance_3 &state, const std::vector<float> &luma,
                         RgbImage &image) {
  const int width = image.width, height = image.height;
  const int reach = std::min<int>(state.depfDetectRange, kMaxFringeReach);
  const float bright = state.depfDetectLumaTh / kSteps;
  const float darker = state.depfDetectLumaDiff / kSteps;
  const float ramp = std::max<float>(state.depfCompLumaDiff, 1) / kSteps;
  const float desaturate = state.depfSatStrength / kGainUnit;
  const float dim = state.depfFixStrength / kGainUnit;
  // Brightest luma within reach: along the row, then down the columns.
  std::vector<float> across(luma.size()), brightest(luma.size());
  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *row = &luma[static_cast<size_t>(y) * width];
      float *target = &across[static_cast<size_t>(y) * width];
      for (int x = 0; x < width; ++x) {
        float m = row[x];
        for (int k = std::max(x - reach, 0); k <= std::min(x + reach, width - 1); ++k)
          m = std::max(m, row[k]);
        target[x] = m;
      }
    }
  });
  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      float *target = &brightest[static_cast<size_t>(y) * width];
      std::copy_n(&across[static_cast<size_t>(y) * width], width, target);
      for (int k = std::max(y - reach, 0); k <= std::min(y + reach, height - 1); ++k) {
        const float *row = &across[static_cast<size_t>(k) * width];
        for (int x = 0; x < width; ++x) target[x] = std::max(target[x], row[x]);
      }
      for (int x = 0; x < width; ++x) {
        const float high = target[x], own = luma[static_cast<size_t>(y) * width + x];
        if (high < bright || high - own < darker) continue;
        float *q = image.pixel(x, y);
        const float y0 = kKr * q[0] + kKg * q[1] + kKb * q[2];
        const float cb = (q[2] - y0) * kCbScale * kChromaSteps;
        const float cr = (q[0] - y0) * kCrScale * kChromaSteps;
        const float purple = std::min(std::min(cb, cr) / kPurpleSteps, 1.0f);
        if (purple <= 0) continue;
        const float weight = purple * std::min((high - own - darker) / ramp, 1.0f);
        const int band = std::clamp(
            static_cast<int>((high - bright) / std::max(1.0f - bright, 1e-6f) * 4), 0, 3);
        const float limit = state.depfLimit[band] / kChromaSteps;
        float fixed[3];
        const float keep = 1.0f - std::min(weight * desaturate, 1.0f);
        for (int c = 0; c < 3; ++c) fixed[c] = y0 + keep * (q[c] - y0);
        const float take = std::min(weight * dim, 1.0f);
        fixed[0] -= take * std::max(fixed[0] - fixed[1], 0.0f);
        fixed[2] -= take * std::max(fixed[2] - fixed[1], 0.0f);
        for (int c = 0; c < 3; ++c)
          q[c] = std::clamp(std::clamp(fixed[c], q[c] - limit, q[c] + limit), 0.0f, 1.0f);
      }
    }
  });
}

}  // namespace

bool stageEdgeEnhance_3(const RgbImage &in, const TDatabaseEdgeEnhance_3 &state,
                        const FrameContext &, RgbImage &out) {
  if (state.state == 0) return false;
  const float strength = state.strength / kStrengthUnity;
  const bool sharpens = strength > 0 && (state.detailScaler > 0 || state.edgeScaler > 0);
  const bool dePurple = state.isDePurple != 0;
  if (!sharpens && !state.isDci && !dePurple) return false;
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
  const float uvGain = state.sharpGainUv / kUvGainUnit;
  const float sourceKeep = std::min(state.sourceStrength / kSourceUnit, kMaxSource);
  const float skinSourceKeep =
      skinStrength > 0 ? std::min(state.sourceStrengthSkin / kSourceUnit, kMaxSource) : sourceKeep;
  // The encoded luma of the input, kept for the purple-fringe removal.
  std::vector<float> fringeLuma(dePurple ? static_cast<size_t>(width) * height : 0);
  const float cbLow = state.cbDownThreshold, cbHigh = state.cbUpThreshold;
  const float crLow = state.crDownThreshold, crHigh = state.crUpThreshold;
  const float *source = in.data.data();
  float *target = out.data.data();
  parallelRows(height, [&](int first, int last) {
    std::vector<float> bands(width);    // the row's band sum, before coring
    std::vector<float> details(width);  // the row's Y - blur3(Y)
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
      if (dePurple && y >= first && y < last)  // each band keeps its own rows
        std::copy_n(l, width, &fringeLuma[static_cast<size_t>(y) * width]);
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
        details[x] = L[2][x] - b3;
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
        store(details.data() + x, load(L[2] + x) - b3);
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
        bool changed = false, boosted = false;
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
            // The pixel's own fine detail, weighted.
            const float keep = sourceKeep + skinWeight * (skinSourceKeep - sourceKeep);
            if (keep != 1.0f) {
              const float change = (keep - 1.0f) * details[x];
              level += change;
              changed = change != 0;
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
          boosted = delta != 0;
          changed = changed || boosted;
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
        float colour[3] = {0, 0, 0};
        if (boosted && uvGain != 0) {
          // The chroma detail: each channel's and the luma's difference to their 3 x 3 blur.
          const int xl = std::max(x - 1, 0), xr = std::min(x + 1, width - 1);
          const int yu = std::max(y - 1, 0), yd = std::min(y + 1, height - 1);
          const float *rows[3] = {source + static_cast<size_t>(yu) * width * 3, p - x * 3,
                                  source + static_cast<size_t>(yd) * width * 3};
          for (int c = 0; c < 3; ++c) {
            float blur = 0;
            for (int k = 0; k < 3; ++k)
              blur +=
                  (k == 1 ? 0.5f : 0.25f) *
                  (0.25f * (rows[k][xl * 3 + c] + rows[k][xr * 3 + c]) + 0.5f * rows[k][x * 3 + c]);
            colour[c] = p[c] - blur;
          }
          const float lumaDetail = kKr * colour[0] + kKg * colour[1] + kKb * colour[2];
          for (float &c : colour) c = uvGain * (c - lumaDetail);
        }
        for (int c = 0; c < 3; ++c) q[c] = std::clamp(p[c] + shift + colour[c], 0.0f, 1.0f);
      }
    }
  });
  if (dePurple) removePurpleFringes(state, fringeLuma, out);
  return true;
}

}  // namespace tcamera
