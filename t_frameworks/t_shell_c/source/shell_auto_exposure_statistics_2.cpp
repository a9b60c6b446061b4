// "AES_2": the exposure statistics unit of the exposure control block, which the driver
// pushes and reads back with that block. "statistics" serves the unit's measurement.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoExposureStatistics_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverExposureControl_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverExposureControl_2_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseAutoExposureStatistics_2_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"inputSelect", Access::Integer, SHELL_FIELD(inputSelect), nullptr, after},
    {"ratio", Access::Float, SHELL_FIELD(ratio), nullptr, after},
    {"rectangle.height", Access::Integer, SHELL_FIELD(rectangle.height), nullptr, after},
    {"rectangle.offset.x", Access::Integer, SHELL_FIELD(rectangle.offset.x), nullptr, after},
    {"rectangle.offset.y", Access::Integer, SHELL_FIELD(rectangle.offset.y), nullptr, after},
    {"rectangle.width", Access::Integer, SHELL_FIELD(rectangle.width), nullptr, after},
    {"weight.blue", Access::Integer, SHELL_FIELD(weight.blue), nullptr, after},
    {"weight.greenBlue", Access::Integer, SHELL_FIELD(weight.greenBlue), nullptr, after},
    {"weight.greenRed", Access::Integer, SHELL_FIELD(weight.greenRed), nullptr, after},
    {"weight.red", Access::Integer, SHELL_FIELD(weight.red), nullptr, after},
    tshell::statisticsKey("statistics", statistics, before, nullptr),
};

constexpr tshell::About kAbout = {"Exposure statistics", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoExposureStatistics_2_process, "AES_2", kKeys, kAbout);
