// "DVC": the camera port that the tuning session drives and the device's work mode. Stored
// only: the driver picks them up when the stream is configured.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDevice;

constexpr KeyRow kKeys[] = {
    {"operation", Access::Integer, SHELL_FIELD(operation), nullptr, nullptr,
     "Operation code the client asks the device to perform, 16 bits (0 as shipped: none). Stored "
     "only: no driver call follows a write."},
    {"portId", Access::Integer, SHELL_FIELD(portId), nullptr, nullptr,
     "Camera port the tuning session addresses, 16 bits (0 as shipped: the first port). Stored "
     "only."},
    {"workMode", Access::Integer, SHELL_FIELD(workMode), nullptr, nullptr,
     "Work mode code of the device, 16 bits (0 as shipped: preview). Stored only."},
};

constexpr tshell::About kAbout = {
    "Device",
    "The tuning port and work mode of the device as a whole. The three codes are kept in the "
    "settings database for the tuning client and the board software; no block of the ISP reads "
    "them, so the simulated camera is unaffected."};

}  // namespace

SHELL_CATEGORY(TShellDevice_process, "DVC", kKeys, kAbout);
