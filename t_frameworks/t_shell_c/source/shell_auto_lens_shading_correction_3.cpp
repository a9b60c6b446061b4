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
    {"damping", Access::Float, SHELL_FIELD(damping), nullptr, after},
    {"interMode", Access::Integer, SHELL_FIELD(interMode), nullptr, after},
    {"autoLevel", Access::Integer, SHELL_FIELD(autoLevel), nullptr, after},
    {":strength", Access::Float, SHELL_FIELD(strength), nullptr, after},
    {":gains", Access::Float, SHELL_FIELD(gains), nullptr, after},
};

constexpr tshell::About kAbout = {"Lens shading per gain", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoLensShadingCorrection_3_process, "ALSC_3", kKeys, kAbout);
