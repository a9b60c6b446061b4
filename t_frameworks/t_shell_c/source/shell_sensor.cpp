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
                     {"modeIndex", Access::Integer, SHELL_FIELD(modeIndex), nullptr, nullptr,
                      "Sensor mode, 0 to 11, that the \":\" keys address and that the simulated "
                      "sensor uses; an index outside is refused. Modes 0-3 are set up as shipped "
                      "(1080p linear, 1080p fast, 4K, 1080p two-exposure HDR)."}),
    tshell::inEntry(kMode, {":autoFocusMode", Access::Integer, SHELL_FIELD_OF(Mode, autoFocusMode),
                            nullptr, nullptr,
                            "Auto-focus capability code of the selected mode (1 as shipped: a "
                            "voice coil lens). Stored only."}),
    tshell::inEntry(
        kMode,
        {":bayerPattern", Access::Integer, SHELL_FIELD_OF(Mode, bayerPattern), nullptr, nullptr,
         "Colour filter order of the selected mode: 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR. Stored only; "
         "the simulated sensor takes its order from the input path."}),
    tshell::inEntry(
        kMode,
        {":bitWidth", Access::Integer, SHELL_FIELD_OF(Mode, bitWidth), nullptr, nullptr,
         "Bits per raw sample the selected mode delivers (10 or 12 as shipped). Stored only."}),
    tshell::inEntry(kMode, {":compress.isEnable", Access::Flag,
                            SHELL_FIELD_OF(Mode, compress.isEnable), nullptr, nullptr,
                            "1 when the selected mode compands its samples from compress.xBit to "
                            "compress.yBit bits along a knee curve, 0 when not; written as an "
                            "integer, any non-zero value stores 1. Stored only."}),
    tshell::inEntry(kMode, {":compress.xBit", Access::Integer, SHELL_FIELD_OF(Mode, compress.xBit),
                            nullptr, nullptr,
                            "Bits of the linear samples before companding in the selected mode (20 "
                            "for the HDR mode as shipped). Stored only."}),
    tshell::inEntry(kMode, {":compress.yBit", Access::Integer, SHELL_FIELD_OF(Mode, compress.yBit),
                            nullptr, nullptr,
                            "Bits of the companded samples the selected mode sends (12 for the HDR "
                            "mode as shipped). Stored only."}),
    tshell::inEntry(kMode,
                    {":fpsMax", Access::Integer, SHELL_FIELD_OF(Mode, fpsMax), nullptr, nullptr,
                     "Highest frame rate of the selected mode in frames per second (30 or 60 as "
                     "shipped). Stored only."}),
    tshell::inEntry(
        kMode, {":nativeMode", Access::Integer, SHELL_FIELD_OF(Mode, nativeMode), nullptr, nullptr,
                "The sensor driver's own number for the selected mode. Stored only."}),
    tshell::inEntry(kMode, {":rectangle.height", Access::Integer,
                            SHELL_FIELD_OF(Mode, rectangle.height), nullptr, nullptr,
                            "Output height of the selected mode in lines. Stored only; the "
                            "simulated sensor takes its size from the input path."}),
    tshell::inEntry(kMode, {":rectangle.width", Access::Integer,
                            SHELL_FIELD_OF(Mode, rectangle.width), nullptr, nullptr,
                            "Output width of the selected mode in pixels. Stored only; the "
                            "simulated sensor takes its size from the input path."}),
    tshell::inEntry(
        kMode,
        {":stitchingMode", Access::Integer, SHELL_FIELD_OF(Mode, stitchingMode), nullptr, nullptr,
         "Exposure stitching of the selected mode: 0 linear, other values two-exposure HDR (mode 3 "
         "as shipped). Stored only; the simulated sensor follows the input path's stitchingMode."}),
    tshell::inEntry(kMode, {":type", Access::Integer, SHELL_FIELD_OF(Mode, type), nullptr, nullptr,
                            "Sensor type of the selected mode: 0 Bayer, 1 RGB-IR. With type 1 the "
                            "simulated sensor puts infrared sites into its pattern and the RGB-IR "
                            "stage runs (latched when streaming starts)."}),
    {"query", Access::String, SHELL_FIELD(query), nullptr, nullptr,
     "Free text exchanged with the sensor driver, up to 10240 characters (empty as shipped). "
     "Stored only."},
    {"testPattern.isEnable", Access::Bool, SHELL_FIELD(testPattern.isEnable), nullptr, after,
     "Makes the sensor send its test pattern instead of the image (false as shipped). Writing "
     "pushes the sensor record."},
    {"testPattern.type", Access::Integer, SHELL_FIELD(testPattern.type), nullptr, after,
     "Which test pattern the sensor sends, as the sensor driver numbers them (0 as shipped). "
     "Writing pushes the sensor record."},
};

constexpr tshell::About kAbout = {
    "Sensor",
    "The image sensor: a table of up to 12 readout modes (geometry, bit width, frame-rate limit, "
    "compression, HDR stitching), a free-text query and the test pattern. Only the test pattern is "
    "pushed to the sensor; the mode table lives in the database. In the simulated camera the mode "
    "selected by modeIndex decides whether the sensor is RGB-IR (type 1), latched when streaming "
    "starts."};

}  // namespace

SHELL_CATEGORY(TShellSensor_process, "SS", kKeys, kAbout);
