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
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Client flag: true while the tuning client shows this block's statistics view. Reading or "
     "writing it never touches the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "Block mode word: 0 bypasses temporal filtering, 1 (as shipped) runs it. Bypassed, the "
     "simulated frame passes unchanged."},
    {"blsExp", Access::Integer, SHELL_FIELD(blsExp), before, after,
     "Black level of each exposure channel (R, Gr, Gb, B) that the block removes before measuring "
     "motion, 12-bit codes (256 as shipped: a 10-bit pedestal of 64)."},
    {"dilateH", Access::Integer, SHELL_FIELD(dilateH), before, after,
     "How far detected motion is spread sideways, in pixels (2 as shipped), while isMotionDilate "
     "is on, so that moving edges are not smeared."},
    {"diffType", Access::Integer, SHELL_FIELD(diffType), before, after,
     "How frame differences are measured: 0 (as shipped) absolute differences, 1 squared "
     "differences weighted by sqrDiffFactor (large changes count more)."},
    {"filterLen", Access::Integer, SHELL_FIELD(filterLen), before, after,
     "Width of the window the motion measure is averaged over, in pixels (5 as shipped; the model "
     "takes at most 9)."},
    {"filterLen2", Access::Integer, SHELL_FIELD(filterLen2), before, after,
     "Height of the window the motion measure is averaged over, in pixels (3 as shipped; the model "
     "takes at most 9)."},
    {"fixCurveStart", Access::Integer, SHELL_FIELD(fixCurveStart), before, after,
     "Level below which the luma curve is held at its value there, in inputBits codes (128 as "
     "shipped), so the darkest levels are filtered alike."},
    {"isGammaFeBe", Access::Bool, SHELL_FIELD(isGammaFeBe), before, after,
     "true (as shipped) measures motion on the gamma-encoded luma as it arrives; false makes it "
     "linear again first (display gamma)."},
    {"isGaussBlur", Access::Bool, SHELL_FIELD(isGaussBlur), before, after,
     "true (as shipped) averages the motion measure with binomial weights over its window; false "
     "with flat weights."},
    {"inputBits", Access::Integer, SHELL_FIELD(inputBits), before, after,
     "Bit depth of the levels the block measures in, 8..16 (12 as shipped); noise model, curve X "
     "and thresholds are in these levels."},
    {"isMotionDilate", Access::Bool, SHELL_FIELD(isMotionDilate), before, after,
     "Spreads detected motion dilateH pixels sideways (true as shipped)."},
    {"motionSmoothFactor", Access::Double, SHELL_FIELD(motionSmoothFactor), before, after,
     "Share of the smoothed motion map in the result, 0..1 (0.5 as shipped)."},
    {"motionSmoothLevel", Access::Integer, SHELL_FIELD(motionSmoothLevel), before, after,
     "Radius of the box that smooths the motion map, in pixels (2 as shipped; 0 turns smoothing "
     "off)."},
    {"noiseLevel", Access::Integer, SHELL_FIELD(noiseLevel), before, after,
     "Motion threshold in eighths of the modelled noise deviation (64 = 8 deviations as shipped; a "
     "calibrated noise model wants about 16): smaller differences count as noise."},
    {"noiseModelA", Access::Double, SHELL_FIELD(noiseModelA), before, after,
     "Shot-noise coefficient of the noise model: variance = A × level + B, in inputBits levels "
     "(0.0125 as shipped)."},
    {"noiseModelB", Access::Double, SHELL_FIELD(noiseModelB), before, after,
     "Read-noise floor of the noise model: variance = A × level + B, in squared inputBits levels "
     "(2.5 as shipped)."},
    {"rangeH", Access::Integer, SHELL_FIELD(rangeH), before, after,
     "Horizontal search range for motion compensation, in pixels (3 as shipped)."},
    {"sadWeight", Access::Integer, SHELL_FIELD(sadWeight), before, after,
     "Share of the window average in the motion measure, in 1/16 (8 = half as shipped); the rest "
     "is the pixel's own difference."},
    {"sqrDiffFactor", Access::Integer, SHELL_FIELD(sqrDiffFactor), before, after,
     "Weight of squared differences in 1/4 (4 = 1.0 as shipped), used with diffType 1."},
    {"thrMotionSlope", Access::Integer, SHELL_FIELD(thrMotionSlope), before, after,
     "Slope from the motion measure to motion, in 1/256 (256 = 1.0 as shipped): larger values call "
     "smaller changes motion."},
    {"tnrLumaCurveX", Access::Integer, SHELL_FIELD(tnrLumaCurveX), before, after,
     "Luma curve X, 12 rising levels in inputBits codes (0..4095 as shipped); also the X of "
     "tnrMotionSlopeY."},
    {"tnrLumaCurveY", Access::Integer, SHELL_FIELD(tnrLumaCurveY), before, after,
     "Luma curve Y, 12 values of 1023 (1023 = full strength): how much of the previous frame is "
     "kept at each level. Shipped strongest in the shadows."},
    {"tnrMotionSlopeY", Access::Integer, SHELL_FIELD(tnrMotionSlopeY), before, after,
     "Motion slope at each tnrLumaCurveX level, in 1/64 (64 = 1.0), multiplying thrMotionSlope."},
    {"tnrStrength", Access::Integer, SHELL_FIELD(tnrStrength), before, after,
     "Temporal filter strength for luma, in 1/256 (128 = half as shipped): the previous frame's "
     "largest share in static areas."},
    {"tnrStrength2", Access::Integer, SHELL_FIELD(tnrStrength2), before, after,
     "Temporal filter strength for chroma, in 1/256 (96 as shipped)."},
    {"vstFactor", Access::Double, SHELL_FIELD(vstFactor), before, after,
     "Variance-stabilising transform factor applied to the levels before comparing them with the "
     "noise model, no unit (1.0 as shipped)."},
};

constexpr tshell::About kAbout = {
    "Temporal noise reduction",
    "Temporal noise reduction: each pixel is blended with the previous output frame as far as the "
    "two differ by no more than the expected noise, and kept as it is where they differ more "
    "(motion), so moving edges do not smear. Motion is measured on the luma against a noise model, "
    "averaged, dilated and smoothed. In the simulated camera the block blends with the frame it "
    "last delivered; the first frame after a start passes through. While it streams, the A3DNR_4 "
    "table (on as shipped) replaces the members it carries with their values at the current gain."};

}  // namespace

SHELL_CATEGORY(TShell3DNoiseReduction_4_process, "3DNR_4", kKeys, kAbout);
