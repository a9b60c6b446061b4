// "AE_4": the auto-exposure control. Its gains and exposure times are what the exposure
// hardware currently runs with, so reading them reads the exposure block back first; every
// other key is a stored setting of the control.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoExposure_4;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverExposureControl_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverExposureControl_2_process, SHELL_SITE);
}

// The record keeps exposure times in seconds; tuning clients work in microseconds.
constexpr double kMicrosecondsPerSecond = 1e6;
// Windows that roiWindow holds.
constexpr uint64_t kRoiWindows = 25;

constexpr KeyRow kKeys[] = {
    {"aeFrontGroundType", Access::Integer, SHELL_FIELD(aeFrontGroundType), nullptr, after},
    {"aeFaceWeight", Access::Float, SHELL_FIELD(aeFaceWeight), nullptr, after},
    {"aeTouchWeight", Access::Float, SHELL_FIELD(aeTouchWeight), nullptr, after},
    {"aGain", Access::Float, SHELL_FIELD(aGain), before, after},
    {"antiFlickerMode", Access::Integer, SHELL_FIELD(antiFlickerMode), nullptr, after},
    {"dampOver", Access::Float, SHELL_FIELD(dampOver), nullptr, after},
    {"dampOverGain", Access::Float, SHELL_FIELD(dampOverGain), nullptr, after},
    {"dampOverRatio", Access::Float, SHELL_FIELD(dampOverRatio), nullptr, after},
    {"dampUnder", Access::Float, SHELL_FIELD(dampUnder), nullptr, after},
    {"dampUnderGain", Access::Float, SHELL_FIELD(dampUnderGain), nullptr, after},
    {"dampUnderRatio", Access::Float, SHELL_FIELD(dampUnderRatio), nullptr, after},
    {"dGain", Access::Float, SHELL_FIELD(dGain), before, after},
    {"expDecomposeCustom", Access::Bool, SHELL_FIELD(expDecomposeCustom), nullptr, after},
    tshell::scaled(kMicrosecondsPerSecond,
                   {"exposureTime", Access::Float, SHELL_FIELD(exposureTime), before, after}),
    {"expTableNum", Access::Integer, SHELL_FIELD(expTableNum), nullptr, after},
    {"expV2WindowWeight", Access::Float, SHELL_FIELD(expV2WindowWeight), nullptr, after},
    {"expV3RoiNum", Access::Integer, SHELL_FIELD(expV3RoiNum), nullptr, after},
    {"expV3RoiWeight", Access::Float, SHELL_FIELD(expV3RoiWeight), nullptr, after},
    {"expV3RoiWindow", Access::Float, SHELL_FIELD(expV3RoiWindow), nullptr, after},
    {"expV3RoiWindowWeight", Access::Float, SHELL_FIELD(expV3RoiWindowWeight), nullptr, after},
    {"frameCalEnable", Access::Bool, SHELL_FIELD(frameCalEnable), nullptr, after},
    {"ispGain", Access::Float, SHELL_FIELD(ispGain), nullptr, after},
    {"lowLightHdrGain", Access::Float, SHELL_FIELD(lowLightHdrGain), nullptr, after},
    {"lowLightHdrLevel", Access::Integer, SHELL_FIELD(lowLightHdrLevel), nullptr, after},
    {"lowLightHdrRepress", Access::Float, SHELL_FIELD(lowLightHdrRepress), nullptr, after},
    {"lowLightLinearGain", Access::Float, SHELL_FIELD(lowLightLinearGain), nullptr, after},
    {"lowLightLinearLevel", Access::Integer, SHELL_FIELD(lowLightLinearLevel), nullptr, after},
    {"lowLightLinearRepress", Access::Float, SHELL_FIELD(lowLightLinearRepress), nullptr, after},
    {"motionFilter", Access::Float, SHELL_FIELD(motionFilter), nullptr, after},
    {"motionThreshold", Access::Float, SHELL_FIELD(motionThreshold), nullptr, after},
    {"performanceOptiMode", Access::Integer, SHELL_FIELD(performanceOptiMode), nullptr, after},
    tshell::atMost(kRoiWindows,
                   {"roiNumber", Access::Integer, SHELL_FIELD(roiNumber), nullptr, after}),
    {"roiWeight", Access::Float, SHELL_FIELD(roiWeight), nullptr, after},
    // Only the windows in use travel; expV3RoiWindow above always carries all 25.
    tshell::rowsFrom(SHELL_FIELD(roiNumber),
                     {"roiWindow", Access::Float, SHELL_FIELD(roiWindow), nullptr, after}),
    {"semMode", Access::Integer, SHELL_FIELD(semMode), nullptr, after},
    {"setPoint", Access::Float, SHELL_FIELD(setPoint), nullptr, after},
    {"targetFilter", Access::Float, SHELL_FIELD(targetFilter), nullptr, after},
    {"tolerance", Access::Float, SHELL_FIELD(tolerance), nullptr, after},
    {"wdrContrastMax", Access::Float, SHELL_FIELD(wdrContrastMax), nullptr, after},
    {"wdrContrastMin", Access::Float, SHELL_FIELD(wdrContrastMin), nullptr, after},
};

constexpr tshell::About kAbout = {"Auto exposure", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoExposure_4_process, "AE_4", kKeys, kAbout);
