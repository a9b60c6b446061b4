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
    made.pipeline.setScene(
        locked.scene.kind == kFlatScene ? tcamera::SceneKind::kFlat : tcamera::SceneKind::kChart,
        locked.scene.lux / kNominalLux, locked.scene.kelvin);
    made.generation = locked.generation;
  }
  // The injected scene shows the injected frame on every frame, whatever "IPT" says.
  const bool injectedScene = locked.scene.kind == kInjectedScene;
  made.pipeline.setInjection(locked.injected, locked.isInject != 0 || injectedScene,
                             locked.isInjectLive != 0 || injectedScene);
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

namespace {

// The sRGB decoding of every 16-bit code (8-bit codes index it at code x 257).
const std::vector<float> &srgbToLinear() {
  static const std::vector<float> table = [] {
    std::vector<float> made(65536);
    for (size_t i = 0; i < made.size(); ++i) {
      const double v = i / 65535.0;
      made[i] = static_cast<float>(v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4));
    }
    return made;
  }();
  return table;
}

bool validCfa(const uint8_t (&cfa)[16]) {
  bool colours[5] = {};
  for (const uint8_t c : cfa) {
    if (c > TDRIVER_CFA_INFRARED) return false;
    colours[c] = true;
  }
  return colours[TDRIVER_CFA_RED] && colours[TDRIVER_CFA_BLUE] &&
         (colours[TDRIVER_CFA_GREEN_RED] || colours[TDRIVER_CFA_GREEN_BLUE]);
}

// The part of a width x height frame the camera keeps: at most its largest frame (and the
// host's cap), centred, from a corner that is a multiple of 4 sites so that the colour
// filter pattern keeps its phase, even sizes.
struct Crop {
  int x, y, width, height;
};

Crop cropOf(uint32_t width, uint32_t height, uint32_t limitWidth, uint32_t limitHeight) {
  const auto side = [](uint32_t size, uint32_t max, uint32_t limit) {
    uint32_t kept = std::min(size, max);
    if (limit != 0) kept = std::min(kept, std::max<uint32_t>(limit, 16));
    return static_cast<int>(kept & ~1u);
  };
  Crop crop{};
  crop.width = side(width, tcamera::kMaxWidth, limitWidth);
  crop.height = side(height, tcamera::kMaxHeight, limitHeight);
  crop.x = static_cast<int>((width - crop.width) / 2) & ~3;
  crop.y = static_cast<int>((height - crop.height) / 2) & ~3;
  return crop;
}

uint32_t injectedOf(const TDriverImage &image, uint32_t limitWidth, uint32_t limitHeight,
                    std::shared_ptr<const tcamera::InjectedFrame> *frame) {
  const uint64_t pixels = uint64_t{image.width} * image.height;
  if (image.width < 16 || image.height < 16 || image.data == nullptr) return TCOMMON_OUT_OF_RANGE;
  const Crop crop = cropOf(image.width, image.height, limitWidth, limitHeight);
  auto made = std::make_shared<tcamera::InjectedFrame>();
  if (image.format == TDRIVER_IMAGE_MOSAIC16) {
    if (image.size != pixels * 2 || !validCfa(image.cfa) || !std::isfinite(image.blackLevel) ||
        !std::isfinite(image.whiteLevel) || image.blackLevel < 0 ||
        image.whiteLevel <= image.blackLevel || image.whiteLevel > 65535)
      return TCOMMON_OUT_OF_RANGE;
    auto mosaic = std::make_shared<tcamera::Mosaic>();
    mosaic->width = crop.width;
    mosaic->height = crop.height;
    for (size_t i = 0; i < 16; ++i) mosaic->pattern[i] = static_cast<tcamera::Cfa>(image.cfa[i]);
    mosaic->blackLevel = image.blackLevel;
    mosaic->whiteLevel = image.whiteLevel;
    mosaic->data.resize(static_cast<size_t>(crop.width) * crop.height);
    const auto *codes = static_cast<const uint16_t *>(image.data);
    for (int y = 0; y < crop.height; ++y) {
      const uint16_t *row = codes + static_cast<size_t>(y + crop.y) * image.width + crop.x;
      float *out = &mosaic->data[static_cast<size_t>(y) * crop.width];
      for (int x = 0; x < crop.width; ++x) out[x] = std::min<float>(row[x], image.whiteLevel);
    }
    made->mosaic = std::move(mosaic);
  } else if (image.format == TDRIVER_IMAGE_RGB8 || image.format == TDRIVER_IMAGE_RGB16_ENCODED ||
             image.format == TDRIVER_IMAGE_RGB16_LINEAR) {
    const uint64_t bytes = image.format == TDRIVER_IMAGE_RGB8 ? 1 : 2;
    if (image.size != pixels * 3 * bytes) return TCOMMON_OUT_OF_RANGE;
    auto picture = std::make_shared<tcamera::InjectedPicture>();
    picture->width = crop.width;
    picture->height = crop.height;
    picture->rgb.resize(static_cast<size_t>(crop.width) * crop.height * 3);
    const std::vector<float> &decode = srgbToLinear();
    const size_t rowValues = static_cast<size_t>(crop.width) * 3;
    for (int y = 0; y < crop.height; ++y) {
      const size_t first = (static_cast<size_t>(y + crop.y) * image.width + crop.x) * 3;
      float *out = &picture->rgb[static_cast<size_t>(y) * rowValues];
      if (image.format == TDRIVER_IMAGE_RGB8) {
        const uint8_t *in = static_cast<const uint8_t *>(image.data) + first;
        for (size_t i = 0; i < rowValues; ++i) out[i] = decode[in[i] * 257u];
      } else if (image.format == TDRIVER_IMAGE_RGB16_ENCODED) {
        const uint16_t *in = static_cast<const uint16_t *>(image.data) + first;
        for (size_t i = 0; i < rowValues; ++i) out[i] = decode[in[i]];
      } else {
        const uint16_t *in = static_cast<const uint16_t *>(image.data) + first;
        for (size_t i = 0; i < rowValues; ++i) out[i] = in[i] / 65535.0f;
      }
    }
    made->picture = std::move(picture);
  } else {
    return TCOMMON_OUT_OF_RANGE;
  }
  *frame = std::move(made);
  return TCOMMON_SUCCESS;
}

}  // namespace

extern "C" TDRIVER_API uint32_t TDriverFrame_inject(TDriver *driver, const TDriverImage *image) {
  uint32_t limitWidth = 0, limitHeight = 0;
  if (const uint32_t code = tdriver::withDriver(driver,
                                                [&](TDriver &locked) -> uint32_t {
                                                  limitWidth = locked.frameLimitWidth;
                                                  limitHeight = locked.frameLimitHeight;
                                                  return TCOMMON_SUCCESS;
                                                });
      code != TCOMMON_SUCCESS)
    return code;
  // Converted without the driver's lock: a large picture takes a while, and shell calls must
  // not wait for it.
  std::shared_ptr<const tcamera::InjectedFrame> frame;
  uint32_t code = TCOMMON_SUCCESS;
  if (image != nullptr) {
    if (const uint32_t failed = tdriver::allocating(
            [&] { code = injectedOf(*image, limitWidth, limitHeight, &frame); });
        failed != TCOMMON_SUCCESS)
      return failed;
    if (code != TCOMMON_SUCCESS) return code;
  }
  return tdriver::withDriver(driver, [&](TDriver &locked) -> uint32_t {
    locked.injected = std::move(frame);
    return TCOMMON_SUCCESS;
  });
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
