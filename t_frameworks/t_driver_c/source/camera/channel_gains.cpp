#include "channel_gains.h"

#include <algorithm>

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

bool applyChannelGains(const Mosaic &in, const std::array<float, 5> &gains, Mosaic &out) {
  if (std::all_of(gains.begin(), gains.end(), [](float gain) { return gain == 1; })) return false;
  out = in.sameShape();
  const auto gain = [&](Cfa c) { return gains[static_cast<int>(c)]; };
  out.colourGain[0] *= gain(Cfa::kRed);
  out.colourGain[1] *= (gain(Cfa::kGreenRed) + gain(Cfa::kGreenBlue)) / 2;
  out.colourGain[2] *= gain(Cfa::kBlue);
  out.colourGain[3] *= gain(Cfa::kInfrared);
  applyGains(in.data, in, gains, out.data);
  if (!in.shortData.empty()) applyGains(in.shortData, in, gains, out.shortData);
  return true;
}

}  // namespace tcamera
