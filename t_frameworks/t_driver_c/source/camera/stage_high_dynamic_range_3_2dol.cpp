// "HDR_3_2DOL" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageHighDynamicRange_3_2Dol(const Mosaic &in, const TDatabaseHighDynamicRange_3_2Dol &state, const FrameContext &context, Mosaic &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
