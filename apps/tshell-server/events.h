// The event hub: a bounded ring of server-sent events with sequence numbers, shared by the
// request handlers (which publish) and the open event-stream connections (which wait).
#ifndef TSHELL_SERVER_EVENTS_H
#define TSHELL_SERVER_EVENTS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace tshell_server {

class EventHub {
 public:
  // The ring keeps at most maxEvents events and, beyond the newest one, at most maxBytes of
  // event text; a connection that falls further behind skips what was dropped.
  EventHub(size_t maxEvents, size_t maxBytes, size_t maxListeners)
      : maxEvents_(maxEvents), maxBytes_(maxBytes), maxListeners_(maxListeners) {}

  // Called after every publish and at close, from the thread that did it, so that
  // connections that do not wait here can look for news. Set before the first publish.
  void setListener(std::function<void()> listener) { listener_ = std::move(listener); }

  // Appends "event: <name>\ndata: <data>\n\n" and wakes every waiting connection.
  void publish(std::string_view name, std::string_view data);

  // Takes a listener slot: false when all are taken or the hub is closed.
  bool attach();
  void detach();

  // The sequence number of the newest event (0 before the first): a new connection starts
  // after it.
  uint64_t latest() const;

  struct Batch {
    std::string text;      // the wire text of the events after the cursor, in order
    uint64_t skipped = 0;  // events that were dropped from the ring before they were read
    bool closed = false;   // the hub is closed: the connection must end
  };
  // Waits until there are events after *cursor, the hub closes, or timeout passes; then
  // hands out the waiting events and moves *cursor past them.
  Batch wait(uint64_t *cursor, std::chrono::milliseconds timeout);

  // Ends every connection promptly; later attach() calls fail.
  void close();

  size_t listeners() const;

 private:
  struct Event {
    uint64_t sequence;
    std::string text;
  };

  const size_t maxEvents_;
  const size_t maxBytes_;
  const size_t maxListeners_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Event> ring_;
  size_t bytes_ = 0;
  uint64_t latest_ = 0;
  size_t listeners_ = 0;
  bool closed_ = false;
  std::function<void()> listener_;
};

}  // namespace tshell_server

#endif  // TSHELL_SERVER_EVENTS_H
