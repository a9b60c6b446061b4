// "AGC_2": gamma curves that follow the sensor gain, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_gamma_correction_2.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoGammaCorrection_2;
using Row = TDatabaseAutoGammaCorrection_2Row;

constexpr uint32_t kPoints = 64;
constexpr uint32_t kTop = 1023;  // 10-bit output

// The display gamma 1/2.2 at the 64 evenly spaced input levels of the gamma block.
constexpr uint16_t kDisplayGamma[kPoints] = {
    0,   156, 213, 256, 292, 323, 351, 377, 400, 422, 443, 463, 481,  499,  516,  533,
    549, 564, 579, 593, 607, 621, 634, 647, 660, 672, 684, 696, 708,  719,  730,  741,
    752, 762, 773, 783, 793, 803, 813, 823, 832, 842, 851, 860, 869,  878,  887,  895,
    904, 913, 921, 929, 938, 946, 954, 962, 970, 978, 985, 993, 1001, 1008, 1016, 1023};

// The display gamma at unity gain; with every gain point the curve moves a step towards
// the straight line, up to half way at the highest gain, so that the shadows, where the
// noise lives, are lifted less.
constexpr Record makeDefaults() {
  Record defaults = {};
  defaults.enable = 1;
  constexpr uint32_t kSteps = 2 * (kGainPoints - 1);
  for (Row &row : defaults.rows) {
    for (uint32_t k = 0; k < kGainPoints; ++k) {
      for (uint32_t i = 0; i < kPoints; ++i) {
        const uint32_t gamma = kDisplayGamma[i];
        const uint32_t linear = (kTop * i + (kPoints - 1) / 2) / (kPoints - 1);
        row.curve[k][i] = static_cast<uint16_t>(gamma - (gamma - linear) * k / kSteps);
      }
    }
    fillGainPoints(row);
  }
  defaults.interpolate = 1;
  defaults.tableIndex = 0;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kRowFields[] = {
    field("curve", &Row::curve),
    field("gains", &Row::gains),
};
const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kFields[] = {
    boolean("enable", &Record::enable),
    table("rows", &Record::rows, kRowLayout),
    boolean("interpolate", &Record::interpolate),
    field("tableIndex", &Record::tableIndex),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoGammaCorrection2Record = {"AGC_2", kLayout, &kDefaults};

}  // namespace tdatabase
