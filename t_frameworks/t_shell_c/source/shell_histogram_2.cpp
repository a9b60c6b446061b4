// "HTG_2": the second histogram unit. Every key but "statistics" configures the unit and
// pushes it; "statistics" reads the unit back from the hardware and serves its bins.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseHistogram_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverHistogram_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverHistogram_2_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseHistogram_2_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 switches the unit off (its bins read all 0), any other value on (1 as shipped). Writing "
     "pushes the unit."},
    {"gridWeight", Access::Integer, SHELL_FIELD(gridWeight), nullptr, after,
     "25 weights of the 5 x 5 grid that divides the window into equal cells, row by row from the "
     "top-left (1 each as shipped); a sample counts its cell's weight."},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after,
     "What is counted: 0 luminance 0.299 R + 0.587 G + 0.114 B (as shipped), 1 red, 2 green, 3 "
     "blue."},
    {"rectangle.height", Access::Integer, SHELL_FIELD(rectangle.height), nullptr, after,
     "Height of the measurement window in lines (1080 as shipped)."},
    {"rectangle.offset.x", Access::Integer, SHELL_FIELD(rectangle.offset.x), nullptr, after,
     "Left edge of the measurement window in pixels, signed (0 as shipped)."},
    {"rectangle.offset.y", Access::Integer, SHELL_FIELD(rectangle.offset.y), nullptr, after,
     "Top edge of the measurement window in lines, signed (0 as shipped)."},
    {"rectangle.width", Access::Integer, SHELL_FIELD(rectangle.width), nullptr, after,
     "Width of the measurement window in pixels (1920 as shipped)."},
    tshell::statisticsKey(
        "statistics", statistics, before,
        "The measurement, read-only: {\"bins\": [32 counts]}, darkest bin first, 32 levels a bin. "
        "Reading asks the hardware (once for a run of reads); without a stream it answers the last "
        "measurement with a streaming message. Writing changes nothing."),
};

constexpr tshell::About kAbout = {
    "Histogram v2",
    "The second histogram measurement unit: counts the samples of a window into 32 bins of "
    "luminance or one colour, each weighted by a 5 x 5 grid. In the simulated camera it measures "
    "the picture after white balance, in 10-bit levels of Bayer quads; writing any key but "
    "statistics pushes the unit."};

}  // namespace

SHELL_CATEGORY(TShellHistogram_2_process, "HTG_2", kKeys, kAbout);
