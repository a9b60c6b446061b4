// (filled in by the calibration work)
#include "calibrate.h"
