#include "instance.h"

#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json_text.h"

namespace tshell_server {

namespace {

constexpr auto kSaveInterval = std::chrono::seconds(1);
// What a read answers, about: a value per element of the key's shape, a measurement, or a
// whole file as a data URI (the settings document is under 1 MiB).
constexpr size_t kAnswerBytesPerElement = 24;
constexpr size_t kAnswerBytesPerCommand = 64;
constexpr size_t kStatisticsAnswerBytes = 8u << 10;
constexpr size_t kFileAnswerBytes = 1u << 20;
// After a request this large, the heap it used is handed back to the system at once, so
// that the server's memory stays flat over repeated large requests.
constexpr size_t kTrimAfterBytes = 256u << 10;
const char kStreamRequest[] = R"({"category":"IPT","key":"isStream","value":{"current":true}})";

// Walks the top level of a JSON text that already passed the JSON check (a request, or
// the shell's response) and hands each command's members over as raw text, without
// building a tree of a text that may be megabytes long: the shell builds its own.
class CommandScanner {
 public:
  CommandScanner(const char *begin, const char *end) : p_(begin), end_(end) {}

  // visit(index, name, raw value text) for every member of every command (array element,
  // or the single object); elements that are not objects count but have no members.
  // Returns the number of commands.
  template <typename Visit>
  size_t scan(Visit &&visit) {
    size_t count = 0;
    space();
    if (peek() == '{') {
      members(count++, visit);
    } else if (peek() == '[') {
      ++p_;
      space();
      while (p_ < end_ && peek() != ']') {
        if (peek() == '{') {
          members(count, visit);
        } else {
          skipValue();
        }
        ++count;
        space();
        if (peek() == ',') ++p_;
        space();
      }
    }
    return count;
  }

 private:
  char peek() const { return p_ < end_ ? *p_ : '\0'; }
  void space() {
    while (p_ < end_ && (*p_ == ' ' || *p_ == '\t' || *p_ == '\n' || *p_ == '\r')) ++p_;
  }
  // At a '"': moves past the closing quote and returns the raw text between the quotes.
  std::string_view string() {
    const char *start = ++p_;
    while (p_ < end_ && *p_ != '"') p_ += *p_ == '\\' ? 2 : 1;
    std::string_view text(start, static_cast<size_t>(p_ - start));
    ++p_;
    return text;
  }
  void skipValue() {
    int depth = 0;
    do {
      space();
      const char c = peek();
      if (c == '"') {
        string();
        continue;
      }
      if (c == '{' || c == '[') {
        ++depth;
      } else if (c == '}' || c == ']') {
        --depth;
      } else if (c == ',' || c == ':') {
        // separators inside a container
      } else {
        while (p_ < end_ && std::strchr(",:]} \t\r\n", *p_) == nullptr) ++p_;
        continue;
      }
      ++p_;
    } while (depth > 0 && p_ < end_);
  }
  template <typename Visit>
  void members(size_t index, Visit &visit) {
    ++p_;
    space();
    while (p_ < end_ && peek() == '"') {
      const std::string_view name = string();
      space();
      ++p_;  // ':'
      space();
      const char *start = p_;
      skipValue();
      visit(index, name, std::string_view(start, static_cast<size_t>(p_ - start)));
      space();
      if (peek() == ',') ++p_;
      space();
    }
    ++p_;  // '}'
  }

  const char *p_;
  const char *end_;
};

struct RequestScan {
  std::vector<bool> writes;  // one per command
  size_t answerBytes = 0;    // what the answer will take, about
};

// Whether each command writes: its value is anything but null, "", [] or {} (what the
// shell reads as empty). A member name written with escapes might be "value" in disguise;
// it counts as one, so a write is never missed (at worst a read schedules a save). A read
// adds what its key answers to the answer estimate.
RequestScan scanRequest(const char *begin, const char *end,
                        const std::unordered_map<std::string, size_t> &answerCosts) {
  RequestScan scan;
  struct Names {
    std::string_view category;
    std::string_view key;
  };
  std::vector<Names> names;
  const size_t count =
      CommandScanner(begin, end)
          .scan([&](size_t index, std::string_view name, std::string_view raw) {
            if (scan.writes.size() <= index) {
              scan.writes.resize(index + 1, false);
              names.resize(index + 1);
            }
            if (name == "category") names[index].category = raw;
            if (name == "key") names[index].key = raw;
            if (name != "value" && name.find('\\') == std::string_view::npos) return;
            bool nonEmpty = raw != "null" && raw != "\"\"";
            if (nonEmpty && raw.size() >= 2 && (raw.front() == '[' || raw.front() == '{')) {
              nonEmpty = raw.substr(1, raw.size() - 2).find_first_not_of(" \t\r\n") !=
                         std::string_view::npos;
            }
            if (nonEmpty) scan.writes[index] = true;
          });
  scan.writes.resize(count, false);
  names.resize(count);
  std::string name;
  for (size_t i = 0; i < count; ++i) {
    scan.answerBytes += kAnswerBytesPerCommand;
    if (scan.writes[i] || names[i].category.size() < 2 || names[i].key.size() < 2) continue;
    name.assign(names[i].category.substr(1, names[i].category.size() - 2));
    name.push_back('/');
    name.append(names[i].key.substr(1, names[i].key.size() - 2));
    const auto found = answerCosts.find(name);
    if (found != answerCosts.end()) scan.answerBytes += found->second;
  }
  return scan;
}

// "CAT/key" -> what a read of it answers, from the schema the shell publishes.
std::unordered_map<std::string, size_t> answerCostsOf(TJsonReader *reader) {
  std::unordered_map<std::string, size_t> costs;
  const char *schema = nullptr;
  TJsonValue *root = nullptr;
  if (TShell_schema(&schema) != TCOMMON_SUCCESS ||
      TJsonReader_parse(reader, schema, schema + std::strlen(schema), &root) != TCOMMON_SUCCESS) {
    return costs;
  }
  struct Walk {
    std::unordered_map<std::string, size_t> *costs;
  } walk{&costs};
  TJsonValue_forEachMember(
      root,
      [](void *context, const char *category, TJsonValue *about) -> uint32_t {
        auto *walk = static_cast<Walk *>(context);
        TJsonValue *keys = nullptr;
        TJsonValue_member(about, "keys", &keys);
        uint64_t count = 0;
        TJsonValue_size(keys, &count);
        for (uint64_t i = 0; i < count; ++i) {
          TJsonValue *entry = nullptr;
          TJsonValue *member = nullptr;
          const char *key = nullptr;
          const char *access = "";
          TJsonValue_item(keys, i, &entry);
          if (TJsonValue_member(entry, "key", &member) != TCOMMON_SUCCESS ||
              TJsonValue_asString(member, &key) != TCOMMON_SUCCESS) {
            continue;
          }
          if (TJsonValue_member(entry, "access", &member) == TCOMMON_SUCCESS) {
            TJsonValue_asString(member, &access);
          }
          size_t bytes = kAnswerBytesPerElement;
          if (std::strcmp(access, "files") == 0) {
            bytes = kFileAnswerBytes;
          } else if (std::strcmp(access, "statistics") == 0) {
            bytes = kStatisticsAnswerBytes;
          } else if (TJsonValue_member(entry, "shape", &member) == TCOMMON_SUCCESS) {
            uint64_t dimensions = 0;
            TJsonValue_size(member, &dimensions);
            for (uint64_t d = 0; d < dimensions; ++d) {
              int64_t extent = 1;
              TJsonValue_itemAsInteger(member, d, &extent);
              bytes *= static_cast<size_t>(std::max<int64_t>(extent, 1));
            }
          }
          (*walk->costs)[std::string(category) + "/" + key] = bytes;
        }
        return TCOMMON_SUCCESS;
      },
      &walk);
  TJsonValue_delete(root);
  return costs;
}

}  // namespace

std::unique_ptr<Instance> Instance::open(const InstanceOptions &options, EventHub *events,
                                         std::string *error) {
  std::unique_ptr<Instance> instance(new Instance(options, events));
  if (!instance->openAll(error)) return nullptr;
  instance->saver_ = std::thread([raw = instance.get()] { raw->saverLoop(); });
  return instance;
}

bool Instance::openAll(std::string *error) {
  auto failed = [error](const std::string &what, uint32_t code) {
    *error = what + ": " + TCommonError_text(code) + " (" + std::to_string(code) + ")";
    return false;
  };
  uint32_t code = TCommonLogger_open(&logger_);
  if (code != TCOMMON_SUCCESS) return failed("cannot open the message logger", code);

  const char *path = nullptr;
  if (savesToFile()) {
    struct stat info {};
    if (stat(options_.database.c_str(), &info) == 0) {
      path = options_.database.c_str();
    } else if (errno != ENOENT) {
      *error = "cannot read the database " + options_.database + ": " + strerror(errno);
      return false;
    }
    // The file is created by the first save: make sure that save can happen.
    const size_t slash = options_.database.rfind('/');
    const std::string directory = slash == std::string::npos ? "."
                                  : slash == 0               ? "/"
                                                             : options_.database.substr(0, slash);
    if (access(directory.c_str(), W_OK | X_OK) != 0) {
      *error = "cannot save the database into " + directory + ": " + strerror(errno);
      return false;
    }
  }
  code = TDatabase_open(path, &database_);
  if (code != TCOMMON_SUCCESS) {
    *error = "cannot open the database " + options_.database + ": " + TDatabase_lastError();
    return false;
  }
  code = TDriver_open(database_, &driver_);
  if (code != TCOMMON_SUCCESS) return failed("cannot open the driver", code);
  void *handles[3] = {database_, driver_, logger_};
  code = TShell_open(handles, &shell_);
  if (code != TCOMMON_SUCCESS) return failed("cannot open the shell", code);
  code = TJsonReader_open(&reader_);
  if (code != TCOMMON_SUCCESS) return failed("cannot open the JSON reader", code);
  answerCosts_ = answerCostsOf(reader_);
  if (savesToFile()) {
    code = TDatabase_open(nullptr, &pending_);
    if (code == TCOMMON_SUCCESS) code = TDatabase_open(nullptr, &saving_);
    if (code != TCOMMON_SUCCESS) return failed("cannot open the database copies", code);
    struct Walk {
      Instance *instance;
      uint32_t code;
    } walk{this, TCOMMON_SUCCESS};
    code = TDatabase_forEachCategory(
        [](void *context, const char *category) -> uint32_t {
          auto *walk = static_cast<Walk *>(context);
          RecordCopy copy{category, nullptr, nullptr, nullptr};
          uint32_t found = TDatabase_query(walk->instance->database_, category, &copy.live);
          if (found == TCOMMON_SUCCESS) {
            found = TDatabase_query(walk->instance->pending_, category, &copy.pending);
          }
          if (found == TCOMMON_SUCCESS) {
            found = TDatabase_query(walk->instance->saving_, category, &copy.saving);
          }
          if (found == TCOMMON_SUCCESS) walk->instance->records_.push_back(copy);
          return found;
        },
        &walk);
    if (code != TCOMMON_SUCCESS) return failed("cannot list the database records", code);
    takeSnapshot();
  }
  return true;
}

Instance::~Instance() {
  stopSaver();
  if (shell_ != nullptr) TShell_close(&shell_);
  if (driver_ != nullptr) TDriver_close(&driver_);
  if (database_ != nullptr) TDatabase_close(&database_);
  if (logger_ != nullptr) TCommonLogger_close(&logger_);
  if (reader_ != nullptr) TJsonReader_close(&reader_);
  if (pending_ != nullptr) TDatabase_close(&pending_);
  if (saving_ != nullptr) TDatabase_close(&saving_);
}

Outcome Instance::process(const std::string &request) {
  Outcome outcome;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    outcome = run(request, true);
  }
  if (request.size() + outcome.body.size() >= kTrimAfterBytes) malloc_trim(0);
  return outcome;
}

bool Instance::startStreaming(std::string *error) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Outcome outcome = run(kStreamRequest, false);
  if (outcome.status == 200 && outcome.body.find("\"message\"") == std::string::npos) {
    return true;
  }
  *error = "cannot start the simulated sensor: " + outcome.body;
  return false;
}

Outcome Instance::run(const std::string &request, bool fromClient) {
  const char *begin = request.data();
  const char *end = begin + request.size();
  uint64_t offset = 0;
  const char *problem = nullptr;
  if (const void *nul = memchr(begin, '\0', request.size()); nul != nullptr) {
    offset = static_cast<const char *>(nul) - begin;
    problem = "The request holds a NUL byte.";
  } else if (TJsonReader_check(reader_, begin, end) != TCOMMON_SUCCESS) {
    TJsonReader_error(reader_, &offset, &problem);
  }
  if (problem != nullptr) {
    std::string body = "{\"error\":";
    appendJsonString(&body, problem);
    body += ",\"offset\":" + std::to_string(offset) + "}";
    return {400, std::move(body)};
  }
  const RequestScan scan = scanRequest(begin, end, answerCosts_);
  const std::vector<bool> &writes = scan.writes;
  if (fromClient && options_.maxCommands > 0 && writes.size() > options_.maxCommands) {
    return {413, errorBody("the request holds " + std::to_string(writes.size()) +
                           " commands; at most " + std::to_string(options_.maxCommands) +
                           " are taken at once: send them in several requests")};
  }
  if (fromClient && options_.maxAnswerBytes > 0 && scan.answerBytes > options_.maxAnswerBytes) {
    return {413, errorBody("the request reads about " + std::to_string(scan.answerBytes >> 20) +
                           " MiB; at most " + std::to_string(options_.maxAnswerBytes >> 20) +
                           " MiB are answered at once: send the reads in several requests")};
  }

  const char *response = nullptr;
  const uint32_t code = TShell_process(shell_, request.c_str(), &response);
  std::string driverEvent;
  harvestJournal(&driverEvent);
  if (code != TCOMMON_SUCCESS) {
    return {500, errorBody(std::string("the shell failed: ") + TCommonError_text(code) + " (" +
                           std::to_string(code) + ")")};
  }
  Outcome outcome{200, response};
  if (!fromClient) return outcome;

  // The request event names each command as the response echoes it.
  struct Echo {
    std::string_view category;
    std::string_view key;
    std::string_view message;
    bool object = false;
  };
  std::vector<Echo> echoes;
  const char *text = outcome.body.data();
  CommandScanner(text, text + outcome.body.size())
      .scan([&](size_t index, std::string_view name, std::string_view raw) {
        if (echoes.size() <= index) echoes.resize(index + 1);
        Echo &echo = echoes[index];
        echo.object = true;
        if (name == "category") echo.category = raw;
        if (name == "key") echo.key = raw;
        if (name == "message") echo.message = raw;
      });
  std::string event = "{\"seq\":" + std::to_string(++requests_) + ",\"commands\":[";
  bool first = true;
  for (size_t i = 0; i < echoes.size(); ++i) {
    const Echo &echo = echoes[i];
    if (!echo.object) continue;
    event += first ? "{" : ",{";
    first = false;
    if (!echo.category.empty()) event.append("\"category\":").append(echo.category).append(",");
    if (!echo.key.empty()) event.append("\"key\":").append(echo.key).append(",");
    event += i < writes.size() && writes[i] ? "\"write\":true" : "\"write\":false";
    if (!echo.message.empty()) event.append(",\"message\":").append(echo.message);
    event += "}";
  }
  event += "]}";
  events_->publish("request", event);
  events_->publish("driver", driverEvent);

  bool wrote = false;
  for (const bool write : writes) wrote = wrote || write;
  if (wrote && savesToFile()) {
    {
      std::lock_guard<std::mutex> snapshot(snapshotMutex_);
      takeSnapshot();
      dirty_ = true;
    }
    saverWake_.notify_one();
  }
  return outcome;
}

void Instance::harvestJournal(std::string *driverEvent) {
  const char *text = nullptr;
  uint64_t next = journalNext_;
  std::vector<std::string_view> calls;
  if (TDriverJournal_since(driver_, journalNext_, &text, &next) == TCOMMON_SUCCESS) {
    for (std::string_view rest(text); !rest.empty();) {
      const size_t newline = rest.find('\n');
      calls.push_back(rest.substr(0, newline));
      rest = newline == std::string_view::npos ? std::string_view() : rest.substr(newline + 1);
    }
  }
  *driverEvent = "{\"next\":" + std::to_string(next) + ",\"calls\":[";
  for (size_t i = 0; i < calls.size(); ++i) {
    if (i > 0) *driverEvent += ",";
    appendJsonString(driverEvent, calls[i]);
    journal_.emplace_back(calls[i]);
  }
  *driverEvent += "]}";
  while (journal_.size() > kJournalKept) journal_.pop_front();
  journalNext_ = next;
  TDriverJournal_clear(driver_);
}

std::string Instance::journal(uint64_t since) {
  std::lock_guard<std::mutex> lock(mutex_);
  const uint64_t first = journalNext_ - journal_.size();
  std::string page = "{\"next\":" + std::to_string(journalNext_) + ",\"calls\":[";
  const uint64_t from = since > first ? since : first;
  for (uint64_t number = from; number < journalNext_; ++number) {
    if (number > from) page += ",";
    appendJsonString(&page, journal_[number - first]);
  }
  page += "]}";
  return page;
}

void Instance::takeSnapshot() {
  for (const RecordCopy &record : records_) {
    TDatabase_copyRecord(record.category, record.pending, record.live);
  }
}

bool Instance::saveSnapshot(std::string *error) {
  std::lock_guard<std::mutex> save(saveMutex_);
  const auto start = std::chrono::steady_clock::now();
  {
    std::lock_guard<std::mutex> snapshot(snapshotMutex_);
    if (!dirty_) return true;
    for (const RecordCopy &record : records_) {
      TDatabase_copyRecord(record.category, record.saving, record.pending);
    }
    dirty_ = false;
  }
  const uint32_t code = TDatabase_save(saving_, options_.database.c_str());
  const auto took = std::chrono::steady_clock::now() - start;
  {
    std::lock_guard<std::mutex> snapshot(snapshotMutex_);
    lastSaveStart_ = start;
    lastSaveDuration_ = took;
    if (code != TCOMMON_SUCCESS) dirty_ = true;
  }
  if (code != TCOMMON_SUCCESS) {
    *error = "cannot save the database to " + options_.database + ": " + TDatabase_lastError();
    return false;
  }
  if (options_.verbose) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(took);
    printf("tshell-server: saved %s (%lld ms)\n", options_.database.c_str(),
           static_cast<long long>(ms.count()));
    fflush(stdout);
  }
  return true;
}

Outcome Instance::saveNow() {
  if (!savesToFile()) {
    return {409, errorBody("no database file: start the server with --database FILE")};
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    std::lock_guard<std::mutex> snapshot(snapshotMutex_);
    takeSnapshot();
    dirty_ = true;
  }
  std::string error;
  if (!saveSnapshot(&error)) return {500, errorBody(error)};
  std::string body = "{\"saved\":";
  appendJsonString(&body, options_.database);
  body += "}";
  return {200, std::move(body)};
}

// Every acknowledged write is on disk within about kSaveInterval: the next save starts
// kSaveInterval after the previous one started, less the time that one took (a save
// should take as long again), and at once when the previous save is older than that.
void Instance::saverLoop() {
  std::unique_lock<std::mutex> lock(snapshotMutex_);
  for (;;) {
    saverWake_.wait(lock, [this] { return dirty_ || stopping_; });
    if (stopping_) return;
    const auto due = lastSaveStart_ + kSaveInterval - lastSaveDuration_;
    if (saverWake_.wait_until(lock, due, [this] { return stopping_; })) return;
    lock.unlock();
    std::string error;
    if (!saveSnapshot(&error)) fprintf(stderr, "tshell-server: %s\n", error.c_str());
    lock.lock();
  }
}

void Instance::stopSaver() {
  if (!saver_.joinable()) return;
  {
    std::lock_guard<std::mutex> snapshot(snapshotMutex_);
    stopping_ = true;
  }
  saverWake_.notify_all();
  saver_.join();
}

bool Instance::finish() {
  stopSaver();
  if (!savesToFile()) return true;
  std::string error;
  if (saveSnapshot(&error)) return true;
  fprintf(stderr, "tshell-server: %s\n", error.c_str());
  return false;
}

}  // namespace tshell_server
