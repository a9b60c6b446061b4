// "ADPCC": defect pixel correction per gain point, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_defect_pixel_cluster_correction.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoDefectPixelClusterCorrection;
using Row = TDatabaseAutoDefectPixelClusterCorrectionRow;

// Three method sets from strict to lenient; detection thresholds rise with the gain so
// that noise is not taken for defects.
constexpr Row makeRow() {
  Row row{};
  fillGainPoints(row);
  for (uint32_t g = 0; g < kGainPoints; ++g) {
    for (uint32_t s = 0; s < 3; ++s) {
      row.lineMadFac[g][s] = static_cast<uint8_t>(ramp<uint32_t>(g, 4, 16) + s * 4);
      row.lineThresh[g][s] = static_cast<uint8_t>(ramp<uint32_t>(g, 8, 32) + s * 8);
      row.methodsSet[g][s] = 0x1d1d;  // every method on green and red/blue pixels
      row.pgFac[g][s] = static_cast<uint8_t>(8 + s * 2);
      row.rgFac[g][s] = static_cast<uint8_t>(8 + s * 2);
      row.rndOffs[g][s] = static_cast<uint8_t>(ramp<uint32_t>(g, 2, 10) + s);
      row.rndThresh[g][s] = static_cast<uint8_t>(ramp<uint32_t>(g, 8, 40) + s * 4);
      row.roLimits[g][s] = static_cast<uint8_t>(1 + s);
    }
    row.outMode[g] = 3;  // median of the neighbours on every channel
    row.setUse[g] = 7;   // all three sets
  }
  return row;
}

constexpr Record kDefaults = tuningTable<Record>(makeRow());

const Field kRowFields[] = {
    field("gains", &Row::gains),           field("lineMadFac", &Row::lineMadFac),
    field("lineThresh", &Row::lineThresh), field("methodsSet", &Row::methodsSet),
    field("outMode", &Row::outMode),       field("pgFac", &Row::pgFac),
    field("rgFac", &Row::rgFac),           field("rndOffs", &Row::rndOffs),
    field("rndThresh", &Row::rndThresh),   field("roLimits", &Row::roLimits),
    field("setUse", &Row::setUse),
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

extern const RecordType kAutoDefectPixelClusterCorrectionRecord = {"ADPCC", kLayout, &kDefaults};

}  // namespace tdatabase
