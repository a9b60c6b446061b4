// "AEE_3": the edge enhancement tuning table, per sensor gain point. Its rows carry their
// own autoLevel and no gain points of their own.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoEdgeEnhance_3;
using Row = TDatabaseAutoEdgeEnhance_3Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverEdgeEnhance_3_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field, const char *help) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after, help});
}

// dciEnable is a switch and stored as 0 or 1; the other enables keep the integer a client
// writes, cut to a byte.
constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    inRow(":anchor1", Access::Float, SHELL_FIELD_OF(Row, anchor1),
          "20 entries, one per gain point: the first anchor of the sharpening strength curve, 0..1 "
          "(0.25 .. 0.5 as shipped)."),
    inRow(":autoLevel", Access::Integer, SHELL_FIELD_OF(Row, autoLevel),
          "How many leading gain points the row fills, 0..20 (20 as shipped). The rows carry no "
          "gain list: the points are 1, 1.5, 2, 3, 4, 6 ... 768. The camera applies the row while "
          "this is not 0."),
    inRow(":caCurve", Access::Integer, SHELL_FIELD_OF(Row, caCurve),
          "20 × 65, a row per gain point: the 65-point chroma-adaptive gain curve over chroma "
          "size. The camera interpolates it at the current sensor gain into EE_3 caCurve."),
    inRow(":caEnable", Access::Integer, SHELL_FIELD_OF(Row, caEnable),
          "20 entries, one per gain point: 1 turns chroma-adaptive sharpening on. The camera takes "
          "the entry at or below the current sensor gain as EE_3 isCa."),
    inRow(":dciCurve", Access::Integer, SHELL_FIELD_OF(Row, dciCurve),
          "20 × 65, a row per gain point: the 65-point dynamic contrast curve (luma in, luma out, "
          "10-bit). The camera interpolates it at the current sensor gain into EE_3 dciCurve."),
    inRow(":dciEnable", Access::Flag, SHELL_FIELD_OF(Row, dciEnable),
          "20 entries, one per gain point: true turns the dynamic contrast curve on, stored as 0 "
          "or 1. The camera takes the entry at or below the current sensor gain as EE_3 isDci."),
    inRow(":depfCompLumaDiff", Access::Integer, SHELL_FIELD_OF(Row, depfCompLumaDiff),
          "20 entries, one per gain point: extra darkness below the bright edge at which "
          "purple-fringe removal is full, codes. The camera interpolates it at the current sensor "
          "gain into EE_3 depfCompLumaDiff."),
    inRow(":depfDetectLumaDiff", Access::Integer, SHELL_FIELD_OF(Row, depfDetectLumaDiff),
          "20 entries, one per gain point: how much darker than a bright edge a pixel must be to "
          "be checked for fringe, codes. The camera interpolates it at the current sensor gain "
          "into EE_3 depfDetectLumaDiff."),
    inRow(":depfDetectLumaTh", Access::Integer, SHELL_FIELD_OF(Row, depfDetectLumaTh),
          "20 entries, one per gain point: luma from which an edge counts as bright for fringe "
          "detection, 10-bit codes. The camera interpolates it at the current sensor gain into "
          "EE_3 depfDetectLumaTh."),
    inRow(
        ":depfFixStr", Access::Integer, SHELL_FIELD_OF(Row, depfFixStr),
        "20 entries, one per gain point: share of the R and B excess over G removed from a fringe, "
        "1/256. The camera interpolates it at the current sensor gain into EE_3 depfFixStrength."),
    inRow(":depfLimit", Access::Integer, SHELL_FIELD_OF(Row, depfLimit),
          "20 × 4, a row per gain point: the four limits on a fringe pixel's change, by brightness "
          "band, 8-bit steps. The camera interpolates it at the current sensor gain into EE_3 "
          "depfLimit."),
    inRow(":depfSatStr", Access::Integer, SHELL_FIELD_OF(Row, depfSatStr),
          "20 entries, one per gain point: chroma reduction on a fringe pixel, 1/256. The camera "
          "interpolates it at the current sensor gain into EE_3 depfSatStrength."),
    inRow(":depurpleEn", Access::Integer, SHELL_FIELD_OF(Row, depurpleEn),
          "20 entries, one per gain point: 1 turns purple-fringe removal on. The camera takes the "
          "entry at or below the current sensor gain as EE_3 isDePurple."),
    inRow(":detailLvl", Access::Integer, SHELL_FIELD_OF(Row, detailLvl),
          "20 entries, one per gain point: detail level of the sharpening. The camera interpolates "
          "it at the current sensor gain into EE_3 detailLevel."),
    inRow(":detailPreEnhanceStr", Access::Integer, SHELL_FIELD_OF(Row, detailPreEnhanceStr),
          "20 entries, one per gain point: strength of the detail pre-enhancement. The camera "
          "interpolates it at the current sensor gain into EE_3 detailPreEnhanceStrength."),
    inRow(":edgeNrLvl", Access::Integer, SHELL_FIELD_OF(Row, edgeNrLvl),
          "20 entries, one per gain point: noise reduction level on edges. The camera interpolates "
          "it at the current sensor gain into EE_3 edgeNrLevel."),
    inRow(":eeEnable", Access::Integer, SHELL_FIELD_OF(Row, eeEnable),
          "20 entries, one per gain point: 1 turns edge enhancement on. The camera takes the entry "
          "at or below the current sensor gain as EE_3 state."),
    inRow(":eeSrcStrength", Access::Integer, SHELL_FIELD_OF(Row, eeSrcStrength),
          "20 entries, one per gain point: share of a pixel's own fine detail kept, 1/256. The "
          "camera interpolates it at the current sensor gain into EE_3 sourceStrength."),
    inRow(":eeSrcStrengthSkin", Access::Integer, SHELL_FIELD_OF(Row, eeSrcStrengthSkin),
          "20 entries, one per gain point: the same on skin tones, 1/256. The camera interpolates "
          "it at the current sensor gain into EE_3 sourceStrengthSkin."),
    inRow(":eeStrength", Access::Integer, SHELL_FIELD_OF(Row, eeStrength),
          "20 entries, one per gain point: overall sharpening strength, 1/64. The camera "
          "interpolates it at the current sensor gain into EE_3 strength."),
    inRow(":gradTh", Access::Integer, SHELL_FIELD_OF(Row, gradTh),
          "20 × 2, a row per gain point: the two gradient thresholds (coring, full strength), "
          "codes. The camera interpolates it at the current sensor gain into EE_3 gradTh."),
    inRow(":gradThSkin", Access::Integer, SHELL_FIELD_OF(Row, gradThSkin),
          "20 × 2, a row per gain point: the two gradient thresholds on skin tones, codes. The "
          "camera interpolates it at the current sensor gain into EE_3 gradThSkin."),
    inRow(":hfMergeCurve", Access::Integer, SHELL_FIELD_OF(Row, hfMergeCurve),
          "20 × 4, a row per gain point: the four points of the detail merge curve between the "
          "gradient thresholds. The camera interpolates it at the current sensor gain into EE_3 "
          "hfMergeCurve."),
    inRow(":hfMergeCurveSkin", Access::Integer, SHELL_FIELD_OF(Row, hfMergeCurveSkin),
          "20 × 4, a row per gain point: the four merge-curve points on skin tones. The camera "
          "interpolates it at the current sensor gain into EE_3 hfMergeCurveSkin."),
    inRow(":sharpCurveLvl", Access::Integer, SHELL_FIELD_OF(Row, sharpCurveLvl),
          "20 entries, one per gain point: level of the sharpening curve. The camera interpolates "
          "it at the current sensor gain into EE_3 sharpCurveLevel."),
    inRow(":sharpGain", Access::Integer, SHELL_FIELD_OF(Row, sharpGain),
          "20 × 2, a row per gain point: sharpening gain on overshoot and undershoot. The camera "
          "interpolates it at the current sensor gain into EE_3 sharpGain."),
    inRow(":sharpGainSkin", Access::Integer, SHELL_FIELD_OF(Row, sharpGainSkin),
          "20 × 2, a row per gain point: sharpening gain on skin tones (overshoot, undershoot). "
          "The camera interpolates it at the current sensor gain into EE_3 sharpGainSkin."),
    inRow(
        ":sharpGainUv", Access::Integer, SHELL_FIELD_OF(Row, sharpGainUv),
        "20 entries, one per gain point: gain of the chroma detail added where luma is sharpened, "
        "1/64. The camera interpolates it at the current sensor gain into EE_3 sharpGainUv."),
    inRow(":sharpLimit", Access::Integer, SHELL_FIELD_OF(Row, sharpLimit),
          "20 × 2, a row per gain point: halo limits (overshoot, undershoot). The camera "
          "interpolates it at the current sensor gain into EE_3 sharpLimit."),
    inRow(":sharpLimitSkin", Access::Integer, SHELL_FIELD_OF(Row, sharpLimitSkin),
          "20 × 2, a row per gain point: halo limits on skin tones. The camera interpolates it at "
          "the current sensor gain into EE_3 sharpLimitSkin."),
    inRow(":sharpSkinCurveLvl", Access::Integer, SHELL_FIELD_OF(Row, sharpSkinCurveLvl),
          "20 entries, one per gain point: level of the skin sharpening curve. The camera "
          "interpolates it at the current sensor gain into EE_3 sharpSkinCurveLevel."),
    inRow(":skinDetectStr", Access::Integer, SHELL_FIELD_OF(Row, skinDetectStr),
          "20 entries, one per gain point: strength of skin-tone detection. The camera "
          "interpolates it at the current sensor gain into EE_3 skinDetectStrength."),
    inRow(":skinProcEn", Access::Integer, SHELL_FIELD_OF(Row, skinProcEn),
          "20 entries, one per gain point: 1 turns separate skin-tone sharpening on. The camera "
          "takes the entry at or below the current sensor gain as EE_3 skinProcessEn."),
    inRow(":skinThreshold", Access::Integer, SHELL_FIELD_OF(Row, skinThreshold),
          "20 × 6, a row per gain point: the six bounds of the skin-tone region: Cb low, high, Cr "
          "low, high, luma low, high (signed)."),
};

constexpr tshell::About kAbout = {
    "Edge enhancement per gain",
    "Edge enhancement per sensor gain point: a table of 10 rows (one per sensor mode), each with "
    "the sharpening, skin-tone, chroma-adaptive, contrast-curve and purple-fringe settings at 20 "
    "gain points, sharpening backing off as the gain grows. The rows carry no gain list: the "
    "points are the standard 1, 1.5, 2, 3 ... 768. While the camera streams and the table is on "
    "(as shipped), the selected row is interpolated at the sensor's total gain into EE_3. A write "
    "pushes EE_3."};

}  // namespace

SHELL_CATEGORY(TShellAutoEdgeEnhance_3_process, "AEE_3", kKeys, kAbout);
