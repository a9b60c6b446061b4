// "A2DNR_6": spatial noise reduction per gain point, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_2d_noise_reduction_6.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAuto2DNoiseReduction_6;
using Row = TDatabaseAuto2DNoiseReduction_6Row;

// Filtering that grows with the gain: more smoothing and less detail boost in the noise of
// high gains. The curves rise evenly over their 12 points.
constexpr Row makeRow() {
  Row row{};
  fillGainPoints(row);
  for (uint32_t g = 0; g < kGainPoints; ++g) {
    row.blendMotion[g] = rampFloat(g, 0.5f, 0.9f);
    row.blendSlope[g] = 1.0f;
    row.blendStatic[g] = rampFloat(g, 0.3f, 0.8f);
    for (uint32_t p = 0; p < 12; ++p) {
      row.lscCompCurveY[g][p] = static_cast<uint16_t>(1024 + p * 32);  // 1.0 .. 1.34 (Q10)
      row.lumaCurveY[g][p] = static_cast<uint16_t>(ramp<uint32_t>(g, 16, 128) + p * 8);
      row.motionFacCurveY[g][p] = static_cast<uint16_t>(p * 93);  // 0 .. 1023
    }
    row.motionAnchorX[g][0] = 32;
    row.motionAnchorX[g][1] = 256;
    for (uint32_t c = 0; c < 3; ++c) {
      row.movingDetailBoostThresh[g][c] = static_cast<uint16_t>(32 << c);
      row.movingDetailClipThresh[g][c] = static_cast<uint16_t>(256 << c);
      row.movingDetailThresh[g][c] = static_cast<uint16_t>(8 << c);
      row.staticDetailBoostThresh[g][c] = static_cast<uint16_t>(32 << c);
      row.staticDetailClipThresh[g][c] = static_cast<uint16_t>(256 << c);
      row.staticDetailThresh[g][c] = static_cast<uint16_t>(4 << c);
      row.sigmaFactorMul[g][c] = rampFloat(g, 1.0f, 2.0f);
      row.sigmaScale[g][c] = 1.0f;
      row.staticFactor[g][c] = 0.5f;
      for (uint32_t s = 0; s < 2; ++s) {
        row.movingDetailBoost[g][s][c] = rampFloat(g, 1.0f, 0.5f);
        row.staticDetailBoost[g][s][c] = rampFloat(g, 1.2f, 0.8f);
      }
    }
    row.sigmaFactorMotionMax[g] = ramp<uint16_t>(g, 64, 255);
    row.sigmaOffset[g] = ramp<uint16_t>(g, 0, 64);
    row.vstFactor[g] = 1.0f;
  }
  return row;
}

constexpr Record kDefaults = tuningTable<Record>(makeRow());

const Field kRowFields[] = {
    field("gains", &Row::gains),
    field("blendMotion", &Row::blendMotion),
    field("blendSlope", &Row::blendSlope),
    field("blendStatic", &Row::blendStatic),
    field("lscCompCurveY", &Row::lscCompCurveY),
    field("lumaCurveY", &Row::lumaCurveY),
    field("motionAnchorX", &Row::motionAnchorX),
    field("motionFacCurveY", &Row::motionFacCurveY),
    field("movingDetailBoostThresh", &Row::movingDetailBoostThresh),
    field("movingDetailBoost", &Row::movingDetailBoost),
    field("movingDetailClipThresh", &Row::movingDetailClipThresh),
    field("movingDetailThresh", &Row::movingDetailThresh),
    field("sigmaFactorMotionMax", &Row::sigmaFactorMotionMax),
    field("sigmaFactorMul", &Row::sigmaFactorMul),
    field("sigmaOffset", &Row::sigmaOffset),
    field("sigmaScale", &Row::sigmaScale),
    field("staticDetailBoostThresh", &Row::staticDetailBoostThresh),
    field("staticDetailBoost", &Row::staticDetailBoost),
    field("staticDetailClipThresh", &Row::staticDetailClipThresh),
    field("staticDetailThresh", &Row::staticDetailThresh),
    field("staticFactor", &Row::staticFactor),
    field("vstFactor", &Row::vstFactor),
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

extern const RecordType kAuto2DNoiseReduction6Record = {"A2DNR_6", kLayout, &kDefaults};

}  // namespace tdatabase
