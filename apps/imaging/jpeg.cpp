// JPEG through libjpeg-turbo. Its errors end in a longjmp back into the function that started
// the work, which then frees what it holds; nothing of C++ with a destructor lives between.
// jpeglib.h needs size_t and FILE declared before it.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "imaging.h"

namespace imaging {
namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void onError(j_common_ptr info) {
  auto *manager = reinterpret_cast<ErrorManager *>(info->err);
  (*info->err->format_message)(info, manager->message);
  std::longjmp(manager->jump, 1);
}

void onMessage(j_common_ptr, int) {}  // warnings are not worth a line on the server's stderr

}  // namespace

bool encodeJpeg(const Picture &picture, int quality, std::string *out, std::string *error) {
  if (picture.bits != 8 || (picture.channels != 1 && picture.channels != 3) || picture.width <= 0 ||
      picture.height <= 0 ||
      picture.data8.size() != size_t(picture.width) * picture.height * picture.channels) {
    *error = "JPEG takes 8-bit grey or RGB pictures";
    return false;
  }
  jpeg_compress_struct info{};
  ErrorManager manager{};
  info.err = jpeg_std_error(&manager.base);
  manager.base.error_exit = onError;
  manager.base.emit_message = onMessage;
  unsigned char *buffer = nullptr;
  unsigned long size = 0;
  if (setjmp(manager.jump)) {
    jpeg_destroy_compress(&info);
    std::free(buffer);
    *error = std::string("JPEG: ") + manager.message;
    return false;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(picture.width);
  info.image_height = static_cast<JDIMENSION>(picture.height);
  info.input_components = picture.channels;
  info.in_color_space = picture.channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality < 1 ? 1 : quality > 100 ? 100 : quality, TRUE);
  jpeg_start_compress(&info, TRUE);
  const size_t stride = size_t(picture.width) * picture.channels;
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(picture.data8.data() + info.next_scanline * stride);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  out->assign(reinterpret_cast<const char *>(buffer), size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return true;
}

bool decodeJpeg(std::string_view data, Picture *picture, std::string *error) {
  jpeg_decompress_struct info{};
  ErrorManager manager{};
  info.err = jpeg_std_error(&manager.base);
  manager.base.error_exit = onError;
  manager.base.emit_message = onMessage;
  // Filled only after the last point that can jump back, so that no vector is left half made.
  Picture *const result = picture;
  uint8_t *pixels = nullptr;
  if (setjmp(manager.jump)) {
    jpeg_destroy_decompress(&info);
    std::free(pixels);
    *error = std::string("corrupt JPEG: ") + manager.message;
    return false;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(data.data()),
               static_cast<unsigned long>(data.size()));
  jpeg_read_header(&info, TRUE);
  if (info.image_width == 0 || info.image_height == 0 || info.image_width > kMaxSide ||
      info.image_height > kMaxSide || uint64_t{info.image_width} * info.image_height > kMaxPixels) {
    jpeg_destroy_decompress(&info);
    *error = "the JPEG is " + std::to_string(info.image_width) + " x " +
             std::to_string(info.image_height) + " pixels: too large";
    return false;
  }
  info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  const size_t stride = size_t(info.output_width) * 3;
  pixels = static_cast<uint8_t *>(std::malloc(stride * info.output_height));
  if (pixels == nullptr) {
    jpeg_destroy_decompress(&info);
    *error = "out of memory for the JPEG";
    return false;
  }
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = pixels + size_t(info.output_scanline) * stride;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  const int width = static_cast<int>(info.output_width);
  const int height = static_cast<int>(info.output_height);
  jpeg_destroy_decompress(&info);
  *result = Picture{};
  result->width = width;
  result->height = height;
  result->channels = 3;
  result->bits = 8;
  result->data8.assign(pixels, pixels + stride * height);
  std::free(pixels);
  return true;
}

}  // namespace imaging
