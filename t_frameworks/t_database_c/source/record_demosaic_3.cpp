// "DMSC_3": demosaic with chromatic aberration correction, false-colour and purple-fringe
// suppression and the sharpening of the interpolated image.
#include "fields.h"
#include "t_database_records/demosaic_3.h"

namespace tdatabase {
namespace {

using Record = TDatabaseDeMosaic_3;
using Cac = TDatabaseDeMosaic_3Cac;
using SharpenCurve = TDatabaseDeMosaic_3SharpenCurve;
using SharpenLineCurve = TDatabaseDeMosaic_3SharpenLineCurve;

// A tuning for a typical 12-bit Bayer sensor behind a good lens: interpolation along edges,
// false colour suppressed, chromatic aberration correction prepared (centred, no scaling)
// but off until a lens is calibrated. Gains of the sharpening curves are in 1/256.
const Record kDefaults = {
    .state = 1,
    .adaptCoefficientMax = 16,
    .adaptCoefficientMin = 4,
    .adaptCoefficientMode = 1,
    .adaptCoefficientThresholdLow = 32,
    .adaptCoefficientThresholdShift = 3,
    .isCac = 0,
    .cac = {.aBlue = 0.0f,
            .aRed = 0.0f,
            .bBlue = 0.0f,
            .bRed = 0.0f,
            .cBlue = 0.0f,
            .centerHOffs = 0,
            .centerVOffs = 0,
            .cRed = 0.0f},
    .cbCrClassThreshold = 12,
    .cbCrMode = 1,
    // Chroma class limits, rising roughly by octaves over the 10-bit chroma range.
    .cbCrRange = {8, 16, 32, 64, 128, 256, 512, 1023},
    .clips = {1023, 1023, 1023, 960, 896, 832},
    .colorRangeMode = 0,
    .colorStrength = 16,
    .deBurstMode = 0,
    .cornerLowTh = 64,
    .cornerShift = 2,
    .isDecline = 0,
    .isDeFalseColor = 1,
    .isDeMoireRefineGreen = 1,
    .deNoiseStrength = 8,
    .isDePurple = 0,
    .diffColorCoefficient = 8,
    .factors = {64, 64, 48, 48, 32, 32},
    .gradControl = 1,
    .gradThresholdMax = 512,
    .gradThresholdMin = 16,
    .grayProtectStrength = 16,
    .highlightControlShift = 4,
    .highlightControlThreshold = 3840,  // protect near-white highlights of the 12-bit range
    .interpDirStrength = {8, 8, 12, 12},
    .interpLargeStr = {16, 24},
    .dir0InterpType = 0,
    .isInterpCorner = 1,
    .isOverrideCalibration = 0,
    .protectShift = 2,
    .protectThresholdLow = 16,
    .pureGreenWeight = 32,
    .pureGreenWeightIso = 16,
    .pureRedBlueWeight = 32,
    .pureRedBlueWeightIso = 16,
    .refineGreenThreshold = 128,
    .saturationShrink = 8,
    .isSharpen = 1,
    // Low, mid and high sensor gain: the higher the gain, the later sharpening starts
    // (noise stays soft) and the weaker it gets; strong edges get less than mid-level
    // detail to keep halos down.
    .sharpenCurve = {{.layerT1 = 16,
                      .layerT2Shift = 4,
                      .layer0T3 = 256,
                      .layerT4Shift = 6,
                      .layerR1 = 64,
                      .layerR2 = 256,
                      .layerR3 = 128},
                     {.layerT1 = 24,
                      .layerT2Shift = 4,
                      .layer0T3 = 320,
                      .layerT4Shift = 6,
                      .layerR1 = 48,
                      .layerR2 = 192,
                      .layerR3 = 96},
                     {.layerT1 = 40,
                      .layerT2Shift = 5,
                      .layer0T3 = 384,
                      .layerT4Shift = 7,
                      .layerR1 = 32,
                      .layerR2 = 128,
                      .layerR3 = 64}},
    .isSharpenLine = 0,
    .sharpenLineCurve = {{.strength = 128, .t1 = 32, .shift1 = 3, .r1 = 64, .r2 = 192},
                         {.strength = 112, .t1 = 40, .shift1 = 3, .r1 = 56, .r2 = 160},
                         {.strength = 96, .t1 = 48, .shift1 = 4, .r1 = 48, .r2 = 128},
                         {.strength = 64, .t1 = 64, .shift1 = 4, .r1 = 32, .r2 = 96}},
    .threshold = 4,
    .sharpenCurveIndex = 0,
    .sharpenLineCurveIndex = 0,
    .isStatistics = 0,
};

const Field kCacFields[] = {
    field("aBlue", &Cac::aBlue),
    field("aRed", &Cac::aRed),
    field("bBlue", &Cac::bBlue),
    field("bRed", &Cac::bRed),
    field("cBlue", &Cac::cBlue),
    field("centerHOffs", &Cac::centerHOffs),
    field("centerVOffs", &Cac::centerVOffs),
    field("cRed", &Cac::cRed),
};

const Layout kCacLayout = layoutOf<Cac>(kCacFields);

const Field kSharpenCurveFields[] = {
    field("layerT1", &SharpenCurve::layerT1),   field("layerT2Shift", &SharpenCurve::layerT2Shift),
    field("layer0T3", &SharpenCurve::layer0T3), field("layerT4Shift", &SharpenCurve::layerT4Shift),
    field("layerR1", &SharpenCurve::layerR1),   field("layerR2", &SharpenCurve::layerR2),
    field("layerR3", &SharpenCurve::layerR3),
};

const Layout kSharpenCurveLayout = layoutOf<SharpenCurve>(kSharpenCurveFields);

const Field kSharpenLineCurveFields[] = {
    field("strength", &SharpenLineCurve::strength),
    field("t1", &SharpenLineCurve::t1),
    field("shift1", &SharpenLineCurve::shift1),
    field("r1", &SharpenLineCurve::r1),
    field("r2", &SharpenLineCurve::r2),
};

const Layout kSharpenLineCurveLayout = layoutOf<SharpenLineCurve>(kSharpenLineCurveFields);

const Field kFields[] = {
    field("state", &Record::state),
    field("adaptCoefficientMax", &Record::adaptCoefficientMax),
    field("adaptCoefficientMin", &Record::adaptCoefficientMin),
    field("adaptCoefficientMode", &Record::adaptCoefficientMode),
    field("adaptCoefficientThresholdLow", &Record::adaptCoefficientThresholdLow),
    field("adaptCoefficientThresholdShift", &Record::adaptCoefficientThresholdShift),
    boolean("isCac", &Record::isCac),
    group("cac", &Record::cac, kCacLayout),
    field("cbCrClassThreshold", &Record::cbCrClassThreshold),
    field("cbCrMode", &Record::cbCrMode),
    field("cbCrRange", &Record::cbCrRange),
    field("clips", &Record::clips),
    field("colorRangeMode", &Record::colorRangeMode),
    field("colorStrength", &Record::colorStrength),
    field("deBurstMode", &Record::deBurstMode),
    field("cornerLowTh", &Record::cornerLowTh),
    field("cornerShift", &Record::cornerShift),
    boolean("isDecline", &Record::isDecline),
    boolean("isDeFalseColor", &Record::isDeFalseColor),
    boolean("isDeMoireRefineGreen", &Record::isDeMoireRefineGreen),
    field("deNoiseStrength", &Record::deNoiseStrength),
    boolean("isDePurple", &Record::isDePurple),
    field("diffColorCoefficient", &Record::diffColorCoefficient),
    field("factors", &Record::factors),
    field("gradControl", &Record::gradControl),
    field("gradThresholdMax", &Record::gradThresholdMax),
    field("gradThresholdMin", &Record::gradThresholdMin),
    field("grayProtectStrength", &Record::grayProtectStrength),
    field("highlightControlShift", &Record::highlightControlShift),
    field("highlightControlThreshold", &Record::highlightControlThreshold),
    field("interpDirStrength", &Record::interpDirStrength),
    field("interpLargeStr", &Record::interpLargeStr),
    field("dir0InterpType", &Record::dir0InterpType),
    boolean("isInterpCorner", &Record::isInterpCorner),
    boolean("isOverrideCalibration", &Record::isOverrideCalibration),
    field("protectShift", &Record::protectShift),
    field("protectThresholdLow", &Record::protectThresholdLow),
    field("pureGreenWeight", &Record::pureGreenWeight),
    field("pureGreenWeightIso", &Record::pureGreenWeightIso),
    field("pureRedBlueWeight", &Record::pureRedBlueWeight),
    field("pureRedBlueWeightIso", &Record::pureRedBlueWeightIso),
    field("refineGreenThreshold", &Record::refineGreenThreshold),
    field("saturationShrink", &Record::saturationShrink),
    boolean("isSharpen", &Record::isSharpen),
    table("sharpenCurve", &Record::sharpenCurve, kSharpenCurveLayout),
    boolean("isSharpenLine", &Record::isSharpenLine),
    table("sharpenLineCurve", &Record::sharpenLineCurve, kSharpenLineCurveLayout),
    field("threshold", &Record::threshold),
    field("sharpenCurveIndex", &Record::sharpenCurveIndex),
    field("sharpenLineCurveIndex", &Record::sharpenLineCurveIndex),
    boolean("isStatistics", &Record::isStatistics),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kDeMosaic3Record = {"DMSC_3", kLayout, &kDefaults};

}  // namespace tdatabase
