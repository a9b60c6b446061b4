#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database_records/edge_enhance_3.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 96, kHeight = 48;
constexpr float kDark = 0.3f, kBright = 0.6f;

using Colour = std::array<float, 3>;

// Vertical bars, 8 pixels of each colour, slightly soft (one mixed column at each edge).
RgbImage bars(const Colour &dark, const Colour &bright) {
  return testing::makeRgb(kWidth, kHeight, [&](int x, int, int c) {
    const int phase = x % 16;
    if (phase == 0 || phase == 8) return 0.5f * (dark[c] + bright[c]);
    return phase < 8 ? dark[c] : bright[c];
  });
}

Colour grey(float level) {
  return {level, level, level};
}

float luma(const float *p) {
  return 0.299f * p[0] + 0.587f * p[1] + 0.114f * p[2];
}

struct Measure {
  float energy = 0;  // sum of squared horizontal luma steps
  float minimum = 1, maximum = 0, mean = 0;
};

Measure measure(const RgbImage &image) {
  Measure m;
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x) {
      const float v = luma(image.pixel(x, y));
      m.minimum = std::min(m.minimum, v);
      m.maximum = std::max(m.maximum, v);
      m.mean += v;
      if (x > 0) {
        const float step = v - luma(image.pixel(x - 1, y));
        m.energy += step * step;
      }
    }
  m.mean /= static_cast<float>(image.width) * image.height;
  return m;
}

// The block's settings as a camera ships them, as far as the model reads them.
TDatabaseEdgeEnhance_3 defaults() {
  TDatabaseEdgeEnhance_3 s{};
  s.state = 1;
  s.isCa = 1;
  for (int i = 0; i < 65; ++i) {
    s.caCurve[i] = static_cast<uint16_t>(256 - i * 2);
    s.dciCurve[i] = static_cast<uint16_t>(std::min(i * 16, 1023));
  }
  s.cbDownThreshold = s.crDownThreshold = -64;
  s.cbUpThreshold = s.crUpThreshold = 64;
  s.isCurve = 1;
  s.deGamma = 2.2f;
  s.detailScaler = s.edgeScaler = 32;
  s.gradTh[0] = 16, s.gradTh[1] = 256;
  s.gradThSkin[0] = 24, s.gradThSkin[1] = 320;
  const uint16_t merge[4] = {64, 128, 192, 256}, mergeSkin[4] = {32, 64, 128, 192};
  std::copy(merge, merge + 4, s.hfMergeCurve);
  std::copy(mergeSkin, mergeSkin + 4, s.hfMergeCurveSkin);
  s.sharpGain[0] = 320, s.sharpGain[1] = 384;
  s.sharpGainSkin[0] = 192, s.sharpGainSkin[1] = 224;
  s.isSharpLimit = 1;
  s.sharpLimit[0] = 96, s.sharpLimit[1] = 128;
  s.sharpLimitSkin[0] = 48, s.sharpLimitSkin[1] = 64;
  s.skinDetectStrength = 128;
  s.skinProcessEn = 1;
  s.strength = 64;
  s.yDownThreshold = 16, s.yUpThreshold = 1000;
  s.sourceStrength = 256, s.sourceStrengthSkin = 192;
  s.sharpGainUv = 16;
  s.isYuvDomain = 1;
  return s;
}

TEST(StageEdgeEnhance_3, SettingsShapeTheSharpening) {
  const RgbImage greyBars = bars(grey(kDark), grey(kBright));
  // Saturated bars (chroma about 40 8-bit steps) and skin-toned bars, same luma steps.
  const RgbImage colourBars = bars({0.2f, 0.3f, 0.5f}, {0.5f, 0.6f, 0.8f});
  const RgbImage skinBars = bars({0.42f, 0.27f, 0.2f}, {0.72f, 0.57f, 0.5f});
  // Grey bars with edges spread over a two-column ramp.
  const RgbImage rampBars = testing::makeRgb(kWidth, kHeight, [](int x, int, int) {
    const float kRamp[16] = {0.35f, 0.55f, kBright, kBright, kBright, kBright, kBright, kBright,
                             0.55f, 0.35f, kDark,   kDark,   kDark,   kDark,   kDark,   kDark};
    return kRamp[x % 16];
  });
  RgbImage reference;
  ASSERT_TRUE(stageEdgeEnhance_3(greyBars, defaults(), FrameContext{}, reference));
  const Measure greyIn = measure(greyBars), greyOut = measure(reference);
  // Everything sharpens the same bars harder than the defaults do, limits off.
  auto hard = [](TDatabaseEdgeEnhance_3 &s) {
    s.strength = 255;
    s.isSharpLimit = 0;
  };

  using Check = std::function<void(const Measure &in, const Measure &out)>;
  const struct Case {
    const char *name;
    const RgbImage *input;
    std::function<void(TDatabaseEdgeEnhance_3 &)> set;
    bool changes;
    Check check;
  } kCases[] = {
      {"bypassed", &greyBars, [](auto &s) { s.state = 0; }, false, nullptr},
      {"no strength", &greyBars, [](auto &s) { s.strength = 0; }, false, nullptr},
      {"no bands", &greyBars, [](auto &s) { s.detailScaler = s.edgeScaler = 0; }, false, nullptr},
      {"defaults raise the edge energy and overshoot both ways", &greyBars, [](auto &) {}, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_GT(out.energy, 1.3f * in.energy);
         EXPECT_GT(out.maximum, kBright + 0.01f);
         EXPECT_LT(out.minimum, kDark - 0.01f);
       }},
      {"more strength sharpens more", &greyBars, [](auto &s) { s.strength = 128; }, true,
       [&](const Measure &, const Measure &out) { EXPECT_GT(out.energy, 1.2f * greyOut.energy); }},
      {"only the detail band", &greyBars, [](auto &s) { s.edgeScaler = 0; }, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_GT(out.energy, 1.05f * in.energy);
         EXPECT_LT(out.energy, greyOut.energy);
       }},
      {"coring above the edges leaves them", &greyBars, [](auto &s) { s.gradTh[0] = 1023; }, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_NEAR(out.energy, in.energy, 1e-4f * in.energy);
       }},
      {"a zero merge curve stops the sharpening", &greyBars,
       [](auto &s) { std::fill(s.hfMergeCurve, s.hfMergeCurve + 4, 0); }, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_NEAR(out.energy, in.energy, 1e-4f * in.energy);
       }},
      {"... unless the curve is off", &greyBars,
       [](auto &s) {
         std::fill(s.hfMergeCurve, s.hfMergeCurve + 4, 0);
         s.isCurve = 0;
       },
       true,
       [&](const Measure &in, const Measure &out) { EXPECT_GT(out.energy, 1.3f * in.energy); }},
      {"bars outside the luma window stay", &greyBars, [](auto &s) { s.yUpThreshold = 200; }, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_NEAR(out.energy, in.energy, 1e-4f * in.energy);
       }},
      {"no overshoot gain, no overshoot", &greyBars, [](auto &s) { s.sharpGain[0] = 0; }, true,
       [&](const Measure &, const Measure &out) {
         EXPECT_LT(out.maximum, kBright + 1e-4f);
         EXPECT_LT(out.minimum, kDark - 0.01f);
       }},
      {"halo clips hold the overshoot", &greyBars,
       [&](auto &s) {
         hard(s);
         s.isSharpLimit = 1;
         s.sharpLimit[0] = s.sharpLimit[1] = 10;
       },
       true,
       [&](const Measure &, const Measure &out) {
         EXPECT_LT(out.maximum, kBright + 10.5f / 1023);
         EXPECT_GT(out.minimum, kDark - 10.5f / 1023);
         EXPECT_GT(out.maximum, kBright + 9.5f / 1023);
       }},
      {"without clips it goes further", &greyBars, hard, true,
       [&](const Measure &, const Measure &out) {
         EXPECT_GT(out.maximum, kBright + 20.0f / 1023);
       }},
      {"neighbourhood clips keep within the local range", &rampBars,
       [&](auto &s) {
         hard(s);
         s.isSharpLimit = 1;
         s.sharpLimitType = 1;
         s.sharpLimit[0] = s.sharpLimit[1] = 0;
       },
       true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_LT(out.maximum, kBright + 1e-4f);
         EXPECT_GT(out.minimum, kDark - 1e-4f);
         EXPECT_GT(out.energy, 1.1f * in.energy);  // the ramps still steepen
       }},
      {"the chroma curve softens saturated edges", &colourBars, [](auto &) {}, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_GT(out.energy, 1.1f * in.energy);
         EXPECT_LT(out.energy - in.energy, 0.9f * (greyOut.energy - greyIn.energy));
       }},
      {"... only while on", &colourBars, [](auto &s) { s.isCa = 0; }, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_NEAR(out.energy - in.energy, greyOut.energy - greyIn.energy,
                     0.02f * (greyOut.energy - greyIn.energy));
       }},
      {"skin gets its softer settings", &skinBars, [](auto &s) { s.isCa = 0; }, true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_GT(out.energy, 1.05f * in.energy);
         EXPECT_LT(out.energy - in.energy, 0.8f * (greyOut.energy - greyIn.energy));
       }},
      {"... unless skin processing is off", &skinBars,
       [](auto &s) {
         s.isCa = 0;
         s.skinProcessEn = 0;
       },
       true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_NEAR(out.energy - in.energy, greyOut.energy - greyIn.energy,
                     0.02f * (greyOut.energy - greyIn.energy));
       }},
      {"linear-domain sharpening deepens the dark side", &greyBars,
       [](auto &s) { s.isYuvDomain = 0; }, true,
       [&](const Measure &, const Measure &out) {
         const float up = out.maximum - kBright, down = kDark - out.minimum;
         const float upRef = greyOut.maximum - kBright, downRef = kDark - greyOut.minimum;
         EXPECT_LT(up / down, 0.8f * upRef / downRef);
       }},
      {"the contrast curve maps the luma", &greyBars,
       [](auto &s) {
         s.strength = 0;
         s.isDci = 1;
         for (int i = 0; i < 65; ++i) s.dciCurve[i] = static_cast<uint16_t>(std::min(i * 20, 1023));
       },
       true,
       [&](const Measure &in, const Measure &out) {
         EXPECT_NEAR(out.mean, 1.25f * in.mean, 0.005f);
         EXPECT_NEAR(out.energy, 1.25f * 1.25f * in.energy, 0.02f * in.energy);
       }},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabaseEdgeEnhance_3 state = defaults();
    c.set(state);
    RgbImage out;
    ASSERT_EQ(stageEdgeEnhance_3(*c.input, state, FrameContext{}, out), c.changes);
    if (c.changes) c.check(measure(*c.input), measure(out));
  }
}

// A white bar with a purple fringe two pixels wide beside it, and the same purple far from it.
TEST(StageEdgeEnhance_3, PurpleFringesBesideBrightEdgesLoseTheirColour) {
  const Colour purple = {0.45f, 0.2f, 0.55f};
  const RgbImage scene = testing::makeRgb(kWidth, kHeight, [&](int x, int, int c) {
    if (x >= 40 && x < 48) return 0.98f;
    if ((x >= 48 && x < 50) || (x >= 80 && x < 82)) return purple[c];
    return 0.1f;
  });
  // Mean min(Cb, Cr) of columns x0 .. x0 + 1: how purple they are.
  const auto purpleness = [](const RgbImage &image, int x0) {
    float sum = 0;
    for (int y = 0; y < image.height; ++y)
      for (int x = x0; x < x0 + 2; ++x) {
        const float *p = image.pixel(x, y);
        sum += std::min((p[2] - luma(p)) * 0.564f, (p[0] - luma(p)) * 0.713f);
      }
    return sum / (2.0f * image.height);
  };
  TDatabaseEdgeEnhance_3 state = defaults();
  state.strength = 0;  // the removal alone
  state.isDePurple = 1;
  state.depfCompLumaDiff = 64, state.depfDetectLumaDiff = 128, state.depfDetectLumaTh = 768;
  state.depfDetectRange = 3, state.depfFixStrength = 128, state.depfSatStrength = 128;
  const uint16_t limits[4] = {32, 64, 96, 128};
  std::copy(limits, limits + 4, state.depfLimit);
  RgbImage out;
  ASSERT_TRUE(stageEdgeEnhance_3(scene, state, FrameContext{}, out));
  EXPECT_LT(purpleness(out, 48), 0.4f * purpleness(scene, 48));
  EXPECT_NEAR(purpleness(out, 80), purpleness(scene, 80), 1e-6f);  // no bright edge near
  // Beside a bar below the detection level the fringe stays.
  state.depfDetectLumaTh = 1010;
  ASSERT_TRUE(stageEdgeEnhance_3(scene, state, FrameContext{}, out));
  EXPECT_NEAR(purpleness(out, 48), purpleness(scene, 48), 1e-6f);
}

TEST(StageEdgeEnhance_3, FlatAreasAndHueStay) {
  const RgbImage flat = testing::makeRgb(64, 48, [](int, int, int c) { return 0.3f + 0.1f * c; });
  TDatabaseEdgeEnhance_3 state = defaults();
  state.strength = 255;
  RgbImage out;
  ASSERT_TRUE(stageEdgeEnhance_3(flat, state, FrameContext{}, out));
  for (size_t i = 0; i < out.data.size(); ++i) ASSERT_NEAR(out.data[i], flat.data[i], 1e-5f);
}

}  // namespace
}  // namespace tcamera
