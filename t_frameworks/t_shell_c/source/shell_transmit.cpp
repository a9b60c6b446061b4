// "TM": where frames are sent for viewing. Stored only; the frame sender reads it.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseTransmit;

constexpr KeyRow kKeys[] = {
    {"nginxIp", Access::String, SHELL_FIELD(nginxIp), nullptr, nullptr},
    {"isStreamable", Access::Bool, SHELL_FIELD(isStreamable), nullptr, nullptr},
};

constexpr tshell::About kAbout = {"Frame transmission", nullptr};

}  // namespace

SHELL_CATEGORY(TShellTransmit_process, "TM", kKeys, kAbout);
