// "WDR_5_2_1": wide dynamic range by local tone mapping. The widths are the hardware's:
// "lowStrength" is 16 bits wide, "highStrength" and "strength" only 8.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseWideDynamicRange_5_2_1;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverWideDynamicRange_5_2_1_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverWideDynamicRange_5_2_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"contrast", Access::Integer, SHELL_FIELD(contrast), before, after},
    {"curve2HiFactor", Access::Float, SHELL_FIELD(curve2HiFactor), before, after},
    {"curve2LoFactor", Access::Float, SHELL_FIELD(curve2LoFactor), before, after},
    {"curve2LoSat", Access::Float, SHELL_FIELD(curve2LoSat), before, after},
    {"curve2Thr", Access::Float, SHELL_FIELD(curve2Thr), before, after},
    {"dampAvgCoef", Access::Integer, SHELL_FIELD(dampAvgCoef), before, after},
    {"dampAvgMax", Access::Integer, SHELL_FIELD(dampAvgMax), before, after},
    {"dampAvgMin", Access::Integer, SHELL_FIELD(dampAvgMin), before, after},
    {"dampCoefDecLimit", Access::Integer, SHELL_FIELD(dampCoefDecLimit), before, after},
    {"dampCoefIncLimit", Access::Integer, SHELL_FIELD(dampCoefIncLimit), before, after},
    {"dampCurveCoef", Access::Integer, SHELL_FIELD(dampCurveCoef), before, after},
    {"dampCurveMax", Access::Integer, SHELL_FIELD(dampCurveMax), before, after},
    {"dampCurveMin", Access::Integer, SHELL_FIELD(dampCurveMin), before, after},
    {"dampFilterSize", Access::Integer, SHELL_FIELD(dampFilterSize), before, after},
    {"dampHiThrLog", Access::Float, SHELL_FIELD(dampHiThrLog), before, after},
    {"dampLoThrLog", Access::Float, SHELL_FIELD(dampLoThrLog), before, after},
    {"dampMode", Access::Integer, SHELL_FIELD(dampMode), before, after},
    {"darkAttentionLevel", Access::Integer, SHELL_FIELD(darkAttentionLevel), before, after},
    {"deGamma", Access::Float, SHELL_FIELD(deGamma), before, after},
    {"diffHigh", Access::Float, SHELL_FIELD(diffHigh), before, after},
    {"diffLow", Access::Float, SHELL_FIELD(diffLow), before, after},
    {"entropyBase", Access::Integer, SHELL_FIELD(entropyBase), before, after},
    {"entropyEnable", Access::Bool, SHELL_FIELD(entropyEnable), before, after},
    {"entropySlope", Access::Integer, SHELL_FIELD(entropySlope), before, after},
    {"fixedWeight", Access::Integer, SHELL_FIELD(fixedWeight), before, after},
    {"flatLevel", Access::Integer, SHELL_FIELD(flatLevel), before, after},
    {"flatLevelGlobal", Access::Integer, SHELL_FIELD(flatLevelGlobal), before, after},
    {"flatLevelInc", Access::Integer, SHELL_FIELD(flatLevelInc), before, after},
    {"flatMode", Access::Bool, SHELL_FIELD(flatMode), before, after},
    {"highStrength", Access::Integer, SHELL_FIELD(highStrength), before, after},
    {"hlcBaseLog", Access::Float, SHELL_FIELD(hlcBaseLog), before, after},
    {"hlcSlope", Access::Integer, SHELL_FIELD(hlcSlope), before, after},
    {"lightBlueThrLog", Access::Float, SHELL_FIELD(lightBlueThrLog), before, after},
    {"lightCyanThrLog", Access::Float, SHELL_FIELD(lightCyanThrLog), before, after},
    {"lightEn", Access::Bool, SHELL_FIELD(lightEn), before, after},
    {"lightGreenThrLog", Access::Float, SHELL_FIELD(lightGreenThrLog), before, after},
    {"lightMagentaThrLog", Access::Float, SHELL_FIELD(lightMagentaThrLog), before, after},
    {"lightRedThrLog", Access::Float, SHELL_FIELD(lightRedThrLog), before, after},
    {"lightSatHiThr", Access::Integer, SHELL_FIELD(lightSatHiThr), before, after},
    {"lightSatLoThr", Access::Integer, SHELL_FIELD(lightSatLoThr), before, after},
    {"lightYellowThrLog", Access::Float, SHELL_FIELD(lightYellowThrLog), before, after},
    {"logAnchorSlope", Access::Integer, SHELL_FIELD(logAnchorSlope), before, after},
    {"logAnchorXLog", Access::Float, SHELL_FIELD(logAnchorXLog), before, after},
    {"logWeight", Access::Integer, SHELL_FIELD(logWeight), before, after},
    {"lowStrength", Access::Integer, SHELL_FIELD(lowStrength), before, after},
    {"maxGain", Access::Integer, SHELL_FIELD(maxGain), before, after},
    {"minGain", Access::Integer, SHELL_FIELD(minGain), before, after},
    {"ratioActual", Access::Float, SHELL_FIELD(ratioActual), before, after},
    {"satRange", Access::Float, SHELL_FIELD(satRange), before, after},
    {"satThrGainDown", Access::Integer, SHELL_FIELD(satThrGainDown), before, after},
    {"satThrGainUp", Access::Integer, SHELL_FIELD(satThrGainUp), before, after},
    {"strength", Access::Integer, SHELL_FIELD(strength), before, after},
    {"wdrColorWeight", Access::Integer, SHELL_FIELD(wdrColorWeight), before, after},
    {"wdrCurveSelect", Access::Integer, SHELL_FIELD(wdrCurveSelect), before, after},
    {"wdrLightnessWeight", Access::Integer, SHELL_FIELD(wdrLightnessWeight), before, after},
    {"wdrLumaThr", Access::Integer, SHELL_FIELD(wdrLumaThr), before, after},
    {"wdrRgbCoef", Access::Integer, SHELL_FIELD(wdrRgbCoef), before, after},
};

constexpr tshell::About kAbout = {"Wide dynamic range", nullptr};

}  // namespace

SHELL_CATEGORY(TShellWideDynamicRange_5_2_1_process, "WDR_5_2_1", kKeys, kAbout);
