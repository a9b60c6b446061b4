// Request processing of the shell: reply shape, permissions, result messages, the
// registry, the lock, and tracing. Test categories are added to the instance's map so the
// core can be driven with handlers whose behaviour the test controls.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"

namespace {

// What the probe handler saw, and what it should do. One probe at a time (tests run
// sequentially within this program).
struct Probe {
  std::vector<std::string> keys;
  std::vector<std::pair<uint64_t, uint64_t>> positions;  // (commandIndex, commandCount)
  std::vector<bool> readFlags;
  int64_t stored = 0;
  uint32_t result = TCOMMON_SUCCESS;
  std::vector<std::string> messages;  // queued by the handler itself
};
Probe probe;

// "TEST": a read answers 42 in "current", a write stores "current". Result and messages
// come from the probe.
uint32_t probeHandler(TShell *shell, const char *key, TJsonValue *value) {
  probe.keys.emplace_back(key);
  probe.positions.emplace_back(shell->commandIndex, shell->commandCount);
  probe.readFlags.push_back(shell->readFlag != 0);
  TJsonValue *current = nullptr;
  uint32_t code = TJsonPath(value, "current", &current);
  if (code != TCOMMON_SUCCESS) return code;
  if (shell->readFlag) {
    code = TJsonValue_assignAsInteger(current, 42);
  } else {
    code = TJsonValue_asInteger(current, &probe.stored);
  }
  if (code != TCOMMON_SUCCESS) return code;
  for (const std::string &message : probe.messages) shellMessage(shell, "%s", message.c_str());
  return probe.result;
}

class ShellCoreTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    probe = Probe{};
    ASSERT_EQ(TCommonMap_add(shell_->categories, "TEST", reinterpret_cast<void *>(probeHandler)),
              TCOMMON_SUCCESS);
  }
};

TEST_F(ShellCoreTest, UnknownCategoryIsNeverRegisteredAndTheWrittenValueIsRemoved) {
  Exchange exchange =
      send(R"([{"category":"NOPE","key":"k","value":{"current":1}},)"
           R"({"category":"NOPE","key":"k","permission":"r","value":{"current":1}}])");
  ASSERT_EQ(exchange.code, TCOMMON_SUCCESS);
  EXPECT_EQ(exchange.response,
            R"([{"category":"NOPE","key":"k","message":["Shell: NOPE is never registered"]},)"
            R"({"category":"NOPE","key":"k","message":["Shell: Write permission denied"]}])");
  EXPECT_EQ(exchange.journal, "");
}

TEST_F(ShellCoreTest, ReplyKeepsTheClientsMembersInPlaceAndFillsOrDropsValue) {
  const std::pair<const char *, const char *> kCases[] = {
      {R"({"id":7,"category":"TEST","key":"answer"})",
       R"({"id":7,"category":"TEST","key":"answer","value":{"current":42}})"},
      {R"({"category":"TEST","value":{},"key":"answer","tag":"x"})",
       R"({"category":"TEST","value":{"current":42},"key":"answer","tag":"x"})"},
      {R"({"category":"TEST","key":"answer","value":null})",
       R"({"category":"TEST","key":"answer","value":{"current":42}})"},
      {R"({"category":"TEST","key":"answer","value":"","permission":"r"})",
       R"({"category":"TEST","key":"answer","value":{"current":42}})"},
      {R"({"category":"TEST","key":"k","value":{"current":-12},"after":1})",
       R"({"category":"TEST","key":"k","after":1})"},
  };
  for (const auto &[request, expected] : kCases) {
    Exchange exchange = send(request);
    EXPECT_EQ(exchange.code, TCOMMON_SUCCESS) << request;
    EXPECT_EQ(exchange.response, expected) << request;
  }
  EXPECT_EQ(probe.readFlags, (std::vector<bool>{true, true, true, true, false}));
  EXPECT_EQ(probe.stored, -12);
}

TEST_F(ShellCoreTest, PermissionsGrantEachDirectionByLetter) {
  struct Case {
    const char *permission;  // JSON text of the member, or nullptr for none
    bool read;
    bool handled;
    const char *message;
  };
  const Case kCases[] = {
      {nullptr, true, true, nullptr},
      {nullptr, false, true, nullptr},
      {R"("")", true, true, nullptr},
      {R"("")", false, true, nullptr},
      {R"(null)", false, true, nullptr},
      {R"("r")", true, true, nullptr},
      {R"("r")", false, false, "Shell: Write permission denied"},
      {R"("w")", true, false, "Shell: Read permission denied"},
      {R"("w")", false, true, nullptr},
      {R"("rw")", false, true, nullptr},
      {R"("-w-r-")", true, true, nullptr},
      {R"("R")", true, false, "Shell: Read permission denied"},
      {R"("W")", false, false, "Shell: Write permission denied"},
      {R"("x")", true, false, "Shell: Read permission denied"},
      {R"(5)", false, false, "Shell: Write permission denied"},
  };
  for (const Case &c : kCases) {
    probe = Probe{};
    std::string request = R"({"category":"TEST","key":"k")";
    if (c.permission != nullptr) request += std::string(R"(,"permission":)") + c.permission;
    if (!c.read) request += R"(,"value":{"current":3})";
    request += "}";
    Exchange exchange = send(request);
    ASSERT_EQ(exchange.code, TCOMMON_SUCCESS) << request;

    std::string expected = R"({"category":"TEST","key":"k")";
    if (c.read && c.handled) expected += R"(,"value":{"current":42})";
    if (c.message != nullptr) expected += std::string(R"(,"message":[")") + c.message + "\"]";
    expected += "}";
    EXPECT_EQ(exchange.response, expected) << request;
    EXPECT_EQ(probe.keys.size(), c.handled ? 1u : 0u) << request;
  }
}

TEST_F(ShellCoreTest, HandlerResultsBecomeMessages) {
  const std::pair<uint32_t, const char *> kCases[] = {
      {TCOMMON_SUCCESS, nullptr},
      {TCOMMON_OUT_OF_RANGE, "Shell: Out of range"},
      {TCOMMON_NOT_INITIALIZED, "Shell: Driver is not initialized"},
      {TCOMMON_NOT_REGISTERED, "Shell: TEST/gain.analog is never registered"},
      {TCOMMON_WRONG_CONFIGURATION, "Shell: Wrong configuration"},
      {TCOMMON_PERMISSION_DENIED, nullptr},
      {TCOMMON_FAILED, nullptr},
      {TCOMMON_WRONG_TYPE, nullptr},
  };
  for (const auto &[result, message] : kCases) {
    probe = Probe{};
    probe.result = result;
    Exchange exchange = send(R"({"category":"TEST","key":"gain.analog","value":{"current":1}})");
    std::string expected = R"({"category":"TEST","key":"gain.analog")";
    if (message != nullptr) expected += std::string(R"(,"message":[")") + message + "\"]";
    expected += "}";
    EXPECT_EQ(exchange.response, expected) << "result " << result;
  }
}

TEST_F(ShellCoreTest, HandlerMessagesDrainInOrderBeforeTheResultMessage) {
  probe.messages = {"first", "second"};
  probe.result = TCOMMON_OUT_OF_RANGE;
  Exchange exchange = send(R"({"category":"TEST","key":"k"})");
  EXPECT_EQ(exchange.response,
            R"({"category":"TEST","key":"k","value":{"current":42},)"
            R"("message":["Shell: first","Shell: second","Shell: Out of range"]})");
  uint64_t left = 1;
  ASSERT_EQ(TCommonLogger_size(logger_, &left), TCOMMON_SUCCESS);
  EXPECT_EQ(left, 0u);
}

TEST_F(ShellCoreTest, LongMessagesAreCutTo299Characters) {
  probe.messages = {std::string(400, 'm')};
  Exchange exchange = send(R"({"category":"TEST","key":"k","value":{"current":1}})");
  std::string expected =
      R"({"category":"TEST","key":"k","message":["Shell: )" + std::string(299 - 7, 'm') + "\"]}";
  EXPECT_EQ(exchange.response, expected);
}

TEST_F(ShellCoreTest, ArrayItemsCarryTheirPositionAndFailuresDoNotStopTheBatch) {
  Exchange exchange = send(R"([{"category":"TEST","key":"a"},)"
                           R"({"key":"no category"},)"
                           R"({"category":7,"key":"b"},)"
                           R"(42,)"
                           R"({"category":"TEST","key":"c","value":{"current":5}}])");
  ASSERT_EQ(exchange.code, TCOMMON_SUCCESS);
  EXPECT_EQ(exchange.response, R"([{"category":"TEST","key":"a","value":{"current":42}},)"
                               R"({"key":"no category"},)"
                               R"({"category":7,"key":"b"},)"
                               R"(42,)"
                               R"({"category":"TEST","key":"c"}])");
  EXPECT_EQ(probe.keys, (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(probe.positions, (std::vector<std::pair<uint64_t, uint64_t>>{{1, 5}, {5, 5}}));
  send(R"({"category":"TEST","key":"single"})");
  EXPECT_EQ(probe.positions.back(), (std::pair<uint64_t, uint64_t>{1, 1}));
}

TEST_F(ShellCoreTest, RequestsThatAreNoContainerOrEmptyRunNothing) {
  const std::pair<const char *, const char *> kCases[] = {
      {"5", "null"}, {"\"text\"", "null"}, {"null", "null"}, {"true", "null"}, {"[]", "[]"}};
  for (const auto &[request, expected] : kCases) {
    Exchange exchange = send(request);
    EXPECT_EQ(exchange.code, TCOMMON_SUCCESS) << request;
    EXPECT_EQ(exchange.response, expected) << request;
  }
  EXPECT_TRUE(probe.keys.empty());
}

TEST_F(ShellCoreTest, MalformedRequestReturnsTheReadersCodeAndLeavesTheInstanceLocked) {
  const char *response = "untouched";
  EXPECT_EQ(TShell_process(shell_, R"({"category":"TEST",)", &response), TCOMMON_PARSE_ERROR);
  EXPECT_STREQ(response, "untouched");
  EXPECT_EQ(TCommonSemaphore_waitFor(shell_->semaphore, 0), TCOMMON_BUSY);
  // Release the lock by hand so the instance can be used and closed.
  ASSERT_EQ(TCommonSemaphore_post(shell_->semaphore), TCOMMON_SUCCESS);
  EXPECT_EQ(send(R"({"category":"TEST","key":"k"})").response,
            R"({"category":"TEST","key":"k","value":{"current":42}})");
}

TEST_F(ShellCoreTest, UnsupportedVersionEntryPointsAnswerNeverRegistered) {
  using Handler = uint32_t (*)(TShell *, const char *, TJsonValue *);
  const Handler kHandlers[] = {TShell2DNoiseReduction_3_process, TShellAutoWhiteBalance_3_process,
                               TShellHighDynamicRange_2_1_2dol_process,
                               TShellWideDynamicRange_5_process, TShellLookUpTable3D_process};
  for (Handler handler : kHandlers) {
    EXPECT_EQ(handler(shell_, "state", nullptr), TCOMMON_NOT_REGISTERED);
    EXPECT_EQ(handler(nullptr, nullptr, nullptr), TCOMMON_NOT_REGISTERED);
  }
  uint64_t queued = 1;
  ASSERT_EQ(TCommonLogger_size(logger_, &queued), TCOMMON_SUCCESS);
  EXPECT_EQ(queued, 0u);
  // A request naming such a block version is not routed to it.
  EXPECT_EQ(send(R"({"category":"WDR_5","key":"state"})").response,
            R"({"category":"WDR_5","key":"state","message":["Shell: WDR_5 is never registered"]})");
}

TEST_F(ShellCoreTest, RegistryHoldsOnlyCategoriesWithHandlersInTheFixedOrder) {
  std::vector<std::string> registered;
  TCommonMap_forEach(
      shell_->categories,
      [](void *context, const char *key, void *) -> uint32_t {
        static_cast<std::vector<std::string> *>(context)->emplace_back(key);
        return TCOMMON_SUCCESS;
      },
      &registered);
  std::vector<std::string> expected;
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    if (kShellCategories[i].handler != nullptr) expected.emplace_back(kShellCategories[i].name);
  }
  expected.emplace_back("TEST");
  EXPECT_EQ(registered, expected);
  // Names are matched exactly.
  EXPECT_EQ(send(R"({"category":"test","key":"k"})").response,
            R"({"category":"test","key":"k","message":["Shell: test is never registered"]})");
}

// Several threads share one instance with no lock of their own: the instance must run
// one request at a time and lose none. (The response text belongs to the instance until
// its next request, so only the result code is looked at here.)
std::atomic<int> slowInside{0};
std::atomic<bool> slowOverlapped{false};
std::mutex slowKeysLock;
std::vector<std::string> slowKeys;

uint32_t slowHandler(TShell *, const char *key, TJsonValue *) {
  if (slowInside.fetch_add(1) != 0) slowOverlapped = true;
  std::this_thread::yield();
  {
    std::lock_guard<std::mutex> lock(slowKeysLock);
    slowKeys.emplace_back(key);
  }
  slowInside.fetch_sub(1);
  return TCOMMON_SUCCESS;
}

TEST_F(ShellCoreTest, ConcurrentCallersAreSerialisedAndNoRequestIsLost) {
  ASSERT_EQ(TCommonMap_add(shell_->categories, "SLOW", reinterpret_cast<void *>(slowHandler)),
            TCOMMON_SUCCESS);
  slowKeys.clear();
  constexpr int kThreads = 4;
  constexpr int kRequests = 300;
  std::atomic<int> failed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRequests; ++i) {
        std::string request = R"([{"category":"SLOW","key":")" + std::to_string(t) + "-" +
                              std::to_string(i) + R"(","value":{"current":1}}])";
        const char *response = nullptr;
        if (TShell_process(shell_, request.c_str(), &response) != TCOMMON_SUCCESS ||
            response == nullptr) {
          ++failed;
        }
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failed.load(), 0);
  EXPECT_FALSE(slowOverlapped.load());
  std::sort(slowKeys.begin(), slowKeys.end());
  EXPECT_EQ(std::unique(slowKeys.begin(), slowKeys.end()), slowKeys.end());
  EXPECT_EQ(slowKeys.size(), static_cast<size_t>(kThreads * kRequests));
}

TEST_F(ShellCoreTest, SummariesAreTracedShortenedAtLevelOne) {
  TraceCapture trace(1);
  send(R"({"category":"TEST","key":"a-rather-long-key-name-that-goes-past-fifty"})");
  ASSERT_EQ(trace.lines.size(), 2u);
  EXPECT_EQ(trace.lines[0].rfind("Client: {\"category\":\"TEST\"", 0), 0u) << trace.lines[0];
  EXPECT_EQ(trace.lines[1].rfind("Server: {\"category\":\"TEST\"", 0), 0u) << trace.lines[1];
  for (const std::string &line : trace.lines) {
    EXPECT_LE(line.size(), std::string("Client: \n").size() + 50) << line;
    EXPECT_NE(line.find("..."), std::string::npos) << line;
  }
}

TEST_F(ShellCoreTest, FailuresAreTracedWithSourceFileAndFunctionUpToTheSelectedLevel) {
  for (int32_t level : {3, 0, -1}) {
    TraceCapture trace(level);
    send(R"({"category":"NOPE","key":"k"})");
    bool found = false;
    for (const std::string &line : trace.lines) {
      found |= line.rfind("t_frameworks/t_shell_c/source/t_shell.cpp:", 0) == 0 &&
               line.find(": single(): Out of range(6)\n") != std::string::npos;
    }
    EXPECT_EQ(found, level == 3) << level << ::testing::PrintToString(trace.lines);
    if (level < 0) {
      EXPECT_TRUE(trace.lines.empty());
    }
  }
}

TEST(ShellOpen, FailedOpenStillHandsOutTheInstance) {
  void *handles[3] = {nullptr, nullptr, nullptr};
  TShell *shell = nullptr;
  EXPECT_NE(TShell_open(handles, &shell), TCOMMON_SUCCESS);
  ASSERT_NE(shell, nullptr);
  EXPECT_STREQ(shell->name, "Shell");
  free(shell);  // nothing else was created before the failing step
}

}  // namespace
