// "A3DNR_4": the temporal noise reduction tuning table, per sensor gain point, and the
// sensor's noise model that holds for every row.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAuto3DNoiseReduction_4;
using Row = TDatabaseAuto3DNoiseReduction_4Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver3DNoiseReduction_4_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field, const char *help) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after, help});
}

constexpr KeyRow kKeys[] = {
    {"nmK", Access::Float, SHELL_FIELD(nmK), nullptr, after,
     "Sensor noise model parameter K, one value for every row and gain point (0.35 as shipped), no "
     "unit."},
    {"nmP", Access::Float, SHELL_FIELD(nmP), nullptr, after,
     "Sensor noise model parameter P, one value for every row and gain point (2.0 as shipped), no "
     "unit."},
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    inRow(":blsExp", Access::Integer, SHELL_FIELD_OF(Row, blsExp),
          "20 × 4, a row per gain point: black level per channel (R, Gr, Gb, B) removed before "
          "motion is measured, in the codes of 3DNR_4 blsExp. The camera interpolates it at the "
          "current sensor gain into 3DNR_4 blsExp."),
    inRow(":dilateH", Access::Integer, SHELL_FIELD_OF(Row, dilateH),
          "20 entries, one per gain point: sideways spread of detected motion, pixels. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 dilateH."),
    inRow(
        ":fixCurveStart", Access::Integer, SHELL_FIELD_OF(Row, fixCurveStart),
        "20 entries, one per gain point: level below which the luma curve is held, inputBits "
        "codes. The camera interpolates it at the current sensor gain into 3DNR_4 fixCurveStart."),
    inRow(":filterLen", Access::Integer, SHELL_FIELD_OF(Row, filterLen),
          "20 entries, one per gain point: width of the motion-averaging window, pixels. The "
          "camera interpolates it at the current sensor gain into 3DNR_4 filterLen."),
    inRow(":filterLen2", Access::Integer, SHELL_FIELD_OF(Row, filterLen2),
          "20 entries, one per gain point: height of the motion-averaging window, pixels. The "
          "camera interpolates it at the current sensor gain into 3DNR_4 filterLen2."),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains),
          "The 20 gain points of the row: total sensor gain as a factor, rising (1, 1.5, 2, 3, 4, "
          "6 ... 768 as shipped). Each other ':' key holds one entry per point. The camera uses "
          "the leading rising run of points."),
    inRow(":motionDilateEn", Access::Bool, SHELL_FIELD_OF(Row, motionDilateEn),
          "20 entries, one per gain point: true spreads detected motion sideways. The camera takes "
          "the entry at or below the current sensor gain as 3DNR_4 isMotionDilate."),
    inRow(":motionSmoothFactor", Access::Double, SHELL_FIELD_OF(Row, motionSmoothFactor),
          "20 entries, one per gain point: share of the smoothed motion map, 0..1. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 motionSmoothFactor."),
    inRow(":motionSmoothLvl", Access::Integer, SHELL_FIELD_OF(Row, motionSmoothLvl),
          "20 entries, one per gain point: radius of the motion-smoothing box, pixels. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 motionSmoothLevel."),
    inRow(":noiseModelA", Access::Double, SHELL_FIELD_OF(Row, noiseModelA),
          "20 entries, one per gain point: shot-noise coefficient A of the noise model (variance = "
          "A × level + B). The camera interpolates it at the current sensor gain into 3DNR_4 "
          "noiseModelA."),
    inRow(":noiseModelB", Access::Double, SHELL_FIELD_OF(Row, noiseModelB),
          "20 entries, one per gain point: read-noise floor B of the noise model (variance = A × "
          "level + B). The camera interpolates it at the current sensor gain into 3DNR_4 "
          "noiseModelB."),
    inRow(":rangeH", Access::Integer, SHELL_FIELD_OF(Row, rangeH),
          "20 entries, one per gain point: horizontal motion search range, pixels. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 rangeH."),
    inRow(":sadWeight", Access::Integer, SHELL_FIELD_OF(Row, sadWeight),
          "20 entries, one per gain point: share of the window average in the motion measure, "
          "1/16. The camera interpolates it at the current sensor gain into 3DNR_4 sadWeight."),
    inRow(":sqrDiffFactor", Access::Integer, SHELL_FIELD_OF(Row, sqrDiffFactor),
          "20 entries, one per gain point: weight of squared differences, 1/4. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 sqrDiffFactor."),
    inRow(":tnrStrength", Access::Integer, SHELL_FIELD_OF(Row, tnrStrength),
          "20 entries, one per gain point: temporal filter strength for luma, 1/256. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 tnrStrength."),
    inRow(":tnrStrength2", Access::Integer, SHELL_FIELD_OF(Row, tnrStrength2),
          "20 entries, one per gain point: temporal filter strength for chroma, 1/256. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 tnrStrength2."),
    inRow(":tnrLumaCurveY", Access::Integer, SHELL_FIELD_OF(Row, tnrLumaCurveY),
          "20 × 12, a row per gain point: the 12 Y points of the luma curve, of 1023. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 tnrLumaCurveY."),
    inRow(":tnrMotionSlopeY", Access::Integer, SHELL_FIELD_OF(Row, tnrMotionSlopeY),
          "20 × 12, a row per gain point: the 12 motion slope points, 1/64. The camera "
          "interpolates it at the current sensor gain into 3DNR_4 tnrMotionSlopeY."),
};

constexpr tshell::About kAbout = {
    "Temporal noise reduction per gain",
    "Temporal noise reduction settings per sensor gain point: a table of 10 rows (one per sensor "
    "mode), each listing 20 gain points and the 3DNR_4 settings at each, so that temporal "
    "filtering and the motion search grow with the gain, plus a sensor noise model shared by all "
    "rows. While the camera streams and the table is on (as shipped), the selected row is "
    "interpolated at the sensor's total gain and programmed into 3DNR_4; its pushed settings "
    "supply the rest. A write pushes 3DNR_4."};

}  // namespace

SHELL_CATEGORY(TShellAuto3DNoiseReduction_4_process, "A3DNR_4", kKeys, kAbout);
