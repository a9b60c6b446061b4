// Every key of every served category, walked from the key tables: read shapes, write round
// trips, integer widths, and the device categories' own rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "shell_fixture.h"
#include "shell_internal.h"
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::Element;
using tshell::KeyRow;
using tshell::KeyTable;

// Calls visit(category, row) for every key of every registered category.
void forEachKey(const std::function<void(const char *, const KeyRow &)> &visit) {
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    const KeyTable *table = kShellCategories[i].keys;
    if (table == nullptr) continue;
    for (size_t k = 0; k < table->count; ++k) visit(table->category, table->rows[k]);
  }
}

// The keys whose read or write is more than moving a value: measurements and files have
// tests of their own.
bool movesValue(const KeyRow &row) {
  return row.access != Access::Statistics && row.access != Access::Files;
}

// Whether row writes the index of a selection of its category: changing it would move
// every key of the selected entry elsewhere.
bool isIndex(const char *category, const KeyRow &row) {
  bool found = false;
  forEachKey([&](const char *other, const KeyRow &entry) {
    found |= entry.selection != nullptr && std::string(other) == category &&
             entry.selection->index.offset == row.field.offset && row.selection == nullptr;
  });
  return found;
}

// Keys whose write acts beyond the value: switching the stream on makes later reads come
// from the simulated hardware, a reset undoes the writes before it.
bool acts(const char *category, const KeyRow &row) {
  static const std::pair<std::string, std::string> kActions[] = {{"IPT", "isStream"},
                                                                 {"ST", "isReset"}};
  for (const auto &[actionCategory, key] : kActions) {
    if (actionCategory == category && key == row.key) return true;
  }
  return false;
}

std::string item(const char *category, const KeyRow &row, const std::string &current = "") {
  std::string text = std::string(R"({"category":")") + category + R"(","key":")" + row.key + '"';
  if (!current.empty()) text += R"(,"value":{"current":)" + current + '}';
  return text + '}';
}

// The JSON text of a value of the row's shape whose elements are made by element(i).
std::string shaped(const KeyRow &row, const std::function<std::string(uint64_t)> &element) {
  if (row.access == Access::String) return element(0);
  std::function<std::string(uint8_t, uint64_t)> level = [&](uint8_t dimension, uint64_t base) {
    if (dimension == row.field.rank) return element(base);
    std::string text = "[";
    for (uint32_t i = 0; i < row.field.shape[dimension]; ++i) {
      text += (i ? "," : "") + level(dimension + 1, base * row.field.shape[dimension] + i);
    }
    return text + "]";
  };
  return level(0, 0);
}

// A value for element i of a key, distinct from the defaults and from the other keys' values.
std::string distinct(const KeyRow &row, uint64_t key, uint64_t i) {
  const uint64_t n = (key * 7 + i % 5 + 3) % 250;
  switch (row.access) {
    case Access::Bool:
      return (key + i) % 2 ? "true" : "false";
    case Access::Flag:
      return (key + i) % 2 ? "1" : "0";
    case Access::String:
      return R"("0x)" + std::to_string(n) + '"';
    case Access::Integer:
      if (row.field.element == Element::I8) return std::to_string(n % 128);  // fits the sign
      return std::to_string(row.maximum < n ? n % (row.maximum + 1) : n);
    default:
      return std::to_string(n) + ".5";
  }
}

bool isSigned(Element element) {
  return element == Element::I8 || element == Element::I16 || element == Element::I32 ||
         element == Element::I64;
}

int widthOf(Element element) {
  switch (element) {
    case Element::U8:
    case Element::I8:
      return 8;
    case Element::U16:
    case Element::I16:
      return 16;
    case Element::U32:
    case Element::I32:
      return 32;
    default:
      return 64;
  }
}

class CategoryTest : public ShellTest {
 protected:
  // The "current" of a single read, as JSON text.
  std::string read(const char *category, const KeyRow &row) {
    const std::string response = send(item(category, row)).response;
    const std::string marker = R"("value":{"current":)";
    const size_t start = response.find(marker);
    if (start == std::string::npos) return "<" + response + ">";
    const size_t end = response.find(R"(},"message")", start);
    return response.substr(
        start + marker.size(),
        (end == std::string::npos ? response.size() - 2 : end) - start - marker.size());
  }
};

TEST_F(CategoryTest, EveryTableServesItsCategoryAndEveryKeyIsRegistered) {
  int keys = 0;
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    const ShellCategory &category = kShellCategories[i];
    if (category.keys == nullptr) continue;
    EXPECT_STREQ(category.keys->category, category.name);
    void *record = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category.name, &record), TCOMMON_SUCCESS) << category.name;
  }
  forEachKey([&](const char *category, const KeyRow &row) {
    ++keys;
    EXPECT_EQ(send(item(category, row)).response.find("never registered"), std::string::npos)
        << category << "/" << row.key;
  });
  EXPECT_EQ(keys, 759);
}

// Whether json holds the row's shape at every level, with leaves of the access's type.
// rows: the outer count expected (the declared one unless it follows another member).
bool hasShape(TJsonValue *json, const KeyRow &row, uint64_t rows, uint8_t dimension = 0) {
  uint32_t type = TJSON_TYPE_ABSENT;
  TJsonValue_type(json, &type);
  if (row.access != Access::String && dimension < row.field.rank) {
    uint64_t size = 0;
    TJsonValue_size(json, &size);
    if (type != TJSON_TYPE_ARRAY || size != (dimension ? row.field.shape[dimension] : rows))
      return false;
    for (uint64_t i = 0; i < size; ++i) {
      TJsonValue *element = nullptr;
      TJsonValue_item(json, i, &element);
      if (!hasShape(element, row, rows, dimension + 1)) return false;
    }
    return true;
  }
  switch (row.access) {
    case Access::Bool:
      return type == TJSON_TYPE_BOOLEAN;
    case Access::String:
      return type == TJSON_TYPE_STRING;
    case Access::Integer:
    case Access::Flag:
      return type == TJSON_TYPE_INTEGER;
    default:
      return type == TJSON_TYPE_FLOAT;
  }
}

TEST_F(CategoryTest, EveryKeyReadsInItsDeclaredShape) {
  TJsonReader *reader = nullptr;
  ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
  forEachKey([&](const char *category, const KeyRow &row) {
    if (!movesValue(row)) return;
    uint64_t rows = row.field.shape[0];
    if (row.rowCount.element != Element::None) {
      void *record = nullptr;
      TDatabase_query(database_, category, &record);
      uint64_t stored = 0;  // row counts are small unsigned members
      memcpy(&stored, static_cast<char *>(record) + row.rowCount.offset,
             widthOf(row.rowCount.element) / 8);
      rows = std::min<uint64_t>(stored, rows);
    }
    const std::string response = send(item(category, row)).response;
    TJsonValue *root = nullptr;
    TJsonValue *current = nullptr;
    ASSERT_EQ(
        TJsonReader_parse(reader, response.c_str(), response.c_str() + response.size(), &root),
        TCOMMON_SUCCESS);
    TJsonPath(root, "value.current", &current);
    EXPECT_TRUE(hasShape(current, row, rows)) << category << "/" << row.key << ": " << response;
    TJsonValue_delete(root);
  });
  TJsonReader_close(&reader);
}

// Writing a distinct value to every key and reading them all back catches keys that miss
// their field or overlap another's. The writes run in reverse order with six elements too
// many for every array, so that a write beyond its field would spoil a field written before.
// Selections stay on their first entry; keys in other units or with a varying row count
// have tests of their own.
TEST_F(CategoryTest, EveryKeyKeepsWhatWasWritten) {
  std::vector<std::pair<const char *, const KeyRow *>> keys;
  forEachKey([&](const char *category, const KeyRow &row) {
    if (movesValue(row) && !acts(category, row) && !isIndex(category, row) && row.scale == 1 &&
        row.rowCount.element == Element::None)
      keys.emplace_back(category, &row);
  });
  auto value = [&](size_t index) {
    const KeyRow &row = *keys[index].second;
    return shaped(row, [&](uint64_t i) { return distinct(row, index, i); });
  };
  for (size_t index = keys.size(); index-- > 0;) {
    std::string written = value(index);
    if (keys[index].second->field.rank == 1 && keys[index].second->access != Access::String) {
      written.pop_back();
      for (int extra = 0; extra < 6; ++extra) written += "," + distinct(*keys[index].second, 0, 0);
      written += "]";
    }
    send(item(keys[index].first, *keys[index].second, written));
  }
  for (size_t index = 0; index < keys.size(); ++index) {
    EXPECT_EQ(read(keys[index].first, *keys[index].second), value(index))
        << keys[index].first << "/" << keys[index].second->key;
  }
}

// Integers are cut to their field's width (u8: 300 -> 44, u16: 70000 -> 4464), signed fields
// read back sign-extended, and arrays take at most their declared count.
TEST_F(CategoryTest, IntegerKeysAreCutToTheirWidth) {
  int checked = 0;
  forEachKey([&](const char *category, const KeyRow &row) {
    if (row.access != Access::Integer || widthOf(row.field.element) == 64) return;
    if (row.maximum != UINT64_MAX || isIndex(category, row)) return;  // refused or moves entries
    const int width = widthOf(row.field.element);
    const int64_t wrapped = (int64_t{1} << width) + 44;
    const std::string expected = isSigned(row.field.element) ? "-16" : "44";
    const std::string written = isSigned(row.field.element)
                                    ? std::to_string((int64_t{1} << width) - 16)
                                    : std::to_string(wrapped);
    if (row.field.rank == 0) {
      send(item(category, row, written));
      EXPECT_EQ(read(category, row), expected) << category << "/" << row.key;
    } else if (row.field.rank > 1) {
      // Tables: every element of every row is cut (tables whose row count follows another
      // member have tests of their own).
      if (row.rowCount.element != Element::None) return;
      send(item(category, row, shaped(row, [&](uint64_t) { return written; })));
      EXPECT_EQ(read(category, row), shaped(row, [&](uint64_t) { return expected; }))
          << category << "/" << row.key;
    } else {
      const uint32_t count = row.field.shape[0];
      std::string longer = "[";
      for (uint32_t i = 0; i < count + 6; ++i) longer += (i ? "," : "") + written;
      send(item(category, row, longer + "]"));
      send(item(category, row, "[1,2]"));
      std::string expectedArray = "[1,2";
      for (uint32_t i = 2; i < count; ++i) expectedArray += "," + expected;
      EXPECT_EQ(read(category, row), expectedArray + "]") << category << "/" << row.key;
    }
    ++checked;
  });
  EXPECT_GE(checked, 20);
}

TEST_F(ShellTest, RegistersRoundTripThroughTheSimulatedRegisterFile) {
  Exchange write = send(R"([{"category":"RGT","key":"address","value":{"current":"0x40"}},)"
                        R"({"category":"RGT","key":"type","value":{"current":0}},)"
                        R"({"category":"RGT","key":"value","value":{"current":"4660"}}])");
  EXPECT_EQ(write.journal, "TDriverRegister_process(0)\n");
  send(R"({"category":"RGT","key":"value","value":{"current":"0"}})");  // overwrite the text
  Exchange read = send(R"([{"category":"RGT","key":"address"},{"category":"RGT","key":"value"}])");
  EXPECT_EQ(read.journal, "TDriverRegister_process(1)\n");
  EXPECT_EQ(read.response, R"([{"category":"RGT","key":"address","value":{"current":"0x40"}},)"
                           R"({"category":"RGT","key":"value","value":{"current":"0x0"}}])");

  Exchange refused = send(R"({"category":"RGT","key":"value","value":{"current":"12z"}})");
  EXPECT_EQ(refused.response,
            R"({"category":"RGT","key":"value","message":["Shell: Wrong configuration"]})");
}

TEST_F(ShellTest, DeviceCategoriesAnswerUnknownKeysAsNeverRegistered) {
  for (const char *category : {"DVC", "ISP", "MISC", "RGT", "RPT", "DG", "GE"}) {
    const std::string text = std::string(R"({"category":")") + category + R"(","key":"nope"})";
    EXPECT_EQ(send(text).response, std::string(R"({"category":")") + category +
                                       R"(","key":"nope","message":["Shell: )" + category +
                                       "/nope is never registered\"]}");
  }
}

TEST(SchemaTest, ListsEveryKeyWithItsShapeAndHardwareAccess) {
  ASSERT_EQ(TShell_schema(nullptr), TCOMMON_INVALID_ARGUMENT);
  const char *text = nullptr;
  ASSERT_EQ(TShell_schema(&text), TCOMMON_SUCCESS);
  const char *again = nullptr;
  ASSERT_EQ(TShell_schema(&again), TCOMMON_SUCCESS);
  EXPECT_EQ(text, again) << "built once";
  TJsonReader *reader = nullptr;
  ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
  TJsonValue *schema = nullptr;
  ASSERT_EQ(TJsonReader_parse(reader, text, text + strlen(text), &schema), TCOMMON_SUCCESS);
  uint64_t categories = 0;
  TJsonValue_size(schema, &categories);
  EXPECT_EQ(categories, 51u);
  TJsonValue_delete(schema);
  TJsonReader_close(&reader);
  const std::string schemaText(text);
  for (const char *expected : {R"({"key":"curve","access":"integer","element":"u16",)"
                               R"("shape":[64],"readsHardware":true,"pushesHardware":true)",
                               R"({"key":"isStatistics","access":"bool","element":"u8",)"
                               R"("shape":[],"readsHardware":false,"pushesHardware":false)"}) {
    EXPECT_NE(schemaText.find(expected), std::string::npos) << expected;
  }
}

// The text of an object's member, "" when it has none or it is not a string.
std::string textOf(TJsonValue *object, const char *name) {
  TJsonValue *member = nullptr;
  const char *text = nullptr;
  if (TJsonValue_member(object, name, &member) != TCOMMON_SUCCESS ||
      TJsonValue_asString(member, &text) != TCOMMON_SUCCESS || text == nullptr)
    return "";
  return text;
}

// A tuning client shows these texts beside every category and key: one missing leaves the
// engineer with a bare name.
TEST(SchemaTest, EveryCategoryAndKeyCarriesItsHelp) {
  const char *text = nullptr;
  ASSERT_EQ(TShell_schema(&text), TCOMMON_SUCCESS);
  TJsonReader *reader = nullptr;
  ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
  TJsonValue *schema = nullptr;
  ASSERT_EQ(TJsonReader_parse(reader, text, text + strlen(text), &schema), TCOMMON_SUCCESS);
  struct Walk {
    std::vector<std::string> missing;
    uint32_t categories = 0;
    uint64_t keys = 0;
  } walk;
  const auto visit = [](void *context, const char *name, TJsonValue *category) -> uint32_t {
    auto &w = *static_cast<Walk *>(context);
    ++w.categories;
    for (const char *member : {"title", "help"}) {
      if (textOf(category, member).empty()) w.missing.push_back(std::string(name) + " " + member);
    }
    TJsonValue *keys = nullptr;
    uint64_t count = 0;
    if (TJsonValue_member(category, "keys", &keys) != TCOMMON_SUCCESS ||
        TJsonValue_size(keys, &count) != TCOMMON_SUCCESS || count == 0)
      w.missing.push_back(std::string(name) + " keys");
    for (uint64_t k = 0; k < count; ++k) {
      TJsonValue *key = nullptr;
      if (TJsonValue_item(keys, k, &key) == TCOMMON_SUCCESS && !textOf(key, "help").empty())
        continue;
      w.missing.push_back(std::string(name) + "/" + textOf(key, "key"));
    }
    w.keys += count;
    return TCOMMON_SUCCESS;
  };
  ASSERT_EQ(TJsonValue_forEachMember(schema, visit, &walk), TCOMMON_SUCCESS);
  TJsonValue_delete(schema);
  TJsonReader_close(&reader);

  uint32_t tables = 0;
  uint64_t rows = 0;
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    if (kShellCategories[i].keys == nullptr) continue;
    ++tables;
    rows += kShellCategories[i].keys->count;
  }
  EXPECT_EQ(walk.categories, tables);
  EXPECT_EQ(walk.keys, rows);
  std::string list;
  for (const std::string &name : walk.missing) list += "\n  " + name;
  EXPECT_TRUE(walk.missing.empty()) << walk.missing.size() << " without help:" << list;
}

}  // namespace
