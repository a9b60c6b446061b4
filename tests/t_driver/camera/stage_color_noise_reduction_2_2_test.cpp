#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "stages.h"
#include "t_database_records/color_noise_reduction_2_2.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 96, kHeight = 72;

struct Stats {
  float chromaVariance = 0;  // mean of the Cb and Cr variances
  std::array<float, 3> mean{};
};

float luma(const float *p) {
  return 0.299f * p[0] + 0.587f * p[1] + 0.114f * p[2];
}

Stats measure(const RgbImage &image, int x0, int x1) {
  double sum[2] = {}, sum2[2] = {}, rgb[3] = {};
  int count = 0;
  for (int y = 0; y < image.height; ++y)
    for (int x = x0; x < x1; ++x, ++count) {
      const float *p = image.pixel(x, y);
      const float yy = luma(p);
      const double c[2] = {(p[2] - yy) * 0.564, (p[0] - yy) * 0.713};
      for (int k = 0; k < 2; ++k) sum[k] += c[k], sum2[k] += c[k] * c[k];
      for (int k = 0; k < 3; ++k) rgb[k] += p[k];
    }
  Stats s;
  for (int k = 0; k < 2; ++k) {
    const double m = sum[k] / count;
    s.chromaVariance += static_cast<float>(0.5 * (sum2[k] / count - m * m));
  }
  for (int k = 0; k < 3; ++k) s.mean[k] = static_cast<float>(rgb[k] / count);
  return s;
}

// A flat muted orange with chroma noise in blotches of 4 x 4 pixels and fine grain, luma
// kept; luma texture (a 2-pixel checker of +-texture) optional.
RgbImage noisyPatch(float texture) {
  auto blotch = testing::noiseSource(0.03f, 7);
  auto grain = testing::noiseSource(0.015f, 8);
  std::vector<float> coarse((kWidth / 4) * (kHeight / 4) * 2);
  for (float &v : coarse) v = blotch();
  return testing::makeRgb(kWidth, kHeight, [&](int x, int y, int c) {
    static float pixel[3];
    if (c == 0) {
      const float *n = &coarse[((y / 4) * (kWidth / 4) + x / 4) * 2];
      const float cb = -0.08f + n[0] + grain(), cr = 0.08f + n[1] + grain();
      const float yy = 0.5f + (((x / 2 + y / 2) & 1) ? texture : -texture);
      const float r = yy + cr / 0.713f, b = yy + cb / 0.564f;
      const float g = (yy - 0.299f * r - 0.114f * b) / 0.587f;
      pixel[0] = r, pixel[1] = g, pixel[2] = b;
    }
    return pixel[c];
  });
}

// Red on the left, blue on the right, same luma, no noise.
RgbImage colourEdge() {
  return testing::makeRgb(kWidth, kHeight, [](int x, int, int c) {
    const std::array<float, 3> red = {0.7f, 0.3f, 0.3f}, blue = {0.3f, 0.41f, 0.7f};
    return x < kWidth / 2 ? red[c] : blue[c];
  });
}

TDatabaseColorNoiseReduction_2_2 defaults() {
  return {1, {2.0f, 4.0f, 8.0f}, 128, 0, 0};
}

TEST(StageColorNoiseReduction_2_2, LowersChromaNoiseAndKeepsColour) {
  const RgbImage flat = noisyPatch(0), textured = noisyPatch(0.1f), edge = colourEdge();
  RgbImage reference;
  ASSERT_TRUE(stageColorNoiseReduction_2_2(flat, defaults(), FrameContext{}, reference));
  const Stats flatIn = measure(flat, 0, kWidth), referenceOut = measure(reference, 0, kWidth);
  using Check = std::function<void(const RgbImage &in, const RgbImage &out)>;
  const struct Case {
    const char *name;
    const RgbImage *input;
    std::function<void(TDatabaseColorNoiseReduction_2_2 &)> set;
    bool changes;
    Check check;
  } kCases[] = {
      {"bypassed", &flat, [](auto &s) { s.state = 0; }, false, nullptr},
      {"no strength", &flat, [](auto &s) { s.cnrStrength = 0; }, false, nullptr},
      {"defaults lower the chroma variance and keep the mean colour", &flat, [](auto &) {}, true,
       [&](const RgbImage &, const RgbImage &out) {
         const Stats s = measure(out, 0, kWidth);
         EXPECT_LT(s.chromaVariance, 0.5f * flatIn.chromaVariance);
         for (int c = 0; c < 3; ++c) EXPECT_NEAR(s.mean[c], flatIn.mean[c], 0.004f) << c;
       }},
      {"luma is untouched", &flat, [](auto &) {}, true,
       [](const RgbImage &in, const RgbImage &out) {
         float worst = 0;
         for (size_t i = 0; i < in.data.size(); i += 3)
           worst = std::max(worst, std::fabs(luma(&in.data[i]) - luma(&out.data[i])));
         EXPECT_LT(worst, 1e-4f);
       }},
      {"more strength lowers it further", &flat, [](auto &s) { s.cnrStrength = 255; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(measure(out, 0, kWidth).chromaVariance, 0.8f * referenceOut.chromaVariance);
       }},
      {"a larger coarse-layer sigma lowers it further", &flat,
       [](auto &s) { s.cSigmaLayer[2] = 32; }, true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(measure(out, 0, kWidth).chromaVariance, 0.8f * referenceOut.chromaVariance);
       }},
      {"a larger fine-layer sigma lowers it further", &flat, [](auto &s) { s.cSigmaLayer[0] = 16; },
       true,
       [&](const RgbImage &, const RgbImage &out) {
         EXPECT_LT(measure(out, 0, kWidth).chromaVariance, 0.8f * referenceOut.chromaVariance);
       }},
      {"a colour edge stays sharp and the patches keep their colour", &edge, [](auto &) {}, true,
       [](const RgbImage &in, const RgbImage &out) {
         auto step = [](const RgbImage &image) {
           return measure(image, kWidth / 2 - 1, kWidth / 2).mean[0] -
                  measure(image, kWidth / 2, kWidth / 2 + 1).mean[0];
         };
         EXPECT_GT(step(out), 0.8f * step(in));
         for (const int x0 : {0, kWidth - 8}) {
           const Stats before = measure(in, x0, x0 + 8), after = measure(out, x0, x0 + 8);
           for (int c = 0; c < 3; ++c) EXPECT_NEAR(after.mean[c], before.mean[c], 0.01f) << x0;
         }
       }},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabaseColorNoiseReduction_2_2 state = defaults();
    c.set(state);
    RgbImage out;
    ASSERT_EQ(stageColorNoiseReduction_2_2(*c.input, state, FrameContext{}, out), c.changes);
    if (c.changes) c.check(*c.input, out);
  }

  // Luma texture protects the chroma detail under it, the more layers the more.
  float variance[3];
  for (uint8_t select = 0; select < 3; ++select) {
    TDatabaseColorNoiseReduction_2_2 state = defaults();
    state.textureMaskSelect = select;
    RgbImage out;
    ASSERT_TRUE(stageColorNoiseReduction_2_2(textured, state, FrameContext{}, out));
    variance[select] = measure(out, 0, kWidth).chromaVariance;
  }
  EXPECT_GT(variance[1], 1.2f * variance[0]);
  EXPECT_GT(variance[2], 1.2f * variance[1]);
}

}  // namespace
}  // namespace tcamera
