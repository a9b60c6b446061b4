// "DG": digital gain per Bayer channel.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDigitalGain;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverDigitalGain_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDigitalGain_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"b", Access::Float, SHELL_FIELD(b), before, after},
    {"gb", Access::Float, SHELL_FIELD(gb), before, after},
    {"gr", Access::Float, SHELL_FIELD(gr), before, after},
    {"r", Access::Float, SHELL_FIELD(r), before, after},
};

constexpr tshell::About kAbout = {"Digital gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellDigitalGain_process, "DG", kKeys, kAbout);
