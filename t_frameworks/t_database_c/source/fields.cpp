// The generic engine over field tables: copy, write to JSON and strict parse from JSON of
// any record that has a layout.
#include "fields.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "t_common.h"

namespace tdatabase {
namespace {

constexpr uint32_t kRefused = TCOMMON_WRONG_CONFIGURATION;

constexpr double kTwoTo64 = 0x1p64;

uint32_t dimensionsOf(const Field &field) {
  if (field.kind == Kind::Text) return 0;
  uint32_t dimensions = 0;
  while (dimensions < 3 && field.shape[dimensions] != 0) ++dimensions;
  return dimensions;
}

// Elements in dimensions from..last, i.e. the elements one step of dimension from - 1 spans.
size_t elementsFrom(const Field &field, uint32_t from) {
  size_t count = 1;
  const uint32_t dimensions = dimensionsOf(field);
  for (uint32_t d = from; d < dimensions; ++d) count *= field.shape[d];
  return count;
}

const char *kindName(Kind kind) {
  switch (kind) {
    case Kind::Bool:
      return "bool";
    case Kind::I8:
      return "i8";
    case Kind::U8:
      return "u8";
    case Kind::I16:
      return "i16";
    case Kind::U16:
      return "u16";
    case Kind::I32:
      return "i32";
    case Kind::U32:
      return "u32";
    case Kind::I64:
      return "i64";
    case Kind::U64:
      return "u64";
    case Kind::F32:
      return "f32";
    case Kind::F64:
      return "f64";
    case Kind::Text:
      return "text";
    case Kind::Group:
      return "group";
  }
  return "?";
}

uint32_t typeOf(const TJsonValue *value) {
  uint32_t type = TJSON_TYPE_ABSENT;
  TJsonValue_type(value, &type);
  return type;
}

uint32_t refuseType(FieldError &error, const char *expected, uint32_t type) {
  error.fail(std::string("expected ") + expected + ", found " + jsonTypeName(type));
  return kRefused;
}

std::string numberText(double number) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof(text), number);
  return std::string(text, result.ptr);
}

std::string integerText(bool isNegative, uint64_t magnitude) {
  std::string text = std::to_string(magnitude);
  if (isNegative) text.insert(text.begin(), '-');
  return text;
}

template <typename T>
T load(const unsigned char *at) {
  T value;
  std::memcpy(&value, at, sizeof(T));
  return value;
}

template <typename T>
void store(unsigned char *at, T value) {
  std::memcpy(at, &value, sizeof(T));
}

// Calls use with a zero of the C type that a number kind is stored as, and returns its
// result; TCOMMON_INVALID_ARGUMENT for the kinds that are not numbers (Bool, Text, Group).
template <typename Use>
uint32_t withNumberType(Kind kind, Use &&use) {
  return withNumberKind(kind, static_cast<uint32_t>(TCOMMON_INVALID_ARGUMENT),
                        [&use](auto number) -> uint32_t {
                          return use(typename NumberType<decltype(number)::value>::type{});
                        });
}

// ---- Writing ----------------------------------------------------------------------------

// One number or boolean of the record into value.
uint32_t writeScalar(Kind kind, const unsigned char *at, TJsonValue *value) {
  if (kind == Kind::Bool) return TJsonValue_assignAsBoolean(value, *at != 0 ? 1 : 0);
  return withNumberType(kind, [&](auto zero) {
    using T = decltype(zero);
    const T number = load<T>(at);
    if constexpr (std::is_floating_point_v<T>) {
      return TJsonValue_assignAsFloat(value, number);
    } else if constexpr (std::is_same_v<T, uint64_t>) {
      return TJsonValue_assignAsUnsigned(value, number);
    } else {
      return TJsonValue_assignAsInteger(value, number);
    }
  });
}

uint32_t writeElement(const Field &field, const unsigned char *at, TJsonValue *value) {
  switch (field.kind) {
    case Kind::Group: {
      const uint32_t result = TJsonValue_create(TJSON_TYPE_OBJECT, &value);
      return result != TCOMMON_SUCCESS ? result : writeFields(*field.layout, at, value);
    }
    case Kind::Text: {
      const auto *text = reinterpret_cast<const char *>(at);
      return TJsonValue_assignAsStringLength(value, text, strnlen(text, field.shape[0]));
    }
    default:
      return writeScalar(field.kind, at, value);
  }
}

uint32_t writeValue(const Field &field, const unsigned char *at, TJsonValue *value,
                    uint32_t dimension, uint32_t dimensions) {
  if (dimension == dimensions) return writeElement(field, at, value);
  uint32_t result = TJsonValue_create(TJSON_TYPE_ARRAY, &value);
  const size_t stride = field.elementSize * elementsFrom(field, dimension + 1);
  const uint32_t count = field.shape[dimension];
  // The last element first: the array gets all its elements in one step.
  TJsonValue *element = nullptr;
  if (count != 0 && result == TCOMMON_SUCCESS) result = TJsonValue_item(value, count - 1, &element);
  for (uint32_t i = 0; i < count && result == TCOMMON_SUCCESS; ++i) {
    result = TJsonValue_item(value, i, &element);
    if (result == TCOMMON_SUCCESS) {
      result = writeValue(field, at + i * stride, element, dimension + 1, dimensions);
    }
  }
  return result;
}

// ---- Printing ---------------------------------------------------------------------------
//
// The settings document is printed straight from the records through the writer's
// streaming calls: the same text as a tree of the record would print, without a node per
// number.

// count numbers of type T, one writer call each: a scalar, or the elements of a u64 array
// (above INT64_MAX they print as unsigned). Other arrays of numbers go to printTable.
template <typename T>
uint32_t printNumbers(const unsigned char *at, size_t count, TJsonWriter *writer) {
  uint32_t result = TCOMMON_SUCCESS;
  for (size_t i = 0; i < count && result == TCOMMON_SUCCESS; ++i) {
    const T value = load<T>(at + i * sizeof(T));
    if constexpr (std::is_same_v<T, uint64_t>) {
      result = TJsonWriter_unsigned(writer, value);
    } else if constexpr (std::is_floating_point_v<T>) {
      result = TJsonWriter_float(writer, value);
    } else {
      result = TJsonWriter_integer(writer, value);
    }
  }
  return result;
}

// count consecutive scalars of a number or Bool field: one value, or the elements of the
// open array.
uint32_t printScalars(Kind kind, const unsigned char *at, size_t count, TJsonWriter *writer) {
  if (kind == Kind::Bool) {
    uint32_t result = TCOMMON_SUCCESS;
    for (size_t i = 0; i < count && result == TCOMMON_SUCCESS; ++i) {
      result = TJsonWriter_boolean(writer, at[i] != 0 ? 1 : 0);
    }
    return result;
  }
  return withNumberType(kind,
                        [&](auto zero) { return printNumbers<decltype(zero)>(at, count, writer); });
}

// A whole array, table or cube of numbers of type T in one writer call, widened first.
template <typename T>
uint32_t printTable(const Field &field, const unsigned char *at, uint32_t dimensions,
                    TJsonWriter *writer) {
  using Wide = std::conditional_t<std::is_floating_point_v<T>, double, int64_t>;
  // Kept by the thread: a cube of a few thousand elements is widened on every print.
  thread_local std::vector<Wide> widened;
  const size_t count = elementsFrom(field, 0);
  if (widened.size() < count) widened.resize(count);  // grows only: no zero-filling each time
  for (size_t i = 0; i < count; ++i) widened[i] = static_cast<Wide>(load<T>(at + i * sizeof(T)));
  if constexpr (std::is_floating_point_v<T>) {
    return TJsonWriter_floatTable(writer, widened.data(), field.shape, dimensions);
  } else {
    return TJsonWriter_integerTable(writer, widened.data(), field.shape, dimensions);
  }
}

uint32_t printValue(const Field &field, const unsigned char *at, uint32_t dimension,
                    uint32_t dimensions, TJsonWriter *writer) {
  if (dimension == 0 && dimensions != 0 && field.kind != Kind::Bool && field.kind != Kind::Text &&
      field.kind != Kind::Group && field.kind != Kind::U64) {
    return withNumberType(field.kind, [&](auto zero) {
      return printTable<decltype(zero)>(field, at, dimensions, writer);
    });
  }
  if (dimension == dimensions) {
    if (field.kind == Kind::Group) {
      uint32_t result = TJsonWriter_startObject(writer);
      if (result == TCOMMON_SUCCESS) result = printFields(*field.layout, at, writer);
      return result == TCOMMON_SUCCESS ? TJsonWriter_endObject(writer) : result;
    }
    if (field.kind == Kind::Text) {
      const auto *text = reinterpret_cast<const char *>(at);
      return TJsonWriter_string(writer, text, strnlen(text, field.shape[0]));
    }
    return printScalars(field.kind, at, 1, writer);
  }
  uint32_t result = TJsonWriter_startArray(writer);
  const uint32_t count = field.shape[dimension];
  if (dimension + 1 == dimensions && field.kind != Kind::Group) {
    if (result == TCOMMON_SUCCESS) result = printScalars(field.kind, at, count, writer);
  } else {
    const size_t stride = field.elementSize * elementsFrom(field, dimension + 1);
    for (uint32_t i = 0; i < count && result == TCOMMON_SUCCESS; ++i) {
      result = printValue(field, at + i * stride, dimension + 1, dimensions, writer);
    }
  }
  return result == TCOMMON_SUCCESS ? TJsonWriter_endArray(writer) : result;
}

// ---- Parsing ----------------------------------------------------------------------------

uint32_t readBool(TJsonValue *value, unsigned char *at, FieldError &error) {
  const uint32_t type = typeOf(value);
  if (type != TJSON_TYPE_BOOLEAN) return refuseType(error, "true or false", type);
  uint8_t boolean = 0;
  const uint32_t result = TJsonValue_asBoolean(value, &boolean);
  if (result == TCOMMON_SUCCESS) *at = boolean != 0 ? 1 : 0;
  return result;
}

// An integer of the document as sign and magnitude, which covers the whole int64 and
// uint64 ranges without a wider type.
struct Integer {
  bool isNegative;
  uint64_t magnitude;
};

template <typename T>
bool fits(Integer integer) {
  constexpr auto kMax = static_cast<uint64_t>(std::numeric_limits<T>::max());
  if (!integer.isNegative) return integer.magnitude <= kMax;
  return std::is_signed_v<T> && integer.magnitude <= kMax + 1;
}

template <typename T>
void storeInteger(unsigned char *at, Integer integer) {
  if (integer.isNegative) {
    // magnitude - 1 keeps INT64_MIN representable on the way.
    store<T>(at, static_cast<T>(-static_cast<int64_t>(integer.magnitude - 1) - 1));
  } else {
    store<T>(at, static_cast<T>(integer.magnitude));
  }
}

template <typename T>
bool storeIfFits(unsigned char *at, Integer integer) {
  if (!fits<T>(integer)) return false;
  storeInteger<T>(at, integer);
  return true;
}

// Stores an integer of the document into an integer field. fromNumber: the double it was
// written as, shown in a refusal instead of the integer's digits.
uint32_t storeIntegerOf(Kind kind, Integer integer, unsigned char *at, FieldError &error,
                        const double *fromNumber) {
  bool stored = false;
  const uint32_t result = withNumberType(kind, [&](auto zero) -> uint32_t {
    using T = decltype(zero);
    if constexpr (std::is_integral_v<T>) {
      stored = storeIfFits<T>(at, integer);
      return TCOMMON_SUCCESS;
    } else {
      return TCOMMON_INVALID_ARGUMENT;
    }
  });
  if (result != TCOMMON_SUCCESS) return result;
  if (stored) return TCOMMON_SUCCESS;
  const std::string shown = fromNumber != nullptr
                                ? numberText(*fromNumber)
                                : integerText(integer.isNegative, integer.magnitude);
  error.fail(shown + " is out of range for " + kindName(kind));
  return kRefused;
}

Integer integerOf(int64_t signedValue) {
  const bool isNegative = signedValue < 0;
  return Integer{isNegative, isNegative ? uint64_t{0} - static_cast<uint64_t>(signedValue)
                                        : static_cast<uint64_t>(signedValue)};
}

// A double of the document into an integer field: whole numbers in range only.
uint32_t storeIntegerOfDouble(Kind kind, double number, unsigned char *at, FieldError &error) {
  if (!std::isfinite(number) || std::trunc(number) != number) {
    error.fail("expected an integer, found " + numberText(number));
    return kRefused;
  }
  if (std::fabs(number) >= kTwoTo64) {
    error.fail(numberText(number) + " is out of range for " + kindName(kind));
    return kRefused;
  }
  const Integer integer{number < 0, static_cast<uint64_t>(std::fabs(number))};
  return storeIntegerOf(kind, integer, at, error, &number);
}

uint32_t readInteger(Kind kind, TJsonValue *value, unsigned char *at, FieldError &error) {
  const uint32_t type = typeOf(value);
  if (type == TJSON_TYPE_INTEGER) {
    int64_t signedValue = 0;
    const uint32_t result = TJsonValue_asInteger(value, &signedValue);
    if (result != TCOMMON_SUCCESS) return result;
    return storeIntegerOf(kind, integerOf(signedValue), at, error, nullptr);
  }
  if (type == TJSON_TYPE_UNSIGNED) {
    Integer integer{false, 0};
    const uint32_t result = TJsonValue_asUnsigned(value, &integer.magnitude);
    if (result != TCOMMON_SUCCESS) return result;
    return storeIntegerOf(kind, integer, at, error, nullptr);
  }
  if (type == TJSON_TYPE_FLOAT) {
    double number = 0.0;
    const uint32_t result = TJsonValue_asFloat(value, &number);
    if (result != TCOMMON_SUCCESS) return result;
    return storeIntegerOfDouble(kind, number, at, error);
  }
  return refuseType(error, "an integer", type);
}

// A number of the document, as a double, into a float or double field.
uint32_t storeFloatOf(Kind kind, double number, unsigned char *at, FieldError &error) {
  if (!std::isfinite(number)) {
    error.fail("expected a finite number, found " + numberText(number));
    return kRefused;
  }
  if (kind == Kind::F64) {
    store<double>(at, number);
    return TCOMMON_SUCCESS;
  }
  if (std::fabs(number) >= kFloatLimit) {
    error.fail(numberText(number) + " is out of range for " + kindName(kind));
    return kRefused;
  }
  store<float>(at, static_cast<float>(number));
  return TCOMMON_SUCCESS;
}

uint32_t readFloat(Kind kind, TJsonValue *value, unsigned char *at, FieldError &error) {
  const uint32_t type = typeOf(value);
  if (type != TJSON_TYPE_INTEGER && type != TJSON_TYPE_UNSIGNED && type != TJSON_TYPE_FLOAT) {
    return refuseType(error, "a number", type);
  }
  double number = 0.0;
  uint32_t result = TCOMMON_SUCCESS;
  if (type == TJSON_TYPE_UNSIGNED) {
    // asFloat would do as well; going through the integer keeps the conversion exact to
    // the nearest double whatever the JSON library does with large integers.
    uint64_t integer = 0;
    result = TJsonValue_asUnsigned(value, &integer);
    number = static_cast<double>(integer);
  } else if (type == TJSON_TYPE_INTEGER) {
    int64_t integer = 0;
    result = TJsonValue_asInteger(value, &integer);
    number = static_cast<double>(integer);
  } else {
    result = TJsonValue_asFloat(value, &number);
  }
  if (result != TCOMMON_SUCCESS) return result;
  return storeFloatOf(kind, number, at, error);
}

// A number where a field that does not hold numbers is due: refused as readElement refuses
// it (a group is refused by applyFields as "an object").
uint32_t refuseNumber(const Field &field, FieldError &error, uint32_t type) {
  switch (field.kind) {
    case Kind::Bool:
      return refuseType(error, "true or false", type);
    case Kind::Text:
      return refuseType(error, "a string", type);
    default:
      return refuseType(error, "an object", type);
  }
}

uint32_t readText(const Field &field, TJsonValue *value, unsigned char *at, FieldError &error) {
  const uint32_t type = typeOf(value);
  if (type != TJSON_TYPE_STRING) return refuseType(error, "a string", type);
  const char *text = nullptr;
  uint64_t length = 0;
  uint32_t result = TJsonValue_asString(value, &text);
  if (result == TCOMMON_SUCCESS) result = TJsonValue_size(value, &length);
  if (result != TCOMMON_SUCCESS) return result;
  // A text may fill its field completely and then has no terminating NUL: the shell's
  // register transfers use every byte of their address and value buffers.
  const uint32_t capacity = field.shape[0];
  if (length > capacity) {
    error.fail("expected at most " + std::to_string(capacity) + " bytes, found " +
               std::to_string(length));
    return kRefused;
  }
  // Readers of the record stop at the first NUL: one inside would silently cut the text.
  if (std::memchr(text, '\0', length) != nullptr) {
    error.fail("text contains a NUL byte");
    return kRefused;
  }
  std::memcpy(at, text, length);
  std::memset(at + length, 0, capacity - length);
  return TCOMMON_SUCCESS;
}

uint32_t readElement(const Field &field, TJsonValue *value, unsigned char *at, FieldError &error) {
  switch (field.kind) {
    case Kind::Bool:
      return readBool(value, at, error);
    case Kind::F32:
    case Kind::F64:
      return readFloat(field.kind, value, at, error);
    case Kind::Text:
      return readText(field, value, at, error);
    case Kind::Group:
      return applyFields(*field.layout, value, at, error);
    default:
      return readInteger(field.kind, value, at, error);
  }
}

uint32_t readValue(const Field &field, TJsonValue *value, unsigned char *at, uint32_t dimension,
                   uint32_t dimensions, FieldError &error) {
  if (dimension == dimensions) return readElement(field, value, at, error);
  const uint32_t type = typeOf(value);
  if (type != TJSON_TYPE_ARRAY) return refuseType(error, "an array", type);
  uint64_t size = 0;
  uint32_t result = TJsonValue_size(value, &size);
  if (result != TCOMMON_SUCCESS) return result;
  const uint32_t expected = field.shape[dimension];
  if (size != expected) {
    error.fail("expected " + std::to_string(expected) + " elements, found " + std::to_string(size));
    return kRefused;
  }
  const size_t stride = field.elementSize * elementsFrom(field, dimension + 1);
  for (uint32_t i = 0; i < expected; ++i) {
    TJsonValue *element = nullptr;
    result = TJsonValue_item(value, i, &element);
    if (result == TCOMMON_SUCCESS) {
      result = readValue(field, element, at + i * stride, dimension + 1, dimensions, error);
    }
    if (result != TCOMMON_SUCCESS) {
      if (result == kRefused) error.encloseIndex(i);
      return result;
    }
  }
  return TCOMMON_SUCCESS;
}

struct ApplyContext {
  const Layout &layout;
  unsigned char *record;
  FieldError &error;
  size_t next;  // where the search for the next member's field starts
};

// Documents written by the database list the fields in table order, so the search starts
// after the field found last and normally hits at once.
const Field *findField(ApplyContext &context, const char *name) {
  const std::span<const Field> fields = context.layout.fields;
  for (size_t tried = 0, i = context.next; tried < fields.size(); ++tried, ++i) {
    if (i == fields.size()) i = 0;
    if (std::strcmp(fields[i].name, name) == 0) {
      context.next = i + 1;
      return &fields[i];
    }
  }
  return nullptr;
}

// Called by the JSON library: nothing may be thrown back through it.
uint32_t applyMember(void *opaque, const char *name, TJsonValue *member) {
  auto &context = *static_cast<ApplyContext *>(opaque);
  try {
    const Field *field = findField(context, name);
    if (field == nullptr) {
      context.error.fail("unknown field");
      context.error.enclose(name);
      return kRefused;
    }
    const uint32_t result = readValue(*field, member, context.record + field->offset, 0,
                                      dimensionsOf(*field), context.error);
    if (result == kRefused) context.error.enclose(field->name);
    return result;
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
}

}  // namespace

const char *jsonTypeName(uint32_t type) {
  switch (type) {
    case TJSON_TYPE_NULL:
      return "null";
    case TJSON_TYPE_BOOLEAN:
      return "a boolean";
    case TJSON_TYPE_INTEGER:
    case TJSON_TYPE_UNSIGNED:
    case TJSON_TYPE_FLOAT:
      return "a number";
    case TJSON_TYPE_STRING:
      return "a string";
    case TJSON_TYPE_ARRAY:
      return "an array";
    case TJSON_TYPE_OBJECT:
      return "an object";
    default:
      return "nothing";
  }
}

// ---- FieldError -------------------------------------------------------------------------

void FieldError::fail(std::string problem) {
  problem_ = std::move(problem);
  places_.clear();
}

void FieldError::enclose(std::string_view name) {
  std::string place;
  place.reserve(name.size() + 1);
  place += '.';
  place += name;
  places_.push_back(std::move(place));
}

void FieldError::encloseIndex(uint64_t index) {
  places_.push_back("[" + std::to_string(index) + "]");
}

std::string FieldError::text(std::string_view prefix) const {
  std::string text(prefix);
  for (auto place = places_.rbegin(); place != places_.rend(); ++place) {
    std::string_view piece = *place;
    if (text.empty() && piece.front() == '.') piece.remove_prefix(1);
    text += piece;
  }
  if (!text.empty()) text += ": ";
  text += problem_;
  return text;
}

// ---- Engine -----------------------------------------------------------------------------

void copyFields(const Layout &layout, void *destination, const void *source) {
  auto *to = static_cast<unsigned char *>(destination);
  const auto *from = static_cast<const unsigned char *>(source);
  for (const Field &field : layout.fields) {
    if (field.kind == Kind::Group) {
      // Only the listed fields of each nested struct are settings.
      const size_t count = elementsFrom(field, 0);
      for (size_t i = 0; i < count; ++i) {
        const size_t at = field.offset + i * field.elementSize;
        copyFields(*field.layout, to + at, from + at);
      }
    } else {
      const size_t bytes =
          field.kind == Kind::Text ? field.shape[0] : field.elementSize * elementsFrom(field, 0);
      std::memmove(to + field.offset, from + field.offset, bytes);
    }
  }
}

uint32_t writeFields(const Layout &layout, const void *record, TJsonValue *object) {
  const auto *bytes = static_cast<const unsigned char *>(record);
  for (const Field &field : layout.fields) {
    TJsonValue *member = nullptr;
    uint32_t result = TJsonValue_member(object, field.name, &member);
    if (result == TCOMMON_SUCCESS) {
      result = writeValue(field, bytes + field.offset, member, 0, dimensionsOf(field));
    }
    if (result != TCOMMON_SUCCESS) return result;
  }
  return TCOMMON_SUCCESS;
}

uint32_t printFields(const Layout &layout, const void *record, TJsonWriter *writer) {
  const auto *bytes = static_cast<const unsigned char *>(record);
  for (const Field &field : layout.fields) {
    uint32_t result = TJsonWriter_key(writer, field.name, std::strlen(field.name));
    if (result == TCOMMON_SUCCESS) {
      result = printValue(field, bytes + field.offset, 0, dimensionsOf(field), writer);
    }
    if (result != TCOMMON_SUCCESS) return result;
  }
  return TCOMMON_SUCCESS;
}

uint32_t fieldDimensions(const Field &field) {
  return dimensionsOf(field);
}

size_t fieldStride(const Field &field, uint32_t dimension) {
  return field.elementSize * elementsFrom(field, dimension + 1);
}

uint32_t applyElement(const Field &field, TJsonValue *value, unsigned char *at, FieldError &error) {
  return readElement(field, value, at, error);
}

uint32_t applyInteger(const Field &field, int64_t value, unsigned char *at, FieldError &error) {
  switch (field.kind) {
    case Kind::F32:
    case Kind::F64:
      return storeFloatOf(field.kind, static_cast<double>(value), at, error);
    case Kind::Bool:
    case Kind::Text:
    case Kind::Group:
      return refuseNumber(field, error, TJSON_TYPE_INTEGER);
    default:
      return storeIntegerOf(field.kind, integerOf(value), at, error, nullptr);
  }
}

uint32_t applyDouble(const Field &field, double value, unsigned char *at, FieldError &error) {
  switch (field.kind) {
    case Kind::F32:
    case Kind::F64:
      return storeFloatOf(field.kind, value, at, error);
    case Kind::Bool:
    case Kind::Text:
    case Kind::Group:
      return refuseNumber(field, error, TJSON_TYPE_FLOAT);
    default:
      return storeIntegerOfDouble(field.kind, value, at, error);
  }
}

uint32_t refuseNotArray(FieldError &error, uint32_t type) {
  return refuseType(error, "an array", type);
}

const Field *findFieldNamed(const Layout &layout, const char *name, size_t &next) {
  const std::span<const Field> fields = layout.fields;
  for (size_t tried = 0, i = next; tried < fields.size(); ++tried, ++i) {
    if (i == fields.size()) i = 0;
    if (std::strcmp(fields[i].name, name) == 0) {
      next = i + 1;
      return &fields[i];
    }
  }
  return nullptr;
}

uint32_t applyFields(const Layout &layout, TJsonValue *object, void *record, FieldError &error) {
  const uint32_t type = typeOf(object);
  if (type != TJSON_TYPE_OBJECT) return refuseType(error, "an object", type);
  ApplyContext context{layout, static_cast<unsigned char *>(record), error, 0};
  return TJsonValue_forEachMember(object, applyMember, &context);
}

}  // namespace tdatabase
