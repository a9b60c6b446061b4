// Importing calibration files into "CCM" and "LSC_3": the files reach the parser, are
// released whatever the outcome, and only a good calibration reaches the hardware.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "shell_fixture.h"

namespace {

constexpr char kCcmPush[] = "TDriverColorCorrectionMatrix_process(0)\n";
constexpr char kLscPush[] = "TDriverLensShadingCorrection_3_process(0)\n";

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string dataUri(const std::string &file) {
  char *encoded = nullptr;
  EXPECT_EQ(
      TCommonBase64_encode(reinterpret_cast<const uint8_t *>(file.data()), file.size(), &encoded),
      TCOMMON_SUCCESS);
  std::string uri = std::string("data:text/txt;base64,") + encoded;
  free(encoded);
  return uri;
}

// A write of "import" that uploads the given files.
std::string importItem(const char *category, const std::string &file) {
  return std::string(category) + "/import=[\"" + dataUri(file) + "\"]";
}

class CalibrationImportTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDatabase_query(database_, "CCM", reinterpret_cast<void **>(&ccm_)), 0u);
    ASSERT_EQ(TDatabase_query(database_, "LSC_3", reinterpret_cast<void **>(&lsc_)), 0u);
  }

  TDatabaseColorCorrectionMatrix *ccm_ = nullptr;
  TDatabaseLensShadingCorrection_3 *lsc_ = nullptr;
};

TEST_F(CalibrationImportTest, ExampleFilesLandAndArePushedOnce) {
  const std::string ccm = importItem("CCM", slurp(TSHELL_EXAMPLES "/calibration/ccm.txt"));
  Exchange exchange = send(request({ccm.c_str()}));
  EXPECT_EQ(exchange.response, R"([{"category":"CCM","key":"import"}])");
  EXPECT_EQ(exchange.journal, kCcmPush);
  EXPECT_EQ(ccm_->ccMatrix[0], 1.62f);
  EXPECT_EQ(ccm_->ccMatrix[8], 1.57f);
  EXPECT_EQ(ccm_->fileCount, 0u);
  EXPECT_EQ(ccm_->files, nullptr);

  const std::string lsc = importItem("LSC_3", slurp(TSHELL_EXAMPLES "/calibration/lsc_3.txt"));
  exchange = send(request({lsc.c_str()}));
  EXPECT_EQ(exchange.response, R"([{"category":"LSC_3","key":"import"}])");
  EXPECT_EQ(exchange.journal, kLscPush);
  EXPECT_EQ(lsc_->matrix[0][0], 1843);
  EXPECT_EQ(lsc_->xSize[31], 80);
  EXPECT_EQ(lsc_->ySize[15], 45);
  EXPECT_EQ(lsc_->fileCount, 0u);
  EXPECT_EQ(lsc_->files, nullptr);
}

TEST_F(CalibrationImportTest, RefusedImportReleasesTheFilesAndPushesNothing) {
  const struct {
    const char *file;
    const char *fault;  // driver function made to fail, or nullptr
    const char *message;
    bool lands;
  } kCases[] = {
      {"ccMatrix 1 2\nccOffset 0 0 0\n", nullptr, "Shell: Wrong configuration", false},
      {"ccMatrix 2 0 0 0 2 0 0 0 2\nccOffset 0 0 0\n", "TDriverColorCorrectionMatrix_process",
       "Shell: Driver is not initialized", true},
  };
  for (const auto &c : kCases) {
    TDriverFault_clear(driver_);
    if (c.fault != nullptr) TDriverFault_set(driver_, c.fault, TCOMMON_NOT_INITIALIZED);
    const TDatabaseColorCorrectionMatrix before = *ccm_;
    TraceCapture trace(3);
    const std::string item = importItem("CCM", c.file);
    const Exchange exchange = send(request({item.c_str()}));
    EXPECT_NE(exchange.response.find(c.message), std::string::npos) << exchange.response;
    EXPECT_EQ(exchange.journal, c.fault != nullptr ? kCcmPush : "") << c.file;
    EXPECT_EQ(ccm_->ccMatrix[0], c.lands ? 2.0f : before.ccMatrix[0]) << c.file;
    EXPECT_EQ(std::memcmp(ccm_->ccOffset, before.ccOffset, sizeof before.ccOffset), 0);
    EXPECT_EQ(ccm_->fileCount, 0u);
    EXPECT_EQ(ccm_->files, nullptr);
    bool tracedByImport = false;
    for (const std::string &line : trace.lines) {
      tracedByImport |= line.find("shell_color_correction_matrix.cpp") != std::string::npos &&
                        line.find("import()") != std::string::npos;
    }
    EXPECT_TRUE(tracedByImport) << c.file;
  }
}

TEST_F(CalibrationImportTest, ReadingImportNeverParses) {
  // A file left in the record (as an upload that failed half-way leaves it) is shown to a
  // read but not imported.
  const std::string file = "ccMatrix 3 0 0 0 3 0 0 0 3\nccOffset 0 0 0\n";
  ccm_->files = static_cast<TCommonBuffer *>(calloc(1, sizeof(TCommonBuffer)));
  ASSERT_EQ(TCommonBuffer_assign(&ccm_->files[0], file.data(), file.size()), TCOMMON_SUCCESS);
  ccm_->fileCount = 1;

  const Exchange exchange = send(request({"CCM/import"}));
  EXPECT_NE(exchange.response.find(dataUri(file)), std::string::npos) << exchange.response;
  EXPECT_EQ(exchange.journal, "");
  EXPECT_EQ(ccm_->ccMatrix[0], 1.0f);
  EXPECT_EQ(ccm_->fileCount, 1u);
  TCommonBuffer_clear(&ccm_->files[0]);
  free(ccm_->files);
  ccm_->files = nullptr;
  ccm_->fileCount = 0;
}

// The import waits until the next command hands over its push: by then the client's
// offset is stored, and the calibration's offset replaces it. The block's own push then
// runs at the last command.
TEST_F(CalibrationImportTest, ImportRunsWhenTheNextCommandHandsOverItsPush) {
  const std::string ccm = importItem("CCM", slurp(TSHELL_EXAMPLES "/calibration/ccm.txt"));
  const Exchange exchange = send(request({ccm.c_str(), "CCM/ccOffset=[100,200,300]"}));
  EXPECT_EQ(exchange.response.find("message"), std::string::npos) << exchange.response;
  EXPECT_EQ(exchange.journal, std::string(kCcmPush) + kCcmPush);
  EXPECT_EQ(ccm_->ccMatrix[0], 1.62f);
  const float kFileOffset[3] = {0, 0, 0};
  EXPECT_EQ(std::memcmp(ccm_->ccOffset, kFileOffset, sizeof kFileOffset), 0);
  EXPECT_EQ(ccm_->files, nullptr);
}

}  // namespace

// Uploads that never complete leave their files in the record; closing the database frees
// them, and a new upload frees the files the last one left. Under LeakSanitizer (scripts/test
// --sanitize) or valgrind, any case that leaks fails the program.
TEST_F(CalibrationImportTest, FilesOfUnfinishedImportsAreFreedAtClose) {
  const std::string good = slurp(TSHELL_EXAMPLES "/calibration/ccm.txt");
  const std::string lsc = slurp(TSHELL_EXAMPLES "/calibration/lsc_3.txt");
  const struct {
    const char *what;
    std::vector<std::string> requests;
    const char *category;  // whose record keeps the files
  } kCases[] = {
      {"bad data URI",
       {R"({"category":"CCM","key":"import","value":{"current":["data:text/txt;base64,!!!!"]}})"},
       "CCM"},
      {"import then a read", {request({importItem("CCM", good).c_str(), "CCM/ccOffset"})}, "CCM"},
      {"LSC_3 import then a read",
       {request({importItem("LSC_3", lsc).c_str(), "LSC_3/xSize"})},
       "LSC_3"},
      {"next upload replaces the files",
       {request({importItem("CCM", good).c_str(), "CCM/ccOffset"}),
        R"({"category":"CCM","key":"import","value":{"current":["QUJD","!!"]}})"},
       "CCM"},
  };
  for (const auto &c : kCases) {
    TearDown();
    SetUp();
    for (const std::string &text : c.requests) send(text);
    uint64_t left = 0;
    if (std::strcmp(c.category, "CCM") == 0) {
      left = ccm_->files != nullptr ? ccm_->fileCount : 0;
    } else {
      left = lsc_->files != nullptr ? lsc_->fileCount : 0;
    }
    EXPECT_GT(left, 0u) << c.what << ": the case no longer leaves files behind";
  }
  // TearDown closes the last case's database with its files still in the record.
}
