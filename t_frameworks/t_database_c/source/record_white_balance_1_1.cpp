// "WB_1_1": white balance gains per Bayer channel.
#include "fields.h"
#include "t_database_records/white_balance_1_1.h"

namespace tdatabase {
namespace {

// Shipped gains make a grey surface grey under 5000 K light, the light the simulated camera
// starts in; auto white balance or a client replaces them for other light.
const TDatabaseWhiteBalance_1_1 kDefaults = {
    .state = 1,
    .gain = {1.71f, 1.0f, 1.0f, 1.55f},
};

const Field kFields[] = {
    field("state", &TDatabaseWhiteBalance_1_1::state),
    field("gain", &TDatabaseWhiteBalance_1_1::gain),
};

const Layout kLayout = layoutOf<TDatabaseWhiteBalance_1_1>(kFields);

}  // namespace

extern const RecordType kWhiteBalance11Record = {"WB_1_1", kLayout, &kDefaults};

}  // namespace tdatabase
