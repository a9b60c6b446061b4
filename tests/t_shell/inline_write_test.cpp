// Writes through the inline integer access (integer and flag keys of every block, scalars,
// arrays and tables) that meet a value that does not convert to an integer: the write
// stops at that element and nothing reaches the hardware. Also where such failures, and
// the failures of a one-object request, are traced.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using tshell::KeyTable;

bool isInline(const KeyRow &row) {
  return row.access == Access::Integer || row.access == Access::Flag;
}

std::string item(const char *category, const char *key, const std::string &current = "") {
  std::string text = std::string(R"({"category":")") + category + R"(","key":")" + key + '"';
  if (!current.empty()) text += R"(,"value":{"current":)" + current + '}';
  return text + '}';
}

// The JSON text of a value shaped like the declared field, every element zero.
std::string zeros(const KeyRow &row, uint8_t dimension = 0) {
  if (dimension == row.field.rank) return "0";
  std::string text = "[";
  for (uint32_t i = 0; i < row.field.shape[dimension]; ++i)
    text += (i ? "," : "") + zeros(row, dimension + 1);
  return text + "]";
}

// The integers of json in row-major order.
void flatten(TJsonValue *json, std::vector<int64_t> *out) {
  uint32_t type = TJSON_TYPE_NULL;
  TJsonValue_type(json, &type);
  if (type != TJSON_TYPE_ARRAY) {
    int64_t integer = -1;
    TJsonValue_asInteger(json, &integer);
    out->push_back(integer);
    return;
  }
  uint64_t size = 0;
  TJsonValue_size(json, &size);
  for (uint64_t i = 0; i < size; ++i) {
    TJsonValue *element = nullptr;
    TJsonValue_item(json, i, &element);
    flatten(element, out);
  }
}

// The JSON text of a value shaped like json, whose leaves in row-major order are leaf(i).
std::string reshaped(TJsonValue *json, const std::function<std::string(uint64_t)> &leaf,
                     uint64_t *next) {
  uint32_t type = TJSON_TYPE_NULL;
  TJsonValue_type(json, &type);
  if (type != TJSON_TYPE_ARRAY) return leaf((*next)++);
  uint64_t size = 0;
  TJsonValue_size(json, &size);
  std::string text = "[";
  for (uint64_t i = 0; i < size; ++i) {
    TJsonValue *element = nullptr;
    TJsonValue_item(json, i, &element);
    text += (i ? "," : "") + reshaped(element, leaf, next);
  }
  return text + "]";
}

class InlineWriteTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TJsonReader_open(&reader_), TCOMMON_SUCCESS);
  }
  void TearDown() override {
    TJsonValue_delete(current_);
    TJsonReader_close(&reader_);
    ShellTest::TearDown();
  }

  // Reads a key and keeps its "current" (current_); returns its integers in order. The
  // driver is never initialised here, so every read is served from the record.
  std::vector<int64_t> read(const char *category, const char *key) {
    const std::string response = send(item(category, key)).response;
    TJsonValue_delete(current_);
    current_ = nullptr;
    TJsonValue *root = nullptr;
    EXPECT_EQ(
        TJsonReader_parse(reader_, response.c_str(), response.c_str() + response.size(), &root),
        TCOMMON_SUCCESS)
        << response;
    TJsonValue *current = nullptr;
    TJsonPath(root, "value.current", &current);
    TJsonValue_clone(current, &current_);
    TJsonValue_delete(root);
    std::vector<int64_t> integers;
    flatten(current_, &integers);
    return integers;
  }

  TJsonReader *reader_ = nullptr;
  TJsonValue *current_ = nullptr;
};

// For every inline key: the key is first written with zeros; then, behind a write of
// another block that is left pending, it is written with ones and one element that does
// not convert, past the first row of a table. The elements before it must hold 1, it and
// the ones after it 0, and neither block may be pushed: the pending push is dropped with
// the failed write.
TEST_F(InlineWriteTest, AnElementThatDoesNotConvertStopsTheWriteAndNothingIsPushed) {
  const char *const kRefused[] = {R"("12")", "null", "{}", R"({"a":1})", "[]"};
  std::set<std::string> categories;
  std::set<int> ranks;
  int keys = 0;
  for (uint32_t c = 0; c < kShellCategoryCount; ++c) {
    const KeyTable *table = kShellCategories[c].keys;
    if (table == nullptr) continue;
    for (size_t k = 0; k < table->count; ++k) {
      const KeyRow &row = table->rows[k];
      if (!isInline(row)) continue;
      const char *category = table->category;
      const std::string name = std::string(category) + "/" + row.key;
      send(item(category, row.key, zeros(row)));
      const std::vector<int64_t> before = read(category, row.key);
      // A table whose row count follows another member may have no rows at all.
      if (before.empty()) continue;
      ASSERT_EQ(before, std::vector<int64_t>(before.size(), 0)) << name;
      const uint64_t columns = row.field.rank == 2 ? row.field.shape[1] : 1;
      const uint64_t stop =
          row.field.rank == 0 ? 0 : std::min<uint64_t>(before.size() - 1, columns + 1);
      const std::string pending =
          std::strcmp(category, "GE") == 0 ? item("DG", "gb", "2") : item("GE", "threshold", "2");
      for (const char *refused : kRefused) {
        // "[]" is not an integer, but as a whole value it is an array of nothing.
        if (row.field.rank != 0 && stop == 0 && std::strcmp(refused, "[]") == 0) continue;
        uint64_t next = 0;
        const std::string written = reshaped(
            current_, [&](uint64_t i) { return i == stop ? std::string(refused) : "1"; }, &next);
        const Exchange exchange =
            send("[" + pending + "," + item(category, row.key, written) + "]");
        EXPECT_EQ(exchange.code, TCOMMON_SUCCESS) << name;
        EXPECT_EQ(exchange.journal, "") << name << " = " << written;
        EXPECT_EQ(exchange.response.find("message"), std::string::npos)
            << name << ": " << exchange.response;
        std::vector<int64_t> expected(before.size(), 0);
        for (uint64_t i = 0; i < stop; ++i) expected[i] = 1;
        EXPECT_EQ(read(category, row.key), expected) << name << " = " << written;
        send(item(category, row.key, zeros(row)));
      }
      categories.insert(category);
      ranks.insert(row.field.rank);
      ++keys;
    }
  }
  EXPECT_EQ(ranks, (std::set<int>{0, 1, 2}));
  for (const char *category : {"FC", "CNR_2_2", "DMSC_3", "EE_3", "2DNR_6", "3DNR_4", "WDR_5_2_1",
                               "DPCC", "HDR_3_2DOL", "RGBIR", "ACNR_2_2", "SS", "IPT"}) {
    EXPECT_EQ(categories.count(category), 1u) << category;
  }
  EXPECT_GE(keys, 300);
}

// A whole value that is no array, written to an array key: a text or an object is refused
// as its first element would be; a number or null has no elements and changes nothing.
TEST_F(InlineWriteTest, AnArrayKeyRefusesTextsAndObjectsAndTakesNothingFromAScalar) {
  const struct {
    const char *written;
    bool isRefused;
  } kCases[] = {{R"("x")", true}, {R"({"a":1})", true}, {"5", false}, {"null", false}};
  for (const auto &c : kCases) {
    send(item("BLS", "data", "[7,7,7,7]"));
    const Exchange exchange = send(item("BLS", "data", c.written));
    EXPECT_EQ(exchange.journal, c.isRefused ? "" : "TDriverBlackLevelSubtraction_process(0)\n")
        << c.written;
    EXPECT_EQ(read("BLS", "data"), std::vector<int64_t>(4, 7)) << c.written;
  }
}

TEST_F(ShellTest, AWriteThatStopsKeepsWhatCameBeforeAndIsNotPushedWhileStreaming) {
  ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
  ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  void *record = nullptr;
  ASSERT_EQ(TDatabase_query(database_, "DMSC_3", &record), TCOMMON_SUCCESS);
  const uint16_t *range = static_cast<TDatabaseDeMosaic_3 *>(record)->cbCrRange;
  EXPECT_EQ(send(item("DMSC_3", "cbCrRange", "[9,9,9,9,9,9,9,9]")).journal,
            "TDriverDeMosaic_3_process(0)\n");
  const Exchange exchange = send(item("DMSC_3", "cbCrRange", R"([1,"x",3])"));
  EXPECT_EQ(exchange.response, R"({"category":"DMSC_3","key":"cbCrRange"})");
  EXPECT_EQ(exchange.journal, "");
  EXPECT_EQ(std::vector<uint16_t>(range, range + 8),
            (std::vector<uint16_t>{1, 9, 9, 9, 9, 9, 9, 9}));
  // A scalar that does not convert leaves its field as it was.
  send(item("DMSC_3", "cbCrMode", "3"));
  for (const char *refused : {R"("12")", "null"}) {
    EXPECT_EQ(send(item("DMSC_3", "cbCrMode", refused)).journal, "") << refused;
    EXPECT_EQ(static_cast<TDatabaseDeMosaic_3 *>(record)->cbCrMode, 3) << refused;
  }
}

// The trace lines of a failure, as "<file> <function>", the request summaries left out.
std::vector<std::string> places(const std::vector<std::string> &lines) {
  std::vector<std::string> result;
  for (const std::string &line : lines) {
    if (line.rfind("Client: ", 0) == 0 || line.rfind("Server: ", 0) == 0) continue;
    const size_t colon = line.find(':');
    const size_t slash = line.rfind('/', colon);
    const size_t function = line.find(": ", colon + 1) + 2;
    const size_t code = line.rfind('(');
    result.push_back(line.substr(slash + 1, colon - slash - 1) + " " +
                     line.substr(function, line.find("()") - function) +
                     line.substr(code, line.find('\n') - code));
  }
  return result;
}

TEST_F(ShellTest, EachFailureIsTracedOnceByEveryLayerItPasses) {
  const std::string wrongType = "(" + std::to_string(TCOMMON_WRONG_TYPE) + ")";
  const struct {
    std::string request;
    std::vector<std::string> places;
  } kCases[] = {
      // One object that is no command: traced by single, then by the request's processing.
      {R"({"key":"k"})",
       {"t_shell.cpp single" + wrongType, "t_shell.cpp TShell_process" + wrongType}},
      {R"({"category":7,"key":"k"})",
       {"t_shell.cpp single" + wrongType, "t_shell.cpp TShell_process" + wrongType}},
      {R"({"category":"DG","key":[]})",
       {"t_shell.cpp single" + wrongType, "t_shell.cpp TShell_process" + wrongType}},
      // As an array item it is single's failure alone.
      {R"([{"key":"k"}])", {"t_shell.cpp single" + wrongType}},
      // An inline write that does not convert is the handler's failure, traced once.
      {item("DMSC_3", "cbCrRange", R"([1,"x"])"),
       {"shell_demosaic_3.cpp TShellDeMosaic_3_process" + wrongType}},
      {item("SS", "modeIndex", "null"), {"shell_sensor.cpp TShellSensor_process" + wrongType}},
  };
  for (const auto &c : kCases) {
    TraceCapture trace(3);
    send(c.request);
    EXPECT_EQ(places(trace.lines), c.places) << c.request;
  }

  // A failing push of an inline key passes the hook, the deferral and the handler, once
  // each, as it does for a key of an accessor, which adds the accessor's line.
  ASSERT_EQ(TDriverFault_set(driver_, "TDriverDigitalGain_process", TCOMMON_NOT_INITIALIZED),
            TCOMMON_SUCCESS);
  const std::string notInitialised = "(" + std::to_string(TCOMMON_NOT_INITIALIZED) + ")";
  const struct {
    const char *key;
    std::vector<std::string> places;
  } kPushes[] = {
      {"state",
       {"shell_digital_gain.cpp after" + notInitialised,
        "shell_access.cpp TShellAccess_after" + notInitialised,
        "shell_digital_gain.cpp TShellDigitalGain_process" + notInitialised}},
      {"gb",
       {"shell_digital_gain.cpp after" + notInitialised,
        "shell_access.cpp TShellAccess_after" + notInitialised,
        "shell_access.cpp TShellAccess_float" + notInitialised,
        "shell_digital_gain.cpp TShellDigitalGain_process" + notInitialised}},
  };
  for (const auto &push : kPushes) {
    TraceCapture trace(3);
    send(item("DG", push.key, "1"));
    EXPECT_EQ(places(trace.lines), push.places) << push.key;
  }
}

}  // namespace
