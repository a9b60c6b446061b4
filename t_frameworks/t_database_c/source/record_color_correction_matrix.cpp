// "CCM": colour correction matrix from white-balanced sensor RGB to the output colours.
#include "fields.h"
#include "t_database_records/color_correction_matrix.h"

namespace tdatabase {
namespace {

// The identity with no offsets: the block is in the pipeline but passes colours through
// until a calibration for the sensor is imported.
const TDatabaseColorCorrectionMatrix kDefaults = {
    .state = 1,
    .ccMatrix = {1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f},
    .ccOffset = {0.0f, 0.0f, 0.0f},
    .fileCount = 0,
    .files = nullptr,
};

const Field kFields[] = {
    field("state", &TDatabaseColorCorrectionMatrix::state),
    field("ccMatrix", &TDatabaseColorCorrectionMatrix::ccMatrix),
    field("ccOffset", &TDatabaseColorCorrectionMatrix::ccOffset),
};

const Layout kLayout = layoutOf<TDatabaseColorCorrectionMatrix>(kFields);

}  // namespace

extern const RecordType kColorCorrectionMatrixRecord = {"CCM", kLayout, &kDefaults};

}  // namespace tdatabase
