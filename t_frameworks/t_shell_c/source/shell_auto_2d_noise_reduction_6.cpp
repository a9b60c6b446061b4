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

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after});
}

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains)),
    inRow(":blendMotion", Access::Float, SHELL_FIELD_OF(Row, blendMotion)),
    inRow(":blendSlope", Access::Float, SHELL_FIELD_OF(Row, blendSlope)),
    inRow(":blendStatic", Access::Float, SHELL_FIELD_OF(Row, blendStatic)),
    inRow(":lscCompCurveY", Access::Integer, SHELL_FIELD_OF(Row, lscCompCurveY)),
    inRow(":lumaCurveY", Access::Integer, SHELL_FIELD_OF(Row, lumaCurveY)),
    inRow(":motionAnchorX", Access::Integer, SHELL_FIELD_OF(Row, motionAnchorX)),
    inRow(":motionFacCurveY", Access::Integer, SHELL_FIELD_OF(Row, motionFacCurveY)),
    inRow(":movingDetailBoostThresh", Access::Integer,
          SHELL_FIELD_OF(Row, movingDetailBoostThresh)),
    inRow(":movingDetailBoost", Access::Float, SHELL_FIELD_OF(Row, movingDetailBoost)),
    inRow(":movingDetailClipThresh", Access::Integer, SHELL_FIELD_OF(Row, movingDetailClipThresh)),
    inRow(":movingDetailThresh", Access::Integer, SHELL_FIELD_OF(Row, movingDetailThresh)),
    inRow(":sigmaFactorMotionMax", Access::Integer, SHELL_FIELD_OF(Row, sigmaFactorMotionMax)),
    inRow(":sigmaFactorMul", Access::Float, SHELL_FIELD_OF(Row, sigmaFactorMul)),
    inRow(":sigmaOffset", Access::Integer, SHELL_FIELD_OF(Row, sigmaOffset)),
    inRow(":sigmaScale", Access::Float, SHELL_FIELD_OF(Row, sigmaScale)),
    inRow(":staticDetailBoostThresh", Access::Integer,
          SHELL_FIELD_OF(Row, staticDetailBoostThresh)),
    inRow(":staticDetailBoost", Access::Float, SHELL_FIELD_OF(Row, staticDetailBoost)),
    inRow(":staticDetailClipThresh", Access::Integer, SHELL_FIELD_OF(Row, staticDetailClipThresh)),
    inRow(":staticDetailThresh", Access::Integer, SHELL_FIELD_OF(Row, staticDetailThresh)),
    inRow(":staticFactor", Access::Float, SHELL_FIELD_OF(Row, staticFactor)),
    inRow(":vstFactor", Access::Float, SHELL_FIELD_OF(Row, vstFactor)),
};

constexpr tshell::About kAbout = {"Spatial noise reduction per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAuto2DNoiseReduction_6_process, "A2DNR_6", kKeys, kAbout);
