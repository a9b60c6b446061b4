// "CPD_1_1": expansion of companded sensor data. The block cannot be read back:
// reads serve the database.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseCompand_1_1;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverCompand_1_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"bls", Access::Integer, SHELL_FIELD(bls), nullptr, after},
    {"blsEnable", Access::Bool, SHELL_FIELD(blsEnable), nullptr, after},
    {"expandCurveX", Access::Integer, SHELL_FIELD(expandCurveX), nullptr, after},
    {"expandCurveY", Access::Integer, SHELL_FIELD(expandCurveY), nullptr, after},
    {"expandUseOutYCurve", Access::Bool, SHELL_FIELD(expandUseOutYCurve), nullptr, after},
};

constexpr tshell::About kAbout = {"Compand", nullptr};

}  // namespace

SHELL_CATEGORY(TShellCompand_1_1_process, "CPD_1_1", kKeys, kAbout);
