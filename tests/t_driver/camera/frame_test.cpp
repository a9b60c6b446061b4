#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "frame.h"

namespace tcamera {
namespace {

TEST(Frame, BayerOrdersPutEachColourWhereTheirNameSays) {
  const struct {
    unsigned order;
    Cfa topLeft, topRight, bottomLeft, bottomRight;
  } kCases[] = {
      {0, Cfa::kRed, Cfa::kGreenRed, Cfa::kGreenBlue, Cfa::kBlue},
      {1, Cfa::kGreenRed, Cfa::kRed, Cfa::kBlue, Cfa::kGreenBlue},
      {2, Cfa::kGreenBlue, Cfa::kBlue, Cfa::kRed, Cfa::kGreenRed},
      {3, Cfa::kBlue, Cfa::kGreenBlue, Cfa::kGreenRed, Cfa::kRed},
  };
  for (const auto &c : kCases) {
    Mosaic mosaic;
    mosaic.pattern = bayerPattern(c.order);
    for (int y = 0; y < 6; y += 2)
      for (int x = 0; x < 6; x += 2) {
        EXPECT_EQ(mosaic.colourAt(x, y), c.topLeft) << c.order;
        EXPECT_EQ(mosaic.colourAt(x + 1, y), c.topRight) << c.order;
        EXPECT_EQ(mosaic.colourAt(x, y + 1), c.bottomLeft) << c.order;
        EXPECT_EQ(mosaic.colourAt(x + 1, y + 1), c.bottomRight) << c.order;
      }
  }
}

TEST(Frame, ParallelRowsCoversEveryRowExactlyOnce) {
  for (const int rows : {0, 1, 31, 64, 1080}) {
    std::vector<std::atomic<int>> seen(rows);
    parallelRows(rows, [&](int first, int last) {
      for (int row = first; row < last; ++row) seen[row]++;
    });
    for (int row = 0; row < rows; ++row) EXPECT_EQ(seen[row].load(), 1) << rows << " " << row;
  }
}

}  // namespace
}  // namespace tcamera
