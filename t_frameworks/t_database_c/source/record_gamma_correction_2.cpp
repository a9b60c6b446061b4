// "GC_2": gamma correction, the 64-point curve from linear 12-bit sensor data to the
// 10-bit output that displays expect.
#include "fields.h"
#include "t_database_records/gamma_correction_2.h"

namespace tdatabase {
namespace {

constexpr uint32_t kPoints = 64;
constexpr uint32_t kInputStep = 65;  // 63 steps of 65 span the 12-bit input 0..4095

constexpr TDatabaseGammaCorrection_2 makeDefaults() {
  TDatabaseGammaCorrection_2 defaults = {
      .state = 1,
      // The standard display gamma 1/2.2 at the input levels of curvePx:
      // round(1023 * (curvePx[i] / 4095) ^ (1 / 2.2)).
      .curve = {0,   156, 213, 256, 292, 323, 351, 377, 400, 422, 443, 463, 481,  499,  516,  533,
                549, 564, 579, 593, 607, 621, 634, 647, 660, 672, 684, 696, 708,  719,  730,  741,
                752, 762, 773, 783, 793, 803, 813, 823, 832, 842, 851, 860, 869,  878,  887,  895,
                904, 913, 921, 929, 938, 946, 954, 962, 970, 978, 985, 993, 1001, 1008, 1016, 1023},
      .curvePx = {},
      .isStandard = 0,    // curve above applies ...
      .isUserCurveX = 0,  // ... at the fixed, evenly spaced input levels
      .standardVal = 2.2f,
      .isStatistics = 0,
  };
  for (uint32_t i = 0; i < kPoints; ++i) defaults.curvePx[i] = i * kInputStep;
  return defaults;
}

constexpr TDatabaseGammaCorrection_2 kDefaults = makeDefaults();

const Field kFields[] = {
    field("state", &TDatabaseGammaCorrection_2::state),
    field("curve", &TDatabaseGammaCorrection_2::curve),
    field("curvePx", &TDatabaseGammaCorrection_2::curvePx),
    boolean("isStandard", &TDatabaseGammaCorrection_2::isStandard),
    boolean("isUserCurveX", &TDatabaseGammaCorrection_2::isUserCurveX),
    field("standardVal", &TDatabaseGammaCorrection_2::standardVal),
    boolean("isStatistics", &TDatabaseGammaCorrection_2::isStatistics),
};

const Layout kLayout = layoutOf<TDatabaseGammaCorrection_2>(kFields);

}  // namespace

extern const RecordType kGammaCorrection2Record = {"GC_2", kLayout, &kDefaults};

}  // namespace tdatabase
