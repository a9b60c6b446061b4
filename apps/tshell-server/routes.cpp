#include "routes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "json_text.h"
#include "lab_routes.h"
#include "replies.h"
#include "t_shell.h"
#include "web_assets.h"

namespace tshell_server {

namespace {

constexpr auto kKeepAlive = std::chrono::seconds(15);

// One open event stream: holds a listener slot for as long as the connection keeps it.
class EventStream : public StreamSource {
 public:
  explicit EventStream(EventHub *hub) : hub_(hub), cursor_(hub->latest()) {}
  ~EventStream() override { hub_->detach(); }
  EventStream(const EventStream &) = delete;
  EventStream &operator=(const EventStream &) = delete;

  std::string take(bool *ended) override {
    *ended = false;
    if (!greeted_) {
      greeted_ = true;
      lastWrite_ = std::chrono::steady_clock::now();
      return ": connected\n\n";  // lets a client know the stream is live before any event
    }
    EventHub::Batch batch = hub_->wait(&cursor_, std::chrono::milliseconds(0));
    if (batch.closed) {
      *ended = true;
      return {};
    }
    std::string text;
    if (batch.skipped > 0) {
      text = ": " + std::to_string(batch.skipped) + " events dropped (client too slow)\n\n";
    }
    text += batch.text;
    const auto now = std::chrono::steady_clock::now();
    if (text.empty() && now >= lastWrite_ + kKeepAlive) text = ": keep-alive\n\n";
    if (!text.empty()) lastWrite_ = now;
    return text;
  }

 private:
  EventHub *hub_;
  uint64_t cursor_;
  bool greeted_ = false;
  std::chrono::steady_clock::time_point lastWrite_;
};

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

const RouteRule kJsonBody{{kJson}};
const RouteRule kNoBody{};

}  // namespace

std::vector<Route> makeRoutes(Instance *instance, EventHub *events) {
  std::vector<Route> routes;
  routes.push_back({"POST", "/api/request", false, kJsonBody, false,
                    [instance](const HttpRequest &req, HttpResponse &res) {
                      Outcome outcome = instance->process(req.body);
                      sendJson(res, outcome.status, std::move(outcome.body));
                    }});

  routes.push_back(
      {"GET", "/api/schema", false, kNoBody, false, [](const HttpRequest &, HttpResponse &res) {
         const char *schema = nullptr;
         const uint32_t code = TShell_schema(&schema);
         if (code != TCOMMON_SUCCESS) {
           sendJson(res, 500, errorBody(std::string("no schema: ") + TCommonError_text(code)));
           return;
         }
         sendJson(res, 200, schema);
       }});

  routes.push_back({"GET", "/api/journal", false, kNoBody, false,
                    [instance](const HttpRequest &req, HttpResponse &res) {
                      uint64_t since = 0;
                      if (!parseSince(req.param("since"), &since)) {
                        sendJson(res, 400,
                                 errorBody("since must be a call number (a non-negative integer)"));
                        return;
                      }
                      sendJson(res, 200, instance->journal(since));
                    }});

  routes.push_back({"GET", "/api/events", false, kNoBody, true,
                    [events](const HttpRequest &, HttpResponse &res) {
                      if (!events->attach()) {
                        sendJson(res, 503, errorBody("too many event streams are open"));
                        return;
                      }
                      res.contentType = "text/event-stream";
                      res.stream = std::make_shared<EventStream>(events);
                    }});

  // The client posts it without a body; a body, if any, must still be JSON.
  routes.push_back({"POST", "/api/save", false, kJsonBody, false,
                    [instance](const HttpRequest &, HttpResponse &res) {
                      Outcome outcome = instance->saveNow();
                      sendJson(res, outcome.status, std::move(outcome.body));
                    }});

  addLabRoutes(routes, instance);

  routes.push_back(
      {"GET", "/healthz", false, kNoBody, true, [](const HttpRequest &, HttpResponse &res) {
         res.contentType = "text/plain";
         res.body = "ok";
       }});

  routes.push_back({"GET", "/", true, kNoBody, true, [](const HttpRequest &req, HttpResponse &res) {
                      const WebAsset *asset =
                          findWebAsset(req.path == "/" ? "/index.html" : req.path);
                      if (asset == nullptr) {
                        sendJson(res, 404, errorBody("not found"));
                        return;
                      }
                      res.headers.emplace_back("Cache-Control", "no-cache");
                      res.contentType = asset->contentType;
                      res.body.assign(reinterpret_cast<const char *>(asset->data), asset->size);
                    }});
  return routes;
}

}  // namespace tshell_server
