// The command-line tool as a user runs it: requests on standard input or in files, one
// response per line, errors on standard error, and the exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "t_common.h"
#include "t_database.h"

namespace {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/tshell-cli-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }

  std::string path(const std::string &name) const { return dir_ + "/" + name; }

  void write(const std::string &name, const std::string &text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }

  // Runs tshell with arguments (already quoted for the shell) and standard input.
  Outcome run(const std::string &arguments, const std::string &input = "") const {
    write("stdin", input);
    std::string command = std::string("'") + TSHELL_CLI + "' " + arguments + " < '" +
                          path("stdin") + "' > '" + path("stdout") + "' 2> '" + path("stderr") +
                          "'";
    Outcome result;
    int raw = std::system(command.c_str());
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = slurp(path("stdout"));
    result.err = slurp(path("stderr"));
    return result;
  }

  std::string dir_;
};

TEST_F(CliTest, AnswersEachLineWithTheShellsMessages) {
  Outcome result =
      run("", R"([{"category":"NOPE","key":"k","value":{"current":1}},)"
              R"({"category":"NOPE","key":"k","permission":"r","value":{"current":1}}])"
              "\n");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            R"([{"category":"NOPE","key":"k","message":["Shell: NOPE is never registered"]},)"
            R"({"category":"NOPE","key":"k","message":["Shell: Write permission denied"]}])"
            "\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(CliTest, MalformedLineIsReportedAndTheNextLineIsStillAnswered) {
  Outcome result = run("",
                       "# a comment, then a blank line\n"
                       "\n"
                       "{\"category\":\"NOPE\",\"key\":}\r\n"
                       "{\"category\":\"NOPE\",\"key\":\"k\"}\n");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            R"({"category":"NOPE","key":"k","message":["Shell: NOPE is never registered"]})"
            "\n");
  EXPECT_NE(result.err.find("<stdin>:3:26: not a valid JSON request: "), std::string::npos)
      << result.err;
}

TEST_F(CliTest, WholeInputIsOneRequestAndErrorsPointAtTheirLine) {
  write("ok.json", "[\n  {\"category\": \"NOPE\",\n   \"key\": \"k\"}\n]\n");
  write("bad.json", "[\n  {\"category\": \"NOPE\",\n   \"key\" \"k\"}\n]\n");
  Outcome result = run("--whole '" + path("ok.json") + "' '" + path("bad.json") + "'");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            R"([{"category":"NOPE","key":"k","message":["Shell: NOPE is never registered"]}])"
            "\n");
  EXPECT_NE(result.err.find("bad.json:3:10: not a valid JSON request"), std::string::npos)
      << result.err;
}

TEST_F(CliTest, ExecuteRunsRequestsFromTheCommandLine) {
  Outcome result = run(R"(-e '{"category":"A","key":"k"}' --execute '{"category":"B","key":"k"}')");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, R"({"category":"A","key":"k","message":["Shell: A is never registered"]})"
                        "\n"
                        R"({"category":"B","key":"k","message":["Shell: B is never registered"]})"
                        "\n");
}

TEST_F(CliTest, SaveWritesASettingsDocumentThatOpensAgain) {
  Outcome result = run("--save '" + path("saved.json") + "'", "");
  ASSERT_EQ(result.status, 0) << result.err;
  TDatabase *database = nullptr;
  ASSERT_EQ(TDatabase_open(path("saved.json").c_str(), &database), TCOMMON_SUCCESS)
      << TDatabase_lastError();
  TDatabase_close(&database);

  result = run("--database '" + path("saved.json") + "' --save '" + path("again.json") + "'");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(slurp(path("saved.json")), slurp(path("again.json")));
}

TEST_F(CliTest, StartupProblemsExitWithStatusTwo) {
  write("broken.json", "{\"RPT\": {\"shell\": \"one\"}}");
  const std::pair<std::string, std::string> kCases[] = {
      {"--trace loud", "--trace takes"},
      {"--no-such-option", "Try 'tshell --help'"},
      {"--database '" + path("missing.json") + "'", "cannot open the database"},
      {"--database '" + path("broken.json") + "'", "RPT.shell"},
  };
  for (const auto &[arguments, expected] : kCases) {
    Outcome result = run(arguments);
    EXPECT_EQ(result.status, 2) << arguments;
    EXPECT_NE(result.err.find(expected), std::string::npos) << arguments << ": " << result.err;
    EXPECT_EQ(result.out, "") << arguments;
  }
}

TEST_F(CliTest, UnreadableFileFailsButOtherFilesRun) {
  write("good.jsonl", "{\"category\":\"NOPE\",\"key\":\"k\"}\n");
  Outcome result = run("'" + path("absent.jsonl") + "' '" + path("good.jsonl") + "'");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("cannot read"), std::string::npos) << result.err;
  EXPECT_NE(result.out.find("NOPE is never registered"), std::string::npos);
}

TEST_F(CliTest, HelpExplainsTheOptionsWithAnExample) {
  Outcome result = run("--help");
  EXPECT_EQ(result.status, 0);
  for (const char *word :
       {"--database", "--save", "--whole", "--journal", "--stream", "--trace", "Example"}) {
    EXPECT_NE(result.out.find(word), std::string::npos) << word;
  }
}

TEST_F(CliTest, TraceLevelOnePrintsSummaries) {
  Outcome result = run("--trace 1", "{\"category\":\"NOPE\",\"key\":\"k\"}\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("Client: {\"category\":\"NOPE\""), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("Server: {\"category\":\"NOPE\""), std::string::npos) << result.err;
}

// The sample session with the simulated ISP streaming: every write reaches the hardware,
// one push per block per request, and the reads come back from it.
TEST_F(CliTest, ShippedExampleSessionTunesTheSimulatedIsp) {
  Outcome result = run(std::string("--stream --journal '") + TSHELL_EXAMPLES + "/requests.jsonl'");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err,
            "journal: TDriverWhiteBalance_1_1_process(0)\n"
            "journal: TDriverDigitalGain_process(0)\n"
            "journal: TDriverDigitalGain_statistics(1)\n"
            "journal: TDriverGammaCorrection_2_process(0)\n"
            "journal: TDriverRegister_process(0)\n"
            "journal: TDriverRegister_process(1)\n");
  for (const char *expected : {
           R"([{"category":"DG","key":"gb","value":{"current":1.25}},)"
           R"({"category":"DG","key":"gr","value":{"current":1.25}}])",
           R"({"category":"RGT","key":"value","value":{"current":"0xCAFE"}}])",
       }) {
    EXPECT_NE(result.out.find(expected), std::string::npos) << expected << "\n" << result.out;
  }
  // Only the two requests that show refusals raise messages.
  size_t messages = 0;
  for (size_t at = 0; (at = result.out.find("\"message\"", at)) != std::string::npos; ++at) {
    ++messages;
  }
  EXPECT_EQ(messages, 2u) << result.out;

  // Without a stream the ISP is off: pushes are refused and the client is told.
  result = run(std::string("'") + TSHELL_EXAMPLES + "/requests.jsonl'");
  EXPECT_NE(result.out.find("Shell: Driver is not initialized"), std::string::npos);
}

}  // namespace
