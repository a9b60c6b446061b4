// "AES_2": the exposure statistics unit, which belongs to the exposure control block "EC_2":
// pushing the block latches the unit's settings too, and reading the block back reads the
// unit's settings and measures. The unit takes the luminance of each sample of its window as
// the weighted mean of its four Bayer channels, after white balance (inputSelect 0) or as the
// sensor delivers it (1), and reports the mean of each cell of a 5 x 5 grid over the window,
// the whole window's mean, the share of samples at or above ratio x full scale, and the
// channel sums of a 32 x 32 zone grid.
#include <cstring>

#include "driver_blocks.h"
#include "measure.h"

namespace {

using namespace tcamera;

constexpr int kExposureGrid = TDATABASE_AUTO_EXPOSURE_STATISTICS_2_GRID;
constexpr int kZones = TDATABASE_AUTO_EXPOSURE_STATISTICS_2_ZONES;

void measureExposureOf(TDatabaseAutoExposureStatistics_2 &unit, const Samples &samples) {
  const TDatabaseAutoExposureStatistics_2Weight &w = unit.weight;
  const double weights[4] = {double(w.red), double(w.greenRed), double(w.greenBlue),
                             double(w.blue)};
  const double weightSum = weights[0] + weights[1] + weights[2] + weights[3];
  const double threshold = double(unit.ratio) * kFullScale;

  double cellSum[kExposureGrid][kExposureGrid] = {};
  uint32_t cellCount[kExposureGrid][kExposureGrid] = {};
  // Zone sums are kept wide and saturated to the unit's 32 bits at the end.
  std::vector<uint64_t> zoneSum(kZones * kZones * 4, 0);
  double total = 0;
  uint32_t count = 0;
  uint32_t above = 0;
  const Window window = windowOf(unit.rectangle, samples);
  if (!window.isEmpty()) {
    for (int row = window.rows.first; row < window.rows.end; ++row) {
      const int cellRow = window.rows.cell(row, kExposureGrid);
      const int zoneRow = window.rows.cell(row, kZones);
      for (int column = window.columns.first; column < window.columns.end; ++column) {
        const Quad &quad = samples.at(column, row);
        double luma = 0;
        if (weightSum > 0) {
          for (int channel = kRed; channel <= kBlue; ++channel)
            luma += weights[channel] * quad[channel];
          luma /= weightSum;
        }
        const int cellColumn = window.columns.cell(column, kExposureGrid);
        cellSum[cellRow][cellColumn] += luma;
        ++cellCount[cellRow][cellColumn];
        total += luma;
        ++count;
        above += luma >= threshold ? 1 : 0;
        uint64_t *zone = &zoneSum[(zoneRow * kZones + window.columns.cell(column, kZones)) * 4];
        for (int channel = kRed; channel <= kBlue; ++channel)
          zone[channel] += static_cast<uint64_t>(quad[channel]);
      }
    }
  }
  for (int zone = 0; zone < kZones * kZones; ++zone)
    for (int channel = 0; channel < 4; ++channel)
      unit.zoneSum[zone / kZones][zone % kZones][channel] = saturated(zoneSum[zone * 4 + channel]);
  TDatabaseAutoExposureStatistics_2Statistics &statistics = unit.statistics;
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
  void *record = nullptr;
  if (const uint32_t code = readUnit(*driver, "AES_2", &record); code != TCOMMON_SUCCESS)
    return code;
  auto &unit = *static_cast<TDatabaseAutoExposureStatistics_2 *>(record);
  const Source source = unit.inputSelect == 1 ? Source::kSensor : Source::kProcessed;
  std::memset(unit.zoneSum, 0, sizeof(unit.zoneSum));
  unit.statistics = {};
  return measureFrame(*driver, source, "AES_2", unit,
                      [&unit](const Samples &samples) { measureExposureOf(unit, samples); });
}

constexpr tdriver::Block kExposureBlock{"EC_2", "TDriverExposureControl_2_process",
                                        "TDriverExposureControl_2_statistics", measureExposure};
const tdriver::BlockRegistration kExposureRegistration{kExposureBlock};

}  // namespace

extern "C" TDRIVER_API uint32_t TDriverExposureControl_2_process(TDriver *driver, uint8_t flag) {
  return transferWithUnit(driver, kExposureBlock, kExposureBlock.process, "AES_2", flag);
}

extern "C" TDRIVER_API uint32_t TDriverExposureControl_2_statistics(TDriver *driver, uint8_t flag) {
  return transferWithUnit(driver, kExposureBlock, kExposureBlock.statistics, "AES_2", flag);
}
