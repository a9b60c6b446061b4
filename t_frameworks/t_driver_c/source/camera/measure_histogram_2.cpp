// "HTG_2": the second histogram unit. It counts the samples of its window (after white
// balance) into 32 bins of 32 levels of the channel its mode selects, each sample with its
// grid cell's weight.
#include "driver_blocks.h"
#include "measure.h"

namespace {

using namespace tcamera;

constexpr uint32_t kShift = 5;  // 32 bins of 32 levels

uint32_t measureHistogram2(TDriver *driver, const char *, void *record) {
  auto &unit = *static_cast<TDatabaseHistogram_2 *>(record);
  unit.statistics = {};
  if (unit.state == 0) return TCOMMON_SUCCESS;
  return measureFrame(*driver, Source::kProcessed, "HTG_2", unit, [&unit](const Samples &samples) {
    const auto level = [&](const Quad &quad) {
      return channelLevel(quad, unit.mode, [](const Quad &mixed) { return luminance(mixed); });
    };
    countBins(samples, unit.rectangle, unit.gridWeight, true, 0, kShift, level,
              unit.statistics.bins);
  });
}

}  // namespace

TDRIVER_BLOCK_MEASURED(Histogram_2, "HTG_2", measureHistogram2);
