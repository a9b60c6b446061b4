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

constexpr KeyRow curveKey(const char *key, tshell::FieldRef field) {
  return tshell::inEntry(kCurve, {key, Access::Integer, field, before, after});
}

constexpr KeyRow lineCurveKey(const char *key, tshell::FieldRef field) {
  return tshell::inEntry(kLineCurve, {key, Access::Integer, field, before, after});
}

// Alphabetical with a leading "is" ignored, but "isStatistics" and "state" first, each
// curve index before its curve's keys, and "saturationShrink" and "threshold" last.
constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"adaptCoefficientMax", Access::Integer, SHELL_FIELD(adaptCoefficientMax), before, after},
    {"adaptCoefficientMin", Access::Integer, SHELL_FIELD(adaptCoefficientMin), before, after},
    {"adaptCoefficientMode", Access::Integer, SHELL_FIELD(adaptCoefficientMode), before, after},
    {"adaptCoefficientThresholdLow", Access::Integer, SHELL_FIELD(adaptCoefficientThresholdLow),
     before, after},
    {"adaptCoefficientThresholdShift", Access::Integer, SHELL_FIELD(adaptCoefficientThresholdShift),
     before, after},
    {"isCac", Access::Bool, SHELL_FIELD(isCac), before, after},
    {"cac:aBlue", Access::Float, SHELL_FIELD(cac.aBlue), before, after},
    {"cac:aRed", Access::Float, SHELL_FIELD(cac.aRed), before, after},
    {"cac:bBlue", Access::Float, SHELL_FIELD(cac.bBlue), before, after},
    {"cac:bRed", Access::Float, SHELL_FIELD(cac.bRed), before, after},
    {"cac:cBlue", Access::Float, SHELL_FIELD(cac.cBlue), before, after},
    {"cac:centerHOffs", Access::Integer, SHELL_FIELD(cac.centerHOffs), before, after},
    {"cac:centerVOffs", Access::Integer, SHELL_FIELD(cac.centerVOffs), before, after},
    {"cac:cRed", Access::Float, SHELL_FIELD(cac.cRed), before, after},
    {"cbCrClassThreshold", Access::Integer, SHELL_FIELD(cbCrClassThreshold), before, after},
    {"cbCrMode", Access::Integer, SHELL_FIELD(cbCrMode), before, after},
    {"cbCrRange", Access::Integer, SHELL_FIELD(cbCrRange), before, after},
    {"clips", Access::Integer, SHELL_FIELD(clips), before, after},
    {"colorRangeMode", Access::Integer, SHELL_FIELD(colorRangeMode), before, after},
    {"colorStrength", Access::Integer, SHELL_FIELD(colorStrength), before, after},
    {"cornerLowTh", Access::Integer, SHELL_FIELD(cornerLowTh), before, after},
    {"cornerShift", Access::Integer, SHELL_FIELD(cornerShift), before, after},
    {"deBurstMode", Access::Integer, SHELL_FIELD(deBurstMode), before, after},
    {"isDecline", Access::Bool, SHELL_FIELD(isDecline), before, after},
    {"isDeFalseColor", Access::Bool, SHELL_FIELD(isDeFalseColor), before, after},
    {"isDeMoireRefineGreen", Access::Bool, SHELL_FIELD(isDeMoireRefineGreen), before, after},
    {"deNoiseStrength", Access::Integer, SHELL_FIELD(deNoiseStrength), before, after},
    {"isDePurple", Access::Bool, SHELL_FIELD(isDePurple), before, after},
    {"diffColorCoefficient", Access::Integer, SHELL_FIELD(diffColorCoefficient), before, after},
    {"dir0InterpType", Access::Integer, SHELL_FIELD(dir0InterpType), before, after},
    {"factors", Access::Integer, SHELL_FIELD(factors), before, after},
    {"gradControl", Access::Integer, SHELL_FIELD(gradControl), before, after},
    {"gradThresholdMax", Access::Integer, SHELL_FIELD(gradThresholdMax), before, after},
    {"gradThresholdMin", Access::Integer, SHELL_FIELD(gradThresholdMin), before, after},
    {"grayProtectStrength", Access::Integer, SHELL_FIELD(grayProtectStrength), before, after},
    {"highlightControlShift", Access::Integer, SHELL_FIELD(highlightControlShift), before, after},
    {"highlightControlThreshold", Access::Integer, SHELL_FIELD(highlightControlThreshold), before,
     after},
    {"isInterpCorner", Access::Bool, SHELL_FIELD(isInterpCorner), before, after},
    {"interpDirStrength", Access::Integer, SHELL_FIELD(interpDirStrength), before, after},
    {"interpLargeStr", Access::Integer, SHELL_FIELD(interpLargeStr), before, after},
    {"isOverrideCalibration", Access::Bool, SHELL_FIELD(isOverrideCalibration), before, after},
    {"protectShift", Access::Integer, SHELL_FIELD(protectShift), before, after},
    {"protectThresholdLow", Access::Integer, SHELL_FIELD(protectThresholdLow), before, after},
    {"pureGreenWeight", Access::Integer, SHELL_FIELD(pureGreenWeight), before, after},
    {"pureGreenWeightIso", Access::Integer, SHELL_FIELD(pureGreenWeightIso), before, after},
    {"pureRedBlueWeight", Access::Integer, SHELL_FIELD(pureRedBlueWeight), before, after},
    {"pureRedBlueWeightIso", Access::Integer, SHELL_FIELD(pureRedBlueWeightIso), before, after},
    {"refineGreenThreshold", Access::Integer, SHELL_FIELD(refineGreenThreshold), before, after},
    {"isSharpen", Access::Bool, SHELL_FIELD(isSharpen), before, after},
    tshell::indexKey(
        kCurve,
        {"sharpenCurveIndex", Access::Integer, SHELL_FIELD(sharpenCurveIndex), before, after},
        false),
    curveKey("sharpenCurve:layerT1", SHELL_FIELD_OF(Curve, layerT1)),
    curveKey("sharpenCurve:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift)),
    curveKey("sharpenCurve:layer0T3", SHELL_FIELD_OF(Curve, layer0T3)),
    curveKey("sharpenCurve:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift)),
    curveKey("sharpenCurve:layerR1", SHELL_FIELD_OF(Curve, layerR1)),
    curveKey("sharpenCurve:layerR2", SHELL_FIELD_OF(Curve, layerR2)),
    curveKey("sharpenCurve:layerR3", SHELL_FIELD_OF(Curve, layerR3)),
    {"isSharpenLine", Access::Bool, SHELL_FIELD(isSharpenLine), before, after},
    tshell::indexKey(kLineCurve,
                     {"sharpenLineCurveIndex", Access::Integer, SHELL_FIELD(sharpenLineCurveIndex),
                      before, after},
                     false),
    lineCurveKey("sharpenLineCurve:r1", SHELL_FIELD_OF(LineCurve, r1)),
    lineCurveKey("sharpenLineCurve:r2", SHELL_FIELD_OF(LineCurve, r2)),
    lineCurveKey("sharpenLineCurve:shift1", SHELL_FIELD_OF(LineCurve, shift1)),
    lineCurveKey("sharpenLineCurve:strength", SHELL_FIELD_OF(LineCurve, strength)),
    lineCurveKey("sharpenLineCurve:t1", SHELL_FIELD_OF(LineCurve, t1)),
    {"saturationShrink", Access::Integer, SHELL_FIELD(saturationShrink), before, after},
    {"threshold", Access::Integer, SHELL_FIELD(threshold), before, after},
};

constexpr tshell::About kAbout = {"Demosaic", nullptr};

}  // namespace

SHELL_CATEGORY(TShellDeMosaic_3_process, "DMSC_3", kKeys, kAbout);
