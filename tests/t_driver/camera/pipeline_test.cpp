// The frames of the simulated camera as a client gets them: every tap, the frame's geometry
// and levels from the hardware state, reproducible frames, new noise per frame, and a cache
// that follows every push.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "camera_rig.h"
#include "pipeline.h"
#include "sensor.h"
#include "t_driver.h"

namespace tcamera {
namespace {

constexpr int kWidth = testing::CameraRig::kWidth, kHeight = testing::CameraRig::kHeight;

using Camera = testing::CameraRig;

// Mean and variance of one channel of an 8-bit RGB picture over a rectangle.
struct Moments {
  double mean = 0, variance = 0;
};
Moments moments(const std::vector<uint8_t> &rgb, const Rect &rect, int channel) {
  double sum = 0, squares = 0;
  const int n = rect.width * rect.height;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      const double value = rgb[(static_cast<size_t>(y) * kWidth + x) * 3 + channel];
      sum += value;
      squares += value * value;
    }
  Moments m;
  m.mean = sum / n;
  m.variance = squares / n - m.mean * m.mean;
  return m;
}

const ChartLayout kChart = chartLayout(kWidth, kHeight);

TEST(Pipeline, EveryTapHandsOutTheFrameInItsFormat) {
  Camera camera;
  const char *const kMosaicTaps[] = {"raw",        "BLS",   "DPCC",      "LSC_3",
                                     "GE",         "DG",    "WB_1_1",    "CPD_1_1",
                                     "HDR_3_2DOL", "RGBIR", "RGBIR_1_1", "2DNR_6"};
  const char *const kRgbTaps[] = {"DMSC_3", "CCM",     "GC_2", "WDR_5_2_1",
                                  "CP_1_2", "CNR_2_2", "EE_3", "3DNR_4"};
  for (const char *stage : kMosaicTaps) {
    const auto frame = camera.get(stage);
    EXPECT_EQ(frame.image.format, uint32_t(TDRIVER_IMAGE_MOSAIC16)) << stage;
    EXPECT_EQ(frame.image.width, uint32_t(kWidth)) << stage;
    EXPECT_EQ(frame.image.height, uint32_t(kHeight)) << stage;
    EXPECT_EQ(frame.bytes.size(), size_t(kWidth) * kHeight * 2) << stage;
    EXPECT_GT(frame.image.whiteLevel, frame.image.blackLevel) << stage;
  }
  for (const char *stage : kRgbTaps) {
    const auto frame = camera.get(stage);
    EXPECT_TRUE(frame.image.format == TDRIVER_IMAGE_RGB16_LINEAR ||
                frame.image.format == TDRIVER_IMAGE_RGB16_ENCODED)
        << stage;
    EXPECT_EQ(frame.bytes.size(), size_t(kWidth) * kHeight * 6) << stage;
  }
  EXPECT_EQ(camera.get("DMSC_3").image.format, uint32_t(TDRIVER_IMAGE_RGB16_LINEAR));
  const auto output = camera.get("output");
  EXPECT_EQ(output.image.format, uint32_t(TDRIVER_IMAGE_RGB8));
  EXPECT_EQ(output.bytes.size(), size_t(kWidth) * kHeight * 3);
  // The picture is a picture: the white patch is far brighter than the black one.
  EXPECT_GT(moments(output.bytes, kChart.patches[18], 1).mean,
            moments(output.bytes, kChart.patches[23], 1).mean + 100);

  // Names the camera does not have, and missing arguments.
  TDriverImage image{};
  for (const char *stage : {"", "bls", "DMSC", "outputs", "HTG", "AES_2", "raw "}) {
    EXPECT_EQ(TDriverFrame_get(camera.driver(), stage, &image), TCOMMON_NOT_FOUND) << stage;
    EXPECT_EQ(image.data, nullptr);
  }
  EXPECT_EQ(TDriverFrame_get(camera.driver(), nullptr, &image), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverFrame_get(camera.driver(), "raw", nullptr), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverFrame_get(nullptr, "raw", &image), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverFrame_next(nullptr), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverImage_release(nullptr), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverImage_release(&image), TCOMMON_SUCCESS);  // an empty image is fine

  // Initialised is enough for a still; switched off there is no picture.
  ASSERT_EQ(TDriver_stream(camera.driver(), 0), TCOMMON_SUCCESS);
  EXPECT_EQ(camera.get("output").bytes, output.bytes);
  ASSERT_EQ(TDriver_deinit(camera.driver()), TCOMMON_SUCCESS);
  EXPECT_EQ(TDriverFrame_get(camera.driver(), "output", &image), TCOMMON_NOT_INITIALIZED);
  EXPECT_EQ(TDriverFrame_next(camera.driver()), TCOMMON_NOT_INITIALIZED);
}

TEST(Pipeline, TheSensorFollowsTheInputPathAndSensorMode) {
  struct Case {
    const char *what;
    std::function<void(Camera &)> change;
    std::function<void(const TDriverImage &)> check;
  };
  const Case kCases[] = {
      {"frame size",
       [](Camera &c) { c.path().rectangle = {.height = 96, .offset = {}, .width = 128}; },
       [](const TDriverImage &raw) {
         EXPECT_EQ(raw.width, 128u);
         EXPECT_EQ(raw.height, 96u);
       }},
      {"larger than the sensor",
       [](Camera &c) { c.path().rectangle = {.height = 5000, .offset = {}, .width = 16}; },
       [](const TDriverImage &raw) { EXPECT_EQ(raw.height, uint32_t(kMaxHeight)); }},
      {"capped by the host on one side",
       [](Camera &c) {
         c.path().rectangle = {.height = 96, .offset = {}, .width = 128};
         EXPECT_EQ(TDriverFrame_limit(c.driver(), 64, 0), TCOMMON_SUCCESS);
       },
       [](const TDriverImage &raw) {
         EXPECT_EQ(raw.width, 64u);
         EXPECT_EQ(raw.height, 96u);
       }},
      {"RAW10", [](Camera &c) { c.path().format = 1; },
       [](const TDriverImage &raw) {
         EXPECT_EQ(raw.whiteLevel, 1023);
         EXPECT_EQ(raw.blackLevel, 64);
       }},
      {"RAW12", [](Camera &c) { c.path().format = 2; },
       [](const TDriverImage &raw) {
         EXPECT_EQ(raw.whiteLevel, 4095);
         EXPECT_EQ(raw.blackLevel, 256);
       }},
      {"BGGR", [](Camera &c) { c.path().bayerPattern = 3; },
       [](const TDriverImage &raw) {
         EXPECT_EQ(raw.cfa[0], TDRIVER_CFA_BLUE);
         EXPECT_EQ(raw.cfa[5], TDRIVER_CFA_RED);
       }},
      {"RGB-IR sensor mode",
       [](Camera &c) {
         auto &sensor = c.record<TDatabaseSensor>("SS");
         sensor.modes[sensor.modeIndex].type = 1;
       },
       [](const TDriverImage &raw) {
         int infrared = 0;
         for (uint8_t colour : raw.cfa) infrared += colour == TDRIVER_CFA_INFRARED;
         EXPECT_GT(infrared, 0);
       }},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.what);
    Camera camera;
    c.change(camera);
    camera.restart();
    const auto raw = camera.get("raw");
    c.check(raw.image);
    EXPECT_EQ(raw.bytes.size(), size_t(raw.image.width) * raw.image.height * 2);
  }
}

TEST(Pipeline, TheSameStateAndFrameNumberGiveTheSameFrame) {
  Camera first, second;
  auto &exposure = first.record<TDatabaseExposureControl_2>("EC_2");
  std::vector<std::vector<uint8_t>> frames;
  for (int frame = 0; frame < 3; ++frame) {
    const auto output = first.output();
    EXPECT_EQ(first.get("output").image.frameNumber, uint64_t(frame));
    EXPECT_EQ(second.output(), output) << "another camera, frame " << frame;
    frames.push_back(output);

    // Another state and other taps in between, then the first state again.
    const float time = exposure.integrationTime[0];
    exposure.integrationTime[0] = time * 2;
    ASSERT_EQ(TDriverExposureControl_2_process(first.driver(), 0), TCOMMON_SUCCESS);
    EXPECT_NE(first.output(), output);
    first.get("DMSC_3");
    first.get("raw");
    exposure.integrationTime[0] = time;
    ASSERT_EQ(TDriverExposureControl_2_process(first.driver(), 0), TCOMMON_SUCCESS);
    EXPECT_EQ(first.output(), output) << "frame " << frame;

    ASSERT_EQ(TDriverFrame_next(first.driver()), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriverFrame_next(second.driver()), TCOMMON_SUCCESS);
  }
  EXPECT_NE(frames[0], frames[1]);
}

TEST(Pipeline, EachFrameHasNewNoiseAroundTheSameLevels) {
  Camera camera;
  // The flat area, away from its edges.
  const Rect &area = kChart.flatArea;
  const Rect inner{area.x + area.width / 4, area.y + area.height / 4, area.width / 2,
                   area.height / 2};
  const auto raw = [&] {
    const auto frame = camera.get("raw");
    std::vector<double> values;
    const auto *codes = reinterpret_cast<const uint16_t *>(frame.bytes.data());
    for (int y = inner.y; y < inner.y + inner.height; ++y)
      for (int x = inner.x; x < inner.x + inner.width; ++x)
        values.push_back(codes[static_cast<size_t>(y) * kWidth + x]);
    return values;
  };
  const auto before = raw();
  ASSERT_EQ(TDriverFrame_next(camera.driver()), TCOMMON_SUCCESS);
  const auto after = raw();
  double meanBefore = 0, meanAfter = 0, difference = 0;
  size_t changed = 0;
  for (size_t i = 0; i < before.size(); ++i) {
    meanBefore += before[i] / before.size();
    meanAfter += after[i] / after.size();
    difference += std::abs(after[i] - before[i]) / before.size();
    changed += after[i] != before[i];
  }
  EXPECT_GT(changed, before.size() / 2);
  EXPECT_GT(difference, 1.0);  // codes
  EXPECT_NEAR(meanAfter, meanBefore, std::max(2.0, meanBefore * 0.01));
}

TEST(Pipeline, OnlyAPushChangesTheFrame) {
  Camera camera;
  const auto before = camera.output();
  auto &gain = camera.record<TDatabaseDigitalGain>("DG");
  gain.r = gain.gr = gain.gb = gain.b = 1.5f;
  EXPECT_EQ(camera.output(), before);  // in the record only
  ASSERT_EQ(TDriverDigitalGain_process(camera.driver(), 0), TCOMMON_SUCCESS);
  const auto after = camera.output();
  EXPECT_GT(moments(after, kChart.flatArea, 1).mean, moments(before, kChart.flatArea, 1).mean + 10);
  // A push that latches what the hardware already holds keeps the frame.
  ASSERT_EQ(TDriverDigitalGain_process(camera.driver(), 0), TCOMMON_SUCCESS);
  EXPECT_EQ(camera.output(), after);
}

// With the gamma block bypassed the output still shows linear light on an sRGB display.
TEST(Pipeline, ALinearPictureIsEncodedForDisplay) {
  Camera camera;
  camera.record<TDatabaseGammaCorrection_2>("GC_2").state = 0;
  ASSERT_EQ(TDriverGammaCorrection_2_process(camera.driver(), 0), TCOMMON_SUCCESS);
  const auto last = camera.get("3DNR_4");
  ASSERT_EQ(last.image.format, uint32_t(TDRIVER_IMAGE_RGB16_LINEAR));
  const auto output = camera.output();
  const auto *linear = reinterpret_cast<const uint16_t *>(last.bytes.data());
  // Pixel by pixel over the grey patches: the sRGB curve, within rounding.
  int checked = 0;
  for (int patch = 18; patch < 24; ++patch) {
    const Rect &rect = kChart.patches[patch];
    for (int y = rect.y; y < rect.y + rect.height; y += 3)
      for (int x = rect.x; x < rect.x + rect.width; x += 3) {
        const size_t i = (static_cast<size_t>(y) * kWidth + x) * 3 + 1;
        const double value = std::min(1.0, linear[i] / 65535.0);
        const double srgb =
            value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1 / 2.4) - 0.055;
        EXPECT_NEAR(output[i], srgb * 255, 1.5) << x << "," << y;
        ++checked;
      }
  }
  EXPECT_GT(checked, 100);
}

// The row bands of every pass are covered once, also with passes from several threads at a
// time and passes inside a pass; a band that throws reaches the caller after the others end.
TEST(Pipeline, RowBandsCoverEveryRowOnceUnderConcurrentAndNestedPasses) {
  constexpr int kRows = 1000;
  const auto pass = [](std::vector<std::atomic<int>> &seen, bool nested) {
    parallelRows(kRows, [&](int first, int last) {
      for (int row = first; row < last; ++row) ++seen[row];
      if (nested) {
        parallelRows(64, [&](int innerFirst, int innerLast) {
          for (int row = innerFirst; row < innerLast; ++row) ++seen[kRows + row];
        });
      }
    });
  };
  std::vector<std::vector<std::atomic<int>>> seen;
  for (int t = 0; t < 3; ++t) seen.emplace_back(kRows + 64);
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t)
    threads.emplace_back([&, t] {
      for (int repeat = 0; repeat < 20; ++repeat) pass(seen[t], t == 2);
    });
  for (auto &thread : threads) thread.join();
  for (int t = 0; t < 3; ++t) {
    int nestedPasses = 0;
    for (int row = 0; row < kRows; ++row) EXPECT_EQ(seen[t][row].load(), 20) << t << " " << row;
    if (t == 2) nestedPasses = seen[t][kRows].load();
    for (int row = kRows; row < kRows + 64; ++row)
      EXPECT_EQ(seen[t][row].load(), nestedPasses) << t << " " << row;
  }
  EXPECT_GE(seen[2][kRows].load(), 20);  // at least one inner pass per outer pass

  std::atomic<int> bandsRun = 0;
  EXPECT_THROW(parallelRows(kRows,
                            [&](int first, int) {
                              ++bandsRun;
                              if (first == 0) throw std::runtime_error("band");
                            }),
               std::runtime_error);
  EXPECT_GE(bandsRun.load(), 1);
  // The pool is free again.
  std::vector<std::atomic<int>> again(kRows);
  pass(again, false);
  for (int row = 0; row < kRows; ++row) EXPECT_EQ(again[row].load(), 1);
}

}  // namespace
}  // namespace tcamera
