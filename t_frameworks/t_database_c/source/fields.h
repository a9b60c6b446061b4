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

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
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
  Text,   // char[capacity], NUL-terminated; JSON string of at most capacity - 1 bytes
  Group,  // nested struct; JSON object (array of objects when it has a shape)
};

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

template <typename T>
struct KindOf;
template <>
struct KindOf<int8_t> {
  static constexpr Kind value = Kind::I8;
};
template <>
struct KindOf<uint8_t> {
  static constexpr Kind value = Kind::U8;
};
template <>
struct KindOf<int16_t> {
  static constexpr Kind value = Kind::I16;
};
template <>
struct KindOf<uint16_t> {
  static constexpr Kind value = Kind::U16;
};
template <>
struct KindOf<int32_t> {
  static constexpr Kind value = Kind::I32;
};
template <>
struct KindOf<uint32_t> {
  static constexpr Kind value = Kind::U32;
};
template <>
struct KindOf<int64_t> {
  static constexpr Kind value = Kind::I64;
};
template <>
struct KindOf<uint64_t> {
  static constexpr Kind value = Kind::U64;
};
template <>
struct KindOf<float> {
  static constexpr Kind value = Kind::F32;
};
template <>
struct KindOf<double> {
  static constexpr Kind value = Kind::F64;
};

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
template <typename T>
struct Shape {
  using Element = T;
  static constexpr uint32_t dims[3] = {0, 0, 0};
};
template <typename T, size_t N>
struct Shape<T[N]> {
  using Element = T;
  static constexpr uint32_t dims[3] = {N, 0, 0};
};
template <typename T, size_t N, size_t M>
struct Shape<T[N][M]> {
  using Element = T;
  static constexpr uint32_t dims[3] = {N, M, 0};
};
template <typename T, size_t N, size_t M, size_t K>
struct Shape<T[N][M][K]> {
  using Element = T;
  static constexpr uint32_t dims[3] = {N, M, K};
};
}  // namespace detail

// A number or an array (up to three dimensions) of numbers.
template <typename Record, typename Member>
inline Field field(const char *name, Member Record::*member) {
  using S = detail::Shape<Member>;
  using E = typename S::Element;
  static_assert(std::is_arithmetic_v<E>, "field() takes numbers; use text() or group()");
  return Field{name,      KindOf<E>::value, offsetOf(member), {S::dims[0], S::dims[1], S::dims[2]},
               sizeof(E), nullptr};
}

// A uint8_t (or array of them) that holds a boolean.
template <typename Record, typename Member>
inline Field boolean(const char *name, Member Record::*member) {
  using S = detail::Shape<Member>;
  static_assert(std::is_same_v<typename S::Element, uint8_t>, "booleans are stored as uint8_t");
  return Field{name, Kind::Bool, offsetOf(member), {S::dims[0], S::dims[1], S::dims[2]},
               1,    nullptr};
}

// A char[N] text.
template <typename Record, size_t N>
inline Field text(const char *name, char (Record::*member)[N]) {
  return Field{name, Kind::Text, offsetOf(member), {static_cast<uint32_t>(N), 0, 0}, 1, nullptr};
}

// A nested struct, or an array of them (a table of rows).
template <typename Record, typename Member>
inline Field group(const char *name, Member Record::*member, const Layout &layout) {
  using S = detail::Shape<Member>;
  return Field{name,
               Kind::Group,
               offsetOf(member),
               {S::dims[0], S::dims[1], S::dims[2]},
               sizeof(typename S::Element),
               &layout};
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
// Bool as true/false, Text as a string up to its NUL, arrays as nested arrays, groups as
// objects. Returns the JSON library's code on failure (out of memory).
uint32_t writeFields(const Layout &layout, const void *record, TJsonValue *object);

// Applies the members of object onto record, strictly: every member must name a listed
// field and hold a value of its type, range and shape; members left out keep their
// values. On a refused value: TCOMMON_WRONG_CONFIGURATION and error tells where and why.
// Fields applied before the refused one are already written, so callers parse onto a
// scratch copy and keep it only when the whole document is valid. May throw
// std::bad_alloc while describing a failure.
uint32_t applyFields(const Layout &layout, TJsonValue *object, void *record, FieldError &error);

// The categories of the database in settings-document order (records.cpp).
std::span<const RecordType *const> recordTypes();

}  // namespace tdatabase

#endif  // T_DATABASE_FIELDS_H
