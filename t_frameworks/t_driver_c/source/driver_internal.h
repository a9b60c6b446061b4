// The driver object shared by the driver's source files.
#ifndef T_DRIVER_DRIVER_INTERNAL_H
#define T_DRIVER_DRIVER_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "journal.h"
#include "t_driver.h"

namespace tcamera {
struct InjectedFrame;  // a frame delivered instead of the chart (camera/pipeline.h)
struct ControlLoops;
}  // namespace tcamera

namespace tdriver {

inline constexpr char kInit[] = "TDriver_init";
inline constexpr char kStream[] = "TDriver_stream";
inline constexpr char kDeinit[] = "TDriver_deinit";
inline constexpr char kInject[] = "TDriver_inject";
inline constexpr char kRaw[] = "TDriver_raw";
inline constexpr const char *kStreamControlFunctions[] = {kInit, kStream, kDeinit, kInject, kRaw};
inline constexpr char kRegisterProcess[] = "TDriverRegister_process";

struct Camera;  // the simulated camera behind the hardware state (frames.h)

// What the simulated camera looks at (TDriverScene_set); not hardware.
// Scene kinds as TDriverScene_set numbers them.
inline constexpr uint32_t kChartScene = 0;
inline constexpr uint32_t kFlatScene = 1;
inline constexpr uint32_t kInjectedScene = 2;

struct SceneControls {
  double lux = 400;
  double kelvin = 5000;
  uint32_t kind = 0;  // kChartScene, kFlatScene or kInjectedScene
};

struct NameHash {
  using is_transparent = void;
  size_t operator()(std::string_view name) const noexcept {
    return std::hash<std::string_view>{}(name);
  }
};

template <typename Value>
using NameMap = std::unordered_map<std::string, Value, NameHash, std::equal_to<>>;

// Whether function names an exported driver function that is journaled and can be made
// to fail: the stream controls and the functions of every block.
bool isKnownFunction(std::string_view function);

// A register address or value text of at most size bytes (NUL-terminated if shorter):
// decimal or 0x/0X hexadecimal, nothing else, at most UINT32_MAX (registers.cpp).
bool parseRegisterText(const char *text, size_t size, uint32_t *value);

}  // namespace tdriver

struct TDriver {
  explicit TDriver(TDatabase *database) : database(database) {}

  TDatabase *const database;  // borrowed
  std::mutex mutex;           // guards everything below

  uint32_t state = TDRIVER_STATE_OFF;
  uint8_t isInject = 0;
  uint8_t isInjectLive = 0;  // "IPT"/"isInjectLive" when injection was last switched
  uint8_t isRaw = 0;
  uint64_t pushes = 0;
  uint64_t readBacks = 0;

  // Hardware state per category: a record of that category's type, zero-filled when
  // first programmed and written only through TDatabase_copyRecord, so that it holds
  // settings fields only (no transient buffers of the database's records).
  tdriver::NameMap<std::unique_ptr<std::byte[]>> hardware;
  uint64_t generation = 0;  // moves with every push and when streaming starts or stops: the
                            // camera reads the hardware again when it moves
  std::shared_ptr<tdriver::Camera> camera;  // made when a frame is first asked for
  // The host's cap on the camera's frame size (TDriverFrame_limit); 0: only the sensor's own.
  uint32_t frameLimitWidth = 0;
  uint32_t frameLimitHeight = 0;
  // The frame handed over with TDriverFrame_inject (null: none), delivered while isInject.
  std::shared_ptr<const tcamera::InjectedFrame> injected;
  tdriver::SceneControls scene;
  // The camera's control loop between frames (camera/control.h); made when first run.
  std::shared_ptr<tcamera::ControlLoops> control;

  // The register bank: only registers ever written, by address (see TDriverRegister_process).
  std::unordered_map<uint32_t, uint32_t> registers;

  tdriver::NameMap<uint32_t> faults;  // function name -> code it returns
  tdriver::Journal journal;
};

namespace tdriver {

// Starts a journaled call with the driver locked: journals it and returns the injected
// fault of function, if any (or TCOMMON_NO_MEMORY when the journal cannot grow). A
// non-zero result ends the call with that code and nothing else done.
uint32_t beginCall(TDriver &driver, const char *function, std::optional<uint32_t> argument);

// Runs action, turning a failed allocation into TCOMMON_NO_MEMORY.
template <typename Action>
uint32_t allocating(Action &&action) {
  try {
    action();
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

// Returns body(*driver), run with the driver locked. A NULL driver: TCOMMON_INVALID_ARGUMENT.
template <typename Body>
uint32_t withDriver(TDriver *driver, Body &&body) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::lock_guard lock(driver->mutex);
  return body(*driver);
}

// One call of an exported driver function: with the driver locked, journals
// "<function>(<argument>)", ends the call with function's injected fault if it has one
// (see beginCall), and otherwise returns body(*driver).
template <typename Body>
uint32_t journaledCall(TDriver *driver, const char *function, std::optional<uint32_t> argument,
                       Body &&body) {
  return withDriver(driver, [&](TDriver &locked) -> uint32_t {
    if (const uint32_t code = beginCall(locked, function, argument); code != TCOMMON_SUCCESS)
      return code;
    return body(locked);
  });
}

}  // namespace tdriver

#endif  // T_DRIVER_DRIVER_INTERNAL_H
