// "EC_2": sensor gains and integration time per exposure frame. The dots in
// "gain.analog" and "gain.digital" belong to the key text.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseExposureControl_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverExposureControl_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverExposureControl_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 manual (as shipped): the sensor runs at the exposure written here. 1 auto exposure: while "
     "streaming, the camera's loop meters the AES_2 window and programs integrationTime and the "
     "gains each frame towards AE_4 setPoint, with the AE_4 settings this block's last push "
     "latched."},
    {"gain.analog", Access::Float, SHELL_FIELD(gain.analog), before, after,
     "Analog sensor gain of the four exposure frames as factors (1.0 as shipped); frame 0's times "
     "its digital gain is the simulated sensor's gain, which also raises its noise. Auto exposure "
     "raises it up to 16 once the time is at its limit."},
    {"gain.digital", Access::Float, SHELL_FIELD(gain.digital), before, after,
     "Sensor-side digital gain of the four exposure frames as factors (1.0 as shipped); multiplies "
     "the analog gain. Auto exposure raises it up to 4 after the analog gain."},
    {"integrationTime", Access::Float, SHELL_FIELD(integrationTime), before, after,
     "Integration (exposure) time of the four exposure frames in seconds (0.01 as shipped: "
     "flicker-free under 50 Hz mains). Frame 0 exposes the simulated picture; frame 0 / frame 1 is "
     "the HDR exposure ratio, which auto exposure keeps."},
};

constexpr tshell::About kAbout = {
    "Exposure control",
    "Sensor exposure of up to four exposure frames (frame 0 the long one, 1 the short one of a "
    "two-exposure HDR stream): integration time and analog and digital gain; a write pushes it "
    "together with the AES_2 statistics unit. In the simulated camera frame 0 sets the exposure "
    "and gain of the picture and frame 1 the short exposure that HDR_3_2DOL merges. With state 1 "
    "the camera's auto exposure loop programs them frame by frame while streaming, and reads "
    "answer what it programmed."};

}  // namespace

SHELL_CATEGORY(TShellExposureControl_2_process, "EC_2", kKeys, kAbout);
