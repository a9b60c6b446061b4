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
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    tshell::inEntry(
        kRow,
        {":cnrEnable", Access::Flag, SHELL_FIELD_OF(Row, cnrEnable), nullptr, after,
         "20 entries, one per gain point: true turns chroma noise reduction on, stored as 0 or 1. "
         "The camera takes the entry at or below the current sensor gain as CNR_2_2 state."}),
    tshell::inEntry(
        kRow,
        {":cnrStrength", Access::Integer, SHELL_FIELD_OF(Row, cnrStrength), nullptr, after,
         "20 entries, one per gain point: filter strength, 1/128 (16 + 8 per point as shipped). "
         "The camera interpolates it at the current sensor gain into CNR_2_2 cnrStrength."}),
    tshell::inEntry(
        kRow,
        {":cSigmaLayer", Access::Float, SHELL_FIELD_OF(Row, cSigmaLayer), nullptr, after,
         "20 entries, one per gain point: noise sigma of the finest chroma layer, 0..255 scale. "
         "The camera interpolates it at the current sensor gain into CNR_2_2 cSigmaLayer[0]."}),
    tshell::inEntry(
        kRow,
        {":cSigmaLayer1", Access::Float, SHELL_FIELD_OF(Row, cSigmaLayer1), nullptr, after,
         "20 entries, one per gain point: noise sigma of the middle chroma layer, 0..255 scale. "
         "The camera interpolates it at the current sensor gain into CNR_2_2 cSigmaLayer[1]."}),
    tshell::inEntry(
        kRow,
        {":cSigmaLayer2", Access::Float, SHELL_FIELD_OF(Row, cSigmaLayer2), nullptr, after,
         "20 entries, one per gain point: noise sigma of the coarsest chroma layer, 0..255 scale. "
         "The camera interpolates it at the current sensor gain into CNR_2_2 cSigmaLayer[2]."}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after,
                           "The 20 gain points of the row: total sensor gain as a factor, rising "
                           "(1, 1.5, 2, 3, 4, 6 ... 768 as shipped). Each other ':' key holds one "
                           "entry per point. The camera uses the leading rising run of points."}),
    tshell::inEntry(
        kRow, {":textureMask", Access::Integer, SHELL_FIELD_OF(Row, textureMask), nullptr, after,
               "20 entries, one per gain point: how much luma texture protects chroma detail, "
               "0..255 (relaxing with gain as shipped)."}),
};

constexpr tshell::About kAbout = {
    "Chroma noise reduction per gain",
    "Chroma noise reduction per sensor gain point: a table of 10 rows (one per sensor mode), each "
    "listing 20 gain points and the filter switch, strength and three layer sigmas at each, "
    "growing with the gain. While the camera streams and the table is on (as shipped), the "
    "selected row is interpolated at the sensor's total gain and programmed into CNR_2_2. A write "
    "pushes CNR_2_2."};

}  // namespace

SHELL_CATEGORY(TShellAutoColorNoiseReduction_2_2_process, "ACNR_2_2", kKeys, kAbout);
