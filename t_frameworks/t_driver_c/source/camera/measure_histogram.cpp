// "HTG": the first histogram unit. It counts the samples of its window (after white balance)
// into 16 bins of the channel it selects, or of its own mix of red, green and blue; each
// sample counts once, or with its grid cell's weight in mode 1.
#include "driver_blocks.h"
#include "measure.h"

namespace {

using namespace tcamera;

uint32_t measureHistogram(TDriver *driver, const char *, void *record) {
  auto &unit = *static_cast<TDatabaseHistogram *>(record);
  unit.statistics = {};
  if (unit.state == 0) return TCOMMON_SUCCESS;
  return measureFrame(*driver, Source::kProcessed, "HTG", unit, [&unit](const Samples &samples) {
    const TDatabaseHistogramCoefficient c = unit.coefficient;
    const auto level = [&](const Quad &quad) {
      return channelLevel(quad, unit.channel, [&c](const Quad &mixed) {
        return c.red * mixed[kRed] + c.green * green(mixed) + c.blue * mixed[kBlue];
      });
    };
    countBins(samples, unit.rectangle, unit.gridWeight, unit.mode != 0, unit.sampleRange.offset,
              unit.sampleRange.shift, level, unit.statistics.bins);
  });
}

}  // namespace

TDRIVER_BLOCK_MEASURED(Histogram, "HTG", measureHistogram);
