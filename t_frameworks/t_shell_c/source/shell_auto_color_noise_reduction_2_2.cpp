// "ACNR_2_2": chroma noise reduction per gain point, in the table row the client selects.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoColorNoiseReduction_2_2;
using Row = TDatabaseAutoColorNoiseReduction_2_2Row;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorNoiseReduction_2_2_process, SHELL_SITE);
}

constexpr tshell::Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow,
                     {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after}),
    tshell::inEntry(kRow,
                    {":cnrEnable", Access::Flag, SHELL_FIELD_OF(Row, cnrEnable), nullptr, after}),
    tshell::inEntry(
        kRow, {":cnrStrength", Access::Integer, SHELL_FIELD_OF(Row, cnrStrength), nullptr, after}),
    tshell::inEntry(
        kRow, {":cSigmaLayer", Access::Float, SHELL_FIELD_OF(Row, cSigmaLayer), nullptr, after}),
    tshell::inEntry(
        kRow, {":cSigmaLayer1", Access::Float, SHELL_FIELD_OF(Row, cSigmaLayer1), nullptr, after}),
    tshell::inEntry(
        kRow, {":cSigmaLayer2", Access::Float, SHELL_FIELD_OF(Row, cSigmaLayer2), nullptr, after}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after}),
    tshell::inEntry(
        kRow, {":textureMask", Access::Integer, SHELL_FIELD_OF(Row, textureMask), nullptr, after}),
};

constexpr tshell::About kAbout = {"Chroma noise reduction per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoColorNoiseReduction_2_2_process, "ACNR_2_2", kKeys, kAbout);
