// The measuring units of the simulated ISP and the scene they measure.
//
// The sensor looks at a fixed test chart: a grey gradient from dark (left) to bright
// (right), six colour patches (lower left), a focus target of fine and coarse bars (centre),
// two lamps (upper right) and a small bright reflection (in the target). A read-back of a
// measuring block renders the chart with the hardware state of the blocks that shape the
// picture at that moment, then measures it with the unit's own settings:
//   - "EC_2": frame 0's integration time, analog and digital gain set the exposure;
//   - "WB_1_1" and "DG": per-channel gains (a block whose state is 0 is bypassed);
//   - "FC": the lens position; the chart is sharp at kInFocusPosition and blurs away from it.
// A block that was never programmed renders as its database default would (10 ms, unity
// gains, lens at mid travel); a block programmed with zero exposure renders black.
//
// The frame is 1920 x 1080 pixels of 10-bit Bayer data (R, Gr, Gb, B). To stay far below a
// millisecond per read-back, the simulation samples it on a grid of 64 x 36 tiles of
// 30 x 30 pixels; the units count tiles ("samples"), and a tile belongs to a window when
// its centre lies inside the window.
//
// The exposure statistics unit ("AES_2") belongs to the exposure control block and the focus
// measurement unit ("AFM_3") to the focus control block: pushing the block latches the unit's
// settings too, and reading the block back reads the unit's settings and measurement.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <string_view>

#include "driver_blocks.h"
#include "driver_internal.h"

namespace {

using tdriver::Direction;

constexpr int kTile = 30;     // pixels per sample, across and down
constexpr int kColumns = 64;  // 1920 pixels
constexpr int kRows = 36;     // 1080 lines
constexpr int kSamples = kColumns * kRows;
constexpr double kFullScale = 1023;  // 10-bit levels

// Exposure: chart radiance 1 reaches full scale at 20 ms with unity gains.
constexpr double kFullScaleTime = 0.02;
constexpr double kDefaultTime = 0.01;
// Lens: in focus at this motor position; the blur (Gaussian sigma, in samples) grows by one
// sample every kStepsPerSample steps away from it, up to kMaxSigma.
constexpr double kInFocusPosition = 400;
constexpr double kDefaultPosition = 512;
constexpr double kSharpSigma = 0.5;
constexpr double kStepsPerSample = 64;
constexpr double kMaxSigma = 4;

enum Channel { kRed, kGreenRed, kGreenBlue, kBlue };
using Quad = std::array<float, 4>;  // levels of R, Gr, Gb, B

struct Rgb {
  double r, g, b;
};

// Radiance of the chart at a sample, as the sensor's raw channels see it: a neutral
// surface gives less red and blue than green.
Rgb chart(int column, int row) {
  constexpr Rgb kNeutral{0.6, 1.0, 0.7};
  const auto surface = [&](double r, double g, double b) {
    return Rgb{kNeutral.r * r, kNeutral.g * g, kNeutral.b * b};
  };
  if (column >= 54 && column < 58 && row >= 3 && row < 6) return surface(2.5, 2.5, 2.5);
  if (column >= 31 && column < 33 && row >= 22 && row < 24) return surface(1.6, 1.6, 1.6);
  if (column >= 18 && column < 46 && row >= 8 && row < 26) {
    // Bars of 1 sample (fine detail) above bars of 3 samples (coarse detail).
    const bool bright = row < 17 ? column % 2 == 0 : (column / 3) % 2 == 0;
    const double level = bright ? 0.75 : 0.08;
    return surface(level, level, level);
  }
  if (column >= 2 && column < 26 && row >= 27 && row < 35) {
    constexpr Rgb kPatches[] = {{0.70, 0.10, 0.10}, {0.15, 0.60, 0.15}, {0.10, 0.15, 0.70},
                                {0.75, 0.70, 0.10}, {0.10, 0.60, 0.70}, {0.70, 0.15, 0.60}};
    const Rgb &patch = kPatches[(row - 27) / 4 * 3 + (column - 2) / 8];
    return surface(patch.r, patch.g, patch.b);
  }
  const double across = (column + 0.5) / kColumns;
  const double down = (row + 0.5) / kRows;
  const double level = 0.04 + 0.8 * across * (1 - 0.25 * down);
  return surface(level, level, level);
}

// What the blocks that shape the picture hold in hardware.
struct Camera {
  double exposure = kDefaultTime / kFullScaleTime;  // full-scale units per unit of radiance
  std::array<double, 4> gain = {1, 1, 1, 1};        // white balance x digital gain
  double position = kDefaultPosition;
};

// A gain or time as the hardware takes it: nothing below zero, nothing that is not a number.
double factor(float value) {
  return std::isfinite(value) && value > 0 ? value : 0;
}

// The hardware state of category copied into record; false for a block never programmed.
template <typename Record>
bool hardwareState(TDriver &driver, const char *category, Record *record) {
  const auto found = driver.hardware.find(std::string_view(category));
  return found != driver.hardware.end() &&
         TDatabase_copyRecord(category, record, found->second.get()) == TCOMMON_SUCCESS;
}

Camera cameraOf(TDriver &driver) {
  Camera camera;
  TDatabaseExposureControl_2 exposure{};
  if (hardwareState(driver, "EC_2", &exposure)) {
    camera.exposure = factor(exposure.integrationTime[0]) / kFullScaleTime *
                      factor(exposure.gain.analog[0]) * factor(exposure.gain.digital[0]);
  }
  TDatabaseWhiteBalance_1_1 balance{};
  if (hardwareState(driver, "WB_1_1", &balance) && balance.state != 0) {
    for (int channel = kRed; channel <= kBlue; ++channel)
      camera.gain[channel] *= factor(balance.gain[channel]);
  }
  TDatabaseDigitalGain digital{};
  if (hardwareState(driver, "DG", &digital) && digital.state != 0) {
    camera.gain[kRed] *= factor(digital.r);
    camera.gain[kGreenRed] *= factor(digital.gr);
    camera.gain[kGreenBlue] *= factor(digital.gb);
    camera.gain[kBlue] *= factor(digital.b);
  }
  TDatabaseFocusControl focus{};
  if (hardwareState(driver, "FC", &focus)) camera.position = focus.position;
  return camera;
}

constexpr int kMaxRadius = 12;  // 3 * kMaxSigma
using Plane = std::array<float, kSamples>;

struct Frame {
  std::array<Quad, kSamples> raw;        // the sensor's output
  std::array<Quad, kSamples> processed;  // after white balance and digital gain
  std::array<Plane, 3> radiance;         // R, G, B through the lens
  Plane scratch;
  uint64_t serial;  // which rendering this is: no two frames rendered share it
};

// Defocus: a separable Gaussian over one radiance plane, edges repeated.
void blur(Plane &plane, Plane &scratch, double sigma) {
  const int radius = std::min(kMaxRadius, static_cast<int>(std::ceil(3 * sigma)));
  std::array<float, 2 * kMaxRadius + 1> kernel{};
  double total = 0;
  for (int i = -radius; i <= radius; ++i) total += std::exp(-i * i / (2 * sigma * sigma));
  for (int i = -radius; i <= radius; ++i)
    kernel[i + radius] = static_cast<float>(std::exp(-i * i / (2 * sigma * sigma)) / total);
  // Along the lines, each line padded with copies of its end samples.
  std::array<float, kColumns + 2 * kMaxRadius> padded{};
  for (int row = 0; row < kRows; ++row) {
    const float *line = &plane[row * kColumns];
    std::fill_n(padded.begin(), radius, line[0]);
    std::copy_n(line, kColumns, padded.begin() + radius);
    std::fill_n(padded.begin() + radius + kColumns, radius, line[kColumns - 1]);
    std::array<float, kColumns> sum{};
    for (int k = 0; k <= 2 * radius; ++k)
      for (int column = 0; column < kColumns; ++column)
        sum[column] += kernel[k] * padded[column + k];
    std::copy(sum.begin(), sum.end(), &scratch[row * kColumns]);
  }
  // Down the columns, a whole line at a time.
  for (int row = 0; row < kRows; ++row) {
    std::array<float, kColumns> sum{};
    for (int k = 0; k <= 2 * radius; ++k) {
      const float *line = &scratch[std::clamp(row + k - radius, 0, kRows - 1) * kColumns];
      for (int column = 0; column < kColumns; ++column) sum[column] += kernel[k] * line[column];
    }
    std::copy(sum.begin(), sum.end(), &plane[row * kColumns]);
  }
}

// The chart's radiance planes (R, G, B), made once: the chart never changes.
const std::array<Plane, 3> &chartPlanes() {
  static const std::array<Plane, 3> planes = [] {
    std::array<Plane, 3> made{};
    for (int row = 0; row < kRows; ++row) {
      for (int column = 0; column < kColumns; ++column) {
        const Rgb radiance = chart(column, row);
        made[0][row * kColumns + column] = static_cast<float>(radiance.r);
        made[1][row * kColumns + column] = static_cast<float>(radiance.g);
        made[2][row * kColumns + column] = static_cast<float>(radiance.b);
      }
    }
    return made;
  }();
  return planes;
}

void render(const Camera &camera, Frame &frame) {
  frame.radiance = chartPlanes();
  const double sigma = std::min(
      kMaxSigma, kSharpSigma + std::abs(camera.position - kInFocusPosition) / kStepsPerSample);
  for (Plane &plane : frame.radiance) blur(plane, frame.scratch, sigma);
  const float scale = static_cast<float>(std::min(kFullScale * camera.exposure, 1e30));
  float gain[4];
  for (int channel = kRed; channel <= kBlue; ++channel)
    gain[channel] = static_cast<float>(std::min(camera.gain[channel], 1e30));
  constexpr float kTop = kFullScale;
  for (int i = 0; i < kSamples; ++i) {
    const float light[4] = {frame.radiance[0][i], frame.radiance[1][i], frame.radiance[1][i],
                            frame.radiance[2][i]};
    for (int channel = kRed; channel <= kBlue; ++channel) {
      // The sensor's converter: the nearest level, clipped at full scale; then the digital
      // gains, whole levels clipped at full scale. Radiance is never negative, so the
      // conversions to int round and truncate as intended.
      const float level =
          static_cast<float>(static_cast<int>(std::min(kTop, light[channel] * scale) + 0.5f));
      frame.raw[i][channel] = level;
      frame.processed[i][channel] =
          static_cast<float>(static_cast<int>(std::min(kTop, level * gain[channel])));
    }
  }
}

// A frame depends on nothing but the camera, and a client that polls the statistics asks
// for the same picture frame after frame: the last frame rendered is handed out again for
// as long as the camera has not changed. Frames are never changed once rendered.
struct FrameCache {
  std::mutex mutex;
  Camera camera;
  std::shared_ptr<const Frame> frame;
  uint64_t rendered = 0;
};

FrameCache &frameCache() {
  static FrameCache cache;
  return cache;
}

bool sameCamera(const Camera &a, const Camera &b) {
  return a.exposure == b.exposure && a.gain == b.gain && a.position == b.position;
}

// The chart as the hardware sees it now. Allocation failure: TCOMMON_NO_MEMORY.
uint32_t capture(TDriver &driver, std::shared_ptr<const Frame> *frame) {
  const Camera camera = cameraOf(driver);
  FrameCache &cache = frameCache();
  {
    std::lock_guard lock(cache.mutex);
    if (cache.frame != nullptr && sameCamera(cache.camera, camera)) {
      *frame = cache.frame;
      return TCOMMON_SUCCESS;
    }
  }
  std::shared_ptr<Frame> rendered;
  if (const uint32_t code =
          tdriver::allocating([&] { rendered = std::make_shared_for_overwrite<Frame>(); });
      code != TCOMMON_SUCCESS)
    return code;
  render(camera, *rendered);
  {
    std::lock_guard lock(cache.mutex);
    rendered->serial = ++cache.rendered;
    cache.camera = camera;
    cache.frame = rendered;
  }
  *frame = std::move(rendered);
  return TCOMMON_SUCCESS;
}

// A unit's measurement depends on nothing but the frame and the unit's own settings, and a
// client polling the statistics reads the same units of the same picture frame after frame:
// each unit keeps its last measurement with what it was measured from, and hands it out
// again while both are unchanged. Settings compare as bytes (records are plain data and are
// copied whole), so any change of them measures anew.
template <typename Record>
class MeasurementCache {
 public:
  // Clears unit's statistics, then fills them with measure(unit), or with the last result
  // when the frame and the rest of unit are what it was taken from. Other measured parts
  // of unit must be cleared before the call, so that they take no part in the comparison.
  template <typename Measure>
  void measure(Record &unit, const Frame &frame, Measure measure) {
    std::memset(&unit.statistics, 0, sizeof(unit.statistics));
    {
      std::lock_guard lock(mutex_);
      if (isValid_ && serial_ == frame.serial &&
          std::memcmp(&settings_, &unit, sizeof(Record)) == 0) {
        std::memcpy(&unit, &result_, sizeof(Record));
        return;
      }
    }
    Record settings;
    std::memcpy(&settings, &unit, sizeof(Record));
    measure(unit);
    std::lock_guard lock(mutex_);
    std::memcpy(&settings_, &settings, sizeof(Record));
    std::memcpy(&result_, &unit, sizeof(Record));
    serial_ = frame.serial;
    isValid_ = true;
  }

 private:
  std::mutex mutex_;
  bool isValid_ = false;
  uint64_t serial_ = 0;
  Record settings_;
  Record result_;
};

double green(const Quad &quad) {
  return (quad[kGreenRed] + quad[kGreenBlue]) / 2;
}

double luminance(const Quad &quad) {
  return 0.299 * quad[kRed] + 0.587 * green(quad) + 0.114 * quad[kBlue];
}

// ---- Windows ------------------------------------------------------------------------------

// Samples [first, end) along one axis.
struct Span {
  int first = 0;
  int end = 0;
  int size() const { return end - first; }
  // The cell of count equal cells that sample index falls in.
  int cell(int index, int count) const { return (index - first) * count / size(); }
};

int64_t ceilDivide(int64_t value, int64_t divisor) {
  return value >= 0 ? (value + divisor - 1) / divisor : -(-value / divisor);
}

// The samples whose centres lie in the pixels [offset, offset + length) of an axis of
// count samples.
Span spanOf(int64_t offset, int64_t length, int count) {
  const auto firstFrom = [&](int64_t pixel) {
    return static_cast<int>(std::clamp<int64_t>(ceilDivide(pixel - kTile / 2, kTile), 0, count));
  };
  Span span{firstFrom(offset), firstFrom(offset + length)};
  span.end = std::max(span.end, span.first);
  return span;
}

struct Window {
  Span columns;
  Span rows;
  bool isEmpty() const { return columns.size() == 0 || rows.size() == 0; }
};

Window windowOf(const TDatabaseFrameWindow &rectangle) {
  return {spanOf(rectangle.offset.x, rectangle.width, kColumns),
          spanOf(rectangle.offset.y, rectangle.height, kRows)};
}

uint32_t saturated(uint64_t count) {
  return static_cast<uint32_t>(std::min<uint64_t>(count, UINT32_MAX));
}

// ---- Histograms ---------------------------------------------------------------------------

constexpr int kGrid = TDATABASE_HISTOGRAM_GRID;

// Counts every sample of the window into bins by level(sample): bin (level - offset) >>
// shift, levels below offset in the first bin, the last bin collecting the rest. A sample
// counts its grid cell's weight, or once when isWeighted is false.
template <size_t kBins, typename Level>
void countBins(const Frame &frame, const TDatabaseFrameWindow &rectangle,
               const uint16_t (&weights)[kGrid * kGrid], bool isWeighted, uint32_t offset,
               uint32_t shift, Level level, uint32_t (&bins)[kBins]) {
  uint64_t counts[kBins] = {};
  const Window window = windowOf(rectangle);
  if (!window.isEmpty()) {
    for (int row = window.rows.first; row < window.rows.end; ++row) {
      for (int column = window.columns.first; column < window.columns.end; ++column) {
        const double value = level(frame.processed[row * kColumns + column]);
        // Not "value <= 0": a level that is not a number counts as black too.
        const auto integer = !(value > 0) ? 0u : static_cast<uint32_t>(std::min(value, kFullScale));
        const uint32_t bin = integer < offset || shift >= 32
                                 ? 0
                                 : std::min<uint32_t>((integer - offset) >> shift, kBins - 1);
        counts[bin] +=
            isWeighted
                ? weights[window.rows.cell(row, kGrid) * kGrid + window.columns.cell(column, kGrid)]
                : 1;
      }
    }
  }
  for (size_t bin = 0; bin < kBins; ++bin) bins[bin] = saturated(counts[bin]);
}

// The level a histogram counts for a quad: channel 1 red, 2 green, 3 blue, anything else
// the unit's own mix of the three.
template <typename Mix>
double channelLevel(const Quad &quad, uint32_t channel, Mix &&mix) {
  switch (channel) {
    case 1:
      return quad[kRed];
    case 2:
      return green(quad);
    case 3:
      return quad[kBlue];
    default:
      return mix(quad);
  }
}

uint32_t measureHistogram(TDriver *driver, const char *, void *record) {
  auto &unit = *static_cast<TDatabaseHistogram *>(record);
  unit.statistics = {};
  if (unit.state == 0) return TCOMMON_SUCCESS;
  std::shared_ptr<const Frame> frame;
  if (const uint32_t code = capture(*driver, &frame); code != TCOMMON_SUCCESS) return code;
  static MeasurementCache<TDatabaseHistogram> cache;
  cache.measure(unit, *frame, [&frame](TDatabaseHistogram &unit) {
    const TDatabaseHistogramCoefficient c = unit.coefficient;
    const auto level = [&](const Quad &quad) {
      return channelLevel(quad, unit.channel, [&c](const Quad &mixed) {
        return c.red * mixed[kRed] + c.green * green(mixed) + c.blue * mixed[kBlue];
      });
    };
    countBins(*frame, unit.rectangle, unit.gridWeight, unit.mode != 0, unit.sampleRange.offset,
              unit.sampleRange.shift, level, unit.statistics.bins);
  });
  return TCOMMON_SUCCESS;
}

uint32_t measureHistogram2(TDriver *driver, const char *, void *record) {
  auto &unit = *static_cast<TDatabaseHistogram_2 *>(record);
  unit.statistics = {};
  if (unit.state == 0) return TCOMMON_SUCCESS;
  std::shared_ptr<const Frame> frame;
  if (const uint32_t code = capture(*driver, &frame); code != TCOMMON_SUCCESS) return code;
  static MeasurementCache<TDatabaseHistogram_2> cache;
  cache.measure(unit, *frame, [&frame](TDatabaseHistogram_2 &unit) {
    const auto level = [&](const Quad &quad) { return channelLevel(quad, unit.mode, luminance); };
    constexpr uint32_t kShift = 5;  // 32 bins of 32 levels
    countBins(*frame, unit.rectangle, unit.gridWeight, true, 0, kShift, level,
              unit.statistics.bins);
  });
  return TCOMMON_SUCCESS;
}

// ---- Units of the exposure and focus blocks ---------------------------------------------------

// Copies a unit's record into its hardware state (made when the unit was never programmed).
uint32_t latchUnit(TDriver &driver, const char *category) {
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(driver.database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  auto found = driver.hardware.find(std::string_view(category));
  if (found == driver.hardware.end()) {
    uint64_t size = 0;
    if (const uint32_t code = TDatabase_recordSize(category, &size); code != TCOMMON_SUCCESS)
      return code;
    if (const uint32_t code = tdriver::allocating([&] {
          found = driver.hardware.emplace(category, std::make_unique<std::byte[]>(size)).first;
        });
        code != TCOMMON_SUCCESS)
      return code;
  }
  return TDatabase_copyRecord(category, found->second.get(), record);
}

// The unit's record, with its settings read back from the hardware when it has been
// programmed (otherwise the record's own settings are what the unit measures with).
template <typename Record>
uint32_t readUnit(TDriver &driver, const char *category, Record **unit) {
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(driver.database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  *unit = static_cast<Record *>(record);
  const auto found = driver.hardware.find(std::string_view(category));
  if (found == driver.hardware.end()) return TCOMMON_SUCCESS;
  return TDatabase_copyRecord(category, record, found->second.get());
}

constexpr int kExposureGrid = TDATABASE_AUTO_EXPOSURE_STATISTICS_2_GRID;
constexpr int kZones = TDATABASE_AUTO_EXPOSURE_STATISTICS_2_ZONES;

void measureExposureOf(TDatabaseAutoExposureStatistics_2 *unit, const Frame *frame) {
  const TDatabaseAutoExposureStatistics_2Weight &w = unit->weight;
  const double weights[4] = {double(w.red), double(w.greenRed), double(w.greenBlue),
                             double(w.blue)};
  const double weightSum = weights[0] + weights[1] + weights[2] + weights[3];
  const double threshold = double(unit->ratio) * kFullScale;
  const auto &samples = unit->inputSelect == 1 ? frame->raw : frame->processed;

  std::memset(unit->zoneSum, 0, sizeof(unit->zoneSum));
  double cellSum[kExposureGrid][kExposureGrid] = {};
  uint32_t cellCount[kExposureGrid][kExposureGrid] = {};
  double total = 0;
  uint32_t count = 0;
  uint32_t above = 0;
  const Window window = windowOf(unit->rectangle);
  if (!window.isEmpty()) {
    for (int row = window.rows.first; row < window.rows.end; ++row) {
      for (int column = window.columns.first; column < window.columns.end; ++column) {
        const Quad &quad = samples[row * kColumns + column];
        double luma = 0;
        if (weightSum > 0) {
          for (int channel = kRed; channel <= kBlue; ++channel)
            luma += weights[channel] * quad[channel];
          luma /= weightSum;
        }
        const int cellRow = window.rows.cell(row, kExposureGrid);
        const int cellColumn = window.columns.cell(column, kExposureGrid);
        cellSum[cellRow][cellColumn] += luma;
        ++cellCount[cellRow][cellColumn];
        total += luma;
        ++count;
        above += luma >= threshold ? 1 : 0;
        uint32_t *zone =
            unit->zoneSum[window.rows.cell(row, kZones)][window.columns.cell(column, kZones)];
        for (int channel = kRed; channel <= kBlue; ++channel)
          zone[channel] += static_cast<uint32_t>(quad[channel]);
      }
    }
  }
  TDatabaseAutoExposureStatistics_2Statistics &statistics = unit->statistics;
  statistics = {};
  for (int row = 0; row < kExposureGrid; ++row) {
    for (int column = 0; column < kExposureGrid; ++column) {
      if (cellCount[row][column] != 0)
        statistics.mean[row][column] = cellSum[row][column] / cellCount[row][column];
    }
  }
  statistics.count = count;
  if (count != 0) {
    statistics.luma = total / count;
    statistics.aboveRatio = double(above) / count;
  }
}

uint32_t measureExposure(TDriver *driver, const char *, void *) {
  TDatabaseAutoExposureStatistics_2 *unit = nullptr;
  if (const uint32_t code = readUnit(*driver, "AES_2", &unit); code != TCOMMON_SUCCESS) return code;
  std::shared_ptr<const Frame> frame;
  if (const uint32_t code = capture(*driver, &frame); code != TCOMMON_SUCCESS) return code;
  static MeasurementCache<TDatabaseAutoExposureStatistics_2> cache;
  std::memset(unit->zoneSum, 0, sizeof(unit->zoneSum));
  cache.measure(*unit, *frame, [&frame](TDatabaseAutoExposureStatistics_2 &measured) {
    measureExposureOf(&measured, frame.get());
  });
  return TCOMMON_SUCCESS;
}

// ---- Focus measurement ----------------------------------------------------------------------

constexpr int kFocusWindows = TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS;
constexpr double kIirLimit = 65535;  // the IIR sections saturate here

double finiteOrZero(double value) {
  return std::isfinite(value) ? value : 0;
}

// Saturates like the hardware's fixed-point arithmetic; a result that is not a number
// (from coefficients that are not numbers) reads 0.
double saturate(double value) {
  return std::isnan(value) ? 0 : std::clamp(value, -kIirLimit, kIirLimit);
}

double levelGain(const TDatabaseAutoFocusMeasurement_3Curve &curve, int level) {
  const uint8_t *x = curve.x;
  if (level >= x[0] && level < x[1]) return finiteOrZero(curve.y[0]);
  if (level >= x[1] && level < x[2]) return finiteOrZero(curve.y[1]);
  if (level >= x[2] && level <= x[3]) return finiteOrZero(curve.y[2]);
  return 0;
}

// One filter's sum over a window: each response's magnitude less the coring level, weighed
// by the level-dependent gain at that sample.
struct FilterSum {
  const TDatabaseAutoFocusMeasurement_3Curve &curve;
  double coring;
  double sum = 0;
  void add(double response, int level) {
    sum += levelGain(curve, level) * std::max(0.0, std::abs(response) - coring);
  }
};

// Three cascaded IIR sections run along one line.
class IirCascade {
 public:
  explicit IirCascade(const float (&coefficients)[3][4]) {
    for (int s = 0; s < 3; ++s)
      for (int k = 0; k < 4; ++k) sections_[s].c[k] = coefficients[s][k];
  }
  // The response to the next sample; the first sample of a line sets the steady state.
  double next(double input, bool isFirst) {
    double value = input;
    for (Section &section : sections_) {
      const double *c = section.c;
      if (isFirst) {
        section.x1 = section.x2 = value;
        section.y1 = std::abs(c[3]) < 1 ? saturate((c[0] + c[1] + c[2]) * value / (1 - c[3])) : 0;
      }
      const double output =
          saturate(c[0] * value + c[1] * section.x1 + c[2] * section.x2 + c[3] * section.y1);
      section.x2 = section.x1;
      section.x1 = value;
      section.y1 = output;
      value = output;
    }
    return value;
  }

 private:
  struct Section {
    double c[4] = {};  // b0, b1, b2, a1
    double x1 = 0, x2 = 0, y1 = 0;
  };
  Section sections_[3];
};

// A weighted pair of sums as the unit reports it: shifted right, saturated to 32 bits.
uint32_t reported(double highPass, float highWeight, double lowPass, float lowWeight,
                  uint8_t shift) {
  const double value = highPass * double(highWeight) + lowPass * double(lowWeight);
  if (!(value > 0) || shift >= 32) return 0;
  return static_cast<uint32_t>(std::min(value, double(UINT32_MAX))) >> shift;
}

void measureWindow(const TDatabaseAutoFocusMeasurement_3 &unit, const Frame &frame,
                   const Window &window, int index,
                   TDatabaseAutoFocusMeasurement_3Statistics &statistics) {
  const TDatabaseAutoFocusMeasurement_3Coring &coring = unit.coring;
  FilterSum firHigh{unit.ldg.firHighPass, double(coring.firHighPass[index])};
  FilterSum firLow{unit.ldg.firLowPass, double(coring.firLowPass[index])};
  FilterSum iirHigh{unit.ldg.iirHighPass, double(coring.iirHighPass[index])};
  FilterSum iirLow{unit.ldg.iirLowPass, double(coring.iirLowPass[index])};
  const double gamma = std::isfinite(unit.gamma) && unit.gamma > 0 ? unit.gamma : 1;

  double total = 0;
  uint32_t count = 0;
  uint32_t highlights = 0;
  std::array<double, kColumns> line{};  // the line's luminance after gamma
  std::array<int, kColumns> levels{};   // and before, in 8 bits
  for (int row = window.rows.first; row < window.rows.end; ++row) {
    const int n = window.columns.size();
    for (int i = 0; i < n; ++i) {
      const double luma = luminance(frame.processed[row * kColumns + window.columns.first + i]);
      levels[i] = std::min(255, static_cast<int>(luma / 4));
      line[i] = gamma == 1 ? luma : kFullScale * std::pow(luma / kFullScale, gamma);
      total += luma;
      ++count;
      highlights += levels[i] > unit.histThreshold ? 1 : 0;
    }
    for (int i = 1; i + 1 < n; ++i)
      firHigh.add((2 * line[i] - line[i - 1] - line[i + 1]) / 4, levels[i]);
    for (int i = 2; i + 2 < n; ++i)
      firLow.add((2 * line[i] - line[i - 2] - line[i + 2]) / 4, levels[i]);
    IirCascade high(unit.iir.highPassCoeff);
    IirCascade low(unit.iir.lowPassCoeff);
    for (int i = 0; i < n; ++i) {
      iirHigh.add(high.next(line[i], i == 0), levels[i]);
      iirLow.add(low.next(line[i], i == 0), levels[i]);
    }
  }
  statistics.fir[index] = reported(firHigh.sum, unit.fir.highPassWeight, firLow.sum,
                                   unit.fir.lowPassWeight, unit.fir.dataShift);
  statistics.iir[index] = reported(iirHigh.sum, unit.iir.highPassWeight, iirLow.sum,
                                   unit.iir.lowPassWeight, unit.iir.dataShift);
  statistics.luma[index] = count != 0 ? total / count : 0;
  statistics.highlights[index] = highlights;
}

uint32_t measureFocus(TDriver *driver, const char *, void *) {
  TDatabaseAutoFocusMeasurement_3 *unit = nullptr;
  if (const uint32_t code = readUnit(*driver, "AFM_3", &unit); code != TCOMMON_SUCCESS) return code;
  unit->statistics = {};
  if (unit->isEnable == 0) return TCOMMON_SUCCESS;
  std::shared_ptr<const Frame> frame;
  if (const uint32_t code = capture(*driver, &frame); code != TCOMMON_SUCCESS) return code;
  static MeasurementCache<TDatabaseAutoFocusMeasurement_3> cache;
  cache.measure(*unit, *frame, [&frame](TDatabaseAutoFocusMeasurement_3 &measured) {
    // hwRoi: x, y, width, height; the windows are its left, centre and right thirds.
    const int64_t x = measured.hwRoi[0];
    const int64_t width = measured.hwRoi[2];
    const Span rows = spanOf(measured.hwRoi[1], measured.hwRoi[3], kRows);
    for (int index = 0; index < kFocusWindows; ++index) {
      const int64_t left = x + width * index / kFocusWindows;
      const int64_t right = x + width * (index + 1) / kFocusWindows;
      const Window window{spanOf(left, right - left, kColumns), rows};
      measureWindow(measured, *frame, window, index, measured.statistics);
    }
  });
  return TCOMMON_SUCCESS;
}

// ---- The blocks -------------------------------------------------------------------------------

// A push of a block that carries a measuring unit: the block's record, then the unit's.
uint32_t pushWithUnit(TDriver *driver, const tdriver::Block &block, const char *unit) {
  if (const uint32_t code =
          tdriver::blockTransfer(driver, block.process, block.category, 0, Direction::kPush);
      code != TCOMMON_SUCCESS)
    return code;
  return tdriver::withDriver(driver, [&](TDriver &locked) { return latchUnit(locked, unit); });
}

uint32_t readBack(TDriver *driver, const tdriver::Block &block, const char *function,
                  uint8_t flag) {
  return tdriver::blockTransfer(driver, function, block.category, flag, Direction::kReadBack,
                                block.readBack);
}

constexpr tdriver::Block kExposureBlock{"EC_2", "TDriverExposureControl_2_process",
                                        "TDriverExposureControl_2_statistics", measureExposure};
const tdriver::BlockRegistration kExposureRegistration{kExposureBlock};

constexpr tdriver::Block kFocusBlock{"FC", "TDriverFocusControl_process",
                                     "TDriverFocusControl_statistics", measureFocus};
const tdriver::BlockRegistration kFocusRegistration{kFocusBlock};

}  // namespace

TDRIVER_BLOCK_MEASURED(Histogram, "HTG", measureHistogram);
TDRIVER_BLOCK_MEASURED(Histogram_2, "HTG_2", measureHistogram2);

extern "C" TDRIVER_API uint32_t TDriverExposureControl_2_process(TDriver *driver, uint8_t flag) {
  if (flag == 0) return pushWithUnit(driver, kExposureBlock, "AES_2");
  return readBack(driver, kExposureBlock, kExposureBlock.process, flag);
}

extern "C" TDRIVER_API uint32_t TDriverExposureControl_2_statistics(TDriver *driver, uint8_t flag) {
  return readBack(driver, kExposureBlock, kExposureBlock.statistics, flag);
}

extern "C" TDRIVER_API uint32_t TDriverFocusControl_process(TDriver *driver, uint8_t flag) {
  if (flag == 0) return pushWithUnit(driver, kFocusBlock, "AFM_3");
  return readBack(driver, kFocusBlock, kFocusBlock.process, flag);
}

extern "C" TDRIVER_API uint32_t TDriverFocusControl_statistics(TDriver *driver, uint8_t flag) {
  return readBack(driver, kFocusBlock, kFocusBlock.statistics, flag);
}
