#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "scene.h"
#include "sensor.h"

namespace tcamera {
namespace {

constexpr int kWidth = 320, kHeight = 180;

bool overlap(const Rect &a, const Rect &b) {
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

double planeMean(const ScenePlanes &scene, int plane, const Rect &rect) {
  double sum = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x)
      sum += scene.plane[plane][static_cast<size_t>(y) * scene.width + x];
  return sum / (static_cast<double>(rect.width) * rect.height);
}

struct Range {
  float low, high;
};

Range planeRange(const ScenePlanes &scene, int plane, const Rect &rect) {
  float low = 1e30f, high = -1e30f;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      const float v = scene.plane[plane][static_cast<size_t>(y) * scene.width + x];
      low = std::min(low, v);
      high = std::max(high, v);
    }
  return {low, high};
}

// Luminance factor of a CIE lightness, from the CIE definition.
double luminanceOf(double L) {
  return L > 8 ? std::pow((L + 16) / 116, 3) : L / 903.3;
}

TEST(Scene, ChartElementsLieInsideTheFrameApartFromEachOther) {
  const struct {
    int width, height;
  } kSizes[] = {{320, 180}, {1920, 1080}, {640, 480}, {4096, 3072}, {16, 16}};
  for (const auto &size : kSizes) {
    if (size.width < 64) {
      // Even the smallest frame gets a layout that stays inside it.
      const ChartLayout tiny = chartLayout(size.width, size.height);
      for (const Rect &r : tiny.patches) {
        EXPECT_GE(r.x, 0);
        EXPECT_LE(r.x + r.width, size.width);
      }
      continue;
    }
    const ChartLayout layout = chartLayout(size.width, size.height);
    std::vector<Rect> elements(layout.patches.begin(), layout.patches.end());
    elements.insert(elements.end(), {layout.greyRamp, layout.focusTarget, layout.flatArea,
                                     layout.lamps[0], layout.lamps[1], layout.highlight});
    for (size_t i = 0; i < elements.size(); ++i) {
      const Rect &r = elements[i];
      EXPECT_GE(r.x, 0) << size.width << " element " << i;
      EXPECT_GE(r.y, 0) << size.width << " element " << i;
      EXPECT_LE(r.x + r.width, size.width) << size.width << " element " << i;
      EXPECT_LE(r.y + r.height, size.height) << size.width << " element " << i;
      for (size_t j = i + 1; j < elements.size(); ++j)
        EXPECT_FALSE(overlap(r, elements[j])) << size.width << " elements " << i << ", " << j;
    }
    for (int i = 0; i < 24; ++i) {
      const Rect &p = layout.patches[i];
      EXPECT_GE(p.width, size.width / 16) << i;
      EXPECT_GE(p.height, size.height / 12) << i;
      // Row by row, left to right.
      if (i % 6 > 0) {
        EXPECT_GT(p.x, layout.patches[i - 1].x) << i;
      }
      if (i >= 6) {
        EXPECT_GT(p.y, layout.patches[i - 6].y) << i;
      }
    }
  }
}

TEST(Scene, PatchesAreDrawnWhereTheLayoutSaysInTheirOwnColour) {
  ScenePlanes scene;
  renderScene(SceneKind::kChart, 5000, false, kWidth, kHeight, scene);
  const ChartLayout layout = chartLayout(kWidth, kHeight);
  for (int i = 0; i < 24; ++i) {
    const CameraColour expected = chartPatchResponse(i, 5000);
    const double channels[3] = {expected.r, expected.g, expected.b};
    for (int c = 0; c < 3; ++c) {
      const auto [low, high] = planeRange(scene, c, layout.patches[i]);
      EXPECT_NEAR(low, channels[c], 1e-5 + 1e-5 * channels[c]) << "patch " << i << " plane " << c;
      EXPECT_NEAR(high, channels[c], 1e-5 + 1e-5 * channels[c]) << "patch " << i << " plane " << c;
    }
  }
}

TEST(Scene, NeutralPatchesFollowTheirPublishedLightness) {
  const auto &reference = chartReferenceLab();
  const double white = illuminantResponse(5000).g;
  EXPECT_DOUBLE_EQ(white, kNominalWhite);
  for (int i = 18; i < 24; ++i) {
    const double reflectance = chartPatchResponse(i, 5000).g / white;
    EXPECT_NEAR(reflectance, luminanceOf(reference[i].L), 0.04 * luminanceOf(reference[i].L))
        << "patch " << i;
    if (i > 18) {
      EXPECT_LT(reflectance, chartPatchResponse(i - 1, 5000).g / white) << i;
    }
  }
}

TEST(Scene, CameraColoursAreTheChartsSeenThroughBroadFilters) {
  // Published sRGB of the red, green and blue patches (8-bit, encoded); the white-balanced
  // camera keeps each patch's dominant channel but is much less saturated, as real colour
  // filters overlap: the colour matrix has work to do.
  const struct {
    int patch;
    int dominant;
    double srgb[3];
  } kPatches[] = {{14, 0, {175, 54, 60}}, {13, 1, {70, 148, 73}}, {12, 2, {56, 61, 150}}};
  const auto linear = [](double v) {
    v /= 255;
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
  };
  for (const double kelvin : {3000.0, 5000.0, 6500.0}) {
    const CameraColour white = illuminantResponse(kelvin);
    for (const auto &p : kPatches) {
      const CameraColour c = chartPatchResponse(p.patch, kelvin);
      const double balanced[3] = {c.r / white.r, c.g / white.g, c.b / white.b};
      const double display[3] = {linear(p.srgb[0]), linear(p.srgb[1]), linear(p.srgb[2])};
      for (int other = 0; other < 3; ++other) {
        if (other == p.dominant) continue;
        const double cameraRatio = balanced[p.dominant] / balanced[other];
        const double displayRatio = display[p.dominant] / display[other];
        EXPECT_GT(cameraRatio, 1.3) << p.patch << " at " << kelvin;
        EXPECT_LT(cameraRatio, 0.7 * displayRatio) << p.patch << " at " << kelvin;
      }
    }
  }
}

TEST(Scene, RampFlatAreaAndStarHaveTheirShapes) {
  ScenePlanes scene;
  renderScene(SceneKind::kChart, 5000, false, kWidth, kHeight, scene);
  const ChartLayout layout = chartLayout(kWidth, kHeight);
  const double white = kNominalWhite;

  // Ramp: rising left to right from near black to near white.
  const Rect &ramp = layout.greyRamp;
  const int middle = ramp.y + ramp.height / 2;
  const auto at = [&](int plane, int x, int y) {
    return scene.plane[plane][static_cast<size_t>(y) * kWidth + x];
  };
  for (int x = ramp.x + 1; x < ramp.x + ramp.width; ++x)
    ASSERT_GT(at(1, x, middle), at(1, x - 1, middle)) << x;
  EXPECT_LT(at(1, ramp.x, middle), 0.03 * white);
  EXPECT_GT(at(1, ramp.x + ramp.width - 1, middle), 0.85 * white);

  // Flat area: one level.
  for (int c = 0; c < 3; ++c) {
    const auto [low, high] = planeRange(scene, c, layout.flatArea);
    EXPECT_EQ(low, high) << c;
  }
  EXPECT_NEAR(planeMean(scene, 1, layout.flatArea), kFlatReflectance * white, 1e-5);

  // Star: full contrast on its rim, detail down to a few pixels: the mean step between
  // neighbours on the target is far larger than anywhere else on the board.
  const Rect &target = layout.focusTarget;
  const auto [low, high] = planeRange(scene, 1, target);
  EXPECT_LT(low, 0.1 * white);
  EXPECT_GT(high, 0.8 * white);
  const auto meanStep = [&](const Rect &r) {
    double sum = 0;
    for (int y = r.y; y < r.y + r.height; ++y)
      for (int x = r.x + 1; x < r.x + r.width; ++x) sum += std::abs(at(1, x, y) - at(1, x - 1, y));
    return sum / (r.height * (r.width - 1.0));
  };
  EXPECT_GT(meanStep(target), 0.05 * white);
  EXPECT_GT(meanStep(target), 20 * meanStep(layout.patches[0]) + 1e-6);
}

TEST(Scene, FlatSceneIsUniformAndInfraredOnlyWhenAsked) {
  ScenePlanes scene;
  renderScene(SceneKind::kFlat, 4000, true, kWidth, kHeight, scene);
  const CameraColour light = illuminantResponse(4000);
  const double expected[4] = {light.r, light.g, light.b, light.ir};
  for (int c = 0; c < 4; ++c) {
    ASSERT_EQ(scene.plane[c].size(), static_cast<size_t>(kWidth) * kHeight) << c;
    const auto [low, high] = std::minmax_element(scene.plane[c].begin(), scene.plane[c].end());
    EXPECT_EQ(*low, *high) << c;
    EXPECT_NEAR(*low, kFlatReflectance * expected[c], 1e-5) << c;
  }
  renderScene(SceneKind::kChart, 4000, false, kWidth, kHeight, scene);
  EXPECT_TRUE(scene.plane[3].empty());
  EXPECT_EQ(scene.plane[1].size(), static_cast<size_t>(kWidth) * kHeight);
}

}  // namespace
}  // namespace tcamera
