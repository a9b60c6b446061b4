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
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    SHELL_FILES("import", fileCount, files, "text/txt", nullptr, import, nullptr),
    {"ccMatrix", Access::Float, SHELL_FIELD(ccMatrix), before, after},
    {"ccOffset", Access::Float, SHELL_FIELD(ccOffset), before, after},
};

constexpr tshell::About kAbout = {"Colour correction matrix", nullptr};

}  // namespace

SHELL_CATEGORY(TShellColorCorrectionMatrix_process, "CCM", kKeys, kAbout);
