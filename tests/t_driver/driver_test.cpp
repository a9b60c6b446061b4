#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "driver_blocks.h"
#include "driver_internal.h"
#include "t_driver.h"

// Blocks of this test only, on the report record that every database has.
TDRIVER_BLOCK(TestReport, "RPT");
TDRIVER_BLOCK_PUSH_ONLY(TestReportPushOnly, "RPT");

namespace {

constexpr uint32_t kMeasured = 4242;

uint32_t measureTransmit(TDriver *, const char *, void *record) {
  static_cast<TDatabaseReport *>(record)->transmit = kMeasured;
  return TCOMMON_SUCCESS;
}

}  // namespace

TDRIVER_BLOCK_MEASURED(TestReportMeasured, "RPT", measureTransmit);

bool operator==(const TDatabaseReport &a, const TDatabaseReport &b) {
  return a.driver == b.driver && a.shell == b.shell && a.transmit == b.transmit;
}

namespace {

constexpr uint32_t kOff = TDRIVER_STATE_OFF;
constexpr uint32_t kInit = TDRIVER_STATE_INITIALIZED;
constexpr uint32_t kStreaming = TDRIVER_STATE_STREAMING;
constexpr uint32_t kRefused = TCOMMON_NOT_INITIALIZED;

constexpr uint32_t kNo = 100;  // in a state table: refused with 8, state unchanged

using Call = uint32_t (*)(TDriver *);
constexpr Call kInit0 = [](TDriver *d) { return TDriver_init(d, 0); };
constexpr Call kInit1 = [](TDriver *d) { return TDriver_init(d, 1); };
constexpr Call kStream0 = [](TDriver *d) { return TDriver_stream(d, 0); };
constexpr Call kStream1 = [](TDriver *d) { return TDriver_stream(d, 1); };
constexpr Call kInject1 = [](TDriver *d) { return TDriver_inject(d, 1); };
constexpr Call kPush = [](TDriver *d) { return TDriverTestReport_process(d, 0); };
constexpr Call kProcess1 = [](TDriver *d) { return TDriverTestReport_process(d, 1); };
constexpr Call kStatistics0 = [](TDriver *d) { return TDriverTestReport_statistics(d, 0); };
constexpr Call kStatistics1 = [](TDriver *d) { return TDriverTestReport_statistics(d, 1); };
enum Counter { kNeither, kPushes, kReadBacks };  // what a call counts when it succeeds

class DriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_open(database_, &driver_), TCOMMON_SUCCESS);
    void *record = nullptr;
    ASSERT_EQ(TDatabase_query(database_, "RPT", &record), TCOMMON_SUCCESS);
    report_ = static_cast<TDatabaseReport *>(record);
  }
  void TearDown() override {
    EXPECT_EQ(TDriver_close(&driver_), TCOMMON_SUCCESS);
    TDatabase_close(&database_);
  }

  // Brings the driver into state with an empty journal and no faults.
  void reach(uint32_t state) {
    ASSERT_EQ(TDriverFault_clear(driver_), 0u);
    ASSERT_EQ(TDriver_deinit(driver_), 0u);
    ASSERT_EQ(state == kOff ? 0u : TDriver_init(driver_, 0), 0u);
    ASSERT_EQ(state == kStreaming ? TDriver_stream(driver_, 1) : 0u, 0u);
    ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
  }
  TDriverStatus status() {
    TDriverStatus status{};
    EXPECT_EQ(TDriver_status(driver_, &status), TCOMMON_SUCCESS);
    return status;
  }
  std::string journal() {
    const char *text = nullptr;
    EXPECT_EQ(TDriverJournal_get(driver_, &text), TCOMMON_SUCCESS);
    return text == nullptr ? std::string("<null>") : std::string(text);
  }
  // The hardware state of the report block, or {} when it was never programmed.
  TDatabaseReport hardware() {
    TDatabaseReport hardware{};
    TDriverHardware_get(driver_, "RPT", &hardware);
    return hardware;
  }

  template <typename Record = void>
  Record *query(const char *category) {
    void *record = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &record), TCOMMON_SUCCESS) << category;
    return static_cast<Record *>(record);
  }
  // The settings fields of a record of category, in an otherwise zeroed record.
  static std::vector<std::byte> settingsOf(const char *category, const void *record) {
    uint64_t size = 0;
    EXPECT_EQ(TDatabase_recordSize(category, &size), TCOMMON_SUCCESS) << category;
    std::vector<std::byte> settings(size);
    EXPECT_EQ(TDatabase_copyRecord(category, settings.data(), record), TCOMMON_SUCCESS);
    return settings;
  }
  std::vector<std::byte> hardwareOf(const char *category) {
    uint64_t size = 0;
    EXPECT_EQ(TDatabase_recordSize(category, &size), TCOMMON_SUCCESS) << category;
    std::vector<std::byte> hardware(size);
    EXPECT_EQ(TDriverHardware_get(driver_, category, hardware.data()), TCOMMON_SUCCESS);
    return hardware;
  }

  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
  TDatabaseReport *report_ = nullptr;
};

// Every call from every state: its result, the state it leaves, what it counts, and its
// journal line; and the same call made to fail first, which is journaled and changes nothing.
TEST_F(DriverTest, StateMachineAndInjectedFaults) {
  struct Row {
    const char *line;
    Call run;
    Counter counter;
    uint32_t to[3];  // from off, initialised, streaming
  };
  const Row rows[] = {
      {"TDriver_init(0)", kInit0, kNeither, {kInit, kInit, kStreaming}},
      {"TDriver_init(1)", kInit1, kNeither, {kInit, kInit, kStreaming}},
      {"TDriver_stream(1)", kStream1, kNeither, {kNo, kStreaming, kStreaming}},
      {"TDriver_stream(0)", kStream0, kNeither, {kOff, kInit, kInit}},
      {"TDriver_deinit()", TDriver_deinit, kNeither, {kOff, kOff, kOff}},
      {"TDriver_inject(1)", kInject1, kNeither, {kOff, kInit, kStreaming}},
      {"TDriverTestReport_process(0)", kPush, kPushes, {kNo, kInit, kStreaming}},
      {"TDriverTestReport_process(1)", kProcess1, kReadBacks, {kNo, kNo, kStreaming}},
      {"TDriverTestReport_statistics(0)", kStatistics0, kReadBacks, {kNo, kNo, kStreaming}},
      {"TDriverTestReport_statistics(1)", kStatistics1, kReadBacks, {kNo, kNo, kStreaming}}};
  const auto fields = [](const TDriverStatus &s) {
    return std::tuple(s.state, s.isInject, s.isRaw, s.pushes, s.readBacks);
  };
  for (const Row &row : rows) {
    for (const uint32_t from : {kOff, kInit, kStreaming}) {
      SCOPED_TRACE(std::string(row.line) + " from state " + std::to_string(from));
      const std::string line = row.line;
      reach(from);
      *report_ = TDatabaseReport{31, 32, 33};  // differs from the hardware either way
      const TDatabaseReport programmed = hardware();
      const TDriverStatus before = status();
      ASSERT_EQ(TDriverFault_set(driver_, line.substr(0, line.find('(')).c_str(), 13), 0u);
      EXPECT_EQ(row.run(driver_), 13u);
      EXPECT_EQ(fields(status()), fields(before));
      EXPECT_EQ(*report_, (TDatabaseReport{31, 32, 33}));
      EXPECT_EQ(hardware(), programmed);

      ASSERT_EQ(TDriverFault_clear(driver_), 0u);
      const bool refused = row.to[from] == kNo;
      EXPECT_EQ(row.run(driver_), refused ? kRefused : 0u);
      const TDriverStatus after = status();
      EXPECT_EQ(after.state, refused ? from : row.to[from]);
      EXPECT_EQ(after.pushes - before.pushes, !refused && row.counter == kPushes);
      EXPECT_EQ(after.readBacks - before.readBacks, !refused && row.counter == kReadBacks);
      EXPECT_EQ(journal(), line + "\n" + line + "\n");
    }
  }
}

TEST_F(DriverTest, InitProgramsEveryBlockFromTheDatabase) {
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  std::pair<TDatabase *, TDriver *> both{database_, driver_};
  const auto compare = [](void *context, const char *category) -> uint32_t {
    const auto [database, driver] = *static_cast<decltype(both) *>(context);
    uint64_t size = 0;
    void *record = nullptr;
    if (TDatabase_recordSize(category, &size) != 0) return TCOMMON_FAILED;
    if (TDatabase_query(database, category, &record) != 0) return TCOMMON_FAILED;
    // Settings only: both sides pass through the same copy from zeroed records.
    std::vector<std::byte> expected(size), programmed(size);
    EXPECT_EQ(TDatabase_copyRecord(category, expected.data(), record), 0u) << category;
    EXPECT_EQ(TDriverHardware_get(driver, category, programmed.data()), 0u) << category;
    EXPECT_EQ(programmed, expected) << category;
    return TCOMMON_SUCCESS;
  };
  ASSERT_EQ(TDatabase_forEachCategory(compare, &both), 0u);

  // Init when initialised does not program again; after deinit it does.
  const TDatabaseReport programmed = *report_;
  report_->driver += 11;
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  EXPECT_EQ(hardware(), programmed);
  ASSERT_EQ(TDriver_deinit(driver_), 0u);
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  EXPECT_EQ(hardware(), *report_);
}

TEST_F(DriverTest, PushLatchesTheRecordAndReadBackRestoresIt) {
  reach(kInit);
  const TDatabaseReport pushed{101, 202, 303}, edited{1, 2, 3};
  *report_ = pushed;
  ASSERT_EQ(TDriverTestReport_process(driver_, 0), 0u);
  *report_ = edited;  // later edits stay in the database
  EXPECT_EQ(hardware(), pushed);
  EXPECT_EQ(TDriverTestReport_statistics(driver_, 1), kRefused);
  EXPECT_EQ(*report_, edited) << "a refused read-back leaves the record";

  ASSERT_EQ(TDriver_stream(driver_, 1), 0u);
  ASSERT_EQ(TDriverTestReport_statistics(driver_, 1), 0u);
  EXPECT_EQ(*report_, pushed);

  // A measuring block runs its hook after the copy and leaves the hardware alone.
  report_->transmit = 0;
  ASSERT_EQ(TDriverTestReportMeasured_statistics(driver_, 1), 0u);
  EXPECT_EQ(*report_, (TDatabaseReport{101, 202, kMeasured}));
  EXPECT_EQ(hardware(), pushed);

  EXPECT_EQ(tdriver::blockTransfer(driver_, "TDriverTestReport_process", "NONE", 0,
                                   tdriver::Direction::kPush),
            TCOMMON_NOT_REGISTERED);
}

TEST_F(DriverTest, JournalLineNumbersGoOnAcrossClears) {
  const char *lines = nullptr;
  uint64_t next = 99;
  const auto since = [&](uint64_t first) {
    EXPECT_EQ(TDriverJournal_since(driver_, first, &lines, &next), 0u);
    return std::string(lines) + "next " + std::to_string(next);
  };
  EXPECT_EQ(since(0), "next 0");
  TDriver_init(driver_, 0);    // 0
  TDriver_stream(driver_, 1);  // 1
  TDriver_inject(driver_, 1);  // 2
  EXPECT_EQ(since(1), "TDriver_stream(1)\nTDriver_inject(1)\nnext 3");
  EXPECT_EQ(since(3), "next 3");
  ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
  TDriver_raw(driver_, 1);  // 3
  TDriver_deinit(driver_);  // 4
  EXPECT_EQ(since(0), "TDriver_raw(1)\nTDriver_deinit()\nnext 5") << "cleared lines are gone";
  EXPECT_EQ(since(4), "TDriver_deinit()\nnext 5");
  EXPECT_EQ(since(1000), "next 5");
}

TEST_F(DriverTest, ConcurrentCallersLoseNoJournalLine) {
  reach(kStreaming);
  constexpr int kThreads = 4, kRounds = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < kRounds; ++i) {
        EXPECT_EQ(TDriverTestReport_process(driver_, 0), 0u);
        EXPECT_EQ(TDriverTestReport_statistics(driver_, 1), 0u);
        EXPECT_EQ(TDriver_inject(driver_, 1), 0u);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  std::map<std::string, int> lines;
  std::istringstream text(journal());
  for (std::string line; std::getline(text, line);) ++lines[line];
  EXPECT_EQ(lines,
            (std::map<std::string, int>{{"TDriverTestReport_process(0)", kThreads * kRounds},
                                        {"TDriverTestReport_statistics(1)", kThreads * kRounds},
                                        {"TDriver_inject(1)", kThreads * kRounds}}));
  EXPECT_EQ(status().pushes, uint64_t{kThreads * kRounds});
  EXPECT_EQ(status().readBacks, uint64_t{kThreads * kRounds});
}

// Beside what the state table shows for every call: faults of several functions at once,
// arguments of several digits, a journal text that outlives later calls, and clearing.
TEST_F(DriverTest, FaultsAndJournalAcrossCalls) {
  kInit1(driver_);
  const char *early = nullptr;
  ASSERT_EQ(TDriverJournal_get(driver_, &early), 0u);
  EXPECT_EQ(TDriverTestReportPushOnly_process(driver_, 255), kRefused);  // a read-back
  EXPECT_STREQ(early, "TDriver_init(1)\n") << "survives later driver calls";
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_inject", 9), 0u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_raw", 7), 0u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_raw", 12), 0u);  // replaces 7
  EXPECT_EQ(TDriver_inject(driver_, 1), 9u);
  EXPECT_EQ(TDriver_raw(driver_, 1), 12u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_inject", 0), 0u);  // removes that fault only
  EXPECT_EQ(TDriver_inject(driver_, 17), 0u);
  EXPECT_EQ(TDriver_raw(driver_, 1), 12u);
  EXPECT_EQ(status().isInject, 1) << "17 is stored as 1";
  EXPECT_EQ(status().isRaw, 0) << "the faulted calls stored nothing";
  EXPECT_EQ(journal(),
            "TDriver_init(1)\nTDriverTestReportPushOnly_process(255)\nTDriver_inject(1)\n"
            "TDriver_raw(1)\nTDriver_inject(17)\nTDriver_raw(1)\n");
  ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
  EXPECT_EQ(journal(), "");
  for (const char *known : {"TDriverTestReportMeasured_statistics", "TDriverTestReport_statistics"})
    EXPECT_EQ(TDriverFault_set(driver_, known, 8), 0u) << known;
  for (const char *unknown : {"TDriver_status", "TDriverJournal_get", "TDriverFault_set",
                              "TDriverHardware_get", "TDriverTestReportPushOnly_statistics",
                              "TDriverNoSuchBlock_process", "tdriver_init", "TDriver_init ", ""})
    EXPECT_EQ(TDriverFault_set(driver_, unknown, 8), TCOMMON_NOT_FOUND) << unknown;
}

// ---- The blocks of the ISP -----------------------------------------------------------------

struct BlockCase {
  const char *name;  // prefix of its functions
  const char *category;
  uint32_t (*process)(TDriver *, uint8_t);
  uint32_t (*statistics)(TDriver *, uint8_t);  // nullptr for a block without one
};

#define READ_BACK_BLOCK(Name, category) \
  { "TDriver" #Name, category, TDriver##Name##_process, TDriver##Name##_statistics }
#define PUSH_ONLY_BLOCK(Name, category) \
  { "TDriver" #Name, category, TDriver##Name##_process, nullptr }

const BlockCase kBlocks[] = {
    READ_BACK_BLOCK(2DNoiseReduction_6, "2DNR_6"),
    READ_BACK_BLOCK(3DNoiseReduction_4, "3DNR_4"),
    READ_BACK_BLOCK(BlackLevelSubtraction, "BLS"),
    READ_BACK_BLOCK(ColorCorrectionMatrix, "CCM"),
    READ_BACK_BLOCK(ColorNoiseReduction_2_2, "CNR_2_2"),
    READ_BACK_BLOCK(ColorProcess_1_2, "CP_1_2"),
    READ_BACK_BLOCK(DigitalGain, "DG"),
    READ_BACK_BLOCK(DeMosaic_3, "DMSC_3"),
    READ_BACK_BLOCK(DefectPixelClusterCorrection, "DPCC"),
    READ_BACK_BLOCK(ExposureControl_2, "EC_2"),
    READ_BACK_BLOCK(EdgeEnhance_3, "EE_3"),
    READ_BACK_BLOCK(FocusControl, "FC"),
    READ_BACK_BLOCK(GammaCorrection_2, "GC_2"),
    READ_BACK_BLOCK(Histogram, "HTG"),
    READ_BACK_BLOCK(Histogram_2, "HTG_2"),
    READ_BACK_BLOCK(LensShadingCorrection_3, "LSC_3"),
    READ_BACK_BLOCK(WhiteBalance_1_1, "WB_1_1"),
    READ_BACK_BLOCK(WideDynamicRange_5_2_1, "WDR_5_2_1"),
    PUSH_ONLY_BLOCK(3AInterface_2, "3AI_2"),
    PUSH_ONLY_BLOCK(Compand_1_1, "CPD_1_1"),
    PUSH_ONLY_BLOCK(GreenEquilibration, "GE"),
    PUSH_ONLY_BLOCK(HighDynamicRange_3_2Dol, "HDR_3_2DOL"),
    PUSH_ONLY_BLOCK(RgbInfraredRadiation, "RGBIR"),
    PUSH_ONLY_BLOCK(RgbInfraredRadiation_1_1, "RGBIR_1_1"),
    PUSH_ONLY_BLOCK(Isp, "ISP"),
    PUSH_ONLY_BLOCK(Output, "OPT"),
    PUSH_ONLY_BLOCK(Sensor, "SS"),
};

// Each block is generated by one macro line, whose state rules the tests above cover: here,
// that every block's functions reach its own category's record and are journaled and
// faultable under their own names.
TEST_F(DriverTest, EveryBlockMovesItsOwnRecord) {
  for (const BlockCase &block : kBlocks) {
    SCOPED_TRACE(block.category);
    const std::string process = std::string(block.name) + "_process";
    const std::string statistics = std::string(block.name) + "_statistics";
    EXPECT_EQ(TDriverFault_set(driver_, statistics.c_str(), 8),
              block.statistics != nullptr ? 0u : uint32_t{TCOMMON_NOT_FOUND});
    reach(kStreaming);
    void *record = query(block.category);
    const std::vector<std::byte> defaults = settingsOf(block.category, record);
    ASSERT_EQ(block.process(driver_, 0), 0u);
    std::string expected = process + "(0)\n";
    for (auto readBack : {block.process, block.statistics}) {
      if (readBack == nullptr) continue;
      std::memset(record, 0, defaults.size());
      ASSERT_NE(settingsOf(block.category, record), defaults) << "the read-back would show nothing";
      ASSERT_EQ(readBack(driver_, 1), 0u);
      EXPECT_EQ(settingsOf(block.category, record), defaults);
      expected += (readBack == block.process ? process : statistics) + "(1)\n";
    }
    EXPECT_EQ(journal(), expected);
  }
}

TEST_F(DriverTest, IspReadBackReportsTheHardwareIdentity) {
  auto *isp = query<TDatabaseIsp>("ISP");
  reach(kStreaming);
  isp->isEnable = 0;
  isp->hwId = 0x1234;  // a client cannot change what the hardware is
  ASSERT_EQ(TDriverIsp_process(driver_, 0), 0u);
  isp->isEnable = 1;
  isp->hwId = 0;
  ASSERT_EQ(TDriverIsp_process(driver_, 1), 0u);
  EXPECT_EQ(isp->isEnable, 0);
  EXPECT_EQ(isp->hwId, TDATABASE_ISP_HW_ID);
}

// ---- Registers -----------------------------------------------------------------------------

struct Transfer {
  const char *address;
  uint32_t type;
  bool isRead;
  const char *value;  // written, or (for an accepted read) what the read gives
};

// Like the shell fills it: a text of the buffer's size has no NUL.
template <size_t N>
void fill(char (&buffer)[N], const char *text) {
  const size_t length = std::min(std::strlen(text), N);
  std::memcpy(buffer, text, length);
  std::memset(buffer + length, 0, N - length);
}

TDatabaseRegister recordOf(const Transfer &transfer, const char *value) {
  TDatabaseRegister record;
  std::memset(&record, 0, sizeof(record));  // padding too: records compare bytewise
  fill(record.address, transfer.address);
  record.isRead = transfer.isRead ? 1 : 0;
  record.type = transfer.type;
  fill(record.value, value);
  return record;
}

bool sameBytes(const TDatabaseRegister &a, const TDatabaseRegister &b) {
  return std::memcmp(&a, &b, sizeof(a)) == 0;
}

std::string journalLine(const Transfer &transfer) {
  return std::string("TDriverRegister_process(") + (transfer.isRead ? "1" : "0") + ")\n";
}

class RegisterTest : public DriverTest {
 protected:
  uint32_t run(const Transfer &transfer, TDatabaseRegister *after = nullptr) {
    // A read starts from a value that fills the buffer, to show what it leaves behind.
    TDatabaseRegister record = recordOf(transfer, transfer.isRead ? "0x99999999" : transfer.value);
    const uint32_t code = TDriverRegister_process(driver_, &record);
    if (after != nullptr) *after = record;
    return code;
  }
  std::string read(const char *address, uint32_t type = 0) {
    TDatabaseRegister record{};
    EXPECT_EQ(run({address, type, true, ""}, &record), 0u) << address;
    return std::string(record.value, strnlen(record.value, sizeof(record.value)));
  }
};

TEST_F(RegisterTest, WritesAndReadsBack) {
  const Transfer transfers[] = {
      {"0", 0, true, "0x5A170102"},  // the identification register; fills the value buffer
      {"0x1000", 0, true, "0x0"},    // never written
      {"4096", 0, false, "0x12345678"},
      {"0x1000", 0, true, "0x12345678"},
      {"0X1000", 1, false, "0xabcd"},  // the low half only
      {"4096", 0, true, "0x1234ABCD"},
      {"4096", 2, false, "255"},  // the low byte only
      {"0x1000", 0, true, "0x1234ABFF"},
      {"0x1000", 1, true, "0xABFF"},
      {"0x1000", 2, true, "0xFF"},
      {"0x00001000", 0, true, "0x1234ABFF"},  // ten characters, no NUL
      {"0x0FFF", 0, true, "0x0"},
      {"0x1001", 0, true, "0x0"},
      {"0xFFFFFFFF", 0, false, "4294967295"},  // both ten characters
      {"4294967295", 1, true, "0xFFFF"},
      {"4294967295", 0, true, "0xFFFFFFFF"},
      {"0000000001", 1, false, "0x0000007f"},  // leading zeros
      {"1", 0, true, "0x7F"},
      {"0x2000", 2, false, "0x80"},
      {"0x2000", 0, true, "0x80"},
  };
  std::string expectedJournal;
  for (const Transfer &transfer : transfers) {
    SCOPED_TRACE(std::string(transfer.address) + (transfer.isRead ? " read " : " write ") +
                 transfer.value);
    TDatabaseRegister after{};
    ASSERT_EQ(run(transfer, &after), 0u);
    // A read writes its value text, zero-filled; nothing else of the record changes.
    EXPECT_TRUE(sameBytes(after, recordOf(transfer, transfer.value)));
    expectedJournal += journalLine(transfer);
  }
  EXPECT_EQ(journal(), expectedJournal);

  // The bank answers in every stream state and keeps its content across them.
  for (const uint32_t state : {kOff, kInit, kStreaming, kOff}) {
    reach(state);
    EXPECT_EQ(run({"0x3000", 0, false, std::to_string(state).c_str()}), 0u);
    EXPECT_EQ(read("0x3000"), "0x" + std::to_string(state));
    EXPECT_EQ(read("0x1000"), "0x1234ABFF");
  }
}

TEST_F(RegisterTest, RefusedTransfersChangeNothing) {
  ASSERT_EQ(run({"0x1000", 0, false, "0x12345678"}), 0u);
  std::vector<Transfer> refused;
  for (const char *text : {"", "0x", "0X", "x1", "12a", "0x1g", "-1", "+1", "0x-1", " 1", "1 ",
                           "0x 1", "1.0", "4294967296", "9999999999", "0x1_0"}) {
    refused.push_back({text, 0, true, "0x5"});  // an address that is no address
    refused.push_back({text, 0, false, "5"});
    refused.push_back({"0x1000", 0, false, text});  // a value that is no value
  }
  refused.insert(refused.end(), {{"0x1000", 3, true, "0x5"},
                                 {"0x1000", 3, false, "1"},
                                 {"0x1000", UINT32_MAX, true, "0x5"},
                                 {"0x1000", 1, false, "0x10000"},  // wider than 16 bits
                                 {"0x1000", 1, false, "65536"},
                                 {"0x1000", 2, false, "256"}});
  for (const Transfer &transfer : refused) {
    SCOPED_TRACE(std::string("'") + transfer.address + "' type " + std::to_string(transfer.type) +
                 (transfer.isRead ? " read '" : " write '") + transfer.value + "'");
    ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
    TDatabaseRegister record = recordOf(transfer, transfer.value);
    const TDatabaseRegister before = record;
    EXPECT_EQ(TDriverRegister_process(driver_, &record), TCOMMON_WRONG_CONFIGURATION);
    EXPECT_TRUE(sameBytes(record, before));
    EXPECT_EQ(journal(), journalLine(transfer));
    EXPECT_EQ(read("0x1000"), "0x12345678");
  }

  // Beyond 32 bits in hexadecimal needs more than the ten bytes a record holds.
  uint32_t value = 7;
  EXPECT_FALSE(tdriver::parseRegisterText("0x100000000", 11, &value));
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(tdriver::parseRegisterText("0x0FFFFFFFF", 11, &value));
  EXPECT_EQ(value, UINT32_MAX);
  EXPECT_TRUE(tdriver::parseRegisterText("12345", 3, &value)) << "reads no further than size";
  EXPECT_EQ(value, 123u);
}

TEST_F(RegisterTest, FaultsAndMissingArguments) {
  ASSERT_EQ(run({"0x10", 0, false, "0x77"}), 0u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriverRegister_process", 13), 0u);
  for (const Transfer &transfer : {Transfer{"0x10", 0, false, "0x55"}, {"0x10", 0, true, "0x1"}}) {
    TDatabaseRegister record = recordOf(transfer, transfer.value);
    const TDatabaseRegister before = record;
    ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
    EXPECT_EQ(TDriverRegister_process(driver_, &record), 13u);
    EXPECT_TRUE(sameBytes(record, before));
    EXPECT_EQ(journal(), journalLine(transfer));
  }
  ASSERT_EQ(TDriverFault_clear(driver_), 0u);
  EXPECT_EQ(read("0x10"), "0x77");

  ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
  EXPECT_EQ(TDriverRegister_process(driver_, nullptr), TCOMMON_INVALID_ARGUMENT);
  TDatabaseRegister record = recordOf({"0", 0, true, ""}, "");
  EXPECT_EQ(TDriverRegister_process(nullptr, &record), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(journal(), "");
}

}  // namespace
