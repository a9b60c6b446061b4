// "MISC": switches that belong to no single block. Stored only.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseMisc;

constexpr KeyRow kKeys[] = {
    {"nrReloc", Access::Bool, SHELL_FIELD(nrReloc), nullptr, nullptr,
     "Moves noise reduction onto the raw Bayer data, before demosaicing spreads the noise over "
     "neighbouring pixels (false as shipped). Stored only."},
};

constexpr tshell::About kAbout = {
    "Miscellaneous",
    "Switches that belong to no single block. They are stored in the settings database and never "
    "pushed to the hardware by themselves."};

}  // namespace

SHELL_CATEGORY(TShellMisc_process, "MISC", kKeys, kAbout);
