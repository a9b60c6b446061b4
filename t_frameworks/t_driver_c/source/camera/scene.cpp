// The chart and flat scenes of the simulated camera, drawn per pixel in linear light.
#include "scene.h"

#include <algorithm>
#include <cmath>

namespace tcamera {

namespace {

constexpr double kPi = 3.14159265358979323846;

// The colour chart board, in fractions of the frame: 6 x 4 cells, each patch inset by a tenth
// of its cell, the board between them black.
constexpr double kBoardLeft = 0.04, kBoardTop = 0.10, kBoardRight = 0.56, kBoardBottom = 0.62;
constexpr double kPatchInset = 0.1;
constexpr double kBoardReflectance = 0.03;
constexpr double kBackgroundReflectance = 0.12;
// The grey ramp runs from L* 10 on the left to L* 97 on the right.
constexpr double kRampDarkL = 10, kRampBrightL = 97;
// Siemens star: kSpokes black and white spoke pairs on a square of kTargetSide frame heights.
constexpr double kTargetSide = 0.44, kTargetX = 0.77, kTargetY = 0.34;
constexpr int kSpokes = 36;
constexpr double kStarWhite = 0.85, kStarBlack = 0.04;
// Lamps and highlight: discs, radius in frame heights.
constexpr double kLampRadius = 0.035, kLampY = 0.055, kLampX[2] = {0.68, 0.88};
constexpr double kHighlightRadius = 0.018, kHighlightX = 0.585, kHighlightY = 0.36;

// Near infrared: share of the light at 5000 K (relative to G), and the wavelengths whose
// Planck ratio makes warmer light carry more of it.
constexpr double kInfraredAt5000 = 0.4;
constexpr double kInfraredWavelength = 850e-9, kGreenWavelength = 560e-9;

// Linear sRGB to camera R, G, B: rows are the red, green and blue filters.
constexpr std::array<double, 9> kCameraResponse = {
    0.364, 0.114, 0.042,  //
    0.150, 0.750, 0.100,  //
    0.031, 0.199, 0.536,  //
};

struct Vec3 {
  double x, y, z;
};

Vec3 multiply(const std::array<double, 9> &m, const Vec3 &v) {
  return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
          m[6] * v.x + m[7] * v.y + m[8] * v.z};
}

using colour::kBradfordD50ToD65;
using colour::kXyzToSrgb;

// Luminance factor Y of a CIE lightness L*.
double luminanceOfLightness(double L) {
  const double f = (L + 16) / 116;
  return f > 6.0 / 29 ? f * f * f : 3 * (6.0 / 29) * (6.0 / 29) * (f - 4.0 / 29);
}

// A surface's reflectance as linear sRGB (1, 1, 1 = perfect white) from its D50 L*a*b*.
Vec3 reflectanceOfLab(const Lab &lab) {
  const auto [x, y, z] = colour::labToXyz(lab, colour::kD50);
  const Vec3 xyz = {x, y, z};
  const Vec3 rgb = multiply(kXyzToSrgb, multiply(kBradfordD50ToD65, xyz));
  // The most saturated patches fall just outside sRGB; a real surface reflects a little of
  // every colour.
  constexpr double kLeast = 0.003;
  return {std::max(rgb.x, kLeast), std::max(rgb.y, kLeast), std::max(rgb.z, kLeast)};
}

// Chromaticity of a Planckian radiator (cubic approximation of the locus, 1667 K to 25000 K).
void planckianChromaticity(double kelvin, double &x, double &y) {
  const double t = std::clamp(kelvin, 1667.0, 25000.0);
  const double t1 = 1e3 / t, t2 = t1 * t1, t3 = t2 * t1;
  x = t <= 4000 ? -0.2661239 * t3 - 0.2343589 * t2 + 0.8776956 * t1 + 0.179910
                : -3.0258469 * t3 + 2.1070379 * t2 + 0.2226347 * t1 + 0.240390;
  const double x2 = x * x, x3 = x2 * x;
  if (t <= 2222)
    y = -1.1063814 * x3 - 1.34811020 * x2 + 2.18555832 * x - 0.20219683;
  else if (t <= 4000)
    y = -0.9549476 * x3 - 1.37418593 * x2 + 2.09137015 * x - 0.16748867;
  else
    y = 3.0817580 * x3 - 5.87338670 * x2 + 3.75112997 * x - 0.37001483;
}

// The light's colour as linear sRGB, luminance 1.
Vec3 illuminantSrgb(double kelvin) {
  double x, y;
  planckianChromaticity(kelvin, x, y);
  return multiply(kXyzToSrgb, Vec3{x / y, 1, (1 - x - y) / y});
}

// Planck's law, up to a constant factor.
double planck(double wavelength, double kelvin) {
  constexpr double kSecondRadiation = 1.438777e-2;  // m K
  return 1 / (std::pow(wavelength, 5) * std::expm1(kSecondRadiation / (wavelength * kelvin)));
}

// Near-infrared radiance of a perfect white under the nominal lighting.
double illuminantInfrared(double kelvin) {
  const double t = std::clamp(kelvin, 1667.0, 25000.0);
  const auto ratio = [](double k) {
    return planck(kInfraredWavelength, k) / planck(kGreenWavelength, k);
  };
  return kNominalWhite * kInfraredAt5000 * ratio(t) / ratio(5000);
}

// Camera response to a surface of reflectance rho (linear sRGB) under the given light.
CameraColour surfaceResponse(const Vec3 &rho, double infraredReflectance, double kelvin) {
  const Vec3 light = illuminantSrgb(kelvin);
  const double scale = kNominalWhite / multiply(kCameraResponse, light).y;
  const Vec3 camera =
      multiply(kCameraResponse, Vec3{rho.x * light.x, rho.y * light.y, rho.z * light.z});
  return {camera.x * scale, camera.y * scale, camera.z * scale,
          infraredReflectance * illuminantInfrared(kelvin)};
}

// Dyes are nearly transparent to near infrared, so the chart's colours reflect much of it
// (more so the reds); the neutral paints absorb it as they absorb light.
double infraredReflectanceOfPatch(int patch, const Vec3 &rho) {
  return patch < 18 ? std::min(1.0, 0.5 + 0.4 * rho.x) : rho.y;
}

Rect fractionRect(int width, int height, double left, double top, double right, double bottom) {
  const int x0 = static_cast<int>(std::lround(left * width));
  const int y0 = static_cast<int>(std::lround(top * height));
  const int x1 = static_cast<int>(std::lround(right * width));
  const int y1 = static_cast<int>(std::lround(bottom * height));
  return Rect{x0, y0, std::max(1, x1 - x0), std::max(1, y1 - y0)};
}

Rect discRect(int width, int height, double cx, double cy, double radius) {
  const int r = std::max(2, static_cast<int>(std::lround(radius * height)));
  return Rect{static_cast<int>(std::lround(cx * width)) - r,
              static_cast<int>(std::lround(cy * height)) - r, 2 * r, 2 * r};
}

bool inside(const Rect &rect, int x, int y) {
  return x >= rect.x && x < rect.x + rect.width && y >= rect.y && y < rect.y + rect.height;
}

// Share of a pixel inside a disc of the rectangle's size, antialiased over one pixel.
double discCover(const Rect &rect, int x, int y) {
  const double radius = rect.width / 2.0;
  const double dx = x + 0.5 - (rect.x + radius), dy = y + 0.5 - (rect.y + radius);
  return std::clamp(radius - std::sqrt(dx * dx + dy * dy) + 0.5, 0.0, 1.0);
}

// Everything that stays the same over one drawing of the chart.
struct Chart {
  ChartLayout layout;
  Rect board;
  std::array<CameraColour, 24> patches;
  CameraColour white;  // perfect white; neutral surfaces are multiples of it
};

CameraColour scaled(const CameraColour &c, double k) {
  return {c.r * k, c.g * k, c.b * k, c.ir * k};
}

// Siemens star: reflectance at a pixel of the focus target. Edges are antialiased by their
// distance in pixels; towards the centre, where spokes get narrower than the pixels, the
// pattern fades to its mean as a real lens and pixel aperture would.
double starReflectance(const Rect &target, int x, int y) {
  const double radius = target.width / 2.0 * 0.95;
  const double dx = x + 0.5 - (target.x + target.width / 2.0);
  const double dy = y + 0.5 - (target.y + target.height / 2.0);
  const double r = std::sqrt(dx * dx + dy * dy);
  constexpr double kMean = (kStarWhite + kStarBlack) / 2;
  const double inDisc = std::clamp(radius - r + 0.5, 0.0, 1.0);
  if (inDisc <= 0) return kMean;
  const double cycles = (std::atan2(dy, dx) + kPi) * kSpokes / (2 * kPi);
  const double phase = cycles - std::floor(cycles);
  const double period = 2 * kPi * r / kSpokes;  // pixels per spoke pair at this radius
  // Signed distance to the nearest edge, positive on white spokes.
  const double toEdge = std::min({phase, std::abs(phase - 0.5), 1 - phase}) * period;
  const double cover = std::clamp(0.5 + (phase < 0.5 ? toEdge : -toEdge), 0.0, 1.0);
  const double contrast = std::clamp(period / 2 - 0.5, 0.0, 1.0) * inDisc;
  return kMean + (kStarWhite - kStarBlack) * (cover - 0.5) * contrast;
}

CameraColour chartPixel(const Chart &chart, int x, int y) {
  const ChartLayout &layout = chart.layout;
  for (const Rect &lamp : layout.lamps) {
    if (inside(lamp, x, y)) {
      const double cover = discCover(lamp, x, y);
      return scaled(chart.white, kLampLevel * cover + kBackgroundReflectance * (1 - cover));
    }
  }
  if (inside(layout.highlight, x, y)) {
    // A glint: bright core falling off smoothly to the board behind it.
    const double radius = layout.highlight.width / 2.0;
    const double dx = x + 0.5 - (layout.highlight.x + radius);
    const double dy = y + 0.5 - (layout.highlight.y + radius);
    const double falloff = std::exp(-2 * (dx * dx + dy * dy) / (radius * radius));
    return scaled(chart.white, kBackgroundReflectance + kHighlightLevel * falloff);
  }
  if (inside(layout.focusTarget, x, y))
    return scaled(chart.white, starReflectance(layout.focusTarget, x, y));
  if (inside(chart.board, x, y)) {
    const int column = std::min(5, (x - chart.board.x) * 6 / chart.board.width);
    const int row = std::min(3, (y - chart.board.y) * 4 / chart.board.height);
    const int patch = row * 6 + column;
    if (inside(layout.patches[patch], x, y)) return chart.patches[patch];
    return scaled(chart.white, kBoardReflectance);
  }
  if (inside(layout.greyRamp, x, y)) {
    const double t = (x - layout.greyRamp.x + 0.5) / layout.greyRamp.width;
    return scaled(chart.white, luminanceOfLightness(kRampDarkL + (kRampBrightL - kRampDarkL) * t));
  }
  if (inside(layout.flatArea, x, y)) return scaled(chart.white, kFlatReflectance);
  return scaled(chart.white, kBackgroundReflectance);
}

}  // namespace

const std::array<Lab, 24> &chartReferenceLab() {
  return colour::kChartReference;
}

ChartLayout chartLayout(int width, int height) {
  ChartLayout layout{};
  const double cellWidth = (kBoardRight - kBoardLeft) / 6;
  const double cellHeight = (kBoardBottom - kBoardTop) / 4;
  for (int i = 0; i < 24; ++i) {
    const double left = kBoardLeft + (i % 6) * cellWidth;
    const double top = kBoardTop + (i / 6) * cellHeight;
    layout.patches[i] =
        fractionRect(width, height, left + kPatchInset * cellWidth, top + kPatchInset * cellHeight,
                     left + (1 - kPatchInset) * cellWidth, top + (1 - kPatchInset) * cellHeight);
  }
  layout.greyRamp = fractionRect(width, height, 0.04, 0.80, 0.96, 0.90);
  layout.flatArea = fractionRect(width, height, 0.62, 0.62, 0.96, 0.76);
  const int side = std::max(8, static_cast<int>(std::lround(kTargetSide * height)));
  layout.focusTarget =
      Rect{static_cast<int>(std::lround(kTargetX * width)) - side / 2,
           static_cast<int>(std::lround(kTargetY * height)) - side / 2, side, side};
  layout.lamps = {discRect(width, height, kLampX[0], kLampY, kLampRadius),
                  discRect(width, height, kLampX[1], kLampY, kLampRadius)};
  layout.highlight = discRect(width, height, kHighlightX, kHighlightY, kHighlightRadius);
  return layout;
}

const std::array<double, 9> &cameraColourResponse() {
  return kCameraResponse;
}

CameraColour illuminantResponse(double kelvin) {
  return surfaceResponse(Vec3{1, 1, 1}, 1, kelvin);
}

CameraColour chartPatchResponse(int patch, double kelvin) {
  const Vec3 rho = reflectanceOfLab(chartReferenceLab()[std::clamp(patch, 0, 23)]);
  return surfaceResponse(rho, infraredReflectanceOfPatch(patch, rho), kelvin);
}

std::array<double, 9> surfaceResponseMatrix(double kelvin) {
  const Vec3 light = illuminantSrgb(kelvin);
  const double scale = kNominalWhite / multiply(kCameraResponse, light).y;
  const double column[3] = {light.x, light.y, light.z};
  std::array<double, 9> matrix{};
  for (int i = 0; i < 9; ++i) matrix[i] = kCameraResponse[i] * column[i % 3] * scale;
  return matrix;
}

void renderScene(SceneKind kind, double kelvin, bool infrared, int width, int height,
                 ScenePlanes &out) {
  out.width = width;
  out.height = height;
  const size_t size = static_cast<size_t>(width) * height;
  for (int c = 0; c < 4; ++c) out.plane[c].assign(c < 3 || infrared ? size : 0, 0.0f);

  Chart chart;
  chart.layout = chartLayout(width, height);
  chart.board = fractionRect(width, height, kBoardLeft, kBoardTop, kBoardRight, kBoardBottom);
  chart.white = illuminantResponse(kelvin);
  for (int i = 0; i < 24; ++i) chart.patches[i] = chartPatchResponse(i, kelvin);
  const CameraColour flat = scaled(chart.white, kFlatReflectance);

  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const size_t row = static_cast<size_t>(y) * width;
      for (int x = 0; x < width; ++x) {
        const CameraColour c = kind == SceneKind::kFlat ? flat : chartPixel(chart, x, y);
        out.plane[0][row + x] = static_cast<float>(c.r);
        out.plane[1][row + x] = static_cast<float>(c.g);
        out.plane[2][row + x] = static_cast<float>(c.b);
        if (infrared) out.plane[3][row + x] = static_cast<float>(c.ir);
      }
    }
  });
}

}  // namespace tcamera
