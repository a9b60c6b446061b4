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
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    tshell::inEntry(
        kRow,
        {":bright", Access::Float, SHELL_FIELD_OF(Row, bright), nullptr, after,
         "20 entries, one per gain point: brightness offset, 1/255 of full scale (0 neutral). The "
         "camera interpolates it at the current sensor gain into CP_1_2 bright."}),
    tshell::inEntry(
        kRow,
        {":contrast", Access::Float, SHELL_FIELD_OF(Row, contrast), nullptr, after,
         "20 entries, one per gain point: contrast factor (1.0 neutral; easing off with gain as "
         "shipped). The camera interpolates it at the current sensor gain into CP_1_2 contrast."}),
    tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains), nullptr, after,
                           "The 20 gain points of the row: total sensor gain as a factor, rising "
                           "(1, 1.5, 2, 3, 4, 6 ... 768 as shipped). Each other ':' key holds one "
                           "entry per point. The camera uses the leading rising run of points."}),
    tshell::inEntry(kRow, {":hue", Access::Float, SHELL_FIELD_OF(Row, hue), nullptr, after,
                           "20 entries, one per gain point: hue rotation, degrees (0 neutral). The "
                           "camera interpolates it at the current sensor gain into CP_1_2 hue."}),
    tshell::inEntry(kRow,
                    {":saturation", Access::Float, SHELL_FIELD_OF(Row, saturation), nullptr, after,
                     "20 entries, one per gain point: saturation factor (1.0 neutral; down to "
                     "about 0.6 at the highest gain as shipped). The camera interpolates it at the "
                     "current sensor gain into CP_1_2 saturation."}),
};

constexpr tshell::About kAbout = {
    "Colour processing per gain",
    "Brightness, contrast, hue and saturation per sensor gain point: a table of 10 rows (one per "
    "sensor mode), each listing 20 gain points and the four settings at each, so that saturation "
    "and contrast can ease off where chroma noise grows. While the camera streams and the table is "
    "on (as shipped), the selected row is interpolated at the sensor's total gain and programmed "
    "into CP_1_2. A write pushes CP_1_2."};

}  // namespace

SHELL_CATEGORY(TShellAutoColorProcess_1_2_process, "ACP_1_2", kKeys, kAbout);
