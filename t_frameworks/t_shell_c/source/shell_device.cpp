// "DVC": the camera port that the tuning session drives and the device's work mode. Stored
// only: the driver picks them up when the stream is configured.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDevice;

constexpr KeyRow kKeys[] = {
    {"operation", Access::Integer, SHELL_FIELD(operation), nullptr, nullptr},
    {"portId", Access::Integer, SHELL_FIELD(portId), nullptr, nullptr},
    {"workMode", Access::Integer, SHELL_FIELD(workMode), nullptr, nullptr},
};

constexpr tshell::About kAbout = {"Device", nullptr};

}  // namespace

SHELL_CATEGORY(TShellDevice_process, "DVC", kKeys, kAbout);
