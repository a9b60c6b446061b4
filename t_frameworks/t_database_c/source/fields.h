// Field tables: the description of a record's settings fields, from which the database
// serialises, parses, copies and resets every record without code of its own per record.
//
// A record source file (record_<name>.cpp) declares its defaults and one constant table
// of fields in record order, and exposes a RecordType that records.cpp lists:
//
//   const Field kFields[] = {
//       field("driver", &TDatabaseReport::driver),
//       field("gain", &TDatabaseDigitalGain::gain),          // float[4] -> array of 4
//       group("rectangle", &TDatabaseInput::rectangle, kRectangleLayout),
//       table("rows", &TDatabaseAutoX::rows, kRowLayout),     // Row[10] -> 10 objects
//       text("nginxIp", &TDatabaseTransmit::nginxIp),        // char[16] -> string
//   };
//   const Layout kLayout = layoutOf<TDatabaseReport>(kFields);
//   extern const RecordType kReportRecord = {"RPT", kLayout, &kDefaults};
//
// Fields that a table does not list (file buffers, measured statistics, scratch state)
// are neither serialised nor copied nor reset.
#ifndef T_DATABASE_FIELDS_H
#define T_DATABASE_FIELDS_H

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "t_json.h"

namespace tdatabase {

enum class Kind : uint8_t {
  Bool,  // uint8_t holding 0 or 1; JSON true/false
  I8,
  U8,
  I16,
  U16,
  I32,
  U32,
  I64,
  U64,
  F32,
  F64,
  Text,   // char[capacity], NUL-terminated unless the text fills it; JSON string of at
          // most capacity bytes
  Group,  // nested struct; JSON object (array of objects when it has a shape)
};

// The C type each number kind is stored as (the number kinds run from I8 to F64 in order).
template <Kind kind>
struct NumberType {
  using type = std::tuple_element_t<static_cast<size_t>(kind) - static_cast<size_t>(Kind::I8),
                                    std::tuple<int8_t, uint8_t, int16_t, uint16_t, int32_t,
                                               uint32_t, int64_t, uint64_t, float, double>>;
};

// Calls use with std::integral_constant<Kind, kind> when kind is a number kind and returns
// its result; otherwise (Bool, Text, Group) returns otherwise. The one switch from a
// field's kind at run time to the code made for it.
template <typename Result, typename Use>
Result withNumberKind(Kind kind, Result otherwise, Use &&use) {
  switch (kind) {
    case Kind::I8:
      return use(std::integral_constant<Kind, Kind::I8>{});
    case Kind::U8:
      return use(std::integral_constant<Kind, Kind::U8>{});
    case Kind::I16:
      return use(std::integral_constant<Kind, Kind::I16>{});
    case Kind::U16:
      return use(std::integral_constant<Kind, Kind::U16>{});
    case Kind::I32:
      return use(std::integral_constant<Kind, Kind::I32>{});
    case Kind::U32:
      return use(std::integral_constant<Kind, Kind::U32>{});
    case Kind::I64:
      return use(std::integral_constant<Kind, Kind::I64>{});
    case Kind::U64:
      return use(std::integral_constant<Kind, Kind::U64>{});
    case Kind::F32:
      return use(std::integral_constant<Kind, Kind::F32>{});
    case Kind::F64:
      return use(std::integral_constant<Kind, Kind::F64>{});
    case Kind::Bool:
    case Kind::Text:
    case Kind::Group:
      break;
  }
  return otherwise;
}

struct Layout;

struct Field {
  const char *name;
  Kind kind;
  size_t offset;         // byte offset in the record (or in the enclosing group)
  uint32_t shape[3];     // element counts per dimension, 0 = unused: {} scalar, {4} array,
                         // {3, 3} table, {4, 33, 33} cube. For Text, shape[0] is the capacity.
  size_t elementSize;    // bytes of one element (for Group: the struct size)
  const Layout *layout;  // Group only
};

struct Layout {
  std::span<const Field> fields;
  size_t size;  // sizeof the struct the fields live in
};

struct RecordType {
  const char *category;
  const Layout &layout;
  const void *defaults;  // a record of this type holding the built-in defaults
};

// ---- Building field tables -----------------------------------------------------------

// The kind of a number member: a fixed-width integer, float or double.
template <typename T>
constexpr Kind kindOf() {
  using std::is_same_v;
  if constexpr (is_same_v<T, int8_t>)
    return Kind::I8;
  else if constexpr (is_same_v<T, uint8_t>)
    return Kind::U8;
  else if constexpr (is_same_v<T, int16_t>)
    return Kind::I16;
  else if constexpr (is_same_v<T, uint16_t>)
    return Kind::U16;
  else if constexpr (is_same_v<T, int32_t>)
    return Kind::I32;
  else if constexpr (is_same_v<T, uint32_t>)
    return Kind::U32;
  else if constexpr (is_same_v<T, int64_t>)
    return Kind::I64;
  else if constexpr (is_same_v<T, uint64_t>)
    return Kind::U64;
  else if constexpr (is_same_v<T, float>)
    return Kind::F32;
  else if constexpr (is_same_v<T, double>)
    return Kind::F64;
  else
    static_assert(sizeof(T) == 0, "numbers are fixed-width integers, float or double");
}

// Byte offset of a member, computed from a pointer-to-member. Records are standard-layout
// C structs, so this is what offsetof gives.
template <typename Record, typename Member>
inline size_t offsetOf(Member Record::*member) {
  alignas(Record) static unsigned char storage[sizeof(Record)];
  const auto *record = reinterpret_cast<const Record *>(storage);
  return static_cast<size_t>(reinterpret_cast<const unsigned char *>(&(record->*member)) -
                             reinterpret_cast<const unsigned char *>(record));
}

namespace detail {
template <typename Member>
using Element = std::remove_all_extents_t<Member>;

// The field of a member that is one Element or an array of up to three dimensions of them
// (a char[N] text is an array of N chars).
template <typename Record, typename Member>
inline Field make(const char *name, Kind kind, Member Record::*member, const Layout *layout) {
  static_assert(std::rank_v<Member> <= 3, "arrays have at most three dimensions");
  return Field{name,
               kind,
               offsetOf(member),
               {std::extent_v<Member, 0>, std::extent_v<Member, 1>, std::extent_v<Member, 2>},
               sizeof(Element<Member>),
               layout};
}
}  // namespace detail

// A number or an array (up to three dimensions) of numbers.
template <typename Record, typename Member>
inline Field field(const char *name, Member Record::*member) {
  using E = detail::Element<Member>;
  static_assert(std::is_arithmetic_v<E>, "field() takes numbers; use text() or group()");
  return detail::make(name, kindOf<E>(), member, nullptr);
}

// A uint8_t (or array of them) that holds a boolean.
template <typename Record, typename Member>
inline Field boolean(const char *name, Member Record::*member) {
  static_assert(std::is_same_v<detail::Element<Member>, uint8_t>, "booleans are stored as uint8_t");
  return detail::make(name, Kind::Bool, member, nullptr);
}

// A char[N] text.
template <typename Record, size_t N>
inline Field text(const char *name, char (Record::*member)[N]) {
  return detail::make(name, Kind::Text, member, nullptr);
}

// A nested struct, or an array of them (a table of rows).
template <typename Record, typename Member>
inline Field group(const char *name, Member Record::*member, const Layout &layout) {
  return detail::make(name, Kind::Group, member, &layout);
}

// An array of nested structs: a table of rows, one JSON object each.
template <typename Record, typename Member>
inline Field table(const char *name, Member Record::*member, const Layout &layout) {
  static_assert(std::is_array_v<Member>, "table() takes an array of structs; use group()");
  return group(name, member, layout);
}

template <typename Record, size_t N>
inline Layout layoutOf(const Field (&fields)[N]) {
  return Layout{std::span<const Field>(fields, N), sizeof(Record)};
}

// ---- Working on records through their layout (fields.cpp) -----------------------------

// How error texts name a JSON value of the given TJSON_TYPE_* ("a number", "an array").
const char *jsonTypeName(uint32_t type);

// Copies every listed field of layout from source to destination (which may be the
// same record).
void copyFields(const Layout &layout, void *destination, const void *source);

// Where and why a value of a settings document was refused. The place is put together
// only once something has failed, from the offending value outwards, so that a document
// that parses costs no text building at all.
class FieldError {
 public:
  // Records the problem with the innermost value ("expected 4 elements, found 3").
  void fail(std::string problem);
  // Puts the failed value inside the member called name, or element index of an array.
  void enclose(std::string_view name);
  void encloseIndex(uint64_t index);
  // "<prefix>.<member>[<index>].<member>: <problem>"; without a prefix the place starts
  // at the first member name.
  std::string text(std::string_view prefix) const;

 private:
  std::string problem_;
  std::vector<std::string> places_;  // innermost first: ".name" or "[index]"
};

// Writes every listed field of record as a member of object (an absent or null value
// becomes an object): numbers as numbers (F32 widened to double, 64-bit integers exact),
// Bool as true/false, Text as a string up to its NUL (or the whole field when the text
// fills it), arrays as nested arrays, groups as objects. Returns the JSON library's code on failure
// (out of memory).
uint32_t writeFields(const Layout &layout, const void *record, TJsonValue *object);
// The same members printed into a streaming writer, inside the object it has open.
uint32_t printFields(const Layout &layout, const void *record, TJsonWriter *writer);

// Applies the members of object onto record, strictly: every member must name a listed
// field and hold a value of its type, range and shape; members left out keep their
// values. On a refused value: TCOMMON_WRONG_CONFIGURATION and error tells where and why.
// Fields applied before the refused one are already written, so callers parse onto a
// scratch copy and keep it only when the whole document is valid. May throw
// std::bad_alloc while describing a failure.
uint32_t applyFields(const Layout &layout, TJsonValue *object, void *record, FieldError &error);

// Pieces of applyFields for appliers that walk a document instead of a tree:
// dimensions of a field's array (0 for scalars, texts and single groups); bytes from one
// element of dimension to the next; one innermost element (a scalar, a text, or a group
// given as a value that is not an object) applied as applyFields would; the refusal of a
// value that is not an array where one is due; the field called name, searched from next
// on (next then points after it).
uint32_t fieldDimensions(const Field &field);
size_t fieldStride(const Field &field, uint32_t dimension);
uint32_t applyElement(const Field &field, TJsonValue *value, unsigned char *at, FieldError &error);
// applyElement for a number of the document that arrives as an int64 or a double.
uint32_t applyInteger(const Field &field, int64_t value, unsigned char *at, FieldError &error);
uint32_t applyDouble(const Field &field, double value, unsigned char *at, FieldError &error);
// The common case of applyInteger and applyDouble: a number that the field of kind takes
// as it is, stored; false, with nothing stored, for anything applyInteger or applyDouble
// would refuse (or that a double into an integer field needs them for).
// Inline: they run once for most numbers of a settings document.
inline bool storeIntegerIfAccepted(Kind kind, int64_t value, unsigned char *at) {
  return withNumberKind(kind, false, [value, at](auto number) {
    using T = typename NumberType<decltype(number)::value>::type;
    if constexpr (std::is_floating_point_v<T>) {
      // Always in range; through double as a JSON integer read as a float would be.
      const auto stored = static_cast<T>(static_cast<double>(value));
      std::memcpy(at, &stored, sizeof(stored));
      return true;
    } else {
      if (!std::in_range<T>(value)) return false;
      const auto stored = static_cast<T>(value);
      std::memcpy(at, &stored, sizeof(stored));
      return true;
    }
  });
}

// Doubles from here on round to infinity when narrowed to float (FLT_MAX plus half of its
// last place), so anything below it is a valid f32 even if it is written a little above
// FLT_MAX, as the shortest text of FLT_MAX is ("3.4028235e+38").
inline constexpr double kFloatLimit = static_cast<double>(FLT_MAX) + 0x1p103;

inline bool storeDoubleIfAccepted(Kind kind, double value, unsigned char *at) {
  if (!std::isfinite(value)) return false;
  if (kind == Kind::F64) {
    std::memcpy(at, &value, sizeof(value));
    return true;
  }
  if (kind != Kind::F32 || std::fabs(value) >= kFloatLimit) return false;
  const auto narrow = static_cast<float>(value);
  std::memcpy(at, &narrow, sizeof(narrow));
  return true;
}
uint32_t refuseNotArray(FieldError &error, uint32_t type);
const Field *findFieldNamed(const Layout &layout, const char *name, size_t &next);

// The categories of the database in settings-document order (records.cpp).
std::span<const RecordType *const> recordTypes();

// What TDatabase_lastError reports to the calling thread: "" after TCOMMON_SUCCESS, else
// problem. Returns code. For the exported functions outside database.cpp.
uint32_t reportOutcome(uint32_t code, std::string_view problem) noexcept;

}  // namespace tdatabase

#endif  // T_DATABASE_FIELDS_H
