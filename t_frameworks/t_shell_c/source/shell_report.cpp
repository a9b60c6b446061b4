// "RPT": the version numbers the device reports to the tuning client. Stored only.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseReport;

constexpr KeyRow kKeys[] = {
    {"driver", Access::Integer, SHELL_FIELD(driver), nullptr, nullptr,
     "Version of the ISP driver, major << 16 | minor (0x00010002: 1.2 as shipped). Stored only."},
    {"shell", Access::Integer, SHELL_FIELD(shell), nullptr, nullptr,
     "Version of the tuning shell protocol, major << 16 | minor (0x00010000: 1.0 as shipped). "
     "Stored only."},
    {"transmit", Access::Integer, SHELL_FIELD(transmit), nullptr, nullptr,
     "Version of the frame transmission protocol, major << 16 | minor (0x00010001: 1.1 as "
     "shipped). Stored only."},
};

constexpr tshell::About kAbout = {
    "Report levels",
    "The version numbers the device reports to the tuning client, packed as major << 16 | minor, "
    "so that the client can pick a compatible protocol and warn when settings were tuned with "
    "another driver. They are database values only."};

}  // namespace

SHELL_CATEGORY(TShellReport_process, "RPT", kKeys, kAbout);
