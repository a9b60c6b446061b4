// "ISP": the ISP on/off switch and the identity of the hardware.
#include "fields.h"
#include "t_database_records/isp.h"

namespace tdatabase {
namespace {

const TDatabaseIsp kDefaults = {
    .isEnable = 1,
    .hwId = TDATABASE_ISP_HW_ID,  // what the simulated ISP's identification register reads
};

const Field kFields[] = {
    boolean("isEnable", &TDatabaseIsp::isEnable),
    field("hwId", &TDatabaseIsp::hwId),
};

const Layout kLayout = layoutOf<TDatabaseIsp>(kFields);

}  // namespace

extern const RecordType kIspRecord = {"ISP", kLayout, &kDefaults};

}  // namespace tdatabase
