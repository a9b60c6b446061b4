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
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Client flag: true while the tuning client shows this block's statistics view. Reading or "
     "writing it never touches the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "Block mode word: 0 bypasses the spatial noise filter, 1 (as shipped) runs it. Bypassed, the "
     "simulated mosaic passes unchanged."},
    {"blendMotion", Access::Float, SHELL_FIELD(blendMotion), before, after,
     "Weight of the moving-content filter where motion is full, 0..1 (0.75 as shipped)."},
    {"blendSlope", Access::Float, SHELL_FIELD(blendSlope), before, after,
     "How fast the mix moves from the static to the moving filter as motion grows, no unit (2.0 as "
     "shipped)."},
    {"blendStatic", Access::Float, SHELL_FIELD(blendStatic), before, after,
     "Weight of the mix where content is static, 0..1 (0.25 as shipped). A single simulated frame "
     "has no motion: the model mixes the moving filter in at this share."},
    {"lscCompCurvePx", Access::Integer, SHELL_FIELD(lscCompCurvePx), before, after,
     "Lens-shading compensation curve, 12 points: log2 of each segment's width (the hardware "
     "divides by 2^Px rather than by the X spacing)."},
    {"lscCompCurveX", Access::Integer, SHELL_FIELD(lscCompCurveX), before, after,
     "Lens-shading compensation curve, 12 points: the shading gain at each point, in 1/256 (256 = "
     "1.0, 1024 = 4.0)."},
    {"lscCompCurveY", Access::Integer, SHELL_FIELD(lscCompCurveY), before, after,
     "Lens-shading compensation curve, 12 points: filter strength at each point, in 1/64 (64 = "
     "1.0). Stronger filtering where shading gain has lifted the noise."},
    {"isLscGainComp", Access::Bool, SHELL_FIELD(isLscGainComp), before, after,
     "Scales the filter strength by the lens-shading gain of each site through the lscCompCurve "
     "(true as shipped)."},
    {"isLumaCtrl", Access::Bool, SHELL_FIELD(isLumaCtrl), before, after,
     "Scales the filter strength with the local brightness through the lumaCurve (true as "
     "shipped); the model applies it to its noise estimate."},
    {"lumaCurvePx", Access::Integer, SHELL_FIELD(lumaCurvePx), before, after,
     "Luma curve, 12 points: log2 of each segment's width, as the hardware divides. A Px that "
     "disagrees with the X spacing gives the curve a step, in the model as on the chip."},
    {"lumaCurveX", Access::Integer, SHELL_FIELD(lumaCurveX), before, after,
     "Luma curve, 12 points: the local level at each point, in 10-bit codes above black "
     "(0..1023)."},
    {"lumaCurveY", Access::Integer, SHELL_FIELD(lumaCurveY), before, after,
     "Luma curve, 12 points: noise-sigma factor at each point, in 1/64 (64 = 1.0; 96 in the "
     "shadows as shipped). The model multiplies its noise estimate by it."},
    {"motionAnchorX", Access::Integer, SHELL_FIELD(motionAnchorX), before, after,
     "Two motion levels that anchor the blend between the static and the moving filter: below the "
     "first the static one rules, above the second the moving one. Codes."},
    {"isMotionCtrl", Access::Bool, SHELL_FIELD(isMotionCtrl), before, after,
     "Lets the motion level steer the filter strength and the static/moving mix through the "
     "motionFactorCurve (true as shipped)."},
    {"motionFactorCurvePx", Access::Integer, SHELL_FIELD(motionFactorCurvePx), before, after,
     "Motion factor curve, 12 points: log2 of each segment's width, as the hardware divides."},
    {"motionFactorCurveX", Access::Integer, SHELL_FIELD(motionFactorCurveX), before, after,
     "Motion factor curve, 12 points: the motion level at each point, codes."},
    {"motionFactorCurveY", Access::Integer, SHELL_FIELD(motionFactorCurveY), before, after,
     "Motion factor curve, 12 points: the moving filter's share at each point, 0..255 (255 = all "
     "moving). Where temporal filtering cannot average, the spatial one takes over."},
    {"movingDetailBoost", Access::Float, SHELL_FIELD(movingDetailBoost), before, after,
     "Detail boost of the moving-content filter, 2 × 3 (detail bands × levels), factor (1.0 = "
     "none): detail it gives back above the boost threshold is multiplied by it. The model uses "
     "element [0][0]."},
    {"movingDetailBoostThresh", Access::Integer, SHELL_FIELD(movingDetailBoostThresh), before,
     after,
     "Boost threshold of the moving-content filter, 2 × 3, 10-bit codes: detail above it is "
     "boosted. The model uses element [0][0]."},
    {"movingDetailClipThresh", Access::Integer, SHELL_FIELD(movingDetailClipThresh), before, after,
     "Clip threshold of the moving-content filter, 2 × 3, 10-bit codes: boosted detail stops "
     "growing here. The model uses element [0][0]."},
    {"movingDetailThresh", Access::Integer, SHELL_FIELD(movingDetailThresh), before, after,
     "Detail threshold of the moving-content filter, 2 × 3, 10-bit codes: what the filter removes "
     "beyond this is given back as detail (less the threshold). The model uses element [0][0]."},
    {"sigmaFactorMotionMax", Access::Integer, SHELL_FIELD(sigmaFactorMotionMax), before, after,
     "Filter range at full motion, in 1/64 of the noise sigma (192 = 3.0 as shipped). Sets the "
     "moving-content filter's reach in the model."},
    {"sigmaFactorMotionMin", Access::Integer, SHELL_FIELD(sigmaFactorMotionMin), before, after,
     "Filter range on static content, in 1/64 of the noise sigma (64 = 1.0 as shipped). Times "
     "staticFactor, sets the static filter's reach in the model."},
    {"sigmaFactorMul", Access::Float, SHELL_FIELD(sigmaFactorMul), before, after,
     "Noise sigma multiplier per filter level, 3 values finest first (1.0, 0.75, 0.5 as shipped). "
     "The model uses the first."},
    {"sigmaOffset", Access::Integer, SHELL_FIELD(sigmaOffset), before, after,
     "Noise floor added to the modelled sigma, in 1/8 of a 10-bit code (8 = 1 code as shipped): "
     "the read-noise part of the estimate."},
    {"sigmaScale", Access::Float, SHELL_FIELD(sigmaScale), before, after,
     "Overall noise sigma scale per filter level, 3 values finest first. The model uses the first: "
     "larger values smooth harder."},
    {"staticDetailBoost", Access::Float, SHELL_FIELD(staticDetailBoost), before, after,
     "Detail boost of the static-content filter, 2 × 3 (detail bands × levels), factor (1.0 = "
     "none). The model uses element [0][0]."},
    {"staticDetailBoostThresh", Access::Integer, SHELL_FIELD(staticDetailBoostThresh), before,
     after,
     "Boost threshold of the static-content filter, 2 × 3, 10-bit codes: detail above it is "
     "boosted. The model uses element [0][0]."},
    {"staticDetailClipThresh", Access::Integer, SHELL_FIELD(staticDetailClipThresh), before, after,
     "Clip threshold of the static-content filter, 2 × 3, 10-bit codes: boosted detail stops "
     "growing here. The model uses element [0][0]."},
    {"staticDetailThresh", Access::Integer, SHELL_FIELD(staticDetailThresh), before, after,
     "Detail threshold of the static-content filter, 2 × 3, 10-bit codes: what the filter removes "
     "beyond this is given back as detail (less the threshold). The model uses element [0][0]."},
    {"staticFactor", Access::Float, SHELL_FIELD(staticFactor), before, after,
     "Range factor of the static-content filter per level, 3 values finest first (1.0 as shipped "
     "for the first), times sigmaFactorMotionMin. The model uses the first."},
    {"vstFactor", Access::Float, SHELL_FIELD(vstFactor), before, after,
     "Weight of the shot-noise term (variance-stabilising transform) in the noise estimate, no "
     "unit (1.0 as shipped); the model scales 0.35 × sqrt(gain × level) codes by it."},
};

constexpr tshell::About kAbout = {
    "Spatial noise reduction",
    "Spatial noise reduction on the Bayer mosaic: each site is averaged with its same-colour "
    "neighbours, weighted by how far they lie from it in units of the expected noise, and detail "
    "above a threshold is given back. Two filters, one for static and one for moving content, are "
    "blended by motion. The simulated camera runs a range filter over the 8 same-colour neighbours "
    "with a sensor noise model; a single frame has no motion, so the motion keys have no effect "
    "there. While it streams, the A2DNR_6 table (on as shipped) replaces the members it carries "
    "with their values at the current gain."};

}  // namespace

SHELL_CATEGORY(TShell2DNoiseReduction_6_process, "2DNR_6", kKeys, kAbout);
