// "AWB_4": the auto-white-balance control, with two tables of its own: preferred grey
// gains by brightness (grayPreference) and light weights by brightness
// (lightWeightLevel), each addressed in the row its own index selects. Only the colour
// temperature weights are read back from the white balance hardware.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoWhiteBalance_4;
using GrayRow = TDatabaseAutoWhiteBalance_4GrayPreference;
using LightRow = TDatabaseAutoWhiteBalance_4LightWeightLevel;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverWhiteBalance_1_1_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverWhiteBalance_1_1_process, SHELL_SITE);
}

constexpr tshell::Selection kLightRow =
    SHELL_SELECTION("lightWeightLevelIndex", lightWeightLevelIndex, lightWeightLevel);
constexpr tshell::Selection kGrayRow =
    SHELL_SELECTION("grayPreferenceIndex", grayPreferenceIndex, grayPreference);
// Windows that roiWindow holds.
constexpr uint64_t kRoiWindows = 25;

constexpr KeyRow kKeys[] = {
    {"confoundPointCwf.customPositionEnable", Access::Bool,
     SHELL_FIELD(confoundPointCwf.customPositionEnable), nullptr, after},
    {"confoundPointCwf.bg", Access::Float, SHELL_FIELD(confoundPointCwf.bg), nullptr, after},
    {"confoundPointCwf.rg", Access::Float, SHELL_FIELD(confoundPointCwf.rg), nullptr, after},
    {"confoundPointCwf.threshold", Access::Float, SHELL_FIELD(confoundPointCwf.threshold), nullptr,
     after},
    {"confoundPointD65.customPositionEnable", Access::Bool,
     SHELL_FIELD(confoundPointD65.customPositionEnable), nullptr, after},
    {"confoundPointD65.bg", Access::Float, SHELL_FIELD(confoundPointD65.bg), nullptr, after},
    {"confoundPointD65.rg", Access::Float, SHELL_FIELD(confoundPointD65.rg), nullptr, after},
    {"confoundPointD65.threshold", Access::Float, SHELL_FIELD(confoundPointD65.threshold), nullptr,
     after},
    {"confoundPointTl84.customPositionEnable", Access::Bool,
     SHELL_FIELD(confoundPointTl84.customPositionEnable), nullptr, after},
    {"confoundPointTl84.bg", Access::Float, SHELL_FIELD(confoundPointTl84.bg), nullptr, after},
    {"confoundPointTl84.rg", Access::Float, SHELL_FIELD(confoundPointTl84.rg), nullptr, after},
    {"confoundPointTl84.threshold", Access::Float, SHELL_FIELD(confoundPointTl84.threshold),
     nullptr, after},
    {"useDamping", Access::Bool, SHELL_FIELD(useDamping), nullptr, after},
    {"useManualDampCoff", Access::Bool, SHELL_FIELD(useManualDampCoff), nullptr, after},
    {"manualDampCoff", Access::Float, SHELL_FIELD(manualDampCoff), nullptr, after},
    tshell::indexKey(kLightRow, {"lightWeightLevelIndex", Access::Integer,
                                 SHELL_FIELD(lightWeightLevelIndex), nullptr, after}),
    tshell::inEntry(kLightRow, {":lightWeightLevel.lightWeightLevelEnable", Access::Bool,
                                SHELL_FIELD_OF(LightRow, lightWeightLevelEnable), nullptr, after}),
    tshell::inEntry(kLightRow, {":lightWeightLevel.brightnessLevel", Access::Float,
                                SHELL_FIELD_OF(LightRow, brightnessLevel), nullptr, after}),
    tshell::inEntry(kLightRow, {":lightWeightLevel.weight", Access::Float,
                                SHELL_FIELD_OF(LightRow, weight), nullptr, after}),
    tshell::indexKey(kGrayRow, {"grayPreferenceIndex", Access::Integer,
                                SHELL_FIELD(grayPreferenceIndex), nullptr, after}),
    tshell::inEntry(kGrayRow, {":grayPreference.brightnessLevel", Access::Float,
                               SHELL_FIELD_OF(GrayRow, brightnessLevel), nullptr, after}),
    tshell::inEntry(kGrayRow, {":grayPreference.grayBgain", Access::Integer,
                               SHELL_FIELD_OF(GrayRow, grayBgain), nullptr, after}),
    tshell::inEntry(kGrayRow, {":grayPreference.grayRgain", Access::Integer,
                               SHELL_FIELD_OF(GrayRow, grayRgain), nullptr, after}),
    tshell::inEntry(kGrayRow, {":grayPreference.preferenceGainEnable", Access::Bool,
                               SHELL_FIELD_OF(GrayRow, preferenceGainEnable), nullptr, after}),
    {"temPreference.preferenceA", Access::Integer, SHELL_FIELD(temPreference.preferenceA), nullptr,
     after},
    {"temPreference.preferenceCwf", Access::Integer, SHELL_FIELD(temPreference.preferenceCwf),
     nullptr, after},
    {"temPreference.preferenceD65", Access::Integer, SHELL_FIELD(temPreference.preferenceD65),
     nullptr, after},
    {"temPreference.temptureEnable", Access::Bool, SHELL_FIELD(temPreference.temptureEnable),
     nullptr, after},
    {"awbEnterLockThreshold", Access::Float, SHELL_FIELD(awbEnterLockThreshold), nullptr, after},
    {"awbEnterUnlockThreshold", Access::Float, SHELL_FIELD(awbEnterUnlockThreshold), nullptr,
     after},
    {"awbTemWeight", Access::Float, SHELL_FIELD(awbTemWeight), before, after},
    {"faceAwbBg", Access::Float, SHELL_FIELD(faceAwbBg), nullptr, after},
    {"confidenceThreshold", Access::Float, SHELL_FIELD(confidenceThreshold), nullptr, after},
    {"faceAwbEnable", Access::Bool, SHELL_FIELD(faceAwbEnable), nullptr, after},
    {"faceWeight", Access::Float, SHELL_FIELD(faceWeight), nullptr, after},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after},
    {"faceAwbRg", Access::Float, SHELL_FIELD(faceAwbRg), nullptr, after},
    {"faceAwbRoiNum", Access::Integer, SHELL_FIELD(faceAwbRoiNum), nullptr, after},
    {"performanceOptiMode", Access::Integer, SHELL_FIELD(performanceOptiMode), nullptr, after},
    tshell::atMost(kRoiWindows,
                   {"roiNumber", Access::Integer, SHELL_FIELD(roiNumber), nullptr, after}),
    {"roiWeight", Access::Float, SHELL_FIELD(roiWeight), nullptr, after},
    tshell::rowsFrom(SHELL_FIELD(roiNumber),
                     {"roiWindow", Access::Float, SHELL_FIELD(roiWindow), nullptr, after}),
    {"useCcOffset", Access::Bool, SHELL_FIELD(useCcOffset), nullptr, after},
    {"useCcMatrix", Access::Bool, SHELL_FIELD(useCcMatrix), nullptr, after},
};

constexpr tshell::About kAbout = {"Auto white balance", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoWhiteBalance_4_process, "AWB_4", kKeys, kAbout);
