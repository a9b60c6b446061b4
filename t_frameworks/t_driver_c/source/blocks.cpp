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
//   TDRIVER_BLOCK_MEASURED(Histogram, "HIST", measureHistogram);
//       like TDRIVER_BLOCK, and measureHistogram fills the measured statistics of the
//       record after each read-back
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
  for (const BlockRegistration *entry = firstBlock(); entry != nullptr; entry = entry->next()) {
    const Block &block = entry->block();
    if (function == block.process) return true;
    if (block.statistics != nullptr && function == block.statistics) return true;
  }
  return false;
}

}  // namespace tdriver
