// The control loop of one driver: which loops run on a frame, the statistics they share, the
// hardware they program; and the scene controls and status read-out for clients.
#include "control.h"

#include <cmath>
#include <cstring>
#include <mutex>
#include <string_view>

#include "frames.h"

namespace tcamera {
namespace {

// A working copy of a block's hardware state (the record's own settings where the block was
// never programmed), leaving the database record untouched.
template <typename Record>
uint32_t hardwareOf(TDriver &locked, const char *category, Record &out) {
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(locked.database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  std::memcpy(static_cast<void *>(&out), record, sizeof(Record));
  const auto found = locked.hardware.find(std::string_view(category));
  if (found == locked.hardware.end()) return TCOMMON_SUCCESS;
  return TDatabase_copyRecord(category, &out, found->second.get());
}

// The settings of an auto category as its block's last push latched them.
template <typename Record>
uint32_t settingsOf(TDriver &locked, const char *category, const Record **out) {
  const auto found = locked.hardware.find(std::string_view(category));
  if (found != locked.hardware.end()) {
    *out = reinterpret_cast<const Record *>(found->second.get());
    return TCOMMON_SUCCESS;
  }
  void *record = nullptr;  // never pushed: the record's own settings
  const uint32_t code = TDatabase_query(locked.database, category, &record);
  *out = static_cast<const Record *>(record);
  return code;
}

// Programs category's hardware state with record (allocated on first use, as a push does).
uint32_t program(TDriver &locked, const char *category, const void *record) {
  auto found = locked.hardware.find(std::string_view(category));
  if (found == locked.hardware.end()) {
    uint64_t size = 0;
    if (const uint32_t code = TDatabase_recordSize(category, &size); code != TCOMMON_SUCCESS)
      return code;
    if (const uint32_t code = tdriver::allocating([&] {
          found = locked.hardware.emplace(category, std::make_unique<std::byte[]>(size)).first;
        });
        code != TCOMMON_SUCCESS)
      return code;
  }
  ++locked.generation;
  return TDatabase_copyRecord(category, found->second.get(), const_cast<void *>(record));
}

uint32_t zonesAt(TDriver &locked, Source source, const TDatabaseAutoExposureStatistics_2 &unit,
                 ZoneGrid &grid) {
  std::unique_lock<std::mutex> lock;
  SampledFrame *frame = nullptr;
  if (const uint32_t code = frameSamples(locked, source, lock, &frame); code != TCOMMON_SUCCESS)
    return code;
  zonesOf(unit, frame->samples, grid);
  return TCOMMON_SUCCESS;
}

}  // namespace

const char *controlSettingsOf(const char *block) {
  static constexpr const char *kPairs[][2] = {
      {"EC_2", "AE_4"}, {"WB_1_1", "AWB_4"}, {"FC", "AF_4"}};
  for (const auto &pair : kPairs)
    if (std::string_view(block) == pair[0]) return pair[1];
  return nullptr;
}

void zonesOf(const TDatabaseAutoExposureStatistics_2 &unit, const Samples &samples,
             ZoneGrid &grid) {
  grid = {};
  const TDatabaseAutoExposureStatistics_2Weight &w = unit.weight;
  const double weights[4] = {double(w.red), double(w.greenRed), double(w.greenBlue),
                             double(w.blue)};
  const double weightSum = weights[0] + weights[1] + weights[2] + weights[3];
  constexpr float kClip = 0.98f * kFullScale;
  const Window window = windowOf(unit.rectangle, samples);
  if (window.isEmpty()) return;
  for (int row = window.rows.first; row < window.rows.end; ++row) {
    Zone *line = grid.zones[window.rows.cell(row, kControlZones)];
    for (int column = window.columns.first; column < window.columns.end; ++column) {
      const Quad &quad = samples.at(column, row);
      Zone &zone = line[window.columns.cell(column, kControlZones)];
      double luma = 0;
      for (int channel = kRed; channel <= kBlue; ++channel)
        luma += weights[channel] * quad[channel];
      zone.luma += weightSum > 0 ? luma / weightSum : 0;
      ++zone.count;
      if (quad[kRed] >= kClip || quad[kGreenRed] >= kClip || quad[kGreenBlue] >= kClip ||
          quad[kBlue] >= kClip)
        continue;
      zone.r += quad[kRed];
      zone.g += green(quad);
      zone.b += quad[kBlue];
      ++zone.unclipped;
    }
  }
  for (auto &line : grid.zones) {
    for (Zone &zone : line) {
      if (zone.count != 0) zone.luma /= zone.count;
      if (zone.unclipped != 0) {
        zone.r /= zone.unclipped;
        zone.g /= zone.unclipped;
        zone.b /= zone.unclipped;
      }
    }
  }
}

uint32_t runControl(TDriver &locked, ControlUpdate &update) {
  if (locked.control == nullptr) {
    if (const uint32_t code =
            tdriver::allocating([&] { locked.control = std::make_shared<ControlLoops>(); });
        code != TCOMMON_SUCCESS)
      return code;
  }
  ControlLoops &loops = *locked.control;
  ++loops.frames;

  TDatabaseExposureControl_2 exposure{};
  TDatabaseWhiteBalance_1_1 whiteBalance{};
  TDatabaseFocusControl focus{};
  TDatabaseAutoExposureStatistics_2 statistics{};
  TDatabaseInput input{};
  const TDatabaseAutoExposure_4 *exposureSettings = nullptr;
  const TDatabaseAutoWhiteBalance_4 *whiteBalanceSettings = nullptr;
  const TDatabaseAutoFocus_4 *focusSettings = nullptr;
  for (const uint32_t code :
       {hardwareOf(locked, "EC_2", exposure), hardwareOf(locked, "WB_1_1", whiteBalance),
        hardwareOf(locked, "FC", focus), hardwareOf(locked, "AES_2", statistics),
        hardwareOf(locked, "IPT", input), settingsOf(locked, "AE_4", &exposureSettings),
        settingsOf(locked, "AWB_4", &whiteBalanceSettings),
        settingsOf(locked, "AF_4", &focusSettings)})
    if (code != TCOMMON_SUCCESS) return code;

  const bool isExposureOn = exposure.state == 1;
  const bool isWhiteBalanceOn = whiteBalanceSettings->mode == 1;
  const Source exposureSource = statistics.inputSelect == 1 ? Source::kSensor : Source::kProcessed;
  ZoneGrid &processed = loops.grid;
  if (isWhiteBalanceOn || (isExposureOn && exposureSource == Source::kProcessed)) {
    if (const uint32_t code = zonesAt(locked, Source::kProcessed, statistics, processed);
        code != TCOMMON_SUCCESS)
      return code;
  }

  if (isExposureOn) {
    ZoneGrid *metered = &processed;
    std::unique_ptr<ZoneGrid> sensor;
    if (exposureSource == Source::kSensor) {
      if (const uint32_t code = tdriver::allocating([&] { sensor = std::make_unique<ZoneGrid>(); });
          code != TCOMMON_SUCCESS)
        return code;
      if (const uint32_t code = zonesAt(locked, Source::kSensor, statistics, *sensor);
          code != TCOMMON_SUCCESS)
        return code;
      metered = sensor.get();
    }
    update.exposure =
        exposureStep(loops.exposure, *exposureSettings, exposure, *metered, input.framerate);
  } else {
    loops.exposure = {};
  }

  if (isWhiteBalanceOn)
    update.whiteBalance =
        whiteBalanceStep(loops.whiteBalance, *whiteBalanceSettings, whiteBalance, processed);
  else
    loops.whiteBalance = {};

  TDatabaseAutoFocusMeasurement_3 unit{};
  if (const uint32_t code = hardwareOf(locked, "AFM_3", unit); code != TCOMMON_SUCCESS) return code;
  if (focus.mode != 0 && focusSettings->mode != 0 && unit.isEnable != 0) {
    unit.statistics = {};
    if (const uint32_t code =
            measureFrame(locked, Source::kProcessed, "AFM_3", unit,
                         [&unit](const Samples &samples) { measureFocusOf(unit, samples); });
        code != TCOMMON_SUCCESS)
      return code;
    update.focus = focusStep(loops.focus, *focusSettings, focus,
                             focusMeasure(unit, focusSettings->weightWindow));
  } else {
    loops.focus = {};
  }
  return TCOMMON_SUCCESS;
}

uint32_t applyControl(TDriver &locked, const ControlUpdate &update) {
  if (update.exposure) {
    if (const uint32_t code = program(locked, "EC_2", &*update.exposure); code != TCOMMON_SUCCESS)
      return code;
  }
  if (update.whiteBalance) {
    if (const uint32_t code = program(locked, "WB_1_1", &*update.whiteBalance);
        code != TCOMMON_SUCCESS)
      return code;
  }
  if (update.focus) {
    if (const uint32_t code = program(locked, "FC", &*update.focus); code != TCOMMON_SUCCESS)
      return code;
  }
  return TCOMMON_SUCCESS;
}

}  // namespace tcamera

namespace {

struct SceneRange {
  const char *name;
  double tdriver::SceneControls::*value;
  double low, high;
};
constexpr SceneRange kSceneRanges[] = {
    {"lux", &tdriver::SceneControls::lux, 0, 100000},
    {"illuminant", &tdriver::SceneControls::kelvin, 2800, 7500},
};
// The scene kinds a client may pick: the chart, the flat grey and the injected frame.
constexpr uint32_t kSceneKinds = 3;

}  // namespace

extern "C" TDRIVER_API uint32_t TDriverScene_set(TDriver *driver, const char *name, double value) {
  if (name == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return tdriver::withDriver(driver, [&](TDriver &locked) -> uint32_t {
    const std::string_view wanted(name);
    if (wanted == "scene") {
      // Not "value < 0": a value that is not a number is refused too.
      if (!(value >= 0 && value < kSceneKinds) || value != std::floor(value))
        return TCOMMON_OUT_OF_RANGE;
      // The injected scene needs a frame to show.
      if (value == tdriver::kInjectedScene && locked.injected == nullptr) return TCOMMON_NOT_FOUND;
      locked.scene.kind = static_cast<uint32_t>(value);
      ++locked.generation;
      return TCOMMON_SUCCESS;
    }
    for (const SceneRange &range : kSceneRanges) {
      if (wanted != range.name) continue;
      if (!(value >= range.low && value <= range.high)) return TCOMMON_OUT_OF_RANGE;
      locked.scene.*range.value = value;
      ++locked.generation;
      return TCOMMON_SUCCESS;
    }
    return TCOMMON_NOT_FOUND;
  });
}

extern "C" TDRIVER_API uint32_t TDriverScene_get(TDriver *driver, const char *name, double *value) {
  if (name == nullptr || value == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return tdriver::withDriver(driver, [&](TDriver &locked) -> uint32_t {
    const std::string_view wanted(name);
    if (wanted == "scene") {
      *value = locked.scene.kind;
      return TCOMMON_SUCCESS;
    }
    for (const SceneRange &range : kSceneRanges) {
      if (wanted != range.name) continue;
      *value = locked.scene.*range.value;
      return TCOMMON_SUCCESS;
    }
    return TCOMMON_NOT_FOUND;
  });
}

extern "C" TDRIVER_API uint32_t TDriverControl_status(TDriver *driver,
                                                      TDriverControlStatus *status) {
  if (status == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return tdriver::withDriver(driver, [&](TDriver &locked) -> uint32_t {
    *status = TDriverControlStatus{};
    TDatabaseExposureControl_2 exposure{};
    TDatabaseWhiteBalance_1_1 whiteBalance{};
    TDatabaseFocusControl focus{};
    for (const uint32_t code : {tcamera::hardwareOf(locked, "EC_2", exposure),
                                tcamera::hardwareOf(locked, "WB_1_1", whiteBalance),
                                tcamera::hardwareOf(locked, "FC", focus)})
      if (code != TCOMMON_SUCCESS) return code;
    status->exposureTime = exposure.integrationTime[0];
    status->analogGain = exposure.gain.analog[0];
    status->digitalGain = exposure.gain.digital[0];
    for (int c = 0; c < 4; ++c) status->gains[c] = whiteBalance.gain[c];
    status->lensPosition = focus.position;
    const bool isStreaming = locked.state == TDRIVER_STATE_STREAMING;
    if (locked.control == nullptr) return TCOMMON_SUCCESS;
    const tcamera::ControlLoops &loops = *locked.control;
    status->frames = loops.frames;
    status->exposureState = isStreaming ? loops.exposure.state : uint32_t{TDRIVER_CONTROL_OFF};
    status->luma = static_cast<float>(loops.exposure.luma);
    status->target = static_cast<float>(loops.exposure.target);
    status->whiteBalanceState =
        isStreaming ? loops.whiteBalance.state : uint32_t{TDRIVER_CONTROL_OFF};
    status->kelvin = static_cast<float>(loops.whiteBalance.kelvin);
    status->focusState = isStreaming ? loops.focus.state : uint32_t{TDRIVER_CONTROL_OFF};
    status->focusValue = static_cast<float>(loops.focus.value);
    return TCOMMON_SUCCESS;
  });
}
