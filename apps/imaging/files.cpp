// Telling picture and raw files apart by their first bytes, and reading either.
#include <cstring>

#include "imaging.h"

namespace imaging {
namespace {

bool startsWith(std::string_view data, std::string_view prefix) {
  return data.size() >= prefix.size() && data.substr(0, prefix.size()) == prefix;
}

}  // namespace

FileKind sniff(std::string_view data) {
  using namespace std::string_view_literals;
  if (startsWith(data, "\xFF\xD8\xFF"sv)) return FileKind::kJpeg;
  if (startsWith(data, "\x89PNG\r\n\x1A\n"sv)) return FileKind::kPng;
  if (startsWith(data, "II*\0"sv) || startsWith(data, "MM\0*"sv)) return FileKind::kTiff;
  // TIFF-like raw containers with their own magic numbers, and raw formats of their own.
  if (startsWith(data, "IIRO"sv) || startsWith(data, "IIRS"sv) || startsWith(data, "IIU\0"sv) ||
      startsWith(data, "FUJIFILM"sv) || startsWith(data, "\0MRM"sv) || startsWith(data, "FOVb"sv) ||
      startsWith(data, "II\x1A\0\0\0HEAPCCDR"sv))
    return FileKind::kRaw;
  if (data.size() >= 12 && data.substr(4, 8) == "ftypcrx "sv) return FileKind::kRaw;
  return FileKind::kUnknown;
}

bool readFile(std::string_view data, Decoded *decoded, bool *unsupported, std::string *error) {
  *unsupported = false;
  Decoded result;
  bool ok = false;
  switch (sniff(data)) {
    case FileKind::kUnknown:
      *unsupported = true;
      *error = "not a picture or camera raw file (PNG, JPEG, TIFF, DNG or camera raw)";
      return false;
    case FileKind::kJpeg:
      ok = decodeJpeg(data, &result.picture, error);
      break;
    case FileKind::kPng:
      ok = decodePng(data, &result.picture, error);
      break;
    case FileKind::kRaw:
      result.isRaw = true;
      ok = decodeRaw(data, &result.raw, error);
      break;
    case FileKind::kTiff: {
      // DNG and most camera raw formats are TIFF files holding a mosaic: LibRaw first, and a
      // plain picture when it finds no mosaic.
      std::string rawError;
      if (decodeRaw(data, &result.raw, &rawError)) {
        result.isRaw = true;
        ok = true;
      } else {
        ok = decodeTiff(data, &result.picture, error);
        if (!ok && error->find("raw mosaic") != std::string::npos) *error = rawError;
      }
      break;
    }
  }
  if (ok) *decoded = std::move(result);
  return ok;
}

}  // namespace imaging
