// "AE_4": the auto-exposure control.
#include "fields.h"
#include "t_database_records/auto_exposure_4.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoExposure_4;

constexpr uint32_t kFrames = 8;
constexpr uint32_t kGrid = 32;  // the metering grid of expV2WindowWeight is kGrid x kGrid

// A 10 ms exposure at unity gain on the long frame, each further HDR frame a quarter of the
// one before; centre-weighted metering over the grid and one centred window; low-light
// repression stepping in from 8x gain.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.aeFrontGroundType = 0;
  defaults.aeFaceWeight = 0.5f;
  defaults.aeTouchWeight = 0.5f;
  defaults.antiFlickerMode = 1;
  defaults.dampOver = 0.3f;
  defaults.dampOverGain = 4.0f;
  defaults.dampOverRatio = 0.5f;
  defaults.dampUnder = 0.5f;
  defaults.dampUnderGain = 4.0f;
  defaults.dampUnderRatio = 0.5f;
  float time = 0.01f;
  for (uint32_t i = 0; i < kFrames; ++i) {
    defaults.aGain[i] = 1.0f;
    defaults.dGain[i] = 1.0f;
    defaults.exposureTime[i] = time;
    time /= 4.0f;
    defaults.ispGain[i] = 1.0f;
    const auto gain = static_cast<float>(1u << (i + 3));  // 8x .. 1024x
    defaults.lowLightHdrGain[i] = gain;
    defaults.lowLightLinearGain[i] = gain;
    defaults.lowLightHdrRepress[i] = 1.0f - 0.1f * static_cast<float>(i);
    defaults.lowLightLinearRepress[i] = 1.0f - 0.1f * static_cast<float>(i);
  }
  defaults.expDecomposeCustom = 0;
  defaults.expTableNum = 1;
  for (uint32_t y = 0; y < kGrid; ++y) {
    for (uint32_t x = 0; x < kGrid; ++x) {
      const bool centre =
          x >= kGrid / 4 && x < 3 * kGrid / 4 && y >= kGrid / 4 && y < 3 * kGrid / 4;
      defaults.expV2WindowWeight[y * kGrid + x] = centre ? 2.0f : 1.0f;
    }
  }
  defaults.expV3RoiNum = 1;
  defaults.expV3RoiWeight = 0.5f;
  const float centred[5] = {0.25f, 0.25f, 0.5f, 0.5f, 1.0f};
  for (uint32_t c = 0; c < 5; ++c) {
    defaults.expV3RoiWindow[0][c] = centred[c];
    defaults.roiWindow[0][c] = centred[c];
  }
  for (float &weight : defaults.expV3RoiWindowWeight) weight = 1.0f;
  defaults.frameCalEnable = 0;
  defaults.lowLightHdrLevel = 16;
  defaults.lowLightLinearLevel = 16;
  defaults.motionFilter = 0.5f;
  defaults.motionThreshold = 0.5f;
  defaults.performanceOptiMode = 0;
  defaults.roiNumber = 1;
  defaults.roiWeight = 0.5f;
  defaults.semMode = 1;
  defaults.setPoint = 50.0f;
  defaults.targetFilter = 0.5f;
  defaults.tolerance = 7.0f;
  defaults.wdrContrastMax = 10.0f;
  defaults.wdrContrastMin = 1.0f;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kFields[] = {
    field("aeFrontGroundType", &Record::aeFrontGroundType),
    field("aeFaceWeight", &Record::aeFaceWeight),
    field("aeTouchWeight", &Record::aeTouchWeight),
    field("aGain", &Record::aGain),
    field("antiFlickerMode", &Record::antiFlickerMode),
    field("dampOver", &Record::dampOver),
    field("dampOverGain", &Record::dampOverGain),
    field("dampOverRatio", &Record::dampOverRatio),
    field("dampUnder", &Record::dampUnder),
    field("dampUnderGain", &Record::dampUnderGain),
    field("dampUnderRatio", &Record::dampUnderRatio),
    field("dGain", &Record::dGain),
    boolean("expDecomposeCustom", &Record::expDecomposeCustom),
    field("exposureTime", &Record::exposureTime),
    field("expTableNum", &Record::expTableNum),
    field("expV2WindowWeight", &Record::expV2WindowWeight),
    field("expV3RoiNum", &Record::expV3RoiNum),
    field("expV3RoiWeight", &Record::expV3RoiWeight),
    field("expV3RoiWindow", &Record::expV3RoiWindow),
    field("expV3RoiWindowWeight", &Record::expV3RoiWindowWeight),
    boolean("frameCalEnable", &Record::frameCalEnable),
    field("ispGain", &Record::ispGain),
    field("lowLightHdrGain", &Record::lowLightHdrGain),
    field("lowLightHdrLevel", &Record::lowLightHdrLevel),
    field("lowLightHdrRepress", &Record::lowLightHdrRepress),
    field("lowLightLinearGain", &Record::lowLightLinearGain),
    field("lowLightLinearLevel", &Record::lowLightLinearLevel),
    field("lowLightLinearRepress", &Record::lowLightLinearRepress),
    field("motionFilter", &Record::motionFilter),
    field("motionThreshold", &Record::motionThreshold),
    field("performanceOptiMode", &Record::performanceOptiMode),
    field("roiNumber", &Record::roiNumber),
    field("roiWeight", &Record::roiWeight),
    field("roiWindow", &Record::roiWindow),
    field("semMode", &Record::semMode),
    field("setPoint", &Record::setPoint),
    field("targetFilter", &Record::targetFilter),
    field("tolerance", &Record::tolerance),
    field("wdrContrastMax", &Record::wdrContrastMax),
    field("wdrContrastMin", &Record::wdrContrastMin),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoExposure4Record = {"AE_4", kLayout, &kDefaults};

}  // namespace tdatabase
