// The tuning server as a client sees it: the real binary started on a free port, driven
// over HTTP, stopped with a signal.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "t_common.h"
#include "t_database.h"
#include "t_json.h"
#include "t_shell.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// A parsed JSON text, addressed with TJsonPath ("commands.0.key").
class Json {
 public:
  explicit Json(const std::string &text) {
    TJsonReader *reader = nullptr;
    TJsonReader_open(&reader);
    TJsonReader_parse(reader, text.data(), text.data() + text.size(), &root_);
    TJsonReader_close(&reader);
  }
  ~Json() { TJsonValue_delete(root_); }
  bool valid() const { return root_ != nullptr; }
  TJsonValue *root() const { return root_; }
  TJsonValue *at(const char *path) const {
    TJsonValue *value = nullptr;
    return root_ != nullptr && TJsonPath(root_, path, &value) == 0 ? value : nullptr;
  }
  std::string text(const char *path) const {
    const char *text = nullptr;
    return TJsonValue_asString(at(path), &text) == 0 ? text : "<none>";
  }
  int64_t integer(const char *path) const {
    int64_t number = -1;
    TJsonValue_asInteger(at(path), &number);
    return number;
  }
  uint64_t size(const char *path) const {
    uint64_t size = 0;
    TJsonValue_size(at(path), &size);
    return size;
  }

 private:
  TJsonValue *root_ = nullptr;
};

struct Exit {
  int status = -1;  // exit status, -1 when killed or still running
  std::string out;
  std::string err;
};

// A tshell-server child process with its output in files of a temporary folder.
class ServerProcess {
 public:
  explicit ServerProcess(const std::string &dir, std::vector<std::string> args,
                         bool listenOnFreePort = true)
      : out_(dir + "/out-" + std::to_string(++count_)), err_(out_ + ".err") {
    if (listenOnFreePort) args.insert(args.begin(), {"--listen", "127.0.0.1:0"});
    args.insert(args.begin(), TSHELL_SERVER_BIN);
    pid_ = fork();
    if (pid_ == 0) {
      freopen(out_.c_str(), "w", stdout);
      freopen(err_.c_str(), "w", stderr);
      std::vector<char *> argv;
      for (std::string &arg : args) argv.push_back(arg.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
  }
  ~ServerProcess() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }

  // Waits for the URL line; returns the port, or 0 when the server did not come up.
  int waitForPort() {
    const std::string marker = "tuning client at http://127.0.0.1:";
    for (auto deadline = Clock::now() + 10s; Clock::now() < deadline;) {
      const std::string out = slurp(out_);
      const size_t at = out.find(marker);
      if (at != std::string::npos && out.find('\n', at) != std::string::npos) {
        return std::atoi(out.c_str() + at + marker.size());
      }
      if (waitpid(pid_, &raw_, WNOHANG) == pid_) {
        pid_ = -1;
        return 0;
      }
      std::this_thread::sleep_for(5ms);
    }
    return 0;
  }

  // Sends signal (0: none) and waits up to timeout for the exit.
  Exit stop(int signal = SIGTERM, std::chrono::milliseconds timeout = 10s) {
    if (pid_ > 0 && signal != 0) kill(pid_, signal);
    for (auto deadline = Clock::now() + timeout; pid_ > 0 && Clock::now() < deadline;) {
      if (waitpid(pid_, &raw_, WNOHANG) == pid_) pid_ = -1;
      std::this_thread::sleep_for(5ms);
    }
    Exit exit;
    exit.status = pid_ < 0 && WIFEXITED(raw_) ? WEXITSTATUS(raw_) : -1;
    exit.out = slurp(out_);
    exit.err = slurp(err_);
    return exit;
  }

  std::string out() const { return slurp(out_); }

 private:
  static inline int count_ = 0;
  std::string out_;
  std::string err_;
  pid_t pid_ = -1;
  int raw_ = 0;
};

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/tshell-server-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    server_.reset();
    std::system(("rm -rf '" + dir_ + "'").c_str());
  }

  // Starts the server on a free port and points client() at it.
  void start(std::vector<std::string> args) {
    server_ = std::make_unique<ServerProcess>(dir_, std::move(args));
    port_ = server_->waitForPort();
    ASSERT_GT(port_, 0) << server_->stop(0, 0ms).err;
    client_ = std::make_unique<httplib::Client>("127.0.0.1", port_);
    client_->set_read_timeout(10, 0);
  }

  httplib::Result post(const std::string &body) {
    return client_->Post("/api/request", body, "application/json");
  }

  std::string path(const std::string &name) const { return dir_ + "/" + name; }

  std::string dir_;
  std::unique_ptr<ServerProcess> server_;
  std::unique_ptr<httplib::Client> client_;
  int port_ = 0;
};

// The value of DG r in a settings file, or -1.
float savedGain(const std::string &file) {
  TDatabase *database = nullptr;
  if (TDatabase_open(file.c_str(), &database) != 0) return -1;
  void *record = nullptr;
  TDatabase_query(database, "DG", &record);
  const float r = static_cast<TDatabaseDigitalGain *>(record)->r;
  TDatabase_close(&database);
  return r;
}

// An open GET /api/events on a plain socket, so that a test can hold many at once.
class EventSocket {
 public:
  explicit EventSocket(int port) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) {
      const std::string request = "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
      send(fd_, request.data(), request.size(), MSG_NOSIGNAL);
    }
  }
  ~EventSocket() { close(fd_); }

  // Reads until text holds needle, the peer closes, or timeout.
  bool readUntil(const std::string &needle, std::chrono::milliseconds timeout = 5s) {
    for (auto deadline = Clock::now() + timeout; text.find(needle) == std::string::npos;) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      pollfd ready{fd_, POLLIN, 0};
      if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) return false;
      char buffer[4096];
      const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
      if (got <= 0) return false;
      text.append(buffer, static_cast<size_t>(got));
    }
    return true;
  }

  std::string text;

 private:
  int fd_ = -1;
};

TEST_F(ServerTest, RequestsRoundTripThroughTheShell) {
  start({"--stream"});
  auto written = post(R"({"category":"DG","key":"r","value":{"current":1.5}})");
  ASSERT_TRUE(written);
  EXPECT_EQ(written->status, 200);
  EXPECT_EQ(written->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(written->body, R"({"category":"DG","key":"r"})");

  auto both =
      post(R"([{"category":"DG","key":"r"},{"category":"DG","key":"gb","value":{"current":2}}])");
  ASSERT_TRUE(both);
  EXPECT_EQ(
      both->body,
      R"([{"category":"DG","key":"r","value":{"current":1.5}},{"category":"DG","key":"gb"}])");

  auto saved = client_->Post("/api/save", "", "application/json");
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->status, 409) << "no --database: nothing to save to";
  EXPECT_TRUE(Json(saved->body).at("error") != nullptr);
}

TEST_F(ServerTest, MalformedBodiesAreRefusedWithTheirOffset) {
  start({});
  const struct {
    std::string body;
    int64_t offset;
  } kCases[] = {
      {"", 0},
      {"{", 1},
      {R"({"category":"DG",})", 17},
      {R"([{"category":"DG","key":"r"}] x)", 30},
      {std::string("{\"category\":\"DG\"\0}", 18), 16},
  };
  for (const auto &c : kCases) {
    auto res = post(c.body);
    ASSERT_TRUE(res) << c.body;
    EXPECT_EQ(res->status, 400) << c.body;
    Json error(res->body);
    ASSERT_TRUE(error.valid()) << res->body;
    EXPECT_EQ(error.integer("offset"), c.offset) << c.body;
    EXPECT_NE(error.text("error"), "<none>") << res->body;
  }
  auto res = post(R"({"category":"DG","key":"r"})");
  ASSERT_TRUE(res) << "the server stopped answering";
  EXPECT_EQ(res->status, 200) << "a refused body must leave the shell usable";
}

TEST_F(ServerTest, BodiesOverTheLimitAre413) {
  start({"--max-request", "64"});
  const std::string fits = R"({"category":"DG","key":"r"})";
  const std::string large = "[" + fits + std::string(80, ' ') + "]";
  auto res = post(large);
  ASSERT_TRUE(res) << "the server must answer, not drop the connection";
  EXPECT_EQ(res->status, 413);
  EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
  res = post(fits);
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
}

TEST_F(ServerTest, TokenGuardsTheApiOnly) {
  start({"--token", "s3cret"});
  EXPECT_NE(server_->out().find("/#token=s3cret\n"), std::string::npos) << server_->out();
  const struct {
    const char *path;
    const char *authorization;  // null: no header
    int status;
  } kCases[] = {
      {"/api/schema", nullptr, 401},
      {"/api/schema", "Bearer s3cre", 401},
      {"/api/schema", "Bearer s3cret!", 401},
      {"/api/journal", "Basic s3cret", 401},
      {"/api/schema", "Bearer s3cret", 200},
      {"/api/journal", "Bearer s3cret", 200},
      {"/healthz", nullptr, 200},
      {"/no-such-file", nullptr, 404},
  };
  for (const auto &c : kCases) {
    httplib::Headers headers;
    if (c.authorization != nullptr) headers.emplace("Authorization", c.authorization);
    auto res = client_->Get(c.path, headers);
    ASSERT_TRUE(res) << c.path;
    EXPECT_EQ(res->status, c.status) << c.path << " " << (c.authorization ? c.authorization : "");
    if (c.status != 200) {
      EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
    }
  }
  auto res = post(R"({"category":"DG","key":"r"})");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 401);
}

TEST_F(ServerTest, SchemaListsEveryKeyTheShellServes) {
  start({});
  auto res = client_->Get("/api/schema");
  ASSERT_TRUE(res);
  const char *own = nullptr;
  ASSERT_EQ(TShell_schema(&own), 0u);
  EXPECT_EQ(res->body, own);

  struct Walk {
    std::string request = "[";
    size_t categories = 0;
    size_t keys = 0;
    std::vector<std::string> problems;
  } walk;
  Json schema(res->body);
  ASSERT_EQ(
      TJsonValue_forEachMember(
          schema.root(),
          [](void *context, const char *category, TJsonValue *keys) -> uint32_t {
            auto *walk = static_cast<Walk *>(context);
            ++walk->categories;
            uint64_t count = 0;
            TJsonValue_size(keys, &count);
            for (uint64_t i = 0; i < count; ++i) {
              TJsonValue *entry = nullptr, *key = nullptr, *shape = nullptr;
              const char *name = nullptr;
              uint32_t type = 0;
              TJsonValue_item(keys, i, &entry);
              TJsonValue_member(entry, "key", &key);
              TJsonValue_member(entry, "shape", &shape);
              TJsonValue_type(shape, &type);
              if (TJsonValue_asString(key, &name) != 0 || type != TJSON_TYPE_ARRAY) {
                walk->problems.push_back(std::string(category) + " entry " + std::to_string(i));
                continue;
              }
              walk->request += std::string(walk->keys++ ? "," : "") + "{\"category\":\"" +
                               category + "\",\"key\":\"" + name + "\"}";
            }
            return 0;
          },
          &walk),
      0u);
  EXPECT_EQ(walk.categories, 51u);
  EXPECT_EQ(walk.keys, 759u);
  EXPECT_TRUE(walk.problems.empty()) << walk.problems.front();

  // Every listed key is one the shell knows.
  auto read = post(walk.request + "]");
  ASSERT_TRUE(read);
  ASSERT_EQ(read->status, 200);
  EXPECT_EQ(Json(read->body).size(""), walk.keys);
  EXPECT_EQ(read->body.find("is never registered"), std::string::npos);
}

TEST_F(ServerTest, JournalPagesBySinceAndKeepsTheLastCalls) {
  start({"--stream"});
  auto first = client_->Get("/api/journal");
  ASSERT_TRUE(first);
  Json start(first->body);
  EXPECT_EQ(start.text("calls.0"), "TDriver_init(1)") << first->body;
  const int64_t next = start.integer("next");

  ASSERT_TRUE(post(R"({"category":"DG","key":"r","value":{"current":3}})"));
  auto page = client_->Get("/api/journal?since=" + std::to_string(next));
  ASSERT_TRUE(page);
  EXPECT_EQ(page->body, "{\"next\":" + std::to_string(next + 1) +
                            ",\"calls\":[\"TDriverDigitalGain_process(0)\"]}");
  page = client_->Get("/api/journal?since=" + std::to_string(next + 1));
  EXPECT_EQ(Json(page->body).size("calls"), 0u) << page->body;
  EXPECT_EQ(client_->Get("/api/journal?since=-1")->status, 400);

  // Alternating blocks push once per command: far more calls than the server keeps.
  std::string many = "[";
  for (int i = 0; i < 2500; ++i) {
    many += std::string(i ? "," : "") + R"({"category":"DG","key":"r","value":{"current":1}},)" +
            R"({"category":"GE","key":"state","value":{"current":1}})";
  }
  ASSERT_TRUE(post(many + "]"));
  page = client_->Get("/api/journal?since=0");
  Json kept(page->body);
  EXPECT_EQ(kept.size("calls"), 4096u);
  EXPECT_EQ(kept.integer("next"), next + 1 + 5000);
  EXPECT_EQ(kept.text("calls.4095"), "TDriverGreenEquilibration_process(0)");
}

TEST_F(ServerTest, EventStreamsSeeRequestsAndEndWithTheServer) {
  start({"--stream"});
  std::vector<std::unique_ptr<EventSocket>> streams;
  for (int i = 0; i < 16; ++i) {
    streams.push_back(std::make_unique<EventSocket>(port_));
    ASSERT_TRUE(streams.back()->readUntil(": connected")) << i << ": " << streams.back()->text;
  }
  auto refused = client_->Get("/api/events");
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 503) << "at most 16 event streams";

  ASSERT_TRUE(
      post(R"([{"category":"NOPE","key":"k"},{"category":"DG","key":"r","value":{"current":2}}])"));
  EventSocket &stream = *streams.front();
  ASSERT_TRUE(stream.readUntil("event: driver")) << stream.text;
  EXPECT_NE(stream.text.find("event: request\ndata: "
                             R"({"seq":1,"commands":[{"category":"NOPE","key":"k","write":false,)"
                             R"("message":["Shell: NOPE is never registered"]},)"
                             R"({"category":"DG","key":"r","write":true}]})"
                             "\n\n"),
            std::string::npos)
      << stream.text;
  EXPECT_NE(stream.text.find(R"x("calls":["TDriverDigitalGain_process(0)"]})x"), std::string::npos)
      << stream.text;

  // What counts as a write: anything but an empty value; a member name spelled with an
  // escape is still "value" to the shell.
  const char *kValues[][2] = {
      {R"("value":{})", "false"},           {R"("value":null)", "false"},
      {R"("value":[ ])", "false"},          {R"("value":"")", "false"},
      {R"("value":{"current":0})", "true"}, {R"("value":false)", "true"},
      {R"("\u0076alue":[1])", "true"},      {R"("value":{},"value":[2])", "true"},
  };
  std::string request = "[";
  std::string expected = "event: request\ndata: {\"seq\":2,\"commands\":[";
  for (size_t i = 0; i < std::size(kValues); ++i) {
    request +=
        std::string(i > 0 ? "," : "") + R"({"category":"GE","key":"state",)" + kValues[i][0] + "}";
    expected += std::string(i > 0 ? "," : "") + R"({"category":"GE","key":"state","write":)" +
                kValues[i][1] + "}";
  }
  ASSERT_TRUE(post(request + "]"));
  ASSERT_TRUE(stream.readUntil(R"("seq":2)")) << stream.text;
  EXPECT_NE(stream.text.find(expected + "]}"), std::string::npos) << stream.text;

  const auto asked = Clock::now();
  Exit exit = server_->stop(SIGTERM, 5s);
  EXPECT_EQ(exit.status, 0) << exit.err;
  EXPECT_LT(Clock::now() - asked, 3s) << "open event streams must not hold the server up";
}

TEST_F(ServerTest, WritesAreSavedCoalescedAndOnExit) {
  const std::string file = path("tuned.json");
  start({"--database", file, "--verbose"});
  EXPECT_NE(server_->out().find("database " + file + " (saved after every write)"),
            std::string::npos);
  // 20 writes in well under a second.
  for (int i = 1; i <= 20; ++i) {
    auto res = post(R"({"category":"DG","key":"r","value":{"current":)" + std::to_string(i) + "}}");
    ASSERT_TRUE(res && res->status == 200);
  }
  std::this_thread::sleep_for(1200ms);
  EXPECT_EQ(savedGain(file), 20.0f) << "every acknowledged write is on disk within a second";
  std::string out = server_->out();
  size_t saves = 0;
  for (size_t at = 0; (at = out.find("tshell-server: saved", at)) != std::string::npos; ++at) {
    ++saves;
  }
  EXPECT_GE(saves, 1u);
  EXPECT_LE(saves, 3u) << out;

  auto res = client_->Post("/api/save", "", "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(Json(res->body).text("saved"), file) << res->body;

  // The last write is still inside the saver's second when the server is told to stop.
  ASSERT_TRUE(post(R"({"category":"DG","key":"r","value":{"current":42}})"));
  Exit exit = server_->stop();
  EXPECT_EQ(exit.status, 0) << exit.err;
  EXPECT_EQ(savedGain(file), 42.0f);

  start({"--database", file});
  res = post(R"({"category":"DG","key":"r"})");
  ASSERT_TRUE(res);
  EXPECT_EQ(Json(res->body).integer("value.current"), 42) << res->body;
}

TEST_F(ServerTest, BadOptionsAndStartUpFailures) {
  start({});
  const std::string taken = "127.0.0.1:" + std::to_string(port_);
  std::ofstream(path("broken.json")) << "{\"DG\": {\"r\": \"loud\"}}";
  const struct {
    std::vector<std::string> args;
    int status;
    const char *err;  // part of the standard error text
  } kCases[] = {
      {{"--bogus"}, 2, "--help"},
      {{"--listen", "8080"}, 2, "--listen takes HOST:PORT"},
      {{"--listen", "127.0.0.1:70000"}, 2, "--listen"},
      {{"--max-request", "0"}, 2, "--max-request"},
      {{"--trace", "9"}, 2, "--trace"},
      {{"extra"}, 2, "unexpected argument"},
      {{"--listen", taken}, 1, "cannot listen on"},
      {{"--listen", "127.0.0.1:0", "--database", path("broken.json")},
       1,
       "cannot open the database"},
      {{"--listen", "127.0.0.1:0", "--database", path("no/dir/db.json")}, 1, "cannot save"},
  };
  for (const auto &c : kCases) {
    ServerProcess process(dir_, c.args, false);
    Exit exit = process.stop(0, 5s);
    EXPECT_EQ(exit.status, c.status) << c.args[0] << " " << exit.err;
    EXPECT_NE(exit.err.find(c.err), std::string::npos) << exit.err;
  }
  Exit help = ServerProcess(dir_, {"--help"}, false).stop(0, 5s);
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("--max-request"), std::string::npos);
}

TEST_F(ServerTest, ServesTheEmbeddedClient) {
  start({});
  const std::string index = slurp(std::string(TSHELL_WEB_DIR) + "/index.html");
  auto res = client_->Get("/");
  ASSERT_TRUE(res);
  if (index.empty()) {
    EXPECT_EQ(res->status, 404) << "no client in this build";
  } else {
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->get_header_value("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(res->body, index);
  }
  EXPECT_EQ(client_->Get("/healthz")->body, "ok");
}

}  // namespace
