// "AGC_2": a gamma curve per gain point, in the table row the client selects.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoGammaCorrection_2;
using Row = TDatabaseAutoGammaCorrection_2Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverGammaCorrection_2_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    tshell::inEntry(kRow, {":curve", Access::Integer, SHELL_FIELD_OF(Row, curve), nullptr, after}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after}),
};

constexpr tshell::About kAbout = {"Gamma curves per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoGammaCorrection_2_process, "AGC_2", kKeys, kAbout);
