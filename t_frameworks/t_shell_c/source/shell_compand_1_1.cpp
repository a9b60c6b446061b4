// "CPD_1_1": expansion of companded sensor data. The block cannot be read back:
// reads serve the database.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseCompand_1_1;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverCompand_1_1_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"bls", Access::Integer, SHELL_FIELD(bls), nullptr, after,
     "Black levels subtracted from the R, Gr, Gb and B sites before the expansion, in 12-bit codes "
     "(0 as shipped). Used only while blsEnable is on."},
    {"blsEnable", Access::Bool, SHELL_FIELD(blsEnable), nullptr, after,
     "Subtracts bls before the expansion (false as shipped: black level subtraction does it "
     "further down)."},
    {"expandCurveX", Access::Integer, SHELL_FIELD(expandCurveX), nullptr, after,
     "64 compressed input levels of the expansion curve, 12-bit codes, rising (0, 65, ..., 4095 as "
     "shipped). Points are used up to the first one that does not rise."},
    {"expandCurveY", Access::Integer, SHELL_FIELD(expandCurveY), nullptr, after,
     "64 linear output levels, one for each point of expandCurveX, 12-bit codes (equal to X as "
     "shipped: the identity)."},
    {"expandUseOutYCurve", Access::Bool, SHELL_FIELD(expandUseOutYCurve), nullptr, after,
     "true expands along expandCurveX -> expandCurveY (as shipped); false skips the expansion."},
};

constexpr tshell::About kAbout = {
    "Compand",
    "Expands raw data that an HDR sensor compressed into fewer bits along a knee curve back to "
    "linear levels, and can subtract a black level first. In the simulated camera the expansion is "
    "a piecewise-linear curve on the 12-bit scale; the shipped identity curve changes nothing."};

}  // namespace

SHELL_CATEGORY(TShellCompand_1_1_process, "CPD_1_1", kKeys, kAbout);
