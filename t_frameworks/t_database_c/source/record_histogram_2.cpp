// "HTG_2": the second histogram unit, and the serialiser of its measurement.
#include "frame_window.h"
#include "statistics.h"
#include "t_database.h"

namespace tdatabase {
namespace {

// Luminance of the whole frame, every sample counted once.
const TDatabaseHistogram_2 kDefaults = {
    .state = 1,
    .gridWeight = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
    .mode = 0,
    .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
    .statistics = {},
};

const Field kFields[] = {
    field("state", &TDatabaseHistogram_2::state),
    field("gridWeight", &TDatabaseHistogram_2::gridWeight),
    field("mode", &TDatabaseHistogram_2::mode),
    group("rectangle", &TDatabaseHistogram_2::rectangle, kFrameWindowLayout),
};

const Layout kLayout = layoutOf<TDatabaseHistogram_2>(kFields);

const Field kStatisticsFields[] = {
    field("bins", &TDatabaseHistogram_2Statistics::bins),
};

const Layout kStatisticsLayout = layoutOf<TDatabaseHistogram_2Statistics>(kStatisticsFields);

}  // namespace

extern const RecordType kHistogram2Record = {"HTG_2", kLayout, &kDefaults};

}  // namespace tdatabase

extern "C" TDATABASE_API uint32_t TDatabaseHistogram_2_statistics(const void *record,
                                                                  TJsonValue *value) {
  const auto *histogram = static_cast<const TDatabaseHistogram_2 *>(record);
  return tdatabase::writeStatistics(tdatabase::kStatisticsLayout,
                                    histogram != nullptr ? &histogram->statistics : nullptr, value);
}
