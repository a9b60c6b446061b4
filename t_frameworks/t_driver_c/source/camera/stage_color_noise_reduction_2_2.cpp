// "CNR_2_2" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageColorNoiseReduction_2_2(const RgbImage &in, const TDatabaseColorNoiseReduction_2_2 &state, const FrameContext &context, RgbImage &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
