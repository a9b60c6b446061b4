// "GC_2": gamma correction.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseGammaCorrection_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverGammaCorrection_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverGammaCorrection_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"curve", Access::Integer, SHELL_FIELD(curve), before, after,
     "64 output levels of the curve in 10-bit codes (0 to 1023), one per curve point (gamma 1/2.2 "
     "as shipped). A curve whose points are all equal falls back to the standard exponent."},
    {"curvePx", Access::Integer, SHELL_FIELD(curvePx), before, after,
     "64 input levels of the curve points in 12-bit codes (0, 65, ..., 4095 as shipped). Used only "
     "while isUserCurveX is on; otherwise the points sit every 65 codes."},
    {"isStandard", Access::Bool, SHELL_FIELD(isStandard), before, after,
     "Uses the standard power curve x^(1/standardVal) instead of curve (false as shipped)."},
    {"isUserCurveX", Access::Bool, SHELL_FIELD(isUserCurveX), before, after,
     "Places the curve points at the input levels of curvePx instead of every 65 codes (false as "
     "shipped)."},
    {"standardVal", Access::Float, SHELL_FIELD(standardVal), before, after,
     "Exponent of the standard curve, applied as x^(1/standardVal) (2.2 as shipped). Used while "
     "isStandard is on or for a flat curve; a value not above 0 means 2.2."},
};

constexpr tshell::About kAbout = {
    "Gamma correction",
    "Gamma correction: the curve from linear 12-bit data to the 10-bit encoded output that "
    "displays expect. In the simulated camera the 64-point curve (or the standard power curve) is "
    "read with interpolation for R, G and B alike; bypassed, the linear picture is encoded with "
    "the sRGB curve so that it stays viewable."};

}  // namespace

SHELL_CATEGORY(TShellGammaCorrection_2_process, "GC_2", kKeys, kAbout);
