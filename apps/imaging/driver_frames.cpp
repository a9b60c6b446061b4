// Frames of the simulated camera as pictures and files, and files as injected frames.
#include "driver_frames.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace imaging {
namespace {

// XYZ (D65) to the simulated sensor's R, G, B: its colour filters' response to linear sRGB
// times the XYZ to sRGB matrix, scaled so that the largest channel of D65 white is 1.
constexpr std::array<float, 9> kColorMatrix = {1.0714f, -0.3542f, -0.1323f, -0.2353f, 1.1560f,
                                               0.0621f, -0.0626f, 0.2163f,  0.5595f};

uint8_t srgbByte(double linear) {
  const double v = std::clamp(linear, 0.0, 1.0);
  const double encoded = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
  return static_cast<uint8_t>(std::lround(encoded * 255));
}

const std::array<uint8_t, 4097> &srgbTable() {
  static const std::array<uint8_t, 4097> table = [] {
    std::array<uint8_t, 4097> made{};
    for (int i = 0; i <= 4096; ++i) made[i] = srgbByte(i / 4096.0);
    return made;
  }();
  return table;
}

}  // namespace

uint8_t colourAt(const TDriverImage &mosaic, int x, int y) {
  return mosaic.cfa[(y % 4) * 4 + x % 4];
}

Picture viewable(const TDriverImage &image) {
  Picture picture;
  picture.width = static_cast<int>(image.width);
  picture.height = static_cast<int>(image.height);
  picture.bits = 8;
  const size_t pixels = size_t(image.width) * image.height;
  if (image.format == TDRIVER_IMAGE_MOSAIC16) {
    picture.channels = 1;
    picture.data8.resize(pixels);
    const auto *codes = static_cast<const uint16_t *>(image.data);
    const float black = image.blackLevel;
    const float scale = 255.0f / std::max(1.0f, image.whiteLevel - black);
    for (size_t i = 0; i < pixels; ++i)
      picture.data8[i] =
          static_cast<uint8_t>(std::clamp((codes[i] - black) * scale + 0.5f, 0.0f, 255.0f));
    return picture;
  }
  picture.channels = 3;
  picture.data8.resize(pixels * 3);
  if (image.format == TDRIVER_IMAGE_RGB8) {
    const auto *bytes = static_cast<const uint8_t *>(image.data);
    std::copy(bytes, bytes + pixels * 3, picture.data8.begin());
  } else if (image.format == TDRIVER_IMAGE_RGB16_ENCODED) {
    const auto *values = static_cast<const uint16_t *>(image.data);
    for (size_t i = 0; i < pixels * 3; ++i)
      picture.data8[i] = static_cast<uint8_t>((values[i] + 128u) / 257u);
  } else {
    const auto *values = static_cast<const uint16_t *>(image.data);
    const auto &table = srgbTable();
    for (size_t i = 0; i < pixels * 3; ++i)
      picture.data8[i] = table[(values[i] * 4096u + 32767u) / 65535u];
  }
  return picture;
}

std::vector<double> valuesAt(const TDriverImage &image, int x, int y) {
  const size_t pixel = size_t(y) * image.width + x;
  if (image.format == TDRIVER_IMAGE_MOSAIC16)
    return {double(static_cast<const uint16_t *>(image.data)[pixel])};
  if (image.format == TDRIVER_IMAGE_RGB8) {
    const uint8_t *p = static_cast<const uint8_t *>(image.data) + pixel * 3;
    return {double(p[0]), double(p[1]), double(p[2])};
  }
  const uint16_t *p = static_cast<const uint16_t *>(image.data) + pixel * 3;
  return {double(p[0]), double(p[1]), double(p[2])};
}

const char *colourName(const TDriverImage &mosaic, int x, int y) {
  static const char *const kNames[] = {"R", "Gr", "Gb", "B", "IR"};
  const uint8_t c = colourAt(mosaic, x, y);
  return c <= TDRIVER_CFA_INFRARED ? kNames[c] : "?";
}

RawFrame rawFrameOf(TDriver *driver, const TDriverImage &mosaic) {
  RawFrame frame;
  frame.width = static_cast<int>(mosaic.width);
  frame.height = static_cast<int>(mosaic.height);
  const auto *codes = static_cast<const uint16_t *>(mosaic.data);
  frame.data.assign(codes, codes + size_t(mosaic.width) * mosaic.height);
  for (int i = 0; i < 4; ++i) {
    frame.cfa[i] = colourAt(mosaic, i % 2, i / 2);
    frame.blackLevel[i] = mosaic.blackLevel;
  }
  frame.whiteLevel = mosaic.whiteLevel;
  frame.cameraModel = kSimulatedCameraModel;
  std::copy(kColorMatrix.begin(), kColorMatrix.end(), frame.colorMatrix.begin());
  TDatabaseWhiteBalance_1_1 balance{};
  if (driver != nullptr && TDriverHardware_get(driver, "WB_1_1", &balance) == TCOMMON_SUCCESS) {
    const float green = (balance.gain[1] + balance.gain[2]) / 2;
    const float gains[3] = {balance.gain[0], green, balance.gain[3]};
    if (std::all_of(gains, gains + 3, [](float g) { return std::isfinite(g) && g > 0; })) {
      for (int c = 0; c < 3; ++c) frame.asShotNeutral[c] = green / gains[c];
    }
  }
  return frame;
}

Picture mosaicPicture(const TDriverImage &mosaic) {
  Picture picture;
  picture.width = static_cast<int>(mosaic.width);
  picture.height = static_cast<int>(mosaic.height);
  picture.channels = 1;
  picture.bits = 16;
  const auto *codes = static_cast<const uint16_t *>(mosaic.data);
  picture.data16.assign(codes, codes + size_t(mosaic.width) * mosaic.height);
  return picture;
}

TDriverImage injectable(const Decoded &decoded, std::vector<uint16_t> *storage) {
  TDriverImage image{};
  if (decoded.isRaw) {
    const RawFrame &raw = decoded.raw;
    image.width = static_cast<uint32_t>(raw.width);
    image.height = static_cast<uint32_t>(raw.height);
    image.format = TDRIVER_IMAGE_MOSAIC16;
    for (int i = 0; i < 16; ++i) image.cfa[i] = raw.cfa[((i / 4) % 2) * 2 + (i % 4) % 2];
    const float top = *std::max_element(raw.blackLevel.begin(), raw.blackLevel.end());
    *storage = raw.data;
    if (std::any_of(raw.blackLevel.begin(), raw.blackLevel.end(),
                    [&](float b) { return b != top; })) {
      for (int y = 0; y < raw.height; ++y) {
        for (int x = 0; x < raw.width; ++x) {
          uint16_t &code = (*storage)[size_t(y) * raw.width + x];
          const float raised = code + top - raw.blackLevel[(y % 2) * 2 + x % 2];
          code = static_cast<uint16_t>(std::clamp(raised + 0.5f, 0.0f, 65535.0f));
        }
      }
    }
    image.blackLevel = top;
    image.whiteLevel = std::max(raw.whiteLevel, top + 1);
    image.data = storage->data();
    image.size = storage->size() * sizeof(uint16_t);
    return image;
  }
  const Picture &picture = decoded.picture;
  image.width = static_cast<uint32_t>(picture.width);
  image.height = static_cast<uint32_t>(picture.height);
  if (picture.bits == 8) {
    image.format = TDRIVER_IMAGE_RGB8;
    image.data = const_cast<uint8_t *>(picture.data8.data());
    image.size = picture.data8.size();
  } else {
    image.format = picture.linear ? TDRIVER_IMAGE_RGB16_LINEAR : TDRIVER_IMAGE_RGB16_ENCODED;
    image.data = const_cast<uint16_t *>(picture.data16.data());
    image.size = picture.data16.size() * sizeof(uint16_t);
  }
  return image;
}

int injectFile(TDriver *driver, const std::string &data, int *width, int *height, std::string *kind,
               std::string *error) {
  Decoded decoded;
  bool unsupported = false;
  if (!readFile(data, &decoded, &unsupported, error)) return unsupported ? 415 : 400;
  std::vector<uint16_t> storage;
  const TDriverImage image = injectable(decoded, &storage);
  if (image.width < 16 || image.height < 16) {
    *error = "the frame is " + std::to_string(image.width) + " x " + std::to_string(image.height) +
             ": at least 16 x 16 is needed";
    return 400;
  }
  if (const uint32_t code = TDriverFrame_inject(driver, &image); code != TCOMMON_SUCCESS) {
    *error = std::string("the camera refused the frame: ") + TCommonError_text(code);
    return code == TCOMMON_OUT_OF_RANGE ? 400 : 500;
  }
  *width = static_cast<int>(image.width);
  *height = static_cast<int>(image.height);
  *kind = decoded.isRaw ? "raw" : "picture";
  return 200;
}

}  // namespace imaging
