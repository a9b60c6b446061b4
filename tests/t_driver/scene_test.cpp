// The measuring units of the simulated ISP against the frame they measure: the statistics
// follow what the hardware holds (exposure, gains, lens), each unit's own window and weights,
// and nothing else. The frames are small (320 x 180) to keep the suite fast.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "camera/sensor.h"
#include "t_driver.h"

namespace {

constexpr int kWidth = 320, kHeight = 180;
constexpr uint32_t kFullFrameSamples = (kWidth / 2) * (kHeight / 2);  // one per Bayer quad

const tcamera::ChartLayout kChart = tcamera::chartLayout(kWidth, kHeight);

TDatabaseFrameWindow windowOf(const tcamera::Rect &rect) {
  return {
      .height = uint32_t(rect.height), .offset = {rect.x, rect.y}, .width = uint32_t(rect.width)};
}

class SceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_open(database_, &driver_), TCOMMON_SUCCESS);
    restart();
  }
  // Programs the hardware from the records again (the input path is latched by the
  // initialisation), with a small frame and the focus windows on the chart's focus target.
  void restart() {
    auto &path = query<TDatabaseInput>("IPT")->paths[0];
    path.rectangle.width = kWidth;
    path.rectangle.height = kHeight;
    auto *afm = query<TDatabaseAutoFocusMeasurement_3>("AFM_3");
    const tcamera::Rect &target = kChart.focusTarget;
    afm->hwRoi[0] = uint16_t(target.x);
    afm->hwRoi[1] = uint16_t(target.y);
    afm->hwRoi[2] = uint16_t(target.width);
    afm->hwRoi[3] = uint16_t(target.height);
    ASSERT_EQ(TDriver_deinit(driver_), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }
  void TearDown() override {
    TDriver_close(&driver_);
    TDatabase_close(&database_);
  }

  template <typename Record>
  Record *query(const char *category) {
    void *record = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &record), TCOMMON_SUCCESS) << category;
    return static_cast<Record *>(record);
  }

  TDatabaseHistogramStatistics histogram() {
    EXPECT_EQ(TDriverHistogram_statistics(driver_, 1), TCOMMON_SUCCESS);
    return query<TDatabaseHistogram>("HTG")->statistics;
  }
  TDatabaseHistogram_2Statistics histogram2() {
    EXPECT_EQ(TDriverHistogram_2_statistics(driver_, 1), TCOMMON_SUCCESS);
    return query<TDatabaseHistogram_2>("HTG_2")->statistics;
  }
  TDatabaseAutoExposureStatistics_2Statistics exposure() {
    EXPECT_EQ(TDriverExposureControl_2_statistics(driver_, 1), TCOMMON_SUCCESS);
    return query<TDatabaseAutoExposureStatistics_2>("AES_2")->statistics;
  }
  TDatabaseAutoFocusMeasurement_3Statistics focus() {
    EXPECT_EQ(TDriverFocusControl_statistics(driver_, 1), TCOMMON_SUCCESS);
    return query<TDatabaseAutoFocusMeasurement_3>("AFM_3")->statistics;
  }

  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
};

template <size_t N>
uint64_t total(const uint32_t (&bins)[N]) {
  uint64_t sum = 0;
  for (uint32_t count : bins) sum += count;
  return sum;
}

// Mean bin index: where the histogram's mass sits.
template <size_t N>
double centre(const uint32_t (&bins)[N]) {
  double weighted = 0;
  for (size_t i = 0; i < N; ++i) weighted += double(i) * bins[i];
  return weighted / double(total(bins));
}

struct Brightening {
  const char *what;
  std::function<void(TDatabase *)> change;  // makes the picture brighter, in the record
  uint32_t (*push)(TDriver *, uint8_t);
};

TEST_F(SceneTest, BrighterHardwareMovesEveryExposureMeasurementUp) {
  const Brightening kCases[] = {
      {"integration time",
       [](TDatabase *d) {
         void *r;
         TDatabase_query(d, "EC_2", &r);
         static_cast<TDatabaseExposureControl_2 *>(r)->integrationTime[0] *= 2;
       },
       TDriverExposureControl_2_process},
      {"analog gain",
       [](TDatabase *d) {
         void *r;
         TDatabase_query(d, "EC_2", &r);
         static_cast<TDatabaseExposureControl_2 *>(r)->gain.analog[0] = 1.5f;
       },
       TDriverExposureControl_2_process},
      {"digital gains",
       [](TDatabase *d) {
         void *r;
         TDatabase_query(d, "DG", &r);
         auto *dg = static_cast<TDatabaseDigitalGain *>(r);
         dg->r = dg->gr = dg->gb = dg->b = 1.5f;
       },
       TDriverDigitalGain_process},
      {"white balance gains",
       [](TDatabase *d) {
         void *r;
         TDatabase_query(d, "WB_1_1", &r);
         for (float &gain : static_cast<TDatabaseWhiteBalance_1_1 *>(r)->gain) gain *= 1.5f;
       },
       TDriverWhiteBalance_1_1_process},
  };
  for (const Brightening &brightening : kCases) {
    SCOPED_TRACE(brightening.what);
    ASSERT_EQ(TDatabase_reset(database_, 1), TCOMMON_SUCCESS);
    restart();  // program the defaults again
    query<TDatabaseAutoExposureStatistics_2>("AES_2")->inputSelect = 1;
    ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
    const double rawBefore = exposure().luma;
    query<TDatabaseAutoExposureStatistics_2>("AES_2")->inputSelect = 0;
    ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
    const auto before = histogram();
    const auto before2 = histogram2();
    const auto beforeExposure = exposure();
    EXPECT_EQ(total(before.bins), kFullFrameSamples);

    // Only what reaches the hardware counts.
    brightening.change(database_);
    EXPECT_EQ(centre(histogram().bins), centre(before.bins));
    ASSERT_EQ(brightening.push(driver_, 0), TCOMMON_SUCCESS);

    const auto after = histogram();
    EXPECT_GT(centre(after.bins), centre(before.bins) + 0.5);
    EXPECT_EQ(total(after.bins), total(before.bins));
    EXPECT_GT(centre(histogram2().bins), centre(before2.bins) + 1);
    const auto afterExposure = exposure();
    EXPECT_GT(afterExposure.luma, beforeExposure.luma * 1.3);
    for (int row = 0; row < 5; ++row)
      for (int column = 0; column < 5; ++column)
        EXPECT_GT(afterExposure.mean[row][column], beforeExposure.mean[row][column]);
    // The sensor's raw output does not see the ISP's gains.
    const bool isSensor = brightening.push == TDriverExposureControl_2_process;
    query<TDatabaseAutoExposureStatistics_2>("AES_2")->inputSelect = 1;
    ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
    const double raw = exposure().luma;
    if (isSensor) {
      EXPECT_GT(raw, rawBefore * 1.2);  // the sensor's pedestal is part of its output
    } else {
      EXPECT_EQ(raw, rawBefore);
    }
  }
}

TEST_F(SceneTest, EachUnitMeasuresItsOwnWindowWithItsWeights) {
  auto *htg = query<TDatabaseHistogram>("HTG");
  // The grey ramp runs from dark on the left to bright on the right.
  const tcamera::Rect &ramp = kChart.greyRamp;
  htg->rectangle = windowOf({ramp.x, ramp.y, ramp.width / 2, ramp.height});
  ASSERT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
  const auto left = histogram();
  const uint64_t halfRamp = total(left.bins);
  EXPECT_NEAR(double(halfRamp), ramp.width / 2 * ramp.height / 4.0, ramp.height);
  htg->rectangle.offset.x += ramp.width / 2;
  ASSERT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
  const auto right = histogram();
  EXPECT_NEAR(double(total(right.bins)), double(halfRamp), ramp.height);
  EXPECT_GT(centre(right.bins), centre(left.bins) + 1);

  // Weights count per grid cell; mode 0 counts every sample once.
  htg->rectangle = {.height = kHeight, .offset = {0, 0}, .width = kWidth};
  for (uint16_t &weight : htg->gridWeight) weight = 0;
  htg->gridWeight[24] = 3;  // the bottom-right cell of the window
  ASSERT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(total(histogram().bins), kFullFrameSamples / 25 * 3);
  htg->mode = 0;
  ASSERT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(total(histogram().bins), kFullFrameSamples);

  // Channel 1 counts red alone, as the mix that weighs red only does; blue differs.
  const uint16_t savedChannel = htg->channel;
  const TDatabaseHistogramCoefficient savedMix = htg->coefficient;
  const auto bins = [&](uint16_t channel, TDatabaseHistogramCoefficient mix) {
    htg->channel = channel;
    htg->coefficient = mix;
    EXPECT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
    const auto measured = histogram();
    return std::vector<uint32_t>(std::begin(measured.bins), std::end(measured.bins));
  };
  const TDatabaseHistogramCoefficient kRedOnly = {.blue = 0, .green = 0, .red = 1};
  const auto red = bins(1, {});
  EXPECT_EQ(bins(0, kRedOnly), red);
  EXPECT_NE(bins(3, kRedOnly), red);
  bins(savedChannel, savedMix);

  // A window beside the frame, and a unit switched off, measure nothing.
  htg->rectangle.offset.x = -2000;
  ASSERT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(total(histogram().bins), 0u);
  auto *htg2 = query<TDatabaseHistogram_2>("HTG_2");
  htg2->state = 0;
  ASSERT_EQ(TDriverHistogram_2_process(driver_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(total(histogram2().bins), 0u);

  // The exposure statistics unit takes its window with the exposure control block's push;
  // until then a read-back restores the window the hardware holds.
  auto *aes = query<TDatabaseAutoExposureStatistics_2>("AES_2");
  aes->ratio = 0.9f;  // share of samples at 90% of full scale or above
  ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
  const auto whole = exposure();
  EXPECT_EQ(whole.count, kFullFrameSamples);
  aes->rectangle = windowOf(ramp);
  EXPECT_EQ(exposure().count, kFullFrameSamples);
  EXPECT_EQ(aes->rectangle.width, 1920u);

  // On the ramp, every row of the grid brightens from left to right; nothing is clipped.
  aes->rectangle = windowOf(ramp);
  ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
  const auto onRamp = exposure();
  EXPECT_NEAR(double(onRamp.count), ramp.width * ramp.height / 4.0, ramp.width + ramp.height);
  for (int row = 0; row < 5; ++row)
    for (int column = 1; column < 5; ++column)
      EXPECT_GT(onRamp.mean[row][column], onRamp.mean[row][column - 1] + 10)
          << row << " " << column;
  EXPECT_EQ(onRamp.aboveRatio, 0);
  // A lamp is far above full scale.
  aes->rectangle = windowOf(kChart.lamps[1]);
  ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
  const auto lamp = exposure();
  EXPECT_GT(lamp.aboveRatio, 0.5);
  EXPECT_GT(lamp.luma, whole.luma * 2);
  EXPECT_GT(whole.aboveRatio, 0);
  EXPECT_LT(whole.aboveRatio, 0.1);
}

TEST_F(SceneTest, FocusMeasurementPeaksAtTheInFocusLensPosition) {
  auto *lens = query<TDatabaseFocusControl>("FC");
  std::vector<uint32_t> positions;
  std::vector<TDatabaseAutoFocusMeasurement_3Statistics> sweep;
  for (uint32_t position = 0; position <= 1000; position += 25) {
    lens->position = position;
    ASSERT_EQ(TDriverFocusControl_process(driver_, 0), TCOMMON_SUCCESS);
    positions.push_back(position);
    sweep.push_back(focus());
  }
  for (int window = 0; window < 3; ++window) {
    for (auto value : {&TDatabaseAutoFocusMeasurement_3Statistics::fir,
                       &TDatabaseAutoFocusMeasurement_3Statistics::iir}) {
      SCOPED_TRACE("window " + std::to_string(window) +
                   (value == &TDatabaseAutoFocusMeasurement_3Statistics::fir ? " fir" : " iir"));
      size_t best = 0;
      for (size_t i = 0; i < sweep.size(); ++i) {
        if ((sweep[i].*value)[window] > (sweep[best].*value)[window]) best = i;
      }
      EXPECT_EQ(positions[best], 400u);
      // Falling off on both sides, not a lone spike.
      EXPECT_GT((sweep[best].*value)[window], (sweep[best - 1].*value)[window]);
      EXPECT_GT((sweep[best - 1].*value)[window], (sweep[best - 3].*value)[window]);
      EXPECT_GT((sweep[best].*value)[window], (sweep[best + 1].*value)[window]);
      EXPECT_GT((sweep[best + 1].*value)[window], (sweep[best + 3].*value)[window]);
    }
  }
  query<TDatabaseAutoFocusMeasurement_3>("AFM_3")->isEnable = 0;
  ASSERT_EQ(TDriverFocusControl_process(driver_, 0), TCOMMON_SUCCESS);
  const auto off = focus();
  EXPECT_EQ(off.fir[1] + off.iir[1] + off.highlights[1], 0u);
  EXPECT_EQ(off.luma[1], 0);
}

// A poll of an unchanged scene may hand out the last measurement again; a change of the
// unit's own settings, or of the picture, must still show in the next read-back.
TEST_F(SceneTest, RepeatedReadBacksFollowEveryChange) {
  const auto bytes = [](const auto &statistics) {
    const auto *first = reinterpret_cast<const char *>(&statistics);
    return std::string(first, first + sizeof(statistics));
  };
  const auto readAll = [&] {
    return std::vector<std::string>{bytes(histogram()), bytes(histogram2()), bytes(exposure()),
                                    bytes(focus())};
  };
  struct Change {
    const char *what;
    size_t unit;  // which of readAll's measurements must change
    std::function<void()> apply;
  };
  const Change kChanges[] = {
      {"HTG window", 0,
       [&] {
         query<TDatabaseHistogram>("HTG")->rectangle.width = kWidth / 2;
         ASSERT_EQ(TDriverHistogram_process(driver_, 0), TCOMMON_SUCCESS);
       }},
      {"HTG_2 channel", 1,
       [&] {
         query<TDatabaseHistogram_2>("HTG_2")->mode = 3;
         ASSERT_EQ(TDriverHistogram_2_process(driver_, 0), TCOMMON_SUCCESS);
       }},
      {"AES_2 window", 2,
       [&] {
         query<TDatabaseAutoExposureStatistics_2>("AES_2")->rectangle = {
             .height = kHeight / 2, .offset = {kWidth * 3 / 4, 0}, .width = kWidth / 4};
         ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
       }},
      {"AFM_3 window", 3,
       [&] {
         query<TDatabaseAutoFocusMeasurement_3>("AFM_3")->hwRoi[3] /= 2;
         ASSERT_EQ(TDriverFocusControl_process(driver_, 0), TCOMMON_SUCCESS);
       }},
  };
  for (const Change &change : kChanges) {
    SCOPED_TRACE(change.what);
    const auto before = readAll();
    EXPECT_EQ(readAll(), before);
    change.apply();
    const auto after = readAll();
    EXPECT_NE(after[change.unit], before[change.unit]);
    for (size_t unit = 0; unit < after.size(); ++unit) {
      if (unit != change.unit) {
        EXPECT_EQ(after[unit], before[unit]) << unit;
      }
    }
  }
  // The next frame carries new sensor noise, which the statistics of a whole frame show.
  const auto thisFrame = readAll();
  ASSERT_EQ(TDriverFrame_next(driver_), TCOMMON_SUCCESS);
  const auto nextFrame = readAll();
  for (size_t unit = 0; unit < nextFrame.size(); ++unit)
    EXPECT_NE(nextFrame[unit], thisFrame[unit]) << unit;
  // A brighter exposure moves every unit's measurement.
  const auto before = readAll();
  auto &time = query<TDatabaseExposureControl_2>("EC_2")->integrationTime[0];
  time *= 2;
  ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
  const auto after = readAll();
  for (size_t unit = 0; unit < after.size(); ++unit) EXPECT_NE(after[unit], before[unit]) << unit;
  // Back to the same hardware state on the same frame: the same numbers, to the bit.
  time /= 2;
  ASSERT_EQ(TDriverExposureControl_2_process(driver_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(readAll(), before);
}

}  // namespace
