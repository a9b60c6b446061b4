// "ADPCC": the defect pixel correction tuning table, per sensor gain point.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoDefectPixelClusterCorrection;
using Row = TDatabaseAutoDefectPixelClusterCorrectionRow;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDefectPixelClusterCorrection_process, SHELL_SITE);
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
    inRow(":lineMadFac", Access::Integer, SHELL_FIELD_OF(Row, lineMadFac),
          "20 × 3, a row per gain point: per method set, the line check's factor on the line's own "
          "difference. The camera interpolates it at the current sensor gain into DPCC lineMadFac "
          "(green and red/blue alike)."),
    inRow(":lineThresh", Access::Integer, SHELL_FIELD_OF(Row, lineThresh),
          "20 × 3, a row per gain point: per method set, how far a site must lie off its smoothest "
          "line to count as defect, 12-bit codes. The camera interpolates it at the current sensor "
          "gain into DPCC lineThresh (green and red/blue alike)."),
    inRow(":methodsSet", Access::Integer, SHELL_FIELD_OF(Row, methodsSet),
          "20 × 3, a row per gain point: per method set, the methods it combines (bits 0-4 green, "
          "8-12 red/blue; 0x1d1d as shipped). The camera takes the entry at or below the current "
          "sensor gain as DPCC methodsSet."),
    inRow(":outMode", Access::Integer, SHELL_FIELD_OF(Row, outMode),
          "20 entries, one per gain point: how a defect is replaced: 0 horizontal pair, 1 "
          "vertical, 2 four nearest, 3 smoothest line, 4 median of 8. The camera takes the entry "
          "at or below the current sensor gain as DPCC outMode."),
    inRow(":pgFac", Access::Integer, SHELL_FIELD_OF(Row, pgFac),
          "20 × 3, a row per gain point: per method set, the peak-gradient factor: a site is a "
          "peak when it exceeds its neighbours by more than this × their spread. The camera "
          "interpolates it at the current sensor gain into DPCC pgFac (green and red/blue alike)."),
    inRow(
        ":rgFac", Access::Integer, SHELL_FIELD_OF(Row, rgFac),
        "20 × 3, a row per gain point: per method set, the rank-gradient factor, 1/16. The camera "
        "interpolates it at the current sensor gain into DPCC rgFac (green and red/blue alike)."),
    inRow(":rndOffs", Access::Integer, SHELL_FIELD_OF(Row, rndOffs),
          "20 × 3, a row per gain point: per method set, the rank-difference offset, × "
          "sqrt(level). The camera interpolates it at the current sensor gain into DPCC rndOffs "
          "(green and red/blue alike)."),
    inRow(":rndThresh", Access::Integer, SHELL_FIELD_OF(Row, rndThresh),
          "20 × 3, a row per gain point: per method set, the rank-difference threshold, 12-bit "
          "codes. The camera interpolates it at the current sensor gain into DPCC rndThresh (green "
          "and red/blue alike)."),
    inRow(":roLimits", Access::Integer, SHELL_FIELD_OF(Row, roLimits),
          "20 × 3, a row per gain point: per method set, which ranked neighbour (brightest or "
          "darkest) the rank checks compare with. The camera interpolates it at the current sensor "
          "gain into DPCC roLimits (green and red/blue alike)."),
    inRow(
        ":setUse", Access::Integer, SHELL_FIELD_OF(Row, setUse),
        "20 entries, one per gain point: bits of the method sets in use (7 = all three as "
        "shipped). The camera takes the entry at or below the current sensor gain as DPCC setUse."),
};

constexpr tshell::About kAbout = {
    "Defect pixels per gain",
    "Defect pixel detection per sensor gain point: a table of 10 rows (one per sensor mode), each "
    "listing 20 gain points and the detection thresholds of three method sets at each, rising with "
    "the gain so that noise is not taken for defects. While the camera streams and the table is on "
    "(as shipped), the selected row is applied to DPCC at the sensor's total gain (thresholds "
    "interpolated, switches and modes from the point at or below it). A write pushes DPCC."};

}  // namespace

SHELL_CATEGORY(TShellAutoDefectPixelClusterCorrection_process, "ADPCC", kKeys, kAbout);
