// "2DNR_6": spatial noise reduction, blended between moving and static content.
#include "fields.h"
#include "t_database_records/2d_noise_reduction_6.h"

namespace tdatabase {
namespace {

using Record = TDatabase2DNoiseReduction_6;

const Record kDefaults = {
    .state = 1,
    .blendMotion = 0.75f,
    .blendSlope = 2.0f,
    .blendStatic = 0.25f,
    // Lens shading correction amplifies the noise towards the corners by its gain: the
    // strength follows the gain (Y = X / 4, so 1.0 at gain 1.0 and 4.0 at gain 4.0).
    .lscCompCurvePx = {6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 7, 7},
    .lscCompCurveX = {256, 320, 384, 448, 512, 576, 640, 704, 768, 832, 896, 1024},
    .lscCompCurveY = {64, 80, 96, 112, 128, 144, 160, 176, 192, 208, 224, 256},
    .isLscGainComp = 1,
    .isLumaCtrl = 1,
    // Shadows carry the most visible noise: half as strong again there as in highlights.
    .lumaCurvePx = {6, 6, 6, 6, 6, 6, 6, 6, 7, 7, 7, 7},
    .lumaCurveX = {0, 64, 128, 192, 256, 320, 384, 448, 512, 640, 768, 896},
    .lumaCurveY = {96, 92, 88, 84, 80, 76, 72, 70, 68, 66, 64, 64},
    .motionAnchorX = {16, 96},
    .isMotionCtrl = 1,
    // Where the temporal filter cannot average (motion), the spatial one takes over.
    .motionFactorCurvePx = {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4},
    .motionFactorCurveX = {0, 16, 32, 48, 64, 80, 96, 112, 128, 144, 160, 176},
    .motionFactorCurveY = {0, 16, 40, 64, 96, 128, 160, 192, 216, 236, 248, 255},
    // Moving content keeps little detail boost and treats more of its texture as noise.
    .movingDetailBoost = {{1.125f, 1.0f, 1.0f}, {1.0f, 1.0f, 1.0f}},
    .movingDetailBoostThresh = {{64, 96, 128}, {96, 128, 192}},
    .movingDetailClipThresh = {{512, 640, 768}, {640, 768, 1023}},
    .movingDetailThresh = {{24, 32, 48}, {32, 48, 64}},
    .sigmaFactorMotionMax = 192,  // 3.0 in 1/64: full motion
    .sigmaFactorMotionMin = 64,   // 1.0: static
    .sigmaFactorMul = {1.0f, 0.75f, 0.5f},
    .sigmaOffset = 8,
    .sigmaScale = {1.0f, 1.5f, 2.0f},
    .staticDetailBoost = {{1.5f, 1.25f, 1.125f}, {1.25f, 1.125f, 1.0f}},
    .staticDetailBoostThresh = {{32, 48, 64}, {48, 64, 96}},
    .staticDetailClipThresh = {{384, 512, 640}, {512, 640, 768}},
    .staticDetailThresh = {{12, 16, 24}, {16, 24, 32}},
    .staticFactor = {1.0f, 0.875f, 0.75f},
    .vstFactor = 1.0f,
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &Record::state),
    field("blendMotion", &Record::blendMotion),
    field("blendSlope", &Record::blendSlope),
    field("blendStatic", &Record::blendStatic),
    field("lscCompCurvePx", &Record::lscCompCurvePx),
    field("lscCompCurveX", &Record::lscCompCurveX),
    field("lscCompCurveY", &Record::lscCompCurveY),
    boolean("isLscGainComp", &Record::isLscGainComp),
    boolean("isLumaCtrl", &Record::isLumaCtrl),
    field("lumaCurvePx", &Record::lumaCurvePx),
    field("lumaCurveX", &Record::lumaCurveX),
    field("lumaCurveY", &Record::lumaCurveY),
    field("motionAnchorX", &Record::motionAnchorX),
    boolean("isMotionCtrl", &Record::isMotionCtrl),
    field("motionFactorCurvePx", &Record::motionFactorCurvePx),
    field("motionFactorCurveX", &Record::motionFactorCurveX),
    field("motionFactorCurveY", &Record::motionFactorCurveY),
    field("movingDetailBoost", &Record::movingDetailBoost),
    field("movingDetailBoostThresh", &Record::movingDetailBoostThresh),
    field("movingDetailClipThresh", &Record::movingDetailClipThresh),
    field("movingDetailThresh", &Record::movingDetailThresh),
    field("sigmaFactorMotionMax", &Record::sigmaFactorMotionMax),
    field("sigmaFactorMotionMin", &Record::sigmaFactorMotionMin),
    field("sigmaFactorMul", &Record::sigmaFactorMul),
    field("sigmaOffset", &Record::sigmaOffset),
    field("sigmaScale", &Record::sigmaScale),
    field("staticDetailBoost", &Record::staticDetailBoost),
    field("staticDetailBoostThresh", &Record::staticDetailBoostThresh),
    field("staticDetailClipThresh", &Record::staticDetailClipThresh),
    field("staticDetailThresh", &Record::staticDetailThresh),
    field("staticFactor", &Record::staticFactor),
    field("vstFactor", &Record::vstFactor),
    boolean("isStatistics", &Record::isStatistics),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType k2DNoiseReduction6Record = {"2DNR_6", kLayout, &kDefaults};

}  // namespace tdatabase
