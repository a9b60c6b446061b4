// Camera raw files through LibRaw: only the unpacked sensor data is used (no demosaic, no
// colour processing), so that a raw frame reaches the simulated ISP as the camera saw it.
#include <libraw/libraw.h>

#include <memory>

#include "imaging.h"

namespace imaging {

bool decodeRaw(std::string_view data, RawFrame *frame, std::string *error) {
  auto processor = std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_DATAERR_CALLBACK);
  int code = processor->open_buffer(const_cast<char *>(data.data()), data.size());
  if (code != LIBRAW_SUCCESS) {
    *error = std::string("not a readable camera raw file: ") + libraw_strerror(code);
    return false;
  }
  const libraw_data_t &d = processor->imgdata;
  const int width = d.sizes.width, height = d.sizes.height;
  if (width < 2 || height < 2 || width > kMaxSide || height > kMaxSide ||
      uint64_t(width) * height > kMaxPixels) {
    *error = "the raw frame is " + std::to_string(width) + " x " + std::to_string(height) +
             " sites: too large or empty";
    return false;
  }
  // A Bayer filter: four colours repeating every two sites, no full-colour or X-Trans data.
  if (d.idata.filters == 0 || d.idata.filters < 1000 || d.idata.colors != 3) {
    *error = "the raw file is not a Bayer mosaic (full-colour, X-Trans or Foveon data)";
    return false;
  }
  code = processor->unpack();
  if (code != LIBRAW_SUCCESS || d.rawdata.raw_image == nullptr) {
    *error = std::string("corrupt camera raw file: ") +
             (code != LIBRAW_SUCCESS ? libraw_strerror(code) : "no mosaic");
    return false;
  }
  RawFrame result;
  result.width = width & ~1;
  result.height = height & ~1;
  // LibRaw's colours: 0 red, 1 green, 2 blue, 3 the second green. The green sharing its line
  // with red is Gr.
  int colour[4];
  for (int i = 0; i < 4; ++i) colour[i] = processor->COLOR(i / 2, i % 2);
  for (int i = 0; i < 4; ++i) {
    const int c = colour[i];
    if (c == 0) {
      result.cfa[i] = kRed;
    } else if (c == 2) {
      result.cfa[i] = kBlue;
    } else {
      const int beside = colour[(i / 2) * 2 + (1 - i % 2)];
      result.cfa[i] = beside == 0 ? kGreenRed : kGreenBlue;
    }
  }
  // The black level: a common level, one per colour, and a repeating pattern on top
  // (cblack[4] x cblack[5] sites from cblack[6]).
  const libraw_colordata_t &colours = d.rawdata.color;
  for (int i = 0; i < 4; ++i) {
    const int y = i / 2, x = i % 2;
    float level = static_cast<float>(colours.black + colours.cblack[colour[i]]);
    if (colours.cblack[4] > 0 && colours.cblack[5] > 0 &&
        colours.cblack[4] * colours.cblack[5] <= 4096 - 6)
      level += static_cast<float>(
          colours.cblack[6 + (y % colours.cblack[4]) * colours.cblack[5] + x % colours.cblack[5]]);
    result.blackLevel[i] = level;
  }
  result.whiteLevel = static_cast<float>(colours.maximum > 0 ? colours.maximum : 65535);
  result.cameraModel = std::string(d.idata.make) + " " + d.idata.model;
  if (colours.cam_mul[1] > 0) {
    for (int c = 0; c < 3; ++c)
      result.asShotNeutral[c] =
          colours.cam_mul[c] > 0 ? colours.cam_mul[1] / colours.cam_mul[c] : 1;
  }
  const unsigned pitch = d.rawdata.sizes.raw_pitch / 2;
  const int top = d.rawdata.sizes.top_margin, left = d.rawdata.sizes.left_margin;
  result.data.resize(size_t(result.width) * result.height);
  for (int y = 0; y < result.height; ++y) {
    const uint16_t *row = d.rawdata.raw_image + size_t(y + top) * pitch + left;
    std::copy(row, row + result.width, &result.data[size_t(y) * result.width]);
  }
  *frame = std::move(result);
  return true;
}

}  // namespace imaging
