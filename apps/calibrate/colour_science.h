// Colour science for the chart calibration: conversions between linear sRGB, CIE XYZ and
// L*a*b* (D50, the chart's), the CIEDE2000 colour difference and small 3 x 3 algebra.
#ifndef TSHELL_CALIBRATE_COLOUR_SCIENCE_H
#define TSHELL_CALIBRATE_COLOUR_SCIENCE_H

#include <array>

#include "colour_chart.h"

namespace calibrate {

using Vec3 = std::array<double, 3>;
using Mat3 = std::array<double, 9>;  // row-major

Vec3 multiply(const Mat3 &m, const Vec3 &v);
Mat3 multiply(const Mat3 &a, const Mat3 &b);
// false when m is singular.
bool invert(const Mat3 &m, Mat3 *inverse);

// L*a*b* of XYZ under the given white.
colour::Lab xyzToLab(const Vec3 &xyz, const Vec3 &white);
// Linear sRGB (D65) to L*a*b* D50 (Bradford adaptation), and back.
colour::Lab srgbToLab(const Vec3 &rgb);
Vec3 labToSrgb(const colour::Lab &lab);

// CIEDE2000 colour difference (kL = kC = kH = 1).
double deltaE2000(const colour::Lab &first, const colour::Lab &second);

}  // namespace calibrate

#endif  // TSHELL_CALIBRATE_COLOUR_SCIENCE_H
