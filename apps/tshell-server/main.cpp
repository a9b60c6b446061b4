// tshell-server: serves the tuning shell over HTTP to the browser tuning client, over the
// calibration database (a settings file or the built-in defaults) and the simulated ISP.
#include <arpa/inet.h>
#include <getopt.h>
#include <netdb.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "events.h"
#include "frame_clock.h"
#include "instance.h"
#include "routes.h"
#include "t_common.h"

namespace {

using tshell_server::EventHub;
using tshell_server::Instance;

constexpr int kExitStartFailure = 1;
constexpr int kExitUsage = 2;
constexpr size_t kDefaultMaxRequest = 64u << 20;
constexpr size_t kMaxEventStreams = 16;
// Every open event stream holds a worker thread; the rest serve requests.
constexpr size_t kWorkerThreads = kMaxEventStreams + 16;
constexpr size_t kEventsKept = 256;
constexpr size_t kEventBytesKept = 8u << 20;
constexpr time_t kSocketTimeoutSeconds = 10;
constexpr time_t kKeepAliveSeconds = 1;

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
    "  --stream             start the simulated sensor at start-up, so that writes reach the\n"
    "                       hardware and reads and statistics come back from it\n"
    "  --trace LEVEL        print shell traces up to LEVEL (0, 1, 2, 3 or off, the default)\n"
    "                       on standard error\n"
    "  --max-request BYTES  largest request body accepted (default 67108864, 64 MiB)\n"
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

enum LongOption { kListen = 256, kDatabase, kToken, kStream, kTrace, kMaxRequest, kVerbose };

// Returns -1 to go on, or the exit status.
int parseOptions(int argc, char **argv, Options *options) {
  static const option kLong[] = {{"listen", required_argument, nullptr, kListen},
                                 {"database", required_argument, nullptr, kDatabase},
                                 {"token", required_argument, nullptr, kToken},
                                 {"stream", no_argument, nullptr, kStream},
                                 {"trace", required_argument, nullptr, kTrace},
                                 {"max-request", required_argument, nullptr, kMaxRequest},
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

  httplib::Server server;
  server.new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
  server.set_read_timeout(kSocketTimeoutSeconds, 0);
  server.set_write_timeout(kSocketTimeoutSeconds, 0);
  // Stopping waits for idle keep-alive connections to time out: keep that short.
  server.set_keep_alive_timeout(kKeepAliveSeconds);
  // Headers and body go out in separate writes: without this, Nagle's algorithm and the
  // client's delayed acknowledgement hold every answer back by tens of milliseconds.
  server.set_tcp_nodelay(true);
  server.set_payload_max_length(options.maxRequest);
  // httplib's default adds SO_REUSEPORT, which would let a second server share the port
  // with a running one instead of failing to start.
  // The socket is kept to widen its listen backlog once it is bound (below).
  socket_t boundSocket = INVALID_SOCKET;
  server.set_socket_options([&boundSocket](socket_t sock) {
    int yes = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    boundSocket = sock;
  });
  tshell_server::RouteOptions routeOptions;
  routeOptions.token = options.token;
  routeOptions.maxRequest = options.maxRequest;
  tshell_server::installRoutes(&server, instance.get(), &events, routeOptions);

  const bool ipv6 = options.host.find(':') != std::string::npos;
  const std::string host = ipv6 ? "[" + options.host + "]" : options.host;
  errno = 0;
  int port = options.port;
  const bool bound = port == 0 ? (port = server.bind_to_any_port(options.host)) > 0
                               : server.bind_to_port(options.host, port);
  if (!bound) {
    fprintf(stderr, "tshell-server: cannot listen on %s:%d: %s\n", host.c_str(), options.port,
            errno != 0 ? strerror(errno) : "not an address of this machine");
    return kExitStartFailure;
  }
  // The library listens with a backlog of 5: clients that open a connection per request
  // (scripts, several browser tabs at once) would see connections dropped under load.
  // Listening again on the bound socket widens the queue.
  if (boundSocket != INVALID_SOCKET) ::listen(boundSocket, SOMAXCONN);
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

  std::atomic<bool> listening = true;
  std::thread signalThread([&] {
    int signal = 0;
    sigwait(&stopSignals, &signal);
    events.close();  // event streams end first, so that their threads can be joined
    while (listening.load()) {
      if (server.is_running()) {
        server.stop();
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });

  const bool served = server.listen_after_bind();
  listening = false;
  // Wakes the signal thread when the server ended by itself; once that thread is gone the
  // signal just stays pending, blocked in every thread.
  kill(getpid(), SIGTERM);
  signalThread.join();
  events.close();

  frameClock.stop();
  bool saved = instance->finish();
  instance.reset();
  if (!served) {
    fprintf(stderr, "tshell-server: the server stopped on an error\n");
    return kExitStartFailure;
  }
  return saved ? EXIT_SUCCESS : kExitStartFailure;
}
