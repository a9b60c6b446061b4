// How tshell lays values out for a terminal: each shape of value the shell answers, from its
// JSON text to the lines printed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "display.h"
#include "json_tree.h"

namespace {

using tshell_cli::alignColumns;
using tshell_cli::JsonDocument;
using tshell_cli::layoutValue;
using tshell_cli::shortenSingleFloats;

std::vector<std::string> layout(const std::string &json, size_t width) {
  JsonDocument document;
  std::string error;
  EXPECT_TRUE(document.parse(json, &error)) << error;
  return layoutValue(document.root(), width);
}

TEST(DisplayTest, EachShapeOfValueHasItsLayout) {
  struct Case {
    const char *name;
    const char *json;
    size_t width;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"scalar", "1.5", 80, {"1.5"}},
      {"text without quotes", "\"0x5A170102\"", 80, {"0x5A170102"}},
      {"short array on one line", "[1,2,3]", 80, {"[1, 2, 3]"}},
      {"empty array", "[]", 80, {"[]"}},
      {"long array wrapped under the index of each line's first element",
       "[1,2,3,4,5,6,7,8,9,10,11]",
       20,
       {"[0]   1   2   3   4", "[4]   5   6   7   8", "[8]   9  10  11"}},
      {"matrix row by row, numbers right-aligned",
       "[[1,20],[300,4]]",
       80,
       {"[0]    1  20", "[1]  300   4"}},
      {"matrix wider than the line: each row wrapped under its index",
       "[[1,2,3,4,5,6],[7,8,9,10,11,12]]",
       18,
       {"[0]", "  [0]   1   2   3", "  [3]   4   5   6", "[1]", "  [0]   7   8   9",
        "  [3]  10  11  12"}},
      {"table of rows under a header of their members",
       R"([{"x":1,"name":"a"},{"x":20,"name":"bb"}])",
       80,
       {"#   x  name", "0   1  a", "1  20  bb"}},
      {"object one member a line, nested arrays below their name",
       R"({"luma":183.5,"count":2304,"mean":[[1,2],[3,4]]})",
       80,
       {"luma   183.5", "count  2304", "mean:", "  [0]  1  2", "  [1]  3  4"}},
      {"3-D array as one block per outer element",
       "[[[1,2],[3,4]],[[5,6],[7,8]]]",
       80,
       {"[0]", "  [0]  1  2", "  [1]  3  4", "[1]", "  [0]  5  6", "  [1]  7  8"}},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(layout(c.json, c.width), c.lines) << c.name;
  }
}

TEST(DisplayTest, ColumnsOfTextAreLeftAlignedAndDashesStandForNone) {
  const std::vector<std::vector<std::string>> rows = {
      {"KEY", "SHAPE", "COUNT", "NOTE"},
      {"gain", "4", "10", ""},
      {"curve", "20x64", "-", "selected"},
  };
  EXPECT_EQ(alignColumns(rows, "  "), (std::vector<std::string>{
                                          "  KEY    SHAPE  COUNT  NOTE",
                                          "  gain   4         10",
                                          "  curve  20x64      -  selected",
                                      }));
}

TEST(DisplayTest, SingleFloatsShowTheirShortestText) {
  struct Case {
    const char *json;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"[1.6200000047683716,-0.44999998807907104,1.0,1e-07]", {"[1.62, -0.45, 1.0, 1e-07]"}},
      {"[[0.10000000149011612,2.0],[768.0,-3.0]]", {"[0]    0.1   2.0", "[1]  768.0  -3.0"}},
      {"0.30000001192092896", {"0.3"}},
  };
  for (const Case &c : cases) {
    JsonDocument document;
    std::string error;
    ASSERT_TRUE(document.parse(c.json, &error)) << error;
    shortenSingleFloats(document.root());
    EXPECT_EQ(layoutValue(document.root(), 80), c.lines) << c.json;
  }
}

}  // namespace
