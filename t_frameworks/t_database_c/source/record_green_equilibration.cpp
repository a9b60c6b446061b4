// "GE": green equilibration. Gr and Gb pixels see the same colour through different
// neighbours, so the sensor's crosstalk leaves a fine maze pattern in flat areas; the
// block averages the two greens where they differ by no more than the threshold.
#include "fields.h"
#include "t_database_records/green_equilibration.h"

namespace tdatabase {
namespace {

const TDatabaseGreenEquilibration kDefaults = {
    .state = 1,
    // On the 12-bit pixel scale: about the crosstalk of a typical sensor at low gain;
    // larger differences are detail and are kept.
    .threshold = 32.0f,
};

const Field kFields[] = {
    field("state", &TDatabaseGreenEquilibration::state),
    field("threshold", &TDatabaseGreenEquilibration::threshold),
};

const Layout kLayout = layoutOf<TDatabaseGreenEquilibration>(kFields);

}  // namespace

extern const RecordType kGreenEquilibrationRecord = {"GE", kLayout, &kDefaults};

}  // namespace tdatabase
