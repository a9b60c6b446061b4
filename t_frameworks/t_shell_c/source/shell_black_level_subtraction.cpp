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
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Bypassed, the pedestal "
     "stays in the picture and in the measurements. Writing pushes the block."},
    {"data", Access::Integer, SHELL_FIELD(data), before, after,
     "Black levels of the R, Gr, Gb and B sites in 12-bit codes (256 each as shipped, 64 on a "
     "10-bit scale), scaled to the sensor's bit depth. Used only while isOverrideCalibration is "
     "on."},
    {"isOverrideCalibration", Access::Bool, SHELL_FIELD(isOverrideCalibration), before, after,
     "false: subtract the sensor's calibrated pedestal (as shipped); true: subtract the four data "
     "levels instead."},
};

constexpr tshell::About kAbout = {
    "Black level subtraction",
    "Removes the sensor's pedestal (black level) from every raw site so that black reads 0. In the "
    "simulated camera each site loses the level of its channel: the sensor's own pedestal, or the "
    "four data levels while isOverrideCalibration is on; results below 0 clip to 0 and the white "
    "level drops by the level removed."};

}  // namespace

SHELL_CATEGORY(TShellBlackLevelSubtraction_process, "BLS", kKeys, kAbout);
