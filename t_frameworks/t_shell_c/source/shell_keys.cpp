// The engine that serves the key tables of the category files, and the schema listing that
// is generated from them.
#include "shell_keys.h"

#include <cstring>
#include <unordered_map>
#include <vector>

#include "shell_access.h"

namespace tshell {

namespace {

// A key's field as this command addresses it: in the selected entry, with the outer count
// of the moment. base is where the field's offset counts from.
struct Target {
  unsigned char *base;
  FieldRef field;
};

template <typename Element>
Element *at(const Target &target) {
  return reinterpret_cast<Element *>(target.base + target.field.offset);
}

// The integer value of a record member, widened; signed members sign-extended.
int64_t integerAt(const void *record, const FieldRef &field) {
  const auto *place = static_cast<const unsigned char *>(record) + field.offset;
  const auto load = [place](auto type) {
    decltype(type) number;
    memcpy(&number, place, sizeof number);
    return static_cast<int64_t>(number);
  };
  switch (field.element) {
    case Element::U8:
      return load(uint8_t{});
    case Element::I8:
      return load(int8_t{});
    case Element::U16:
      return load(uint16_t{});
    case Element::I16:
      return load(int16_t{});
    case Element::U32:
      return load(uint32_t{});
    case Element::I32:
      return load(int32_t{});
    case Element::U64:
      return load(uint64_t{});
    case Element::I64:
      return load(int64_t{});
    default:
      return 0;
  }
}

// Where the row's field lies for this command. Fails with TCOMMON_OUT_OF_RANGE when the
// row addresses an entry and the stored index lies outside the entries.
uint32_t locate(void *record, const KeyRow &row, Target *target) {
  target->base = static_cast<unsigned char *>(record);
  target->field = row.field;
  if (row.selection != nullptr) {
    const Selection &selection = *row.selection;
    // Compared unsigned: a negative index in a signed member is far out of range too.
    const auto index = static_cast<uint64_t>(integerAt(record, selection.index));
    if (index >= selection.count) return TCOMMON_OUT_OF_RANGE;
    target->base += selection.first + index * selection.stride;
  }
  if (row.rowCount.element != Element::None) {
    const int64_t rows = integerAt(record, row.rowCount);
    const uint32_t declared = row.field.shape[0];
    target->field.shape[0] = rows < 0          ? 0
                             : rows > declared ? declared
                                               : static_cast<uint32_t>(rows);
  }
  return TCOMMON_SUCCESS;
}

// The moves that the engine makes itself (the inline integer access, flags, scaled floats):
// the accessor skeleton around a scalar, array or table, moved element by element at the
// field's own width. A failure is not traced here: the handler traces it, once.
template <typename Cell>
uint32_t moveCells(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                   const Target &target, const Cell &cell = {}) {
  const FieldRef &field = target.field;
  const uint64_t shape[] = {field.shape[0], field.shape[1], field.shape[2]};
  auto *elements = at<typename Cell::Element>(target);
  return runAccess(shell, record, value, row.before, row.after, [&](TJsonValue *current) {
    return moveElements(shell->readFlag != 0, current, elements, shape, field.rank, cell);
  });
}

// An integer scalar with a range: a write outside 0..maximum is refused and stores nothing.
template <typename Integer>
uint32_t moveLimited(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                     const Target &target) {
  Integer *element = at<Integer>(target);
  return runAccess(shell, record, value, row.before, row.after,
                   [&](TJsonValue *current) -> uint32_t {
                     if (shell->readFlag != 0) return IntegerCell<Integer>::put(current, *element);
                     int64_t integer = 0;
                     const uint32_t code = TJsonValue_asInteger(current, &integer);
                     if (code != TCOMMON_SUCCESS) return code;
                     if (integer < 0 || static_cast<uint64_t>(integer) > row.maximum)
                       return TCOMMON_OUT_OF_RANGE;
                     *element = static_cast<Integer>(integer);
                     return TCOMMON_SUCCESS;
                   });
}

template <typename Integer>
uint32_t serveInteger(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                      const Target &target) {
  if (row.maximum != UINT64_MAX) return moveLimited<Integer>(shell, record, value, row, target);
  return moveCells<IntegerCell<Integer>>(shell, record, value, row, target);
}

uint32_t serveIntegers(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                       const Target &target) {
  switch (target.field.element) {
    case Element::U8:
      return serveInteger<uint8_t>(shell, record, value, row, target);
    case Element::I8:
      return serveInteger<int8_t>(shell, record, value, row, target);
    case Element::U16:
      return serveInteger<uint16_t>(shell, record, value, row, target);
    case Element::I16:
      return serveInteger<int16_t>(shell, record, value, row, target);
    case Element::U32:
      return serveInteger<uint32_t>(shell, record, value, row, target);
    case Element::I32:
      return serveInteger<int32_t>(shell, record, value, row, target);
    case Element::U64:
      return serveInteger<uint64_t>(shell, record, value, row, target);
    case Element::I64:
      return serveInteger<int64_t>(shell, record, value, row, target);
    default:
      return TCOMMON_WRONG_TYPE;  // refused by servesField at compile time
  }
}

// Flags: integers on the wire, 0 or 1 in the record; strict as the integer access is.
struct FlagCell {
  using Element = uint8_t;
  static constexpr bool kStrict = true;
  static uint32_t put(TJsonValue *json, uint8_t element) {
    return TJsonValue_assignAsInteger(json, element);
  }
  static uint32_t take(const TJsonValue *json, uint8_t *element) {
    int64_t integer = 0;
    const uint32_t code = TJsonValue_asInteger(json, &integer);
    if (code == TCOMMON_SUCCESS) *element = integer != 0;
    return code;
  }
};

// Floats that the client sees in other units (seconds in the record, microseconds on the
// wire): the product is formed in float precision, the quotient in double. Converted as
// the float accessors convert.
struct ScaledCell {
  using Element = float;
  static constexpr bool kStrict = false;
  double scale;
  uint32_t put(TJsonValue *json, float element) const {
    return TJsonValue_assignAsFloat(json, static_cast<double>(element * static_cast<float>(scale)));
  }
  uint32_t take(const TJsonValue *json, float *element) const {
    double number = 0;
    if (TJsonValue_asFloat(json, &number) == TCOMMON_SUCCESS)
      *element = static_cast<float>(number / scale);
    return TCOMMON_SUCCESS;
  }
};

uint32_t serveFloats(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                     const Target &target) {
  if (row.scale != 1) return moveCells(shell, record, value, row, target, ScaledCell{row.scale});
  float *field = at<float>(target);
  const uint32_t *shape = target.field.shape;
  switch (target.field.rank) {
    case 0:
      return TShellAccess_float(shell, record, value, field, row.before, row.after);
    case 1:
      return TShellAccess_floats(shell, record, value, field, shape[0], row.before, row.after);
    case 2:
      return TShellAccess_floats22(shell, record, value, field, shape[0], shape[1], row.before,
                                   row.after);
    default:
      return TShellAccess_floats33(shell, record, value, field, shape[0], shape[1], shape[2],
                                   row.before, row.after);
  }
}

uint32_t serveRow(TShell *shell, void *record, TJsonValue *value, const KeyRow &row) {
  Target target{};
  const uint32_t located = locate(record, row, &target);
  if (located != TCOMMON_SUCCESS) return located;
  const FieldRef &field = target.field;
  switch (row.access) {
    case Access::Integer:
      return serveIntegers(shell, record, value, row, target);
    case Access::Flag:
      return moveCells<FlagCell>(shell, record, value, row, target);
    case Access::Bool:
      return field.rank == 0 ? TShellAccess_bool(shell, record, value, at<uint8_t>(target),
                                                 row.before, row.after)
                             : TShellAccess_bools(shell, record, value, at<uint8_t>(target),
                                                  field.shape[0], row.before, row.after);
    case Access::Float:
      return serveFloats(shell, record, value, row, target);
    case Access::Double:
      return field.rank == 0 ? TShellAccess_double(shell, record, value, at<double>(target),
                                                   row.before, row.after)
                             : TShellAccess_doubles(shell, record, value, at<double>(target),
                                                    field.shape[0], row.before, row.after);
    case Access::String:
      return TShellAccess_string(shell, record, value, at<char>(target),
                                 static_cast<int32_t>(field.shape[0]), row.before, row.after);
    case Access::Curve:
      return TShellAccess_curve(shell, record, value, at<int32_t>(target), field.shape[0],
                                row.before, row.after);
    case Access::Statistics:
      return TShellAccess_statistics(shell, record, value, row.fill, row.before, row.after);
    case Access::Files:
      return TShellAccess_files(shell, record, value, at<uint64_t>(target),
                                reinterpret_cast<TCommonBuffer **>(target.base + row.buffersOffset),
                                row.mime, row.before, row.after);
  }
  return TCOMMON_NOT_REGISTERED;
}

// ---- Key lookup ------------------------------------------------------------------------------
//
// Every command names its key by text, and the longest tables have dozens of keys: instead
// of comparing the text with each key in table order, each registered table gets a hash
// index of its keys, built once. A key text that a table holds twice maps to its first
// row, so the index answers what the walk in table order answered.

uint32_t hashKey(const char *key) {
  uint32_t hash = 2166136261u;  // FNV-1a
  for (; *key != '\0'; ++key) hash = (hash ^ static_cast<unsigned char>(*key)) * 16777619u;
  return hash;
}

class KeyIndex {
 public:
  explicit KeyIndex(const KeyTable &table) : table_(&table) {
    size_t size = 8;
    while (size < table.count * 2) size *= 2;
    slots_.assign(size, Slot{});
    for (size_t i = 0; i < table.count; ++i) {
      const char *key = table.rows[i].key;
      const uint32_t hash = hashKey(key);
      size_t at = hash & (size - 1);
      while (slots_[at].row != 0 && !holds(slots_[at], hash, key)) at = (at + 1) & (size - 1);
      if (slots_[at].row == 0) slots_[at] = Slot{hash, static_cast<uint32_t>(i + 1)};
    }
  }

  // The first row of the table whose key is key, or nullptr.
  const KeyRow *find(const char *key) const {
    const uint32_t hash = hashKey(key);
    const size_t mask = slots_.size() - 1;
    for (size_t at = hash & mask; slots_[at].row != 0; at = (at + 1) & mask) {
      if (holds(slots_[at], hash, key)) return &table_->rows[slots_[at].row - 1];
    }
    return nullptr;
  }

 private:
  struct Slot {
    uint32_t hash = 0;
    uint32_t row = 0;  // 1 + the row's position; 0: empty
  };
  bool holds(const Slot &slot, uint32_t hash, const char *key) const {
    return slot.hash == hash && strcmp(table_->rows[slot.row - 1].key, key) == 0;
  }

  const KeyTable *table_;
  std::vector<Slot> slots_;  // a power of two, at most half full
};

// The index of a registered table, or nullptr for a table of the caller's own.
const KeyIndex *indexOf(const KeyTable &table) {
  static const std::unordered_map<const KeyTable *, KeyIndex> kIndexes = [] {
    std::unordered_map<const KeyTable *, KeyIndex> indexes;
    for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
      const KeyTable *keys = kShellCategories[i].keys;
      if (keys != nullptr) indexes.emplace(keys, KeyIndex(*keys));
    }
    return indexes;
  }();
  const auto found = kIndexes.find(&table);
  return found == kIndexes.end() ? nullptr : &found->second;
}

}  // namespace

const KeyRow *findKey(const KeyTable &table, const char *key) {
  if (const KeyIndex *index = indexOf(table)) return index->find(key);
  // A table that is not registered (a test's own) is indexed for this one lookup.
  return KeyIndex(table).find(key);
}

namespace {

// ---- Schema ----------------------------------------------------------------------------------

const char *accessName(const KeyRow &row) {
  switch (row.access) {
    case Access::Integer:
      return "integer";
    case Access::Bool:
      return "bool";
    case Access::Float:
      return "float";
    case Access::Double:
      return "double";
    case Access::String:
      return "string";
    case Access::Curve:
      return "curve";
    case Access::Statistics:
      return "statistics";
    case Access::Files:
      return "files";
    case Access::Flag:
      return "flag";
  }
  return "";
}

const char *elementName(Element element) {
  static constexpr const char *kNames[] = {"none", "u8",  "i8",  "u16", "i16", "u32",
                                           "i32",  "u64", "i64", "f32", "f64", "char"};
  return kNames[static_cast<size_t>(element)];
}

// The key of table that writes the record member at field's offset, if one does.
const char *keyOfMember(const KeyTable &table, const FieldRef &field) {
  for (size_t i = 0; i < table.count; ++i) {
    const KeyRow &row = table.rows[i];
    if (row.selection == nullptr && row.access != Access::Statistics &&
        row.field.offset == field.offset && row.field.rank == 0)
      return row.key;
  }
  return nullptr;
}

uint32_t listKey(TJsonValue *keys, const KeyTable &table, const KeyRow &row) {
  TJsonValue *entry = nullptr;
  uint32_t code = TJsonValue_create(TJSON_TYPE_OBJECT, &entry);
  TJsonValue *member = nullptr;
  const auto set = [&](const char *name, auto &&assign) {
    if (code == TCOMMON_SUCCESS) code = TJsonValue_member(entry, name, &member);
    if (code == TCOMMON_SUCCESS) code = assign(member);
  };
  set("key", [&](TJsonValue *m) { return TJsonValue_assignAsString(m, row.key); });
  set("access", [&](TJsonValue *m) { return TJsonValue_assignAsString(m, accessName(row)); });
  set("element", [&](TJsonValue *m) {
    const bool isFile = row.access == Access::Files;
    return TJsonValue_assignAsString(m, isFile ? "file" : elementName(row.field.element));
  });
  set("shape", [&](TJsonValue *m) {
    uint32_t result = TJsonValue_create(TJSON_TYPE_ARRAY, &m);
    for (uint8_t i = 0; result == TCOMMON_SUCCESS && i < row.field.rank; ++i) {
      result = TJsonValue_addIntegerToArray(m, row.field.shape[i]);
    }
    return result;
  });
  set("readsHardware",
      [&](TJsonValue *m) { return TJsonValue_assignAsBoolean(m, row.before != nullptr); });
  set("pushesHardware",
      [&](TJsonValue *m) { return TJsonValue_assignAsBoolean(m, row.after != nullptr); });
  if (row.selection != nullptr) {
    set("selectedBy",
        [&](TJsonValue *m) { return TJsonValue_assignAsString(m, row.selection->indexKey); });
    set("entries",
        [&](TJsonValue *m) { return TJsonValue_assignAsInteger(m, row.selection->count); });
  }
  if (row.maximum != UINT64_MAX)
    set("maximum", [&](TJsonValue *m) { return TJsonValue_assignAsUnsigned(m, row.maximum); });
  if (row.rowCount.element != Element::None) {
    set("rowsFrom", [&](TJsonValue *m) {
      const char *key = keyOfMember(table, row.rowCount);
      return key != nullptr ? TJsonValue_assignAsString(m, key)
                            : TJsonValue_assignAsUnsigned(m, row.rowCount.offset);
    });
  }
  if (row.scale != 1)
    set("scale", [&](TJsonValue *m) { return TJsonValue_assignAsFloat(m, row.scale); });
  if (row.help != nullptr)
    set("help", [&](TJsonValue *m) { return TJsonValue_assignAsString(m, row.help); });
  if (const char *why = TDriverFrame_inertReason(table.category, row.key); why != nullptr)
    set("inert", [&](TJsonValue *m) { return TJsonValue_assignAsString(m, why); });
  if (code == TCOMMON_SUCCESS) return TJsonValue_addValueToArray(keys, entry);
  TJsonValue_delete(entry);
  return code;
}

}  // namespace

uint32_t serveKey(TShell *shell, const KeyTable &table, const char *key, TJsonValue *value,
                  ShellSite site) {
  if (shell == nullptr) return TCOMMON_INVALID_ARGUMENT;
  void *record = nullptr;
  uint32_t code = TDatabase_query(shell->database, table.category, &record);
  if (code != TCOMMON_SUCCESS) {
    shellTrace(kTraceError, site, code);
    return code;
  }
  return serveRecord(shell, table, record, key, value, site);
}

uint32_t serveRecord(TShell *shell, const KeyTable &table, void *record, const char *key,
                     TJsonValue *value, ShellSite site) {
  if (key == nullptr) return TCOMMON_INVALID_ARGUMENT;
  const KeyRow *row = findKey(table, key);
  if (row == nullptr) return TCOMMON_NOT_REGISTERED;
  const uint32_t code = serveRow(shell, record, value, *row);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

uint32_t listSchema(TJsonValue *schema) {
  if (schema == nullptr) return TCOMMON_INVALID_ARGUMENT;
  uint32_t code = TJsonValue_create(TJSON_TYPE_OBJECT, &schema);
  for (uint32_t i = 0; code == TCOMMON_SUCCESS && i < kShellCategoryCount; ++i) {
    const KeyTable *table = kShellCategories[i].keys;
    if (table == nullptr) continue;
    // {"title": ..., "help": ..., "keys": [...]}
    TJsonValue *category = nullptr;
    TJsonValue *member = nullptr;
    code = TJsonValue_member(schema, table->category, &category);
    if (code == TCOMMON_SUCCESS) code = TJsonValue_create(TJSON_TYPE_OBJECT, &category);
    for (const auto &[name, text] :
         {std::pair{"title", table->about.title}, std::pair{"help", table->about.help}}) {
      if (code == TCOMMON_SUCCESS && text != nullptr)
        code = TJsonValue_member(category, name, &member);
      if (code == TCOMMON_SUCCESS && text != nullptr)
        code = TJsonValue_assignAsString(member, text);
    }
    TJsonValue *keys = nullptr;
    if (code == TCOMMON_SUCCESS) code = TJsonValue_member(category, "keys", &keys);
    if (code == TCOMMON_SUCCESS) code = TJsonValue_create(TJSON_TYPE_ARRAY, &keys);
    for (size_t k = 0; code == TCOMMON_SUCCESS && k < table->count; ++k) {
      code = listKey(keys, *table, table->rows[k]);
    }
  }
  return code;
}

}  // namespace tshell
