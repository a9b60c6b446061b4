// "EC_2": sensor exposure of each exposure frame (up to four for multi-exposure HDR).
#include "fields.h"
#include "t_database_records/exposure_control_2.h"

namespace tdatabase {
namespace {

const TDatabaseExposureControl_2 kDefaults = {
    .state = 0,  // manual: the sensor runs at the exposure below until auto exposure starts
    .gain =
        {
            .analog = {1.0f, 1.0f, 1.0f, 1.0f},
            .digital = {1.0f, 1.0f, 1.0f, 1.0f},
        },
    // 10 ms: a whole number of 50 Hz (and close to 60 Hz) mains half-periods, no flicker.
    .integrationTime = {0.01f, 0.01f, 0.01f, 0.01f},
};

const Field kGainFields[] = {
    field("analog", &TDatabaseExposureControlGain::analog),
    field("digital", &TDatabaseExposureControlGain::digital),
};

const Layout kGainLayout = layoutOf<TDatabaseExposureControlGain>(kGainFields);

const Field kFields[] = {
    field("state", &TDatabaseExposureControl_2::state),
    group("gain", &TDatabaseExposureControl_2::gain, kGainLayout),
    field("integrationTime", &TDatabaseExposureControl_2::integrationTime),
};

const Layout kLayout = layoutOf<TDatabaseExposureControl_2>(kFields);

}  // namespace

extern const RecordType kExposureControl2Record = {"EC_2", kLayout, &kDefaults};

}  // namespace tdatabase
