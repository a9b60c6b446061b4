// "LSC_3": lens shading correction, one gain grid per Bayer channel.
#include "fields.h"
#include "t_database_records/lens_shading_correction_3.h"

namespace tdatabase {
namespace {

// Sectors of a 2048 x 1536 frame: 32 columns of 64 pixels, and 16 rows of 48 pixels in
// each half.
constexpr uint16_t kSectorWidth = 64;
constexpr uint16_t kSectorHeight = 48;

// A flat grid of unity gains: no correction until a calibration for the lens is imported.
constexpr TDatabaseLensShadingCorrection_3 makeDefaults() {
  TDatabaseLensShadingCorrection_3 defaults = {};
  defaults.state = 1;
  for (auto &grid : defaults.matrix)
    for (uint16_t &gain : grid) gain = TDATABASE_LSC_3_UNITY_GAIN;
  for (uint16_t &width : defaults.xSize) width = kSectorWidth;
  for (uint16_t &height : defaults.ySize) height = kSectorHeight;
  return defaults;
}

constexpr TDatabaseLensShadingCorrection_3 kDefaults = makeDefaults();

const Field kFields[] = {
    field("state", &TDatabaseLensShadingCorrection_3::state),
    field("matrix", &TDatabaseLensShadingCorrection_3::matrix),
    field("xSize", &TDatabaseLensShadingCorrection_3::xSize),
    field("ySize", &TDatabaseLensShadingCorrection_3::ySize),
    boolean("isStatistics", &TDatabaseLensShadingCorrection_3::isStatistics),
};

const Layout kLayout = layoutOf<TDatabaseLensShadingCorrection_3>(kFields);

}  // namespace

extern const RecordType kLensShadingCorrection3Record = {"LSC_3", kLayout, &kDefaults};

}  // namespace tdatabase
