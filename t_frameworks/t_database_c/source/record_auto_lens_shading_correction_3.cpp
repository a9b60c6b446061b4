// "ALSC_3": lens shading correction strength that follows the sensor gain.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_lens_shading_correction_3.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoLensShadingCorrection_3;

// Full correction at unity gain, easing off to half at the highest gain: the corner gain
// of the shading tables would otherwise amplify the noise in the corners most.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.autoLevel = 1;
  defaults.damping = 0.3f;
  defaults.interMode = 1;
  fillGainPoints(defaults);
  for (uint32_t k = 0; k < kGainPoints; ++k) {
    defaults.strength[k] = 1.0f - 0.5f * static_cast<float>(k) / (kGainPoints - 1);
  }
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kFields[] = {
    field("autoLevel", &Record::autoLevel), field("damping", &Record::damping),
    field("interMode", &Record::interMode), field("gains", &Record::gains),
    field("strength", &Record::strength),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoLensShadingCorrection3Record = {"ALSC_3", kLayout, &kDefaults};

}  // namespace tdatabase
