#include "journal.h"

#include <charconv>

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

const char *Journal::sinceSnapshot(uint64_t since, uint64_t *next) {
  this->since(since, &snapshot_, next);
  return snapshot_.c_str();
}

uint32_t beginCall(TDriver &driver, const char *function, std::optional<uint32_t> argument) {
  if (const uint32_t code = allocating([&] { driver.journal.append(function, argument); });
      code != TCOMMON_SUCCESS)
    return code;
  if (driver.faults.empty()) return TCOMMON_SUCCESS;
  const auto fault = driver.faults.find(std::string_view(function));
  return fault == driver.faults.end() ? uint32_t{TCOMMON_SUCCESS} : fault->second;
}

}  // namespace tdriver

using tdriver::allocating;
using tdriver::withDriver;

extern "C" TDRIVER_API uint32_t TDriverJournal_get(TDriver *driver, const char **text) {
  if (text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return withDriver(driver, [&](TDriver &locked) {
    return allocating([&] { *text = locked.journal.snapshot(); });
  });
}

extern "C" TDRIVER_API uint32_t TDriverJournal_since(TDriver *driver, uint64_t since,
                                                     const char **text, uint64_t *next) {
  if (text == nullptr || next == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return withDriver(driver, [&](TDriver &locked) {
    return allocating([&] { *text = locked.journal.sinceSnapshot(since, next); });
  });
}

extern "C" TDRIVER_API uint32_t TDriverJournal_clear(TDriver *driver) {
  return withDriver(driver, [](TDriver &locked) -> uint32_t {
    locked.journal.clear();
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriverFault_set(TDriver *driver, const char *function,
                                                 uint32_t code) {
  if (function == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return withDriver(driver, [&](TDriver &locked) -> uint32_t {
    if (!tdriver::isKnownFunction(function)) return TCOMMON_NOT_FOUND;
    if (code != TCOMMON_SUCCESS)
      return allocating([&] { locked.faults.insert_or_assign(std::string(function), code); });
    const auto fault = locked.faults.find(std::string_view(function));
    if (fault != locked.faults.end()) locked.faults.erase(fault);
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API uint32_t TDriverFault_clear(TDriver *driver) {
  return withDriver(driver, [](TDriver &locked) -> uint32_t {
    locked.faults.clear();
    return TCOMMON_SUCCESS;
  });
}
