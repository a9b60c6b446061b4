// "ACP_1_2": colour processing that follows the sensor gain, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_color_process_1_2.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoColorProcess_1_2;
using Row = TDatabaseAutoColorProcess_1_2Row;

// Neutral at unity gain; towards the highest gains contrast eases off a little and
// saturation falls to about 60 %, so that chroma noise does not show as coloured blotches.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.enable = 1;
  for (Row &row : defaults.rows) {
    for (uint32_t k = 0; k < kGainPoints; ++k) {
      row.bright[k] = 0.0f;
      row.contrast[k] = 1.0f - 0.01f * static_cast<float>(k);
      row.chromaNoise[k] = 0.5f + 0.25f * static_cast<float>(k);
      row.hue[k] = 0.0f;
      row.saturation[k] = 1.0f - 0.02f * static_cast<float>(k);
    }
    fillGainPoints(row);
  }
  defaults.interpolate = 1;
  defaults.tableIndex = 0;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kRowFields[] = {
    field("bright", &Row::bright), field("contrast", &Row::contrast),
    field("gains", &Row::gains),   field("chromaNoise", &Row::chromaNoise),
    field("hue", &Row::hue),       field("saturation", &Row::saturation),
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

extern const RecordType kAutoColorProcess12Record = {"ACP_1_2", kLayout, &kDefaults};

}  // namespace tdatabase
