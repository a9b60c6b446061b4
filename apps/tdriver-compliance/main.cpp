// tdriver-compliance: checks that an ISP driver library does what the tuning shell expects
// of it (see t_driver.h), the way v4l2-compliance checks a V4L2 driver.
#include <dlfcn.h>
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "checks.h"

namespace {

constexpr int kExitFailed = 1;  // a check failed
constexpr int kExitUsage = 2;   // bad options, or the library does not load

const char kUsage[] =
    "Usage: tdriver-compliance [OPTION]... LIBRARY\n"
    "Check the ISP driver in the shared library LIBRARY against what the tuning shell\n"
    "expects of it: the exported functions, the stream state machine (off, initialised,\n"
    "streaming) and the result codes in each state, the push and read-back of every block,\n"
    "and register transfers. Prints one line per check and a summary.\n"
    "\n"
    "Options:\n"
    "  -b, --block CATEGORY  check only the block of CATEGORY (e.g. DG) besides the\n"
    "                        life-cycle and register checks\n"
    "  -q, --quiet           print only failed checks and the summary\n"
    "  -h, --help            show this help and exit\n"
    "\n"
    "Exit status: 0 when every check passed, 1 when one failed, 2 when the library could\n"
    "not be loaded or the options are wrong.\n"
    "\n"
    "Example:\n"
    "  tdriver-compliance /usr/lib/libtdriver.so.0\n";

}  // namespace

int main(int argc, char **argv) {
  static const option kLong[] = {{"block", required_argument, nullptr, 'b'},
                                 {"quiet", no_argument, nullptr, 'q'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  tdriver_compliance::Options options;
  bool quiet = false;
  int c;
  while ((c = getopt_long(argc, argv, "b:qh", kLong, nullptr)) != -1) {
    switch (c) {
      case 'b':
        options.onlyCategory = optarg;
        break;
      case 'q':
        quiet = true;
        break;
      case 'h':
        fputs(kUsage, stdout);
        return EXIT_SUCCESS;
      default:
        fputs("Try 'tdriver-compliance --help' for more information.\n", stderr);
        return kExitUsage;
    }
  }
  if (optind + 1 != argc) {
    fputs("tdriver-compliance: give one driver library\n", stderr);
    fputs("Try 'tdriver-compliance --help' for more information.\n", stderr);
    return kExitUsage;
  }
  const char *path = argv[optind];
  // Bind every symbol now: a driver that lacks a function it calls fails here, not midway.
  void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    fprintf(stderr, "tdriver-compliance: cannot load %s: %s\n", path, dlerror());
    return kExitUsage;
  }
  printf("Driver library: %s\n", path);

  int total = 0;
  int failed = 0;
  std::string section;
  const auto report = [&](const tdriver_compliance::Result &result) {
    ++total;
    if (!result.passed) ++failed;
    if (quiet && result.passed) return;
    if (result.section != section) {
      section = result.section;
      printf("\n%s:\n", section.c_str());
    }
    printf("\ttest %s: %s\n", result.name.c_str(), result.passed ? "OK" : "FAIL");
    if (!result.passed && !result.detail.empty()) printf("\t\t%s\n", result.detail.c_str());
  };
  const auto resolve = [library](const char *name) { return dlsym(library, name); };
  tdriver_compliance::runChecks(resolve, options, report);
  fflush(stdout);
  // The library stays loaded: a driver may leave threads or handlers behind.

  printf("\nTotal: %d, Succeeded: %d, Failed: %d\n", total, total - failed, failed);
  return failed == 0 ? EXIT_SUCCESS : kExitFailed;
}
