// "2DNR_6": spatial noise reduction. Each curve travels as three independent arrays (Px, X,
// Y); nothing here checks that they agree, the hardware interpolates what it is given.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabase2DNoiseReduction_6;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriver2DNoiseReduction_6_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver2DNoiseReduction_6_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"blendMotion", Access::Float, SHELL_FIELD(blendMotion), before, after},
    {"blendSlope", Access::Float, SHELL_FIELD(blendSlope), before, after},
    {"blendStatic", Access::Float, SHELL_FIELD(blendStatic), before, after},
    {"lscCompCurvePx", Access::Integer, SHELL_FIELD(lscCompCurvePx), before, after},
    {"lscCompCurveX", Access::Integer, SHELL_FIELD(lscCompCurveX), before, after},
    {"lscCompCurveY", Access::Integer, SHELL_FIELD(lscCompCurveY), before, after},
    {"isLscGainComp", Access::Bool, SHELL_FIELD(isLscGainComp), before, after},
    {"isLumaCtrl", Access::Bool, SHELL_FIELD(isLumaCtrl), before, after},
    {"lumaCurvePx", Access::Integer, SHELL_FIELD(lumaCurvePx), before, after},
    {"lumaCurveX", Access::Integer, SHELL_FIELD(lumaCurveX), before, after},
    {"lumaCurveY", Access::Integer, SHELL_FIELD(lumaCurveY), before, after},
    {"motionAnchorX", Access::Integer, SHELL_FIELD(motionAnchorX), before, after},
    {"isMotionCtrl", Access::Bool, SHELL_FIELD(isMotionCtrl), before, after},
    {"motionFactorCurvePx", Access::Integer, SHELL_FIELD(motionFactorCurvePx), before, after},
    {"motionFactorCurveX", Access::Integer, SHELL_FIELD(motionFactorCurveX), before, after},
    {"motionFactorCurveY", Access::Integer, SHELL_FIELD(motionFactorCurveY), before, after},
    {"movingDetailBoost", Access::Float, SHELL_FIELD(movingDetailBoost), before, after},
    {"movingDetailBoostThresh", Access::Integer, SHELL_FIELD(movingDetailBoostThresh), before,
     after},
    {"movingDetailClipThresh", Access::Integer, SHELL_FIELD(movingDetailClipThresh), before, after},
    {"movingDetailThresh", Access::Integer, SHELL_FIELD(movingDetailThresh), before, after},
    {"sigmaFactorMotionMax", Access::Integer, SHELL_FIELD(sigmaFactorMotionMax), before, after},
    {"sigmaFactorMotionMin", Access::Integer, SHELL_FIELD(sigmaFactorMotionMin), before, after},
    {"sigmaFactorMul", Access::Float, SHELL_FIELD(sigmaFactorMul), before, after},
    {"sigmaOffset", Access::Integer, SHELL_FIELD(sigmaOffset), before, after},
    {"sigmaScale", Access::Float, SHELL_FIELD(sigmaScale), before, after},
    {"staticDetailBoost", Access::Float, SHELL_FIELD(staticDetailBoost), before, after},
    {"staticDetailBoostThresh", Access::Integer, SHELL_FIELD(staticDetailBoostThresh), before,
     after},
    {"staticDetailClipThresh", Access::Integer, SHELL_FIELD(staticDetailClipThresh), before, after},
    {"staticDetailThresh", Access::Integer, SHELL_FIELD(staticDetailThresh), before, after},
    {"staticFactor", Access::Float, SHELL_FIELD(staticFactor), before, after},
    {"vstFactor", Access::Float, SHELL_FIELD(vstFactor), before, after},
};

constexpr tshell::About kAbout = {"Spatial noise reduction", nullptr};

}  // namespace

SHELL_CATEGORY(TShell2DNoiseReduction_6_process, "2DNR_6", kKeys, kAbout);
