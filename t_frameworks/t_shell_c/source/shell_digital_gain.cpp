// "DG": digital gain per Bayer channel.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseDigitalGain;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverDigitalGain_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverDigitalGain_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"b", Access::Float, SHELL_FIELD(b), before, after,
     "Gain of the blue sites, as a factor (1.0 as shipped); the signal above black is multiplied "
     "by it and clipped at white."},
    {"gb", Access::Float, SHELL_FIELD(gb), before, after,
     "Gain of the green sites on blue rows (Gb), as a factor (1.0 as shipped)."},
    {"gr", Access::Float, SHELL_FIELD(gr), before, after,
     "Gain of the green sites on red rows (Gr), as a factor (1.0 as shipped)."},
    {"r", Access::Float, SHELL_FIELD(r), before, after,
     "Gain of the red sites, as a factor (1.0 as shipped)."},
};

constexpr tshell::About kAbout = {
    "Digital gain",
    "Digital gain per Bayer channel, applied to the raw data after black level subtraction. In the "
    "simulated camera each site's signal above black is multiplied by its channel's gain and "
    "clipped at white; infrared sites keep unity. Unity gains as shipped."};

}  // namespace

SHELL_CATEGORY(TShellDigitalGain_process, "DG", kKeys, kAbout);
