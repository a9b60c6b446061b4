// The pipeline of the simulated camera: sensor settings from the hardware state, the stages
// in hardware order, the taps it keeps and the 8-bit output.
#include "pipeline.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <mutex>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr double kDefaultExposureRatio = 16;  // long over short, when EC_2 gives no ratio
constexpr double kMaxExposureRatio = 256;

constexpr std::array<const char *, kTapCount> kTapNames = {
    "raw",       "BLS",        "DPCC",    "LSC_3",  "GE",     "DG",     "WB_1_1",
    "CPD_1_1",   "HDR_3_2DOL", "RGBIR",   "2DNR_6", "DMSC_3", "CCM",    "GC_2",
    "WDR_5_2_1", "CP_1_2",     "CNR_2_2", "EE_3",   "3DNR_4", "output",
};

#define STATE_RECORD(category, member)        \
  StateRecord {                               \
    category, offsetof(HardwareState, member) \
  }

constexpr std::array<StateRecord, 23> kStateRecords = {{
    STATE_RECORD("IPT", input),
    STATE_RECORD("SS", sensor),
    STATE_RECORD("EC_2", exposure),
    STATE_RECORD("FC", focus),
    STATE_RECORD("BLS", blackLevel),
    STATE_RECORD("DPCC", defectPixel),
    STATE_RECORD("LSC_3", lensShading),
    STATE_RECORD("GE", greenEquilibration),
    STATE_RECORD("DG", digitalGain),
    STATE_RECORD("WB_1_1", whiteBalance),
    STATE_RECORD("CPD_1_1", compand),
    STATE_RECORD("HDR_3_2DOL", highDynamicRange),
    STATE_RECORD("RGBIR", rgbInfrared),
    STATE_RECORD("RGBIR_1_1", rgbInfrared_1_1),
    STATE_RECORD("2DNR_6", noiseReduction2D),
    STATE_RECORD("DMSC_3", demosaic),
    STATE_RECORD("CCM", colorCorrection),
    STATE_RECORD("GC_2", gamma),
    STATE_RECORD("WDR_5_2_1", wideDynamicRange),
    STATE_RECORD("CP_1_2", colorProcess),
    STATE_RECORD("CNR_2_2", colorNoiseReduction),
    STATE_RECORD("EE_3", edgeEnhance),
    STATE_RECORD("3DNR_4", noiseReduction3D),
}};

#undef STATE_RECORD

// A time or gain as the sensor takes it: nothing below zero, nothing that is not a number.
double factor(float value) {
  return std::isfinite(value) && value > 0 ? value : 0;
}

// The built-in defaults of every block, read once from a database opened on its defaults.
const HardwareState &builtInDefaults() {
  static const std::unique_ptr<HardwareState> defaults = [] {
    auto state = std::make_unique<HardwareState>();
    std::memset(static_cast<void *>(state.get()), 0, sizeof(HardwareState));
    TDatabase *database = nullptr;
    if (TDatabase_open(nullptr, &database) == TCOMMON_SUCCESS) {
      auto *base = reinterpret_cast<std::byte *>(state.get());
      for (const StateRecord &record : kStateRecords) {
        void *source = nullptr;
        if (TDatabase_query(database, record.category, &source) == TCOMMON_SUCCESS)
          TDatabase_copyRecord(record.category, base + record.offset, source);
      }
      TDatabase_close(&database);
    }
    return state;
  }();
  return *defaults;
}

// sRGB encoding of linear light in [0, 1], and the plain quantisation of an encoded value,
// as tables over 4096 steps of the input (finer than the 256 output levels need).
constexpr int kOutputSteps = 4096;

struct OutputTables {
  std::array<uint8_t, kOutputSteps + 1> linear;
  std::array<uint8_t, kOutputSteps + 1> encoded;
};

const OutputTables &outputTables() {
  static const OutputTables tables = [] {
    OutputTables made{};
    for (int i = 0; i <= kOutputSteps; ++i) {
      const double value = double(i) / kOutputSteps;
      const double srgb =
          value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1 / 2.4) - 0.055;
      made.linear[i] = static_cast<uint8_t>(std::lround(std::clamp(srgb, 0.0, 1.0) * 255));
      made.encoded[i] = static_cast<uint8_t>(std::lround(value * 255));
    }
    return made;
  }();
  return tables;
}

using Clock = std::chrono::steady_clock;

}  // namespace

std::optional<Tap> tapNamed(std::string_view name) {
  if (name == "RGBIR_1_1") return Tap::kRgbInfrared;
  for (int tap = 0; tap < kTapCount; ++tap)
    if (name == kTapNames[tap]) return static_cast<Tap>(tap);
  return std::nullopt;
}

const char *tapName(Tap tap) {
  return kTapNames[static_cast<int>(tap)];
}

const std::array<StateRecord, 23> &stateRecords() {
  return kStateRecords;
}

const HardwareState &defaultHardwareState() {
  return builtInDefaults();
}

SensorSettings sensorSettingsOf(const HardwareState &state) {
  SensorSettings settings;
  const TDatabaseInputPath &path =
      state.input.paths[std::min<uint64_t>(state.input.pathIndex, TDATABASE_INPUT_PATH_COUNT - 1)];
  settings.width = static_cast<int>(std::min<uint32_t>(path.rectangle.width, kMaxWidth));
  settings.height = static_cast<int>(std::min<uint32_t>(path.rectangle.height, kMaxHeight));
  settings.bayerOrder = path.bayerPattern & 3u;
  settings.bitDepth = path.format >= 2 ? 12 : 10;  // RAW8/RAW10: 10 bits; RAW12 and up: 12

  const TDatabaseExposureControl_2 &exposure = state.exposure;
  settings.exposureTime = factor(exposure.integrationTime[0]);
  settings.analogGain = factor(exposure.gain.analog[0]) * factor(exposure.gain.digital[0]);
  settings.twoExposure = path.stitchingMode != 0;
  const double shortTime = factor(exposure.integrationTime[1]);
  const double ratio = shortTime > 0 ? settings.exposureTime / shortTime : 0;
  settings.exposureRatio = ratio > 1 ? std::min(ratio, kMaxExposureRatio) : kDefaultExposureRatio;

  settings.lensPosition = state.focus.position;
  const TDatabaseSensorMode &mode =
      state.sensor
          .modes[std::min<uint16_t>(state.sensor.modeIndex, TDATABASE_SENSOR_MODE_COUNT - 1)];
  settings.rgbIr = mode.type == 1;
  return settings;
}

void toOutput(const RgbImage &image, OutputImage &output) {
  output.width = image.width;
  output.height = image.height;
  output.data.resize(image.data.size());
  const auto &table = image.encoded ? outputTables().encoded : outputTables().linear;
  const size_t rowValues = static_cast<size_t>(image.width) * 3;
  parallelRows(image.height, [&](int first, int last) {
    using namespace vector4;
    using Index = int __attribute__((vector_size(16)));
    const float *in = image.data.data() + first * rowValues;
    uint8_t *out = output.data.data() + first * rowValues;
    const size_t count = (last - first) * rowValues;
    // Not "v < 0": a value that is not a number reads black.
    const auto level = [](Vec v) { return v > splat(0.0f) ? min(v, splat(1.0f)) : splat(0.0f); };
    const auto indexOf = [&](Vec v) {
      return __builtin_convertvector(level(v) * splat(kOutputSteps) + splat(0.5f), Index);
    };
    size_t i = 0;
    if (image.encoded) {
      // The encoded table's entry i is round(i x 255 / kOutputSteps), which floats hold
      // exactly (at most 20 significant bits): worked out four at a time, not looked up, for a
      // run of values, then narrowed to bytes in a loop the compiler vectorises.
      constexpr size_t kRun = 256;
      int32_t codes[kRun];
      for (; i + kRun <= count; i += kRun) {
        for (size_t k = 0; k < kRun; k += kLanes) {
          const Vec at = __builtin_convertvector(indexOf(load(in + i + k)), Vec);
          const Index code =
              __builtin_convertvector(at * splat(255.0f / kOutputSteps) + splat(0.5f), Index);
          std::memcpy(codes + k, &code, sizeof code);
        }
        for (size_t k = 0; k < kRun; ++k) out[i + k] = static_cast<uint8_t>(codes[k]);
      }
    }
    for (; i + kLanes <= count; i += kLanes) {
      const Index at = indexOf(load(in + i));
      for (int k = 0; k < kLanes; ++k) out[i + k] = table[at[k]];
    }
    for (; i < count; ++i)
      out[i] = table[static_cast<int>(level(splat(in[i]))[0] * kOutputSteps + 0.5f)];
  });
}

Pipeline::Pipeline() : state_(std::make_unique<HardwareState>()) {
  std::memcpy(static_cast<void *>(state_.get()), &defaultHardwareState(), sizeof(HardwareState));
}

Pipeline::~Pipeline() = default;

void Pipeline::setState(const HardwareState &state) {
  if (std::memcmp(state_.get(), &state, sizeof(HardwareState)) == 0) return;
  std::memcpy(static_cast<void *>(state_.get()), &state, sizeof(HardwareState));
  dropFrame();
}

void Pipeline::setScene(SceneKind kind, double lux, double kelvin) {
  if (scene_.scene == kind && scene_.lux == lux && scene_.illuminantKelvin == kelvin) return;
  scene_.scene = kind;
  scene_.lux = lux;
  scene_.illuminantKelvin = kelvin;
  dropFrame();
}

void Pipeline::dropFrame() {
  for (Kept &kept : kept_) kept = {};
  output_.reset();
}

void Pipeline::setInjection(std::shared_ptr<const InjectedFrame> frame, bool on, bool live) {
  const bool before = deliversInjected();
  const bool armed = frame != injected_ || (on && !injectOn_);
  const bool changed = frame != injected_;
  injected_ = std::move(frame);
  injectOn_ = on;
  injectLive_ = live;
  if (armed) showOnce_ = true;
  if (changed || deliversInjected() != before) dropFrame();
}

bool Pipeline::isTemporalActive() const {
  return state_->noiseReduction3D.state != 0;
}

template <typename Image>
std::shared_ptr<Image> Pipeline::spare(std::vector<std::shared_ptr<Image>> &pool) {
  for (const auto &image : pool)
    if (image.use_count() == 1) return image;
  return pool.emplace_back(std::make_shared<Image>());
}

void Pipeline::advance() {
  if (isTemporalActive() && !looked_) {
    dropFrame();  // the history of the last frame looked at stays
  } else if (isTemporalActive()) {
    rgbAt(Tap::kNoiseReduction3D);
    std::shared_ptr<const RgbImage> previous = std::move(kept_[int(Tap::kNoiseReduction3D)].rgb);
    // Once the taps are dropped below only the pool holds the image, unless a bypassed stage
    // passed the same image to a kept tap: then it is copied. Otherwise the history and the
    // pool trade buffers, so the old history is written by a stage of the next frame.
    dropFrame();
    if (previous.use_count() == 2)
      std::swap(history_.previous, const_cast<RgbImage &>(*previous));
    else
      history_.previous = *previous;
    history_.frameNumber = frameNumber_;
    history_.valid = true;
  } else {
    dropFrame();
    history_ = {};
  }
  looked_ = false;
  ++frameNumber_;
  if (!injectLive_ && injected_ != nullptr && injectOn_) showOnce_ = false;  // delivered once
}

FrameContext Pipeline::context() const {
  const SensorSettings settings = sensorSettingsOf(*state_);
  FrameContext context;
  context.frameNumber = frameNumber_;
  context.bitDepth = settings.bitDepth;
  if (deliversInjected() && injected_->mosaic != nullptr) {
    // Thresholds on the sensor's scale follow the injected frame's depth.
    int bits = 8;
    while (bits < 16 && float(1 << bits) <= injected_->mosaic->whiteLevel) ++bits;
    context.bitDepth = bits;
  }
  context.sensorGain = static_cast<float>(settings.analogGain);
  context.exposureTime = static_cast<float>(settings.exposureTime);
  return context;
}

// The raw frame is kept too: a client that reads a pixel at a stage and in the raw frame (the
// pixel probe) would otherwise have the sensor render the same frame twice.
bool Pipeline::keeps(Tap tap) const {
  return tap == Tap::kRaw || tap == Tap::kWhiteBalance || tap == Tap::kNoiseReduction3D ||
         requested_ == tap;
}

const Mosaic &Pipeline::mosaicAt(Tap tap) {
  if (tap != Tap::kWhiteBalance) requested_ = tap;
  if (kept_[int(tap)].mosaic == nullptr) render(tap);
  return *kept_[int(tap)].mosaic;
}

const RgbImage &Pipeline::rgbAt(Tap tap) {
  if (tap != Tap::kNoiseReduction3D) requested_ = tap;
  if (kept_[int(tap)].rgb == nullptr) render(tap);
  return *kept_[int(tap)].rgb;
}

const OutputImage &Pipeline::output() {
  if (output_ == nullptr) render(Tap::kOutput);
  return *output_;
}

void Pipeline::render(Tap target) {
  looked_ = true;
  // Taps that are no longer asked for go; then start from the latest kept one before target.
  for (int tap = 0; tap < kTapCount; ++tap) {
    if (!keeps(Tap(tap)) && tap != int(target)) kept_[tap] = {};
  }
  const int last = std::min(int(target), int(Tap::kNoiseReduction3D));
  int start = -1;
  for (int tap = last; tap >= 0 && start < 0; --tap) {
    if (kept_[tap].mosaic != nullptr || kept_[tap].rgb != nullptr) start = tap;
  }
  std::shared_ptr<const Mosaic> mosaic;
  std::shared_ptr<const RgbImage> rgb;
  const FrameContext frame = context();
  const HardwareState &s = *state_;
  if (start < 0) {
    times_ = {};
    const auto begin = Clock::now();
    auto raw = spare(mosaics_);
    if (deliversInjected() && injected_->mosaic != nullptr) {
      *raw = *injected_->mosaic;
    } else {
      SensorSettings settings = sensorSettingsOf(s);
      settings.scene = scene_.scene;
      settings.lux = scene_.lux;
      settings.illuminantKelvin = scene_.illuminantKelvin;
      if (deliversInjected()) settings.picture = injected_->picture;
      captureSensor(settings, frameNumber_, *raw);
    }
    mosaic = std::move(raw);
    times_[int(Tap::kRaw)] = std::chrono::duration<double>(Clock::now() - begin).count();
    start = int(Tap::kRaw);
    if (keeps(Tap::kRaw) || target == Tap::kRaw) kept_[start].mosaic = mosaic;
  } else {
    mosaic = kept_[start].mosaic;
    rgb = kept_[start].rgb;
  }

  // A stage that leaves the picture as it is passes its input on.
  const auto bayer = [&](auto stage, const auto &record) {
    auto out = spare(mosaics_);
    if (stage(*mosaic, record, frame, *out)) mosaic = std::move(out);
  };
  const auto colour = [&](auto stage, const auto &record) {
    auto out = spare(rgbs_);
    if (stage(*rgb, record, frame, *out)) rgb = std::move(out);
  };
  for (int tap = start + 1; tap <= last; ++tap) {
    const auto begin = Clock::now();
    switch (Tap(tap)) {
      case Tap::kRaw:
        break;
      case Tap::kBlackLevel:
        bayer(stageBlackLevelSubtraction, s.blackLevel);
        if (mosaic->blackLevel != 0) {
          // Past this block the hardware knows of no pedestal: what the block left in the
          // data (bypassed, or told a lower level) is picture, and shows as lifted blacks.
          auto lifted = spare(mosaics_);
          *lifted = *mosaic;
          lifted->blackLevel = 0;
          mosaic = std::move(lifted);
        }
        break;
      case Tap::kDefectPixel:
        bayer(stageDefectPixelClusterCorrection, s.defectPixel);
        break;
      case Tap::kLensShading:
        bayer(stageLensShadingCorrection_3, s.lensShading);
        break;
      case Tap::kGreenEquilibration:
        bayer(stageGreenEquilibration, s.greenEquilibration);
        break;
      case Tap::kDigitalGain:
        bayer(stageDigitalGain, s.digitalGain);
        break;
      case Tap::kWhiteBalance:
        bayer(stageWhiteBalance_1_1, s.whiteBalance);
        break;
      case Tap::kCompand:
        bayer(stageCompand_1_1, s.compand);
        break;
      case Tap::kHighDynamicRange:
        bayer(stageHighDynamicRange_3_2Dol, s.highDynamicRange);
        break;
      case Tap::kRgbInfrared:
        // Only a mosaic with infrared sites has anything for this stage to separate.
        if (std::find(mosaic->pattern.begin(), mosaic->pattern.end(), Cfa::kInfrared) !=
            mosaic->pattern.end())
          bayer(stageRgbInfraredRadiation,
                s.rgbInfrared_1_1.state != 0 ? s.rgbInfrared_1_1 : s.rgbInfrared);
        break;
      case Tap::kNoiseReduction2D:
        bayer(stage2DNoiseReduction_6, s.noiseReduction2D);
        break;
      case Tap::kDemosaic: {
        auto out = spare(rgbs_);
        stageDeMosaic_3(*mosaic, s.demosaic, frame, *out);
        rgb = std::move(out);
        mosaic.reset();
        break;
      }
      case Tap::kColorCorrection:
        colour(stageColorCorrectionMatrix, s.colorCorrection);
        break;
      case Tap::kGamma:
        colour(stageGammaCorrection_2, s.gamma);
        break;
      case Tap::kWideDynamicRange:
        colour(stageWideDynamicRange_5_2_1, s.wideDynamicRange);
        break;
      case Tap::kColorProcess:
        colour(stageColorProcess_1_2, s.colorProcess);
        break;
      case Tap::kColorNoiseReduction:
        colour(stageColorNoiseReduction_2_2, s.colorNoiseReduction);
        break;
      case Tap::kEdgeEnhance:
        colour(stageEdgeEnhance_3, s.edgeEnhance);
        break;
      case Tap::kNoiseReduction3D: {
        // The stage reads the history; the pipeline alone moves it on (see advance).
        auto out = spare(rgbs_);
        if (stage3DNoiseReduction_4(*rgb, s.noiseReduction3D, frame, history_, *out))
          rgb = std::move(out);
        break;
      }
      case Tap::kOutput:
        break;
    }
    times_[tap] = std::chrono::duration<double>(Clock::now() - begin).count();
    if (keeps(Tap(tap)) || tap == int(target)) {
      kept_[tap].mosaic = isMosaicTap(Tap(tap)) ? mosaic : nullptr;
      kept_[tap].rgb = isMosaicTap(Tap(tap)) ? nullptr : rgb;
    }
  }
  if (target == Tap::kOutput) {
    const auto begin = Clock::now();
    output_.reset();
    auto out = spare(outputs_);
    toOutput(*rgb, *out);
    output_ = std::move(out);
    times_[int(Tap::kOutput)] = std::chrono::duration<double>(Clock::now() - begin).count();
  }
}

}  // namespace tcamera
