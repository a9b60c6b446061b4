// PNG through libpng's simplified API (png_image), which reads and writes from memory and
// expands palettes, grey and alpha for us.
#include <png.h>

#include "imaging.h"

namespace imaging {

bool encodePng(const Picture &picture, std::string *out, std::string *error) {
  const bool wide = picture.bits == 16;
  const size_t count = size_t(picture.width) * picture.height * picture.channels;
  if ((picture.bits != 8 && !wide) || (picture.channels != 1 && picture.channels != 3) ||
      picture.width <= 0 || picture.height <= 0 ||
      (wide ? picture.data16.size() : picture.data8.size()) != count) {
    *error = "PNG takes 8- or 16-bit grey or RGB pictures";
    return false;
  }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = (picture.channels == 3 ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY) |
                 (wide ? PNG_FORMAT_FLAG_LINEAR : 0);
  const void *pixels =
      wide ? static_cast<const void *>(picture.data16.data()) : picture.data8.data();
  png_alloc_size_t size = 0;
  // The simplified API writes 16-bit data as linear light unless told otherwise; the codes
  // are what they are (sensor codes, or encoded values), so no gamma is recorded.
  if (!png_image_write_to_memory(&image, nullptr, &size, 0, pixels, 0, nullptr)) {
    *error = std::string("PNG: ") + image.message;
    return false;
  }
  out->resize(size);
  if (!png_image_write_to_memory(&image, out->data(), &size, 0, pixels, 0, nullptr)) {
    *error = std::string("PNG: ") + image.message;
    return false;
  }
  out->resize(size);
  return true;
}

bool decodePng(std::string_view data, Picture *picture, std::string *error) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, data.data(), data.size())) {
    *error = std::string("corrupt PNG: ") + image.message;
    return false;
  }
  if (image.width == 0 || image.height == 0 || image.width > kMaxSide || image.height > kMaxSide ||
      uint64_t{image.width} * image.height > kMaxPixels) {
    *error = "the PNG is " + std::to_string(image.width) + " x " + std::to_string(image.height) +
             " pixels: too large";
    png_image_free(&image);
    return false;
  }
  const bool wide = (image.format & PNG_FORMAT_FLAG_LINEAR) != 0;
  image.format = wide ? PNG_FORMAT_LINEAR_RGB : PNG_FORMAT_RGB;
  Picture result;
  result.width = static_cast<int>(image.width);
  result.height = static_cast<int>(image.height);
  result.channels = 3;
  result.bits = wide ? 16 : 8;
  result.linear = wide;
  const size_t count = size_t(image.width) * image.height * 3;
  void *pixels = nullptr;
  if (wide) {
    result.data16.resize(count);
    pixels = result.data16.data();
  } else {
    result.data8.resize(count);
    pixels = result.data8.data();
  }
  if (!png_image_finish_read(&image, nullptr, pixels, 0, nullptr)) {
    *error = std::string("corrupt PNG: ") + image.message;
    png_image_free(&image);
    return false;
  }
  *picture = std::move(result);
  return true;
}

}  // namespace imaging
