// "HTG": the first histogram unit. Every key but "statistics" configures the unit and
// pushes it; "statistics" reads the unit back from the hardware and serves its bins.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseHistogram;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverHistogram_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverHistogram_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseHistogram_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 switches the unit off (its bins read all 0), any other value on (1 as shipped). Writing "
     "pushes the unit."},
    {"channel", Access::Integer, SHELL_FIELD(channel), nullptr, after,
     "What is counted: 0 the luminance of coefficient.red/green/blue (as shipped), 1 red, 2 green, "
     "3 blue."},
    {"coefficient.blue", Access::Float, SHELL_FIELD(coefficient.blue), nullptr, after,
     "Weight of blue in the luminance of channel 0 (0.114 as shipped, BT.601)."},
    {"coefficient.green", Access::Float, SHELL_FIELD(coefficient.green), nullptr, after,
     "Weight of green in the luminance of channel 0 (0.587 as shipped, BT.601)."},
    {"coefficient.red", Access::Float, SHELL_FIELD(coefficient.red), nullptr, after,
     "Weight of red in the luminance of channel 0 (0.299 as shipped, BT.601)."},
    {"gridWeight", Access::Integer, SHELL_FIELD(gridWeight), nullptr, after,
     "25 weights of the 5 x 5 grid that divides the window into equal cells, row by row from the "
     "top-left (1 each as shipped). In mode 1 a sample counts its cell's weight."},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after,
     "1: a sample counts the gridWeight of its cell (as shipped); 0: every sample counts once."},
    {"rectangle.height", Access::Integer, SHELL_FIELD(rectangle.height), nullptr, after,
     "Height of the measurement window in lines (1080 as shipped)."},
    {"rectangle.offset.x", Access::Integer, SHELL_FIELD(rectangle.offset.x), nullptr, after,
     "Left edge of the measurement window in pixels, signed (0 as shipped)."},
    {"rectangle.offset.y", Access::Integer, SHELL_FIELD(rectangle.offset.y), nullptr, after,
     "Top edge of the measurement window in lines, signed (0 as shipped)."},
    {"rectangle.width", Access::Integer, SHELL_FIELD(rectangle.width), nullptr, after,
     "Width of the measurement window in pixels (1920 as shipped)."},
    {"sampleRange.offset", Access::Integer, SHELL_FIELD(sampleRange.offset), nullptr, after,
     "Level subtracted before binning, in 10-bit levels (0 as shipped); samples below it fall into "
     "the first bin."},
    {"sampleRange.shift", Access::Integer, SHELL_FIELD(sampleRange.shift), nullptr, after,
     "Bin width as a power of two: bin = (level - offset) >> shift (6 as shipped: 64 levels a "
     "bin); the last bin takes the rest."},
    tshell::statisticsKey(
        "statistics", statistics, before,
        "The measurement, read-only: {\"bins\": [16 counts]}, darkest bin first. Reading asks the "
        "hardware (once for a run of reads); without a stream it answers the last measurement with "
        "a streaming message. Writing changes nothing."),
};

constexpr tshell::About kAbout = {
    "Histogram",
    "The first histogram measurement unit: counts the samples of a window into 16 bins of a "
    "selected channel or of a luminance mix, optionally weighted by a 5 x 5 grid. In the simulated "
    "camera it measures the picture after white balance, in 10-bit levels of Bayer quads; writing "
    "any key but statistics pushes the unit."};

}  // namespace

SHELL_CATEGORY(TShellHistogram_process, "HTG", kKeys, kAbout);
