// "3AI_2": the switches between the ISP and its 3A (exposure, white balance, focus)
// controls. The block cannot be read back: reads serve the database.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabase3AInterface_2;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver3AInterface_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"awbEnable", Access::Bool, SHELL_FIELD(awbEnable), nullptr, after},
    {"cacEnable", Access::Bool, SHELL_FIELD(cacEnable), nullptr, after},
    {"ccEnable", Access::Bool, SHELL_FIELD(ccEnable), nullptr, after},
    {"isEnable", Access::Bool, SHELL_FIELD(isEnable), nullptr, after},
    {"integrationTime", Access::Float, SHELL_FIELD(integrationTime), nullptr, after},
    {"lscEnable", Access::Bool, SHELL_FIELD(lscEnable), nullptr, after},
    {"sensorGain", Access::Float, SHELL_FIELD(sensorGain), nullptr, after},
};

constexpr tshell::About kAbout = {"3A interface", nullptr};

}  // namespace

SHELL_CATEGORY(TShell3AInterface_2_process, "3AI_2", kKeys, kAbout);
