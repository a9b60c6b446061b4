// "FC": the lens focus motor. Unlike the other blocks, reading "state" reads the
// motor back first: a client polls it to see when the lens has settled.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseFocusControl;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverFocusControl_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverFocusControl_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), before, after,
     "Focus motor state (0 as shipped: idle); while the auto-focus loop runs, 1 searching and 2 "
     "settled. Reading reads the motor back first, so a client can poll until the lens has "
     "settled."},
    {"mode", Access::Integer, SHELL_FIELD(mode), before, after,
     "Focus mode: 0 manual (as shipped), the lens stays where position puts it; any other value "
     "lets the camera's auto-focus loop move it while AF_4 mode is not 0 too, with the AF_4 "
     "settings this block's last push latched."},
    {"position", Access::Integer, SHELL_FIELD(position), before, after,
     "Lens position in motor steps between infinity and macro (512 as shipped, mid travel). The "
     "simulated lens is sharp at 400 and blurs by about one pixel every 25 steps away from it. "
     "Auto focus programs it; reads answer where the lens is."},
};

constexpr tshell::About kAbout = {
    "Focus motor",
    "The lens focus motor: a client moves the lens by position and polls state to see when it has "
    "settled; a write pushes it together with the AFM_3 focus measurement unit. In the simulated "
    "camera the lens is sharp at position 400 and blurs by about one pixel (of a 1080-line frame) "
    "every 25 steps away from it, up to 8 pixels. With mode and AF_4 mode not 0, the camera's "
    "auto-focus loop moves the lens by the AFM_3 measure while streaming."};

}  // namespace

SHELL_CATEGORY(TShellFocusControl_process, "FC", kKeys, kAbout);
