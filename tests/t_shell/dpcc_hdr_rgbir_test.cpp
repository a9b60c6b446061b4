// Defect pixel cluster correction, the two-exposure HDR merge and the RGB-IR blocks: when
// they reach the hardware, and the values whose conversion is more than a plain move.
#include <gtest/gtest.h>

#include <string>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace tshell {
extern const KeyTable TShellHighDynamicRange_3_2Dol_processKeys;
extern const KeyTable TShellRgbInfraredRadiation_processKeys;
extern const KeyTable TShellRgbInfraredRadiation_1_1_processKeys;
}  // namespace tshell

namespace {

constexpr char kDpccRead[] = "TDriverDefectPixelClusterCorrection_statistics(1)\n";
constexpr char kDpccPush[] = "TDriverDefectPixelClusterCorrection_process(0)\n";
constexpr char kHdrPush[] = "TDriverHighDynamicRange_3_2Dol_process(0)\n";
constexpr char kRgbirPush[] = "TDriverRgbInfraredRadiation_process(0)\n";
constexpr char kRgbir11Push[] = "TDriverRgbInfraredRadiation_1_1_process(0)\n";

class StreamingTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }

  // The "current" of a single read, as JSON text.
  std::string read(const std::string &item) {
    const std::string response = send(request({item.c_str()})).response;
    const std::string marker = R"("value":{"current":)";
    const size_t start = response.find(marker);
    if (start == std::string::npos) return "<" + response + ">";
    return response.substr(start + marker.size(), response.size() - 3 - start - marker.size());
  }
};

// The merge and the RGB-IR blocks cannot be read back: a read of any of their keys is served
// from the record, with no driver call and hence no streaming message even while the sensor
// is off. The defect correction is read back, except its "state" and "isStatistics".
TEST_F(ShellTest, BlocksWithoutReadBackServeEveryReadFromTheRecord) {
  std::string text = "[";
  for (const tshell::KeyTable *table : {&tshell::TShellHighDynamicRange_3_2Dol_processKeys,
                                        &tshell::TShellRgbInfraredRadiation_processKeys,
                                        &tshell::TShellRgbInfraredRadiation_1_1_processKeys}) {
    for (size_t k = 0; k < table->count; ++k) {
      text += std::string(text.size() > 1 ? "," : "") + R"({"category":")" + table->category +
              R"(","key":")" + table->rows[k].key + R"("})";
    }
  }
  const Exchange exchange = send(text + "]");
  EXPECT_EQ(exchange.journal, "");
  EXPECT_EQ(exchange.response.find("message"), std::string::npos) << exchange.response;

  EXPECT_EQ(send(request({"DPCC/state", "DPCC/isStatistics"})).journal, "");
  const Exchange dpcc = send(request({"DPCC/bptNum"}));
  EXPECT_EQ(dpcc.journal, kDpccRead);
  EXPECT_NE(dpcc.response.find("Streaming needed"), std::string::npos);
}

TEST_F(StreamingTest, DriverCallsFollowEachBlocksHooks) {
  const struct {
    std::string request;
    std::string journal;
  } cases[] = {
      // One read-back per request, however many keys and tables are read.
      {request({"DPCC/bptNum", "DPCC/bptPosX", "DPCC/pgFac", "DPCC/setUse", "DPCC/bptEnable"}),
       kDpccRead},
      // A block without a read-back in between does not take the read-back's turn.
      {request({"DPCC/pgFac", "HDR_3_2DOL/ratio", "RGBIR/bls", "DPCC/rgFac"}), kDpccRead},
      // A new bad-pixel table is pushed once, after the last of its three keys.
      {request({"DPCC/bptPosX=[10,20,30]", "DPCC/bptPosY=[5,6,7]", "DPCC/bptNum=3"}), kDpccPush},
      {request({"DPCC/isStatistics=true"}), ""},
      {request({"DPCC/state=0"}), kDpccPush},
      {request({"HDR_3_2DOL/deGhostLs.isEnable=false", "HDR_3_2DOL/extendBit=[1]",
                "HDR_3_2DOL/transRange=[[0.5]]"}),
       kHdrPush},
      // The two RGB-IR versions are separate blocks with pushes of their own.
      {request({"RGBIR/bls=[1]", "RGBIR_1_1/bls=[1]", "RGBIR/state=1"}),
       std::string(kRgbirPush) + kRgbir11Push + kRgbirPush},
      {request({"RGBIR_1_1/rcccEnable=true"}), kRgbir11Push},
      {request({"DPCC/setUse=1", "HDR_3_2DOL/state=1"}), std::string(kDpccPush) + kHdrPush},
  };
  for (const auto &c : cases) {
    const Exchange exchange = send(c.request);
    EXPECT_EQ(exchange.journal, c.journal) << c.request;
    EXPECT_EQ(exchange.response.find("message"), std::string::npos) << exchange.response;
  }
}

// Applied in order: each write builds on what the ones before left.
TEST_F(StreamingTest, SignedShiftsFullWidthThresholdsAndDetectionTables) {
  const struct {
    const char *key;
    const char *written;
    const char *expected;
  } steps[] = {
      {"HDR_3_2DOL/extendBit", "[-2,130]", "[-2,-126]"},
      {"HDR_3_2DOL/extendBit", "[-1,200,-300]", "[-1,-56]"},
      {"HDR_3_2DOL/extendBit", "[-300]", "[-44,-56]"},
      {"RGBIR/irThreshold", "4294967295", "4294967295"},
      {"RGBIR_1_1/lThreshold", "4294967296", "0"},
      {"DPCC/bptNum", "5000", "5000"},
      {"DPCC/pgFac", "[[9,9,9],[9,9,9]]", "[[9,9,9],[9,9,9]]"},
      {"DPCC/pgFac", "[[1,2,3,4]]", "[[1,2,3],[9,9,9]]"},
      {"DPCC/pgFac", "[[256],[7,8]]", "[[0,2,3],[7,8,9]]"},
      {"DPCC/pgFac", "[[5,5,5],[6,6,6],[7,7,7]]", "[[5,5,5],[6,6,6]]"},
      {"DPCC/methodsSet", "[1,2,3]", "[1,2,3]"},
      {"DPCC/methodsSet", "[65535,65536]", "[65535,0,3]"},
  };
  for (const auto &step : steps) {
    const std::string write = std::string(step.key) + "=" + step.written;
    send(request({write.c_str()}));
    EXPECT_EQ(read(step.key), step.expected) << write;
  }
}

}  // namespace
