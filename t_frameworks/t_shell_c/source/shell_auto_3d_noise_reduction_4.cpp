// "A3DNR_4": the temporal noise reduction tuning table, per sensor gain point, and the
// sensor's noise model that holds for every row.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAuto3DNoiseReduction_4;
using Row = TDatabaseAuto3DNoiseReduction_4Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver3DNoiseReduction_4_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after});
}

constexpr KeyRow kKeys[] = {
    {"nmK", Access::Float, SHELL_FIELD(nmK), nullptr, after},
    {"nmP", Access::Float, SHELL_FIELD(nmP), nullptr, after},
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    inRow(":blsExp", Access::Integer, SHELL_FIELD_OF(Row, blsExp)),
    inRow(":dilateH", Access::Integer, SHELL_FIELD_OF(Row, dilateH)),
    inRow(":fixCurveStart", Access::Integer, SHELL_FIELD_OF(Row, fixCurveStart)),
    inRow(":filterLen", Access::Integer, SHELL_FIELD_OF(Row, filterLen)),
    inRow(":filterLen2", Access::Integer, SHELL_FIELD_OF(Row, filterLen2)),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains)),
    inRow(":motionDilateEn", Access::Bool, SHELL_FIELD_OF(Row, motionDilateEn)),
    inRow(":motionSmoothFactor", Access::Double, SHELL_FIELD_OF(Row, motionSmoothFactor)),
    inRow(":motionSmoothLvl", Access::Integer, SHELL_FIELD_OF(Row, motionSmoothLvl)),
    inRow(":noiseModelA", Access::Double, SHELL_FIELD_OF(Row, noiseModelA)),
    inRow(":noiseModelB", Access::Double, SHELL_FIELD_OF(Row, noiseModelB)),
    inRow(":rangeH", Access::Integer, SHELL_FIELD_OF(Row, rangeH)),
    inRow(":sadWeight", Access::Integer, SHELL_FIELD_OF(Row, sadWeight)),
    inRow(":sqrDiffFactor", Access::Integer, SHELL_FIELD_OF(Row, sqrDiffFactor)),
    inRow(":tnrStrength", Access::Integer, SHELL_FIELD_OF(Row, tnrStrength)),
    inRow(":tnrStrength2", Access::Integer, SHELL_FIELD_OF(Row, tnrStrength2)),
    inRow(":tnrLumaCurveY", Access::Integer, SHELL_FIELD_OF(Row, tnrLumaCurveY)),
    inRow(":tnrMotionSlopeY", Access::Integer, SHELL_FIELD_OF(Row, tnrMotionSlopeY)),
};

constexpr tshell::About kAbout = {"Temporal noise reduction per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAuto3DNoiseReduction_4_process, "A3DNR_4", kKeys, kAbout);
