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

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after});
}

// dciEnable is a switch and stored as 0 or 1; the other enables keep the integer a client
// writes, cut to a byte.
constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    inRow(":anchor1", Access::Float, SHELL_FIELD_OF(Row, anchor1)),
    inRow(":autoLevel", Access::Integer, SHELL_FIELD_OF(Row, autoLevel)),
    inRow(":caCurve", Access::Integer, SHELL_FIELD_OF(Row, caCurve)),
    inRow(":caEnable", Access::Integer, SHELL_FIELD_OF(Row, caEnable)),
    inRow(":dciCurve", Access::Integer, SHELL_FIELD_OF(Row, dciCurve)),
    inRow(":dciEnable", Access::Flag, SHELL_FIELD_OF(Row, dciEnable)),
    inRow(":depfCompLumaDiff", Access::Integer, SHELL_FIELD_OF(Row, depfCompLumaDiff)),
    inRow(":depfDetectLumaDiff", Access::Integer, SHELL_FIELD_OF(Row, depfDetectLumaDiff)),
    inRow(":depfDetectLumaTh", Access::Integer, SHELL_FIELD_OF(Row, depfDetectLumaTh)),
    inRow(":depfFixStr", Access::Integer, SHELL_FIELD_OF(Row, depfFixStr)),
    inRow(":depfLimit", Access::Integer, SHELL_FIELD_OF(Row, depfLimit)),
    inRow(":depfSatStr", Access::Integer, SHELL_FIELD_OF(Row, depfSatStr)),
    inRow(":depurpleEn", Access::Integer, SHELL_FIELD_OF(Row, depurpleEn)),
    inRow(":detailLvl", Access::Integer, SHELL_FIELD_OF(Row, detailLvl)),
    inRow(":detailPreEnhanceStr", Access::Integer, SHELL_FIELD_OF(Row, detailPreEnhanceStr)),
    inRow(":edgeNrLvl", Access::Integer, SHELL_FIELD_OF(Row, edgeNrLvl)),
    inRow(":eeEnable", Access::Integer, SHELL_FIELD_OF(Row, eeEnable)),
    inRow(":eeSrcStrength", Access::Integer, SHELL_FIELD_OF(Row, eeSrcStrength)),
    inRow(":eeSrcStrengthSkin", Access::Integer, SHELL_FIELD_OF(Row, eeSrcStrengthSkin)),
    inRow(":eeStrength", Access::Integer, SHELL_FIELD_OF(Row, eeStrength)),
    inRow(":gradTh", Access::Integer, SHELL_FIELD_OF(Row, gradTh)),
    inRow(":gradThSkin", Access::Integer, SHELL_FIELD_OF(Row, gradThSkin)),
    inRow(":hfMergeCurve", Access::Integer, SHELL_FIELD_OF(Row, hfMergeCurve)),
    inRow(":hfMergeCurveSkin", Access::Integer, SHELL_FIELD_OF(Row, hfMergeCurveSkin)),
    inRow(":sharpCurveLvl", Access::Integer, SHELL_FIELD_OF(Row, sharpCurveLvl)),
    inRow(":sharpGain", Access::Integer, SHELL_FIELD_OF(Row, sharpGain)),
    inRow(":sharpGainSkin", Access::Integer, SHELL_FIELD_OF(Row, sharpGainSkin)),
    inRow(":sharpGainUv", Access::Integer, SHELL_FIELD_OF(Row, sharpGainUv)),
    inRow(":sharpLimit", Access::Integer, SHELL_FIELD_OF(Row, sharpLimit)),
    inRow(":sharpLimitSkin", Access::Integer, SHELL_FIELD_OF(Row, sharpLimitSkin)),
    inRow(":sharpSkinCurveLvl", Access::Integer, SHELL_FIELD_OF(Row, sharpSkinCurveLvl)),
    inRow(":skinDetectStr", Access::Integer, SHELL_FIELD_OF(Row, skinDetectStr)),
    inRow(":skinProcEn", Access::Integer, SHELL_FIELD_OF(Row, skinProcEn)),
    inRow(":skinThreshold", Access::Integer, SHELL_FIELD_OF(Row, skinThreshold)),
};

constexpr tshell::About kAbout = {"Edge enhancement per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoEdgeEnhance_3_process, "AEE_3", kKeys, kAbout);
