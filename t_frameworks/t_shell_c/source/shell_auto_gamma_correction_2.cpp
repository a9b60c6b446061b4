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
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    tshell::inEntry(kRow,
                    {":curve", Access::Integer, SHELL_FIELD_OF(Row, curve), nullptr, after,
                     "20 × 64, a row per gain point: the 64-point gamma curve (10-bit outputs at "
                     "the block's 64 input levels), the display gamma at unity gain moving towards "
                     "a straight line as shipped. The camera interpolates it at the current sensor "
                     "gain into GC_2 curve (while GC_2 isStandard is off)."}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after,
                           "The 20 gain points of the row: total sensor gain as a factor, rising "
                           "(1, 1.5, 2, 3, 4, 6 ... 768 as shipped). Each other ':' key holds one "
                           "entry per point. The camera uses the leading rising run of points."}),
};

constexpr tshell::About kAbout = {
    "Gamma curves per gain",
    "Gamma curves per sensor gain point: a table of 10 rows (one per sensor mode), each listing 20 "
    "gain points and a 64-point curve at each, so that shadows, where the noise lives, are lifted "
    "less at high gain. While the camera streams and the table is on (as shipped), the selected "
    "row's curves are interpolated at the sensor's total gain and programmed into GC_2. A write "
    "pushes GC_2."};

}  // namespace

SHELL_CATEGORY(TShellAutoGammaCorrection_2_process, "AGC_2", kKeys, kAbout);
