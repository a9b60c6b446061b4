// Per-channel gains on the mosaic, shared by the digital gain and the white balance stages:
// both are a multiplier per Bayer channel on the same pixel bus.
#ifndef T_DRIVER_CAMERA_CHANNEL_GAINS_H
#define T_DRIVER_CAMERA_CHANNEL_GAINS_H

#include <array>

#include "frame.h"

namespace tcamera {

// Multiplies each site's signal above the black level still in the data by the gain of its
// colour (indexed R, Gr, Gb, B, IR) and clips at the white level; both exposures of a
// two-exposure frame alike. Returns false, out untouched, when every gain is unity.
bool applyChannelGains(const Mosaic &in, const std::array<float, 5> &gains, Mosaic &out);

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_CHANNEL_GAINS_H
