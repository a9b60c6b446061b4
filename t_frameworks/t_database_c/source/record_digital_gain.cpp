// "DG": digital gain per Bayer channel, applied after black level subtraction.
#include "fields.h"
#include "t_database_records/digital_gain.h"

namespace tdatabase {
namespace {

// Unity gains: the block is in the pipeline but leaves the image as the sensor gave it.
const TDatabaseDigitalGain kDefaults = {
    .state = 1,
    .b = 1.0f,
    .gb = 1.0f,
    .gr = 1.0f,
    .r = 1.0f,
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &TDatabaseDigitalGain::state),
    field("b", &TDatabaseDigitalGain::b),
    field("gb", &TDatabaseDigitalGain::gb),
    field("gr", &TDatabaseDigitalGain::gr),
    field("r", &TDatabaseDigitalGain::r),
    boolean("isStatistics", &TDatabaseDigitalGain::isStatistics),
};

const Layout kLayout = layoutOf<TDatabaseDigitalGain>(kFields);

}  // namespace

extern const RecordType kDigitalGainRecord = {"DG", kLayout, &kDefaults};

}  // namespace tdatabase
