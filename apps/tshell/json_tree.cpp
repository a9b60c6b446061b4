#include "json_tree.h"

#include "t_common.h"

namespace tshell_cli {

JsonDocument::~JsonDocument() {
  TJsonValue_delete(root_);
}

bool JsonDocument::parse(const std::string &text, std::string *error) {
  TJsonValue_delete(root_);
  root_ = nullptr;
  TJsonReader *reader = nullptr;
  if (TJsonReader_open(&reader) != TCOMMON_SUCCESS) {
    *error = "cannot open a JSON reader";
    return false;
  }
  const uint32_t code = TJsonReader_parse(reader, text.data(), text.data() + text.size(), &root_);
  if (code != TCOMMON_SUCCESS) {
    uint64_t offset = 0;
    const char *problem = "";
    TJsonReader_error(reader, &offset, &problem);
    *error = std::string(problem) + " at offset " + std::to_string(offset);
  }
  TJsonReader_close(&reader);
  return code == TCOMMON_SUCCESS;
}

uint32_t jsonType(const TJsonValue *value) {
  uint32_t type = TJSON_TYPE_ABSENT;
  if (value != nullptr) TJsonValue_type(value, &type);
  return type;
}

bool isContainer(const TJsonValue *value) {
  const uint32_t type = jsonType(value);
  return type == TJSON_TYPE_ARRAY || type == TJSON_TYPE_OBJECT;
}

TJsonValue *jsonMember(TJsonValue *value, const char *name) {
  if (jsonType(value) != TJSON_TYPE_OBJECT) return nullptr;
  TJsonValue *member = nullptr;
  if (TJsonValue_member(value, name, &member) != TCOMMON_SUCCESS) return nullptr;
  return jsonType(member) == TJSON_TYPE_ABSENT ? nullptr : member;
}

std::vector<std::pair<std::string, TJsonValue *>> jsonMembers(TJsonValue *value) {
  std::vector<std::pair<std::string, TJsonValue *>> members;
  if (jsonType(value) != TJSON_TYPE_OBJECT) return members;
  TJsonValue_forEachMember(
      value,
      [](void *context, const char *name, TJsonValue *member) -> uint32_t {
        static_cast<std::vector<std::pair<std::string, TJsonValue *>> *>(context)->emplace_back(
            name, member);
        return TCOMMON_SUCCESS;
      },
      &members);
  return members;
}

std::vector<TJsonValue *> jsonItems(TJsonValue *value) {
  std::vector<TJsonValue *> items;
  if (jsonType(value) != TJSON_TYPE_ARRAY) return items;
  uint64_t size = 0;
  TJsonValue_size(value, &size);
  for (uint64_t i = 0; i < size; ++i) {
    TJsonValue *item = nullptr;
    if (TJsonValue_item(value, i, &item) == TCOMMON_SUCCESS) items.push_back(item);
  }
  return items;
}

std::string jsonString(const TJsonValue *value) {
  const char *text = nullptr;
  if (jsonType(value) != TJSON_TYPE_STRING ||
      TJsonValue_asString(value, &text) != TCOMMON_SUCCESS) {
    return "";
  }
  return text;
}

std::string jsonText(const TJsonValue *value) {
  TJsonWriter *writer = nullptr;
  if (TJsonWriter_open(nullptr, &writer) != TCOMMON_SUCCESS) return "";
  const char *text = nullptr;
  std::string result;
  if (TJsonWriter_stringify(writer, value, &text) == TCOMMON_SUCCESS) result = text;
  TJsonWriter_close(&writer);
  return result;
}

std::string scalarText(const TJsonValue *value) {
  if (jsonType(value) == TJSON_TYPE_STRING) return jsonString(value);
  return jsonText(value);
}

}  // namespace tshell_cli
