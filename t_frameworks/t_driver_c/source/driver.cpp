#include <new>

#include "camera/gain_tables.h"
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
  return tdriver::allocating([&] {
    auto bytes = std::make_unique<std::byte[]>(size);
    *state = bytes.get();
    driver.hardware.emplace(category, std::move(bytes));
  });
}

uint32_t push(TDriver &driver, const char *category) {
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(driver.database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  std::byte *state = nullptr;
  if (const uint32_t code = programmedState(driver, category, &state); code != TCOMMON_SUCCESS)
    return code;
  ++driver.generation;
  if (const uint32_t code = TDatabase_copyRecord(category, state, record); code != TCOMMON_SUCCESS)
    return code;
  // Programming a block reloads the per-gain table that the firmware follows for it.
  for (const tcamera::GainTable &table : tcamera::gainTables())
    if (std::string_view(table.block) == category) return push(driver, table.category);
  return TCOMMON_SUCCESS;
}

uint32_t programBlock(void *context, const char *category) {
  return push(*static_cast<TDriver *>(context), category);
}

// "IPT"/"isInjectLive" has no driver call of its own: the driver takes it from the input's
// record whenever the input is programmed or injection is switched, so that a client writes
// it before "isInject".
void takeInjectLive(TDriver &driver) {
  void *record = nullptr;
  if (TDatabase_query(driver.database, "IPT", &record) == TCOMMON_SUCCESS && record != nullptr)
    driver.isInjectLive = static_cast<const TDatabaseInput *>(record)->isInjectLive != 0;
}

}  // namespace

namespace tdriver {

namespace {

// The state checks, the copies and the counters of one block call, with the driver locked
// and the call journaled.
uint32_t transferLocked(TDriver &driver, const char *category, Direction direction,
                        ReadBackHook readBack) {
  if (direction == Direction::kPush) {
    if (driver.state == TDRIVER_STATE_OFF) return TCOMMON_NOT_INITIALIZED;
    if (const uint32_t code = push(driver, category); code != TCOMMON_SUCCESS) return code;
    ++driver.pushes;
    return TCOMMON_SUCCESS;
  }

  if (driver.state != TDRIVER_STATE_STREAMING) return TCOMMON_NOT_INITIALIZED;
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(driver.database, category, &record);
      code != TCOMMON_SUCCESS)
    return code;
  const auto found = driver.hardware.find(std::string_view(category));
  if (found == driver.hardware.end()) return TCOMMON_OUT_OF_RANGE;
  if (const uint32_t code = TDatabase_copyRecord(category, record, found->second.get());
      code != TCOMMON_SUCCESS)
    return code;
  if (readBack != nullptr) {
    if (const uint32_t code = readBack(&driver, category, record); code != TCOMMON_SUCCESS)
      return code;
  }
  ++driver.readBacks;
  return TCOMMON_SUCCESS;
}

}  // namespace

uint32_t blockTransfer(TDriver *driver, const char *function, const char *category, uint8_t flag,
                       Direction direction, ReadBackHook readBack) {
  if (function == nullptr || category == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return journaledCall(driver, function, flag, [&](TDriver &locked) {
    return transferLocked(locked, category, direction, readBack);
  });
}

}  // namespace tdriver

using tdriver::journaledCall;
using tdriver::withDriver;

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
  return journaledCall(driver, tdriver::kInit, isStream, [](TDriver &locked) -> uint32_t {
    if (locked.state != TDRIVER_STATE_OFF) return TCOMMON_SUCCESS;
    if (const uint32_t code = TDatabase_forEachCategory(programBlock, &locked);
        code != TCOMMON_SUCCESS)
      return code;
    locked.state = TDRIVER_STATE_INITIALIZED;
    takeInjectLive(locked);
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriver_stream(TDriver *driver, uint8_t isStream) {
  return journaledCall(driver, tdriver::kStream, isStream, [&](TDriver &locked) -> uint32_t {
    if (isStream != 0) {
      if (locked.state == TDRIVER_STATE_OFF) return TCOMMON_NOT_INITIALIZED;
      if (locked.state != TDRIVER_STATE_STREAMING) ++locked.generation;  // tables start
      locked.state = TDRIVER_STATE_STREAMING;
    } else if (locked.state == TDRIVER_STATE_STREAMING) {
      locked.state = TDRIVER_STATE_INITIALIZED;
      ++locked.generation;  // the per-gain tables stop: the pushed records apply again
    }
    return TCOMMON_SUCCESS;
  });
}

// The hardware state is kept: a later TDriver_init programs every block again anyway.
extern "C" TDRIVER_API uint32_t TDriver_deinit(TDriver *driver) {
  return journaledCall(driver, tdriver::kDeinit, std::nullopt, [](TDriver &locked) -> uint32_t {
    locked.state = TDRIVER_STATE_OFF;
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriver_inject(TDriver *driver, uint8_t isInject) {
  return journaledCall(driver, tdriver::kInject, isInject, [&](TDriver &locked) -> uint32_t {
    locked.isInject = isInject != 0;
    takeInjectLive(locked);
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriver_raw(TDriver *driver, uint8_t isRaw) {
  return journaledCall(driver, tdriver::kRaw, isRaw, [&](TDriver &locked) -> uint32_t {
    locked.isRaw = isRaw != 0;
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriver_status(TDriver *driver, TDriverStatus *status) {
  if (status == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return withDriver(driver, [&](TDriver &locked) -> uint32_t {
    *status = TDriverStatus{};
    status->state = locked.state;
    status->isInject = locked.isInject;
    status->isRaw = locked.isRaw;
    status->pushes = locked.pushes;
    status->readBacks = locked.readBacks;
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriverHardware_get(TDriver *driver, const char *category,
                                                    void *record) {
  if (category == nullptr || record == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return withDriver(driver, [&](TDriver &locked) -> uint32_t {
    const auto found = locked.hardware.find(std::string_view(category));
    if (found == locked.hardware.end()) return TCOMMON_OUT_OF_RANGE;
    return TDatabase_copyRecord(category, record, found->second.get());
  });
}
