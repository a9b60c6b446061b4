// "ACNR_2_2": chroma noise reduction that follows the sensor gain, one table row per
// sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_color_noise_reduction_2_2.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoColorNoiseReduction_2_2;
using Row = TDatabaseAutoColorNoiseReduction_2_2Row;

// Filtering on at every gain, its strength and sigmas growing with the gain; coarser
// pyramid layers get wider sigmas, and texture protection relaxes as noise takes over.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.enable = 1;
  for (Row &row : defaults.rows) {
    for (uint32_t k = 0; k < kGainPoints; ++k) {
      const auto step = static_cast<float>(k);
      row.cnrEnable[k] = 1;
      row.cnrStrength[k] = static_cast<uint8_t>(16 + 8 * k);
      row.cSigmaLayer[k] = 1.0f + 0.5f * step;
      row.cSigmaLayer1[k] = 2.0f + 1.0f * step;
      row.cSigmaLayer2[k] = 4.0f + 2.0f * step;
      row.cSigmaMerge[k] = 0.5f;
      row.textureLevel[k] = 0.2f + 0.05f * step;
      row.textureMask[k] = static_cast<uint8_t>(128 - 4 * k);
    }
    fillGainPoints(row);
  }
  defaults.interpolate = 1;
  defaults.tableIndex = 0;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kRowFields[] = {
    boolean("cnrEnable", &Row::cnrEnable),
    field("cnrStrength", &Row::cnrStrength),
    field("cSigmaLayer", &Row::cSigmaLayer),
    field("cSigmaLayer1", &Row::cSigmaLayer1),
    field("cSigmaLayer2", &Row::cSigmaLayer2),
    field("cSigmaMerge", &Row::cSigmaMerge),
    field("gains", &Row::gains),
    field("textureLevel", &Row::textureLevel),
    field("textureMask", &Row::textureMask),
};
const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kFields[] = {
    boolean("enable", &Record::enable),
    table("rows", &Record::rows, kRowLayout),
    boolean("interpolate", &Record::interpolate),
    field("tableIndex", &Record::tableIndex),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoColorNoiseReduction22Record = {"ACNR_2_2", kLayout, &kDefaults};

}  // namespace tdatabase
