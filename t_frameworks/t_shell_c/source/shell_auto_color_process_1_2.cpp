// "ACP_1_2": brightness, contrast, hue and saturation per gain point, in the table row the
// client selects.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoColorProcess_1_2;
using Row = TDatabaseAutoColorProcess_1_2Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorProcess_1_2_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    tshell::inEntry(kRow, {":bright", Access::Float, SHELL_FIELD_OF(Row, bright), nullptr, after}),
    tshell::inEntry(kRow,
                    {":contrast", Access::Float, SHELL_FIELD_OF(Row, contrast), nullptr, after}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after}),
    tshell::inEntry(kRow, {":hue", Access::Float, SHELL_FIELD_OF(Row, hue), nullptr, after}),
    tshell::inEntry(
        kRow, {":saturation", Access::Float, SHELL_FIELD_OF(Row, saturation), nullptr, after}),
};

constexpr tshell::About kAbout = {"Colour processing per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoColorProcess_1_2_process, "ACP_1_2", kKeys, kAbout);
