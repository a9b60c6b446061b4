// "WDR_5_2_1" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageWideDynamicRange_5_2_1(const RgbImage &in, const TDatabaseWideDynamicRange_5_2_1 &state, const FrameContext &context, RgbImage &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
