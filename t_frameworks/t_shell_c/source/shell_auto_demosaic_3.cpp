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

constexpr KeyRow gainKey(const char *key, Access access, tshell::FieldRef field) {
  return {key, access, field, nullptr, after};
}

constexpr KeyRow indexOf(const tshell::Selection &curve) {
  return tshell::indexKey(curve, {curve.indexKey, Access::Integer, curve.index, nullptr, after});
}

constexpr KeyRow inCurve(const tshell::Selection &curve, const char *key, tshell::FieldRef field) {
  return tshell::inEntry(curve, {key, Access::Integer, field, nullptr, after});
}

constexpr KeyRow kKeys[] = {
    gainKey("autoLevel", Access::Integer, SHELL_FIELD(autoLevel)),
    gainKey(":gains", Access::Float, SHELL_FIELD(gains)),
    gainKey(":interpDirStrength", Access::Integer, SHELL_FIELD(interpDirStrength)),
    gainKey(":interpLargeStr", Access::Integer, SHELL_FIELD(interpLargeStr)),
    gainKey(":declineEn", Access::Bool, SHELL_FIELD(declineEn)),
    gainKey(":highlightTh", Access::Integer, SHELL_FIELD(highlightTh)),
    gainKey(":dmscDepurpleEnable", Access::Bool, SHELL_FIELD(dmscDepurpleEnable)),
    gainKey(":dmscDepurpleThr", Access::Integer, SHELL_FIELD(dmscDepurpleThr)),
    gainKey(":dmscDepurpleSatShrink", Access::Integer, SHELL_FIELD(dmscDepurpleSatShrink)),
    gainKey(":dmscDepurpleCbCrRange", Access::Integer, SHELL_FIELD(dmscDepurpleCbCrRange)),
    gainKey(":denoiseStrength", Access::Integer, SHELL_FIELD(denoiseStrength)),
    gainKey(":dmscSharpenEnable", Access::Bool, SHELL_FIELD(dmscSharpenEnable)),
    gainKey(":dmscSharpenFactor", Access::Integer, SHELL_FIELD(dmscSharpenFactor)),
    gainKey(":dmscSharpenClip", Access::Integer, SHELL_FIELD(dmscSharpenClip)),
    indexOf(kCurve0),
    inCurve(kCurve0, "sharpenCurve0:layerT1", SHELL_FIELD_OF(Curve, layerT1)),
    inCurve(kCurve0, "sharpenCurve0:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift)),
    inCurve(kCurve0, "sharpenCurve0:layer0T3", SHELL_FIELD_OF(Curve, layer0T3)),
    inCurve(kCurve0, "sharpenCurve0:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift)),
    inCurve(kCurve0, "sharpenCurve0:layerR1", SHELL_FIELD_OF(Curve, layerR1)),
    inCurve(kCurve0, "sharpenCurve0:layerR2", SHELL_FIELD_OF(Curve, layerR2)),
    inCurve(kCurve0, "sharpenCurve0:layerR3", SHELL_FIELD_OF(Curve, layerR3)),
    indexOf(kCurve1),
    inCurve(kCurve1, "sharpenCurve1:layerT1", SHELL_FIELD_OF(Curve, layerT1)),
    inCurve(kCurve1, "sharpenCurve1:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift)),
    inCurve(kCurve1, "sharpenCurve1:layer0T3", SHELL_FIELD_OF(Curve, layer0T3)),
    inCurve(kCurve1, "sharpenCurve1:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift)),
    inCurve(kCurve1, "sharpenCurve1:layerR1", SHELL_FIELD_OF(Curve, layerR1)),
    inCurve(kCurve1, "sharpenCurve1:layerR2", SHELL_FIELD_OF(Curve, layerR2)),
    inCurve(kCurve1, "sharpenCurve1:layerR3", SHELL_FIELD_OF(Curve, layerR3)),
    indexOf(kCurve2),
    inCurve(kCurve2, "sharpenCurve2:layerT1", SHELL_FIELD_OF(Curve, layerT1)),
    inCurve(kCurve2, "sharpenCurve2:layerT2Shift", SHELL_FIELD_OF(Curve, layerT2Shift)),
    inCurve(kCurve2, "sharpenCurve2:layer0T3", SHELL_FIELD_OF(Curve, layer0T3)),
    inCurve(kCurve2, "sharpenCurve2:layerT4Shift", SHELL_FIELD_OF(Curve, layerT4Shift)),
    inCurve(kCurve2, "sharpenCurve2:layerR1", SHELL_FIELD_OF(Curve, layerR1)),
    inCurve(kCurve2, "sharpenCurve2:layerR2", SHELL_FIELD_OF(Curve, layerR2)),
    inCurve(kCurve2, "sharpenCurve2:layerR3", SHELL_FIELD_OF(Curve, layerR3)),
};

constexpr tshell::About kAbout = {"Demosaic per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoDeMosaic_3_process, "ADMSC_3", kKeys, kAbout);
