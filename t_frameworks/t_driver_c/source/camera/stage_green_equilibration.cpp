// "GE" in the simulated ISP: evens out the two greens of the Bayer mosaic.
//
// Gr and Gb sites see the same colour through different neighbours, so crosstalk leaves them
// slightly apart and a fine maze pattern appears in flat areas. At each green site the block
// takes the difference between the site and the mean of its four diagonal neighbours (greens
// of the other kind), and averages it over the nine greens of its own kind in the 5 x 5 window
// around it: the local imbalance, with the noise of single sites averaged out. Where that
// imbalance is no larger than the threshold (12-bit scale, scaled to the sensor's bit depth),
// each green moves by half of it towards the other kind, which brings the two together;
// larger differences are detail of the scene and are kept. Red, blue and infrared sites pass
// unchanged. Beyond the frame a site reads the neighbour on its other side. Both exposures
// of a two-exposure frame are treated alike.
#include <algorithm>
#include <cmath>

#include "stages.h"

namespace tcamera {
namespace {

constexpr int kRecordBits = 12;  // threshold is on the 12-bit scale
constexpr int kSameKind = 2;     // greens of the same kind lie two sites apart
constexpr int kSlots = 2 * kSameKind + 1;
constexpr int kRun = 8;       // sites worked out together, a multiple of the pattern's width
constexpr int kRunStart = 4;  // first site of the runs: past the border, on the pattern

// The neighbour at offset from index along a side of size sites; beyond the frame, the one
// on the other side.
int neighbourAt(int index, int offset, int size) {
  const int at = index + offset;
  return at < 0 || at >= size ? index - offset : at;
}

bool isGreen(Cfa colour) {
  return colour == Cfa::kGreenRed || colour == Cfa::kGreenBlue;
}

// Each green site's difference from the mean of its four diagonal neighbours, summed over
// the site and its two neighbours of the same kind along the row, row by row: the window's
// sum is then three of these, one from each of its rows. A band keeps the last five rows it
// worked out.
class RowSums {
 public:
  RowSums(const std::vector<float> &in, const Mosaic &shape)
      : in_(in),
        shape_(shape),
        rows_(static_cast<size_t>(kSlots) * shape.width),
        differences_(shape.width) {
    std::fill(std::begin(held_), std::end(held_), -1);
  }

  const float *row(int y) {
    const int slot = y % kSlots;
    float *sums = &rows_[static_cast<size_t>(slot) * shape_.width];
    if (held_[slot] == y) return sums;
    held_[slot] = y;
    const int width = shape_.width, height = shape_.height;
    const float *above = &in_[static_cast<size_t>(neighbourAt(y, -1, height)) * width];
    const float *here = &in_[static_cast<size_t>(y) * width];
    const float *below = &in_[static_cast<size_t>(neighbourAt(y, 1, height)) * width];
    const auto difference = [&](int x, int left, int right) {
      return here[x] - (above[left] + above[right] + below[left] + below[right]) * 0.25f;
    };
    // Every site gets a value (those of red and blue are never read), which keeps the loops
    // free of branches; the middle of the row goes in fixed runs the compiler vectorises.
    float *d = differences_.data();
    d[0] = difference(0, 1, 1);
    int x = 1;
    for (; x < kRunStart; ++x) d[x] = difference(x, x - 1, x + 1);
    for (; x + kRun < width; x += kRun) {
      float run[kRun];  // written apart from the rows read, so the compiler need not check
      for (int i = 0; i < kRun; ++i) run[i] = difference(x + i, x + i - 1, x + i + 1);
      std::copy(run, run + kRun, d + x);
    }
    for (; x < width - 1; ++x) d[x] = difference(x, x - 1, x + 1);
    d[width - 1] = difference(width - 1, width - 2, width - 2);
    const auto sum = [&](int x) {
      return (d[neighbourAt(x, -kSameKind, width)] + d[x]) + d[neighbourAt(x, kSameKind, width)];
    };
    for (x = 0; x < kSameKind; ++x) sums[x] = sum(x);
    for (; x + kRun <= width - kSameKind; x += kRun) {
      float run[kRun];
      for (int i = 0; i < kRun; ++i)
        run[i] = (d[x + i - kSameKind] + d[x + i]) + d[x + i + kSameKind];
      std::copy(run, run + kRun, sums + x);
    }
    for (; x < width; ++x) sums[x] = sum(x);
    return sums;
  }

 private:
  const std::vector<float> &in_;
  const Mosaic &shape_;
  std::vector<float> rows_;
  std::vector<float> differences_;
  int held_[kSlots];
};

void equilibrate(const std::vector<float> &in, const Mosaic &shape, float threshold,
                 std::vector<float> &out) {
  const int width = shape.width;
  const int height = shape.height;
  parallelRows(height, [&](int first, int last) {
    RowSums sums(in, shape);
    for (int y = first; y < last; ++y) {
      const float *here = &in[static_cast<size_t>(y) * width];
      float *dest = &out[static_cast<size_t>(y) * width];
      const float *up = sums.row(neighbourAt(y, -kSameKind, height));
      const float *middle = sums.row(y);
      const float *down = sums.row(neighbourAt(y, kSameKind, height));
      // Weight of the correction at each column of the pattern: 1 for greens, 0 otherwise.
      float green[4];
      for (int x = 0; x < 4; ++x) green[x] = isGreen(shape.colourAt(x, y)) ? 1.0f : 0.0f;
      // Every site is worked out and red and blue get no correction: the row goes in fixed
      // runs the compiler vectorises, starting where a run begins the pattern.
      const auto balanced = [&](int x, float weight) {
        const float imbalance = ((up[x] + middle[x]) + down[x]) * (1.0f / 9);
        const float within = std::fabs(imbalance) <= threshold ? 0.5f : 0.0f;
        return here[x] - imbalance * within * weight;
      };
      float weights[kRun];
      for (int i = 0; i < kRun; ++i) weights[i] = green[i & 3];
      int x = 0;
      for (; x + kRun <= width; x += kRun) {
        float run[kRun];
        for (int i = 0; i < kRun; ++i) run[i] = balanced(x + i, weights[i]);
        std::copy(run, run + kRun, dest + x);
      }
      for (; x < width; ++x) dest[x] = balanced(x, green[x & 3]);
    }
  });
}

}  // namespace

bool stageGreenEquilibration(const Mosaic &in, const TDatabaseGreenEquilibration &state,
                             const FrameContext &context, Mosaic &out) {
  if (state.state == 0 || !(state.threshold > 0)) return false;
  // The window needs a few sites on each side of the centre.
  if (in.width <= kRunStart || in.height <= 2 * kSameKind) return false;
  const float threshold = state.threshold * std::ldexp(1.0f, context.bitDepth - kRecordBits);
  out = in.sameShape();
  equilibrate(in.data, in, threshold, out.data);
  if (!in.shortData.empty()) equilibrate(in.shortData, in, threshold, out.shortData);
  return true;
}

}  // namespace tcamera
