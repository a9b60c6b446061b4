// TIFF pictures and DNG raw frames through libtiff, on memory buffers (TIFFClientOpen).
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>

#include "imaging.h"

namespace imaging {
namespace {

// A file in memory for libtiff: read from data, or written into out.
struct MemoryFile {
  std::string_view data;
  std::string *out = nullptr;
  uint64_t position = 0;
};

tmsize_t readProc(thandle_t handle, void *buffer, tmsize_t size) {
  auto *file = static_cast<MemoryFile *>(handle);
  const std::string_view source = file->out != nullptr ? std::string_view(*file->out) : file->data;
  if (file->position >= source.size()) return 0;
  const size_t count =
      std::min<uint64_t>(static_cast<uint64_t>(size), source.size() - file->position);
  std::memcpy(buffer, source.data() + file->position, count);
  file->position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t writeProc(thandle_t handle, void *buffer, tmsize_t size) {
  auto *file = static_cast<MemoryFile *>(handle);
  if (file->out == nullptr) return -1;
  const uint64_t end = file->position + static_cast<uint64_t>(size);
  if (end > file->out->size()) file->out->resize(end);
  std::memcpy(file->out->data() + file->position, buffer, static_cast<size_t>(size));
  file->position = end;
  return size;
}

toff_t seekProc(thandle_t handle, toff_t offset, int whence) {
  auto *file = static_cast<MemoryFile *>(handle);
  const uint64_t size = file->out != nullptr ? file->out->size() : file->data.size();
  const uint64_t base = whence == SEEK_CUR ? file->position : whence == SEEK_END ? size : 0;
  file->position = base + offset;
  return file->position;
}

int closeProc(thandle_t) {
  return 0;
}

toff_t sizeProc(thandle_t handle) {
  auto *file = static_cast<MemoryFile *>(handle);
  return file->out != nullptr ? file->out->size() : file->data.size();
}

int mapProc(thandle_t, void **, toff_t *) {
  return 0;
}

void unmapProc(thandle_t, void *, toff_t) {}

// libtiff reports through handlers of the whole process; the last error of this thread is
// kept for the message.
thread_local std::string lastTiffError;

void onTiffError(const char *module, const char *format, va_list arguments) {
  char text[512];
  vsnprintf(text, sizeof text, format, arguments);
  lastTiffError = module != nullptr ? std::string(module) + ": " + text : text;
}

void onTiffWarning(const char *, const char *, va_list) {}

struct TiffCloser {
  void operator()(TIFF *tiff) const { TIFFClose(tiff); }
};
using TiffHandle = std::unique_ptr<TIFF, TiffCloser>;

TiffHandle open(MemoryFile *file, const char *mode) {
  TIFFSetErrorHandler(onTiffError);
  TIFFSetWarningHandler(onTiffWarning);
  lastTiffError.clear();
  return TiffHandle(TIFFClientOpen("memory", mode, file, readProc, writeProc, seekProc, closeProc,
                                   sizeProc, mapProc, unmapProc));
}

}  // namespace

bool decodeTiff(std::string_view data, Picture *picture, std::string *error) {
  MemoryFile file{data};
  TiffHandle tiff = open(&file, "rm");
  if (tiff == nullptr) {
    *error = "corrupt TIFF: " + lastTiffError;
    return false;
  }
  uint32_t width = 0, height = 0;
  uint16_t bits = 8, samples = 1, photometric = 0;
  TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &photometric);
  if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide ||
      uint64_t{width} * height > kMaxPixels) {
    *error = "the TIFF is " + std::to_string(width) + " x " + std::to_string(height) +
             " pixels: too large";
    return false;
  }
  if (photometric == PHOTOMETRIC_CFA) {
    *error = "the TIFF holds a raw mosaic, not a picture";
    return false;
  }
  uint16_t planar = PLANARCONFIG_CONTIG;
  TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_PLANARCONFIG, &planar);
  const bool plainWide =
      bits == 16 && planar == PLANARCONFIG_CONTIG &&
      (photometric == PHOTOMETRIC_RGB || photometric == PHOTOMETRIC_MINISBLACK) &&
      (samples == 1 || samples >= 3);
  Picture result;
  result.width = static_cast<int>(width);
  result.height = static_cast<int>(height);
  result.channels = 3;
  const size_t pixels = size_t(width) * height;
  if (plainWide) {
    // 16-bit grey or RGB(A) read line by line, keeping the depth.
    result.bits = 16;
    result.data16.resize(pixels * 3);
    std::vector<uint16_t> line(size_t(width) * samples);
    const tmsize_t lineBytes = TIFFScanlineSize(tiff.get());
    if (lineBytes < 0 || static_cast<size_t>(lineBytes) > line.size() * sizeof(uint16_t)) {
      *error = "corrupt TIFF: unexpected line size";
      return false;
    }
    for (uint32_t y = 0; y < height; ++y) {
      if (TIFFReadScanline(tiff.get(), line.data(), y, 0) < 0) {
        *error = "corrupt TIFF: " + lastTiffError;
        return false;
      }
      uint16_t *row = &result.data16[size_t(y) * width * 3];
      for (uint32_t x = 0; x < width; ++x) {
        for (int c = 0; c < 3; ++c)
          row[x * 3 + c] = line[size_t(x) * samples + (samples == 1 ? 0 : c)];
      }
    }
  } else {
    // Everything else through libtiff's RGBA reader, at 8 bits.
    std::vector<uint32_t> rgba(pixels);
    if (!TIFFReadRGBAImageOriented(tiff.get(), width, height, rgba.data(), ORIENTATION_TOPLEFT,
                                   0)) {
      *error = "corrupt or unsupported TIFF: " + lastTiffError;
      return false;
    }
    result.bits = 8;
    result.data8.resize(pixels * 3);
    for (size_t i = 0; i < pixels; ++i) {
      result.data8[i * 3] = static_cast<uint8_t>(TIFFGetR(rgba[i]));
      result.data8[i * 3 + 1] = static_cast<uint8_t>(TIFFGetG(rgba[i]));
      result.data8[i * 3 + 2] = static_cast<uint8_t>(TIFFGetB(rgba[i]));
    }
  }
  *picture = std::move(result);
  return true;
}

bool encodeDng(const RawFrame &frame, std::string *out, std::string *error) {
  if (frame.width <= 0 || frame.height <= 0 ||
      frame.data.size() != size_t(frame.width) * frame.height) {
    *error = "DNG: the frame has no pixels";
    return false;
  }
  std::string bytes;
  MemoryFile file{{}, &bytes};
  TiffHandle tiff = open(&file, "w");
  if (tiff == nullptr) {
    *error = "DNG: " + lastTiffError;
    return false;
  }
  TIFF *t = tiff.get();
  // DNG numbers the CFA colours 0 red, 1 green, 2 blue.
  uint8_t pattern[4];
  for (int i = 0; i < 4; ++i) {
    const uint8_t c = frame.cfa[i];
    pattern[i] = c == kRed ? 0 : c == kBlue ? 2 : 1;
  }
  const uint16_t repeat[2] = {2, 2};
  const uint8_t version[4] = {1, 4, 0, 0};
  const uint8_t backward[4] = {1, 1, 0, 0};
  const float neutral[3] = {frame.asShotNeutral[0], frame.asShotNeutral[1], frame.asShotNeutral[2]};
  float black[4];
  for (int i = 0; i < 4; ++i) black[i] = frame.blackLevel[i];
  const uint32_t white = static_cast<uint32_t>(frame.whiteLevel + 0.5f);
  const std::string model = frame.cameraModel.empty() ? "tshell camera" : frame.cameraModel;
  bool ok =
      TIFFSetField(t, TIFFTAG_SUBFILETYPE, 0) && TIFFSetField(t, TIFFTAG_IMAGEWIDTH, frame.width) &&
      TIFFSetField(t, TIFFTAG_IMAGELENGTH, frame.height) &&
      TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 16) && TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1) &&
      TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE) &&
      TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA) &&
      TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
      TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) &&
      TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, std::max(1, (1 << 20) / (frame.width * 2))) &&
      TIFFSetField(t, TIFFTAG_MAKE, "tshell") && TIFFSetField(t, TIFFTAG_MODEL, model.c_str()) &&
      TIFFSetField(t, TIFFTAG_SOFTWARE, "tshell") &&
      TIFFSetField(t, TIFFTAG_CFAREPEATPATTERNDIM, repeat) &&
      TIFFSetField(t, TIFFTAG_CFAPATTERN, 4, pattern) &&
      TIFFSetField(t, TIFFTAG_DNGVERSION, version) &&
      TIFFSetField(t, TIFFTAG_DNGBACKWARDVERSION, backward) &&
      TIFFSetField(t, TIFFTAG_UNIQUECAMERAMODEL, model.c_str()) &&
      TIFFSetField(t, TIFFTAG_BLACKLEVELREPEATDIM, repeat) &&
      TIFFSetField(t, TIFFTAG_BLACKLEVEL, 4, black) &&
      TIFFSetField(t, TIFFTAG_WHITELEVEL, 1, &white) &&
      TIFFSetField(t, TIFFTAG_COLORMATRIX1, 9, frame.colorMatrix.data()) &&
      TIFFSetField(t, TIFFTAG_CALIBRATIONILLUMINANT1, 21) &&  // D65
      TIFFSetField(t, TIFFTAG_ASSHOTNEUTRAL, 3, neutral);
  for (int y = 0; ok && y < frame.height; ++y) {
    ok = TIFFWriteScanline(t, const_cast<uint16_t *>(&frame.data[size_t(y) * frame.width]),
                           static_cast<uint32_t>(y), 0) >= 0;
  }
  ok = ok && TIFFWriteDirectory(t);
  tiff.reset();
  if (!ok) {
    *error = "DNG: " + (lastTiffError.empty() ? std::string("cannot write a tag") : lastTiffError);
    return false;
  }
  *out = std::move(bytes);
  return true;
}

}  // namespace imaging
