// What the simulated camera looks at, in linear light, before the lens.
//
// The chart scene is a board under one light: a 24-patch colour chart with the published
// colours, a grey ramp, a Siemens star to focus on, a uniform grey area, two lamps and a
// specular highlight that are far brighter than the board, on a dark grey background. The flat
// scene is the uniform grey alone, filling the frame. Both are drawn analytically at whatever
// size the sensor asks for, so the chart keeps its place and proportions at any frame size.
//
// Radiance is given as the sensor's colour channels see it: R, G and B through the colour
// filters (a 3 x 3 response to linear sRGB, so the camera's colours are not the display's),
// and near infrared for sensors with infrared sites. The unit is the sensor's: radiance 1 reaches
// full scale above black at 20 ms with unity gain. Under the nominal lighting a perfect white
// gives G = kNominalWhite, whatever the colour temperature; R and B follow the light's colour.
#ifndef T_DRIVER_CAMERA_SCENE_H
#define T_DRIVER_CAMERA_SCENE_H

#include <array>
#include <vector>

#include "sensor.h"

namespace tcamera {

// G radiance of a perfect white under the chart's nominal lighting.
constexpr double kNominalWhite = 1.5;
// Radiance of the lamps and peak of the highlight, in multiples of a perfect white.
constexpr double kLampLevel = 12;
constexpr double kHighlightLevel = 3;
// Reflectance of the flat area and of the flat scene.
constexpr double kFlatReflectance = 0.45;

// A colour as the sensor's channels see it.
struct CameraColour {
  double r, g, b, ir;
};

// The colour filters' response: camera R, G, B = matrix x linear sRGB (D65 white), row-major.
// Broad, overlapping filters with less red and blue sensitivity than green: under 5000 K a grey
// surface gives R/G about 0.6 and B/G about 0.65, and the colours need a correction matrix.
const std::array<double, 9> &cameraColourResponse();

// The response to a perfect white under the nominal lighting of the given colour temperature
// (Planckian light, 1667 K to 25000 K).
CameraColour illuminantResponse(double kelvin);

// The response to colour-chart patch 0..23 (row by row from dark skin) under the same light.
CameraColour chartPatchResponse(int patch, double kelvin);

// The response to any surface under the nominal lighting of the given colour temperature:
// camera R, G, B = matrix x the surface's reflectance as linear sRGB (1, 1, 1 a perfect white),
// row-major. For pictures handed to the sensor in place of the chart.
std::array<double, 9> surfaceResponseMatrix(double kelvin);

// Radiance planes of a scene: R, G, B and, when asked for, infrared (else left empty).
struct ScenePlanes {
  int width = 0, height = 0;
  std::array<std::vector<float>, 4> plane;
};

// Draws the scene at width x height under the light of the given colour temperature.
void renderScene(SceneKind kind, double kelvin, bool infrared, int width, int height,
                 ScenePlanes &out);

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_SCENE_H
