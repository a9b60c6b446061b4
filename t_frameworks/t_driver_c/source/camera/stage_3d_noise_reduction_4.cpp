// "3DNR_4" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stage3DNoiseReduction_4(const RgbImage &in, const TDatabase3DNoiseReduction_4 &state, const FrameContext &context,
    TemporalHistory &history, RgbImage &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  (void)history;
  return false;
}

}  // namespace tcamera
