// "SS": the image sensor: its readout modes, a free-text query and its test pattern.
#include "fields.h"
#include "frame_window.h"
#include "t_database_records/sensor.h"

namespace tdatabase {
namespace {

// A 4K sensor with a voice coil lens: the 1080p linear mode the input path starts in, a
// fast binned mode, the full-resolution mode and a two-exposure HDR mode whose 20-bit
// samples are companded into 12 bits. The remaining slots are unused.
const TDatabaseSensor kDefaults = {
    .modeIndex = 0,
    .modes =
        {
            {
                .autoFocusMode = 1,
                .bayerPattern = 0,
                .bitWidth = 12,
                .compress = {.isEnable = 0, .xBit = 12, .yBit = 12},
                .fpsMax = 30,
                .nativeMode = 0,
                .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
                .stitchingMode = 0,
                .type = 0,
            },
            {
                .autoFocusMode = 1,
                .bayerPattern = 0,
                .bitWidth = 10,
                .compress = {.isEnable = 0, .xBit = 10, .yBit = 10},
                .fpsMax = 60,
                .nativeMode = 1,
                .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
                .stitchingMode = 0,
                .type = 0,
            },
            {
                .autoFocusMode = 1,
                .bayerPattern = 0,
                .bitWidth = 12,
                .compress = {.isEnable = 0, .xBit = 12, .yBit = 12},
                .fpsMax = 30,
                .nativeMode = 2,
                .rectangle = {.height = 2160, .offset = {0, 0}, .width = 3840},
                .stitchingMode = 0,
                .type = 0,
            },
            {
                .autoFocusMode = 1,
                .bayerPattern = 0,
                .bitWidth = 12,
                .compress = {.isEnable = 1, .xBit = 20, .yBit = 12},
                .fpsMax = 30,
                .nativeMode = 3,
                .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
                .stitchingMode = 1,
                .type = 0,
            },
        },
    .query = "",
    .testPattern = {.isEnable = 0, .type = 0},
};

const Field kCompressFields[] = {
    boolean("isEnable", &TDatabaseSensorCompress::isEnable),
    field("xBit", &TDatabaseSensorCompress::xBit),
    field("yBit", &TDatabaseSensorCompress::yBit),
};

const Layout kCompressLayout = layoutOf<TDatabaseSensorCompress>(kCompressFields);

const Field kModeFields[] = {
    field("autoFocusMode", &TDatabaseSensorMode::autoFocusMode),
    field("bayerPattern", &TDatabaseSensorMode::bayerPattern),
    field("bitWidth", &TDatabaseSensorMode::bitWidth),
    group("compress", &TDatabaseSensorMode::compress, kCompressLayout),
    field("fpsMax", &TDatabaseSensorMode::fpsMax),
    field("nativeMode", &TDatabaseSensorMode::nativeMode),
    group("rectangle", &TDatabaseSensorMode::rectangle, kFrameWindowLayout),
    field("stitchingMode", &TDatabaseSensorMode::stitchingMode),
    field("type", &TDatabaseSensorMode::type),
};

const Layout kModeLayout = layoutOf<TDatabaseSensorMode>(kModeFields);

const Field kTestPatternFields[] = {
    boolean("isEnable", &TDatabaseSensorTestPattern::isEnable),
    field("type", &TDatabaseSensorTestPattern::type),
};

const Layout kTestPatternLayout = layoutOf<TDatabaseSensorTestPattern>(kTestPatternFields);

const Field kFields[] = {
    field("modeIndex", &TDatabaseSensor::modeIndex),
    table("modes", &TDatabaseSensor::modes, kModeLayout),
    text("query", &TDatabaseSensor::query),
    group("testPattern", &TDatabaseSensor::testPattern, kTestPatternLayout),
};

const Layout kLayout = layoutOf<TDatabaseSensor>(kFields);

}  // namespace

extern const RecordType kSensorRecord = {"SS", kLayout, &kDefaults};

}  // namespace tdatabase
