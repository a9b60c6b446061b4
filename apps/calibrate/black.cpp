// Black level from dark frames. (Not built yet.)
#include "calibrate.h"

namespace calibrate {

bool calibrateBlack(const std::vector<Capture> &, const std::vector<double> &, BlackResult *,
                    std::string *error) {
  *error = "black level calibration is not built yet";
  return false;
}

}  // namespace calibrate
