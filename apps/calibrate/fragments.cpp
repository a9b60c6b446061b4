// Settings fragments of calibration results. (Not built yet.)
#include "calibrate.h"

namespace calibrate {

std::string blackFragment(const BlackResult &) {
  return {};
}
std::string shadingFragment(const ShadingResult &) {
  return {};
}
std::string colourFragment(const ColourResult &) {
  return {};
}
std::string whiteFragment(const std::vector<WhitePoint> &, double) {
  return {};
}

}  // namespace calibrate
