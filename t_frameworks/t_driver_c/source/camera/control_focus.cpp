// Auto focus: a contrast search over the lens positions of "FC" for the sharpest "AFM_3"
// measure.
//
// The lens moves between minFocal and maxFocal. A search first sweeps in coarse steps (the travel
// cut into cPointsOfCurve - 1 steps) from where the lens stands towards the farther end, turning
// once if the second point is worse than the first, until the measure falls by more than
// cStableTolerance (a share) below the best so far (the peak is passed) or the travel ends; far
// from focus the measure is flat, and the sweep goes on over the plateau. It then refines around
// the best position: the positions half a step below and above it are measured, the best of the
// three kept and the step halved, down to accurateFocusStep (with accurateFocusEnable; else a
// quarter of the coarse step). The lens then goes to the best position and "FC" state reads 2
// (settled; 1 while searching). One position is measured per frame, on the frame taken there.
//
// AF_4 mode 1 searches once and holds; mode 2 (continuous) watches the measure and searches
// again when it stays below the focused value by more than cStableTolerance (a share) for
// deFocusFrameNum frames in a row.
#include <algorithm>
#include <cmath>

#include "control.h"

namespace tcamera {

double focusMeasure(const TDatabaseAutoFocusMeasurement_3 &unit, const float (&weights)[9]) {
  double value = 0;
  for (int window = 0; window < 3; ++window) {
    const double weight = weights[3 + window];
    if (!(weight > 0) || !std::isfinite(weight)) continue;
    value += weight * unit.statistics.fir[window] / std::max(unit.statistics.luma[window], 1.0);
  }
  return value;
}

namespace {

struct Travel {
  int low, high, coarse, fine;
  int clamp(int position) const { return std::clamp(position, low, high); }
  bool holds(int position) const { return position >= low && position <= high; }
};

Travel travelOf(const TDatabaseAutoFocus_4 &settings) {
  Travel travel{std::min(settings.minFocal, settings.maxFocal),
                std::max(settings.minFocal, settings.maxFocal), 1, 1};
  const int points = std::max<int>(settings.cPointsOfCurve, 2);
  travel.coarse = std::max(1, (travel.high - travel.low) / (points - 1));
  travel.fine = settings.accurateFocusEnable != 0 ? std::max<int>(settings.accurateFocusStep, 1)
                                                  : std::max(1, travel.coarse / 4);
  return travel;
}

// The next position of the refinement, or the end of the search when none is left.
int nextCandidate(FocusLoop &loop, const Travel &travel) {
  while (true) {
    while (loop.candidate < 2) {
      const int position = loop.bestPosition + (loop.candidate == 0 ? -loop.step : loop.step);
      ++loop.candidate;
      if (travel.holds(position)) return position;
    }
    loop.step /= 2;
    loop.candidate = 0;
    if (loop.step < travel.fine) return -1;
  }
}

int startRefine(FocusLoop &loop, const Travel &travel) {
  loop.phase = FocusLoop::Phase::kRefine;
  loop.step /= 2;
  loop.candidate = 0;
  if (loop.step < travel.fine) return -1;
  return nextCandidate(loop, travel);
}

}  // namespace

std::optional<TDatabaseFocusControl> focusStep(FocusLoop &loop,
                                               const TDatabaseAutoFocus_4 &settings,
                                               const TDatabaseFocusControl &current, double value) {
  const Travel travel = travelOf(settings);
  const int position = static_cast<int>(std::min<uint32_t>(current.position, INT32_MAX));
  loop.value = value;
  const double margin = std::clamp<double>(settings.cStableTolerance, 0, 0.5);
  int next = -1;  // the position to measure next; -1: the search is over
  switch (loop.phase) {
    case FocusLoop::Phase::kFocused:
      if (settings.mode != 2) return std::nullopt;
      if (value < loop.focused * (1 - margin)) {
        if (++loop.lowFrames < std::max<int>(settings.deFocusFrameNum, 1)) return std::nullopt;
      } else {
        loop.lowFrames = 0;
        return std::nullopt;
      }
      [[fallthrough]];
    case FocusLoop::Phase::kIdle:
      loop = FocusLoop{};
      loop.value = value;
      loop.phase = FocusLoop::Phase::kSweep;
      loop.direction = position - travel.low <= travel.high - position ? 1 : -1;
      loop.step = travel.coarse;
      [[fallthrough]];
    case FocusLoop::Phase::kSweep:
      ++loop.points;
      if (value > loop.best) {
        loop.best = value;
        loop.bestPosition = position;
        next = position + loop.direction * loop.step;
      } else if (value >= loop.best * (1 - margin)) {
        next = position + loop.direction * loop.step;  // a plateau far out of focus: go on
      } else if (loop.points == 2 && !loop.reversed) {
        loop.reversed = true;
        loop.direction = -loop.direction;
        next = loop.bestPosition + loop.direction * loop.step;
      }
      if (next != -1 && !travel.holds(next)) {
        // The travel ends before the next coarse step: its end is the last point.
        next = travel.clamp(next) == position ? -1 : travel.clamp(next);
      }
      if (next == -1) next = startRefine(loop, travel);
      break;
    case FocusLoop::Phase::kRefine:
      if (value > loop.best) {
        loop.best = value;
        loop.bestPosition = position;
      }
      next = nextCandidate(loop, travel);
      break;
  }
  ++loop.frames;
  TDatabaseFocusControl programmed = current;
  if (next == -1) {
    loop.phase = FocusLoop::Phase::kFocused;
    loop.focused = loop.best;
    loop.lowFrames = 0;
    loop.state = TDRIVER_CONTROL_SETTLED;
    programmed.position = static_cast<uint32_t>(loop.bestPosition);
    programmed.state = 2;
  } else {
    loop.state = TDRIVER_CONTROL_SEARCHING;
    programmed.position = static_cast<uint32_t>(next);
    programmed.state = 1;
  }
  if (programmed.position == current.position && programmed.state == current.state)
    return std::nullopt;
  return programmed;
}

}  // namespace tcamera
