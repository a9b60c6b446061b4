// "AWDR_5_2_1": local tone mapping per gain point, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_wide_dynamic_range_5_2_1.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoWideDynamicRange_5_2_1;
using Row = TDatabaseAutoWideDynamicRange_5_2_1Row;

// At the lowest gain the row is the manual block's own tuning, so that switching the table on
// leaves a base-gain picture as it was; from there local contrast and shadow gain back off as
// the gain grows (lifting shadows lifts their noise too). The light-source thresholds bracket
// the log2 luminance of a 12-bit sensor (0 .. 12) in four steps.
constexpr Row makeRow() {
  Row row{};
  fillGainPoints(row);
  for (uint32_t g = 0; g < kGainPoints; ++g) {
    row.contrast[g] = static_cast<int16_t>(ramp<uint32_t>(g, 32, 0) - 32);  // 0 .. -32
    row.deGamma[g] = 2.2f;
    row.entropyBase[g] = 512;
    row.entropySlope[g] = 128;
    row.fixedWeight[g] = 64;
    row.flatLevel[g] = ramp<uint8_t>(g, 8, 12);
    row.flatLevelGlobal[g] = 4;
    row.highStrength[g] = 128;
    row.hlcBaseLog[g] = 14.0f;
    row.hlcSlope[g] = 32;
    for (uint32_t t = 0; t < 4; ++t) {
      const float threshold = 3.0f + 2.5f * static_cast<float>(t);
      row.lightBlueThrLog[g][t] = threshold;
      row.lightCyanThrLog[g][t] = threshold;
      row.lightGreenThrLog[g][t] = threshold;
      row.lightMagentaThrLog[g][t] = threshold;
      row.lightRedThrLog[g][t] = threshold;
      row.lightYellowThrLog[g][t] = threshold;
    }
    row.lightEn[g] = 0;
    row.lightSatHiThr[g] = 200;
    row.lightSatLoThr[g] = 64;
    row.logAnchorSlope[g] = 256;
    row.logAnchorXLog[g] = 8.0f;
    row.logWeight[g] = 128;
    row.lowStrength[g] = ramp<uint16_t>(g, 256, 128);
    row.maxGain[g] = ramp<uint16_t>(g, 1024, 512);  // 4x .. 2x in Q8
    row.satRange[g] = 0.8f;
    row.satThrGainDown[g] = 160;
    row.satThrGainUp[g] = 96;
    row.wdrColorWeight[g][0] = 77;  // BT.601 luma weights out of 256
    row.wdrColorWeight[g][1] = 150;
    row.wdrColorWeight[g][2] = 29;
    row.wdrLumaThr[g] = 64;
  }
  return row;
}

constexpr Record kDefaults = tuningTable<Record>(makeRow());

const Field kRowFields[] = {
    field("contrast", &Row::contrast),
    field("deGamma", &Row::deGamma),
    field("entropyBase", &Row::entropyBase),
    field("entropySlope", &Row::entropySlope),
    field("fixedWeight", &Row::fixedWeight),
    field("flatLevel", &Row::flatLevel),
    field("flatLevelGlobal", &Row::flatLevelGlobal),
    field("gains", &Row::gains),
    field("highStrength", &Row::highStrength),
    field("hlcBaseLog", &Row::hlcBaseLog),
    field("hlcSlope", &Row::hlcSlope),
    field("lightBlueThrLog", &Row::lightBlueThrLog),
    field("lightCyanThrLog", &Row::lightCyanThrLog),
    field("lightEn", &Row::lightEn),
    field("lightGreenThrLog", &Row::lightGreenThrLog),
    field("lightMagentaThrLog", &Row::lightMagentaThrLog),
    field("lightRedThrLog", &Row::lightRedThrLog),
    field("lightSatHiThr", &Row::lightSatHiThr),
    field("lightSatLoThr", &Row::lightSatLoThr),
    field("lightYellowThrLog", &Row::lightYellowThrLog),
    field("logAnchorSlope", &Row::logAnchorSlope),
    field("logAnchorXLog", &Row::logAnchorXLog),
    field("logWeight", &Row::logWeight),
    field("lowStrength", &Row::lowStrength),
    field("maxGain", &Row::maxGain),
    field("satRange", &Row::satRange),
    field("satThrGainDown", &Row::satThrGainDown),
    field("satThrGainUp", &Row::satThrGainUp),
    field("wdrColorWeight", &Row::wdrColorWeight),
    field("wdrLumaThr", &Row::wdrLumaThr),
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

extern const RecordType kAutoWideDynamicRange521Record = {"AWDR_5_2_1", kLayout, &kDefaults};

}  // namespace tdatabase
