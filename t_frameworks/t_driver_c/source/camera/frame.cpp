// Image buffer helpers and the row-band worker of the simulated camera.
#include "frame.h"

#include <algorithm>
#include <thread>

namespace tcamera {

std::array<Cfa, 16> bayerPattern(unsigned order) {
  // Top-left 2 x 2 of each order, then tiled over 4 x 4.
  static constexpr std::array<std::array<Cfa, 4>, 4> kOrders = {{
      {Cfa::kRed, Cfa::kGreenRed, Cfa::kGreenBlue, Cfa::kBlue},   // RGGB
      {Cfa::kGreenRed, Cfa::kRed, Cfa::kBlue, Cfa::kGreenBlue},   // GRBG
      {Cfa::kGreenBlue, Cfa::kBlue, Cfa::kRed, Cfa::kGreenRed},   // GBRG
      {Cfa::kBlue, Cfa::kGreenBlue, Cfa::kGreenRed, Cfa::kRed},   // BGGR
  }};
  const auto &quad = kOrders[order & 3];
  std::array<Cfa, 16> pattern{};
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) pattern[y * 4 + x] = quad[(y & 1) * 2 + (x & 1)];
  return pattern;
}

Mosaic Mosaic::sameShape() const {
  Mosaic shape;
  shape.width = width;
  shape.height = height;
  shape.pattern = pattern;
  shape.blackLevel = blackLevel;
  shape.whiteLevel = whiteLevel;
  shape.exposureRatio = exposureRatio;
  shape.data.resize(data.size());
  shape.shortData.resize(shortData.size());
  return shape;
}

RgbImage RgbImage::sameShape() const {
  RgbImage shape;
  shape.width = width;
  shape.height = height;
  shape.encoded = encoded;
  shape.data.resize(data.size());
  return shape;
}

void parallelRows(int rows, const std::function<void(int first, int last)> &work) {
  constexpr int kMinRowsPerBand = 32;
  const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  const int bands = std::clamp(rows / kMinRowsPerBand, 1, cores);
  if (bands == 1) {
    work(0, rows);
    return;
  }
  std::vector<std::thread> helpers;
  helpers.reserve(bands - 1);
  for (int band = 1; band < bands; ++band)
    helpers.emplace_back(work, rows * band / bands, rows * (band + 1) / bands);
  work(0, rows / bands);
  for (auto &helper : helpers) helper.join();
}

}  // namespace tcamera
