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
     SHELL_FIELD(confoundPointCwf.customPositionEnable), nullptr, after,
     "true places the cool-white fluorescent (CWF) confounding light at bg, rg below instead of "
     "its calibrated position (false as shipped). The camera's white-balance loop does not use "
     "it."},
    {"confoundPointCwf.bg", Access::Float, SHELL_FIELD(confoundPointCwf.bg), nullptr, after,
     "B/G ratio of the cool-white fluorescent (CWF) light's grey point, used with "
     "customPositionEnable. The camera's white-balance loop does not use it."},
    {"confoundPointCwf.rg", Access::Float, SHELL_FIELD(confoundPointCwf.rg), nullptr, after,
     "R/G ratio of the cool-white fluorescent (CWF) light's grey point, used with "
     "customPositionEnable. The camera's white-balance loop does not use it."},
    {"confoundPointCwf.threshold", Access::Float, SHELL_FIELD(confoundPointCwf.threshold), nullptr,
     after,
     "Distance in (R/G, B/G) within which a grey candidate is taken for cool-white fluorescent "
     "(CWF) light (0.05 as shipped). The camera's white-balance loop does not use it."},
    {"confoundPointD65.customPositionEnable", Access::Bool,
     SHELL_FIELD(confoundPointD65.customPositionEnable), nullptr, after,
     "true places the daylight (D65) confounding light at bg, rg below instead of its calibrated "
     "position (false as shipped). The camera's white-balance loop does not use it."},
    {"confoundPointD65.bg", Access::Float, SHELL_FIELD(confoundPointD65.bg), nullptr, after,
     "B/G ratio of the daylight (D65) light's grey point, used with customPositionEnable. The "
     "camera's white-balance loop does not use it."},
    {"confoundPointD65.rg", Access::Float, SHELL_FIELD(confoundPointD65.rg), nullptr, after,
     "R/G ratio of the daylight (D65) light's grey point, used with customPositionEnable. The "
     "camera's white-balance loop does not use it."},
    {"confoundPointD65.threshold", Access::Float, SHELL_FIELD(confoundPointD65.threshold), nullptr,
     after,
     "Distance in (R/G, B/G) within which a grey candidate is taken for daylight (D65) light (0.05 "
     "as shipped). The camera's white-balance loop does not use it."},
    {"confoundPointTl84.customPositionEnable", Access::Bool,
     SHELL_FIELD(confoundPointTl84.customPositionEnable), nullptr, after,
     "true places the TL84 fluorescent confounding light at bg, rg below instead of its calibrated "
     "position (false as shipped). The camera's white-balance loop does not use it."},
    {"confoundPointTl84.bg", Access::Float, SHELL_FIELD(confoundPointTl84.bg), nullptr, after,
     "B/G ratio of the TL84 fluorescent light's grey point, used with customPositionEnable. The "
     "camera's white-balance loop does not use it."},
    {"confoundPointTl84.rg", Access::Float, SHELL_FIELD(confoundPointTl84.rg), nullptr, after,
     "R/G ratio of the TL84 fluorescent light's grey point, used with customPositionEnable. The "
     "camera's white-balance loop does not use it."},
    {"confoundPointTl84.threshold", Access::Float, SHELL_FIELD(confoundPointTl84.threshold),
     nullptr, after,
     "Distance in (R/G, B/G) within which a grey candidate is taken for TL84 fluorescent light "
     "(0.05 as shipped). The camera's white-balance loop does not use it."},
    {"useDamping", Access::Bool, SHELL_FIELD(useDamping), nullptr, after,
     "true (as shipped) moves the gains a share of the way to each new estimate, in log steps; "
     "false jumps. Used by the camera's white-balance loop."},
    {"useManualDampCoff", Access::Bool, SHELL_FIELD(useManualDampCoff), nullptr, after,
     "true damps by manualDampCoff; false (as shipped) by the built-in share. Used by the camera's "
     "white-balance loop."},
    {"manualDampCoff", Access::Float, SHELL_FIELD(manualDampCoff), nullptr, after,
     "Damping with useManualDampCoff, 0..0.95 (0.5 as shipped): each frame the gains move 1 - "
     "manualDampCoff of the way. Used by the camera's white-balance loop."},
    tshell::indexKey(
        kLightRow, {"lightWeightLevelIndex", Access::Integer, SHELL_FIELD(lightWeightLevelIndex),
                    nullptr, after,
                    "Row of the lightWeightLevel table that its ':' keys address, 0..9. Kept in "
                    "the database, shared by every client; a write outside the table is refused."}),
    tshell::inEntry(kLightRow,
                    {":lightWeightLevel.lightWeightLevelEnable", Access::Bool,
                     SHELL_FIELD_OF(LightRow, lightWeightLevelEnable), nullptr, after,
                     "Selected row: true weighs the light sources by scene brightness through this "
                     "row (false as shipped). The camera's white-balance loop does not use it."}),
    tshell::inEntry(kLightRow, {":lightWeightLevel.brightnessLevel", Access::Float,
                                SHELL_FIELD_OF(LightRow, brightnessLevel), nullptr, after,
                                "Selected row: 18 rising scene brightness levels, lux (1, 2, 4 ... "
                                "as shipped). The camera's white-balance loop does not use it."}),
    tshell::inEntry(kLightRow,
                    {":lightWeightLevel.weight", Access::Float, SHELL_FIELD_OF(LightRow, weight),
                     nullptr, after,
                     "Selected row: weight of the estimate at each brightness level, 18 values "
                     "(1.0 as shipped). The camera's white-balance loop does not use it."}),
    tshell::indexKey(
        kGrayRow,
        {"grayPreferenceIndex", Access::Integer, SHELL_FIELD(grayPreferenceIndex), nullptr, after,
         "Row of the grayPreference table that its ':' keys address, 0..9. Kept in the database, "
         "shared by every client; a write outside the table is refused."}),
    tshell::inEntry(kGrayRow,
                    {":grayPreference.brightnessLevel", Access::Float,
                     SHELL_FIELD_OF(GrayRow, brightnessLevel), nullptr, after,
                     "Selected row: 18 rising scene brightness levels, lux, for the preferred grey "
                     "gains. The camera's white-balance loop does not use it."}),
    tshell::inEntry(
        kGrayRow, {":grayPreference.grayBgain", Access::Integer, SHELL_FIELD_OF(GrayRow, grayBgain),
                   nullptr, after,
                   "Selected row: preferred extra B gain at each brightness level, 18 values in "
                   "8.8 fixed point (256 = 1.0 as shipped), to render grey warmer or cooler. The "
                   "camera's white-balance loop does not use it."}),
    tshell::inEntry(
        kGrayRow,
        {":grayPreference.grayRgain", Access::Integer, SHELL_FIELD_OF(GrayRow, grayRgain), nullptr,
         after,
         "Selected row: preferred extra R gain at each brightness level, 18 values in 8.8 fixed "
         "point (256 = 1.0 as shipped). The camera's white-balance loop does not use it."}),
    tshell::inEntry(kGrayRow, {":grayPreference.preferenceGainEnable", Access::Bool,
                               SHELL_FIELD_OF(GrayRow, preferenceGainEnable), nullptr, after,
                               "Selected row: true applies the preferred grey gains (false as "
                               "shipped). The camera's white-balance loop does not use it."}),
    {"temPreference.preferenceA", Access::Integer, SHELL_FIELD(temPreference.preferenceA), nullptr,
     after,
     "Preference under incandescent (A) light, percent (100 = neutral as shipped): how much of the "
     "light's cast is corrected. The camera's white-balance loop does not use it."},
    {"temPreference.preferenceCwf", Access::Integer, SHELL_FIELD(temPreference.preferenceCwf),
     nullptr, after,
     "Preference under cool-white fluorescent light, percent (100 = neutral). The camera's "
     "white-balance loop does not use it."},
    {"temPreference.preferenceD65", Access::Integer, SHELL_FIELD(temPreference.preferenceD65),
     nullptr, after,
     "Preference under daylight (D65), percent (100 = neutral). The camera's white-balance loop "
     "does not use it."},
    {"temPreference.temptureEnable", Access::Bool, SHELL_FIELD(temPreference.temptureEnable),
     nullptr, after,
     "true applies the colour-temperature preferences (false as shipped). The camera's "
     "white-balance loop does not use it."},
    {"awbEnterLockThreshold", Access::Float, SHELL_FIELD(awbEnterLockThreshold), nullptr, after,
     "The loop locks once a step would change no gain by more than this, percent (0.1 as shipped). "
     "Used by the camera's white-balance loop."},
    {"awbEnterUnlockThreshold", Access::Float, SHELL_FIELD(awbEnterUnlockThreshold), nullptr, after,
     "A locked loop unlocks when the estimate moves more than this away, percent (0.2 as shipped; "
     "at least the lock threshold). Used by the camera's white-balance loop."},
    {"awbTemWeight", Access::Float, SHELL_FIELD(awbTemWeight), before, after,
     "Weight of grey candidates per colour-temperature band, 7 values: below 3000 K, 3000-4000 ... "
     "7000-8000, above (1.0 as shipped). Reading it refreshes WB_1_1 from the hardware first; the "
     "value is the control's own. Used by the camera's white-balance loop."},
    {"faceAwbBg", Access::Float, SHELL_FIELD(faceAwbBg), nullptr, after,
     "Target B/G of detected faces with faceAwbEnable. The camera's white-balance loop does not "
     "use it."},
    {"confidenceThreshold", Access::Float, SHELL_FIELD(confidenceThreshold), nullptr, after,
     "Ten confidence thresholds of the estimate, 0..1 (0, 0.1 ... 0.9 as shipped). The camera's "
     "white-balance loop does not use it."},
    {"faceAwbEnable", Access::Bool, SHELL_FIELD(faceAwbEnable), nullptr, after,
     "true lets detected faces steer white balance (false as shipped). The camera's white-balance "
     "loop does not use it."},
    {"faceWeight", Access::Float, SHELL_FIELD(faceWeight), nullptr, after,
     "Weight of face colour in the estimate, 0..1 (0.5 as shipped). The camera's white-balance "
     "loop does not use it."},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after,
     "Control mode: 0 (as shipped) manual, the WB_1_1 gains stay as pushed; 1 automatic: while the "
     "camera streams, its white-balance loop programs the WB_1_1 gains each frame."},
    {"faceAwbRg", Access::Float, SHELL_FIELD(faceAwbRg), nullptr, after,
     "Target R/G of detected faces with faceAwbEnable. The camera's white-balance loop does not "
     "use it."},
    {"faceAwbRoiNum", Access::Integer, SHELL_FIELD(faceAwbRoiNum), nullptr, after,
     "Number of face regions taken into account (0 as shipped). The camera's white-balance loop "
     "does not use it."},
    {"performanceOptiMode", Access::Integer, SHELL_FIELD(performanceOptiMode), nullptr, after,
     "Performance optimisation mode of the control, code (0 as shipped). The camera's "
     "white-balance loop does not use it."},
    tshell::atMost(kRoiWindows,
                   {"roiNumber", Access::Integer, SHELL_FIELD(roiNumber), nullptr, after,
                    "Number of weighting windows in roiWindow, 0..25 (1 as shipped); a larger "
                    "value is refused. Sets how many rows roiWindow reads and writes."}),
    {"roiWeight", Access::Float, SHELL_FIELD(roiWeight), nullptr, after,
     "Weight of the roiWindow windows against the whole picture, 0..1 (0.5 as shipped). The "
     "camera's white-balance loop does not use it."},
    tshell::rowsFrom(SHELL_FIELD(roiNumber),
                     {"roiWindow", Access::Float, SHELL_FIELD(roiWindow), nullptr, after,
                      "The roiNumber weighting windows, each x, y, width, height (shares of the "
                      "frame) and weight (one centred window as shipped). The camera's "
                      "white-balance loop does not use it."}),
    {"useCcOffset", Access::Bool, SHELL_FIELD(useCcOffset), nullptr, after,
     "true lets the control set the colour correction offsets with the light (true as shipped). "
     "The camera's white-balance loop does not use it."},
    {"useCcMatrix", Access::Bool, SHELL_FIELD(useCcMatrix), nullptr, after,
     "true lets the control set the colour correction matrix with the light (true as shipped). The "
     "record carries no matrices: in the simulated camera CCM stays as the client set it."},
};

constexpr tshell::About kAbout = {
    "Auto white balance",
    "The auto-white-balance control: how grey is found (confounding light positions, "
    "colour-temperature weights, face and window weights), preferences by light and brightness, "
    "and how the gains follow (damping, lock). While the camera streams and mode is 1, its "
    "white-balance loop finds the grey zones of the AES_2 window near the sensor's white locus "
    "each frame and programs the WB_1_1 gains (G 1); the keys it uses say so. A write pushes "
    "WB_1_1, which hands the settings to the loop."};

}  // namespace

SHELL_CATEGORY(TShellAutoWhiteBalance_4_process, "AWB_4", kKeys, kAbout);
