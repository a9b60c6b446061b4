#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database_records/color_process_1_2.h"
#include "test_images.h"

namespace tcamera {
namespace {

struct Ycc {
  float y, cb, cr;
};

// Mean BT.601 luma and chroma of the columns [x0, x1).
Ycc meanYcc(const RgbImage &image, int x0, int x1) {
  double r = 0, g = 0, b = 0;
  int count = 0;
  for (int y = 0; y < image.height; ++y)
    for (int x = x0; x < x1; ++x, ++count) {
      r += image.pixel(x, y)[0];
      g += image.pixel(x, y)[1];
      b += image.pixel(x, y)[2];
    }
  r /= count, g /= count, b /= count;
  const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
  return {static_cast<float>(luma), static_cast<float>((b - luma) * 0.564),
          static_cast<float>((r - luma) * 0.713)};
}

float chroma(const Ycc &c) {
  return std::hypot(c.cb, c.cr);
}

// Left half a dark grey, right half a muted orange (encoded values).
RgbImage twoPatches() {
  const std::array<float, 3> kDark = {0.25f, 0.25f, 0.25f}, kOrange = {0.65f, 0.5f, 0.35f};
  return testing::makeRgb(64, 48,
                          [&](int x, int, int c) { return x < 32 ? kDark[c] : kOrange[c]; });
}

TDatabaseColorProcess_1_2 neutral() {
  return {1, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0, 0};
}

TEST(StageColorProcess_1_2, SettingsMoveLumaAndChroma) {
  using Check = std::function<void(const Ycc &darkIn, const Ycc &colourIn, const Ycc &darkOut,
                                   const Ycc &colourOut)>;
  const struct Case {
    const char *name;
    std::function<void(TDatabaseColorProcess_1_2 &)> set;
    bool changes;
    Check check;
  } kCases[] = {
      {"neutral settings pass through", [](auto &) {}, false, nullptr},
      {"bypassed passes through",
       [](auto &s) {
         s.saturation = 2;
         s.state = 0;
       },
       false, nullptr},
      {"saturation raises chroma, keeps luma", [](auto &s) { s.saturation = 1.5f; }, true,
       [](const Ycc &, const Ycc &in, const Ycc &, const Ycc &out) {
         EXPECT_NEAR(chroma(out) / chroma(in), 1.5f, 0.02f);
         EXPECT_NEAR(out.y, in.y, 0.003f);
       }},
      {"saturation 0 leaves greys", [](auto &s) { s.saturation = 0; }, true,
       [](const Ycc &, const Ycc &, const Ycc &, const Ycc &out) {
         EXPECT_LT(chroma(out), 0.003f);
       }},
      {"hue turns chroma, keeps its size", [](auto &s) { s.hue = 90; }, true,
       [](const Ycc &, const Ycc &in, const Ycc &, const Ycc &out) {
         EXPECT_NEAR(chroma(out), chroma(in), 0.005f);
         // A quarter turn: the new chroma is perpendicular to the old one.
         EXPECT_NEAR(out.cb * in.cb + out.cr * in.cr, 0.0f, 0.001f);
       }},
      {"contrast spreads the luma about mid-grey", [](auto &s) { s.contrast = 1.5f; }, true,
       [](const Ycc &darkIn, const Ycc &in, const Ycc &darkOut, const Ycc &out) {
         EXPECT_NEAR((out.y - darkOut.y) / (in.y - darkIn.y), 1.5f, 0.03f);
       }},
      {"brightness adds 8-bit luma steps", [](auto &s) { s.bright = 25.5f; }, true,
       [](const Ycc &darkIn, const Ycc &, const Ycc &darkOut, const Ycc &) {
         EXPECT_NEAR(darkOut.y - darkIn.y, 0.1f, 0.003f);
       }},
      {"limited range lifts the blacks and narrows the luma", [](auto &s) { s.yuvRange = 1; }, true,
       [](const Ycc &darkIn, const Ycc &in, const Ycc &darkOut, const Ycc &out) {
         EXPECT_GT(darkOut.y, darkIn.y);
         EXPECT_NEAR((out.y - darkOut.y) / (in.y - darkIn.y), 219.0f / 255, 0.02f);
       }},
      {"chroma offsets tint the greys",
       [](auto &s) {
         s.chromaOffsetCr = 10;
         s.chromaOffsetCb = -10;
       },
       true,
       [](const Ycc &, const Ycc &, const Ycc &darkOut, const Ycc &) {
         EXPECT_NEAR(darkOut.cr, 10 / 255.0f, 0.003f);
         EXPECT_NEAR(darkOut.cb, -10 / 255.0f, 0.003f);
       }},
  };
  const RgbImage in = twoPatches();
  const Ycc darkIn = meanYcc(in, 0, 32), colourIn = meanYcc(in, 32, 64);
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabaseColorProcess_1_2 state = neutral();
    c.set(state);
    RgbImage out;
    ASSERT_EQ(stageColorProcess_1_2(in, state, FrameContext{}, out), c.changes);
    if (!c.changes) continue;
    c.check(darkIn, colourIn, meanYcc(out, 0, 32), meanYcc(out, 32, 64));
  }
}

}  // namespace
}  // namespace tcamera
