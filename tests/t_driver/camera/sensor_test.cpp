#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <vector>

#include "scene.h"
#include "sensor.h"

namespace tcamera {
namespace {

constexpr int kWidth = 320, kHeight = 180;

SensorSettings smallFrame() {
  SensorSettings settings;
  settings.width = kWidth;
  settings.height = kHeight;
  return settings;
}

struct Stats {
  double mean = 0, variance = 0;
  int count = 0;
};

bool isOneOf(Cfa colour, std::initializer_list<Cfa> colours) {
  return std::find(colours.begin(), colours.end(), colour) != colours.end();
}

// Mean and variance, above black, of the sites of the given colours inside rect.
Stats siteStats(const Mosaic &raw, const std::vector<float> &data, const Rect &rect,
                std::initializer_list<Cfa> colours) {
  double sum = 0, squares = 0;
  int count = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      if (!isOneOf(raw.colourAt(x, y), colours)) continue;
      const double v = data[static_cast<size_t>(y) * raw.width + x] - raw.blackLevel;
      sum += v;
      squares += v * v;
      ++count;
    }
  Stats stats;
  stats.count = count;
  if (count == 0) return stats;
  stats.mean = sum / count;
  stats.variance = squares / count - stats.mean * stats.mean;
  return stats;
}

Stats siteStats(const Mosaic &raw, const Rect &rect, std::initializer_list<Cfa> colours) {
  return siteStats(raw, raw.data, rect, colours);
}

constexpr std::initializer_list<Cfa> kGreens = {Cfa::kGreenRed, Cfa::kGreenBlue};

// Temporal variance from two frames of the same scene: half the variance of their difference,
// which leaves out everything that is the same in both (the picture, vignetting).
double temporalVariance(const Mosaic &a, const Mosaic &b, const Rect &rect,
                        std::initializer_list<Cfa> colours) {
  Mosaic difference = a;
  for (size_t i = 0; i < difference.data.size(); ++i)
    difference.data[i] = a.data[i] - b.data[i] + a.blackLevel;
  return siteStats(difference, rect, colours).variance / 2;
}

Rect centreRect(int width, int height, int side) {
  return Rect{width / 2 - side / 2, height / 2 - side / 2, side, side};
}

TEST(Sensor, FrameGeometryAndLevels) {
  const struct {
    int width, height, bitDepth;
    int expectWidth, expectHeight;
    float black, white;
  } kCases[] = {
      {320, 180, 10, 320, 180, 64, 1023},
      {321, 181, 12, 320, 180, 256, 4095},
      {5, 3, 10, 16, 16, 64, 1023},
      {5000, 10, 10, kMaxWidth, 16, 64, 1023},
      {17, 9000, 12, 16, kMaxHeight, 256, 4095},
  };
  for (const auto &c : kCases) {
    SensorSettings settings;
    settings.width = c.width;
    settings.height = c.height;
    settings.bitDepth = c.bitDepth;
    const Mosaic raw = captureSensor(settings, 1);
    EXPECT_EQ(raw.width, c.expectWidth) << c.width;
    EXPECT_EQ(raw.height, c.expectHeight) << c.height;
    EXPECT_EQ(raw.blackLevel, c.black);
    EXPECT_EQ(raw.whiteLevel, c.white);
    EXPECT_EQ(raw.blackLevel, sensorBlackLevel(c.bitDepth));
    ASSERT_EQ(raw.data.size(), static_cast<size_t>(raw.width) * raw.height);
    EXPECT_TRUE(raw.shortData.empty());
    EXPECT_EQ(raw.exposureRatio, 1.0f);
    const auto [low, high] = std::minmax_element(raw.data.begin(), raw.data.end());
    EXPECT_GE(*low, 0.0f);
    EXPECT_LE(*high, raw.whiteLevel);
    for (const float v : raw.data) ASSERT_EQ(v, std::round(v)) << "codes are whole numbers";
  }
}

TEST(Sensor, SameNumberSameFrameOtherNumberOtherNoise) {
  SensorSettings settings = smallFrame();
  settings.twoExposure = true;
  const Mosaic first = captureSensor(settings, 7);
  // Other settings in between must not disturb what is kept between frames.
  SensorSettings other = settings;
  other.lensPosition = 100;
  other.illuminantKelvin = 3000;
  captureSensor(other, 7);
  const Mosaic again = captureSensor(settings, 7);
  EXPECT_EQ(first.data, again.data);
  EXPECT_EQ(first.shortData, again.shortData);

  const Mosaic next = captureSensor(settings, 8);
  size_t differing = 0;
  for (size_t i = 0; i < first.data.size(); ++i) differing += first.data[i] != next.data[i];
  EXPECT_GT(differing, first.data.size() / 2);
  // The short exposure draws its own noise: it is not the long one's noise scaled down.
  settings.noise = false;
  const Mosaic clean = captureSensor(settings, 7);
  const Rect flat = chartLayout(kWidth, kHeight).flatArea;
  double correlation = 0, longVar = 0, shortVar = 0;
  for (int y = flat.y; y < flat.y + flat.height; ++y)
    for (int x = flat.x; x < flat.x + flat.width; ++x) {
      const size_t i = static_cast<size_t>(y) * kWidth + x;
      const double a = first.data[i] - clean.data[i];
      const double b = first.shortData[i] - clean.shortData[i];
      correlation += a * b;
      longVar += a * a;
      shortVar += b * b;
    }
  ASSERT_GT(longVar, 0);
  ASSERT_GT(shortVar, 0);
  EXPECT_LT(std::abs(correlation) / std::sqrt(longVar * shortVar), 0.1);
}

TEST(Sensor, FlatAreaScalesWithExposureGainAndLux) {
  const struct {
    double time, gain, lux;
  } kCases[] = {{0.005, 1, 1}, {0.01, 1, 1},   {0.02, 1, 1}, {0.01, 2, 1},
                {0.005, 4, 1}, {0.02, 1, 0.5}, {0.01, 1, 2}};
  const Rect flat = chartLayout(kWidth, kHeight).flatArea;
  SensorSettings settings = smallFrame();
  settings.defects = false;
  const double reference = siteStats(captureSensor(settings, 3), flat, kGreens).mean;
  ASSERT_GT(reference, 100);  // well above the noise at 10 ms
  for (const auto &c : kCases) {
    settings.exposureTime = c.time;
    settings.analogGain = c.gain;
    settings.lux = c.lux;
    const double expected = reference * c.time * c.gain * c.lux / 0.01;
    const double mean = siteStats(captureSensor(settings, 3), flat, kGreens).mean;
    EXPECT_NEAR(mean, expected, 0.01 * expected + 0.5)
        << c.time << " s x" << c.gain << " lux " << c.lux;
  }
}

TEST(Sensor, PatchesReadTheirColourThroughLensAndExposure) {
  // Each patch's centre, on each colour of site, reads the patch's radiance x the lens
  // fall-off there x exposure x gain, in and out of focus, for every Bayer order.
  const struct {
    unsigned order;
    double lensPosition, time, gain, kelvin;
  } kCases[] = {{0, 400, 0.01, 1, 5000}, {1, 512, 0.005, 2, 3000}, {3, 300, 0.02, 1, 6500}};
  for (const auto &c : kCases) {
    SensorSettings settings = smallFrame();
    settings.noise = false;
    settings.defects = false;
    settings.bayerOrder = c.order;
    settings.lensPosition = c.lensPosition;
    settings.exposureTime = c.time;
    settings.analogGain = c.gain;
    settings.illuminantKelvin = c.kelvin;
    const Mosaic raw = captureSensor(settings, 0);
    const double range = raw.whiteLevel - raw.blackLevel;
    const double halfDiagonal = std::hypot(kWidth / 2.0, kHeight / 2.0);
    const ChartLayout layout = chartLayout(kWidth, kHeight);
    for (int patch = 0; patch < 24; ++patch) {
      const CameraColour colour = chartPatchResponse(patch, c.kelvin);
      const Rect &p = layout.patches[patch];
      double measured[3] = {}, expected[3] = {}, sites[3] = {};
      for (int y = p.y + p.height / 4; y < p.y + p.height * 3 / 4; ++y)
        for (int x = p.x + p.width / 4; x < p.x + p.width * 3 / 4; ++x) {
          const Cfa site = raw.colourAt(x, y);
          const int channel = site == Cfa::kRed ? 0 : site == Cfa::kBlue ? 2 : 1;
          const double radiance = channel == 0 ? colour.r : channel == 1 ? colour.g : colour.b;
          const double radius =
              std::hypot(x + 0.5 - kWidth / 2.0, y + 0.5 - kHeight / 2.0) / halfDiagonal;
          measured[channel] += raw.at(x, y) - raw.blackLevel;
          sites[channel] += 1;
          expected[channel] += radiance * relativeIllumination(site, radius) * c.time /
                               kFullScaleExposure * c.gain * range;
        }
      for (int channel = 0; channel < 3; ++channel)
        // 2%, and rounding to whole codes.
        EXPECT_NEAR(measured[channel], expected[channel],
                    0.02 * expected[channel] + 0.5 * sites[channel])
            << "patch " << patch << " channel " << channel << " order " << c.order;
    }
  }
}

TEST(Sensor, LensCapShowsThePedestalAndReadNoise) {
  const struct {
    int bitDepth;
    double gain;
  } kCases[] = {{10, 1}, {10, 8}, {12, 1}, {12, 4}};
  for (const auto &c : kCases) {
    SensorSettings settings = smallFrame();
    settings.lux = 0;
    settings.defects = false;
    settings.bitDepth = c.bitDepth;
    settings.analogGain = c.gain;
    const Mosaic raw = captureSensor(settings, 11);
    const Stats all = siteStats(raw, Rect{0, 0, kWidth, kHeight},
                                {Cfa::kRed, Cfa::kGreenRed, Cfa::kGreenBlue, Cfa::kBlue});
    EXPECT_EQ(raw.blackLevel, sensorBlackLevel(c.bitDepth));
    EXPECT_NEAR(all.mean, 0, 4 * std::sqrt(all.variance / all.count))
        << c.bitDepth << " x" << c.gain;
    // Rounding to whole codes adds 1/12.
    const double expected = sensorNoiseVariance(c.bitDepth, c.gain, 0) + 1.0 / 12;
    EXPECT_NEAR(all.variance, expected, 0.08 * expected) << c.bitDepth << " x" << c.gain;
    EXPECT_GT(all.variance, 0.3);
  }
}

TEST(Sensor, NoiseGrowsWithSignalAsShotNoise) {
  SensorSettings settings = smallFrame();
  settings.scene = SceneKind::kFlat;
  settings.defects = false;
  const Rect centre = centreRect(kWidth, kHeight, 64);
  double previous = 0;
  for (const double time : {0.0025, 0.008, 0.016, 0.024}) {  // up to 80% of full scale
    settings.exposureTime = time;
    const Mosaic a = captureSensor(settings, 1), b = captureSensor(settings, 2);
    const double signal = siteStats(a, centre, kGreens).mean;
    const double variance = temporalVariance(a, b, centre, kGreens);
    const double expected = sensorNoiseVariance(settings.bitDepth, 1, signal);
    EXPECT_NEAR(variance, expected, 0.1 * expected) << time;
    EXPECT_GT(variance, 1.3 * previous) << time;
    previous = variance;
  }
}

TEST(Sensor, CornersDarkerThanCentreByTheLensFallOff) {
  SensorSettings settings = smallFrame();
  settings.scene = SceneKind::kFlat;
  settings.noise = false;
  settings.defects = false;
  settings.bitDepth = 12;  // fine codes, so that rounding does not hide a 1% step
  settings.exposureTime = 0.025;
  const Mosaic raw = captureSensor(settings, 0);
  const Rect centre = centreRect(kWidth, kHeight, 8);
  const Rect corners[] = {
      {0, 0, 4, 4}, {kWidth - 4, 0, 4, 4}, {0, kHeight - 4, 4, 4}, {kWidth - 4, kHeight - 4, 4, 4}};
  // The corner blocks' sites lie at about 0.985 of the corner radius.
  const double halfDiagonal = std::hypot(kWidth / 2.0, kHeight / 2.0);
  const double radius = std::hypot(kWidth / 2.0 - 2, kHeight / 2.0 - 2) / halfDiagonal;
  const struct {
    Cfa colour;
    std::initializer_list<Cfa> sites;
  } kChannels[] = {{Cfa::kRed, {Cfa::kRed}}, {Cfa::kGreenRed, kGreens}, {Cfa::kBlue, {Cfa::kBlue}}};
  double greenRatio = 0, redRatio = 0;
  for (const auto &channel : kChannels) {
    const double middle = siteStats(raw, centre, channel.sites).mean;
    for (const Rect &corner : corners) {
      const double ratio = siteStats(raw, corner, channel.sites).mean / middle;
      EXPECT_NEAR(ratio, relativeIllumination(channel.colour, radius), 0.02);
      EXPECT_GT(ratio, 0.5);
      EXPECT_LT(ratio, 0.65);
      if (channel.colour == Cfa::kRed) redRatio = ratio;
      if (channel.colour == Cfa::kGreenRed) greenRatio = ratio;
    }
  }
  EXPECT_LT(redRatio, greenRatio - 0.02) << "red falls off more than green";

  // The greens of a quad differ, more so towards the corners.
  const auto greenSplit = [&](const Rect &rect) {
    return siteStats(raw, rect, {Cfa::kGreenRed}).mean /
           siteStats(raw, rect, {Cfa::kGreenBlue}).mean;
  };
  EXPECT_NEAR(greenSplit(centre), 1.01 / 0.99, 0.005);
  // Within a corner block Gr and Gb sit at slightly different radii; over the four corners
  // that evens out.
  double cornerSplit = 0;
  for (const Rect &corner : corners) cornerSplit += greenSplit(corner) / 4;
  EXPECT_NEAR(cornerSplit, 1.02 / 0.98, 0.004);
}

// Energy of the differences between same-colour neighbours (two sites apart) on the focus
// target's green sites.
double focusEnergy(const Mosaic &raw) {
  const Rect target = chartLayout(raw.width, raw.height).focusTarget;
  double energy = 0;
  for (int y = target.y; y < target.y + target.height - 2; ++y)
    for (int x = target.x; x < target.x + target.width - 2; ++x) {
      if (!isOneOf(raw.colourAt(x, y), kGreens)) continue;
      const double dx = raw.at(x + 2, y) - raw.at(x, y), dy = raw.at(x, y + 2) - raw.at(x, y);
      energy += dx * dx + dy * dy;
    }
  return energy;
}

TEST(Sensor, FocusTargetIsSharpestAtTheInFocusPosition) {
  SensorSettings settings = smallFrame();
  settings.defects = false;
  const double positions[] = {100, 250, 350, 400, 450, 550, 700};
  double energy[7];
  for (int i = 0; i < 7; ++i) {
    settings.lensPosition = positions[i];
    energy[i] = focusEnergy(captureSensor(settings, 4));
  }
  for (int i = 0; i < 7; ++i) {
    if (i == 3) continue;
    EXPECT_LT(energy[i], 0.9 * energy[3]) << positions[i];
  }
  // Farther from focus is blurrier, on both sides.
  EXPECT_LT(energy[0], energy[1]);
  EXPECT_LT(energy[1], energy[2]);
  EXPECT_LT(energy[5], energy[4]);
  EXPECT_LT(energy[6], energy[5]);
}

TEST(Sensor, HotAndDeadSitesStayInPlace) {
  const auto defects = sensorDefects(kWidth, kHeight);
  ASSERT_GE(defects.size(), 2u);
  EXPECT_EQ(sensorDefects(1920, 1080).size(), 1920u * 1080 / 20000);
  int hot = 0, dead = 0;
  for (const auto &d : defects) (d.hot ? hot : dead)++;
  ASSERT_GT(hot, 0);
  ASSERT_GT(dead, 0);

  SensorSettings settings = smallFrame();
  settings.scene = SceneKind::kFlat;
  settings.exposureTime = 0.02;  // flat scene at about 2/3 of full scale
  for (const uint64_t frame : {0u, 1u, 50u}) {
    for (const double lux : {0.0, 1.0}) {
      settings.lux = lux;
      const Mosaic raw = captureSensor(settings, frame);
      const float range = raw.whiteLevel - raw.blackLevel;
      for (const auto &d : defects) {
        const float v = raw.at(d.x, d.y) - raw.blackLevel;
        if (d.hot)
          EXPECT_GT(v, 0.7f * range) << d.x << "," << d.y << " frame " << frame;
        else
          EXPECT_LT(v, 10.0f) << d.x << "," << d.y << " frame " << frame;
      }
      if (lux == 0) {
        // Under the lens cap nothing but the hot sites is bright.
        int bright = 0;
        for (const float v : raw.data) bright += v - raw.blackLevel > 0.5f * range;
        EXPECT_EQ(bright, hot) << frame;
      }
    }
  }
}

TEST(Sensor, LampsAndHighlightClipAtTheWhiteLevel) {
  for (const int bitDepth : {10, 12}) {
    SensorSettings settings = smallFrame();
    settings.bitDepth = bitDepth;
    settings.defects = false;
    settings.lensPosition = kInFocusPosition;
    const Mosaic raw = captureSensor(settings, 2);
    const ChartLayout layout = chartLayout(kWidth, kHeight);
    for (const Rect &lamp : layout.lamps) {
      const Rect core{lamp.x + lamp.width / 4, lamp.y + lamp.height / 4, lamp.width / 2,
                      lamp.height / 2};
      const Stats stats = siteStats(raw, core, {Cfa::kRed, Cfa::kGreenRed, Cfa::kBlue});
      EXPECT_EQ(stats.mean, raw.whiteLevel - raw.blackLevel) << bitDepth;
      EXPECT_EQ(stats.variance, 0) << bitDepth;
    }
    const Rect &h = layout.highlight;
    EXPECT_EQ(raw.at(h.x + h.width / 2, h.y + h.height / 2), raw.whiteLevel) << bitDepth;
    // Even far over-exposed, nothing passes the white level.
    settings.analogGain = 16;
    const Mosaic over = captureSensor(settings, 2);
    EXPECT_EQ(*std::max_element(over.data.begin(), over.data.end()), over.whiteLevel);
  }
}

TEST(Sensor, BayerOrderPutsTheRedPatchOnRedSites) {
  constexpr int kRedPatch = 14, kBluePatch = 12;
  for (unsigned order = 0; order < 4; ++order) {
    SensorSettings settings = smallFrame();
    settings.bayerOrder = order;
    settings.defects = false;
    const Mosaic raw = captureSensor(settings, 5);
    EXPECT_EQ(raw.pattern, bayerPattern(order));
    // Sites classified by the order's own pattern, not by what the frame says of itself.
    Mosaic byOrder = raw;
    byOrder.pattern = bayerPattern(order);
    const ChartLayout layout = chartLayout(kWidth, kHeight);
    const Rect red = layout.patches[kRedPatch], blue = layout.patches[kBluePatch];
    const double redOnRed = siteStats(byOrder, red, {Cfa::kRed}).mean;
    const double redOnGreen = siteStats(byOrder, red, kGreens).mean;
    const double redOnBlue = siteStats(byOrder, red, {Cfa::kBlue}).mean;
    EXPECT_GT(redOnRed, 1.5 * redOnGreen) << order;
    EXPECT_GT(redOnRed, 1.5 * redOnBlue) << order;
    const double blueOnBlue = siteStats(byOrder, blue, {Cfa::kBlue}).mean;
    EXPECT_GT(blueOnBlue, 1.5 * siteStats(byOrder, blue, {Cfa::kRed}).mean) << order;
    EXPECT_GT(blueOnBlue, 1.5 * siteStats(byOrder, blue, kGreens).mean) << order;
  }
}

TEST(Sensor, ShortExposureIsTheLongOneOverTheRatio) {
  const Rect flat = chartLayout(kWidth, kHeight).flatArea;
  for (const double ratio : {4.0, 16.0}) {
    SensorSettings settings = smallFrame();
    settings.twoExposure = true;
    settings.exposureRatio = ratio;
    settings.defects = false;
    const Mosaic raw = captureSensor(settings, 9);
    ASSERT_EQ(raw.shortData.size(), raw.data.size());
    EXPECT_EQ(raw.exposureRatio, static_cast<float>(ratio));
    const double longMean = siteStats(raw, flat, kGreens).mean;
    const double shortMean = siteStats(raw, raw.shortData, flat, kGreens).mean;
    EXPECT_NEAR(shortMean * ratio, longMean, 0.03 * longMean) << ratio;
    // The lamps clip in the long exposure but not in a short one 16 times shorter.
    const Rect lamp = chartLayout(kWidth, kHeight).lamps[0];
    const Rect core{lamp.x + lamp.width / 4, lamp.y + lamp.height / 4, lamp.width / 2,
                    lamp.height / 2};
    const double range = raw.whiteLevel - raw.blackLevel;
    EXPECT_EQ(siteStats(raw, core, kGreens).mean, range);
    if (ratio == 16.0) {
      EXPECT_LT(siteStats(raw, raw.shortData, core, kGreens).mean, 0.9 * range);
    }
  }
}

TEST(Sensor, RgbIrFrameHasInfraredSitesThatSeeInfrared) {
  SensorSettings settings = smallFrame();
  settings.rgbIr = true;
  settings.defects = false;
  settings.scene = SceneKind::kFlat;
  for (unsigned order = 0; order < 4; ++order) {
    const auto pattern = rgbIrPattern(order);
    EXPECT_EQ(std::count(pattern.begin(), pattern.end(), Cfa::kInfrared), 4) << order;
    EXPECT_EQ(std::count(pattern.begin(), pattern.end(), Cfa::kRed), 2) << order;
    EXPECT_EQ(std::count(pattern.begin(), pattern.end(), Cfa::kBlue), 2) << order;
    // Every 2 x 2 quad holds one infrared site.
    for (int y = 0; y < 4; y += 2)
      for (int x = 0; x < 4; x += 2) {
        int infrared = 0;
        for (int k = 0; k < 4; ++k)
          infrared += pattern[(y + k / 2) * 4 + x + k % 2] == Cfa::kInfrared;
        EXPECT_EQ(infrared, 1) << order;
      }
  }
  const Rect centre = centreRect(kWidth, kHeight, 32);
  const struct { double kelvin; } kLights[] = {{2800}, {6500}};
  double infraredShare[2];
  for (int i = 0; i < 2; ++i) {
    settings.illuminantKelvin = kLights[i].kelvin;
    const Mosaic raw = captureSensor(settings, 1);
    EXPECT_EQ(raw.pattern, rgbIrPattern(0));
    const double infrared = siteStats(raw, centre, {Cfa::kInfrared}).mean;
    EXPECT_GT(infrared, 20) << kLights[i].kelvin;
    infraredShare[i] = infrared / siteStats(raw, centre, kGreens).mean;
  }
  EXPECT_GT(infraredShare[0], 1.3 * infraredShare[1]) << "warm light carries more infrared";

  // Without an infrared-cut filter the colour sites see some infrared too.
  settings.illuminantKelvin = 2800;
  const Mosaic withInfrared = captureSensor(settings, 1);
  settings.rgbIr = false;
  const Mosaic bayer = captureSensor(settings, 1);
  for (const Cfa colour : {Cfa::kRed, Cfa::kBlue})
    EXPECT_GT(siteStats(withInfrared, centre, {colour}).mean,
              1.03 * siteStats(bayer, centre, {colour}).mean)
        << static_cast<int>(colour);
}

TEST(Sensor, IlluminantMovesTheGreyPatchesBalance) {
  const ChartLayout layout = chartLayout(kWidth, kHeight);
  SensorSettings settings = smallFrame();
  settings.defects = false;
  double previousRed = 1e9, previousBlue = 0;
  for (const double kelvin : {2800.0, 4000.0, 5000.0, 6500.0, 9000.0}) {
    settings.illuminantKelvin = kelvin;
    const Mosaic raw = captureSensor(settings, 6);
    double red = 0, green = 0, blue = 0;
    for (int patch = 19; patch <= 21; ++patch) {  // neutral 8, 6.5 and 5
      red += siteStats(raw, layout.patches[patch], {Cfa::kRed}).mean;
      green += siteStats(raw, layout.patches[patch], kGreens).mean;
      blue += siteStats(raw, layout.patches[patch], {Cfa::kBlue}).mean;
    }
    EXPECT_LT(red / green, previousRed) << kelvin;
    EXPECT_GT(blue / green, previousBlue) << kelvin;
    previousRed = red / green;
    previousBlue = blue / green;
    if (kelvin == 5000.0) {
      // A raw sensor's grey is green: the white balance has work to do.
      EXPECT_GT(red / green, 0.5);
      EXPECT_LT(red / green, 0.7);
      EXPECT_GT(blue / green, 0.5);
      EXPECT_LT(blue / green, 0.75);
    }
  }
}

}  // namespace
}  // namespace tcamera
