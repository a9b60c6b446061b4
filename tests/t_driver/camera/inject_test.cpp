// Frames handed to the camera in place of the chart (TDriverFrame_inject): when they are
// delivered, how a raw frame keeps its size, pattern and levels, how a picture becomes a raw
// frame, and that a refused frame leaves the one before in place.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "t_driver.h"

namespace {

class InjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TDatabase_open(nullptr, &database_), 0u);
    ASSERT_EQ(TDriver_open(database_, &driver_), 0u);
    ASSERT_EQ(TDriver_init(driver_, 1), 0u);
  }
  void TearDown() override {
    TDriver_close(&driver_);
    TDatabase_close(&database_);
  }

  // What a client writes to "IPT": isInjectLive into the record, then isInject.
  void switchInjection(bool on, bool live) {
    void *record = nullptr;
    ASSERT_EQ(TDatabase_query(database_, "IPT", &record), 0u);
    static_cast<TDatabaseInput *>(record)->isInjectLive = live;
    ASSERT_EQ(TDriver_inject(driver_, on), 0u);
  }

  struct Raw {
    uint32_t width = 0, height = 0;
    std::vector<uint16_t> codes;
    uint8_t cfa[16] = {};
    float black = 0, white = 0;
  };
  Raw raw() {
    TDriverImage image{};
    EXPECT_EQ(TDriverFrame_get(driver_, "raw", &image), 0u);
    Raw out;
    out.width = image.width;
    out.height = image.height;
    const auto *codes = static_cast<const uint16_t *>(image.data);
    out.codes.assign(codes, codes + size_t(image.width) * image.height);
    std::copy(image.cfa, image.cfa + 16, out.cfa);
    out.black = image.blackLevel;
    out.white = image.whiteLevel;
    TDriverImage_release(&image);
    return out;
  }

  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
};

// A raw frame whose codes tell their site: 300 + x % 7 + 10 * (y % 5).
struct TestMosaic {
  std::vector<uint16_t> codes;
  TDriverImage image{};
  TestMosaic(uint32_t width, uint32_t height) : codes(size_t(width) * height) {
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t x = 0; x < width; ++x)
        codes[size_t(y) * width + x] = 300 + x % 7 + 10 * (y % 5);
    image.width = width;
    image.height = height;
    image.format = TDRIVER_IMAGE_MOSAIC16;
    // GRBG
    const uint8_t tile[4] = {TDRIVER_CFA_GREEN_RED, TDRIVER_CFA_RED, TDRIVER_CFA_BLUE,
                             TDRIVER_CFA_GREEN_BLUE};
    for (int i = 0; i < 16; ++i) image.cfa[i] = tile[((i / 4) % 2) * 2 + (i % 4) % 2];
    image.blackLevel = 200;
    image.whiteLevel = 4000;
    image.data = codes.data();
    image.size = codes.size() * sizeof(uint16_t);
  }
};

TEST_F(InjectTest, InjectedFramesAreDeliveredOnceOrLive) {
  TestMosaic mosaic(64, 48);
  const struct {
    bool stored, on, live;
    bool now, next;  // the injected frame is delivered now, and after the frame advances
  } kCases[] = {
      {false, true, true, false, false},  // nothing stored: the chart
      {true, false, true, false, false},  // stored but injection off
      {true, true, true, true, true},     // live: every frame
      {true, true, false, true, false},   // once: then the chart again
  };
  for (const auto &c : kCases) {
    ASSERT_EQ(TDriverFrame_inject(driver_, c.stored ? &mosaic.image : nullptr), 0u);
    switchInjection(c.on, c.live);
    EXPECT_EQ(raw().width == 64, c.now) << c.stored << c.on << c.live;
    ASSERT_EQ(TDriverFrame_next(driver_), 0u);
    EXPECT_EQ(raw().width == 64, c.next) << c.stored << c.on << c.live;
    switchInjection(false, false);
  }
}

TEST_F(InjectTest, RawFramesKeepTheirPhaseAndLevelsAndBadOnesAreRefused) {
  switchInjection(true, true);
  // Wider than the sensor's largest frame: cut to its centre from a corner on a multiple of 4.
  TestMosaic wide(5000, 101);
  ASSERT_EQ(TDriverFrame_inject(driver_, &wide.image), 0u);
  const Raw frame = raw();
  ASSERT_EQ(frame.width, 4096u);
  ASSERT_EQ(frame.height, 100u);
  EXPECT_EQ(frame.black, 200.0f);
  EXPECT_EQ(frame.white, 4000.0f);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(frame.cfa[i], wide.image.cfa[i]) << i;
  const uint32_t left = 452;  // (5000 - 4096) / 2, down to a multiple of 4
  size_t moved = 0;
  for (uint32_t y = 0; y < frame.height; ++y)
    for (uint32_t x = 0; x < frame.width; ++x)
      moved += frame.codes[size_t(y) * frame.width + x] != wide.codes[size_t(y) * 5000 + x + left];
  EXPECT_EQ(moved, 0u) << "a raw frame is delivered as it is";

  TestMosaic good(64, 48);
  ASSERT_EQ(TDriverFrame_inject(driver_, &good.image), 0u);
  const struct {
    const char *what;
    void (*spoil)(TDriverImage &);
  } kBad[] = {
      {"too small", [](TDriverImage &i) { i.width = 8, i.size = 8 * 48 * 2; }},
      {"size mismatch", [](TDriverImage &i) { i.size -= 2; }},
      {"unknown colour", [](TDriverImage &i) { i.cfa[5] = 9; }},
      {"no blue",
       [](TDriverImage &i) {
         for (uint8_t &c : i.cfa)
           if (c == TDRIVER_CFA_BLUE) c = TDRIVER_CFA_RED;
       }},
      {"black above white", [](TDriverImage &i) { i.blackLevel = 5000; }},
      {"white past 16 bits", [](TDriverImage &i) { i.whiteLevel = 70000; }},
      {"unknown format", [](TDriverImage &i) { i.format = 99; }},
  };
  for (const auto &c : kBad) {
    TestMosaic bad(64, 48);
    c.spoil(bad.image);
    EXPECT_EQ(TDriverFrame_inject(driver_, &bad.image), TCOMMON_OUT_OF_RANGE) << c.what;
    EXPECT_EQ(raw().width, 64u) << c.what << ": the frame injected before stays";
  }
  EXPECT_EQ(TDriverFrame_inject(nullptr, &good.image), TCOMMON_INVALID_ARGUMENT);
}

TEST_F(InjectTest, PicturesArePhotographedWithFreshNoise) {
  switchInjection(true, true);
  // A uniform mid grey, 8-bit sRGB.
  std::vector<uint8_t> grey(size_t(128) * 96 * 3, 160);
  TDriverImage picture{};
  picture.width = 128;
  picture.height = 96;
  picture.format = TDRIVER_IMAGE_RGB8;
  picture.data = grey.data();
  picture.size = grey.size();
  ASSERT_EQ(TDriverFrame_inject(driver_, &picture), 0u);
  const Raw first = raw();
  ASSERT_EQ(first.width, 128u);
  ASSERT_EQ(first.height, 96u);
  // Mean of each colour over the centre, above the pedestal.
  double sum[4] = {}, count[4] = {};
  for (uint32_t y = 32; y < 64; ++y) {
    for (uint32_t x = 32; x < 96; ++x) {
      const int colour = first.cfa[(y % 4) * 4 + x % 4];
      sum[colour] += first.codes[size_t(y) * 128 + x] - first.black;
      count[colour] += 1;
    }
  }
  const double green = sum[TDRIVER_CFA_GREEN_RED] / count[TDRIVER_CFA_GREEN_RED];
  // sRGB 160 is 35 % reflectance; white reaches G 1.5 x 10 ms / 20 ms = 0.75 of full scale.
  const double range = first.white - first.black;
  EXPECT_NEAR(green / range, 0.351 * 0.75, 0.04);
  // Grey through the sensor's filters under 5000 K: red and blue well below green.
  EXPECT_NEAR(sum[TDRIVER_CFA_RED] / count[TDRIVER_CFA_RED] / green, 0.6, 0.1);
  EXPECT_NEAR(sum[TDRIVER_CFA_BLUE] / count[TDRIVER_CFA_BLUE] / green, 0.65, 0.1);

  // Fresh noise in the next frame: the difference of the two frames' green sites spreads as
  // the shot noise of 6000 electrons at full scale predicts (read noise aside), within 30 %.
  ASSERT_EQ(TDriverFrame_next(driver_), 0u);
  const Raw second = raw();
  double squares = 0, n = 0;
  for (uint32_t y = 32; y < 64; ++y) {
    for (uint32_t x = 32; x < 96; ++x) {
      if (first.cfa[(y % 4) * 4 + x % 4] != TDRIVER_CFA_GREEN_RED) continue;
      const double d = double(second.codes[size_t(y) * 128 + x]) - first.codes[size_t(y) * 128 + x];
      squares += d * d, n += 1;
    }
  }
  const double spread = std::sqrt(squares / n / 2);
  const double predicted = std::sqrt(green * range / 6000);
  EXPECT_GT(spread, 0.7 * predicted);
  EXPECT_LT(spread, 1.3 * predicted);
}

}  // namespace
