#include "checks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <string_view>
#include <vector>

#include "json_tree.h"
#include "t_common.h"

namespace tdriver_compliance {

using tshell_cli::JsonDocument;
using tshell_cli::jsonItems;
using tshell_cli::jsonMember;
using tshell_cli::jsonMembers;
using tshell_cli::jsonText;
using tshell_cli::jsonType;

namespace {

// Every block the shell pushes and reads back: its category, the stem of its functions
// (TDriver<stem>_process, TDriver<stem>_statistics), whether it has a _statistics function,
// and the measuring unit that travels with it.
struct BlockRow {
  const char *category;
  const char *stem;
  bool hasStatistics;
  const char *companion;
};

constexpr BlockRow kBlocks[] = {
    {"2DNR_6", "2DNoiseReduction_6", true, nullptr},
    {"3DNR_4", "3DNoiseReduction_4", true, nullptr},
    {"BLS", "BlackLevelSubtraction", true, nullptr},
    {"CCM", "ColorCorrectionMatrix", true, nullptr},
    {"CNR_2_2", "ColorNoiseReduction_2_2", true, nullptr},
    {"CP_1_2", "ColorProcess_1_2", true, nullptr},
    {"DMSC_3", "DeMosaic_3", true, nullptr},
    {"DPCC", "DefectPixelClusterCorrection", true, nullptr},
    {"DG", "DigitalGain", true, nullptr},
    {"EE_3", "EdgeEnhance_3", true, nullptr},
    {"EC_2", "ExposureControl_2", true, "AES_2"},
    {"FC", "FocusControl", true, "AFM_3"},
    {"GC_2", "GammaCorrection_2", true, nullptr},
    {"HTG", "Histogram", true, nullptr},
    {"HTG_2", "Histogram_2", true, nullptr},
    {"LSC_3", "LensShadingCorrection_3", true, nullptr},
    {"WB_1_1", "WhiteBalance_1_1", true, nullptr},
    {"WDR_5_2_1", "WideDynamicRange_5_2_1", true, nullptr},
    {"3AI_2", "3AInterface_2", false, nullptr},
    {"CPD_1_1", "Compand_1_1", false, nullptr},
    {"GE", "GreenEquilibration", false, nullptr},
    {"HDR_3_2DOL", "HighDynamicRange_3_2Dol", false, nullptr},
    {"OPT", "Output", false, nullptr},
    {"RGBIR", "RgbInfraredRadiation", false, nullptr},
    {"RGBIR_1_1", "RgbInfraredRadiation_1_1", false, nullptr},
    {"SS", "Sensor", false, nullptr},
    {"ISP", "Isp", false, nullptr},
};

// Fields that the hardware reports rather than keeps: a read-back may answer other values
// than were pushed.
struct ReportedField {
  const char *category;
  const char *field;
};
constexpr ReportedField kReportedFields[] = {{"ISP", "hwId"}};

std::string codeText(uint32_t code) {
  return std::to_string(code) + " (" + TCommonError_text(code) + ")";
}

// ---- Records as settings documents ---------------------------------------------------------

// The settings document of the whole database.
bool serialize(TDatabase *database, JsonDocument *document, std::string *error) {
  TCommonBuffer buffer{};
  const uint32_t code = TDatabase_serialize(database, &buffer);
  if (code != TCOMMON_SUCCESS) {
    *error = "TDatabase_serialize returned " + codeText(code);
    return false;
  }
  const bool parsed = document->parse(
      std::string(reinterpret_cast<const char *>(buffer.data), buffer.length), error);
  TCommonBuffer_clear(&buffer);
  return parsed;
}

// The first place where a and b differ, as a field path ("gain.2"), or "" when equal.
std::string firstDifference(TJsonValue *a, TJsonValue *b, const std::string &path) {
  const uint32_t type = jsonType(a);
  if (type != jsonType(b)) return path.empty() ? "(whole record)" : path;
  const auto join = [&path](const std::string &name) {
    return path.empty() ? name : path + "." + name;
  };
  if (type == TJSON_TYPE_OBJECT) {
    for (const auto &[name, member] : jsonMembers(a)) {
      std::string found = firstDifference(member, jsonMember(b, name.c_str()), join(name));
      if (!found.empty()) return found;
    }
    return jsonMembers(a).size() == jsonMembers(b).size() ? "" : join("(members)");
  }
  if (type == TJSON_TYPE_ARRAY) {
    const auto itemsA = jsonItems(a);
    const auto itemsB = jsonItems(b);
    if (itemsA.size() != itemsB.size()) return join("(length)");
    for (size_t i = 0; i < itemsA.size(); ++i) {
      std::string found = firstDifference(itemsA[i], itemsB[i], join(std::to_string(i)));
      if (!found.empty()) return found;
    }
    return "";
  }
  return jsonText(a) == jsonText(b) ? "" : (path.empty() ? "(value)" : path);
}

// Changes every number and flag of a record so that a copy can be told from the original:
// integers move by one towards zero (0 becomes 1), floats grow by a quarter, flags flip.
// The results stay within every field's range.
void perturb(TJsonValue *value) {
  switch (jsonType(value)) {
    case TJSON_TYPE_BOOLEAN: {
      uint8_t flag = 0;
      TJsonValue_asBoolean(value, &flag);
      TJsonValue_assignAsBoolean(value, flag == 0 ? 1 : 0);
      break;
    }
    case TJSON_TYPE_INTEGER: {
      int64_t number = 0;
      TJsonValue_asInteger(value, &number);
      TJsonValue_assignAsInteger(value, number == 0 ? 1 : number > 0 ? number - 1 : number + 1);
      break;
    }
    case TJSON_TYPE_UNSIGNED: {
      uint64_t number = 0;
      TJsonValue_asUnsigned(value, &number);
      TJsonValue_assignAsUnsigned(value, number - 1);
      break;
    }
    case TJSON_TYPE_FLOAT: {
      double number = 0;
      TJsonValue_asFloat(value, &number);
      TJsonValue_assignAsFloat(value, number + 0.25);
      break;
    }
    case TJSON_TYPE_ARRAY:
      for (TJsonValue *item : jsonItems(value)) perturb(item);
      break;
    case TJSON_TYPE_OBJECT:
      for (const auto &[name, member] : jsonMembers(value)) perturb(member);
      break;
    default:
      break;
  }
}

// ---- The checks ----------------------------------------------------------------------------

class Checker {
 public:
  Checker(const Options &options, const std::function<void(const Result &)> &report)
      : options_(options), report_(report) {}

  bool passed() const { return passed_; }

  void check(const std::string &section, const std::string &name, bool passed,
             const std::string &detail = "") {
    Result result{section, name, passed, passed ? "" : detail};
    if (!passed) passed_ = false;
    report_(result);
  }

  void expectCode(const std::string &section, const std::string &name, uint32_t got,
                  uint32_t want) {
    check(section, name, got == want, "returned " + codeText(got) + ", expected " + codeText(want));
  }

  void run(const Resolver &resolve) {
    if (!resolveApi(resolve)) return;
    if (!openDriver()) return;
    offState();
    initialisedState();
    streamingState();
    stoppedStates();
    registers();
    closeDriver();
  }

 private:
  bool wanted(const Block &block) const {
    return block.process != nullptr &&
           (options_.onlyCategory.empty() || options_.onlyCategory == block.category);
  }

  // ---- Exports ----

  bool resolveApi(const Resolver &resolve) {
    const char *section = "exports";
    struct Entry {
      const char *name;
      void **slot;
    };
    const Entry entries[] = {
        {"TDriver_open", reinterpret_cast<void **>(&api_.open)},
        {"TDriver_close", reinterpret_cast<void **>(&api_.close)},
        {"TDriver_init", reinterpret_cast<void **>(&api_.init)},
        {"TDriver_stream", reinterpret_cast<void **>(&api_.stream)},
        {"TDriver_deinit", reinterpret_cast<void **>(&api_.deinit)},
        {"TDriver_inject", reinterpret_cast<void **>(&api_.inject)},
        {"TDriver_raw", reinterpret_cast<void **>(&api_.raw)},
        {"TDriverRegister_process", reinterpret_cast<void **>(&api_.registerTransfer)},
    };
    std::string missing;
    for (const Entry &entry : entries) {
      *entry.slot = resolve(entry.name);
      if (*entry.slot == nullptr) missing += std::string(missing.empty() ? "" : ", ") + entry.name;
    }
    check(section, "exports the life-cycle and stream functions", missing.empty(),
          "missing " + missing);
    for (const BlockRow &row : kBlocks) {
      Block block{row.category, row.companion, std::string("TDriver") + row.stem + "_process",
                  row.hasStatistics ? std::string("TDriver") + row.stem + "_statistics" : ""};
      block.process = reinterpret_cast<SwitchFunction>(resolve(block.processName.c_str()));
      std::string absent = block.process == nullptr ? block.processName : "";
      if (row.hasStatistics) {
        block.statistics = reinterpret_cast<SwitchFunction>(resolve(block.statisticsName.c_str()));
        if (block.statistics == nullptr) {
          absent += (absent.empty() ? "" : ", ") + block.statisticsName;
        }
      }
      if (options_.onlyCategory.empty() || options_.onlyCategory == row.category) {
        check(section, std::string(row.category) + ": exports its block functions", absent.empty(),
              "missing " + absent);
      }
      if (!absent.empty()) block.process = nullptr;  // left out of the other checks
      api_.blocks.push_back(std::move(block));
    }
    if (!options_.onlyCategory.empty()) {
      std::string blocks;
      for (const BlockRow &row : kBlocks)
        blocks += std::string(blocks.empty() ? "" : " ") + row.category;
      const bool known = std::any_of(
          std::begin(kBlocks), std::end(kBlocks),
          [this](const BlockRow &row) { return options_.onlyCategory == row.category; });
      check(section, "--block " + options_.onlyCategory + " names a block of the ISP", known,
            "the blocks are " + blocks);
    }
    return missing.empty();
  }

  // ---- Life cycle ----

  bool openDriver() {
    const char *section = "open";
    uint32_t code = TDatabase_open(nullptr, &database_);
    if (code != TCOMMON_SUCCESS) {
      check(section, "the built-in database opens", false,
            "TDatabase_open returned " + codeText(code));
      return false;
    }
    std::string error;
    if (!prepareRecords(&error)) {
      check(section, "the built-in database serialises", false, error);
      return false;
    }
    // *driver starts as a non-NULL sentinel, so that leaving it alone shows.
    static char sentinel;
    Driver *none = reinterpret_cast<Driver *>(&sentinel);
    code = api_.open(nullptr, &none);
    check(section, "TDriver_open without a database returns 2 and no driver",
          code == TCOMMON_INVALID_ARGUMENT && none == nullptr,
          "returned " + codeText(code) + (none == nullptr ? "" : ", *driver is not NULL"));
    code = api_.open(database_, &driver_);
    expectCode(section, "TDriver_open on a database returns 0", code, TCOMMON_SUCCESS);
    check(section, "TDriver_open hands out a driver", code != TCOMMON_SUCCESS || driver_ != nullptr,
          "*driver is NULL");
    return code == TCOMMON_SUCCESS && driver_ != nullptr;
  }

  void closeDriver() {
    const uint32_t code = api_.close(&driver_);
    expectCode("close", "TDriver_close returns 0", code, TCOMMON_SUCCESS);
    check("close", "TDriver_close sets *driver to NULL", driver_ == nullptr, "*driver is not NULL");
    if (database_ != nullptr) TDatabase_close(&database_);
  }

  // Every block is refused while the device is off: nothing may reach hardware that was
  // never programmed.
  void offState() {
    const char *section = "off";
    expectCode(section, "TDriver_stream(1) before TDriver_init returns 8", api_.stream(driver_, 1),
               TCOMMON_NOT_INITIALIZED);
    expectCode(section, "TDriver_stream(0) while off returns 0", api_.stream(driver_, 0),
               TCOMMON_SUCCESS);
    expectCode(section, "TDriver_deinit while off returns 0", api_.deinit(driver_),
               TCOMMON_SUCCESS);
    for (const Block &block : api_.blocks) {
      if (!wanted(block)) continue;
      const std::string name = block.category;
      expectCode(section, name + ": push refused with 8", block.process(driver_, 0),
                 TCOMMON_NOT_INITIALIZED);
      expectCode(section, name + ": _process(1) read-back refused with 8",
                 block.process(driver_, 1), TCOMMON_NOT_INITIALIZED);
      if (block.statistics != nullptr) {
        expectCode(section, name + ": _statistics(1) refused with 8", block.statistics(driver_, 1),
                   TCOMMON_NOT_INITIALIZED);
      }
    }
  }

  // TDriver_init programs every block from the database; reads still need a stream.
  void initialisedState() {
    const char *section = "initialised";
    // The records differ from the defaults, so that what init latched can be recognised.
    perturbDatabase();
    expectCode(section, "TDriver_init returns 0", api_.init(driver_, 1), TCOMMON_SUCCESS);
    expectCode(section, "TDriver_init again returns 0", api_.init(driver_, 1), TCOMMON_SUCCESS);
    expectCode(section, "TDriver_stream(0) while initialised returns 0", api_.stream(driver_, 0),
               TCOMMON_SUCCESS);
    for (const Block &block : api_.blocks) {
      if (!wanted(block)) continue;
      const std::string name = block.category;
      expectCode(section, name + ": _process(1) read-back refused with 8",
                 block.process(driver_, 1), TCOMMON_NOT_INITIALIZED);
      if (block.statistics != nullptr) {
        expectCode(section, name + ": _statistics(1) refused with 8", block.statistics(driver_, 1),
                   TCOMMON_NOT_INITIALIZED);
      }
    }
  }

  void streamingState() {
    const char *section = "streaming";
    expectCode(section, "TDriver_stream(1) after TDriver_init returns 0", api_.stream(driver_, 1),
               TCOMMON_SUCCESS);
    expectCode(section, "TDriver_inject(1) returns 0", api_.inject(driver_, 1), TCOMMON_SUCCESS);
    expectCode(section, "TDriver_inject(0) returns 0", api_.inject(driver_, 0), TCOMMON_SUCCESS);
    expectCode(section, "TDriver_raw(1) returns 0", api_.raw(driver_, 1), TCOMMON_SUCCESS);
    expectCode(section, "TDriver_raw(0) returns 0", api_.raw(driver_, 0), TCOMMON_SUCCESS);

    // What TDriver_init latched (the perturbed records) comes back, whatever the records
    // hold now.
    for (const Block &block : api_.blocks) {
      if (!wanted(block)) continue;
      const Texts &texts = texts_[block.category];
      restoreDefaults(block);
      const uint32_t code = block.process(driver_, 1);
      expectCode(section, std::string(block.category) + ": _process(1) returns 0", code,
                 TCOMMON_SUCCESS);
      if (code == TCOMMON_SUCCESS) {
        expectRecords(section, block, texts.latched, texts.perturbed,
                      ": read-back answers what TDriver_init latched");
      }
    }

    // A push latches the record as it stands; both read-back functions bring it back.
    for (const Block &block : api_.blocks) {
      if (!wanted(block)) continue;
      const std::string name = block.category;
      const Texts &texts = texts_[block.category];
      restoreDefaults(block);
      const Snapshot pushed = snapshot(block);
      expectCode(section, name + ": push returns 0", block.process(driver_, 0), TCOMMON_SUCCESS);
      perturbBlock(block);
      uint32_t code = block.process(driver_, 1);
      if (code == TCOMMON_SUCCESS) {
        expectRecords(section, block, pushed, texts.defaults,
                      ": _process(1) reads back the pushed record");
      } else {
        expectCode(section, name + ": _process(1) reads back the pushed record", code,
                   TCOMMON_SUCCESS);
      }
      if (block.statistics == nullptr) continue;
      perturbBlock(block);
      code = block.statistics(driver_, 1);
      if (code == TCOMMON_SUCCESS) {
        expectRecords(section, block, pushed, texts.defaults,
                      ": _statistics(1) reads back the pushed record");
      } else {
        expectCode(section, name + ": _statistics(1) reads back the pushed record", code,
                   TCOMMON_SUCCESS);
      }
    }
  }

  // Stopping the stream keeps pushes working; releasing the device refuses them again.
  void stoppedStates() {
    const Block *sample = nullptr;
    for (const Block &block : api_.blocks) {
      if (wanted(block)) {
        sample = &block;
        break;
      }
    }
    const char *section = "stopped";
    expectCode(section, "TDriver_stream(0) while streaming returns 0", api_.stream(driver_, 0),
               TCOMMON_SUCCESS);
    if (sample != nullptr) {
      const std::string name = sample->category;
      expectCode(section, name + ": push after the stream stopped returns 0",
                 sample->process(driver_, 0), TCOMMON_SUCCESS);
      expectCode(section, name + ": read-back after the stream stopped refused with 8",
                 sample->process(driver_, 1), TCOMMON_NOT_INITIALIZED);
    }
    expectCode(section, "TDriver_deinit returns 0", api_.deinit(driver_), TCOMMON_SUCCESS);
    expectCode(section, "TDriver_stream(1) after TDriver_deinit returns 8", api_.stream(driver_, 1),
               TCOMMON_NOT_INITIALIZED);
    if (sample != nullptr) {
      expectCode(section,
                 std::string(sample->category) + ": push after TDriver_deinit refused with 8",
                 sample->process(driver_, 0), TCOMMON_NOT_INITIALIZED);
    }
    // The device starts again from the database.
    expectCode(section, "TDriver_init after TDriver_deinit returns 0", api_.init(driver_, 1),
               TCOMMON_SUCCESS);
    expectCode(section, "TDriver_stream(1) after a new TDriver_init returns 0",
               api_.stream(driver_, 1), TCOMMON_SUCCESS);
  }

  // Register transfers work in every state; texts are decimal or 0x hexadecimal.
  void registers() {
    const char *section = "registers";
    const auto transfer = [this](const char *address, uint8_t isRead, uint32_t type,
                                 const char *value, TDatabaseRegister *record) {
      // The texts fill their fields without a NUL when they are as long as the field.
      *record = TDatabaseRegister{};
      memcpy(record->address, address, strnlen(address, sizeof record->address));
      record->isRead = isRead;
      record->type = type;
      memcpy(record->value, value, strnlen(value, sizeof record->value));
      return api_.registerTransfer(driver_, record);
    };
    const auto valueOf = [](const TDatabaseRegister &record) {
      return std::string(record.value, strnlen(record.value, sizeof record.value));
    };
    TDatabaseRegister record;
    expectCode(section, "a 32-bit write returns 0", transfer("0x40", 0, 0, "0x12345678", &record),
               TCOMMON_SUCCESS);
    uint32_t code = transfer("64", 1, 0, "", &record);
    check(section, "a 32-bit read answers the written value as 0x text",
          code == TCOMMON_SUCCESS && valueOf(record) == "0x12345678",
          "returned " + codeText(code) + ", value \"" + valueOf(record) + "\"");
    expectCode(section, "a 16-bit write returns 0", transfer("0x40", 0, 1, "0xABCD", &record),
               TCOMMON_SUCCESS);
    code = transfer("0x40", 1, 0, "", &record);
    check(section, "a 16-bit write replaces only the low half",
          code == TCOMMON_SUCCESS && valueOf(record) == "0x1234ABCD",
          "returned " + codeText(code) + ", value \"" + valueOf(record) + "\"");
    code = transfer("0x40", 1, 2, "", &record);
    check(section, "an 8-bit read answers the low byte",
          code == TCOMMON_SUCCESS && valueOf(record) == "0xCD",
          "returned " + codeText(code) + ", value \"" + valueOf(record) + "\"");

    struct Refusal {
      const char *name;
      const char *address;
      uint32_t type;
      const char *value;
    };
    const Refusal refusals[] = {
        {"an address that is no number is refused with 15", "0xZZ", 0, "1"},
        {"a signed address is refused with 15", "-4", 0, "1"},
        {"an access width other than 0..2 is refused with 15", "0x40", 3, "1"},
        {"a value wider than an 8-bit access is refused with 15", "0x40", 2, "0x100"},
        {"a value above 32 bits is refused with 15", "0x40", 0, "4294967296"},
    };
    for (const Refusal &refusal : refusals) {
      expectCode(section, refusal.name,
                 transfer(refusal.address, 0, refusal.type, refusal.value, &record),
                 TCOMMON_WRONG_CONFIGURATION);
    }
    code = transfer("0x40", 1, 0, "", &record);
    check(section, "refused writes leave the register alone",
          code == TCOMMON_SUCCESS && valueOf(record) == "0x1234ABCD",
          "returned " + codeText(code) + ", value \"" + valueOf(record) + "\"");
    expectCode(section, "a NULL record is refused with 2", api_.registerTransfer(driver_, nullptr),
               TCOMMON_INVALID_ARGUMENT);
    expectCode(section, "TDriver_deinit returns 0", api_.deinit(driver_), TCOMMON_SUCCESS);
    code = transfer("0x40", 1, 0, "", &record);
    check(section, "registers keep their content and work while the device is off",
          code == TCOMMON_SUCCESS && valueOf(record) == "0x1234ABCD",
          "returned " + codeText(code) + ", value \"" + valueOf(record) + "\"");
  }

  // ---- Records ----

  // The settings fields of a block's records (the block's and its unit's) as bytes, taken
  // the way the database copies records.
  using Snapshot = std::vector<std::vector<unsigned char>>;

  // Settings documents of a block's records: as opened, and perturbed; and the bytes of the
  // perturbed records that TDriver_init latched.
  struct Texts {
    std::string defaults;
    std::string perturbed;
    Snapshot latched;
  };

  static std::vector<const char *> categoriesOf(const Block &block) {
    std::vector<const char *> categories{block.category};
    if (block.companion != nullptr) categories.push_back(block.companion);
    return categories;
  }

  // A settings document holding the block's categories from document.
  static std::string blockText(const Block &block, TJsonValue *document) {
    std::string text = "{";
    for (const char *category : categoriesOf(block)) {
      if (text.size() > 1) text += ",";
      text += "\"" + std::string(category) + "\":" + jsonText(jsonMember(document, category));
    }
    return text + "}";
  }

  // Writes down, once, every block's records as opened and perturbed.
  bool prepareRecords(std::string *error) {
    JsonDocument document;
    if (!serialize(database_, &document, error)) return false;
    for (const Block &block : api_.blocks) {
      if (wanted(block)) texts_[block.category].defaults = blockText(block, document.root());
    }
    perturb(document.root());
    for (const Block &block : api_.blocks) {
      if (wanted(block)) texts_[block.category].perturbed = blockText(block, document.root());
    }
    return true;
  }

  Snapshot snapshot(const Block &block) {
    Snapshot bytes;
    for (const char *category : categoriesOf(block)) {
      uint64_t size = 0;
      void *record = nullptr;
      bytes.emplace_back();
      if (TDatabase_recordSize(category, &size) != TCOMMON_SUCCESS ||
          TDatabase_query(database_, category, &record) != TCOMMON_SUCCESS) {
        continue;
      }
      bytes.back().assign(size, 0);
      TDatabase_copyRecord(category, bytes.back().data(), record);
    }
    return bytes;
  }

  // Every block's records (and its unit's) get perturbed values, and TDriver_init is expected
  // to latch those.
  void perturbDatabase() {
    for (const Block &block : api_.blocks) {
      if (!wanted(block)) continue;
      perturbBlock(block);
      texts_[block.category].latched = snapshot(block);
    }
  }

  void perturbBlock(const Block &block) { apply(block, texts_[block.category].perturbed); }
  void restoreDefaults(const Block &block) { apply(block, texts_[block.category].defaults); }

  void apply(const Block &block, const std::string &text) {
    const uint32_t code = TDatabase_parse(database_, text.c_str());
    if (code != TCOMMON_SUCCESS) {
      check("records", std::string(block.category) + ": the record takes new values", false,
            "TDatabase_parse returned " + codeText(code) + ": " + TDatabase_lastError());
    }
  }

  // Checks that the block's records in the database hold what expected holds. Equal bytes
  // pass at once; otherwise the settings documents decide (fields the hardware reports are
  // left out) and name the first field that differs.
  void expectRecords(const std::string &section, const Block &block, const Snapshot &expected,
                     const std::string &expectedText, const std::string &what) {
    if (snapshot(block) == expected) {
      check(section, std::string(block.category) + what, true);
      return;
    }
    JsonDocument now;
    JsonDocument want;
    std::string error;
    if (!serialize(database_, &now, &error) || !want.parse(expectedText, &error)) {
      check(section, std::string(block.category) + what, false, error);
      return;
    }
    std::string difference;
    for (const char *category : categoriesOf(block)) {
      if (!difference.empty()) break;
      TJsonValue *wanted = jsonMember(want.root(), category);
      TJsonValue *got = jsonMember(now.root(), category);
      for (const ReportedField &reported : kReportedFields) {
        if (strcmp(reported.category, category) != 0) continue;
        TJsonValue_removeMemberFromObject(wanted, reported.field);
        TJsonValue_removeMemberFromObject(got, reported.field);
      }
      difference = firstDifference(wanted, got, "");
      if (!difference.empty()) {
        difference = std::string(category) + "." + difference + " is " +
                     jsonText(valueAt(got, difference)) + ", expected " +
                     jsonText(valueAt(wanted, difference));
      }
    }
    check(section, std::string(block.category) + what, difference.empty(), difference);
  }

  // The value at a path that firstDifference gave; nullptr when there is none.
  static TJsonValue *valueAt(TJsonValue *record, const std::string &rest) {
    TJsonValue *value = record;
    size_t start = 0;
    while (value != nullptr && start < rest.size()) {
      const size_t end = rest.find('.', start);
      const std::string segment = rest.substr(start, end == std::string::npos ? end : end - start);
      if (jsonType(value) == TJSON_TYPE_ARRAY) {
        const auto items = jsonItems(value);
        const size_t index = strtoul(segment.c_str(), nullptr, 10);
        value = index < items.size() ? items[index] : nullptr;
      } else {
        value = jsonMember(value, segment.c_str());
      }
      if (end == std::string::npos) break;
      start = end + 1;
    }
    return value;
  }

  Options options_;
  std::function<void(const Result &)> report_;
  bool passed_ = true;
  DriverApi api_;
  TDatabase *database_ = nullptr;
  Driver *driver_ = nullptr;
  std::map<std::string, Texts> texts_;  // by category
};

}  // namespace

bool runChecks(const Resolver &resolve, const Options &options,
               const std::function<void(const Result &)> &report) {
  Checker checker(options, report);
  checker.run(resolve);
  return checker.passed();
}

}  // namespace tdriver_compliance
