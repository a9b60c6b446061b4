// "HTG": the first histogram unit, and the serialiser of its measurement.
#include "frame_window.h"
#include "statistics.h"
#include "t_database.h"

namespace tdatabase {
namespace {

// Luminance of the whole frame, every sample counted once per unit of its cell's weight,
// in 16 bins of 64 levels.
const TDatabaseHistogram kDefaults = {
    .state = 1,
    .channel = 0,
    .coefficient = {.blue = 0.114f, .green = 0.587f, .red = 0.299f},
    .gridWeight = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
    .mode = 1,
    .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
    .sampleRange = {.offset = 0, .shift = 6},
    .statistics = {},
};

const Field kCoefficientFields[] = {
    field("blue", &TDatabaseHistogramCoefficient::blue),
    field("green", &TDatabaseHistogramCoefficient::green),
    field("red", &TDatabaseHistogramCoefficient::red),
};

const Layout kCoefficientLayout = layoutOf<TDatabaseHistogramCoefficient>(kCoefficientFields);

const Field kSampleRangeFields[] = {
    field("offset", &TDatabaseHistogramSampleRange::offset),
    field("shift", &TDatabaseHistogramSampleRange::shift),
};

const Layout kSampleRangeLayout = layoutOf<TDatabaseHistogramSampleRange>(kSampleRangeFields);

const Field kFields[] = {
    field("state", &TDatabaseHistogram::state),
    field("channel", &TDatabaseHistogram::channel),
    group("coefficient", &TDatabaseHistogram::coefficient, kCoefficientLayout),
    field("gridWeight", &TDatabaseHistogram::gridWeight),
    field("mode", &TDatabaseHistogram::mode),
    group("rectangle", &TDatabaseHistogram::rectangle, kFrameWindowLayout),
    group("sampleRange", &TDatabaseHistogram::sampleRange, kSampleRangeLayout),
};

const Layout kLayout = layoutOf<TDatabaseHistogram>(kFields);

const Field kStatisticsFields[] = {
    field("bins", &TDatabaseHistogramStatistics::bins),
};

const Layout kStatisticsLayout = layoutOf<TDatabaseHistogramStatistics>(kStatisticsFields);

}  // namespace

extern const RecordType kHistogramRecord = {"HTG", kLayout, &kDefaults};

}  // namespace tdatabase

extern "C" TDATABASE_API uint32_t TDatabaseHistogram_statistics(const void *record,
                                                                TJsonValue *value) {
  const auto *histogram = static_cast<const TDatabaseHistogram *>(record);
  return tdatabase::writeStatistics(tdatabase::kStatisticsLayout,
                                    histogram != nullptr ? &histogram->statistics : nullptr, value);
}
