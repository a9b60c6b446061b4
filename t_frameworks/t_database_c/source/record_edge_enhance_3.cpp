// "EE_3": edge enhancement of the luma, with chroma-adaptive and dynamic-contrast curves,
// purple-fringe removal and softer settings for skin.
#include "fields.h"
#include "t_database_records/edge_enhance_3.h"

namespace tdatabase {
namespace {

using Record = TDatabaseEdgeEnhance_3;

constexpr uint32_t kCurvePoints = 65;

constexpr Record makeDefaults() {
  Record defaults = {
      .state = 1,
      .isCa = 1,
      .caCurve = {},
      .caMode = 0,
      .cbDownThreshold = -64,
      .cbUpThreshold = 64,
      .crDownThreshold = -64,
      .crUpThreshold = 64,
      .isCurve = 1,
      .isDci = 0,
      .dciCurve = {},
      .deGamma = 2.2f,
      .depfCompLumaDiff = 64,
      .depfDetectLumaDiff = 128,
      .depfDetectLumaTh = 768,  // fringes show next to bright, near-clipped edges
      .depfDetectRange = 3,
      .depfFixStrength = 128,
      .depfLimit = {32, 64, 96, 128},
      .depfSatStrength = 128,
      .isDePurple = 0,
      .detailLevel = 16,
      .detailPreEnhanceStrength = 64,
      .detailScaler = 32,
      .edgeNrLevel = 8,
      .edgeScaler = 32,
      .edgeUseAuxiDir = 1,
      .gradTh = {16, 256},
      .gradThSkin = {24, 320},
      .hfMergeCurve = {64, 128, 192, 256},
      .hfMergeCurveSkin = {32, 64, 128, 192},
      .sharpCurveLevel = 8,
      .sharpGain = {320, 384},  // undershoot a little stronger: dark edges look crisper
      .sharpGainSkin = {192, 224},
      .sharpGainUv = 16,
      .isSharpLimit = 1,
      .sharpLimit = {96, 128},
      .sharpLimitSkin = {48, 64},
      .sharpLimitType = 0,
      .sharpSkinCurveLevel = 4,
      .skinDetectStrength = 128,
      .skinProcessEn = 1,
      .sourceStrength = 256,
      .sourceStrengthSkin = 192,
      .strength = 64,
      .yDownThreshold = 16,  // leave near-black alone: sharpening there only lifts noise
      .yUpThreshold = 1000,  // and keep clipped highlights free of overshoot
      .isYuvDomain = 1,
      .isStatistics = 0,
  };
  for (uint32_t i = 0; i < kCurvePoints; ++i) {
    // Full gain (256) for grey, falling linearly to half for the most saturated colours,
    // where sharpening shows as coloured halos.
    defaults.caCurve[i] = static_cast<uint16_t>(256 - i * 2);
    // Straight line: the dynamic contrast curve starts as no change.
    defaults.dciCurve[i] = static_cast<uint16_t>(i * 16 > 1023 ? 1023 : i * 16);
  }
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kFields[] = {
    field("state", &Record::state),
    boolean("isCa", &Record::isCa),
    field("caCurve", &Record::caCurve),
    field("caMode", &Record::caMode),
    field("cbDownThreshold", &Record::cbDownThreshold),
    field("cbUpThreshold", &Record::cbUpThreshold),
    field("crDownThreshold", &Record::crDownThreshold),
    field("crUpThreshold", &Record::crUpThreshold),
    boolean("isCurve", &Record::isCurve),
    boolean("isDci", &Record::isDci),
    field("dciCurve", &Record::dciCurve),
    field("deGamma", &Record::deGamma),
    field("depfCompLumaDiff", &Record::depfCompLumaDiff),
    field("depfDetectLumaDiff", &Record::depfDetectLumaDiff),
    field("depfDetectLumaTh", &Record::depfDetectLumaTh),
    field("depfDetectRange", &Record::depfDetectRange),
    field("depfFixStrength", &Record::depfFixStrength),
    field("depfLimit", &Record::depfLimit),
    field("depfSatStrength", &Record::depfSatStrength),
    boolean("isDePurple", &Record::isDePurple),
    field("detailLevel", &Record::detailLevel),
    field("detailPreEnhanceStrength", &Record::detailPreEnhanceStrength),
    field("detailScaler", &Record::detailScaler),
    field("edgeNrLevel", &Record::edgeNrLevel),
    field("edgeScaler", &Record::edgeScaler),
    field("edgeUseAuxiDir", &Record::edgeUseAuxiDir),
    field("gradTh", &Record::gradTh),
    field("gradThSkin", &Record::gradThSkin),
    field("hfMergeCurve", &Record::hfMergeCurve),
    field("hfMergeCurveSkin", &Record::hfMergeCurveSkin),
    field("sharpCurveLevel", &Record::sharpCurveLevel),
    field("sharpGain", &Record::sharpGain),
    field("sharpGainSkin", &Record::sharpGainSkin),
    field("sharpGainUv", &Record::sharpGainUv),
    boolean("isSharpLimit", &Record::isSharpLimit),
    field("sharpLimit", &Record::sharpLimit),
    field("sharpLimitSkin", &Record::sharpLimitSkin),
    field("sharpLimitType", &Record::sharpLimitType),
    field("sharpSkinCurveLevel", &Record::sharpSkinCurveLevel),
    field("skinDetectStrength", &Record::skinDetectStrength),
    field("skinProcessEn", &Record::skinProcessEn),
    field("sourceStrength", &Record::sourceStrength),
    field("sourceStrengthSkin", &Record::sourceStrengthSkin),
    field("strength", &Record::strength),
    field("yDownThreshold", &Record::yDownThreshold),
    field("yUpThreshold", &Record::yUpThreshold),
    boolean("isYuvDomain", &Record::isYuvDomain),
    boolean("isStatistics", &Record::isStatistics),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kEdgeEnhance3Record = {"EE_3", kLayout, &kDefaults};

}  // namespace tdatabase
