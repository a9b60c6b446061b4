// "RGBIR_1_1": version 1.1 of the infrared separation block, with the keys of the first
// version. The block cannot be read back: reads are served from the record, and only
// writes reach the hardware.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseRgbInfraredRadiation_1_1;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverRgbInfraredRadiation_1_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"bls", Access::Integer, SHELL_FIELD(bls), nullptr, after,
     "Black levels of the R, G, B and IR sites in 12-bit codes (256 each as shipped); each channel "
     "loses its level less the mean of the four, the common pedestal being BLS's."},
    {"ccMatrix", Access::Float, SHELL_FIELD(ccMatrix), nullptr, after,
     "3 x 4 matrix, 12 factors row by row: output R, G, B out of R, G, B, IR (as shipped each "
     "colour less 1.0 x IR, which takes away the infrared the colour sites see)."},
    {"dpccMidTh", Access::Integer, SHELL_FIELD(dpccMidTh), nullptr, after,
     "Defect threshold per channel (R, G, B, IR) against a flat neighbourhood, 12-bit codes (128 "
     "as shipped): a site further than this from its flat same-channel neighbours is replaced."},
    {"dpccTh", Access::Integer, SHELL_FIELD(dpccTh), nullptr, after,
     "Defect threshold per channel (R, G, B, IR), 12-bit codes (512 as shipped): a site outside "
     "its nearest same-channel neighbours' range by more than this is replaced by their mean."},
    {"irBayerPattern", Access::Integer, SHELL_FIELD(irBayerPattern), nullptr, after,
     "Position of the IR site in the sensor's 4 x 4 pattern (0 as shipped)."},
    {"irThreshold", Access::Integer, SHELL_FIELD(irThreshold), nullptr, after,
     "Infrared level in 12-bit codes above which the infrared removal fades out, over 256 codes "
     "(3800 as shipped): near saturation the infrared estimate is unreliable."},
    {"lThreshold", Access::Integer, SHELL_FIELD(lThreshold), nullptr, after,
     "Green level (standing for luma) in 12-bit codes above which the infrared removal fades out, "
     "over 256 codes (3200 as shipped)."},
    {"outRgbPattern", Access::Integer, SHELL_FIELD(outRgbPattern), nullptr, after,
     "Bayer order of the rebuilt mosaic: 0 RGGB (as shipped), 1 GRBG, 2 GBRG, 3 BGGR."},
    {"rcccEnable", Access::Bool, SHELL_FIELD(rcccEnable), nullptr, after,
     "Treats the sensor as RCCC (red and clear sites) instead of RGB-IR (false as shipped)."},
};

constexpr tshell::About kAbout = {
    "RGB-IR separation v1.1",
    "Infrared separation for an RGB-IR sensor, whose colour sites also see infrared and a quarter "
    "of whose sites see infrared only: evens out the channels' black levels, replaces lone "
    "defects, removes the infrared from the colours and rebuilds a Bayer mosaic. In the simulated "
    "camera it runs only when the sensor mode is RGB-IR (SS :type 1), with these settings while "
    "this block is enabled, else with RGBIR's; a Bayer frame passes through. Levels are 12-bit "
    "codes, scaled to the sensor."};

}  // namespace

SHELL_CATEGORY(TShellRgbInfraredRadiation_1_1_process, "RGBIR_1_1", kKeys, kAbout);
