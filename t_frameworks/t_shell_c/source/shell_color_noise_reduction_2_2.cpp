// "CNR_2_2": chroma noise reduction.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseColorNoiseReduction_2_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverColorNoiseReduction_2_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorNoiseReduction_2_2_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). Writing pushes the block."},
    {"cSigmaLayer", Access::Float, SHELL_FIELD(cSigmaLayer), before, after,
     "Filter strength of the three layers, finest first (2, 4, 8 as shipped): chroma detail well "
     "below about 2 x cSigmaLayer/255 x cnrStrength/128 of full scale is removed, larger detail "
     "kept."},
    {"cnrStrength", Access::Integer, SHELL_FIELD(cnrStrength), before, after,
     "Overall strength, 0 to 255 (128 as shipped: moderate, keeps small saturated details); scales "
     "every layer's sigma by cnrStrength/128."},
    {"textureMaskSelect", Access::Integer, SHELL_FIELD(textureMaskSelect), before, after,
     "Lets luma texture weaken the filter on the finest layers: 0 off (as shipped), 1 the finest "
     "layer, 2 the two finest."},
};

constexpr tshell::About kAbout = {
    "Chroma noise reduction",
    "Chroma noise reduction over a three-layer pyramid: blotchy colour noise is removed layer by "
    "layer while colour edges and the mean colour stay. In the simulated camera each layer's "
    "chroma detail is shrunk where it is small against that layer's sigma; the luma is untouched."};

}  // namespace

SHELL_CATEGORY(TShellColorNoiseReduction_2_2_process, "CNR_2_2", kKeys, kAbout);
