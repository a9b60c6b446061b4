// The simulated ISP with one deliberate fault, for the compliance tests: every function is the
// simulated ISP's except the one overridden here, which the build picks with a definition.
//   BROKEN_PUSH_WHILE_OFF  the DG push pretends to succeed before TDriver_init
//   BROKEN_READ_BACK       the WB_1_1 read-back through _statistics leaves the record alone
#include <dlfcn.h>

#include "t_common.h"
#include "t_driver.h"

namespace {

using BlockFunction = uint32_t (*)(TDriver *, uint8_t);

// The simulated ISP's own function of that name.
BlockFunction original(const char *name) {
  return reinterpret_cast<BlockFunction>(dlsym(RTLD_NEXT, name));
}

uint32_t state(TDriver *driver) {
  TDriverStatus status{};
  TDriver_status(driver, &status);
  return status.state;
}

}  // namespace

#ifdef BROKEN_PUSH_WHILE_OFF
extern "C" TDRIVER_API uint32_t TDriverDigitalGain_process(TDriver *driver, uint8_t flag) {
  if (flag == 0 && state(driver) == TDRIVER_STATE_OFF) return TCOMMON_SUCCESS;
  return original("TDriverDigitalGain_process")(driver, flag);
}
#endif

#ifdef BROKEN_READ_BACK
extern "C" TDRIVER_API uint32_t TDriverWhiteBalance_1_1_statistics(TDriver *driver, uint8_t flag) {
  if (state(driver) == TDRIVER_STATE_STREAMING) return TCOMMON_SUCCESS;
  return original("TDriverWhiteBalance_1_1_statistics")(driver, flag);
}
#endif
