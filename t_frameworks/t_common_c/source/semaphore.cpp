#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>

#include "t_common.h"

namespace {

// Longer waits than this (about 30 years) are treated as waiting forever, which also keeps
// the deadline arithmetic of the clock from overflowing.
constexpr uint64_t kForeverMilliseconds = 1000ull * 60 * 60 * 24 * 365 * 30;

}  // namespace

struct TCommonSemaphore {
  std::mutex mutex;
  std::condition_variable released;
  bool available = true;
};

extern "C" TCOMMON_API uint32_t TCommonSemaphore_open(uint32_t options,
                                                      TCommonSemaphore **semaphore) {
  if (semaphore == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (options != 0) {
    *semaphore = nullptr;
    return TCOMMON_INVALID_ARGUMENT;
  }
  *semaphore = new (std::nothrow) TCommonSemaphore;
  return *semaphore == nullptr ? TCOMMON_NO_MEMORY : TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonSemaphore_close(TCommonSemaphore **semaphore) {
  if (semaphore == nullptr) return TCOMMON_INVALID_ARGUMENT;
  delete *semaphore;
  *semaphore = nullptr;
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonSemaphore_wait(TCommonSemaphore *semaphore) {
  if (semaphore == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::unique_lock lock(semaphore->mutex);
  semaphore->released.wait(lock, [semaphore] { return semaphore->available; });
  semaphore->available = false;
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonSemaphore_waitFor(TCommonSemaphore *semaphore,
                                                         uint64_t milliseconds) {
  if (semaphore == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (milliseconds >= kForeverMilliseconds) return TCommonSemaphore_wait(semaphore);
  std::unique_lock lock(semaphore->mutex);
  const auto timeout = std::chrono::milliseconds(static_cast<int64_t>(milliseconds));
  if (!semaphore->released.wait_for(lock, timeout, [semaphore] { return semaphore->available; }))
    return TCOMMON_BUSY;
  semaphore->available = false;
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonSemaphore_post(TCommonSemaphore *semaphore) {
  if (semaphore == nullptr) return TCOMMON_INVALID_ARGUMENT;
  {
    std::lock_guard lock(semaphore->mutex);
    if (semaphore->available) return TCOMMON_FAILED;
    semaphore->available = true;
  }
  semaphore->released.notify_one();
  return TCOMMON_SUCCESS;
}
