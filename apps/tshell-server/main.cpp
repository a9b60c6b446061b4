// tshell-server: serves the tuning shell over HTTP to the browser tuning client, over the
// calibration database (a settings file or the built-in defaults) and the simulated ISP.
#include <arpa/inet.h>
#include <getopt.h>
#include <malloc.h>
#include <netdb.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "calibrate_routes.h"
#include "events.h"
#include "frame_clock.h"
#include "frame_routes.h"
#include "http_server.h"
#include "instance.h"
#include "policy.h"
#include "routes.h"
#include "t_common.h"

namespace {

using tshell_server::EventHub;
using tshell_server::Instance;

constexpr int kExitStartFailure = 1;
constexpr int kExitUsage = 2;
// The largest request of a tuning session is the settings document, under 1 MiB as JSON
// and a third more as a data URI: 4 MiB leaves room to grow.
constexpr size_t kDefaultMaxRequest = 4u << 20;
// A read of every key of every block is under a thousand commands.
constexpr size_t kDefaultMaxCommands = 20000;
// What one request may read: a sweep of every key is a fraction of a MiB, one settings
// document about 1 MiB. Reads answer far more than they take (a 34-byte read of the settings
// document answers 0.7 MB), so the request limit alone does not bound them.
// A larger --max-request raises it in step.
constexpr size_t kMaxAnswerBytes = 16u << 20;
constexpr size_t kMaxEventStreams = 16;
// Frame streams each cost a JPEG encoding per frame on the feed's thread.
constexpr size_t kMaxFrameStreams = 4;
// A camera raw file of a large sensor is some tens of MiB.
constexpr size_t kDefaultMaxUpload = 64u << 20;
constexpr size_t kEventsKept = 256;
constexpr size_t kEventBytesKept = 8u << 20;
// Handler threads share malloc arenas: a large request's memory goes back to one pool
// (and from there to the system) instead of staying in a private arena per thread.
constexpr int kMallocArenas = 2;
// Blocks from this size up (request bodies, answers, the shell's text buffers) are mapped on
// their own and unmapped when freed. A fixed threshold also stops glibc from raising it
// after each large free, which would keep every later large answer in the heap.
constexpr int kMallocMapBytes = 1 << 20;

const char kUsage[] =
    "Usage: tshell-server [OPTION]...\n"
    "Serve the ISP tuning shell to the browser tuning client over HTTP.\n"
    "\n"
    "One shell instance runs over the calibration database and the simulated ISP and is\n"
    "shared by every connection. Open the URL printed at start-up in a browser.\n"
    "\n"
    "Options:\n"
    "  --listen HOST:PORT   address to serve on (default 127.0.0.1:8080; port 0 picks a free\n"
    "                       port; an IPv6 host goes in brackets: [::1]:8080). Only loopback\n"
    "                       unless another address is given here; then use --token\n"
    "  --database FILE      load the settings document FILE (the built-in defaults when it\n"
    "                       does not exist yet) and save it after every request that writes,\n"
    "                       at most about once a second, and on exit\n"
    "  --token TOKEN        every /api/ call needs the header 'Authorization: Bearer TOKEN';\n"
    "                       the printed URL carries the token for the client\n"
    "  --allow-origin ORIGIN  let pages from ORIGIN (http://host:port) call the API from a\n"
    "                       browser; repeatable. Pages of other sites are refused\n"
    "  --allow-host NAME    accept requests addressed to the server as NAME (a DNS name of\n"
    "                       this machine); repeatable. Loopback names and addresses, and the\n"
    "                       --listen address, are always accepted\n"
    "  --stream             start the simulated sensor at start-up, so that writes reach the\n"
    "                       hardware and reads and statistics come back from it\n"
    "  --trace LEVEL        print shell traces up to LEVEL (0, 1, 2, 3 or off, the default)\n"
    "                       on standard error\n"
    "  --max-request BYTES  largest request body accepted (default 4194304, 4 MiB)\n"
    "  --max-commands N     most commands in one request (default 20000)\n"
    "  --max-upload BYTES   largest picture or raw file PUT /api/frame and\n"
    "                       /api/calibrate/captures take (default 67108864, 64 MiB)\n"
    "  --verbose            print a line for every save of the database\n"
    "  -h, --help           show this help and exit\n"
    "\n"
    "Stop the server with Ctrl-C or SIGTERM: it saves the database and exits with status 0.\n"
    "Exit status 1: the server could not start or the last save failed; 2: bad options.\n"
    "\n"
    "Example:\n"
    "  tshell-server --stream --database tuned.json --token secret\n";

struct Options {
  std::string host = "127.0.0.1";
  int port = 8080;
  std::string database;
  std::string token;
  bool stream = false;
  bool verbose = false;
  int32_t traceLevel = -1;
  size_t maxRequest = kDefaultMaxRequest;
  size_t maxCommands = kDefaultMaxCommands;
  size_t maxUpload = kDefaultMaxUpload;
  std::vector<std::string> allowOrigins;
  std::vector<std::string> allowHosts;
};

bool parseNumber(const char *text, unsigned long long maximum, unsigned long long *value) {
  if (*text < '0' || *text > '9') return false;
  char *end = nullptr;
  errno = 0;
  *value = strtoull(text, &end, 10);
  return errno == 0 && *end == '\0' && *value <= maximum;
}

bool parseListen(const std::string &text, Options *options) {
  std::string host;
  std::string port;
  if (!text.empty() && text[0] == '[') {
    const size_t close = text.find(']');
    if (close == std::string::npos || close + 1 >= text.size() || text[close + 1] != ':') {
      return false;
    }
    host = text.substr(1, close - 1);
    port = text.substr(close + 2);
  } else {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos) return false;
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
    if (host.find(':') != std::string::npos) return false;  // IPv6 needs brackets
  }
  unsigned long long number = 0;
  if (!parseNumber(port.c_str(), 65535, &number)) return false;
  // An empty host stays on loopback: serving other machines must be asked for by address.
  options->host = host.empty() ? "127.0.0.1" : host;
  options->port = static_cast<int>(number);
  return true;
}

// True when every address the host names is a loopback address.
bool isLoopback(const std::string &host) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return false;
  bool loopback = found != nullptr;
  for (const addrinfo *a = found; a != nullptr; a = a->ai_next) {
    if (a->ai_family == AF_INET) {
      const auto *v4 = reinterpret_cast<const sockaddr_in *>(a->ai_addr);
      loopback = loopback && (ntohl(v4->sin_addr.s_addr) >> 24) == 127;
    } else if (a->ai_family == AF_INET6) {
      const auto *v6 = reinterpret_cast<const sockaddr_in6 *>(a->ai_addr);
      loopback = loopback && IN6_IS_ADDR_LOOPBACK(&v6->sin6_addr);
    } else {
      loopback = false;
    }
  }
  freeaddrinfo(found);
  return loopback;
}

bool parseTraceLevel(const char *text, int32_t *level) {
  if (strcmp(text, "off") == 0) {
    *level = -1;
    return true;
  }
  unsigned long long value = 0;
  if (!parseNumber(text, 3, &value)) return false;
  *level = static_cast<int32_t>(value);
  return true;
}

enum LongOption {
  kListen = 256,
  kDatabase,
  kToken,
  kStream,
  kTrace,
  kMaxRequest,
  kMaxCommands,
  kMaxUpload,
  kAllowOrigin,
  kAllowHost,
  kVerbose
};

// An origin as a browser sends it: scheme, host and optional port, nothing after.
bool validOrigin(const std::string &text) {
  const size_t scheme = text.find("://");
  if (scheme == std::string::npos || scheme == 0) return false;
  const std::string rest = text.substr(scheme + 3);
  return !rest.empty() && rest.find_first_of("/?#@ ") == std::string::npos;
}

// Returns -1 to go on, or the exit status.
int parseOptions(int argc, char **argv, Options *options) {
  static const option kLong[] = {{"listen", required_argument, nullptr, kListen},
                                 {"database", required_argument, nullptr, kDatabase},
                                 {"token", required_argument, nullptr, kToken},
                                 {"stream", no_argument, nullptr, kStream},
                                 {"trace", required_argument, nullptr, kTrace},
                                 {"max-request", required_argument, nullptr, kMaxRequest},
                                 {"max-commands", required_argument, nullptr, kMaxCommands},
                                 {"max-upload", required_argument, nullptr, kMaxUpload},
                                 {"allow-origin", required_argument, nullptr, kAllowOrigin},
                                 {"allow-host", required_argument, nullptr, kAllowHost},
                                 {"verbose", no_argument, nullptr, kVerbose},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  auto bad = [](const char *what, const char *text) {
    fprintf(stderr, "tshell-server: %s, not '%s'\n", what, text);
    return kExitUsage;
  };
  unsigned long long number = 0;
  int c;
  while ((c = getopt_long(argc, argv, "h", kLong, nullptr)) != -1) {
    switch (c) {
      case kListen:
        if (!parseListen(optarg, options)) return bad("--listen takes HOST:PORT", optarg);
        break;
      case kDatabase:
        if (*optarg == '\0') return bad("--database takes a file name", optarg);
        options->database = optarg;
        break;
      case kToken:
        if (*optarg == '\0') return bad("--token takes a non-empty text", optarg);
        options->token = optarg;
        break;
      case kStream:
        options->stream = true;
        break;
      case kTrace:
        if (!parseTraceLevel(optarg, &options->traceLevel)) {
          return bad("--trace takes 0, 1, 2, 3 or off", optarg);
        }
        break;
      case kMaxRequest:
        if (!parseNumber(optarg, SIZE_MAX, &number) || number == 0) {
          return bad("--max-request takes a positive number of bytes", optarg);
        }
        options->maxRequest = static_cast<size_t>(number);
        break;
      case kMaxUpload:
        if (!parseNumber(optarg, SIZE_MAX, &number) || number == 0) {
          return bad("--max-upload takes a positive number of bytes", optarg);
        }
        options->maxUpload = static_cast<size_t>(number);
        break;
      case kMaxCommands:
        if (!parseNumber(optarg, SIZE_MAX, &number) || number == 0) {
          return bad("--max-commands takes a positive number", optarg);
        }
        options->maxCommands = static_cast<size_t>(number);
        break;
      case kAllowOrigin:
        if (!validOrigin(optarg)) return bad("--allow-origin takes SCHEME://HOST[:PORT]", optarg);
        options->allowOrigins.emplace_back(optarg);
        break;
      case kAllowHost:
        if (*optarg == '\0' || strpbrk(optarg, ":/ ") != nullptr) {
          return bad("--allow-host takes a host name without port", optarg);
        }
        options->allowHosts.emplace_back(optarg);
        break;
      case kVerbose:
        options->verbose = true;
        break;
      case 'h':
        fputs(kUsage, stdout);
        return EXIT_SUCCESS;
      default:
        fputs("Try 'tshell-server --help' for more information.\n", stderr);
        return kExitUsage;
    }
  }
  if (optind < argc) {
    fprintf(stderr, "tshell-server: unexpected argument '%s'\n", argv[optind]);
    fputs("Try 'tshell-server --help' for more information.\n", stderr);
    return kExitUsage;
  }
  return -1;
}

// The token as a URL fragment: everything but unreserved characters percent-encoded.
std::string fragmentEncode(const std::string &text) {
  std::string out;
  for (const unsigned char c : text) {
    if (isalnum(c) || strchr("-._~", c) != nullptr) {
      out.push_back(static_cast<char>(c));
    } else {
      char escape[4];
      snprintf(escape, sizeof escape, "%%%02X", c);
      out += escape;
    }
  }
  return out;
}

}  // namespace

int main(int argc, char **argv) {
  mallopt(M_ARENA_MAX, kMallocArenas);
  mallopt(M_MMAP_THRESHOLD, kMallocMapBytes);
  Options options;
  const int status = parseOptions(argc, argv, &options);
  if (status >= 0) return status;

  // Signals are taken by one thread with sigwait: block them before any thread starts, so
  // that every thread inherits the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);  // a client that went away must not end the server

  TCommonTracer_setLevel(TCommonTracerHandle, options.traceLevel);
  EventHub events(kEventsKept, kEventBytesKept, kMaxEventStreams);
  tshell_server::InstanceOptions instanceOptions;
  instanceOptions.database = options.database;
  instanceOptions.verbose = options.verbose;
  instanceOptions.maxCommands = options.maxCommands;
  instanceOptions.maxAnswerBytes = std::max(kMaxAnswerBytes, 4 * options.maxRequest);
  std::string error;
  std::unique_ptr<Instance> instance = Instance::open(instanceOptions, &events, &error);
  if (instance == nullptr) {
    fprintf(stderr, "tshell-server: %s\n", error.c_str());
    return kExitStartFailure;
  }
  if (options.stream && !instance->startStreaming(&error)) {
    fprintf(stderr, "tshell-server: %s\n", error.c_str());
    return kExitStartFailure;
  }
  tshell_server::FrameClock frameClock(instance->driver());

  tshell_server::PolicyOptions policyOptions;
  policyOptions.token = options.token;
  policyOptions.allowOrigins = options.allowOrigins;
  policyOptions.allowHosts = options.allowHosts;
  policyOptions.listenHost = options.host;
  tshell_server::ServerLimits limits;
  limits.maxBody = options.maxRequest;
  // The largest upload allowed must fit on its own.
  limits.bodyBytesInFlight = std::max(limits.bodyBytesInFlight, options.maxUpload);
  tshell_server::FrameFeed frameFeed(instance->driver(), kMaxFrameStreams);
  std::vector<tshell_server::Route> routes = tshell_server::makeRoutes(instance.get(), &events);
  tshell_server::FrameRouteOptions frameOptions;
  frameOptions.maxUpload = options.maxUpload;
  // Before the embedded client's catch-all.
  std::vector<tshell_server::Route> frameRoutes;
  tshell_server::addFrameRoutes(&frameRoutes, instance->driver(), &frameFeed, frameOptions);
  tshell_server::CalibrateRouteOptions calibrateOptions;
  calibrateOptions.maxUpload = options.maxUpload;
  tshell_server::addCalibrateRoutes(&frameRoutes, instance.get(), calibrateOptions);
  routes.insert(routes.begin(), std::make_move_iterator(frameRoutes.begin()),
                std::make_move_iterator(frameRoutes.end()));
  tshell_server::HttpServer server(limits, tshell_server::RequestPolicy(policyOptions),
                                   std::move(routes));
  events.setListener([&server] { server.wakeStreams(); });
  frameFeed.setListener([&server] { server.wakeStreams(); });

  const bool ipv6 = options.host.find(':') != std::string::npos;
  const std::string host = ipv6 ? "[" + options.host + "]" : options.host;
  std::string bindError;
  if (!server.bind(options.host, options.port, &bindError)) {
    fprintf(stderr, "tshell-server: cannot listen on %s:%d: %s\n", host.c_str(), options.port,
            bindError.c_str());
    return kExitStartFailure;
  }
  const int port = server.port();
  if (!isLoopback(options.host) && options.token.empty()) {
    fprintf(stderr,
            "tshell-server: warning: serving %s to other machines without --token: anyone who "
            "can reach it can change the ISP settings\n",
            host.c_str());
  }
  std::string url = "http://" + host + ":" + std::to_string(port) + "/";
  if (!options.token.empty()) url += "#token=" + fragmentEncode(options.token);
  printf("tshell-server: tuning client at %s\n", url.c_str());
  if (instance->savesToFile()) {
    printf("tshell-server: database %s (saved after every write)\n", options.database.c_str());
  } else {
    printf("tshell-server: database built-in defaults (not saved)\n");
  }
  if (options.stream) printf("tshell-server: sensor streaming\n");
  fflush(stdout);

  std::thread signalThread([&] {
    int signal = 0;
    sigwait(&stopSignals, &signal);
    server.stop();
  });

  const bool served = server.run();
  // Wakes the signal thread when the server ended by itself; once that thread is gone the
  // signal just stays pending, blocked in every thread.
  kill(getpid(), SIGTERM);
  signalThread.join();
  events.close();
  frameFeed.stop();

  frameClock.stop();
  bool saved = instance->finish();
  instance.reset();
  if (!served) {
    fprintf(stderr, "tshell-server: the server stopped on an error\n");
    return kExitStartFailure;
  }
  return saved ? EXIT_SUCCESS : kExitStartFailure;
}
