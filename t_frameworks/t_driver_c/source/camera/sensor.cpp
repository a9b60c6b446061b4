// The image sensor of the simulated camera: chart geometry and raw frame capture.
#include "sensor.h"

#include <algorithm>
#include <cmath>

namespace tcamera {

namespace {

// A rectangle given in fractions of the frame's width and height, rounded to pixels.
Rect fractionRect(int width, int height, double left, double top, double right, double bottom) {
  const int x0 = static_cast<int>(std::lround(left * width));
  const int y0 = static_cast<int>(std::lround(top * height));
  const int x1 = static_cast<int>(std::lround(right * width));
  const int y1 = static_cast<int>(std::lround(bottom * height));
  return Rect{x0, y0, std::max(1, x1 - x0), std::max(1, y1 - y0)};
}

}  // namespace

float sensorBlackLevel(int bitDepth) {
  return bitDepth >= 12 ? 256.0f : 64.0f;
}

float sensorWhiteLevel(int bitDepth) {
  return bitDepth >= 12 ? 4095.0f : 1023.0f;
}

ChartLayout chartLayout(int width, int height) {
  ChartLayout layout{};
  // The colour chart: 6 x 4 cells on the left, each patch inset by a tenth of its cell.
  constexpr double kLeft = 0.04, kTop = 0.10, kRight = 0.56, kBottom = 0.62;
  const double cellWidth = (kRight - kLeft) / 6, cellHeight = (kBottom - kTop) / 4;
  for (int i = 0; i < 24; ++i) {
    const double left = kLeft + (i % 6) * cellWidth, top = kTop + (i / 6) * cellHeight;
    layout.patches[i] = fractionRect(width, height, left + 0.1 * cellWidth, top + 0.1 * cellHeight,
                                     left + 0.9 * cellWidth, top + 0.9 * cellHeight);
  }
  layout.greyRamp = fractionRect(width, height, 0.04, 0.80, 0.96, 0.90);
  layout.flatArea = fractionRect(width, height, 0.62, 0.62, 0.96, 0.76);
  // The focus target is a square of 44% of the frame height centred at (0.77, 0.34).
  const int side = std::max(8, static_cast<int>(std::lround(0.44 * height)));
  layout.focusTarget = Rect{static_cast<int>(std::lround(0.77 * width)) - side / 2,
                            static_cast<int>(std::lround(0.34 * height)) - side / 2, side, side};
  // Lamps and highlight are discs; their rectangles bound them.
  const auto disc = [&](double cx, double cy, double radius) {
    const int r = std::max(2, static_cast<int>(std::lround(radius * height)));
    return Rect{static_cast<int>(std::lround(cx * width)) - r,
                static_cast<int>(std::lround(cy * height)) - r, 2 * r, 2 * r};
  };
  layout.lamps = {disc(0.68, 0.055, 0.035), disc(0.88, 0.055, 0.035)};
  layout.highlight = disc(0.60, 0.36, 0.018);
  return layout;
}

const std::array<Lab, 24> &chartReferenceLab() {
  // Published D50 values of the 24-patch chart (editions from November 2014 on).
  static constexpr std::array<Lab, 24> kReference = {{
      {37.54, 14.37, 14.92},    // dark skin
      {64.66, 19.27, 17.50},    // light skin
      {49.32, -3.82, -22.54},   // blue sky
      {43.46, -12.74, 22.72},   // foliage
      {54.94, 9.61, -24.79},    // blue flower
      {70.48, -32.26, -0.37},   // bluish green
      {62.73, 35.83, 56.50},    // orange
      {39.43, 10.75, -45.17},   // purplish blue
      {50.57, 48.64, 16.67},    // moderate red
      {30.10, 22.54, -20.87},   // purple
      {71.77, -24.13, 58.19},   // yellow green
      {71.51, 18.24, 67.37},    // orange yellow
      {28.37, 15.42, -49.80},   // blue
      {54.38, -39.72, 32.27},   // green
      {42.43, 51.05, 28.62},    // red
      {81.80, 2.67, 80.41},     // yellow
      {50.63, 51.28, -14.12},   // magenta
      {49.57, -29.71, -28.32},  // cyan
      {95.19, -1.03, 2.93},     // white 9.5
      {81.29, -0.57, 0.44},     // neutral 8
      {66.89, -0.75, -0.06},    // neutral 6.5
      {50.76, -0.13, 0.14},     // neutral 5
      {35.63, -0.46, -0.48},    // neutral 3.5
      {20.64, 0.07, -0.46},     // black 2
  }};
  return kReference;
}

Mosaic captureSensor(const SensorSettings &settings, uint64_t frameNumber) {
  // First cut: the frame geometry and levels, every site at the pedestal. The scene, optics
  // and noise follow.
  (void)frameNumber;
  Mosaic raw;
  raw.width = std::clamp(settings.width, 16, kMaxWidth) & ~1;
  raw.height = std::clamp(settings.height, 16, kMaxHeight) & ~1;
  raw.pattern = bayerPattern(settings.bayerOrder);
  raw.blackLevel = sensorBlackLevel(settings.bitDepth);
  raw.whiteLevel = sensorWhiteLevel(settings.bitDepth);
  raw.data.assign(static_cast<size_t>(raw.width) * raw.height, raw.blackLevel);
  if (settings.twoExposure) {
    raw.shortData = raw.data;
    raw.exposureRatio = static_cast<float>(settings.exposureRatio);
  }
  return raw;
}

}  // namespace tcamera
