#include <cstdlib>
#include <cstring>

#include "t_common.h"

extern "C" TCOMMON_API uint32_t TCommonBuffer_clear(TCommonBuffer *buffer) {
  if (buffer == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::free(buffer->data);
  *buffer = TCommonBuffer{};
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonBuffer_assign(TCommonBuffer *buffer, const void *data,
                                                     uint64_t length) {
  if (buffer == nullptr || (data == nullptr && length != 0)) return TCOMMON_INVALID_ARGUMENT;
  if (length >= SIZE_MAX) return TCOMMON_NO_MEMORY;
  auto *copy = static_cast<uint8_t *>(std::malloc(length + 1));
  if (copy == nullptr) return TCOMMON_NO_MEMORY;
  // Copy before freeing: data may point into the buffer's own old content.
  if (length != 0) std::memcpy(copy, data, length);
  copy[length] = 0;
  std::free(buffer->data);
  buffer->data = copy;
  buffer->length = length;
  buffer->capacity = length + 1;
  buffer->isFilled = 1;
  return TCOMMON_SUCCESS;
}
