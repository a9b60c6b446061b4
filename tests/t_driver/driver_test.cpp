#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "driver_blocks.h"
#include "driver_internal.h"
#include "t_driver.h"

// Blocks of this test only, on the report record that every database has.
TDRIVER_BLOCK(TestReport, "RPT");
TDRIVER_BLOCK_PUSH_ONLY(TestReportPushOnly, "RPT");

namespace {

constexpr uint32_t kMeasured = 4242;

uint32_t measureTransmit(TDriver *, const char *category, void *record) {
  if (std::strcmp(category, "RPT") != 0) return TCOMMON_FAILED;
  static_cast<TDatabaseReport *>(record)->transmit = kMeasured;
  return TCOMMON_SUCCESS;
}

}  // namespace

TDRIVER_BLOCK_MEASURED(TestReportMeasured, "RPT", measureTransmit);

namespace {

using tdriver::blockTransfer;
using tdriver::Direction;

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
    EXPECT_EQ(driver_, nullptr);
    TDatabase_close(&database_);
  }

  void reach(uint32_t state) {
    ASSERT_EQ(TDriver_deinit(driver_), 0u);
    if (state >= TDRIVER_STATE_INITIALIZED) {
      ASSERT_EQ(TDriver_init(driver_, 0), 0u);
    }
    if (state == TDRIVER_STATE_STREAMING) {
      ASSERT_EQ(TDriver_stream(driver_, 1), 0u);
    }
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
    return text == nullptr ? std::string() : std::string(text);
  }

  TDatabaseReport hardwareReport() {
    TDatabaseReport hardware{};
    EXPECT_EQ(TDriverHardware_get(driver_, "RPT", &hardware), TCOMMON_SUCCESS);
    return hardware;
  }

  uint32_t pushReport() {
    return blockTransfer(driver_, "TDriverTestReport_process", "RPT", 0, Direction::kPush);
  }
  uint32_t readBackReport() {
    return blockTransfer(driver_, "TDriverTestReport_statistics", "RPT", 1, Direction::kReadBack);
  }

  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
  TDatabaseReport *report_ = nullptr;
};

// ---- State machine --------------------------------------------------------------------------

TEST_F(DriverTest, StateMachine) {
  struct Case {
    uint32_t from;
    const char *call;
    std::function<uint32_t(TDriver *)> run;
    uint32_t code;
    uint32_t to;
  };
  constexpr uint32_t kOff = TDRIVER_STATE_OFF;
  constexpr uint32_t kInit = TDRIVER_STATE_INITIALIZED;
  constexpr uint32_t kStreaming = TDRIVER_STATE_STREAMING;
  constexpr uint32_t kRefused = TCOMMON_NOT_INITIALIZED;
  const auto init0 = [](TDriver *d) { return TDriver_init(d, 0); };
  const auto init1 = [](TDriver *d) { return TDriver_init(d, 1); };
  const auto stream1 = [](TDriver *d) { return TDriver_stream(d, 1); };
  const auto stream0 = [](TDriver *d) { return TDriver_stream(d, 0); };
  const auto deinit = [](TDriver *d) { return TDriver_deinit(d); };
  const auto push = [](TDriver *d) { return TDriverTestReport_process(d, 0); };
  const auto processRead = [](TDriver *d) { return TDriverTestReport_process(d, 1); };
  const auto statistics0 = [](TDriver *d) { return TDriverTestReport_statistics(d, 0); };
  const auto statistics1 = [](TDriver *d) { return TDriverTestReport_statistics(d, 1); };
  const Case cases[] = {
      {kOff, "init(0)", init0, 0, kInit},
      {kOff, "init(1)", init1, 0, kInit},
      {kOff, "stream(1)", stream1, kRefused, kOff},
      {kOff, "stream(0)", stream0, 0, kOff},
      {kOff, "deinit", deinit, 0, kOff},
      {kOff, "push", push, kRefused, kOff},
      {kOff, "process(1)", processRead, kRefused, kOff},
      {kOff, "statistics(0)", statistics0, kRefused, kOff},
      {kOff, "statistics(1)", statistics1, kRefused, kOff},
      {kInit, "init(0)", init0, 0, kInit},
      {kInit, "stream(1)", stream1, 0, kStreaming},
      {kInit, "stream(0)", stream0, 0, kInit},
      {kInit, "deinit", deinit, 0, kOff},
      {kInit, "push", push, 0, kInit},
      {kInit, "process(1)", processRead, kRefused, kInit},
      {kInit, "statistics(0)", statistics0, kRefused, kInit},
      {kInit, "statistics(1)", statistics1, kRefused, kInit},
      {kStreaming, "init(0)", init0, 0, kStreaming},
      {kStreaming, "stream(1)", stream1, 0, kStreaming},
      {kStreaming, "stream(0)", stream0, 0, kInit},
      {kStreaming, "deinit", deinit, 0, kOff},
      {kStreaming, "push", push, 0, kStreaming},
      {kStreaming, "process(1)", processRead, 0, kStreaming},
      {kStreaming, "statistics(0)", statistics0, 0, kStreaming},
      {kStreaming, "statistics(1)", statistics1, 0, kStreaming},
  };
  for (const Case &c : cases) {
    reach(c.from);
    EXPECT_EQ(c.run(driver_), c.code) << c.call << " from state " << c.from;
    EXPECT_EQ(status().state, c.to) << c.call << " from state " << c.from;
  }
}

TEST_F(DriverTest, CountersCountOnlyTransfersThatReachTheHardware) {
  EXPECT_EQ(TDriverTestReport_process(driver_, 0), TCOMMON_NOT_INITIALIZED);
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  EXPECT_EQ(status().pushes, 0u) << "programming at init is not a push";
  EXPECT_EQ(TDriverTestReport_statistics(driver_, 1), TCOMMON_NOT_INITIALIZED);
  EXPECT_EQ(TDriverTestReport_process(driver_, 0), 0u);
  EXPECT_EQ(TDriverTestReportPushOnly_process(driver_, 0), 0u);
  ASSERT_EQ(TDriver_stream(driver_, 1), 0u);
  EXPECT_EQ(TDriverTestReport_statistics(driver_, 1), 0u);
  EXPECT_EQ(TDriverTestReport_process(driver_, 1), 0u);
  EXPECT_EQ(TDriverTestReportPushOnly_process(driver_, 1), 0u);
  const TDriverStatus s = status();
  EXPECT_EQ(s.pushes, 2u);
  EXPECT_EQ(s.readBacks, 3u);
}

TEST_F(DriverTest, InjectAndRawAreStoredInAnyState) {
  for (uint32_t state : {TDRIVER_STATE_OFF, TDRIVER_STATE_STREAMING}) {
    reach(state);
    ASSERT_EQ(TDriver_inject(driver_, 1), 0u);
    ASSERT_EQ(TDriver_raw(driver_, 7), 0u);
    EXPECT_EQ(status().isInject, 1);
    EXPECT_EQ(status().isRaw, 1);
    ASSERT_EQ(TDriver_inject(driver_, 0), 0u);
    EXPECT_EQ(status().isInject, 0);
    EXPECT_EQ(status().isRaw, 1);
    EXPECT_EQ(status().state, state);
    ASSERT_EQ(TDriver_raw(driver_, 0), 0u);
  }
}

// ---- Hardware state -------------------------------------------------------------------------

TEST_F(DriverTest, InitProgramsEveryBlockFromTheDatabase) {
  std::vector<std::string> categories;
  ASSERT_EQ(TDatabase_forEachCategory(
                [](void *context, const char *category) -> uint32_t {
                  static_cast<std::vector<std::string> *>(context)->push_back(category);
                  return 0;
                },
                &categories),
            0u);
  ASSERT_FALSE(categories.empty());
  for (const std::string &category : categories) {
    std::vector<std::byte> scratch(64);
    EXPECT_EQ(TDriverHardware_get(driver_, category.c_str(), scratch.data()), TCOMMON_OUT_OF_RANGE)
        << category << " is programmed before init";
  }

  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  for (const std::string &category : categories) {
    uint64_t size = 0;
    ASSERT_EQ(TDatabase_recordSize(category.c_str(), &size), 0u) << category;
    void *record = nullptr;
    ASSERT_EQ(TDatabase_query(database_, category.c_str(), &record), 0u) << category;
    // Compare settings only: both sides pass through the same copy from zeroed records.
    std::vector<std::byte> expected(size), hardware(size);
    ASSERT_EQ(TDatabase_copyRecord(category.c_str(), expected.data(), record), 0u);
    ASSERT_EQ(TDriverHardware_get(driver_, category.c_str(), hardware.data()), 0u) << category;
    EXPECT_EQ(hardware, expected) << category;
  }
  EXPECT_EQ(hardwareReport().driver, report_->driver);
}

TEST_F(DriverTest, InitWhenInitialisedDoesNotReprogram) {
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  const uint32_t programmed = report_->driver;
  report_->driver = programmed + 11;
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  EXPECT_EQ(hardwareReport().driver, programmed);
  // After deinit, init programs again.
  ASSERT_EQ(TDriver_deinit(driver_), 0u);
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  EXPECT_EQ(hardwareReport().driver, programmed + 11);
}

TEST_F(DriverTest, PushLatchesTheRecord) {
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  *report_ = TDatabaseReport{101, 202, 303};
  ASSERT_EQ(pushReport(), 0u);
  *report_ = TDatabaseReport{1, 2, 3};  // later edits stay in the database
  const TDatabaseReport hardware = hardwareReport();
  EXPECT_EQ(hardware.driver, 101u);
  EXPECT_EQ(hardware.shell, 202u);
  EXPECT_EQ(hardware.transmit, 303u);
  EXPECT_EQ(report_->driver, 1u);
}

TEST_F(DriverTest, ReadBackWhileStreamingRestoresTheRecordFromHardware) {
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  *report_ = TDatabaseReport{101, 202, 303};
  ASSERT_EQ(pushReport(), 0u);
  ASSERT_EQ(TDriver_stream(driver_, 1), 0u);
  *report_ = TDatabaseReport{1, 2, 3};
  ASSERT_EQ(readBackReport(), 0u);
  EXPECT_EQ(report_->driver, 101u);
  EXPECT_EQ(report_->shell, 202u);
  EXPECT_EQ(report_->transmit, 303u);
  // The read-back leaves the hardware as it was.
  EXPECT_EQ(hardwareReport().driver, 101u);
}

TEST_F(DriverTest, ReadBackWhileOnlyInitialisedIsRefusedAndLeavesTheRecord) {
  ASSERT_EQ(TDriver_init(driver_, 0), 0u);
  *report_ = TDatabaseReport{101, 202, 303};
  ASSERT_EQ(pushReport(), 0u);
  *report_ = TDatabaseReport{1, 2, 3};
  EXPECT_EQ(readBackReport(), TCOMMON_NOT_INITIALIZED);
  EXPECT_EQ(report_->driver, 1u);
  EXPECT_EQ(report_->shell, 2u);
  EXPECT_EQ(report_->transmit, 3u);
}

TEST_F(DriverTest, ReadBackHookRunsAfterTheCopy) {
  reach(TDRIVER_STATE_STREAMING);
  *report_ = TDatabaseReport{5, 6, 7};
  ASSERT_EQ(TDriverTestReportMeasured_process(driver_, 0), 0u);
  report_->driver = 0;
  ASSERT_EQ(TDriverTestReportMeasured_statistics(driver_, 1), 0u);
  EXPECT_EQ(report_->driver, 5u);
  EXPECT_EQ(report_->transmit, kMeasured);
  EXPECT_EQ(hardwareReport().transmit, 7u) << "a measurement does not change the hardware";
  // The plain block of the same record hands back the latched settings only.
  ASSERT_EQ(TDriverTestReport_statistics(driver_, 1), 0u);
  EXPECT_EQ(report_->transmit, 7u);
}

TEST_F(DriverTest, UnknownCategory) {
  reach(TDRIVER_STATE_STREAMING);
  EXPECT_EQ(blockTransfer(driver_, "TDriverNone_process", "NONE", 0, Direction::kPush),
            TCOMMON_NOT_REGISTERED);
  EXPECT_EQ(blockTransfer(driver_, "TDriverNone_statistics", "NONE", 1, Direction::kReadBack),
            TCOMMON_NOT_REGISTERED);
  TDatabaseReport scratch{};
  EXPECT_EQ(TDriverHardware_get(driver_, "NONE", &scratch), TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(status().pushes + status().readBacks, 0u);
}

// ---- Journal --------------------------------------------------------------------------------

TEST_F(DriverTest, JournalRecordsEveryCallAlsoFailedOnes) {
  EXPECT_EQ(journal(), "");
  TDriverStatus s{};
  TDatabaseReport scratch{};
  TDriver_stream(driver_, 1);  // refused: off
  TDriverTestReport_process(driver_, 0);
  TDriver_init(driver_, 1);
  TDriver_stream(driver_, 1);
  TDriverTestReport_statistics(driver_, 1);
  TDriverTestReportPushOnly_process(driver_, 255);
  TDriver_inject(driver_, 1);
  TDriver_raw(driver_, 0);
  TDriver_status(driver_, &s);                    // not journaled
  TDriverHardware_get(driver_, "RPT", &scratch);  // not journaled
  TDriverFault_set(driver_, "TDriver_raw", 9);    // not journaled
  TDriver_raw(driver_, 1);                        // fails by the fault
  TDriver_deinit(driver_);
  EXPECT_EQ(journal(),
            "TDriver_stream(1)\n"
            "TDriverTestReport_process(0)\n"
            "TDriver_init(1)\n"
            "TDriver_stream(1)\n"
            "TDriverTestReport_statistics(1)\n"
            "TDriverTestReportPushOnly_process(255)\n"
            "TDriver_inject(1)\n"
            "TDriver_raw(0)\n"
            "TDriver_raw(1)\n"
            "TDriver_deinit()\n");
  ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
  EXPECT_EQ(journal(), "");
  TDriver_init(driver_, 0);
  EXPECT_EQ(journal(), "TDriver_init(0)\n");
}

TEST_F(DriverTest, JournalTextSurvivesLaterCalls) {
  TDriver_init(driver_, 0);
  const char *text = nullptr;
  ASSERT_EQ(TDriverJournal_get(driver_, &text), 0u);
  for (int i = 0; i < 100; ++i) TDriver_inject(driver_, 1);
  EXPECT_STREQ(text, "TDriver_init(0)\n");
}

TEST_F(DriverTest, JournalSequenceNumbersGoOnAcrossClears) {
  std::string lines;
  uint64_t next = 99;
  ASSERT_EQ(tdriver::journalSince(driver_, 0, &lines, &next), 0u);
  EXPECT_EQ(lines, "");
  EXPECT_EQ(next, 0u);

  TDriver_init(driver_, 0);    // 0
  TDriver_stream(driver_, 1);  // 1
  TDriver_inject(driver_, 1);  // 2
  ASSERT_EQ(tdriver::journalSince(driver_, 1, &lines, &next), 0u);
  EXPECT_EQ(lines, "TDriver_stream(1)\nTDriver_inject(1)\n");
  EXPECT_EQ(next, 3u);
  ASSERT_EQ(tdriver::journalSince(driver_, next, &lines, &next), 0u);
  EXPECT_EQ(lines, "");
  EXPECT_EQ(next, 3u);

  ASSERT_EQ(TDriverJournal_clear(driver_), 0u);
  TDriver_raw(driver_, 1);  // 3
  TDriver_deinit(driver_);  // 4
  // Lines cleared away are gone; the numbers are not reused.
  ASSERT_EQ(tdriver::journalSince(driver_, 0, &lines, &next), 0u);
  EXPECT_EQ(lines, "TDriver_raw(1)\nTDriver_deinit()\n");
  EXPECT_EQ(next, 5u);
  ASSERT_EQ(tdriver::journalSince(driver_, 4, &lines, &next), 0u);
  EXPECT_EQ(lines, "TDriver_deinit()\n");
  ASSERT_EQ(tdriver::journalSince(driver_, 1000, &lines, &next), 0u);
  EXPECT_EQ(lines, "");
  EXPECT_EQ(next, 5u);
}

TEST_F(DriverTest, ConcurrentCallsLoseNoJournalLine) {
  reach(TDRIVER_STATE_STREAMING);
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kRounds; ++i) {
        EXPECT_EQ(TDriverTestReport_process(driver_, 0), 0u);
        EXPECT_EQ(TDriverTestReport_statistics(driver_, 1), 0u);
        EXPECT_EQ(TDriver_inject(driver_, static_cast<uint8_t>(t)), 0u);
        TDriverStatus s{};
        EXPECT_EQ(TDriver_status(driver_, &s), 0u);
      }
    });
  }
  for (auto &thread : threads) thread.join();

  const std::string text = journal();
  std::vector<int> counts(3, 0);
  size_t start = 0;
  int lines = 0;
  while (start < text.size()) {
    const size_t end = text.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    const std::string line = text.substr(start, end - start);
    if (line == "TDriverTestReport_process(0)") {
      ++counts[0];
    } else if (line == "TDriverTestReport_statistics(1)") {
      ++counts[1];
    } else if (line.rfind("TDriver_inject(", 0) == 0) {
      ++counts[2];
    } else {
      ADD_FAILURE() << "unexpected line " << line;
    }
    ++lines;
    start = end + 1;
  }
  EXPECT_EQ(lines, 3 * kThreads * kRounds);
  for (int count : counts) EXPECT_EQ(count, kThreads * kRounds);
  EXPECT_EQ(status().pushes, uint64_t{kThreads * kRounds});
  EXPECT_EQ(status().readBacks, uint64_t{kThreads * kRounds});
}

// ---- Fault injection ------------------------------------------------------------------------

TEST_F(DriverTest, FaultedFunctionsReturnTheCodeAndChangeNothing) {
  struct Case {
    const char *function;
    uint32_t from;
    std::function<uint32_t(TDriver *)> run;
    const char *line;
  };
  const Case cases[] = {
      {"TDriver_init", TDRIVER_STATE_OFF, [](TDriver *d) { return TDriver_init(d, 0); },
       "TDriver_init(0)\n"},
      {"TDriver_stream", TDRIVER_STATE_INITIALIZED, [](TDriver *d) { return TDriver_stream(d, 1); },
       "TDriver_stream(1)\n"},
      {"TDriver_stream", TDRIVER_STATE_STREAMING, [](TDriver *d) { return TDriver_stream(d, 0); },
       "TDriver_stream(0)\n"},
      {"TDriver_deinit", TDRIVER_STATE_STREAMING, [](TDriver *d) { return TDriver_deinit(d); },
       "TDriver_deinit()\n"},
      {"TDriver_inject", TDRIVER_STATE_OFF, [](TDriver *d) { return TDriver_inject(d, 1); },
       "TDriver_inject(1)\n"},
      {"TDriver_raw", TDRIVER_STATE_OFF, [](TDriver *d) { return TDriver_raw(d, 1); },
       "TDriver_raw(1)\n"},
      {"TDriverTestReport_process", TDRIVER_STATE_STREAMING,
       [](TDriver *d) { return TDriverTestReport_process(d, 0); },
       "TDriverTestReport_process(0)\n"},
      {"TDriverTestReport_process", TDRIVER_STATE_STREAMING,
       [](TDriver *d) { return TDriverTestReport_process(d, 1); },
       "TDriverTestReport_process(1)\n"},
      {"TDriverTestReport_statistics", TDRIVER_STATE_STREAMING,
       [](TDriver *d) { return TDriverTestReport_statistics(d, 1); },
       "TDriverTestReport_statistics(1)\n"},
      {"TDriverTestReportPushOnly_process", TDRIVER_STATE_INITIALIZED,
       [](TDriver *d) { return TDriverTestReportPushOnly_process(d, 0); },
       "TDriverTestReportPushOnly_process(0)\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.line);
    reach(c.from);
    // Hardware and record differ, so that a transfer in either direction would show.
    *report_ = TDatabaseReport{31, 32, 33};
    TDatabaseReport hardwareBefore{};
    const uint32_t programmedBefore = TDriverHardware_get(driver_, "RPT", &hardwareBefore);
    const TDriverStatus before = status();

    ASSERT_EQ(TDriverFault_set(driver_, c.function, TCOMMON_PERMISSION_DENIED), 0u);
    EXPECT_EQ(c.run(driver_), TCOMMON_PERMISSION_DENIED);
    EXPECT_EQ(journal(), c.line);
    const TDriverStatus after = status();
    EXPECT_EQ(after.state, before.state);
    EXPECT_EQ(after.isInject, before.isInject);
    EXPECT_EQ(after.isRaw, before.isRaw);
    EXPECT_EQ(after.pushes, before.pushes);
    EXPECT_EQ(after.readBacks, before.readBacks);
    EXPECT_EQ(report_->driver, 31u);
    TDatabaseReport hardwareAfter{};
    EXPECT_EQ(TDriverHardware_get(driver_, "RPT", &hardwareAfter), programmedBefore);
    EXPECT_EQ(hardwareAfter.driver, hardwareBefore.driver);

    // The other functions are not affected, and clearing the fault restores this one.
    ASSERT_EQ(TDriverFault_clear(driver_), 0u);
    EXPECT_EQ(c.run(driver_), 0u);
  }
}

TEST_F(DriverTest, FaultCodeZeroRemovesOnlyThatFault) {
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_inject", 9), 0u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_raw", 7), 0u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_raw", 12), 0u);  // replaces 7
  EXPECT_EQ(TDriver_inject(driver_, 1), 9u);
  EXPECT_EQ(TDriver_raw(driver_, 1), 12u);
  EXPECT_EQ(TDriver_init(driver_, 0), 0u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_inject", 0), 0u);
  EXPECT_EQ(TDriver_inject(driver_, 1), 0u);
  EXPECT_EQ(TDriver_raw(driver_, 1), 12u);
  ASSERT_EQ(TDriverFault_set(driver_, "TDriver_init", 0), 0u);  // no fault to remove
}

TEST_F(DriverTest, FaultsOnlyForKnownFunctions) {
  for (const char *unknown : {"TDriver_status", "TDriverJournal_get", "TDriverFault_set",
                              "TDriverHardware_get", "TDriverTestReportPushOnly_statistics",
                              "TDriverNoSuchBlock_process", "tdriver_init", "TDriver_init ", ""}) {
    EXPECT_EQ(TDriverFault_set(driver_, unknown, 8), TCOMMON_NOT_FOUND) << unknown;
  }
  EXPECT_EQ(TDriverFault_set(driver_, nullptr, 8), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverFault_set(nullptr, "TDriver_init", 8), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDriverFault_set(driver_, "TDriverTestReportMeasured_statistics", 8), 0u);
  EXPECT_EQ(TDriverTestReportMeasured_statistics(driver_, 1), 8u);
}

}  // namespace
