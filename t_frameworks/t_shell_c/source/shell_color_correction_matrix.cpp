// "CCM": colour correction matrix, editable key by key or imported from a calibration
// file of the sensor module.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseColorCorrectionMatrix;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverColorCorrectionMatrix_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverColorCorrectionMatrix_process, SHELL_SITE);
}

// Runs once the uploaded calibration files are all in the record: parses them, releases
// them whatever the outcome, and pushes a good calibration to the hardware at once.
uint32_t import(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  auto *block = static_cast<Record *>(record);
  const uint32_t parsed =
      TDatabaseColorCorrectionMatrix_parse2(block->files, block->fileCount, block);
  return shellFinishImport(shell, record, parsed, &block->fileCount, &block->files, after,
                           SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). With the shipped identity "
     "matrix it changes nothing. Writing pushes the block."},
    SHELL_FILES(
        "import", fileCount, files, "text/txt", nullptr, import,
        "Calibration files of the sensor module as an array of text/txt data URIs (fields ccMatrix "
        "and ccOffset). A good calibration replaces both and is pushed at once; a broken one is "
        "refused with Wrong configuration. Reading lists files not yet imported."),
    {"ccMatrix", Access::Float, SHELL_FIELD(ccMatrix), before, after,
     "3 x 3 matrix, 9 factors row by row: the rows make the output R, G and B from the input R, G, "
     "B (identity as shipped). Rows summing to 1 keep greys grey."},
    {"ccOffset", Access::Float, SHELL_FIELD(ccOffset), before, after,
     "Offsets added to R, G and B after the matrix, in 12-bit codes (0 as shipped)."},
};

constexpr tshell::About kAbout = {
    "Colour correction matrix",
    "The colour correction matrix turns white-balanced sensor RGB into the output colours. In the "
    "simulated camera every pixel's linear RGB is multiplied by ccMatrix and offset by ccOffset; "
    "negative results clip at black. The identity is shipped, so colours pass unchanged until a "
    "calibration for the sensor is imported or written."};

}  // namespace

SHELL_CATEGORY(TShellColorCorrectionMatrix_process, "CCM", kKeys, kAbout);
