// Demosaic ("DMSC_3") and edge enhancement ("EE_3"): which keys reach the hardware, the
// sharpening-curve entries that the curve indexes select, and values that need more than a
// plain move.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace {

struct Block {
  const char *category;
  const char *readBack;
  const char *push;
};

constexpr Block kBlocks[] = {
    {"DMSC_3", "TDriverDeMosaic_3_statistics(1)\n", "TDriverDeMosaic_3_process(0)\n"},
    {"EE_3", "TDriverEdgeEnhance_3_statistics(1)\n", "TDriverEdgeEnhance_3_process(0)\n"},
};

const tshell::KeyTable *keysOf(const char *category) {
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    if (strcmp(kShellCategories[i].name, category) == 0) return kShellCategories[i].keys;
  }
  return nullptr;
}

std::string command(const std::string &category, const std::string &key,
                    const std::string &current = "") {
  std::string text = R"({"category":")" + category + R"(","key":")" + key + '"';
  if (!current.empty()) text += R"(,"value":{"current":)" + current + '}';
  return text + '}';
}

// Every sharpening-curve member of the record, entry by entry, and the two indexes.
std::vector<int> curves(const TDatabaseDeMosaic_3 &record) {
  std::vector<int> values = {record.sharpenCurveIndex, record.sharpenLineCurveIndex};
  for (const auto &c : record.sharpenCurve) {
    values.insert(values.end(), {c.layerT1, c.layerT2Shift, c.layer0T3, c.layerT4Shift, c.layerR1,
                                 c.layerR2, c.layerR3});
  }
  for (const auto &c : record.sharpenLineCurve) {
    values.insert(values.end(), {c.strength, c.t1, c.shift1, c.r1, c.r2});
  }
  return values;
}

class DemosaicEdgeTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }

  // The "current" that a single read answers, as JSON text; the whole response when the
  // read raised a message.
  static std::string currentOf(const std::string &response) {
    const std::string marker = R"("value":{"current":)";
    const size_t start = response.find(marker);
    if (start == std::string::npos || response.find("\"message\"") != std::string::npos)
      return "<" + response + ">";
    return response.substr(start + marker.size(), response.size() - start - marker.size() - 2);
  }

  std::string read(const std::string &category, const std::string &key) {
    return currentOf(send(command(category, key)).response);
  }
};

// Reading "isStatistics" or "state" never reads the block back, writing "isStatistics" never
// pushes it; every other key reads back on a read and pushes on a write, once per request.
TEST_F(DemosaicEdgeTest, HardwareIsReachedByEveryKeyButStatisticsFlagAndState) {
  for (const Block &block : kBlocks) {
    const tshell::KeyTable *table = keysOf(block.category);
    ASSERT_NE(table, nullptr) << block.category;
    std::string reads;
    std::string writes;
    for (size_t k = 0; k < table->count; ++k) {
      const std::string key = table->rows[k].key;
      const Exchange read = send(command(block.category, key));
      const bool flag = key == "isStatistics";
      EXPECT_EQ(read.journal, flag || key == "state" ? "" : block.readBack) << key;
      const std::string value = currentOf(read.response);
      const Exchange write = send(command(block.category, key, value));
      EXPECT_EQ(write.journal, flag ? "" : block.push) << key;
      EXPECT_EQ(write.response, command(block.category, key)) << key;
      reads += (k ? "," : "") + command(block.category, key);
      writes += (k ? "," : "") + command(block.category, key, value);
    }
    EXPECT_EQ(send("[" + reads + "]").journal, block.readBack) << block.category;
    EXPECT_EQ(send("[" + writes + "]").journal, block.push) << block.category;
  }
}

TEST_F(DemosaicEdgeTest, CurveKeysAddressTheEntryTheirOwnIndexSelects) {
  void *stored = nullptr;
  ASSERT_EQ(TDatabase_query(database_, "DMSC_3", &stored), TCOMMON_SUCCESS);
  const auto &record = *static_cast<const TDatabaseDeMosaic_3 *>(stored);
  const TDatabaseDeMosaic_3 defaults = record;

  send(command("DMSC_3", "sharpenCurveIndex", "2"));
  EXPECT_EQ(read("DMSC_3", "sharpenCurve:layerT1"),
            std::to_string(defaults.sharpenCurve[2].layerT1));
  send(request({"DMSC_3/sharpenCurve:layerR1=777", "DMSC_3/sharpenLineCurve:r1=55"}));
  EXPECT_EQ(read("DMSC_3", "sharpenCurve:layerR1"), "777");
  TDatabaseDeMosaic_3 expected = defaults;
  expected.sharpenCurveIndex = 2;
  expected.sharpenCurve[2].layerR1 = 777;
  expected.sharpenLineCurve[0].r1 = 55;  // the line curves stay on their own entry
  EXPECT_EQ(curves(record), curves(expected));

  send(request({"DMSC_3/sharpenLineCurveIndex=3", "DMSC_3/sharpenLineCurve:shift1=7"}));
  expected.sharpenLineCurveIndex = 3;
  expected.sharpenLineCurve[3].shift1 = 7;
  EXPECT_EQ(curves(record), curves(expected));

  // An index past the table is kept, but the curve keys refuse to follow it.
  send(request({"DMSC_3/sharpenCurveIndex=3", "DMSC_3/sharpenLineCurveIndex=4"}));
  EXPECT_EQ(read("DMSC_3", "sharpenCurveIndex"), "3");
  EXPECT_EQ(read("DMSC_3", "sharpenLineCurveIndex"), "4");
  expected.sharpenCurveIndex = 3;
  expected.sharpenLineCurveIndex = 4;
  for (const char *key : {"sharpenCurve:layerR1", "sharpenCurve:layerR3", "sharpenLineCurve:t1",
                          "sharpenLineCurve:r2"}) {
    const std::string refused = command("DMSC_3", key);
    const std::string answer =
        refused.substr(0, refused.size() - 1) + R"(,"message":["Shell: Out of range"]})";
    EXPECT_EQ(send(command("DMSC_3", key)).response, answer);
    EXPECT_EQ(send(command("DMSC_3", key, "9")).response, answer);
  }
  EXPECT_EQ(curves(record), curves(expected));
}

TEST_F(DemosaicEdgeTest, NegativeNumbersKeepTheirSignOnlyInSignedFields) {
  const struct {
    const char *category;
    const char *key;
    const char *written;
    const char *readBack;
  } cases[] = {
      {"DMSC_3", "cac:centerHOffs", "-20", "-20"},
      {"DMSC_3", "cac:centerVOffs", "-32768", "-32768"},
      {"DMSC_3", "cornerLowTh", "-1", "65535"},
      {"DMSC_3", "sharpenCurve:layerT2Shift", "-1", "255"},
      {"EE_3", "cbDownThreshold", "-100", "-100"},
      {"EE_3", "yDownThreshold", "-100", "65436"},
  };
  for (const auto &c : cases) {
    send(command(c.category, c.key, c.written));
    EXPECT_EQ(read(c.category, c.key), c.readBack) << c.category << "/" << c.key;
  }
}

TEST_F(DemosaicEdgeTest, KeysMatchOnlyInFull) {
  for (const char *key : {"sharpenCurve:", "sharpenCurve:layerR", "sharpenCurve:r1",
                          "sharpenLineCurve:layerR1", "cac:", "cac:centerHOffset"}) {
    EXPECT_NE(send(command("DMSC_3", key, "1"))
                  .response.find("DMSC_3/" + std::string(key) + " is never registered"),
              std::string::npos)
        << key;
  }
}

}  // namespace
