// "DPCC": defect pixel cluster correction, the bad-pixel table and the on-line detection
// tables.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDefectPixelClusterCorrection;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverDefectPixelClusterCorrection_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDefectPixelClusterCorrection_process, SHELL_SITE);
}

// The table's coordinates and bptNum are independent keys: a client installing a new table
// writes all three in one request, and the block is pushed once, after the last of them.
constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"bptEnable", Access::Bool, SHELL_FIELD(bptEnable), before, after},
    {"bptNum", Access::Integer, SHELL_FIELD(bptNum), before, after},
    {"bptOutMode", Access::Integer, SHELL_FIELD(bptOutMode), before, after},
    {"bptPosX", Access::Integer, SHELL_FIELD(bptPosX), before, after},
    {"bptPosY", Access::Integer, SHELL_FIELD(bptPosY), before, after},
    {"lineMadFac", Access::Integer, SHELL_FIELD(lineMadFac), before, after},
    {"lineThresh", Access::Integer, SHELL_FIELD(lineThresh), before, after},
    {"methodsSet", Access::Integer, SHELL_FIELD(methodsSet), before, after},
    {"outMode", Access::Integer, SHELL_FIELD(outMode), before, after},
    {"pgFac", Access::Integer, SHELL_FIELD(pgFac), before, after},
    {"rgFac", Access::Integer, SHELL_FIELD(rgFac), before, after},
    {"rndOffs", Access::Integer, SHELL_FIELD(rndOffs), before, after},
    {"rndThresh", Access::Integer, SHELL_FIELD(rndThresh), before, after},
    {"roLimits", Access::Integer, SHELL_FIELD(roLimits), before, after},
    {"setUse", Access::Integer, SHELL_FIELD(setUse), before, after},
};

constexpr tshell::About kAbout = {"Defect pixel correction", nullptr};

}  // namespace

SHELL_CATEGORY(TShellDefectPixelClusterCorrection_process, "DPCC", kKeys, kAbout);
