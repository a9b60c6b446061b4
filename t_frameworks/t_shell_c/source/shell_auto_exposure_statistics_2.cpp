// "AES_2": the exposure statistics unit of the exposure control block, which the driver
// pushes and reads back with that block. "statistics" serves the unit's measurement.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoExposureStatistics_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverExposureControl_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverExposureControl_2_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseAutoExposureStatistics_2_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"inputSelect", Access::Integer, SHELL_FIELD(inputSelect), nullptr, after,
     "What the unit measures: 0 (as shipped) the processed mosaic after white balance, 1 the "
     "sensor's raw output before WB_1_1 and DG. The camera's exposure and white-balance loops "
     "meter the same source."},
    {"ratio", Access::Float, SHELL_FIELD(ratio), nullptr, after,
     "Highlight level as a share of full scale, 0..1 (0.95 as shipped): statistics counts the "
     "share of samples at or above ratio × 1023 as aboveRatio."},
    {"rectangle.height", Access::Integer, SHELL_FIELD(rectangle.height), nullptr, after,
     "Height of the measuring window, pixels of the frame (1080 as shipped). The camera's exposure "
     "and white-balance loops meter this window too."},
    {"rectangle.offset.x", Access::Integer, SHELL_FIELD(rectangle.offset.x), nullptr, after,
     "Left edge of the measuring window, pixels from the frame's left (0 as shipped). The camera's "
     "exposure and white-balance loops meter this window too."},
    {"rectangle.offset.y", Access::Integer, SHELL_FIELD(rectangle.offset.y), nullptr, after,
     "Top edge of the measuring window, pixels from the frame's top (0 as shipped). The camera's "
     "exposure and white-balance loops meter this window too."},
    {"rectangle.width", Access::Integer, SHELL_FIELD(rectangle.width), nullptr, after,
     "Width of the measuring window, pixels of the frame (1920 as shipped). The camera's exposure "
     "and white-balance loops meter this window too."},
    {"weight.blue", Access::Integer, SHELL_FIELD(weight.blue), nullptr, after,
     "Weight of B in the measured luminance, of 256 with the other three (29 as shipped). The "
     "camera's exposure loop meters this luminance."},
    {"weight.greenBlue", Access::Integer, SHELL_FIELD(weight.greenBlue), nullptr, after,
     "Weight of Gb in the measured luminance, of 256 with the other three (75 as shipped). The "
     "camera's exposure loop meters this luminance."},
    {"weight.greenRed", Access::Integer, SHELL_FIELD(weight.greenRed), nullptr, after,
     "Weight of Gr in the measured luminance, of 256 with the other three (75 as shipped). The "
     "camera's exposure loop meters this luminance."},
    {"weight.red", Access::Integer, SHELL_FIELD(weight.red), nullptr, after,
     "Weight of R in the measured luminance, of 256 with the other three (77 as shipped). The "
     "camera's exposure loop meters this luminance."},
    tshell::statisticsKey(
        "statistics", statistics, before,
        "The measurement, read back from the hardware: mean luminance per cell of a 5 × 5 grid "
        "over the window (10-bit levels), the mean over the window (luma), the share of highlight "
        "samples (aboveRatio) and the sample count. Writing it changes nothing."),
};

constexpr tshell::About kAbout = {
    "Exposure statistics",
    "The exposure statistics unit of the exposure control block: it measures the mean luminance of "
    "a window on a 5 × 5 grid and the share of samples near clipping, and the camera's exposure "
    "and white-balance loops meter its window (rectangle, weight, inputSelect) as 32 × 32 zones. "
    "It is pushed and read back with EC_2. In the simulated camera it measures the current frame "
    "as Bayer quads in 10-bit levels; without a stream, statistics answers the last measurement "
    "held."};

}  // namespace

SHELL_CATEGORY(TShellAutoExposureStatistics_2_process, "AES_2", kKeys, kAbout);
