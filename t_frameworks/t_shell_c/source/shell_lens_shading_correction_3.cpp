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
    {"isStatistics", Access::Bool, SHELL_FIELD(isStatistics), nullptr, nullptr,
     "Whether the tuning client shows this block's statistics view. Stored in the settings; never "
     "pushed to the hardware."},
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
     "0 bypasses the block, any other value enables it (1 as shipped). With the shipped flat grid "
     "it changes nothing. Writing pushes the block."},
    SHELL_FILES(
        "import", fileCount, files, "text/txt", nullptr, import,
        "Calibration files of the sensor module as an array of text/txt data URIs (fields "
        "matrix.r, matrix.gr, matrix.gb, matrix.b, xSize, ySize). A good calibration replaces the "
        "grid and is pushed at once; a broken one is refused with Wrong configuration."),
    {"matrix", Access::Integer, SHELL_FIELD(matrix), before, after,
     "Gain grids of the R, Gr, Gb and B sites: 4 rows of 1089 codes, each a 33 x 33 grid at the "
     "corners of the sectors, row by row from the top-left; 1024 = gain 1.0 (flat as shipped)."},
    {"xSize", Access::Integer, SHELL_FIELD(xSize), before, after,
     "Widths of the 32 sector columns in pixels, left to right (64 each as shipped); they should "
     "add up to the frame width, otherwise they are taken as proportions."},
    {"ySize", Access::Integer, SHELL_FIELD(ySize), before, after,
     "Heights of the 16 sector rows of the upper half in lines, top down, mirrored for the lower "
     "half (48 each as shipped)."},
};

constexpr tshell::About kAbout = {
    "Lens shading correction",
    "Corrects the lens's fall-off of brightness and colour towards the corners with a gain grid "
    "per Bayer channel. In the simulated camera the gain, interpolated bilinearly from the 33 x 33 "
    "grid at each site, multiplies the signal above black and clips at white. The grid is flat "
    "(unity) until a calibration for the lens is imported or written."};

}  // namespace

SHELL_CATEGORY(TShellLensShadingCorrection_3_process, "LSC_3", kKeys, kAbout);
