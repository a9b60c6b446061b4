// The camera's control loop as a client sees it: scene controls, and the exposure, white
// balance and focus the loops reach on the frames, measured on the pictures.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "camera_rig.h"
#include "scene.h"
#include "sensor.h"

namespace tcamera::testing {
namespace {

TEST(SceneControls, SetGetAndRefusals) {
  CameraRig rig;
  TDriver *driver = rig.driver();
  struct Case {
    const char *name;
    double value;
    uint32_t code;
  };
  const Case cases[] = {
      {"lux", 0, TCOMMON_SUCCESS},
      {"lux", 100000, TCOMMON_SUCCESS},
      {"lux", -1, TCOMMON_OUT_OF_RANGE},
      {"lux", 100001, TCOMMON_OUT_OF_RANGE},
      {"lux", NAN, TCOMMON_OUT_OF_RANGE},
      {"illuminant", 2800, TCOMMON_SUCCESS},
      {"illuminant", 7500, TCOMMON_SUCCESS},
      {"illuminant", 2799, TCOMMON_OUT_OF_RANGE},
      {"illuminant", 7501, TCOMMON_OUT_OF_RANGE},
      {"scene", 1, TCOMMON_SUCCESS},
      {"scene", 0, TCOMMON_SUCCESS},
      {"scene", 0.5, TCOMMON_OUT_OF_RANGE},
      {"scene", 3, TCOMMON_OUT_OF_RANGE},
      {"scene", 2, TCOMMON_NOT_FOUND},  // the injected frame, and none was handed over
      {"colour", 1, TCOMMON_NOT_FOUND},
  };
  for (const Case &c : cases) {
    double before = 0;
    const bool known = TDriverScene_get(driver, c.name, &before) == TCOMMON_SUCCESS;
    EXPECT_EQ(TDriverScene_set(driver, c.name, c.value), c.code) << c.name << " " << c.value;
    if (!known) continue;
    double after = 0;
    ASSERT_EQ(TDriverScene_get(driver, c.name, &after), TCOMMON_SUCCESS);
    EXPECT_EQ(after, c.code == TCOMMON_SUCCESS ? c.value : before) << c.name;
  }
  double value = 0;
  EXPECT_EQ(TDriverScene_get(driver, "colour", &value), TCOMMON_NOT_FOUND);
  EXPECT_EQ(TDriverScene_set(nullptr, "lux", 1), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverScene_get(driver, "lux", nullptr), TCOMMON_INVALID_ARGUMENT);
}

TEST(SceneControls, LuxScalesTheRawSignalAndTheFlatSceneIsUniform) {
  CameraRig rig;
  const auto meanAboveBlack = [&] {
    const CameraRig::Frame frame = rig.get("raw");
    const size_t count = frame.image.width * frame.image.height;
    double sum = 0;
    for (size_t i = 0; i < count; ++i) sum += frame.codes()[i] - frame.image.blackLevel;
    return sum / count;
  };
  ASSERT_EQ(TDriverScene_set(rig.driver(), "scene", 1), TCOMMON_SUCCESS);
  const double nominal = meanAboveBlack();
  ASSERT_EQ(TDriverScene_set(rig.driver(), "lux", 100), TCOMMON_SUCCESS);
  EXPECT_NEAR(meanAboveBlack() / nominal, 0.25, 0.01);
  ASSERT_EQ(TDriverScene_set(rig.driver(), "lux", 0), TCOMMON_SUCCESS);
  EXPECT_LT(std::abs(meanAboveBlack()), 1.0);  // lens cap: the pedestal and noise alone
}

// ---- Auto exposure ----------------------------------------------------------------------------

// The luminance of the picture the exposure unit measures, 0..255 of its full scale: the mean of
// the unit-weighted Bayer channels over the whole frame after white balance.
double measuredLuma(CameraRig &rig) {
  const CameraRig::Frame frame = rig.get("WB_1_1");
  const int width = static_cast<int>(frame.image.width),
            height = static_cast<int>(frame.image.height);
  double sums[5] = {};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      sums[frame.image.cfa[(y % 4) * 4 + x % 4]] +=
          std::max(0.0f, frame.codes()[y * width + x] - frame.image.blackLevel);
  const double sites = width * height / 4.0;
  const double scale = 255.0 / (frame.image.whiteLevel - frame.image.blackLevel) / sites;
  return (77 * sums[0] + 75 * sums[1] + 75 * sums[2] + 29 * sums[3]) / 256 * scale;
}

class AutoExposure : public ::testing::Test {
 protected:
  AutoExposure() {
    auto &exposure = rig_.record<TDatabaseExposureControl_2>("EC_2");
    exposure.state = 1;
    rig_.record<TDatabaseAutoExposure_4>("AE_4").semMode = 0;  // the whole frame alike
    EXPECT_EQ(TDriverExposureControl_2_process(rig_.driver(), 0), TCOMMON_SUCCESS);
  }
  TDriverControlStatus status() {
    TDriverControlStatus made{};
    EXPECT_EQ(TDriverControl_status(rig_.driver(), &made), TCOMMON_SUCCESS);
    return made;
  }
  CameraRig rig_;
};

TEST_F(AutoExposure, ReachesTheSetPointAfterFourfoldChangesWithoutOscillating) {
  const auto &settings = rig_.record<TDatabaseAutoExposure_4>("AE_4");
  const double target = settings.setPoint, tolerance = settings.tolerance / 100 * target;
  for (int frame = 0; frame < 30 && status().exposureState != TDRIVER_CONTROL_SETTLED; ++frame)
    rig_.next();
  ASSERT_NEAR(measuredLuma(rig_), target, tolerance);
  const double luxSteps[] = {1600, 400, 100, 400};
  for (const double lux : luxSteps) {
    ASSERT_EQ(TDriverScene_set(rig_.driver(), "lux", lux), TCOMMON_SUCCESS);
    double luma = measuredLuma(rig_);
    const int startSign = luma > target ? 1 : -1;
    int frames = 0, signChanges = 0, sign = startSign;
    double overshoot = 0;
    for (; frames < 15 && std::abs(luma - target) > tolerance; ++frames) {
      rig_.next();
      luma = measuredLuma(rig_);
      const int now = luma > target ? 1 : -1;
      signChanges += now != sign ? 1 : 0;
      sign = now;
      if (now != startSign) overshoot = std::max(overshoot, std::abs(luma - target));
    }
    std::printf("AE lux %g: %d frames, luma %.2f (target %.1f), exposure %.4f s x %.2f x %.2f\n",
                lux, frames, luma, target, status().exposureTime, status().analogGain,
                status().digitalGain);
    EXPECT_LE(frames, 15) << lux;
    EXPECT_NEAR(luma, target, tolerance) << lux;
    EXPECT_LE(signChanges, 1) << lux;
    EXPECT_LE(overshoot, tolerance) << lux;
    // Settled: a few more frames leave the exposure where it is.
    for (int frame = 0; frame < 3; ++frame) rig_.next();
    EXPECT_NEAR(measuredLuma(rig_), target, tolerance) << lux;
  }
}

TEST_F(AutoExposure, StopsAtItsLimitsBehindALensCap) {
  ASSERT_EQ(TDriverScene_set(rig_.driver(), "lux", 0), TCOMMON_SUCCESS);
  int frames = 0;
  for (; frames < 30 && status().exposureState != TDRIVER_CONTROL_LIMITED; ++frames) rig_.next();
  const TDriverControlStatus now = status();
  std::printf("AE lens cap: limited after %d frames\n", frames);
  EXPECT_EQ(now.exposureState, uint32_t{TDRIVER_CONTROL_LIMITED});
  // The longest exposure a 30 fps frame holds in whole 50 Hz steps, at the highest gains.
  EXPECT_FLOAT_EQ(now.exposureTime, 0.03f);
  EXPECT_FLOAT_EQ(now.analogGain, 16);
  EXPECT_FLOAT_EQ(now.digitalGain, 4);
  // The exposure control block reads back what the loop programmed; its record keeps what the
  // client wrote until then.
  auto &record = rig_.record<TDatabaseExposureControl_2>("EC_2");
  EXPECT_FLOAT_EQ(record.integrationTime[0], 0.01f);
  ASSERT_EQ(TDriverExposureControl_2_statistics(rig_.driver(), 1), TCOMMON_SUCCESS);
  EXPECT_FLOAT_EQ(record.integrationTime[0], 0.03f);
  // Light again: it leaves the limit.
  ASSERT_EQ(TDriverScene_set(rig_.driver(), "lux", 400), TCOMMON_SUCCESS);
  for (int frame = 0; frame < 15; ++frame) rig_.next();
  EXPECT_EQ(status().exposureState, uint32_t{TDRIVER_CONTROL_SETTLED});
}

// ---- Auto white balance -----------------------------------------------------------------------

// The chart's greys carry the small tints of their published colours (up to 1.8 % in R/G), so
// each is judged against its own: the white balance error is what remains of the light's
// colour. The four greys together must also come out neutral.
TEST(AutoWhiteBalance, GreyPatchesTurnNeutralUnderEachLight) {
  for (const double kelvin : {2800.0, 4000.0, 6500.0}) {
    CameraRig rig;
    rig.record<TDatabaseAutoWhiteBalance_4>("AWB_4").mode = 1;
    ASSERT_EQ(TDriverWhiteBalance_1_1_process(rig.driver(), 0), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriverScene_set(rig.driver(), "illuminant", kelvin), TCOMMON_SUCCESS);
    for (int frame = 0; frame < 10; ++frame) rig.next();
    // The four middle greys of the chart's bottom row, their central halves, linear RGB.
    const CameraRig::Frame frame = rig.get("DMSC_3");
    const ChartLayout layout = chartLayout(CameraRig::kWidth, CameraRig::kHeight);
    const CameraColour white = illuminantResponse(kelvin);
    double worst = 0, all[3] = {};
    for (int patch = 19; patch <= 22; ++patch) {
      const Rect &rect = layout.patches[patch];
      double sum[3] = {};
      for (int y = rect.y + rect.height / 4; y < rect.y + rect.height * 3 / 4; ++y)
        for (int x = rect.x + rect.width / 4; x < rect.x + rect.width * 3 / 4; ++x)
          for (int c = 0; c < 3; ++c) sum[c] += frame.codes()[(y * CameraRig::kWidth + x) * 3 + c];
      ASSERT_GT(sum[1], 0);
      for (int c = 0; c < 3; ++c) all[c] += sum[c];
      const CameraColour own = chartPatchResponse(patch, kelvin);
      const double redError = sum[0] / sum[1] / (own.r / own.g / (white.r / white.g)) - 1;
      const double blueError = sum[2] / sum[1] / (own.b / own.g / (white.b / white.g)) - 1;
      worst = std::max({worst, std::abs(redError), std::abs(blueError)});
      EXPECT_NEAR(redError, 0, 0.02) << kelvin << " K, patch " << patch;
      EXPECT_NEAR(blueError, 0, 0.02) << kelvin << " K, patch " << patch;
    }
    EXPECT_NEAR(all[0] / all[1], 1, 0.02) << kelvin << " K, the greys together";
    EXPECT_NEAR(all[2] / all[1], 1, 0.02) << kelvin << " K, the greys together";
    TDriverControlStatus status{};
    ASSERT_EQ(TDriverControl_status(rig.driver(), &status), TCOMMON_SUCCESS);
    std::printf(
        "AWB %g K: worst patch error %.2f %%, greys together R/G %.4f B/G %.4f, "
        "estimated %g K, gains R %.3f B %.3f\n",
        kelvin, worst * 100, all[0] / all[1], all[2] / all[1], status.kelvin, status.gains[0],
        status.gains[3]);
    EXPECT_NEAR(status.kelvin, kelvin, kelvin * 0.1);
  }
}

// ---- Auto focus -------------------------------------------------------------------------------

TEST(AutoFocus, FindsFocusFromEitherEndOfTheTravel) {
  for (const uint32_t start : {0u, 1023u}) {
    CameraRig rig;
    rig.record<TDatabaseAutoFocus_4>("AF_4").mode = 1;
    auto &unit = rig.record<TDatabaseAutoFocusMeasurement_3>("AFM_3");
    const uint32_t window[4] = {0, 0, CameraRig::kWidth, CameraRig::kHeight};
    std::copy(window, window + 4, unit.hwRoi);
    auto &focus = rig.record<TDatabaseFocusControl>("FC");
    focus.mode = 1;
    focus.position = start;
    ASSERT_EQ(TDriverFocusControl_process(rig.driver(), 0), TCOMMON_SUCCESS);
    int frames = 0;
    TDriverControlStatus status{};
    do {
      rig.next();
      ++frames;
      ASSERT_EQ(TDriverControl_status(rig.driver(), &status), TCOMMON_SUCCESS);
    } while (frames < 30 && status.focusState != TDRIVER_CONTROL_SETTLED);
    std::printf("AF from %u: %d frames, lens at %u\n", start, frames, status.lensPosition);
    EXPECT_EQ(status.focusState, uint32_t{TDRIVER_CONTROL_SETTLED}) << start;
    const int step = rig.record<TDatabaseAutoFocus_4>("AF_4").accurateFocusStep;
    EXPECT_LE(std::abs(int(status.lensPosition) - int(kInFocusPosition)), step) << start;
    ASSERT_EQ(TDriverFocusControl_statistics(rig.driver(), 1), TCOMMON_SUCCESS);
    EXPECT_EQ(focus.state, 2u);
    EXPECT_EQ(focus.position, status.lensPosition);
  }
}

// ---- All loops together ------------------------------------------------------------------------

// Two cameras given the same frames and scene changes make the same decisions, frame by frame;
// a camera that is not streaming (initialised only) makes none.
TEST(ControlLoops, SameFramesSameDecisionsAndNoneWithoutAStream) {
  const auto switchOn = [](CameraRig &rig) {
    rig.record<TDatabaseExposureControl_2>("EC_2").state = 1;
    rig.record<TDatabaseAutoWhiteBalance_4>("AWB_4").mode = 1;
    rig.record<TDatabaseFocusControl>("FC").mode = 1;
    EXPECT_EQ(TDriverExposureControl_2_process(rig.driver(), 0), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriverWhiteBalance_1_1_process(rig.driver(), 0), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriverFocusControl_process(rig.driver(), 0), TCOMMON_SUCCESS);
  };
  CameraRig first, second, still;
  for (CameraRig *rig : {&first, &second, &still}) switchOn(*rig);
  ASSERT_EQ(TDriver_stream(still.driver(), 0), TCOMMON_SUCCESS);
  const auto statusOf = [](CameraRig &rig) {
    TDriverControlStatus status{};
    EXPECT_EQ(TDriverControl_status(rig.driver(), &status), TCOMMON_SUCCESS);
    return status;
  };
  for (int frame = 0; frame < 12; ++frame) {
    if (frame == 6) {
      for (CameraRig *rig : {&first, &second, &still})
        ASSERT_EQ(TDriverScene_set(rig->driver(), "illuminant", 3200), TCOMMON_SUCCESS);
    }
    first.next();
    second.next();
    still.next();
    const TDriverControlStatus a = statusOf(first), b = statusOf(second);
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << frame;
    EXPECT_EQ(first.output(), second.output()) << frame;
  }
  const TDriverControlStatus moved = statusOf(first), kept = statusOf(still);
  EXPECT_NE(moved.exposureTime * moved.analogGain, 0.01f);
  EXPECT_NE(moved.lensPosition, 512u);
  EXPECT_EQ(kept.exposureState, uint32_t{TDRIVER_CONTROL_OFF});
  EXPECT_FLOAT_EQ(kept.exposureTime, 0.01f);
  EXPECT_FLOAT_EQ(kept.gains[0], still.record<TDatabaseWhiteBalance_1_1>("WB_1_1").gain[0]);
  EXPECT_EQ(kept.lensPosition, 512u);
}

}  // namespace
}  // namespace tcamera::testing
