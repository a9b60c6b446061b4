// Colour conversions and the CIEDE2000 difference.
#include "colour_science.h"

#include <cmath>

namespace calibrate {

namespace {

constexpr double kPi = 3.14159265358979323846;

double degrees(double radians) {
  return radians * 180 / kPi;
}
double radians(double degrees) {
  return degrees * kPi / 180;
}

// The CIE lightness function of t = X/Xn, Y/Yn or Z/Zn.
double labForward(double t) {
  constexpr double kDelta = 6.0 / 29;
  return t > kDelta * kDelta * kDelta ? std::cbrt(t) : t / (3 * kDelta * kDelta) + 4.0 / 29;
}

// Hue angle in degrees, 0..360; 0 for a colour without chroma.
double hueAngle(double b, double a) {
  if (a == 0 && b == 0) return 0;
  const double h = degrees(std::atan2(b, a));
  return h < 0 ? h + 360 : h;
}

}  // namespace

Vec3 multiply(const Mat3 &m, const Vec3 &v) {
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

Mat3 multiply(const Mat3 &a, const Mat3 &b) {
  Mat3 product{};
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      for (int k = 0; k < 3; ++k) product[r * 3 + c] += a[r * 3 + k] * b[k * 3 + c];
  return product;
}

bool invert(const Mat3 &m, Mat3 *inverse) {
  const double c00 = m[4] * m[8] - m[5] * m[7], c01 = m[5] * m[6] - m[3] * m[8],
               c02 = m[3] * m[7] - m[4] * m[6];
  const double det = m[0] * c00 + m[1] * c01 + m[2] * c02;
  if (!(std::abs(det) > 1e-300)) return false;
  const double k = 1 / det;
  *inverse = {c00 * k, (m[2] * m[7] - m[1] * m[8]) * k, (m[1] * m[5] - m[2] * m[4]) * k,
              c01 * k, (m[0] * m[8] - m[2] * m[6]) * k, (m[2] * m[3] - m[0] * m[5]) * k,
              c02 * k, (m[1] * m[6] - m[0] * m[7]) * k, (m[0] * m[4] - m[1] * m[3]) * k};
  return true;
}

colour::Lab xyzToLab(const Vec3 &xyz, const Vec3 &white) {
  const double fx = labForward(xyz[0] / white[0]);
  const double fy = labForward(xyz[1] / white[1]);
  const double fz = labForward(xyz[2] / white[2]);
  return {116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)};
}

colour::Lab srgbToLab(const Vec3 &rgb) {
  const Vec3 xyz = multiply(colour::kBradfordD65ToD50, multiply(colour::kSrgbToXyz, rgb));
  return xyzToLab(xyz, colour::kD50);
}

Vec3 labToSrgb(const colour::Lab &lab) {
  return multiply(colour::kXyzToSrgb,
                  multiply(colour::kBradfordD50ToD65, colour::labToXyz(lab, colour::kD50)));
}

double deltaE2000(const colour::Lab &first, const colour::Lab &second) {
  const double pow25to7 = 6103515625.0;  // 25^7
  const double c1 = std::hypot(first.a, first.b), c2 = std::hypot(second.a, second.b);
  const double meanC = (c1 + c2) / 2;
  const double meanC7 = std::pow(meanC, 7);
  const double g = 0.5 * (1 - std::sqrt(meanC7 / (meanC7 + pow25to7)));
  const double a1 = (1 + g) * first.a, a2 = (1 + g) * second.a;
  const double c1p = std::hypot(a1, first.b), c2p = std::hypot(a2, second.b);
  const double h1 = hueAngle(first.b, a1), h2 = hueAngle(second.b, a2);

  const double dL = second.L - first.L;
  const double dC = c2p - c1p;
  double dh = 0;
  if (c1p * c2p != 0) {
    dh = h2 - h1;
    if (dh > 180)
      dh -= 360;
    else if (dh < -180)
      dh += 360;
  }
  const double dH = 2 * std::sqrt(c1p * c2p) * std::sin(radians(dh / 2));

  const double meanL = (first.L + second.L) / 2;
  const double meanCp = (c1p + c2p) / 2;
  double meanH = h1 + h2;
  if (c1p * c2p != 0) {
    if (std::abs(h1 - h2) <= 180)
      meanH = (h1 + h2) / 2;
    else
      meanH = h1 + h2 < 360 ? (h1 + h2 + 360) / 2 : (h1 + h2 - 360) / 2;
  }
  const double t = 1 - 0.17 * std::cos(radians(meanH - 30)) + 0.24 * std::cos(radians(2 * meanH)) +
                   0.32 * std::cos(radians(3 * meanH + 6)) -
                   0.20 * std::cos(radians(4 * meanH - 63));
  const double dTheta = 30 * std::exp(-std::pow((meanH - 275) / 25, 2));
  const double meanCp7 = std::pow(meanCp, 7);
  const double rc = 2 * std::sqrt(meanCp7 / (meanCp7 + pow25to7));
  const double l50 = (meanL - 50) * (meanL - 50);
  const double sl = 1 + 0.015 * l50 / std::sqrt(20 + l50);
  const double sc = 1 + 0.045 * meanCp;
  const double sh = 1 + 0.015 * meanCp * t;
  const double rt = -std::sin(radians(2 * dTheta)) * rc;
  const double l = dL / sl, c = dC / sc, h = dH / sh;
  return std::sqrt(l * l + c * c + h * h + rt * c * h);
}

}  // namespace calibrate
