// "WB_1_1" in the simulated ISP: the white balance gains, one per Bayer channel in the order
// R, Gr, Gb, B.
//
// Each site's signal above the black level still in the data is multiplied by the gain of its
// channel and clipped at the white level, so that highlights clip per channel as they do on
// the hardware. Infrared sites of an RGB-IR sensor keep unity gain. Both exposures of a
// two-exposure frame are balanced alike.
#include <algorithm>

#include "stages.h"

namespace tcamera {
namespace {

constexpr int kRun = 8;  // sites worked out together, a multiple of the pattern's width

void applyGains(const std::vector<float> &in, const Mosaic &shape,
                const std::array<float, 5> &gains, std::vector<float> &out) {
  const float black = shape.blackLevel;
  const float white = shape.whiteLevel;
  parallelRows(shape.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      float runGains[kRun];
      for (int i = 0; i < kRun; ++i) runGains[i] = gains[static_cast<int>(shape.colourAt(i, y))];
      const float *source = &in[static_cast<size_t>(y) * shape.width];
      float *dest = &out[static_cast<size_t>(y) * shape.width];
      int x = 0;
      for (; x + kRun <= shape.width; x += kRun) {
        float run[kRun];  // apart from the rows, so that the compiler vectorises the run
        for (int i = 0; i < kRun; ++i)
          run[i] = std::min(white, black + (source[x + i] - black) * runGains[i]);
        std::copy(run, run + kRun, dest + x);
      }
      for (; x < shape.width; ++x)
        dest[x] = std::min(white, black + (source[x] - black) * runGains[x & 3]);
    }
  });
}

}  // namespace

bool stageWhiteBalance_1_1(const Mosaic &in, const TDatabaseWhiteBalance_1_1 &state,
                           const FrameContext &context, Mosaic &out) {
  (void)context;
  if (state.state == 0) return false;
  // Indexed by site colour: R, Gr, Gb, B, IR. A negative gain acts as 0.
  std::array<float, 5> gains{};
  for (int c = 0; c < 4; ++c) gains[c] = std::max(0.0f, state.gain[c]);
  gains[4] = 1;
  if (std::all_of(gains.begin(), gains.end(), [](float gain) { return gain == 1; })) return false;
  out = in.sameShape();
  applyGains(in.data, in, gains, out.data);
  if (!in.shortData.empty()) applyGains(in.shortData, in, gains, out.shortData);
  return true;
}

}  // namespace tcamera
