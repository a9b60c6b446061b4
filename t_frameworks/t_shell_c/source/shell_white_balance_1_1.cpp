// "WB_1_1": white balance gains.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseWhiteBalance_1_1;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverWhiteBalance_1_1_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverWhiteBalance_1_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"gain", Access::Float, SHELL_FIELD(gain), before, after,
     "Gains of the R, Gr, Gb and B sites as factors (1.71, 1, 1, 1.55 as shipped: grey under "
     "5000 K light); typically red and blue above 1 and the greens near 1. The signal above black "
     "is multiplied and clipped at white. Auto white balance programs them (greens 1), with the "
     "AWB_4 settings this block's last push latched."},
};

constexpr tshell::About kAbout = {
    "White balance",
    "White balance gains per Bayer channel, which make a neutral surface come out grey under the "
    "scene's light. In the simulated camera each site's signal above black is multiplied by its "
    "channel's gain and clipped at white, so highlights clip per channel. With AWB_4 mode 1 the "
    "camera's auto white balance loop programs the gains frame by frame while streaming, and reads "
    "answer what it programmed."};

}  // namespace

SHELL_CATEGORY(TShellWhiteBalance_1_1_process, "WB_1_1", kKeys, kAbout);
