// The calibration database: the records of every category in one block of heap storage,
// with the content the database was opened with kept beside them for reset.
#include "t_database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "fields.h"
#include "settings.h"
#include "t_json.h"

namespace {

using tdatabase::RecordType;

// Records are C structs holding numbers and pointers; a cache line is more than any of
// them needs and keeps two records from sharing a line.
constexpr size_t kRecordAlignment = 64;
// A settings document of every block is a few MiB at most; anything far larger is not one
// and is refused before it is read into memory.
constexpr size_t kMaxDocumentBytes = size_t{64} << 20;

thread_local std::string lastError;

uint32_t succeed() {
  lastError.clear();
  return TCOMMON_SUCCESS;
}

uint32_t fail(uint32_t code, std::string_view text) noexcept {
  try {
    lastError.assign(text);
  } catch (...) {
    lastError.clear();
  }
  return code;
}

uint32_t failWithErrno(uint32_t code, const std::string &what, int error) {
  return fail(code, what + ": " + std::generic_category().message(error));
}

// Runs the body of an exported function: no exception may leave through the C API.
template <typename Body>
uint32_t guarded(Body &&body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return fail(TCOMMON_NO_MEMORY, "out of memory");
  }
}

size_t alignUp(size_t bytes) {
  return (bytes + kRecordAlignment - 1) / kRecordAlignment * kRecordAlignment;
}

// The record types with the place of each record in a block of records, and the lookup by
// category name that every request goes through. Built once, on first use.
struct Catalogue {
  std::span<const RecordType *const> types;
  std::vector<size_t> offsets;
  size_t blockBytes = 0;  // one record of every type
  std::unordered_map<std::string_view, size_t> indexes;
};

Catalogue makeCatalogue() {
  Catalogue catalogue;
  catalogue.types = tdatabase::recordTypes();
  catalogue.offsets.reserve(catalogue.types.size());
  catalogue.indexes.reserve(catalogue.types.size());
  for (size_t i = 0; i < catalogue.types.size(); ++i) {
    catalogue.offsets.push_back(catalogue.blockBytes);
    catalogue.blockBytes += alignUp(catalogue.types[i]->layout.size);
    catalogue.indexes.emplace(catalogue.types[i]->category, i);
  }
  return catalogue;
}

const Catalogue &catalogue() {
  static const Catalogue instance = makeCatalogue();
  return instance;
}

// Runs use(catalogue, index) for the record type of category; an unknown category fails
// with TCOMMON_NOT_REGISTERED.
template <typename Use>
uint32_t withCategory(const char *category, Use &&use) noexcept {
  return guarded([&]() -> uint32_t {
    const Catalogue &catalogue = ::catalogue();
    const auto found = catalogue.indexes.find(std::string_view(category));
    if (found == catalogue.indexes.end()) {
      return fail(TCOMMON_NOT_REGISTERED, std::string("unknown category '") + category + "'");
    }
    use(catalogue, found->second);
    return succeed();
  });
}

struct WriterCloser {
  void operator()(TJsonWriter *writer) const { TJsonWriter_close(&writer); }
};
using Writer = std::unique_ptr<TJsonWriter, WriterCloser>;

class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  int get() const { return descriptor_; }
  // Closes now, reporting the error that close can carry for a file being written.
  int closeNow() {
    const int result = close(descriptor_);
    descriptor_ = -1;
    return result;
  }

 private:
  int descriptor_;
};

uint32_t readDocument(const char *path, std::string &text) {
  const std::string name = std::string("'") + path + "'";
  File file(open(path, O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return failWithErrno(TCOMMON_IO_ERROR, "cannot open " + name, errno);
  struct stat status {};
  if (fstat(file.get(), &status) != 0) {
    return failWithErrno(TCOMMON_IO_ERROR, "cannot read " + name, errno);
  }
  const auto tooLarge = [&] {
    return fail(TCOMMON_IO_ERROR, name + " is larger than the " +
                                      std::to_string(kMaxDocumentBytes >> 20) +
                                      " MiB a settings document may have");
  };
  if (status.st_size > static_cast<off_t>(kMaxDocumentBytes)) return tooLarge();
  // One byte more than the file claims, so that a file that grew is still read to its end.
  text.resize(static_cast<size_t>(std::max<off_t>(status.st_size, 0)) + 1);
  size_t used = 0;
  for (;;) {
    if (used == text.size()) {
      if (used > kMaxDocumentBytes) return tooLarge();
      text.resize(std::min(used * 2, kMaxDocumentBytes + 1));
    }
    const ssize_t count = read(file.get(), text.data() + used, text.size() - used);
    if (count < 0) {
      if (errno == EINTR) continue;
      return failWithErrno(TCOMMON_IO_ERROR, "cannot read " + name, errno);
    }
    if (count == 0) break;
    used += static_cast<size_t>(count);
  }
  if (used > kMaxDocumentBytes) return tooLarge();
  text.resize(used);
  return TCOMMON_SUCCESS;
}

bool writeAll(int descriptor, const char *data, size_t size) {
  while (size > 0) {
    const ssize_t count = write(descriptor, data, size);
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += count;
    size -= static_cast<size_t>(count);
  }
  return true;
}

// Replaces the file at path with text (and a final line break) so that path holds either
// the old or the new content whatever happens: the text goes to a temporary file in the
// same directory, which is flushed to disk and then renamed over path.
uint32_t writeAtomically(const char *path, const char *text, size_t length) {
  const std::string target(path);
  const size_t slash = target.rfind('/');
  const std::string directory = slash == std::string::npos ? "."
                                : slash == 0               ? "/"
                                                           : target.substr(0, slash);
  const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
  if (name.empty()) return fail(TCOMMON_IO_ERROR, "'" + target + "' does not name a file");
  std::string temporary = target.substr(0, slash + 1) + "." + name + ".XXXXXX";

  File file(mkostemp(temporary.data(), O_CLOEXEC));
  if (file.get() < 0) {
    return failWithErrno(TCOMMON_IO_ERROR, "cannot create a file beside '" + target + "'", errno);
  }
  const auto abandon = [&](const std::string &what, int error) {
    unlink(temporary.c_str());
    return failWithErrno(TCOMMON_IO_ERROR, what, error);
  };
  // mkostemp makes the file private; a replaced document keeps the permissions it had.
  struct stat status {};
  const mode_t mode =
      stat(path, &status) == 0 && S_ISREG(status.st_mode) ? status.st_mode & 07777 : 0644;
  if (fchmod(file.get(), mode) != 0) return abandon("cannot set the mode of " + temporary, errno);
  if (!writeAll(file.get(), text, length) || !writeAll(file.get(), "\n", 1)) {
    return abandon("cannot write " + temporary, errno);
  }
  if (fsync(file.get()) != 0) return abandon("cannot flush " + temporary, errno);
  if (file.closeNow() != 0) return abandon("cannot close " + temporary, errno);
  if (rename(temporary.c_str(), path) != 0) {
    return abandon("cannot replace '" + target + "'", errno);
  }

  // The rename itself is only durable once the directory is flushed too. Some file
  // systems cannot flush a directory (EINVAL): there is nothing more to do on those.
  File parent(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (parent.get() < 0 || (fsync(parent.get()) != 0 && errno != EINVAL)) {
    return failWithErrno(TCOMMON_IO_ERROR,
                         "'" + target + "' was replaced, but its directory was not flushed", errno);
  }
  return TCOMMON_SUCCESS;
}

}  // namespace

namespace tdatabase {

uint32_t reportOutcome(uint32_t code, std::string_view problem) noexcept {
  return code == TCOMMON_SUCCESS ? succeed() : fail(code, problem);
}

}  // namespace tdatabase

namespace {

// Records that carry files a client uploaded (calibration files, a settings document in
// transit). The shell releases them when their import or transfer completes, and before
// the next upload fills the slot; an upload that never completed (a bad data URI, or the
// database closed before the import ran) leaves them here, and the database frees them
// when it closes.
struct FileSlot {
  const char *category;
  size_t countOffset;  // uint64_t fileCount
  size_t filesOffset;  // TCommonBuffer *files, calloc'd array of fileCount buffers
};

constexpr FileSlot kFileSlots[] = {
    {"CCM", offsetof(TDatabaseColorCorrectionMatrix, fileCount),
     offsetof(TDatabaseColorCorrectionMatrix, files)},
    {"LSC_3", offsetof(TDatabaseLensShadingCorrection_3, fileCount),
     offsetof(TDatabaseLensShadingCorrection_3, files)},
    {"ST", offsetof(TDatabaseSetting, fileCount), offsetof(TDatabaseSetting, files)},
};

void releaseFiles(void *record, const FileSlot &slot) {
  auto *bytes = static_cast<unsigned char *>(record);
  uint64_t count = 0;
  TCommonBuffer *files = nullptr;
  std::memcpy(&count, bytes + slot.countOffset, sizeof count);
  std::memcpy(&files, bytes + slot.filesOffset, sizeof files);
  if (files != nullptr) {
    for (uint64_t i = 0; i < count; ++i) TCommonBuffer_clear(&files[i]);
    free(files);
  }
  files = nullptr;
  count = 0;
  std::memcpy(bytes + slot.countOffset, &count, sizeof count);
  std::memcpy(bytes + slot.filesOffset, &files, sizeof files);
}

}  // namespace

struct TDatabase {
  // Live records, then the content the database was opened with, then scratch records
  // that a parse fills before anything live changes; each a block of one record per type.
  unsigned char *block = nullptr;
  std::vector<void *> live;
  std::vector<void *> opened;
  std::vector<void *> scratch;
  // Prints the settings documents; kept so that its buffer, once grown to a document's
  // size, serves every later one without growing again.
  Writer writer;

  TDatabase() = default;
  TDatabase(const TDatabase &) = delete;
  TDatabase &operator=(const TDatabase &) = delete;
  ~TDatabase() {
    if (block == nullptr) return;
    const auto &indexes = catalogue().indexes;
    for (const FileSlot &slot : kFileSlots) {
      const auto found = indexes.find(slot.category);
      if (found != indexes.end()) releaseFiles(live[found->second], slot);
    }
    ::operator delete (block, std::align_val_t{kRecordAlignment});
  }
};

namespace {

// Prints the settings document of database and returns use(text, length); the text lives
// until use returns.
template <typename Use>
uint32_t withDocument(TDatabase *database, Use &&use) {
  if (database->writer == nullptr) {
    TJsonWriter *opened = nullptr;
    const uint32_t result = TJsonWriter_open(nullptr, &opened);
    if (result != TCOMMON_SUCCESS) return fail(result, "cannot open a JSON writer");
    database->writer.reset(opened);
  }
  const char *text = nullptr;
  uint64_t length = 0;
  const uint32_t result = tdatabase::writeSettings(catalogue().types, database->live.data(),
                                                   database->writer.get(), &text, &length);
  if (result != TCOMMON_SUCCESS) {
    return fail(result, std::string("cannot print the settings: ") + TCommonError_text(result));
  }
  return use(text, length);
}

}  // namespace

extern "C" {

uint32_t TDatabase_open(const char *path, TDatabase **database) {
  if (database == nullptr) return fail(TCOMMON_INVALID_ARGUMENT, "no place for the database");
  *database = nullptr;
  return guarded([&]() -> uint32_t {
    const Catalogue &catalogue = ::catalogue();
    auto created = std::make_unique<TDatabase>();
    const size_t blockBytes = catalogue.blockBytes;
    created->block = static_cast<unsigned char *>(
        ::operator new (blockBytes * 3, std::align_val_t{kRecordAlignment}));
    std::memset(created->block, 0, blockBytes * 3);
    const size_t count = catalogue.types.size();
    created->live.resize(count);
    created->opened.resize(count);
    created->scratch.resize(count);
    for (size_t i = 0; i < count; ++i) {
      created->live[i] = created->block + catalogue.offsets[i];
      created->opened[i] = created->block + blockBytes + catalogue.offsets[i];
      created->scratch[i] = created->block + 2 * blockBytes + catalogue.offsets[i];
      std::memcpy(created->live[i], catalogue.types[i]->defaults, catalogue.types[i]->layout.size);
    }

    if (path != nullptr) {
      std::string text;
      uint32_t result = readDocument(path, text);
      if (result != TCOMMON_SUCCESS) return result;
      std::string error;
      result =
          tdatabase::parseSettings(catalogue.types, created->live.data(), created->scratch.data(),
                                   text.data(), text.data() + text.size(), error);
      if (result == TCOMMON_WRONG_CONFIGURATION) {
        return fail(result, std::string("'") + path + "': " + error);
      }
      if (result != TCOMMON_SUCCESS) {
        return fail(result, std::string("'") + path + "': " + TCommonError_text(result));
      }
    }
    std::memcpy(created->block + blockBytes, created->block, blockBytes);
    *database = created.release();
    return succeed();
  });
}

uint32_t TDatabase_close(TDatabase **database) {
  if (database == nullptr) return fail(TCOMMON_INVALID_ARGUMENT, "no database to close");
  delete *database;
  *database = nullptr;
  return succeed();
}

uint32_t TDatabase_query(TDatabase *database, const char *category, void **record) {
  if (database == nullptr || category == nullptr || record == nullptr) {
    return fail(TCOMMON_INVALID_ARGUMENT, "TDatabase_query needs a database, category and record");
  }
  return withCategory(category,
                      [&](const Catalogue &, size_t index) { *record = database->live[index]; });
}

uint32_t TDatabase_serialize(TDatabase *database, TCommonBuffer *buffer) {
  if (database == nullptr || buffer == nullptr) {
    return fail(TCOMMON_INVALID_ARGUMENT, "TDatabase_serialize needs a database and a buffer");
  }
  return guarded([&] {
    return withDocument(database, [&](const char *text, uint64_t length) -> uint32_t {
      uint32_t code = TCommonBuffer_assign(buffer, text, length);
      return code == TCOMMON_SUCCESS ? succeed() : fail(code, "out of memory");
    });
  });
}

uint32_t TDatabase_parse(TDatabase *database, const char *text) {
  if (database == nullptr || text == nullptr) {
    return fail(TCOMMON_INVALID_ARGUMENT, "TDatabase_parse needs a database and a text");
  }
  return guarded([&]() -> uint32_t {
    std::string error;
    const uint32_t result =
        tdatabase::parseSettings(catalogue().types, database->live.data(), database->scratch.data(),
                                 text, text + std::strlen(text), error);
    if (result == TCOMMON_WRONG_CONFIGURATION) return fail(result, error);
    if (result != TCOMMON_SUCCESS) return fail(result, TCommonError_text(result));
    return succeed();
  });
}

uint32_t TDatabase_reset(TDatabase *database, uint8_t isReset) {
  if (database == nullptr) return fail(TCOMMON_INVALID_ARGUMENT, "no database to reset");
  return guarded([&]() -> uint32_t {
    if (isReset == 0) return succeed();
    const Catalogue &catalogue = ::catalogue();
    // Field by field, so that buffers and statistics kept in the records survive.
    for (size_t i = 0; i < catalogue.types.size(); ++i) {
      tdatabase::copyFields(catalogue.types[i]->layout, database->live[i], database->opened[i]);
    }
    return succeed();
  });
}

uint32_t TDatabase_save(TDatabase *database, const char *path) {
  if (database == nullptr || path == nullptr) {
    return fail(TCOMMON_INVALID_ARGUMENT, "TDatabase_save needs a database and a path");
  }
  return guarded([&] {
    return withDocument(database, [&](const char *text, uint64_t length) {
      const uint32_t result = writeAtomically(path, text, length);
      return result != TCOMMON_SUCCESS ? result : succeed();
    });
  });
}

const char *TDatabase_lastError(void) {
  return lastError.c_str();
}

uint32_t TDatabase_recordSize(const char *category, uint64_t *size) {
  if (category == nullptr || size == nullptr) {
    return fail(TCOMMON_INVALID_ARGUMENT, "TDatabase_recordSize needs a category and a size");
  }
  return withCategory(category, [&](const Catalogue &catalogue, size_t index) {
    *size = catalogue.types[index]->layout.size;
  });
}

uint32_t TDatabase_copyRecord(const char *category, void *destination, const void *source) {
  if (category == nullptr || destination == nullptr || source == nullptr) {
    return fail(TCOMMON_INVALID_ARGUMENT, "TDatabase_copyRecord needs a category and two records");
  }
  return withCategory(category, [&](const Catalogue &catalogue, size_t index) {
    tdatabase::copyFields(catalogue.types[index]->layout, destination, source);
  });
}

uint32_t TDatabase_forEachCategory(TDatabaseCategoryVisitor visit, void *context) {
  if (visit == nullptr) return fail(TCOMMON_INVALID_ARGUMENT, "no visitor");
  return guarded([&]() -> uint32_t {
    for (const RecordType *type : catalogue().types) {
      const uint32_t result = visit(context, type->category);
      if (result != TCOMMON_SUCCESS) {
        return fail(result, std::string("the walk stopped at '") + type->category + "'");
      }
    }
    return succeed();
  });
}

}  // extern "C"
