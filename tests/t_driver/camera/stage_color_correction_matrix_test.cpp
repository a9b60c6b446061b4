#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database_records/color_correction_matrix.h"
#include "test_images.h"

namespace tcamera {
namespace {

using Colour = std::array<float, 3>;

RgbImage patch(const Colour &colour) {
  return testing::makeRgb(64, 48, [&](int, int, int c) { return colour[c]; });
}

Colour meanColour(const RgbImage &image) {
  Colour sum{};
  for (size_t i = 0; i < image.data.size(); ++i) sum[i % 3] += image.data[i];
  const float pixels = static_cast<float>(image.width) * image.height;
  return {sum[0] / pixels, sum[1] / pixels, sum[2] / pixels};
}

TDatabaseColorCorrectionMatrix identity() {
  return {1, {1, 0, 0, 0, 1, 0, 0, 0, 1}, {0, 0, 0}, 0, nullptr};
}

// Rows sum to 1: greys stay grey, colours move away from grey.
constexpr float kSaturating[9] = {1.6f, -0.4f, -0.2f, -0.3f, 1.5f, -0.2f, -0.1f, -0.5f, 1.6f};

float chroma(const Colour &c) {
  const float mean = (c[0] + c[1] + c[2]) / 3;
  return std::fabs(c[0] - mean) + std::fabs(c[1] - mean) + std::fabs(c[2] - mean);
}

TEST(StageColorCorrectionMatrix, MatrixAndOffsetsMoveThePatches) {
  const Colour kRed = {0.40f, 0.20f, 0.10f};
  const Colour kGrey = {0.30f, 0.30f, 0.30f};
  const struct Case {
    const char *name;
    std::function<void(TDatabaseColorCorrectionMatrix &)> set;
    Colour input;
    bool changes;
    std::function<void(const Colour &in, const Colour &out)> check;
  } kCases[] = {
      {"identity passes through", [](auto &) {}, kRed, false, nullptr},
      {"bypassed passes through",
       [](auto &s) {
         std::copy(kSaturating, kSaturating + 9, s.ccMatrix);
         s.state = 0;
       },
       kRed, false, nullptr},
      {"saturating matrix moves a colour away from grey",
       [](auto &s) { std::copy(kSaturating, kSaturating + 9, s.ccMatrix); }, kRed, true,
       [](const Colour &in, const Colour &out) { EXPECT_GT(chroma(out), 1.4f * chroma(in)); }},
      {"rows summing to one keep grey grey",
       [](auto &s) { std::copy(kSaturating, kSaturating + 9, s.ccMatrix); }, kGrey, true,
       [](const Colour &, const Colour &out) { EXPECT_LT(chroma(out), 1e-4f); }},
      {"swapping rows swaps red and blue",
       [](auto &s) {
         const float swap[9] = {0, 0, 1, 0, 1, 0, 1, 0, 0};
         std::copy(swap, swap + 9, s.ccMatrix);
       },
       kRed, true,
       [](const Colour &in, const Colour &out) {
         EXPECT_NEAR(out[0], in[2], 1e-5f);
         EXPECT_NEAR(out[2], in[0], 1e-5f);
       }},
      {"red offset in 12-bit codes raises red only", [](auto &s) { s.ccOffset[0] = 409.5f; }, kGrey,
       true,
       [](const Colour &in, const Colour &out) {
         EXPECT_NEAR(out[0] - in[0], 0.1f, 1e-4f);
         EXPECT_NEAR(out[1], in[1], 1e-6f);
       }},
      {"negative results clip at black", [](auto &s) { s.ccOffset[2] = -4095.0f; }, kGrey, true,
       [](const Colour &, const Colour &out) { EXPECT_EQ(out[2], 0.0f); }},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabaseColorCorrectionMatrix state = identity();
    c.set(state);
    const RgbImage in = patch(c.input);
    RgbImage out;
    const FrameContext context;
    ASSERT_EQ(stageColorCorrectionMatrix(in, state, context, out), c.changes);
    if (!c.changes) continue;
    ASSERT_EQ(out.data.size(), in.data.size());
    c.check(meanColour(in), meanColour(out));
  }
}

}  // namespace
}  // namespace tcamera
