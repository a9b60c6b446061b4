// "3DNR_4": temporal noise reduction with motion detection and a noise model.
#include "fields.h"
#include "t_database_records/3d_noise_reduction_4.h"

namespace tdatabase {
namespace {

using Record = TDatabase3DNoiseReduction_4;

const Record kDefaults = {
    .state = 1,
    .blsExp = {256, 256, 256, 256},  // the sensor's pedestal of 64 at 10 bits, at 12 bits
    .dilateH = 2,
    .diffType = 0,
    .filterLen = 5,
    .filterLen2 = 3,
    .fixCurveStart = 128,
    .isGammaFeBe = 1,
    .isGaussBlur = 1,
    .inputBits = 12,
    .isMotionDilate = 1,
    .motionSmoothFactor = 0.5,
    .motionSmoothLevel = 2,
    .noiseLevel = 64,
    // Shot noise grows with the signal, read noise is a floor (12-bit levels).
    .noiseModelA = 0.0125,
    .noiseModelB = 2.5,
    .rangeH = 3,
    .sadWeight = 8,
    .sqrDiffFactor = 4,
    .thrMotionSlope = 256,
    // Dark areas are averaged over time hardest: their noise shows most.
    .tnrLumaCurveX = {0, 128, 256, 512, 768, 1024, 1536, 2048, 2560, 3072, 3584, 4095},
    .tnrLumaCurveY = {1023, 1000, 960, 900, 840, 780, 700, 640, 600, 560, 520, 512},
    .tnrMotionSlopeY = {16, 24, 32, 48, 64, 96, 128, 160, 192, 224, 240, 255},
    .tnrStrength = 128,
    .tnrStrength2 = 96,
    .vstFactor = 1.0,
    .isStatistics = 0,
};

const Field kFields[] = {
    field("state", &Record::state),
    field("blsExp", &Record::blsExp),
    field("dilateH", &Record::dilateH),
    field("diffType", &Record::diffType),
    field("filterLen", &Record::filterLen),
    field("filterLen2", &Record::filterLen2),
    field("fixCurveStart", &Record::fixCurveStart),
    boolean("isGammaFeBe", &Record::isGammaFeBe),
    boolean("isGaussBlur", &Record::isGaussBlur),
    field("inputBits", &Record::inputBits),
    boolean("isMotionDilate", &Record::isMotionDilate),
    field("motionSmoothFactor", &Record::motionSmoothFactor),
    field("motionSmoothLevel", &Record::motionSmoothLevel),
    field("noiseLevel", &Record::noiseLevel),
    field("noiseModelA", &Record::noiseModelA),
    field("noiseModelB", &Record::noiseModelB),
    field("rangeH", &Record::rangeH),
    field("sadWeight", &Record::sadWeight),
    field("sqrDiffFactor", &Record::sqrDiffFactor),
    field("thrMotionSlope", &Record::thrMotionSlope),
    field("tnrLumaCurveX", &Record::tnrLumaCurveX),
    field("tnrLumaCurveY", &Record::tnrLumaCurveY),
    field("tnrMotionSlopeY", &Record::tnrMotionSlopeY),
    field("tnrStrength", &Record::tnrStrength),
    field("tnrStrength2", &Record::tnrStrength2),
    field("vstFactor", &Record::vstFactor),
    boolean("isStatistics", &Record::isStatistics),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType k3DNoiseReduction4Record = {"3DNR_4", kLayout, &kDefaults};

}  // namespace tdatabase
