#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 64, kHeight = 48;
constexpr float kFullScale = 959;  // codes above black of the 10-bit test sensor

// The 4 x 4 layout of the RGB-IR sensor: infrared on every other site of every other row.
constexpr std::array<Cfa, 16> kRgbIr = {
    Cfa::kRed,       Cfa::kGreenRed, Cfa::kBlue,      Cfa::kGreenRed,  //
    Cfa::kGreenBlue, Cfa::kInfrared, Cfa::kGreenBlue, Cfa::kInfrared,  //
    Cfa::kBlue,      Cfa::kGreenRed, Cfa::kRed,       Cfa::kGreenRed,  //
    Cfa::kGreenBlue, Cfa::kInfrared, Cfa::kGreenBlue, Cfa::kInfrared,  //
};

TDatabaseRgbInfraredRadiation defaults() {
  return testing::builtInRecord<TDatabaseRgbInfraredRadiation>("RGBIR");
}

using Colour = std::array<float, 3>;
constexpr Colour kColour = {0.40f, 0.30f, 0.20f};  // of full scale

// A flat colour under light with an infrared part: colour sites see their colour plus the
// infrared, infrared sites the infrared alone.
Mosaic rgbIrFrame(float infrared, const Colour &colour = kColour) {
  Mosaic m = testing::makeMosaic(kWidth, kHeight, [](int, int, Cfa) { return 0.0f; });
  m.pattern = kRgbIr;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const Cfa c = m.colourAt(x, y);
      const float level = c == Cfa::kInfrared ? infrared
                          : c == Cfa::kRed    ? colour[0] + infrared
                          : c == Cfa::kBlue   ? colour[2] + infrared
                                              : colour[1] + infrared;
      m.at(x, y) = m.blackLevel + level * kFullScale;
    }
  return m;
}

// Mean of each colour of a Bayer mosaic, in full-scale units, away from the border.
Colour bayerMeans(const Mosaic &m) {
  Colour sum{};
  std::array<int, 3> n{};
  for (int y = 4; y < m.height - 4; ++y)
    for (int x = 4; x < m.width - 4; ++x) {
      const Cfa c = m.colourAt(x, y);
      EXPECT_NE(c, Cfa::kInfrared);
      const int channel = c == Cfa::kRed ? 0 : c == Cfa::kBlue ? 2 : 1;
      sum[channel] += (m.at(x, y) - m.blackLevel) / kFullScale;
      ++n[channel];
    }
  return {sum[0] / n[0], sum[1] / n[1], sum[2] / n[2]};
}

TEST(StageRgbInfraredRadiation, InfraredComesOffTheColoursAsTheRecordSays) {
  const float kInfrared = 0.2f;
  const Colour withIr = {kColour[0] + kInfrared, kColour[1] + kInfrared, kColour[2] + kInfrared};
  const struct Case {
    const char *name;
    std::function<void(TDatabaseRgbInfraredRadiation &)> set;
    Colour expected;
  } kCases[] = {
      {"defaults take the infrared off one to one", [](auto &) {}, kColour},
      {"half the infrared column takes half off",
       [](auto &s) { s.ccMatrix[3] = s.ccMatrix[7] = s.ccMatrix[11] = -0.5f; },
       {kColour[0] + 0.1f, kColour[1] + 0.1f, kColour[2] + 0.1f}},
      {"the colour columns mix channels",
       [](auto &s) { s.ccMatrix[0] = 0.5f, s.ccMatrix[1] = 0.5f; },
       {0.5f * (kColour[0] + kColour[1]) + kInfrared * 0.0f, kColour[1], kColour[2]}},
      {"an infrared threshold below the infrared fades the removal out",
       [](auto &s) { s.irThreshold = 100; }, withIr},
      {"a luma threshold below the green fades it out", [](auto &s) { s.lThreshold = 100; },
       withIr},
      {"an infrared black level 64 codes (12-bit) higher reads less infrared",
       [](auto &s) { s.bls[3] += 64; },
       // The channel offsets are relative to their mean: IR +48, colours -16 (12-bit codes).
       {kColour[0] + 64.0f / 4096 * 1024 / kFullScale,
        kColour[1] + 64.0f / 4096 * 1024 / kFullScale,
        kColour[2] + 64.0f / 4096 * 1024 / kFullScale}},
  };
  for (const auto &c : kCases) {
    TDatabaseRgbInfraredRadiation state = defaults();
    c.set(state);
    Mosaic out;
    ASSERT_TRUE(stageRgbInfraredRadiation(rgbIrFrame(kInfrared), state, FrameContext{}, out))
        << c.name;
    const Colour means = bayerMeans(out);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(means[i], c.expected[i], 0.004f) << c.name << " " << i;
  }
}

TEST(StageRgbInfraredRadiation, OutputFollowsTheBayerOrderAsked) {
  TDatabaseRgbInfraredRadiation state = defaults();
  for (uint16_t order = 0; order < 4; ++order) {
    state.outRgbPattern = order;
    Mosaic out;
    ASSERT_TRUE(stageRgbInfraredRadiation(rgbIrFrame(0.1f), state, FrameContext{}, out));
    EXPECT_EQ(out.pattern, bayerPattern(order));
    const Colour means = bayerMeans(out);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(means[i], kColour[i], 0.004f) << order << " " << i;
  }
}

TEST(StageRgbInfraredRadiation, DefectsAreReplacedBeforeTheyReachTheNeighbours) {
  // A hot infrared site would take its infrared off every colour site around it.
  Mosaic in = rgbIrFrame(0.1f);
  in.at(21, 21) = in.whiteLevel;  // an infrared site
  ASSERT_EQ(in.colourAt(21, 21), Cfa::kInfrared);
  const auto darkest = [](const Mosaic &m) {
    float lo = 1e9f;
    for (int y = 18; y < 25; ++y)
      for (int x = 18; x < 25; ++x) {
        if (m.colourAt(x, y) == Cfa::kBlue)
          lo = std::min(lo, (m.at(x, y) - m.blackLevel) / kFullScale);
      }
    return lo;
  };
  TDatabaseRgbInfraredRadiation state = defaults();
  Mosaic corrected, uncorrected;
  ASSERT_TRUE(stageRgbInfraredRadiation(in, state, FrameContext{}, corrected));
  for (auto *th : {state.dpccTh, state.dpccMidTh})
    for (int c = 0; c < 4; ++c) th[c] = 65535;
  ASSERT_TRUE(stageRgbInfraredRadiation(in, state, FrameContext{}, uncorrected));
  EXPECT_NEAR(darkest(corrected), kColour[2], 0.01f);
  EXPECT_LT(darkest(uncorrected), kColour[2] - 0.1f);
}

TEST(StageRgbInfraredRadiation, BayerFramesAndBypassPassThrough) {
  Mosaic out;
  TDatabaseRgbInfraredRadiation state = defaults();
  const Mosaic bayer = testing::makeMosaic(kWidth, kHeight, [](int, int, Cfa) { return 300.0f; });
  EXPECT_FALSE(stageRgbInfraredRadiation(bayer, state, FrameContext{}, out));
  state.state = 0;
  EXPECT_FALSE(stageRgbInfraredRadiation(rgbIrFrame(0.1f), state, FrameContext{}, out));
}

}  // namespace
}  // namespace tcamera
