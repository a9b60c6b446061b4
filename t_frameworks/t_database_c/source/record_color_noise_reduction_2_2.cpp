// "CNR_2_2": chroma noise reduction over a three-layer pyramid.
#include "fields.h"
#include "t_database_records/color_noise_reduction_2_2.h"

namespace tdatabase {
namespace {

const TDatabaseColorNoiseReduction_2_2 kDefaults = {
    .state = 1,
    // Chroma noise is blotchy, low-frequency noise: the coarser layers, where it lives,
    // are filtered harder than the finest one, which holds the colour edges.
    .cSigmaLayer = {2.0f, 4.0f, 8.0f},
    .cnrStrength = 128,  // of 255: moderate, keeps small saturated details
    .textureMaskSelect = 0,
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &TDatabaseColorNoiseReduction_2_2::state),
    field("cSigmaLayer", &TDatabaseColorNoiseReduction_2_2::cSigmaLayer),
    field("cnrStrength", &TDatabaseColorNoiseReduction_2_2::cnrStrength),
    field("textureMaskSelect", &TDatabaseColorNoiseReduction_2_2::textureMaskSelect),
    boolean("isStatistics", &TDatabaseColorNoiseReduction_2_2::isStatistics),
};

const Layout kLayout = layoutOf<TDatabaseColorNoiseReduction_2_2>(kFields);

}  // namespace

extern const RecordType kColorNoiseReduction22Record = {"CNR_2_2", kLayout, &kDefaults};

}  // namespace tdatabase
