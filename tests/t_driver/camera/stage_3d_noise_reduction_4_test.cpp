#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database_records/3d_noise_reduction_4.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 80, kHeight = 60;
constexpr float kNoise = 0.02f;  // per channel, encoded levels
constexpr int kFrames = 10;

// The block's settings as shipped, with a noise model that matches kNoise: the luma of
// independent channel noise deviates by 0.67 kNoise, 55 levels of 4095, variance about 3000.
TDatabase3DNoiseReduction_4 matched() {
  TDatabase3DNoiseReduction_4 s{};
  s.state = 1;
  s.dilateH = 2;
  s.filterLen = 5, s.filterLen2 = 3;
  s.fixCurveStart = 128;
  s.isGammaFeBe = 1, s.isGaussBlur = 1, s.isMotionDilate = 1;
  s.inputBits = 12;
  s.motionSmoothFactor = 0.5, s.motionSmoothLevel = 2;
  s.noiseLevel = 16;  // twice the deviation of the (matched) model
  s.noiseModelA = 0, s.noiseModelB = 3000;
  s.sadWeight = 8, s.sqrDiffFactor = 4;
  s.thrMotionSlope = 256;
  const uint16_t x[12] = {0, 128, 256, 512, 768, 1024, 1536, 2048, 2560, 3072, 3584, 4095};
  const uint16_t y[12] = {1023, 1000, 960, 900, 840, 780, 700, 640, 600, 560, 520, 512};
  const uint16_t slope[12] = {16, 24, 32, 48, 64, 96, 128, 160, 192, 224, 240, 255};
  std::copy(x, x + 12, s.tnrLumaCurveX);
  std::copy(y, y + 12, s.tnrLumaCurveY);
  std::copy(slope, slope + 12, s.tnrMotionSlopeY);
  s.tnrStrength = 128, s.tnrStrength2 = 96;
  s.vstFactor = 1.0;
  return s;
}

// A static grey ramp with fresh noise every frame.
RgbImage noisyFrame(int frame) {
  auto noise = testing::noiseSource(kNoise, 100 + frame);
  return testing::makeRgb(kWidth, kHeight,
                          [&](int x, int, int) { return 0.2f + 0.6f * x / kWidth + noise(); });
}

struct Variances {
  float luma = 0, chroma = 0;  // of the change between the last two frames
};

Variances frameToFrame(const RgbImage &a, const RgbImage &b) {
  double l = 0, l2 = 0, c = 0, c2 = 0;
  const size_t pixels = a.data.size() / 3;
  for (size_t i = 0; i < pixels; ++i) {
    float d[3];
    for (int k = 0; k < 3; ++k) d[k] = a.data[i * 3 + k] - b.data[i * 3 + k];
    const double luma = 0.299 * d[0] + 0.587 * d[1] + 0.114 * d[2];
    const double cr = d[0] - luma;
    l += luma, l2 += luma * luma, c += cr, c2 += cr * cr;
  }
  const double n = static_cast<double>(pixels);
  return {static_cast<float>(l2 / n - (l / n) * (l / n)),
          static_cast<float>(c2 / n - (c / n) * (c / n))};
}

// Runs kFrames through the stage, keeping the history as the pipeline does; returns the
// frame-to-frame variances of the output over those of the input, for the last two frames.
Variances reduction(const TDatabase3DNoiseReduction_4 &state, float *meanShift = nullptr) {
  TemporalHistory history;
  RgbImage last, lastIn;
  for (int frame = 0; frame < kFrames; ++frame) {
    RgbImage in = noisyFrame(frame), out;
    FrameContext context;
    context.frameNumber = frame;
    if (!stage3DNoiseReduction_4(in, state, context, history, out)) out = in;
    if (frame == kFrames - 1) {
      const Variances before = frameToFrame(in, lastIn), after = frameToFrame(out, last);
      if (meanShift) {
        double shift = 0;
        for (size_t i = 0; i < in.data.size(); ++i) shift += out.data[i] - in.data[i];
        *meanShift = static_cast<float>(shift / in.data.size());
      }
      return {after.luma / before.luma, after.chroma / before.chroma};
    }
    lastIn = in;
    last = out;
    history.previous = out;
    history.frameNumber = frame;
    history.valid = true;
  }
  return {};
}

TEST(Stage3DNoiseReduction_4, StaticNoiseDropsFrameToFrame) {
  const Variances reference = reduction(matched());
  const struct Case {
    const char *name;
    std::function<void(TDatabase3DNoiseReduction_4 &)> set;
    float lumaLow, lumaHigh, chromaLow, chromaHigh;  // ratios to the input's
  } kCases[] = {
      {"bypassed", [](auto &s) { s.state = 0; }, 0.999f, 1.001f, 0.999f, 1.001f},
      {"matched noise model", [](auto &) {}, 0, 0.45f, 0, 0.5f},
      {"no luma strength keeps the luma noise", [](auto &s) { s.tnrStrength = 0; }, 0.95f, 1.05f, 0,
       0.5f},
      {"no chroma strength keeps the chroma noise", [](auto &s) { s.tnrStrength2 = 0; }, 0, 0.45f,
       0.95f, 1.05f},
      {"more strength, less noise", [](auto &s) { s.tnrStrength = 255; }, 0, 0.7f * reference.luma,
       0, 1},
      {"a zero luma curve stops the blend",
       [](auto &s) { std::fill(s.tnrLumaCurveY, s.tnrLumaCurveY + 12, 0); }, 0.99f, 1.01f, 0.99f,
       1.01f},
      {"a noise model far below the noise sees motion everywhere",
       [](auto &s) { s.noiseModelB = 30; }, 0.9f, 1.01f, 0.9f, 1.01f},
      {"a lower motion threshold keeps more noise", [](auto &s) { s.noiseLevel = 4; },
       1.3f * reference.luma, 1, 0, 1},
      {"a threshold at the noise sees much of it as motion", [](auto &s) { s.noiseLevel = 8; },
       0.6f, 1, 0, 1},
      {"... unless the motion slope is gentle",
       [](auto &s) {
         s.noiseLevel = 8;
         s.thrMotionSlope = 16;
       },
       0, 0.45f, 0, 1},
      {"squared differences with the same model", [](auto &s) { s.diffType = 1; }, 0, 0.6f, 0,
       0.6f},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabase3DNoiseReduction_4 state = matched();
    c.set(state);
    float shift = 1;
    const Variances v = reduction(state, &shift);
    EXPECT_GE(v.luma, c.lumaLow);
    EXPECT_LE(v.luma, c.lumaHigh);
    EXPECT_GE(v.chroma, c.chromaLow);
    EXPECT_LE(v.chroma, c.chromaHigh);
    EXPECT_LT(std::fabs(shift), 0.002f);  // averaging over time keeps the level
  }
}

// An edge that moves 8 pixels between frames: where it was, the new frame must show through.
TEST(Stage3DNoiseReduction_4, MovingEdgeDoesNotSmear) {
  auto edgeAt = [](int edge, int seed) {
    auto noise = testing::noiseSource(kNoise, seed);
    return testing::makeRgb(kWidth, kHeight,
                            [&](int x, int, int) { return (x < edge ? 0.2f : 0.8f) + noise(); });
  };
  const struct Case {
    const char *name;
    std::function<void(TDatabase3DNoiseReduction_4 &)> set;
    float ghostLow, ghostHigh;  // mean |out - in| over the columns the edge crossed
  } kCases[] = {
      {"motion is detected", [](auto &) {}, 0, 0.01f},
      {"with the threshold above the step, the edge smears", [](auto &s) { s.noiseLevel = 65535; },
       0.1f, 1},
      {"without motion slope, the edge smears",
       [](auto &s) { std::fill(s.tnrMotionSlopeY, s.tnrMotionSlopeY + 12, 0); }, 0.1f, 1},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.name);
    TDatabase3DNoiseReduction_4 state = matched();
    c.set(state);
    TemporalHistory history;
    history.previous = edgeAt(40, 1);
    history.valid = true;
    const RgbImage in = edgeAt(48, 2);
    RgbImage out;
    ASSERT_TRUE(stage3DNoiseReduction_4(in, state, FrameContext{}, history, out));
    double ghost = 0;
    int count = 0;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 41; x < 47; ++x, ++count)
        ghost += std::fabs(out.pixel(x, y)[1] - in.pixel(x, y)[1]);
    ghost /= count;
    EXPECT_GE(ghost, c.ghostLow);
    EXPECT_LE(ghost, c.ghostHigh);
  }
}

// Dilation spreads the motion of a moving edge sideways: the still pixels beside it then show
// the current frame rather than a blend.
TEST(Stage3DNoiseReduction_4, DilationWidensTheMotionAroundAnEdge) {
  auto edgeAt = [](int edge, int seed) {
    auto noise = testing::noiseSource(kNoise, seed);
    return testing::makeRgb(kWidth, kHeight,
                            [&](int x, int, int) { return (x < edge ? 0.2f : 0.8f) + noise(); });
  };
  TemporalHistory history;
  history.previous = edgeAt(40, 1);
  history.valid = true;
  const RgbImage in = edgeAt(48, 2);
  float change[2];
  for (int dilate = 0; dilate < 2; ++dilate) {
    TDatabase3DNoiseReduction_4 state = matched();
    state.isMotionDilate = static_cast<uint8_t>(dilate);
    state.dilateH = 12;
    RgbImage out;
    ASSERT_TRUE(stage3DNoiseReduction_4(in, state, FrameContext{}, history, out));
    double sum = 0;
    int count = 0;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 30; x < 35; ++x, ++count)
        sum += std::fabs(out.pixel(x, y)[1] - in.pixel(x, y)[1]);
    change[dilate] = static_cast<float>(sum / count);
  }
  EXPECT_GT(change[0], 0.005f);  // blended with the previous frame's noise
  EXPECT_LT(change[1], 0.2f * change[0]);
}

TEST(Stage3DNoiseReduction_4, NoHistoryNoBlend) {
  const RgbImage in = noisyFrame(0);
  RgbImage out;
  TemporalHistory history;
  EXPECT_FALSE(stage3DNoiseReduction_4(in, matched(), FrameContext{}, history, out));
  history.previous = testing::makeRgb(kWidth / 2, kHeight, [](int, int, int) { return 0.5f; });
  history.valid = true;  // a frame of another size
  EXPECT_FALSE(stage3DNoiseReduction_4(in, matched(), FrameContext{}, history, out));
}

}  // namespace
}  // namespace tcamera
