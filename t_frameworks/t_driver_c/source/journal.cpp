#include "journal.h"

#include <charconv>
#include <new>

#include "driver_internal.h"

namespace tdriver {

void Journal::append(std::string_view function, std::optional<uint32_t> argument) {
  char digits[16];
  size_t length = 0;
  if (argument) length = std::to_chars(digits, digits + sizeof digits, *argument).ptr - digits;

  lineStarts_.push_back(text_.size());
  try {
    text_.reserve(text_.size() + function.size() + length + 3);
  } catch (...) {
    lineStarts_.pop_back();
    throw;
  }
  text_.append(function);
  text_.push_back('(');
  text_.append(digits, length);
  text_.append(")\n");
}

const char *Journal::snapshot() {
  snapshot_ = text_;
  return snapshot_.c_str();
}

void Journal::clear() noexcept {
  firstSequence_ += lineStarts_.size();
  text_.clear();
  lineStarts_.clear();
  snapshot_.clear();
}

void Journal::since(uint64_t since, std::string *lines, uint64_t *next) const {
  *next = nextSequence();
  if (since <= firstSequence_) {
    *lines = text_;
  } else if (since >= *next) {
    lines->clear();
  } else {
    *lines = text_.substr(lineStarts_[since - firstSequence_]);
  }
}

uint32_t journalSince(TDriver *driver, uint64_t since, std::string *lines, uint64_t *next) {
  if (driver == nullptr || lines == nullptr || next == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  try {
    driver->journal.since(since, lines, next);
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

uint32_t beginCall(TDriver &driver, const char *function, std::optional<uint32_t> argument) {
  try {
    driver.journal.append(function, argument);
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  if (driver.faults.empty()) return TCOMMON_SUCCESS;
  const auto fault = driver.faults.find(std::string_view(function));
  return fault == driver.faults.end() ? uint32_t{TCOMMON_SUCCESS} : fault->second;
}

}  // namespace tdriver

extern "C" TDRIVER_API uint32_t TDriverJournal_get(TDriver *driver, const char **text) {
  if (driver == nullptr || text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  try {
    *text = driver->journal.snapshot();
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriverJournal_clear(TDriver *driver) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  driver->journal.clear();
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriverFault_set(TDriver *driver, const char *function,
                                                 uint32_t code) {
  if (driver == nullptr || function == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (!tdriver::isKnownFunction(function)) return TCOMMON_NOT_FOUND;
  std::lock_guard lock(driver->mutex);
  if (code == TCOMMON_SUCCESS) {
    const auto fault = driver->faults.find(std::string_view(function));
    if (fault != driver->faults.end()) driver->faults.erase(fault);
    return TCOMMON_SUCCESS;
  }
  try {
    driver->faults.insert_or_assign(std::string(function), code);
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriverFault_clear(TDriver *driver) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  driver->faults.clear();
  return TCOMMON_SUCCESS;
}
