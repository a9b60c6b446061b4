// "WB_1_1" in the simulated ISP: the white balance gains, one per Bayer channel in the order
// R, Gr, Gb, B.
//
// Each site's signal above the black level still in the data is multiplied by the gain of its
// channel and clipped at the white level, so that highlights clip per channel as they do on
// the hardware. Infrared sites of an RGB-IR sensor keep unity gain. Both exposures of a
// two-exposure frame are balanced alike.
#include <algorithm>

#include "channel_gains.h"
#include "stages.h"

namespace tcamera {

bool stageWhiteBalance_1_1(const Mosaic &in, const TDatabaseWhiteBalance_1_1 &state,
                           const FrameContext &context, Mosaic &out) {
  (void)context;
  if (state.state == 0) return false;
  // Indexed by site colour: R, Gr, Gb, B, IR. A negative gain acts as 0.
  std::array<float, 5> gains{};
  for (int c = 0; c < 4; ++c) gains[c] = std::max(0.0f, state.gain[c]);
  gains[4] = 1;
  return applyChannelGains(in, gains, out);
}

}  // namespace tcamera
