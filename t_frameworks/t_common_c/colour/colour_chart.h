// The 24-patch colour chart and the colour conversions its published values need: one
// header shared by the simulated camera (which paints the chart) and the calibration (which
// measures it), so that both work from the same numbers.
#ifndef TSHELL_COLOUR_CHART_H
#define TSHELL_COLOUR_CHART_H

#include <array>

namespace colour {

// CIE L*a*b* of a colour.
struct Lab {
  double L = 0, a = 0, b = 0;
};

constexpr int kChartPatches = 24;

// Published D50 values of the 24-patch chart (editions from November 2014 on), row by row
// from dark skin to black: four rows of six, the bottom row the grey scale, white on the left.
inline constexpr std::array<Lab, kChartPatches> kChartReference = {{
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

inline constexpr std::array<const char *, kChartPatches> kChartPatchNames = {
    "dark skin", "light skin",    "blue sky",     "foliage",   "blue flower",  "bluish green",
    "orange",    "purplish blue", "moderate red", "purple",    "yellow green", "orange yellow",
    "blue",      "green",         "red",          "yellow",    "magenta",      "cyan",
    "white 9.5", "neutral 8",     "neutral 6.5",  "neutral 5", "neutral 3.5",  "black 2",
};

// First patch of the grey scale (the bottom row).
constexpr int kFirstGrey = 18;

// The D50 white point (XYZ, Y = 1) the chart's values refer to, and D65 (linear sRGB's).
inline constexpr std::array<double, 3> kD50 = {0.96422, 1.0, 0.82521};
inline constexpr std::array<double, 3> kD65 = {0.95047, 1.0, 1.08883};

// CIE XYZ (D65 white) to linear sRGB, row-major.
inline constexpr std::array<double, 9> kXyzToSrgb = {3.2404542,  -1.5371385, -0.4985314,  //
                                                     -0.9692660, 1.8760108,  0.0415560,   //
                                                     0.0556434,  -0.2040259, 1.0572252};
// Linear sRGB to CIE XYZ (D65 white), row-major.
inline constexpr std::array<double, 9> kSrgbToXyz = {0.4124564, 0.3575761, 0.1804375,  //
                                                     0.2126729, 0.7151522, 0.0721750,  //
                                                     0.0193339, 0.1191920, 0.9503041};
// Bradford chromatic adaptation from D50 to D65 and back, row-major.
inline constexpr std::array<double, 9> kBradfordD50ToD65 = {0.9555766,  -0.0230393, 0.0631636,  //
                                                            -0.0282895, 1.0099416,  0.0210077,  //
                                                            0.0122982,  -0.0204830, 1.3299098};
inline constexpr std::array<double, 9> kBradfordD65ToD50 = {1.0478112,  0.0228866, -0.0501270,  //
                                                            0.0295424,  0.9904844, -0.0170491,  //
                                                            -0.0092345, 0.0150436, 0.7521316};

// The inverse of the CIE lightness function: t from f(t) (t = X/Xn, Y/Yn or Z/Zn).
inline double labInverse(double f) {
  return f > 6.0 / 29 ? f * f * f : 3 * (6.0 / 29) * (6.0 / 29) * (f - 4.0 / 29);
}

// XYZ of a L*a*b* colour under the given white.
inline std::array<double, 3> labToXyz(const Lab &lab, const std::array<double, 3> &white) {
  const double fy = (lab.L + 16) / 116, fx = fy + lab.a / 500, fz = fy - lab.b / 200;
  return {white[0] * labInverse(fx), white[1] * labInverse(fy), white[2] * labInverse(fz)};
}

}  // namespace colour

#endif  // TSHELL_COLOUR_CHART_H
