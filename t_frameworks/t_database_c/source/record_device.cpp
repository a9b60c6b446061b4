// "DVC": the tuning port and the work mode of the device.
#include "fields.h"
#include "t_database_records/device.h"

namespace tdatabase {
namespace {

// No operation requested yet, the first camera port, preview.
const TDatabaseDevice kDefaults = {
    .operation = 0,
    .portId = 0,
    .workMode = 0,
};

const Field kFields[] = {
    field("operation", &TDatabaseDevice::operation),
    field("portId", &TDatabaseDevice::portId),
    field("workMode", &TDatabaseDevice::workMode),
};

const Layout kLayout = layoutOf<TDatabaseDevice>(kFields);

}  // namespace

extern const RecordType kDeviceRecord = {"DVC", kLayout, &kDefaults};

}  // namespace tdatabase
