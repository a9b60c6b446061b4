// Key tables: every category file declares its keys once, as a constant table in the order
// in which they are matched, and one engine serves any table. A category file reads
// top-down: hooks, key table, handler.
//
//   namespace {
//   using Record = TDatabaseDigitalGain;
//
//   uint32_t before(TShell *shell, void *) {
//     return shellReadBack(shell, TDriverDigitalGain_statistics, SHELL_SITE);
//   }
//   uint32_t after(TShell *shell, void *) {
//     return shellPush(shell, TDriverDigitalGain_process, SHELL_SITE);
//   }
//
//   constexpr KeyRow kKeys[] = {
//       {"state", Access::Integer, SHELL_FIELD(state), nullptr, after,
//        "Switches the block on (1) or off (0)."},
//       {"gb", Access::Float, SHELL_FIELD(gb), before, after, "Gain of the blue channel, x."},
//   };
//   constexpr tshell::About kAbout = {"Digital gain", "Multiplies each channel ..."};
//   }  // namespace
//
//   SHELL_CATEGORY(TShellDigitalGain_process, "DG", kKeys, kAbout);
//
// The access kind and the field's element type and shape (taken from its declaration) say
// how the field moves; the same tables give the schema that tuning clients are shown.
//
// Records that hold an array of entries of which one is selected by an index member (input
// paths, sensor modes, the rows of a tuning table, curve entries) declare the selection
// once and mark the keys that address the selected entry:
//
//   using Row = TDatabaseAutoGammaCorrection_2Row;
//   constexpr Selection kRow = SHELL_SELECTION("tableIndex", tableIndex, rows);
//
//   constexpr KeyRow kKeys[] = {
//       tshell::indexKey(kRow, {"tableIndex", Access::Integer, SHELL_FIELD(tableIndex),
//                               nullptr, after}),
//       tshell::inEntry(kRow, {":gains", Access::Float, SHELL_FIELD_OF(Row, gains),
//                              nullptr, after}),
//   };
//
// The engine never addresses memory outside the record: an entry key answers
// TCOMMON_OUT_OF_RANGE while the stored index lies outside the entries, and an index key
// refuses such a write with the same code and stores nothing.
#ifndef T_SHELL_KEYS_H
#define T_SHELL_KEYS_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>
#include <utility>

#include "shell_internal.h"

namespace tshell {

enum class Access : uint8_t {
  Integer,     // inline: integer scalar, array or 2-D table, cut to the element's width
  Bool,        // TShellAccess_bool, or TShellAccess_bools for an array
  Float,       // TShellAccess_float, _floats, _floats22 or _floats33 by the field's rank
  Double,      // TShellAccess_double, or TShellAccess_doubles for an array
  String,      // TShellAccess_string with the buffer's size as capacity
  Curve,       // TShellAccess_curve on an int32_t[points][2] field
  Statistics,  // TShellAccess_statistics with the row's fill function; no field
  Files,       // TShellAccess_files: field is the u64 count, buffersOffset the array pointer
  Flag,        // inline: integer on the wire, stored as 1 for any non-zero integer, else 0
};

enum class Element : uint8_t { None, U8, I8, U16, I16, U32, I32, U64, I64, F32, F64, Char };

// Where a field lies in its record and what it holds: shape {} for a scalar, {n} for an
// array, {rows, columns} for a table, {planes, rows, columns} for a cube.
struct FieldRef {
  size_t offset;
  Element element;
  uint8_t rank;
  uint32_t shape[3];
};

// An array of entries in the record of which the index member selects one.
struct Selection {
  const char *indexKey;  // the key that writes the index, for the schema ("tableIndex")
  FieldRef index;        // the record member holding the selected entry's number
  size_t first;          // offset of entry 0 in the record
  size_t stride;         // bytes from one entry to the next
  uint32_t count;        // entries in the record
};

struct KeyRow {
  const char *key;
  Access access;
  FieldRef field;
  TShellHook before;  // read-back before a read; nullptr: the key never reads the hardware
  TShellHook after;   // push after a write; nullptr: the key never pushes by itself
  // What the key means for a tuning engineer: meaning, unit, range and what it does in the
  // simulated camera (or that the camera leaves it inert). Shown by clients beside the key.
  const char *help = nullptr;
  // Statistics: the block's serialiser. Files: the MIME type of the data URIs and where
  // the record keeps its TCommonBuffer array pointer.
  TShellStatisticsFill fill = nullptr;
  const char *mime = nullptr;
  size_t buffersOffset = 0;
  // The key addresses field in the entry that selection currently selects (inEntry).
  const Selection *selection = nullptr;
  // Integer scalars: a write of a negative value or one above maximum is refused with
  // TCOMMON_OUT_OF_RANGE and stores nothing (indexKey, atMost).
  uint64_t maximum = UINT64_MAX;
  // Arrays: when set, the outer count is the value of this record member at the time of
  // the command, clamped to the declared count (rowsFrom).
  FieldRef rowCount = {};
  // Float arrays: the client sees each element multiplied by scale (scaled).
  double scale = 1;
};

// The "statistics" key of a measuring block: a read runs before and fills "current" with
// the block's measurement; a write changes nothing.
constexpr KeyRow statisticsKey(const char *key, TShellStatisticsFill fill, TShellHook before,
                               const char *help) {
  return KeyRow{key, Access::Statistics, FieldRef{}, before, nullptr, help, fill};
}

// Files uploaded as data URIs of type mime into the record's count and buffer array.
#define SHELL_FILES(key, countMember, buffersMember, mime, before, after, help)                 \
  ::tshell::KeyRow {                                                                            \
    key, ::tshell::Access::Files, SHELL_FIELD(countMember), before, after, help, nullptr, mime, \
        offsetof(Record, buffersMember)                                                         \
  }

// The key addresses its field in the entry that selection currently selects.
constexpr KeyRow inEntry(const Selection &selection, KeyRow row) {
  row.selection = &selection;
  return row;
}

// The key writes the index of selection. refusesOutside: a write of an index outside the
// entries is refused (TCOMMON_OUT_OF_RANGE, nothing stored); false where clients may store
// any index and only the entry keys refuse to follow one that is outside.
constexpr KeyRow indexKey(const Selection &selection, KeyRow row, bool refusesOutside = true) {
  if (refusesOutside) row.maximum = selection.count - 1;
  return row;
}

// An integer scalar that may not exceed maximum (nor be negative).
constexpr KeyRow atMost(uint64_t maximum, KeyRow row) {
  row.maximum = maximum;
  return row;
}

// An array whose outer count follows another integer member of the record.
constexpr KeyRow rowsFrom(FieldRef count, KeyRow row) {
  row.rowCount = count;
  return row;
}

// A float array that the client sees in other units: element * scale on a read, value /
// scale on a write.
constexpr KeyRow scaled(double scale, KeyRow row) {
  row.scale = scale;
  return row;
}

// What a category is, for clients: a short title for lists and a paragraph on what the
// block does (in the simulated camera too).
struct About {
  const char *title;
  const char *help;
};

struct KeyTable {
  const char *category;
  const KeyRow *rows;
  size_t count;
  About about;
};

template <typename T>
constexpr Element elementOf() {
  using std::is_same_v;
  if constexpr (is_same_v<T, char>)
    return Element::Char;
  else if constexpr (is_same_v<T, uint8_t>)
    return Element::U8;
  else if constexpr (is_same_v<T, int8_t>)
    return Element::I8;
  else if constexpr (is_same_v<T, uint16_t>)
    return Element::U16;
  else if constexpr (is_same_v<T, int16_t>)
    return Element::I16;
  else if constexpr (is_same_v<T, uint32_t>)
    return Element::U32;
  else if constexpr (is_same_v<T, int32_t>)
    return Element::I32;
  else if constexpr (is_same_v<T, uint64_t>)
    return Element::U64;
  else if constexpr (is_same_v<T, int64_t>)
    return Element::I64;
  else if constexpr (is_same_v<T, float>)
    return Element::F32;
  else if constexpr (is_same_v<T, double>)
    return Element::F64;
  else
    static_assert(sizeof(T) == 0, "fields hold fixed-width integers, float, double or char");
}

template <typename Member>
constexpr FieldRef fieldRef(size_t offset) {
  static_assert(std::rank_v<Member> <= 3, "fields have at most three dimensions");
  return FieldRef{offset,
                  elementOf<std::remove_all_extents_t<Member>>(),
                  static_cast<uint8_t>(std::rank_v<Member>),
                  {std::extent_v<Member, 0>, std::extent_v<Member, 1>, std::extent_v<Member, 2>}};
}

// The field of a member of Type, nested members included ("rectangle.offset.x").
#define SHELL_FIELD_OF(Type, member)                                                    \
  ::tshell::fieldRef<std::remove_reference_t<decltype(std::declval<Type &>().member)>>( \
      offsetof(Type, member))

// The field of a member of the file's Record.
#define SHELL_FIELD(member) SHELL_FIELD_OF(Record, member)

// The entries member of the file's Record, selected by its indexMember, written by key.
#define SHELL_SELECTION(key, indexMember, entriesMember)                                         \
  ::tshell::Selection {                                                                          \
    key, SHELL_FIELD(indexMember), offsetof(Record, entriesMember),                              \
        sizeof(std::declval<Record &>().entriesMember[0]),                                       \
        std::extent_v<std::remove_reference_t<decltype(std::declval<Record &>().entriesMember)>> \
  }

constexpr bool isInteger(Element element) {
  return element != Element::F32 && element != Element::F64 && element != Element::Char;
}

// Whether the access kind can serve the field; checked for every row at compile time.
constexpr bool servesField(const KeyRow &row) {
  const FieldRef &field = row.field;
  if (row.maximum != UINT64_MAX &&
      !(row.access == Access::Integer && field.rank == 0 && isInteger(field.element)))
    return false;
  if (row.rowCount.element != Element::None &&
      !(isInteger(row.rowCount.element) && row.rowCount.rank == 0 && field.rank >= 1))
    return false;
  if (row.scale != 1 && !(row.access == Access::Float && field.rank == 1)) return false;
  if (row.selection != nullptr && row.selection->index.rank != 0) return false;
  switch (row.access) {
    case Access::Integer:
      return isInteger(field.element) && field.rank <= 2;
    case Access::Bool:
      return field.element == Element::U8 && field.rank <= 1;
    case Access::Float:
      return field.element == Element::F32;
    case Access::Double:
      return field.element == Element::F64 && field.rank <= 1;
    case Access::String:
      return field.element == Element::Char && field.rank == 1;
    case Access::Curve:
      return field.element == Element::I32 && field.rank == 2 && field.shape[1] == 2;
    case Access::Statistics:
      // Whether fill is set cannot be asked at compile time when the serialiser lives in
      // another shared library (its address is only known once loaded); statisticsKey
      // always sets it.
      return field.rank == 0;
    case Access::Files:
      return field.element == Element::U64 && field.rank == 0 && row.mime != nullptr;
    case Access::Flag:
      return field.element == Element::U8 && field.rank <= 2;
  }
  return false;
}

template <size_t N>
constexpr bool servesEveryField(const KeyRow (&rows)[N]) {
  for (const KeyRow &row : rows)
    if (!servesField(row)) return false;
  return true;
}

// Serves one item: queries the table's record and serves it (serveRecord). Failures are
// traced at site (the category's handler) and returned.
uint32_t serveKey(TShell *shell, const KeyTable &table, const char *key, TJsonValue *value,
                  ShellSite site);
// The first row of table whose key is key, byte for byte; nullptr when there is none.
// Registered tables are looked up through an index built once, not walked.
const KeyRow *findKey(const KeyTable &table, const char *key);
// Finds key's row (findKey) and moves its field of record. No matching key:
// TCOMMON_NOT_REGISTERED, not traced.
uint32_t serveRecord(TShell *shell, const KeyTable &table, void *record, const char *key,
                     TJsonValue *value, ShellSite site);

// Appends the schema of every registered category to schema (made an object): per category
// an array of its keys in match order, each
//   {"key": "gain", "access": "float", "element": "f32", "shape": [4],
//    "readsHardware": true, "pushesHardware": true}
// "readsHardware": a read of the key first reads the block back from the hardware;
// "pushesHardware": a write of the key pushes the block to the hardware. Keys of a
// selected entry add "selectedBy" (the index key) and "entries" (how many there are);
// limited integers add "maximum"; arrays whose outer count follows another member add
// "rowsFrom" (that member's key, or its offset when no key names it); scaled floats add
// "scale".
uint32_t listSchema(TJsonValue *schema);

}  // namespace tshell

// Defines a category's exported handler over its key table, and the table for the
// registry (tshell::<Handler>Keys).
#define SHELL_CATEGORY(Handler, category, rows, about)                                        \
  static_assert(::tshell::servesEveryField(rows), "a key's access does not fit its field");   \
  namespace tshell {                                                                          \
  extern const KeyTable Handler##Keys;                                                        \
  const KeyTable Handler##Keys = {category, rows, std::size(rows), about};                    \
  }                                                                                           \
  extern "C" TSHELL_API uint32_t Handler(TShell *shell, const char *key, TJsonValue *value) { \
    return ::tshell::serveKey(shell, ::tshell::Handler##Keys, key, value, SHELL_SITE);        \
  }                                                                                           \
  static_assert(true)

#endif  // T_SHELL_KEYS_H
