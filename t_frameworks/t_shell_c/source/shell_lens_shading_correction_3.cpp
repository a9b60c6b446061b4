// "LSC_3": lens shading correction, editable key by key or imported from a calibration
// file of the sensor module.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseLensShadingCorrection_3;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverLensShadingCorrection_3_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverLensShadingCorrection_3_process, SHELL_SITE);
}

// Runs once the uploaded calibration files are all in the record: parses them, releases
// them whatever the outcome, and pushes a good calibration to the hardware at once.
uint32_t import(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  auto *block = static_cast<Record *>(record);
  const uint32_t parsed =
      TDatabaseLensShadingCorrection_3_parse2(block->files, block->fileCount, block);
  return shellFinishImport(shell, record, parsed, &block->fileCount, &block->files, after,
                           SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    SHELL_FILES("import", fileCount, files, "text/txt", nullptr, import, nullptr),
    {"matrix", Access::Integer, SHELL_FIELD(matrix), before, after},
    {"xSize", Access::Integer, SHELL_FIELD(xSize), before, after},
    {"ySize", Access::Integer, SHELL_FIELD(ySize), before, after},
};

constexpr tshell::About kAbout = {"Lens shading correction", nullptr};

}  // namespace

SHELL_CATEGORY(TShellLensShadingCorrection_3_process, "LSC_3", kKeys, kAbout);
