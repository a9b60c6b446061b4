#include "commands.h"

#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "backend.h"
#include "display.h"
#include "json_tree.h"
#include "t_common.h"

namespace tshell_cli {

namespace {

constexpr int kExitRefused = 1;  // the shell or the server refused a command
constexpr int kExitUsage = 2;    // bad options or input, or no shell to talk to

constexpr const char *kCommands[] = {"list", "get", "set", "schema", "completion"};

// Options of either mode that take a value as the next argument.
constexpr const char *kOptionsWithValue[] = {
    "-d", "--database", "-s",      "--save",  "-e",      "--execute", "-t",      "--trace",
    "-c", "--connect",  "--token", "--frame", "--stage", "--raw",     "--inject"};

// What the message of a read means when the block could not be read back: the value is the
// record's, and the command still succeeded.
constexpr std::string_view kCachedNotice =
    "Streaming needed, or data will come from cache not hardware";
// What a push answers while the ISP is off.
constexpr std::string_view kNotInitialized = "Driver is not initialized";
// How calibration files travel to the shell.
constexpr const char kFileUriPrefix[] = "data:text/txt;base64,";

const char kUsage[] =
    "Usage: tshell [OPTION]... COMMAND [ARGUMENT]...\n"
    "Read and change ISP parameters through the tuning shell.\n"
    "\n"
    "Commands:\n"
    "  list                  the categories, with what each tunes\n"
    "  list CATEGORY         the keys of CATEGORY: type, shape, range, hardware access\n"
    "  get CATEGORY [KEY]... the values of the KEYs (all keys when none is given)\n"
    "  set CATEGORY KEY=VALUE...\n"
    "                        write each KEY; VALUE is JSON (1.5, true, [1,2,3]), plain\n"
    "                        text for text keys, or @FILE[,@FILE]... for calibration\n"
    "                        files (import keys)\n"
    "  schema                every category with its keys\n"
    "  completion bash       a bash completion script for the categories and keys\n"
    "\n"
    "Options:\n"
    "      --json            print JSON for scripts: the shell's response to get and set,\n"
    "                        the schema to list and schema\n"
    "  -c, --connect URL     send the commands to the tuning server at URL\n"
    "                        (http://HOST:PORT) instead of a shell in this process\n"
    "      --token TOKEN     the server's access token (default: $TSHELL_TOKEN)\n"
    "  -d, --database FILE   in-process shell: open the settings document FILE\n"
    "  -s, --save FILE       in-process shell: save the database to FILE at the end\n"
    "      --stream          in-process shell: start the simulated ISP first\n"
    "      --inject FILE     before the command, hand the camera a picture (PNG, JPEG,\n"
    "                        TIFF) or camera raw file (DNG, ...) to deliver while \"IPT\"\n"
    "                        \"isInject\" is on\n"
    "      --frame FILE      after the command, write the frame of --stage (default\n"
    "                        output): JPEG when FILE ends in .jpg or .jpeg, PNG otherwise\n"
    "      --stage STAGE     raw, output or a block's category (BLS, DMSC_3, ...)\n"
    "      --raw FILE        after the command, write the raw frame: 16-bit PNG when FILE\n"
    "                        ends in .png, DNG otherwise (needs \"IPT\" \"isRaw\" on)\n"
    "  -h, --help            show this help and exit\n"
    "\n"
    "Without a COMMAND, tshell runs JSON requests (see 'tshell --help').\n"
    "Messages of the shell go to standard error. Exit status: 0 when every command was\n"
    "carried out, 1 when the shell or the server refused one, 2 for bad options or input\n"
    "or when the shell could not be reached.\n"
    "\n"
    "Examples:\n"
    "  tshell list DG\n"
    "  tshell --stream get HTG statistics\n"
    "  tshell --connect http://192.168.1.20:8080 set DG gb=1.5 gr=1.5\n"
    "  tshell --stream --frame bls.png --stage BLS get BLS state\n";

// What each category tunes, as the tuning client names it.
struct CommandOptions {
  BackendOptions backend;
  FrameOptions frames;
  bool json = false;
  std::vector<std::string> words;  // the command and its arguments
};

void complain(const std::string &text) {
  fprintf(stderr, "tshell: %s\n", text.c_str());
}

bool endsWith(const std::string &text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool takesValue(const char *arg) {
  return std::any_of(std::begin(kOptionsWithValue), std::end(kOptionsWithValue),
                     [arg](const char *option) { return strcmp(arg, option) == 0; });
}

bool isCommand(const char *word) {
  return std::any_of(std::begin(kCommands), std::end(kCommands),
                     [word](const char *command) { return strcmp(word, command) == 0; });
}

constexpr int kOptionToken = 256;
constexpr int kOptionStream = 257;
constexpr int kOptionJson = 258;

// Returns -1 to go on, or the exit status.
int parseOptions(int argc, char **argv, CommandOptions *options) {
  // --json has no short form: -j is --journal in the JSON-lines mode.
  static const option kLong[] = {{"json", no_argument, nullptr, kOptionJson},
                                 {"connect", required_argument, nullptr, 'c'},
                                 {"token", required_argument, nullptr, kOptionToken},
                                 {"database", required_argument, nullptr, 'd'},
                                 {"save", required_argument, nullptr, 's'},
                                 {"stream", no_argument, nullptr, kOptionStream},
                                 {"frame", required_argument, nullptr, kOptionFrame},
                                 {"stage", required_argument, nullptr, kOptionStage},
                                 {"raw", required_argument, nullptr, kOptionRaw},
                                 {"inject", required_argument, nullptr, kOptionInject},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  options->backend.token = getenv("TSHELL_TOKEN");
  optind = 0;  // the JSON-lines mode may have looked at the arguments before
  int c;
  while ((c = getopt_long(argc, argv, "c:d:s:h", kLong, nullptr)) != -1) {
    switch (c) {
      case kOptionJson:
        options->json = true;
        break;
      case 'c':
        options->backend.url = optarg;
        break;
      case kOptionToken:
        options->backend.token = optarg;
        break;
      case 'd':
        options->backend.database = optarg;
        break;
      case 's':
        options->backend.save = optarg;
        break;
      case kOptionStream:
        options->backend.stream = true;
        break;
      case 'h':
        fputs(kUsage, stdout);
        return EXIT_SUCCESS;
      default:
        if (takeFrameOption(c, optarg, &options->frames)) break;
        fputs("Try 'tshell --help' for more information.\n", stderr);
        return kExitUsage;
    }
  }
  for (int i = optind; i < argc; ++i) options->words.emplace_back(argv[i]);
  if (options->backend.url != nullptr &&
      (options->backend.database != nullptr || options->backend.save != nullptr ||
       options->backend.stream)) {
    complain("--database, --save and --stream are for the in-process shell, not with --connect");
    return kExitUsage;
  }
  return -1;
}

// A JSON string literal holding text.
std::string quoted(const std::string &text) {
  TJsonValue *value = nullptr;
  if (TJsonValue_create(TJSON_TYPE_STRING, &value) != 0) return "\"\"";
  TJsonValue_assignAsString(value, text.c_str());
  std::string result = jsonText(value);
  TJsonValue_delete(value);
  return result;
}

// The keys of every category, as the shell describes them.
class Schema {
 public:
  bool load(Backend *backend, std::string *error) {
    if (!backend->schema(&text_, error)) return false;
    if (!document_.parse(text_, error)) {
      *error = "the schema is not JSON: " + *error;
      return false;
    }
    // Each category: {"title", "help", "keys": [...]}.
    for (const auto &[name, about] : jsonMembers(document_.root())) {
      categories_.emplace_back(name, jsonMember(about, "keys"));
      abouts_.emplace(name, About{jsonString(jsonMember(about, "title")),
                                  jsonString(jsonMember(about, "help"))});
    }
    return true;
  }

  // A short title for lists and a paragraph on what the block does ("" when absent).
  const std::string &title(const std::string &category) const { return about(category).title; }
  const std::string &help(const std::string &category) const { return about(category).help; }

  const std::string &text() const { return text_; }
  const std::vector<std::pair<std::string, TJsonValue *>> &categories() const {
    return categories_;
  }

  // The key list of a category, or nullptr (with a message) when there is no such category.
  TJsonValue *category(const std::string &name) const {
    for (const auto &[category, keys] : categories_) {
      if (category == name) return keys;
    }
    complain("no category '" + name + "' (tshell list shows them)");
    return nullptr;
  }

  static TJsonValue *key(TJsonValue *keys, const std::string &name) {
    for (TJsonValue *entry : jsonItems(keys)) {
      if (jsonString(jsonMember(entry, "key")) == name) return entry;
    }
    return nullptr;
  }

  static std::vector<std::string> keyNames(TJsonValue *keys) {
    std::vector<std::string> names;
    for (TJsonValue *entry : jsonItems(keys)) names.push_back(jsonString(jsonMember(entry, "key")));
    return names;
  }

 private:
  struct About {
    std::string title, help;
  };
  const About &about(const std::string &category) const {
    static const About kNone;
    const auto found = abouts_.find(category);
    return found != abouts_.end() ? found->second : kNone;
  }

  std::string text_;
  JsonDocument document_;
  std::vector<std::pair<std::string, TJsonValue *>> categories_;
  std::map<std::string, About> abouts_;
};

// ---- Describing keys -----------------------------------------------------------------------

std::string elementRange(const std::string &element) {
  static const std::map<std::string, std::string> kRanges = {
      {"u8", "0..255"},
      {"i8", "-128..127"},
      {"u16", "0..65535"},
      {"i16", "-32768..32767"},
      {"u32", "0..4294967295"},
      {"i32", "-2147483648..2147483647"},
      {"u64", "0..18446744073709551615"},
      {"i64", "-9223372036854775808..9223372036854775807"},
  };
  const auto found = kRanges.find(element);
  return found != kRanges.end() ? found->second : "";
}

std::vector<std::string> describeKey(TJsonValue *entry) {
  const std::string access = jsonString(jsonMember(entry, "access"));
  const std::string element = jsonString(jsonMember(entry, "element"));

  std::string type = access;
  if (!element.empty() && element != "none" && element != access) type += " " + element;

  std::string shape;
  const std::vector<TJsonValue *> counts = jsonItems(jsonMember(entry, "shape"));
  for (size_t i = 0; i < counts.size(); ++i) {
    if (i > 0) shape += "x";
    shape += scalarText(counts[i]);
  }
  if (TJsonValue *rows = jsonMember(entry, "rowsFrom"); rows != nullptr && !counts.empty()) {
    shape += " (rows: " + scalarText(rows) + ")";
  }
  if (shape.empty()) shape = "-";

  std::string range;
  if (access == "bool" || access == "flag") {
    range = "true/false";
  } else if (access == "integer") {
    range = elementRange(element);
    if (TJsonValue *maximum = jsonMember(entry, "maximum"); maximum != nullptr) {
      range = range.substr(0, range.find("..")) + ".." + scalarText(maximum);
    }
  } else if (access == "string" && !counts.empty()) {
    range = "up to " + scalarText(counts.back()) + " bytes";
  } else if (access == "files") {
    range = "data URIs";
  }
  if (TJsonValue *scale = jsonMember(entry, "scale"); scale != nullptr) {
    range += (range.empty() ? "" : ", ") + std::string("scale ") + scalarText(scale);
  }
  if (range.empty()) range = "-";

  std::string notes;
  auto note = [&notes](const std::string &text) { notes += (notes.empty() ? "" : ", ") + text; };
  auto flag = [entry](const char *name) {
    uint8_t value = 0;
    TJsonValue *member = jsonMember(entry, name);
    return member != nullptr && TJsonValue_asBoolean(member, &value) == 0 && value != 0;
  };
  if (flag("readsHardware")) note("read from hardware");
  if (flag("pushesHardware")) note("written to hardware");
  if (TJsonValue *by = jsonMember(entry, "selectedBy"); by != nullptr) {
    note("entry chosen by " + scalarText(by) + " (of " + scalarText(jsonMember(entry, "entries")) +
         ")");
  }
  return {jsonString(jsonMember(entry, "key")), type, shape, range, notes};
}

void printKeys(TJsonValue *keys, const std::string &indent) {
  std::vector<std::vector<std::string>> rows{{"KEY", "TYPE", "SHAPE", "RANGE", "HARDWARE"}};
  for (TJsonValue *entry : jsonItems(keys)) rows.push_back(describeKey(entry));
  for (const std::string &line : alignColumns(rows, indent)) printf("%s\n", line.c_str());
}

// text folded into lines of at most kWidth columns, each starting with indent.
void printWrapped(const std::string &text, const std::string &indent) {
  constexpr size_t kWidth = 96;
  std::string line = indent;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(start, end - start);
    if (line.size() > indent.size() && line.size() + 1 + word.size() > kWidth) {
      printf("%s\n", line.c_str());
      line = indent;
    }
    line += (line.size() > indent.size() ? " " : "") + word;
    start = end + 1;
  }
  if (line.size() > indent.size()) printf("%s\n", line.c_str());
}

// Every key's help text under its name.
void printKeyHelp(TJsonValue *keys) {
  for (TJsonValue *entry : jsonItems(keys)) {
    const std::string help = jsonString(jsonMember(entry, "help"));
    if (help.empty()) continue;
    printf("\n%s\n", jsonString(jsonMember(entry, "key")).c_str());
    printWrapped(help, "  ");
  }
}

bool isLocalOff(const CommandOptions &options) {
  return options.backend.url == nullptr && !options.backend.stream;
}

// ---- Running requests ----------------------------------------------------------------------

// One request of a subcommand: the response, its items, and the exit status it earns.
struct Exchange {
  int status = EXIT_SUCCESS;
  std::string response;
  JsonDocument document;
  std::vector<TJsonValue *> items;
};

// Sends the commands as one request and reports every message on standard error. localOff:
// the in-process shell runs without a stream, which explains a refused push.
void exchange(Backend *backend, const std::string &category,
              const std::vector<std::string> &commands, bool localOff, Exchange *result) {
  std::string request = "[";
  for (size_t i = 0; i < commands.size(); ++i) request += (i > 0 ? "," : "") + commands[i];
  request += "]";
  std::string error;
  if (!backend->process(request, &result->response, &error) ||
      !result->document.parse(result->response, &error)) {
    complain(error);
    result->status = kExitUsage;
    return;
  }
  result->items = jsonItems(result->document.root());
  if (result->items.size() != commands.size()) {
    complain("the shell answered " + std::to_string(result->items.size()) + " commands of " +
             std::to_string(commands.size()));
    result->status = kExitRefused;
  }
  // One line per distinct message, naming the keys it came with.
  std::vector<std::pair<std::string, std::vector<std::string>>> messages;
  for (TJsonValue *item : result->items) {
    const std::string key = jsonString(jsonMember(item, "key"));
    for (TJsonValue *message : jsonItems(jsonMember(item, "message"))) {
      const std::string text = jsonString(message);
      auto found = std::find_if(messages.begin(), messages.end(),
                                [&text](const auto &entry) { return entry.first == text; });
      if (found == messages.end()) {
        messages.push_back({text, {key}});
      } else {
        found->second.push_back(key);
      }
      if (!endsWith(text, kCachedNotice)) result->status = kExitRefused;
    }
  }
  for (const auto &[text, keys] : messages) {
    std::string where = category + "/" + keys[0];
    if (keys.size() > 1) {
      where = category + " (";
      for (size_t i = 0; i < keys.size(); ++i) where += (i > 0 ? ", " : "") + keys[i];
      where += ")";
    }
    fprintf(stderr, "%s: %s\n", where.c_str(), text.c_str());
    if (localOff && endsWith(text, kNotInitialized)) {
      complain("the simulated ISP is off: --stream starts it");
    }
  }
}

// ---- Subcommands ---------------------------------------------------------------------------

int listCommand(const CommandOptions &options, const Schema &schema) {
  if (options.words.size() > 2) {
    complain("list takes at most one CATEGORY");
    return kExitUsage;
  }
  if (options.words.size() == 2) {
    TJsonValue *keys = schema.category(options.words[1]);
    if (keys == nullptr) return kExitUsage;
    if (options.json) {
      printf("%s\n", jsonText(keys).c_str());
    } else {
      const std::string &help = schema.help(options.words[1]);
      if (!help.empty()) {
        printWrapped(help, "");
        printf("\n");
      }
      printKeys(keys, "");
      printKeyHelp(keys);
    }
    return EXIT_SUCCESS;
  }
  if (options.json) {
    std::string text = "[";
    bool first = true;
    for (const auto &[category, keys] : schema.categories()) {
      text += std::string(first ? "" : ",") + "{\"category\":" + quoted(category) +
              ",\"description\":" + quoted(schema.title(category)) +
              ",\"keys\":" + std::to_string(jsonItems(keys).size()) + "}";
      first = false;
    }
    printf("%s]\n", text.c_str());
    return EXIT_SUCCESS;
  }
  std::vector<std::vector<std::string>> rows{{"CATEGORY", "KEYS", "DESCRIPTION"}};
  for (const auto &[category, keys] : schema.categories()) {
    rows.push_back({category, std::to_string(jsonItems(keys).size()), schema.title(category)});
  }
  for (const std::string &line : alignColumns(rows)) printf("%s\n", line.c_str());
  return EXIT_SUCCESS;
}

int schemaCommand(const CommandOptions &options, const Schema &schema) {
  if (options.words.size() > 1) {
    complain("schema takes no arguments");
    return kExitUsage;
  }
  if (options.json) {
    printf("%s\n", schema.text().c_str());
    return EXIT_SUCCESS;
  }
  bool first = true;
  for (const auto &[category, keys] : schema.categories()) {
    if (!first) printf("\n");
    first = false;
    const std::string &about = schema.title(category);
    printf("%s%s%s\n", category.c_str(), about.empty() ? "" : ": ", about.c_str());
    printKeys(keys, "  ");
  }
  return EXIT_SUCCESS;
}

int getCommand(const CommandOptions &options, const Schema &schema, Backend *backend) {
  if (options.words.size() < 2) {
    complain("get needs a CATEGORY and its KEYs");
    return kExitUsage;
  }
  const std::string &category = options.words[1];
  TJsonValue *keys = schema.category(category);
  if (keys == nullptr) return kExitUsage;
  std::vector<std::string> names(options.words.begin() + 2, options.words.end());
  if (names.empty()) names = Schema::keyNames(keys);
  std::vector<std::string> commands;
  for (const std::string &name : names) {
    if (Schema::key(keys, name) == nullptr) {
      complain(category + " has no key '" + name + "' (tshell list " + category + " shows them)");
      return kExitUsage;
    }
    commands.push_back("{\"category\":" + quoted(category) + ",\"key\":" + quoted(name) + "}");
  }
  Exchange result;
  exchange(backend, category, commands, isLocalOff(options), &result);
  if (result.items.empty()) return result.status;
  if (options.json) {
    printf("%s\n", result.response.c_str());
    return result.status;
  }
  std::vector<std::pair<std::string, TJsonValue *>> values;
  for (TJsonValue *item : result.items) {
    TJsonValue *current = jsonMember(jsonMember(item, "value"), "current");
    if (current == nullptr) {
      result.status = kExitRefused;  // a read without a value was refused
      continue;
    }
    const std::string key = jsonString(jsonMember(item, "key"));
    if (jsonString(jsonMember(Schema::key(keys, key), "element")) == "f32") {
      shortenSingleFloats(current);
    }
    values.emplace_back(key, current);
  }
  printNamedValues(values, stdout);
  return result.status;
}

// "@FILE[,@FILE]...": the files as the array of data URIs that an import key takes.
bool filesJson(const std::string &text, std::string *json, std::string *error) {
  *json = "[";
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(',', start);
    if (end == std::string::npos) end = text.size();
    const std::string file = text.substr(start, end - start);
    if (file.size() < 2 || file[0] != '@') {
      *error = "'" + file + "' is not @FILE";
      return false;
    }
    std::ifstream in(file.substr(1), std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    if (!in) {
      *error = "cannot read " + file.substr(1) + ": " + strerror(errno);
      return false;
    }
    const std::string bytes = content.str();
    char *encoded = nullptr;
    if (TCommonBase64_encode(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(),
                             &encoded) != TCOMMON_SUCCESS) {
      *error = "cannot encode " + file.substr(1);
      return false;
    }
    *json += (json->size() > 1 ? ",\"" : "\"") + std::string(kFileUriPrefix) + encoded + "\"";
    free(encoded);
    start = end + 1;
  }
  *json += "]";
  return true;
}

// The JSON of one VALUE of set: text keys take the text as it is (or a JSON string), import
// keys @FILE lists, other keys a JSON value.
bool valueJson(TJsonValue *entry, const std::string &text, std::string *json, std::string *error) {
  const std::string access = jsonString(jsonMember(entry, "access"));
  if (access == "files" && !text.empty() && text[0] == '@') return filesJson(text, json, error);
  JsonDocument document;
  const bool parsed = document.parse(text, error);
  if (access == "string") {
    *json = parsed && jsonType(document.root()) == TJSON_TYPE_STRING ? jsonText(document.root())
                                                                     : quoted(text);
    return true;
  }
  if (!parsed) {
    *error = "'" + text + "' is not a JSON value (" + *error + ")";
    return false;
  }
  *json = jsonText(document.root());
  return true;
}

int setCommand(const CommandOptions &options, const Schema &schema, Backend *backend) {
  if (options.words.size() < 3) {
    complain("set needs a CATEGORY and at least one KEY=VALUE");
    return kExitUsage;
  }
  const std::string &category = options.words[1];
  TJsonValue *keys = schema.category(category);
  if (keys == nullptr) return kExitUsage;
  // Every argument is checked before anything is sent, so bad input changes nothing.
  std::vector<std::string> commands;
  for (size_t i = 2; i < options.words.size(); ++i) {
    const std::string &word = options.words[i];
    const size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0) {
      complain("'" + word + "' is not KEY=VALUE");
      return kExitUsage;
    }
    const std::string name = word.substr(0, equals);
    TJsonValue *entry = Schema::key(keys, name);
    if (entry == nullptr) {
      complain(category + " has no key '" + name + "' (tshell list " + category + " shows them)");
      return kExitUsage;
    }
    std::string json;
    std::string error;
    if (!valueJson(entry, word.substr(equals + 1), &json, &error)) {
      complain(category + "/" + name + ": " + error);
      return kExitUsage;
    }
    commands.push_back("{\"category\":" + quoted(category) + ",\"key\":" + quoted(name) +
                       ",\"value\":{\"current\":" + json + "}}");
  }
  Exchange result;
  exchange(backend, category, commands, isLocalOff(options), &result);
  if (options.json && !result.response.empty()) printf("%s\n", result.response.c_str());
  return result.status;
}

// ---- Bash completion -----------------------------------------------------------------------

// A word list for compgen -W inside single quotes.
std::string wordList(const std::vector<std::string> &words, const char *suffix = "") {
  std::string list;
  for (const std::string &word : words) {
    if (!list.empty()) list += ' ';
    for (char c : word) {
      if (c == '\'') {
        list += "'\\''";
      } else {
        list += c;
      }
    }
    list += suffix;
  }
  return list;
}

int completionCommand(const CommandOptions &options, const Schema &schema) {
  if (options.words.size() != 2 || options.words[1] != "bash") {
    complain("completion takes one argument: bash");
    return kExitUsage;
  }
  std::vector<std::string> categories;
  for (const auto &[category, keys] : schema.categories()) categories.push_back(category);
  std::vector<std::string> commands(std::begin(kCommands), std::end(kCommands));

  printf(
      "# bash completion of tshell: subcommands, options, categories and keys (written by\n"
      "# 'tshell completion bash' from the shell's key schema)\n"
      "_tshell_keys() {\n"
      "  case \"$1\" in\n");
  for (const auto &[category, keys] : schema.categories()) {
    printf("    '%s') printf '%%s' '%s' ;;\n", category.c_str(),
           wordList(Schema::keyNames(keys)).c_str());
  }
  printf(
      "  esac\n"
      "}\n"
      "\n"
      "_tshell() {\n"
      "  local cur prev words cword\n"
      "  if declare -F _get_comp_words_by_ref >/dev/null; then\n"
      "    _get_comp_words_by_ref -n =: cur prev words cword\n"
      "  else\n"
      "    words=(\"${COMP_WORDS[@]}\") cword=$COMP_CWORD\n"
      "    cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
      "  fi\n"
      "  local i command='' category=''\n"
      "  for ((i = 1; i < cword; i++)); do\n"
      "    case \"${words[i]}\" in\n"
      "      -c | --connect | --token | -d | --database | -s | --save | --frame | --stage | "
      "--raw | --inject) ((i++)) ;;\n"
      "      -*) ;;\n"
      "      *)\n"
      "        if [[ -z $command ]]; then command=${words[i]}\n"
      "        elif [[ -z $category ]]; then category=${words[i]}\n"
      "        fi\n"
      "        ;;\n"
      "    esac\n"
      "  done\n"
      "  COMPREPLY=()\n"
      "  case \"$prev\" in\n"
      "    -d | --database | -s | --save | --frame | --raw | --inject) "
      "COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n"
      "    --stage) COMPREPLY=($(compgen -W 'raw output %s' -- \"$cur\")); return ;;\n"
      "    -c | --connect | --token) return ;;\n"
      "  esac\n"
      "  if [[ $cur == -* ]]; then\n"
      "    COMPREPLY=($(compgen -W '--json --connect --token --database --save --stream "
      "--inject --frame --stage --raw --help' -- \"$cur\"))\n"
      "    return\n"
      "  fi\n"
      "  if [[ -z $command ]]; then\n"
      "    COMPREPLY=($(compgen -W '%s' -- \"$cur\"))\n"
      "    return\n"
      "  fi\n"
      "  case $command in\n"
      "    list | get | set)\n"
      "      if [[ -z $category ]]; then\n"
      "        COMPREPLY=($(compgen -W '%s' -- \"$cur\"))\n"
      "      elif [[ $command == get ]]; then\n"
      "        COMPREPLY=($(compgen -W \"$(_tshell_keys \"$category\")\" -- \"$cur\"))\n"
      "      elif [[ $command == set && $cur != *=* ]]; then\n"
      "        local key keys=''\n"
      "        for key in $(_tshell_keys \"$category\"); do keys+=\"$key= \"; done\n"
      "        COMPREPLY=($(compgen -W \"$keys\" -- \"$cur\"))\n"
      "        compopt -o nospace 2>/dev/null\n"
      "      fi\n"
      "      ;;\n"
      "    completion) COMPREPLY=($(compgen -W 'bash' -- \"$cur\")) ;;\n"
      "  esac\n"
      "  if declare -F __ltrim_colon_completions >/dev/null; then\n"
      "    __ltrim_colon_completions \"$cur\"\n"
      "  fi\n"
      "}\n"
      "complete -F _tshell tshell\n",
      wordList(categories).c_str(), wordList(commands).c_str(), wordList(categories).c_str());
  return EXIT_SUCCESS;
}

}  // namespace

bool isCommandLine(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    const char *arg = argv[i];
    if (strcmp(arg, "--") == 0) return i + 1 < argc && isCommand(argv[i + 1]);
    if (arg[0] == '-' && arg[1] != '\0') {
      if (takesValue(arg)) ++i;
      continue;
    }
    return isCommand(arg);
  }
  return false;
}

int runCommandLine(int argc, char **argv) {
  CommandOptions options;
  const int status = parseOptions(argc, argv, &options);
  if (status >= 0) return status;
  if (options.words.empty() || !isCommand(options.words[0].c_str())) {
    complain("no command given");
    return kExitUsage;
  }
  const std::string &command = options.words[0];

  std::string error;
  std::unique_ptr<Backend> backend = options.backend.url != nullptr
                                         ? openRemoteBackend(options.backend, &error)
                                         : openLocalBackend(options.backend, &error);
  if (backend == nullptr) {
    complain(error);
    return kExitUsage;
  }
  Schema schema;
  if (!schema.load(backend.get(), &error)) {
    complain(error);
    return kExitUsage;
  }

  const FrameOptions &frames = options.frames;
  const bool withFrames = !frames.frame.empty() || !frames.raw.empty() || !frames.inject.empty();
  std::unique_ptr<FrameLink> link = withFrames ? backend->frames(&error) : nullptr;
  if (withFrames && (link == nullptr || !injectBefore(link.get(), frames, &error))) {
    complain(error);
    return kExitUsage;
  }

  int result = EXIT_SUCCESS;
  if (command == "list") {
    result = listCommand(options, schema);
  } else if (command == "schema") {
    result = schemaCommand(options, schema);
  } else if (command == "get") {
    result = getCommand(options, schema, backend.get());
  } else if (command == "set") {
    result = setCommand(options, schema, backend.get());
  } else {
    result = completionCommand(options, schema);
  }
  if (link != nullptr && result != kExitUsage && !writeAfter(link.get(), frames, &error)) {
    complain(error);
    if (result == EXIT_SUCCESS) result = kExitRefused;
  }
  // A command line refused as bad input changes nothing, so nothing is saved either.
  if (result != kExitUsage && !backend->finish(&error)) {
    complain(error);
    if (result == EXIT_SUCCESS) result = kExitRefused;
  }
  return result;
}

}  // namespace tshell_cli
