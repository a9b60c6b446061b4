// Noise reduction (2DNR_6, 3DNR_4) and wide dynamic range (WDR_5_2_1): when their keys reach
// the hardware, and how their integer tables and doubles take partial and over-long writes.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "shell_fixture.h"

namespace {

class NoiseWdrTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }

  // Sends the items ("CAT/key" reads, "CAT/key=<json>" writes) as one request.
  Exchange sendItems(const std::vector<std::string> &items) {
    std::string text;
    for (const std::string &item : items) {
      const std::string one = request({item.c_str()});
      text += (text.empty() ? "[" : ",") + one.substr(1, one.size() - 2);
    }
    return send(text + "]");
  }

  // The "current" that a read of "CAT/key" answers, as JSON text.
  std::string current(const std::string &item) {
    const std::string response = send(request({item.c_str()})).response;
    const std::string marker = R"("value":{"current":)";
    const size_t start = response.find(marker);
    if (start == std::string::npos) return "<" + response + ">";
    return response.substr(start + marker.size(), response.size() - 3 - start - marker.size());
  }
};

// A JSON table of rows x columns whose element [r][c] is element(r, c).
std::string table(int rows, int columns, const std::function<int(int, int)> &element) {
  std::string text = "[";
  for (int r = 0; r < rows; ++r) {
    text += r ? ",[" : "[";
    for (int c = 0; c < columns; ++c) text += (c ? "," : "") + std::to_string(element(r, c));
    text += "]";
  }
  return text + "]";
}

TEST_F(NoiseWdrTest, StatisticsFlagAndStateBypassTheHardwareOtherKeysBatch) {
  const struct {
    std::string category;
    std::string driver;
    std::string key, value, other, otherValue;  // two keys of the block with a value each
  } blocks[] = {
      {"2DNR_6", "TDriver2DNoiseReduction_6", "movingDetailThresh", "[[1,2,3]]", "lumaCurveX",
       "[5]"},
      {"3DNR_4", "TDriver3DNoiseReduction_4", "noiseModelA", "0.5", "blsExp", "[64]"},
      {"WDR_5_2_1", "TDriverWideDynamicRange_5_2_1", "flatLevelInc", "[[1]]", "lightRedThrLog",
       "[1.5]"},
  };
  for (const auto &b : blocks) {
    const std::string c = b.category + "/";
    const std::string readBack = b.driver + "_statistics(1)\n";
    const std::string push = b.driver + "_process(0)\n";
    const struct {
      std::vector<std::string> items;
      std::string journal;
    } cases[] = {
        {{c + "isStatistics", c + "state"}, ""},
        {{c + "isStatistics=true"}, ""},
        {{c + "state=0"}, push},
        {{c + b.key, c + b.other, c + b.key}, readBack},
        {{c + b.key + "=" + b.value, c + b.other + "=" + b.otherValue, c + "state=1"}, push},
    };
    for (const auto &one : cases) {
      EXPECT_EQ(sendItems(one.items).journal, one.journal) << one.items.front();
    }
  }
  // Each block has its own hooks: moving between blocks reads and pushes each in turn.
  EXPECT_EQ(sendItems({"WDR_5_2_1/contrast", "3DNR_4/noiseLevel", "WDR_5_2_1/strength"}).journal,
            "TDriverWideDynamicRange_5_2_1_statistics(1)\nTDriver3DNoiseReduction_4_statistics(1)\n"
            "TDriverWideDynamicRange_5_2_1_statistics(1)\n");
  EXPECT_EQ(sendItems({"2DNR_6/blendSlope=1", "3DNR_4/noiseModelB=1"}).journal,
            "TDriver2DNoiseReduction_6_process(0)\nTDriver3DNoiseReduction_4_process(0)\n");
}

// Tables take what fits per row: short rows and missing rows keep their values, extra rows
// and columns are dropped, and integers are cut to the element's width.
TEST_F(NoiseWdrTest, TablesTakeWhatFitsRowByRow) {
  const std::string base23 = "[[10,11,12],[13,14,15]]";
  const std::string zeros = table(4, 17, [](int, int) { return 0; });
  const struct {
    std::string key;
    std::vector<std::string> writes;  // applied in order, each in a request of its own
    std::string expected;
  } cases[] = {
      {"2DNR_6/movingDetailThresh", {base23, "[[1,2,3]]"}, "[[1,2,3],[13,14,15]]"},
      {"2DNR_6/movingDetailThresh", {base23, "[[1],[4,5,6,7],[8,8,8]]"}, "[[1,11,12],[4,5,6]]"},
      {"2DNR_6/staticDetailClipThresh", {base23, "[[70000],[]]"}, "[[4464,11,12],[13,14,15]]"},
      {"2DNR_6/staticDetailBoost",
       {base23, "[[0.5],[2,3,4,5],[9]]"},
       "[[0.5,11.0,12.0],[2.0,3.0,4.0]]"},
      {"WDR_5_2_1/flatLevelInc",
       {zeros, "[[1,2]]"},
       table(4, 17, [](int r, int c) { return r == 0 && c < 2 ? c + 1 : 0; })},
      {"WDR_5_2_1/flatLevelInc",
       {zeros, table(5, 18, [](int r, int c) { return r + c == 0 ? 256 : r * 18 + c; })},
       table(4, 17, [](int r, int c) { return r + c == 0 ? 0 : r * 18 + c; })},
  };
  for (const auto &one : cases) {
    for (const std::string &value : one.writes) sendItems({one.key + "=" + value});
    EXPECT_EQ(current(one.key), one.expected) << one.key << " after " << one.writes.back();
  }
}

// The noise model keeps double precision; the spatial block's floats do not.
TEST_F(NoiseWdrTest, DoublesKeepTheirPrecision) {
  sendItems({"3DNR_4/noiseModelA=0.1", "3DNR_4/vstFactor=1e-40", "2DNR_6/vstFactor=0.1"});
  EXPECT_EQ(current("3DNR_4/noiseModelA"), "0.1");
  EXPECT_EQ(current("3DNR_4/vstFactor"), "1e-40");
  EXPECT_EQ(current("2DNR_6/vstFactor"), "0.10000000149011612");
}

}  // namespace
