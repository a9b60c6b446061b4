// "CCM" in the simulated ISP. SCAFFOLD: passes the picture through until the block's
// algorithm is written.
#include <algorithm>

#include "stages.h"

namespace tcamera {

bool stageColorCorrectionMatrix(const RgbImage &in, const TDatabaseColorCorrectionMatrix &state, const FrameContext &context, RgbImage &out) {
  (void)in;
  (void)state;
  (void)context;
  (void)out;
  return false;
}

}  // namespace tcamera
