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
    {"aeFrontGroundType", Access::Integer, SHELL_FIELD(aeFrontGroundType), nullptr, after,
     "Which foreground the metering favours, code (0 as shipped). The camera's exposure loop does "
     "not use it."},
    {"aeFaceWeight", Access::Float, SHELL_FIELD(aeFaceWeight), nullptr, after,
     "Weight of detected faces in the metered level, 0..1 (0.5 as shipped). The camera's exposure "
     "loop does not use it."},
    {"aeTouchWeight", Access::Float, SHELL_FIELD(aeTouchWeight), nullptr, after,
     "Weight of a region the user touched in the metered level, 0..1 (0.5 as shipped). The "
     "camera's exposure loop does not use it."},
    {"aGain", Access::Float, SHELL_FIELD(aGain), before, after,
     "Analog sensor gain per exposure frame, 8 entries (frame 0 the long exposure, then the "
     "shorter HDR frames), factor (1.0 as shipped). A stored setting: reading it refreshes EC_2 "
     "from the hardware first, but the sensor's values are EC_2's, which the camera's exposure "
     "loop programs."},
    {"antiFlickerMode", Access::Integer, SHELL_FIELD(antiFlickerMode), nullptr, after,
     "Mains flicker avoidance: 0 off, 1 (as shipped) 50 Hz, 2 60 Hz. The camera's exposure loop "
     "keeps exposure times of a mains half-period or more at whole multiples of it (10 ms, 8.33 "
     "ms)."},
    {"dampOver", Access::Float, SHELL_FIELD(dampOver), nullptr, after,
     "Damping when the picture is too bright, 0..1 (0.3 as shipped): each frame the exposure moves "
     "1 - dampOver of the way (in log steps). Used by the camera's exposure loop."},
    {"dampOverGain", Access::Float, SHELL_FIELD(dampOverGain), nullptr, after,
     "Error factor from which a too-bright picture counts as a large change (4.0 as shipped); "
     "dampOver is then scaled by dampOverRatio. Used by the camera's exposure loop."},
    {"dampOverRatio", Access::Float, SHELL_FIELD(dampOverRatio), nullptr, after,
     "Scale on dampOver for large changes towards darker, 0..1 (0.5 as shipped), so that they are "
     "caught up faster. Used by the camera's exposure loop."},
    {"dampUnder", Access::Float, SHELL_FIELD(dampUnder), nullptr, after,
     "Damping when the picture is too dark, 0..1 (0.5 as shipped): each frame the exposure moves 1 "
     "- dampUnder of the way (in log steps). Used by the camera's exposure loop."},
    {"dampUnderGain", Access::Float, SHELL_FIELD(dampUnderGain), nullptr, after,
     "Error factor from which a too-dark picture counts as a large change (4.0 as shipped); "
     "dampUnder is then scaled by dampUnderRatio. Used by the camera's exposure loop."},
    {"dampUnderRatio", Access::Float, SHELL_FIELD(dampUnderRatio), nullptr, after,
     "Scale on dampUnder for large changes towards brighter, 0..1 (0.5 as shipped). Used by the "
     "camera's exposure loop."},
    {"dGain", Access::Float, SHELL_FIELD(dGain), before, after,
     "Digital sensor gain per exposure frame, 8 entries, factor (1.0 as shipped). A stored "
     "setting: reading it refreshes EC_2 from the hardware first, but the sensor's values are "
     "EC_2's, which the camera's exposure loop programs."},
    {"expDecomposeCustom", Access::Bool, SHELL_FIELD(expDecomposeCustom), nullptr, after,
     "true splits exposure into time and gain by the custom table (expTableNum) instead of the "
     "built-in order (false as shipped). The camera's exposure loop does not use it."},
    tshell::scaled(kMicrosecondsPerSecond,
                   {"exposureTime", Access::Float, SHELL_FIELD(exposureTime), before, after,
                    "Exposure time per exposure frame, 8 entries, in microseconds (the record "
                    "holds seconds; 10000 for frame 0, each further frame a quarter, as shipped). "
                    "A stored setting: reading it refreshes EC_2 from the hardware first, but the "
                    "sensor's values are EC_2's, which the camera's exposure loop programs."}),
    {"expTableNum", Access::Integer, SHELL_FIELD(expTableNum), nullptr, after,
     "Number of the exposure split table in use (1 as shipped). The camera's exposure loop does "
     "not use it."},
    {"expV2WindowWeight", Access::Float, SHELL_FIELD(expV2WindowWeight), nullptr, after,
     "Metering weights of a 32 × 32 grid over the AES_2 window, row by row from the top-left (2 in "
     "the centre half, 1 outside as shipped). With semMode 1 the camera's exposure loop weighs "
     "each zone's luminance by it."},
    {"expV3RoiNum", Access::Integer, SHELL_FIELD(expV3RoiNum), nullptr, after,
     "Number of metering windows in expV3RoiWindow in use, 0..25 (1 as shipped). The camera's "
     "exposure loop does not use it."},
    {"expV3RoiWeight", Access::Float, SHELL_FIELD(expV3RoiWeight), nullptr, after,
     "Weight of the expV3 windows against the whole picture in the metered level, 0..1 (0.5 as "
     "shipped). The camera's exposure loop does not use it."},
    {"expV3RoiWindow", Access::Float, SHELL_FIELD(expV3RoiWindow), nullptr, after,
     "25 metering windows, each x, y, width, height (shares of the frame) and weight; all 25 "
     "always travel. The camera's exposure loop does not use it."},
    {"expV3RoiWindowWeight", Access::Float, SHELL_FIELD(expV3RoiWindowWeight), nullptr, after,
     "Weight of each of the 25 expV3 metering windows (1.0 as shipped). The camera's exposure loop "
     "does not use it."},
    {"frameCalEnable", Access::Bool, SHELL_FIELD(frameCalEnable), nullptr, after,
     "true calibrates exposure frame by frame (false as shipped). The camera's exposure loop does "
     "not use it."},
    {"ispGain", Access::Float, SHELL_FIELD(ispGain), nullptr, after,
     "ISP digital gain per exposure frame, 8 entries, factor (1.0 as shipped). A stored setting; "
     "reading it does not touch the hardware. The camera's exposure loop does not use it."},
    {"lowLightHdrGain", Access::Float, SHELL_FIELD(lowLightHdrGain), nullptr, after,
     "Gain points of low-light repression in HDR mode, 8 rising factors (8x .. 1024x as shipped). "
     "The camera's exposure loop does not use it."},
    {"lowLightHdrLevel", Access::Integer, SHELL_FIELD(lowLightHdrLevel), nullptr, after,
     "Low-light level in HDR mode (16 as shipped). The camera's exposure loop does not use it."},
    {"lowLightHdrRepress", Access::Float, SHELL_FIELD(lowLightHdrRepress), nullptr, after,
     "Set-point factor at each lowLightHdrGain point in HDR mode, 0..1 (1.0 falling by 0.1 a point "
     "as shipped). The camera's exposure loop does not use it."},
    {"lowLightLinearGain", Access::Float, SHELL_FIELD(lowLightLinearGain), nullptr, after,
     "Gain points of low-light repression, 8 rising factors of total sensor gain (8x .. 1024x as "
     "shipped). The camera's exposure loop lowers the set point from the first one on."},
    {"lowLightLinearLevel", Access::Integer, SHELL_FIELD(lowLightLinearLevel), nullptr, after,
     "Low-light level in linear (non-HDR) mode (16 as shipped). The camera's exposure loop does "
     "not use it."},
    {"lowLightLinearRepress", Access::Float, SHELL_FIELD(lowLightLinearRepress), nullptr, after,
     "Set-point factor at each lowLightLinearGain point, 0..1 (1.0 falling by 0.1 a point as "
     "shipped): darker pictures in low light rather than noise. Interpolated over log gain by the "
     "camera's exposure loop."},
    {"motionFilter", Access::Float, SHELL_FIELD(motionFilter), nullptr, after,
     "Smoothing of the exposure while the scene moves, 0..1 (0.5 as shipped). The camera's "
     "exposure loop does not use it."},
    {"motionThreshold", Access::Float, SHELL_FIELD(motionThreshold), nullptr, after,
     "Change of the picture that counts as motion, 0..1 (0.5 as shipped). The camera's exposure "
     "loop does not use it."},
    {"performanceOptiMode", Access::Integer, SHELL_FIELD(performanceOptiMode), nullptr, after,
     "Performance optimisation mode of the control, code (0 as shipped). The camera's exposure "
     "loop does not use it."},
    tshell::atMost(kRoiWindows,
                   {"roiNumber", Access::Integer, SHELL_FIELD(roiNumber), nullptr, after,
                    "Number of metering windows in roiWindow, 0..25 (1 as shipped); a larger value "
                    "is refused. Sets how many rows roiWindow reads and writes."}),
    {"roiWeight", Access::Float, SHELL_FIELD(roiWeight), nullptr, after,
     "Weight of the roiWindow windows against the whole picture in the metered level, 0..1 (0.5 as "
     "shipped). The camera's exposure loop does not use it."},
    // Only the windows in use travel; expV3RoiWindow above always carries all 25.
    tshell::rowsFrom(SHELL_FIELD(roiNumber),
                     {"roiWindow", Access::Float, SHELL_FIELD(roiWindow), nullptr, after,
                      "The roiNumber metering windows in use, each x, y, width, height (shares of "
                      "the frame) and weight (one centred window as shipped). The camera's "
                      "exposure loop does not use it."}),
    {"semMode", Access::Integer, SHELL_FIELD(semMode), nullptr, after,
     "Metering mode: 0 plain mean over the window, 1 (as shipped) zones weighted by "
     "expV2WindowWeight. Used by the camera's exposure loop."},
    {"setPoint", Access::Float, SHELL_FIELD(setPoint), nullptr, after,
     "Target brightness of the metered picture, 0..255 of the linear full scale (50 as shipped, "
     "about a mid grey). The camera's exposure loop steers exposure time and gain towards it."},
    {"targetFilter", Access::Float, SHELL_FIELD(targetFilter), nullptr, after,
     "Smoothing of the target between frames, 0..1 (0.5 as shipped). The camera's exposure loop "
     "does not use it."},
    {"tolerance", Access::Float, SHELL_FIELD(tolerance), nullptr, after,
     "Dead band around the set point, percent of it (7 as shipped): within it the exposure loop "
     "holds; once it steps it goes on to half the band."},
    {"wdrContrastMax", Access::Float, SHELL_FIELD(wdrContrastMax), nullptr, after,
     "Largest scene contrast the exposure plans for with WDR, ratio (10 as shipped). The camera's "
     "exposure loop does not use it."},
    {"wdrContrastMin", Access::Float, SHELL_FIELD(wdrContrastMin), nullptr, after,
     "Smallest scene contrast the exposure plans for with WDR, ratio (1 as shipped). The camera's "
     "exposure loop does not use it."},
};

constexpr tshell::About kAbout = {
    "Auto exposure",
    "The auto-exposure control: metering weights and windows, the target brightness with its "
    "tolerance and damping, flicker avoidance and low-light repression. While the camera streams "
    "and EC_2 state is 1 (0 as shipped), its exposure loop meters the AES_2 window each frame and "
    "steers EC_2 exposure time, then analog and digital gain, towards setPoint; the keys it uses "
    "say so. A write pushes EC_2, which hands the settings to the loop."};

}  // namespace

SHELL_CATEGORY(TShellAutoExposure_4_process, "AE_4", kKeys, kAbout);
