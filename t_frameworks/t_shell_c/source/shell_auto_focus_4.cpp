// "AF_4": the auto-focus control. Its settings reach the focus motor block with the
// block's own.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoFocus_4;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverFocusControl_process, SHELL_SITE);
}

// afmV11RoiWindow always moves all 25 windows: afmV11RoiNum and pdRoiIndex are the focus
// control's own business, not a bound on the table.
constexpr KeyRow kKeys[] = {
    {"accurateFocusEnable", Access::Bool, SHELL_FIELD(accurateFocusEnable), nullptr, after},
    {"accurateFocusStep", Access::Integer, SHELL_FIELD(accurateFocusStep), nullptr, after},
    {"afmV11RoiNum", Access::Integer, SHELL_FIELD(afmV11RoiNum), nullptr, after},
    {"afmV11RoiWeight", Access::Float, SHELL_FIELD(afmV11RoiWeight), nullptr, after},
    {"afmV11RoiWindow", Access::Integer, SHELL_FIELD(afmV11RoiWindow), nullptr, after},
    {"afmV11RoiWindowWeight", Access::Float, SHELL_FIELD(afmV11RoiWindowWeight), nullptr, after},
    {"afmV3WeightWindow", Access::Float, SHELL_FIELD(afmV3WeightWindow), nullptr, after},
    {"cMotionThreshold", Access::Float, SHELL_FIELD(cMotionThreshold), nullptr, after},
    {"cPdConfThreshold", Access::Float, SHELL_FIELD(cPdConfThreshold), nullptr, after},
    {"cPointsOfCurve", Access::Integer, SHELL_FIELD(cPointsOfCurve), nullptr, after},
    {"cStableTolerance", Access::Float, SHELL_FIELD(cStableTolerance), nullptr, after},
    {"deFocusFrameNum", Access::Integer, SHELL_FIELD(deFocusFrameNum), nullptr, after},
    {"lossConfidenceFrameNum", Access::Integer, SHELL_FIELD(lossConfidenceFrameNum), nullptr,
     after},
    {"maxFocal", Access::Integer, SHELL_FIELD(maxFocal), nullptr, after},
    {"minFocal", Access::Integer, SHELL_FIELD(minFocal), nullptr, after},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after},
    {"pdRoiIndex", Access::Integer, SHELL_FIELD(pdRoiIndex), nullptr, after},
    {"pdShiftThreshold", Access::Float, SHELL_FIELD(pdShiftThreshold), nullptr, after},
    {"pdStableCountMax", Access::Integer, SHELL_FIELD(pdStableCountMax), nullptr, after},
    {"weightWindow", Access::Float, SHELL_FIELD(weightWindow), nullptr, after},
};

constexpr tshell::About kAbout = {"Auto focus", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoFocus_4_process, "AF_4", kKeys, kAbout);
