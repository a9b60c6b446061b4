#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database.h"
#include "test_images.h"

namespace tcamera {
namespace {

constexpr int kWidth = 80, kHeight = 60;

TDatabase2DNoiseReduction_6 defaults() {
  return testing::builtInRecord<TDatabase2DNoiseReduction_6>("2DNR_6");
}

// Mid grey with the noise a 10-bit sensor has there (8 codes).
Mosaic noisyFlat() {
  auto noise = testing::noiseSource(8, 7);
  return testing::makeMosaic(kWidth, kHeight, [&](int, int, Cfa) { return 400 + noise(); });
}

// Vertical bars, 8 sites wide, 200 codes apart, with the same noise.
Mosaic noisyBars() {
  auto noise = testing::noiseSource(8, 11);
  return testing::makeMosaic(kWidth, kHeight,
                             [&](int x, int, Cfa) { return ((x / 8) & 1 ? 500 : 300) + noise(); });
}

// Sites of one colour (red of RGGB) away from the border.
template <typename F>
void forRedSites(const Mosaic &m, F f) {
  for (int y = 4; y < m.height - 4; y += 2)
    for (int x = 4; x < m.width - 4; x += 2) f(x, y, m.at(x, y));
}

float variance(const Mosaic &m) {
  double sum = 0, squares = 0;
  int n = 0;
  forRedSites(m, [&](int, int, float v) { sum += v, squares += v * v, ++n; });
  const double mean = sum / n;
  return static_cast<float>(squares / n - mean * mean);
}

// Mean level of the bright bars minus that of the dark ones: the picture's contrast.
float barContrast(const Mosaic &m) {
  double bright = 0, dark = 0;
  int nb = 0, nd = 0;
  forRedSites(m, [&](int x, int, float v) {
    if ((x / 8) & 1)
      bright += v, ++nb;
    else
      dark += v, ++nd;
  });
  return static_cast<float>(bright / nb - dark / nd);
}

Mosaic run(const Mosaic &in, const TDatabase2DNoiseReduction_6 &state, float gain = 1) {
  FrameContext context;
  context.sensorGain = gain;
  Mosaic out;
  if (!stage2DNoiseReduction_6(in, state, context, out)) return in;
  return out;
}

TEST(Stage2DNoiseReduction6, StrengthsMoveTheFlatAreaVariance) {
  const Mosaic flat = noisyFlat();
  const float input = variance(flat);
  const struct Case {
    const char *name;
    std::function<void(TDatabase2DNoiseReduction_6 &)> set;
    float gain;
    float lowest, highest;  // accepted range of output / input variance
  } kCases[] = {
      {"defaults lower the flat-area variance", [](auto &) {}, 1, 0, 0.5f},
      {"bypassed leaves it", [](auto &s) { s.state = 0; }, 1, 1, 1},
      {"no range (scale 0) leaves it", [](auto &s) { s.sigmaScale[0] = 0; }, 1, 0.98f, 1.02f},
      {"a quarter of the sigma scale removes less", [](auto &s) { s.sigmaScale[0] = 0.25f; }, 1,
       0.5f, 1},
      {"the finest level's sigma factor acts like the scale",
       [](auto &s) { s.sigmaFactorMul[0] = 0.25f; }, 1, 0.5f, 1},
      {"a low luma curve removes less",
       [](auto &s) { std::fill(std::begin(s.lumaCurveY), std::end(s.lumaCurveY), 16); }, 1, 0.5f,
       1},
      {"the luma curve is ignored when luma control is off",
       [](auto &s) {
         std::fill(std::begin(s.lumaCurveY), std::end(s.lumaCurveY), 16);
         s.isLumaCtrl = 0;
       },
       1, 0, 0.5f},
      {"no detail thresholds give the noise back",
       [](auto &s) {
         s.staticDetailThresh[0][0] = 0;
         s.movingDetailThresh[0][0] = 0;
       },
       1, 0.9f, 1.1f},
  };
  for (const auto &c : kCases) {
    TDatabase2DNoiseReduction_6 state = defaults();
    c.set(state);
    const float ratio = variance(run(flat, state, c.gain)) / input;
    EXPECT_GE(ratio, c.lowest) << c.name;
    EXPECT_LE(ratio, c.highest) << c.name;
  }
}

TEST(Stage2DNoiseReduction6, NoiseModelFollowsGainAndFilterSettings) {
  // Pairs of settings, the second of which must leave less variance than the first.
  const Mosaic flat = noisyFlat();
  const struct Case {
    const char *name;
    std::function<void(TDatabase2DNoiseReduction_6 &)> weaker, stronger;
    float weakGain, strongGain;
  } kCases[] = {
      {"more sensor gain expects more noise", [](auto &s) { s.sigmaScale[0] = 0.3f; },
       [](auto &s) { s.sigmaScale[0] = 0.3f; }, 1, 8},
      {"a higher noise floor", [](auto &s) { s.sigmaScale[0] = 0.3f; },
       [](auto &s) {
         s.sigmaScale[0] = 0.3f;
         s.sigmaOffset = 64;
       },
       1, 1},
      {"a larger stabilisation factor", [](auto &s) { s.sigmaScale[0] = 0.3f; },
       [](auto &s) {
         s.sigmaScale[0] = 0.3f;
         s.vstFactor = 3;
       },
       1, 1},
      {"a wider static filter", [](auto &s) { s.sigmaScale[0] = 0.3f; },
       [](auto &s) {
         s.sigmaScale[0] = 0.3f;
         s.sigmaFactorMotionMin = 192;
         s.staticFactor[0] = 2;
       },
       1, 1},
      {"higher detail thresholds",
       [](auto &s) {
         s.staticDetailThresh[0][0] = 4;
         s.movingDetailThresh[0][0] = 4;
       },
       [](auto &s) {
         s.staticDetailThresh[0][0] = 200;
         s.movingDetailThresh[0][0] = 200;
       },
       1, 1},
      {"more of the wider moving filter",
       [](auto &s) {
         s.sigmaScale[0] = 0.3f;
         s.blendStatic = 0;
       },
       [](auto &s) {
         s.sigmaScale[0] = 0.3f;
         s.blendStatic = 1;
       },
       1, 1},
  };
  for (const auto &c : kCases) {
    TDatabase2DNoiseReduction_6 weak = defaults(), strong = defaults();
    c.weaker(weak);
    c.stronger(strong);
    const float before = variance(run(flat, weak, c.weakGain));
    const float after = variance(run(flat, strong, c.strongGain));
    EXPECT_LT(after, 0.85f * before) << c.name << ": " << before << " -> " << after;
  }
}

TEST(Stage2DNoiseReduction6, EdgesKeepTheirContrastAndDetailBoostRaisesIt) {
  const Mosaic bars = noisyBars();
  const float input = barContrast(bars);
  TDatabase2DNoiseReduction_6 state = defaults();
  const Mosaic filtered = run(bars, state);
  EXPECT_NEAR(barContrast(filtered) / input, 1, 0.05f);
  EXPECT_LT(variance(filtered), variance(bars));
  // Detail above the boost threshold comes back stronger.
  state.staticDetailBoost[0][0] = state.movingDetailBoost[0][0] = 2;
  state.staticDetailBoostThresh[0][0] = state.movingDetailBoostThresh[0][0] = 16;
  state.sigmaScale[0] = 20;  // the range filter then flattens the bars into detail to give back
  const float plain = [&] {
    TDatabase2DNoiseReduction_6 s = state;
    s.staticDetailBoost[0][0] = s.movingDetailBoost[0][0] = 1;
    return barContrast(run(bars, s));
  }();
  EXPECT_GT(barContrast(run(bars, state)), 1.1f * plain);
}

}  // namespace
}  // namespace tcamera
