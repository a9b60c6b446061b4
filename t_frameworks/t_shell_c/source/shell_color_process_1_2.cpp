// "CP_1_2": brightness, contrast, hue and saturation of the YUV output.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseColorProcess_1_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverColorProcess_1_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorProcess_1_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"bright", Access::Float, SHELL_FIELD(bright), before, after},
    {"contrast", Access::Float, SHELL_FIELD(contrast), before, after},
    {"hue", Access::Float, SHELL_FIELD(hue), before, after},
    {"saturation", Access::Float, SHELL_FIELD(saturation), before, after},
    {"yuvRange", Access::Integer, SHELL_FIELD(yuvRange), before, after},
};

constexpr tshell::About kAbout = {"Colour processing", nullptr};

}  // namespace

SHELL_CATEGORY(TShellColorProcess_1_2_process, "CP_1_2", kKeys, kAbout);
