// The server's defences on its default set-up: pages of other sites and rebound host names
// are refused, slow clients do not hold up others, request work and memory are bounded,
// the HTTP framing is strict, and saves do not wait behind a long request.
#include <netinet/in.h>

#include <cmath>
#include <cstring>

#include "policy.h"
#include "server_process.h"

// Under AddressSanitizer freed memory sits in quarantine and the server's malloc settings do
// not apply: the memory figures mean nothing there.
#if defined(__SANITIZE_ADDRESS__)
#define TSHELL_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TSHELL_TEST_SANITIZED 1
#endif
#endif

namespace {

#ifdef TSHELL_TEST_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

using tshell_server::PolicyOptions;
using tshell_server::RequestHead;
using tshell_server::RequestPolicy;
using tshell_server::RouteRule;

// ---- The policy on its own ----------------------------------------------------------------

RequestHead head(std::string_view method, std::string_view path, std::string_view host,
                 const char *origin = nullptr) {
  RequestHead h;
  h.method = method;
  h.path = path;
  h.host = host;
  h.hasOrigin = origin != nullptr;
  h.origin = origin != nullptr ? origin : "";
  return h;
}

TEST(RequestPolicyTest, HostsOnLoopbackAndElsewhere) {
  const RequestPolicy loopback(PolicyOptions{"", {}, {"tuner.lab"}, "127.0.0.1"});
  const RequestPolicy lan(PolicyOptions{"", {}, {"tuner.lab"}, "192.0.2.10"});
  const struct {
    const char *host;
    int onLoopback;  // status from admit on the loopback server
    int onLan;       // and on one listening on 192.0.2.10
  } kCases[] = {
      {"127.0.0.1:8080", 0, 0},
      {"127.0.0.1", 0, 0},
      {"127.1.2.3:80", 0, 0},
      {"localhost:8080", 0, 0},
      {"LocalHost:9000", 0, 0},  // a forwarded port still names this server
      {"[::1]:8080", 0, 0},
      {"tuner.lab:8080", 0, 0},  // --allow-host
      {"192.0.2.10:8080", 403, 0},
      {"evil.example:80", 403, 403},
      {"127.0.0.1.evil.example", 403, 403},
      {"localhost.evil.example:8080", 403, 403},
      {"[::1", 403, 403},
      {"::1", 403, 403},
      {"", 400, 400},
  };
  for (const auto &c : kCases) {
    EXPECT_EQ(loopback.admit(head("GET", "/api/schema", c.host)).status, c.onLoopback) << c.host;
    EXPECT_EQ(lan.admit(head("GET", "/api/schema", c.host)).status, c.onLan) << c.host;
  }
}

TEST(RequestPolicyTest, OriginsTokensAndPreflights) {
  const RequestPolicy open(PolicyOptions{"", {"http://lab-pc:3000/"}, {}, "127.0.0.1"});
  const RequestPolicy guarded(PolicyOptions{"s3cret", {}, {}, "127.0.0.1"});
  const char *kHost = "127.0.0.1:8080";
  const struct {
    const RequestPolicy *policy;
    const char *method;
    const char *path;
    const char *origin;         // null: none sent
    const char *authorization;  // header text
    int status;
    bool corsGranted;
  } kCases[] = {
      {&open, "POST", "/api/request", nullptr, "", 0, false},
      {&open, "POST", "/api/request", "http://127.0.0.1:8080", "", 0, false},
      {&open, "POST", "/api/request", "HTTP://127.0.0.1:8080/", "", 0, false},
      {&open, "POST", "/api/request", "http://evil.example", "", 403, false},
      {&open, "POST", "/api/request", "null", "", 403, false},
      {&open, "POST", "/api/request", "http://127.0.0.1:8081", "", 403, false},
      {&open, "GET", "/", "http://evil.example", "", 403, false},
      {&open, "POST", "/api/request", "http://lab-pc:3000", "", 0, true},
      {&open, "OPTIONS", "/api/request", "http://lab-pc:3000", "", 204, true},
      {&open, "OPTIONS", "/api/request", "http://evil.example", "", 403, false},
      {&open, "OPTIONS", "/api/request", nullptr, "", 405, false},
      {&guarded, "GET", "/api/schema", nullptr, "", 401, false},
      {&guarded, "GET", "/api/schema", nullptr, "Bearer s3cre", 401, false},
      {&guarded, "GET", "/api/schema", nullptr, "bearer  s3cret ", 0, false},
      {&guarded, "GET", "/index.html", nullptr, "", 0, false},
      {&guarded, "POST", "/api/request", "http://evil.example", "Bearer s3cret", 403, false},
  };
  for (const auto &c : kCases) {
    RequestHead h = head(c.method, c.path, kHost, c.origin);
    h.authorization = c.authorization;
    const auto verdict = c.policy->admit(h);
    const std::string what = std::string(c.method) + " " + c.path + " from " +
                             (c.origin ? c.origin : "-") + " auth '" + c.authorization + "'";
    EXPECT_EQ(verdict.status, c.status) << what;
    if (verdict.status != 0 && verdict.status != 204) {
      EXPECT_FALSE(verdict.error.empty()) << what;
    }
    bool granted = false;
    for (const auto &[name, value] : c.policy->answerHeaders(h)) {
      granted |= name == "Access-Control-Allow-Origin" && value == c.origin;
    }
    EXPECT_EQ(granted, c.corsGranted) << what;
  }
}

TEST(RequestPolicyTest, BodiesMustBeOfTheRoutesMediaType) {
  const RequestPolicy policy(PolicyOptions{});
  const RouteRule json{{"application/json"}};
  const RouteRule none{};
  const struct {
    const RouteRule *rule;
    const char *contentType;
    bool hasBody;
    int status;
  } kCases[] = {
      {&json, "application/json", true, 0},
      {&json, "Application/JSON; charset=utf-8", true, 0},
      {&json, "", false, 0},  // the client's bodiless save
      {&json, "text/plain", true, 415},
      {&json, "text/plain", false, 415},
      {&json, "application/x-www-form-urlencoded", true, 415},
      {&json, "multipart/form-data; boundary=x", true, 415},
      {&json, "", true, 415},
      {&none, "", false, 0},
      {&none, "application/json", true, 415},
  };
  for (const auto &c : kCases) {
    RequestHead h = head("POST", "/api/request", "127.0.0.1");
    h.contentType = c.contentType;
    h.hasBody = c.hasBody;
    EXPECT_EQ(policy.acceptBody(h, *c.rule).status, c.status)
        << c.contentType << (c.hasBody ? " with body" : " without body");
  }
}

// ---- Plain sockets ----------------------------------------------------------------------------

// A connection to the server from a chosen loopback address (127.0.0.0/8 is all local), so
// that a test can play several peers.
class Connection {
 public:
  Connection(int port, const char *from = "127.0.0.1") {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    inet_pton(AF_INET, from, &local.sin_addr);
    bind(fd_, reinterpret_cast<sockaddr *>(&local), sizeof local);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
  }
  ~Connection() { close(fd_); }
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  bool connected() const { return connected_; }
  // Whether anything (or the end) can be read now.
  bool readable() const {
    pollfd ready{fd_, POLLIN, 0};
    return poll(&ready, 1, 0) > 0;
  }
  bool send(std::string_view text) {
    return ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
  }
  // Reads until the peer closes or timeout; true when it closed.
  bool readToClose(std::chrono::milliseconds timeout) {
    for (auto deadline = Clock::now() + timeout;;) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      pollfd ready{fd_, POLLIN, 0};
      if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) return false;
      char buffer[65536];
      const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
      if (got <= 0) return true;
      text.append(buffer, static_cast<size_t>(got));
    }
  }

  std::string text;

 private:
  int fd_ = -1;
  bool connected_ = false;
};

// The status codes of the responses in a text, in order.
std::vector<int> statuses(const std::string &text) {
  std::vector<int> found;
  for (size_t at = 0; (at = text.find("HTTP/1.1 ", at)) != std::string::npos; at += 9) {
    found.push_back(std::atoi(text.c_str() + at + 9));
  }
  return found;
}

std::string rawPost(const std::string &body, const std::string &extra = "") {
  return "POST /api/request HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n" +
         extra + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

long statusKiB(pid_t pid, const char *field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::strlen(field));
  }
  return -1;
}

constexpr char kWrite35[] = R"({"category":"DG","key":"r","value":{"current":3.5}})";
constexpr char kReadR[] = R"({"category":"DG","key":"r"})";

// ---- The server -------------------------------------------------------------------------------

class GuardTest : public ServerTest {
 protected:
  void SetUp() override {
    // A refused body may meet a closed connection: that must fail the write, not end the test.
    signal(SIGPIPE, SIG_IGN);
    ServerTest::SetUp();
  }
};

TEST_F(GuardTest, ForeignPagesCannotWrite) {
  start({"--stream", "--allow-origin", "http://lab-pc:3000"});
  const struct {
    const char *origin;  // null: none
    const char *type;
    int status;
  } kCases[] = {
      {"http://evil.example", "text/plain", 403},        // the simple request a page can send
      {"http://evil.example", "application/json", 403},  // what a page would preflight
      {nullptr, "text/plain", 415},
      {nullptr, "application/x-www-form-urlencoded", 415},
      {"null", "application/json", 403},
  };
  for (const auto &c : kCases) {
    httplib::Headers headers;
    if (c.origin != nullptr) headers.emplace("Origin", c.origin);
    auto res = client_->Post("/api/request", headers, kWrite35, c.type);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, c.status) << (c.origin ? c.origin : "-") << " " << c.type;
    EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
    EXPECT_FALSE(res->has_header("Access-Control-Allow-Origin"));
    auto back = post(kReadR);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->body, R"({"category":"DG","key":"r","value":{"current":1.0}})")
        << "the refused write reached the shell";
  }
  auto preflight = client_->Options("/api/request", {{"Origin", "http://evil.example"},
                                                     {"Access-Control-Request-Method", "POST"}});
  ASSERT_TRUE(preflight);
  EXPECT_EQ(preflight->status, 403);

  // The allowed origin is granted CORS, and its write goes through.
  preflight = client_->Options("/api/request", {{"Origin", "http://lab-pc:3000"},
                                                {"Access-Control-Request-Method", "POST"}});
  ASSERT_TRUE(preflight);
  EXPECT_EQ(preflight->status, 204);
  EXPECT_EQ(preflight->get_header_value("Access-Control-Allow-Origin"), "http://lab-pc:3000");
  auto res = client_->Post("/api/request", {{"Origin", "http://lab-pc:3000"}}, kWrite35,
                           "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
  EXPECT_EQ(res->get_header_value("Access-Control-Allow-Origin"), "http://lab-pc:3000");
  EXPECT_EQ(post(kReadR)->body, R"({"category":"DG","key":"r","value":{"current":3.5}})");

  // The client's own page: same origin, JSON, and a bodiless save.
  const std::string own = "http://127.0.0.1:" + std::to_string(port_);
  res = client_->Post("/api/request", {{"Origin", own}}, kReadR, "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
  EXPECT_EQ(client_->Post("/api/save", {{"Origin", own}}, "", "")->status, 409)
      << "no --database: the save itself is refused, not its form";
}

TEST_F(GuardTest, RebindingHostNamesAreRefused) {
  start({"--allow-host", "tuner.lab"});
  const struct {
    std::string host;
    int status;
  } kCases[] = {
      {"evil.example:80", 403},
      {"evil.example:" + std::to_string(port_), 403},
      {"localhost:" + std::to_string(port_), 200},
      {"127.0.0.1:" + std::to_string(port_), 200},
      {"tuner.lab:" + std::to_string(port_), 200},
  };
  for (const auto &c : kCases) {
    for (const char *path : {"/api/schema", "/"}) {
      Connection connection(port_);
      ASSERT_TRUE(connection.send(std::string("GET ") + path + " HTTP/1.1\r\nHost: " + c.host +
                                  "\r\nConnection: close\r\n\r\n"));
      ASSERT_TRUE(connection.readToClose(5s));
      EXPECT_EQ(statuses(connection.text), std::vector<int>{c.status}) << c.host << " " << path;
    }
  }
}

TEST_F(GuardTest, SlowClientsHoldUpNobody) {
  start({});
  // 64 connections from two other addresses, each with a partial request head, half of
  // them adding a byte every 300 ms.
  std::vector<std::unique_ptr<Connection>> slow;
  for (int i = 0; i < 64; ++i) {
    slow.push_back(std::make_unique<Connection>(port_, i < 32 ? "127.0.0.2" : "127.0.0.3"));
    ASSERT_TRUE(slow.back()->connected());
    ASSERT_TRUE(slow.back()->send("POST /api/request HTTP/1.1\r\nHost: 127.0.0.1\r\n"));
  }
  const auto opened = Clock::now();
  std::atomic<bool> trickling = true;
  std::thread trickler([&] {
    for (int n = 0; trickling && n < 40; ++n) {
      for (size_t i = 0; i < slow.size(); i += 2) slow[i]->send("X");
      std::this_thread::sleep_for(300ms);
    }
  });
  // A 33rd connection from one address is turned away at once.
  Connection extra(port_, "127.0.0.2");
  EXPECT_TRUE(extra.readToClose(2s));
  EXPECT_EQ(statuses(extra.text), std::vector<int>{503}) << extra.text;

  // Meanwhile normal requests are answered at once.
  for (int i = 0; i < 5; ++i) {
    const auto asked = Clock::now();
    auto res = post(kReadR);
    ASSERT_TRUE(res) << i;
    EXPECT_EQ(res->status, 200);
    EXPECT_LT(Clock::now() - asked, 1s) << "request " << i << " waited behind slow clients";
  }
  // The head deadline (5 s) ends them all, trickling or not.
  for (auto &connection : slow) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(opened + 9s - Clock::now());
    EXPECT_TRUE(connection->readToClose(std::max(left, std::chrono::milliseconds(10))))
        << "a slow client kept its connection";
  }
  EXPECT_LT(Clock::now() - opened, 9s);
  trickling = false;
  trickler.join();
}

TEST_F(GuardTest, LargeBodiesArrivingTogetherAreBounded) {
  start({});
  // Sixteen clients announce 4 MiB bodies and send them slowly: 64 MiB held together.
  const std::string announce =
      "POST /api/request HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
      "Content-Length: 4194304\r\n\r\n[";
  std::vector<std::unique_ptr<Connection>> uploads;
  for (int i = 0; i < 16; ++i) {
    uploads.push_back(std::make_unique<Connection>(port_, "127.0.0.4"));
    ASSERT_TRUE(uploads.back()->send(announce));
  }
  // The first sixteen were taken (the server answers a closed or refused one at once).
  std::this_thread::sleep_for(200ms);
  for (auto &upload : uploads) EXPECT_FALSE(upload->readable()) << upload->text;
  Connection refused(port_, "127.0.0.5");
  ASSERT_TRUE(refused.send(announce));
  EXPECT_TRUE(refused.readToClose(3s));
  EXPECT_EQ(statuses(refused.text), std::vector<int>{503}) << refused.text;
  auto res = post(kReadR);
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200) << "small requests still pass";
  uploads.clear();
  // Once those clients are gone, their share is free again.
  for (auto deadline = Clock::now() + 3s; Clock::now() < deadline;) {
    Connection again(port_, "127.0.0.5");
    ASSERT_TRUE(again.send(announce + "]"));
    if (!again.readToClose(300ms)) break;  // taken: it waits for the rest of its body
    ASSERT_EQ(statuses(again.text), std::vector<int>{503});
  }
  Connection taken(port_, "127.0.0.5");
  ASSERT_TRUE(taken.send(announce));
  EXPECT_FALSE(taken.readToClose(300ms)) << taken.text;
}

TEST_F(GuardTest, FramingIsStrictAndPipelinedRequestsAreAnsweredInOrder) {
  start({"--stream"});
  const std::string body = kWrite35;
  const struct {
    const char *what;
    std::string text;
    std::vector<int> statuses;
  } kCases[] = {
      {"two lengths", rawPost(body, "Content-Length: 5\r\n"), {400}},
      {"chunked and a length",
       "POST /api/request HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
       "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n",
       {400}},
      {"a length, then chunked",
       "POST /api/request HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
       "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
       {400}},
      {"a coding other than chunked",
       "POST /api/request HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
       "Transfer-Encoding: gzip\r\nContent-Length: 5\r\n\r\nxxxxx",
       {400}},
      {"pipelined",
       rawPost(kReadR) + rawPost(body) + rawPost(kReadR, "Connection: close\r\n"),
       {200, 200, 200}},
  };
  for (const auto &c : kCases) {
    Connection connection(port_);
    ASSERT_TRUE(connection.send(c.text));
    EXPECT_TRUE(connection.readToClose(5s)) << c.what << ": the connection stayed open";
    EXPECT_EQ(statuses(connection.text), c.statuses) << c.what << "\n" << connection.text;
    if (std::string(c.what) == "pipelined") {
      const size_t first = connection.text.find(R"("current":1.0)");
      const size_t third = connection.text.find(R"("current":3.5)");
      EXPECT_TRUE(first != std::string::npos && third != std::string::npos && first < third)
          << "answered out of order: " << connection.text;
    }
  }
  EXPECT_EQ(post(kReadR)->body, R"({"category":"DG","key":"r","value":{"current":3.5}})")
      << "only the pipelined write may have landed";
}

TEST_F(GuardTest, WorkPerRequestIsBounded) {
  start({"--stream"});
  const std::string read = kReadR;
  const struct {
    const char *what;
    std::string body;
    const char *error;  // part of the 413 text
  } kCases[] = {
      {"over 4 MiB", "[" + read + std::string(5u << 20, ' ') + "]", "larger than"},
      {"over 20000 commands",
       "[" +
           [&] {
             std::string many = read;
             for (int i = 0; i < 20000; ++i) many += "," + read;
             return many;
           }() +
           "]",
       "commands"},
      {"reads answering too much",
       "[" +
           [] {
             std::string many = R"({"category":"ST","key":"setting"})";
             for (int i = 0; i < 20; ++i) many += R"(,{"category":"ST","key":"setting"})";
             return many;
           }() +
           "]",
       "MiB"},
  };
  for (const auto &c : kCases) {
    auto res = post(c.body);
    ASSERT_TRUE(res) << c.what;
    EXPECT_EQ(res->status, 413) << c.what;
    EXPECT_NE(Json(res->body).text("error").find(c.error), std::string::npos) << res->body;
  }
  auto res = post(R"([{"category":"ST","key":"setting"},{"category":"DG","key":"r"}])");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200) << "one settings document is a normal read";
}

// The JSON tree of a number-dense request takes about 16 times its text; the bound below
// leaves room for that and catches memory kept from one request to the next.
TEST_F(GuardTest, MemoryStaysFlatOverRepeatedLargeRequests) {
  if (kSanitized) GTEST_SKIP() << "memory figures are not the server's under AddressSanitizer";
  start({"--stream"});
  std::string row = R"({"category":"LSC_3","key":"matrix.r","value":{"current":[)";
  for (int i = 0; i < 1089; ++i) row += i ? ",1024" : "1024";
  row += "]}}";
  std::string body = "[" + row;
  while (body.size() + row.size() + 2 < (4u << 20) - 64) body += "," + row;
  body += "]";
  const long startKiB = statusKiB(server_->pid(), "VmRSS:");
  long afterFirst = 0;
  constexpr int kRepeats = 8;
  for (int i = 0; i < kRepeats; ++i) {
    auto res = post(body);
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200) << res->body.substr(0, 200);
    if (i == 0) afterFirst = statusKiB(server_->pid(), "VmRSS:");
  }
  const long afterLast = statusKiB(server_->pid(), "VmRSS:");
  const long peak = statusKiB(server_->pid(), "VmHWM:");
  const long requestKiB = static_cast<long>(body.size() >> 10);
  RecordProperty("rss_start_kib", std::to_string(startKiB));
  RecordProperty("rss_last_kib", std::to_string(afterLast));
  RecordProperty("peak_kib", std::to_string(peak));
  EXPECT_LT(afterLast - afterFirst, 16 * 1024) << "RSS grew over " << kRepeats << " requests";
  EXPECT_LT(afterLast - startKiB, 24 * 1024) << "memory kept after the requests";
  EXPECT_LT(peak - startKiB, 24 * requestKiB) << "peak per request";
}

// A long request holds the shell for a second; a write acknowledged before it started is on
// disk within the second all the same, while the shell is still busy (no answer yet).
TEST_F(GuardTest, AcknowledgedWritesAreSavedWhileALongRequestRuns) {
  const std::string file = path("tuned.json");
  start({"--stream", "--database", file, "--max-request", "67108864"});
  auto write = [&](int value) {
    auto res =
        post(R"({"category":"DG","key":"r","value":{"current":)" + std::to_string(value) + "}}");
    return res && res->status == 200;
  };
  // The first write is saved at once, and the next save is due a second after that one
  // started: the writes below land half-way, so that their save falls inside the long
  // request.
  ASSERT_TRUE(write(1));
  for (auto deadline = Clock::now() + 5s; savedGain(file) != 1.0f && Clock::now() < deadline;) {
    std::this_thread::sleep_for(5ms);
  }
  ASSERT_EQ(savedGain(file), 1.0f);
  std::this_thread::sleep_for(500ms);
  ASSERT_TRUE(write(7));
  ASSERT_TRUE(write(4242));
  const auto acknowledged = Clock::now();

  // Reads of the whole settings document: a small request that keeps the shell busy for
  // well over a second here (its answer only starts once the shell is done). The server
  // counts each as a mebibyte of answer: 240 stay under the 256 MiB this start allows.
  std::string reads = "[";
  for (int i = 0; i < 240; ++i) {
    reads += std::string(i ? "," : "") + R"({"category":"ST","key":"setting"})";
  }
  Connection busy(port_);
  ASSERT_TRUE(busy.send(rawPost(reads + "]")));
  auto answered = [&] { return busy.readable(); };
  bool savedWhileBusy = false;
  while (!answered() && Clock::now() < acknowledged + 3s) {
    if (savedGain(file) == 4242.0f) {
      savedWhileBusy = !answered();
      break;
    }
    std::this_thread::sleep_for(10ms);
  }
  const auto waited = Clock::now() - acknowledged;
  server_->stop(SIGKILL);
  EXPECT_TRUE(savedWhileBusy)
      << "4242 was not on disk while the long request ran ("
      << std::chrono::duration_cast<std::chrono::milliseconds>(waited).count()
      << " ms after it was acknowledged)";
  EXPECT_EQ(savedGain(file), 4242.0f);
}

}  // namespace
