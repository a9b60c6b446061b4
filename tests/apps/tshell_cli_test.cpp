// The command-line tool as a user runs it: requests on standard input or in files, one
// response per line, errors on standard error, and the exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli_fixture.h"
#include "t_common.h"
#include "t_database.h"
#ifdef TSHELL_TEST_FRAMES
#include "imaging.h"
#endif

namespace {

class CliTest : public CliFixture {
 protected:
  Outcome run(const std::string &arguments, const std::string &input = "") const {
    return runTool(arguments, input, "");
  }
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

// The shipped calibration session carries examples/calibration/ccm.txt itself, uploads it
// and reads the new matrix back from the hardware.
TEST_F(CliTest, ShippedCalibrationSessionImportsTheColourMatrix) {
  const std::string examples = TSHELL_EXAMPLES;
  const std::string ccm = slurp(examples + "/calibration/ccm.txt");
  const std::string session = slurp(examples + "/calibration.jsonl");
  const std::string header = "data:text/txt;base64,";
  const size_t begin = session.find(header);
  ASSERT_NE(begin, std::string::npos);
  const size_t start = begin + header.size();
  const size_t end = session.find('"', start);
  uint8_t *decoded = nullptr;
  uint64_t length = 0;
  ASSERT_EQ(TCommonBase64_decode(session.data() + start, end - start, &decoded, &length),
            TCOMMON_SUCCESS);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(decoded), length), ccm)
      << "calibration.jsonl is out of step with calibration/ccm.txt";
  free(decoded);

  // The nine numbers that follow the name ccMatrix in ccm.txt.
  std::vector<float> matrix;
  std::istringstream lines(ccm);
  bool inMatrix = false;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;) {
      if (std::isalpha(static_cast<unsigned char>(word[0]))) {
        inMatrix = word == "ccMatrix";
      } else if (inMatrix) {
        matrix.push_back(std::strtof(word.c_str(), nullptr));
      }
    }
  }
  ASSERT_EQ(matrix.size(), 9u);

  Outcome result = run("--stream '" + examples + "/calibration.jsonl'");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("message"), std::string::npos) << result.out;
  const std::string read = R"("key":"ccMatrix","value":{"current":[)";
  const size_t at = result.out.find(read);
  ASSERT_NE(at, std::string::npos) << result.out;
  std::istringstream numbers(result.out.substr(at + read.size()));
  for (size_t i = 0; i < matrix.size(); ++i) {
    double number = 0;
    char separator = 0;
    numbers >> number >> separator;
    EXPECT_EQ(static_cast<float>(number), matrix[i]) << i << ": " << result.out;
  }
}

// The shipped tuning-table session: row 3 of the gamma table is selected and tuned and the
// database saved; a second run on the saved database finds the row still selected and
// reads the tuned curve back without selecting anything.
TEST_F(CliTest, ShippedGammaTableSessionLastsIntoTheNextRun) {
  const std::string examples = TSHELL_EXAMPLES;
  const std::string session = slurp(examples + "/auto_gamma.jsonl");
  const std::string written = R"("key":":curve","value":{"current":[)";
  const size_t start = session.find(written);
  ASSERT_NE(start, std::string::npos);
  const size_t from = start + written.size();
  const std::string curve = session.substr(from, session.find(']', from) + 1 - from);

  Outcome result =
      run("--stream --save '" + path("tuned.json") + "' '" + examples + "/auto_gamma.jsonl'");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("message"), std::string::npos) << result.out;

  const std::string readBack = R"({"category":"AGC_2","key":"tableIndex","value":{"current":3}},)"
                               R"({"category":"AGC_2","key":":curve","value":{"current":[)" +
                               curve + ",";
  result = run("--database '" + path("tuned.json") + "' '" + examples + "/auto_gamma_read.jsonl'");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find(readBack), std::string::npos) << result.out;

  // On the built-in database the same reads find row 0, untouched.
  result = run("'" + examples + "/auto_gamma_read.jsonl'");
  EXPECT_NE(result.out.find(R"("key":"tableIndex","value":{"current":0})"), std::string::npos);
  EXPECT_EQ(result.out.find(curve), std::string::npos) << result.out;
}

}  // namespace

namespace {

// The bins of every histogram read in the output, one list per line that has them.
std::vector<std::vector<long>> histograms(const std::string &out) {
  std::vector<std::vector<long>> found;
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    const size_t start = line.find("\"bins\":[");
    if (start == std::string::npos) continue;
    std::istringstream bins(line.substr(start + 8, line.find(']', start) - start - 8));
    found.emplace_back();
    for (std::string count; std::getline(bins, count, ',');)
      found.back().push_back(std::stol(count));
  }
  return found;
}

double centre(const std::vector<long> &bins) {
  double weighted = 0;
  double total = 0;
  for (size_t i = 0; i < bins.size(); ++i) {
    weighted += double(i) * bins[i];
    total += bins[i];
  }
  return total > 0 ? weighted / total : 0;
}

#ifdef TSHELL_TEST_FRAMES
TEST_F(CliTest, FramesAreWrittenAfterTheRequestsAndInjectedBefore) {
  const std::string rawOn = R"(-e '{"category":"IPT","key":"isRaw","value":{"current":true}}')";
  const std::string injectOn =
      R"(-e '{"category":"IPT","key":"isInject","value":{"current":true}}')";
  write("junk.png", "not a picture at all");
  imaging::Picture small;
  small.width = 320, small.height = 240, small.channels = 3;
  small.data8.assign(size_t(320) * 240 * 3, 128);
  std::string png, error;
  ASSERT_TRUE(imaging::encodePng(small, &png, &error)) << error;
  write("small.png", png);
  const struct {
    std::string arguments;
    int status;
    const char *file;     // written, "" for none
    bool raw;             // a DNG for LibRaw, else a picture
    int width, height;    // of what file holds
    const char *message;  // on standard error
  } kCases[] = {
      {"--stream --frame '" + path("out.png") + "'", 0, "out.png", false, 1920, 1080, ""},
      {"--stream --frame '" + path("bls.jpg") + "' --stage BLS", 0, "bls.jpg", false, 1920, 1080,
       ""},
      {"--stream " + rawOn + " --raw '" + path("raw.dng") + "'", 0, "raw.dng", true, 1920, 1080,
       ""},
      {"--stream --raw '" + path("off.dng") + "'", 1, "", false, 0, 0, "isRaw"},
      {"--frame '" + path("cold.png") + "'", 1, "", false, 0, 0, "--stream"},
      {"--stream --frame '" + path("nope.png") + "' --stage NOPE", 1, "", false, 0, 0, "NOPE"},
      // A picture injected before the requests that switch injection on is the frame after.
      {"--stream --inject '" + path("small.png") + "' " + injectOn + " --frame '" +
           path("again.png") + "'",
       0, "again.png", false, 320, 240, ""},
      {"--stream --inject '" + path("junk.png") + "' --frame '" + path("no.png") + "'", 2, "",
       false, 0, 0, "not a picture"},
      {"--stream --inject '" + path("missing.png") + "'", 2, "", false, 0, 0, "cannot read"},
  };
  for (const auto &c : kCases) {
    Outcome result = run(c.arguments + " -e '{\"category\":\"DG\",\"key\":\"r\"}'");
    EXPECT_EQ(result.status, c.status) << c.arguments << ": " << result.err;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << c.arguments << ": " << result.err;
    if (c.status != 0) {
      EXPECT_EQ(result.out.find("{\"category\":\"DG\""), c.status == 2 ? std::string::npos : 0)
          << "a bad injection runs no request: " << result.out;
      continue;
    }
    const std::string bytes = slurp(path(c.file));
    imaging::Decoded decoded;
    bool unsupported = false;
    ASSERT_TRUE(imaging::readFile(bytes, &decoded, &unsupported, &error)) << c.file << error;
    EXPECT_EQ(decoded.isRaw, c.raw) << c.file;
    EXPECT_EQ(c.raw ? decoded.raw.width : decoded.picture.width, c.width) << c.file;
    EXPECT_EQ(c.raw ? decoded.raw.height : decoded.picture.height, c.height) << c.file;
  }
}
#endif

}  // namespace

// Doubling the exposure moves the histogram up when the sensor streams; without a stream the
// client gets the cached histogram and is told so.
TEST_F(CliTest, ShippedExposureSessionMovesTheHistogram) {
  const std::string file = std::string("'") + TSHELL_EXAMPLES + "/exposure.jsonl'";
  Outcome result = run("--stream " + file);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("message"), std::string::npos) << result.out;
  auto bins = histograms(result.out);
  ASSERT_EQ(bins.size(), 2u) << result.out;
  ASSERT_EQ(bins[0].size(), 16u);
  EXPECT_GT(centre(bins[1]), centre(bins[0]) + 1) << result.out;

  result = run(file);
  EXPECT_EQ(result.status, 0) << result.err;
  bins = histograms(result.out);
  ASSERT_EQ(bins.size(), 2u) << result.out;
  EXPECT_EQ(bins[0], std::vector<long>(16, 0));
  EXPECT_EQ(bins[1], bins[0]);
  size_t streaming = 0;
  for (size_t at = 0;
       (at = result.out.find("Shell: Streaming needed, or data will come from cache not hardware",
                             at)) != std::string::npos;
       ++at) {
    ++streaming;
  }
  EXPECT_EQ(streaming, 2u) << result.out;
  EXPECT_NE(result.out.find("Shell: Driver is not initialized"), std::string::npos);
}
