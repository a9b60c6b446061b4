// The colour correction matrix from a chart capture.
//
// The patches are read as the ISP sees them (black subtracted, lens shading applied), the
// grey scale gives the white-balance gains and the exposure, and a 3 x 3 matrix whose rows
// sum to one (greys stay grey) is fitted to carry the white-balanced camera RGB to the
// chart's published colours as linear sRGB. The fit starts from linear least squares and is
// then refined on the colour differences themselves: first L*a*b* distances, then CIEDE2000,
// by Levenberg-Marquardt over the six free coefficients. Negative results clip at black, as
// the ISP clips them. Offsets are fitted too, and kept only where they clearly help.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

#include "calibrate.h"
#include "chart_reading.h"
#include "colour_science.h"

namespace calibrate {

namespace {

using Parameters = std::array<double, 6>;

// The matrix of six free coefficients: per row the first two, the third making the sum one.
Mat3 matrixOf(const Parameters &p) {
  return {p[0], p[1], 1 - p[0] - p[1], p[2], p[3], 1 - p[2] - p[3], p[4], p[5], 1 - p[4] - p[5]};
}

Parameters parametersOf(const Mat3 &m) {
  return {m[0], m[1], m[3], m[4], m[6], m[7]};
}

// What the ISP makes of camera RGB with the matrix and offset: linear sRGB, negatives clipped.
Lab rendered(const Mat3 &m, const Vec3 &camera, const Vec3 &offset = {0, 0, 0}) {
  Vec3 rgb = multiply(m, camera);
  for (int c = 0; c < 3; ++c) rgb[c] = std::max(0.0, rgb[c] + offset[c]);
  return srgbToLab(rgb);
}

// Least squares per row, the row summing to one: a (c0 - c2) + b (c1 - c2) = t - c2.
Mat3 linearFit(const std::array<Vec3, 24> &camera, const std::array<Vec3, 24> &target) {
  Mat3 m{};
  for (int row = 0; row < 3; ++row) {
    double s00 = 0, s01 = 0, s11 = 0, r0 = 0, r1 = 0;
    for (int k = 0; k < 24; ++k) {
      const double u = camera[k][0] - camera[k][2], v = camera[k][1] - camera[k][2];
      const double t = target[k][row] - camera[k][2];
      s00 += u * u, s01 += u * v, s11 += v * v, r0 += u * t, r1 += v * t;
    }
    const double det = s00 * s11 - s01 * s01;
    const double a = det != 0 ? (r0 * s11 - r1 * s01) / det : (row == 0 ? 1 : 0);
    const double b = det != 0 ? (r1 * s00 - r0 * s01) / det : (row == 1 ? 1 : 0);
    m[row * 3] = a, m[row * 3 + 1] = b, m[row * 3 + 2] = 1 - a - b;
  }
  return m;
}

// Solves the N x N system a x = b (Gaussian elimination with pivoting); false if singular.
template <size_t N>
bool solve(std::array<std::array<double, N + 1>, N> a, std::array<double, N> *x) {
  for (size_t col = 0; col < N; ++col) {
    size_t pivot = col;
    for (size_t r = col + 1; r < N; ++r)
      if (std::abs(a[r][col]) > std::abs(a[pivot][col])) pivot = r;
    if (std::abs(a[pivot][col]) < 1e-300) return false;
    std::swap(a[col], a[pivot]);
    for (size_t r = 0; r < N; ++r) {
      if (r == col) continue;
      const double f = a[r][col] / a[col][col];
      for (size_t c = col; c <= N; ++c) a[r][c] -= f * a[col][c];
    }
  }
  for (size_t i = 0; i < N; ++i) (*x)[i] = a[i][N] / a[i][i];
  return true;
}

// Levenberg-Marquardt on residuals(p) with a numerical Jacobian.
template <size_t N>
std::array<double, N> levenbergMarquardt(
    const std::function<std::vector<double>(const std::array<double, N> &)> &f,
    std::array<double, N> p) {
  using Vector = std::array<double, N>;
  const auto cost = [](const std::vector<double> &r) {
    double sum = 0;
    for (double v : r) sum += v * v;
    return sum;
  };
  std::vector<double> residual = f(p);
  double current = cost(residual), lambda = 1e-3;
  for (int iteration = 0; iteration < 100; ++iteration) {
    std::array<std::vector<double>, N> jacobian;
    for (size_t i = 0; i < N; ++i) {
      Vector q = p;
      constexpr double kStep = 1e-6;
      q[i] += kStep;
      jacobian[i] = f(q);
      for (size_t k = 0; k < residual.size(); ++k)
        jacobian[i][k] = (jacobian[i][k] - residual[k]) / kStep;
    }
    std::array<std::array<double, N + 1>, N> normal{};
    for (size_t i = 0; i < N; ++i) {
      for (size_t j = 0; j < N; ++j)
        for (size_t k = 0; k < residual.size(); ++k)
          normal[i][j] += jacobian[i][k] * jacobian[j][k];
      for (size_t k = 0; k < residual.size(); ++k) normal[i][N] -= jacobian[i][k] * residual[k];
    }
    bool improved = false, converged = false;
    while (lambda < 1e10) {
      auto damped = normal;
      for (size_t i = 0; i < N; ++i) damped[i][i] += lambda * (normal[i][i] + 1e-12);
      Vector step;
      if (!solve<N>(damped, &step)) break;
      Vector trial = p;
      for (size_t i = 0; i < N; ++i) trial[i] += step[i];
      std::vector<double> trialResidual = f(trial);
      const double trialCost = cost(trialResidual);
      if (trialCost < current) {
        converged = current - trialCost < 1e-12 * (1 + current);
        p = trial;
        residual = std::move(trialResidual);
        current = trialCost;
        lambda = std::max(lambda / 3, 1e-9);
        improved = true;
        break;
      }
      lambda *= 4;
    }
    if (!improved || converged) break;
  }
  return p;
}

double meanOf(const std::array<double, 24> &values) {
  double sum = 0;
  for (double v : values) sum += v;
  return sum / 24;
}

std::array<double, 24> deltaEs(const Mat3 &m, const std::array<Vec3, 24> &camera,
                               const Vec3 &offset = {0, 0, 0}) {
  std::array<double, 24> errors{};
  for (int k = 0; k < 24; ++k)
    errors[k] = deltaE2000(rendered(m, camera[k], offset), colour::kChartReference[k]);
  return errors;
}

// Rounded to four decimals, each row's last coefficient making the sum exactly one.
Mat3 rounded(const Mat3 &m) {
  Mat3 out = m;
  for (int row = 0; row < 3; ++row) {
    out[row * 3] = std::round(m[row * 3] * 1e4) / 1e4;
    out[row * 3 + 1] = std::round(m[row * 3 + 1] * 1e4) / 1e4;
    out[row * 3 + 2] = std::round((1 - out[row * 3] - out[row * 3 + 1]) * 1e4) / 1e4;
  }
  return out;
}

}  // namespace

bool calibrateColour(const Capture &chart, const ColourOptions &options, ColourResult *result,
                     std::string *error) {
  ChartPlace place;
  std::array<PatchSample, 24> patches;
  if (!readChart(chart, options.chart, options.shading, options.black, &place, &patches, error))
    return false;
  const auto [rg, bg] = greyRatios(patches);
  const std::array<double, 4> black = options.black ? *options.black : blackOf(chart.raw);
  ColourResult out;

  // White-balanced camera RGB, scaled so that the greys match the chart's greys.
  std::array<Vec3, 24> camera, target;
  for (int k = 0; k < 24; ++k) {
    camera[k] = {patches[k].rgb[0] / rg, patches[k].rgb[1], patches[k].rgb[2] / bg};
    target[k] = labToSrgb(colour::kChartReference[k]);
  }
  double num = 0, den = 0;
  for (int k = colour::kFirstGrey; k < colour::kFirstGrey + 5; ++k) {
    const double level = (camera[k][0] + camera[k][1] + camera[k][2]) / 3;
    const double reference = (target[k][0] + target[k][1] + target[k][2]) / 3;
    num += level * reference;
    den += level * level;
  }
  const double exposure = num / den;
  for (auto &c : camera)
    for (double &v : c) v *= exposure;

  // Linear start, then L*a*b* distances, then CIEDE2000 itself.
  Parameters p = parametersOf(linearFit(camera, target));
  p = levenbergMarquardt<6>(
      [&](const Parameters &q) {
        const Mat3 m = matrixOf(q);
        std::vector<double> r;
        r.reserve(72);
        for (int k = 0; k < 24; ++k) {
          const Lab lab = rendered(m, camera[k]);
          const Lab &ref = colour::kChartReference[k];
          r.insert(r.end(), {lab.L - ref.L, lab.a - ref.a, lab.b - ref.b});
        }
        return r;
      },
      p);
  p = levenbergMarquardt<6>(
      [&](const Parameters &q) {
        const auto errors = deltaEs(matrixOf(q), camera);
        return std::vector<double>(errors.begin(), errors.end());
      },
      p);
  Mat3 matrix = rounded(matrixOf(p));

  // Offsets (a flare or black-level error the matrix cannot take out) only when they lower the
  // mean error by a twentieth and stay within 1 % of full scale. The ISP adds them in 12-bit
  // codes of its full scale: the sensor's range above black, before the exposure scaling here.
  const double range = chart.raw.whiteLevel - *std::max_element(black.begin(), black.end());
  const double codesPerUnit = 4095 / (exposure * range);
  Vec3 offset{0, 0, 0};
  {
    const auto withOffset = levenbergMarquardt<9>(
        [&](const std::array<double, 9> &q) {
          const auto errors =
              deltaEs(matrixOf({q[0], q[1], q[2], q[3], q[4], q[5]}), camera, {q[6], q[7], q[8]});
          return std::vector<double>(errors.begin(), errors.end());
        },
        {p[0], p[1], p[2], p[3], p[4], p[5], 0, 0, 0});
    Vec3 codes;
    for (int c = 0; c < 3; ++c) codes[c] = std::round(withOffset[6 + c] * codesPerUnit * 10) / 10;
    const Mat3 m = rounded(matrixOf({withOffset[0], withOffset[1], withOffset[2], withOffset[3],
                                     withOffset[4], withOffset[5]}));
    const Vec3 fitted = {codes[0] / codesPerUnit, codes[1] / codesPerUnit, codes[2] / codesPerUnit};
    const bool sensible = std::all_of(codes.begin(), codes.end(),
                                      [](double v) { return std::abs(v) <= 0.01 * 4095; });
    if (sensible && meanOf(deltaEs(m, camera, fitted)) < 0.95 * meanOf(deltaEs(matrix, camera))) {
      matrix = m;
      offset = fitted;
      out.offset = codes;
    }
  }

  out.chart = place;
  out.wbGains = {1 / rg, 1, 1, 1 / bg};
  out.matrix = matrix;
  const auto before = deltaEs(options.currentMatrix, camera);
  const auto after = deltaEs(matrix, camera, offset);
  for (int k = 0; k < 24; ++k) {
    PatchFit &fit = out.patches[k];
    fit.camera = camera[k];
    fit.reference = colour::kChartReference[k];
    fit.before = rendered(options.currentMatrix, camera[k]);
    fit.after = rendered(matrix, camera[k], offset);
    fit.deltaEBefore = before[k];
    fit.deltaEAfter = after[k];
  }
  out.meanBefore = meanOf(before);
  out.maxBefore = *std::max_element(before.begin(), before.end());
  out.meanAfter = meanOf(after);
  out.maxAfter = *std::max_element(after.begin(), after.end());
  *result = out;
  return true;
}

std::string colourFile(const ColourResult &result, const std::vector<std::string> &header) {
  std::string text;
  for (const auto &line : header) text += "# " + line + "\n";
  char line[160];
  for (int row = 0; row < 3; ++row) {
    std::snprintf(line, sizeof line, "%s %9.4f %9.4f %9.4f\n", row == 0 ? "ccMatrix" : "        ",
                  result.matrix[row * 3], result.matrix[row * 3 + 1], result.matrix[row * 3 + 2]);
    text += line;
  }
  std::snprintf(line, sizeof line, "ccOffset %9.4f %9.4f %9.4f\n", result.offset[0],
                result.offset[1], result.offset[2]);
  text += line;
  return text;
}

}  // namespace calibrate
