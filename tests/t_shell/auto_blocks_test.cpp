// The tuning tables of the noise reduction, demosaic, edge enhance, tone mapping, defect
// pixel and focus auto controls: row and curve selection and the tables' inline integer
// arrays.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace {

using tshell::KeyRow;

// The table-form categories and a key of their selected row with a value for it.
struct TableCase {
  const char *category;
  const char *rowKey;
  const char *written;  // starts what the key reads back afterwards
};

const TableCase kTables[] = {
    {"A2DNR_6", ":sigmaOffset", "[7,8"}, {"A3DNR_4", ":tnrStrength", "[7,8"},
    {"AEE_3", ":eeStrength", "[7,8"},    {"AWDR_5_2_1", ":lowStrength", "[7,8"},
    {"ADPCC", ":outMode", "[7,8"},
};

const tshell::KeyTable &tableOf(const std::string &category) {
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    if (category == kShellCategories[i].name && kShellCategories[i].keys != nullptr)
      return *kShellCategories[i].keys;
  }
  ADD_FAILURE() << category << " is not served";
  static const tshell::KeyTable kNone{"", nullptr, 0, {}};
  return kNone;
}

const KeyRow *keyOf(const std::string &category, const std::string &key) {
  const tshell::KeyTable &table = tableOf(category);
  for (size_t i = 0; i < table.count; ++i)
    if (key == table.rows[i].key) return &table.rows[i];
  ADD_FAILURE() << category << "/" << key << " is not in the table";
  return nullptr;
}

size_t widthOf(tshell::Element element) {
  switch (element) {
    case tshell::Element::U8:
    case tshell::Element::I8:
      return 1;
    case tshell::Element::U16:
    case tshell::Element::I16:
      return 2;
    case tshell::Element::U64:
    case tshell::Element::I64:
    case tshell::Element::F64:
      return 8;
    default:
      return 4;
  }
}

std::string write(const std::string &category, const std::string &key, const std::string &json) {
  return request({(category + "/" + key + "=" + json).c_str()});
}

std::string read(const std::string &category, const std::string &key) {
  return request({(category + "/" + key).c_str()});
}

constexpr const char *kOutOfRange = R"("message":["Shell: Out of range"])";

class AutoBlocksTest : public ShellTest {
 protected:
  void *record(const char *category) {
    void *found = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &found), TCOMMON_SUCCESS) << category;
    return found;
  }

  std::vector<unsigned char> bytes(const char *category) {
    uint64_t size = 0;
    EXPECT_EQ(TDatabase_recordSize(category, &size), TCOMMON_SUCCESS) << category;
    const auto *begin = static_cast<const unsigned char *>(record(category));
    return std::vector<unsigned char>(begin, begin + size);
  }

  // The "current" of a one-item read, as JSON text.
  std::string current(const std::string &category, const std::string &key) {
    const std::string response = send(read(category, key)).response;
    const std::string marker = R"("current":)";
    const size_t start = response.find(marker);
    if (start == std::string::npos) return "<" + response + ">";
    return response.substr(start + marker.size(), response.size() - start - marker.size() - 3);
  }

  // The integers of a one-item read of a 2-D key, row after row.
  std::vector<int64_t> integers(const std::string &category, const std::string &key) {
    std::vector<int64_t> values;
    const std::string response = send(read(category, key)).response;
    TJsonReader *reader = nullptr;
    TJsonValue *root = nullptr;
    TJsonValue *rows = nullptr;
    EXPECT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
    EXPECT_EQ(
        TJsonReader_parse(reader, response.c_str(), response.c_str() + response.size(), &root),
        TCOMMON_SUCCESS);
    TJsonPath(root, "0.value.current", &rows);
    uint64_t outer = 0;
    TJsonValue_size(rows, &outer);
    for (uint64_t i = 0; i < outer; ++i) {
      TJsonValue *row = nullptr;
      uint64_t inner = 0;
      TJsonValue_item(rows, i, &row);
      TJsonValue_size(row, &inner);
      for (uint64_t j = 0; j < inner; ++j) {
        TJsonValue *element = nullptr;
        int64_t value = 0;
        TJsonValue_item(row, j, &element);
        TJsonValue_asInteger(element, &value);
        values.push_back(value);
      }
    }
    TJsonValue_delete(root);
    TJsonReader_close(&reader);
    return values;
  }
};

// The selected row lives in the record: a later request still addresses it, and a write
// there leaves every other row as it was.
TEST_F(AutoBlocksTest, TableIndexSelectsTheRowOfLaterRequests) {
  for (const TableCase &table : kTables) {
    SCOPED_TRACE(table.category);
    const KeyRow *row = keyOf(table.category, table.rowKey);
    ASSERT_NE(row, nullptr);
    ASSERT_NE(row->selection, nullptr);
    const std::vector<unsigned char> before = bytes(table.category);

    send(write(table.category, "tableIndex", "3"));
    send(write(table.category, table.rowKey, std::string(table.written) + "]"));
    EXPECT_EQ(current(table.category, "tableIndex"), "3");
    EXPECT_EQ(current(table.category, table.rowKey).rfind(table.written, 0), 0u);

    const std::vector<unsigned char> after = bytes(table.category);
    const tshell::Selection &rows = *row->selection;
    for (uint32_t i = 0; i < rows.count; ++i) {
      const size_t start = rows.first + i * rows.stride;
      EXPECT_EQ(memcmp(&before[start], &after[start], rows.stride) == 0, i != 3) << "row " << i;
    }
  }
}

// 2-D inline arrays: each inner array changes the first elements of its gain point (or
// window), at most the declared count at either level, and nothing outside the field.
TEST_F(AutoBlocksTest, TwoDimensionalArraysTakeWhatFitsPerGainPoint) {
  const struct {
    const char *category;
    const char *key;
  } kCases[] = {
      {"A2DNR_6", ":motionAnchorX"},
      {"A2DNR_6", ":lumaCurveY"},
      {"A3DNR_4", ":blsExp"},
      {"A3DNR_4", ":tnrMotionSlopeY"},
      {"ADMSC_3", ":highlightTh"},
      {"ADMSC_3", ":dmscDepurpleCbCrRange"},
      {"AEE_3", ":caCurve"},
      {"AEE_3", ":depfLimit"},
      {"AWDR_5_2_1", ":wdrColorWeight"},
      {"ADPCC", ":methodsSet"},
      {"AF_4", "afmV11RoiWindow"},
  };
  for (const auto &test : kCases) {
    SCOPED_TRACE(std::string(test.category) + "/" + test.key);
    const KeyRow *row = keyOf(test.category, test.key);
    ASSERT_NE(row, nullptr);
    ASSERT_EQ(row->field.rank, 2);
    const uint32_t outer = row->field.shape[0];
    const uint32_t inner = row->field.shape[1];

    // Point 0 too long, point 1 short, point 2 empty, the rest one value, two points too many.
    std::string value = "[[";
    for (uint32_t j = 0; j < inner + 3; ++j) value += (j ? "," : "") + std::to_string(j + 1);
    value += "],[9],[]";
    for (uint32_t i = 3; i < outer + 2; ++i) value += ",[7]";
    value += "]";

    const std::vector<int64_t> before = integers(test.category, test.key);
    ASSERT_EQ(before.size(), size_t{outer} * inner);
    const std::vector<unsigned char> recordBefore = bytes(test.category);
    send(write(test.category, test.key, value));
    const std::vector<int64_t> after = integers(test.category, test.key);
    ASSERT_EQ(after.size(), before.size());
    for (uint32_t i = 0; i < outer; ++i) {
      for (uint32_t j = 0; j < inner; ++j) {
        const int64_t expected = i == 0             ? j + 1
                                 : i == 1 && j == 0 ? 9
                                 : i >= 3 && j == 0 ? 7
                                                    : before[i * inner + j];
        ASSERT_EQ(after[i * inner + j], expected) << "[" << i << "][" << j << "]";
      }
    }

    const std::vector<unsigned char> recordAfter = bytes(test.category);
    const size_t start =
        row->field.offset + (row->selection != nullptr ? row->selection->first : 0);
    const size_t end = start + size_t{outer} * inner * widthOf(row->field.element);
    EXPECT_EQ(memcmp(recordBefore.data(), recordAfter.data(), start), 0);
    EXPECT_EQ(memcmp(&recordBefore[end], &recordAfter[end], recordAfter.size() - end), 0);
  }
}

TEST_F(AutoBlocksTest, SignedMembersKeepTheirSign) {
  send(write("AEE_3", ":skinThreshold", "[[-5,65535,-32768]]"));
  EXPECT_EQ(current("AEE_3", ":skinThreshold").rfind("[[-5,-1,-32768,", 0), 0u);
  send(write("AWDR_5_2_1", ":contrast", "[-3,65533,32768]"));
  EXPECT_EQ(current("AWDR_5_2_1", ":contrast").rfind("[-3,-3,-32768,", 0), 0u);
  // Switches stored as 0 or 1 against enables that keep the byte.
  send(write("AEE_3", ":dciEnable", "[2,0,-1]"));
  EXPECT_EQ(current("AEE_3", ":dciEnable").rfind("[1,0,1,", 0), 0u);
  send(write("AEE_3", ":caEnable", "[2,0,-1]"));
  EXPECT_EQ(current("AEE_3", ":caEnable").rfind("[2,0,255,", 0), 0u);
}

// Each curve's index picks the entry its keys address, independently of the other curves;
// an index beyond the 20 entries is refused.
TEST_F(AutoBlocksTest, SharpenCurveEntriesFollowTheirOwnIndex) {
  auto *demosaic = static_cast<TDatabaseAutoDeMosaic_3 *>(record("ADMSC_3"));
  for (int curve = 0; curve < 3; ++curve) {
    SCOPED_TRACE(curve);
    const std::string name = "sharpenCurve" + std::to_string(curve);
    const TDatabaseAutoDeMosaic_3 before = *demosaic;
    const uint16_t entry = static_cast<uint16_t>(5 + curve);
    send(request({("ADMSC_3/" + name + "Index=" + std::to_string(entry)).c_str(),
                  ("ADMSC_3/" + name + ":layerR2=" + std::to_string(100 + curve)).c_str(),
                  ("ADMSC_3/" + name + ":layer0T3=70000").c_str()}));

    TDatabaseAutoDeMosaic_3 expected = before;
    TDatabaseAutoDeMosaic_3SharpenCurve *curves[] = {expected.sharpenCurve0, expected.sharpenCurve1,
                                                     expected.sharpenCurve2};
    uint16_t *indexes[] = {&expected.sharpenCurve0Index, &expected.sharpenCurve1Index,
                           &expected.sharpenCurve2Index};
    *indexes[curve] = entry;
    curves[curve][entry].layerR2 = static_cast<uint16_t>(100 + curve);
    curves[curve][entry].layer0T3 = 4464;
    EXPECT_EQ(memcmp(demosaic, &expected, sizeof expected), 0);
    EXPECT_EQ(current("ADMSC_3", name + ":layerR2"), std::to_string(100 + curve));

    const Exchange refused = send(write("ADMSC_3", name + "Index", "20"));
    EXPECT_NE(refused.response.find(kOutOfRange), std::string::npos) << refused.response;
    EXPECT_EQ(current("ADMSC_3", name + "Index"), std::to_string(entry));
  }

  ASSERT_EQ(TDatabase_parse(database_, R"({"ADMSC_3":{"sharpenCurve1Index":20}})"),
            TCOMMON_SUCCESS);
  EXPECT_NE(send(read("ADMSC_3", "sharpenCurve1:layerR2")).response.find(kOutOfRange),
            std::string::npos);
  EXPECT_EQ(current("ADMSC_3", "sharpenCurve2:layerR2"), "102");
}

}  // namespace
