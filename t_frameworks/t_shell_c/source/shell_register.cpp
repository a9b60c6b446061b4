// "RGT": raw access to one hardware register. A client stores "address" and "type" first;
// reading "value" then reads the register, and writing "value" writes it. The number
// syntax of address and value is the driver's business: the shell moves texts.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseRegister;

// One transfer of the register that the record describes, in the direction given.
uint32_t transfer(TShell *shell, void *record, uint8_t isRead, ShellSite site) {
  auto *transferRecord = static_cast<TDatabaseRegister *>(record);
  transferRecord->isRead = isRead;
  const uint32_t code = TDriverRegister_process(shell->driver, transferRecord);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

uint32_t before(TShell *shell, void *record) {
  if (!shell->readFlag) return TCOMMON_SUCCESS;
  return transfer(shell, record, 1, SHELL_SITE);
}

uint32_t after(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  return transfer(shell, record, 0, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"address", Access::String, SHELL_FIELD(address), nullptr, nullptr,
     "Register address as text, up to 10 characters: decimal, or hexadecimal with 0x (\"0x0000\" "
     "as shipped). Stored only; used by the next transfer through value."},
    {"type", Access::Integer, SHELL_FIELD(type), nullptr, nullptr,
     "Access width of the transfer: 0 all 32 bits, 1 the low 16, 2 the low 8; other values are "
     "refused by the driver with Wrong configuration. Stored only."},
    {"value", Access::String, SHELL_FIELD(value), before, after,
     "Register value as text (decimal, or hexadecimal with 0x). Reading reads the register at "
     "address with type's width and answers it as 0x hex; writing stores it there, refused when it "
     "does not fit the width. Write address and type first, value last in the request."},
};

constexpr tshell::About kAbout = {
    "Raw register access",
    "Raw register access for engineers who poke the hardware directly: one 32-bit register "
    "transfer at a time. The simulated ISP keeps a bank of 32-bit registers in which only written "
    "addresses are stored; others read 0, except address 0, the identification register."};

}  // namespace

SHELL_CATEGORY(TShellRegister_process, "RGT", kKeys, kAbout);
