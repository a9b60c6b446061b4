// "IPT": the image input. Besides the frame rate and the three input paths, this is where
// a client starts and stops streaming and switches frame injection and raw capture: the
// only keys of the shell that drive the ISP's stream control.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseInput;
using Path = TDatabaseInputPath;

// Switching on programs every block and then starts the sensor; switching off stops the
// sensor and then releases the ISP. A failed step stops the sequence: a stream that could
// not be initialised is never started.
uint32_t stream(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint8_t isStream = static_cast<Record *>(record)->isStream;
  uint32_t code = TCOMMON_SUCCESS;
  if (isStream != 0 && (code = TDriver_init(shell->driver, isStream)) != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  if ((code = TDriver_stream(shell->driver, isStream)) != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  if (isStream == 0 && (code = TDriver_deinit(shell->driver)) != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  return TCOMMON_SUCCESS;
}

uint32_t inject(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint32_t code = TDriver_inject(shell->driver, static_cast<Record *>(record)->isInject);
  if (code != TCOMMON_SUCCESS) SHELL_TRACE(code);
  return code;
}

uint32_t raw(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint32_t code = TDriver_raw(shell->driver, static_cast<Record *>(record)->isRaw);
  if (code != TCOMMON_SUCCESS) SHELL_TRACE(code);
  return code;
}

constexpr tshell::Selection kPath = SHELL_SELECTION("pathIndex", pathIndex, paths);

// Reads never ask the hardware: the record is what the input was set up with.
constexpr KeyRow kKeys[] = {
    {"framerate", Access::Float, SHELL_FIELD(framerate), nullptr, nullptr},
    tshell::indexKey(kPath,
                     {"pathIndex", Access::Integer, SHELL_FIELD(pathIndex), nullptr, nullptr}),
    tshell::inEntry(kPath, {":bayerPattern", Access::Integer, SHELL_FIELD_OF(Path, bayerPattern),
                            nullptr, nullptr}),
    tshell::inEntry(kPath, {":bufferLength", Access::Integer, SHELL_FIELD_OF(Path, bufferLength),
                            nullptr, nullptr}),
    tshell::inEntry(kPath,
                    {":isEnable", Access::Bool, SHELL_FIELD_OF(Path, isEnable), nullptr, nullptr}),
    tshell::inEntry(kPath,
                    {":format", Access::Integer, SHELL_FIELD_OF(Path, format), nullptr, nullptr}),
    tshell::inEntry(kPath, {":rectangle.height", Access::Integer,
                            SHELL_FIELD_OF(Path, rectangle.height), nullptr, nullptr}),
    tshell::inEntry(kPath, {":rectangle.width", Access::Integer,
                            SHELL_FIELD_OF(Path, rectangle.width), nullptr, nullptr}),
    tshell::inEntry(kPath, {":stitchingMode", Access::Integer, SHELL_FIELD_OF(Path, stitchingMode),
                            nullptr, nullptr}),
    {"isInject", Access::Bool, SHELL_FIELD(isInject), nullptr, inject},
    {"isInjectLive", Access::Bool, SHELL_FIELD(isInjectLive), nullptr, nullptr},
    {"isRaw", Access::Bool, SHELL_FIELD(isRaw), nullptr, raw},
    {"isStream", Access::Bool, SHELL_FIELD(isStream), nullptr, stream},
    {"type", Access::Integer, SHELL_FIELD(type), nullptr, nullptr},
};

constexpr tshell::About kAbout = {"Image input and streaming", nullptr};

}  // namespace

SHELL_CATEGORY(TShellInput_process, "IPT", kKeys, kAbout);
