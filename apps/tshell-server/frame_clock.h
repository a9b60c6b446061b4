// The sensor's frame clock: while the ISP streams, the simulated camera moves to the next
// frame at the input's frame rate, as a sensor delivers frames, so that every client sees
// the same live frame. A frame that takes longer to render than a frame period delays the
// next one; the clock does not catch up with a burst.
#ifndef TSHELL_SERVER_FRAME_CLOCK_H
#define TSHELL_SERVER_FRAME_CLOCK_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "t_driver.h"

namespace tshell_server {

// The frame period of the input as the hardware holds it ("IPT" framerate; 30 frames a
// second when it gives none).
std::chrono::steady_clock::duration framePeriod(TDriver *driver);

// Held by the clock while it moves the camera to the next frame. A route that reads several
// stages of one frame holds it meanwhile, so that they all come from the same frame; the
// clock then waits, for as long as one render takes.
std::mutex &frameHold();

class FrameClock {
 public:
  // Starts the clock on driver, which must outlive it (or stop must come first).
  explicit FrameClock(TDriver *driver);
  ~FrameClock();
  FrameClock(const FrameClock &) = delete;
  FrameClock &operator=(const FrameClock &) = delete;

  // Stops the clock and waits for its thread; a frame being rendered is finished first.
  void stop();

 private:
  void run();

  TDriver *const driver_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace tshell_server

#endif  // TSHELL_SERVER_FRAME_CLOCK_H
