// The sensor's frame clock of the server.
#include "frame_clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace tshell_server {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kDefaultRate = 30;  // frames per second, when the input gives none
constexpr double kMinRate = 1;
constexpr double kMaxRate = 240;

}  // namespace

Clock::duration framePeriod(TDriver *driver) {
  TDatabaseInput input{};
  double rate = kDefaultRate;
  if (TDriverHardware_get(driver, "IPT", &input) == TCOMMON_SUCCESS &&
      std::isfinite(input.framerate) && input.framerate > 0)
    rate = std::clamp(double(input.framerate), kMinRate, kMaxRate);
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / rate));
}

std::mutex &frameHold() {
  static std::mutex hold;
  return hold;
}

FrameClock::FrameClock(TDriver *driver) : driver_(driver), thread_([this] { run(); }) {}

FrameClock::~FrameClock() {
  stop();
}

void FrameClock::stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void FrameClock::run() {
  Clock::time_point tick = Clock::now();
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    lock.unlock();
    TDriverStatus status{};
    if (TDriver_status(driver_, &status) == TCOMMON_SUCCESS &&
        status.state == TDRIVER_STATE_STREAMING) {
      std::lock_guard hold(frameHold());
      TDriverFrame_next(driver_);
    }
    const Clock::duration period = framePeriod(driver_);
    tick = std::max(tick + period, Clock::now());
    lock.lock();
    wake_.wait_until(lock, tick, [this] { return stopping_; });
  }
}

}  // namespace tshell_server
