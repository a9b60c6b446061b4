// Small synthetic images for the stage tests of the simulated camera.
#ifndef TESTS_T_DRIVER_CAMERA_TEST_IMAGES_H
#define TESTS_T_DRIVER_CAMERA_TEST_IMAGES_H

#include <cstdint>
#include <functional>
#include <memory>
#include <random>

#include "frame.h"
#include "t_database.h"

namespace tcamera::testing {

// The block's record as the built-in database holds it (zeros if the database cannot open).
template <typename Record>
Record builtInRecord(const char *category) {
  TDatabase *database = nullptr;
  Record state{};
  void *record = nullptr;
  if (TDatabase_open(nullptr, &database) == 0 && TDatabase_query(database, category, &record) == 0)
    state = *static_cast<Record *>(record);
  TDatabase_close(&database);
  return state;
}

// A Bayer mosaic (RGGB unless order says otherwise) of a 10-bit sensor with pedestal 64,
// each site's value given by level(x, y, colour) in codes above black.
inline Mosaic makeMosaic(int width, int height, const std::function<float(int, int, Cfa)> &level,
                         unsigned order = 0) {
  Mosaic mosaic;
  mosaic.width = width;
  mosaic.height = height;
  mosaic.pattern = bayerPattern(order);
  mosaic.blackLevel = 64;
  mosaic.whiteLevel = 1023;
  mosaic.data.resize(static_cast<size_t>(width) * height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) mosaic.at(x, y) = 64 + level(x, y, mosaic.colourAt(x, y));
  return mosaic;
}

// A linear RGB image with each pixel given by colour(x, y, channel).
inline RgbImage makeRgb(int width, int height, const std::function<float(int, int, int)> &colour) {
  RgbImage image;
  image.width = width;
  image.height = height;
  image.data.resize(static_cast<size_t>(width) * height * 3);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < 3; ++c) image.pixel(x, y)[c] = colour(x, y, c);
  return image;
}

// Gaussian noise of the given deviation, the same for the same seed.
inline std::function<float()> noiseSource(float deviation, uint32_t seed) {
  auto engine = std::make_shared<std::mt19937>(seed);
  auto normal = std::make_shared<std::normal_distribution<float>>(0.0f, deviation);
  return [engine, normal] { return (*normal)(*engine); };
}

}  // namespace tcamera::testing

#endif  // TESTS_T_DRIVER_CAMERA_TEST_IMAGES_H
