// "ABLS": black levels per gain point, in the table row the client selects.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoBlackLevelSubtraction;
using Row = TDatabaseAutoBlackLevelSubtractionRow;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverBlackLevelSubtraction_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    tshell::inEntry(kRow, {":bls", Access::Integer, SHELL_FIELD_OF(Row, bls), nullptr, after}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after}),
};

constexpr tshell::About kAbout = {"Black levels per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoBlackLevelSubtraction_process, "ABLS", kKeys, kAbout);
