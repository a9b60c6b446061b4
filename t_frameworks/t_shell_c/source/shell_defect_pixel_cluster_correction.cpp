// "DPCC": defect pixel cluster correction, the bad-pixel table and the on-line detection
// tables.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDefectPixelClusterCorrection;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverDefectPixelClusterCorrection_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDefectPixelClusterCorrection_process, SHELL_SITE);
}

// The table's coordinates and bptNum are independent keys: a client installing a new table
// writes all three in one request, and the block is pushed once, after the last of them.
constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"bptEnable", Access::Bool, SHELL_FIELD(bptEnable), before, after,
     "Replaces the sites listed in the bad-pixel table (the first bptNum entries of "
     "bptPosX/bptPosY) by bptOutMode (false as shipped)."},
    {"bptNum", Access::Integer, SHELL_FIELD(bptNum), before, after,
     "Entries of the bad-pixel table in use, 0 to 2048 (0 as shipped). Write it with bptPosX and "
     "bptPosY in one request."},
    {"bptOutMode", Access::Integer, SHELL_FIELD(bptOutMode), before, after,
     "How a listed bad pixel is replaced: 0 mean of the horizontal pair, 1 of the vertical pair, 2 "
     "of the four nearest, 3 of the pair along the smoothest line, 4 median of all eight (4 as "
     "shipped)."},
    {"bptPosX", Access::Integer, SHELL_FIELD(bptPosX), before, after,
     "Columns of the bad-pixel table entries, 2048 values in pixels (empty as shipped); entry i "
     "pairs with bptPosY[i]."},
    {"bptPosY", Access::Integer, SHELL_FIELD(bptPosY), before, after,
     "Rows of the bad-pixel table entries, 2048 values in lines (empty as shipped); entry i pairs "
     "with bptPosX[i]."},
    {"lineMadFac", Access::Integer, SHELL_FIELD(lineMadFac), before, after,
     "Line method: factor on the difference of the two neighbours along the smoothest line that "
     "the site must exceed. 2 x 3 table: rows green sites, then red/blue sites; columns method "
     "sets 0, 1, 2."},
    {"lineThresh", Access::Integer, SHELL_FIELD(lineThresh), before, after,
     "Line method: distance in 12-bit codes from the mean of the two neighbours along the "
     "smoothest line that the site must exceed. 2 x 3 table: rows green sites, then red/blue "
     "sites; columns method sets 0, 1, 2."},
    {"methodsSet", Access::Integer, SHELL_FIELD(methodsSet), before, after,
     "Methods of the three sets, one 16-bit mask per set: bits 0-4 for green sites, 8-12 for "
     "red/blue; bit 0 peak gradient, 1 line, 2 rank order, 3 rank difference, 4 rank gradient "
     "(0x1d1d, 0x0707, 0x0101 as shipped)."},
    {"outMode", Access::Integer, SHELL_FIELD(outMode), before, after,
     "How a detected defect is replaced: 0 mean of the horizontal pair, 1 of the vertical pair, 2 "
     "of the four nearest, 3 of the pair along the smoothest line (as shipped), 4 median of all "
     "eight."},
    {"pgFac", Access::Integer, SHELL_FIELD(pgFac), before, after,
     "Peak gradient method: factor on the neighbours' mean deviation that the site's peak over "
     "their mean must exceed. 2 x 3 table: rows green sites, then red/blue sites; columns method "
     "sets 0, 1, 2."},
    {"rgFac", Access::Integer, SHELL_FIELD(rgFac), before, after,
     "Rank gradient method: the site must exceed the rank bound by more than rgFac/16 x the step "
     "to the next rank. 2 x 3 table: rows green sites, then red/blue sites; columns method sets 0, "
     "1, 2."},
    {"rndOffs", Access::Integer, SHELL_FIELD(rndOffs), before, after,
     "Rank difference method: noise term; the site must exceed the rank bound b by rndThresh + "
     "rndOffs x sqrt(b). 2 x 3 table: rows green sites, then red/blue sites; columns method sets "
     "0, 1, 2."},
    {"rndThresh", Access::Integer, SHELL_FIELD(rndThresh), before, after,
     "Rank difference method: fixed part of the threshold above the rank bound, 12-bit codes. 2 x "
     "3 table: rows green sites, then red/blue sites; columns method sets 0, 1, 2."},
    {"roLimits", Access::Integer, SHELL_FIELD(roLimits), before, after,
     "Rank of the neighbour used as bound by the rank methods: 1 the brightest (darkest for a dead "
     "site); n (up to 4) allows n - 1 defective neighbours. 2 x 3 table: rows green sites, then "
     "red/blue sites; columns method sets 0, 1, 2."},
    {"setUse", Access::Integer, SHELL_FIELD(setUse), before, after,
     "Which method sets are used: bit i enables set i (0x07 as shipped: all three, for single "
     "defects, pairs and clusters)."},
};

constexpr tshell::About kAbout = {
    "Defect pixel correction",
    "Finds hot and dead sites, and small clusters of them, and replaces them from their "
    "same-colour neighbours; sites of a calibrated bad-pixel table are replaced unconditionally. "
    "In the simulated camera each site is judged against its 8 same-colour neighbours by up to "
    "three method sets and replaced when every method of one used set agrees; levels are 12-bit "
    "codes above black."};

}  // namespace

SHELL_CATEGORY(TShellDefectPixelClusterCorrection_process, "DPCC", kKeys, kAbout);
