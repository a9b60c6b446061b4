// "MISC": switches that belong to no single block. Stored only.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseMisc;

constexpr KeyRow kKeys[] = {
    {"nrReloc", Access::Bool, SHELL_FIELD(nrReloc), nullptr, nullptr},
};

constexpr tshell::About kAbout = {"Miscellaneous", nullptr};

}  // namespace

SHELL_CATEGORY(TShellMisc_process, "MISC", kKeys, kAbout);
