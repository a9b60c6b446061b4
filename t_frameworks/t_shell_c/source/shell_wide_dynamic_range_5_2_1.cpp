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
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"contrast", Access::Integer, SHELL_FIELD(contrast), before, after,
     "Local contrast: scales a pixel's detail about its local mean, 512 = 1.0 (512 as shipped)."},
    {"curve2HiFactor", Access::Float, SHELL_FIELD(curve2HiFactor), before, after,
     "Curve 1 (wdrCurveSelect 1): factor on the lift above the local mean curve2Thr (1.0 as "
     "shipped)."},
    {"curve2LoFactor", Access::Float, SHELL_FIELD(curve2LoFactor), before, after,
     "Curve 1 (wdrCurveSelect 1): factor on the lift below the local mean curve2Thr (1.0 as "
     "shipped)."},
    {"curve2LoSat", Access::Float, SHELL_FIELD(curve2LoSat), before, after,
     "Curve 1 (wdrCurveSelect 1): fraction of the gain that the chroma of lifted shadows follows, "
     "0 to 1 (0.5 as shipped)."},
    {"curve2Thr", Access::Float, SHELL_FIELD(curve2Thr), before, after,
     "Curve 1 (wdrCurveSelect 1): local mean luma, 0 to 1 of full scale, that divides "
     "curve2LoFactor from curve2HiFactor (0.5 as shipped)."},
    {"dampAvgCoef", Access::Integer, SHELL_FIELD(dampAvgCoef), before, after,
     "Damping of the tone curve between frames: filter coefficient of the frame's average (16 as "
     "shipped)."},
    {"dampAvgMax", Access::Integer, SHELL_FIELD(dampAvgMax), before, after,
     "Damping of the tone curve between frames: upper limit of the average's damping (240 as "
     "shipped)."},
    {"dampAvgMin", Access::Integer, SHELL_FIELD(dampAvgMin), before, after,
     "Damping of the tone curve between frames: lower limit of the average's damping (16 as "
     "shipped)."},
    {"dampCoefDecLimit", Access::Integer, SHELL_FIELD(dampCoefDecLimit), before, after,
     "Damping of the tone curve between frames: largest decrease of the damping coefficient per "
     "frame (8 as shipped)."},
    {"dampCoefIncLimit", Access::Integer, SHELL_FIELD(dampCoefIncLimit), before, after,
     "Damping of the tone curve between frames: largest increase of the damping coefficient per "
     "frame (8 as shipped)."},
    {"dampCurveCoef", Access::Integer, SHELL_FIELD(dampCurveCoef), before, after,
     "Damping of the tone curve between frames: filter coefficient of the curve (32 as shipped)."},
    {"dampCurveMax", Access::Integer, SHELL_FIELD(dampCurveMax), before, after,
     "Damping of the tone curve between frames: upper limit of the curve's damping (240 as "
     "shipped)."},
    {"dampCurveMin", Access::Integer, SHELL_FIELD(dampCurveMin), before, after,
     "Damping of the tone curve between frames: lower limit of the curve's damping (16 as "
     "shipped)."},
    {"dampFilterSize", Access::Integer, SHELL_FIELD(dampFilterSize), before, after,
     "Damping of the tone curve between frames: length of the damping filter in frames (4 as "
     "shipped)."},
    {"dampHiThrLog", Access::Float, SHELL_FIELD(dampHiThrLog), before, after,
     "Damping of the tone curve between frames: upper log2 level of the damping range (12 as "
     "shipped)."},
    {"dampLoThrLog", Access::Float, SHELL_FIELD(dampLoThrLog), before, after,
     "Damping of the tone curve between frames: lower log2 level of the damping range (4 as "
     "shipped)."},
    {"dampMode", Access::Integer, SHELL_FIELD(dampMode), before, after,
     "Damping of the tone curve between frames: mode, as the chip codes it (1 as shipped)."},
    {"darkAttentionLevel", Access::Integer, SHELL_FIELD(darkAttentionLevel), before, after,
     "8-bit luma up to which the gain fades in from 1, so the noise floor near black is not lifted "
     "(32 as shipped)."},
    {"deGamma", Access::Float, SHELL_FIELD(deGamma), before, after,
     "Exponent that turns the encoded luma into linear light for the highlight compression (2.2 as "
     "shipped)."},
    {"diffHigh", Access::Float, SHELL_FIELD(diffHigh), before, after,
     "Halo suppression: difference between a pixel and its local mean (full scale 1) at which its "
     "gain follows its own level entirely (0.25 as shipped)."},
    {"diffLow", Access::Float, SHELL_FIELD(diffLow), before, after,
     "Halo suppression: difference between a pixel and its local mean (full scale 1) from which "
     "its gain starts to follow its own level rather than its block's (0.05 as shipped)."},
    {"entropyBase", Access::Integer, SHELL_FIELD(entropyBase), before, after,
     "Entropy-adaptive strength: base of the factor (entropyBase + entropySlope x (8 - H)) / 1024 "
     "on the curve strength, H the entropy of the frame's luma histogram in bits (512 as "
     "shipped)."},
    {"entropyEnable", Access::Bool, SHELL_FIELD(entropyEnable), before, after,
     "Scales the curve strength by the frame's luma entropy: a frame whose tones crowd into few "
     "levels gets a stronger curve (true as shipped)."},
    {"entropySlope", Access::Integer, SHELL_FIELD(entropySlope), before, after,
     "Entropy-adaptive strength: how much each bit of entropy below 8 adds, in 1/1024 (128 as "
     "shipped)."},
    {"fixedWeight", Access::Integer, SHELL_FIELD(fixedWeight), before, after,
     "Pulls the curve's input from the local mean towards the frame's mean, of 256 (64 as "
     "shipped); 256 gives one global curve."},
    {"flatLevel", Access::Integer, SHELL_FIELD(flatLevel), before, after,
     "Flat areas: activity level in 8-bit steps (mean step between neighbouring pixels of a block) "
     "below which a block counts as flat, in four classes (8 as shipped)."},
    {"flatLevelGlobal", Access::Integer, SHELL_FIELD(flatLevelGlobal), before, after,
     "Flat areas with flatMode on: level the frame's mean activity is compared with, 8-bit steps "
     "(4 as shipped)."},
    {"flatLevelInc", Access::Integer, SHELL_FIELD(flatLevelInc), before, after,
     "Flat areas: extra gain, 4 rows (flatness class 0 to 3, 3 the flattest) of 17 bins over the "
     "curve input, 256 = a gain of 1.0 more (most in the mid-tones as shipped)."},
    {"flatMode", Access::Bool, SHELL_FIELD(flatMode), before, after,
     "false: each block's own activity against flatLevel (as shipped); true: the frame's mean "
     "activity against flatLevelGlobal, for every block."},
    {"highStrength", Access::Integer, SHELL_FIELD(highStrength), before, after,
     "Strength of the highlight compression, 0 to 255 (128 as shipped)."},
    {"hlcBaseLog", Access::Float, SHELL_FIELD(hlcBaseLog), before, after,
     "Highlight compression starts above the linear level 2^hlcBaseLog (log2 of 12-bit codes x "
     "ratioActual; 14 as shipped)."},
    {"hlcSlope", Access::Integer, SHELL_FIELD(hlcSlope), before, after,
     "Slope of the highlight compression in 1/32 (32 as shipped): the gain falls as 1 / (1 + "
     "highStrength/255 x hlcSlope/32 x the distance above hlcBaseLog)."},
    {"lightBlueThrLog", Access::Float, SHELL_FIELD(lightBlueThrLog), before, after,
     "Coloured-light protection (lightEn): four log2 levels (12-bit codes, as hlcBaseLog) of the "
     "brightest channel at which a blue pixel counts as a lamp with weight 0, 1/3, 2/3 and 1 (5, "
     "7, 9, 11 as shipped)."},
    {"lightCyanThrLog", Access::Float, SHELL_FIELD(lightCyanThrLog), before, after,
     "Coloured-light protection (lightEn): four log2 levels (12-bit codes, as hlcBaseLog) of the "
     "brightest channel at which a cyan pixel counts as a lamp with weight 0, 1/3, 2/3 and 1 (5.5, "
     "7.5, 9.5, 11.5 as shipped)."},
    {"lightEn", Access::Bool, SHELL_FIELD(lightEn), before, after,
     "Coloured-light protection: a saturated, bright pixel is taken for a coloured lamp, its gain "
     "held so it does not clip towards white and its chroma exempt from the saturation control "
     "(false as shipped)."},
    {"lightGreenThrLog", Access::Float, SHELL_FIELD(lightGreenThrLog), before, after,
     "Coloured-light protection (lightEn): four log2 levels (12-bit codes, as hlcBaseLog) of the "
     "brightest channel at which a green pixel counts as a lamp with weight 0, 1/3, 2/3 and 1 (6, "
     "8, 10, 12 as shipped)."},
    {"lightMagentaThrLog", Access::Float, SHELL_FIELD(lightMagentaThrLog), before, after,
     "Coloured-light protection (lightEn): four log2 levels (12-bit codes, as hlcBaseLog) of the "
     "brightest channel at which a magenta pixel counts as a lamp with weight 0, 1/3, 2/3 and 1 "
     "(5.5, 7.5, 9.5, 11.5 as shipped)."},
    {"lightRedThrLog", Access::Float, SHELL_FIELD(lightRedThrLog), before, after,
     "Coloured-light protection (lightEn): four log2 levels (12-bit codes, as hlcBaseLog) of the "
     "brightest channel at which a red pixel counts as a lamp with weight 0, 1/3, 2/3 and 1 (6, 8, "
     "10, 12 as shipped)."},
    {"lightSatHiThr", Access::Integer, SHELL_FIELD(lightSatHiThr), before, after,
     "Coloured-light protection: saturation (max - min over max, of 255) at which a pixel counts "
     "fully as coloured (200 as shipped)."},
    {"lightSatLoThr", Access::Integer, SHELL_FIELD(lightSatLoThr), before, after,
     "Coloured-light protection: saturation (max - min over max, of 255) from which a pixel starts "
     "to count as coloured (64 as shipped)."},
    {"lightYellowThrLog", Access::Float, SHELL_FIELD(lightYellowThrLog), before, after,
     "Coloured-light protection (lightEn): four log2 levels (12-bit codes, as hlcBaseLog) of the "
     "brightest channel at which a yellow pixel counts as a lamp with weight 0, 1/3, 2/3 and 1 "
     "(6.5, 8.5, 10.5, 12.5 as shipped)."},
    {"logAnchorSlope", Access::Integer, SHELL_FIELD(logAnchorSlope), before, after,
     "Slope of the log-domain curve at its anchor (256 as shipped)."},
    {"logAnchorXLog", Access::Float, SHELL_FIELD(logAnchorXLog), before, after,
     "Anchor of the log-domain curve, as a log2 level (8 as shipped)."},
    {"logWeight", Access::Integer, SHELL_FIELD(logWeight), before, after,
     "Weight of the log-domain curve, of 256 (128 as shipped)."},
    {"lowStrength", Access::Integer, SHELL_FIELD(lowStrength), before, after,
     "Shadow lift strength in 1/256 (256 as shipped); the curve exponent is 1 / (1 + strength/255 "
     "x lowStrength/256)."},
    {"maxGain", Access::Integer, SHELL_FIELD(maxGain), before, after,
     "Largest gain in 1/256 (1024 as shipped: 4.0)."},
    {"minGain", Access::Integer, SHELL_FIELD(minGain), before, after,
     "Smallest gain in 1/256 (256 as shipped: 1.0, never darkens)."},
    {"ratioActual", Access::Float, SHELL_FIELD(ratioActual), before, after,
     "Exposure ratio of merged HDR frames, which scales the highlight compression level (16 as "
     "shipped)."},
    {"satRange", Access::Float, SHELL_FIELD(satRange), before, after,
     "Saturation control: fraction of the gain the chroma follows from satThrGainDown/64 on, 0 to "
     "1 (0.8 as shipped)."},
    {"satThrGainDown", Access::Integer, SHELL_FIELD(satThrGainDown), before, after,
     "Saturation control: gain in 1/64 from which the chroma follows only satRange of the gain "
     "(160 as shipped: 2.5)."},
    {"satThrGainUp", Access::Integer, SHELL_FIELD(satThrGainUp), before, after,
     "Saturation control: gain in 1/64 above which the chroma starts to follow the gain less (96 "
     "as shipped: 1.5)."},
    {"strength", Access::Integer, SHELL_FIELD(strength), before, after,
     "Overall strength of the tone curve, 0 to 255 (128 as shipped); 0 lifts no shadows."},
    {"wdrColorWeight", Access::Integer, SHELL_FIELD(wdrColorWeight), before, after,
     "Colour weights of the luma the chip's curve follows, R, G, B (16 each as shipped)."},
    {"wdrCurveSelect", Access::Integer, SHELL_FIELD(wdrCurveSelect), before, after,
     "Tone curve: 0 the power curve (as shipped); 1 the same with its lift scaled by "
     "curve2LoFactor/curve2HiFactor and shadow chroma by curve2LoSat."},
    {"wdrLightnessWeight", Access::Integer, SHELL_FIELD(wdrLightnessWeight), before, after,
     "Moves the luma towards the brightest of R, G and B, of 256 (128 as shipped), so saturated "
     "colours are lifted less and do not clip in one channel."},
    {"wdrLumaThr", Access::Integer, SHELL_FIELD(wdrLumaThr), before, after,
     "Luma threshold of the chip's curve, 8 bits (64 as shipped)."},
    {"wdrRgbCoef", Access::Integer, SHELL_FIELD(wdrRgbCoef), before, after,
     "Weights of R, G and B in the luma, of 256 (77, 150, 29 as shipped: BT.601)."},
};

constexpr tshell::About kAbout = {
    "Wide dynamic range",
    "Wide dynamic range by local tone mapping: a gain that follows the local mean luma lifts "
    "shadows and compresses highlights without flattening the detail inside them, with halo "
    "suppression, saturation control, extra lift for flat areas and protection of coloured lamps. "
    "In the simulated camera it works on the encoded picture, block by block (about 1/16 of the "
    "shorter side), and multiplies R, G and B by the gain so the hue stays."};

}  // namespace

SHELL_CATEGORY(TShellWideDynamicRange_5_2_1_process, "WDR_5_2_1", kKeys, kAbout);
