// "AFM_3": the focus measurement unit of the focus control block, which the driver pushes
// and reads back with that block. "statistics" serves the unit's measurement.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoFocusMeasurement_3;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverFocusControl_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverFocusControl_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseAutoFocusMeasurement_3_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"isEnable", Access::Bool, SHELL_FIELD(isEnable), nullptr, after},
    {"coring.firHighPass", Access::Integer, SHELL_FIELD(coring.firHighPass), nullptr, after},
    {"coring.firLowPass", Access::Integer, SHELL_FIELD(coring.firLowPass), nullptr, after},
    {"coring.iirHighPass", Access::Integer, SHELL_FIELD(coring.iirHighPass), nullptr, after},
    {"coring.iirLowPass", Access::Integer, SHELL_FIELD(coring.iirLowPass), nullptr, after},
    {"fir.dataShift", Access::Integer, SHELL_FIELD(fir.dataShift), nullptr, after},
    {"fir.highPassWeight", Access::Float, SHELL_FIELD(fir.highPassWeight), nullptr, after},
    {"fir.lowPassWeight", Access::Float, SHELL_FIELD(fir.lowPassWeight), nullptr, after},
    {"gamma", Access::Float, SHELL_FIELD(gamma), nullptr, after},
    {"histThreshold", Access::Integer, SHELL_FIELD(histThreshold), nullptr, after},
    {"hwRoi", Access::Integer, SHELL_FIELD(hwRoi), nullptr, after},
    {"iir.dataShift", Access::Integer, SHELL_FIELD(iir.dataShift), nullptr, after},
    {"iir.highPassWeight", Access::Float, SHELL_FIELD(iir.highPassWeight), nullptr, after},
    {"iir.highPassCoeff", Access::Float, SHELL_FIELD(iir.highPassCoeff), nullptr, after},
    {"iir.lowPassWeight", Access::Float, SHELL_FIELD(iir.lowPassWeight), nullptr, after},
    {"iir.lowPassCoeff", Access::Float, SHELL_FIELD(iir.lowPassCoeff), nullptr, after},
    {"ldg.firHighPassX", Access::Integer, SHELL_FIELD(ldg.firHighPass.x), nullptr, after},
    {"ldg.firHighPassY", Access::Float, SHELL_FIELD(ldg.firHighPass.y), nullptr, after},
    {"ldg.firLowPassX", Access::Integer, SHELL_FIELD(ldg.firLowPass.x), nullptr, after},
    {"ldg.firLowPassY", Access::Float, SHELL_FIELD(ldg.firLowPass.y), nullptr, after},
    {"ldg.iirHighPassX", Access::Integer, SHELL_FIELD(ldg.iirHighPass.x), nullptr, after},
    {"ldg.iirHighPassY", Access::Float, SHELL_FIELD(ldg.iirHighPass.y), nullptr, after},
    {"ldg.iirLowPassX", Access::Integer, SHELL_FIELD(ldg.iirLowPass.x), nullptr, after},
    {"ldg.iirLowPassY", Access::Float, SHELL_FIELD(ldg.iirLowPass.y), nullptr, after},
    tshell::statisticsKey("statistics", statistics, before, nullptr),
};

constexpr tshell::About kAbout = {"Focus measurement", nullptr};

}  // namespace

SHELL_CATEGORY(TShellAutoFocusMeasurement_3_process, "AFM_3", kKeys, kAbout);
