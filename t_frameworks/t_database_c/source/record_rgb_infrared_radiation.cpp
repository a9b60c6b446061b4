// "RGBIR" and "RGBIR_1_1": infrared separation of an RGB-IR sensor. Version 1.1 of the block
// keeps the record of the first, so both categories share its fields and defaults. The
// defaults take the IR pixel's level off each colour channel one to one and fade the removal
// out near saturation (12-bit data).
#include "fields.h"
#include "t_database_records/rgb_infrared_radiation.h"
#include "t_database_records/rgb_infrared_radiation_1_1.h"

namespace tdatabase {
namespace {

using Record = TDatabaseRgbInfraredRadiation;

const Record kDefaults = {
    .state = 1,
    .bls = {256, 256, 256, 256},
    .ccMatrix = {1.0f, 0.0f, 0.0f, -1.0f, 0.0f, 1.0f, 0.0f, -1.0f, 0.0f, 0.0f, 1.0f, -1.0f},
    .dpccMidTh = {128, 128, 128, 128},
    .dpccTh = {512, 512, 512, 512},
    .irBayerPattern = 0,
    .irThreshold = 3800,
    .lThreshold = 3200,
    .outRgbPattern = 0,  // RGGB
    .rcccEnable = 0,
};

const Field kFields[] = {
    field("state", &Record::state),
    field("bls", &Record::bls),
    field("ccMatrix", &Record::ccMatrix),
    field("dpccMidTh", &Record::dpccMidTh),
    field("dpccTh", &Record::dpccTh),
    field("irBayerPattern", &Record::irBayerPattern),
    field("irThreshold", &Record::irThreshold),
    field("lThreshold", &Record::lThreshold),
    field("outRgbPattern", &Record::outRgbPattern),
    boolean("rcccEnable", &Record::rcccEnable),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kRgbInfraredRadiationRecord = {"RGBIR", kLayout, &kDefaults};
extern const RecordType kRgbInfraredRadiation11Record = {"RGBIR_1_1", kLayout, &kDefaults};

}  // namespace tdatabase
