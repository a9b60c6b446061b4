// The register bank of the simulated ISP: 32-bit registers at 32-bit addresses, of which
// only the ones ever written are stored. Engineers reach it through the "RGT" record, whose
// address and value are texts the client typed.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include "driver_internal.h"

namespace {

constexpr uint32_t kRefused = TCOMMON_WRONG_CONFIGURATION;
constexpr uint32_t kIdentificationAddress = 0;

// The bits a transfer reaches, by the record's type: all 32, the low 16, the low 8.
constexpr uint32_t kAccessMasks[] = {0xFFFFFFFFu, 0xFFFFu, 0xFFu};

uint32_t readRegister(const TDriver &driver, uint32_t address) {
  if (const auto found = driver.registers.find(address); found != driver.registers.end())
    return found->second;
  return address == kIdentificationAddress ? TDATABASE_ISP_HW_ID : 0;
}

// The register as "0x%X" text into a value buffer: strncpy-like, zero-filled after the
// text, and without a NUL when the text fills the buffer ("0xFFFFFFFF").
void writeValueText(uint32_t value, char (&buffer)[sizeof(TDatabaseRegister::value)]) {
  char text[sizeof(buffer) + 1];
  const int length = std::snprintf(text, sizeof(text), "0x%X", static_cast<unsigned>(value));
  const size_t used = length < 0 ? 0 : static_cast<size_t>(length);
  std::memcpy(buffer, text, used);
  std::memset(buffer + used, 0, sizeof(buffer) - used);
}

uint32_t transfer(TDriver &driver, TDatabaseRegister &record) {
  if (record.type >= std::size(kAccessMasks)) return kRefused;
  const uint32_t mask = kAccessMasks[record.type];
  uint32_t address = 0;
  if (!tdriver::parseRegisterText(record.address, sizeof(record.address), &address))
    return kRefused;

  const uint32_t current = readRegister(driver, address);
  if (record.isRead != 0) {
    writeValueText(current & mask, record.value);
    return TCOMMON_SUCCESS;
  }
  uint32_t value = 0;
  if (!tdriver::parseRegisterText(record.value, sizeof(record.value), &value)) return kRefused;
  if ((value & ~mask) != 0) return kRefused;  // does not fit the access width
  const uint32_t merged = (current & ~mask) | value;
  return tdriver::allocating([&] { driver.registers.insert_or_assign(address, merged); });
}

}  // namespace

namespace tdriver {

bool parseRegisterText(const char *text, size_t size, uint32_t *value) {
  std::string_view digits(text, strnlen(text, size));
  int base = 10;
  if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.remove_prefix(2);
    base = 16;
  }
  // from_chars takes no sign for an unsigned type, no spaces and no prefix, and reports a
  // number above UINT32_MAX as out of range.
  uint32_t parsed = 0;
  const char *end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, parsed, base);
  if (digits.empty() || result.ec != std::errc() || result.ptr != end) return false;
  *value = parsed;
  return true;
}

}  // namespace tdriver

extern "C" TDRIVER_API uint32_t TDriverRegister_process(TDriver *driver,
                                                        TDatabaseRegister *record) {
  if (record == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return tdriver::journaledCall(driver, tdriver::kRegisterProcess, record->isRead,
                                [&](TDriver &locked) { return transfer(locked, *record); });
}
