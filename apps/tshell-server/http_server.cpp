#include "http_server.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "json_text.h"

namespace tshell_server {

namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr size_t kReadChunk = 4096;
constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr char kTooManyConnections[] =
    "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\nContent-Length: 52\r\n"
    "Connection: close\r\n\r\n{\"error\":\"too many connections from this address\"}\n\n";
// How long a connection closed after a refusal still takes (and drops) what the client sends.
constexpr auto kLinger = std::chrono::seconds(2);
// Requests still being answered when the server stops get this long to finish.
constexpr auto kStopGrace = std::chrono::seconds(3);

std::string decodePercent(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      out.push_back(' ');
    } else if (text[i] == '%' && i + 2 < text.size() &&
               std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
               std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out.push_back(static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16)));
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

bool sameName(std::string_view a, std::string_view b) {
  return beast::iequals(beast::string_view(a.data(), a.size()),
                        beast::string_view(b.data(), b.size()));
}

std::string text(beast::string_view view) {
  return std::string(view.data(), view.size());
}

}  // namespace

std::string HttpRequest::header(std::string_view name) const {
  for (const auto &[key, value] : headers) {
    if (sameName(key, name)) return value;
  }
  return {};
}

std::string HttpRequest::param(std::string_view name) const {
  std::string_view rest(query);
  while (!rest.empty()) {
    const size_t amp = rest.find('&');
    const std::string_view pair = rest.substr(0, amp);
    const size_t equals = pair.find('=');
    if (decodePercent(pair.substr(0, equals)) == name) {
      return equals == std::string_view::npos ? "" : decodePercent(pair.substr(equals + 1));
    }
    rest = amp == std::string_view::npos ? std::string_view() : rest.substr(amp + 1);
  }
  return {};
}

class Session;

struct HttpServer::Impl {
  Impl(ServerLimits limits, RequestPolicy policy, std::vector<Route> routes)
      : limits(limits),
        policy(std::move(policy)),
        routes(std::move(routes)),
        acceptor(io),
        workers(limits.workers),
        retryTimer(io),
        stopTimer(io) {
    largestBody = limits.maxBody;
    for (const Route &route : this->routes) largestBody = std::max(largestBody, route.maxBody);
  }

  void accept();
  void admit(tcp::socket socket);
  void forget(Session *session, const std::string &peer);
  void awaitQuiet();

  ServerLimits limits;
  RequestPolicy policy;
  std::vector<Route> routes;
  size_t largestBody = 0;  // the largest body any route takes
  // Touched on the network thread only. Declared before the I/O objects: sessions still
  // queued there when the loop ends leave these as they are destroyed.
  std::unordered_set<Session *> sessions;
  std::unordered_map<std::string, size_t> perPeer;
  size_t bodyBytes = 0;  // reserved by sessions for their bodies
  bool stopping = false;
  Clock::time_point stopBy;
  net::io_context io{1};
  tcp::acceptor acceptor;
  net::thread_pool workers;
  net::steady_timer retryTimer;
  net::steady_timer stopTimer;
};

// One client connection: waits for a request, reads its head against a deadline, lets the
// policy and the route decide, reads the body against a rate floor, answers, and starts
// over for the next request (pipelined ones are already in the buffer, and are answered in
// order). An event stream keeps the connection for itself.
class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(HttpServer::Impl &server, tcp::socket socket, std::string peer)
      : server_(server), stream_(std::move(socket)), timer_(server.io), peer_(std::move(peer)) {}

  void start() {
    server_.sessions.insert(this);
    waitForRequest();
  }

  // Called on the network thread while the server stops: a request being handled is still
  // answered, everything else ends now.
  void stopNow() {
    if (!inHandler_) close();
  }

  void wake() {
    if (source_ != nullptr) timer_.cancel();
  }

  ~Session() {
    releaseBody();
    server_.forget(this, peer_);
  }

 private:
  void close() {
    if (closed_) return;
    closed_ = true;
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_both, ignored);
    stream_.close();
    timer_.cancel();
  }

  void waitForRequest() {
    if (server_.stopping) return close();
    if (buffer_.size() > 0) return readHead();
    stream_.expires_after(server_.limits.idle);
    stream_.async_read_some(buffer_.prepare(kReadChunk),
                            [self = shared_from_this()](beast::error_code ec, size_t bytes) {
                              if (ec) return self->close();
                              self->buffer_.commit(bytes);
                              self->readHead();
                            });
  }

  void readHead() {
    parser_.emplace();
    parser_->header_limit(static_cast<uint32_t>(server_.limits.headerBytes));
    // The largest any route takes; the route's own limit is applied once it is known.
    parser_->body_limit(server_.largestBody);
    stream_.expires_after(server_.limits.headDeadline);
    http::async_read_header(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](beast::error_code ec, size_t) { self->onHead(ec); });
  }

  void onHead(beast::error_code ec) {
    if (ec == http::error::end_of_stream || ec == net::error::eof ||
        ec == net::error::connection_reset) {
      return close();
    }
    if (ec == beast::error::timeout) {
      return refuseAndClose(408, "the request head did not arrive in time");
    }
    if (ec == http::error::header_limit)
      return refuseAndClose(431, "the request head is too large");
    if (ec == http::error::body_limit) {
      return refuseAndClose(
          413, "the request is larger than " + std::to_string(server_.largestBody) + " bytes");
    }
    if (ec) {
      // Conflicting or malformed lengths among them: a server that guessed here would read
      // a different request boundary than a proxy in front of it.
      return refuseAndClose(400, "bad request: " + ec.message());
    }
    const auto &message = parser_->get();
    // A length beside a transfer coding, or a coding other than chunked, leaves the end of
    // the body open to interpretation.
    if (message.find(http::field::transfer_encoding) != message.end() &&
        (message.find(http::field::content_length) != message.end() || !parser_->chunked())) {
      return refuseAndClose(400, "bad request: send either Content-Length or chunked");
    }
    request_ = HttpRequest{};
    request_.method = text(message.method_string());
    const std::string_view target(message.target().data(), message.target().size());
    const size_t question = target.find('?');
    request_.path = std::string(target.substr(0, question));
    if (question != std::string_view::npos)
      request_.query = std::string(target.substr(question + 1));
    for (const auto &field : message) {
      request_.headers.emplace_back(text(field.name_string()), text(field.value()));
    }
    request_.peer = peer_;
    originHeader_ = request_.header("Origin");
    hasOrigin_ = message.find(http::field::origin) != message.end();
    hostHeader_ = request_.header("Host");
    head_ = RequestHead{};
    head_.method = request_.method;
    head_.path = request_.path;
    head_.host = hostHeader_;
    head_.origin = originHeader_;
    head_.hasOrigin = hasOrigin_;
    authorization_ = request_.header("Authorization");
    contentType_ = request_.header("Content-Type");
    head_.authorization = authorization_;
    head_.contentType = contentType_;
    head_.hasBody = parser_->chunked() || parser_->content_length().value_or(0) > 0;
    extraHeaders_ = server_.policy.answerHeaders(head_);

    if (Verdict verdict = server_.policy.admit(head_); verdict.status != 0) {
      return refuse(verdict);
    }
    route_ = nullptr;
    bool pathKnown = false;
    for (const Route &route : server_.routes) {
      const bool matches =
          route.prefix ? request_.path.rfind(route.path, 0) == 0 : request_.path == route.path;
      if (!matches) continue;
      pathKnown = true;
      if (route.method == request_.method) {
        route_ = &route;
        break;
      }
    }
    if (route_ == nullptr) {
      return refuse(
          Verdict{pathKnown ? 405 : 404, pathKnown ? "method not allowed" : "not found", {}});
    }
    if (Verdict verdict = server_.policy.acceptBody(head_, route_->rule); verdict.status != 0) {
      return refuse(verdict);
    }
    bodyLimit_ = route_->maxBody != 0 ? route_->maxBody : server_.limits.maxBody;
    if (parser_->content_length().value_or(0) > bodyLimit_) {
      return refuseAndClose(413,
                            "the request is larger than " + std::to_string(bodyLimit_) + " bytes");
    }
    parser_->body_limit(bodyLimit_);
    if (parser_->is_done()) return dispatch();
    // Many large bodies arriving at once would hold their memory together: reserve what this
    // one announces (the limit, when chunked) until it has been handled.
    const size_t announced = parser_->chunked()
                                 ? bodyLimit_
                                 : static_cast<size_t>(parser_->content_length().value_or(0));
    if (announced > server_.limits.smallBody &&
        server_.bodyBytes + announced > server_.limits.bodyBytesInFlight) {
      return refuseAndClose(503,
                            "the server is receiving too many large requests at once: try "
                            "again shortly");
    }
    bodyReserved_ = announced;
    server_.bodyBytes += announced;
    bodyStart_ = Clock::now();
    if (beast::iequals(request_.header("Expect"), "100-continue")) {
      stream_.expires_after(server_.limits.writeDeadline);
      net::async_write(stream_, net::buffer(kContinue, sizeof kContinue - 1),
                       [self = shared_from_this()](beast::error_code ec, size_t) {
                         if (ec) return self->close();
                         self->bodyStart_ = Clock::now();
                         self->readBody();
                       });
      return;
    }
    readBody();
  }

  void readBody() {
    stream_.expires_after(server_.limits.headDeadline);
    http::async_read_some(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](beast::error_code ec, size_t) { self->onBody(ec); });
  }

  void onBody(beast::error_code ec) {
    if (ec == http::error::body_limit) {
      return refuseAndClose(413,
                            "the request is larger than " + std::to_string(bodyLimit_) + " bytes");
    }
    if (ec == beast::error::timeout) return refuseAndClose(408, "the request body stalled");
    if (ec == http::error::end_of_stream || ec == net::error::eof) return close();
    if (ec) return refuseAndClose(400, "bad request body: " + ec.message());
    if (parser_->is_done()) return dispatch();
    // The rate floor: a body may take the head deadline plus its size at the floor rate.
    const double allowed = std::chrono::duration<double>(server_.limits.headDeadline).count() +
                           static_cast<double>(parser_->get().body().size()) /
                               static_cast<double>(server_.limits.bodyBytesPerSecond);
    if (std::chrono::duration<double>(Clock::now() - bodyStart_).count() > allowed) {
      return refuseAndClose(408, "the request body arrives too slowly");
    }
    readBody();
  }

  void dispatch() {
    request_.body = std::move(parser_->get().body());
    parser_->get().body().clear();
    keepAlive_ = parser_->get().keep_alive();
    response_ = HttpResponse{};
    if (route_->quick) {
      runHandler();
      return respond();
    }
    stream_.expires_never();
    inHandler_ = true;
    // The last reference goes back with the answer, so that the session always ends on the
    // network thread.
    net::post(server_.workers, [self = shared_from_this()]() mutable {
      self->runHandler();
      net::io_context &io = self->server_.io;
      net::post(io, [self = std::move(self)] {
        self->inHandler_ = false;
        self->respond();
      });
    });
  }

  void runHandler() {
    try {
      route_->handler(request_, response_);
    } catch (const std::exception &e) {
      response_ = HttpResponse{};
      response_.status = 500;
      response_.body = errorBody(std::string("internal server error: ") + e.what());
    }
    request_.body = std::string();  // a large request is given back before the answer goes
  }

  void refuse(const Verdict &verdict) {
    response_ = HttpResponse{};
    response_.status = verdict.status;
    if (verdict.status != 204) response_.body = errorBody(verdict.error);
    for (const auto &header : verdict.headers) response_.headers.push_back(header);
    // An unread body would be taken for the next request.
    keepAlive_ = parser_->is_done() && parser_->get().keep_alive();
    respond();
  }

  void refuseAndClose(int status, std::string error) {
    response_ = HttpResponse{};
    response_.status = status;
    response_.body = errorBody(error);
    keepAlive_ = false;
    respond();
  }

  void releaseBody() {
    server_.bodyBytes -= bodyReserved_;
    bodyReserved_ = 0;
  }

  void respond() {
    releaseBody();
    if (closed_) return;
    if (response_.stream != nullptr) return startStream();
    out_.emplace();
    out_->result(static_cast<unsigned>(response_.status));
    out_->version(11);
    if (response_.status != 204) out_->set(http::field::content_type, response_.contentType);
    for (const auto &[name, value] : extraHeaders_) out_->set(name, value);
    for (const auto &[name, value] : response_.headers) out_->set(name, value);
    out_->body() = std::move(response_.body);
    out_->keep_alive(keepAlive_ && !server_.stopping);
    out_->prepare_payload();
    extraHeaders_.clear();
    stream_.expires_after(server_.limits.writeDeadline);
    http::async_write(stream_, *out_, [self = shared_from_this()](beast::error_code ec, size_t) {
      const bool keep = self->out_->keep_alive();
      self->out_.reset();
      if (ec) return self->close();
      if (!keep) return self->lingerClose();
      self->waitForRequest();
    });
  }

  // Closing with unread input makes the system reset the connection, and the client may lose
  // the answer it has not read yet (a 413 for the body it is still sending): stop sending,
  // then read and drop what still comes, for a short while.
  void lingerClose() {
    beast::error_code ignored;
    stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
    lingerUntil_ = Clock::now() + kLinger;
    drain();
  }

  void drain() {
    if (closed_ || Clock::now() >= lingerUntil_) return close();
    stream_.expires_at(lingerUntil_);
    stream_.async_read_some(net::buffer(discard_),
                            [self = shared_from_this()](beast::error_code ec, size_t) {
                              if (ec) return self->close();
                              self->drain();
                            });
  }

  // ---- Event streams ----------------------------------------------------------------------

  void startStream() {
    source_ = std::move(response_.stream);
    std::string head = "HTTP/1.1 " + std::to_string(response_.status) +
                       " OK\r\nContent-Type: " + response_.contentType +
                       "\r\nCache-Control: no-cache\r\nConnection: close\r\n";
    for (const auto &[name, value] : extraHeaders_) head += name + ": " + value + "\r\n";
    for (const auto &[name, value] : response_.headers) head += name + ": " + value + "\r\n";
    streamOut_ = head + "\r\n";
    // The client never sends anything on a stream: a finished read means it went away.
    stream_.socket().async_read_some(
        net::buffer(discard_),
        [self = shared_from_this()](beast::error_code, size_t) { self->close(); });
    writeStream(false);
  }

  void writeStream(bool ended) {
    stream_.expires_after(server_.limits.writeDeadline);
    net::async_write(stream_, net::buffer(streamOut_),
                     [self = shared_from_this(), ended](beast::error_code ec, size_t) {
                       if (ec || ended) return self->close();
                       self->pumpStream();
                     });
  }

  void pumpStream() {
    if (closed_) return;
    bool ended = server_.stopping;
    streamOut_ = ended ? std::string() : source_->take(&ended);
    if (!streamOut_.empty()) return writeStream(ended);
    if (ended) return close();
    timer_.expires_after(server_.limits.streamTick);
    timer_.async_wait([self = shared_from_this()](beast::error_code) { self->pumpStream(); });
  }

  HttpServer::Impl &server_;
  beast::tcp_stream stream_;
  net::steady_timer timer_;
  std::string peer_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::optional<http::response<http::string_body>> out_;
  HttpRequest request_;
  HttpResponse response_;
  RequestHead head_;
  std::string originHeader_;
  std::string hostHeader_;
  std::string authorization_;
  std::string contentType_;
  bool hasOrigin_ = false;
  Headers extraHeaders_;
  const Route *route_ = nullptr;
  Clock::time_point bodyStart_;
  bool keepAlive_ = false;
  bool inHandler_ = false;
  size_t bodyReserved_ = 0;
  size_t bodyLimit_ = 0;
  bool closed_ = false;
  std::shared_ptr<StreamSource> source_;
  std::string streamOut_;
  char discard_[16384];
  Clock::time_point lingerUntil_;
};

void HttpServer::Impl::accept() {
  acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
    if (stopping || !acceptor.is_open()) return;
    if (!ec) {
      admit(std::move(socket));
      return accept();
    }
    // Out of descriptors or memory: try again shortly rather than spin.
    retryTimer.expires_after(std::chrono::milliseconds(50));
    retryTimer.async_wait([this](beast::error_code) { accept(); });
  });
}

void HttpServer::Impl::admit(tcp::socket socket) {
  beast::error_code ec;
  const tcp::endpoint remote = socket.remote_endpoint(ec);
  if (ec) return;
  std::string peer = remote.address().to_string();
  size_t &count = perPeer[peer];
  if (count >= limits.connectionsPerPeer || sessions.size() >= limits.connections) {
    // Answered without waiting: a best-effort note, then the connection is closed.
    socket.non_blocking(true, ec);
    socket.send(net::buffer(kTooManyConnections, sizeof kTooManyConnections - 1), 0, ec);
    socket.close(ec);
    if (count == 0) perPeer.erase(peer);
    return;
  }
  ++count;
  socket.set_option(tcp::no_delay(true), ec);
  std::make_shared<Session>(*this, std::move(socket), std::move(peer))->start();
}

void HttpServer::Impl::forget(Session *session, const std::string &peer) {
  sessions.erase(session);
  const auto found = perPeer.find(peer);
  if (found != perPeer.end() && --found->second == 0) perPeer.erase(found);
}

HttpServer::HttpServer(ServerLimits limits, RequestPolicy policy, std::vector<Route> routes)
    : impl_(std::make_unique<Impl>(limits, std::move(policy), std::move(routes))) {}

HttpServer::~HttpServer() {
  impl_->workers.join();
}

bool HttpServer::bind(const std::string &host, int port, std::string *error) {
  beast::error_code ec;
  tcp::resolver resolver(impl_->io);
  const auto found = resolver.resolve(host, std::to_string(port),
                                      tcp::resolver::passive | tcp::resolver::numeric_service, ec);
  if (ec || found.empty()) {
    *error = ec ? ec.message() : "not an address of this machine";
    return false;
  }
  const tcp::endpoint endpoint = found.begin()->endpoint();
  tcp::acceptor &acceptor = impl_->acceptor;
  acceptor.open(endpoint.protocol(), ec);
  // Not SO_REUSEPORT: a second server must fail to start rather than share the port.
  if (!ec) acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
  if (!ec) acceptor.bind(endpoint, ec);
  if (!ec) acceptor.listen(net::socket_base::max_listen_connections, ec);
  if (ec) {
    *error = ec.message();
    acceptor.close(ec);
    return false;
  }
  return true;
}

int HttpServer::port() const {
  beast::error_code ec;
  return impl_->acceptor.local_endpoint(ec).port();
}

bool HttpServer::run() {
  impl_->accept();
  try {
    impl_->io.run();
  } catch (const std::exception &) {
    return false;
  }
  return true;
}

void HttpServer::stop() {
  net::post(impl_->io, [impl = impl_.get()] {
    if (impl->stopping) return;
    impl->stopping = true;
    beast::error_code ec;
    impl->acceptor.close(ec);
    // Copy: a session closing now may leave the set.
    const std::vector<Session *> open(impl->sessions.begin(), impl->sessions.end());
    for (Session *session : open) session->stopNow();
    impl->stopBy = Clock::now() + kStopGrace;
    impl->retryTimer.cancel();
    impl->awaitQuiet();
  });
}

// Requests still running get a moment to be answered; then the loop ends regardless.
void HttpServer::Impl::awaitQuiet() {
  if (sessions.empty() || Clock::now() >= stopBy) return io.stop();
  stopTimer.expires_after(std::chrono::milliseconds(10));
  stopTimer.async_wait([this](beast::error_code) { awaitQuiet(); });
}

void HttpServer::wakeStreams() {
  net::post(impl_->io, [impl = impl_.get()] {
    for (Session *session : impl->sessions) session->wake();
  });
}

}  // namespace tshell_server
