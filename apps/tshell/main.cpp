// tshell: runs tuning requests through the shell from the command line, over the built-in
// calibration database (or a settings file) and the simulated ISP.
#include <getopt.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "commands.h"
#include "frames.h"
#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

namespace {

constexpr int kExitFailure = 1;  // a request was malformed or failed
constexpr int kExitUsage = 2;    // bad options, or the tool could not start

const char kUsage[] =
    "Usage: tshell [OPTION]... [FILE]...\n"
    "Run tuning requests through the ISP tuning shell and print one response per request.\n"
    "\n"
    "Requests are read from each FILE in turn, or from standard input when no FILE (or -)\n"
    "is given. Each line holds one JSON request: a command object, or an array of them.\n"
    "Blank lines and lines starting with # are skipped. Every request is checked before it\n"
    "reaches the shell: a malformed line is reported on standard error with its line and\n"
    "column, the next line is still answered, and tshell exits with status 1 at the end.\n"
    "\n"
    "Options:\n"
    "  -d, --database FILE  open the settings document FILE instead of the built-in defaults\n"
    "  -s, --save FILE      write the database to FILE when all requests are done (atomic:\n"
    "                       FILE holds either the old or the new settings)\n"
    "  -e, --execute TEXT   run the request TEXT (may be repeated; then no input is read\n"
    "                       unless FILEs are given)\n"
    "  -w, --whole          read each input as one JSON request instead of one per line\n"
    "  -j, --journal        print the driver calls of each request on standard error\n"
    "      --stream         start the simulated ISP streaming before the first request, so\n"
    "                       that writes reach the hardware and reads come back from it\n"
    "                       (without it, the ISP is off until a request starts it)\n"
    "  -t, --trace LEVEL    print shell traces up to LEVEL on standard error: 0 ignored\n"
    "                       hardware read-back failures, 1 also request and response\n"
    "                       summaries, 3 also every failure with its source line; off (the\n"
    "                       default) prints none\n"
    "      --inject FILE    before the requests, hand the camera a picture (PNG, JPEG,\n"
    "                       TIFF) or camera raw file (DNG, ...) to deliver while \"IPT\"\n"
    "                       \"isInject\" is on\n"
    "      --frame FILE     after the requests, write the frame of --stage (default\n"
    "                       output): JPEG when FILE ends in .jpg or .jpeg, PNG otherwise\n"
    "      --stage STAGE    raw, output or a block's category (BLS, DMSC_3, ...)\n"
    "      --raw FILE       after the requests, write the raw frame: 16-bit PNG when FILE\n"
    "                       ends in .png, DNG otherwise (needs \"IPT\" \"isRaw\" on)\n"
    "  -h, --help           show this help and exit\n"
    "\n"
    "Exit status: 0 when every request was answered, 1 when a request was malformed or the\n"
    "shell failed, 2 when tshell could not start (bad option, unreadable file or database).\n"
    "\n"
    "Commands for a terminal (list, get, set, schema, completion; also against a tuning\n"
    "server with --connect URL): see 'tshell list --help'.\n"
    "\n"
    "Example:\n"
    "  echo '{\"category\":\"RPT\",\"key\":\"shell\"}' | tshell\n"
    "  tshell --journal --save tuned.json examples/requests.jsonl\n";

struct Options {
  const char *database = nullptr;
  const char *save = nullptr;
  bool whole = false;
  bool journal = false;
  bool stream = false;
  int32_t traceLevel = -1;
  std::vector<std::string> requests;  // from --execute
  std::vector<std::string> files;
  tshell_cli::FrameOptions frames;
};

// Everything the tool opens, closed in reverse order.
struct Session {
  TCommonLogger *logger = nullptr;
  TDatabase *database = nullptr;
  TDriver *driver = nullptr;
  TShell *shell = nullptr;
  TJsonReader *checker = nullptr;

  ~Session() {
    if (shell != nullptr) TShell_close(&shell);
    if (driver != nullptr) TDriver_close(&driver);
    if (database != nullptr) TDatabase_close(&database);
    if (logger != nullptr) TCommonLogger_close(&logger);
    if (checker != nullptr) TJsonReader_close(&checker);
  }
};

void fail(const char *what, uint32_t code, const char *detail = nullptr) {
  fprintf(stderr, "tshell: %s: %s (%u)%s%s\n", what, TCommonError_text(code), code,
          detail != nullptr && *detail != '\0' ? ": " : "", detail != nullptr ? detail : "");
}

bool parseTraceLevel(const char *text, int32_t *level) {
  if (strcmp(text, "off") == 0) {
    *level = -1;
    return true;
  }
  char *end = nullptr;
  errno = 0;
  long value = strtol(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || value < 0 || value > 3) return false;
  *level = static_cast<int32_t>(value);
  return true;
}

// Long options without a short form.
constexpr int kOptionStream = 256;

// Returns -1 to go on, or the exit status.
int parseOptions(int argc, char **argv, Options *options) {
  static const option kLong[] = {{"database", required_argument, nullptr, 'd'},
                                 {"save", required_argument, nullptr, 's'},
                                 {"execute", required_argument, nullptr, 'e'},
                                 {"whole", no_argument, nullptr, 'w'},
                                 {"journal", no_argument, nullptr, 'j'},
                                 {"trace", required_argument, nullptr, 't'},
                                 {"stream", no_argument, nullptr, kOptionStream},
                                 {"frame", required_argument, nullptr, tshell_cli::kOptionFrame},
                                 {"stage", required_argument, nullptr, tshell_cli::kOptionStage},
                                 {"raw", required_argument, nullptr, tshell_cli::kOptionRaw},
                                 {"inject", required_argument, nullptr, tshell_cli::kOptionInject},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  int c;
  while ((c = getopt_long(argc, argv, "d:s:e:wjt:h", kLong, nullptr)) != -1) {
    switch (c) {
      case 'd':
        options->database = optarg;
        break;
      case 's':
        options->save = optarg;
        break;
      case 'e':
        options->requests.emplace_back(optarg);
        break;
      case 'w':
        options->whole = true;
        break;
      case 'j':
        options->journal = true;
        break;
      case kOptionStream:
        options->stream = true;
        break;
      case 't':
        if (!parseTraceLevel(optarg, &options->traceLevel)) {
          fprintf(stderr, "tshell: --trace takes 0, 1, 2, 3 or off, not '%s'\n", optarg);
          return kExitUsage;
        }
        break;
      case 'h':
        fputs(kUsage, stdout);
        return EXIT_SUCCESS;
      default:
        if (tshell_cli::takeFrameOption(c, optarg, &options->frames)) break;
        fputs("Try 'tshell --help' for more information.\n", stderr);
        return kExitUsage;
    }
  }
  for (int i = optind; i < argc; ++i) options->files.emplace_back(argv[i]);
  if (options->files.empty() && options->requests.empty()) options->files.emplace_back("-");
  return -1;
}

int openSession(const Options &options, Session *session) {
  TCommonTracer_setLevel(TCommonTracerHandle, options.traceLevel);
  uint32_t code = TCommonLogger_open(&session->logger);
  if (code != TCOMMON_SUCCESS) {
    fail("cannot open the message logger", code);
    return kExitUsage;
  }
  code = TDatabase_open(options.database, &session->database);
  if (code != TCOMMON_SUCCESS) {
    std::string what = std::string("cannot open the database ") +
                       (options.database != nullptr ? options.database : "(built-in)");
    fail(what.c_str(), code, TDatabase_lastError());
    return kExitUsage;
  }
  code = TDriver_open(session->database, &session->driver);
  if (code != TCOMMON_SUCCESS) {
    fail("cannot open the driver", code);
    return kExitUsage;
  }
  void *handles[3] = {session->database, session->driver, session->logger};
  code = TShell_open(handles, &session->shell);
  if (code != TCOMMON_SUCCESS) {
    fail("cannot open the shell", code);
    return kExitUsage;
  }
  if (options.stream) {
    code = TDriver_init(session->driver, 1);
    if (code == TCOMMON_SUCCESS) code = TDriver_stream(session->driver, 1);
    if (code != TCOMMON_SUCCESS) {
      fail("cannot start the simulated ISP", code);
      return kExitUsage;
    }
  }
  code = TJsonReader_open(&session->checker);
  if (code != TCOMMON_SUCCESS) {
    fail("cannot open a JSON reader", code);
    return kExitUsage;
  }
  return -1;
}

// Line and column (both from 1) of a byte offset in text.
void position(const std::string &text, uint64_t offset, uint64_t *line, uint64_t *column) {
  *line = 1;
  uint64_t lineStart = 0;
  for (uint64_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++*line;
      lineStart = i + 1;
    }
  }
  *column = offset - lineStart + 1;
}

class Runner {
 public:
  Runner(const Options &options, Session *session) : options_(options), session_(session) {}

  // Runs one request text. line is the number of its first line in its source.
  // Returns false when the shell can take no further request.
  bool run(const std::string &source, uint64_t line, const std::string &request) {
    uint32_t code =
        TJsonReader_check(session_->checker, request.data(), request.data() + request.size());
    if (code != TCOMMON_SUCCESS) {
      uint64_t offset = 0;
      const char *text = "";
      TJsonReader_error(session_->checker, &offset, &text);
      uint64_t errorLine = 0;
      uint64_t column = 0;
      position(request, offset, &errorLine, &column);
      fprintf(stderr, "tshell: %s:%llu:%llu: not a valid JSON request: %s\n", source.c_str(),
              static_cast<unsigned long long>(line + errorLine - 1),
              static_cast<unsigned long long>(column), text);
      failed_ = true;
      return true;
    }
    if (request.find('\0') != std::string::npos) {
      fprintf(stderr, "tshell: %s:%llu: the request holds a NUL byte\n", source.c_str(),
              static_cast<unsigned long long>(line));
      failed_ = true;
      return true;
    }
    if (options_.journal) TDriverJournal_clear(session_->driver);
    const char *response = nullptr;
    code = TShell_process(session_->shell, request.c_str(), &response);
    if (code != TCOMMON_SUCCESS) {
      std::string what = source + ":" + std::to_string(line) + ": the shell failed";
      fail(what.c_str(), code, "no further requests can be run");
      failed_ = true;
      return false;
    }
    fputs(response, stdout);
    fputc('\n', stdout);
    fflush(stdout);
    if (options_.journal) printJournal();
    return true;
  }

  // Runs every request of one input. Returns false when the shell can take no further
  // request.
  bool runStream(const std::string &source, std::istream &in) {
    if (options_.whole) {
      std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      return run(source, 1, text);
    }
    std::string line;
    uint64_t number = 0;
    while (std::getline(in, line)) {
      ++number;
      if (!line.empty() && line.back() == '\r') line.pop_back();
      size_t first = line.find_first_not_of(" \t");
      if (first == std::string::npos || line[first] == '#') continue;
      if (!run(source, number, line)) return false;
    }
    return true;
  }

  bool failed() const { return failed_; }
  void markFailed() { failed_ = true; }

 private:
  void printJournal() {
    const char *journal = nullptr;
    if (TDriverJournal_get(session_->driver, &journal) != TCOMMON_SUCCESS) return;
    std::istringstream lines(journal);
    std::string call;
    while (std::getline(lines, call)) fprintf(stderr, "journal: %s\n", call.c_str());
  }

  const Options &options_;
  Session *session_;
  bool failed_ = false;
};

}  // namespace

int main(int argc, char **argv) {
  if (tshell_cli::isCommandLine(argc, argv)) return tshell_cli::runCommandLine(argc, argv);

  Options options;
  int status = parseOptions(argc, argv, &options);
  if (status >= 0) return status;

  Session session;
  status = openSession(options, &session);
  if (status >= 0) return status;

  const tshell_cli::FrameOptions &frames = options.frames;
  std::unique_ptr<tshell_cli::FrameLink> link;
  if (!frames.frame.empty() || !frames.raw.empty() || !frames.inject.empty()) {
    std::string error;
    link = tshell_cli::localFrameLink(session.driver, &error);
    if (link == nullptr || !tshell_cli::injectBefore(link.get(), frames, &error)) {
      fprintf(stderr, "tshell: %s\n", error.c_str());
      return kExitUsage;
    }
  }

  Runner runner(options, &session);
  bool alive = true;
  for (size_t i = 0; alive && i < options.requests.size(); ++i) {
    alive = runner.run("--execute", 1, options.requests[i]);
  }
  for (size_t i = 0; alive && i < options.files.size(); ++i) {
    const std::string &file = options.files[i];
    if (file == "-") {
      alive = runner.runStream("<stdin>", std::cin);
      continue;
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      fprintf(stderr, "tshell: cannot read %s: %s\n", file.c_str(), strerror(errno));
      runner.markFailed();
      continue;
    }
    alive = runner.runStream(file, in);
  }

  if (link != nullptr) {
    std::string error;
    if (!tshell_cli::writeAfter(link.get(), frames, &error)) {
      fprintf(stderr, "tshell: %s\n", error.c_str());
      runner.markFailed();
    }
  }

  if (options.save != nullptr) {
    uint32_t code = TDatabase_save(session.database, options.save);
    if (code != TCOMMON_SUCCESS) {
      std::string what = std::string("cannot save the database to ") + options.save;
      fail(what.c_str(), code, TDatabase_lastError());
      runner.markFailed();
    }
  }
  return runner.failed() ? kExitFailure : EXIT_SUCCESS;
}
