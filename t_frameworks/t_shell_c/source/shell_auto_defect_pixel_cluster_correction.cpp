// "ADPCC": the defect pixel correction tuning table, per sensor gain point.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoDefectPixelClusterCorrection;
using Row = TDatabaseAutoDefectPixelClusterCorrectionRow;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDefectPixelClusterCorrection_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after});
}

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains)),
    inRow(":lineMadFac", Access::Integer, SHELL_FIELD_OF(Row, lineMadFac)),
    inRow(":lineThresh", Access::Integer, SHELL_FIELD_OF(Row, lineThresh)),
    inRow(":methodsSet", Access::Integer, SHELL_FIELD_OF(Row, methodsSet)),
    inRow(":outMode", Access::Integer, SHELL_FIELD_OF(Row, outMode)),
    inRow(":pgFac", Access::Integer, SHELL_FIELD_OF(Row, pgFac)),
    inRow(":rgFac", Access::Integer, SHELL_FIELD_OF(Row, rgFac)),
    inRow(":rndOffs", Access::Integer, SHELL_FIELD_OF(Row, rndOffs)),
    inRow(":rndThresh", Access::Integer, SHELL_FIELD_OF(Row, rndThresh)),
    inRow(":roLimits", Access::Integer, SHELL_FIELD_OF(Row, roLimits)),
    inRow(":setUse", Access::Integer, SHELL_FIELD_OF(Row, setUse)),
};

constexpr tshell::About kAbout = {"Defect pixels per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoDefectPixelClusterCorrection_process, "ADPCC", kKeys, kAbout);
