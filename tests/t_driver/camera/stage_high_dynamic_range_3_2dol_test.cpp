#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 96, kHeight = 48;
constexpr float kFullScale = 959;  // codes above black of the 10-bit test sensor
constexpr float kRatio = 16;

TDatabaseHighDynamicRange_3_2Dol defaults() {
  return testing::builtInRecord<TDatabaseHighDynamicRange_3_2Dol>("HDR_3_2DOL");
}

// Scene radiance in units of the long exposure's full scale: 0 at the left edge, 8 at the
// right, so the right seven eighths clip in the long frame.
float radiance(int x) {
  return 8.0f * x / (kWidth - 1);
}

// A two-exposure frame: the long exposure sees scene(x, y) x full scale, the short one a
// sixteenth of it (times shortScale, for a short frame that disagrees), both clipped; the short
// frame carries noise of the given deviation.
Mosaic twoExposures(const std::function<float(int, int, Cfa)> &scene, float shortScale = 1,
                    float shortNoise = 0) {
  Mosaic m = testing::makeMosaic(kWidth, kHeight, [&](int x, int y, Cfa c) {
    return std::min(scene(x, y, c), 1.0f) * kFullScale;
  });
  auto noise = testing::noiseSource(shortNoise, 3);
  m.shortData.resize(m.data.size());
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const float v = scene(x, y, m.colourAt(x, y)) * shortScale / kRatio * kFullScale + noise();
      m.shortData[static_cast<size_t>(y) * kWidth + x] = 64 + std::clamp(v, 0.0f, kFullScale);
    }
  m.exposureRatio = kRatio;
  return m;
}

Mosaic merge(const Mosaic &in, const TDatabaseHighDynamicRange_3_2Dol &state) {
  Mosaic out;
  EXPECT_TRUE(stageHighDynamicRange_3_2Dol(in, state, FrameContext{}, out));
  EXPECT_TRUE(out.shortData.empty());
  return out;
}

// Mean of (value above black) / expected over a column range, and the spread of the values.
float meanOver(const Mosaic &m, int x0, int x1, int y0, int y1) {
  double sum = 0;
  int n = 0;
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x, ++n) sum += m.at(x, y) - m.blackLevel;
  return static_cast<float>(sum / n);
}

float varianceOver(const Mosaic &m, int x0, int x1, int y0, int y1) {
  const float mean = meanOver(m, x0, x1, y0, y1);
  double sum = 0;
  int n = 0;
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x, ++n)
      sum += (m.at(x, y) - m.blackLevel - mean) * (m.at(x, y) - m.blackLevel - mean);
  return static_cast<float>(sum / n);
}

// Largest relative error of the merged frame against the scene, over columns [x0, x1).
float rangeError(const Mosaic &m, int x0, int x1, float expectedScale = 1) {
  float worst = 0;
  for (int y = 0; y < kHeight; ++y)
    for (int x = x0; x < x1; ++x) {
      const float expected = radiance(x) * kFullScale * expectedScale;
      worst = std::max(worst, std::fabs(m.at(x, y) - m.blackLevel - expected) / expected);
    }
  return worst;
}

TEST(StageHighDynamicRange32Dol, MergeRecoversHighlightsTheLongFrameClips) {
  const auto ramp = [](int x, int, Cfa) { return radiance(x); };
  const int firstClipped = kWidth / 8 + 2;
  const struct Case {
    const char *name;
    std::function<void(TDatabaseHighDynamicRange_3_2Dol &)> set;
    float expectedScale;  // of the recovered highlights, relative to the scene
    float whiteGain;      // of the output's range over the sensor's
  } kCases[] = {
      {"defaults: 16:1 with four more bits", [](auto &) {}, 1, 16},
      {"ratio 8 brings the short frame up only half as far", [](auto &s) { s.ratio[0] = 8; }, 0.5f,
       16},
      {"a long-frame shift doubles both frames", [](auto &s) { s.extendBit[0] = 1; }, 2, 16},
  };
  for (const auto &c : kCases) {
    TDatabaseHighDynamicRange_3_2Dol state = defaults();
    state.deGhostLs.isEnable = 0;
    c.set(state);
    const Mosaic out = merge(twoExposures(ramp), state);
    EXPECT_NEAR(out.whiteLevel - out.blackLevel, kFullScale * c.whiteGain, 0.5f) << c.name;
    EXPECT_LT(rangeError(out, firstClipped, kWidth, c.expectedScale), 0.02f) << c.name;
  }
  // Fewer extension bits clip the merged frame lower.
  TDatabaseHighDynamicRange_3_2Dol state = defaults();
  state.extendBit[1] = 2;
  const Mosaic out = merge(twoExposures(ramp), state);
  EXPECT_NEAR(out.whiteLevel - out.blackLevel, 4 * kFullScale, 0.5f);
  EXPECT_NEAR(meanOver(out, kWidth - 8, kWidth, 0, kHeight), 4 * kFullScale, 1);
  EXPECT_LT(rangeError(out, firstClipped, kWidth / 2 - 2), 0.02f);
}

TEST(StageHighDynamicRange32Dol, BypassAndLinearFramesPassAFrameOn) {
  const auto ramp = [](int x, int, Cfa) { return radiance(x); };
  const Mosaic in = twoExposures(ramp);
  TDatabaseHighDynamicRange_3_2Dol state = defaults();
  state.state = 0;
  for (const uint16_t select : {0, 1}) {
    state.bypassSelect = select;
    const Mosaic out = merge(in, state);
    EXPECT_EQ(out.whiteLevel, in.whiteLevel);
    EXPECT_EQ(out.data, select ? in.shortData : in.data) << select;
  }
  Mosaic linear = in;
  linear.shortData.clear();
  Mosaic out;
  EXPECT_FALSE(stageHighDynamicRange_3_2Dol(linear, defaults(), FrameContext{}, out));
}

TEST(StageHighDynamicRange32Dol, TransitionWeightsAndDeGhostingChooseTheFrame) {
  // Which frame a region comes from shows in its noise (only the short frame is noisy) or in
  // its level (a short frame that disagrees with the long one by 30%).
  // Grey at a level of the long frame's full scale, or red at that level with green and blue
  // at a third of it.
  const auto scene = [](float level, bool red) {
    return [=](int, int, Cfa c) { return red && c != Cfa::kRed ? level / 3 : level; };
  };
  using Measure = float (*)(const Mosaic &, float level);
  const Measure noiseOf = [](const Mosaic &m, float) {
    return varianceOver(m, 4, kWidth - 4, 4, kHeight - 4);
  };
  // Red sites only, relative to the long frame's level there.
  const Measure levelOf = [](const Mosaic &m, float level) {
    double sum = 0;
    int n = 0;
    for (int y = 4; y < kHeight - 4; y += 2)
      for (int x = 4; x < kWidth - 4; x += 2, ++n) sum += m.at(x, y) - m.blackLevel;
    return static_cast<float>(sum / n) / (level * kFullScale);
  };
  const struct Case {
    const char *name;
    float level;
    bool red;
    float shortScale, shortNoise;
    std::function<void(TDatabaseHighDynamicRange_3_2Dol &)> set;
    Measure measure;
    float lowest, highest;  // in units of the long frame's level (or of noise variance)
  } kCases[] = {
      {"dark areas take the long frame", 0.3f, false, 1, 2, [](auto &) {}, noiseOf, 0, 1},
      {"a transition starting at zero takes the short frame", 0.3f, false, 1, 2,
       [](auto &s) { s.transRange[0][0] = 0, s.transRange[0][1] = 0.01f; }, noiseOf, 500, 1e9f},
      {"mid transition blends both", 0.8f, false, 1.3f, 0,
       [](auto &s) { s.deGhostLs.isEnable = 0; }, levelOf, 1.1f, 1.2f},
      {"a red quad reads dark with the default weights", 0.9f, true, 1.3f, 0,
       [](auto &s) { s.deGhostLs.isEnable = 0; }, levelOf, 0.99f, 1.01f},
      {"colour weights on red alone read it bright", 0.9f, true, 1.3f, 0,
       [](auto &s) {
         s.deGhostLs.isEnable = 0;
         s.colorWeight[0] = 255, s.colorWeight[1] = 0, s.colorWeight[2] = 0;
       },
       levelOf, 1.29f, 1.31f},
      {"disagreeing frames lean on the long reference", 0.8f, false, 1.3f, 0, [](auto &) {},
       levelOf, 0.99f, 1.01f},
      {"... or on the short reference", 0.8f, false, 1.3f, 0, [](auto &s) { s.referenceFrame = 1; },
       levelOf, 1.29f, 1.31f},
      {"motion thresholds above the difference blend again", 0.8f, false, 1.3f, 0,
       [](auto &s) {
         s.deGhostLs.motionLowerThreshold = 1000, s.deGhostLs.motionUpperThreshold = 2000;
       },
       levelOf, 1.1f, 1.2f},
      {"a small motion weight hides the difference", 0.8f, false, 1.3f, 0,
       [](auto &s) { s.motionWeight[0] = 8; }, levelOf, 1.1f, 1.2f},
      {"dark thresholds above the level switch de-ghosting off", 0.8f, false, 1.3f, 0,
       [](auto &s) {
         s.deGhostLs.darkLowerThreshold = 2000, s.deGhostLs.darkUpperThreshold = 3000;
       },
       levelOf, 1.1f, 1.2f},
  };
  for (const auto &c : kCases) {
    TDatabaseHighDynamicRange_3_2Dol state = defaults();
    c.set(state);
    const Mosaic out =
        merge(twoExposures(scene(c.level, c.red), c.shortScale, c.shortNoise), state);
    const float v = c.measure(out, c.level);
    EXPECT_GE(v, c.lowest) << c.name;
    EXPECT_LE(v, c.highest) << c.name;
  }
}

}  // namespace
}  // namespace tcamera
