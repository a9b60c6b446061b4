// The camera's control loop: auto exposure, auto white balance and auto focus, run frame by
// frame as the device firmware runs them.
//
// When a streaming driver moves to the next frame, each loop that is switched on reads the
// statistics of the frame that was current, decides, and programs the hardware state of its
// block for the frames that follow, as firmware writes registers: the driver's hardware map
// changes and its generation moves, the database records the shell serves stay as they are.
// The loops read their settings from the auto categories ("AE_4", "AWB_4", "AF_4") as they were
// latched when their block was last pushed (the shell pushes the block after every write of an
// auto key), their windows from the measuring units' hardware state ("AES_2", "AFM_3"), and
// keep what they need between frames here. Nothing else enters a decision: the same frames give the
// same decisions.
//
//   - Auto exposure (control_exposure.cpp) runs while "EC_2" state is 1 (driven by auto
//     exposure) and programs its exposure time and gains.
//   - Auto white balance (control_white_balance.cpp) runs while "AWB_4" mode is 1 (0 as
//     shipped) and programs the "WB_1_1" gains.
//   - Auto focus (control_focus.cpp) runs while "FC" mode is not 0 (continuous) and "AF_4" mode
//     is not 0, and programs the "FC" lens position and state.
#ifndef T_DRIVER_CAMERA_CONTROL_H
#define T_DRIVER_CAMERA_CONTROL_H

#include <cstdint>
#include <optional>

#include "measure.h"
#include "t_driver.h"

namespace tcamera {

// The picture as the exposure and white-balance loops see it: the AES_2 window cut into a
// 32 x 32 grid of zones, each with its mean R, G, B (10-bit levels as the units see them) over
// the samples below the clip, the unit-weighted luminance over all its samples, and its
// share of clipped samples.
constexpr int kControlZones = 32;
struct Zone {
  double r = 0, g = 0, b = 0;  // unclipped samples only
  double luma = 0;             // every sample
  int count = 0;               // samples in the zone
  int unclipped = 0;           // samples with no channel at the clip
};
struct ZoneGrid {
  Zone zones[kControlZones][kControlZones];
};
void zonesOf(const TDatabaseAutoExposureStatistics_2 &unit, const Samples &samples, ZoneGrid &grid);

// ---- Auto exposure ------------------------------------------------------------------------

struct ExposureLoop {
  uint32_t state = TDRIVER_CONTROL_OFF;
  double luma = 0;    // metered, 0..255 of the full scale
  double target = 0;  // the set point after low-light repression, same scale
  bool isStepping = false;
};
// What the exposure loop decides for the next frame: the exposure control block's new
// hardware state, when it changes.
std::optional<TDatabaseExposureControl_2> exposureStep(ExposureLoop &loop,
                                                       const TDatabaseAutoExposure_4 &settings,
                                                       const TDatabaseExposureControl_2 &current,
                                                       const ZoneGrid &grid, double frameRate);

// ---- Auto white balance -------------------------------------------------------------------

struct WhiteBalanceLoop {
  uint32_t state = TDRIVER_CONTROL_OFF;
  double kelvin = 0;  // colour temperature of the light as estimated
  bool isLocked = false;
};
std::optional<TDatabaseWhiteBalance_1_1> whiteBalanceStep(
    WhiteBalanceLoop &loop, const TDatabaseAutoWhiteBalance_4 &settings,
    const TDatabaseWhiteBalance_1_1 &current, const ZoneGrid &grid);

// ---- Auto focus ---------------------------------------------------------------------------

struct FocusLoop {
  enum class Phase : uint8_t { kIdle, kSweep, kRefine, kFocused };
  Phase phase = Phase::kIdle;
  uint32_t state = TDRIVER_CONTROL_OFF;
  double value = 0;  // focus measure of the last frame
  int direction = 1;
  int step = 0;
  int points = 0;  // positions measured in this sweep
  bool reversed = false;
  int bestPosition = 0;
  double best = -1;
  int candidate = 0;   // refinement: 0 below the best, 1 above
  double focused = 0;  // focus measure when focus was found
  int lowFrames = 0;   // frames in a row measured below it
  int frames = 0;      // frames of this search
};
// The focus measure of a frame: the AFM_3 FIR sharpness of its three windows over their mean
// luminance (so that exposure changes do not look like focus changes), weighted by the middle
// row of AF_4's weightWindow.
double focusMeasure(const TDatabaseAutoFocusMeasurement_3 &unit, const float (&weights)[9]);
std::optional<TDatabaseFocusControl> focusStep(FocusLoop &loop,
                                               const TDatabaseAutoFocus_4 &settings,
                                               const TDatabaseFocusControl &current, double value);

// The auto category whose settings a push of block latches for its loop ("AE_4" for "EC_2",
// "AWB_4" for "WB_1_1", "AF_4" for "FC"), or nullptr.
const char *controlSettingsOf(const char *block);

// ---- The loops of one driver --------------------------------------------------------------

struct ControlLoops {
  ExposureLoop exposure;
  WhiteBalanceLoop whiteBalance;
  FocusLoop focus;
  uint64_t frames = 0;  // frames the loops have run on
  ZoneGrid grid;        // the last frame's zones, kept here for their size
};

// What the loops decided on the current frame, programmed by applyControl once the frame has
// moved on.
struct ControlUpdate {
  std::optional<TDatabaseExposureControl_2> exposure;
  std::optional<TDatabaseWhiteBalance_1_1> whiteBalance;
  std::optional<TDatabaseFocusControl> focus;
};
// With the driver locked and streaming: runs the loops that are on over the current frame.
uint32_t runControl(TDriver &locked, ControlUpdate &update);
// Writes what they decided into the hardware state.
uint32_t applyControl(TDriver &locked, const ControlUpdate &update);

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_CONTROL_H
