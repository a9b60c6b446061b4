// "ALSC_3": lens shading correction strength per gain point. The record holds one set of
// gain points; "autoLevel" is a stored setting and selects nothing here.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoLensShadingCorrection_3;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverLensShadingCorrection_3_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"damping", Access::Float, SHELL_FIELD(damping), nullptr, after,
     "Damping of strength changes between frames, 0..1 (0.3 as shipped): higher follows gain "
     "changes more slowly."},
    {"interMode", Access::Integer, SHELL_FIELD(interMode), nullptr, after,
     "How the strength is read between gain points: 0 the nearer point, other values interpolate "
     "linearly (1 as shipped). The camera follows it."},
    {"autoLevel", Access::Integer, SHELL_FIELD(autoLevel), nullptr, after,
     "Calibration level of the strengths (1 as shipped). A stored setting: it selects nothing in "
     "the shell."},
    {":strength", Access::Float, SHELL_FIELD(strength), nullptr, after,
     "20 entries, one per gain point: share of the calibrated shading correction, 0..1 (1.0 at "
     "unity gain to 0.5 at the highest as shipped). The camera pulls the LSC_3 grid towards 1.0 by "
     "it at the current sensor gain."},
    {":gains", Access::Float, SHELL_FIELD(gains), nullptr, after,
     "The 20 gain points of :strength: total sensor gain as a factor, rising (1, 1.5, 2, 3 ... 768 "
     "as shipped)."},
};

constexpr tshell::About kAbout = {
    "Lens shading per gain",
    "Lens shading correction strength per sensor gain point: one set of 20 gain points and a "
    "strength at each, since the corner gain of the shading grid also amplifies the noise in the "
    "corners. While the camera streams, the strength at the sensor's total gain pulls the LSC_3 "
    "grid towards unity gain (1 keeps the calibrated correction, 0 turns it off). A write pushes "
    "LSC_3."};

}  // namespace

SHELL_CATEGORY(TShellAutoLensShadingCorrection_3_process, "ALSC_3", kKeys, kAbout);
