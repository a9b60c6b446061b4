// "TM": where frames are sent for viewing. Stored only; the frame sender reads it.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseTransmit;

constexpr KeyRow kKeys[] = {
    {"nginxIp", Access::String, SHELL_FIELD(nginxIp), nullptr, nullptr,
     "Dotted IPv4 address of the web server that serves frames to the client, up to 15 characters "
     "(\"127.0.0.1\" as shipped: the device itself). Stored only."},
    {"isStreamable", Access::Bool, SHELL_FIELD(isStreamable), nullptr, nullptr,
     "Whether frames are sent to the client (false as shipped: only once the client asks). Stored "
     "only."},
};

constexpr tshell::About kAbout = {
    "Frame transmission",
    "Where and whether frames are sent for viewing in the tuning client: the address of the "
    "frame-serving web server and a streamable flag. Stored in the database; the tuning server of "
    "this project serves frames itself."};

}  // namespace

SHELL_CATEGORY(TShellTransmit_process, "TM", kKeys, kAbout);
