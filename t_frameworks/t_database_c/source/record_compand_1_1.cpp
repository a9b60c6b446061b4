// "CPD_1_1": companding. Sensors with a high dynamic range compress their raw data into
// fewer bits along a knee curve; the block expands it back to linear data along
// expandCurveX (compressed level) -> expandCurveY (linear level).
#include "fields.h"
#include "t_database_records/compand_1_1.h"

namespace tdatabase {
namespace {

constexpr uint32_t kPoints = 64;
constexpr uint32_t kStep = 65;  // 63 steps of 65 span the 12-bit range 0..4095

// The simulated sensor delivers linear 12-bit data: the expansion is the identity, X = Y
// at 64 evenly spaced levels, so enabling the block changes no pixel.
constexpr TDatabaseCompand_1_1 makeDefaults() {
  TDatabaseCompand_1_1 defaults = {
      .state = 1,
      .bls = {0, 0, 0, 0},  // black level subtraction does that job further down
      .blsEnable = 0,
      .expandCurveX = {},
      .expandCurveY = {},
      .expandUseOutYCurve = 1,  // expand along the curve above
  };
  for (uint32_t i = 0; i < kPoints; ++i) {
    defaults.expandCurveX[i] = i * kStep;
    defaults.expandCurveY[i] = i * kStep;
  }
  return defaults;
}

constexpr TDatabaseCompand_1_1 kDefaults = makeDefaults();

const Field kFields[] = {
    field("state", &TDatabaseCompand_1_1::state),
    field("bls", &TDatabaseCompand_1_1::bls),
    boolean("blsEnable", &TDatabaseCompand_1_1::blsEnable),
    field("expandCurveX", &TDatabaseCompand_1_1::expandCurveX),
    field("expandCurveY", &TDatabaseCompand_1_1::expandCurveY),
    boolean("expandUseOutYCurve", &TDatabaseCompand_1_1::expandUseOutYCurve),
};

const Layout kLayout = layoutOf<TDatabaseCompand_1_1>(kFields);

}  // namespace

extern const RecordType kCompand11Record = {"CPD_1_1", kLayout, &kDefaults};

}  // namespace tdatabase
