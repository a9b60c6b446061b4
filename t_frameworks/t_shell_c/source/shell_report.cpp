// "RPT": the version numbers the device reports to the tuning client. Stored only.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseReport;

constexpr KeyRow kKeys[] = {
    {"driver", Access::Integer, SHELL_FIELD(driver), nullptr, nullptr},
    {"shell", Access::Integer, SHELL_FIELD(shell), nullptr, nullptr},
    {"transmit", Access::Integer, SHELL_FIELD(transmit), nullptr, nullptr},
};

constexpr tshell::About kAbout = {"Report levels", nullptr};

}  // namespace

SHELL_CATEGORY(TShellReport_process, "RPT", kKeys, kAbout);
