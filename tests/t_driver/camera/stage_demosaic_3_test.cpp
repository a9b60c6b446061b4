#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "stages.h"
#include "t_database.h"
#include "test_images.h"

namespace tcamera {
namespace {

using Colour = std::array<float, 3>;
using Scene = std::function<Colour(float x, float y)>;

constexpr int kWidth = 96, kHeight = 72;
constexpr int kMargin = 4;  // border sites left out of the measures

TDatabaseDeMosaic_3 defaults() {
  return testing::builtInRecord<TDatabaseDeMosaic_3>("DMSC_3");
}

// The mosaic a 10-bit sensor makes of a scene given in full-scale units.
Mosaic capture(const Scene &scene) {
  return testing::makeMosaic(kWidth, kHeight, [&](int x, int y, Cfa c) {
    const Colour v = scene(static_cast<float>(x), static_cast<float>(y));
    const int channel = c == Cfa::kRed ? 0 : c == Cfa::kBlue ? 2 : 1;
    return 959.0f * v[channel];
  });
}

RgbImage render(const Scene &scene, const TDatabaseDeMosaic_3 &state, float gain = 1) {
  FrameContext context;
  context.sensorGain = gain;
  RgbImage out;
  EXPECT_TRUE(stageDeMosaic_3(capture(scene), state, context, out));
  return out;
}

template <typename F>
float meanOver(const RgbImage &image, F f) {
  double sum = 0;
  int count = 0;
  for (int y = kMargin; y < image.height - kMargin; ++y)
    for (int x = kMargin; x < image.width - kMargin; ++x, ++count)
      sum += f(x, y, image.pixel(x, y));
  return static_cast<float>(sum / count);
}

float colourError(const RgbImage &image, const Scene &scene) {
  return meanOver(image, [&](int x, int y, const float *p) {
    const Colour t = scene(static_cast<float>(x), static_cast<float>(y));
    return std::fabs(p[0] - t[0]) + std::fabs(p[1] - t[1]) + std::fabs(p[2] - t[2]);
  });
}

float chroma(const float *p) {
  return std::fabs(p[0] - p[1]) + std::fabs(p[2] - p[1]);
}

float meanChroma(const RgbImage &image) {
  return meanOver(image, [](int, int, const float *p) { return chroma(p); });
}

// Energy of the green's 3 x 3 Laplacian: what sharpening raises.
float highFrequency(const RgbImage &image) {
  return meanOver(image, [&](int x, int y, const float *p) {
    const float lap = 4 * p[1] - image.pixel(x - 1, y)[1] - image.pixel(x + 1, y)[1] -
                      image.pixel(x, y - 1)[1] - image.pixel(x, y + 1)[1];
    return lap * lap;
  });
}

// Red and blue against green at the edges: what lateral chromatic aberration leaves.
float fringe(const RgbImage &image) {
  return meanOver(image, [](int, int, const float *p) {
    return std::fabs(p[0] - p[1]) + std::fabs(p[2] - p[1]);
  });
}

Colour grey(float v) {
  return {v, v, v};
}

// Scenes, in full-scale units.
const Scene kGreyDisc = [](float x, float y) {
  const float r = std::hypot(x - 47.5f, y - 35.5f);
  return grey(r < 22 ? 0.7f : 0.15f);
};
const Scene kColourRamp = [](float x, float y) {
  return Colour{0.1f + 0.006f * x, 0.2f + 0.004f * y, 0.6f - 0.004f * x};
};
const Scene kFineGrating = [](float x, float y) {
  return grey(0.4f + 0.3f * std::sin(2.3f * x + 0.4f * y));
};
const Scene kSoftBars = [](float x, float) { return grey(0.4f + 0.15f * std::sin(0.6f * x)); };
// Thin dark lines, one site wide, every eighth column; and bars eight sites wide.
const Scene kThinLines = [](float x, float) {
  return grey(static_cast<int>(x) % 8 == 3 ? 0.5f : 0.6f);
};
const Scene kWideBars = [](float x, float) {
  return grey((static_cast<int>(x) / 8) % 2 ? 0.2f : 0.6f);
};

// Mean green of the sites beside the lines minus that on them.
float lineContrast(const RgbImage &image) {
  double on = 0, off = 0;
  int n = 0;
  for (int y = kMargin; y < image.height - kMargin; ++y)
    for (int x = 8; x < image.width - 8; x += 8, ++n) {
      on += image.pixel(x + 3, y)[1];
      off += 0.5f * (image.pixel(x + 1, y)[1] + image.pixel(x + 5, y)[1]);
    }
  return static_cast<float>((off - on) / n);
}

// A disc with a soft rim whose red image is 4% larger than its green and blue ones, as a
// lens with lateral chromatic aberration draws it.
float softDisc(float r) {
  return 0.1f + 0.6f * std::clamp((28 - r) / 4 + 0.5f, 0.0f, 1.0f);
}
const Scene kAberratedDisc = [](float x, float y) {
  const float r = std::hypot(x - 47.5f, y - 35.5f);
  return Colour{softDisc(r / 1.04f), softDisc(r), softDisc(r)};
};
// Dark left, bright right, with a purple band on the dark side of the edge.
const Scene kPurpleFringe = [](float x, float) {
  if (x >= 48) return grey(0.9f);
  if (x >= 44) return Colour{0.25f, 0.08f, 0.45f};
  return grey(0.08f);
};
const Scene kPurplePatch = [](float, float) { return Colour{0.25f, 0.08f, 0.45f}; };
// Flat grey with the green sites of red rows reading 3% higher than those of blue rows.
Mosaic greenImbalance() {
  return testing::makeMosaic(kWidth, kHeight, [](int, int, Cfa c) {
    return c == Cfa::kGreenRed ? 0.4f * 959 * 1.03f : 0.4f * 959;
  });
}

float greenCheckerboard(const RgbImage &image) {
  return meanOver(image, [&](int x, int y, const float *p) {
    return std::fabs(p[1] - 0.5f * (image.pixel(x + 1, y)[1] + image.pixel(x, y + 1)[1]));
  });
}

TEST(StageDeMosaic3, ParametersMoveTheMeasuredProperty) {
  const auto plain = [](TDatabaseDeMosaic_3 &s) {
    s.isSharpen = 0;
    s.isDeFalseColor = 0;
    s.isDePurple = 0;
    s.isCac = 0;
  };
  const auto sharpened = [&](TDatabaseDeMosaic_3 &s) {
    plain(s);
    s.isSharpen = 1;
  };
  const struct Case {
    const char *name;
    Scene scene;
    std::function<void(TDatabaseDeMosaic_3 &)> base, variant;
    std::function<float(const RgbImage &)> measure;
    float lowest, highest;  // accepted range of variant / base
  } kCases[] = {
      {"edge-directed interpolation: less error than bilinear on an edge", kGreyDisc,
       [](auto &s) { s.state = 0; }, plain,
       [](const RgbImage &i) { return colourError(i, kGreyDisc); }, 0, 0.75f},
      {"edge-directed interpolation: fewer false colours than bilinear", kGreyDisc,
       [](auto &s) { s.state = 0; }, plain, meanChroma, 0, 0.75f},
      {"no second-difference correction: more error on an edge", kGreyDisc, plain,
       [&](auto &s) {
         plain(s);
         s.interpDirStrength[0] = s.interpDirStrength[1] = 0;
         s.interpDirStrength[2] = s.interpDirStrength[3] = 0;
       },
       [](const RgbImage &i) { return colourError(i, kGreyDisc); }, 1.1f, 100},
      {"false-colour suppression on fine grey detail", kFineGrating, plain,
       [&](auto &s) {
         plain(s);
         s.isDeFalseColor = 1;
       },
       meanChroma, 0, 0.6f},
      {"weaker false-colour suppression keeps more false colour", kFineGrating,
       [&](auto &s) {
         plain(s);
         s.isDeFalseColor = 1;
       },
       [&](auto &s) {
         plain(s);
         s.isDeFalseColor = 1;
         s.colorStrength = 4;
       },
       meanChroma, 1.2f, 100},
      {"sharpening raises high-frequency energy", kSoftBars, plain, sharpened, highFrequency, 1.2f,
       100},
      {"a higher mid-level curve gain sharpens more", kSoftBars, sharpened,
       [&](auto &s) {
         sharpened(s);
         s.sharpenCurve[0].layerR2 = 512;
       },
       highFrequency, 1.2f, 100},
      {"a coring threshold above the detail turns sharpening off", kSoftBars, plain,
       [&](auto &s) {
         sharpened(s);
         s.threshold = 255;
       },
       highFrequency, 0.95f, 1.05f},
      {"line sharpening raises the contrast of thin lines", kThinLines, sharpened,
       [&](auto &s) {
         sharpened(s);
         s.isSharpenLine = 1;
       },
       lineContrast, 1.1f, 100},
      {"line sharpening leaves edges of wide bars alone", kWideBars, sharpened,
       [&](auto &s) {
         sharpened(s);
         s.isSharpenLine = 1;
       },
       highFrequency, 0.97f, 1.03f},
      {"a stronger line curve sharpens lines more", kThinLines,
       [&](auto &s) {
         plain(s);
         s.isSharpenLine = 1;
       },
       [&](auto &s) {
         plain(s);
         s.isSharpenLine = 1;
         s.sharpenLineCurve[0].strength = 255;
         s.sharpenLineCurve[0].r2 = 255;
       },
       lineContrast, 1.05f, 100},
      {"aberration correction with the lens's red scale removes fringes", kAberratedDisc, plain,
       [&](auto &s) {
         plain(s);
         s.isCac = 1;
         s.cac.aRed = 0.04f;
       },
       fringe, 0, 0.5f},
      {"aberration correction the wrong way adds fringes", kAberratedDisc, plain,
       [&](auto &s) {
         plain(s);
         s.isCac = 1;
         s.cac.aRed = -0.04f;
       },
       fringe, 1.5f, 100},
      {"purple fringe beside an edge loses its colour", kPurpleFringe, plain,
       [&](auto &s) {
         plain(s);
         s.isDePurple = 1;
       },
       meanChroma, 0, 0.8f},
      {"a purple object away from edges keeps its colour", kPurplePatch, plain,
       [&](auto &s) {
         plain(s);
         s.isDePurple = 1;
       },
       meanChroma, 0.98f, 1.02f},
  };
  for (const auto &c : kCases) {
    TDatabaseDeMosaic_3 base = defaults(), variant = defaults();
    c.base(base);
    c.variant(variant);
    const float before = c.measure(render(c.scene, base));
    const float after = c.measure(render(c.scene, variant));
    ASSERT_GT(before, 0) << c.name;
    EXPECT_GE(after / before, c.lowest) << c.name << ": " << before << " -> " << after;
    EXPECT_LE(after / before, c.highest) << c.name << ": " << before << " -> " << after;
  }
}

TEST(StageDeMosaic3, SmoothColoursComeBackClose) {
  TDatabaseDeMosaic_3 state = defaults();
  state.isSharpen = 0;
  for (const bool bypassed : {false, true}) {
    state.state = bypassed ? 0 : 1;
    const RgbImage out = render(kColourRamp, state);
    EXPECT_LT(colourError(out, kColourRamp), 0.01f) << bypassed;
  }
}

TEST(StageDeMosaic3, GreenRefinementEvensOutTheTwoGreens) {
  TDatabaseDeMosaic_3 state = defaults();
  state.isSharpen = 0;
  FrameContext context;
  RgbImage off, on;
  state.isDeMoireRefineGreen = 0;
  stageDeMosaic_3(greenImbalance(), state, context, off);
  state.isDeMoireRefineGreen = 1;
  stageDeMosaic_3(greenImbalance(), state, context, on);
  EXPECT_GT(greenCheckerboard(off), 0.002f);
  EXPECT_LT(greenCheckerboard(on), 0.3f * greenCheckerboard(off));
}

TEST(StageDeMosaic3, EveryBayerOrderGivesTheSameColours) {
  TDatabaseDeMosaic_3 state = defaults();
  state.isSharpen = 0;
  for (unsigned order = 0; order < 4; ++order) {
    const Mosaic mosaic = testing::makeMosaic(
        kWidth, kHeight,
        [](int x, int y, Cfa c) {
          const Colour v = kColourRamp(static_cast<float>(x), static_cast<float>(y));
          return 959.0f * v[c == Cfa::kRed ? 0 : c == Cfa::kBlue ? 2 : 1];
        },
        order);
    RgbImage out;
    stageDeMosaic_3(mosaic, state, FrameContext{}, out);
    EXPECT_LT(colourError(out, kColourRamp), 0.01f) << order;
  }
}

}  // namespace
}  // namespace tcamera
