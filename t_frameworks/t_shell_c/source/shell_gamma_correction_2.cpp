// "GC_2": gamma correction.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseGammaCorrection_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverGammaCorrection_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverGammaCorrection_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"curve", Access::Integer, SHELL_FIELD(curve), before, after},
    {"curvePx", Access::Integer, SHELL_FIELD(curvePx), before, after},
    {"isStandard", Access::Bool, SHELL_FIELD(isStandard), before, after},
    {"isUserCurveX", Access::Bool, SHELL_FIELD(isUserCurveX), before, after},
    {"standardVal", Access::Float, SHELL_FIELD(standardVal), before, after},
};

constexpr tshell::About kAbout = {"Gamma correction", nullptr};

}  // namespace

SHELL_CATEGORY(TShellGammaCorrection_2_process, "GC_2", kKeys, kAbout);
