// "BLS" in the simulated ISP: removes the black pedestal so that black reads 0.
//
// Each site loses the level of its Bayer channel (R, Gr, Gb, B): the sensor's own calibrated
// pedestal (the level the mosaic says is still in the data), or, with isOverrideCalibration,
// the four levels of data[], which are on the 12-bit scale and are scaled to the sensor's bit
// depth. Results below 0 clip to 0, as on the unsigned pixel bus. The output carries black 0
// and a white level lowered by the smallest level removed. Infrared sites of an RGB-IR sensor
// lose the mean of the four levels. Both exposures of a two-exposure frame are treated alike.
#include <algorithm>
#include <cmath>

#include "stages.h"

namespace tcamera {
namespace {

constexpr int kRecordBits = 12;  // data[] is on the 12-bit scale
constexpr int kRun = 8;          // sites worked out together, a multiple of the pattern's width

// Level removed at each of the five site colours (R, Gr, Gb, B, IR), in sensor codes.
std::array<float, 5> levelsByColour(const Mosaic &in, const TDatabaseBlackLevelSubtraction &state,
                                    int bitDepth) {
  std::array<float, 5> levels{};
  if (!state.isOverrideCalibration) {
    levels.fill(in.blackLevel);
    return levels;
  }
  const float scale = std::ldexp(1.0f, bitDepth - kRecordBits);
  for (int c = 0; c < 4; ++c) levels[c] = static_cast<float>(state.data[c]) * scale;
  levels[4] = (levels[0] + levels[1] + levels[2] + levels[3]) / 4;
  return levels;
}

void subtract(const std::vector<float> &in, const Mosaic &shape, const std::array<float, 5> &levels,
              std::vector<float> &out) {
  parallelRows(shape.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      float runLevels[kRun];
      for (int i = 0; i < kRun; ++i) runLevels[i] = levels[static_cast<int>(shape.colourAt(i, y))];
      const float *source = &in[static_cast<size_t>(y) * shape.width];
      float *dest = &out[static_cast<size_t>(y) * shape.width];
      int x = 0;
      for (; x + kRun <= shape.width; x += kRun) {
        float run[kRun];  // apart from the rows, so that the compiler vectorises the run
        for (int i = 0; i < kRun; ++i) run[i] = std::max(0.0f, source[x + i] - runLevels[i]);
        std::copy(run, run + kRun, dest + x);
      }
      for (; x < shape.width; ++x) dest[x] = std::max(0.0f, source[x] - runLevels[x & 3]);
    }
  });
}

}  // namespace

bool stageBlackLevelSubtraction(const Mosaic &in, const TDatabaseBlackLevelSubtraction &state,
                                const FrameContext &context, Mosaic &out) {
  if (state.state == 0) return false;
  const std::array<float, 5> levels = levelsByColour(in, state, context.bitDepth);
  const bool nothingToRemove =
      std::all_of(levels.begin(), levels.end(), [](float level) { return level == 0; });
  if (nothingToRemove && in.blackLevel == 0) return false;
  out = in.sameShape();
  subtract(in.data, in, levels, out.data);
  if (!in.shortData.empty()) subtract(in.shortData, in, levels, out.shortData);
  out.blackLevel = 0;
  out.whiteLevel = std::max(0.0f, in.whiteLevel - *std::min_element(levels.begin(), levels.end()));
  return true;
}

}  // namespace tcamera
