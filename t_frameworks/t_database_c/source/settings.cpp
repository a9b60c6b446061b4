// Settings documents: every record printed as one JSON object, and the all-or-nothing
// application of such a document onto the records.
#include "settings.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "t_common.h"

namespace tdatabase {
namespace {

constexpr uint32_t kRefused = TCOMMON_WRONG_CONFIGURATION;

struct TreeDeleter {
  void operator()(TJsonValue *value) const { TJsonValue_delete(value); }
};
using Tree = std::unique_ptr<TJsonValue, TreeDeleter>;

struct ReaderCloser {
  void operator()(TJsonReader *reader) const { TJsonReader_close(&reader); }
};
using Reader = std::unique_ptr<TJsonReader, ReaderCloser>;

struct ParseContext {
  std::span<const RecordType *const> types;
  void *const *records;
  void *const *scratch;
  std::vector<uint8_t> &isTouched;
  std::string &error;
  size_t next;  // where the search for the next category starts
};

// Documents written by the database list the categories in order: start the search after
// the category found last.
size_t findCategory(ParseContext &context, const char *name) {
  const size_t count = context.types.size();
  for (size_t tried = 0, i = context.next; tried < count; ++tried, ++i) {
    if (i == count) i = 0;
    if (std::strcmp(context.types[i]->category, name) == 0) {
      context.next = i + 1;
      return i;
    }
  }
  return count;
}

// Called by the JSON library: nothing may be thrown back through it.
uint32_t applyCategory(void *opaque, const char *name, TJsonValue *member) {
  auto &context = *static_cast<ParseContext *>(opaque);
  try {
    const size_t index = findCategory(context, name);
    if (index == context.types.size()) {
      context.error = std::string(name) + ": unknown category";
      return kRefused;
    }
    const RecordType &type = *context.types[index];
    if (context.isTouched[index] == 0) {
      std::memcpy(context.scratch[index], context.records[index], type.layout.size);
      context.isTouched[index] = 1;
    }
    FieldError fieldError;
    const uint32_t result = applyFields(type.layout, member, context.scratch[index], fieldError);
    if (result == kRefused) context.error = fieldError.text(type.category);
    return result;
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
}

}  // namespace

uint32_t writeSettings(std::span<const RecordType *const> types, const void *const *records,
                       TJsonWriter *writer, const char **text, uint64_t *length) {
  TJsonValue *root = nullptr;
  uint32_t result = TJsonValue_create(TJSON_TYPE_OBJECT, &root);
  if (result != TCOMMON_SUCCESS) return result;
  const Tree tree(root);
  for (size_t i = 0; i < types.size(); ++i) {
    TJsonValue *category = nullptr;
    result = TJsonValue_member(root, types[i]->category, &category);
    if (result == TCOMMON_SUCCESS) result = TJsonValue_create(TJSON_TYPE_OBJECT, &category);
    if (result == TCOMMON_SUCCESS) result = writeFields(types[i]->layout, records[i], category);
    if (result != TCOMMON_SUCCESS) return result;
  }
  result = TJsonWriter_stringify(writer, root, text);
  if (result == TCOMMON_SUCCESS) result = TJsonWriter_length(writer, length);
  return result;
}

uint32_t parseSettings(std::span<const RecordType *const> types, void *const *records,
                       void *const *scratch, const char *begin, const char *end,
                       std::string &error) {
  TJsonReader *opened = nullptr;
  uint32_t result = TJsonReader_open(&opened);
  if (result != TCOMMON_SUCCESS) return result;
  const Reader reader(opened);

  TJsonValue *root = nullptr;
  result = TJsonReader_parse(reader.get(), begin, end, &root);
  const Tree tree(root);
  if (result == TCOMMON_PARSE_ERROR) {
    uint64_t offset = 0;
    const char *problem = "unknown problem";
    TJsonReader_error(reader.get(), &offset, &problem);
    error = "invalid JSON at byte " + std::to_string(offset) + ": " + problem;
    return kRefused;
  }
  if (result != TCOMMON_SUCCESS) return result;

  uint32_t type = TJSON_TYPE_ABSENT;
  TJsonValue_type(root, &type);
  if (type != TJSON_TYPE_OBJECT) {
    error = std::string("a settings document is a JSON object, found ") + jsonTypeName(type);
    return kRefused;
  }

  std::vector<uint8_t> isTouched(types.size(), 0);
  ParseContext context{types, records, scratch, isTouched, error, 0};
  result = TJsonValue_forEachMember(root, applyCategory, &context);
  if (result != TCOMMON_SUCCESS) return result;

  for (size_t i = 0; i < types.size(); ++i) {
    if (isTouched[i] != 0) copyFields(types[i]->layout, records[i], scratch[i]);
  }
  return TCOMMON_SUCCESS;
}

}  // namespace tdatabase
