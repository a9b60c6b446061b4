// "HDR_3_2DOL": merge of the two exposures of a digital-overlap sensor. The block cannot be
// read back: reads are served from the record, and only writes reach the hardware.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseHighDynamicRange_3_2Dol;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverHighDynamicRange_3_2Dol_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Bypassed, the frame "
     "bypassSelect names passes. Writing pushes the block."},
    {"bypassSelect", Access::Integer, SHELL_FIELD(bypassSelect), nullptr, after,
     "Frame that passes while the block is bypassed: 0 the long exposure (as shipped), 1 the short "
     "one."},
    {"colorWeight", Access::Integer, SHELL_FIELD(colorWeight), nullptr, after,
     "Weights of R, mean G and B in the luma that selects between the frames, in 1/256 (77, 150, "
     "29 as shipped: BT.601)."},
    {"deGhostLs.darkLowerThreshold", Access::Integer, SHELL_FIELD(deGhostLs.darkLowerThreshold),
     nullptr, after,
     "Long/short de-ghosting: luma in codes below which the motion measure is faded out entirely, "
     "because the short frame's amplified noise would look like motion (64 as shipped)."},
    {"deGhostLs.darkUpperThreshold", Access::Integer, SHELL_FIELD(deGhostLs.darkUpperThreshold),
     nullptr, after,
     "Long/short de-ghosting: luma in codes from which the motion measure counts fully (256 as "
     "shipped)."},
    {"deGhostLs.isEnable", Access::Bool, SHELL_FIELD(deGhostLs.isEnable), nullptr, after,
     "De-ghosting between the long and the short frame: where their lumas differ like motion, the "
     "merge leans on the reference frame (true as shipped)."},
    {"deGhostLs.motionLowerThreshold", Access::Integer, SHELL_FIELD(deGhostLs.motionLowerThreshold),
     nullptr, after,
     "Long/short de-ghosting: luma difference in codes (x motionWeight[0]/256) from which a quad "
     "starts to count as moving (32 as shipped)."},
    {"deGhostLs.motionUpperThreshold", Access::Integer, SHELL_FIELD(deGhostLs.motionUpperThreshold),
     nullptr, after,
     "Long/short de-ghosting: luma difference in codes (x motionWeight[0]/256) at which a quad "
     "counts fully as moving (128 as shipped)."},
    {"deGhostLsVs.darkLowerThreshold", Access::Integer, SHELL_FIELD(deGhostLsVs.darkLowerThreshold),
     nullptr, after,
     "De-ghosting against a third, very short exposure: luma in codes below which the motion "
     "measure is faded out (32 as shipped)."},
    {"deGhostLsVs.darkUpperThreshold", Access::Integer, SHELL_FIELD(deGhostLsVs.darkUpperThreshold),
     nullptr, after,
     "De-ghosting against a third, very short exposure: luma in codes from which the motion "
     "measure counts fully (128 as shipped)."},
    {"deGhostLsVs.isEnable", Access::Bool, SHELL_FIELD(deGhostLsVs.isEnable), nullptr, after,
     "De-ghosting against a third, very short exposure (true as shipped)."},
    {"deGhostLsVs.motionLowerThreshold", Access::Integer,
     SHELL_FIELD(deGhostLsVs.motionLowerThreshold), nullptr, after,
     "De-ghosting against a very short exposure: luma difference in codes from which a quad starts "
     "to count as moving (48 as shipped)."},
    {"deGhostLsVs.motionUpperThreshold", Access::Integer,
     SHELL_FIELD(deGhostLsVs.motionUpperThreshold), nullptr, after,
     "De-ghosting against a very short exposure: luma difference in codes at which a quad counts "
     "fully as moving (192 as shipped)."},
    // Signed: a negative shift moves a frame's bits down.
    {"extendBit", Access::Integer, SHELL_FIELD(extendBit), nullptr, after,
     "Bit extension, two signed values: element 0 shifts both frames by that many bits, element 1 "
     "raises the merged frame's clip level by 2^n (0, 4 as shipped: room for a 16:1 ratio)."},
    {"motionWeight", Access::Integer, SHELL_FIELD(motionWeight), nullptr, after,
     "Weights of the motion measure, 256 = 1.0 (256, 256 as shipped); element 0 scales the "
     "long/short difference."},
    {"ratio", Access::Float, SHELL_FIELD(ratio), nullptr, after,
     "Exposure ratios long / short (16, 16 as shipped); element 0 scales the short frame to the "
     "long frame's level. Match it to EC_2 integrationTime[0] / [1]."},
    {"transRange", Access::Float, SHELL_FIELD(transRange), nullptr, after,
     "Transition ranges, 4 pairs (start, end) as fractions of the long frame's full scale (entry "
     "0: 0.70, 0.90 as shipped): below start only the long frame counts, above end only the short "
     "one, linearly between."},
};

constexpr tshell::About kAbout = {
    "Two-exposure HDR merge",
    "Merges the long and the short exposure of a two-exposure (digital overlap) sensor into one "
    "frame of extended range, with de-ghosting where something moved between them. In the "
    "simulated camera it runs when the input path's stitchingMode is not linear: on 2 x 2 quads "
    "the short frame, scaled by ratio, replaces the long one across the transition range and "
    "wherever the long frame clips. A linear frame passes through."};

}  // namespace

SHELL_CATEGORY(TShellHighDynamicRange_3_2Dol_process, "HDR_3_2DOL", kKeys, kAbout);
