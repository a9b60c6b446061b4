#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "t_common.h"

namespace {

constexpr size_t kLineSize = 1024;  // longest line 1023 bytes plus the NUL

void writeToStandardError(void *, uint32_t, const char *line) {
  std::fputs(line, stderr);
}

}  // namespace

// The level is read on every print without taking the lock, so that a disabled trace
// costs one atomic load. The sink and its context change together under the lock, and
// lines are handed to the sink under the same lock: once setSink returns, the previous
// sink is never called again, and lines from several threads are not interleaved. A sink
// must therefore not print to the tracer itself.
struct TCommonTracer {
  std::atomic<int32_t> highest{-1};
  std::mutex sinkMutex;
  TCommonTracerSink sink = writeToStandardError;
  void *context = nullptr;
};

namespace {

constinit TCommonTracer processTracer;

}  // namespace

extern "C" TCOMMON_API TCommonTracer *const TCommonTracerHandle = &processTracer;

extern "C" TCOMMON_API uint32_t TCommonTracer_setSink(TCommonTracer *tracer, TCommonTracerSink sink,
                                                      void *context) {
  if (tracer == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(tracer->sinkMutex);
  tracer->sink = sink != nullptr ? sink : writeToStandardError;
  tracer->context = sink != nullptr ? context : nullptr;
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonTracer_setLevel(TCommonTracer *tracer, int32_t highest) {
  if (tracer == nullptr) return TCOMMON_INVALID_ARGUMENT;
  tracer->highest.store(highest < 0 ? -1 : highest, std::memory_order_relaxed);
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API int32_t TCommonTracer_level(const TCommonTracer *tracer) {
  if (tracer == nullptr) return -1;
  return tracer->highest.load(std::memory_order_relaxed);
}

extern "C" TCOMMON_API uint32_t TCommonTracer_print(TCommonTracer *tracer, uint32_t level,
                                                    const char *format, ...) {
  if (tracer == nullptr || format == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (static_cast<int64_t>(level) > tracer->highest.load(std::memory_order_relaxed))
    return TCOMMON_SUCCESS;

  char line[kLineSize];
  va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  if (written < 0) return TCOMMON_FAILED;

  std::lock_guard lock(tracer->sinkMutex);
  tracer->sink(tracer->context, level, line);
  return TCOMMON_SUCCESS;
}
