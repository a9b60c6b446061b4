// "WB_1_1": white balance gains.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseWhiteBalance_1_1;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverWhiteBalance_1_1_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverWhiteBalance_1_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"gain", Access::Float, SHELL_FIELD(gain), before, after},
};

constexpr tshell::About kAbout = {"White balance", nullptr};

}  // namespace

SHELL_CATEGORY(TShellWhiteBalance_1_1_process, "WB_1_1", kKeys, kAbout);
