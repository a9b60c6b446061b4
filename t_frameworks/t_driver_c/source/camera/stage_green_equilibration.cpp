// "GE" in the simulated ISP: evens out the two greens of the Bayer mosaic.
//
// Gr and Gb sites see the same colour through different neighbours, so crosstalk leaves them
// slightly apart and a fine maze pattern appears in flat areas. The four diagonal neighbours of
// a green site are greens of the other kind; where the site differs from their mean by no more
// than the threshold (12-bit scale, scaled to the sensor's bit depth), the difference is
// treated as imbalance and the site moves to the midpoint of itself and that mean. Larger
// differences are detail and are kept. Red, blue and infrared sites pass unchanged; the
// borders read their neighbours mirrored into the frame. Both exposures of a two-exposure
// frame are treated alike.
#include <algorithm>
#include <cmath>

#include "stages.h"

namespace tcamera {
namespace {

constexpr int kRecordBits = 12;  // threshold is on the 12-bit scale

// Rows and columns beyond the frame read those mirrored into it, which keeps the colour.
int mirror(int index, int size) {
  if (index < 0) return -index;
  if (index >= size) return 2 * (size - 1) - index;
  return index;
}

bool isGreen(Cfa colour) {
  return colour == Cfa::kGreenRed || colour == Cfa::kGreenBlue;
}

void equilibrate(const std::vector<float> &in, const Mosaic &shape, float threshold,
                 std::vector<float> &out) {
  const int width = shape.width;
  const int height = shape.height;
  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *above = &in[static_cast<size_t>(mirror(y - 1, height)) * width];
      const float *here = &in[static_cast<size_t>(y) * width];
      const float *below = &in[static_cast<size_t>(mirror(y + 1, height)) * width];
      float *dest = &out[static_cast<size_t>(y) * width];
      std::copy(here, here + width, dest);
      bool green[4];
      for (int x = 0; x < 4; ++x) green[x] = isGreen(shape.colourAt(x, y));
      const auto balance = [&](int x, int left, int right) {
        const float others = (above[left] + above[right] + below[left] + below[right]) * 0.25f;
        const float difference = here[x] - others;
        if (std::fabs(difference) <= threshold) dest[x] = here[x] - difference * 0.5f;
      };
      if (green[0]) balance(0, 1, 1);
      for (int x = 1; x < width - 1; ++x)
        if (green[x & 3]) balance(x, x - 1, x + 1);
      if (green[(width - 1) & 3]) balance(width - 1, width - 2, width - 2);
    }
  });
}

}  // namespace

bool stageGreenEquilibration(const Mosaic &in, const TDatabaseGreenEquilibration &state,
                             const FrameContext &context, Mosaic &out) {
  if (state.state == 0 || !(state.threshold > 0)) return false;
  if (in.width < 2 || in.height < 2) return false;
  const float threshold = state.threshold * std::ldexp(1.0f, context.bitDepth - kRecordBits);
  out = in.sameShape();
  equilibrate(in.data, in, threshold, out.data);
  if (!in.shortData.empty()) equilibrate(in.shortData, in, threshold, out.shortData);
  return true;
}

}  // namespace tcamera
