// Calibration files of the colour correction matrix and the lens shading correction: what
// the rig's files put into the records, and that a broken file changes nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "t_database.h"

namespace {

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Buffers over texts, as the shell hands uploaded files over.
std::vector<TCommonBuffer> buffersOf(const std::vector<std::string> &texts) {
  std::vector<TCommonBuffer> buffers;
  for (const std::string &text : texts) {
    buffers.push_back({reinterpret_cast<uint8_t *>(const_cast<char *>(text.data())), text.size(),
                       text.size(), 1});
  }
  return buffers;
}

uint32_t parseCcm(const std::vector<std::string> &texts, TDatabaseColorCorrectionMatrix *record) {
  const std::vector<TCommonBuffer> buffers = buffersOf(texts);
  return TDatabaseColorCorrectionMatrix_parse2(buffers.data(), buffers.size(), record);
}

uint32_t parseLsc(const std::string &text, TDatabaseLensShadingCorrection_3 *record) {
  const std::vector<std::string> texts = {text};
  const std::vector<TCommonBuffer> buffers = buffersOf(texts);
  return TDatabaseLensShadingCorrection_3_parse2(buffers.data(), buffers.size(), record);
}

// A valid lens shading text in which a field's line can be replaced (or, with "", left out).
std::string lscText(const std::map<std::string, std::string> &replaced = {}) {
  const std::pair<const char *, int> kFields[] = {{"matrix.r", 1089},  {"matrix.gr", 1089},
                                                  {"matrix.gb", 1089}, {"matrix.b", 1089},
                                                  {"xSize", 32},       {"ySize", 16}};
  std::string text;
  for (const auto &[name, count] : kFields) {
    const auto found = replaced.find(name);
    if (found != replaced.end()) {
      text += found->second + "\n";
      continue;
    }
    text += name;
    for (int i = 0; i < count; ++i) text += " 1000";
    text += "\n";
  }
  return text;
}

std::string repeated(const char *name, const char *number, int count) {
  std::string line = name;
  for (int i = 0; i < count; ++i) line += std::string(" ") + number;
  return line;
}

constexpr const char *kCcm = "ccMatrix 1 0 0 0 1 0 0 0 1\nccOffset 0 0 0\n";

TEST(CalibrationTest, MalformedFilesAreRefusedAndChangeNothing) {
  struct Case {
    std::string text;
    const char *problem;  // part of TDatabase_lastError
  };
  const Case kCcmCases[] = {
      {std::string(kCcm) + "gain 1\n", "line 3: unknown field 'gain'"},
      {std::string(kCcm) + "ccOffset 1 1 1\n", "ccOffset is given twice"},
      {"ccMatrix 1 0 0 0 1 0 0 0\nccOffset 0 0 0\n", "line 2: ccMatrix has 8 numbers, expected 9"},
      {"ccOffset 0 0 0\nccMatrix 1 0 0\n", "ccMatrix has 3 numbers, expected 9"},
      {"ccMatrix 1 0 0 0 1 0 0 0 1\nccOffset 0 0 0 0\n", "ccOffset takes 3 numbers"},
      {"ccMatrix 1 0 0 0 1 0 0 0 1\nccOffset 0 x 0\n", "ccOffset: 'x' is not a number"},
      {"ccMatrix 1 0 0 0 1.5.2 0 0 0 1\nccOffset 0 0 0\n", "'1.5.2' is not a number"},
      {"ccMatrix 1 0 0 0 1 0 0 0 1e40\nccOffset 0 0 0\n", "'1e40' is out of range"},
      {"ccMatrix 1 0 0 0 1 0 0 0 -inf\nccOffset 0 0 0\n", "'-inf' is not a finite number"},
      {"ccMatrix 1 0 0 0 1 0 0 0 1\n", "the calibration has no ccOffset"},
      {"0.5\nccMatrix 1 0 0 0 1 0 0 0 1\nccOffset 0 0 0\n", "line 1: numbers before"},
      {"", "the calibration has no ccMatrix"},
  };
  for (const Case &c : kCcmCases) {
    TDatabaseColorCorrectionMatrix record = {};
    record.ccMatrix[4] = 7.0f;
    const TDatabaseColorCorrectionMatrix before = record;
    EXPECT_EQ(parseCcm({c.text}, &record), TCOMMON_WRONG_CONFIGURATION) << c.text;
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0) << c.text;
    EXPECT_NE(std::string(TDatabase_lastError()).find(c.problem), std::string::npos)
        << c.text << " -> " << TDatabase_lastError();
  }

  const Case kLscCases[] = {
      {lscText({{"xSize", repeated("xSize", "70000", 32)}}), "'70000' is out of range for u16"},
      {lscText({{"xSize", repeated("xSize", "-1", 32)}}), "'-1' is out of range for u16"},
      {lscText({{"matrix.gb", repeated("matrix.gb", "1.5", 1089)}}), "'1.5' is not an integer"},
      {lscText({{"ySize", repeated("ySize", "45", 32)}}), "ySize takes 16 numbers"},
      {lscText({{"matrix.b", ""}}), "the calibration has no matrix.b"},
      {lscText({{"xSize", repeated("matrix", "1", 1)}}), "unknown field 'matrix'"},
  };
  for (const Case &c : kLscCases) {
    auto record = std::make_unique<TDatabaseLensShadingCorrection_3>();
    record->matrix[2][5] = 77;
    const auto before = std::make_unique<TDatabaseLensShadingCorrection_3>(*record);
    EXPECT_EQ(parseLsc(c.text, record.get()), TCOMMON_WRONG_CONFIGURATION) << c.problem;
    EXPECT_EQ(std::memcmp(record.get(), before.get(), sizeof *record), 0) << c.problem;
    EXPECT_NE(std::string(TDatabase_lastError()).find(c.problem), std::string::npos)
        << c.problem << " -> " << TDatabase_lastError();
  }
}

TEST(CalibrationTest, SpellingsOfOneMatrixAllParseTheSame) {
  const std::vector<std::vector<std::string>> kSpellings = {
      {"ccMatrix 1.5 -0.25 -0.25 -0.5 2 -0.5 0 -1 2\nccOffset 16 0 -16\n"},
      {"# rig output\r\nccMatrix\t+1.5 -0.25 -0.25  # red\r\n -0.5 2 -0.5\r\n\r\n"
       "0 -1 2\r\nccOffset 16 0 -16"},
      // Spread over two files: the parser takes every uploaded file in.
      {"ccOffset 16 0 -16\n", "ccMatrix 1.5 -0.25 -0.25 -0.5 2 -0.5\n", "0 -1 2\n"},
  };
  for (const auto &files : kSpellings) {
    TDatabaseColorCorrectionMatrix record = {};
    record.state = 5;
    ASSERT_EQ(parseCcm(files, &record), TCOMMON_SUCCESS) << files[0] << TDatabase_lastError();
    const float kMatrix[9] = {1.5f, -0.25f, -0.25f, -0.5f, 2.0f, -0.5f, 0.0f, -1.0f, 2.0f};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(record.ccMatrix[i], kMatrix[i]) << files[0] << i;
    EXPECT_EQ(record.ccOffset[0], 16.0f);
    EXPECT_EQ(record.ccOffset[2], -16.0f);
    EXPECT_EQ(record.state, 5u) << "fields a calibration does not set are left alone";
    EXPECT_STREQ(TDatabase_lastError(), "");
  }

  // A refusal in a later file names that file.
  TDatabaseColorCorrectionMatrix record = {};
  EXPECT_EQ(parseCcm({kCcm, "\nccOffset 1 2 3\n"}, &record), TCOMMON_WRONG_CONFIGURATION);
  EXPECT_NE(std::string(TDatabase_lastError()).find("file 2, line 2"), std::string::npos)
      << TDatabase_lastError();
  EXPECT_EQ(TDatabaseColorCorrectionMatrix_parse2(nullptr, 1, &record), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDatabaseColorCorrectionMatrix_parse2(nullptr, 0, nullptr), TCOMMON_INVALID_ARGUMENT);
}

TEST(CalibrationTest, ShippedExampleFilesLand) {
  TDatabaseColorCorrectionMatrix ccm = {};
  ASSERT_EQ(parseCcm({slurp(TSHELL_EXAMPLES "/calibration/ccm.txt")}, &ccm), TCOMMON_SUCCESS)
      << TDatabase_lastError();
  const float kMatrix[9] = {1.62f, -0.45f, -0.17f, -0.28f, 1.51f, -0.23f, -0.05f, -0.52f, 1.57f};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(ccm.ccMatrix[i], kMatrix[i]) << i;
  for (int row = 0; row < 3; ++row) {
    const float *m = &ccm.ccMatrix[row * 3];
    EXPECT_NEAR(m[0] + m[1] + m[2], 1.0, 1e-6) << "row " << row << " keeps greys grey";
  }

  auto lsc = std::make_unique<TDatabaseLensShadingCorrection_3>();
  ASSERT_EQ(parseLsc(slurp(TSHELL_EXAMPLES "/calibration/lsc_3.txt"), lsc.get()), TCOMMON_SUCCESS)
      << TDatabase_lastError();
  unsigned width = 0;
  unsigned halfHeight = 0;
  for (uint16_t size : lsc->xSize) width += size;
  for (uint16_t size : lsc->ySize) halfHeight += size;
  EXPECT_EQ(width, 2560u);
  EXPECT_EQ(halfHeight, 720u);
  // Unity at the centre, rising towards the edges and most into the corners.
  constexpr int kSide = TDATABASE_LSC_3_GRID_SIDE;
  constexpr int kCentre = kSide / 2;
  for (const uint16_t *grid : lsc->matrix) {
    EXPECT_NEAR(grid[kCentre * kSide + kCentre], TDATABASE_LSC_3_UNITY_GAIN, 2);
    EXPECT_GT(grid[kCentre * kSide], grid[kCentre * kSide + kCentre] + 100);
    EXPECT_GT(grid[0], grid[kCentre * kSide]);
  }
  EXPECT_EQ(lsc->matrix[0][0], 1843) << "the first gain of the red grid";
  EXPECT_GT(lsc->matrix[0][0], lsc->matrix[3][0]) << "red falls off more steeply than blue";
}

}  // namespace
