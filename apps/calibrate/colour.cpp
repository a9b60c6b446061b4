// Colour correction matrix from a chart capture. (Not built yet.)
#include "calibrate.h"

namespace calibrate {

bool calibrateColour(const Capture &, const ColourOptions &, ColourResult *, std::string *error) {
  *error = "colour calibration is not built yet";
  return false;
}

std::string colourFile(const ColourResult &, const std::vector<std::string> &) {
  return {};
}

}  // namespace calibrate
