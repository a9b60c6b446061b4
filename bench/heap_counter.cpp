// Counts the heap use of the whole process by interposing the C allocator: every library
// of the program (and operator new, which allocates through malloc) passes through here.
// It counts only inside a HeapCounting scope, so that the timed loops pay nothing for it;
// live bytes are therefore only meaningful as differences within one scope.
// Builds with sanitizers own the allocator; there BENCH_NO_HEAP_COUNTER leaves it alone
// and every count stays 0.
#include "heap_counter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

#ifndef BENCH_NO_HEAP_COUNTER
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *pointer, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *pointer);
}
#endif

namespace {

std::atomic<int64_t> liveBytes{0};
std::atomic<int64_t> peakBytes{0};
std::atomic<uint64_t> allocationCount{0};
std::atomic<int> countingScopes{0};

#ifndef BENCH_NO_HEAP_COUNTER

bool counting() {
  return countingScopes.load(std::memory_order_relaxed) > 0;
}

void noteAllocation(void *pointer) {
  if (pointer == nullptr || !counting()) return;
  const auto size = static_cast<int64_t>(malloc_usable_size(pointer));
  const int64_t now = liveBytes.fetch_add(size, std::memory_order_relaxed) + size;
  allocationCount.fetch_add(1, std::memory_order_relaxed);
  int64_t peak = peakBytes.load(std::memory_order_relaxed);
  while (now > peak && !peakBytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}

void noteRelease(void *pointer) {
  if (pointer == nullptr || !counting()) return;
  liveBytes.fetch_sub(static_cast<int64_t>(malloc_usable_size(pointer)), std::memory_order_relaxed);
}
#endif

}  // namespace

#ifndef BENCH_NO_HEAP_COUNTER
extern "C" {

void *malloc(size_t size) {
  void *pointer = __libc_malloc(size);
  noteAllocation(pointer);
  return pointer;
}

void *calloc(size_t count, size_t size) {
  void *pointer = __libc_calloc(count, size);
  noteAllocation(pointer);
  return pointer;
}

void *realloc(void *pointer, size_t size) {
  const auto old =
      pointer != nullptr && counting() ? static_cast<int64_t>(malloc_usable_size(pointer)) : 0;
  void *moved = __libc_realloc(pointer, size);
  if (moved == nullptr) return nullptr;  // the old block is untouched (or size was 0)
  liveBytes.fetch_sub(old, std::memory_order_relaxed);
  noteAllocation(moved);
  return moved;
}

void free(void *pointer) {
  noteRelease(pointer);
  __libc_free(pointer);
}

void *memalign(size_t alignment, size_t size) {
  void *pointer = __libc_memalign(alignment, size);
  noteAllocation(pointer);
  return pointer;
}

void *aligned_alloc(size_t alignment, size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void **out, size_t alignment, size_t size) {
  void *pointer = memalign(alignment, size);
  if (pointer == nullptr) return ENOMEM;
  *out = pointer;
  return 0;
}

}  // extern "C"
#endif  // BENCH_NO_HEAP_COUNTER

namespace bench {

HeapCounting::HeapCounting() {
  countingScopes.fetch_add(1);
}
HeapCounting::~HeapCounting() {
  countingScopes.fetch_sub(1);
}

HeapState heapNow() {
  return HeapState{liveBytes.load(std::memory_order_relaxed),
                   allocationCount.load(std::memory_order_relaxed)};
}

void heapResetPeak() {
  peakBytes.store(liveBytes.load(std::memory_order_relaxed));
}

int64_t heapPeak() {
  return peakBytes.load(std::memory_order_relaxed);
}

}  // namespace bench
