// One shell instance shared by many client threads, as a tuning server shares it, while
// another thread follows the driver journal and serves the key schema.
//
// The response text belongs to the instance until its next request, so a host that reads
// responses on several threads copies each one before another request starts (the tuning
// server holds its own lock around both). Hence two phases:
//  - blind clients send at the same time, contending for the instance's semaphore, without
//    reading responses; each owns a row of a tuning table and selects it and writes it in
//    one request, so a request cut into by another would leave a foreign value in a row;
//  - reading clients go through a host lock and check that every response answers its own
//    request and that a write followed by a read of the same field reads that write.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "shell_fixture.h"

namespace {

constexpr int kClients = 8;  // ABLS has 10 rows: one each
constexpr int kRequestsPerClient = 120;

struct Command {
  std::string category;
  std::string key;
  std::string value;  // JSON; empty for a read
};

std::string compose(const std::vector<Command> &commands) {
  std::string text = "[";
  for (const Command &command : commands) {
    text += text.size() > 1 ? "," : "";
    text += R"({"category":")" + command.category + R"(","key":")" + command.key + '"';
    if (!command.value.empty()) text += R"(,"value":{"current":)" + command.value + '}';
    text += '}';
  }
  return text + ']';
}

// Requests every client mixes in: streaming on and off, measurements, batches over several
// blocks, unknown categories and keys.
std::vector<Command> background(int step) {
  switch (step % 5) {
    case 0:
      return {{"IPT", "isStream", step % 10 < 5 ? "true" : "false"},
              {"HTG", "statistics", ""},
              {"AES_2", "statistics", ""}};
    case 1:
      return {{"WB_1_1", "gain", "[1.5,1.0,1.0,1.25]"},
              {"DG", "gr", ""},
              {"CCM", "ccMatrix", ""},
              {"GC_2", "curve", ""}};
    case 2:
      return {{"NOPE", "k", "1"}, {"DG", "nope", "2"}, {"RPT", "shell", ""}};
    case 3:
      return {{"HTG_2", "statistics", ""}, {"AFM_3", "statistics", ""}, {"RGT", "value", ""}};
    default:
      return {{"ST", "setting", ""}};
  }
}

std::string memberText(TJsonValue *object, const char *name) {
  TJsonValue *member = nullptr;
  const char *text = nullptr;
  if (TJsonValue_member(object, name, &member) != TCOMMON_SUCCESS ||
      TJsonValue_asString(member, &text) != TCOMMON_SUCCESS) {
    return "<missing>";
  }
  return text;
}

class ConcurrencyTest : public ShellTest {
 protected:
  // Follows the journal and serves the schema until the clients are done.
  void observe() {
    uint64_t since = 0;
    while (!done_.load()) {
      const char *text = nullptr;
      uint64_t next = 0;
      if (TDriverJournal_since(driver_, since, &text, &next) == TCOMMON_SUCCESS) {
        for (const char *c = text; *c != '\0'; ++c) journalLines_ += *c == '\n' ? 1 : 0;
        since = next;
        TDriverJournal_clear(driver_);
      }
      const char *schema = nullptr;
      TShell_schema(&schema);
      std::this_thread::yield();
    }
  }

  // The host side of a reading client: the request and the copy of its response under one
  // lock. Returns the parsed response (the caller deletes it) when it answers commands in
  // order, otherwise null with *failure set.
  TJsonValue *exchange(TJsonReader *reader, const std::vector<Command> &commands,
                       std::string *failure) {
    const std::string text = compose(commands);
    std::string answer;
    {
      std::lock_guard<std::mutex> lock(hostLock_);
      const char *response = nullptr;
      if (TShell_process(shell_, text.c_str(), &response) != TCOMMON_SUCCESS ||
          response == nullptr) {
        *failure = "no response to " + text;
        return nullptr;
      }
      answer = response;
    }
    TJsonValue *tree = nullptr;
    if (TJsonReader_parse(reader, answer.data(), answer.data() + answer.size(), &tree) !=
        TCOMMON_SUCCESS) {
      *failure = "not JSON: " + answer;
      return nullptr;
    }
    uint64_t count = 0;
    TJsonValue_size(tree, &count);
    bool matches = count == commands.size();
    for (uint64_t i = 0; matches && i < count; ++i) {
      TJsonValue *item = nullptr;
      TJsonValue_item(tree, i, &item);
      matches = memberText(item, "category") == commands[i].category &&
                memberText(item, "key") == commands[i].key;
    }
    if (!matches) {
      *failure = "request " + text + " answered by " + answer;
      TJsonValue_delete(tree);
      return nullptr;
    }
    return tree;
  }

  void readingClient(int id, std::string *failure) {
    TJsonReader *reader = nullptr;
    ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
    for (int i = 0; i < kRequestsPerClient && failure->empty(); ++i) {
      // Exact in a float, and distinct for every client and step.
      const std::string unique = std::to_string((id * kRequestsPerClient + i) * 0.25 + 1.0);
      const bool pair = i % 2 == 0;
      const std::vector<Command> commands =
          pair ? std::vector<Command>{{"DG", "gb", unique}, {"DG", "gb", ""}} : background(i + id);
      TJsonValue *tree = exchange(reader, commands, failure);
      if (tree == nullptr) break;
      TJsonValue *current = nullptr;
      double read = -1;
      if (pair && (TJsonPath(tree, "1.value.current", &current) != TCOMMON_SUCCESS ||
                   TJsonValue_asFloat(current, &read) != TCOMMON_SUCCESS ||
                   std::to_string(read) != unique)) {
        *failure = "DG/gb: wrote " + unique + ", read " + std::to_string(read);
      }
      TJsonValue_delete(tree);
    }
    TJsonReader_close(&reader);
  }

  std::mutex hostLock_;
  std::atomic<bool> done_{false};
  std::atomic<uint64_t> journalLines_{0};
};

TEST_F(ConcurrencyTest, ClientsShareOneInstanceWithoutMixingTheirRequests) {
  std::thread observer([this] { observe(); });

  // Blind clients: client id selects ABLS row id and writes its gains in the same request.
  std::vector<int> lastWritten(kClients, 0);
  std::vector<std::thread> clients;
  for (int id = 0; id < kClients; ++id) {
    clients.emplace_back([this, id, &lastWritten] {
      for (int i = 0; i < kRequestsPerClient; ++i) {
        const int value = id * 1000 + i;
        const std::vector<Command> commands =
            i % 2 == 0 ? std::vector<Command>{{"ABLS", "tableIndex", std::to_string(id)},
                                              {"ABLS", ":gains", "[" + std::to_string(value) + "]"}}
                       : background(i + id);
        const char *response = nullptr;
        if (TShell_process(shell_, compose(commands).c_str(), &response) == TCOMMON_SUCCESS &&
            i % 2 == 0) {
          lastWritten[id] = value;
        }
      }
    });
  }
  for (std::thread &client : clients) client.join();
  clients.clear();

  std::vector<std::string> failures(kClients);
  for (int id = 0; id < kClients; ++id) {
    clients.emplace_back([this, id, &failures] { readingClient(id, &failures[id]); });
  }
  for (std::thread &client : clients) client.join();
  done_ = true;
  observer.join();

  for (int id = 0; id < kClients; ++id) {
    EXPECT_EQ(failures[id], "") << "reading client " << id;
    const std::string row = "ABLS/tableIndex=" + std::to_string(id);
    const Exchange exchange = send(request({row.c_str(), "ABLS/:gains"}));
    ASSERT_EQ(exchange.code, TCOMMON_SUCCESS);
    const std::string expected = "[" + std::to_string(lastWritten[id]) + ".0,";
    EXPECT_NE(exchange.response.find(expected), std::string::npos)
        << "row " << id << " should start with " << lastWritten[id] << ": " << exchange.response;
  }
  EXPECT_GT(journalLines_.load(), 0u);
}

}  // namespace
