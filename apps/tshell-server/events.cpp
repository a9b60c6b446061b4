#include "events.h"

namespace tshell_server {

void EventHub::publish(std::string_view name, std::string_view data) {
  std::string text;
  text.reserve(name.size() + data.size() + 16);
  text.append("event: ").append(name).append("\ndata: ").append(data).append("\n\n");
  {
    std::lock_guard<std::mutex> lock(mutex_);
    bytes_ += text.size();
    ring_.push_back(Event{++latest_, std::move(text)});
    while (ring_.size() > 1 && (ring_.size() > maxEvents_ || bytes_ > maxBytes_)) {
      bytes_ -= ring_.front().text.size();
      ring_.pop_front();
    }
  }
  changed_.notify_all();
  if (listener_) listener_();
}

bool EventHub::attach() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (closed_ || listeners_ >= maxListeners_) return false;
  ++listeners_;
  return true;
}

void EventHub::detach() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (listeners_ > 0) --listeners_;
}

uint64_t EventHub::latest() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return latest_;
}

size_t EventHub::listeners() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return listeners_;
}

EventHub::Batch EventHub::wait(uint64_t *cursor, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, timeout, [&] { return closed_ || latest_ > *cursor; });
  Batch batch;
  batch.closed = closed_;
  if (closed_ || latest_ <= *cursor) return batch;
  const uint64_t oldest = ring_.front().sequence;
  if (*cursor + 1 < oldest) {
    batch.skipped = oldest - *cursor - 1;
    *cursor = oldest - 1;
  }
  for (size_t i = static_cast<size_t>(*cursor + 1 - oldest); i < ring_.size(); ++i) {
    batch.text += ring_[i].text;
  }
  *cursor = latest_;
  return batch;
}

void EventHub::close() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
  if (listener_) listener_();
}

}  // namespace tshell_server
