// The moves shared by the accessors and the key-table engine: the access skeleton (the
// item's "current", the block's read-back, the move, the block's push) and the element
// conversions between record fields and JSON values, for scalars and for arrays and tables
// of up to three dimensions.
#ifndef T_SHELL_ACCESS_H
#define T_SHELL_ACCESS_H

#include <cstdint>
#include <type_traits>

#include "shell_internal.h"

namespace tshell {

// A move that succeeded but must not be followed by the block's push (a base64 read of an
// empty buffer).
inline constexpr uint32_t kSkipAfter = UINT32_MAX;

// Looks up "current" in value (making it in an empty value), runs the read-back, calls
// move(current) and then the push. Every failure is returned untraced; a failed move skips
// the push. The inline access of the key tables uses it as it stands: the handler traces
// the failure once, at its own line.
template <typename Move>
uint32_t runAccess(TShell *shell, void *record, TJsonValue *value, TShellHook before,
                   TShellHook after, Move &&move) {
  if (shell == nullptr || value == nullptr) return TCOMMON_INVALID_ARGUMENT;
  TJsonValue *current = nullptr;
  uint32_t code = TJsonPath(value, "current", &current);
  if (code == TCOMMON_SUCCESS) code = TShellAccess_before(shell, record, before);
  if (code == TCOMMON_SUCCESS) code = move(current);
  if (code == kSkipAfter) return TCOMMON_SUCCESS;
  if (code == TCOMMON_SUCCESS) code = TShellAccess_after(shell, record, after);
  return code;
}

// runAccess for an accessor: a failure is also traced at site, the accessor's own line.
template <typename Move>
uint32_t accessField(TShell *shell, void *record, TJsonValue *value, TShellHook before,
                     TShellHook after, ShellSite site, Move &&move) {
  const uint32_t code = runAccess(shell, record, value, before, after, move);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

// ---- Element conversions ------------------------------------------------------------------
//
// A cell says how one record element becomes a JSON value (put) and back (take). take
// leaves the element as it was when the JSON value does not convert. The typed accessors
// convert what they can: their cells' take returns 0 whatever the value, and a write goes
// on past an element that does not convert. A strict cell (kStrict, the inline integer
// access) returns the conversion's failure instead, and the write stops at that element:
// the elements before it stay written, the rest keep their values and the block is not
// pushed. Most cells are stateless; one that carries a parameter (a unit scale) is passed
// as an instance.

struct BoolCell {
  using Element = uint8_t;
  static constexpr bool kStrict = false;
  static uint32_t put(TJsonValue *json, uint8_t element) {
    return TJsonValue_assignAsBoolean(json, element);
  }
  static uint32_t take(const TJsonValue *json, uint8_t *element) {
    uint8_t boolean = 0;
    if (TJsonValue_asBoolean(json, &boolean) == TCOMMON_SUCCESS) *element = boolean;
    return TCOMMON_SUCCESS;
  }
};

// A cell with kRuns also moves whole rows of elements through Wide values, a run per
// libtjson call (moveRun): what the elements become and give is what put and take make of
// them one by one. takeRun fills values[0 .. *taken - 1]; a strict cell's run ends at the
// first element that does not convert, with that element's code.
template <typename Number>
struct FloatCell {
  using Element = Number;
  using Wide = double;
  static constexpr bool kStrict = false;
  static constexpr bool kRuns = true;
  static double widen(Number element) { return static_cast<double>(element); }
  static Number narrow(double wide) { return static_cast<Number>(wide); }
  static uint32_t putRun(TJsonValue *array, uint64_t first, const double *values, uint64_t count) {
    return TJsonValue_assignItemsAsFloats(array, first, values, count);
  }
  static uint32_t takeRun(const TJsonValue *array, uint64_t first, double *values, uint64_t count,
                          uint64_t *taken) {
    // An element that does not convert keeps the widened old value in its entry.
    TJsonValue_itemsAsFloats(array, first, values, count);
    *taken = count;
    return TCOMMON_SUCCESS;
  }
  static uint32_t put(TJsonValue *json, Number element) {
    return TJsonValue_assignAsFloat(json, static_cast<double>(element));
  }
  static uint32_t take(const TJsonValue *json, Number *element) {
    double number = 0;
    if (TJsonValue_asFloat(json, &number) == TCOMMON_SUCCESS)
      *element = static_cast<Number>(number);
    return TCOMMON_SUCCESS;
  }
};

// Integers are written modulo the element's width (a u8 written 300 holds 44) and read
// sign-extended when the element is signed. Strict (the inline integer access): a value
// that is not a number or a boolean stops the write. The curve accessor's points convert
// what they can (kStrictTake false).
template <typename Integer, bool kStrictTake = true>
struct IntegerCell {
  using Element = Integer;
  using Wide = int64_t;
  static constexpr bool kStrict = kStrictTake;
  // 64-bit unsigned elements above INT64_MAX are printed as unsigned: one by one.
  static constexpr bool kRuns = !std::is_same_v<Integer, uint64_t>;
  static int64_t widen(Integer element) { return static_cast<int64_t>(element); }
  static Integer narrow(int64_t wide) { return static_cast<Integer>(static_cast<uint64_t>(wide)); }
  static uint32_t putRun(TJsonValue *array, uint64_t first, const int64_t *values, uint64_t count) {
    return TJsonValue_assignItemsAsIntegers(array, first, values, count);
  }
  static uint32_t takeRun(const TJsonValue *array, uint64_t first, int64_t *values, uint64_t count,
                          uint64_t *taken) {
    if constexpr (kStrict) {
      return TJsonValue_itemsAsIntegersStrict(array, first, values, count, taken);
    } else {
      TJsonValue_itemsAsIntegers(array, first, values, count);
      *taken = count;
      return TCOMMON_SUCCESS;
    }
  }
  static uint32_t put(TJsonValue *json, Integer element) {
    if constexpr (std::is_same_v<Integer, uint64_t>) {
      return TJsonValue_assignAsUnsigned(json, element);
    } else {
      return TJsonValue_assignAsInteger(json, static_cast<int64_t>(element));
    }
  }
  static uint32_t take(const TJsonValue *json, Integer *element) {
    int64_t integer = 0;
    const uint32_t code = TJsonValue_asInteger(json, &integer);
    if (code == TCOMMON_SUCCESS) *element = static_cast<Integer>(static_cast<uint64_t>(integer));
    return kStrict ? code : static_cast<uint32_t>(TCOMMON_SUCCESS);
  }
};

template <typename Cell>
constexpr bool movesRuns() {
  if constexpr (requires { Cell::kRuns; }) {
    return Cell::kRuns;
  } else {
    return false;
  }
}

// How many entries of json a write takes, before the declared count cuts them: an array's
// length. A typed accessor takes nothing from any other value. A strict cell counts what
// libtjson counts (a string's characters, an object's members) and refuses a value with a
// count, as taking its first element would fail.
template <typename Cell>
uint32_t takenSize(const TJsonValue *json, uint64_t *size) {
  *size = 0;
  uint32_t type = TJSON_TYPE_NULL;
  if (TJsonValue_type(json, &type) != TCOMMON_SUCCESS) return TCOMMON_SUCCESS;
  if (type == TJSON_TYPE_ARRAY) return TJsonValue_size(json, size);
  if (!Cell::kStrict) return TCOMMON_SUCCESS;
  uint64_t count = 0;
  TJsonValue_size(json, &count);
  if (count == 0) return TCOMMON_SUCCESS;
  return TCOMMON_WRONG_TYPE;
}

// Moves one row of count elements as moveArray does, in runs of up to kRun elements.
template <typename Cell>
uint32_t moveRun(bool isRead, TJsonValue *json, typename Cell::Element *elements, uint64_t count) {
  constexpr uint64_t kRun = 256;
  typename Cell::Wide wide[kRun];
  if (isRead) {
    // Runs assigned in order to the empty array keep it packed in libtjson: the row's
    // numbers get no nodes.
    uint32_t code = TJsonValue_create(TJSON_TYPE_ARRAY, &json);
    for (uint64_t first = 0; code == TCOMMON_SUCCESS && first < count; first += kRun) {
      const uint64_t run = count - first < kRun ? count - first : kRun;
      for (uint64_t i = 0; i < run; ++i) wide[i] = Cell::widen(elements[first + i]);
      code = Cell::putRun(json, first, wide, run);
    }
    return code;
  }
  uint64_t size = 0;
  if (const uint32_t code = takenSize<Cell>(json, &size); code != TCOMMON_SUCCESS) return code;
  if (size < count) count = size;
  for (uint64_t first = 0; first < count; first += kRun) {
    const uint64_t run = count - first < kRun ? count - first : kRun;
    for (uint64_t i = 0; i < run; ++i) wide[i] = Cell::widen(elements[first + i]);
    uint64_t taken = 0;
    const uint32_t code = Cell::takeRun(json, first, wide, run, &taken);
    for (uint64_t i = 0; i < taken; ++i) elements[first + i] = Cell::narrow(wide[i]);
    if (code != TCOMMON_SUCCESS) return code;
  }
  return TCOMMON_SUCCESS;
}

// Moves an array of shape[0] x shape[1] x ... elements (dimensions 1 to 3, last index
// fastest) in the direction of the item. A read makes json an array holding every element
// at every level. A write changes, at every level, the first min(JSON length, declared
// count) entries and leaves the rest; JSON entries beyond the declared count are ignored.
template <typename Cell>
uint32_t moveArray(bool isRead, TJsonValue *json, typename Cell::Element *elements,
                   const uint64_t *shape, int dimensions, const Cell &cell = {}) {
  if constexpr (movesRuns<Cell>()) {
    if (dimensions == 1) return moveRun<Cell>(isRead, json, elements, shape[0]);
  }
  uint64_t stride = 1;
  for (int i = 1; i < dimensions; ++i) stride *= shape[i];
  if (isRead) {
    uint32_t code = TJsonValue_create(TJSON_TYPE_ARRAY, &json);
    // Making the last element first sizes the array once, not once per doubling.
    TJsonValue *last = nullptr;
    if (code == TCOMMON_SUCCESS && shape[0] > 0) code = TJsonValue_item(json, shape[0] - 1, &last);
    for (uint64_t i = 0; code == TCOMMON_SUCCESS && i < shape[0]; ++i) {
      TJsonValue *slot = nullptr;
      code = TJsonValue_item(json, i, &slot);
      if (code != TCOMMON_SUCCESS) break;
      code = dimensions == 1
                 ? cell.put(slot, elements[i])
                 : moveArray(true, slot, elements + i * stride, shape + 1, dimensions - 1, cell);
    }
    return code;
  }
  uint64_t count = 0;
  if (const uint32_t code = takenSize<Cell>(json, &count); code != TCOMMON_SUCCESS) return code;
  if (count > shape[0]) count = shape[0];
  for (uint64_t i = 0; i < count; ++i) {
    TJsonValue *slot = nullptr;
    uint32_t code = TJsonValue_item(json, i, &slot);
    if (code == TCOMMON_SUCCESS) {
      code = dimensions == 1
                 ? cell.take(slot, elements + i)
                 : moveArray(false, slot, elements + i * stride, shape + 1, dimensions - 1, cell);
    }
    if (code != TCOMMON_SUCCESS) return code;
  }
  return TCOMMON_SUCCESS;
}

// Moves a scalar (dimensions 0) or an array of the cell's elements.
template <typename Cell>
uint32_t moveElements(bool isRead, TJsonValue *json, typename Cell::Element *elements,
                      const uint64_t *shape, int dimensions, const Cell &cell = {}) {
  if (dimensions > 0) return moveArray(isRead, json, elements, shape, dimensions, cell);
  if (isRead) return cell.put(json, *elements);
  return cell.take(json, elements);
}

// The accessor of a field of the cell's elements: skeleton plus move.
template <typename Cell>
uint32_t accessElements(TShell *shell, void *record, TJsonValue *value,
                        typename Cell::Element *elements, const uint64_t *shape, int dimensions,
                        TShellHook before, TShellHook after, ShellSite site,
                        const Cell &cell = {}) {
  if (elements == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return accessField(shell, record, value, before, after, site, [&](TJsonValue *current) {
    return moveElements(shell->readFlag != 0, current, elements, shape, dimensions, cell);
  });
}

}  // namespace tshell

#endif  // T_SHELL_ACCESS_H
