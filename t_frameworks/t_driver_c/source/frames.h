// The simulated camera behind the driver: one pipeline per driver, fed with the blocks'
// hardware state, for the frame functions and the measuring units.
#ifndef T_DRIVER_FRAMES_H
#define T_DRIVER_FRAMES_H

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>

#include "camera/measure.h"
#include "camera/pipeline.h"
#include "driver_internal.h"

namespace tdriver {

// Scene brightness (lux) at which the chart is lit as the sensor's nominal lighting.
inline constexpr double kNominalLux = 400;

struct Camera {
  std::mutex mutex;  // guards everything below; taken after the driver's mutex, never before
  tcamera::Pipeline pipeline;
  uint64_t generation = UINT64_MAX;  // the driver's push count the pipeline's state is from
  std::unique_ptr<tcamera::HardwareState> gathered = std::make_unique<tcamera::HardwareState>();
  std::array<tcamera::SampledFrame, 2> sampled;  // per source: after white balance, sensor
};

// The driver's camera, with its pipeline set to the hardware state the driver holds now (a
// block never programmed counts with its built-in defaults). The driver must be locked by
// the caller; lock, when given, is then locked on the camera. Allocation failure:
// TCOMMON_NO_MEMORY.
uint32_t syncedCamera(TDriver &locked, std::unique_lock<std::mutex> &lock, Camera **camera);

}  // namespace tdriver

#endif  // T_DRIVER_FRAMES_H
