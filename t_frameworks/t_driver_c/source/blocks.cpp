#include <cstring>
#include <string_view>

#include "driver_blocks.h"
#include "driver_internal.h"

// The blocks of the simulated ISP, one line each. A block is added by declaring its
// functions in t_driver.h and naming it here with its category:
//
//   TDRIVER_BLOCK(DigitalGain, "DG");
//       TDriverDigitalGain_process and TDriverDigitalGain_statistics on the "DG" record
//   TDRIVER_BLOCK_PUSH_ONLY(GreenEquilibration, "GE");
//       TDriverGreenEquilibration_process only
//   TDRIVER_BLOCK_MEASURED(Histogram, "HTG", measureHistogram);
//       like TDRIVER_BLOCK, and measureHistogram fills the measured statistics of the
//       record after each read-back
//   TDRIVER_BLOCK_PUSH_ONLY_MEASURED(Isp, "ISP", reportIdentity);
//       like TDRIVER_BLOCK_PUSH_ONLY, with the hook run after a read-back through _process
//
// A block with a hook of its own may live in a source file of its own; the macros work
// in any file of this library.

namespace tdriver {

namespace {

const BlockRegistration *registeredBlocks = nullptr;  // constant-initialised

}  // namespace

BlockRegistration::BlockRegistration(const Block &block) noexcept
    : block_(block), next_(registeredBlocks) {
  registeredBlocks = this;
}

const BlockRegistration *firstBlock() noexcept {
  return registeredBlocks;
}

bool isKnownFunction(std::string_view function) {
  for (const char *name : kStreamControlFunctions)
    if (function == name) return true;
  if (function == kRegisterProcess) return true;
  for (const BlockRegistration *entry = firstBlock(); entry != nullptr; entry = entry->next()) {
    const Block &block = entry->block();
    if (function == block.process) return true;
    if (block.statistics != nullptr && function == block.statistics) return true;
  }
  return false;
}

}  // namespace tdriver

namespace {

// The identity is wired into the hardware: whatever a client pushed into hwId, reading the
// ISP back reports the real one.
uint32_t reportIdentity(TDriver *, const char *, void *record) {
  static_cast<TDatabaseIsp *>(record)->hwId = TDATABASE_ISP_HW_ID;
  return TCOMMON_SUCCESS;
}

}  // namespace

TDRIVER_BLOCK(2DNoiseReduction_6, "2DNR_6");
TDRIVER_BLOCK(3DNoiseReduction_4, "3DNR_4");
TDRIVER_BLOCK(BlackLevelSubtraction, "BLS");
TDRIVER_BLOCK(ColorCorrectionMatrix, "CCM");
TDRIVER_BLOCK(ColorNoiseReduction_2_2, "CNR_2_2");
TDRIVER_BLOCK(ColorProcess_1_2, "CP_1_2");
TDRIVER_BLOCK(DeMosaic_3, "DMSC_3");
TDRIVER_BLOCK(DefectPixelClusterCorrection, "DPCC");
TDRIVER_BLOCK(DigitalGain, "DG");
TDRIVER_BLOCK(EdgeEnhance_3, "EE_3");
TDRIVER_BLOCK(GammaCorrection_2, "GC_2");
TDRIVER_BLOCK(LensShadingCorrection_3, "LSC_3");
TDRIVER_BLOCK(WhiteBalance_1_1, "WB_1_1");
TDRIVER_BLOCK(WideDynamicRange_5_2_1, "WDR_5_2_1");
// The measuring blocks ("HTG", "HTG_2", and "EC_2" and "FC" with their statistics units)
// are in camera/measure_*.cpp, beside the code that measures the frame.

TDRIVER_BLOCK_PUSH_ONLY(3AInterface_2, "3AI_2");
TDRIVER_BLOCK_PUSH_ONLY(Compand_1_1, "CPD_1_1");
TDRIVER_BLOCK_PUSH_ONLY(GreenEquilibration, "GE");
TDRIVER_BLOCK_PUSH_ONLY(HighDynamicRange_3_2Dol, "HDR_3_2DOL");
TDRIVER_BLOCK_PUSH_ONLY(Output, "OPT");
TDRIVER_BLOCK_PUSH_ONLY(RgbInfraredRadiation, "RGBIR");
TDRIVER_BLOCK_PUSH_ONLY(RgbInfraredRadiation_1_1, "RGBIR_1_1");
TDRIVER_BLOCK_PUSH_ONLY(Sensor, "SS");

TDRIVER_BLOCK_PUSH_ONLY_MEASURED(Isp, "ISP", reportIdentity);
