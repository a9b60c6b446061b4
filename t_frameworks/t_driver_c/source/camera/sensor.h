// The image sensor of the simulated camera and the test chart it looks at.
//
// captureSensor renders one raw frame: the scene in linear light (scene.h), seen through the
// lens (vignetting towards the corners, blur away from the in-focus motor position), sampled
// by the colour filter array, scaled by exposure time x analog gain, with photon shot noise and
// read noise seeded by the frame number, a black pedestal, a fixed set of hot and dead sites and
// clipping at the bit depth. Chart radiance 1 reaches full scale above black at 20 ms with unity
// gain; the lens is in focus at motor position 400. Lux scales the whole scene, lamps included.
//
// Noise: 6000 electrons make full scale at unity gain; read noise is 3 electrons before the
// analog gain and 0.6 codes (10-bit) after it (sensorNoiseVariance). Noise is drawn from a hash
// of (frame number, site), so frames are reproducible and independent of each other.
//
// What shapes a frame apart from exposure, gain, lux and noise (scene, light, size, lens
// position, colour filter array) is rendered once and kept for the next frames; a frame then
// costs one pass over its sites.
#ifndef T_DRIVER_CAMERA_SENSOR_H
#define T_DRIVER_CAMERA_SENSOR_H

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "colour_chart.h"
#include "frame.h"

namespace tcamera {

enum class SceneKind { kChart, kFlat };

// Largest frame the sensor delivers; larger input rectangles are cut down to it.
constexpr int kMaxWidth = 4096, kMaxHeight = 3072;

// A picture handed to the camera in place of the chart (frame injection): the reflectance of
// each pixel as linear sRGB (1, 1, 1 a perfect white), interleaved R, G, B, row-major. The sensor
// photographs it as it would the chart: under the same light, through the same lens, filters,
// exposure, noise and defects.
struct InjectedPicture {
  int width = 0, height = 0;
  std::vector<float> rgb;
};

struct SensorSettings {
  int width = 1920, height = 1080;  // clamped to [16, kMax*] and to even sizes by captureSensor
  unsigned bayerOrder = 0;          // 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR
  int bitDepth = 10;                // 10 or 12
  double exposureTime = 0.01;       // seconds
  double analogGain = 1;
  double lensPosition = 512;  // focus motor position
  bool twoExposure = false;   // two-exposure HDR mode: also deliver the short exposure
                              // (Mosaic::shortData)
  double exposureRatio = 16;  // long over short exposure time
  bool rgbIr = false;         // RGB-IR 4x4 colour filter array with infrared sites
  SceneKind scene = SceneKind::kChart;
  double lux = 1;                  // scene brightness relative to the chart's nominal lighting
                                   // (0 = lens cap)
  double illuminantKelvin = 5000;  // colour temperature of the light
  bool noise = true;               // shot and read noise (off only for tests that need exact
                                   // levels)
  bool defects = true;             // hot and dead sites (off only for tests that read single
                                   // sites)
  // Set: the sensor looks at this picture instead of the scene, at the picture's size (width
  // and height above are ignored).
  std::shared_ptr<const InjectedPicture> picture;
};

// The raw frame number frameNumber as the sensor delivers it: same settings and number give
// the same frame, bit for bit.
Mosaic captureSensor(const SensorSettings &settings, uint64_t frameNumber);
// The same into raw, whose buffers are kept when they have the size already.
void captureSensor(const SensorSettings &settings, uint64_t frameNumber, Mosaic &raw);

// Pedestal in codes: 64 at 10 bits, 256 at 12.
float sensorBlackLevel(int bitDepth);
// Clip level in codes: 2^bitDepth - 1.
float sensorWhiteLevel(int bitDepth);

// The RGB-IR colour filter array: R G B G / G I G I / B G R G / G I G I, the order choosing
// where the frame starts in it (x shifted by order & 1, y by order >> 1 & 1). Greens that share
// lines with red and blue are kGreenRed, greens between infrared sites kGreenBlue.
std::array<Cfa, 16> rgbIrPattern(unsigned order);

// A site that does not respond to light: a hot site reads near the top of the range whatever
// the exposure, a dead site reads black (with read noise). The same sites in every frame of a
// given size.
struct SensorDefect {
  int x, y;
  bool hot;
};
std::vector<SensorDefect> sensorDefects(int width, int height);

// Temporal noise variance (codes^2, rounding aside) of a site signalCodes above black: photon
// shot noise, read noise before the analog gain and converter noise after it.
double sensorNoiseVariance(int bitDepth, double analogGain, double signalCodes);

// Light reaching a site of the given colour relative to the centre of the frame, at radius 0
// (centre) to 1 (corner): cos^4 fall-off, green 58% at the corners, red and blue (the colour
// filters' angle dependence) a little less. The two greens of a Bayer quad also differ
// (crosstalk): Gr reads 1% above their mean and Gb 1% below at the centre, 2% at the corners.
double relativeIllumination(Cfa colour, double radius);

// Standard deviation (pixels) of the lens blur at a motor position for a frame height: the
// pixel aperture alone in focus, defocus growing with the distance from kInFocusPosition and
// scaled with the frame so that the chart looks the same at any size.
double focusBlurSigma(double lensPosition, int height);

// Lens position at which the chart is in focus.
constexpr double kInFocusPosition = 400;
// Exposure time x analog gain at which chart radiance 1 reaches full scale above black.
constexpr double kFullScaleExposure = 0.02;

// Where the chart's elements lie in a frame of the given size (pixels), for measuring units,
// tests and calibration.
struct Rect {
  int x, y, width, height;
};
struct ChartLayout {
  std::array<Rect, 24> patches;  // colour chart, row by row from dark skin to black
  Rect greyRamp;                 // dark (left) to bright (right)
  Rect focusTarget;              // Siemens star, centred in the rectangle
  Rect flatArea;                 // uniform mid grey
  std::array<Rect, 2> lamps;     // far above full scale at nominal exposure
  Rect highlight;                // specular reflection, above full scale
};
ChartLayout chartLayout(int width, int height);

// CIE L*a*b* (D50) reference of the 24 colour-chart patches, row by row from dark skin to
// black (published values).
using Lab = colour::Lab;
const std::array<Lab, 24> &chartReferenceLab();

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_SENSOR_H
