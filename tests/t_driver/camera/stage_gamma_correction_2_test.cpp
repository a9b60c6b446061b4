#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database_records/gamma_correction_2.h"
#include "test_images.h"

namespace tcamera {
namespace {

// The curve a display expects, 1/2.2, at the fixed input levels.
TDatabaseGammaCorrection_2 displayCurve() {
  TDatabaseGammaCorrection_2 state{};
  state.state = 1;
  for (int i = 0; i < 64; ++i) {
    state.curvePx[i] = static_cast<uint32_t>(i * 65);
    state.curve[i] =
        static_cast<uint16_t>(std::lround(1023.0 * std::pow(i * 65 / 4095.0, 1 / 2.2)));
  }
  state.standardVal = 2.2f;
  return state;
}

// A horizontal ramp of linear greys 0..1 over 160 columns.
RgbImage ramp() {
  return testing::makeRgb(160, 8, [](int x, int, int) { return x / 159.0f; });
}

float outputAt(const RgbImage &image, float level) {
  const int x = static_cast<int>(std::lround(level * 159));
  return image.pixel(x, 4)[1];
}

TEST(StageGammaCorrection_2, CurveSettingsShapeTheMidGreys) {
  const float kDisplayMid = std::pow(40 / 159.0f, 1 / 2.2f);  // linear 0.25 at 1/2.2
  const struct Case {
    const char *name;
    std::function<void(TDatabaseGammaCorrection_2 &)> set;
    bool changes;
    float midLow, midHigh;  // output of linear 0.25 (column 40)
  } kCases[] = {
      {"bypassed leaves linear light", [](auto &s) { s.state = 0; }, false, 0, 0},
      {"display curve lifts mid-greys", [](auto &) {}, true, kDisplayMid - 0.01f,
       kDisplayMid + 0.01f},
      {"standard exponent 1 keeps linear light",
       [](auto &s) {
         s.isStandard = 1;
         s.standardVal = 1.0f;
       },
       true, 40 / 159.0f - 0.002f, 40 / 159.0f + 0.002f},
      {"a larger standard exponent lifts more",
       [](auto &s) {
         s.isStandard = 1;
         s.standardVal = 3.0f;
       },
       true, kDisplayMid + 0.05f, 1.0f},
      {"halved curve points darken mid-greys",
       [](auto &s) {
         for (auto &level : s.curve) level = static_cast<uint16_t>(level / 2);
       },
       true, kDisplayMid / 2 - 0.01f, kDisplayMid / 2 + 0.01f},
      {"an all-zero curve falls back to the standard exponent",
       [](auto &s) {
         for (auto &level : s.curve) level = 0;
         s.standardVal = 2.2f;
       },
       true, kDisplayMid - 0.01f, kDisplayMid + 0.01f},
      {"user input levels squeeze the curve into the lower half",
       [](auto &s) {
         s.isUserCurveX = 1;
         for (int i = 0; i < 64; ++i) s.curvePx[i] = static_cast<uint32_t>(i * 65 / 2);
       },
       true, std::pow(0.5f, 1 / 2.2f) - 0.02f, std::pow(0.5f, 1 / 2.2f) + 0.02f},
      {"user input levels are ignored unless selected",
       [](auto &s) {
         for (int i = 0; i < 64; ++i) s.curvePx[i] = static_cast<uint32_t>(i * 65 / 2);
       },
       true, kDisplayMid - 0.01f, kDisplayMid + 0.01f},
  };
  const RgbImage in = ramp();
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabaseGammaCorrection_2 state = displayCurve();
    c.set(state);
    RgbImage out;
    ASSERT_EQ(stageGammaCorrection_2(in, state, FrameContext{}, out), c.changes);
    if (!c.changes) continue;
    EXPECT_TRUE(out.encoded);
    const float mid = outputAt(out, 40 / 159.0f);
    EXPECT_GE(mid, c.midLow);
    EXPECT_LE(mid, c.midHigh);
    // Every curve here rises: the ramp stays in order, black stays black.
    for (int x = 1; x < 160; ++x) EXPECT_GE(out.pixel(x, 4)[0], out.pixel(x - 1, 4)[0]) << x;
    EXPECT_LT(out.pixel(0, 0)[2], 0.001f);
  }
}

TEST(StageGammaCorrection_2, LevelsAboveFullScaleClip) {
  const RgbImage in = testing::makeRgb(64, 48, [](int x, int, int) { return 1.0f + x; });
  RgbImage out;
  ASSERT_TRUE(stageGammaCorrection_2(in, displayCurve(), FrameContext{}, out));
  for (float value : out.data) ASSERT_NEAR(value, 1.0f, 1e-6f);
}

}  // namespace
}  // namespace tcamera
