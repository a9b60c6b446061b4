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
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"caCurve", Access::Integer, SHELL_FIELD(caCurve), before, after,
     "Chroma-adaptive gain, 65 points over chroma sizes 0 to 128 (8-bit steps), 256 = 1.0 (256 "
     "falling to 128 as shipped: saturated colours get half, against coloured halos). Used while "
     "isCa is on, inside the cb/cr window."},
    {"caMode", Access::Integer, SHELL_FIELD(caMode), before, after,
     "Chroma-adaptive mode, as the chip codes it (0 as shipped)."},
    {"cbDownThreshold", Access::Integer, SHELL_FIELD(cbDownThreshold), before, after,
     "Lower Cb bound of the chroma-adaptive window, signed 8-bit chroma steps (-64 as shipped)."},
    {"cbUpThreshold", Access::Integer, SHELL_FIELD(cbUpThreshold), before, after,
     "Upper Cb bound of the chroma-adaptive window, signed 8-bit chroma steps (64 as shipped)."},
    {"crDownThreshold", Access::Integer, SHELL_FIELD(crDownThreshold), before, after,
     "Lower Cr bound of the chroma-adaptive window, signed 8-bit chroma steps (-64 as shipped)."},
    {"crUpThreshold", Access::Integer, SHELL_FIELD(crUpThreshold), before, after,
     "Upper Cr bound of the chroma-adaptive window, signed 8-bit chroma steps (64 as shipped)."},
    {"dciCurve", Access::Integer, SHELL_FIELD(dciCurve), before, after,
     "Dynamic contrast curve: 65 output lumas in 10-bit steps for inputs 0, 16, 32, ... (straight "
     "line as shipped). Used while isDci is on."},
    {"depfCompLumaDiff", Access::Integer, SHELL_FIELD(depfCompLumaDiff), before, after,
     "Purple-fringe removal: further luma drop (10-bit steps) beyond depfDetectLumaDiff at which "
     "the correction reaches full weight (64 as shipped)."},
    {"depfDetectLumaDiff", Access::Integer, SHELL_FIELD(depfDetectLumaDiff), before, after,
     "Purple-fringe removal: how much darker than the bright edge, in 10-bit luma steps, a pixel "
     "must be to be corrected (128 as shipped)."},
    {"depfDetectLumaTh", Access::Integer, SHELL_FIELD(depfDetectLumaTh), before, after,
     "Purple-fringe removal: luma in 10-bit steps from which an edge counts as bright enough to "
     "cause fringes (768 as shipped: near-clipped edges)."},
    {"depfDetectRange", Access::Integer, SHELL_FIELD(depfDetectRange), before, after,
     "Purple-fringe removal: distance in pixels, at most 15, within which a bright edge is looked "
     "for (3 as shipped)."},
    {"depfFixStrength", Access::Integer, SHELL_FIELD(depfFixStrength), before, after,
     "Purple-fringe removal: share of the excess of R and of B over G taken away, in 1/256 (128 as "
     "shipped)."},
    {"depfLimit", Access::Integer, SHELL_FIELD(depfLimit), before, after,
     "Purple-fringe removal: largest change of a channel in 8-bit steps, for the four bands of the "
     "bright edge's luma from depfDetectLumaTh to full scale (32, 64, 96, 128 as shipped)."},
    {"depfSatStrength", Access::Integer, SHELL_FIELD(depfSatStrength), before, after,
     "Purple-fringe removal: how much a fringe pixel's chroma is lowered, in 1/256 (128 as "
     "shipped)."},
    {"detailLevel", Access::Integer, SHELL_FIELD(detailLevel), before, after,
     "Coring level of the fine detail band, 8 bits (16 as shipped)."},
    {"detailPreEnhanceStrength", Access::Integer, SHELL_FIELD(detailPreEnhanceStrength), before,
     after, "Strength of a pre-enhancement of fine detail, 8 bits (64 as shipped)."},
    {"detailScaler", Access::Integer, SHELL_FIELD(detailScaler), before, after,
     "Weight of the fine band (luma less its 3 x 3 blur), in 1/32 (32 as shipped)."},
    {"deGamma", Access::Float, SHELL_FIELD(deGamma), before, after,
     "Exponent that makes the luma linear while isYuvDomain is off (2.2 as shipped)."},
    {"edgeNrLevel", Access::Integer, SHELL_FIELD(edgeNrLevel), before, after,
     "Noise reduction level along edges, 8 bits (8 as shipped)."},
    {"edgeScaler", Access::Integer, SHELL_FIELD(edgeScaler), before, after,
     "Weight of the edge band (3 x 3 blur less 5 x 5 blur), in 1/32 (32 as shipped)."},
    {"edgeUseAuxiDir", Access::Integer, SHELL_FIELD(edgeUseAuxiDir), before, after,
     "Uses auxiliary edge directions, as the chip defines it (1 as shipped)."},
    {"gradTh", Access::Integer, SHELL_FIELD(gradTh), before, after,
     "Coring and curve range in 10-bit luma steps: band values below gradTh[0] are left alone, and "
     "hfMergeCurve spans gradTh[0] to gradTh[1] (16, 256 as shipped)."},
    {"gradThSkin", Access::Integer, SHELL_FIELD(gradThSkin), before, after,
     "As gradTh, for skin tones (24, 320 as shipped). Used on skin tones instead of the ordinary "
     "setting while skinProcessEn is on."},
    {"hfMergeCurve", Access::Integer, SHELL_FIELD(hfMergeCurve), before, after,
     "4 gains in 1/256 spread evenly from gradTh[0] to gradTh[1], joined by lines and held beyond "
     "(64, 128, 192, 256 as shipped). Used while isCurve is on."},
    {"hfMergeCurveSkin", Access::Integer, SHELL_FIELD(hfMergeCurveSkin), before, after,
     "As hfMergeCurve, for skin tones (32, 64, 128, 192 as shipped). Used on skin tones instead of "
     "the ordinary setting while skinProcessEn is on."},
    {"isCa", Access::Bool, SHELL_FIELD(isCa), before, after,
     "Chroma-adaptive sharpening: the gain follows caCurve over the pixel's chroma size inside the "
     "cb/cr window (true as shipped)."},
    {"isCurve", Access::Bool, SHELL_FIELD(isCurve), before, after,
     "Shapes the cored band by hfMergeCurve (true as shipped)."},
    {"isDci", Access::Bool, SHELL_FIELD(isDci), before, after,
     "Maps the sharpened luma through dciCurve (false as shipped)."},
    {"isDePurple", Access::Bool, SHELL_FIELD(isDePurple), before, after,
     "Removes purple fringes next to bright edges after the sharpening, by the depf keys (false as "
     "shipped)."},
    {"isSharpLimit", Access::Bool, SHELL_FIELD(isSharpLimit), before, after,
     "Limits overshoot and undershoot by sharpLimit (true as shipped)."},
    {"isYuvDomain", Access::Bool, SHELL_FIELD(isYuvDomain), before, after,
     "true sharpens the encoded luma (as shipped); false sharpens linear luma (power deGamma), "
     "which deepens the dark side of an edge more than it lifts the bright side."},
    {"sharpCurveLevel", Access::Integer, SHELL_FIELD(sharpCurveLevel), before, after,
     "Level of the sharpening curve, 8 bits (8 as shipped)."},
    {"sharpGain", Access::Integer, SHELL_FIELD(sharpGain), before, after,
     "Gains in 1/256 for overshoot (bright side) and undershoot (dark side) of an edge, on top of "
     "strength (320, 384 as shipped)."},
    {"sharpGainSkin", Access::Integer, SHELL_FIELD(sharpGainSkin), before, after,
     "As sharpGain, for skin tones (192, 224 as shipped). Used on skin tones instead of the "
     "ordinary setting while skinProcessEn is on."},
    {"sharpGainUv", Access::Integer, SHELL_FIELD(sharpGainUv), before, after,
     "Chroma sharpening where the luma is sharpened: the pixel's colour detail is added x "
     "sharpGainUv/64 (16 as shipped)."},
    {"sharpLimit", Access::Integer, SHELL_FIELD(sharpLimit), before, after,
     "Largest overshoot and undershoot in 10-bit luma steps while isSharpLimit is on (96, 128 as "
     "shipped)."},
    {"sharpLimitSkin", Access::Integer, SHELL_FIELD(sharpLimitSkin), before, after,
     "As sharpLimit, for skin tones (48, 64 as shipped). Used on skin tones instead of the "
     "ordinary setting while skinProcessEn is on."},
    {"sharpLimitType", Access::Integer, SHELL_FIELD(sharpLimitType), before, after,
     "Where the limits are measured from: 0 the pixel's own luma (as shipped), 1 the brightest and "
     "darkest luma of its 3 x 3 neighbourhood (flat halos, crisp edges)."},
    {"sharpSkinCurveLevel", Access::Integer, SHELL_FIELD(sharpSkinCurveLevel), before, after,
     "Level of the skin sharpening curve, 8 bits (4 as shipped)."},
    {"skinDetectStrength", Access::Integer, SHELL_FIELD(skinDetectStrength), before, after,
     "Strength of the skin-tone detection: the skin weight is scaled by skinDetectStrength/128 "
     "(128 as shipped)."},
    {"skinProcessEn", Access::Integer, SHELL_FIELD(skinProcessEn), before, after,
     "Uses the skin settings (gradThSkin, hfMergeCurveSkin, sharpGainSkin, sharpLimitSkin, "
     "sourceStrengthSkin) on skin tones (1 as shipped)."},
    {"sourceStrength", Access::Integer, SHELL_FIELD(sourceStrength), before, after,
     "Share of the pixel's own fine detail kept where the band is sharpened, in 1/256, 0 to 512 "
     "(256 as shipped); below 256 texture on an edge gives way to the edge's boost."},
    {"sourceStrengthSkin", Access::Integer, SHELL_FIELD(sourceStrengthSkin), before, after,
     "As sourceStrength, for skin tones (192 as shipped: sharpened skin does not turn grainy). "
     "Used on skin tones instead of the ordinary setting while skinProcessEn is on."},
    {"strength", Access::Integer, SHELL_FIELD(strength), before, after,
     "Overall sharpening gain in 1/64 (64 as shipped: 1.0)."},
    {"yDownThreshold", Access::Integer, SHELL_FIELD(yDownThreshold), before, after,
     "Luma in 10-bit steps below which nothing is sharpened (16 as shipped: sharpening near black "
     "only lifts noise)."},
    {"yUpThreshold", Access::Integer, SHELL_FIELD(yUpThreshold), before, after,
     "Luma in 10-bit steps above which nothing is sharpened (1000 as shipped: clipped highlights "
     "stay free of overshoot)."},
};

constexpr tshell::About kAbout = {
    "Edge enhancement",
    "Edge enhancement: sharpens the luma of the encoded picture from two detail bands, with "
    "coring, a gain curve, halo limits, softer settings for skin and less sharpening of strongly "
    "coloured pixels, and can remove purple fringes and map the luma through a contrast curve. In "
    "the simulated camera the luma change is added to R, G and B alike so the hue stays; levels "
    "are 10-bit luma steps and gains 1/256 unless a key says otherwise."};

}  // namespace

SHELL_CATEGORY(TShellEdgeEnhance_3_process, "EE_3", kKeys, kAbout);
