// Prints what the fuzz runs start from:
//   fuzz_seeds dictionary   the request grammar and every category and key the shell
//                           serves (from its schema), as a libFuzzer dictionary
//   fuzz_seeds settings     the built-in settings document
//   fuzz_seeds requests DIR one request file per category in DIR, reading all its keys
//                           (with the request fuzzer's leading byte that starts streaming)
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "t_common.h"
#include "t_database.h"
#include "t_json.h"
#include "t_shell.h"

namespace {

// Dictionary entries are quoted strings with '"' and '\' escaped.
void entry(const std::string &token) {
  std::string quoted;
  for (char c : token) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  printf("\"%s\"\n", quoted.c_str());
}

struct Names {
  std::set<std::string> categories;
  std::set<std::string> keys;
  std::map<std::string, std::vector<std::string>> keysOf;
  std::string category;  // the one being walked
};

uint32_t collectKey(void *context, const char *name, TJsonValue *member) {
  auto *names = static_cast<Names *>(context);
  if (strcmp(name, "key") == 0 || strcmp(name, "selectedBy") == 0) {
    const char *text = nullptr;
    if (TJsonValue_asString(member, &text) == TCOMMON_SUCCESS) {
      names->keys.insert(text);
      if (strcmp(name, "key") == 0) names->keysOf[names->category].emplace_back(text);
    }
  }
  return TCOMMON_SUCCESS;
}

uint32_t collectCategory(void *context, const char *category, TJsonValue *keys) {
  auto *names = static_cast<Names *>(context);
  names->categories.insert(category);
  names->category = category;
  uint64_t count = 0;
  TJsonValue_size(keys, &count);
  for (uint64_t i = 0; i < count; ++i) {
    TJsonValue *key = nullptr;
    if (TJsonValue_item(keys, i, &key) == TCOMMON_SUCCESS) {
      TJsonValue_forEachMember(key, collectKey, names);
    }
  }
  return TCOMMON_SUCCESS;
}

bool schemaNames(Names *names) {
  const char *schema = nullptr;
  TJsonReader *reader = nullptr;
  TJsonValue *tree = nullptr;
  if (TShell_schema(&schema) != TCOMMON_SUCCESS || TJsonReader_open(&reader) != TCOMMON_SUCCESS ||
      TJsonReader_parse(reader, schema, schema + strlen(schema), &tree) != TCOMMON_SUCCESS) {
    fputs("fuzz_seeds: no schema\n", stderr);
    return false;
  }
  TJsonValue_forEachMember(tree, collectCategory, names);
  TJsonValue_delete(tree);
  TJsonReader_close(&reader);
  return true;
}

int requests(const char *directory) {
  Names names;
  if (!schemaNames(&names)) return 1;
  for (const auto &[category, keys] : names.keysOf) {
    std::string text = "0[";
    for (const std::string &key : keys) {
      text += text.size() > 2 ? "," : "";
      text += "{\"category\":\"" + category + "\",\"key\":\"" + key + "\"}";
    }
    text += "]";
    const std::string path = std::string(directory) + "/" + category;
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(text.data(), 1, text.size(), file) != text.size()) {
      fprintf(stderr, "fuzz_seeds: cannot write %s\n", path.c_str());
      if (file != nullptr) fclose(file);
      return 1;
    }
    fclose(file);
  }
  return 0;
}

int dictionary() {
  Names names;
  if (!schemaNames(&names)) return 1;
  for (const char *token : {"{",
                            "}",
                            "[",
                            "]",
                            ",",
                            ":",
                            "\"",
                            "true",
                            "false",
                            "null",
                            "0",
                            "1",
                            "-1",
                            "0.5",
                            "1e9",
                            "-2147483649",
                            "4294967296",
                            "18446744073709551615",
                            "\"category\":",
                            "\"key\":",
                            "\"value\":",
                            "\"current\":",
                            "\"permission\":",
                            "\"r\"",
                            "\"w\"",
                            "\"rw\"",
                            "{\"current\":",
                            "data:text/json;base64,",
                            "data:text/txt;base64,",
                            "0x"}) {
    entry(token);
  }
  for (const std::string &category : names.categories) entry('"' + category + '"');
  for (const std::string &key : names.keys) entry('"' + key + '"');
  return 0;
}

int settings() {
  TDatabase *database = nullptr;
  TCommonBuffer document{};
  if (TDatabase_open(nullptr, &database) != TCOMMON_SUCCESS ||
      TDatabase_serialize(database, &document) != TCOMMON_SUCCESS) {
    fprintf(stderr, "fuzz_seeds: %s\n", TDatabase_lastError());
    return 1;
  }
  fwrite(document.data, 1, document.length, stdout);
  TCommonBuffer_clear(&document);
  TDatabase_close(&database);
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 2 && strcmp(argv[1], "dictionary") == 0) return dictionary();
  if (argc == 2 && strcmp(argv[1], "settings") == 0) return settings();
  if (argc == 3 && strcmp(argv[1], "requests") == 0) return requests(argv[2]);
  fputs("usage: fuzz_seeds dictionary | settings | requests DIR\n", stderr);
  return 2;
}
