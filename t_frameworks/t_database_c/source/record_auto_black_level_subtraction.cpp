// "ABLS": black levels that follow the sensor gain, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_black_level_subtraction.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoBlackLevelSubtraction;
using Row = TDatabaseAutoBlackLevelSubtractionRow;

// The sensor's 12-bit pedestal of 256, creeping up by one level per gain point as the dark
// current grows with the gain.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.enable = 1;
  for (Row &row : defaults.rows) {
    for (uint32_t k = 0; k < kGainPoints; ++k) {
      for (uint32_t &level : row.bls[k]) level = 256 + k;
    }
    fillGainPoints(row);
  }
  defaults.hysteresis = 0.1f;
  defaults.tableIndex = 0;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kRowFields[] = {
    field("bls", &Row::bls),
    field("gains", &Row::gains),
};
const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kFields[] = {
    boolean("enable", &Record::enable),
    table("rows", &Record::rows, kRowLayout),
    field("hysteresis", &Record::hysteresis),
    field("tableIndex", &Record::tableIndex),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoBlackLevelSubtractionRecord = {"ABLS", kLayout, &kDefaults};

}  // namespace tdatabase
