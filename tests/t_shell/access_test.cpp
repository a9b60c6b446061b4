// When the hooks of a block reach the hardware, seen through the driver journal, and how the
// accessors move values, on a record of the test's own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace {

constexpr char kDgRead[] = "TDriverDigitalGain_statistics(1)\n";
constexpr char kDgPush[] = "TDriverDigitalGain_process(0)\n";
constexpr char kWbRead[] = "TDriverWhiteBalance_1_1_statistics(1)\n";
constexpr char kWbPush[] = "TDriverWhiteBalance_1_1_process(0)\n";

class HookTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }
};

TEST_F(HookTest, ReadBacksAndPushesAreCollectedPerBlockAndRequest) {
  const struct {
    std::string request;
    std::string journal;
  } cases[] = {
      {request({"DG/gb", "DG/r"}), kDgRead},
      {request({"DG/gb", "WB_1_1/gain", "DG/r"}), std::string(kDgRead) + kWbRead + kDgRead},
      {request({"DG/b=1", "DG/gb=2", "DG/r=3"}), kDgPush},
      {request({"DG/gb=2", "WB_1_1/gain=[1]"}), std::string(kDgPush) + kWbPush},
      {request({"DG/gb=2"}), kDgPush},
      // A read that follows a write runs the pending push with its own read flag: the
      // write never reaches the hardware.
      {request({"DG/gb=2", "WB_1_1/gain"}), kWbRead},
      // "isStatistics" has no hooks, but as the last item it runs the push left pending.
      {request({"DG/gb=2", "DG/isStatistics=true"}), kDgPush},
      {request({"DG/isStatistics=true"}), ""},
      {request({"DG/isStatistics", "CP_1_2/isStatistics", "GC_2/isStatistics"}), ""},
      // "state" is not read back, except the focus motor's.
      {request({"DG/state", "BLS/state", "GC_2/state", "WB_1_1/state"}), ""},
      {request({"FC/state"}), "TDriverFocusControl_statistics(1)\n"},
      // Blocks that cannot be read back serve reads from the database.
      {request({"GE/threshold", "3AI_2/sensorGain", "CPD_1_1/bls"}), ""},
      {request({"GE/threshold=2", "3AI_2/sensorGain=2"}),
       "TDriverGreenEquilibration_process(0)\nTDriver3AInterface_2_process(0)\n"},
      // A key of another category that never pushes flushes the pending push at the end.
      {request({"ISP/isEnable=false", "ISP/hwId=7", "DVC/portId=1"}), "TDriverIsp_process(0)\n"},
      {request({"ISP/hwId=7"}), ""},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(send(c.request).journal, c.journal) << c.request;
  }
}

TEST_F(ShellTest, AReadBackThatNeedsStreamingServesTheCacheWithAMessage) {
  ASSERT_EQ(TDriver_init(driver_, 0), TCOMMON_SUCCESS);  // initialised, not streaming
  send(R"({"category":"DG","key":"gb","value":{"current":1.5}})");
  const Exchange exchange = send(request({"DG/gb", "DG/r"}));
  constexpr char kMessage[] =
      R"("message":["Shell: Streaming needed, or data will come from cache not hardware"])";
  EXPECT_EQ(exchange.response,
            std::string(R"([{"category":"DG","key":"gb","value":{"current":1.5},)") + kMessage +
                R"(},{"category":"DG","key":"r","value":{"current":1.0},)" + kMessage + "}]");
  EXPECT_EQ(exchange.journal, std::string(kDgRead) + kDgRead);
}

TEST_F(HookTest, AFailingPushIsReportedAndDropsTheWriteThatTriggeredIt) {
  ASSERT_EQ(TDriverFault_set(driver_, "TDriverDigitalGain_process", TCOMMON_NOT_INITIALIZED),
            TCOMMON_SUCCESS);
  const Exchange exchange = send(request({"DG/gb=2", "WB_1_1/gain=[2]"}));
  EXPECT_EQ(
      exchange.response,
      R"([{"category":"DG","key":"gb"},)"
      R"({"category":"WB_1_1","key":"gain","message":["Shell: Driver is not initialized"]}])");
  EXPECT_EQ(exchange.journal, kDgPush);  // WB's push is neither run nor remembered
}

// Every layer that returns a failure traces it with its own source file and function, the
// hook first; a read-back that falls back to the database is traced at level 0 only.
TEST_F(HookTest, FailuresAreTracedWhereTheyPassThrough) {
  ASSERT_EQ(TDriverFault_set(driver_, "TDriverDigitalGain_process", TCOMMON_NOT_INITIALIZED),
            TCOMMON_SUCCESS);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriverDigitalGain_statistics", TCOMMON_NOT_INITIALIZED),
            TCOMMON_SUCCESS);
  TraceCapture trace(3);
  send(request({"DG/gb=2"}));
  send(request({"DG/gb"}));
  std::vector<std::string> places;
  for (const std::string &line : trace.lines) {
    if (line.rfind("Client: ", 0) == 0 || line.rfind("Server: ", 0) == 0) continue;
    const size_t colon = line.find(':');
    const size_t function = line.find(": ", colon + 1);
    places.push_back(line.substr(0, colon) + " " +
                     line.substr(function + 2, line.find("()") - function - 2));
  }
  const std::string source = "t_frameworks/t_shell_c/source/";
  EXPECT_EQ(places, (std::vector<std::string>{
                        source + "shell_digital_gain.cpp after",
                        source + "shell_access.cpp TShellAccess_after",
                        source + "shell_access.cpp TShellAccess_float",
                        source + "shell_digital_gain.cpp TShellDigitalGain_process",
                        source + "shell_digital_gain.cpp before",
                        source + "shell_access.cpp TShellAccess_before",
                    }));
  EXPECT_NE(trace.lines[trace.lines.size() - 2].find("TShellAccess_before(): "), std::string::npos);
  EXPECT_NE(trace.lines[trace.lines.size() - 2].find("(8)\n"), std::string::npos);
}

// ---- Accessors on a record of the test's own ------------------------------------------------

struct Probe {
  float floats[4];
  float table[2][3];
  float cube[2][2][2];
  double doubles[2];
  uint8_t bools[3];
  int32_t curve[3][2];
  char text[8];
  uint8_t bytes[3];
  float row[600];
  uint64_t fileCount;
  TCommonBuffer *files;
};

// Hooks that count what would reach the hardware, as a block's plain pair does.
int pushes = 0;
int readBacks = 0;
uint32_t countPush(TShell *shell, void *) {
  pushes += !shell->readFlag;
  return TCOMMON_SUCCESS;
}
uint32_t countReadBack(TShell *shell, void *) {
  readBacks += shell->readFlag;
  return TCOMMON_SUCCESS;
}

class AccessorTest : public ShellTest {
 protected:
  void TearDown() override {
    for (uint64_t i = 0; i < probe_.fileCount; ++i) TCommonBuffer_clear(&probe_.files[i]);
    free(probe_.files);
    TJsonValue_delete(value_);
    ShellTest::TearDown();
  }

  // Runs accessor as the only item of a request: a read with current NULL, else a write
  // of current. Returns the accessor's code; printed() gives "value" afterwards.
  template <typename Accessor>
  uint32_t run(const char *current, Accessor &&accessor) {
    TJsonValue_delete(value_);
    value_ = nullptr;
    if (current == nullptr) {
      TJsonValue_create(TJSON_TYPE_OBJECT, &value_);
    } else {
      TJsonReader *reader = nullptr;
      TJsonReader_open(&reader);
      const std::string text = std::string(R"({"current":)") + current + "}";
      EXPECT_EQ(TJsonReader_parse(reader, text.c_str(), text.c_str() + text.size(), &value_),
                TCOMMON_SUCCESS);
      TJsonReader_close(&reader);
    }
    shell_->readFlag = current == nullptr;
    shell_->commandIndex = shell_->commandCount = 1;
    shell_->pendingAfter = nullptr;
    shell_->lastBefore = nullptr;
    pushes = readBacks = 0;
    return accessor(value_);
  }

  std::string printed() {
    TJsonWriter *writer = nullptr;
    TJsonWriter_open(nullptr, &writer);
    const char *text = nullptr;
    TJsonWriter_stringify(writer, value_, &text);
    std::string result = text != nullptr ? text : "";
    TJsonWriter_close(&writer);
    return result;
  }

  Probe probe_ = {};
  TJsonValue *value_ = nullptr;
};

TEST_F(AccessorTest, LongRowsMoveWholeAcrossRuns) {
  // Rows move in runs of a few hundred elements: every element of a long row, either side
  // of a run's end, converts (or stays) as it would alone.
  auto row = [&](TJsonValue *value) {
    return TShellAccess_floats(shell_, &probe_, value, probe_.row, 600, nullptr, nullptr);
  };
  const std::set<size_t> kept = {0, 255, 256, 511, 512, 599};
  std::string written = "[";
  std::string read = "{\"current\":[";
  for (size_t i = 0; i < 600; ++i) {
    probe_.row[i] = static_cast<float>(i) + 0.5f;
    written +=
        std::string(i == 0 ? "" : ",") + (kept.count(i) != 0 ? "\"x\"" : std::to_string(i * 2));
    read += (i == 0 ? "" : ",") +
            (kept.count(i) != 0 ? std::to_string(i) + ".5" : std::to_string(i * 2) + ".0");
  }
  EXPECT_EQ(run((written + "]").c_str(), row), TCOMMON_SUCCESS);
  EXPECT_EQ(run(nullptr, row), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), read + "]}");
}

TEST_F(AccessorTest, ArraysChangeAPrefixAndReadInFull) {
  auto floats = [&](TJsonValue *value) {
    return TShellAccess_floats(shell_, &probe_, value, probe_.floats, 4, countReadBack, countPush);
  };
  std::fill(std::begin(probe_.floats), std::end(probe_.floats), 9.0f);
  EXPECT_EQ(run("[1, 2]", floats), TCOMMON_SUCCESS);
  EXPECT_EQ(run(nullptr, floats), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":[1.0,2.0,9.0,9.0]})");
  probe_.table[0][0] = 7;  // what follows the array in the record
  EXPECT_EQ(run("[1, 2, 3, 4, 5, 6]", floats), TCOMMON_SUCCESS);
  EXPECT_EQ(probe_.floats[3], 4);
  EXPECT_EQ(probe_.table[0][0], 7);
  EXPECT_EQ(run(R"(["x", true])", floats), TCOMMON_SUCCESS);  // what does not convert stays
  EXPECT_EQ(probe_.floats[0], 1);
  EXPECT_EQ(probe_.floats[1], 1);

  auto table = [&](TJsonValue *value) {
    return TShellAccess_floats22(shell_, &probe_, value, &probe_.table[0][0], 2, 3, nullptr,
                                 nullptr);
  };
  EXPECT_EQ(run("[[1, 2, 3, 4], [5]]", table), TCOMMON_SUCCESS);
  EXPECT_EQ(run(nullptr, table), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":[[1.0,2.0,3.0],[5.0,0.0,0.0]]})");

  auto cube = [&](TJsonValue *value) {
    return TShellAccess_floats33(shell_, &probe_, value, &probe_.cube[0][0][0], 2, 2, 2, nullptr,
                                 nullptr);
  };
  EXPECT_EQ(run("[[], [[1], [2, 3]]]", cube), TCOMMON_SUCCESS);
  EXPECT_EQ(run(nullptr, cube), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":[[[0.0,0.0],[0.0,0.0]],[[1.0,0.0],[2.0,3.0]]]})");

  auto curve = [&](TJsonValue *value) {
    return TShellAccess_curve(shell_, &probe_, value, &probe_.curve[0][0], 3, nullptr, nullptr);
  };
  EXPECT_EQ(run("[[1, -2], [3, 4], [5, 6], [7, 8]]", curve), TCOMMON_SUCCESS);
  EXPECT_EQ(run(nullptr, curve), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":[[1,-2],[3,4],[5,6]]})");

  auto bools = [&](TJsonValue *value) {
    return TShellAccess_bools(shell_, &probe_, value, probe_.bools, 3, nullptr, nullptr);
  };
  auto doubles = [&](TJsonValue *value) {
    return TShellAccess_doubles(shell_, &probe_, value, probe_.doubles, 2, nullptr, nullptr);
  };
  EXPECT_EQ(run("[true, 0, 5]", bools), TCOMMON_SUCCESS);
  EXPECT_EQ(run(nullptr, bools), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":[true,false,true]})");
  EXPECT_EQ(run("[0.1]", doubles), TCOMMON_SUCCESS);
  EXPECT_EQ(probe_.doubles[0], 0.1);
}

TEST_F(AccessorTest, ScalarsConvertAtTheFieldsWidth) {
  float number = 0;
  auto floatAccess = [&](TJsonValue *value) {
    return TShellAccess_float(shell_, &probe_, value, &number, countReadBack, countPush);
  };
  EXPECT_EQ(run("0.1", floatAccess), TCOMMON_SUCCESS);
  EXPECT_EQ(number, 0.1f);
  EXPECT_EQ(pushes, 1);
  EXPECT_EQ(readBacks, 0);
  EXPECT_EQ(run(nullptr, floatAccess), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":0.10000000149011612})");
  EXPECT_EQ(readBacks, 1);

  uint8_t flag = 7;
  auto boolAccess = [&](TJsonValue *value) {
    return TShellAccess_bool(shell_, &probe_, value, &flag, nullptr, nullptr);
  };
  for (const auto &[written, stored] : {std::pair{"true", 1}, {"false", 0}, {"2", 1}}) {
    EXPECT_EQ(run(written, boolAccess), TCOMMON_SUCCESS);
    EXPECT_EQ(flag, stored) << written;
  }
}

TEST_F(AccessorTest, StringsAreCutAtTheCapacityWithoutATerminator) {
  std::memset(probe_.text, 'x', sizeof(probe_.text));
  auto access = [&](TJsonValue *value) {
    return TShellAccess_string(shell_, &probe_, value, probe_.text, 4, nullptr, nullptr);
  };
  EXPECT_EQ(run(R"("abcdef")", access), TCOMMON_SUCCESS);
  EXPECT_EQ(std::string(probe_.text, 5), "abcdx");
  EXPECT_EQ(run(nullptr, access), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":"abcd"})");
  EXPECT_EQ(run(R"("ab")", access), TCOMMON_SUCCESS);
  EXPECT_EQ(std::string(probe_.text, 5), std::string("ab\0\0x", 5));
  EXPECT_EQ(run("12", access), TCOMMON_SUCCESS);  // not a text: the buffer stays
  EXPECT_STREQ(probe_.text, "ab");
}

TEST_F(AccessorTest, Base64ReadsTheBufferAndAcceptsWritesWithoutStoringThem) {
  auto access = [&](TJsonValue *value) {
    return TShellAccess_base64(shell_, &probe_, value, probe_.bytes, sizeof(probe_.bytes),
                               countReadBack, countPush);
  };
  std::memcpy(probe_.bytes, "\x01\xff\x7f", 3);
  EXPECT_EQ(run(nullptr, access), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":"Af9/"})");
  EXPECT_EQ(run(R"("AAAA")", access), TCOMMON_SUCCESS);
  EXPECT_EQ(std::memcmp(probe_.bytes, "\x01\xff\x7f", 3), 0);
  EXPECT_EQ(pushes, 1);

  auto empty = [&](TJsonValue *value) {
    return TShellAccess_base64(shell_, &probe_, value, nullptr, 0, countReadBack, countPush);
  };
  EXPECT_EQ(run(nullptr, empty), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), "{}");
  EXPECT_EQ(readBacks, 1);
  EXPECT_EQ(pushes, 0);
}

TEST_F(AccessorTest, FilesTravelAsDataUris) {
  auto files = [&](const char *mime) {
    return [this, mime](TJsonValue *value) {
      return TShellAccess_files(shell_, &probe_, value, &probe_.fileCount, &probe_.files, mime,
                                nullptr, countPush);
    };
  };
  EXPECT_EQ(run(R"(["data:text/txt;base64,aGVsbG8=", "aGVsbG8=", ""])", files("text/txt")),
            TCOMMON_SUCCESS);
  ASSERT_EQ(probe_.fileCount, 3u);
  for (uint64_t i = 0; i < 2; ++i) {
    EXPECT_EQ(std::string(reinterpret_cast<char *>(probe_.files[i].data), probe_.files[i].length),
              "hello");
    EXPECT_EQ(probe_.files[i].isFilled, 1);
  }
  EXPECT_EQ(probe_.files[2].length, 0u);
  EXPECT_EQ(pushes, 1);

  EXPECT_EQ(run(nullptr, files("text/json")), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(),
            R"({"current":["data:text/json;base64,aGVsbG8=","data:text/json;base64,aGVsbG8=",)"
            R"("data:text/json;base64,"]})");
  // The header is cut to 38 characters.
  EXPECT_EQ(run(nullptr, files("application/a-very-long-type-nam")), TCOMMON_SUCCESS);
  EXPECT_NE(printed().find(R"("data:application/a-very-long-type-nam;aGVsbG8=")"),
            std::string::npos);

  EXPECT_EQ(run(R"(["not base64!"])", files("text/txt")), TCOMMON_MALFORMED);
  EXPECT_EQ(pushes, 0);
  EXPECT_EQ(run("[]", files("text/txt")), TCOMMON_SUCCESS);
  EXPECT_EQ(probe_.fileCount, 0u);
  EXPECT_EQ(probe_.files, nullptr);
}

TEST_F(AccessorTest, StatisticsAreFilledOnReadsOnly) {
  static int fills = 0;
  auto access = [&](TJsonValue *value) {
    return TShellAccess_statistics(
        shell_, &probe_, value,
        [](const void *, TJsonValue *current) {
          ++fills;
          return TJsonValue_assignAsInteger(current, 42);
        },
        countReadBack, nullptr);
  };
  EXPECT_EQ(run(nullptr, access), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":42})");
  EXPECT_EQ(run("1", access), TCOMMON_SUCCESS);
  EXPECT_EQ(fills, 1);
  EXPECT_EQ(readBacks, 0);
}

// The engine serves every typed accessor from a table row, on a record of the test's own.
struct Measured {
  int32_t curve[3][2];
  uint64_t fileCount;
  TCommonBuffer *files;
};

uint32_t fillMeasurement(const void *record, TJsonValue *value) {
  return TJsonValue_assignAsInteger(value, static_cast<const Measured *>(record)->curve[0][0]);
}

namespace measured {
using Record = Measured;
using tshell::Access;
constexpr tshell::KeyRow kKeys[] = {
    {"curve", Access::Curve, SHELL_FIELD(curve), countReadBack, countPush},
    tshell::statisticsKey("statistics", fillMeasurement, countReadBack, nullptr),
    SHELL_FILES("import", fileCount, files, "text/txt", nullptr, countPush, nullptr),
};
static_assert(tshell::servesEveryField(kKeys));
constexpr tshell::KeyTable kTable = {"TEST", kKeys, std::size(kKeys), {}};
}  // namespace measured

TEST_F(AccessorTest, TheEngineServesCurvesStatisticsAndFiles) {
  Measured record = {};
  auto serve = [&](const char *key) {
    return [&record, key, this](TJsonValue *value) {
      return tshell::serveRecord(shell_, measured::kTable, &record, key, value, SHELL_SITE);
    };
  };
  EXPECT_EQ(run("[[5, -6], [7]]", serve("curve")), TCOMMON_SUCCESS);
  EXPECT_EQ(pushes, 1);
  EXPECT_EQ(run(nullptr, serve("curve")), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":[[5,-6],[7,0],[0,0]]})");
  EXPECT_EQ(run(nullptr, serve("statistics")), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":5})");
  EXPECT_EQ(readBacks, 1);
  EXPECT_EQ(run(R"(["data:text/txt;base64,aGk="])", serve("import")), TCOMMON_SUCCESS);
  ASSERT_EQ(record.fileCount, 1u);
  EXPECT_EQ(run(nullptr, serve("import")), TCOMMON_SUCCESS);
  EXPECT_EQ(printed(), R"({"current":["data:text/txt;base64,aGk="]})");
  EXPECT_EQ(run(nullptr, serve("nope")), TCOMMON_NOT_REGISTERED);
  EXPECT_EQ(run("[]", serve("import")), TCOMMON_SUCCESS);
  EXPECT_EQ(record.files, nullptr);
}

// Keys are found through an index, not by walking the table: every key of every registered
// table still finds its own row, the first where a table (here a test's own) holds a key
// twice, and nothing but the exact text finds it.
TEST(KeyLookup, EveryKeyFindsItsFirstRowAndOnlyByItsExactText) {
  int keys = 0;
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    const tshell::KeyTable *table = kShellCategories[i].keys;
    if (table == nullptr) continue;
    for (size_t k = 0; k < table->count; ++k) {
      const std::string key = table->rows[k].key;
      const tshell::KeyRow *first = &table->rows[k];
      for (size_t j = 0; j < k; ++j)
        if (key == table->rows[j].key) first = &table->rows[j];
      EXPECT_EQ(tshell::findKey(*table, key.c_str()), first) << table->category << "/" << key;
      std::string upper = key;
      for (char &c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
      for (const std::string &near : {key.substr(0, key.size() - 1), key + " ", upper, " " + key}) {
        const tshell::KeyRow *found = tshell::findKey(*table, near.c_str());
        EXPECT_TRUE(found == nullptr || found->key == near) << table->category << "/" << near;
      }
      ++keys;
    }
  }
  EXPECT_EQ(keys, 759);

  constexpr tshell::FieldRef kField = tshell::fieldRef<uint8_t>(0);
  const tshell::KeyRow rows[] = {
      {"a", tshell::Access::Integer, kField, nullptr, nullptr},
      {"b", tshell::Access::Integer, kField, nullptr, nullptr},
      {"a", tshell::Access::Flag, kField, nullptr, nullptr},
      {"", tshell::Access::Integer, kField, nullptr, nullptr},
  };
  const tshell::KeyTable table = {"TEST", rows, std::size(rows), {}};
  EXPECT_EQ(tshell::findKey(table, "a"), &rows[0]);
  EXPECT_EQ(tshell::findKey(table, "b"), &rows[1]);
  EXPECT_EQ(tshell::findKey(table, ""), &rows[3]);
  EXPECT_EQ(tshell::findKey(table, "c"), nullptr);
}

// Entries selected by an index member, limits, row counts that follow a member, flags and
// units: the engine keeps every access inside the record whatever index is stored.
struct Selecting {
  struct Entry {
    uint16_t width;
    float gains[2];
  } entries[3];
  int16_t index;  // signed, so that a negative index cannot pass for a small one
  uint8_t rows;
  float window[4][2];
  uint8_t flags[3];
  float seconds[2];
};

namespace selecting {
using Record = Selecting;
using Entry = Selecting::Entry;
using tshell::Access;
constexpr tshell::Selection kEntries = SHELL_SELECTION("index", index, entries);
constexpr tshell::KeyRow kKeys[] = {
    tshell::indexKey(kEntries, {"index", Access::Integer, SHELL_FIELD(index), nullptr, countPush}),
    tshell::indexKey(kEntries, {"anyIndex", Access::Integer, SHELL_FIELD(index), nullptr, nullptr},
                     false),
    tshell::inEntry(kEntries,
                    {":width", Access::Integer, SHELL_FIELD_OF(Entry, width), nullptr, countPush}),
    tshell::inEntry(kEntries, {":gains", Access::Float, SHELL_FIELD_OF(Entry, gains), countReadBack,
                               countPush}),
    tshell::atMost(4, {"rows", Access::Integer, SHELL_FIELD(rows), nullptr, nullptr}),
    tshell::rowsFrom(SHELL_FIELD(rows),
                     {"window", Access::Float, SHELL_FIELD(window), nullptr, nullptr}),
    {"flags", Access::Flag, SHELL_FIELD(flags), nullptr, nullptr},
    tshell::scaled(1e6, {"microseconds", Access::Float, SHELL_FIELD(seconds), nullptr, nullptr}),
};
static_assert(tshell::servesEveryField(kKeys));
constexpr tshell::KeyTable kTable = {"TEST", kKeys, std::size(kKeys), {}};
}  // namespace selecting

TEST_F(AccessorTest, TheEngineFollowsSelectionsOnlyInsideTheRecord) {
  Selecting record = {};
  record.window[3][1] = 7;  // beyond the rows in use: never shown, never written
  const struct {
    const char *key;
    const char *current;  // nullptr: a read
    uint32_t code;
    const char *read;  // what a read answers afterwards ("" when it is refused)
  } steps[] = {
      {":width", "640", 0, R"({"current":640})"},
      {"index", "2", 0, R"({"current":2})"},
      {":width", "1280", 0, R"({"current":1280})"},
      {":gains", "[1.5]", 0, R"({"current":[1.5,0.0]})"},
      {"index", "3", TCOMMON_OUT_OF_RANGE, R"({"current":2})"},
      {"index", "-1", TCOMMON_OUT_OF_RANGE, R"({"current":2})"},
      {"index", "0", 0, R"({"current":0})"},
      {":width", nullptr, 0, R"({"current":640})"},
      {"anyIndex", "-2", 0, R"({"current":-2})"},
      {":width", "1", TCOMMON_OUT_OF_RANGE, ""},
      {"anyIndex", "3", 0, R"({"current":3})"},
      {":gains", "[1]", TCOMMON_OUT_OF_RANGE, ""},
      {"rows", "5", TCOMMON_OUT_OF_RANGE, R"({"current":0})"},
      {"window", nullptr, 0, R"({"current":[]})"},
      {"rows", "2", 0, R"({"current":2})"},
      {"window", "[[1,2],[3,4],[5,6]]", 0, R"({"current":[[1.0,2.0],[3.0,4.0]]})"},
      {"flags", "[2,0,-1,5]", 0, R"({"current":[1,0,1]})"},
      {"microseconds", "[10000]", 0, R"({"current":[10000.0,0.0]})"},
  };
  for (const auto &step : steps) {
    SCOPED_TRACE(std::string(step.key) + "=" + (step.current ? step.current : "(read)"));
    auto serve = [&](TJsonValue *value) {
      return tshell::serveRecord(shell_, selecting::kTable, &record, step.key, value, SHELL_SITE);
    };
    EXPECT_EQ(run(step.current, serve), step.code);
    if (*step.read == '\0') continue;
    EXPECT_EQ(run(nullptr, serve), TCOMMON_SUCCESS);
    EXPECT_EQ(printed(), step.read);
  }
  EXPECT_EQ(record.entries[0].width, 640);
  EXPECT_EQ(record.entries[2].width, 1280);
  EXPECT_EQ(record.entries[1].width, 0);
  EXPECT_EQ(record.window[2][0], 0.0f);
  EXPECT_EQ(record.window[3][1], 7.0f);
  EXPECT_FLOAT_EQ(record.seconds[0], 0.01f);

  // A stored count beyond the table is clamped to its rows.
  record.rows = 200;
  EXPECT_EQ(run(nullptr,
                [&](TJsonValue *value) {
                  return tshell::serveRecord(shell_, selecting::kTable, &record, "window", value,
                                             SHELL_SITE);
                }),
            TCOMMON_SUCCESS);
  EXPECT_EQ(printed().find("[0.0,7.0]]}"), printed().size() - 11);
}

}  // namespace
