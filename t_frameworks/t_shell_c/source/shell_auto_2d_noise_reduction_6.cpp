// "A2DNR_6": the spatial noise reduction tuning table, per sensor gain point.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAuto2DNoiseReduction_6;
using Row = TDatabaseAuto2DNoiseReduction_6Row;

// The table is latched into the noise reduction block together with the block's own
// settings.
uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver2DNoiseReduction_6_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field, const char *help) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after, help});
}

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains),
          "The 20 gain points of the row: total sensor gain as a factor, rising (1, 1.5, 2, 3, 4, "
          "6 ... 768 as shipped). Each other ':' key holds one entry per point. The camera uses "
          "the leading rising run of points."),
    inRow(":blendMotion", Access::Float, SHELL_FIELD_OF(Row, blendMotion),
          "20 entries, one per gain point: weight of the moving-content filter at full motion, "
          "0..1. The camera interpolates it at the current sensor gain into 2DNR_6 blendMotion."),
    inRow(":blendSlope", Access::Float, SHELL_FIELD_OF(Row, blendSlope),
          "20 entries, one per gain point: how fast the mix moves from the static to the moving "
          "filter as motion grows. The camera interpolates it at the current sensor gain into "
          "2DNR_6 blendSlope."),
    inRow(":blendStatic", Access::Float, SHELL_FIELD_OF(Row, blendStatic),
          "20 entries, one per gain point: weight of the filter mix on static content, 0..1. The "
          "camera interpolates it at the current sensor gain into 2DNR_6 blendStatic."),
    inRow(":lscCompCurveY", Access::Integer, SHELL_FIELD_OF(Row, lscCompCurveY),
          "20 × 12, a row per gain point: the 12 Y points of the lens-shading compensation curve, "
          "in the units of 2DNR_6 lscCompCurveY. The camera interpolates it at the current sensor "
          "gain into 2DNR_6 lscCompCurveY."),
    inRow(":lumaCurveY", Access::Integer, SHELL_FIELD_OF(Row, lumaCurveY),
          "20 × 12, a row per gain point: the 12 Y points of the luma curve (noise-sigma factor "
          "over the local level), in the units of 2DNR_6 lumaCurveY. The camera interpolates it at "
          "the current sensor gain into 2DNR_6 lumaCurveY."),
    inRow(":motionAnchorX", Access::Integer, SHELL_FIELD_OF(Row, motionAnchorX),
          "20 × 2, a row per gain point: the two motion levels anchoring the static/moving blend. "
          "The camera interpolates it at the current sensor gain into 2DNR_6 motionAnchorX."),
    inRow(":motionFacCurveY", Access::Integer, SHELL_FIELD_OF(Row, motionFacCurveY),
          "20 × 12, a row per gain point: the 12 Y points of the motion factor curve. The camera "
          "interpolates it at the current sensor gain into 2DNR_6 motionFactorCurveY."),
    inRow(":movingDetailBoostThresh", Access::Integer, SHELL_FIELD_OF(Row, movingDetailBoostThresh),
          "20 × 3, a row per gain point: boost threshold of the moving filter per level, 10-bit "
          "codes. The camera interpolates it at the current sensor gain into 2DNR_6 "
          "movingDetailBoostThresh (both rows)."),
    inRow(":movingDetailBoost", Access::Float, SHELL_FIELD_OF(Row, movingDetailBoost),
          "20 × 2 × 3, a row per gain point: detail boost factor of the moving filter, 2 × 3 "
          "(bands × levels). The camera interpolates it at the current sensor gain into 2DNR_6 "
          "movingDetailBoost."),
    inRow(":movingDetailClipThresh", Access::Integer, SHELL_FIELD_OF(Row, movingDetailClipThresh),
          "20 × 3, a row per gain point: clip threshold of the moving filter's boosted detail per "
          "level, 10-bit codes. The camera interpolates it at the current sensor gain into 2DNR_6 "
          "movingDetailClipThresh (both rows)."),
    inRow(":movingDetailThresh", Access::Integer, SHELL_FIELD_OF(Row, movingDetailThresh),
          "20 × 3, a row per gain point: detail threshold of the moving filter per level, 10-bit "
          "codes. The camera interpolates it at the current sensor gain into 2DNR_6 "
          "movingDetailThresh (both rows)."),
    inRow(
        ":sigmaFactorMotionMax", Access::Integer, SHELL_FIELD_OF(Row, sigmaFactorMotionMax),
        "20 entries, one per gain point: filter range at full motion, 1/64 of the noise sigma. The "
        "camera interpolates it at the current sensor gain into 2DNR_6 sigmaFactorMotionMax."),
    inRow(":sigmaFactorMul", Access::Float, SHELL_FIELD_OF(Row, sigmaFactorMul),
          "20 × 3, a row per gain point: noise sigma multiplier per level, finest first. The "
          "camera interpolates it at the current sensor gain into 2DNR_6 sigmaFactorMul."),
    inRow(":sigmaOffset", Access::Integer, SHELL_FIELD_OF(Row, sigmaOffset),
          "20 entries, one per gain point: noise floor of the sigma estimate, 1/8 of a 10-bit "
          "code. The camera interpolates it at the current sensor gain into 2DNR_6 sigmaOffset."),
    inRow(":sigmaScale", Access::Float, SHELL_FIELD_OF(Row, sigmaScale),
          "20 × 3, a row per gain point: overall noise sigma scale per level, finest first. The "
          "camera interpolates it at the current sensor gain into 2DNR_6 sigmaScale."),
    inRow(":staticDetailBoostThresh", Access::Integer, SHELL_FIELD_OF(Row, staticDetailBoostThresh),
          "20 × 3, a row per gain point: boost threshold of the static filter per level, 10-bit "
          "codes. The camera interpolates it at the current sensor gain into 2DNR_6 "
          "staticDetailBoostThresh (both rows)."),
    inRow(":staticDetailBoost", Access::Float, SHELL_FIELD_OF(Row, staticDetailBoost),
          "20 × 2 × 3, a row per gain point: detail boost factor of the static filter, 2 × 3 "
          "(bands × levels). The camera interpolates it at the current sensor gain into 2DNR_6 "
          "staticDetailBoost."),
    inRow(":staticDetailClipThresh", Access::Integer, SHELL_FIELD_OF(Row, staticDetailClipThresh),
          "20 × 3, a row per gain point: clip threshold of the static filter's boosted detail per "
          "level, 10-bit codes. The camera interpolates it at the current sensor gain into 2DNR_6 "
          "staticDetailClipThresh (both rows)."),
    inRow(":staticDetailThresh", Access::Integer, SHELL_FIELD_OF(Row, staticDetailThresh),
          "20 × 3, a row per gain point: detail threshold of the static filter per level, 10-bit "
          "codes. The camera interpolates it at the current sensor gain into 2DNR_6 "
          "staticDetailThresh (both rows)."),
    inRow(":staticFactor", Access::Float, SHELL_FIELD_OF(Row, staticFactor),
          "20 × 3, a row per gain point: range factor of the static filter per level, finest "
          "first. The camera interpolates it at the current sensor gain into 2DNR_6 staticFactor."),
    inRow(":vstFactor", Access::Float, SHELL_FIELD_OF(Row, vstFactor),
          "20 entries, one per gain point: weight of the shot-noise term in the noise estimate. "
          "The camera interpolates it at the current sensor gain into 2DNR_6 vstFactor."),
};

constexpr tshell::About kAbout = {
    "Spatial noise reduction per gain",
    "Spatial noise reduction settings per sensor gain point: a table of 10 rows (one per sensor "
    "mode), each listing 20 gain points and the 2DNR_6 settings at each, so that filtering grows "
    "with the gain and the noise. While the camera streams and the table is on (as shipped), the "
    "selected row is interpolated at the sensor's total gain and programmed into 2DNR_6; its "
    "pushed settings supply the rest. A write pushes 2DNR_6."};

}  // namespace

SHELL_CATEGORY(TShellAuto2DNoiseReduction_6_process, "A2DNR_6", kKeys, kAbout);
