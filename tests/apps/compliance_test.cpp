// tdriver-compliance as an integrator runs it: the simulated ISP passes every check, and a
// driver with one fault fails exactly the check that names that fault.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct Outcome {
  int status = -1;
  std::string out;
};

Outcome runCompliance(const std::string &arguments) {
  char pattern[] = "/tmp/tdriver-compliance-XXXXXX";
  const int fd = mkstemp(pattern);
  EXPECT_GE(fd, 0);
  close(fd);
  const std::string command =
      std::string("'") + TDRIVER_COMPLIANCE + "' " + arguments + " > '" + pattern + "' 2>&1";
  Outcome outcome;
  const int raw = std::system(command.c_str());
  outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  std::ifstream in(pattern);
  std::stringstream text;
  text << in.rdbuf();
  outcome.out = text.str();
  std::remove(pattern);
  return outcome;
}

int count(const std::string &text, const std::string &what) {
  int n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

TEST(ComplianceTest, SimulatedIspPassesEveryCheck) {
  const Outcome outcome = runCompliance(std::string("'") + SIMULATED_DRIVER + "'");
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_EQ(count(outcome.out, ": FAIL"), 0) << outcome.out;
  EXPECT_NE(outcome.out.find(", Failed: 0\n"), std::string::npos) << outcome.out;
  // Every block is driven in every state: the checks name each of them.
  for (const char *check :
       {"test DG: push refused with 8: OK", "test WB_1_1: _statistics(1) refused with 8: OK",
        "test EC_2: _process(1) reads back the pushed record: OK",
        "test ISP: read-back answers what TDriver_init latched: OK",
        "test TDriver_stream(1) before TDriver_init returns 8: OK",
        "test refused writes leave the register alone: OK"}) {
    EXPECT_NE(outcome.out.find(check), std::string::npos) << check;
  }
}

TEST(ComplianceTest, BrokenDriversFailTheCheckOfTheirFault) {
  struct Case {
    const char *library;
    const char *failedCheck;
  };
  const Case cases[] = {
      {BROKEN_PUSH_DRIVER,
       "test DG: push refused with 8: FAIL\n\t\treturned 0 (Success), expected 8"},
      {BROKEN_READ_BACK_DRIVER,
       "test WB_1_1: _statistics(1) reads back the pushed record: FAIL\n\t\tWB_1_1."},
  };
  for (const Case &c : cases) {
    const Outcome outcome = runCompliance(std::string("--quiet '") + c.library + "'");
    EXPECT_EQ(outcome.status, 1) << outcome.out;
    EXPECT_NE(outcome.out.find(c.failedCheck), std::string::npos) << outcome.out;
    EXPECT_EQ(count(outcome.out, ": FAIL"), 1) << outcome.out;
    EXPECT_NE(outcome.out.find(", Failed: 1\n"), std::string::npos) << outcome.out;
  }
}

TEST(ComplianceTest, OneBlockCanBeCheckedAlone) {
  const Outcome outcome =
      runCompliance(std::string("--block DG '") + BROKEN_READ_BACK_DRIVER + "'");
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_EQ(outcome.out.find("WB_1_1"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("test DG: push returns 0: OK"), std::string::npos) << outcome.out;
}

TEST(ComplianceTest, LibrariesThatAreNoDriverAreReported) {
  struct Case {
    std::string arguments;
    int status;
    const char *text;
  };
  const Case cases[] = {
      {"", 2, "give one driver library"},
      {"/nonexistent/libdriver.so", 2, "cannot load /nonexistent/libdriver.so"},
      {std::string("--block NOPE '") + SIMULATED_DRIVER + "'", 1,
       "test --block NOPE names a block of the ISP: FAIL\n\t\tthe blocks are 2DNR_6 3DNR_4 BLS"},
      {std::string("'") + NOT_A_DRIVER + "'", 1,
       "test exports the life-cycle and stream functions: FAIL\n\t\tmissing TDriver_open"},
  };
  for (const Case &c : cases) {
    const Outcome outcome = runCompliance(c.arguments);
    EXPECT_EQ(outcome.status, c.status) << c.arguments << "\n" << outcome.out;
    EXPECT_NE(outcome.out.find(c.text), std::string::npos) << c.arguments << "\n" << outcome.out;
  }
}

}  // namespace
