// "HDR_3_2DOL": merge of the two exposures of a digital-overlap sensor. The block cannot be
// read back: reads are served from the record, and only writes reach the hardware.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseHighDynamicRange_3_2Dol;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverHighDynamicRange_3_2Dol_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"bypassSelect", Access::Integer, SHELL_FIELD(bypassSelect), nullptr, after},
    {"colorWeight", Access::Integer, SHELL_FIELD(colorWeight), nullptr, after},
    {"deGhostLs.darkLowerThreshold", Access::Integer, SHELL_FIELD(deGhostLs.darkLowerThreshold),
     nullptr, after},
    {"deGhostLs.darkUpperThreshold", Access::Integer, SHELL_FIELD(deGhostLs.darkUpperThreshold),
     nullptr, after},
    {"deGhostLs.isEnable", Access::Bool, SHELL_FIELD(deGhostLs.isEnable), nullptr, after},
    {"deGhostLs.motionLowerThreshold", Access::Integer, SHELL_FIELD(deGhostLs.motionLowerThreshold),
     nullptr, after},
    {"deGhostLs.motionUpperThreshold", Access::Integer, SHELL_FIELD(deGhostLs.motionUpperThreshold),
     nullptr, after},
    {"deGhostLsVs.darkLowerThreshold", Access::Integer, SHELL_FIELD(deGhostLsVs.darkLowerThreshold),
     nullptr, after},
    {"deGhostLsVs.darkUpperThreshold", Access::Integer, SHELL_FIELD(deGhostLsVs.darkUpperThreshold),
     nullptr, after},
    {"deGhostLsVs.isEnable", Access::Bool, SHELL_FIELD(deGhostLsVs.isEnable), nullptr, after},
    {"deGhostLsVs.motionLowerThreshold", Access::Integer,
     SHELL_FIELD(deGhostLsVs.motionLowerThreshold), nullptr, after},
    {"deGhostLsVs.motionUpperThreshold", Access::Integer,
     SHELL_FIELD(deGhostLsVs.motionUpperThreshold), nullptr, after},
    // Signed: a negative shift moves a frame's bits down.
    {"extendBit", Access::Integer, SHELL_FIELD(extendBit), nullptr, after},
    {"motionWeight", Access::Integer, SHELL_FIELD(motionWeight), nullptr, after},
    {"ratio", Access::Float, SHELL_FIELD(ratio), nullptr, after},
    {"transRange", Access::Float, SHELL_FIELD(transRange), nullptr, after},
};

constexpr tshell::About kAbout = {"Two-exposure HDR merge", nullptr};

}  // namespace

SHELL_CATEGORY(TShellHighDynamicRange_3_2Dol_process, "HDR_3_2DOL", kKeys, kAbout);
