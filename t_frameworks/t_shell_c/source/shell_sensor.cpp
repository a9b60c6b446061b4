// "SS": the image sensor. The mode table and the query text live in the database only;
// the test pattern is the one setting pushed to the sensor.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseSensor;
using Mode = TDatabaseSensorMode;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverSensor_process, SHELL_SITE);
}

constexpr tshell::Selection kMode = SHELL_SELECTION("modeIndex", modeIndex, modes);

// The compression switch travels as an integer, unlike the other switches of the shell.
constexpr KeyRow kKeys[] = {
    tshell::indexKey(kMode,
                     {"modeIndex", Access::Integer, SHELL_FIELD(modeIndex), nullptr, nullptr}),
    tshell::inEntry(kMode, {":autoFocusMode", Access::Integer, SHELL_FIELD_OF(Mode, autoFocusMode),
                            nullptr, nullptr}),
    tshell::inEntry(kMode, {":bayerPattern", Access::Integer, SHELL_FIELD_OF(Mode, bayerPattern),
                            nullptr, nullptr}),
    tshell::inEntry(
        kMode, {":bitWidth", Access::Integer, SHELL_FIELD_OF(Mode, bitWidth), nullptr, nullptr}),
    tshell::inEntry(kMode, {":compress.isEnable", Access::Flag,
                            SHELL_FIELD_OF(Mode, compress.isEnable), nullptr, nullptr}),
    tshell::inEntry(kMode, {":compress.xBit", Access::Integer, SHELL_FIELD_OF(Mode, compress.xBit),
                            nullptr, nullptr}),
    tshell::inEntry(kMode, {":compress.yBit", Access::Integer, SHELL_FIELD_OF(Mode, compress.yBit),
                            nullptr, nullptr}),
    tshell::inEntry(kMode,
                    {":fpsMax", Access::Integer, SHELL_FIELD_OF(Mode, fpsMax), nullptr, nullptr}),
    tshell::inEntry(kMode, {":nativeMode", Access::Integer, SHELL_FIELD_OF(Mode, nativeMode),
                            nullptr, nullptr}),
    tshell::inEntry(kMode, {":rectangle.height", Access::Integer,
                            SHELL_FIELD_OF(Mode, rectangle.height), nullptr, nullptr}),
    tshell::inEntry(kMode, {":rectangle.width", Access::Integer,
                            SHELL_FIELD_OF(Mode, rectangle.width), nullptr, nullptr}),
    tshell::inEntry(kMode, {":stitchingMode", Access::Integer, SHELL_FIELD_OF(Mode, stitchingMode),
                            nullptr, nullptr}),
    tshell::inEntry(kMode,
                    {":type", Access::Integer, SHELL_FIELD_OF(Mode, type), nullptr, nullptr}),
    {"query", Access::String, SHELL_FIELD(query), nullptr, nullptr},
    {"testPattern.isEnable", Access::Bool, SHELL_FIELD(testPattern.isEnable), nullptr, after},
    {"testPattern.type", Access::Integer, SHELL_FIELD(testPattern.type), nullptr, after},
};

constexpr tshell::About kAbout = {"Sensor", nullptr};

}  // namespace

SHELL_CATEGORY(TShellSensor_process, "SS", kKeys, kAbout);
