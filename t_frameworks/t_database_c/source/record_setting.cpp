// "ST": the settings database as one document, which the tuning client downloads,
// uploads and resets through this record.
#include "fields.h"
#include "t_database_records/setting.h"

namespace tdatabase {
namespace {

const TDatabaseSetting kDefaults = {
    .isReset = 0,
    .protocol = 1,  // the first revision of the settings transfer
    .fileCount = 0,
    .files = nullptr,
};

// The document in transit is not a setting: it is neither saved, nor copied into the
// simulated hardware, nor reset.
const Field kFields[] = {
    boolean("isReset", &TDatabaseSetting::isReset),
    field("protocol", &TDatabaseSetting::protocol),
};

const Layout kLayout = layoutOf<TDatabaseSetting>(kFields);

}  // namespace

extern const RecordType kSettingRecord = {"ST", kLayout, &kDefaults};

}  // namespace tdatabase
