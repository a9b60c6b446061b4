// The engine that serves the key tables of the category files, and the schema listing that
// is generated from them.
#include "shell_keys.h"

#include "shell_access.h"

namespace tshell {

namespace {

template <typename Element>
Element *at(void *record, const FieldRef &field) {
  return reinterpret_cast<Element *>(static_cast<unsigned char *>(record) + field.offset);
}

// The inline integer access: the accessor skeleton around an integer scalar, array or
// table, moved element by element at the field's own width.
template <typename Integer>
uint32_t moveIntegers(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                      ShellSite site) {
  const uint64_t shape[] = {row.field.shape[0], row.field.shape[1], row.field.shape[2]};
  return accessElements<IntegerCell<Integer>>(shell, record, value, at<Integer>(record, row.field),
                                              shape, row.field.rank, row.before, row.after, site);
}

uint32_t serveIntegers(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                       ShellSite site) {
  switch (row.field.element) {
    case Element::U8:
      return moveIntegers<uint8_t>(shell, record, value, row, site);
    case Element::I8:
      return moveIntegers<int8_t>(shell, record, value, row, site);
    case Element::U16:
      return moveIntegers<uint16_t>(shell, record, value, row, site);
    case Element::I16:
      return moveIntegers<int16_t>(shell, record, value, row, site);
    case Element::U32:
      return moveIntegers<uint32_t>(shell, record, value, row, site);
    case Element::I32:
      return moveIntegers<int32_t>(shell, record, value, row, site);
    case Element::U64:
      return moveIntegers<uint64_t>(shell, record, value, row, site);
    case Element::I64:
      return moveIntegers<int64_t>(shell, record, value, row, site);
    default:
      return TCOMMON_WRONG_TYPE;  // refused by servesField at compile time
  }
}

uint32_t serveFloats(TShell *shell, void *record, TJsonValue *value, const KeyRow &row) {
  float *field = at<float>(record, row.field);
  const uint32_t *shape = row.field.shape;
  switch (row.field.rank) {
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

uint32_t serveRow(TShell *shell, void *record, TJsonValue *value, const KeyRow &row,
                  ShellSite site) {
  const FieldRef &field = row.field;
  switch (row.access) {
    case Access::Integer:
      return serveIntegers(shell, record, value, row, site);
    case Access::Bool:
      return field.rank == 0 ? TShellAccess_bool(shell, record, value, at<uint8_t>(record, field),
                                                 row.before, row.after)
                             : TShellAccess_bools(shell, record, value, at<uint8_t>(record, field),
                                                  field.shape[0], row.before, row.after);
    case Access::Float:
      return serveFloats(shell, record, value, row);
    case Access::Double:
      return field.rank == 0 ? TShellAccess_double(shell, record, value, at<double>(record, field),
                                                   row.before, row.after)
                             : TShellAccess_doubles(shell, record, value, at<double>(record, field),
                                                    field.shape[0], row.before, row.after);
    case Access::String:
      return TShellAccess_string(shell, record, value, at<char>(record, field),
                                 static_cast<int32_t>(field.shape[0]), row.before, row.after);
    case Access::Curve:
      return TShellAccess_curve(shell, record, value, at<int32_t>(record, field), field.shape[0],
                                row.before, row.after);
    case Access::Statistics:
      return TShellAccess_statistics(shell, record, value, row.fill, row.before, row.after);
    case Access::Files:
      return TShellAccess_files(shell, record, value, at<uint64_t>(record, field),
                                reinterpret_cast<TCommonBuffer **>(
                                    static_cast<unsigned char *>(record) + row.buffersOffset),
                                row.mime, row.before, row.after);
  }
  return TCOMMON_NOT_REGISTERED;
}

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
  }
  return "";
}

const char *elementName(Element element) {
  static constexpr const char *kNames[] = {"none", "u8",  "i8",  "u16", "i16", "u32",
                                           "i32",  "u64", "i64", "f32", "f64", "char"};
  return kNames[static_cast<size_t>(element)];
}

uint32_t listKey(TJsonValue *keys, const KeyRow &row) {
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
  for (size_t i = 0; i < table.count; ++i) {
    const KeyRow &row = table.rows[i];
    if (!TCommonString_equal(key, row.key, 1)) continue;
    const uint32_t code = serveRow(shell, record, value, row, site);
    if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
    return code;
  }
  return TCOMMON_NOT_REGISTERED;
}

uint32_t listSchema(TJsonValue *schema) {
  if (schema == nullptr) return TCOMMON_INVALID_ARGUMENT;
  uint32_t code = TJsonValue_create(TJSON_TYPE_OBJECT, &schema);
  for (uint32_t i = 0; code == TCOMMON_SUCCESS && i < kShellCategoryCount; ++i) {
    const KeyTable *table = kShellCategories[i].keys;
    if (table == nullptr) continue;
    TJsonValue *keys = nullptr;
    code = TJsonValue_member(schema, table->category, &keys);
    if (code == TCOMMON_SUCCESS) code = TJsonValue_create(TJSON_TYPE_ARRAY, &keys);
    for (size_t k = 0; code == TCOMMON_SUCCESS && k < table->count; ++k) {
      code = listKey(keys, table->rows[k]);
    }
  }
  return code;
}

}  // namespace tshell
