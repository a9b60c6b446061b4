// Lens shading from flat fields. (Not built yet.)
#include "calibrate.h"

namespace calibrate {

bool calibrateShading(const std::vector<Capture> &, const ShadingOptions &, ShadingResult *,
                      std::string *error) {
  *error = "lens shading calibration is not built yet";
  return false;
}

std::string shadingFile(const ShadingGrid &, const std::vector<std::string> &) {
  return {};
}

bool parseShadingFile(std::string_view, ShadingGrid *, std::string *error) {
  *error = "lens shading files are not read yet";
  return false;
}

}  // namespace calibrate
