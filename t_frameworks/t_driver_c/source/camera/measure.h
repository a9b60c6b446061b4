// What the measuring units of the simulated ISP share: the frame as they see it and their
// windows.
//
// The units measure the current frame after white balance (the "WB_1_1" tap, which also has
// the digital gain, lens shading and black level applied), or the sensor's output where a unit
// can select it. They see the mosaic as samples of one Bayer quad each (R, Gr, Gb, B of a 2 x 2
// cell; on an RGB-IR sensor a colour missing from a cell is taken from its 4 x 4 tile), in
// 10-bit levels of the data as it stands, whatever the sensor's depth: 1023 is the data's white
// level, and a pedestal that the black level block did not remove is measured with the rest,
// as on the hardware. A sample belongs to a window when its centre lies inside the window
// (pixels of the frame).
#ifndef T_DRIVER_CAMERA_MEASURE_H
#define T_DRIVER_CAMERA_MEASURE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <type_traits>
#include <vector>

#include "driver_blocks.h"
#include "driver_internal.h"
#include "frame.h"

namespace tcamera {

constexpr double kFullScale = 1023;  // the units' levels

enum Channel { kRed, kGreenRed, kGreenBlue, kBlue };
using Quad = std::array<float, 4>;  // levels of R, Gr, Gb, B

// The frame as the units see it.
struct Samples {
  int columns = 0;
  int rows = 0;
  std::vector<Quad> quads;  // columns * rows, row-major
  const Quad &at(int column, int row) const {
    return quads[static_cast<size_t>(row) * columns + column];
  }
};
Samples samplesOf(const Mosaic &mosaic);

inline double green(const Quad &quad) {
  return (quad[kGreenRed] + quad[kGreenBlue]) / 2;
}

inline double luminance(const Quad &quad) {
  return 0.299 * quad[kRed] + 0.587 * green(quad) + 0.114 * quad[kBlue];
}

// Samples [first, end) along one axis.
struct Span {
  int first = 0;
  int end = 0;
  int size() const { return end - first; }
  // The cell of count equal cells that sample index falls in.
  int cell(int index, int count) const { return (index - first) * count / size(); }
};

// The samples whose centres lie in the pixels [offset, offset + length) of an axis of count
// samples.
Span spanOf(int64_t offset, int64_t length, int count);

struct Window {
  Span columns;
  Span rows;
  bool isEmpty() const { return columns.size() == 0 || rows.size() == 0; }
};

Window windowOf(const TDatabaseFrameWindow &rectangle, const Samples &samples);

inline uint32_t saturated(uint64_t count) {
  return static_cast<uint32_t>(std::min<uint64_t>(count, UINT32_MAX));
}

// Where a unit looks.
enum class Source { kProcessed, kSensor };

// Runs measure(samples) on the current frame of the driver's camera (driver locked), at the
// tap of source, for the unit whose record measure fills in. The record must hold the unit's
// settings with its measured parts cleared: the hardware measures a frame once, so a unit
// read back again on the same frame with the same settings gets the same result without the
// frame being measured again. Allocation failure: TCOMMON_NO_MEMORY.
template <typename Record, typename Measure>
uint32_t measureFrame(TDriver &locked, Source source, const char *unit, Record &record,
                      Measure &&measure);

// Units that belong to a block ("AES_2" to "EC_2", "AFM_3" to "FC"): a push of the block
// latches the unit's record too, and a read-back reads the unit's settings back from the
// hardware (the record's own settings when the unit was never programmed).
uint32_t latchUnit(TDriver &locked, const char *unit);
uint32_t readUnit(TDriver &locked, const char *unit, void **record);
// A call of a block that carries a unit, through function (the block's process or
// statistics call): flag 0 on the process call pushes the block's record, then the unit's;
// anything else reads the block back.
uint32_t transferWithUnit(TDriver *driver, const tdriver::Block &block, const char *function,
                          const char *unit, uint8_t flag);

// A unit's last measurement of a frame: its record as handed to the measurement (settings,
// measured parts cleared) and as the measurement left it.
struct KeptMeasurement {
  const char *unit = nullptr;
  std::vector<std::byte> settings;
  std::vector<std::byte> result;
};

// The frame as the measuring units see it at one tap, with the state and frame it was taken
// from and the measurements made of it: a client polls several units of one frame, and each
// read-back would otherwise sample and measure the whole mosaic again.
struct SampledFrame {
  Samples samples;
  uint64_t generation = UINT64_MAX;
  uint64_t frameNumber = 0;
  std::vector<KeptMeasurement> measured;  // emptied when the samples are taken again
};

// Used by measureFrame: the current frame at source's tap, sampled once per frame and state
// and kept by the camera; *frame holds while lock (the camera's) is held.
uint32_t frameSamples(TDriver &locked, Source source, std::unique_lock<std::mutex> &lock,
                      SampledFrame **frame);

template <typename Record, typename Measure>
uint32_t measureFrame(TDriver &locked, Source source, const char *unit, Record &record,
                      Measure &&measure) {
  static_assert(std::is_trivially_copyable_v<Record>);
  std::unique_lock<std::mutex> lock;
  SampledFrame *frame = nullptr;
  if (const uint32_t code = frameSamples(locked, source, lock, &frame); code != TCOMMON_SUCCESS)
    return code;
  auto *bytes = reinterpret_cast<std::byte *>(&record);
  KeptMeasurement *kept = nullptr;
  for (KeptMeasurement &measurement : frame->measured)
    if (std::strcmp(measurement.unit, unit) == 0) kept = &measurement;
  if (kept != nullptr && kept->result.size() == sizeof(Record) &&
      std::memcmp(kept->settings.data(), bytes, sizeof(Record)) == 0) {
    std::memcpy(bytes, kept->result.data(), sizeof(Record));
    return TCOMMON_SUCCESS;
  }
  return tdriver::allocating([&] {
    if (kept == nullptr) kept = &frame->measured.emplace_back(KeptMeasurement{unit, {}, {}});
    kept->settings.assign(bytes, bytes + sizeof(Record));
    kept->result.clear();  // a measurement that fails leaves nothing to hand out
    measure(frame->samples);
    kept->result.assign(bytes, bytes + sizeof(Record));
  });
}

// The AFM_3 unit's measurement of samples into unit.statistics (the unit enabled).
void measureFocusOf(TDatabaseAutoFocusMeasurement_3 &unit, const Samples &samples);

// ---- Histograms (HTG, HTG_2) --------------------------------------------------------------

constexpr int kHistogramGrid = TDATABASE_HISTOGRAM_GRID;

// Counts every sample of the window into bins by level(sample): bin (level - offset) >>
// shift, levels below offset in the first bin, the last bin collecting the rest. A sample
// counts its grid cell's weight, or once when isWeighted is false.
template <size_t kBins, typename Level>
void countBins(const Samples &samples, const TDatabaseFrameWindow &rectangle,
               const uint16_t (&weights)[kHistogramGrid * kHistogramGrid], bool isWeighted,
               uint32_t offset, uint32_t shift, Level level, uint32_t (&bins)[kBins]) {
  uint64_t counts[kBins] = {};
  const Window window = windowOf(rectangle, samples);
  if (!window.isEmpty()) {
    for (int row = window.rows.first; row < window.rows.end; ++row) {
      const int cellRow = window.rows.cell(row, kHistogramGrid);
      for (int column = window.columns.first; column < window.columns.end; ++column) {
        const double value = level(samples.at(column, row));
        // Not "value <= 0": a level that is not a number counts as black too.
        const auto integer = !(value > 0) ? 0u : static_cast<uint32_t>(std::min(value, kFullScale));
        const uint32_t bin = integer < offset || shift >= 32
                                 ? 0
                                 : std::min<uint32_t>((integer - offset) >> shift, kBins - 1);
        counts[bin] +=
            isWeighted
                ? weights[cellRow * kHistogramGrid + window.columns.cell(column, kHistogramGrid)]
                : 1;
      }
    }
  }
  for (size_t bin = 0; bin < kBins; ++bin) bins[bin] = saturated(counts[bin]);
}

// The level a histogram counts for a sample: channel 1 red, 2 green, 3 blue, anything else
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

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_MEASURE_H
