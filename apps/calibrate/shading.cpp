// Lens shading from flat fields: the light each channel receives across the frame, measured in
// blocks, smoothed by a 2-D polynomial and turned into the gains that bring every grid point
// back to the level of the frame's centre.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "calibrate.h"

namespace calibrate {

namespace {

constexpr int kDegree = 6;            // of the smooth fall-off fitted to the block levels
constexpr double kMinLevel = 0.08;    // centre above black, share of the range: else too dark
constexpr double kMaxClipped = 0.10;  // share of clipped blocks reported before any structure

// Least-squares fit of a smooth surface over the frame: sums of Legendre polynomials
// P_i(u) P_j(v), i + j <= degree, u and v from -1 to 1 across the frame.
class SmoothFit {
 public:
  struct Sample {
    double u, v, value;
  };
  explicit SmoothFit(int degree) : degree_(degree) {
    for (int i = 0; i <= degree; ++i)
      for (int j = 0; i + j <= degree; ++j) powers_.push_back({i, j});
  }
  size_t terms() const { return powers_.size(); }

  bool solve(const std::vector<Sample> &samples) {
    const size_t n = terms();
    std::vector<double> normal(n * (n + 1), 0.0);  // n rows of n coefficients and the sum
    std::vector<double> basis(n);
    for (const Sample &sample : samples) {
      evaluate(sample.u, sample.v, basis);
      for (size_t r = 0; r < n; ++r) {
        for (size_t c = 0; c < n; ++c) normal[r * (n + 1) + c] += basis[r] * basis[c];
        normal[r * (n + 1) + n] += basis[r] * sample.value;
      }
    }
    // Gaussian elimination with partial pivoting.
    for (size_t col = 0; col < n; ++col) {
      size_t pivot = col;
      for (size_t r = col + 1; r < n; ++r)
        if (std::abs(normal[r * (n + 1) + col]) > std::abs(normal[pivot * (n + 1) + col]))
          pivot = r;
      if (std::abs(normal[pivot * (n + 1) + col]) < 1e-12) return false;
      for (size_t c = 0; c <= n; ++c)
        std::swap(normal[col * (n + 1) + c], normal[pivot * (n + 1) + c]);
      for (size_t r = 0; r < n; ++r) {
        if (r == col) continue;
        const double factor = normal[r * (n + 1) + col] / normal[col * (n + 1) + col];
        for (size_t c = col; c <= n; ++c)
          normal[r * (n + 1) + c] -= factor * normal[col * (n + 1) + c];
      }
    }
    coefficients_.resize(n);
    for (size_t r = 0; r < n; ++r)
      coefficients_[r] = normal[r * (n + 1) + n] / normal[r * (n + 1) + r];
    return true;
  }

  double at(double u, double v) const {
    std::vector<double> basis(terms());
    evaluate(u, v, basis);
    double value = 0;
    for (size_t i = 0; i < basis.size(); ++i) value += coefficients_[i] * basis[i];
    return value;
  }

 private:
  void evaluate(double u, double v, std::vector<double> &basis) const {
    double pu[16], pv[16];
    legendre(u, pu);
    legendre(v, pv);
    for (size_t i = 0; i < powers_.size(); ++i)
      basis[i] = pu[powers_[i].first] * pv[powers_[i].second];
  }
  void legendre(double x, double *p) const {
    p[0] = 1;
    p[1] = x;
    for (int k = 1; k < degree_; ++k) p[k + 1] = ((2 * k + 1) * x * p[k] - k * p[k - 1]) / (k + 1);
  }

  int degree_;
  std::vector<std::pair<int, int>> powers_;
  std::vector<double> coefficients_;
};

// The robust level of one channel in one block of the averaged frame: the mean of the middle
// 80% of its sites (hot and dead sites fall in the tails), where the block lies, and how the
// sites scatter.
struct Block {
  double x = 0, y = 0;  // centroid of the sites, pixels
  double level = 0;     // above black
  double spread = 0;    // standard deviation of the mean, codes
  bool clipped = false;
};

double trimmedMean(std::vector<double> &values, double *spread) {
  std::sort(values.begin(), values.end());
  const size_t cut = values.size() / 10;
  double sum = 0, squares = 0;
  const size_t count = values.size() - 2 * cut;
  for (size_t i = cut; i < values.size() - cut; ++i) sum += values[i];
  const double mean = sum / count;
  for (size_t i = cut; i < values.size() - cut; ++i)
    squares += (values[i] - mean) * (values[i] - mean);
  // The trimmed tails narrow the scatter; 1.5 restores it roughly for a normal spread.
  if (spread != nullptr) *spread = 1.5 * std::sqrt(squares / std::max<size_t>(1, count - 1));
  return mean;
}

// The frame averaged over the captures, and the black level of each channel.
struct Averaged {
  int width = 0, height = 0;
  std::vector<double> values;  // above black
  double white = 0;            // white level above the lowest black
  const imaging::RawFrame *shape = nullptr;
};

std::vector<Block> measureBlocks(const Averaged &frame, int channel, int side) {
  const int columns = std::max(1, frame.width / side), rows = std::max(1, frame.height / side);
  std::vector<Block> blocks;
  std::vector<double> values;
  for (int by = 0; by < rows; ++by) {
    const int y0 = by * frame.height / rows, y1 = (by + 1) * frame.height / rows;
    for (int bx = 0; bx < columns; ++bx) {
      const int x0 = bx * frame.width / columns, x1 = (bx + 1) * frame.width / columns;
      values.clear();
      Block block;
      int clipped = 0;
      for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) {
          if (channelAt(*frame.shape, x, y) != channel) continue;
          const double value = frame.values[static_cast<size_t>(y) * frame.width + x];
          values.push_back(value);
          clipped += value >= frame.white - 1;
          block.x += x + 0.5;
          block.y += y + 0.5;
        }
      if (values.size() < 4) continue;
      block.x /= values.size();
      block.y /= values.size();
      block.clipped = clipped * 5 > static_cast<int>(values.size());
      block.level = trimmedMean(values, &block.spread);
      block.spread /= std::sqrt(static_cast<double>(values.size()));
      blocks.push_back(block);
    }
  }
  return blocks;
}

// Brightness of the four corner regions over the centre region (a sixteenth of the frame on a
// side), for one channel, with gain(x, y) applied to each site.
template <typename Gain>
double cornerRatio(const Averaged &frame, int channel, Gain &&gain) {
  const int w = std::max(4, frame.width / 16), h = std::max(4, frame.height / 16);
  const auto region = [&](int x0, int y0) {
    std::vector<double> values;
    for (int y = y0; y < y0 + h; ++y)
      for (int x = x0; x < x0 + w; ++x)
        if (channelAt(*frame.shape, x, y) == channel)
          values.push_back(frame.values[static_cast<size_t>(y) * frame.width + x] * gain(x, y));
    return trimmedMean(values, nullptr);
  };
  const double centre = region((frame.width - w) / 2 & ~1, (frame.height - h) / 2 & ~1);
  const double corners = region(0, 0) + region(frame.width - w, 0) + region(0, frame.height - h) +
                         region(frame.width - w, frame.height - h);
  return centre > 0 ? corners / 4 / centre : 0;
}

std::string percent(double share) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f%%", 100 * share);
  return text;
}

}  // namespace

bool calibrateShading(const std::vector<Capture> &flats, const ShadingOptions &options,
                      ShadingResult *result, std::string *error) {
  if (flats.empty()) {
    *error = "no flat-field capture given";
    return false;
  }
  const imaging::RawFrame &first = flats.front().raw;
  for (const Capture &flat : flats) {
    if (flat.raw.width != first.width || flat.raw.height != first.height ||
        flat.raw.cfa != first.cfa) {
      *error = flat.name + ": not the size or colour pattern of " + flats.front().name;
      return false;
    }
  }
  std::array<double, 4> black{};
  for (int i = 0; i < 4; ++i) black[first.cfa[i] & 3] = first.blackLevel[i];
  if (options.black) black = *options.black;

  Averaged frame;
  frame.width = first.width;
  frame.height = first.height;
  frame.shape = &first;
  frame.white = first.whiteLevel - *std::max_element(black.begin(), black.end());
  frame.values.assign(first.data.size(), 0.0);
  for (const Capture &flat : flats)
    for (size_t i = 0; i < frame.values.size(); ++i) frame.values[i] += flat.raw.data[i];
  for (int y = 0; y < frame.height; ++y)
    for (int x = 0; x < frame.width; ++x) {
      double &value = frame.values[static_cast<size_t>(y) * frame.width + x];
      const int channel = channelAt(first, x, y);
      value = value / flats.size() - (channel < 0 ? 0 : black[channel]);
    }

  ShadingGrid grid = options.sectors ? *options.sectors : equalSectors(frame.width, frame.height);
  const auto columns = gridColumns(grid, frame.width);
  const auto rows = gridRows(grid, frame.height);
  const int side = std::max(8, std::min(frame.width, frame.height) / 24 & ~1);
  const double cx = frame.width / 2.0, cy = frame.height / 2.0;
  const std::string name = flats.size() == 1 ? flats.front().name : "the flat fields";

  for (int channel = 0; channel < 4; ++channel) {
    const std::vector<Block> blocks = measureBlocks(frame, channel, side);
    const size_t clipped = std::count_if(blocks.begin(), blocks.end(),
                                         [](const Block &block) { return block.clipped; });
    if (clipped > kMaxClipped * blocks.size()) {
      *error = name + ": clipped, " + percent(double(clipped) / blocks.size()) +
               " of the frame at the white level (lower the exposure)";
      return false;
    }
    std::vector<SmoothFit::Sample> samples;
    std::vector<double> spreads;
    for (const Block &block : blocks) {
      if (block.clipped) continue;
      samples.push_back({(block.x - cx) / cx, (block.y - cy) / cy, block.level});
      spreads.push_back(block.spread);
    }
    SmoothFit fit(kDegree);
    if (samples.size() < 4 * fit.terms() || !fit.solve(samples)) {
      *error = name + ": too small a frame to measure the lens shading";
      return false;
    }
    // Too dark: most of the frame, not only its centre, far below the range.
    std::vector<double> levels;
    for (const auto &sample : samples) levels.push_back(sample.value);
    std::nth_element(levels.begin(), levels.begin() + levels.size() * 9 / 10, levels.end());
    const double bright = levels[levels.size() * 9 / 10];
    const double centre = fit.at(0, 0);
    if (bright < kMinLevel * frame.white) {
      *error = name + ": too dark for a flat field, the brightest parts read " +
               percent(bright / frame.white) + " of the range above black (at least " +
               percent(kMinLevel) + " needed)";
      return false;
    }
    // A flat field departs from its smooth fall-off by noise alone; a chart or a scene does
    // by much more.
    std::nth_element(spreads.begin(), spreads.begin() + spreads.size() / 2, spreads.end());
    const double noise = spreads[spreads.size() / 2] / bright;
    double squares = 0;
    for (const auto &sample : samples) {
      const double departure = (sample.value - fit.at(sample.u, sample.v)) / bright;
      squares += departure * departure;
    }
    const double rms = std::sqrt(squares / samples.size());
    if (rms > std::max(0.015, 3 * noise)) {
      *error = name + ": not a flat field, the picture has structure (" + percent(rms) +
               " departure from a smooth fall-off in " + kChannelNames[channel] + ")";
      return false;
    }
    if (centre < kMinLevel * frame.white) {
      *error = name + ": too dark for a flat field, the centre reads " +
               percent(centre / frame.white) + " of the range above black (at least " +
               percent(kMinLevel) + " needed)";
      return false;
    }
    if (clipped > 0) {
      *error = name + ": clipped, " + std::to_string(clipped) +
               " blocks at the white level (lower the exposure)";
      return false;
    }
    for (int r = 0; r < kGridSide; ++r)
      for (int c = 0; c < kGridSide; ++c) {
        const double level = fit.at((columns[c] - cx) / cx, (rows[r] - cy) / cy);
        const double gain = level > centre / 64 ? centre / level : 64.0;
        grid.matrix[channel][r * kGridSide + c] =
            static_cast<uint16_t>(std::clamp(std::lround(gain * kUnityGain), 0L, 65535L));
      }
  }

  result->grid = grid;
  for (int channel = 0; channel < 4; ++channel) {
    result->cornerToCentreBefore[channel] =
        cornerRatio(frame, channel, [](int, int) { return 1.0; });
    result->cornerToCentreAfter[channel] = cornerRatio(frame, channel, [&](int x, int y) {
      return shadingGain(grid, channel, frame.width, frame.height, x, y);
    });
  }
  return true;
}

}  // namespace calibrate
