// Request texts from a tuning client through one long-lived shell instance, as a tuning
// server runs it: the instance, its database and the simulated ISP keep their state from
// one input to the next. Like every host, the target hands the shell only texts that the
// JSON reader accepts. The first byte of an input drives the simulated sensor (start or
// stop streaming, or leave it) so that read-backs and measurements run part of the time.
//
// Every answer must be JSON, and a request array must be answered by an array of as many
// commands, each naming the category and key it was asked for.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

namespace {

struct Host {
  TCommonLogger *logger = nullptr;
  TDatabase *database = nullptr;
  TDriver *driver = nullptr;
  TShell *shell = nullptr;
  TJsonReader *reader = nullptr;
};

[[noreturn]] void die(const char *what, uint32_t code) {
  fprintf(stderr, "request_fuzzer: %s (%u)\n", what, code);
  abort();
}

Host &host() {
  static Host *instance = [] {
    auto *made = new Host;
    if (TCommonLogger_open(&made->logger) != TCOMMON_SUCCESS) die("logger", 0);
    if (TDatabase_open(nullptr, &made->database) != TCOMMON_SUCCESS) die("database", 0);
    if (TDriver_open(made->database, &made->driver) != TCOMMON_SUCCESS) die("driver", 0);
    void *handles[3] = {made->database, made->driver, made->logger};
    if (TShell_open(handles, &made->shell) != TCOMMON_SUCCESS) die("shell", 0);
    // Small frames: the measurements run on real pictures, but a client's full-size input
    // path would spend the fuzzer's time rendering pixels instead of exploring requests.
    if (TDriverFrame_limit(made->driver, 160, 90) != TCOMMON_SUCCESS) die("frame limit", 0);
    if (TJsonReader_open(&made->reader) != TCOMMON_SUCCESS) die("reader", 0);
    return made;
  }();
  return *instance;
}

void driveSensor(TDriver *driver, uint8_t control) {
  switch (control & 0x7) {
    case 0:
      TDriver_init(driver, 1);
      TDriver_stream(driver, 1);
      break;
    case 1:
      TDriver_stream(driver, 0);
      break;
    case 2:
      TDriver_deinit(driver);
      break;
    default:
      break;
  }
}

std::string textOf(TJsonValue *object, const char *name) {
  TJsonValue *member = nullptr;
  const char *text = nullptr;
  if (TJsonValue_member(object, name, &member) != TCOMMON_SUCCESS) return "<none>";
  if (TJsonValue_asString(member, &text) != TCOMMON_SUCCESS) return "<not a string>";
  return text;
}

// The answer to command i must echo its category and key, whatever the shell made of it.
void expectEcho(TJsonValue *command, TJsonValue *answer) {
  uint32_t type = 0;
  TJsonValue_type(command, &type);
  if (type != TJSON_TYPE_OBJECT) return;
  for (const char *name : {"category", "key"}) {
    TJsonValue *member = nullptr;
    const char *asked = nullptr;
    TJsonValue_member(command, name, &member);
    if (TJsonValue_asString(member, &asked) != TCOMMON_SUCCESS) continue;
    if (textOf(answer, name) != asked) {
      fprintf(stderr, "request_fuzzer: %s \"%s\" answered as \"%s\"\n", name, asked,
              textOf(answer, name).c_str());
      abort();
    }
  }
}

void expectMatchingAnswer(Host &h, const char *request, size_t requestLength,
                          const char *response) {
  TJsonValue *asked = nullptr;
  TJsonValue *answered = nullptr;
  if (TJsonReader_parse(h.reader, request, request + requestLength, &asked) != TCOMMON_SUCCESS) {
    die("a checked request does not parse", 0);
  }
  const uint32_t code =
      TJsonReader_parse(h.reader, response, response + strlen(response), &answered);
  if (code != TCOMMON_SUCCESS) {
    fprintf(stderr, "request_fuzzer: the response is not JSON: %s\n", response);
    abort();
  }
  uint32_t askedType = 0;
  uint32_t answeredType = 0;
  TJsonValue_type(asked, &askedType);
  TJsonValue_type(answered, &answeredType);
  if (askedType == TJSON_TYPE_ARRAY) {
    uint64_t askedCount = 0;
    uint64_t answeredCount = 0;
    TJsonValue_size(asked, &askedCount);
    TJsonValue_size(answered, &answeredCount);
    if (answeredType != TJSON_TYPE_ARRAY || askedCount != answeredCount) {
      fprintf(stderr, "request_fuzzer: %llu commands answered by: %s\n",
              static_cast<unsigned long long>(askedCount), response);
      abort();
    }
    for (uint64_t i = 0; i < askedCount; ++i) {
      TJsonValue *command = nullptr;
      TJsonValue *answer = nullptr;
      TJsonValue_item(asked, i, &command);
      TJsonValue_item(answered, i, &answer);
      expectEcho(command, answer);
    }
  } else if (askedType == TJSON_TYPE_OBJECT) {
    expectEcho(asked, answered);
  }
  TJsonValue_delete(asked);
  TJsonValue_delete(answered);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  Host &h = host();
  const std::string request(reinterpret_cast<const char *>(data) + 1, size - 1);
  // What every host does: only JSON without NUL bytes reaches the shell.
  if (request.find('\0') != std::string::npos) return 0;
  if (TJsonReader_check(h.reader, request.data(), request.data() + request.size()) !=
      TCOMMON_SUCCESS) {
    return 0;
  }
  driveSensor(h.driver, data[0]);
  const char *response = nullptr;
  const uint32_t code = TShell_process(h.shell, request.c_str(), &response);
  if (code != TCOMMON_SUCCESS || response == nullptr) die("a valid request was not answered", code);
  expectMatchingAnswer(h, request.data(), request.size(), response);
  // A long-running host empties the journal, which otherwise grows with every call.
  TDriverJournal_clear(h.driver);
  return 0;
}
