#include "routes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "json_text.h"
#include "t_shell.h"
#include "web_assets.h"

namespace tshell_server {

namespace {

using httplib::DataSink;
using httplib::Request;
using httplib::Response;
using HandlerResponse = httplib::Server::HandlerResponse;

constexpr char kJson[] = "application/json";
constexpr auto kKeepAlive = std::chrono::seconds(15);
// How often an idle event stream looks at its connection.
constexpr auto kStreamPoll = std::chrono::milliseconds(1000);

void sendJson(Response &res, int status, std::string body) {
  res.status = status;
  res.set_content(std::move(body), kJson);
}

// Compares in a time that depends only on the expected token's length, so that the
// answer time tells nothing about how much of a guess was right.
bool sameSecret(std::string_view given, std::string_view expected) {
  unsigned diff = given.size() == expected.size() ? 0 : 1;
  for (size_t i = 0; i < expected.size(); ++i) {
    const char c = i < given.size() ? given[i] : '\0';
    diff |= static_cast<unsigned char>(c ^ expected[i]);
  }
  return diff == 0;
}

bool authorized(const Request &req, const std::string &token) {
  const std::string header = req.get_header_value("Authorization");
  constexpr std::string_view kScheme = "bearer ";
  if (header.size() < kScheme.size()) return false;
  for (size_t i = 0; i < kScheme.size(); ++i) {
    if (static_cast<char>(std::tolower(static_cast<unsigned char>(header[i]))) != kScheme[i]) {
      return false;
    }
  }
  std::string_view given(header);
  given.remove_prefix(kScheme.size());
  while (!given.empty() && given.front() == ' ') given.remove_prefix(1);
  while (!given.empty() && given.back() == ' ') given.remove_suffix(1);
  return sameSecret(given, token);
}

std::string statusText(int status, size_t maxRequest) {
  switch (status) {
    case 400:
      return "bad request";
    case 404:
      return "not found";
    case 405:
      return "method not allowed";
    case 413:
      return "the request is larger than " + std::to_string(maxRequest) + " bytes";
    case 414:
      return "the URI is too long";
    case 500:
      return "internal server error";
    default:
      return "HTTP status " + std::to_string(status);
  }
}

// One open event stream: holds a listener slot for as long as httplib keeps the provider.
struct EventStream {
  explicit EventStream(EventHub *hub) : hub(hub), cursor(hub->latest()) {}
  ~EventStream() { hub->detach(); }
  EventStream(const EventStream &) = delete;
  EventStream &operator=(const EventStream &) = delete;

  EventHub *hub;
  uint64_t cursor;
  bool greeted = false;
  std::chrono::steady_clock::time_point lastWrite = std::chrono::steady_clock::now();

  // Called by httplib again and again while it returns true: each call writes what is
  // new, or waits a little for it.
  bool pump(DataSink &sink) {
    std::string text;
    if (!greeted) {
      greeted = true;
      text = ": connected\n\n";  // lets a client know the stream is live before any event
    } else {
      const auto now = std::chrono::steady_clock::now();
      const auto untilKeepAlive =
          std::chrono::duration_cast<std::chrono::milliseconds>(lastWrite + kKeepAlive - now);
      const auto timeout = std::clamp(untilKeepAlive, std::chrono::milliseconds(0),
                                      std::chrono::milliseconds(kStreamPoll));
      EventHub::Batch batch = hub->wait(&cursor, timeout);
      if (batch.closed) {
        // End the response, and refuse the connection's keep-alive wait so that the
        // server's threads can be joined at once.
        sink.done();
        return false;
      }
      if (batch.skipped > 0) {
        text = ": " + std::to_string(batch.skipped) + " events dropped (client too slow)\n\n";
      }
      text += batch.text;
      if (text.empty() && std::chrono::steady_clock::now() >= lastWrite + kKeepAlive) {
        text = ": keep-alive\n\n";
      }
    }
    if (!text.empty()) {
      if (!sink.write(text.data(), text.size())) return false;
      lastWrite = std::chrono::steady_clock::now();
    }
    return sink.is_writable();
  }
};

void serveRequest(Instance *instance, size_t maxRequest, const httplib::ContentReader &reader,
                  Response &res) {
  std::string body;
  bool tooLarge = false;
  const bool read = reader([&](const char *data, size_t size) {
    tooLarge = size > maxRequest - body.size();
    if (!tooLarge) body.append(data, size);
    return !tooLarge;
  });
  if (tooLarge || res.status == 413) {
    sendJson(res, 413, errorBody(statusText(413, maxRequest)));
  } else if (!read) {
    sendJson(
        res, 400,
        errorBody("the request body could not be read: send it with a Content-Length or chunked"));
  } else {
    Outcome outcome = instance->process(body);
    sendJson(res, outcome.status, std::move(outcome.body));
  }
}

bool parseSince(const std::string &text, uint64_t *since) {
  if (text.empty()) {
    *since = 0;
    return true;
  }
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  char *end = nullptr;
  *since = std::strtoull(text.c_str(), &end, 10);
  return errno == 0;
}

}  // namespace

void installRoutes(httplib::Server *server, Instance *instance, EventHub *events,
                   const RouteOptions &options) {
  const std::string token = options.token;
  const size_t maxRequest = options.maxRequest;

  server->set_pre_routing_handler([token](const Request &req, Response &res) {
    const bool api = req.path == "/api" || req.path.rfind("/api/", 0) == 0;
    if (!api || token.empty() || authorized(req, token)) return HandlerResponse::Unhandled;
    sendJson(res, 401, errorBody("unauthorized"));
    return HandlerResponse::Handled;
  });

  server->set_error_handler(
      httplib::Server::HandlerWithResponse([maxRequest](const Request &, Response &res) {
        if (!res.body.empty()) return HandlerResponse::Unhandled;
        res.set_content(errorBody(statusText(res.status, maxRequest)), kJson);
        return HandlerResponse::Handled;
      }));

  server->set_exception_handler([](const Request &, Response &res, std::exception_ptr error) {
    std::string what = "internal server error";
    try {
      if (error) std::rethrow_exception(error);
    } catch (const std::exception &e) {
      what += std::string(": ") + e.what();
    } catch (...) {
    }
    sendJson(res, 500, errorBody(what));
  });

  // The body is read here rather than by httplib, so that a chunked body over the limit is
  // answered 413 as one with a length is (httplib reports only a failed read).
  server->Post("/api/request", httplib::Server::HandlerWithContentReader(
                                   [instance, maxRequest](const Request &, Response &res,
                                                          const httplib::ContentReader &reader) {
                                     serveRequest(instance, maxRequest, reader, res);
                                   }));

  server->Get("/api/schema", [](const Request &, Response &res) {
    const char *schema = nullptr;
    const uint32_t code = TShell_schema(&schema);
    if (code != TCOMMON_SUCCESS) {
      sendJson(res, 500, errorBody(std::string("no schema: ") + TCommonError_text(code)));
      return;
    }
    sendJson(res, 200, schema);
  });

  server->Get("/api/journal", [instance](const Request &req, Response &res) {
    uint64_t since = 0;
    if (!parseSince(req.get_param_value("since"), &since)) {
      sendJson(res, 400, errorBody("since must be a call number (a non-negative integer)"));
      return;
    }
    sendJson(res, 200, instance->journal(since));
  });

  server->Get("/api/events", [events](const Request &, Response &res) {
    if (!events->attach()) {
      sendJson(res, 503, errorBody("too many event streams are open"));
      return;
    }
    auto stream = std::make_shared<EventStream>(events);
    res.set_header("Cache-Control", "no-cache");
    res.set_chunked_content_provider(
        "text/event-stream", [stream](size_t, DataSink &sink) { return stream->pump(sink); });
  });

  server->Post("/api/save", [instance](const Request &, Response &res) {
    Outcome outcome = instance->saveNow();
    sendJson(res, outcome.status, std::move(outcome.body));
  });

  server->Get("/healthz",
              [](const Request &, Response &res) { res.set_content("ok", "text/plain"); });

  server->Get(R"(/.*)", [](const Request &req, Response &res) {
    const WebAsset *asset = findWebAsset(req.path == "/" ? "/index.html" : req.path);
    if (asset == nullptr) {
      sendJson(res, 404, errorBody("not found"));
      return;
    }
    res.set_header("Cache-Control", "no-cache");
    res.set_content(reinterpret_cast<const char *>(asset->data), asset->size, asset->contentType);
  });
}

}  // namespace tshell_server
