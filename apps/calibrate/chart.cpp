// The colour chart: its reference, finding it in a capture and reading its patches.
//
// Finding works on a picture of 2 x 2 site means (R, mean G, B above black). A coarse search
// over board rectangles on a reduced copy keeps grids whose bottom row is a grey scale (six
// steps darkening to the right, all of one chromaticity) and scores them by the contrast
// between neighbouring patches over the unevenness within them; the best is refined on the
// quad picture by a local search, then each patch's outline (the sites of its colour around
// it) gives its centre and a straight grid is fitted to those centres.
#include <algorithm>
#include <cmath>

#include "calibrate.h"
#include "chart_reading.h"

namespace calibrate {

namespace {

// One plane per colour, row-major.
struct Picture3 {
  int width = 0, height = 0;
  std::array<std::vector<float>, 3> plane;
};

// Means of each 2 x 2 quad above black: R, mean of the greens, B.
Picture3 quadMeans(const imaging::RawFrame &raw, const std::array<double, 4> &black) {
  Picture3 out;
  out.width = raw.width / 2;
  out.height = raw.height / 2;
  for (auto &plane : out.plane) plane.assign(static_cast<size_t>(out.width) * out.height, 0.0f);
  int colourOf[4];
  for (int i = 0; i < 4; ++i) colourOf[i] = channelAt(raw, i & 1, i >> 1);
  for (int y = 0; y < out.height; ++y) {
    for (int x = 0; x < out.width; ++x) {
      double sum[3] = {0, 0, 0};
      int count[3] = {0, 0, 0};
      for (int i = 0; i < 4; ++i) {
        const int channel = colourOf[i];
        if (channel < 0) continue;
        const int plane = channel == kR ? 0 : channel == kB ? 2 : 1;
        const uint16_t code =
            raw.data[static_cast<size_t>(2 * y + (i >> 1)) * raw.width + 2 * x + (i & 1)];
        sum[plane] += code - black[channel];
        ++count[plane];
      }
      const size_t at = static_cast<size_t>(y) * out.width + x;
      for (int c = 0; c < 3; ++c)
        out.plane[c][at] = count[c] > 0 ? static_cast<float>(sum[c] / count[c]) : 0.0f;
    }
  }
  return out;
}

// Box means over factor x factor pixels.
Picture3 reduced(const Picture3 &in, int factor) {
  Picture3 out;
  out.width = in.width / factor;
  out.height = in.height / factor;
  for (int c = 0; c < 3; ++c) {
    out.plane[c].assign(static_cast<size_t>(out.width) * out.height, 0.0f);
    for (int y = 0; y < out.height; ++y)
      for (int x = 0; x < out.width; ++x) {
        double sum = 0;
        for (int dy = 0; dy < factor; ++dy)
          for (int dx = 0; dx < factor; ++dx)
            sum += in.plane[c][static_cast<size_t>(y * factor + dy) * in.width + x * factor + dx];
        out.plane[c][static_cast<size_t>(y) * out.width + x] =
            static_cast<float>(sum / (factor * factor));
      }
  }
  return out;
}

// Summed-area tables of R, G, B and of R² + G² + B².
struct Integrals {
  int width = 0, height = 0;
  std::array<std::vector<double>, 4> table;
  double clip = std::numeric_limits<double>::infinity();  // level of a clipped site

  explicit Integrals(const Picture3 &picture) : width(picture.width), height(picture.height) {
    const size_t stride = width + 1;
    for (auto &t : table) t.assign(stride * (height + 1), 0.0);
    for (int y = 0; y < height; ++y) {
      double row[4] = {0, 0, 0, 0};
      for (int x = 0; x < width; ++x) {
        const size_t at = static_cast<size_t>(y) * width + x;
        double squares = 0;
        for (int c = 0; c < 3; ++c) {
          const double v = picture.plane[c][at];
          row[c] += v;
          squares += v * v;
        }
        row[3] += squares;
        for (int t = 0; t < 4; ++t)
          table[t][(y + 1) * stride + x + 1] = table[t][y * stride + x + 1] + row[t];
      }
    }
  }
  double sum(int t, int x0, int y0, int x1, int y1) const {
    const size_t stride = width + 1;
    const auto &s = table[t];
    return s[y1 * stride + x1] - s[y0 * stride + x1] - s[y1 * stride + x0] + s[y0 * stride + x0];
  }
};

// A grid of 6 x 4 cells: the board's top-left corner and the cell pitch, in picture pixels.
struct Grid {
  double x0 = 0, y0 = 0, px = 0, py = 0;
  double cx(int patch) const { return x0 + (patch % 6 + 0.5) * px; }
  double cy(int patch) const { return y0 + (patch / 6 + 0.5) * py; }
};

struct BoxStats {
  std::array<double, 3> mean{};
  double variance = 0;  // summed over the three colours
};

// The middle `fraction` of a cell; false when it leaves the picture or is empty.
bool boxOf(const Grid &grid, int patch, double fraction, int width, int height, int box[4]) {
  const double hx = fraction * grid.px / 2, hy = fraction * grid.py / 2;
  box[0] = static_cast<int>(std::lround(grid.cx(patch) - hx));
  box[1] = static_cast<int>(std::lround(grid.cy(patch) - hy));
  box[2] = static_cast<int>(std::lround(grid.cx(patch) + hx));
  box[3] = static_cast<int>(std::lround(grid.cy(patch) + hy));
  box[2] = std::max(box[2], box[0] + 1);
  box[3] = std::max(box[3], box[1] + 1);
  return box[0] >= 0 && box[1] >= 0 && box[2] <= width && box[3] <= height;
}

BoxStats statsOf(const Integrals &in, const int box[4]) {
  BoxStats stats;
  const double n = double(box[2] - box[0]) * (box[3] - box[1]);
  double meanSquares = 0;
  for (int c = 0; c < 3; ++c) {
    stats.mean[c] = in.sum(c, box[0], box[1], box[2], box[3]) / n;
    meanSquares += stats.mean[c] * stats.mean[c];
  }
  stats.variance = std::max(0.0, in.sum(3, box[0], box[1], box[2], box[3]) / n - meanSquares);
  return stats;
}

// The bottom row as a grey scale: each step darker than the last by a clear margin (but for
// a run of clipped patches at the bright end), and the greys below the clip level of one
// chromaticity (the light's, whatever it is).
bool greyScaleAt(const Integrals &in, const Grid &grid, double fraction,
                 std::array<BoxStats, 6> *greys) {
  const auto clipped = [&](const BoxStats &s) {
    return *std::max_element(s.mean.begin(), s.mean.end()) >= 0.97 * in.clip;
  };
  int firstUnclipped = -1;
  for (int i = 0; i < 6; ++i) {
    int box[4];
    if (!boxOf(grid, 18 + i, fraction, in.width, in.height, box)) return false;
    const BoxStats &grey = (*greys)[i] = statsOf(in, box);
    const double g = grey.mean[1];
    if (i == 0 && !(g > 0)) return false;
    const bool clippedRun =
        i > 0 && clipped(grey) && clipped((*greys)[i - 1]) && firstUnclipped < 0;
    if (i > 0 && !clippedRun && !(g * 1.15 < (*greys)[i - 1].mean[1])) return false;
    if (firstUnclipped < 0 && !clipped(grey)) firstUnclipped = i;
  }
  if (firstUnclipped < 0 || firstUnclipped > 3) return false;
  const auto &reference = (*greys)[firstUnclipped].mean;
  if (reference[0] <= 0 || reference[2] <= 0) return false;
  for (int i = firstUnclipped + 1; i < std::min(6, firstUnclipped + 4); ++i) {
    const auto &grey = (*greys)[i].mean;
    for (int c : {0, 2}) {
      const double ratio = (grey[c] / grey[1]) / (reference[c] / reference[1]);
      if (!(ratio > 0.85 && ratio < 1.15)) return false;
    }
  }
  return true;
}

// Contrast between neighbouring patches over the unevenness within them; 0 when the bottom
// row is no grey scale or the grid leaves the picture.
double scoreOf(const Integrals &in, const Grid &grid, double fraction) {
  std::array<BoxStats, 6> greys;
  if (!greyScaleAt(in, grid, fraction, &greys)) return 0;
  std::array<BoxStats, 24> patches;
  double within = 0, level = 0;
  for (int k = 0; k < 24; ++k) {
    int box[4];
    if (!boxOf(grid, k, fraction, in.width, in.height, box)) return 0;
    patches[k] = statsOf(in, box);
    within += patches[k].variance;
    level = std::max(level, patches[k].mean[1]);
  }
  within /= 24;
  double between = 0;
  int pairs = 0;
  const auto distance = [&](int a, int b) {
    double d = 0;
    for (int c = 0; c < 3; ++c) d += std::pow(patches[a].mean[c] - patches[b].mean[c], 2);
    return d;
  };
  for (int k = 0; k < 24; ++k) {
    if (k % 6 < 5) between += distance(k, k + 1), ++pairs;
    if (k / 6 < 3) between += distance(k, k + 6), ++pairs;
  }
  between /= pairs;
  return between / (within + 1e-4 * level * level + 1e-9);
}

// The best grid of the coarse search over the whole picture.
Grid coarseSearch(const Integrals &in, double *best) {
  Grid winner;
  *best = 0;
  constexpr double kFraction = 0.4;
  const double largest = std::min(in.width / 6.0, in.height / 4.0);
  for (double px = 4; px <= in.width / 6.0; px *= 1.06) {
    for (double ratio = 0.5; ratio <= 2.0; ratio *= 1.08) {
      const double py = px * ratio;
      if (py < 4 || py > in.height / 4.0 || px > largest * 2) continue;
      const double stepX = std::max(1.0, px / 5), stepY = std::max(1.0, py / 5);
      for (double y0 = 0; y0 + 4 * py <= in.height; y0 += stepY) {
        for (double x0 = 0; x0 + 6 * px <= in.width; x0 += stepX) {
          const Grid grid{x0, y0, px, py};
          const double score = scoreOf(in, grid, kFraction);
          if (score > *best) {
            *best = score;
            winner = grid;
          }
        }
      }
    }
  }
  return winner;
}

// Local search around a grid: each of the four numbers moved while the score improves, with
// steps shrinking to a quarter pixel.
Grid refine(const Integrals &in, Grid grid, double fraction, double *score) {
  *score = scoreOf(in, grid, fraction);
  for (double step = 0.08; step * std::min(grid.px, grid.py) >= 0.25; step /= 2) {
    bool moved = true;
    for (int round = 0; moved && round < 20; ++round) {
      moved = false;
      for (int parameter = 0; parameter < 4; ++parameter) {
        for (int sign : {-1, 1}) {
          Grid trial = grid;
          double *value = parameter == 0   ? &trial.x0
                          : parameter == 1 ? &trial.y0
                          : parameter == 2 ? &trial.px
                                           : &trial.py;
          *value += sign * step * (parameter % 2 == 0 ? grid.px : grid.py);
          const double trialScore = scoreOf(in, trial, fraction);
          if (trialScore > *score) {
            *score = trialScore;
            grid = trial;
            moved = true;
          }
        }
      }
    }
  }
  return grid;
}

// Each patch's centre from the pixels of its colour around it, and a straight grid through
// the centres of the patches whose outline shows (a patch the colour of the board does not).
// Centres far off the first fit (a patch whose surround shares its colour) are left out of
// the second.
bool fitToOutlines(const Picture3 &picture, const Integrals &in, Grid *grid) {
  struct Centre {
    int i, j;
    double x, y;
  };
  std::vector<Centre> centres;
  for (int k = 0; k < 24; ++k) {
    int box[4];
    if (!boxOf(*grid, k, 0.3, in.width, in.height, box)) return false;
    const BoxStats stats = statsOf(in, box);
    double level = 0;
    for (double m : stats.mean) level += m * m;
    // Sites within noise of the patch's colour and within a sixth of its level.
    const double threshold = std::max(9 * stats.variance, level / 36);
    const int x0 = std::max(0, static_cast<int>(std::floor(grid->cx(k) - 0.6 * grid->px)));
    const int x1 =
        std::min(picture.width, static_cast<int>(std::ceil(grid->cx(k) + 0.6 * grid->px)));
    const int y0 = std::max(0, static_cast<int>(std::floor(grid->cy(k) - 0.6 * grid->py)));
    const int y1 =
        std::min(picture.height, static_cast<int>(std::ceil(grid->cy(k) + 0.6 * grid->py)));
    double count = 0, mx = 0, my = 0;
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x) {
        const size_t at = static_cast<size_t>(y) * picture.width + x;
        double d = 0;
        for (int c = 0; c < 3; ++c) d += std::pow(picture.plane[c][at] - stats.mean[c], 2);
        if (d > threshold) continue;
        ++count;
        mx += x + 0.5;
        my += y + 0.5;
      }
    const double share = count / (double(x1 - x0) * (y1 - y0));
    if (share < 0.15 || share > 0.75) continue;
    centres.push_back({k % 6, k / 6, mx / count, my / count});
  }
  Grid fitted = *grid;
  for (int pass = 0; pass < 2; ++pass) {
    // Straight lines: centre x over the column, centre y over the row.
    double n = 0, si = 0, sii = 0, sx = 0, six = 0, sj = 0, sjj = 0, sy = 0, sjy = 0;
    for (const Centre &c : centres) {
      n += 1;
      si += c.i, sii += c.i * c.i, sx += c.x, six += c.i * c.x;
      sj += c.j, sjj += c.j * c.j, sy += c.y, sjy += c.j * c.y;
    }
    const double detX = n * sii - si * si, detY = n * sjj - sj * sj;
    if (n < 12 || detX <= 0 || detY <= 0) return false;
    const double px = (n * six - si * sx) / detX, cx0 = (sx - px * si) / n;
    const double py = (n * sjy - sj * sy) / detY, cy0 = (sy - py * sj) / n;
    fitted = Grid{cx0 - px / 2, cy0 - py / 2, px, py};
    const double tolerance = 0.03 * std::min(px, py) + 0.5;
    std::erase_if(centres, [&](const Centre &c) {
      return std::abs(c.x - (cx0 + c.i * px)) > tolerance ||
             std::abs(c.y - (cy0 + c.j * py)) > tolerance;
    });
  }
  if (!(fitted.px > 0.8 * grid->px && fitted.px < 1.25 * grid->px && fitted.py > 0.8 * grid->py &&
        fitted.py < 1.25 * grid->py))
    return false;
  *grid = fitted;
  return true;
}

// Below this score the best grid is no chart: neighbouring patches then differ by little more
// than the unevenness within them.
constexpr double kLeastScore = 20;

}  // namespace

const std::array<Lab, 24> &chartReference() {
  return colour::kChartReference;
}

const std::array<const char *, 24> &chartPatchNames() {
  return colour::kChartPatchNames;
}

bool findChart(const imaging::RawFrame &raw, const std::array<double, 4> &black, ChartPlace *place,
               std::string *error) {
  if (raw.width < 96 || raw.height < 64 || raw.data.size() < size_t(raw.width) * raw.height) {
    *error = "no colour chart found: the capture is too small";
    return false;
  }
  const Picture3 quads = quadMeans(raw, black);
  const double clip = raw.whiteLevel - *std::max_element(black.begin(), black.end());
  // The coarse search runs on a copy about 200 pixels wide.
  const int factor = std::max(1, static_cast<int>(std::lround(quads.width / 200.0)));
  Integrals coarse(factor > 1 ? reduced(quads, factor) : quads);
  coarse.clip = clip;
  double score = 0;
  Grid grid = coarseSearch(coarse, &score);
  if (score < kLeastScore) {
    *error =
        "no colour chart found (no 6 x 4 grid of uniform patches with the grey scale along its "
        "bottom, white on the left)";
    return false;
  }
  grid = Grid{grid.x0 * factor, grid.y0 * factor, grid.px * factor, grid.py * factor};
  Integrals fine(quads);
  fine.clip = clip;
  grid = refine(fine, grid, 0.6, &score);
  for (int pass = 0; pass < 2; ++pass) {
    Grid fitted = grid;
    if (!fitToOutlines(quads, fine, &fitted)) break;
    grid = fitted;
  }
  score = scoreOf(fine, grid, 0.5);
  if (score < kLeastScore) {
    *error = "no colour chart found (the best grid of patches is not uniform enough)";
    return false;
  }
  // Quad pixels to sites.
  *place = ChartPlace{2 * grid.cx(0), 2 * grid.cy(0), 2 * grid.cx(23), 2 * grid.cy(23)};
  return true;
}

bool measureChart(const imaging::RawFrame &raw, const std::array<double, 4> &black,
                  const ChartPlace &place, std::array<PatchSample, 24> *patches,
                  std::string *error) {
  const double px = (place.x1 - place.x0) / 5, py = (place.y1 - place.y0) / 3;
  if (!(px >= 4 && py >= 4)) {
    *error = "the chart's patches are too small to read (under 4 pixels)";
    return false;
  }
  std::array<PatchSample, 24> samples{};
  for (int k = 0; k < 24; ++k) {
    const double cx = place.x0 + (k % 6) * px, cy = place.y0 + (k / 6) * py;
    const int x0 = static_cast<int>(std::lround(cx - px / 4)),
              x1 = static_cast<int>(std::lround(cx + px / 4));
    const int y0 = static_cast<int>(std::lround(cy - py / 4)),
              y1 = static_cast<int>(std::lround(cy + py / 4));
    if (x0 < 0 || y0 < 0 || x1 > raw.width || y1 > raw.height) {
      *error = std::string("the chart's patch \"") + colour::kChartPatchNames[k] +
               "\" lies outside the capture";
      return false;
    }
    std::array<std::vector<double>, 4> values;
    int sites = 0, clipped = 0;
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x) {
        const int channel = channelAt(raw, x, y);
        if (channel < 0) continue;
        const uint16_t code = raw.data[static_cast<size_t>(y) * raw.width + x];
        values[channel].push_back(code - black[channel]);
        ++sites;
        if (code >= raw.whiteLevel) ++clipped;
      }
    // Hot and dead sites left out: those far outside the spread of their channel.
    double sum[4] = {0, 0, 0, 0}, squares[4] = {0, 0, 0, 0};
    int count[4] = {0, 0, 0, 0};
    for (int c = 0; c < 4; ++c) {
      std::vector<double> &v = values[c];
      if (v.empty()) continue;
      std::vector<double> sorted = v;
      std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
      const double median = sorted[sorted.size() / 2];
      for (double &d : sorted) d = std::abs(d - median);
      std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
      const double limit = 8 * 1.4826 * sorted[sorted.size() / 2] + 4;
      for (double value : v) {
        if (std::abs(value - median) > limit) continue;
        sum[c] += value;
        squares[c] += value * value;
        ++count[c];
      }
    }
    if (count[kR] == 0 || count[kGr] + count[kGb] == 0 || count[kB] == 0) {
      *error = "the chart's patches are too small to read";
      return false;
    }
    PatchSample &sample = samples[k];
    sample.rgb = {sum[kR] / count[kR], (sum[kGr] + sum[kGb]) / (count[kGr] + count[kGb]),
                  sum[kB] / count[kB]};
    // The two greens' noise apart: their levels differ a little (crosstalk).
    double variance = 0;
    int greens = 0;
    for (int c : {kGr, kGb}) {
      if (count[c] < 2) continue;
      const double mean = sum[c] / count[c];
      variance += squares[c] - count[c] * mean * mean;
      greens += count[c] - 1;
    }
    sample.noise = greens > 0 ? std::sqrt(std::max(0.0, variance / greens)) : 0;
    sample.clipped = sites > 0 ? double(clipped) / sites : 0;
  }
  *patches = samples;
  return true;
}

std::array<double, 4> blackOf(const imaging::RawFrame &raw) {
  std::array<double, 4> black{};
  for (int i = 0; i < 4; ++i) {
    const int channel = channelAt(raw, i & 1, i >> 1);
    if (channel >= 0) black[channel] = raw.blackLevel[i];
  }
  return black;
}

bool readChart(const Capture &capture, const std::optional<ChartPlace> &chart,
               const std::optional<ShadingGrid> &shading,
               const std::optional<std::array<double, 4>> &blackGiven, ChartPlace *place,
               std::array<PatchSample, 24> *patches, std::string *error) {
  const std::string prefix = capture.name.empty() ? "" : capture.name + ": ";
  imaging::RawFrame raw = capture.raw;
  if (blackGiven)
    for (int i = 0; i < 4; ++i) {
      const int channel = channelAt(raw, i & 1, i >> 1);
      if (channel >= 0) raw.blackLevel[i] = static_cast<float>((*blackGiven)[channel]);
    }
  const std::array<double, 4> black = blackOf(raw);
  if (shading) applyShading(*shading, &raw);
  ChartPlace found;
  if (chart) {
    found = *chart;
  } else if (!findChart(raw, black, &found, error)) {
    *error = prefix + *error;
    return false;
  }
  std::array<PatchSample, 24> samples, unshaded;
  if (!measureChart(raw, black, found, &samples, error) ||
      !measureChart(capture.raw, black, found, &unshaded, error)) {
    *error = prefix + *error;
    return false;
  }
  // Clipping shows in the sensor's own codes, before any gain.
  int worst = 0;
  for (int k = 1; k < 24; ++k)
    if (unshaded[k].clipped > unshaded[worst].clipped) worst = k;
  if (unshaded[worst].clipped > 0.002) {
    *error = prefix + "the chart is over-exposed: patch \"" + colour::kChartPatchNames[worst] +
             "\" is clipped (" +
             std::to_string(static_cast<int>(unshaded[worst].clipped * 100 + 0.5)) +
             "% of its sites at the white level); shorten the exposure";
    return false;
  }
  const double range = capture.raw.whiteLevel - *std::max_element(black.begin(), black.end());
  const PatchSample &white = samples[colour::kFirstGrey];
  if (!(white.rgb[1] > 0.1 * range) || !(white.rgb[0] > 0) || !(white.rgb[2] > 0)) {
    *error = prefix + "the chart is too dark: its white patch reaches " +
             std::to_string(static_cast<int>(std::max(0.0, white.rgb[1]) / range * 100 + 0.5)) +
             "% of full scale (at least 10% needed); lengthen the exposure or add light";
    return false;
  }
  for (auto &sample : samples) sample.clipped = unshaded[&sample - samples.data()].clipped;
  *place = found;
  *patches = samples;
  return true;
}

std::array<double, 2> greyRatios(const std::array<PatchSample, 24> &patches) {
  double r = 0, g = 0, b = 0;
  for (int k = colour::kFirstGrey; k < colour::kFirstGrey + 4; ++k) {
    r += patches[k].rgb[0];
    g += patches[k].rgb[1];
    b += patches[k].rgb[2];
  }
  return {r / g, b / g};
}

}  // namespace calibrate
