// "EE_3": edge enhancement, with the chroma-adaptive ("ca") and dynamic-contrast ("dci")
// curves, de-purple-fringe ("depf") controls and the parameter set for skin ("...Skin").
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseEdgeEnhance_3;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverEdgeEnhance_3_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverEdgeEnhance_3_process, SHELL_SITE);
}

// Alphabetical, but "isStatistics" and "state" first, "deGamma" after "detailScaler" and
// the switches ("is...") as one group after "hfMergeCurveSkin".
constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"caCurve", Access::Integer, SHELL_FIELD(caCurve), before, after},
    {"caMode", Access::Integer, SHELL_FIELD(caMode), before, after},
    {"cbDownThreshold", Access::Integer, SHELL_FIELD(cbDownThreshold), before, after},
    {"cbUpThreshold", Access::Integer, SHELL_FIELD(cbUpThreshold), before, after},
    {"crDownThreshold", Access::Integer, SHELL_FIELD(crDownThreshold), before, after},
    {"crUpThreshold", Access::Integer, SHELL_FIELD(crUpThreshold), before, after},
    {"dciCurve", Access::Integer, SHELL_FIELD(dciCurve), before, after},
    {"depfCompLumaDiff", Access::Integer, SHELL_FIELD(depfCompLumaDiff), before, after},
    {"depfDetectLumaDiff", Access::Integer, SHELL_FIELD(depfDetectLumaDiff), before, after},
    {"depfDetectLumaTh", Access::Integer, SHELL_FIELD(depfDetectLumaTh), before, after},
    {"depfDetectRange", Access::Integer, SHELL_FIELD(depfDetectRange), before, after},
    {"depfFixStrength", Access::Integer, SHELL_FIELD(depfFixStrength), before, after},
    {"depfLimit", Access::Integer, SHELL_FIELD(depfLimit), before, after},
    {"depfSatStrength", Access::Integer, SHELL_FIELD(depfSatStrength), before, after},
    {"detailLevel", Access::Integer, SHELL_FIELD(detailLevel), before, after},
    {"detailPreEnhanceStrength", Access::Integer, SHELL_FIELD(detailPreEnhanceStrength), before,
     after},
    {"detailScaler", Access::Integer, SHELL_FIELD(detailScaler), before, after},
    {"deGamma", Access::Float, SHELL_FIELD(deGamma), before, after},
    {"edgeNrLevel", Access::Integer, SHELL_FIELD(edgeNrLevel), before, after},
    {"edgeScaler", Access::Integer, SHELL_FIELD(edgeScaler), before, after},
    {"edgeUseAuxiDir", Access::Integer, SHELL_FIELD(edgeUseAuxiDir), before, after},
    {"gradTh", Access::Integer, SHELL_FIELD(gradTh), before, after},
    {"gradThSkin", Access::Integer, SHELL_FIELD(gradThSkin), before, after},
    {"hfMergeCurve", Access::Integer, SHELL_FIELD(hfMergeCurve), before, after},
    {"hfMergeCurveSkin", Access::Integer, SHELL_FIELD(hfMergeCurveSkin), before, after},
    {"isCa", Access::Bool, SHELL_FIELD(isCa), before, after},
    {"isCurve", Access::Bool, SHELL_FIELD(isCurve), before, after},
    {"isDci", Access::Bool, SHELL_FIELD(isDci), before, after},
    {"isDePurple", Access::Bool, SHELL_FIELD(isDePurple), before, after},
    {"isSharpLimit", Access::Bool, SHELL_FIELD(isSharpLimit), before, after},
    {"isYuvDomain", Access::Bool, SHELL_FIELD(isYuvDomain), before, after},
    {"sharpCurveLevel", Access::Integer, SHELL_FIELD(sharpCurveLevel), before, after},
    {"sharpGain", Access::Integer, SHELL_FIELD(sharpGain), before, after},
    {"sharpGainSkin", Access::Integer, SHELL_FIELD(sharpGainSkin), before, after},
    {"sharpGainUv", Access::Integer, SHELL_FIELD(sharpGainUv), before, after},
    {"sharpLimit", Access::Integer, SHELL_FIELD(sharpLimit), before, after},
    {"sharpLimitSkin", Access::Integer, SHELL_FIELD(sharpLimitSkin), before, after},
    {"sharpLimitType", Access::Integer, SHELL_FIELD(sharpLimitType), before, after},
    {"sharpSkinCurveLevel", Access::Integer, SHELL_FIELD(sharpSkinCurveLevel), before, after},
    {"skinDetectStrength", Access::Integer, SHELL_FIELD(skinDetectStrength), before, after},
    {"skinProcessEn", Access::Integer, SHELL_FIELD(skinProcessEn), before, after},
    {"sourceStrength", Access::Integer, SHELL_FIELD(sourceStrength), before, after},
    {"sourceStrengthSkin", Access::Integer, SHELL_FIELD(sourceStrengthSkin), before, after},
    {"strength", Access::Integer, SHELL_FIELD(strength), before, after},
    {"yDownThreshold", Access::Integer, SHELL_FIELD(yDownThreshold), before, after},
    {"yUpThreshold", Access::Integer, SHELL_FIELD(yUpThreshold), before, after},
};

constexpr tshell::About kAbout = {"Edge enhancement", nullptr};

}  // namespace

SHELL_CATEGORY(TShellEdgeEnhance_3_process, "EE_3", kKeys, kAbout);
