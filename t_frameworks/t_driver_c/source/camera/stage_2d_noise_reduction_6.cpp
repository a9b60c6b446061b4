// "2DNR_6" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stage2DNoiseReduction_6(const Mosaic &in, const TDatabase2DNoiseReduction_6 &state, const FrameContext &context, Mosaic &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
