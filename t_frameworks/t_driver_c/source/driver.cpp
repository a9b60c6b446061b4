#include <new>

#include "driver_blocks.h"
#include "driver_internal.h"

namespace {

// The hardware state of category, allocated (zero-filled, the size of the category's
// record) the first time the block is programmed.
uint32_t programmedState(TDriver &driver, const char *category, std::byte **state) {
  if (const auto found = driver.hardware.find(std::string_view(category));
      found != driver.hardware.end()) {
    *state = found->second.get();
    return TCOMMON_SUCCESS;
  }
  uint64_t size = 0;
  if (const uint32_t code = TDatabase_recordSize(category, &size); code != TCOMMON_SUCCESS)
    return code;
  try {
    auto bytes = std::make_unique<std::byte[]>(size);
    *state = bytes.get();
    driver.hardware.emplace(category, std::move(bytes));
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

uint32_t push(TDriver &driver, const char *category) {
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(driver.database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  std::byte *state = nullptr;
  if (const uint32_t code = programmedState(driver, category, &state); code != TCOMMON_SUCCESS)
    return code;
  return TDatabase_copyRecord(category, state, record);
}

uint32_t programBlock(void *context, const char *category) {
  return push(*static_cast<TDriver *>(context), category);
}

}  // namespace

namespace tdriver {

uint32_t blockTransfer(TDriver *driver, const char *function, const char *category, uint8_t flag,
                       Direction direction, ReadBackHook readBack) {
  if (driver == nullptr || function == nullptr || category == nullptr)
    return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  if (const uint32_t code = beginCall(*driver, function, flag); code != TCOMMON_SUCCESS)
    return code;

  if (direction == Direction::kPush) {
    if (driver->state == TDRIVER_STATE_OFF) return TCOMMON_NOT_INITIALIZED;
    if (const uint32_t code = push(*driver, category); code != TCOMMON_SUCCESS) return code;
    ++driver->pushes;
    return TCOMMON_SUCCESS;
  }

  if (driver->state != TDRIVER_STATE_STREAMING) return TCOMMON_NOT_INITIALIZED;
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(driver->database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  const auto found = driver->hardware.find(std::string_view(category));
  if (found == driver->hardware.end()) return TCOMMON_OUT_OF_RANGE;
  if (const uint32_t code = TDatabase_copyRecord(category, record, found->second.get());
      code != TCOMMON_SUCCESS)
    return code;
  if (readBack != nullptr) {
    if (const uint32_t code = readBack(driver, category, record); code != TCOMMON_SUCCESS)
      return code;
  }
  ++driver->readBacks;
  return TCOMMON_SUCCESS;
}

}  // namespace tdriver

extern "C" TDRIVER_API uint32_t TDriver_open(TDatabase *database, TDriver **driver) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *driver = nullptr;
  if (database == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *driver = new (std::nothrow) TDriver(database);
  return *driver == nullptr ? TCOMMON_NO_MEMORY : TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriver_close(TDriver **driver) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  delete *driver;
  *driver = nullptr;
  return TCOMMON_SUCCESS;
}

// isStream is journaled but does not start streaming: that is TDriver_stream's job.
extern "C" TDRIVER_API uint32_t TDriver_init(TDriver *driver, uint8_t isStream) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  if (const uint32_t code = tdriver::beginCall(*driver, tdriver::kInit, isStream);
      code != TCOMMON_SUCCESS)
    return code;
  if (driver->state != TDRIVER_STATE_OFF) return TCOMMON_SUCCESS;
  if (const uint32_t code = TDatabase_forEachCategory(programBlock, driver);
      code != TCOMMON_SUCCESS)
    return code;
  driver->state = TDRIVER_STATE_INITIALIZED;
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriver_stream(TDriver *driver, uint8_t isStream) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  if (const uint32_t code = tdriver::beginCall(*driver, tdriver::kStream, isStream);
      code != TCOMMON_SUCCESS)
    return code;
  if (isStream != 0) {
    if (driver->state == TDRIVER_STATE_OFF) return TCOMMON_NOT_INITIALIZED;
    driver->state = TDRIVER_STATE_STREAMING;
  } else if (driver->state == TDRIVER_STATE_STREAMING) {
    driver->state = TDRIVER_STATE_INITIALIZED;
  }
  return TCOMMON_SUCCESS;
}

// The hardware state is kept: a later TDriver_init programs every block again anyway.
extern "C" TDRIVER_API uint32_t TDriver_deinit(TDriver *driver) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  if (const uint32_t code = tdriver::beginCall(*driver, tdriver::kDeinit, std::nullopt);
      code != TCOMMON_SUCCESS)
    return code;
  driver->state = TDRIVER_STATE_OFF;
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriver_inject(TDriver *driver, uint8_t isInject) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  if (const uint32_t code = tdriver::beginCall(*driver, tdriver::kInject, isInject);
      code != TCOMMON_SUCCESS)
    return code;
  driver->isInject = isInject != 0;
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriver_raw(TDriver *driver, uint8_t isRaw) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  if (const uint32_t code = tdriver::beginCall(*driver, tdriver::kRaw, isRaw);
      code != TCOMMON_SUCCESS)
    return code;
  driver->isRaw = isRaw != 0;
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriver_status(TDriver *driver, TDriverStatus *status) {
  if (driver == nullptr || status == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  *status = TDriverStatus{};
  status->state = driver->state;
  status->isInject = driver->isInject;
  status->isRaw = driver->isRaw;
  status->pushes = driver->pushes;
  status->readBacks = driver->readBacks;
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriverHardware_get(TDriver *driver, const char *category,
                                                    void *record) {
  if (driver == nullptr || category == nullptr || record == nullptr)
    return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  const auto found = driver->hardware.find(std::string_view(category));
  if (found == driver->hardware.end()) return TCOMMON_OUT_OF_RANGE;
  return TDatabase_copyRecord(category, record, found->second.get());
}
