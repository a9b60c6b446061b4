// The pairs (member of an auto row -> member of its block) and the one engine that blends
// them at the current gain (see gain_tables.h).
#include "gain_tables.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <type_traits>

namespace tcamera {
namespace {

constexpr int kGainPoints = 20;

// Where the gain falls among the gain points: the two points and the weight of the upper one.
struct Point {
  int lower = 0;
  int upper = 0;
  double weight = 0;
};

enum class Pick : uint8_t { kLinear, kLower, kNearest };

// usable: how many leading gain points the table fills (at least 1).
Point pointAt(const float *gains, int usable, float gain, Pick pick) {
  int count = 1;
  while (count < usable && gains[count] > gains[count - 1]) ++count;
  Point at;
  if (!(gain > gains[0])) return at;  // also a gain that is not a number
  if (gain >= gains[count - 1]) {
    at.lower = at.upper = count - 1;
    return at;
  }
  while (gain >= gains[at.lower + 1]) ++at.lower;
  at.upper = at.lower + 1;
  at.weight = (static_cast<double>(gain) - gains[at.lower]) / (gains[at.upper] - gains[at.lower]);
  if (pick == Pick::kLower) at = {at.lower, at.lower, 0};
  if (pick == Pick::kNearest)
    at = at.weight < 0.5 ? Point{at.lower, at.lower, 0} : Point{at.upper, at.upper, 0};
  return at;
}

template <typename T>
struct MemberOf;
template <typename Class, typename Type>
struct MemberOf<Type Class::*> {
  using Owner = Class;
  using Member = Type;
};

template <typename To>
To converted(double value) {
  if constexpr (std::is_floating_point_v<To>) {
    return static_cast<To>(value);
  } else {
    if (!(value == value)) return 0;
    const double low = static_cast<double>(std::numeric_limits<To>::min());
    const double high = static_cast<double>(std::numeric_limits<To>::max());
    return static_cast<To>(std::clamp(std::round(value), low, high));
  }
}

enum class Kind : uint8_t { kNumber, kSwitch };

// Blends member From of a row (one entry per gain point, each of one or more values) into
// member To of the block. When To has more values than an entry, the entry repeats (one
// setting for every colour class of the block).
template <auto From, auto To, Kind kind>
void blendMember(const typename MemberOf<decltype(From)>::Owner &row, const Point &at,
                 typename MemberOf<decltype(To)>::Owner &block) {
  using FromType = typename MemberOf<decltype(From)>::Member;
  using ToType = typename MemberOf<decltype(To)>::Member;
  using FromValue = std::remove_all_extents_t<FromType>;
  using ToValue = std::remove_all_extents_t<ToType>;
  static_assert(std::extent_v<FromType> == kGainPoints, "one entry per gain point");
  constexpr size_t perPoint = sizeof(FromType) / sizeof(FromValue) / kGainPoints;
  constexpr size_t count = sizeof(ToType) / sizeof(ToValue);
  static_assert(count % perPoint == 0, "the block takes whole entries");
  const auto *values = reinterpret_cast<const FromValue *>(&(row.*From));
  const FromValue *lower = values + at.lower * perPoint;
  const FromValue *upper = values + at.upper * perPoint;
  auto *out = reinterpret_cast<ToValue *>(&(block.*To));
  for (size_t i = 0; i < count; ++i) {
    const double low = static_cast<double>(lower[i % perPoint]);
    const double high = static_cast<double>(upper[i % perPoint]);
    out[i] = converted<ToValue>(kind == Kind::kSwitch ? low : low + (high - low) * at.weight);
  }
}

template <typename Row, typename Block>
using Link = void (*)(const Row &, const Point &, Block &);

template <auto From, auto To>
constexpr auto number = &blendMember<From, To, Kind::kNumber>;
template <auto From, auto To>
constexpr auto onOff = &blendMember<From, To, Kind::kSwitch>;

// ---- the pairs, one table per auto category -------------------------------------------

using BlsRow = TDatabaseAutoBlackLevelSubtractionRow;
using Bls = TDatabaseBlackLevelSubtraction;
constexpr Link<BlsRow, Bls> kBlsLinks[] = {number<&BlsRow::bls, &Bls::data>};

using CpRow = TDatabaseAutoColorProcess_1_2Row;
using Cp = TDatabaseColorProcess_1_2;
constexpr Link<CpRow, Cp> kCpLinks[] = {
    number<&CpRow::bright, &Cp::bright>,
    number<&CpRow::contrast, &Cp::contrast>,
    number<&CpRow::hue, &Cp::hue>,
    number<&CpRow::saturation, &Cp::saturation>,
};

// cSigmaLayer, cSigmaLayer1 and cSigmaLayer2 are the block's three layers, finest first.
using CnrRow = TDatabaseAutoColorNoiseReduction_2_2Row;
using Cnr = TDatabaseColorNoiseReduction_2_2;
template <size_t Layer>
void cnrLayer(const CnrRow &row, const Point &at, Cnr &block) {
  constexpr float(CnrRow::*kLayers[])[kGainPoints] = {&CnrRow::cSigmaLayer, &CnrRow::cSigmaLayer1,
                                                      &CnrRow::cSigmaLayer2};
  const float(&values)[kGainPoints] = row.*kLayers[Layer];
  block.cSigmaLayer[Layer] =
      static_cast<float>(values[at.lower] + (values[at.upper] - values[at.lower]) * at.weight);
}
constexpr Link<CnrRow, Cnr> kCnrLinks[] = {
    onOff<&CnrRow::cnrEnable, &Cnr::state>,
    number<&CnrRow::cnrStrength, &Cnr::cnrStrength>,
    &cnrLayer<0>,
    &cnrLayer<1>,
    &cnrLayer<2>,
};

using GcRow = TDatabaseAutoGammaCorrection_2Row;
using Gc = TDatabaseGammaCorrection_2;
constexpr Link<GcRow, Gc> kGcLinks[] = {number<&GcRow::curve, &Gc::curve>};

using NrRow = TDatabaseAuto2DNoiseReduction_6Row;
using Nr = TDatabase2DNoiseReduction_6;
constexpr Link<NrRow, Nr> kNrLinks[] = {
    number<&NrRow::blendMotion, &Nr::blendMotion>,
    number<&NrRow::blendSlope, &Nr::blendSlope>,
    number<&NrRow::blendStatic, &Nr::blendStatic>,
    number<&NrRow::lscCompCurveY, &Nr::lscCompCurveY>,
    number<&NrRow::lumaCurveY, &Nr::lumaCurveY>,
    number<&NrRow::motionAnchorX, &Nr::motionAnchorX>,
    number<&NrRow::motionFacCurveY, &Nr::motionFactorCurveY>,
    number<&NrRow::movingDetailBoostThresh, &Nr::movingDetailBoostThresh>,
    number<&NrRow::movingDetailBoost, &Nr::movingDetailBoost>,
    number<&NrRow::movingDetailClipThresh, &Nr::movingDetailClipThresh>,
    number<&NrRow::movingDetailThresh, &Nr::movingDetailThresh>,
    number<&NrRow::sigmaFactorMotionMax, &Nr::sigmaFactorMotionMax>,
    number<&NrRow::sigmaFactorMul, &Nr::sigmaFactorMul>,
    number<&NrRow::sigmaOffset, &Nr::sigmaOffset>,
    number<&NrRow::sigmaScale, &Nr::sigmaScale>,
    number<&NrRow::staticDetailBoostThresh, &Nr::staticDetailBoostThresh>,
    number<&NrRow::staticDetailBoost, &Nr::staticDetailBoost>,
    number<&NrRow::staticDetailClipThresh, &Nr::staticDetailClipThresh>,
    number<&NrRow::staticDetailThresh, &Nr::staticDetailThresh>,
    number<&NrRow::staticFactor, &Nr::staticFactor>,
    number<&NrRow::vstFactor, &Nr::vstFactor>,
};

using TnrRow = TDatabaseAuto3DNoiseReduction_4Row;
using Tnr = TDatabase3DNoiseReduction_4;
constexpr Link<TnrRow, Tnr> kTnrLinks[] = {
    number<&TnrRow::blsExp, &Tnr::blsExp>,
    number<&TnrRow::dilateH, &Tnr::dilateH>,
    number<&TnrRow::fixCurveStart, &Tnr::fixCurveStart>,
    number<&TnrRow::filterLen, &Tnr::filterLen>,
    number<&TnrRow::filterLen2, &Tnr::filterLen2>,
    onOff<&TnrRow::motionDilateEn, &Tnr::isMotionDilate>,
    number<&TnrRow::motionSmoothFactor, &Tnr::motionSmoothFactor>,
    number<&TnrRow::motionSmoothLvl, &Tnr::motionSmoothLevel>,
    number<&TnrRow::noiseModelA, &Tnr::noiseModelA>,
    number<&TnrRow::noiseModelB, &Tnr::noiseModelB>,
    number<&TnrRow::rangeH, &Tnr::rangeH>,
    number<&TnrRow::sadWeight, &Tnr::sadWeight>,
    number<&TnrRow::sqrDiffFactor, &Tnr::sqrDiffFactor>,
    number<&TnrRow::tnrStrength, &Tnr::tnrStrength>,
    number<&TnrRow::tnrStrength2, &Tnr::tnrStrength2>,
    number<&TnrRow::tnrLumaCurveY, &Tnr::tnrLumaCurveY>,
    number<&TnrRow::tnrMotionSlopeY, &Tnr::tnrMotionSlopeY>,
};

using Admsc = TDatabaseAutoDeMosaic_3;
using Dmsc = TDatabaseDeMosaic_3;
constexpr Link<Admsc, Dmsc> kDmscLinks[] = {
    number<&Admsc::interpDirStrength, &Dmsc::interpDirStrength>,
    number<&Admsc::interpLargeStr, &Dmsc::interpLargeStr>,
    onOff<&Admsc::declineEn, &Dmsc::isDecline>,
    onOff<&Admsc::dmscDepurpleEnable, &Dmsc::isDePurple>,
    number<&Admsc::dmscDepurpleSatShrink, &Dmsc::saturationShrink>,
    number<&Admsc::dmscDepurpleCbCrRange, &Dmsc::cbCrRange>,
    number<&Admsc::denoiseStrength, &Dmsc::deNoiseStrength>,
    onOff<&Admsc::dmscSharpenEnable, &Dmsc::isSharpen>,
    number<&Admsc::dmscSharpenFactor, &Dmsc::factors>,
    number<&Admsc::dmscSharpenClip, &Dmsc::clips>,
};

using EeRow = TDatabaseAutoEdgeEnhance_3Row;
using Ee = TDatabaseEdgeEnhance_3;
constexpr Link<EeRow, Ee> kEeLinks[] = {
    onOff<&EeRow::caEnable, &Ee::isCa>,
    number<&EeRow::caCurve, &Ee::caCurve>,
    number<&EeRow::dciCurve, &Ee::dciCurve>,
    onOff<&EeRow::dciEnable, &Ee::isDci>,
    number<&EeRow::depfCompLumaDiff, &Ee::depfCompLumaDiff>,
    number<&EeRow::depfDetectLumaDiff, &Ee::depfDetectLumaDiff>,
    number<&EeRow::depfDetectLumaTh, &Ee::depfDetectLumaTh>,
    number<&EeRow::depfFixStr, &Ee::depfFixStrength>,
    number<&EeRow::depfLimit, &Ee::depfLimit>,
    number<&EeRow::depfSatStr, &Ee::depfSatStrength>,
    onOff<&EeRow::depurpleEn, &Ee::isDePurple>,
    number<&EeRow::detailLvl, &Ee::detailLevel>,
    number<&EeRow::detailPreEnhanceStr, &Ee::detailPreEnhanceStrength>,
    number<&EeRow::edgeNrLvl, &Ee::edgeNrLevel>,
    onOff<&EeRow::eeEnable, &Ee::state>,
    number<&EeRow::eeSrcStrength, &Ee::sourceStrength>,
    number<&EeRow::eeSrcStrengthSkin, &Ee::sourceStrengthSkin>,
    number<&EeRow::eeStrength, &Ee::strength>,
    number<&EeRow::gradTh, &Ee::gradTh>,
    number<&EeRow::gradThSkin, &Ee::gradThSkin>,
    number<&EeRow::hfMergeCurve, &Ee::hfMergeCurve>,
    number<&EeRow::hfMergeCurveSkin, &Ee::hfMergeCurveSkin>,
    number<&EeRow::sharpCurveLvl, &Ee::sharpCurveLevel>,
    number<&EeRow::sharpGain, &Ee::sharpGain>,
    number<&EeRow::sharpGainSkin, &Ee::sharpGainSkin>,
    number<&EeRow::sharpGainUv, &Ee::sharpGainUv>,
    number<&EeRow::sharpLimit, &Ee::sharpLimit>,
    number<&EeRow::sharpLimitSkin, &Ee::sharpLimitSkin>,
    number<&EeRow::sharpSkinCurveLvl, &Ee::sharpSkinCurveLevel>,
    number<&EeRow::skinDetectStr, &Ee::skinDetectStrength>,
    onOff<&EeRow::skinProcEn, &Ee::skinProcessEn>,
};

using WdrRow = TDatabaseAutoWideDynamicRange_5_2_1Row;
using Wdr = TDatabaseWideDynamicRange_5_2_1;
// The table's contrast is signed about neutral (0: the detail as it is), the block's in units
// of 1/512 (512: the detail as it is).
void wdrContrast(const WdrRow &row, const Point &at, Wdr &block) {
  constexpr double kNeutral = 512;
  const double low = row.contrast[at.lower], high = row.contrast[at.upper];
  block.contrast = converted<uint16_t>(kNeutral + low + (high - low) * at.weight);
}
constexpr Link<WdrRow, Wdr> kWdrLinks[] = {
    &wdrContrast,
    number<&WdrRow::deGamma, &Wdr::deGamma>,
    number<&WdrRow::entropyBase, &Wdr::entropyBase>,
    number<&WdrRow::entropySlope, &Wdr::entropySlope>,
    number<&WdrRow::fixedWeight, &Wdr::fixedWeight>,
    number<&WdrRow::flatLevel, &Wdr::flatLevel>,
    number<&WdrRow::flatLevelGlobal, &Wdr::flatLevelGlobal>,
    number<&WdrRow::highStrength, &Wdr::highStrength>,
    number<&WdrRow::hlcBaseLog, &Wdr::hlcBaseLog>,
    number<&WdrRow::hlcSlope, &Wdr::hlcSlope>,
    number<&WdrRow::lightBlueThrLog, &Wdr::lightBlueThrLog>,
    number<&WdrRow::lightCyanThrLog, &Wdr::lightCyanThrLog>,
    onOff<&WdrRow::lightEn, &Wdr::lightEn>,
    number<&WdrRow::lightGreenThrLog, &Wdr::lightGreenThrLog>,
    number<&WdrRow::lightMagentaThrLog, &Wdr::lightMagentaThrLog>,
    number<&WdrRow::lightRedThrLog, &Wdr::lightRedThrLog>,
    number<&WdrRow::lightSatHiThr, &Wdr::lightSatHiThr>,
    number<&WdrRow::lightSatLoThr, &Wdr::lightSatLoThr>,
    number<&WdrRow::lightYellowThrLog, &Wdr::lightYellowThrLog>,
    number<&WdrRow::logAnchorSlope, &Wdr::logAnchorSlope>,
    number<&WdrRow::logAnchorXLog, &Wdr::logAnchorXLog>,
    number<&WdrRow::logWeight, &Wdr::logWeight>,
    number<&WdrRow::lowStrength, &Wdr::lowStrength>,
    number<&WdrRow::maxGain, &Wdr::maxGain>,
    number<&WdrRow::satRange, &Wdr::satRange>,
    number<&WdrRow::satThrGainDown, &Wdr::satThrGainDown>,
    number<&WdrRow::satThrGainUp, &Wdr::satThrGainUp>,
    number<&WdrRow::wdrColorWeight, &Wdr::wdrColorWeight>,
    number<&WdrRow::wdrLumaThr, &Wdr::wdrLumaThr>,
};

// One setting per method set in the table; the block has one per colour class (green,
// red/blue) and set, and both classes take it.
using DpccRow = TDatabaseAutoDefectPixelClusterCorrectionRow;
using Dpcc = TDatabaseDefectPixelClusterCorrection;
constexpr Link<DpccRow, Dpcc> kDpccLinks[] = {
    number<&DpccRow::lineMadFac, &Dpcc::lineMadFac>,
    number<&DpccRow::lineThresh, &Dpcc::lineThresh>,
    onOff<&DpccRow::methodsSet, &Dpcc::methodsSet>,
    onOff<&DpccRow::outMode, &Dpcc::outMode>,
    number<&DpccRow::pgFac, &Dpcc::pgFac>,
    number<&DpccRow::rgFac, &Dpcc::rgFac>,
    number<&DpccRow::rndOffs, &Dpcc::rndOffs>,
    number<&DpccRow::rndThresh, &Dpcc::rndThresh>,
    number<&DpccRow::roLimits, &Dpcc::roLimits>,
    onOff<&DpccRow::setUse, &Dpcc::setUse>,
};

// ---- the engine -----------------------------------------------------------------------

template <typename Row, typename Block, size_t N>
void blendRow(const Row &row, const Point &at, const Link<Row, Block> (&links)[N], Block &block) {
  for (const Link<Row, Block> link : links) link(row, at, block);
}

// How many leading gain points a record or row fills: its autoLevel where it has one.
template <typename Holder>
int filledPoints(const Holder &holder) {
  if constexpr (requires { holder.autoLevel; })
    return std::clamp<int>(holder.autoLevel, 1, kGainPoints);
  else
    return kGainPoints;
}

template <typename Holder>
bool hasNoPoints(const Holder &holder) {
  if constexpr (requires { holder.autoLevel; })
    return holder.autoLevel == 0;
  else
    return false;
}

// The standard gain points, 1x, 1.5x, 2x, 3x ... 768x, for rows that carry no list of their own.
constexpr std::array<float, kGainPoints> kStandardGains = [] {
  std::array<float, kGainPoints> gains{};
  for (int k = 0; k < kGainPoints; ++k)
    gains[k] = static_cast<float>(1u << (k / 2)) * (k % 2 ? 1.5f : 1.0f);
  return gains;
}();

template <typename Row>
const float *gainsOf(const Row &row) {
  if constexpr (requires { row.gains; })
    return row.gains;
  else
    return kStandardGains.data();
}

template <typename Record>
Pick pickOf(const Record &record) {
  if constexpr (requires { record.interpolate; })
    return record.interpolate != 0 ? Pick::kLinear : Pick::kLower;
  else
    return Pick::kLinear;
}

// A table-form category: rows of per-gain settings, the one at tableIndex in use.
template <typename Record, auto Block, const auto &Links>
bool applyRows(const void *data, float gain, HardwareState &state) {
  const auto &record = *static_cast<const Record *>(data);
  if (record.enable == 0) return false;
  const uint64_t last = std::size(record.rows) - 1;
  const auto &row = record.rows[std::min(record.tableIndex, last)];
  if (hasNoPoints(row)) return false;
  blendRow(row, pointAt(gainsOf(row), filledPoints(row), gain, pickOf(record)), Links,
           state.*Block);
  return true;
}

// The black levels take the place of the sensor's calibrated pedestal.
bool applyBlackLevel(const void *data, float gain, HardwareState &state) {
  if (!applyRows<TDatabaseAutoBlackLevelSubtraction, &HardwareState::blackLevel, kBlsLinks>(
          data, gain, state))
    return false;
  state.blackLevel.isOverrideCalibration = 1;
  return true;
}

// The demosaic's per-gain arrays stand in the record; each of its three sharpening curves is
// the entry of the table's curve that the curve's index selects (out of range: left alone).
bool applyDemosaic(const void *data, float gain, HardwareState &state) {
  const auto &record = *static_cast<const Admsc *>(data);
  if (hasNoPoints(record)) return false;
  Dmsc &block = state.demosaic;
  blendRow(record, pointAt(record.gains, filledPoints(record), gain, Pick::kLinear), kDmscLinks,
           block);
  const TDatabaseAutoDeMosaic_3SharpenCurve *curves[] = {
      &record.sharpenCurve0[0], &record.sharpenCurve1[0], &record.sharpenCurve2[0]};
  const uint16_t indexes[] = {record.sharpenCurve0Index, record.sharpenCurve1Index,
                              record.sharpenCurve2Index};
  for (size_t n = 0; n < std::size(curves); ++n) {
    if (indexes[n] >= kGainPoints) continue;
    const TDatabaseAutoDeMosaic_3SharpenCurve &from = curves[n][indexes[n]];
    TDatabaseDeMosaic_3SharpenCurve &to = block.sharpenCurve[n];
    to.layerT1 = from.layerT1;
    to.layerT2Shift = converted<uint8_t>(from.layerT2Shift);
    to.layer0T3 = from.layer0T3;
    to.layerT4Shift = converted<uint8_t>(from.layerT4Shift);
    to.layerR1 = from.layerR1;
    to.layerR2 = from.layerR2;
    to.layerR3 = from.layerR3;
  }
  return true;
}

// The shading grid's gains are pulled towards 1.0 by the strength at the gain: 1 keeps the
// calibrated correction, 0 turns it off; a strength that is not a number leaves the grid.
bool applyLensShading(const void *data, float gain, HardwareState &state) {
  const auto &record = *static_cast<const TDatabaseAutoLensShadingCorrection_3 *>(data);
  const Point at = pointAt(record.gains, kGainPoints, gain,
                           record.interMode != 0 ? Pick::kLinear : Pick::kNearest);
  const double strength = record.strength[at.lower] +
                          (record.strength[at.upper] - record.strength[at.lower]) * at.weight;
  if (!std::isfinite(strength)) return false;
  constexpr double kUnity = 1024;
  for (auto &grid : state.lensShading.matrix)
    for (uint16_t &value : grid) value = converted<uint16_t>(kUnity + (value - kUnity) * strength);
  return true;
}

template <typename Record, auto Block, const auto &Links>
constexpr GainTable rows(const char *category, const char *block) {
  return {category, block, &applyRows<Record, Block, Links>};
}

constexpr GainTable kGainTables[] = {
    {"ABLS", "BLS", &applyBlackLevel},
    rows<TDatabaseAutoColorProcess_1_2, &HardwareState::colorProcess, kCpLinks>("ACP_1_2",
                                                                                "CP_1_2"),
    rows<TDatabaseAutoColorNoiseReduction_2_2, &HardwareState::colorNoiseReduction, kCnrLinks>(
        "ACNR_2_2", "CNR_2_2"),
    rows<TDatabaseAutoGammaCorrection_2, &HardwareState::gamma, kGcLinks>("AGC_2", "GC_2"),
    {"ALSC_3", "LSC_3", &applyLensShading},
    rows<TDatabaseAuto2DNoiseReduction_6, &HardwareState::noiseReduction2D, kNrLinks>("A2DNR_6",
                                                                                      "2DNR_6"),
    rows<TDatabaseAuto3DNoiseReduction_4, &HardwareState::noiseReduction3D, kTnrLinks>("A3DNR_4",
                                                                                       "3DNR_4"),
    {"ADMSC_3", "DMSC_3", &applyDemosaic},
    rows<TDatabaseAutoEdgeEnhance_3, &HardwareState::edgeEnhance, kEeLinks>("AEE_3", "EE_3"),
    rows<TDatabaseAutoWideDynamicRange_5_2_1, &HardwareState::wideDynamicRange, kWdrLinks>(
        "AWDR_5_2_1", "WDR_5_2_1"),
    rows<TDatabaseAutoDefectPixelClusterCorrection, &HardwareState::defectPixel, kDpccLinks>(
        "ADPCC", "DPCC"),
};

}  // namespace

std::span<const GainTable> gainTables() {
  return kGainTables;
}

float totalGain(const HardwareState &state) {
  return static_cast<float>(sensorSettingsOf(state).analogGain);
}

}  // namespace tcamera
