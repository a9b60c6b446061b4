// "EC_2": sensor gains and integration time per exposure frame. The dots in
// "gain.analog" and "gain.digital" belong to the key text.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseExposureControl_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverExposureControl_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverExposureControl_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"gain.analog", Access::Float, SHELL_FIELD(gain.analog), before, after},
    {"gain.digital", Access::Float, SHELL_FIELD(gain.digital), before, after},
    {"integrationTime", Access::Float, SHELL_FIELD(integrationTime), before, after},
};

constexpr tshell::About kAbout = {"Exposure control", nullptr};

}  // namespace

SHELL_CATEGORY(TShellExposureControl_2_process, "EC_2", kKeys, kAbout);
