// Settings documents through the database's parser. A document is applied whole or not at
// all: after a refusal every record must be byte for byte what it was, and a document the
// parser accepted must serialise into one that it accepts again.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "t_common.h"
#include "t_database.h"

namespace {

struct Snapshot {
  std::vector<std::string> categories;
  std::vector<std::vector<uint8_t>> records;
};

uint32_t collectCategory(void *context, const char *category) {
  static_cast<Snapshot *>(context)->categories.emplace_back(category);
  return TCOMMON_SUCCESS;
}

[[noreturn]] void die(const char *what) {
  fprintf(stderr, "settings_fuzzer: %s: %s\n", what, TDatabase_lastError());
  abort();
}

TDatabase *database() {
  static TDatabase *opened = [] {
    TDatabase *made = nullptr;
    if (TDatabase_open(nullptr, &made) != TCOMMON_SUCCESS) die("open");
    return made;
  }();
  return opened;
}

// Settings fields only: a record also holds transient buffers (pointers) that parsing
// never touches, so comparing whole records compares what the parser may change.
void take(TDatabase *db, Snapshot *snapshot) {
  if (snapshot->categories.empty()) TDatabase_forEachCategory(collectCategory, snapshot);
  snapshot->records.resize(snapshot->categories.size());
  for (size_t i = 0; i < snapshot->categories.size(); ++i) {
    void *record = nullptr;
    uint64_t size = 0;
    if (TDatabase_query(db, snapshot->categories[i].c_str(), &record) != TCOMMON_SUCCESS ||
        TDatabase_recordSize(snapshot->categories[i].c_str(), &size) != TCOMMON_SUCCESS) {
      die("query");
    }
    const auto *bytes = static_cast<const uint8_t *>(record);
    snapshot->records[i].assign(bytes, bytes + size);
  }
}

void expectUnchanged(TDatabase *db, const Snapshot &before) {
  Snapshot now;
  now.categories = before.categories;
  take(db, &now);
  for (size_t i = 0; i < before.records.size(); ++i) {
    if (now.records[i] != before.records[i]) {
      fprintf(stderr, "settings_fuzzer: a refused document changed %s\n",
              before.categories[i].c_str());
      abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  if (text.find('\0') != std::string::npos) return 0;
  TDatabase *db = database();
  static Snapshot snapshot;
  if (snapshot.categories.empty()) take(db, &snapshot);

  if (TDatabase_parse(db, text.c_str()) != TCOMMON_SUCCESS) {
    if (TDatabase_lastError()[0] == '\0') die("a refusal without a reason");
    expectUnchanged(db, snapshot);
    return 0;
  }
  TCommonBuffer written{};
  if (TDatabase_serialize(db, &written) != TCOMMON_SUCCESS) die("serialize");
  if (TDatabase_parse(db, reinterpret_cast<const char *>(written.data)) != TCOMMON_SUCCESS) {
    die("the database refuses its own document");
  }
  TCommonBuffer_clear(&written);
  take(db, &snapshot);
  return 0;
}
