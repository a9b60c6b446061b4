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

constexpr KeyRow inRow(const char *key, Access access, tshell::FieldRef field, const char *help) {
  return tshell::inEntry(kRow, {key, access, field, nullptr, after, help});
}

constexpr KeyRow kKeys[] = {
    tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex), nullptr, after,
                            "Row of the table that the ':' keys address, 0..9 (one row per sensor "
                            "mode). Kept in the database, shared by every client; a write outside "
                            "the table is refused. The camera applies this row while streaming."}),
    inRow(":contrast", Access::Integer, SHELL_FIELD_OF(Row, contrast),
          "20 entries, one per gain point: local contrast, signed about 0 (0 keeps the detail as "
          "it is; 0 .. -32 as shipped). The camera interpolates it at the current sensor gain into "
          "WDR_5_2_1 contrast, as 512 + this value."),
    inRow(":deGamma", Access::Float, SHELL_FIELD_OF(Row, deGamma),
          "20 entries, one per gain point: gamma that makes the encoded picture linear for the "
          "highlight level (2.2 as shipped). The camera interpolates it at the current sensor gain "
          "into WDR_5_2_1 deGamma."),
    inRow(":entropyBase", Access::Integer, SHELL_FIELD_OF(Row, entropyBase),
          "20 entries, one per gain point: curve strength factor at 8 bits of entropy, 1/1024. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 entropyBase."),
    inRow(":entropySlope", Access::Integer, SHELL_FIELD_OF(Row, entropySlope),
          "20 entries, one per gain point: how much the strength rises per bit of entropy below 8, "
          "1/1024. The camera interpolates it at the current sensor gain into WDR_5_2_1 "
          "entropySlope."),
    inRow(
        ":fixedWeight", Access::Integer, SHELL_FIELD_OF(Row, fixedWeight),
        "20 entries, one per gain point: how far the local mean is pulled towards the frame mean. "
        "The camera interpolates it at the current sensor gain into WDR_5_2_1 fixedWeight."),
    inRow(
        ":flatLevel", Access::Integer, SHELL_FIELD_OF(Row, flatLevel),
        "20 entries, one per gain point: activity level below which a block counts as flat, 8-bit "
        "steps. The camera interpolates it at the current sensor gain into WDR_5_2_1 flatLevel."),
    inRow(":flatLevelGlobal", Access::Integer, SHELL_FIELD_OF(Row, flatLevelGlobal),
          "20 entries, one per gain point: the same level for the frame's mean activity, used with "
          "flatMode. The camera interpolates it at the current sensor gain into WDR_5_2_1 "
          "flatLevelGlobal."),
    inRow(":gains", Access::Float, SHELL_FIELD_OF(Row, gains),
          "The 20 gain points of the row: total sensor gain as a factor, rising (1, 1.5, 2, 3, 4, "
          "6 ... 768 as shipped). Each other ':' key holds one entry per point. The camera uses "
          "the leading rising run of points."),
    inRow(":highStrength", Access::Integer, SHELL_FIELD_OF(Row, highStrength),
          "20 entries, one per gain point: highlight compression strength, of 255. The camera "
          "interpolates it at the current sensor gain into WDR_5_2_1 highStrength."),
    inRow(":hlcBaseLog", Access::Float, SHELL_FIELD_OF(Row, hlcBaseLog),
          "20 entries, one per gain point: log2 of the level (12-bit codes) above which highlights "
          "are compressed. The camera interpolates it at the current sensor gain into WDR_5_2_1 "
          "hlcBaseLog."),
    inRow(":hlcSlope", Access::Integer, SHELL_FIELD_OF(Row, hlcSlope),
          "20 entries, one per gain point: highlight compression slope, 1/32. The camera "
          "interpolates it at the current sensor gain into WDR_5_2_1 hlcSlope."),
    inRow(":lightBlueThrLog", Access::Float, SHELL_FIELD_OF(Row, lightBlueThrLog),
          "20 × 4, a row per gain point: the four log2 levels (of the brightest channel, 12-bit "
          "scale) at which a saturated blue light counts 0, 1/3, 2/3 and fully as a lamp. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 lightBlueThrLog."),
    inRow(":lightCyanThrLog", Access::Float, SHELL_FIELD_OF(Row, lightCyanThrLog),
          "20 × 4, a row per gain point: the four log2 levels (of the brightest channel, 12-bit "
          "scale) at which a saturated cyan light counts 0, 1/3, 2/3 and fully as a lamp. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 lightCyanThrLog."),
    inRow(":lightEn", Access::Integer, SHELL_FIELD_OF(Row, lightEn),
          "20 entries, one per gain point: 1 turns coloured-light protection on. The camera takes "
          "the entry at or below the current sensor gain as WDR_5_2_1 lightEn."),
    inRow(":lightGreenThrLog", Access::Float, SHELL_FIELD_OF(Row, lightGreenThrLog),
          "20 × 4, a row per gain point: the four log2 levels (of the brightest channel, 12-bit "
          "scale) at which a saturated green light counts 0, 1/3, 2/3 and fully as a lamp. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 lightGreenThrLog."),
    inRow(":lightMagentaThrLog", Access::Float, SHELL_FIELD_OF(Row, lightMagentaThrLog),
          "20 × 4, a row per gain point: the four log2 levels (of the brightest channel, 12-bit "
          "scale) at which a saturated magenta light counts 0, 1/3, 2/3 and fully as a lamp. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 lightMagentaThrLog."),
    inRow(":lightRedThrLog", Access::Float, SHELL_FIELD_OF(Row, lightRedThrLog),
          "20 × 4, a row per gain point: the four log2 levels (of the brightest channel, 12-bit "
          "scale) at which a saturated red light counts 0, 1/3, 2/3 and fully as a lamp. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 lightRedThrLog."),
    inRow(":lightSatHiThr", Access::Integer, SHELL_FIELD_OF(Row, lightSatHiThr),
          "20 entries, one per gain point: saturation at which a pixel counts fully as coloured "
          "light, of 255. The camera interpolates it at the current sensor gain into WDR_5_2_1 "
          "lightSatHiThr."),
    inRow(":lightSatLoThr", Access::Integer, SHELL_FIELD_OF(Row, lightSatLoThr),
          "20 entries, one per gain point: saturation from which a pixel starts to count as "
          "coloured light, of 255. The camera interpolates it at the current sensor gain into "
          "WDR_5_2_1 lightSatLoThr."),
    inRow(":lightYellowThrLog", Access::Float, SHELL_FIELD_OF(Row, lightYellowThrLog),
          "20 × 4, a row per gain point: the four log2 levels (of the brightest channel, 12-bit "
          "scale) at which a saturated yellow light counts 0, 1/3, 2/3 and fully as a lamp. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 lightYellowThrLog."),
    inRow(":logAnchorSlope", Access::Integer, SHELL_FIELD_OF(Row, logAnchorSlope),
          "20 entries, one per gain point: slope of the log-domain curve at its anchor. The camera "
          "interpolates it at the current sensor gain into WDR_5_2_1 logAnchorSlope."),
    inRow(":logAnchorXLog", Access::Float, SHELL_FIELD_OF(Row, logAnchorXLog),
          "20 entries, one per gain point: log2 of the anchor level of the log-domain curve. The "
          "camera interpolates it at the current sensor gain into WDR_5_2_1 logAnchorXLog."),
    inRow(":logWeight", Access::Integer, SHELL_FIELD_OF(Row, logWeight),
          "20 entries, one per gain point: weight of the log-domain curve. The camera interpolates "
          "it at the current sensor gain into WDR_5_2_1 logWeight."),
    inRow(":lowStrength", Access::Integer, SHELL_FIELD_OF(Row, lowStrength),
          "20 entries, one per gain point: shadow lift strength, 1/256 (256 .. 128 as shipped). "
          "The camera interpolates it at the current sensor gain into WDR_5_2_1 lowStrength."),
    inRow(
        ":maxGain", Access::Integer, SHELL_FIELD_OF(Row, maxGain),
        "20 entries, one per gain point: largest local gain, 1/256 (1024 = 4x .. 512 = 2x as "
        "shipped). The camera interpolates it at the current sensor gain into WDR_5_2_1 maxGain."),
    inRow(":satRange", Access::Float, SHELL_FIELD_OF(Row, satRange),
          "20 entries, one per gain point: share of the gain that chroma follows at high gain, "
          "0..1. The camera interpolates it at the current sensor gain into WDR_5_2_1 satRange."),
    inRow(
        ":satThrGainDown", Access::Integer, SHELL_FIELD_OF(Row, satThrGainDown),
        "20 entries, one per gain point: gain from which chroma follows only satRange of it, 1/64. "
        "The camera interpolates it at the current sensor gain into WDR_5_2_1 satThrGainDown."),
    inRow(":satThrGainUp", Access::Integer, SHELL_FIELD_OF(Row, satThrGainUp),
          "20 entries, one per gain point: gain above which chroma follows the gain less, 1/64. "
          "The camera interpolates it at the current sensor gain into WDR_5_2_1 satThrGainUp."),
    inRow(":wdrColorWeight", Access::Integer, SHELL_FIELD_OF(Row, wdrColorWeight),
          "20 × 3, a row per gain point: the luma weights of R, G, B, of 256 (77, 150, 29 as "
          "shipped). The camera interpolates it at the current sensor gain into WDR_5_2_1 "
          "wdrColorWeight."),
    inRow(":wdrLumaThr", Access::Integer, SHELL_FIELD_OF(Row, wdrLumaThr),
          "20 entries, one per gain point: luma threshold of the tone curve, codes. The camera "
          "interpolates it at the current sensor gain into WDR_5_2_1 wdrLumaThr."),
};

constexpr tshell::About kAbout = {
    "Tone mapping per gain",
    "Local tone mapping per sensor gain point: a table of 10 rows (one per sensor mode), each "
    "listing 20 gain points and the WDR_5_2_1 curve, highlight, saturation, flatness and "
    "coloured-light settings at each; shadow lift and local contrast back off as the gain grows, "
    "since lifting shadows lifts their noise too. While the camera streams and the table is on (as "
    "shipped), the selected row is interpolated at the sensor's total gain into WDR_5_2_1. A write "
    "pushes WDR_5_2_1."};

}  // namespace

SHELL_CATEGORY(TShellAutoWideDynamicRange_5_2_1_process, "AWDR_5_2_1", kKeys, kAbout);
