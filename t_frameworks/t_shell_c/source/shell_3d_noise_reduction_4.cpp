// "3DNR_4": temporal noise reduction, with its noise model in double precision.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabase3DNoiseReduction_4;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriver3DNoiseReduction_4_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver3DNoiseReduction_4_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"blsExp", Access::Integer, SHELL_FIELD(blsExp), before, after},
    {"dilateH", Access::Integer, SHELL_FIELD(dilateH), before, after},
    {"diffType", Access::Integer, SHELL_FIELD(diffType), before, after},
    {"filterLen", Access::Integer, SHELL_FIELD(filterLen), before, after},
    {"filterLen2", Access::Integer, SHELL_FIELD(filterLen2), before, after},
    {"fixCurveStart", Access::Integer, SHELL_FIELD(fixCurveStart), before, after},
    {"isGammaFeBe", Access::Bool, SHELL_FIELD(isGammaFeBe), before, after},
    {"isGaussBlur", Access::Bool, SHELL_FIELD(isGaussBlur), before, after},
    {"inputBits", Access::Integer, SHELL_FIELD(inputBits), before, after},
    {"isMotionDilate", Access::Bool, SHELL_FIELD(isMotionDilate), before, after},
    {"motionSmoothFactor", Access::Double, SHELL_FIELD(motionSmoothFactor), before, after},
    {"motionSmoothLevel", Access::Integer, SHELL_FIELD(motionSmoothLevel), before, after},
    {"noiseLevel", Access::Integer, SHELL_FIELD(noiseLevel), before, after},
    {"noiseModelA", Access::Double, SHELL_FIELD(noiseModelA), before, after},
    {"noiseModelB", Access::Double, SHELL_FIELD(noiseModelB), before, after},
    {"rangeH", Access::Integer, SHELL_FIELD(rangeH), before, after},
    {"sadWeight", Access::Integer, SHELL_FIELD(sadWeight), before, after},
    {"sqrDiffFactor", Access::Integer, SHELL_FIELD(sqrDiffFactor), before, after},
    {"thrMotionSlope", Access::Integer, SHELL_FIELD(thrMotionSlope), before, after},
    {"tnrLumaCurveX", Access::Integer, SHELL_FIELD(tnrLumaCurveX), before, after},
    {"tnrLumaCurveY", Access::Integer, SHELL_FIELD(tnrLumaCurveY), before, after},
    {"tnrMotionSlopeY", Access::Integer, SHELL_FIELD(tnrMotionSlopeY), before, after},
    {"tnrStrength", Access::Integer, SHELL_FIELD(tnrStrength), before, after},
    {"tnrStrength2", Access::Integer, SHELL_FIELD(tnrStrength2), before, after},
    {"vstFactor", Access::Double, SHELL_FIELD(vstFactor), before, after},
};

constexpr tshell::About kAbout = {"Temporal noise reduction", nullptr};

}  // namespace

SHELL_CATEGORY(TShell3DNoiseReduction_4_process, "3DNR_4", kKeys, kAbout);
