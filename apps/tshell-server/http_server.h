// The HTTP/1.1 front of the tuning server, on Boost.Beast. One network thread reads and
// writes every connection asynchronously, so a connection costs a socket and a buffer, not
// a thread: clients that send their request slowly, or not at all, never hold back the
// others. Handlers that touch the shell run on a few worker threads.
//
// Every request passes the request policy (policy.h) before its body is read; a route only
// sees requests the policy let through.
#ifndef TSHELL_SERVER_HTTP_SERVER_H
#define TSHELL_SERVER_HTTP_SERVER_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "policy.h"

namespace tshell_server {

using Headers = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string method;
  std::string path;   // the target before '?'
  std::string query;  // after '?', without it
  Headers headers;
  std::string body;
  std::string peer;  // the client's address

  // The first header of that name (any case), or "".
  std::string header(std::string_view name) const;
  // A query parameter, percent-decoded; "" when absent.
  std::string param(std::string_view name) const;
};

// A text handed out piece by piece on a long-lived response (server-sent events).
class StreamSource {
 public:
  virtual ~StreamSource() = default;
  // What to send now ("" for nothing yet); *ended once the stream is over.
  virtual std::string take(bool *ended) = 0;
};

struct HttpResponse {
  int status = 200;
  std::string contentType = "application/json";
  std::string body;
  Headers headers;
  // Set: the body is left out and the connection carries this stream until it ends or the
  // client goes away.
  std::shared_ptr<StreamSource> stream;
};

using HttpHandler = std::function<void(const HttpRequest &, HttpResponse &)>;

struct Route {
  std::string method;  // "GET", "POST", "PUT" or "DELETE"
  std::string path;    // exact path, or with prefix set every path that starts with it
  bool prefix = false;
  RouteRule rule;
  // Quick handlers (embedded files, the health check) run on the network thread; the rest
  // on a worker, so that a request waiting for the shell never stops the network.
  bool quick = false;
  HttpHandler handler;
  // Largest body the route takes; 0: the server's limit (ServerLimits::maxBody).
  size_t maxBody = 0;
};

struct ServerLimits {
  size_t maxBody = 4u << 20;
  size_t headerBytes = 16u << 10;
  // A connection that has sent nothing waits this long for its next request.
  std::chrono::milliseconds idle{15000};
  // The whole request head (line and headers) must arrive within this, from its first byte.
  std::chrono::milliseconds headDeadline{5000};
  // The body may take headDeadline plus its size at this rate; a read that brings nothing
  // for headDeadline ends it too.
  size_t bodyBytesPerSecond = 64u << 10;
  std::chrono::milliseconds writeDeadline{10000};
  // Bodies being received or waiting to be handled, by their announced size: past this, new
  // large bodies are turned away (503) until others are done. Small ones always pass.
  size_t bodyBytesInFlight = 64u << 20;
  size_t smallBody = 64u << 10;
  size_t connectionsPerPeer = 32;
  size_t connections = 512;
  size_t workers = 4;
  // How often a quiet event stream is offered the chance to write a keep-alive.
  std::chrono::milliseconds streamTick{1000};
};

class Session;

class HttpServer {
 public:
  HttpServer(ServerLimits limits, RequestPolicy policy, std::vector<Route> routes);
  ~HttpServer();
  HttpServer(const HttpServer &) = delete;
  HttpServer &operator=(const HttpServer &) = delete;

  // Binds and listens; false with *error for the user. port 0 picks a free port.
  bool bind(const std::string &host, int port, std::string *error);
  int port() const;
  // Serves until stop(); true unless the network failed.
  bool run();
  // Ends the server from any thread: no new connections, idle ones and event streams close,
  // requests in progress are answered first (within a short bound).
  void stop();
  // Lets every open event stream look for news now (from any thread).
  void wakeStreams();

 private:
  friend class Session;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tshell_server

#endif  // TSHELL_SERVER_HTTP_SERVER_H
