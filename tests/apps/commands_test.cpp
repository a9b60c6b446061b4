// The terminal subcommands of tshell (list, get, set, schema, completion) as an engineer runs
// them: against a shell in the tool's own process, and against a tuning server that the test
// starts.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cli_fixture.h"
#include "t_common.h"
#include "t_json.h"

namespace {

using namespace std::chrono_literals;

bool isJson(const std::string &text) {
  TJsonReader *reader = nullptr;
  if (TJsonReader_open(&reader) != TCOMMON_SUCCESS) return false;
  const bool valid =
      TJsonReader_check(reader, text.data(), text.data() + text.size()) == TCOMMON_SUCCESS;
  TJsonReader_close(&reader);
  return valid;
}

class CommandsTest : public CliFixture {
 protected:
  void TearDown() override {
    stopServer();
    CliFixture::TearDown();
  }

  // Runs tshell with arguments (already quoted for the shell), no standard input.
  Outcome run(const std::string &arguments, const std::string &environment = "") const {
    return runTool(arguments, "", environment);
  }

  // Starts tshell-server on a free port of the loopback interface; returns its URL.
  std::string startServer(std::vector<std::string> args) {
#ifndef TSHELL_SERVER_BIN
    (void)args;
    return "";
#else
    const std::string out = path("server.out");
    args.insert(args.begin(), {TSHELL_SERVER_BIN, "--listen", "127.0.0.1:0"});
    server_ = fork();
    if (server_ == 0) {
      freopen(out.c_str(), "w", stdout);
      freopen(path("server.err").c_str(), "w", stderr);
      std::vector<char *> argv;
      for (std::string &arg : args) argv.push_back(arg.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    const std::string marker = "tuning client at http://127.0.0.1:";
    for (int attempt = 0; attempt < 2000; ++attempt) {
      const std::string text = slurp(out);
      const size_t at = text.find(marker);
      if (at != std::string::npos && text.find('\n', at) != std::string::npos) {
        return "http://127.0.0.1:" + std::to_string(std::atoi(text.c_str() + at + marker.size()));
      }
      if (waitpid(server_, nullptr, WNOHANG) == server_) break;
      std::this_thread::sleep_for(5ms);
    }
    ADD_FAILURE() << "the server did not start: " << slurp(path("server.err"));
    return "";
#endif
  }

  void stopServer() {
    if (server_ <= 0) return;
    kill(server_, SIGKILL);
    waitpid(server_, nullptr, 0);
    server_ = -1;
  }

  pid_t server_ = -1;
};

TEST_F(CommandsTest, ListShowsCategoriesAndTheKeysOfOne) {
  Outcome result = run("list");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.rfind("CATEGORY", 0), 0u) << result.out;
  EXPECT_NE(result.out.find("\nDG "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("  Digital gain\n"), std::string::npos) << result.out;

  result = run("list DG");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("\ngb            float f32    -      -              "
                            "read from hardware, written to hardware\n"),
            std::string::npos)
      << result.out;

  // Shape, range and selection come from the schema.
  result = run("list AGC_2");
  EXPECT_NE(result.out.find(
                "\n:curve      integer u16  20x64  0..65535  written to hardware, entry chosen by "
                "tableIndex (of 10)\n"),
            std::string::npos)
      << result.out;

  result = run("--json list");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(isJson(result.out)) << result.out;
  EXPECT_NE(result.out.find(R"({"category":"DG","description":"Digital gain","keys":6})"),
            std::string::npos)
      << result.out;
}

TEST_F(CommandsTest, GetPrintsOneKeyALineAndTheShellsNoticesOnStandardError) {
  Outcome result = run("get DG gb r");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "gb  1.0\nr   1.0\n");
  // Without a stream the values come from the database: a notice, not a refusal.
  EXPECT_EQ(result.err,
            "DG (gb, r): Shell: Streaming needed, or data will come from cache not hardware\n");

  result = run("--stream get DG gb");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");

  result = run("--stream --json get DG gb");
  EXPECT_EQ(result.out, R"([{"category":"DG","key":"gb","value":{"current":1.0}}])"
                        "\n");
}

TEST_F(CommandsTest, GetLaysOutArraysMatricesAndMeasurements) {
  Outcome result = run("get DG");  // every key of the category
  EXPECT_EQ(result.out,
            "isStatistics  false\nstate         1\nb             1.0\n"
            "gb            1.0\ngr            1.0\nr             1.0\n");

  result = run("get AGC_2 :gains");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(
      result.out,
      ":gains\n"
      "  [0]     1.0    1.5    2.0    3.0    4.0    6.0    8.0   12.0   16.0   24.0   32.0   48.0\n"
      "  [12]   64.0   96.0  128.0  192.0  256.0  384.0  512.0  768.0\n");

  result = run("--stream get HTG statistics");
  ASSERT_EQ(result.status, 0) << result.err;
  // The histogram of the live frame: sixteen bin counts, laid out on one line or wrapped.
  ASSERT_EQ(result.out.rfind("statistics", 0), 0u) << result.out;
  const size_t bins = result.out.find("bins");
  ASSERT_NE(bins, std::string::npos) << result.out;
  std::string counts = result.out.substr(bins + 4);
  // Row labels ("[10]" then a space) go, then the brackets and colons of either layout.
  std::string plain;
  for (size_t i = 0; i < counts.size(); ++i) {
    const size_t close = counts.find_first_not_of("0123456789", i + 1);
    if (counts[i] == '[' && close != std::string::npos && close > i + 1 && counts[close] == ']' &&
        close + 1 < counts.size() && counts[close + 1] == ' ') {
      i = close;
      plain += ' ';
    } else {
      plain += std::string_view("[]:,").find(counts[i]) == std::string_view::npos ? counts[i] : ' ';
    }
  }
  std::istringstream words(plain);
  std::vector<long> values;
  for (long value; words >> value;) values.push_back(value);
  EXPECT_TRUE(words.eof()) << "not a count in " << result.out;
  EXPECT_EQ(values.size(), 16u) << result.out;
}

TEST_F(CommandsTest, SetWritesAndSaveKeepsTheValues) {
  Outcome result = run("--stream --save '" + path("tuned.json") + "' set DG gb=1.5 r=2");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "");
  result = run("--database '" + path("tuned.json") + "' get DG gb r");
  EXPECT_EQ(result.out, "gb  1.5\nr   2.0\n") << result.err;
}

TEST_F(CommandsTest, CalibrationFilesAreImportedFromPaths) {
  Outcome result = run("--stream --save '" + path("tuned.json") +
                       "' set CCM import=@" TSHELL_EXAMPLES "/calibration/ccm.txt");
  ASSERT_EQ(result.status, 0) << result.err;
  // 32-bit floats are shown as the numbers the file gave, not as their double expansions.
  result = run("--database '" + path("tuned.json") + "' get CCM ccMatrix ccOffset");
  EXPECT_EQ(result.out,
            "ccMatrix  [1.62, -0.45, -0.17, -0.28, 1.51, -0.23, -0.05, -0.52, 1.57]\n"
            "ccOffset  [0.0, 0.0, 0.0]\n");

  result = run("set CCM import=@/nonexistent/ccm.txt");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            "tshell: CCM/import: cannot read /nonexistent/ccm.txt: No such file or "
            "directory\n");
}

TEST_F(CommandsTest, RefusedWritesAreReportedWithExitStatusOne) {
  struct Case {
    const char *arguments;
    const char *message;
  };
  const Case cases[] = {
      {"set IPT pathIndex=7", "IPT/pathIndex: Shell: Out of range\n"},
      {"set DG gb=1.5",
       "DG/gb: Shell: Driver is not initialized\n"
       "tshell: the simulated ISP is off: --stream starts it\n"},
      {"--stream set CCM import=@" TSHELL_EXAMPLES "/calibration/lsc_3.txt",
       "CCM/import: Shell: Wrong configuration\n"},
  };
  for (const Case &c : cases) {
    const Outcome result = run(c.arguments);
    EXPECT_EQ(result.status, 1) << c.arguments;
    EXPECT_EQ(result.err, c.message) << c.arguments;
  }
}

TEST_F(CommandsTest, BadInputIsRefusedBeforeAnythingIsSent) {
  struct Case {
    std::string arguments;
    const char *message;
  };
  const Case cases[] = {
      {"get", "get needs a CATEGORY"},
      {"get NOPE k", "no category 'NOPE'"},
      {"get DG nokey", "DG has no key 'nokey'"},
      {"set DG", "set needs a CATEGORY and at least one KEY=VALUE"},
      {"set DG gb", "'gb' is not KEY=VALUE"},
      {"set DG =1", "'=1' is not KEY=VALUE"},
      {"set DG nokey=1", "DG has no key 'nokey'"},
      {"set DG gb=fast", "DG/gb: 'fast' is not a JSON value"},
      {"set DG gb=[1,", "DG/gb: '[1,' is not a JSON value"},
      {"list DG HTG", "list takes at most one CATEGORY"},
      {"schema DG", "schema takes no arguments"},
      {"completion zsh", "completion takes one argument: bash"},
      {"--bogus list", "unrecognized option"},
      {"--connect http://127.0.0.1:1 --stream list", "not with --connect"},
      {"--connect ftp://127.0.0.1:1 list", "--connect takes an http://HOST:PORT address"},
      {"--connect http://127.0.0.1:1 list", "cannot reach http://127.0.0.1:1"},
  };
  for (const Case &c : cases) {
    const bool remote = c.arguments.find("--connect") != std::string::npos;
#ifndef TSHELL_SERVER_BIN
    if (remote) continue;  // built without the HTTP client
#endif
    const Outcome result =
        run((remote ? "" : "--save '" + path("saved.json") + "' ") + c.arguments);
    EXPECT_EQ(result.status, 2) << c.arguments;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << c.arguments << ": " << result.err;
    EXPECT_EQ(result.out, "") << c.arguments;
  }
  // A valid write before the bad one is not carried out either: nothing is saved.
  const Outcome result = run("--save '" + path("saved.json") + "' set DG gb=2 nokey=1");
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(access(path("saved.json").c_str(), F_OK), 0) << "a refused command line saved";
}

TEST_F(CommandsTest, SchemaListsEveryCategory) {
  Outcome result = run("--json schema");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(isJson(result.out));
  result = run("schema");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("\nDG: Digital gain\n  KEY "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\nHTG: Histogram\n"), std::string::npos) << result.out;
}

TEST_F(CommandsTest, BashCompletionOffersSubcommandsCategoriesAndKeys) {
  ASSERT_EQ(run("completion bash").status, 0);
  std::ofstream(path("completion.bash")) << slurp(path("stdout"));
  struct Case {
    const char *words;  // the words of the line, the last one being completed
    const char *offered;
  };
  const Case cases[] = {
      {"tshell g", "get"},
      {"tshell get D", "DG DMSC_3 DPCC DVC"},
      {"tshell --json get DG g", "gb gr"},
      {"tshell --connect http://h:1 set DG g", "gb= gr="},
      {"tshell list HTG_", "HTG_2"},
      {"tshell --js", "--json"},
  };
  for (const Case &c : cases) {
    const std::string script = "source '" + path("completion.bash") + "'; COMP_WORDS=(" + c.words +
                               "); [[ '" + c.words +
                               "' == *' ' ]] && COMP_WORDS+=(''); "
                               "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tshell; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\" | sort | paste -sd' '";
    std::ofstream(path("complete.sh")) << script;
    const std::string command =
        "bash '" + path("complete.sh") + "' > '" + path("offered") + "' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << slurp(path("offered"));
    EXPECT_EQ(slurp(path("offered")), std::string(c.offered) + "\n") << c.words;
  }
}

TEST_F(CommandsTest, CommandsReachATuningServer) {
#ifndef TSHELL_SERVER_BIN
  GTEST_SKIP() << "built without the tuning server";
#endif
  const std::string url = startServer({"--stream"});
  ASSERT_FALSE(url.empty());
  const std::string connect = "--connect " + url + " ";

  Outcome result = run(connect + "set DG gb=1.75 r=0.5");
  ASSERT_EQ(result.status, 0) << result.err;
  result = run(connect + "get DG gb r");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "gb  1.75\nr   0.5\n");

  // Text keys take plain text; the register bank answers through the server.
  result = run(connect + "set RGT address=0x40 value=0x1234");
  ASSERT_EQ(result.status, 0) << result.err;
  result = run(connect + "get RGT value");
  EXPECT_EQ(result.out, "value  0x1234\n") << result.err;

  result = run(connect + "set IPT pathIndex=9");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "IPT/pathIndex: Shell: Out of range\n");

  result = run(connect + "list DG");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("gb "), std::string::npos);
}

TEST_F(CommandsTest, ServerTokenIsSentFromTheOptionOrTheEnvironment) {
#ifndef TSHELL_SERVER_BIN
  GTEST_SKIP() << "built without the tuning server";
#endif
  const std::string url = startServer({"--token", "s3cret"});
  ASSERT_FALSE(url.empty());

  Outcome result = run("--connect " + url + " get DG gb");
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("answered 401: unauthorized (give the server's token with --token)"),
            std::string::npos)
      << result.err;
  result = run("--connect " + url + " --token wrong get DG gb");
  EXPECT_EQ(result.status, 2);

  result = run("--connect " + url + " --token s3cret get DG gb");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "gb  1.0\n");
  result = run("--connect " + url + " get DG gb", "TSHELL_TOKEN=s3cret");
  EXPECT_EQ(result.status, 0) << result.err;
}

}  // namespace
