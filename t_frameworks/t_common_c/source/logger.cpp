#include <cstdlib>
#include <deque>
#include <mutex>
#include <new>

#include "t_common.h"

struct TCommonLogger {
  std::mutex mutex;
  std::deque<char *> texts;  // owned, malloc'd; oldest first
};

extern "C" TCOMMON_API uint32_t TCommonLogger_open(TCommonLogger **logger) {
  if (logger == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *logger = new (std::nothrow) TCommonLogger;
  return *logger == nullptr ? TCOMMON_NO_MEMORY : TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonLogger_close(TCommonLogger **logger) {
  if (logger == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (*logger != nullptr) {
    for (char *text : (*logger)->texts) std::free(text);
    delete *logger;
    *logger = nullptr;
  }
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonLogger_messageSet(TCommonLogger *logger, char *text) {
  if (logger == nullptr || text == nullptr) {
    std::free(text);
    return TCOMMON_INVALID_ARGUMENT;
  }
  try {
    std::lock_guard lock(logger->mutex);
    logger->texts.push_back(text);
  } catch (const std::bad_alloc &) {
    std::free(text);
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonLogger_messageGet(TCommonLogger *logger, char **text) {
  if (text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *text = nullptr;
  if (logger == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(logger->mutex);
  if (logger->texts.empty()) return TCOMMON_OUT_OF_RANGE;
  *text = logger->texts.front();
  logger->texts.pop_front();
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonLogger_size(TCommonLogger *logger, uint64_t *size) {
  if (logger == nullptr || size == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(logger->mutex);
  *size = logger->texts.size();
  return TCOMMON_SUCCESS;
}
