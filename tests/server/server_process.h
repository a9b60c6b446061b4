// The tuning server as a client sees it: the real binary started on a free port, driven
// over HTTP (cpp-httplib's client, or plain sockets), stopped with a signal.
#ifndef TESTS_SERVER_SERVER_PROCESS_H
#define TESTS_SERVER_SERVER_PROCESS_H

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
  pid_t pid() const { return pid_; }

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
[[maybe_unused]] float savedGain(const std::string &file) {
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

}  // namespace

#endif  // TESTS_SERVER_SERVER_PROCESS_H
