// "ADMSC_3": demosaic settings per sensor gain point, and the three sharpening curves of
// which each index selects the entry a client edits.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoDeMosaic_3;
using Curve = TDatabaseAutoDeMosaic_3SharpenCurve;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDeMosaic_3_process, SHELL_SITE);
}

// An index outside a curve's 20 entries is refused when written, like a table row.
constexpr tshell::Selection kCurve0 =
    SHELL_SELECTION("sharpenCurve0Index", sharpenCurve0Index, sharpenCurve0);
constexpr tshell::Selection kCurve1 =
    SHELL_SELECTION("sharpenCurve1Index", sharpenCurve1Index, sharpenCurve1);
constexpr tshell::Selection kCurve2 =
    SHELL_SELECTION("sharpenCurve2Index", sharpenCurve2Index, sharpenCurve2);

constexpr KeyRow gainKey(const char *key, Access access, tshell::FieldRef field, const char *help) {
  return {key, access, field, nullptr, after, help};
}

constexpr KeyRow indexOf(const tshell::Selection &curve, const char *help) {
  return tshell::indexKey(curve,
                          {curve.indexKey, Access::Integer, curve.index, nullptr, after, help});
}

constexpr KeyRow inCurve(const tshell::Selection &curve, const char *key, tshell::FieldRef field,
                         const char *help) {
  return tshell::inEntry(curve, {key, Access::Integer, field, nullptr, after, help});
}

constexpr KeyRow kKeys[] = {
    gainKey("autoLevel", Access::Integer, SHELL_FIELD(autoLevel),
            "How many leading gain points the arrays fill, 0..20 (20 as shipped). The camera "
            "applies the table while it is not 0 and reads only that many points."),
    gainKey(":gains", Access::Float, SHELL_FIELD(gains),
            "The 20 gain points: total sensor gain as a factor, rising (1, 1.5, 2, 3, 4, 6 ... 768 "
            "as shipped). Each other ':' array holds one entry per point; the camera uses the "
            "leading rising run of them."),
    gainKey(":interpDirStrength", Access::Integer, SHELL_FIELD(interpDirStrength),
            "20 × 4, a row per gain point: the four interpolation strengths (H, V green; red/blue "
            "at green, at blue/red sites), 1/32 and 1/16. The camera interpolates it at the "
            "current sensor gain into DMSC_3 interpDirStrength."),
    gainKey(":interpLargeStr", Access::Integer, SHELL_FIELD(interpLargeStr),
            "20 × 2, a row per gain point: the two strengths of the large interpolation kernel. "
            "The camera interpolates it at the current sensor gain into DMSC_3 interpLargeStr."),
    gainKey(":declineEn", Access::Bool, SHELL_FIELD(declineEn),
            "20 entries, one per gain point: true turns the decline mode on. The camera takes the "
            "entry at or below the current sensor gain as DMSC_3 isDecline."),
    gainKey(
        ":highlightTh", Access::Integer, SHELL_FIELD(highlightTh),
        "20 × 2, a row per gain point: the two highlight thresholds (start, full), 12-bit codes."),
    gainKey(":dmscDepurpleEnable", Access::Bool, SHELL_FIELD(dmscDepurpleEnable),
            "20 entries, one per gain point: true turns purple-fringe removal on. The camera takes "
            "the entry at or below the current sensor gain as DMSC_3 isDePurple."),
    gainKey(":dmscDepurpleThr", Access::Integer, SHELL_FIELD(dmscDepurpleThr),
            "20 entries, one per gain point: the purple-fringe detection threshold, codes."),
    gainKey(":dmscDepurpleSatShrink", Access::Integer, SHELL_FIELD(dmscDepurpleSatShrink),
            "20 entries, one per gain point: how much fringe chroma is taken away, 1/16. The "
            "camera interpolates it at the current sensor gain into DMSC_3 saturationShrink."),
    gainKey(":dmscDepurpleCbCrRange", Access::Integer, SHELL_FIELD(dmscDepurpleCbCrRange),
            "20 × 8, a row per gain point: the eight Cb/Cr bounds of the purple classes. The "
            "camera interpolates it at the current sensor gain into DMSC_3 cbCrRange."),
    gainKey(":denoiseStrength", Access::Integer, SHELL_FIELD(denoiseStrength),
            "20 entries, one per gain point: denoising strength inside the demosaic (0 .. 128 as "
            "shipped). The camera interpolates it at the current sensor gain into DMSC_3 "
            "deNoiseStrength."),
    gainKey(":dmscSharpenEnable", Access::Bool, SHELL_FIELD(dmscSharpenEnable),
            "20 entries, one per gain point: true turns demosaic sharpening on. The camera takes "
            "the entry at or below the current sensor gain as DMSC_3 isSharpen."),
    gainKey(":dmscSharpenFactor", Access::Integer, SHELL_FIELD(dmscSharpenFactor),
            "20 × 6, a row per gain point: the six sharpening factors, 1/64. The camera "
            "interpolates it at the current sensor gain into DMSC_3 factors."),
    gainKey(":dmscSharpenClip", Access::Integer, SHELL_FIELD(dmscSharpenClip),
            "20 × 6, a row per gain point: the six sharpening clips (brightening, darkening per "
            "entry), 12-bit codes. The camera interpolates it at the current sensor gain into "
            "DMSC_3 clips."),
    indexOf(kCurve0,
            "Entry of sharpening curve 0 (0..19) that the sharpenCurve0: keys address. Kept in the "
            "database; outside the curve is refused. The camera programs this entry as DMSC_3 "
            "sharpenCurve 0 (used below 2x gain)."),
    inCurve(kCurve0, "sharpenCurve0:layerT1", SHELL_FIELD_OF(Curve, layerT1),
            "Curve 0, selected entry: detail level up to which the gain is layerR1, 12-bit codes."),
    inCurve(kCurve0, "sharpenCurve0:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift),
            "Curve 0, selected entry: log2 of the ramp from layerT1 to where layerR2 holds."),
    inCurve(kCurve0, "sharpenCurve0:layer0T3", SHELL_FIELD_OF(Curve, layer0T3),
            "Curve 0, selected entry: detail level up to which the gain is layerR2, 12-bit codes."),
    inCurve(kCurve0, "sharpenCurve0:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift),
            "Curve 0, selected entry: log2 of the ramp from layer0T3 to where layerR3 holds."),
    inCurve(
        kCurve0, "sharpenCurve0:layerR1", SHELL_FIELD_OF(Curve, layerR1),
        "Curve 0, selected entry: sharpening gain on weak detail (level up to layerT1), 1/256."),
    inCurve(kCurve0, "sharpenCurve0:layerR2", SHELL_FIELD_OF(Curve, layerR2),
            "Curve 0, selected entry: sharpening gain on medium detail (up to layer0T3), 1/256."),
    inCurve(kCurve0, "sharpenCurve0:layerR3", SHELL_FIELD_OF(Curve, layerR3),
            "Curve 0, selected entry: sharpening gain on strong detail (beyond layer0T3), 1/256."),
    indexOf(kCurve1,
            "Entry of sharpening curve 1 (0..19) that the sharpenCurve1: keys address. Kept in the "
            "database; outside the curve is refused. The camera programs this entry as DMSC_3 "
            "sharpenCurve 1 (used from 2x to 8x)."),
    inCurve(kCurve1, "sharpenCurve1:layerT1", SHELL_FIELD_OF(Curve, layerT1),
            "Curve 1, selected entry: detail level up to which the gain is layerR1, 12-bit codes."),
    inCurve(kCurve1, "sharpenCurve1:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift),
            "Curve 1, selected entry: log2 of the ramp from layerT1 to where layerR2 holds."),
    inCurve(kCurve1, "sharpenCurve1:layer0T3", SHELL_FIELD_OF(Curve, layer0T3),
            "Curve 1, selected entry: detail level up to which the gain is layerR2, 12-bit codes."),
    inCurve(kCurve1, "sharpenCurve1:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift),
            "Curve 1, selected entry: log2 of the ramp from layer0T3 to where layerR3 holds."),
    inCurve(
        kCurve1, "sharpenCurve1:layerR1", SHELL_FIELD_OF(Curve, layerR1),
        "Curve 1, selected entry: sharpening gain on weak detail (level up to layerT1), 1/256."),
    inCurve(kCurve1, "sharpenCurve1:layerR2", SHELL_FIELD_OF(Curve, layerR2),
            "Curve 1, selected entry: sharpening gain on medium detail (up to layer0T3), 1/256."),
    inCurve(kCurve1, "sharpenCurve1:layerR3", SHELL_FIELD_OF(Curve, layerR3),
            "Curve 1, selected entry: sharpening gain on strong detail (beyond layer0T3), 1/256."),
    indexOf(kCurve2,
            "Entry of sharpening curve 2 (0..19) that the sharpenCurve2: keys address. Kept in the "
            "database; outside the curve is refused. The camera programs this entry as DMSC_3 "
            "sharpenCurve 2 (used from 8x up)."),
    inCurve(kCurve2, "sharpenCurve2:layerT1", SHELL_FIELD_OF(Curve, layerT1),
            "Curve 2, selected entry: detail level up to which the gain is layerR1, 12-bit codes."),
    inCurve(kCurve2, "sharpenCurve2:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift),
            "Curve 2, selected entry: log2 of the ramp from layerT1 to where layerR2 holds."),
    inCurve(kCurve2, "sharpenCurve2:layer0T3", SHELL_FIELD_OF(Curve, layer0T3),
            "Curve 2, selected entry: detail level up to which the gain is layerR2, 12-bit codes."),
    inCurve(kCurve2, "sharpenCurve2:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift),
            "Curve 2, selected entry: log2 of the ramp from layer0T3 to where layerR3 holds."),
    inCurve(
        kCurve2, "sharpenCurve2:layerR1", SHELL_FIELD_OF(Curve, layerR1),
        "Curve 2, selected entry: sharpening gain on weak detail (level up to layerT1), 1/256."),
    inCurve(kCurve2, "sharpenCurve2:layerR2", SHELL_FIELD_OF(Curve, layerR2),
            "Curve 2, selected entry: sharpening gain on medium detail (up to layer0T3), 1/256."),
    inCurve(kCurve2, "sharpenCurve2:layerR3", SHELL_FIELD_OF(Curve, layerR3),
            "Curve 2, selected entry: sharpening gain on strong detail (beyond layer0T3), 1/256."),
};

constexpr tshell::About kAbout = {
    "Demosaic per gain",
    "Demosaic settings per sensor gain point: one set of 20 gain points with the interpolation, "
    "purple-fringe, denoise and sharpening settings at each, and three sharpening curves of 20 "
    "entries whose indexes select the entry a client edits. While the camera streams and autoLevel "
    "is not 0, the arrays are interpolated at the sensor's total gain into DMSC_3, and each "
    "curve's selected entry becomes that DMSC_3 sharpening curve. A write pushes DMSC_3."};

}  // namespace

SHELL_CATEGORY(TShellAutoDeMosaic_3_process, "ADMSC_3", kKeys, kAbout);
