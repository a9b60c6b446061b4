// "AWDR_5_2_1": the local tone mapping tuning table, per sensor gain point.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoWideDynamicRange_5_2_1;
using Row = TDatabaseAutoWideDynamicRange_5_2_1Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverWideDynamicRange_5_2_1_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after});
}

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    inRow(":contrast", Access::Integer, SHELL_FIELD_OF(Row, contrast)),
    inRow(":deGamma", Access::Float, SHELL_FIELD_OF(Row, deGamma)),
    inRow(":entropyBase", Access::Integer, SHELL_FIELD_OF(Row, entropyBase)),
    inRow(":entropySlope", Access::Integer, SHELL_FIELD_OF(Row, entropySlope)),
    inRow(":fixedWeight", Access::Integer, SHELL_FIELD_OF(Row, fixedWeight)),
    inRow(":flatLevel", Access::Integer, SHELL_FIELD_OF(Row, flatLevel)),
    inRow(":flatLevelGlobal", Access::Integer, SHELL_FIELD_OF(Row, flatLevelGlobal)),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains)),
    inRow(":highStrength", Access::Integer, SHELL_FIELD_OF(Row, highStrength)),
    inRow(":hlcBaseLog", Access::Float, SHELL_FIELD_OF(Row, hlcBaseLog)),
    inRow(":hlcSlope", Access::Integer, SHELL_FIELD_OF(Row, hlcSlope)),
    inRow(":lightBlueThrLog", Access::Float, SHELL_FIELD_OF(Row, lightBlueThrLog)),
    inRow(":lightCyanThrLog", Access::Float, SHELL_FIELD_OF(Row, lightCyanThrLog)),
    inRow(":lightEn", Access::Integer, SHELL_FIELD_OF(Row, lightEn)),
    inRow(":lightGreenThrLog", Access::Float, SHELL_FIELD_OF(Row, lightGreenThrLog)),
    inRow(":lightMagentaThrLog", Access::Float, SHELL_FIELD_OF(Row, lightMagentaThrLog)),
    inRow(":lightRedThrLog", Access::Float, SHELL_FIELD_OF(Row, lightRedThrLog)),
    inRow(":lightSatHiThr", Access::Integer, SHELL_FIELD_OF(Row, lightSatHiThr)),
    inRow(":lightSatLoThr", Access::Integer, SHELL_FIELD_OF(Row, lightSatLoThr)),
    inRow(":lightYellowThrLog", Access::Float, SHELL_FIELD_OF(Row, lightYellowThrLog)),
    inRow(":logAnchorSlope", Access::Integer, SHELL_FIELD_OF(Row, logAnchorSlope)),
    inRow(":logAnchorXLog", Access::Float, SHELL_FIELD_OF(Row, logAnchorXLog)),
    inRow(":logWeight", Access::Integer, SHELL_FIELD_OF(Row, logWeight)),
    inRow(":lowStrength", Access::Integer, SHELL_FIELD_OF(Row, lowStrength)),
    inRow(":maxGain", Access::Integer, SHELL_FIELD_OF(Row, maxGain)),
    inRow(":satRange", Access::Float, SHELL_FIELD_OF(Row, satRange)),
    inRow(":satThrGainDown", Access::Integer, SHELL_FIELD_OF(Row, satThrGainDown)),
    inRow(":satThrGainUp", Access::Integer, SHELL_FIELD_OF(Row, satThrGainUp)),
    inRow(":wdrColorWeight", Access::Integer, SHELL_FIELD_OF(Row, wdrColorWeight)),
    inRow(":wdrLumaThr", Access::Integer, SHELL_FIELD_OF(Row, wdrLumaThr)),
};

constexpr tshell::About kAbout = {"Tone mapping per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoWideDynamicRange_5_2_1_process, "AWDR_5_2_1", kKeys, kAbout);
