// "RPT": the version numbers the device reports to the tuning client, which uses them to
// pick a compatible protocol and to warn when settings were tuned with another driver.
#include "fields.h"
#include "t_database_records/report.h"

namespace tdatabase {
namespace {

// Versions are packed as major << 16 | minor.
const TDatabaseReport kDefaults = {
    .driver = 0x00010002,    // simulated ISP driver 1.2
    .shell = 0x00010000,     // tuning shell protocol 1.0
    .transmit = 0x00010001,  // frame transmission protocol 1.1
};

const Field kFields[] = {
    field("driver", &TDatabaseReport::driver),
    field("shell", &TDatabaseReport::shell),
    field("transmit", &TDatabaseReport::transmit),
};

const Layout kLayout = layoutOf<TDatabaseReport>(kFields);

}  // namespace

extern const RecordType kReportRecord = {"RPT", kLayout, &kDefaults};

}  // namespace tdatabase
