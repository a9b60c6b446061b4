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
    {"accurateFocusEnable", Access::Bool, SHELL_FIELD(accurateFocusEnable), nullptr, after,
     "true refines the found peak down to accurateFocusStep (as shipped); false stops at a quarter "
     "of the coarse step. Used by the camera's focus loop."},
    {"accurateFocusStep", Access::Integer, SHELL_FIELD(accurateFocusStep), nullptr, after,
     "Finest lens step of the refinement, lens steps (4 as shipped). Used by the camera's focus "
     "loop."},
    {"afmV11RoiNum", Access::Integer, SHELL_FIELD(afmV11RoiNum), nullptr, after,
     "Number of focus windows in afmV11RoiWindow in use (1 as shipped). The camera's focus loop "
     "does not use it."},
    {"afmV11RoiWeight", Access::Float, SHELL_FIELD(afmV11RoiWeight), nullptr, after,
     "Weight of the afmV11 windows against the whole picture, 0..1 (0.8 as shipped). The camera's "
     "focus loop does not use it."},
    {"afmV11RoiWindow", Access::Integer, SHELL_FIELD(afmV11RoiWindow), nullptr, after,
     "25 focus windows, each x, y, width, height in pixels (one centred 640 × 360 window of 1080p "
     "as shipped); all 25 always travel. The camera's focus loop does not use it."},
    {"afmV11RoiWindowWeight", Access::Float, SHELL_FIELD(afmV11RoiWindowWeight), nullptr, after,
     "Weight of each afmV11 window (1.0 as shipped). The camera's focus loop does not use it."},
    {"afmV3WeightWindow", Access::Float, SHELL_FIELD(afmV3WeightWindow), nullptr, after,
     "Focus weights of a 15 × 15 grid, row by row from the top-left (falling from the centre as "
     "shipped). The camera's focus loop does not use it."},
    {"cMotionThreshold", Access::Float, SHELL_FIELD(cMotionThreshold), nullptr, after,
     "Change of the picture that counts as camera or scene motion and holds the search, share "
     "(0.15 as shipped). The camera's focus loop does not use it."},
    {"cPdConfThreshold", Access::Float, SHELL_FIELD(cPdConfThreshold), nullptr, after,
     "Phase-detection confidence below which contrast search takes over, 0..1 (0.6 as shipped). "
     "The camera's focus loop does not use it."},
    {"cPointsOfCurve", Access::Integer, SHELL_FIELD(cPointsOfCurve), nullptr, after,
     "Coarse sweep points over the travel, at least 2 (9 as shipped): the travel is cut into this "
     "many minus one steps. Used by the camera's focus loop."},
    {"cStableTolerance", Access::Float, SHELL_FIELD(cStableTolerance), nullptr, after,
     "Share by which the focus measure may fall below the best before the peak counts as passed, "
     "and below the focused value before refocusing, 0..0.5 (0.05 as shipped). Used by the "
     "camera's focus loop."},
    {"deFocusFrameNum", Access::Integer, SHELL_FIELD(deFocusFrameNum), nullptr, after,
     "Frames in a row the measure must stay below the focused value before continuous mode "
     "searches again (5 as shipped). Used by the camera's focus loop."},
    {"lossConfidenceFrameNum", Access::Integer, SHELL_FIELD(lossConfidenceFrameNum), nullptr, after,
     "Frames of low confidence before the focus counts as lost (10 as shipped). The camera's focus "
     "loop does not use it."},
    {"maxFocal", Access::Integer, SHELL_FIELD(maxFocal), nullptr, after,
     "Far end of the lens travel the search uses, lens steps (1023 as shipped). Used by the "
     "camera's focus loop."},
    {"minFocal", Access::Integer, SHELL_FIELD(minFocal), nullptr, after,
     "Near end of the lens travel the search uses, lens steps (0 as shipped). Used by the camera's "
     "focus loop."},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after,
     "Focus mode: 0 off, 1 search once and hold, 2 (as shipped) continuous: search again when "
     "focus is lost. The camera's focus loop runs while this, FC mode and AFM_3 isEnable are all "
     "on, and programs the FC lens position."},
    {"pdRoiIndex", Access::Integer, SHELL_FIELD(pdRoiIndex), nullptr, after,
     "Phase-detection window in use (0 as shipped). The camera's focus loop does not use it."},
    {"pdShiftThreshold", Access::Float, SHELL_FIELD(pdShiftThreshold), nullptr, after,
     "Phase shift below which the lens counts as in focus, pixels (0.5 as shipped). The camera's "
     "focus loop does not use it."},
    {"pdStableCountMax", Access::Integer, SHELL_FIELD(pdStableCountMax), nullptr, after,
     "Frames of stable phase shift before the lens holds (3 as shipped). The camera's focus loop "
     "does not use it."},
    {"weightWindow", Access::Float, SHELL_FIELD(weightWindow), nullptr, after,
     "Focus weights of a 3 × 3 grid, row by row (centre 1.0 as shipped). The camera's focus loop "
     "weighs the left, centre and right AFM_3 windows by the middle row."},
};

constexpr tshell::About kAbout = {
    "Auto focus",
    "The auto-focus control: the lens travel, the contrast search (coarse sweep, refinement, "
    "tolerance), continuous refocusing, windows and weights, and phase-detection settings. While "
    "the camera streams and this mode, FC mode (0 as shipped) and AFM_3 isEnable are all on, its "
    "focus loop sweeps the lens for the sharpest AFM_3 measure, one position a frame, and holds it "
    "(FC state 2); the keys it uses say so. The simulated sensor has no phase pixels. A write "
    "pushes FC, which hands the settings to the loop."};

}  // namespace

SHELL_CATEGORY(TShellAutoFocus_4_process, "AF_4", kKeys, kAbout);
