// Frames of the simulated camera for clients: advancing the frame, handing out a copy of the
// frame at a tap, and the camera each driver keeps behind its hardware state.
#include "frames.h"

#include "camera/control.h"
#include "camera/gain_tables.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "camera/inert_keys.h"

namespace tdriver {

namespace {

// The hardware state of every picture-shaping block into state: the latched settings of a
// programmed block, the built-in defaults of one never programmed.
uint32_t gather(TDriver &locked, tcamera::HardwareState &state) {
  const tcamera::HardwareState &defaults = tcamera::defaultHardwareState();
  auto *base = reinterpret_cast<std::byte *>(&state);
  const auto *defaultBase = reinterpret_cast<const std::byte *>(&defaults);
  std::memcpy(base, defaultBase, sizeof(tcamera::HardwareState));
  for (const tcamera::StateRecord &record : tcamera::stateRecords()) {
    const auto found = locked.hardware.find(std::string_view(record.category));
    if (found == locked.hardware.end()) continue;
    if (const uint32_t code =
            TDatabase_copyRecord(record.category, base + record.offset, found->second.get());
        code != TCOMMON_SUCCESS)
      return code;
  }
  return TCOMMON_SUCCESS;
}

}  // namespace

uint32_t syncedCamera(TDriver &locked, std::unique_lock<std::mutex> &lock, Camera **camera) {
  if (locked.camera == nullptr) {
    if (const uint32_t code = allocating([&] { locked.camera = std::make_shared<Camera>(); });
        code != TCOMMON_SUCCESS)
      return code;
  }
  Camera &made = *locked.camera;
  lock = std::unique_lock(made.mutex);
  if (made.generation != locked.generation) {
    if (const uint32_t code = gather(locked, *made.gathered); code != TCOMMON_SUCCESS) return code;
    for (TDatabaseInputPath &path : made.gathered->input.paths) {
      if (locked.frameLimitWidth != 0)
        path.rectangle.width = std::min(path.rectangle.width, locked.frameLimitWidth);
      if (locked.frameLimitHeight != 0)
        path.rectangle.height = std::min(path.rectangle.height, locked.frameLimitHeight);
    }
    // While streaming, the firmware's per-frame loop programs the blocks that follow a
    // per-gain table; the still of an initialised, idle camera shows the pushed records.
    if (locked.state == TDRIVER_STATE_STREAMING)
      tcamera::applyGainTables(
          [&](const char *category) -> const void * {
            const auto found = locked.hardware.find(std::string_view(category));
            return found != locked.hardware.end() ? found->second.get() : nullptr;
          },
          *made.gathered);
    made.pipeline.setState(*made.gathered);
    made.pipeline.setScene(static_cast<tcamera::SceneKind>(locked.scene.kind),
                           locked.scene.lux / kNominalLux, locked.scene.kelvin);
    made.generation = locked.generation;
  }
  *camera = &made;
  return TCOMMON_SUCCESS;
}

}  // namespace tdriver

namespace {

// With the driver locked: refuses a driver that is off, then syncs its camera and hands it
// out locked, with the driver unlocked again so that rendering does not hold up other calls.
uint32_t liveCamera(TDriver *driver, std::unique_lock<std::mutex> &cameraLock,
                    tdriver::Camera **camera) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::unique_lock driverLock(driver->mutex);
  if (driver->state == TDRIVER_STATE_OFF) return TCOMMON_NOT_INITIALIZED;
  return tdriver::syncedCamera(*driver, cameraLock, camera);
}

uint16_t toCode(float value, float scale) {
  const float scaled = value * scale + 0.5f;
  // Not "scaled < 0": a value that is not a number reads 0.
  return scaled > 0 ? static_cast<uint16_t>(std::min(scaled, 65535.0f)) : 0;
}

void *allocate(uint64_t bytes) {
  return std::malloc(std::max<uint64_t>(bytes, 1));
}

uint32_t copyMosaic(const tcamera::Mosaic &mosaic, TDriverImage *image) {
  const size_t count = mosaic.data.size();
  auto *data = static_cast<uint16_t *>(allocate(count * sizeof(uint16_t)));
  if (data == nullptr) return TCOMMON_NO_MEMORY;
  for (size_t i = 0; i < count; ++i) data[i] = toCode(mosaic.data[i], 1);
  image->width = static_cast<uint32_t>(mosaic.width);
  image->height = static_cast<uint32_t>(mosaic.height);
  image->format = TDRIVER_IMAGE_MOSAIC16;
  for (size_t i = 0; i < 16; ++i) image->cfa[i] = static_cast<uint8_t>(mosaic.pattern[i]);
  image->blackLevel = mosaic.blackLevel;
  image->whiteLevel = mosaic.whiteLevel;
  image->data = data;
  image->size = count * sizeof(uint16_t);
  return TCOMMON_SUCCESS;
}

uint32_t copyRgb(const tcamera::RgbImage &rgb, TDriverImage *image) {
  const size_t count = rgb.data.size();
  auto *data = static_cast<uint16_t *>(allocate(count * sizeof(uint16_t)));
  if (data == nullptr) return TCOMMON_NO_MEMORY;
  for (size_t i = 0; i < count; ++i) data[i] = toCode(rgb.data[i], 65535);
  image->width = static_cast<uint32_t>(rgb.width);
  image->height = static_cast<uint32_t>(rgb.height);
  image->format = rgb.encoded ? TDRIVER_IMAGE_RGB16_ENCODED : TDRIVER_IMAGE_RGB16_LINEAR;
  image->data = data;
  image->size = count * sizeof(uint16_t);
  return TCOMMON_SUCCESS;
}

uint32_t copyOutput(const tcamera::OutputImage &output, TDriverImage *image) {
  const size_t count = output.data.size();
  auto *data = static_cast<uint8_t *>(allocate(count));
  if (data == nullptr) return TCOMMON_NO_MEMORY;
  std::memcpy(data, output.data.data(), count);
  image->width = static_cast<uint32_t>(output.width);
  image->height = static_cast<uint32_t>(output.height);
  image->format = TDRIVER_IMAGE_RGB8;
  image->data = data;
  image->size = count;
  return TCOMMON_SUCCESS;
}

}  // namespace

// While streaming, the control loop looks at the frame being left and programs the hardware
// for the frames after it, once the frame has moved on (so that the temporal history is the
// frame as it was shown).
extern "C" TDRIVER_API uint32_t TDriverFrame_next(TDriver *driver) {
  if (driver == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::unique_lock driverLock(driver->mutex);
  if (driver->state == TDRIVER_STATE_OFF) return TCOMMON_NOT_INITIALIZED;
  tcamera::ControlUpdate update;
  if (driver->state == TDRIVER_STATE_STREAMING) {
    if (const uint32_t code = tcamera::runControl(*driver, update); code != TCOMMON_SUCCESS)
      return code;
  }
  {
    std::unique_lock<std::mutex> lock;
    tdriver::Camera *camera = nullptr;
    if (const uint32_t code = tdriver::syncedCamera(*driver, lock, &camera);
        code != TCOMMON_SUCCESS)
      return code;
    if (const uint32_t code = tdriver::allocating([&] { camera->pipeline.advance(); });
        code != TCOMMON_SUCCESS)
      return code;
  }
  return tcamera::applyControl(*driver, update);
}

extern "C" TDRIVER_API uint32_t TDriverFrame_get(TDriver *driver, const char *stage,
                                                 TDriverImage *image) {
  if (image == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *image = TDriverImage{};
  if (stage == nullptr) return TCOMMON_INVALID_ARGUMENT;
  const std::optional<tcamera::Tap> tap = tcamera::tapNamed(stage);
  if (!tap) return driver == nullptr ? TCOMMON_INVALID_ARGUMENT : TCOMMON_NOT_FOUND;
  std::unique_lock<std::mutex> lock;
  tdriver::Camera *camera = nullptr;
  if (const uint32_t code = liveCamera(driver, lock, &camera); code != TCOMMON_SUCCESS) return code;
  tcamera::Pipeline &pipeline = camera->pipeline;
  uint32_t code = TCOMMON_SUCCESS;
  if (const uint32_t failed = tdriver::allocating([&] {
        if (*tap == tcamera::Tap::kOutput)
          code = copyOutput(pipeline.output(), image);
        else if (tcamera::isMosaicTap(*tap))
          code = copyMosaic(pipeline.mosaicAt(*tap), image);
        else
          code = copyRgb(pipeline.rgbAt(*tap), image);
      });
      failed != TCOMMON_SUCCESS)
    return failed;
  if (code == TCOMMON_SUCCESS) image->frameNumber = pipeline.frameNumber();
  return code;
}

extern "C" TDRIVER_API uint32_t TDriverImage_release(TDriverImage *image) {
  if (image == nullptr) return TCOMMON_INVALID_ARGUMENT;
  std::free(image->data);
  *image = TDriverImage{};
  return TCOMMON_SUCCESS;
}

extern "C" TDRIVER_API uint32_t TDriverFrame_limit(TDriver *driver, uint32_t maxWidth,
                                                   uint32_t maxHeight) {
  return tdriver::withDriver(driver, [&](TDriver &locked) -> uint32_t {
    locked.frameLimitWidth = maxWidth;
    locked.frameLimitHeight = maxHeight;
    ++locked.generation;  // the camera reads the hardware again, now clamped
    return TCOMMON_SUCCESS;
  });
}

extern "C" TDRIVER_API const char *TDriverFrame_inertReason(const char *category, const char *key) {
  if (category == nullptr || key == nullptr) return nullptr;
  for (const tcamera::InertKey &inert : tcamera::inertKeys()) {
    if (std::strcmp(inert.category, category) == 0 && std::strcmp(inert.key, key) == 0)
      return inert.why;
  }
  return nullptr;
}
