// "BLS": black level subtraction, which removes the sensor's pedestal so that black
// reads 0.
#include "fields.h"
#include "t_database_records/black_level_subtraction.h"

namespace tdatabase {
namespace {

const TDatabaseBlackLevelSubtraction kDefaults = {
    .state = 1,
    .isOverrideCalibration = 0,  // the sensor's calibrated black level applies
    // The pedestal most 12-bit sensors add (64 on a 10-bit scale), used when overriding.
    .data = {256, 256, 256, 256},
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &TDatabaseBlackLevelSubtraction::state),
    boolean("isOverrideCalibration", &TDatabaseBlackLevelSubtraction::isOverrideCalibration),
    field("data", &TDatabaseBlackLevelSubtraction::data),
    boolean("isStatistics", &TDatabaseBlackLevelSubtraction::isStatistics),
};

const Layout kLayout = layoutOf<TDatabaseBlackLevelSubtraction>(kFields);

}  // namespace

extern const RecordType kBlackLevelSubtractionRecord = {"BLS", kLayout, &kDefaults};

}  // namespace tdatabase
