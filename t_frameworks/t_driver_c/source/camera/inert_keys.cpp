// One section per stage file; each lists its block's inert keys in the block's key order.
#include "inert_keys.h"

namespace tcamera {
namespace {

constexpr InertKey kInertKeys[] = {
    // --- BLS
    // --- DPCC
    // --- LSC_3
    // --- GE
    // --- DG
    // --- WB_1_1
    // --- CPD_1_1
    // --- HDR_3_2DOL
    // --- RGBIR, RGBIR_1_1
    // --- 2DNR_6
    // --- DMSC_3
    // --- CCM
    // --- GC_2
    // --- WDR_5_2_1
    // --- CP_1_2
    // --- CNR_2_2
    // --- EE_3
    // --- 3DNR_4
    {nullptr, nullptr, nullptr},  // end (keeps the array non-empty while sections fill)
};

}  // namespace

std::span<const InertKey> inertKeys() {
  return {kInertKeys, std::size(kInertKeys) - 1};
}

}  // namespace tcamera
