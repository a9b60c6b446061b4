#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database_records/wide_dynamic_range_5_2_1.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 128, kHeight = 64;
using Colour = std::array<float, 3>;

// A shadow on the left (dark, with a fine checker of +-0.02 as detail), a bright area on the
// right.
RgbImage shadowAndLight(const Colour &shadow) {
  return testing::makeRgb(kWidth, kHeight, [&](int x, int y, int c) {
    if (x >= kWidth / 2) return 0.8f;
    return shadow[c] + (((x + y) & 1) ? 0.02f : -0.02f);
  });
}

struct Region {
  float mean = 0, deviation = 0, chroma = 0;  // luma mean and deviation; mean max - min
};

Region measure(const RgbImage &image, int x0, int x1) {
  double sum = 0, sum2 = 0, spread = 0;
  int count = 0;
  for (int y = 4; y < image.height - 4; ++y)
    for (int x = x0; x < x1; ++x, ++count) {
      const float *p = image.pixel(x, y);
      const double luma = 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2];
      sum += luma, sum2 += luma * luma;
      spread += std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]});
    }
  Region r;
  r.mean = static_cast<float>(sum / count);
  r.deviation = static_cast<float>(std::sqrt(std::max(0.0, sum2 / count - r.mean * r.mean)));
  r.chroma = static_cast<float>(spread / count);
  return r;
}

Region shadowOf(const RgbImage &image) {
  return measure(image, 8, kWidth / 2 - 16);
}
Region lightOf(const RgbImage &image) {
  return measure(image, kWidth / 2 + 16, kWidth - 8);
}

// The settings the model reads, as the camera ships them.
TDatabaseWideDynamicRange_5_2_1 defaults() {
  TDatabaseWideDynamicRange_5_2_1 s{};
  s.state = 1;
  s.contrast = 512;
  s.curve2HiFactor = 1.0f, s.curve2LoFactor = 1.0f;
  s.curve2LoSat = 0.5f, s.curve2Thr = 0.5f;
  s.darkAttentionLevel = 32;
  s.deGamma = 2.2f;
  s.fixedWeight = 64;
  s.highStrength = 128;
  s.hlcBaseLog = 14.0f;
  s.hlcSlope = 32;
  s.lowStrength = 256;
  s.maxGain = 1024, s.minGain = 256;
  s.ratioActual = 16.0f;
  s.strength = 128;
  s.wdrRgbCoef[0] = 77, s.wdrRgbCoef[1] = 150, s.wdrRgbCoef[2] = 29;
  s.wdrLightnessWeight = 128;
  s.entropyEnable = 1;
  s.entropyBase = 512, s.entropySlope = 128;
  s.diffLow = 0.05f, s.diffHigh = 0.25f;
  s.satRange = 0.8f;
  s.satThrGainUp = 96, s.satThrGainDown = 160;
  s.lightSatLoThr = 64, s.lightSatHiThr = 200;
  const float knots[4] = {6.0f, 8.0f, 10.0f, 12.0f};
  for (float *hue : {s.lightRedThrLog, s.lightYellowThrLog, s.lightGreenThrLog, s.lightCyanThrLog,
                     s.lightBlueThrLog, s.lightMagentaThrLog})
    std::copy(knots, knots + 4, hue);
  return s;
}

TEST(StageWideDynamicRange_5_2_1, LocalCurveLiftsShadows) {
  const RgbImage grey = shadowAndLight({0.2f, 0.2f, 0.2f});
  const RgbImage tinted = shadowAndLight({0.24f, 0.2f, 0.12f});
  const RgbImage saturated = shadowAndLight({0.35f, 0.15f, 0.05f});
  RgbImage reference;
  ASSERT_TRUE(stageWideDynamicRange_5_2_1(grey, defaults(), FrameContext{}, reference));
  const Region shadowIn = shadowOf(grey), lightIn = lightOf(grey);
  const Region shadowRef = shadowOf(reference);
  const float liftRef = shadowRef.mean - shadowIn.mean;

  using Check = std::function<void(const RgbImage &in, const RgbImage &out)>;
  const struct Case {
    const char *name;
    const RgbImage *input;
    std::function<void(TDatabaseWideDynamicRange_5_2_1 &)> set;
    bool changes;
    Check check;
  } kCases[] = {
      {"bypassed", &grey, [](auto &s) { s.state = 0; }, false, nullptr},
      {"defaults lift the shadow, keep its detail and leave the light", &grey, [](auto &) {}, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(shadowOf(out).mean, 1.5f * shadowIn.mean);
         EXPECT_GT(shadowOf(out).deviation, 1.3f * shadowIn.deviation);
         EXPECT_NEAR(lightOf(out).mean, lightIn.mean, 0.005f);
       }},
      {"no strength, no lift", &grey, [](auto &s) { s.strength = 0; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_NEAR(shadowOf(out).mean, shadowIn.mean, 0.002f);
       }},
      {"more shadow strength lifts more", &grey, [](auto &s) { s.lowStrength = 512; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(shadowOf(out).mean - shadowIn.mean, 1.2f * liftRef);
       }},
      {"a gain limit of 1.0 stops the lift", &grey, [](auto &s) { s.maxGain = 256; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_NEAR(shadowOf(out).mean, shadowIn.mean, 0.002f);
       }},
      {"a lower gain limit lets highlights compress", &grey,
       [](auto &s) {
         s.minGain = 128;
         s.entropyEnable = 0;  // the strength as set: a frame of two tones would get more lift
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(lightOf(out).mean, lightIn.mean - 0.05f);
       }},
      {"... from the highlight base on", &grey,
       [](auto &s) {
         s.minGain = 128;
         s.hlcBaseLog = 16.5f;  // beyond full scale: no compression, the curve lifts
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(lightOf(out).mean, lightIn.mean + 0.02f);
       }},
      {"no highlight strength, no compression", &grey,
       [](auto &s) {
         s.minGain = 128;
         s.highStrength = 0;
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(lightOf(out).mean, lightIn.mean + 0.02f);
       }},
      {"dark attention holds back the lift near black", &grey,
       [](auto &s) { s.darkAttentionLevel = 255; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(shadowOf(out).mean - shadowIn.mean, 0.7f * liftRef);
       }},
      {"contrast raises the detail in the shadow", &grey, [](auto &s) { s.contrast = 1024; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(shadowOf(out).deviation, 1.5f * shadowRef.deviation);
       }},
      {"a global weight makes the curve follow the frame", &grey,
       [](auto &s) { s.fixedWeight = 256; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(shadowOf(out).mean - shadowIn.mean, 0.7f * liftRef);
       }},
      {"luma weights that see less light lift more", &grey,
       [](auto &s) {
         s.wdrRgbCoef[1] = 100;  // luma weights summing to 0.8 of the light
         s.wdrLightnessWeight = 0;
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(shadowOf(out).mean - shadowIn.mean, 1.1f * liftRef);
       }},
      {"lightness weight lifts saturated shadows less", &saturated,
       [](auto &s) { s.wdrLightnessWeight = 255; }, true,
       [&](const RgbImage &in, const RgbImage &out) {
         TDatabaseWideDynamicRange_5_2_1 lumaOnly = defaults();
         lumaOnly.wdrLightnessWeight = 0;
         RgbImage byLuma;
         ASSERT_TRUE(stageWideDynamicRange_5_2_1(in, lumaOnly, FrameContext{}, byLuma));
         const float lift = shadowOf(out).mean - shadowOf(in).mean;
         EXPECT_GT(lift, 0.0f);
         EXPECT_LT(lift, 0.85f * (shadowOf(byLuma).mean - shadowOf(in).mean));
       }},
      {"without the entropy factor a frame of two tones is lifted less", &grey,
       [](auto &s) { s.entropyEnable = 0; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(shadowOf(out).mean - shadowIn.mean, 0.85f * liftRef);
       }},
      {"without halo suppression the light's edge takes the shadow's lift", &grey,
       [](auto &s) { s.diffLow = s.diffHigh = 1.5f; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         const float edge = measure(out, kWidth / 2, kWidth / 2 + 4).mean;
         EXPECT_GT(edge, measure(reference, kWidth / 2, kWidth / 2 + 4).mean + 0.02f);
       }},
      {"flat areas take the flat class's extra gain, textured ones do not", &grey,
       [](auto &s) {
         s.flatLevel = 8;  // the shadow's checker steps by 10 (8-bit), the light is flat
         for (auto &row : s.flatLevelInc) std::fill(std::begin(row), std::end(row), 32);
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         // A gain of 1 + 32 / 256 on the light, none on the shadow.
         EXPECT_NEAR(lightOf(out).mean, 1.125f * lightOf(reference).mean, 0.01f);
         EXPECT_NEAR(shadowOf(out).mean, shadowRef.mean, 0.002f);
       }},
      {"curve 1 without shadow factor keeps the shadow", &grey,
       [](auto &s) {
         s.wdrCurveSelect = 1;
         s.curve2LoFactor = 0;
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_NEAR(shadowOf(out).mean, shadowIn.mean, 0.002f);
       }},
      {"curve 1 with a larger shadow factor lifts more", &grey,
       [](auto &s) {
         s.wdrCurveSelect = 1;
         s.curve2LoFactor = 1.5f;
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_GT(shadowOf(out).mean - shadowIn.mean, 1.2f * liftRef);
       }},
      {"curve 1's high factor lifts the light", &grey,
       [](auto &s) {
         s.wdrCurveSelect = 1;
         s.curve2HiFactor = 0;
         s.minGain = 64;
       },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         // No lift left to compress: the light only follows the highlight compression.
         EXPECT_LT(lightOf(out).mean, lightIn.mean - 0.05f);
         EXPECT_GT(shadowOf(out).mean, 1.5f * shadowIn.mean);
       }},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabaseWideDynamicRange_5_2_1 state = defaults();
    c.set(state);
    RgbImage out;
    ASSERT_EQ(stageWideDynamicRange_5_2_1(*c.input, state, FrameContext{}, out), c.changes);
    if (c.changes) c.check(*c.input, out);
  }

  // Curve 1: lifted shadows keep their colour in proportion as curve2LoSat says.
  float chroma[2];
  for (int i = 0; i < 2; ++i) {
    TDatabaseWideDynamicRange_5_2_1 state = defaults();
    state.wdrCurveSelect = 1;
    state.curve2LoSat = static_cast<float>(i);
    RgbImage out;
    ASSERT_TRUE(stageWideDynamicRange_5_2_1(tinted, state, FrameContext{}, out));
    chroma[i] = shadowOf(out).chroma;
    EXPECT_GT(shadowOf(out).mean, 1.5f * shadowOf(tinted).mean);
  }
  EXPECT_NEAR(chroma[0], shadowOf(tinted).chroma, 0.005f);
  EXPECT_GT(chroma[1], 1.5f * chroma[0]);
}

}  // namespace
}  // namespace tcamera
