// Heap use of the benchmark process, counted by an interposed allocator.
#ifndef BENCH_HEAP_COUNTER_H
#define BENCH_HEAP_COUNTER_H

#include <cstdint>

namespace bench {

struct HeapState {
  int64_t liveBytes;     // usable bytes of every block not yet freed
  uint64_t allocations;  // blocks handed out so far
};

// The allocator counts while at least one of these exists.
class HeapCounting {
 public:
  HeapCounting();
  ~HeapCounting();
  HeapCounting(const HeapCounting &) = delete;
  HeapCounting &operator=(const HeapCounting &) = delete;
};

HeapState heapNow();
// Starts a new peak measurement at the current live bytes.
void heapResetPeak();
// Highest live bytes since the last heapResetPeak.
int64_t heapPeak();

}  // namespace bench

#endif  // BENCH_HEAP_COUNTER_H
