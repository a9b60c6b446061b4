// "CNR_2_2": chroma noise reduction.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseColorNoiseReduction_2_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverColorNoiseReduction_2_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorNoiseReduction_2_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"cSigmaLayer", Access::Float, SHELL_FIELD(cSigmaLayer), before, after},
    {"cnrStrength", Access::Integer, SHELL_FIELD(cnrStrength), before, after},
    {"textureMaskSelect", Access::Integer, SHELL_FIELD(textureMaskSelect), before, after},
};

constexpr tshell::About kAbout = {"Chroma noise reduction", nullptr};

}  // namespace

SHELL_CATEGORY(TShellColorNoiseReduction_2_2_process, "CNR_2_2", kKeys, kAbout);
