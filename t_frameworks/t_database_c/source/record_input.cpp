// "IPT": the image input of the ISP: frame rate, the three input paths and the stream,
// injection and raw capture switches.
#include "fields.h"
#include "frame_window.h"
#include "t_database_records/input.h"

namespace tdatabase {
namespace {

// A 1080p sensor feeding path 0 with 12-bit raw at 30 frames per second; the other paths
// are set up for a 720p and a VGA crop but switched off. Raw samples of more than 8 bits
// take two bytes each in the frame buffer.
const TDatabaseInput kDefaults = {
    .framerate = 30.0f,
    .paths =
        {
            {
                .bayerPattern = 0,
                .bufferLength = 1920u * 1080u * 2u,
                .isEnable = 1,
                .format = 2,
                .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
                .stitchingMode = 0,
            },
            {
                .bayerPattern = 0,
                .bufferLength = 1280u * 720u * 2u,
                .isEnable = 0,
                .format = 2,
                .rectangle = {.height = 720, .offset = {320, 180}, .width = 1280},
                .stitchingMode = 0,
            },
            {
                .bayerPattern = 0,
                .bufferLength = 640u * 480u * 2u,
                .isEnable = 0,
                .format = 2,
                .rectangle = {.height = 480, .offset = {640, 300}, .width = 640},
                .stitchingMode = 0,
            },
        },
    .type = 0,
    .isInject = 0,
    .isInjectLive = 0,
    .pathIndex = 0,
    .isRaw = 0,
    .isStream = 0,
};

const Field kPathFields[] = {
    field("bayerPattern", &TDatabaseInputPath::bayerPattern),
    field("bufferLength", &TDatabaseInputPath::bufferLength),
    boolean("isEnable", &TDatabaseInputPath::isEnable),
    field("format", &TDatabaseInputPath::format),
    group("rectangle", &TDatabaseInputPath::rectangle, kFrameWindowLayout),
    field("stitchingMode", &TDatabaseInputPath::stitchingMode),
};

const Layout kPathLayout = layoutOf<TDatabaseInputPath>(kPathFields);

const Field kFields[] = {
    field("framerate", &TDatabaseInput::framerate),
    table("paths", &TDatabaseInput::paths, kPathLayout),
    field("type", &TDatabaseInput::type),
    boolean("isInject", &TDatabaseInput::isInject),
    boolean("isInjectLive", &TDatabaseInput::isInjectLive),
    field("pathIndex", &TDatabaseInput::pathIndex),
    boolean("isRaw", &TDatabaseInput::isRaw),
    boolean("isStream", &TDatabaseInput::isStream),
};

const Layout kLayout = layoutOf<TDatabaseInput>(kFields);

}  // namespace

extern const RecordType kInputRecord = {"IPT", kLayout, &kDefaults};

}  // namespace tdatabase
