#include "instance.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "json_text.h"

namespace tshell_server {

namespace {

constexpr auto kSaveInterval = std::chrono::seconds(1);
const char kStreamRequest[] = R"({"category":"IPT","key":"isStream","value":{"current":true}})";

struct TreeDeleter {
  void operator()(TJsonValue *value) const { TJsonValue_delete(value); }
};
using Tree = std::unique_ptr<TJsonValue, TreeDeleter>;

uint32_t typeOf(const TJsonValue *value) {
  uint32_t type = TJSON_TYPE_ABSENT;
  if (value == nullptr || TJsonValue_type(value, &type) != TCOMMON_SUCCESS) {
    return TJSON_TYPE_ABSENT;
  }
  return type;
}

// Walks the top level of a request text that already passed the JSON check, to tell for
// each command whether it writes. This spares a second tree of a request that may be
// tens of megabytes: the shell builds its own. A member name written with escapes might
// be "value" in disguise; it counts as one, so a write is never missed (at worst a read
// schedules a save).
class WriteScanner {
 public:
  WriteScanner(const char *begin, const char *end) : p_(begin), end_(end) {}

  // One flag per command (array element, or the single object).
  std::vector<bool> scan() {
    std::vector<bool> writes;
    space();
    if (peek() == '{') {
      writes.push_back(objectWrites());
    } else if (peek() == '[') {
      ++p_;
      space();
      while (p_ < end_ && peek() != ']') {
        writes.push_back(peek() == '{' ? objectWrites() : (skipValue(), false));
        space();
        if (peek() == ',') ++p_;
        space();
      }
    }
    return writes;
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
  // At a value: true unless it is null, "", [] or {} (what the shell reads as empty).
  bool nonEmptyValue() {
    space();
    const char *start = p_;
    skipValue();
    std::string_view text(start, static_cast<size_t>(p_ - start));
    if (text == "null" || text == "\"\"") return false;
    if (text.size() >= 2 && (text.front() == '[' || text.front() == '{')) {
      return text.substr(1, text.size() - 2).find_first_not_of(" \t\r\n") != std::string_view::npos;
    }
    return true;
  }
  bool objectWrites() {
    bool writes = false;
    ++p_;
    space();
    while (p_ < end_ && peek() == '"') {
      const std::string_view name = string();
      space();
      ++p_;  // ':'
      if (name == "value" || name.find('\\') != std::string_view::npos) {
        writes = nonEmptyValue() || writes;
      } else {
        skipValue();
      }
      space();
      if (peek() == ',') ++p_;
      space();
    }
    ++p_;  // '}'
    return writes;
  }

  const char *p_;
  const char *end_;
};

// The commands of a parsed response: the elements of an array, or the object itself.
std::vector<TJsonValue *> commandsOf(TJsonValue *root) {
  std::vector<TJsonValue *> commands;
  const uint32_t type = typeOf(root);
  if (type == TJSON_TYPE_OBJECT) {
    commands.push_back(root);
  } else if (type == TJSON_TYPE_ARRAY) {
    uint64_t size = 0;
    TJsonValue_size(root, &size);
    for (uint64_t i = 0; i < size; ++i) {
      TJsonValue *item = nullptr;
      if (TJsonValue_item(root, i, &item) == TCOMMON_SUCCESS) commands.push_back(item);
    }
  }
  return commands;
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
  if (code == TCOMMON_SUCCESS) code = TJsonWriter_open(nullptr, &writer_);
  if (code != TCOMMON_SUCCESS) return failed("cannot open the JSON reader and writer", code);
  return true;
}

Instance::~Instance() {
  if (saver_.joinable()) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    saverWake_.notify_all();
    saver_.join();
  }
  if (shell_ != nullptr) TShell_close(&shell_);
  if (driver_ != nullptr) TDriver_close(&driver_);
  if (database_ != nullptr) TDatabase_close(&database_);
  if (logger_ != nullptr) TCommonLogger_close(&logger_);
  if (reader_ != nullptr) TJsonReader_close(&reader_);
  if (writer_ != nullptr) TJsonWriter_close(&writer_);
}

Outcome Instance::process(const std::string &request) {
  std::lock_guard<std::mutex> lock(mutex_);
  return run(request, true);
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
  const std::vector<bool> writes = WriteScanner(begin, end).scan();

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
  std::string event = "{\"seq\":" + std::to_string(++requests_) + ",\"commands\":[";
  TJsonValue *parsed = nullptr;
  TJsonReader_parse(reader_, outcome.body.data(), outcome.body.data() + outcome.body.size(),
                    &parsed);
  Tree tree(parsed);
  const std::vector<TJsonValue *> commands = commandsOf(tree.get());
  bool first = true;
  for (size_t i = 0; i < commands.size(); ++i) {
    if (typeOf(commands[i]) != TJSON_TYPE_OBJECT) continue;
    event += first ? "{" : ",{";
    first = false;
    for (const char *name : {"category", "key"}) {
      TJsonValue *member = nullptr;
      const char *text = nullptr;
      if (TJsonValue_member(commands[i], name, &member) != TCOMMON_SUCCESS ||
          typeOf(member) == TJSON_TYPE_ABSENT ||
          TJsonWriter_stringify(writer_, member, &text) != TCOMMON_SUCCESS) {
        continue;
      }
      event.append("\"").append(name).append("\":").append(text).append(",");
    }
    event += i < writes.size() && writes[i] ? "\"write\":true" : "\"write\":false";
    TJsonValue *message = nullptr;
    const char *text = nullptr;
    if (TJsonValue_member(commands[i], "message", &message) == TCOMMON_SUCCESS &&
        typeOf(message) != TJSON_TYPE_ABSENT &&
        TJsonWriter_stringify(writer_, message, &text) == TCOMMON_SUCCESS) {
      event.append(",\"message\":").append(text);
    }
    event += "}";
  }
  event += "]}";
  events_->publish("request", event);
  events_->publish("driver", driverEvent);

  bool wrote = false;
  for (const bool write : writes) wrote = wrote || write;
  if (wrote && savesToFile()) {
    dirty_ = true;
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

bool Instance::saveLocked(std::string *error) {
  const auto start = std::chrono::steady_clock::now();
  dirty_ = false;
  const uint32_t code = TDatabase_save(database_, options_.database.c_str());
  lastSaveStart_ = start;
  lastSaveDuration_ = std::chrono::steady_clock::now() - start;
  if (code != TCOMMON_SUCCESS) {
    dirty_ = true;
    *error = "cannot save the database to " + options_.database + ": " + TDatabase_lastError();
    return false;
  }
  if (options_.verbose) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(lastSaveDuration_);
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
  std::lock_guard<std::mutex> lock(mutex_);
  std::string error;
  if (!saveLocked(&error)) return {500, errorBody(error)};
  std::string body = "{\"saved\":";
  appendJsonString(&body, options_.database);
  body += "}";
  return {200, std::move(body)};
}

// Every acknowledged write is on disk within about kSaveInterval: the next save starts
// kSaveInterval after the previous one started, less the time that one took (a save
// should take as long again), and at once when the previous save is older than that.
void Instance::saverLoop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    saverWake_.wait(lock, [this] { return dirty_ || stopping_; });
    if (stopping_) return;
    const auto due = lastSaveStart_ + kSaveInterval - lastSaveDuration_;
    if (saverWake_.wait_until(lock, due, [this] { return stopping_; })) return;
    std::string error;
    if (!saveLocked(&error)) fprintf(stderr, "tshell-server: %s\n", error.c_str());
  }
}

bool Instance::finish() {
  if (saver_.joinable()) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    saverWake_.notify_all();
    saver_.join();
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (!dirty_ || !savesToFile()) return true;
  std::string error;
  if (saveLocked(&error)) return true;
  fprintf(stderr, "tshell-server: %s\n", error.c_str());
  return false;
}

}  // namespace tshell_server
