// Picture files for the tuning tools: JPEG, PNG, TIFF, DNG and camera raw files, read and
// written through Debian's libraries (libjpeg-turbo, libpng, libtiff, LibRaw), and the
// scaling a preview needs. The server, the command-line tool and calibration tools share it;
// the driver library never links it, so that it stays free of codecs.
//
// Every function returns false with *error set (one line for the user) when the data cannot
// be read or written; nothing is thrown.
#ifndef TSHELL_IMAGING_H
#define TSHELL_IMAGING_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace imaging {

// Interleaved samples, row-major, channels 1 (grey) or 3 (R, G, B); 8 or 16 bits per sample,
// held in data8 or data16. Decoded 8-bit pictures are sRGB; decoded 16-bit ones are linear
// light when linear is set (16-bit PNG files, which libpng converts by their gamma), sRGB
// encoded otherwise.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;
  int bits = 8;
  bool linear = false;
  std::vector<uint8_t> data8;
  std::vector<uint16_t> data16;
};

// Colours of the sites of a CFA mosaic (as the driver numbers them).
enum CfaColour : uint8_t { kRed = 0, kGreenRed = 1, kGreenBlue = 2, kBlue = 3, kInfrared = 4 };

// A raw Bayer frame: one code per site, the colour of site (x, y) is cfa[(y % 2) * 2 + x % 2],
// blackLevel per site of that 2 x 2 tile (the pedestal still in the codes), whiteLevel the clip
// level.
struct RawFrame {
  int width = 0;
  int height = 0;
  std::vector<uint16_t> data;
  std::array<uint8_t, 4> cfa{kRed, kGreenRed, kGreenBlue, kBlue};
  std::array<float, 4> blackLevel{};
  float whiteLevel = 0;
  std::string cameraModel;                      // DNG UniqueCameraModel, camera make and model
  std::array<float, 3> asShotNeutral{1, 1, 1};  // camera R, G, B of a neutral under the light
  std::array<float, 9> colorMatrix{1, 0, 0, 0, 1, 0, 0, 0, 1};  // XYZ (D65) to camera, row-major
};

// What a file's first bytes say it is.
enum class FileKind { kUnknown, kJpeg, kPng, kTiff, kRaw };
// TIFF covers DNG and the many TIFF-based camera raw formats; which of them a TIFF file is
// shows only when it is read (readFile). kRaw: other camera raw containers LibRaw knows by
// their signature (Canon CR3, Fujifilm RAF, Panasonic RW2, Olympus ORF, ...).
FileKind sniff(std::string_view data);

// Largest picture any reader accepts, in pixels (and at most kMaxSide on a side): a file
// that says it is larger is refused before anything is allocated.
constexpr int kMaxSide = 16384;
constexpr uint64_t kMaxPixels = uint64_t{64} << 20;

// ---- JPEG (jpeg.cpp) -------------------------------------------------------------------------
// 8-bit grey or RGB; quality 1..100.
bool encodeJpeg(const Picture &picture, int quality, std::string *out, std::string *error);
// To 8-bit RGB (grey files too).
bool decodeJpeg(std::string_view data, Picture *picture, std::string *error);

// ---- PNG (png.cpp) ---------------------------------------------------------------------------
// 8- or 16-bit grey or RGB.
bool encodePng(const Picture &picture, std::string *out, std::string *error);
// To RGB at the file's depth (8 or 16 bits; palette, grey and alpha are expanded or dropped).
bool decodePng(std::string_view data, Picture *picture, std::string *error);

// ---- TIFF and DNG (tiff.cpp) -----------------------------------------------------------------
// A TIFF that holds a picture (not a CFA mosaic) to 8- or 16-bit RGB.
bool decodeTiff(std::string_view data, Picture *picture, std::string *error);
// An uncompressed 16-bit CFA DNG of frame.
bool encodeDng(const RawFrame &frame, std::string *out, std::string *error);

// ---- Camera raw (raw.cpp) --------------------------------------------------------------------
// The unprocessed Bayer mosaic of a camera raw file (DNG included) through LibRaw: its visible
// area, the black level of each site of the 2 x 2 tile, the white level and the CFA order.
// Files that are not Bayer mosaics (full-colour DNG, X-Trans, Foveon) are refused.
bool decodeRaw(std::string_view data, RawFrame *frame, std::string *error);

// ---- Any of them (files.cpp) -----------------------------------------------------------------
// What readFile found.
struct Decoded {
  bool isRaw = false;
  Picture picture;  // !isRaw: RGB, 8 or 16 bits
  RawFrame raw;     // isRaw
};
// Sniffs and reads a picture or a raw file. *unsupported tells an unknown kind of data (not a
// picture at all) from a picture that is corrupt or too large.
bool readFile(std::string_view data, Decoded *decoded, bool *unsupported, std::string *error);

// ---- Scaling (scale.cpp) ---------------------------------------------------------------------
// The picture scaled down to width (height in proportion, at least 1) by averaging the source
// pixels each output pixel covers; width at or above the picture's: a copy.
Picture scaleToWidth(const Picture &picture, int width);

}  // namespace imaging

#endif  // TSHELL_IMAGING_H
