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
// move(current) and then the push. Every failure is traced at site and returned; a failed
// move skips the push.
template <typename Move>
uint32_t accessField(TShell *shell, void *record, TJsonValue *value, TShellHook before,
                     TShellHook after, ShellSite site, Move &&move) {
  if (shell == nullptr || value == nullptr) return TCOMMON_INVALID_ARGUMENT;
  TJsonValue *current = nullptr;
  uint32_t code = TJsonPath(value, "current", &current);
  if (code == TCOMMON_SUCCESS) code = TShellAccess_before(shell, record, before);
  if (code == TCOMMON_SUCCESS) code = move(current);
  if (code == kSkipAfter) return TCOMMON_SUCCESS;
  if (code == TCOMMON_SUCCESS) code = TShellAccess_after(shell, record, after);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

// ---- Element conversions ------------------------------------------------------------------
//
// A cell says how one record element becomes a JSON value (put) and back (take). take
// leaves the element as it was when the JSON value does not convert. Most cells are
// stateless; one that carries a parameter (a unit scale) is passed as an instance.

struct BoolCell {
  using Element = uint8_t;
  static uint32_t put(TJsonValue *json, uint8_t element) {
    return TJsonValue_assignAsBoolean(json, element);
  }
  static void take(const TJsonValue *json, uint8_t *element) {
    uint8_t boolean = 0;
    if (TJsonValue_asBoolean(json, &boolean) == TCOMMON_SUCCESS) *element = boolean;
  }
};

// A cell with kRuns also moves whole rows of elements through Wide values, a run per
// libtjson call (moveRun): what the elements become and give is what put and take make of
// them one by one.
template <typename Number>
struct FloatCell {
  using Element = Number;
  using Wide = double;
  static constexpr bool kRuns = true;
  static double widen(Number element) { return static_cast<double>(element); }
  static Number narrow(double wide) { return static_cast<Number>(wide); }
  static uint32_t putRun(TJsonValue *array, uint64_t first, const double *values, uint64_t count) {
    return TJsonValue_assignItemsAsFloats(array, first, values, count);
  }
  static void takeRun(const TJsonValue *array, uint64_t first, double *values, uint64_t count) {
    TJsonValue_itemsAsFloats(array, first, values, count);
  }
  static uint32_t put(TJsonValue *json, Number element) {
    return TJsonValue_assignAsFloat(json, static_cast<double>(element));
  }
  static void take(const TJsonValue *json, Number *element) {
    double number = 0;
    if (TJsonValue_asFloat(json, &number) == TCOMMON_SUCCESS)
      *element = static_cast<Number>(number);
  }
};

// Integers are written modulo the element's width (a u8 written 300 holds 44) and read
// sign-extended when the element is signed.
template <typename Integer>
struct IntegerCell {
  using Element = Integer;
  using Wide = int64_t;
  // 64-bit unsigned elements above INT64_MAX are printed as unsigned: one by one.
  static constexpr bool kRuns = !std::is_same_v<Integer, uint64_t>;
  static int64_t widen(Integer element) { return static_cast<int64_t>(element); }
  static Integer narrow(int64_t wide) { return static_cast<Integer>(static_cast<uint64_t>(wide)); }
  static uint32_t putRun(TJsonValue *array, uint64_t first, const int64_t *values, uint64_t count) {
    return TJsonValue_assignItemsAsIntegers(array, first, values, count);
  }
  static void takeRun(const TJsonValue *array, uint64_t first, int64_t *values, uint64_t count) {
    TJsonValue_itemsAsIntegers(array, first, values, count);
  }
  static uint32_t put(TJsonValue *json, Integer element) {
    if constexpr (std::is_same_v<Integer, uint64_t>) {
      return TJsonValue_assignAsUnsigned(json, element);
    } else {
      return TJsonValue_assignAsInteger(json, static_cast<int64_t>(element));
    }
  }
  static void take(const TJsonValue *json, Integer *element) {
    int64_t integer = 0;
    if (TJsonValue_asInteger(json, &integer) == TCOMMON_SUCCESS) {
      *element = static_cast<Integer>(static_cast<uint64_t>(integer));
    }
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

// Moves one row of count elements as moveArray does, in runs of up to kRun elements.
template <typename Cell>
uint32_t moveRun(bool isRead, TJsonValue *json, typename Cell::Element *elements, uint64_t count) {
  constexpr uint64_t kRun = 256;
  typename Cell::Wide wide[kRun];
  if (isRead) {
    uint32_t code = TJsonValue_create(TJSON_TYPE_ARRAY, &json);
    // Making the last element first sizes the array once.
    TJsonValue *last = nullptr;
    if (code == TCOMMON_SUCCESS && count > 0) code = TJsonValue_item(json, count - 1, &last);
    for (uint64_t first = 0; code == TCOMMON_SUCCESS && first < count; first += kRun) {
      const uint64_t run = count - first < kRun ? count - first : kRun;
      for (uint64_t i = 0; i < run; ++i) wide[i] = Cell::widen(elements[first + i]);
      code = Cell::putRun(json, first, wide, run);
    }
    return code;
  }
  uint32_t type = TJSON_TYPE_NULL;
  uint64_t size = 0;
  if (TJsonValue_type(json, &type) != TCOMMON_SUCCESS || type != TJSON_TYPE_ARRAY) return 0;
  TJsonValue_size(json, &size);
  if (size < count) count = size;
  for (uint64_t first = 0; first < count; first += kRun) {
    const uint64_t run = count - first < kRun ? count - first : kRun;
    for (uint64_t i = 0; i < run; ++i) wide[i] = Cell::widen(elements[first + i]);
    Cell::takeRun(json, first, wide, run);
    for (uint64_t i = 0; i < run; ++i) elements[first + i] = Cell::narrow(wide[i]);
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
  uint32_t type = TJSON_TYPE_NULL;
  uint64_t count = 0;
  if (TJsonValue_type(json, &type) != TCOMMON_SUCCESS || type != TJSON_TYPE_ARRAY) return 0;
  TJsonValue_size(json, &count);
  if (count > shape[0]) count = shape[0];
  for (uint64_t i = 0; i < count; ++i) {
    TJsonValue *slot = nullptr;
    if (TJsonValue_item(json, i, &slot) != TCOMMON_SUCCESS) continue;
    if (dimensions == 1) {
      cell.take(slot, elements + i);
    } else {
      moveArray(false, slot, elements + i * stride, shape + 1, dimensions - 1, cell);
    }
  }
  return TCOMMON_SUCCESS;
}

// Moves a scalar (dimensions 0) or an array of the cell's elements.
template <typename Cell>
uint32_t moveElements(bool isRead, TJsonValue *json, typename Cell::Element *elements,
                      const uint64_t *shape, int dimensions, const Cell &cell = {}) {
  if (dimensions > 0) return moveArray(isRead, json, elements, shape, dimensions, cell);
  if (isRead) return cell.put(json, *elements);
  cell.take(json, elements);
  return TCOMMON_SUCCESS;
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
