// "CP_1_2": brightness, contrast, hue and saturation of the YUV output.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseColorProcess_1_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverColorProcess_1_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorProcess_1_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"bright", Access::Float, SHELL_FIELD(bright), before, after,
     "Brightness offset added to the luma, in 8-bit levels (1/255 of full scale; 0 as shipped)."},
    {"contrast", Access::Float, SHELL_FIELD(contrast), before, after,
     "Luma contrast factor about mid-grey (1.0 as shipped): above 1 more contrast, below 1 less."},
    {"hue", Access::Float, SHELL_FIELD(hue), before, after,
     "Rotation of the chroma (Cb, Cr) in degrees (0 as shipped)."},
    {"saturation", Access::Float, SHELL_FIELD(saturation), before, after,
     "Chroma gain as a factor (1.0 as shipped): 0 gives grey, above 1 stronger colours."},
    {"yuvRange", Access::Integer, SHELL_FIELD(yuvRange), before, after,
     "0 full range (as shipped), 1 limited (video) range: on a full-range display blacks look "
     "lifted and whites dimmer."},
};

constexpr tshell::About kAbout = {
    "Colour processing",
    "Brightness, contrast, hue and saturation of the YUV output. In the simulated camera the "
    "encoded picture is converted to BT.601 YCbCr, adjusted, and shown in full or limited range as "
    "a full-range display would show it. Neutral as shipped."};

}  // namespace

SHELL_CATEGORY(TShellColorProcess_1_2_process, "CP_1_2", kKeys, kAbout);
