// Auto white balance: finds the colour of the light in the picture and sets the "WB_1_1"
// gains that make it neutral.
//
// The firmware carries the sensor's calibration: the colour (R/G, B/G) a grey surface has under
// light of each colour temperature from 2000 K to 10000 K, its white locus. The loop takes the
// zones of the AES_2 window as they were before white balance (the measured picture divided by
// the gains in force), leaves out zones that are dark or mostly clipped, and keeps the zones
// whose colour lies near the locus: the grey candidates, each weighted by its unclipped samples
// and by awbTemWeight of its temperature band (below 3000 K, 3000-4000, 4000-5000, 5000-6000,
// 6000-7000, 7000-8000, above). Their mean is refined once over the candidates close to it,
// which drops coloured surfaces that happen to lie near the locus. Without candidates the
// whole picture's mean stands in (grey world). The gains are G 1, R and B the inverse of the
// light's R/G and B/G.
//
// Damping (useDamping): each frame the gains move a share of the way towards the estimate, in
// log steps: 1 - manualDampCoff with useManualDampCoff, else kAutoShare. The loop locks once a
// step would change no gain by more than awbEnterLockThreshold percent, and unlocks when the
// estimate moves more than awbEnterUnlockThreshold percent away.
#include <algorithm>
#include <array>
#include <cmath>

#include "control.h"
#include "scene.h"

namespace tcamera {
namespace {

constexpr double kLocusLow = 2000, kLocusHigh = 10000, kLocusStep = 50;
constexpr int kLocusPoints = static_cast<int>((kLocusHigh - kLocusLow) / kLocusStep) + 1;
constexpr double kNearLocus = 0.06;               // candidate distance from the locus, in R/G, B/G
constexpr double kNearMean = 0.025;               // refinement distance from the candidates' mean
constexpr double kDarkLevel = 0.02 * kFullScale;  // green below this: too dark to judge
constexpr double kAutoShare = 0.6;
constexpr double kMaxGain = 8;

struct LocusPoint {
  double r, b, kelvin;
};

const std::array<LocusPoint, kLocusPoints> &locus() {
  static const auto points = [] {
    std::array<LocusPoint, kLocusPoints> made{};
    for (int i = 0; i < kLocusPoints; ++i) {
      const double kelvin = kLocusLow + i * kLocusStep;
      const CameraColour white = illuminantResponse(kelvin);
      made[i] = {white.r / white.g, white.b / white.g, kelvin};
    }
    return made;
  }();
  return points;
}

// The nearest point of the locus and its distance.
std::pair<const LocusPoint *, double> nearest(double r, double b) {
  const LocusPoint *best = nullptr;
  double distance = INFINITY;
  for (const LocusPoint &point : locus()) {
    const double d = std::hypot(r - point.r, b - point.b);
    if (d < distance) {
      distance = d;
      best = &point;
    }
  }
  return {best, distance};
}

int temperatureBand(double kelvin) {
  return std::clamp(static_cast<int>(std::floor((kelvin - 2000) / 1000)), 0, 6);
}

double positive(double value) {
  return value > 0 && std::isfinite(value) ? value : 1;
}

}  // namespace

std::optional<TDatabaseWhiteBalance_1_1> whiteBalanceStep(
    WhiteBalanceLoop &loop, const TDatabaseAutoWhiteBalance_4 &settings,
    const TDatabaseWhiteBalance_1_1 &current, const ZoneGrid &grid) {
  // The gains in force on the measured picture (none while the block is bypassed).
  const bool isApplied = current.state != 0;
  const double gainR = isApplied ? positive(current.gain[0]) : 1;
  const double gainG = isApplied ? positive((current.gain[1] + current.gain[2]) / 2) : 1;
  const double gainB = isApplied ? positive(current.gain[3]) : 1;

  struct Candidate {
    double r, b, weight;
  };
  std::vector<Candidate> candidates;
  candidates.reserve(kControlZones * kControlZones);
  double allR = 0, allB = 0, allWeight = 0;
  for (const auto &line : grid.zones) {
    for (const Zone &zone : line) {
      if (zone.unclipped * 2 < zone.count || zone.g / gainG < kDarkLevel) continue;
      const double g = zone.g / gainG;
      const double r = zone.r / gainR / g, b = zone.b / gainB / g;
      allR += zone.unclipped * r;
      allB += zone.unclipped * b;
      allWeight += zone.unclipped;
      const auto [point, distance] = nearest(r, b);
      if (distance > kNearLocus) continue;
      const double bandWeight = settings.awbTemWeight[temperatureBand(point->kelvin)];
      if (!(bandWeight > 0)) continue;
      candidates.push_back({r, b, zone.unclipped * bandWeight});
    }
  }
  const auto meanOf = [&](double r0, double b0, double radius, double &r, double &b) {
    double sumR = 0, sumB = 0, sum = 0;
    for (const Candidate &c : candidates) {
      if (std::hypot(c.r - r0, c.b - b0) > radius) continue;
      sumR += c.weight * c.r;
      sumB += c.weight * c.b;
      sum += c.weight;
    }
    if (sum <= 0) return false;
    r = sumR / sum;
    b = sumB / sum;
    return true;
  };
  double r = 0, b = 0;
  if (!meanOf(0, 0, INFINITY, r, b)) {
    if (allWeight <= 0) {
      loop.state = TDRIVER_CONTROL_SEARCHING;
      return std::nullopt;  // nothing to judge by: hold
    }
    r = allR / allWeight;
    b = allB / allWeight;
  } else {
    double refinedR = r, refinedB = b;
    if (meanOf(r, b, kNearMean, refinedR, refinedB)) {
      r = refinedR;
      b = refinedB;
    }
  }
  loop.kelvin = nearest(r, b).first->kelvin;

  // Gains the block can take: a picture without red or blue (a coloured light) is not made
  // grey at any price.
  const double targetR = std::clamp(1 / r, 1 / kMaxGain, kMaxGain);
  const double targetB = std::clamp(1 / b, 1 / kMaxGain, kMaxGain);
  const double currentR = positive(current.gain[0]) / positive(current.gain[1]);
  const double currentB = positive(current.gain[3]) / positive(current.gain[1]);
  const double change =
      std::max(std::abs(targetR / currentR - 1), std::abs(targetB / currentB - 1));
  const double lock = std::abs(double(settings.awbEnterLockThreshold)) / 100;
  const double unlock = std::max(std::abs(double(settings.awbEnterUnlockThreshold)) / 100, lock);
  if ((loop.isLocked && change <= unlock) || change <= lock) {
    loop.isLocked = true;
    loop.state = TDRIVER_CONTROL_SETTLED;
    return std::nullopt;
  }
  loop.isLocked = false;
  loop.state = TDRIVER_CONTROL_SEARCHING;
  double share = 1;
  if (settings.useDamping != 0)
    share = settings.useManualDampCoff != 0
                ? 1 - std::clamp(static_cast<double>(settings.manualDampCoff), 0.0, 0.95)
                : kAutoShare;
  TDatabaseWhiteBalance_1_1 programmed = current;
  programmed.gain[0] = static_cast<float>(currentR * std::pow(targetR / currentR, share));
  programmed.gain[1] = programmed.gain[2] = 1;
  programmed.gain[3] = static_cast<float>(currentB * std::pow(targetB / currentB, share));
  return programmed;
}

}  // namespace tcamera
