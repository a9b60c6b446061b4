// Auto exposure: steers the exposure (time x gain) of "EC_2" frame 0 so that the metered
// luminance of the picture reaches "AE_4" setPoint.
//
// Metering: the AES_2 window cut into 32 x 32 zones, each zone's luminance weighted by
// expV2WindowWeight (semMode 1) or all alike (semMode 0). The metered level and setPoint are
// on a 0..255 scale of the unit's full scale, linear: the shipped 50 is about a mid grey
// (20 %). tolerance is in percent of the set point: outside it the loop steps, and it keeps
// stepping until the level is within half of it, so that noise at the edge does not set it
// going. In low light the set point is lowered: from a total gain of lowLightLinearGain[i]
// on it is multiplied by lowLightLinearRepress[i] (interpolated over log gain).
//
// Each frame the exposure moves in log steps towards the one that would meet the set point,
// by 1 - damping of the way: dampOver when the picture is too bright, dampUnder when too dark;
// when the error is a factor of dampOverGain (dampUnderGain) or more, the damping is scaled by
// dampOverRatio (dampUnderRatio) so that large changes of light are caught up faster. A step
// never overshoots the exposure it aims at, so the loop does not oscillate.
//
// The exposure is split as the sensor wants it: exposure time first, up to the frame time,
// then analog gain up to kMaxAnalogGain, then the sensor's digital gain up to
// kMaxDigitalGain. With antiFlickerMode 1 (50 Hz mains) or 2 (60 Hz) exposure times of a
// mains half-period or more are whole multiples of it (10 ms, 8.33 ms), so lamps do not
// flicker; shorter times (bright scenes) are free. The HDR frames 1..3 keep their ratio to
// frame 0. The loop is limited when the exposure it wants lies beyond the longest time at the
// highest gain (a lens cap) or below the shortest time at unity gain.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "control.h"

namespace tcamera {
namespace {

constexpr double kMaxAnalogGain = 16;
constexpr double kMaxDigitalGain = 4;
constexpr double kMinTime = 10e-6;  // seconds
constexpr double kDefaultFrameRate = 30;
constexpr double kMaxStep = 16;  // the most a single frame changes the exposure by

double finite(double value, double fallback) {
  return std::isfinite(value) ? value : fallback;
}

double meteredLuma(const TDatabaseAutoExposure_4 &settings, const ZoneGrid &grid) {
  double sum = 0, weightSum = 0;
  for (int y = 0; y < kControlZones; ++y) {
    for (int x = 0; x < kControlZones; ++x) {
      const Zone &zone = grid.zones[y][x];
      double weight = zone.count;
      if (settings.semMode != 0) {
        const double w = settings.expV2WindowWeight[y * kControlZones + x];
        weight *= w > 0 && std::isfinite(w) ? w : 0;
      }
      sum += weight * zone.luma;
      weightSum += weight;
    }
  }
  return weightSum > 0 ? sum / weightSum / kFullScale * 255 : 0;
}

double lowLightRepression(const TDatabaseAutoExposure_4 &settings, double gain) {
  double factor = 1;
  for (int i = 0; i < 8; ++i) {
    const double at = settings.lowLightLinearGain[i];
    const double repress = finite(settings.lowLightLinearRepress[i], 1);
    if (!(at > 0) || gain < at) break;
    factor = repress;
    const double next = i + 1 < 8 ? settings.lowLightLinearGain[i + 1] : 0;
    if (next > at && gain < next) {
      const double t = std::log(gain / at) / std::log(next / at);
      factor = repress + t * (finite(settings.lowLightLinearRepress[i + 1], 1) - repress);
      break;
    }
  }
  return std::clamp(factor, 0.05, 1.0);
}

struct Split {
  double time, analog, digital;
  bool limited;
};

Split split(double exposure, uint16_t antiFlickerMode, double frameRate) {
  const double step = antiFlickerMode == 1 ? 0.01 : antiFlickerMode == 2 ? 1.0 / 120 : 0;
  double maxTime = 1 / (frameRate > 0 && std::isfinite(frameRate) ? frameRate : kDefaultFrameRate);
  if (step > 0 && maxTime >= step) maxTime = std::floor(maxTime / step) * step;
  const double low = kMinTime, high = maxTime * kMaxAnalogGain * kMaxDigitalGain;
  Split made{};
  made.limited = !(exposure >= low && exposure <= high);
  exposure = std::clamp(finite(exposure, high), low, high);
  made.time = std::min(exposure, maxTime);
  if (step > 0 && made.time >= step) made.time = std::floor(made.time / step + 1e-9) * step;
  const double gain = exposure / made.time;
  made.analog = std::clamp(gain, 1.0, kMaxAnalogGain);
  made.digital = std::clamp(gain / made.analog, 1.0, kMaxDigitalGain);
  return made;
}

}  // namespace

std::optional<TDatabaseExposureControl_2> exposureStep(ExposureLoop &loop,
                                                       const TDatabaseAutoExposure_4 &settings,
                                                       const TDatabaseExposureControl_2 &current,
                                                       const ZoneGrid &grid, double frameRate) {
  const double time = finite(current.integrationTime[0], 0.01);
  const double gain = finite(current.gain.analog[0], 1) * finite(current.gain.digital[0], 1);
  loop.luma = meteredLuma(settings, grid);
  loop.target = std::max(finite(settings.setPoint, 50), 1.0) * lowLightRepression(settings, gain);
  const double tolerance = std::abs(finite(settings.tolerance, 7)) / 100 * loop.target;
  const double error = std::abs(loop.luma - loop.target);
  if (error <= (loop.isStepping ? tolerance / 2 : tolerance)) {
    loop.isStepping = false;
    if (loop.state != TDRIVER_CONTROL_LIMITED || error <= tolerance / 2)
      loop.state = TDRIVER_CONTROL_SETTLED;
    return std::nullopt;
  }
  loop.isStepping = true;
  const double ratio = std::clamp(loop.target / std::max(loop.luma, 0.01), 1 / kMaxStep, kMaxStep);
  const bool isOver = ratio < 1;
  double damping = finite(isOver ? settings.dampOver : settings.dampUnder, 0.5);
  const double largeError = finite(isOver ? settings.dampOverGain : settings.dampUnderGain, 0);
  if (largeError > 1 && (isOver ? 1 / ratio : ratio) >= largeError)
    damping *= finite(isOver ? settings.dampOverRatio : settings.dampUnderRatio, 1);
  damping = std::clamp(damping, 0.0, 0.95);
  const Split next =
      split(time * gain * std::pow(ratio, 1 - damping), settings.antiFlickerMode, frameRate);

  TDatabaseExposureControl_2 programmed = current;
  programmed.integrationTime[0] = static_cast<float>(next.time);
  for (int frame = 1; frame < 4; ++frame) {
    if (time > 0) programmed.integrationTime[frame] *= static_cast<float>(next.time / time);
  }
  for (int frame = 0; frame < 4; ++frame) {
    programmed.gain.analog[frame] = static_cast<float>(next.analog);
    programmed.gain.digital[frame] = static_cast<float>(next.digital);
  }
  loop.state = next.limited ? TDRIVER_CONTROL_LIMITED : TDRIVER_CONTROL_SEARCHING;
  if (std::memcmp(&programmed, &current, sizeof programmed) == 0) return std::nullopt;
  return programmed;
}

}  // namespace tcamera
