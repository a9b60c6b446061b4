// "DPCC": defect pixel cluster correction. The built-in tables detect isolated hot and
// cold pixels conservatively; the bad-pixel table starts empty, as sensor-specific defect
// lists come from calibration.
#include "fields.h"
#include "t_database_records/defect_pixel_cluster_correction.h"

namespace tdatabase {
namespace {

using Record = TDatabaseDefectPixelClusterCorrection;

// Method set 0 is tuned for single defects, set 1 for pairs, set 2 for clusters; the green
// row is stricter than the red and blue row because green pixels have more neighbours.
const Record kDefaults = {
    .state = 1,
    .bptEnable = 0,
    .bptNum = 0,
    .bptOutMode = 4,
    .bptPosX = {},
    .bptPosY = {},
    .lineMadFac = {{4, 3, 2}, {4, 3, 2}},
    .lineThresh = {{8, 16, 24}, {8, 16, 24}},
    .methodsSet = {0x1d1d, 0x0707, 0x0101},
    .outMode = 3,
    .pgFac = {{8, 6, 4}, {8, 6, 4}},
    .rgFac = {{32, 24, 16}, {32, 24, 16}},
    .rndOffs = {{3, 2, 1}, {3, 2, 1}},
    .rndThresh = {{10, 8, 6}, {12, 10, 8}},
    .roLimits = {{1, 2, 3}, {1, 2, 3}},
    .setUse = 0x07,
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &Record::state),
    boolean("bptEnable", &Record::bptEnable),
    field("bptNum", &Record::bptNum),
    field("bptOutMode", &Record::bptOutMode),
    field("bptPosX", &Record::bptPosX),
    field("bptPosY", &Record::bptPosY),
    field("lineMadFac", &Record::lineMadFac),
    field("lineThresh", &Record::lineThresh),
    field("methodsSet", &Record::methodsSet),
    field("outMode", &Record::outMode),
    field("pgFac", &Record::pgFac),
    field("rgFac", &Record::rgFac),
    field("rndOffs", &Record::rndOffs),
    field("rndThresh", &Record::rndThresh),
    field("roLimits", &Record::roLimits),
    field("setUse", &Record::setUse),
    boolean("isStatistics", &Record::isStatistics),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kDefectPixelClusterCorrectionRecord = {"DPCC", kLayout, &kDefaults};

}  // namespace tdatabase
