// "RGBIR": infrared separation of an RGB-IR sensor. The block cannot be read back: reads
// are served from the record, and only writes reach the hardware.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseRgbInfraredRadiation;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverRgbInfraredRadiation_process, SHELL_SITE);
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

constexpr tshell::About kAbout = {"RGB-IR separation", nullptr};

}  // namespace

SHELL_CATEGORY(TShellRgbInfraredRadiation_process, "RGBIR", kKeys, kAbout);
