// "WDR_5_2_1": wide dynamic range by local tone mapping.
#include "fields.h"
#include "t_database_records/wide_dynamic_range_5_2_1.h"

namespace tdatabase {
namespace {

using Record = TDatabaseWideDynamicRange_5_2_1;

constexpr Record makeDefaults() {
  Record defaults = {
      .state = 1,
      .contrast = 512,
      .curve2HiFactor = 1.0f,
      .curve2LoFactor = 1.0f,
      .curve2LoSat = 0.5f,
      .curve2Thr = 0.5f,
      .dampAvgCoef = 16,
      .dampAvgMax = 240,
      .dampAvgMin = 16,
      .dampCoefDecLimit = 8,
      .dampCoefIncLimit = 8,
      .dampCurveCoef = 32,
      .dampCurveMax = 240,
      .dampCurveMin = 16,
      .dampFilterSize = 4,
      .dampHiThrLog = 12.0f,
      .dampLoThrLog = 4.0f,
      .dampMode = 1,
      .darkAttentionLevel = 32,
      .deGamma = 2.2f,
      .diffHigh = 0.25f,
      .diffLow = 0.05f,
      .entropyBase = 512,
      .entropyEnable = 1,
      .entropySlope = 128,
      .fixedWeight = 64,
      .flatLevel = 8,
      .flatLevelGlobal = 4,
      .flatLevelInc = {},
      .flatMode = 0,
      .highStrength = 128,
      .hlcBaseLog = 14.0f,
      .hlcSlope = 32,
      // Darker hues count as lit at a lower level than bright ones (yellow, green).
      .lightBlueThrLog = {5.0f, 7.0f, 9.0f, 11.0f},
      .lightCyanThrLog = {5.5f, 7.5f, 9.5f, 11.5f},
      .lightEn = 0,
      .lightGreenThrLog = {6.0f, 8.0f, 10.0f, 12.0f},
      .lightMagentaThrLog = {5.5f, 7.5f, 9.5f, 11.5f},
      .lightRedThrLog = {6.0f, 8.0f, 10.0f, 12.0f},
      .lightSatHiThr = 200,
      .lightSatLoThr = 64,
      .lightYellowThrLog = {6.5f, 8.5f, 10.5f, 12.5f},
      .logAnchorSlope = 256,
      .logAnchorXLog = 8.0f,
      .logWeight = 128,
      .lowStrength = 256,
      .maxGain = 1024,  // 4.0
      .minGain = 256,   // 1.0: never darkens
      .ratioActual = 16.0f,
      .satRange = 0.8f,
      .satThrGainDown = 160,
      .satThrGainUp = 96,
      .strength = 128,
      .wdrColorWeight = {16, 16, 16},
      .wdrCurveSelect = 0,
      .wdrLightnessWeight = 128,
      .wdrLumaThr = 64,
      .wdrRgbCoef = {77, 150, 29},  // BT.601 luma
      .isStatistics = 0,
  };
  // Flat areas gain most in the mid-tones, and the more so the flatter their class.
  for (int row = 0; row < 4; ++row) {
    for (int bin = 0; bin < 17; ++bin) {
      const int fromMiddle = bin < 8 ? 8 - bin : bin - 8;
      defaults.flatLevelInc[row][bin] = static_cast<uint8_t>((8 - fromMiddle) * (row + 1) / 4);
    }
  }
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kFields[] = {
    field("state", &Record::state),
    field("contrast", &Record::contrast),
    field("curve2HiFactor", &Record::curve2HiFactor),
    field("curve2LoFactor", &Record::curve2LoFactor),
    field("curve2LoSat", &Record::curve2LoSat),
    field("curve2Thr", &Record::curve2Thr),
    field("dampAvgCoef", &Record::dampAvgCoef),
    field("dampAvgMax", &Record::dampAvgMax),
    field("dampAvgMin", &Record::dampAvgMin),
    field("dampCoefDecLimit", &Record::dampCoefDecLimit),
    field("dampCoefIncLimit", &Record::dampCoefIncLimit),
    field("dampCurveCoef", &Record::dampCurveCoef),
    field("dampCurveMax", &Record::dampCurveMax),
    field("dampCurveMin", &Record::dampCurveMin),
    field("dampFilterSize", &Record::dampFilterSize),
    field("dampHiThrLog", &Record::dampHiThrLog),
    field("dampLoThrLog", &Record::dampLoThrLog),
    field("dampMode", &Record::dampMode),
    field("darkAttentionLevel", &Record::darkAttentionLevel),
    field("deGamma", &Record::deGamma),
    field("diffHigh", &Record::diffHigh),
    field("diffLow", &Record::diffLow),
    field("entropyBase", &Record::entropyBase),
    boolean("entropyEnable", &Record::entropyEnable),
    field("entropySlope", &Record::entropySlope),
    field("fixedWeight", &Record::fixedWeight),
    field("flatLevel", &Record::flatLevel),
    field("flatLevelGlobal", &Record::flatLevelGlobal),
    field("flatLevelInc", &Record::flatLevelInc),
    boolean("flatMode", &Record::flatMode),
    field("highStrength", &Record::highStrength),
    field("hlcBaseLog", &Record::hlcBaseLog),
    field("hlcSlope", &Record::hlcSlope),
    field("lightBlueThrLog", &Record::lightBlueThrLog),
    field("lightCyanThrLog", &Record::lightCyanThrLog),
    boolean("lightEn", &Record::lightEn),
    field("lightGreenThrLog", &Record::lightGreenThrLog),
    field("lightMagentaThrLog", &Record::lightMagentaThrLog),
    field("lightRedThrLog", &Record::lightRedThrLog),
    field("lightSatHiThr", &Record::lightSatHiThr),
    field("lightSatLoThr", &Record::lightSatLoThr),
    field("lightYellowThrLog", &Record::lightYellowThrLog),
    field("logAnchorSlope", &Record::logAnchorSlope),
    field("logAnchorXLog", &Record::logAnchorXLog),
    field("logWeight", &Record::logWeight),
    field("lowStrength", &Record::lowStrength),
    field("maxGain", &Record::maxGain),
    field("minGain", &Record::minGain),
    field("ratioActual", &Record::ratioActual),
    field("satRange", &Record::satRange),
    field("satThrGainDown", &Record::satThrGainDown),
    field("satThrGainUp", &Record::satThrGainUp),
    field("strength", &Record::strength),
    field("wdrColorWeight", &Record::wdrColorWeight),
    field("wdrCurveSelect", &Record::wdrCurveSelect),
    field("wdrLightnessWeight", &Record::wdrLightnessWeight),
    field("wdrLumaThr", &Record::wdrLumaThr),
    field("wdrRgbCoef", &Record::wdrRgbCoef),
    boolean("isStatistics", &Record::isStatistics),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kWideDynamicRange521Record = {"WDR_5_2_1", kLayout, &kDefaults};

}  // namespace tdatabase
