// "3AI_2": the switches between the ISP and its 3A (exposure, white balance, focus)
// controls. The block cannot be read back: reads serve the database.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabase3AInterface_2;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriver3AInterface_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"awbEnable", Access::Bool, SHELL_FIELD(awbEnable), nullptr, after,
     "Lets auto white balance drive the white-balance gains (true, as shipped) or holds them at "
     "their pushed values (false)."},
    {"cacEnable", Access::Bool, SHELL_FIELD(cacEnable), nullptr, after,
     "Lets the 3A controls drive chromatic aberration correction in the demosaic block (true, as "
     "shipped)."},
    {"ccEnable", Access::Bool, SHELL_FIELD(ccEnable), nullptr, after,
     "Lets the 3A controls drive the colour correction matrix, following the estimated light "
     "(true, as shipped)."},
    {"isEnable", Access::Bool, SHELL_FIELD(isEnable), nullptr, after,
     "Image stabilisation: true crops the frame and shifts the crop against camera shake; false "
     "(as shipped) leaves the frame whole."},
    {"integrationTime", Access::Float, SHELL_FIELD(integrationTime), nullptr, after,
     "Exposure time the interface hands to the sensor, in seconds (0.01 = 10 ms as shipped, "
     "flicker-free under 50 Hz mains light)."},
    {"lscEnable", Access::Bool, SHELL_FIELD(lscEnable), nullptr, after,
     "Lets the 3A controls drive lens shading correction, following the light and the gain (true, "
     "as shipped)."},
    {"sensorGain", Access::Float, SHELL_FIELD(sensorGain), nullptr, after,
     "Total sensor gain the interface hands to the sensor, as a factor (1.0 = unity, as shipped)."},
};

constexpr tshell::About kAbout = {
    "3A interface",
    "The switches between the ISP and its 3A controls (exposure, white balance, focus): which "
    "corrections the controls may drive, and the exposure time and gain handed to the sensor. The "
    "block cannot be read back, so reads answer what the database holds. In the simulated camera "
    "the block is stored with each push, but neither the stages nor the control loops read it: "
    "exposure and gain come from EC_2, and auto white balance follows AWB_4 mode."};

}  // namespace

SHELL_CATEGORY(TShell3AInterface_2_process, "3AI_2", kKeys, kAbout);
