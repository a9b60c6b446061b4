// Image buffers of the simulated camera and what every stage of its pipeline is handed.
//
// Two kinds of image travel through the pipeline:
//   - a Mosaic: one value per photosite, straight from the colour filter array, in sensor
//     codes (0 .. whiteLevel), as floats so that stages need not round between them;
//   - an RgbImage: three values per pixel, interleaved R, G, B. From the demosaic on it is
//     linear light scaled so that 1.0 is the sensor's full scale above black; the gamma stage
//     encodes it for display (encoded = true), and the stages after it work on encoded values.
// Every stage is a pure function of (input image, its block's latched hardware state, the
// frame context); a stage that leaves the picture as it is returns false and does not touch
// its output, so the pipeline passes its input on without a copy.
// The pipeline hands a stage the same output images frame after frame: a stage shapes its
// output with `out = in.sameShape()`, which keeps the output's buffers (a frame is megabytes,
// and fresh buffers cost zero-filling and page faults on every frame) and leaves their values
// as they were, so a stage writes every value of its output.
#ifndef T_DRIVER_CAMERA_FRAME_H
#define T_DRIVER_CAMERA_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace tcamera {

// What a photosite sees. RGB-IR sensors put infrared sites into the pattern.
enum class Cfa : uint8_t { kRed = 0, kGreenRed = 1, kGreenBlue = 2, kBlue = 3, kInfrared = 4 };

// The Bayer orders of the input path and sensor records: 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR.
std::array<Cfa, 16> bayerPattern(unsigned order);

struct Mosaic {
  int width = 0;
  int height = 0;
  // Colour of the site at (x, y): pattern[(y % 4) * 4 + x % 4]. A Bayer pattern repeats
  // every two sites, an RGB-IR pattern every four.
  std::array<Cfa, 16> pattern = bayerPattern(0);
  float blackLevel = 0;     // pedestal still present in the data, codes
  float whiteLevel = 0;     // clip level, codes (1023 for a 10-bit sensor)
  std::vector<float> data;  // width * height, row-major
  // Two-exposure HDR modes: the short exposure of the same frame, same size, pattern and
  // levels; exposureRatio is long exposure time over short. Empty for a linear sensor mode;
  // the HDR merge empties it.
  std::vector<float> shortData;
  float exposureRatio = 1;
  // Gains the ISP has applied to each colour since the sensor (digital gain, white balance),
  // indexed R, G, B, IR: a block that undoes a mix of colours the sensor made (infrared
  // removal) works on the signal as the sensor gave it.
  std::array<float, 4> colourGain = {1, 1, 1, 1};

  Cfa colourAt(int x, int y) const { return pattern[(y & 3) * 4 + (x & 3)]; }
  float at(int x, int y) const { return data[static_cast<size_t>(y) * width + x]; }
  float &at(int x, int y) { return data[static_cast<size_t>(y) * width + x]; }

  // Geometry and levels without the values.
  struct Shape {
    int width, height;
    std::array<Cfa, 16> pattern;
    float blackLevel, whiteLevel, exposureRatio;
    size_t values, shortValues;
    std::array<float, 4> colourGain;
  };
  // This mosaic's shape; assigned to a mosaic it gives that one the same geometry and levels,
  // data and shortData sized like these (shortData empty if this has none), values not set.
  Shape sameShape() const;
  Mosaic &operator=(const Shape &shape);
};

struct RgbImage {
  int width = 0;
  int height = 0;
  bool encoded = false;     // gamma-encoded for display (after the gamma stage)
  std::vector<float> data;  // width * height * 3, interleaved R, G, B, row-major

  const float *pixel(int x, int y) const { return &data[(static_cast<size_t>(y) * width + x) * 3]; }
  float *pixel(int x, int y) { return &data[(static_cast<size_t>(y) * width + x) * 3]; }

  struct Shape {
    int width, height;
    bool encoded;
    size_t values;
  };
  // This image's shape; assigned to an image it gives that one the same size and encoding,
  // data sized, values not set.
  Shape sameShape() const;
  RgbImage &operator=(const Shape &shape);
};

// What a stage may know besides its input and its block's state.
struct FrameContext {
  uint64_t frameNumber = 0;
  int bitDepth = 10;       // of the sensor
  float sensorGain = 1;    // analog x sensor digital gain of this frame (noise scales with it)
  float exposureTime = 0;  // seconds, long exposure
};

// The previous output of a temporal stage, kept by the pipeline between frames.
struct TemporalHistory {
  RgbImage previous;
  uint64_t frameNumber = 0;
  bool valid = false;
};

// Runs work(first, last) over the row range [0, rows) split into bands of whole rows, on every
// core, and returns when all are done; work must only write rows in its band. Bands are at
// least 32 rows and a few per core, in no particular order; a call made while another is
// running (from another thread, or from inside work) runs its whole range on the caller.
void parallelRows(int rows, const std::function<void(int first, int last)> &work);

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_FRAME_H
