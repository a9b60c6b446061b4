// "OPT": the output paths of the ISP (format, depth, window) and the snapshot size.
#include "fields.h"
#include "frame_window.h"
#include "t_database_records/output.h"

namespace tdatabase {
namespace {

// The main path delivers the full 1080p frame and the self path a 720p preview, both as
// 8-bit YUV 4:2:0 (one and a half bytes per pixel); the raw and spare paths are off.
const TDatabaseOutput kDefaults = {
    .paths =
        {
            {
                .bayerPattern = 0,
                .bitsIndex = 0,
                .bufferLength = 1920u * 1080u * 3u / 2u,
                .isEnable = 1,
                .format = 0,
                .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
                .stride = 1920,
            },
            {
                .bayerPattern = 0,
                .bitsIndex = 0,
                .bufferLength = 1280u * 720u * 3u / 2u,
                .isEnable = 1,
                .format = 0,
                .rectangle = {.height = 720, .offset = {0, 0}, .width = 1280},
                .stride = 1280,
            },
            {
                .bayerPattern = 0,
                .bitsIndex = 2,
                .bufferLength = 1920u * 1080u * 2u,
                .isEnable = 0,
                .format = 3,
                .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
                .stride = 1920 * 2,
            },
            {
                .bayerPattern = 0,
                .bitsIndex = 0,
                .bufferLength = 640u * 480u * 3u / 2u,
                .isEnable = 0,
                .format = 0,
                .rectangle = {.height = 480, .offset = {0, 0}, .width = 640},
                .stride = 640,
            },
        },
    .snapshotNumber = 1,
    .pathIndex = 0,
};

const Field kPathFields[] = {
    field("bayerPattern", &TDatabaseOutputPath::bayerPattern),
    field("bitsIndex", &TDatabaseOutputPath::bitsIndex),
    field("bufferLength", &TDatabaseOutputPath::bufferLength),
    boolean("isEnable", &TDatabaseOutputPath::isEnable),
    field("format", &TDatabaseOutputPath::format),
    group("rectangle", &TDatabaseOutputPath::rectangle, kFrameWindowLayout),
    field("stride", &TDatabaseOutputPath::stride),
};

const Layout kPathLayout = layoutOf<TDatabaseOutputPath>(kPathFields);

const Field kFields[] = {
    table("paths", &TDatabaseOutput::paths, kPathLayout),
    field("snapshotNumber", &TDatabaseOutput::snapshotNumber),
    field("pathIndex", &TDatabaseOutput::pathIndex),
};

const Layout kLayout = layoutOf<TDatabaseOutput>(kFields);

}  // namespace

extern const RecordType kOutputRecord = {"OPT", kLayout, &kDefaults};

}  // namespace tdatabase
