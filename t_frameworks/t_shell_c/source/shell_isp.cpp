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
    {"isEnable", Access::Bool, SHELL_FIELD(isEnable), before, after},
    {"hwId", Access::Integer, SHELL_FIELD(hwId), before, nullptr},
};

constexpr tshell::About kAbout = {"ISP switch", nullptr};

}  // namespace

SHELL_CATEGORY(TShellIsp_process, "ISP", kKeys, kAbout);
