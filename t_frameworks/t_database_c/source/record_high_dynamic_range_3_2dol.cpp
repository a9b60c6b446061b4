// "HDR_3_2DOL": merge of the two exposures of a digital-overlap sensor. The defaults suit a
// 16:1 exposure ratio with de-ghosting on.
#include "fields.h"
#include "t_database_records/high_dynamic_range_3_2dol.h"

namespace tdatabase {
namespace {

using Record = TDatabaseHighDynamicRange_3_2Dol;
using DeGhost = TDatabaseHighDynamicRange_3_2DolDeGhost;

const Record kDefaults = {
    .state = 1,
    .referenceFrame = 0,
    .bypassSelect = 0,
    .colorWeight = {77, 150, 29},  // BT.601 luma in 1/256
    .deGhostLs = {.darkLowerThreshold = 64,
                  .darkUpperThreshold = 256,
                  .isEnable = 1,
                  .motionLowerThreshold = 32,
                  .motionUpperThreshold = 128},
    .deGhostLsVs = {.darkLowerThreshold = 32,
                    .darkUpperThreshold = 128,
                    .isEnable = 1,
                    .motionLowerThreshold = 48,
                    .motionUpperThreshold = 192},
    .extendBit = {0, 4},  // the short frame gains 4 bits: 16:1
    .motionWeight = {256, 256},
    .ratio = {16.0f, 16.0f},
    .transRange = {{0.70f, 0.90f}, {0.70f, 0.90f}, {0.60f, 0.85f}, {0.60f, 0.85f}},
};

const Field kDeGhostFields[] = {
    field("darkLowerThreshold", &DeGhost::darkLowerThreshold),
    field("darkUpperThreshold", &DeGhost::darkUpperThreshold),
    boolean("isEnable", &DeGhost::isEnable),
    field("motionLowerThreshold", &DeGhost::motionLowerThreshold),
    field("motionUpperThreshold", &DeGhost::motionUpperThreshold),
};

const Layout kDeGhostLayout = layoutOf<DeGhost>(kDeGhostFields);

const Field kFields[] = {
    field("state", &Record::state),
    field("referenceFrame", &Record::referenceFrame),
    field("bypassSelect", &Record::bypassSelect),
    field("colorWeight", &Record::colorWeight),
    group("deGhostLs", &Record::deGhostLs, kDeGhostLayout),
    group("deGhostLsVs", &Record::deGhostLsVs, kDeGhostLayout),
    field("extendBit", &Record::extendBit),
    field("motionWeight", &Record::motionWeight),
    field("ratio", &Record::ratio),
    field("transRange", &Record::transRange),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kHighDynamicRange32DolRecord = {"HDR_3_2DOL", kLayout, &kDefaults};

}  // namespace tdatabase
