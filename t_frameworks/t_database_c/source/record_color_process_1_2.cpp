// "CP_1_2": brightness, contrast, hue and saturation of the YUV output.
#include "fields.h"
#include "t_database_records/color_process_1_2.h"

namespace tdatabase {
namespace {

// Neutral: the output looks as the colour pipeline made it.
const TDatabaseColorProcess_1_2 kDefaults = {
    .state = 1,
    .bright = 0.0f,
    .contrast = 1.0f,
    .hue = 0.0f,  // degrees
    .saturation = 1.0f,
    .chromaOffsetCb = 0.0f,
    .chromaOffsetCr = 0.0f,
    .yuvRange = 0,  // full range, as still images and most displays expect
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &TDatabaseColorProcess_1_2::state),
    field("bright", &TDatabaseColorProcess_1_2::bright),
    field("contrast", &TDatabaseColorProcess_1_2::contrast),
    field("hue", &TDatabaseColorProcess_1_2::hue),
    field("saturation", &TDatabaseColorProcess_1_2::saturation),
    field("chromaOffsetCb", &TDatabaseColorProcess_1_2::chromaOffsetCb),
    field("chromaOffsetCr", &TDatabaseColorProcess_1_2::chromaOffsetCr),
    field("yuvRange", &TDatabaseColorProcess_1_2::yuvRange),
    boolean("isStatistics", &TDatabaseColorProcess_1_2::isStatistics),
};

const Layout kLayout = layoutOf<TDatabaseColorProcess_1_2>(kFields);

}  // namespace

extern const RecordType kColorProcess12Record = {"CP_1_2", kLayout, &kDefaults};

}  // namespace tdatabase
