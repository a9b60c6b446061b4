// "AWB_4": the auto-white-balance control.
#include "fields.h"
#include "t_database_records/auto_white_balance_4.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoWhiteBalance_4;
using ConfoundPoint = TDatabaseAutoWhiteBalance_4ConfoundPoint;
using GrayPreference = TDatabaseAutoWhiteBalance_4GrayPreference;
using LightWeightLevel = TDatabaseAutoWhiteBalance_4LightWeightLevel;
using TemPreference = TDatabaseAutoWhiteBalance_4TemPreference;

constexpr uint32_t kLevels = 18;
constexpr uint16_t kUnityGain = 256;  // 8.8 fixed point

// Manual white balance (the auto loop off, as exposure and focus ship); damped and unlocked
// once switched on, with the calibrated positions of the confounding sources;
// the brightness levels double from 1 lux up, with neutral grey gains and equal weights.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.useDamping = 1;
  defaults.useManualDampCoff = 0;
  defaults.manualDampCoff = 0.5f;
  defaults.awbEnterLockThreshold = 0.1f;
  defaults.awbEnterUnlockThreshold = 0.2f;
  for (float &weight : defaults.awbTemWeight) weight = 1.0f;
  for (uint32_t i = 0; i < 10; ++i) defaults.confidenceThreshold[i] = 0.1f * static_cast<float>(i);
  defaults.confoundPointCwf = {
      .customPositionEnable = 0, .bg = 0.55f, .rg = 0.6f, .threshold = 0.05f};
  defaults.confoundPointD65 = {
      .customPositionEnable = 0, .bg = 0.75f, .rg = 0.45f, .threshold = 0.05f};
  defaults.confoundPointTl84 = {
      .customPositionEnable = 0, .bg = 0.5f, .rg = 0.62f, .threshold = 0.05f};
  defaults.faceAwbEnable = 0;
  defaults.faceWeight = 0.5f;
  for (GrayPreference &row : defaults.grayPreference) {
    for (uint32_t i = 0; i < kLevels; ++i) {
      row.brightnessLevel[i] = static_cast<float>(1u << i);
      row.grayBgain[i] = kUnityGain;
      row.grayRgain[i] = kUnityGain;
    }
    row.preferenceGainEnable = 0;
  }
  for (LightWeightLevel &row : defaults.lightWeightLevel) {
    row.lightWeightLevelEnable = 0;
    for (uint32_t i = 0; i < kLevels; ++i) {
      row.brightnessLevel[i] = static_cast<float>(1u << i);
      row.weight[i] = 1.0f;
    }
  }
  defaults.mode = 0;  // manual: the loop starts when a client sets mode 1
  defaults.faceAwbRoiNum = 0;
  defaults.performanceOptiMode = 0;
  defaults.roiNumber = 1;
  defaults.roiWeight = 0.5f;
  const float centred[5] = {0.25f, 0.25f, 0.5f, 0.5f, 1.0f};
  for (uint32_t c = 0; c < 5; ++c) defaults.roiWindow[0][c] = centred[c];
  defaults.temPreference = {
      .preferenceA = 100, .preferenceCwf = 100, .preferenceD65 = 100, .temptureEnable = 0};
  defaults.useCcOffset = 1;
  defaults.useCcMatrix = 1;
  defaults.grayPreferenceIndex = 0;
  defaults.lightWeightLevelIndex = 0;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kConfoundFields[] = {
    boolean("customPositionEnable", &ConfoundPoint::customPositionEnable),
    field("bg", &ConfoundPoint::bg),
    field("rg", &ConfoundPoint::rg),
    field("threshold", &ConfoundPoint::threshold),
};
const Layout kConfoundLayout = layoutOf<ConfoundPoint>(kConfoundFields);

const Field kGrayPreferenceFields[] = {
    field("brightnessLevel", &GrayPreference::brightnessLevel),
    field("grayBgain", &GrayPreference::grayBgain),
    field("grayRgain", &GrayPreference::grayRgain),
    boolean("preferenceGainEnable", &GrayPreference::preferenceGainEnable),
};
const Layout kGrayPreferenceLayout = layoutOf<GrayPreference>(kGrayPreferenceFields);

const Field kLightWeightLevelFields[] = {
    boolean("lightWeightLevelEnable", &LightWeightLevel::lightWeightLevelEnable),
    field("brightnessLevel", &LightWeightLevel::brightnessLevel),
    field("weight", &LightWeightLevel::weight),
};
const Layout kLightWeightLevelLayout = layoutOf<LightWeightLevel>(kLightWeightLevelFields);

const Field kTemPreferenceFields[] = {
    field("preferenceA", &TemPreference::preferenceA),
    field("preferenceCwf", &TemPreference::preferenceCwf),
    field("preferenceD65", &TemPreference::preferenceD65),
    boolean("temptureEnable", &TemPreference::temptureEnable),
};
const Layout kTemPreferenceLayout = layoutOf<TemPreference>(kTemPreferenceFields);

const Field kFields[] = {
    boolean("useDamping", &Record::useDamping),
    boolean("useManualDampCoff", &Record::useManualDampCoff),
    field("manualDampCoff", &Record::manualDampCoff),
    field("awbEnterLockThreshold", &Record::awbEnterLockThreshold),
    field("awbEnterUnlockThreshold", &Record::awbEnterUnlockThreshold),
    field("awbTemWeight", &Record::awbTemWeight),
    field("faceAwbBg", &Record::faceAwbBg),
    field("confidenceThreshold", &Record::confidenceThreshold),
    group("confoundPointCwf", &Record::confoundPointCwf, kConfoundLayout),
    group("confoundPointD65", &Record::confoundPointD65, kConfoundLayout),
    group("confoundPointTl84", &Record::confoundPointTl84, kConfoundLayout),
    boolean("faceAwbEnable", &Record::faceAwbEnable),
    field("faceWeight", &Record::faceWeight),
    table("grayPreference", &Record::grayPreference, kGrayPreferenceLayout),
    table("lightWeightLevel", &Record::lightWeightLevel, kLightWeightLevelLayout),
    field("mode", &Record::mode),
    field("faceAwbRg", &Record::faceAwbRg),
    field("faceAwbRoiNum", &Record::faceAwbRoiNum),
    field("performanceOptiMode", &Record::performanceOptiMode),
    field("roiNumber", &Record::roiNumber),
    field("roiWeight", &Record::roiWeight),
    field("roiWindow", &Record::roiWindow),
    group("temPreference", &Record::temPreference, kTemPreferenceLayout),
    boolean("useCcOffset", &Record::useCcOffset),
    boolean("useCcMatrix", &Record::useCcMatrix),
    field("grayPreferenceIndex", &Record::grayPreferenceIndex),
    field("lightWeightLevelIndex", &Record::lightWeightLevelIndex),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoWhiteBalance4Record = {"AWB_4", kLayout, &kDefaults};

}  // namespace tdatabase
