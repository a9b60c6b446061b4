// A shell over the built-in database, the simulated ISP and a logger, with a helper that
// sends one request text and returns the response text and the driver calls it made.
#ifndef TESTS_SHELL_FIXTURE_H
#define TESTS_SHELL_FIXTURE_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

struct Exchange {
  uint32_t code = 0;     // what TShell_process returned
  std::string response;  // the response text ("" when there was none)
  std::string journal;   // driver calls made while the request ran, one per line
};

// A request of the given items: "CAT/key" reads, "CAT/key=<json>" writes.
inline std::string request(std::initializer_list<const char *> items) {
  std::string text = "[";
  for (const char *item : items) {
    const std::string command = item;
    const size_t slash = command.find('/');
    const size_t equals = command.find('=');
    text += text.size() > 1 ? "," : "";
    text += R"({"category":")" + command.substr(0, slash) + R"(","key":")" +
            command.substr(slash + 1, equals == std::string::npos ? equals : equals - slash - 1) +
            '"';
    if (equals != std::string::npos)
      text += R"(,"value":{"current":)" + command.substr(equals + 1) + '}';
    text += '}';
  }
  return text + "]";
}

class ShellTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TCommonLogger_open(&logger_), TCOMMON_SUCCESS);
    ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_open(database_, &driver_), TCOMMON_SUCCESS);
    void *handles[3] = {database_, driver_, logger_};
    ASSERT_EQ(TShell_open(handles, &shell_), TCOMMON_SUCCESS);
  }

  void TearDown() override {
    if (shell_ != nullptr) {
      EXPECT_EQ(TShell_close(&shell_), TCOMMON_SUCCESS);
    }
    if (driver_ != nullptr) TDriver_close(&driver_);
    if (database_ != nullptr) TDatabase_close(&database_);
    if (logger_ != nullptr) TCommonLogger_close(&logger_);
  }

  Exchange send(const std::string &request) {
    Exchange exchange;
    TDriverJournal_clear(driver_);
    const char *response = nullptr;
    exchange.code = TShell_process(shell_, request.c_str(), &response);
    if (exchange.code == TCOMMON_SUCCESS && response != nullptr) exchange.response = response;
    const char *journal = nullptr;
    if (TDriverJournal_get(driver_, &journal) == TCOMMON_SUCCESS) exchange.journal = journal;
    return exchange;
  }

  TCommonLogger *logger_ = nullptr;
  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
  TShell *shell_ = nullptr;
};

// Collects the tracer's lines up to a level while it lives.
class TraceCapture {
 public:
  explicit TraceCapture(int32_t level) {
    TCommonTracer_setSink(TCommonTracerHandle, &TraceCapture::sink, this);
    TCommonTracer_setLevel(TCommonTracerHandle, level);
  }
  ~TraceCapture() {
    TCommonTracer_setLevel(TCommonTracerHandle, -1);
    TCommonTracer_setSink(TCommonTracerHandle, nullptr, nullptr);
  }
  std::vector<std::string> lines;

 private:
  static void sink(void *context, uint32_t, const char *line) {
    static_cast<TraceCapture *>(context)->lines.emplace_back(line);
  }
};

#endif  // TESTS_SHELL_FIXTURE_H
