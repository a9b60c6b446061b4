// "A3DNR_4": temporal noise reduction per gain point, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_3d_noise_reduction_4.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAuto3DNoiseReduction_4;
using Row = TDatabaseAuto3DNoiseReduction_4Row;

// Stronger temporal filtering and a wider motion search as the gain, and with it the
// noise, grows. Black level 64 of a 12-bit sensor on every channel.
constexpr Row makeRow() {
  Row row{};
  fillGainPoints(row);
  for (uint32_t g = 0; g < kGainPoints; ++g) {
    for (uint32_t c = 0; c < 4; ++c) row.blsExp[g][c] = 64;
    row.dilateH[g] = 3;
    row.fixCurveStart[g] = 64;
    row.filterLen[g] = ramp<uint8_t>(g, 4, 16);
    row.filterLen2[g] = ramp<uint8_t>(g, 2, 8);
    row.motionDilateEn[g] = g >= kGainPoints / 2;
    row.motionSmoothFactor[g] = rampFloat(g, 0.2f, 0.8f);
    row.motionSmoothLvl[g] = ramp<uint8_t>(g, 1, 4);
    const double gain = gainPoint(g);
    row.noiseModelA[g] = 0.02 * gain;  // shot noise grows with the gain
    row.noiseModelB[g] = 1.5 * gain * gain / 64;
    row.rangeH[g] = ramp<uint16_t>(g, 32, 128);
    row.sadWeight[g] = 16;
    row.sqrDiffFactor[g] = 8;
    row.tnrStrength[g] = ramp<uint8_t>(g, 32, 224);
    row.tnrStrength2[g] = ramp<uint8_t>(g, 16, 160);
    for (uint32_t p = 0; p < 12; ++p) {
      row.tnrLumaCurveY[g][p] = static_cast<uint16_t>(ramp<uint32_t>(g, 64, 512) + p * 16);
      row.tnrMotionSlopeY[g][p] = static_cast<uint16_t>(1023 - p * 64);
    }
  }
  return row;
}

constexpr Record makeDefaults() {
  Record defaults = tuningTable<Record>(makeRow());
  defaults.nmK = 0.35f;
  defaults.nmP = 2.0f;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kRowFields[] = {
    field("blsExp", &Row::blsExp),
    field("dilateH", &Row::dilateH),
    field("fixCurveStart", &Row::fixCurveStart),
    field("filterLen", &Row::filterLen),
    field("filterLen2", &Row::filterLen2),
    field("gains", &Row::gains),
    boolean("motionDilateEn", &Row::motionDilateEn),
    field("motionSmoothFactor", &Row::motionSmoothFactor),
    field("motionSmoothLvl", &Row::motionSmoothLvl),
    field("noiseModelA", &Row::noiseModelA),
    field("noiseModelB", &Row::noiseModelB),
    field("rangeH", &Row::rangeH),
    field("sadWeight", &Row::sadWeight),
    field("sqrDiffFactor", &Row::sqrDiffFactor),
    field("tnrStrength", &Row::tnrStrength),
    field("tnrStrength2", &Row::tnrStrength2),
    field("tnrLumaCurveY", &Row::tnrLumaCurveY),
    field("tnrMotionSlopeY", &Row::tnrMotionSlopeY),
};

const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kFields[] = {
    boolean("enable", &Record::enable),
    field("nmK", &Record::nmK),
    field("nmP", &Record::nmP),
    table("rows", &Record::rows, kRowLayout),
    boolean("interpolate", &Record::interpolate),
    field("tableIndex", &Record::tableIndex),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAuto3DNoiseReduction4Record = {"A3DNR_4", kLayout, &kDefaults};

}  // namespace tdatabase
