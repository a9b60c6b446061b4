// Small helpers over libtjson for the command-line tool: a parsed document that frees itself,
// and read-only views of its values.
#ifndef TSHELL_CLI_JSON_TREE_H
#define TSHELL_CLI_JSON_TREE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "t_json.h"

namespace tshell_cli {

// One parsed JSON text.
class JsonDocument {
 public:
  JsonDocument() = default;
  ~JsonDocument();
  JsonDocument(const JsonDocument &) = delete;
  JsonDocument &operator=(const JsonDocument &) = delete;

  // Parses text; on failure returns false with a description in *error.
  bool parse(const std::string &text, std::string *error);
  TJsonValue *root() const { return root_; }

 private:
  TJsonValue *root_ = nullptr;
};

uint32_t jsonType(const TJsonValue *value);
bool isContainer(const TJsonValue *value);
// The member called name, or nullptr when value is no object or has no such member.
TJsonValue *jsonMember(TJsonValue *value, const char *name);
std::vector<std::pair<std::string, TJsonValue *>> jsonMembers(TJsonValue *value);
std::vector<TJsonValue *> jsonItems(TJsonValue *value);
std::string jsonString(const TJsonValue *value);  // "" when not a string
// Compact JSON text of a value.
std::string jsonText(const TJsonValue *value);
// A scalar as a person reads it: strings without quotes, numbers and booleans as in JSON.
std::string scalarText(const TJsonValue *value);

}  // namespace tshell_cli

#endif  // TSHELL_CLI_JSON_TREE_H
