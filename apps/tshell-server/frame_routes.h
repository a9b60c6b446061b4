// The camera's frames over HTTP: still frames and a motion-JPEG stream of any stage, the raw
// frame as DNG or 16-bit PNG, pixel probes, and frames injected from uploaded files. Frames
// are rendered by the driver, which locks for itself: no route holds the instance's lock.
#ifndef TSHELL_SERVER_FRAME_ROUTES_H
#define TSHELL_SERVER_FRAME_ROUTES_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "http_server.h"
#include "t_driver.h"

namespace tshell_server {

// Encodes the frames of the open streams, one JPEG per new frame, at most at the input's frame
// rate, on a thread of its own: stream connections only pick up the latest part, so they never
// hold a worker while waiting.
class FrameFeed {
 public:
  FrameFeed(TDriver *driver, size_t maxStreams);
  ~FrameFeed();
  FrameFeed(const FrameFeed &) = delete;
  FrameFeed &operator=(const FrameFeed &) = delete;

  // Called after every new part, from the feed's thread (set before the first stream).
  void setListener(std::function<void()> listener) { listener_ = std::move(listener); }

  struct Key {
    std::string stage;
    int width = 0;  // 0: full size
    bool operator<(const Key &other) const {
      return std::tie(stage, width) < std::tie(other.stage, other.width);
    }
  };
  struct Part {
    uint64_t frame = 0;
    uint64_t sequence = 0;                     // 0: none yet
    std::shared_ptr<const std::string> bytes;  // the part with its headers
  };
  // Takes a stream slot for key: false when all are taken or the feed stopped.
  bool attach(const Key &key);
  void detach(const Key &key);
  Part latest(const Key &key) const;
  bool stopped() const;
  size_t streams() const;
  // Ends the thread; open streams end at their next look.
  void stop();

 private:
  void run();

  TDriver *const driver_;
  const size_t maxStreams_;
  std::function<void()> listener_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  struct Entry {
    size_t streams = 0;
    Part part;
  };
  std::map<Key, Entry> entries_;
  size_t streams_ = 0;
  uint64_t sequence_ = 0;
  bool stopping_ = false;
  std::thread thread_;
};

struct FrameRouteOptions {
  size_t maxUpload = 64u << 20;  // largest file PUT /api/frame takes
};

void addFrameRoutes(std::vector<Route> *routes, TDriver *driver, FrameFeed *feed,
                    const FrameRouteOptions &options);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_FRAME_ROUTES_H
