// The per-channel stages on the mosaic: black level, lens shading, green balance, the gains
// and the expansion of companded data.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
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
constexpr FrameContext kTenBit = {.frameNumber = 1, .bitDepth = 10};

// Mean of the sites of one colour inside [x0, x1) x [y0, y1) of data.
double meanOf(const Mosaic &shape, const std::vector<float> &data, Cfa colour, int x0, int y0,
              int x1, int y1) {
  double sum = 0;
  int count = 0;
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x)
      if (shape.colourAt(x, y) == colour) {
        sum += data[static_cast<size_t>(y) * shape.width + x];
        ++count;
      }
  return count ? sum / count : 0;
}

double meanOf(const Mosaic &mosaic, Cfa colour) {
  return meanOf(mosaic, mosaic.data, colour, 0, 0, mosaic.width, mosaic.height);
}

// A stage's result, or its input when it reports that it left the picture alone.
template <typename State, typename Stage>
Mosaic run(Stage stage, const Mosaic &in, const State &state, bool *changed = nullptr,
           const FrameContext &context = kTenBit) {
  Mosaic out;
  const bool wrote = stage(in, state, context, out);
  if (changed) *changed = wrote;
  return wrote ? out : in;
}

constexpr Cfa kColours[] = {Cfa::kRed, Cfa::kGreenRed, Cfa::kGreenBlue, Cfa::kBlue};

struct Site {
  int x, y;
};

// --- BLS

TEST(BlackLevelSubtraction, RemovesThePedestalOfEachChannel) {
  // A dark patch 10 codes above the 10-bit pedestal of 64, in both exposures.
  Mosaic dark = makeMosaic(kWidth, kHeight, [](int, int, Cfa) { return 10.0f; });
  dark.shortData = dark.data;
  const struct {
    const char *name;
    uint32_t state;
    uint8_t override;
    uint32_t data[4];    // 12-bit scale
    double expected[4];  // R, Gr, Gb, B after the stage, codes
    double expectedWhite;
  } kCases[] = {
      {"bypassed", 0, 0, {0, 0, 0, 0}, {74, 74, 74, 74}, 1023},
      {"sensor calibration", 1, 0, {0, 0, 0, 0}, {10, 10, 10, 10}, 959},
      {"override at the pedestal", 1, 1, {256, 256, 256, 256}, {10, 10, 10, 10}, 959},
      {"override too low leaves black lifted", 1, 1, {128, 128, 128, 128}, {42, 42, 42, 42}, 991},
      {"override per channel", 1, 1, {512, 256, 216, 256}, {0, 10, 20, 10}, 969},
  };
  for (const auto &c : kCases) {
    TDatabaseBlackLevelSubtraction state{};
    state.state = c.state;
    state.isOverrideCalibration = c.override;
    std::copy(std::begin(c.data), std::end(c.data), state.data);
    const Mosaic out = run(stageBlackLevelSubtraction, dark, state);
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(meanOf(out, out.data, kColours[i], 0, 0, kWidth, kHeight), c.expected[i], 0.01)
          << c.name << " channel " << i;
      EXPECT_NEAR(meanOf(out, out.shortData, kColours[i], 0, 0, kWidth, kHeight), c.expected[i],
                  0.01)
          << c.name << " short exposure, channel " << i;
    }
    EXPECT_EQ(out.blackLevel, c.state ? 0 : 64) << c.name;
    EXPECT_NEAR(out.whiteLevel, c.expectedWhite, 0.01) << c.name;
  }
}

TEST(BlackLevelSubtraction, TwelveBitSensorTakesTheLevelsAsTheyAre) {
  Mosaic dark = makeMosaic(kWidth, kHeight, [](int, int, Cfa) { return 0.0f; });
  for (float &v : dark.data) v = 256 + 40;  // 12-bit sensor: pedestal 256
  dark.blackLevel = 256;
  dark.whiteLevel = 4095;
  TDatabaseBlackLevelSubtraction state{};
  state.state = 1;
  state.isOverrideCalibration = 1;
  std::fill(std::begin(state.data), std::end(state.data), 256u);
  const Mosaic out = run(stageBlackLevelSubtraction, dark, state, nullptr,
                         FrameContext{.frameNumber = 1, .bitDepth = 12});
  EXPECT_NEAR(meanOf(out, Cfa::kGreenRed), 40, 0.01);
  EXPECT_NEAR(out.whiteLevel, 4095 - 256, 0.01);
}

// --- DG and WB_1_1: per-channel gains on the signal above black

struct GainCase {
  const char *name;
  uint32_t state;
  float gains[4];      // R, Gr, Gb, B
  double expected[4];  // signal above black after the stage, codes
  bool changes;
};

// A grey at 200 codes above the pedestal, bright enough that a gain of 8 clips it.
const GainCase kGainCases[] = {
    {"bypassed", 0, {2, 2, 2, 2}, {200, 200, 200, 200}, false},
    {"unity", 1, {1, 1, 1, 1}, {200, 200, 200, 200}, false},
    {"red doubled", 1, {2, 1, 1, 1}, {400, 200, 200, 200}, true},
    {"blue raised, greens split", 1, {1, 0.5f, 1.25f, 1.5f}, {200, 100, 250, 300}, true},
    {"clips at white", 1, {8, 1, 1, 1}, {1023 - 64, 200, 200, 200}, true},
};

// Digital gain and white balance apply one multiplier per channel, to the short exposure as
// to the long one.
TEST(GainStages, ScaleEachChannelAboveBlackInBothExposures) {
  Mosaic grey = makeMosaic(kWidth, kHeight, [](int, int, Cfa) { return 200.0f; });
  grey.shortData = grey.data;
  const std::function<bool(const Mosaic &, const GainCase &, Mosaic &)> kStages[] = {
      [](const Mosaic &in, const GainCase &c, Mosaic &out) {
        TDatabaseDigitalGain state{};
        state.state = c.state;
        state.r = c.gains[0];
        state.gr = c.gains[1];
        state.gb = c.gains[2];
        state.b = c.gains[3];
        return stageDigitalGain(in, state, kTenBit, out);
      },
      [](const Mosaic &in, const GainCase &c, Mosaic &out) {
        TDatabaseWhiteBalance_1_1 state{};
        state.state = c.state;
        std::copy(std::begin(c.gains), std::end(c.gains), state.gain);
        return stageWhiteBalance_1_1(in, state, kTenBit, out);
      }};
  for (size_t stage = 0; stage < std::size(kStages); ++stage) {
    for (const auto &c : kGainCases) {
      Mosaic written;
      const bool changed = kStages[stage](grey, c, written);
      EXPECT_EQ(changed, c.changes) << c.name << " stage " << stage;
      const Mosaic &out = changed ? written : grey;
      for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(meanOf(out, kColours[i]) - out.blackLevel, c.expected[i], 0.01)
            << c.name << " stage " << stage << " channel " << i;
        EXPECT_NEAR(meanOf(out, out.shortData, kColours[i], 0, 0, kWidth, kHeight) - out.blackLevel,
                    c.expected[i], 0.01)
            << c.name << " stage " << stage << " short exposure, channel " << i;
      }
    }
  }
}

// --- GE

TEST(GreenEquilibration, EvensOutGreensWithinTheThreshold) {
  auto noise = noiseSource(1, 7);
  // Gb reads 4 codes (16 on the 12-bit scale) above Gr; red and blue far from both.
  const Mosaic maze = makeMosaic(kWidth, kHeight, [&](int, int, Cfa colour) {
    const float base = colour == Cfa::kGreenBlue ? 204.0f : colour == Cfa::kRed ? 120.0f : 200.0f;
    return base + noise();
  });
  // Greens a real 200 codes apart (detail of the scene, not imbalance).
  const Mosaic detail = makeMosaic(kWidth, kHeight, [](int, int, Cfa colour) {
    return colour == Cfa::kGreenBlue ? 400.0f : 200.0f;
  });
  const struct {
    const char *name;
    uint32_t state;
    float threshold;  // 12-bit scale
    double largestImbalance, smallestImbalance;
    double detailKept;  // Gb - Gr of the detail image after the stage
  } kCases[] = {
      {"bypassed", 0, 32, 4.2, 3.8, 200},
      {"threshold above the imbalance", 1, 32, 0.3, 0, 200},
      {"threshold below the imbalance", 1, 8, 4.2, 3.5, 200},
      {"threshold above the detail", 1, 1000, 0.3, 0, 0},
  };
  for (const auto &c : kCases) {
    const TDatabaseGreenEquilibration state = {.state = c.state, .threshold = c.threshold};
    const Mosaic out = run(stageGreenEquilibration, maze, state);
    const double imbalance = std::fabs(meanOf(out, Cfa::kGreenBlue) - meanOf(out, Cfa::kGreenRed));
    EXPECT_LE(imbalance, c.largestImbalance) << c.name;
    EXPECT_GE(imbalance, c.smallestImbalance) << c.name;
    EXPECT_EQ(meanOf(out, Cfa::kRed), meanOf(maze, Cfa::kRed)) << c.name;
    const Mosaic detailOut = run(stageGreenEquilibration, detail, state);
    EXPECT_NEAR(meanOf(detailOut, Cfa::kGreenBlue) - meanOf(detailOut, Cfa::kGreenRed),
                c.detailKept, 0.5)
        << c.name;
  }
}

TEST(GreenEquilibration, BalancesTheSensorsCrosstalkOnAFlatField) {
  // The sensor's greens differ by 2% (about 6 codes, 25 on the 12-bit scale, in the middle of
  // this flat field) under shot and read noise.
  SensorSettings settings;
  settings.width = 160;
  settings.height = 120;
  settings.scene = SceneKind::kFlat;
  TDatabaseBlackLevelSubtraction black{};
  black.state = 1;
  Mosaic flat;
  ASSERT_TRUE(stageBlackLevelSubtraction(captureSensor(settings, 3), black, kTenBit, flat));
  const auto imbalance = [](const Mosaic &m) {
    const double gr = meanOf(m, m.data, Cfa::kGreenRed, 60, 40, 100, 80);
    const double gb = meanOf(m, m.data, Cfa::kGreenBlue, 60, 40, 100, 80);
    return std::fabs(gr - gb) / ((gr + gb) / 2);
  };
  const double before = imbalance(flat);
  EXPECT_GT(before, 0.015);
  const struct {
    float threshold;         // 12-bit scale
    double lowest, highest;  // imbalance after over before
  } kCases[] = {
      {8, 0.95, 1.0},  // below the crosstalk: left alone
      {32, 0.2, 0.7},  // about the crosstalk: where the noise lets it
      {64, 0.0, 0.2},  // above it: gone
  };
  for (const auto &c : kCases) {
    const TDatabaseGreenEquilibration state = {.state = 1, .threshold = c.threshold};
    const double after = imbalance(run(stageGreenEquilibration, flat, state)) / before;
    EXPECT_GE(after, c.lowest) << c.threshold;
    EXPECT_LE(after, c.highest) << c.threshold;
  }
}

// --- LSC_3

// A flat field behind a lens that loses 40% (red 50%) of the light towards the corners.
float vignetting(float x, float y, Cfa colour) {
  const float dx = (x - kWidth / 2.0f) / (kWidth / 2.0f);
  const float dy = (y - kHeight / 2.0f) / (kHeight / 2.0f);
  const float loss = colour == Cfa::kRed ? 0.5f : 0.4f;
  return 1 - loss * (dx * dx + dy * dy) / 2;
}

// Grid points of one side: cumulative sector sizes taken as proportions of the frame.
std::vector<float> nodes(const uint16_t *sizes, int count, float length) {
  float total = 0;
  for (int i = 0; i < count; ++i) total += sizes[i];
  std::vector<float> positions = {0};
  for (int i = 0; i < count; ++i) positions.push_back(positions.back() + sizes[i] / total * length);
  return positions;
}

// A calibration of the lens above for the given sectors, for the channels in calibrated.
std::unique_ptr<TDatabaseLensShadingCorrection_3> calibration(const uint16_t (&xSize)[32],
                                                              const uint16_t (&ySize)[16],
                                                              std::vector<Cfa> calibrated) {
  auto state = std::make_unique<TDatabaseLensShadingCorrection_3>();
  state->state = 1;
  std::copy(std::begin(xSize), std::end(xSize), state->xSize);
  std::copy(std::begin(ySize), std::end(ySize), state->ySize);
  const std::vector<float> xs = nodes(xSize, 32, kWidth);
  std::vector<float> ys = nodes(ySize, 16, kHeight / 2.0f);
  for (int i = 15; i >= 0; --i) ys.push_back(kHeight - ys[i]);
  for (int c = 0; c < 4; ++c)
    for (int j = 0; j < 33; ++j)
      for (int i = 0; i < 33; ++i) {
        const bool used =
            std::find(calibrated.begin(), calibrated.end(), kColours[c]) != calibrated.end();
        const float gain = used ? 1 / vignetting(xs[i], ys[j], kColours[c]) : 1.0f;
        state->matrix[c][j * 33 + i] = static_cast<uint16_t>(std::lround(gain * 1024));
      }
  return state;
}

// Mean of a channel in the top-left corner over its mean in the centre.
double cornerToCentre(const Mosaic &mosaic, Cfa colour) {
  return meanOf(mosaic, mosaic.data, colour, 0, 0, 8, 8) / meanOf(mosaic, mosaic.data, colour,
                                                                  kWidth / 2 - 4, kHeight / 2 - 4,
                                                                  kWidth / 2 + 4, kHeight / 2 + 4);
}

TEST(LensShadingCorrection, FlattensTheCornersOfAVignettedFlatField) {
  const Mosaic flat = makeMosaic(kWidth, kHeight, [](int x, int y, Cfa colour) {
    return 700 * vignetting(x + 0.5f, y + 0.5f, colour);
  });
  uint16_t even[32], evenRows[16], uneven[32];
  std::fill(std::begin(even), std::end(even), uint16_t{64});  // sized for a wider frame
  std::fill(std::begin(evenRows), std::end(evenRows), uint16_t{48});
  for (int i = 0; i < 32; ++i) uneven[i] = static_cast<uint16_t>(i < 16 ? 1 : 9);
  const std::vector<Cfa> all(std::begin(kColours), std::end(kColours));

  const struct {
    const char *name;
    std::unique_ptr<TDatabaseLensShadingCorrection_3> state;
    double redLow, redHigh, greenLow, greenHigh;  // corner over centre after the stage
  } kCases[] = {
      {"calibrated", calibration(even, evenRows, all), 0.98, 1.02, 0.98, 1.02},
      {"calibrated, uneven sectors", calibration(uneven, evenRows, all), 0.98, 1.02, 0.98, 1.02},
      {"red only", calibration(even, evenRows, {Cfa::kRed}), 0.98, 1.02, 0.6, 0.75},
  };
  EXPECT_LT(cornerToCentre(flat, Cfa::kRed), 0.65);
  for (const auto &c : kCases) {
    bool changed = false;
    const Mosaic out = run(stageLensShadingCorrection_3, flat, *c.state, &changed);
    EXPECT_TRUE(changed) << c.name;
    EXPECT_GE(cornerToCentre(out, Cfa::kRed), c.redLow) << c.name;
    EXPECT_LE(cornerToCentre(out, Cfa::kRed), c.redHigh) << c.name;
    EXPECT_GE(cornerToCentre(out, Cfa::kGreenBlue), c.greenLow) << c.name;
    EXPECT_LE(cornerToCentre(out, Cfa::kGreenBlue), c.greenHigh) << c.name;
  }

  // The grid of uneven sectors read with even ones puts the gains in the wrong places.
  auto misplaced = calibration(uneven, evenRows, all);
  std::copy(std::begin(even), std::end(even), misplaced->xSize);
  const Mosaic out = run(stageLensShadingCorrection_3, flat, *misplaced);
  EXPECT_GT(std::fabs(cornerToCentre(out, Cfa::kGreenRed) - 1), 0.05);

  // Bypassed, or a grid of unity gains, leaves the picture alone.
  auto bypassed = calibration(even, evenRows, all);
  bypassed->state = 0;
  auto unity = calibration(even, evenRows, {});
  for (const auto *state : {bypassed.get(), unity.get()}) {
    bool changed = true;
    run(stageLensShadingCorrection_3, flat, *state, &changed);
    EXPECT_FALSE(changed);
  }
}

TEST(LensShadingCorrection, AGridFromTheLensFallOffFlattensTheSensorsFlatField) {
  // The grid a calibration would give for this lens: the inverse of its fall-off at each grid
  // point, on the shipped sectors (sized for a larger frame, so taken as proportions).
  constexpr int kSensorWidth = 160, kSensorHeight = 120;
  auto state = std::make_unique<TDatabaseLensShadingCorrection_3>();
  state->state = 1;
  std::fill(std::begin(state->xSize), std::end(state->xSize), uint16_t{64});
  std::fill(std::begin(state->ySize), std::end(state->ySize), uint16_t{48});
  const double halfWidth = kSensorWidth / 2.0, halfHeight = kSensorHeight / 2.0;
  for (int c = 0; c < 4; ++c)
    for (int j = 0; j < 33; ++j)
      for (int i = 0; i < 33; ++i) {
        const double dx = i * kSensorWidth / 32.0 - halfWidth;
        const double dy = j * kSensorHeight / 32.0 - halfHeight;
        const double radius =
            std::sqrt((dx * dx + dy * dy) / (halfWidth * halfWidth + halfHeight * halfHeight));
        state->matrix[c][j * 33 + i] =
            static_cast<uint16_t>(std::lround(1024 / relativeIllumination(kColours[c], radius)));
      }

  for (const int bitDepth : {10, 12}) {
    SensorSettings settings;
    settings.width = kSensorWidth;
    settings.height = kSensorHeight;
    settings.bitDepth = bitDepth;
    settings.scene = SceneKind::kFlat;
    const FrameContext context = {.frameNumber = 2, .bitDepth = bitDepth};
    TDatabaseBlackLevelSubtraction black{};
    black.state = 1;
    Mosaic flat, out;
    ASSERT_TRUE(stageBlackLevelSubtraction(captureSensor(settings, 2), black, context, flat));
    ASSERT_TRUE(stageLensShadingCorrection_3(flat, *state, context, out));
    const auto cornersToCentre = [&](const Mosaic &m, Cfa colour) {
      const double centre = meanOf(m, m.data, colour, 72, 52, 88, 68);
      const double corners =
          meanOf(m, m.data, colour, 0, 0, 8, 8) + meanOf(m, m.data, colour, 152, 112, 160, 120);
      return corners / 2 / centre;
    };
    for (const Cfa colour : kColours) {
      EXPECT_LT(cornersToCentre(flat, colour), 0.7) << bitDepth << " " << int(colour);
      EXPECT_NEAR(cornersToCentre(out, colour), 1.0, 0.04) << bitDepth << " " << int(colour);
    }
  }
}

// --- CPD_1_1

// A sensor knee: linear levels up to 16380 (12-bit scale) compressed into 0 .. 4095.
constexpr uint32_t kKneeX[] = {0, 1024, 2048, 3072, 4095};
constexpr uint32_t kKneeY[] = {0, 1024, 4096, 8192, 16380};

float compress(float linear) {
  for (int i = 1; i < 5; ++i)
    if (linear <= kKneeY[i])
      return kKneeX[i - 1] + (linear - kKneeY[i - 1]) * (kKneeX[i] - kKneeX[i - 1]) /
                                 static_cast<float>(kKneeY[i] - kKneeY[i - 1]);
  return kKneeX[4];
}

TDatabaseCompand_1_1 kneeExpansion() {
  TDatabaseCompand_1_1 state{};
  state.state = 1;
  state.expandUseOutYCurve = 1;
  std::copy(std::begin(kKneeX), std::end(kKneeX), state.expandCurveX);
  std::copy(std::begin(kKneeY), std::end(kKneeY), state.expandCurveY);
  return state;  // the points after the fifth are 0: the curve ends there
}

TEST(Compand, ExpandsACompressedRampToLinear) {
  // A horizontal ramp of linear light, compressed by the sensor into a 10-bit mosaic
  // without pedestal (scale 4: 12-bit levels over 4).
  Mosaic ramp = makeMosaic(kWidth, kHeight, [](int x, int, Cfa) {
    return compress(16380.0f * x / (kWidth - 1)) / 4 - 64;
  });
  ramp.blackLevel = 0;
  ramp.whiteLevel = 4095 / 4.0f;

  TDatabaseCompand_1_1 identity{};
  identity.state = 1;
  identity.expandUseOutYCurve = 1;
  for (uint32_t i = 0; i < 64; ++i) identity.expandCurveX[i] = identity.expandCurveY[i] = i * 65;
  TDatabaseCompand_1_1 bypassed = kneeExpansion(), curveOff = kneeExpansion(),
                       withBlack = kneeExpansion();
  bypassed.state = 0;
  curveOff.expandUseOutYCurve = 0;
  withBlack.blsEnable = 1;
  std::fill(std::begin(withBlack.bls), std::end(withBlack.bls), 512u);

  const struct {
    const char *name;
    TDatabaseCompand_1_1 state;
    bool changes;
    bool linear;  // output proportional to the scene's light
  } kCases[] = {
      {"bypassed", bypassed, false, false},
      {"identity curve", identity, false, false},
      {"knee curve", kneeExpansion(), true, true},
      {"curve off", curveOff, false, false},
  };
  for (const auto &c : kCases) {
    bool changed = false;
    const Mosaic out = run(stageCompand_1_1, ramp, c.state, &changed);
    EXPECT_EQ(changed, c.changes) << c.name;
    // Largest departure from a straight line through 0 and the right end, over the ramp.
    const double end = out.at(kWidth - 1, 0);
    double worst = 0;
    for (int x = 8; x < kWidth; ++x)
      worst = std::max(worst, std::fabs(out.at(x, 0) / end - x / (kWidth - 1.0)));
    if (c.linear) {
      EXPECT_LT(worst, 0.005) << c.name;
      EXPECT_NEAR(out.whiteLevel, 16380 / 4.0, 4) << c.name;
    } else {
      EXPECT_GT(worst, 0.1) << c.name;
    }
  }

  // The black level comes off before the expansion: a level of 1536 on the 12-bit scale
  // expands to 2560 (second segment, slope 3); without its 512 of black to 1024.
  Mosaic flat = makeMosaic(kWidth, kHeight, [](int, int, Cfa) { return 1536 / 4.0f - 64; });
  flat.blackLevel = 0;
  flat.whiteLevel = 4095 / 4.0f;
  EXPECT_NEAR(meanOf(run(stageCompand_1_1, flat, kneeExpansion()), Cfa::kGreenRed), 2560 / 4.0,
              0.01);
  EXPECT_NEAR(meanOf(run(stageCompand_1_1, flat, withBlack), Cfa::kGreenRed), 1024 / 4.0, 0.01);
}

// --- All of them: the short exposure of a two-exposure frame

TEST(RawStages, TreatTheShortExposureLikeTheLongOne) {
  // A textured frame with a hot site, its short exposure a copy: every stage must leave the
  // two planes equal.
  auto noise = noiseSource(3, 21);
  Mosaic frame = makeMosaic(kWidth, kHeight, [&](int x, int y, Cfa colour) {
    return 150 + 40 * std::sin(x * 0.3f) * std::cos(y * 0.2f) + (colour == Cfa::kRed ? 30 : 0) +
           noise();
  });
  frame.at(30, 20) = 1000;
  frame.shortData = frame.data;

  TDatabaseBlackLevelSubtraction bls{};
  bls.state = 1;
  auto dpcc = std::make_unique<TDatabaseDefectPixelClusterCorrection>();
  dpcc->state = 1;
  dpcc->setUse = 1;
  dpcc->methodsSet[0] = 0x0101;
  dpcc->pgFac[0][0] = dpcc->pgFac[1][0] = 4;
  uint16_t even[32], evenRows[16];
  std::fill(std::begin(even), std::end(even), uint16_t{64});
  std::fill(std::begin(evenRows), std::end(evenRows), uint16_t{48});
  const auto lsc = calibration(even, evenRows, {Cfa::kRed, Cfa::kBlue});
  const TDatabaseGreenEquilibration ge = {.state = 1, .threshold = 64};
  const TDatabaseDigitalGain dg = {
      .state = 1, .b = 1.2f, .gb = 1, .gr = 1, .r = 0.8f, .isStatistics = 0};
  TDatabaseWhiteBalance_1_1 wb{};
  wb.state = 1;
  const float gains[4] = {1.6f, 1, 1, 1.3f};
  std::copy(std::begin(gains), std::end(gains), wb.gain);
  TDatabaseCompand_1_1 cpd = kneeExpansion();

  const struct {
    const char *name;
    std::function<bool(const Mosaic &, Mosaic &)> stage;
  } kStages[] = {
      {"BLS", [&](const Mosaic &in,
                  Mosaic &out) { return stageBlackLevelSubtraction(in, bls, kTenBit, out); }},
      {"DPCC",
       [&](const Mosaic &in, Mosaic &out) {
         return stageDefectPixelClusterCorrection(in, *dpcc, kTenBit, out);
       }},
      {"LSC_3", [&](const Mosaic &in,
                    Mosaic &out) { return stageLensShadingCorrection_3(in, *lsc, kTenBit, out); }},
      {"GE", [&](const Mosaic &in,
                 Mosaic &out) { return stageGreenEquilibration(in, ge, kTenBit, out); }},
      {"DG", [&](const Mosaic &in, Mosaic &out) { return stageDigitalGain(in, dg, kTenBit, out); }},
      {"WB_1_1",
       [&](const Mosaic &in, Mosaic &out) { return stageWhiteBalance_1_1(in, wb, kTenBit, out); }},
      {"CPD_1_1",
       [&](const Mosaic &in, Mosaic &out) { return stageCompand_1_1(in, cpd, kTenBit, out); }},
  };
  for (const auto &c : kStages) {
    Mosaic out;
    ASSERT_TRUE(c.stage(frame, out)) << c.name;
    EXPECT_NE(out.data, frame.data) << c.name;
    EXPECT_EQ(out.shortData, out.data) << c.name;
  }
}

// --- On an RGB-IR sensor

TEST(RawStages, RgbIrSitesWithoutSameColourNeighboursAreLeftAlone) {
  // R G B G / G I G I / B G R G / G I G I: red and blue alternate two sites apart, greens
  // and infrared sites do not.
  auto noise = noiseSource(2, 4);
  Mosaic frame = makeMosaic(kWidth, kHeight, [&](int, int, Cfa) { return 200 + noise(); });
  frame.pattern = rgbIrPattern(0);
  ASSERT_EQ(frame.colourAt(0, 0), Cfa::kRed);
  ASSERT_EQ(frame.colourAt(1, 1), Cfa::kInfrared);
  const struct {
    Site site;
    bool corrected;
  } kHot[] = {{{40, 40}, false}, {{42, 40}, false}, {{41, 40}, true}, {{41, 41}, true}};
  for (const auto &hot : kHot) frame.at(hot.site.x, hot.site.y) = 64 + 1000;
  auto state = std::make_unique<TDatabaseDefectPixelClusterCorrection>();
  state->state = 1;
  state->setUse = 1;
  state->methodsSet[0] = 0x0101;
  state->pgFac[0][0] = state->pgFac[1][0] = 8;
  state->outMode = 4;
  Mosaic out;
  ASSERT_TRUE(stageDefectPixelClusterCorrection(frame, *state, kTenBit, out));
  for (const auto &hot : kHot)
    EXPECT_EQ(out.at(hot.site.x, hot.site.y) < 64 + 250, hot.corrected)
        << hot.site.x << "," << hot.site.y;
}

}  // namespace
}  // namespace tcamera
