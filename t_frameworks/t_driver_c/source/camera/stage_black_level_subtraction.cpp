// "BLS" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageBlackLevelSubtraction(const Mosaic &in, const TDatabaseBlackLevelSubtraction &state, const FrameContext &context, Mosaic &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
