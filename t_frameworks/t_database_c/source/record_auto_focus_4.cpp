// "AF_4": the auto-focus control.
#include "fields.h"
#include "t_database_records/auto_focus_4.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoFocus_4;

// Continuous focus over the whole motor range on one centred window of a 1920 x 1080
// picture; the grids weigh the centre most.
constexpr Record makeDefaults() {
  Record defaults{};
  defaults.accurateFocusEnable = 1;
  defaults.accurateFocusStep = 4;
  defaults.afmV11RoiNum = 1;
  defaults.afmV11RoiWeight = 0.8f;
  defaults.afmV11RoiWindow[0][0] = 640;
  defaults.afmV11RoiWindow[0][1] = 360;
  defaults.afmV11RoiWindow[0][2] = 640;
  defaults.afmV11RoiWindow[0][3] = 360;
  defaults.afmV11RoiWindowWeight = 1.0f;
  for (uint32_t y = 0; y < 15; ++y) {
    for (uint32_t x = 0; x < 15; ++x) {
      const uint32_t dx = x > 7 ? x - 7 : 7 - x;
      const uint32_t dy = y > 7 ? y - 7 : 7 - y;
      defaults.afmV3WeightWindow[y * 15 + x] = 1.0f / static_cast<float>(1 + (dx > dy ? dx : dy));
    }
  }
  defaults.cMotionThreshold = 0.15f;
  defaults.cPdConfThreshold = 0.6f;
  defaults.cPointsOfCurve = 9;
  defaults.cStableTolerance = 0.05f;
  defaults.deFocusFrameNum = 5;
  defaults.lossConfidenceFrameNum = 10;
  defaults.maxFocal = 1023;
  defaults.minFocal = 0;
  defaults.mode = 2;
  defaults.pdRoiIndex = 0;
  defaults.pdShiftThreshold = 0.5f;
  defaults.pdStableCountMax = 3;
  const float grid[9] = {0.5f, 0.75f, 0.5f, 0.75f, 1.0f, 0.75f, 0.5f, 0.75f, 0.5f};
  for (uint32_t i = 0; i < 9; ++i) defaults.weightWindow[i] = grid[i];
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kFields[] = {
    boolean("accurateFocusEnable", &Record::accurateFocusEnable),
    field("accurateFocusStep", &Record::accurateFocusStep),
    field("afmV11RoiNum", &Record::afmV11RoiNum),
    field("afmV11RoiWeight", &Record::afmV11RoiWeight),
    field("afmV11RoiWindow", &Record::afmV11RoiWindow),
    field("afmV11RoiWindowWeight", &Record::afmV11RoiWindowWeight),
    field("afmV3WeightWindow", &Record::afmV3WeightWindow),
    field("cMotionThreshold", &Record::cMotionThreshold),
    field("cPdConfThreshold", &Record::cPdConfThreshold),
    field("cPointsOfCurve", &Record::cPointsOfCurve),
    field("cStableTolerance", &Record::cStableTolerance),
    field("deFocusFrameNum", &Record::deFocusFrameNum),
    field("lossConfidenceFrameNum", &Record::lossConfidenceFrameNum),
    field("maxFocal", &Record::maxFocal),
    field("minFocal", &Record::minFocal),
    field("mode", &Record::mode),
    field("pdRoiIndex", &Record::pdRoiIndex),
    field("pdShiftThreshold", &Record::pdShiftThreshold),
    field("pdStableCountMax", &Record::pdStableCountMax),
    field("weightWindow", &Record::weightWindow),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoFocus4Record = {"AF_4", kLayout, &kDefaults};

}  // namespace tdatabase
