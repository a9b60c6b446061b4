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
    {"address", Access::String, SHELL_FIELD(address), nullptr, nullptr},
    {"type", Access::Integer, SHELL_FIELD(type), nullptr, nullptr},
    {"value", Access::String, SHELL_FIELD(value), before, after},
};

constexpr tshell::About kAbout = {"Raw register access", nullptr};

}  // namespace

SHELL_CATEGORY(TShellRegister_process, "RGT", kKeys, kAbout);
