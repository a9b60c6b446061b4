// "GE": green equilibration, which evens out the Gr and Gb pixels of the Bayer mosaic.
// The block cannot be read back: reads serve the database.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseGreenEquilibration;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverGreenEquilibration_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"threshold", Access::Float, SHELL_FIELD(threshold), nullptr, after,
     "Largest local Gr/Gb difference that is treated as imbalance and evened out, in 12-bit codes "
     "(32 as shipped); larger differences are kept as detail."},
};

constexpr tshell::About kAbout = {
    "Green equilibration",
    "Evens out the two kinds of green site (Gr, Gb), which see the same colour through different "
    "neighbours and differ by the sensor's crosstalk, leaving a fine maze pattern in flat areas. "
    "In the simulated camera a green moves halfway towards the other kind where the local "
    "imbalance is no larger than threshold; larger differences are detail and stay."};

}  // namespace

SHELL_CATEGORY(TShellGreenEquilibration_process, "GE", kKeys, kAbout);
