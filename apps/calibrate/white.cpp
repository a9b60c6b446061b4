// White points from the chart's grey patches. (Not built yet.)
#include "calibrate.h"

namespace calibrate {

bool calibrateWhite(const std::vector<Capture> &, const std::vector<double> &, const WhiteOptions &,
                    std::vector<WhitePoint> *, std::string *error) {
  *error = "white point calibration is not built yet";
  return false;
}

}  // namespace calibrate
