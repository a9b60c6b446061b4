// "BLS": black level subtraction.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseBlackLevelSubtraction;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverBlackLevelSubtraction_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverBlackLevelSubtraction_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"data", Access::Integer, SHELL_FIELD(data), before, after},
    {"isOverrideCalibration", Access::Bool, SHELL_FIELD(isOverrideCalibration), before, after},
};

constexpr tshell::About kAbout = {"Black level subtraction", nullptr};

}  // namespace

SHELL_CATEGORY(TShellBlackLevelSubtraction_process, "BLS", kKeys, kAbout);
