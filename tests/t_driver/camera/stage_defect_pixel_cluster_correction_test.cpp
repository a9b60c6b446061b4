// Defect pixel correction: which defects each method set finds, what replaces them, and that
// the rest of the picture is left alone.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "sensor.h"
#include "stages.h"
#include "test_images.h"

namespace tcamera {
namespace {

using testing::makeMosaic;
using testing::noiseSource;

constexpr int kWidth = 96, kHeight = 64;
constexpr float kLevel = 200;  // the grey above black, codes of a 10-bit sensor
constexpr FrameContext kTenBit = {.frameNumber = 1, .bitDepth = 10};

struct Site {
  int x, y;
};

// RGGB: (even, even) red, (odd, even) Gr, (even, odd) Gb, (odd, odd) blue.
const Site kGreenDefects[] = {{31, 20}, {20, 31}, {51, 40}, {70, 41}};
const Site kRedBlueDefects[] = {{20, 20}, {41, 31}, {60, 20}, {61, 31}};
const Site kMildDefects[] = {{33, 50}, {30, 51}};  // green, 60 codes above the grey

// A grey with read noise, four hot (+800) and four dead (0) sites, and two mild hot ones.
Mosaic defectiveGrey() {
  auto noise = noiseSource(2, 11);
  Mosaic mosaic = makeMosaic(kWidth, kHeight, [&](int, int, Cfa) { return kLevel + noise(); });
  const auto set = [&](Site site, float level) { mosaic.at(site.x, site.y) = 64 + level; };
  set(kGreenDefects[0], kLevel + 800);
  set(kGreenDefects[1], kLevel + 800);
  set(kGreenDefects[2], 0);
  set(kGreenDefects[3], 0);
  set(kRedBlueDefects[0], kLevel + 800);
  set(kRedBlueDefects[1], kLevel + 800);
  set(kRedBlueDefects[2], 0);
  set(kRedBlueDefects[3], 0);
  for (const Site site : kMildDefects) set(site, kLevel + 60);
  return mosaic;
}

// The record as the block powers up: three method sets, for single defects, pairs and
// clusters, green stricter than red and blue.
std::unique_ptr<TDatabaseDefectPixelClusterCorrection> defaults() {
  auto state = std::make_unique<TDatabaseDefectPixelClusterCorrection>();
  std::memset(state.get(), 0, sizeof(*state));
  state->state = 1;
  state->bptOutMode = 4;
  state->outMode = 3;
  state->setUse = 0x07;
  const uint16_t methods[3] = {0x1d1d, 0x0707, 0x0101};
  std::copy(std::begin(methods), std::end(methods), state->methodsSet);
  const uint8_t lineMadFac[3] = {4, 3, 2}, lineThresh[3] = {8, 16, 24}, pgFac[3] = {8, 6, 4},
                rgFac[3] = {32, 24, 16}, rndOffs[3] = {3, 2, 1}, roLimits[3] = {1, 2, 3};
  const uint8_t rndThresh[2][3] = {{10, 8, 6}, {12, 10, 8}};
  for (int plane = 0; plane < 2; ++plane)
    for (int set = 0; set < 3; ++set) {
      state->lineMadFac[plane][set] = lineMadFac[set];
      state->lineThresh[plane][set] = lineThresh[set];
      state->pgFac[plane][set] = pgFac[set];
      state->rgFac[plane][set] = rgFac[set];
      state->rndOffs[plane][set] = rndOffs[set];
      state->rndThresh[plane][set] = rndThresh[plane][set];
      state->roLimits[plane][set] = roLimits[set];
    }
  return state;
}

// Whether a defect is gone: within 8 codes (4 read-noise deviations) of the grey.
bool corrected(const Mosaic &out, Site site) {
  return std::fabs(out.at(site.x, site.y) - 64 - kLevel) < 8;
}

TEST(DefectPixelCorrection, MethodSetsFindTheDefectsTheirThresholdsAllow) {
  const Mosaic grey = defectiveGrey();
  const struct {
    const char *name;
    void (*edit)(TDatabaseDefectPixelClusterCorrection &);
    bool changes, green, redBlue, mild;  // which defects are corrected
  } kCases[] = {
      {"defaults", [](TDatabaseDefectPixelClusterCorrection &) {}, true, true, true, true},
      {"bypassed", [](TDatabaseDefectPixelClusterCorrection &s) { s.state = 0; }, false, false,
       false, false},
      {"no set in use", [](TDatabaseDefectPixelClusterCorrection &s) { s.setUse = 0; }, false,
       false, false, false},
      {"green methods off",
       [](TDatabaseDefectPixelClusterCorrection &s) {
         for (uint16_t &methods : s.methodsSet) methods &= 0xff00;
       },
       true, false, true, false},
      {"red and blue methods off",
       [](TDatabaseDefectPixelClusterCorrection &s) {
         for (uint16_t &methods : s.methodsSet) methods &= 0x00ff;
       },
       true, true, false, true},
      // The peak of a hot site is some 250 times the spread of the noise around it, of a dead
      // one some 60 times, of a mild one some 15 times.
      {"peak factors above the mild defects",
       [](TDatabaseDefectPixelClusterCorrection &s) { std::memset(s.pgFac, 30, sizeof s.pgFac); },
       true, true, true, false},
      {"single-defect set alone", [](TDatabaseDefectPixelClusterCorrection &s) { s.setUse = 1; },
       true, true, true, true},
      {"single-defect set, noise allowance above the mild defects",
       [](TDatabaseDefectPixelClusterCorrection &s) {
         s.setUse = 1;
         s.rndOffs[0][0] = s.rndOffs[1][0] = 10;
       },
       true, true, true, false},
      {"single-defect set, rank threshold above the mild defects",
       [](TDatabaseDefectPixelClusterCorrection &s) {
         s.setUse = 1;
         s.rndThresh[0][0] = s.rndThresh[1][0] = 255;
       },
       true, true, true, false},
      {"pair set alone, line threshold above the mild defects",
       [](TDatabaseDefectPixelClusterCorrection &s) {
         s.setUse = 2;
         s.lineThresh[0][1] = s.lineThresh[1][1] = 255;
       },
       true, true, true, false},
  };
  for (const auto &c : kCases) {
    auto state = defaults();
    c.edit(*state);
    Mosaic out;
    const bool changed = stageDefectPixelClusterCorrection(grey, *state, kTenBit, out);
    EXPECT_EQ(changed, c.changes) << c.name;
    if (!changed) out = grey;
    for (const Site site : kGreenDefects) EXPECT_EQ(corrected(out, site), c.green) << c.name;
    for (const Site site : kRedBlueDefects) EXPECT_EQ(corrected(out, site), c.redBlue) << c.name;
    for (const Site site : kMildDefects) EXPECT_EQ(corrected(out, site), c.mild) << c.name;
    // The noise of the grey is not mistaken for defects.
    int touched = 0;
    for (size_t i = 0; i < grey.data.size(); ++i)
      touched += out.data[i] != grey.data[i] && std::fabs(grey.data[i] - 64 - kLevel) < 20;
    EXPECT_LT(touched, static_cast<int>(grey.data.size() / 500)) << c.name;
  }
}

TEST(DefectPixelCorrection, RankLimitLetsAPairOfDefectsBeFound) {
  // Two hot red sites two apart: each is the other's neighbour.
  auto noise = noiseSource(2, 5);
  Mosaic pair = makeMosaic(kWidth, kHeight, [&](int, int, Cfa) { return kLevel + noise(); });
  pair.at(40, 30) = pair.at(42, 30) = 64 + kLevel + 800;
  for (const int limit : {1, 2}) {
    auto state = defaults();
    state->setUse = 1;
    state->methodsSet[0] = 0x0c0c;  // rank order and rank difference only
    state->roLimits[0][0] = state->roLimits[1][0] = static_cast<uint8_t>(limit);
    Mosaic out;
    ASSERT_TRUE(stageDefectPixelClusterCorrection(pair, *state, kTenBit, out));
    EXPECT_EQ(corrected(out, {40, 30}), limit == 2) << limit;
    EXPECT_EQ(corrected(out, {42, 30}), limit == 2) << limit;
  }
}

TEST(DefectPixelCorrection, ReplacementFollowsTheOutputMode) {
  // A hot green site beside a small vertical step (200 | 260 from column 49 on); the
  // site's own side reads 200.
  auto noise = noiseSource(0.5f, 3);
  Mosaic step = makeMosaic(kWidth, kHeight,
                           [&](int x, int, Cfa) { return (x >= 49 ? 260.0f : kLevel) + noise(); });
  const Site hot = {47, 30};  // a Gr site
  step.at(hot.x, hot.y) = 64 + 1000;
  const struct {
    int mode;
    float expected;  // above black
  } kCases[] = {
      {0, 230},  // horizontal pair straddles the step
      {1, 200},  // vertical pair
      {2, 215},  // four nearest
      {3, 200},  // smoothest line runs along the step
      {4, 200},  // median of eight: five of them on the site's side
  };
  for (const auto &c : kCases) {
    // Found by detection and replaced by outMode ...
    auto detecting = defaults();
    detecting->outMode = static_cast<uint8_t>(c.mode);
    Mosaic out;
    ASSERT_TRUE(stageDefectPixelClusterCorrection(step, *detecting, kTenBit, out));
    EXPECT_NEAR(out.at(hot.x, hot.y) - 64, c.expected, 2) << "outMode " << c.mode;
    // ... or listed in the bad-pixel table and replaced by bptOutMode.
    auto listing = defaults();
    listing->setUse = 0;
    listing->bptEnable = 1;
    listing->bptNum = 1;
    listing->bptPosX[0] = hot.x;
    listing->bptPosY[0] = hot.y;
    listing->bptOutMode = static_cast<uint8_t>(c.mode);
    ASSERT_TRUE(stageDefectPixelClusterCorrection(step, *listing, kTenBit, out));
    EXPECT_NEAR(out.at(hot.x, hot.y) - 64, c.expected, 2) << "bptOutMode " << c.mode;
  }
}

TEST(DefectPixelCorrection, BadPixelTableCorrectsOnlyTheEntriesInUse) {
  // A slightly warm site that detection leaves (10 codes over the grey), listed in the table.
  auto noise = noiseSource(2, 9);
  Mosaic grey = makeMosaic(kWidth, kHeight, [&](int, int, Cfa) { return kLevel + noise(); });
  grey.at(50, 20) = 64 + kLevel + 10;
  grey.at(60, 30) = 64 + kLevel + 10;
  const struct {
    uint8_t enable;
    uint16_t entries;
    bool first, second;
  } kCases[] = {
      {0, 2, false, false}, {1, 0, false, false}, {1, 1, true, false}, {1, 2, true, true}};
  for (const auto &c : kCases) {
    auto state = defaults();
    state->setUse = 0;
    state->bptEnable = c.enable;
    state->bptNum = c.entries;
    state->bptPosX[0] = 50;
    state->bptPosY[0] = 20;
    state->bptPosX[1] = 60;
    state->bptPosY[1] = 30;
    Mosaic out;
    if (!stageDefectPixelClusterCorrection(grey, *state, kTenBit, out)) out = grey;
    EXPECT_EQ(std::fabs(out.at(50, 20) - 64 - kLevel) < 6, c.first) << c.enable << c.entries;
    EXPECT_EQ(std::fabs(out.at(60, 30) - 64 - kLevel) < 6, c.second) << c.enable << c.entries;
  }
}

TEST(DefectPixelCorrection, RemovesTheSensorsHotSitesAndLeavesTheChart) {
  const struct {
    int bitDepth;
    unsigned bayerOrder;
  } kCases[] = {{10, 0}, {10, 3}, {12, 1}, {12, 2}};
  for (const auto &c : kCases) {
    SensorSettings settings;
    settings.width = 160;
    settings.height = 120;
    settings.bitDepth = c.bitDepth;
    settings.bayerOrder = c.bayerOrder;
    const FrameContext context = {.frameNumber = 3, .bitDepth = c.bitDepth};
    TDatabaseBlackLevelSubtraction black{};
    black.state = 1;
    Mosaic raw, clean, out;
    ASSERT_TRUE(stageBlackLevelSubtraction(captureSensor(settings, 3), black, context, raw));
    settings.defects = false;  // the same frame without them, as the scene really is
    ASSERT_TRUE(stageBlackLevelSubtraction(captureSensor(settings, 3), black, context, clean));
    ASSERT_TRUE(stageDefectPixelClusterCorrection(raw, *defaults(), context, out));

    const float range = raw.whiteLevel;
    int hot = 0;
    std::vector<bool> defective(raw.data.size());
    for (const SensorDefect defect : sensorDefects(settings.width, settings.height)) {
      defective[static_cast<size_t>(defect.y) * raw.width + defect.x] = true;
      // Dead sites on dark parts of the chart are as dark as their neighbours allow; hot
      // ones stand out everywhere but in the lamps.
      if (!defect.hot) continue;
      ++hot;
      EXPECT_LT(std::fabs(out.at(defect.x, defect.y) - clean.at(defect.x, defect.y)), 0.03f * range)
          << c.bitDepth << " bits, order " << c.bayerOrder << ", site " << defect.x << ","
          << defect.y;
    }
    EXPECT_GT(hot, 0);
    int touched = 0;
    for (size_t i = 0; i < raw.data.size(); ++i)
      touched += !defective[i] && out.data[i] != raw.data[i];
    EXPECT_LT(touched, static_cast<int>(raw.data.size() / 1000))
        << c.bitDepth << " bits, order " << c.bayerOrder;
  }
}

}  // namespace
}  // namespace tcamera
