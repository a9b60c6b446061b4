// One section per stage file; each lists its block's inert keys in the block's key order.
#include "inert_keys.h"

namespace tcamera {
namespace {

constexpr InertKey kInertKeys[] = {
    // --- BLS
    {"BLS", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    // --- DPCC
    {"DPCC", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    // --- LSC_3
    {"LSC_3", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    {"LSC_3", "import",
     "a calibration upload, not a setting: its grid reaches the picture through matrix, xSize and "
     "ySize"},
    // --- GE
    // --- DG
    {"DG", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    // --- WB_1_1
    // --- CPD_1_1
    // --- HDR_3_2DOL
    {"HDR_3_2DOL", "deGhostLsVs.darkLowerThreshold",
     "de-ghosting against a third, very short exposure; the two-frame sensor has none"},
    {"HDR_3_2DOL", "deGhostLsVs.darkUpperThreshold",
     "de-ghosting against a third, very short exposure; the two-frame sensor has none"},
    {"HDR_3_2DOL", "deGhostLsVs.isEnable",
     "de-ghosting against a third, very short exposure; the two-frame sensor has none"},
    {"HDR_3_2DOL", "deGhostLsVs.motionLowerThreshold",
     "de-ghosting against a third, very short exposure; the two-frame sensor has none"},
    {"HDR_3_2DOL", "deGhostLsVs.motionUpperThreshold",
     "de-ghosting against a third, very short exposure; the two-frame sensor has none"},
    // --- RGBIR, RGBIR_1_1
    {"RGBIR", "irBayerPattern",
     "the frame carries its own 4 x 4 layout; the model finds the infrared sites there"},
    {"RGBIR", "rcccEnable", "the simulated sensor has no RCCC mode"},
    {"RGBIR_1_1", "irBayerPattern",
     "the frame carries its own 4 x 4 layout; the model finds the infrared sites there"},
    {"RGBIR_1_1", "rcccEnable", "the simulated sensor has no RCCC mode"},
    // --- 2DNR_6
    {"2DNR_6", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    {"2DNR_6", "blendMotion",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    {"2DNR_6", "blendSlope",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    {"2DNR_6", "lscCompCurvePx",
     "strength over the lens-shading gain; the stage is not told that gain per site"},
    {"2DNR_6", "lscCompCurveX",
     "strength over the lens-shading gain; the stage is not told that gain per site"},
    {"2DNR_6", "lscCompCurveY",
     "strength over the lens-shading gain; the stage is not told that gain per site"},
    {"2DNR_6", "isLscGainComp",
     "strength over the lens-shading gain; the stage is not told that gain per site"},
    {"2DNR_6", "motionAnchorX",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    {"2DNR_6", "isMotionCtrl",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    {"2DNR_6", "motionFactorCurvePx",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    {"2DNR_6", "motionFactorCurveX",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    {"2DNR_6", "motionFactorCurveY",
     "shapes the filter mix by motion; a single frame carries none (motion level 0)"},
    // --- DMSC_3
    {"DMSC_3", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    {"DMSC_3", "adaptCoefficientMax",
     "adaptive kernel coefficients of the chip; the model weighs directions by "
     "gradThresholdMin/Max"},
    {"DMSC_3", "adaptCoefficientMin",
     "adaptive kernel coefficients of the chip; the model weighs directions by "
     "gradThresholdMin/Max"},
    {"DMSC_3", "adaptCoefficientMode",
     "adaptive kernel coefficients of the chip; the model weighs directions by "
     "gradThresholdMin/Max"},
    {"DMSC_3", "adaptCoefficientThresholdLow",
     "adaptive kernel coefficients of the chip; the model weighs directions by "
     "gradThresholdMin/Max"},
    {"DMSC_3", "adaptCoefficientThresholdShift",
     "adaptive kernel coefficients of the chip; the model weighs directions by "
     "gradThresholdMin/Max"},
    {"DMSC_3", "cbCrMode",
     "chroma classes of the chip's artefact classifier; the model tells purple by "
     "cbCrClassThreshold"},
    {"DMSC_3", "cbCrRange",
     "chroma classes of the chip's artefact classifier; the model tells purple by "
     "cbCrClassThreshold"},
    {"DMSC_3", "colorRangeMode",
     "chroma number range of the chip; the model computes in floating point"},
    {"DMSC_3", "cornerLowTh",
     "corner handling of the chip's interpolation; the model interpolates corner sites like any "
     "other"},
    {"DMSC_3", "cornerShift",
     "corner handling of the chip's interpolation; the model interpolates corner sites like any "
     "other"},
    {"DMSC_3", "deBurstMode", "a read-out mode of the chip's line buffers; nothing to model"},
    {"DMSC_3", "isDecline", "a mode of the chip the model does not have"},
    {"DMSC_3", "deNoiseStrength",
     "smoothing inside the chip's interpolation; the model leaves noise to 2DNR and the sharpening "
     "threshold"},
    {"DMSC_3", "diffColorCoefficient",
     "colour-difference refinement weight of the chip; the model uses interpDirStrength[2..3]"},
    {"DMSC_3", "grayProtectStrength",
     "grey protection of the chip's false-colour filter; the model's filter has colorStrength "
     "only"},
    {"DMSC_3", "isInterpCorner",
     "corner handling of the chip's interpolation; the model interpolates corner sites like any "
     "other"},
    {"DMSC_3", "interpLargeStr",
     "the chip's large-kernel interpolation; the model has one kernel size"},
    {"DMSC_3", "isOverrideCalibration",
     "chooses calibration or manual values in the chip's driver; the model takes the record as it "
     "is"},
    {"DMSC_3", "pureGreenWeight", "pure-colour area handling of the chip; not in the model"},
    {"DMSC_3", "pureGreenWeightIso", "pure-colour area handling of the chip; not in the model"},
    {"DMSC_3", "pureRedBlueWeight", "pure-colour area handling of the chip; not in the model"},
    {"DMSC_3", "pureRedBlueWeightIso", "pure-colour area handling of the chip; not in the model"},
    {"DMSC_3", "sharpenCurveIndex",
     "selects the entry the client edits; the curve in use follows the sensor gain"},
    {"DMSC_3", "sharpenLineCurveIndex",
     "selects the entry the client edits; the curve in use follows the sensor gain"},
    // --- CCM
    // --- GC_2
    {"GC_2", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    // --- WDR_5_2_1
    {"WDR_5_2_1", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    {"WDR_5_2_1", "dampAvgCoef",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampAvgMax", "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampAvgMin", "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampCoefDecLimit",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampCoefIncLimit",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampCurveCoef",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampCurveMax",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampCurveMin",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampFilterSize",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampHiThrLog",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampLoThrLog",
     "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "dampMode", "damps the curve between frames; the model takes each frame alone"},
    {"WDR_5_2_1", "logAnchorSlope",
     "the model's curves are power curves; it has no log-domain curve to anchor"},
    {"WDR_5_2_1", "logAnchorXLog",
     "the model's curves are power curves; it has no log-domain curve to anchor"},
    {"WDR_5_2_1", "logWeight",
     "the model's curves are power curves; it has no log-domain curve to mix in"},
    {"WDR_5_2_1", "wdrColorWeight",
     "the curve is driven by the luma of wdrRgbCoef and wdrLightnessWeight alone"},
    {"WDR_5_2_1", "wdrLumaThr", "the lift near black is governed by darkAttentionLevel alone"},
    // --- CP_1_2
    {"CP_1_2", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    // --- CNR_2_2
    {"CNR_2_2", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    // --- EE_3
    {"EE_3", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    {"EE_3", "caMode", "the model has one chroma-adaptive mode: gain over the chroma size"},
    {"EE_3", "detailLevel",
     "the detail band has no separate noise gate; coring by gradTh covers it"},
    {"EE_3", "detailPreEnhanceStrength",
     "no pre-enhancement pass: the bands are taken from the luma as it arrives"},
    {"EE_3", "edgeNrLevel", "no noise filter along edges; coring by gradTh covers it"},
    {"EE_3", "edgeUseAuxiDir", "the bands are isotropic; no edge direction is estimated"},
    {"EE_3", "sharpCurveLevel",
     "one merge curve (hfMergeCurve) shapes the gain; there are no curve levels"},
    {"EE_3", "sharpSkinCurveLevel",
     "one merge curve (hfMergeCurveSkin) shapes the skin gain; there are no curve levels"},
    // --- 3DNR_4
    {"3DNR_4", "isStatistics", "a statistics-view switch of the client; no role in the picture"},
    {"3DNR_4", "blsExp",
     "the block works on RGB whose pedestal the black level stage already removed"},
    {"3DNR_4", "rangeH", "no motion search: the previous frame is blended in place, never shifted"},
    {"3DNR_4", "vstFactor",
     "the noise model is applied directly; there is no variance-stabilising transform"},
    // --- per-gain tables (gain_tables.cpp): a key that drives an inert block key shares its
    // reason; the rest the table keeps without a block member to drive
    {"ALSC_3", "damping", "the strength moves to the gain's value at once; no damping"},
    {"ALSC_3", "autoLevel", "the calibration level of the strengths; they are taken as they are"},
    {"A2DNR_6", ":blendMotion",
     "drives 2DNR_6 blendMotion: shapes the filter mix by motion, and a single frame has none"},
    {"A2DNR_6", ":blendSlope",
     "drives 2DNR_6 blendSlope: shapes the filter mix by motion, and a single frame has none"},
    {"A2DNR_6", ":lscCompCurveY",
     "drives 2DNR_6 lscCompCurveY: the stage is not told the lens-shading gain per site"},
    {"A2DNR_6", ":motionAnchorX",
     "drives 2DNR_6 motionAnchorX: shapes the filter mix by motion, and a single frame has none"},
    {"A2DNR_6", ":motionFacCurveY",
     "drives 2DNR_6 motionFactorCurveY: shapes the filter mix by motion, and a single frame has "
     "none"},
    {"ADMSC_3", ":interpLargeStr", "drives DMSC_3 interpLargeStr: the model has one kernel size"},
    {"ADMSC_3", ":declineEn", "drives DMSC_3 isDecline: a chip mode the model does not have"},
    {"ADMSC_3", ":highlightTh", "kept by the table; the model's demosaic has no member it drives"},
    {"ADMSC_3", ":dmscDepurpleThr",
     "kept by the table; the model's demosaic has no member it drives"},
    {"ADMSC_3", ":dmscDepurpleCbCrRange",
     "drives DMSC_3 cbCrRange: the chip's chroma classes; purple is told by cbCrClassThreshold"},
    {"ADMSC_3", ":denoiseStrength",
     "drives DMSC_3 deNoiseStrength: noise is left to 2DNR and the sharpening threshold"},
    {"AWDR_5_2_1", ":logAnchorSlope", "drives WDR_5_2_1 logAnchorSlope: no log-domain curve"},
    {"AWDR_5_2_1", ":logAnchorXLog", "drives WDR_5_2_1 logAnchorXLog: no log-domain curve"},
    {"AWDR_5_2_1", ":logWeight", "drives WDR_5_2_1 logWeight: no log-domain curve"},
    {"AWDR_5_2_1", ":wdrColorWeight",
     "drives WDR_5_2_1 wdrColorWeight: the curve follows the luma of wdrRgbCoef"},
    {"AWDR_5_2_1", ":wdrLumaThr",
     "drives WDR_5_2_1 wdrLumaThr: the lift near black follows darkAttentionLevel"},
    {"ACNR_2_2", ":textureMask",
     "a texture weight per gain point; the block takes a layer count (textureMaskSelect), left "
     "to its pushed record"},
    {"AEE_3", ":anchor1", "kept by the table; the model's edge enhancer has no member it drives"},
    {"AEE_3", ":detailLvl", "drives EE_3 detailLevel: coring by gradTh covers it"},
    {"AEE_3", ":detailPreEnhanceStr",
     "drives EE_3 detailPreEnhanceStrength: no pre-enhancement pass"},
    {"AEE_3", ":edgeNrLvl", "drives EE_3 edgeNrLevel: coring by gradTh covers it"},
    {"AEE_3", ":sharpCurveLvl", "drives EE_3 sharpCurveLevel: one merge curve, no levels"},
    {"AEE_3", ":sharpSkinCurveLvl", "drives EE_3 sharpSkinCurveLevel: one merge curve, no levels"},
    {"AEE_3", ":skinThreshold",
     "kept by the table; skin tones are told by a fixed chroma distance in the model"},
    {"A3DNR_4", "nmK", "kept by the table; the block's noise model is noiseModelA/B per gain"},
    {"A3DNR_4", "nmP", "kept by the table; the block's noise model is noiseModelA/B per gain"},
    {"A3DNR_4", ":blsExp", "drives 3DNR_4 blsExp: the pedestal is gone before RGB"},
    {"A3DNR_4", ":rangeH", "drives 3DNR_4 rangeH: no motion search"},
    {nullptr, nullptr, nullptr},  // end (keeps the array non-empty while sections fill)
};

}  // namespace

std::span<const InertKey> inertKeys() {
  return {kInertKeys, std::size(kInertKeys) - 1};
}

}  // namespace tcamera
