// "DMSC_3" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageDeMosaic_3(const Mosaic &in, const TDatabaseDeMosaic_3 &state, const FrameContext &context, RgbImage &out) {
  // Placeholder until the block's algorithm lands: nearest-site RGB from each 2 x 2 cell.
  out.width = in.width;
  out.height = in.height;
  out.encoded = false;
  out.data.assign(static_cast<size_t>(in.width) * in.height * 3, 0.0f);
  const float scale = in.whiteLevel > in.blackLevel ? 1.0f / (in.whiteLevel - in.blackLevel) : 1.0f;
  for (int y = 0; y < in.height; ++y)
    for (int x = 0; x < in.width; ++x) {
      float rgb[3] = {0, 0, 0};
      float green = 0;
      const int cellX = x & ~1, cellY = y & ~1;
      for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx) {
          const int sx = std::min(cellX + dx, in.width - 1), sy = std::min(cellY + dy, in.height - 1);
          const float v = (in.at(sx, sy) - in.blackLevel) * scale;
          switch (in.colourAt(sx, sy)) {
            case Cfa::kRed: rgb[0] = v; break;
            case Cfa::kBlue: rgb[2] = v; break;
            case Cfa::kInfrared: break;
            default: green += 0.5f * v; break;
          }
        }
      rgb[1] = green;
      float *p = out.pixel(x, y);
      p[0] = rgb[0]; p[1] = rgb[1]; p[2] = rgb[2];
    }
  (void)state;
  (void)context;
  return true;
}

}  // namespace tcamera
