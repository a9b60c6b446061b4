// "DMSC_3": demosaic, chromatic aberration correction ("cac:" keys), false-colour, moire
// and purple-fringe suppression, and two tables of sharpening curves of which the client
// edits one entry at a time, chosen by "sharpenCurveIndex" / "sharpenLineCurveIndex".
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDeMosaic_3;
using Curve = TDatabaseDeMosaic_3SharpenCurve;
using LineCurve = TDatabaseDeMosaic_3SharpenLineCurve;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverDeMosaic_3_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDeMosaic_3_process, SHELL_SITE);
}

// Clients store any index, also one past the tables (tuning tools select before they
// fill); the curve keys then answer "Out of range" until the index is valid again.
constexpr tshell::Selection kCurve =
    SHELL_SELECTION("sharpenCurveIndex", sharpenCurveIndex, sharpenCurve);
constexpr tshell::Selection kLineCurve =
    SHELL_SELECTION("sharpenLineCurveIndex", sharpenLineCurveIndex, sharpenLineCurve);

constexpr KeyRow curveKey(const char *key, tshell::FieldRef field, const char *help) {
  return tshell::inEntry(kCurve, {key, Access::Integer, field, before, after, help});
}

constexpr KeyRow lineCurveKey(const char *key, tshell::FieldRef field, const char *help) {
  return tshell::inEntry(kLineCurve, {key, Access::Integer, field, before, after, help});
}

// Alphabetical with a leading "is" ignored, but "isStatistics" and "state" first, each
// curve index before its curve's keys, and "saturationShrink" and "threshold" last.
constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block (plain bilinear interpolation, nothing else), any other value enables "
     "it (1 as shipped). Writing pushes the block."},
    {"adaptCoefficientMax", Access::Integer, SHELL_FIELD(adaptCoefficientMax), before, after,
     "Largest coefficient of the adaptive interpolation kernel, 8 bits (16 as shipped)."},
    {"adaptCoefficientMin", Access::Integer, SHELL_FIELD(adaptCoefficientMin), before, after,
     "Smallest coefficient of the adaptive interpolation kernel, 8 bits (4 as shipped)."},
    {"adaptCoefficientMode", Access::Integer, SHELL_FIELD(adaptCoefficientMode), before, after,
     "How the adaptive interpolation kernel's coefficient is chosen, as the chip codes it (1 as "
     "shipped)."},
    {"adaptCoefficientThresholdLow", Access::Integer, SHELL_FIELD(adaptCoefficientThresholdLow),
     before, after,
     "Lower gradient threshold of the adaptive kernel's coefficient, 8 bits (32 as shipped)."},
    {"adaptCoefficientThresholdShift", Access::Integer, SHELL_FIELD(adaptCoefficientThresholdShift),
     before, after,
     "Width of the adaptive kernel's transition above its lower threshold, as a power of two (3 as "
     "shipped)."},
    {"isCac", Access::Bool, SHELL_FIELD(isCac), before, after,
     "Corrects lateral chromatic aberration: red and blue are resampled radially about the optical "
     "centre (false as shipped, until a lens is calibrated)."},
    {"cac:aBlue", Access::Float, SHELL_FIELD(cac.aBlue), before, after,
     "Lateral chromatic aberration: constant term a of the blue scaling: blue is resampled at (1 + "
     "a + b r + c r^2) times its distance from the centre, r = 1 at a centred corner (0 as "
     "shipped)."},
    {"cac:aRed", Access::Float, SHELL_FIELD(cac.aRed), before, after,
     "Lateral chromatic aberration: constant term a of the red scaling 1 + a + b r + c r^2 of the "
     "distance from the centre (0 as shipped)."},
    {"cac:bBlue", Access::Float, SHELL_FIELD(cac.bBlue), before, after,
     "Lateral chromatic aberration: linear term b of the blue scaling 1 + a + b r + c r^2, r = 1 "
     "at a centred corner (0 as shipped)."},
    {"cac:bRed", Access::Float, SHELL_FIELD(cac.bRed), before, after,
     "Lateral chromatic aberration: linear term b of the red scaling 1 + a + b r + c r^2, r = 1 at "
     "a centred corner (0 as shipped)."},
    {"cac:cBlue", Access::Float, SHELL_FIELD(cac.cBlue), before, after,
     "Lateral chromatic aberration: quadratic term c of the blue scaling 1 + a + b r + c r^2 (0 as "
     "shipped)."},
    {"cac:centerHOffs", Access::Integer, SHELL_FIELD(cac.centerHOffs), before, after,
     "Lateral chromatic aberration: horizontal offset of the optical centre from the frame centre "
     "in pixels, signed (0 as shipped)."},
    {"cac:centerVOffs", Access::Integer, SHELL_FIELD(cac.centerVOffs), before, after,
     "Lateral chromatic aberration: vertical offset of the optical centre from the frame centre in "
     "lines, signed (0 as shipped)."},
    {"cac:cRed", Access::Float, SHELL_FIELD(cac.cRed), before, after,
     "Lateral chromatic aberration: quadratic term c of the red scaling 1 + a + b r + c r^2 (0 as "
     "shipped)."},
    {"cbCrClassThreshold", Access::Integer, SHELL_FIELD(cbCrClassThreshold), before, after,
     "Purple-fringe detection: how far blue must exceed green, in 12-bit codes, for a pixel to "
     "count as purple (12 as shipped)."},
    {"cbCrMode", Access::Integer, SHELL_FIELD(cbCrMode), before, after,
     "Chroma classification mode of the artefact classifier, as the chip codes it (1 as shipped)."},
    {"cbCrRange", Access::Integer, SHELL_FIELD(cbCrRange), before, after,
     "8 chroma class limits of the artefact classifier, 10-bit chroma codes rising roughly by "
     "octaves (8 ... 1023 as shipped)."},
    {"clips", Access::Integer, SHELL_FIELD(clips), before, after,
     "Sharpening clip levels in 12-bit codes, a pair (brightening, darkening) per sharpening curve "
     "entry (1023, 1023, 1023, 960, 896, 832 as shipped): the added detail never exceeds them."},
    {"colorRangeMode", Access::Integer, SHELL_FIELD(colorRangeMode), before, after,
     "Number range of the chroma values, as the chip codes it (0 as shipped)."},
    {"colorStrength", Access::Integer, SHELL_FIELD(colorStrength), before, after,
     "False-colour suppression: how far colour differences are pulled towards their 3 x 3 median, "
     "in 1/16 (16 as shipped: all the way). Used while isDeFalseColor is on."},
    {"cornerLowTh", Access::Integer, SHELL_FIELD(cornerLowTh), before, after,
     "Lower threshold of the interpolation's corner detection, codes (64 as shipped). Used while "
     "isInterpCorner is on."},
    {"cornerShift", Access::Integer, SHELL_FIELD(cornerShift), before, after,
     "Width of the corner detection's transition as a power of two (2 as shipped)."},
    {"deBurstMode", Access::Integer, SHELL_FIELD(deBurstMode), before, after,
     "Line-buffer read-out mode of the block, as the chip codes it (0 as shipped)."},
    {"isDecline", Access::Bool, SHELL_FIELD(isDecline), before, after,
     "Decline mode of the interpolation, as the chip defines it (false as shipped)."},
    {"isDeFalseColor", Access::Bool, SHELL_FIELD(isDeFalseColor), before, after,
     "Suppresses false colour by pulling colour differences towards their 3 x 3 median, by "
     "colorStrength (true as shipped)."},
    {"isDeMoireRefineGreen", Access::Bool, SHELL_FIELD(isDeMoireRefineGreen), before, after,
     "Moire suppression: a green within refineGreenThreshold of its diagonal greens moves to their "
     "midpoint (true as shipped)."},
    {"deNoiseStrength", Access::Integer, SHELL_FIELD(deNoiseStrength), before, after,
     "Smoothing strength inside the interpolation, 8 bits (8 as shipped)."},
    {"isDePurple", Access::Bool, SHELL_FIELD(isDePurple), before, after,
     "Desaturates purple fringes next to strong edges: chroma x (1 - saturationShrink/16) where "
     "the pixel is purple and the green nearby spans more than protectThresholdLow << protectShift "
     "(false as shipped)."},
    {"diffColorCoefficient", Access::Integer, SHELL_FIELD(diffColorCoefficient), before, after,
     "Weight of the colour-difference refinement of red and blue, 8 bits (8 as shipped)."},
    {"dir0InterpType", Access::Integer, SHELL_FIELD(dir0InterpType), before, after,
     "Direction weighting: 0 the smoother direction's weight rises gradually from gradThresholdMin "
     "to gradThresholdMax (as shipped); 1 it switches fully at once."},
    {"factors", Access::Integer, SHELL_FIELD(factors), before, after,
     "Sharpening gains in 1/64, a pair (brightening, darkening) per sharpening curve entry (64, "
     "64, 48, 48, 32, 32 as shipped)."},
    {"gradControl", Access::Integer, SHELL_FIELD(gradControl), before, after,
     "1 adds the second difference to the direction gradients |dG| (as shipped); 0 uses |dG| "
     "alone."},
    {"gradThresholdMax", Access::Integer, SHELL_FIELD(gradThresholdMax), before, after,
     "Direction contrast in 12-bit codes at which the smoother direction gets full weight (512 as "
     "shipped)."},
    {"gradThresholdMin", Access::Integer, SHELL_FIELD(gradThresholdMin), before, after,
     "Direction contrast in 12-bit codes below which both directions weigh alike (16 as shipped)."},
    {"grayProtectStrength", Access::Integer, SHELL_FIELD(grayProtectStrength), before, after,
     "Protection of grey areas from the false-colour filter, 8 bits (16 as shipped)."},
    {"highlightControlShift", Access::Integer, SHELL_FIELD(highlightControlShift), before, after,
     "Sharpening above highlightControlThreshold is divided by 2^shift (4 as shipped), so bright "
     "highlights get no halo."},
    {"highlightControlThreshold", Access::Integer, SHELL_FIELD(highlightControlThreshold), before,
     after,
     "Level in 12-bit codes above which sharpening is reduced by highlightControlShift (3840 as "
     "shipped: near-white highlights)."},
    {"isInterpCorner", Access::Bool, SHELL_FIELD(isInterpCorner), before, after,
     "Special interpolation at corners, controlled by cornerLowTh and cornerShift (true as "
     "shipped)."},
    {"interpDirStrength", Access::Integer, SHELL_FIELD(interpDirStrength), before, after,
     "4 interpolation strengths: [0] horizontal and [1] vertical correction of green by the site "
     "colour's second difference, in 1/32; [2] at green sites and [3] at red/blue sites, weight of "
     "the red/blue colour difference, in 1/16 (8, 8, 12, 12 as shipped)."},
    {"interpLargeStr", Access::Integer, SHELL_FIELD(interpLargeStr), before, after,
     "Strengths of the large-kernel interpolation, 2 values (16, 24 as shipped)."},
    {"isOverrideCalibration", Access::Bool, SHELL_FIELD(isOverrideCalibration), before, after,
     "Uses the manual values of this record instead of the calibration's (false as shipped)."},
    {"protectShift", Access::Integer, SHELL_FIELD(protectShift), before, after,
     "Purple-fringe detection: the edge threshold is protectThresholdLow << protectShift (2 as "
     "shipped)."},
    {"protectThresholdLow", Access::Integer, SHELL_FIELD(protectThresholdLow), before, after,
     "Purple-fringe detection: base of the edge threshold; a pixel counts only where the green "
     "within 4 sites spans more than protectThresholdLow << protectShift, 12-bit codes (16 as "
     "shipped)."},
    {"pureGreenWeight", Access::Integer, SHELL_FIELD(pureGreenWeight), before, after,
     "Weight of the handling of pure green areas, 8 bits (32 as shipped)."},
    {"pureGreenWeightIso", Access::Integer, SHELL_FIELD(pureGreenWeightIso), before, after,
     "Weight of the handling of pure green areas at high sensitivity, 8 bits (16 as shipped)."},
    {"pureRedBlueWeight", Access::Integer, SHELL_FIELD(pureRedBlueWeight), before, after,
     "Weight of the handling of pure red and blue areas, 8 bits (32 as shipped)."},
    {"pureRedBlueWeightIso", Access::Integer, SHELL_FIELD(pureRedBlueWeightIso), before, after,
     "Weight of the handling of pure red and blue areas at high sensitivity, 8 bits (16 as "
     "shipped)."},
    {"refineGreenThreshold", Access::Integer, SHELL_FIELD(refineGreenThreshold), before, after,
     "Moire suppression: largest distance in 12-bit codes of a green from its diagonal greens for "
     "which it is moved to their midpoint (128 as shipped)."},
    {"isSharpen", Access::Bool, SHELL_FIELD(isSharpen), before, after,
     "Sharpens the interpolated green's detail (minus its 3 x 3 blur), shaped by the sharpening "
     "curve of the sensor gain and added to R, G and B alike (true as shipped)."},
    tshell::indexKey(
        kCurve,
        {"sharpenCurveIndex", Access::Integer, SHELL_FIELD(sharpenCurveIndex), before, after,
         "Entry of the sharpening curve table, 0 to 2, that the sharpenCurve: keys address "
         "(entries for sensor gain below 2, below 8, above). An index outside is stored, but those "
         "keys then answer Out of range."},
        false),
    curveKey(
        "sharpenCurve:layerT1", SHELL_FIELD_OF(Curve, layerT1),
        "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: below 2, "
        "below 8, above). Detail level in 12-bit codes up to which gain layerR1 applies."),
    curveKey("sharpenCurve:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift),
             "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: "
             "below 2, below 8, above). The gain ramps from layerR1 to layerR2 over 2^shift codes "
             "above layerT1."),
    curveKey(
        "sharpenCurve:layer0T3", SHELL_FIELD_OF(Curve, layer0T3),
        "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: below 2, "
        "below 8, above). Detail level in 12-bit codes up to which gain layerR2 applies."),
    curveKey("sharpenCurve:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift),
             "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: "
             "below 2, below 8, above). The gain ramps from layerR2 to layerR3 over 2^shift codes "
             "above layer0T3."),
    curveKey(
        "sharpenCurve:layerR1", SHELL_FIELD_OF(Curve, layerR1),
        "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: below 2, "
        "below 8, above). Gain of small detail (up to layerT1), in 1/256: low keeps noise soft."),
    curveKey(
        "sharpenCurve:layerR2", SHELL_FIELD_OF(Curve, layerR2),
        "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: below 2, "
        "below 8, above). Gain of mid-level detail (layerT1 + 2^T2Shift to layer0T3), in 1/256."),
    curveKey("sharpenCurve:layerR3", SHELL_FIELD_OF(Curve, layerR3),
             "Of the sharpening curve entry sharpenCurveIndex selects (entries by sensor gain: "
             "below 2, below 8, above). Gain of strong edges (from layer0T3 + 2^T4Shift), in "
             "1/256: lower than layerR2 keeps halos down."),
    {"isSharpenLine", Access::Bool, SHELL_FIELD(isSharpenLine), before, after,
     "Extra sharpening of thin lines, by the line sharpening curve of the sensor gain (false as "
     "shipped)."},
    tshell::indexKey(kLineCurve,
                     {"sharpenLineCurveIndex", Access::Integer, SHELL_FIELD(sharpenLineCurveIndex),
                      before, after,
                      "Entry of the line sharpening table, 0 to 3, that the sharpenLineCurve: keys "
                      "address (entries for sensor gain below 2, 4, 8, above). An index outside is "
                      "stored, but those keys then answer Out of range."},
                     false),
    lineCurveKey("sharpenLineCurve:r1", SHELL_FIELD_OF(LineCurve, r1),
                 "Of the line sharpening entry sharpenLineCurveIndex selects (entries by sensor "
                 "gain: below 2, 4, 8, above). Gain at line contrast t1, in 1/256."),
    lineCurveKey(
        "sharpenLineCurve:r2", SHELL_FIELD_OF(LineCurve, r2),
        "Of the line sharpening entry sharpenLineCurveIndex selects (entries by sensor gain: below "
        "2, 4, 8, above). Gain from line contrast t1 + 2^shift1 on, in 1/256."),
    lineCurveKey(
        "sharpenLineCurve:shift1", SHELL_FIELD_OF(LineCurve, shift1),
        "Of the line sharpening entry sharpenLineCurveIndex selects (entries by sensor gain: below "
        "2, 4, 8, above). The gain ramps from r1 to r2 over 2^shift1 codes above t1."),
    lineCurveKey("sharpenLineCurve:strength", SHELL_FIELD_OF(LineCurve, strength),
                 "Of the line sharpening entry sharpenLineCurveIndex selects (entries by sensor "
                 "gain: below 2, 4, 8, above). Overall strength of the line sharpening, in 1/128."),
    lineCurveKey(
        "sharpenLineCurve:t1", SHELL_FIELD_OF(LineCurve, t1),
        "Of the line sharpening entry sharpenLineCurveIndex selects (entries by sensor gain: below "
        "2, 4, 8, above). Line contrast in 12-bit codes where the gain ramp starts."),
    {"saturationShrink", Access::Integer, SHELL_FIELD(saturationShrink), before, after,
     "Purple-fringe suppression: share of the chroma removed from a purple pixel, in 1/16 (8 as "
     "shipped: half)."},
    {"threshold", Access::Integer, SHELL_FIELD(threshold), before, after,
     "Sharpening coring: detail smaller than this, in 12-bit codes, is not sharpened (4 as "
     "shipped)."},
};

constexpr tshell::About kAbout = {
    "Demosaic",
    "Demosaic: turns the Bayer mosaic into full RGB, interpolating green along the smoother "
    "direction and red and blue through their colour differences, then corrects lateral chromatic "
    "aberration, suppresses false colour, moire and purple fringes, and sharpens the interpolated "
    "green. In the simulated camera all of these run on linear RGB with thresholds in 12-bit "
    "codes; bypassed, the block still delivers a picture by plain bilinear interpolation."};

}  // namespace

SHELL_CATEGORY(TShellDeMosaic_3_process, "DMSC_3", kKeys, kAbout);
