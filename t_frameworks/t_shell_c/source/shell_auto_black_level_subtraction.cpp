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
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    tshell::inEntry(kRow,
                    {":bls", Access::Integer, SHELL_FIELD_OF(Row, bls), nullptr, after,
                     "20 × 4, a row per gain point: the black level of each channel (R, Gr, Gb, B) "
                     "at that gain, 12-bit codes (256 + point as shipped: dark current grows with "
                     "gain). The camera interpolates it at the current sensor gain into BLS data, "
                     "in place of the sensor's calibrated pedestal."}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after,
                           "The 20 gain points of the row: total sensor gain as a factor, rising "
                           "(1, 1.5, 2, 3, 4, 6 ... 768 as shipped). Each other ':' key holds one "
                           "entry per point. The camera uses the leading rising run of points."}),
};

constexpr tshell::About kAbout = {
    "Black levels per gain",
    "Black levels per sensor gain point: a table of 10 rows (one per sensor mode), each listing 20 "
    "gain points and the four channel black levels at each, since dark current lifts the pedestal "
    "as the gain grows. While the camera streams and the table is on (as shipped), the selected "
    "row is interpolated at the sensor's total gain and programmed into BLS as its override "
    "levels. A write pushes BLS."};

}  // namespace

SHELL_CATEGORY(TShellAutoBlackLevelSubtraction_process, "ABLS", kKeys, kAbout);
