// "AES_2": the exposure statistics unit, and the serialiser of its measurement.
#include "frame_window.h"
#include "statistics.h"
#include "t_database.h"

namespace tdatabase {
namespace {

// The processed picture over the whole frame, luminance weighted as 0.30 R + 0.59 G +
// 0.11 B (the weights sum to 256), and the share of samples at 95 % of full scale or more
// as the warning of highlights about to clip.
const TDatabaseAutoExposureStatistics_2 kDefaults = {
    .inputSelect = 0,
    .ratio = 0.95f,
    .rectangle = {.height = 1080, .offset = {0, 0}, .width = 1920},
    .zoneSum = {},
    .statistics = {},
    .weight = {.blue = 29, .greenBlue = 75, .greenRed = 75, .red = 77},
};

const Field kWeightFields[] = {
    field("blue", &TDatabaseAutoExposureStatistics_2Weight::blue),
    field("greenBlue", &TDatabaseAutoExposureStatistics_2Weight::greenBlue),
    field("greenRed", &TDatabaseAutoExposureStatistics_2Weight::greenRed),
    field("red", &TDatabaseAutoExposureStatistics_2Weight::red),
};

const Layout kWeightLayout = layoutOf<TDatabaseAutoExposureStatistics_2Weight>(kWeightFields);

const Field kFields[] = {
    field("inputSelect", &TDatabaseAutoExposureStatistics_2::inputSelect),
    field("ratio", &TDatabaseAutoExposureStatistics_2::ratio),
    group("rectangle", &TDatabaseAutoExposureStatistics_2::rectangle, kFrameWindowLayout),
    group("weight", &TDatabaseAutoExposureStatistics_2::weight, kWeightLayout),
};

const Layout kLayout = layoutOf<TDatabaseAutoExposureStatistics_2>(kFields);

using Statistics = TDatabaseAutoExposureStatistics_2Statistics;

const Field kStatisticsFields[] = {
    field("mean", &Statistics::mean),
    field("luma", &Statistics::luma),
    field("aboveRatio", &Statistics::aboveRatio),
    field("count", &Statistics::count),
};

const Layout kStatisticsLayout = layoutOf<Statistics>(kStatisticsFields);

}  // namespace

extern const RecordType kAutoExposureStatistics2Record = {"AES_2", kLayout, &kDefaults};

}  // namespace tdatabase

extern "C" TDATABASE_API uint32_t TDatabaseAutoExposureStatistics_2_statistics(const void *record,
                                                                               TJsonValue *value) {
  const auto *unit = static_cast<const TDatabaseAutoExposureStatistics_2 *>(record);
  return tdatabase::writeStatistics(tdatabase::kStatisticsLayout,
                                    unit != nullptr ? &unit->statistics : nullptr, value);
}
