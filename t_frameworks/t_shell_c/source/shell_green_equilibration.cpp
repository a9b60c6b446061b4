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
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"threshold", Access::Float, SHELL_FIELD(threshold), nullptr, after},
};

constexpr tshell::About kAbout = {"Green equilibration", nullptr};

}  // namespace

SHELL_CATEGORY(TShellGreenEquilibration_process, "GE", kKeys, kAbout);
