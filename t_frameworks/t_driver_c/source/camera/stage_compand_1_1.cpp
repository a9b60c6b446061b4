// "CPD_1_1" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageCompand_1_1(const Mosaic &in, const TDatabaseCompand_1_1 &state, const FrameContext &context, Mosaic &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
