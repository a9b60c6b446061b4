// Raw captures for calibration: camera raw files read through LibRaw, and the site geometry
// every calibration shares.
#include <algorithm>

#include "calibrate.h"

namespace calibrate {

bool loadCapture(std::string_view data, std::string name, Capture *capture, std::string *error) {
  imaging::Decoded decoded;
  bool unsupported = false;
  std::string problem;
  if (!imaging::readFile(data, &decoded, &unsupported, &problem)) {
    *error = name + ": " + (unsupported ? "not a camera raw file" : problem);
    return false;
  }
  if (!decoded.isRaw) {
    *error = name +
             ": a rendered picture, not a raw capture (calibration needs the sensor's own "
             "codes: DNG or a camera raw file)";
    return false;
  }
  if (decoded.raw.width < 16 || decoded.raw.height < 16 || decoded.raw.whiteLevel <= 0) {
    *error = name + ": the raw frame is too small or has no white level";
    return false;
  }
  capture->name = std::move(name);
  capture->raw = std::move(decoded.raw);
  return true;
}

int bitDepthOf(const imaging::RawFrame &raw) {
  int bits = 8;
  while (bits < 16 && raw.whiteLevel > static_cast<float>((1 << bits) - 1)) ++bits;
  return bits;
}

int channelAt(const imaging::RawFrame &raw, int x, int y) {
  const uint8_t colour = raw.cfa[(y & 1) * 2 + (x & 1)];
  return colour <= imaging::kBlue ? colour : -1;
}

}  // namespace calibrate
