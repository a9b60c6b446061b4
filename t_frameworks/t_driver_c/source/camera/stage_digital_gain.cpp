// "DG" in the simulated ISP: a digital gain per Bayer channel (r, gr, gb, b).
//
// Each site's signal above the black level still in the data is multiplied by the gain of its
// channel and clipped at the white level, as the fixed-width pixel bus does; the pedestal (0
// after black level subtraction) stays where it is. Infrared sites of an RGB-IR sensor keep
// unity gain. Both exposures of a two-exposure frame are scaled alike.
#include <algorithm>

#include "channel_gains.h"
#include "stages.h"

namespace tcamera {

bool stageDigitalGain(const Mosaic &in, const TDatabaseDigitalGain &state,
                      const FrameContext &context, Mosaic &out) {
  (void)context;
  if (state.state == 0) return false;
  // Indexed by site colour: R, Gr, Gb, B, IR. Negative gains are meaningless to the
  // multiplier and act as 0.
  const std::array<float, 5> gains = {std::max(0.0f, state.r), std::max(0.0f, state.gr),
                                      std::max(0.0f, state.gb), std::max(0.0f, state.b), 1.0f};
  return applyChannelGains(in, gains, out);
}

}  // namespace tcamera
