// The subcommands sent to a tuning server: POST /api/request and GET /api/schema; frames
// through GET /api/frame, GET /api/raw and PUT /api/frame.
#include <httplib.h>

#include "backend.h"
#include "json_tree.h"

namespace tshell_cli {

namespace {

constexpr time_t kConnectSeconds = 5;
constexpr time_t kReadSeconds = 30;

class RemoteBackend : public Backend {
 public:
  RemoteBackend(const std::string &url, const char *token) : url_(url), client_(url) {
    client_.set_connection_timeout(kConnectSeconds, 0);
    client_.set_read_timeout(kReadSeconds, 0);
    client_.set_write_timeout(kReadSeconds, 0);
    if (token != nullptr) client_.set_bearer_token_auth(token);
  }

  bool valid() const { return client_.is_valid(); }

  // httplib names the host and port of the URL in the Host header and sends no Origin: the
  // server takes the request as coming from a tool, not from a page of another site.
  bool process(const std::string &request, std::string *response, std::string *error) override {
    return answer(client_.Post("/api/request", request, "application/json"), response, error);
  }

  bool schema(std::string *text, std::string *error) override {
    return answer(client_.Get("/api/schema"), text, error);
  }

  bool finish(std::string *) override { return true; }

  std::unique_ptr<FrameLink> frames(std::string *) override;

  bool get(const std::string &path, std::string *body, std::string *error) {
    return answer(client_.Get(path), body, error);
  }

  bool put(const std::string &path, const std::string &data, std::string *body,
           std::string *error) {
    return answer(client_.Put(path, data, "application/octet-stream"), body, error);
  }

 private:
  bool answer(const httplib::Result &result, std::string *body, std::string *error) {
    if (!result) {
      *error = "cannot reach " + url_ + ": " + httplib::to_string(result.error());
      return false;
    }
    if (result->status == 200) {
      *body = result->body;
      return true;
    }
    // The server explains a refusal as {"error": "..."}.
    std::string reason = result->body;
    JsonDocument document;
    std::string ignored;
    if (document.parse(result->body, &ignored)) {
      const std::string text = jsonString(jsonMember(document.root(), "error"));
      if (!text.empty()) reason = text;
    }
    *error = url_ + " answered " + std::to_string(result->status) + ": " + reason;
    if (result->status == 401) *error += " (give the server's token with --token)";
    return false;
  }

  std::string url_;
  httplib::Client client_;
};

class RemoteFrameLink : public FrameLink {
 public:
  explicit RemoteFrameLink(RemoteBackend *backend) : backend_(backend) {}

  bool frame(const std::string &stage, bool png, std::string *bytes, std::string *error) override {
    return backend_->get("/api/frame?stage=" + httplib::detail::encode_query_param(stage) +
                             "&format=" + (png ? "png" : "jpeg"),
                         bytes, error);
  }

  bool raw(bool png, std::string *bytes, std::string *error) override {
    return backend_->get(std::string("/api/raw?format=") + (png ? "png" : "dng"), bytes, error);
  }

  bool inject(const std::string &data, std::string *summary, std::string *error) override {
    return backend_->put("/api/frame", data, summary, error);
  }

 private:
  RemoteBackend *backend_;
};

std::unique_ptr<FrameLink> RemoteBackend::frames(std::string *) {
  return std::make_unique<RemoteFrameLink>(this);
}

}  // namespace

std::unique_ptr<Backend> openRemoteBackend(const BackendOptions &options, std::string *error) {
  std::string url = options.url;
  while (url.size() > 1 && url.back() == '/') url.pop_back();
  if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0) {
    *error = "--connect takes an http://HOST:PORT address, not '" + url + "'";
    return nullptr;
  }
  auto backend = std::make_unique<RemoteBackend>(url, options.token);
  if (!backend->valid()) {
    *error = "--connect: '" + url + "' is not a valid address";
    return nullptr;
  }
  return backend;
}

}  // namespace tshell_cli
