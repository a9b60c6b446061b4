// "RGBIR_1_1": version 1.1 of the infrared separation block, with the keys of the first
// version. The block cannot be read back: reads are served from the record, and only
// writes reach the hardware.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseRgbInfraredRadiation_1_1;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverRgbInfraredRadiation_1_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"bls", Access::Integer, SHELL_FIELD(bls), nullptr, after},
    {"ccMatrix", Access::Float, SHELL_FIELD(ccMatrix), nullptr, after},
    {"dpccMidTh", Access::Integer, SHELL_FIELD(dpccMidTh), nullptr, after},
    {"dpccTh", Access::Integer, SHELL_FIELD(dpccTh), nullptr, after},
    {"irBayerPattern", Access::Integer, SHELL_FIELD(irBayerPattern), nullptr, after},
    {"irThreshold", Access::Integer, SHELL_FIELD(irThreshold), nullptr, after},
    {"lThreshold", Access::Integer, SHELL_FIELD(lThreshold), nullptr, after},
    {"outRgbPattern", Access::Integer, SHELL_FIELD(outRgbPattern), nullptr, after},
    {"rcccEnable", Access::Bool, SHELL_FIELD(rcccEnable), nullptr, after},
};

constexpr tshell::About kAbout = {"RGB-IR separation v1.1", nullptr};

}  // namespace

SHELL_CATEGORY(TShellRgbInfraredRadiation_1_1_process, "RGBIR_1_1", kKeys, kAbout);
