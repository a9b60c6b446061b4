// "ISP": the ISP's on/off switch and its hardware identity. The ISP has no statistics of
// its own: a read-back is its process function with the read flag set.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseIsp;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverIsp_process, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverIsp_process, SHELL_SITE);
}

// "hwId" is the hardware's to say: a write is stored but never pushed by itself.
constexpr KeyRow kKeys[] = {
    {"isEnable", Access::Bool, SHELL_FIELD(isEnable), before, after,
     "Master on/off switch of the ISP (true as shipped). Reading refreshes it from the hardware; "
     "writing pushes it."},
    {"hwId", Access::Integer, SHELL_FIELD(hwId), before, nullptr,
     "Hardware identification of the ISP, 32 bits; the simulated ISP reports 0x5A170102. Reading "
     "asks the hardware; a write is stored but never pushed, and the next read-back restores the "
     "real value."},
};

constexpr tshell::About kAbout = {
    "ISP switch",
    "The ISP's master switch and its hardware identity. The simulated ISP answers a read-back of "
    "the block with the identification its hardware carries, whatever was written to hwId."};

}  // namespace

SHELL_CATEGORY(TShellIsp_process, "ISP", kKeys, kAbout);
