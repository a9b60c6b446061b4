// The gain-following tuning tables: the row a client selects lives in the database, so it
// outlasts the request and is shared by every shell on that database; indexes outside the
// tables are refused; inline integer tables, flags, microseconds and window counts behave
// as tuning clients rely on; and only the live exposure and colour-temperature values are
// read back from the hardware.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace {

const char *const kTables[] = {"ABLS", "ACP_1_2", "ACNR_2_2", "AGC_2"};

std::string single(const std::string &category, const std::string &key,
                   const std::string &current = "") {
  std::string text = R"({"category":")" + category + R"(","key":")" + key + '"';
  if (!current.empty()) text += R"(,"value":{"current":)" + current + '}';
  return text + '}';
}

// The "current" of a single read on shell as JSON text, or the whole response when the
// read answered nothing.
std::string readOn(TShell *shell, const std::string &category, const std::string &key) {
  const char *response = nullptr;
  if (TShell_process(shell, single(category, key).c_str(), &response) != TCOMMON_SUCCESS)
    return "<failed>";
  const std::string answer = response;
  const std::string marker = R"("value":{"current":)";
  const size_t start = answer.find(marker);
  if (start == std::string::npos) return answer;
  const size_t end = answer.find(R"(},"message")", start);
  return answer.substr(start + marker.size(), (end == std::string::npos ? answer.size() - 2 : end) -
                                                  start - marker.size());
}

// The numbers of a flat JSON array text.
std::vector<double> numbers(std::string text) {
  std::vector<double> result;
  for (char &c : text) c = (c == '[' || c == ']' || c == ',') ? ' ' : c;
  const char *at = text.c_str();
  for (char *end = nullptr;; at = end) {
    const double number = std::strtod(at, &end);
    if (end == at) return result;
    result.push_back(number);
  }
}

// A JSON array of count copies of element.
std::string repeated(const std::string &element, int count) {
  std::string text = "[";
  for (int i = 0; i < count; ++i) text += (i ? "," : "") + element;
  return text + "]";
}

class AutoTableTest : public ShellTest {
 protected:
  std::string read(const std::string &category, const std::string &key) {
    return readOn(shell_, category, key);
  }
  std::string write(const std::string &category, const std::string &key,
                    const std::string &current) {
    return send(single(category, key, current)).response;
  }
};

TEST_F(AutoTableTest, SelectedRowOutlastsTheRequestAndIsSharedBetweenShells) {
  std::vector<std::string> written;
  for (const std::string category : kTables) {
    SCOPED_TRACE(category);
    const std::string defaults = read(category, ":gains");  // row 0
    ASSERT_EQ(defaults.front(), '[') << defaults;
    // The index written first in a request already moves the row keys after it.
    send(request({(category + "/tableIndex=3").c_str(), (category + "/:gains=[7.5]").c_str()}));
    written.push_back("[7.5" + defaults.substr(defaults.find(',')));
    EXPECT_EQ(read(category, "tableIndex"), "3");
    EXPECT_EQ(read(category, ":gains"), written.back());
    write(category, "tableIndex", "0");
    EXPECT_EQ(read(category, ":gains"), defaults);
    write(category, "tableIndex", "3");
  }

  TShell *other = nullptr;
  void *handles[3] = {database_, driver_, logger_};
  ASSERT_EQ(TShell_open(handles, &other), TCOMMON_SUCCESS);
  for (size_t i = 0; i < std::size(kTables); ++i) {
    EXPECT_EQ(readOn(other, kTables[i], "tableIndex"), "3") << kTables[i];
    EXPECT_EQ(readOn(other, kTables[i], ":gains"), written[i]) << kTables[i];
  }
  TShell_close(&other);
}

TEST_F(AutoTableTest, WhiteBalanceTablesFollowTheirOwnIndexes) {
  const std::string row0 = read("AWB_4", ":grayPreference.grayBgain");
  write("AWB_4", "grayPreferenceIndex", "2");
  write("AWB_4", ":grayPreference.grayBgain", "[300,301]");
  write("AWB_4", ":lightWeightLevel.weight", "[0.25]");
  EXPECT_EQ(read("AWB_4", "lightWeightLevelIndex"), "0");
  const std::string row2 = read("AWB_4", ":grayPreference.grayBgain");
  EXPECT_EQ(row2, "[300,301" + row0.substr(row0.find(',', row0.find(',') + 1)));
  write("AWB_4", "grayPreferenceIndex", "0");
  EXPECT_EQ(read("AWB_4", ":grayPreference.grayBgain"), row0);
  write("AWB_4", "lightWeightLevelIndex", "1");
  EXPECT_EQ(numbers(read("AWB_4", ":lightWeightLevel.weight")).at(0), 1.0);
}

// Every index and a key of the row it selects.
struct IndexCase {
  const char *category;
  const char *index;
  const char *rowKey;
};
const IndexCase kIndexes[] = {
    {"ABLS", "tableIndex", ":bls"},
    {"ACP_1_2", "tableIndex", ":hue"},
    {"ACNR_2_2", "tableIndex", ":cnrEnable"},
    {"AGC_2", "tableIndex", ":curve"},
    {"AWB_4", "grayPreferenceIndex", ":grayPreference.grayBgain"},
    {"AWB_4", "lightWeightLevelIndex", ":lightWeightLevel.weight"},
    {"A2DNR_6", "tableIndex", ":sigmaOffset"},
    {"A3DNR_4", "tableIndex", ":tnrStrength"},
    {"AEE_3", "tableIndex", ":eeStrength"},
    {"AWDR_5_2_1", "tableIndex", ":lowStrength"},
    {"ADPCC", "tableIndex", ":outMode"},
};

TEST_F(AutoTableTest, IndexesOutsideTheTableAreRefusedAndNeverFollowed) {
  for (const IndexCase &c : kIndexes) {
    SCOPED_TRACE(std::string(c.category) + "/" + c.index);
    const std::string refused = std::string(R"(","message":["Shell: Out of range"]})");
    write(c.category, c.index, "4");
    void *stored = nullptr;
    uint64_t size = 0;
    ASSERT_EQ(TDatabase_query(database_, c.category, &stored), TCOMMON_SUCCESS);
    ASSERT_EQ(TDatabase_recordSize(c.category, &size), TCOMMON_SUCCESS);
    const std::string before(static_cast<const char *>(stored), size);
    for (const char *outside : {"10", "-1", "65536"}) {
      const Exchange answer = send(single(c.category, c.index, outside));
      EXPECT_EQ(answer.response,
                R"({"category":")" + std::string(c.category) + R"(","key":")" + c.index + refused);
      EXPECT_EQ(answer.journal, "");
      EXPECT_EQ(std::string(static_cast<const char *>(stored), size), before);
    }

    // A document may store any index: the row keys then refuse, reads and writes alike,
    // until the client selects a row again.
    const std::string document =
        std::string(R"({")") + c.category + R"(":{")" + c.index + R"(":12}})";
    ASSERT_EQ(TDatabase_parse(database_, document.c_str()), TCOMMON_SUCCESS)
        << TDatabase_lastError();
    EXPECT_EQ(read(c.category, c.index), "12");
    for (const std::string &answer :
         {send(single(c.category, c.rowKey)).response, write(c.category, c.rowKey, "[1]")}) {
      EXPECT_NE(answer.find("Shell: Out of range"), std::string::npos) << answer;
    }
    write(c.category, c.index, "1");
    EXPECT_EQ(read(c.category, c.rowKey).front(), '[');
  }
}

TEST_F(AutoTableTest, InlineTablesTakeWhatTheClientSentAndNoMore) {
  const std::string bls = read("ABLS", ":bls");
  write("ABLS", ":bls", "[[1,2,3,4,5]]");
  EXPECT_EQ(read("ABLS", ":bls"), "[[1,2,3,4]" + bls.substr(bls.find(']') + 1));
  write("ABLS", ":bls", "[]");
  write("ABLS", ":bls", "[[],[9]]");
  EXPECT_EQ(read("ABLS", ":bls"), "[[1,2,3,4],[9" + bls.substr(bls.find(',', bls.find("],") + 2)));

  // 21 curves of 70 points: the first 20 curves, their first 64 points.
  std::string curves = "[";
  std::string expected = "[";
  for (int k = 0; k < 21; ++k) {
    std::string curve = "[";
    for (int i = 0; i < 70; ++i) {
      curve += (i ? "," : "") + std::to_string(k * 100 + i);
      if (i == 63 && k < 20) expected += (k ? "," : "") + curve + "]";
    }
    curves += (k ? "," : "") + curve + "]";
  }
  write("AGC_2", ":curve", curves + "]");
  EXPECT_EQ(read("AGC_2", ":curve"), expected + "]");
  // An empty "value" of any kind reads the whole table.
  const std::string answer = send(R"({"category":"AGC_2","key":":curve","value":[]})").response;
  EXPECT_NE(answer.find(R"("value":{"current":)" + expected + "]}"), std::string::npos) << answer;

  // Flags hold 0 or 1 whatever integer the client sent.
  write("ACNR_2_2", ":cnrEnable", repeated("0", 20));
  write("ACNR_2_2", ":cnrEnable", "[2,0,-1]");
  EXPECT_EQ(read("ACNR_2_2", ":cnrEnable"), "[1,0,1" + repeated("0", 17).replace(0, 1, ","));
}

TEST_F(AutoTableTest, ExposureTimesAreSecondsInTheRecordAndMicrosecondsOnTheWire) {
  void *stored = nullptr;
  ASSERT_EQ(TDatabase_query(database_, "AE_4", &stored), TCOMMON_SUCCESS);
  auto *record = static_cast<TDatabaseAutoExposure_4 *>(stored);
  const float second = record->exposureTime[1];
  write("AE_4", "exposureTime", "[10000]");
  EXPECT_EQ(record->exposureTime[0], 0.01f);
  EXPECT_EQ(record->exposureTime[1], second);

  record->exposureTime[2] = 0.125f;
  const std::vector<double> wire = numbers(read("AE_4", "exposureTime"));
  ASSERT_EQ(wire.size(), 8u);
  EXPECT_EQ(wire[0], 10000.0);
  EXPECT_NEAR(wire[1], second * 1e6, 1e-3);
  EXPECT_EQ(wire[2], 125000.0);
}

TEST_F(AutoTableTest, WindowsFollowTheWindowCount) {
  const std::string window = "[0.5,0.25,0.125,0.0625,1.0]";
  for (const char *category : {"AE_4", "AWB_4"}) {
    SCOPED_TRACE(category);
    write(category, "roiNumber", "3");
    write(category, "roiWindow", repeated(window, 25));
    EXPECT_EQ(read(category, "roiWindow"), repeated(window, 3));
    write(category, "roiNumber", "0");
    EXPECT_EQ(read(category, "roiWindow"), "[]");
    EXPECT_NE(write(category, "roiNumber", "26").find("Shell: Out of range"), std::string::npos);
    EXPECT_EQ(read(category, "roiNumber"), "0");
    // Rows beyond the count were not written.
    write(category, "roiNumber", "4");
    EXPECT_NE(read(category, "roiWindow"), repeated(window, 4));
    // A document may store more windows than there are: only the 25 are served.
    const std::string document = std::string(R"({")") + category + R"(":{"roiNumber":200}})";
    ASSERT_EQ(TDatabase_parse(database_, document.c_str()), TCOMMON_SUCCESS);
    EXPECT_EQ(numbers(read(category, "roiWindow")).size(), 125u);
  }
  // The metering windows of the older interface always travel complete.
  EXPECT_EQ(numbers(read("AE_4", "expV3RoiWindow")).size(), 125u);
}

TEST_F(AutoTableTest, KeysAreMatchedWithTheirColonOrWithout) {
  const std::pair<const char *, const char *> kUnknown[] = {
      {"ACP_1_2", "gains"},
      {"ALSC_3", ":damping"},
      {"ALSC_3", "strength"},
      {"AGC_2", "curve"},
      {"ABLS", ":tableIndex"},
      {"AE_4", ":aGain"},
      {"AWB_4", "confoundPointD65"},
      {"AWB_4", "grayPreference.grayBgain"},
      {"A2DNR_6", "gains"},
      {"A2DNR_6", ":tableIndex"},
      {"A3DNR_4", ":nmK"},
      {"A3DNR_4", "tnrStrength"},
      {"AEE_3", "autoLevel"},
      {"AEE_3", ":gains"},
      {"AWDR_5_2_1", "contrast"},
      {"ADPCC", "setUse"},
      {"ADMSC_3", ":autoLevel"},
      {"ADMSC_3", "gains"},
      {"AF_4", ":mode"},
      {"AF_4", "tableIndex"},
      // The curve entries spell their third member layer0T3.
      {"ADMSC_3", "sharpenCurve0:layerT3"},
      {"ADMSC_3", "sharpenCurve1:layer0T3:"},
      {"ADMSC_3", "sharpenCurve3Index"},
      {"ADMSC_3", ":sharpenCurve0Index"},
  };
  for (const auto &[category, key] : kUnknown) {
    std::string expected = single(category, key);
    expected.insert(expected.size() - 1, std::string(R"(,"message":["Shell: )") + category + "/" +
                                             key + R"( is never registered"])");
    EXPECT_EQ(send(single(category, key)).response, expected);
  }
  write("ALSC_3", ":strength", "[0.5]");
  write("ALSC_3", "damping", "0.75");
  EXPECT_EQ(numbers(read("ALSC_3", ":strength")).at(0), 0.5);
  EXPECT_EQ(read("ALSC_3", "damping"), "0.75");
}

TEST_F(AutoTableTest, OnlyLiveExposureAndTemperatureValuesAreReadBack) {
  const std::set<std::string> kReadBack = {"AE_4/aGain", "AE_4/dGain", "AE_4/exposureTime",
                                           "AWB_4/awbTemWeight"};
  const std::set<std::string> kMine = {"ABLS",       "ACP_1_2", "ACNR_2_2", "AGC_2",   "ALSC_3",
                                       "AE_4",       "AWB_4",   "A2DNR_6",  "A3DNR_4", "ADMSC_3",
                                       "AWDR_5_2_1", "AEE_3",   "ADPCC",    "AF_4"};
  size_t served = 0;
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    const tshell::KeyTable *table = kShellCategories[i].keys;
    if (table == nullptr || !kMine.count(table->category)) continue;
    ++served;
    for (size_t k = 0; k < table->count; ++k) {
      const std::string name = std::string(table->category) + "/" + table->rows[k].key;
      const std::string journal = send(single(table->category, table->rows[k].key)).journal;
      if (!kReadBack.count(name)) {
        EXPECT_EQ(journal, "") << name;
      } else {
        EXPECT_EQ(journal, name[1] == 'E' ? "TDriverExposureControl_2_statistics(1)\n"
                                          : "TDriverWhiteBalance_1_1_statistics(1)\n")
            << name;
      }
    }
  }
  EXPECT_EQ(served, kMine.size());
  // Once the hardware can be read, one read-back serves the whole request.
  ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
  ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  EXPECT_EQ(send(request({"AE_4/aGain", "AE_4/dGain", "AE_4/exposureTime", "AE_4/setPoint",
                          "AWB_4/awbTemWeight", "AWB_4/mode", "AWB_4/awbTemWeight"}))
                .journal,
            "TDriverExposureControl_2_statistics(1)\nTDriverWhiteBalance_1_1_statistics(1)\n");

  // Each table pushes the hardware block it tunes.
  const std::pair<std::string, const char *> kPushes[] = {
      {"ABLS/:gains=[2]", "TDriverBlackLevelSubtraction_process(0)\n"},
      {"ACP_1_2/:hue=[2]", "TDriverColorProcess_1_2_process(0)\n"},
      {"ACNR_2_2/:textureMask=[2]", "TDriverColorNoiseReduction_2_2_process(0)\n"},
      {"AGC_2/tableIndex=2", "TDriverGammaCorrection_2_process(0)\n"},
      {"ALSC_3/autoLevel=2", "TDriverLensShadingCorrection_3_process(0)\n"},
      {"AE_4/exposureTime=[2]", "TDriverExposureControl_2_process(0)\n"},
      {"AWB_4/mode=2", "TDriverWhiteBalance_1_1_process(0)\n"},
      {"A2DNR_6/:vstFactor=[2]", "TDriver2DNoiseReduction_6_process(0)\n"},
      {"A3DNR_4/nmK=1.5", "TDriver3DNoiseReduction_4_process(0)\n"},
      {"AEE_3/:dciEnable=[1]", "TDriverEdgeEnhance_3_process(0)\n"},
      {"AWDR_5_2_1/:contrast=[1]", "TDriverWideDynamicRange_5_2_1_process(0)\n"},
      {"ADPCC/:setUse=[1]", "TDriverDefectPixelClusterCorrection_process(0)\n"},
      {"ADMSC_3/sharpenCurve2:layerT1=3", "TDriverDeMosaic_3_process(0)\n"},
      {"AF_4/weightWindow=[1]", "TDriverFocusControl_process(0)\n"},
  };
  for (const auto &[item, journal] : kPushes) {
    EXPECT_EQ(send(request({item.c_str()})).journal, journal) << item;
  }
  // Several writes to one table push its block once, at the request's last item.
  EXPECT_EQ(
      send(request({"AEE_3/:autoLevel=3", "AEE_3/:skinThreshold=[[-1]]", "AEE_3/:dciEnable=[1]"}))
          .journal,
      "TDriverEdgeEnhance_3_process(0)\n");
}

}  // namespace
