// "AFM_3": the focus measurement unit, and the serialiser of its measurement.
#include "statistics.h"
#include "t_database.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoFocusMeasurement_3;
using Curve = TDatabaseAutoFocusMeasurement_3Curve;

// Dark samples are mostly noise and bright ones may be clipping: both weigh less.
constexpr Curve kCurve = {.x = {0, 32, 192, 255}, .y = {0.5f, 1.0f, 0.75f}};

// The centre half of the 1080p frame, a little coring against noise. The IIR high pass is
// a second difference; the IIR low pass a first difference smoothed by a one-pole low
// pass, which answers to coarser detail.
const Record kDefaults = {
    .coring =
        {
            .firHighPass = {2, 2, 2},
            .firLowPass = {2, 2, 2},
            .iirHighPass = {2, 2, 2},
            .iirLowPass = {2, 2, 2},
        },
    .fir = {.dataShift = 0, .highPassWeight = 1.0f, .lowPassWeight = 0.5f},
    .gamma = 1.0f,
    .histThreshold = 235,
    .hwRoi = {480, 270, 960, 540},
    .iir =
        {
            .dataShift = 0,
            .highPassWeight = 1.0f,
            .highPassCoeff = {{0.25f, -0.5f, 0.25f, 0.0f},
                              {1.0f, 0.0f, 0.0f, 0.0f},
                              {1.0f, 0.0f, 0.0f, 0.0f}},
            .lowPassWeight = 0.5f,
            .lowPassCoeff = {{0.5f, -0.5f, 0.0f, 0.0f},
                             {0.5f, 0.0f, 0.0f, 0.5f},
                             {1.0f, 0.0f, 0.0f, 0.0f}},
        },
    .ldg = {.firHighPass = kCurve,
            .firLowPass = kCurve,
            .iirHighPass = kCurve,
            .iirLowPass = kCurve},
    .statistics = {},
    .isEnable = 1,
};

const Field kCoringFields[] = {
    field("firHighPass", &TDatabaseAutoFocusMeasurement_3Coring::firHighPass),
    field("firLowPass", &TDatabaseAutoFocusMeasurement_3Coring::firLowPass),
    field("iirHighPass", &TDatabaseAutoFocusMeasurement_3Coring::iirHighPass),
    field("iirLowPass", &TDatabaseAutoFocusMeasurement_3Coring::iirLowPass),
};

const Layout kCoringLayout = layoutOf<TDatabaseAutoFocusMeasurement_3Coring>(kCoringFields);

const Field kFirFields[] = {
    field("dataShift", &TDatabaseAutoFocusMeasurement_3Fir::dataShift),
    field("highPassWeight", &TDatabaseAutoFocusMeasurement_3Fir::highPassWeight),
    field("lowPassWeight", &TDatabaseAutoFocusMeasurement_3Fir::lowPassWeight),
};

const Layout kFirLayout = layoutOf<TDatabaseAutoFocusMeasurement_3Fir>(kFirFields);

const Field kIirFields[] = {
    field("dataShift", &TDatabaseAutoFocusMeasurement_3Iir::dataShift),
    field("highPassWeight", &TDatabaseAutoFocusMeasurement_3Iir::highPassWeight),
    field("highPassCoeff", &TDatabaseAutoFocusMeasurement_3Iir::highPassCoeff),
    field("lowPassWeight", &TDatabaseAutoFocusMeasurement_3Iir::lowPassWeight),
    field("lowPassCoeff", &TDatabaseAutoFocusMeasurement_3Iir::lowPassCoeff),
};

const Layout kIirLayout = layoutOf<TDatabaseAutoFocusMeasurement_3Iir>(kIirFields);

const Field kCurveFields[] = {
    field("x", &Curve::x),
    field("y", &Curve::y),
};

const Layout kCurveLayout = layoutOf<Curve>(kCurveFields);

const Field kLdgFields[] = {
    group("firHighPass", &TDatabaseAutoFocusMeasurement_3Ldg::firHighPass, kCurveLayout),
    group("firLowPass", &TDatabaseAutoFocusMeasurement_3Ldg::firLowPass, kCurveLayout),
    group("iirHighPass", &TDatabaseAutoFocusMeasurement_3Ldg::iirHighPass, kCurveLayout),
    group("iirLowPass", &TDatabaseAutoFocusMeasurement_3Ldg::iirLowPass, kCurveLayout),
};

const Layout kLdgLayout = layoutOf<TDatabaseAutoFocusMeasurement_3Ldg>(kLdgFields);

const Field kFields[] = {
    group("coring", &Record::coring, kCoringLayout),
    group("fir", &Record::fir, kFirLayout),
    field("gamma", &Record::gamma),
    field("histThreshold", &Record::histThreshold),
    field("hwRoi", &Record::hwRoi),
    group("iir", &Record::iir, kIirLayout),
    group("ldg", &Record::ldg, kLdgLayout),
    boolean("isEnable", &Record::isEnable),
};

const Layout kLayout = layoutOf<Record>(kFields);

using Statistics = TDatabaseAutoFocusMeasurement_3Statistics;

const Field kStatisticsFields[] = {
    field("fir", &Statistics::fir),
    field("iir", &Statistics::iir),
    field("luma", &Statistics::luma),
    field("highlights", &Statistics::highlights),
};

const Layout kStatisticsLayout = layoutOf<Statistics>(kStatisticsFields);

}  // namespace

extern const RecordType kAutoFocusMeasurement3Record = {"AFM_3", kLayout, &kDefaults};

}  // namespace tdatabase

extern "C" TDATABASE_API uint32_t TDatabaseAutoFocusMeasurement_3_statistics(const void *record,
                                                                             TJsonValue *value) {
  const auto *unit = static_cast<const TDatabaseAutoFocusMeasurement_3 *>(record);
  return tdatabase::writeStatistics(tdatabase::kStatisticsLayout,
                                    unit != nullptr ? &unit->statistics : nullptr, value);
}
