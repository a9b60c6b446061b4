#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

#include "json_node.h"
#include "t_common.h"
#include "t_json.h"

using tjson::Node;
using tjson::OwnedNode;

namespace {

// Runs body, turning exceptions into result codes: none may cross the C boundary.
template <typename Body>
uint32_t guarded(Body &&body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  } catch (...) {
    return TCOMMON_FAILED;
  }
}

bool holdsMembers(const Node *node) {
  return node->type == TJSON_TYPE_OBJECT || node->type == TJSON_TYPE_ABSENT ||
         node->type == TJSON_TYPE_NULL;
}

bool canBecomeArray(const Node *node) {
  return node->type == TJSON_TYPE_ARRAY || node->type == TJSON_TYPE_ABSENT ||
         node->type == TJSON_TYPE_NULL;
}

bool isInsideTree(const Node *node, const Node *root) {
  for (; node != nullptr; node = node->parent) {
    if (node == root) return true;
  }
  return false;
}

// Replaces the value in place by an empty value of type; an absent value appears.
void changeType(Node *node, uint8_t type) noexcept {
  const uint8_t previous = node->type;
  tjson::resetPayload(node, type);
  tjson::makeReal(node, previous);
}

// An absent or null value turns into an array (the members looked up in it are dropped).
void becomeArray(Node *node) {
  if (node->type == TJSON_TYPE_ARRAY) return;
  // Take the storage first so that a failure leaves the value as it was.
  Node **items = static_cast<Node **>(std::malloc(4 * sizeof(Node *)));
  if (items == nullptr) throw std::bad_alloc();
  changeType(node, TJSON_TYPE_ARRAY);
  node->children = tjson::Children{{items}, 0, 4, false, false};
}

// An absent or null value turns into an object, keeping the members looked up in it.
void becomeObject(Node *node) noexcept {
  if (node->type == TJSON_TYPE_OBJECT) return;
  const uint8_t previous = node->type;
  node->type = TJSON_TYPE_OBJECT;
  tjson::makeReal(node, previous);
}

uint32_t memberOf(Node *object, const char *name, size_t length, Node **member) {
  // An empty text or array stands for "nothing" just like null (a read item may carry
  // "value": ""), so looking a member up in it treats it as null: an empty object to be.
  if ((object->type == TJSON_TYPE_STRING || object->type == TJSON_TYPE_ARRAY) &&
      tjson::visibleSize(object) == 0) {
    tjson::resetPayload(object, TJSON_TYPE_NULL);
  }
  if (!holdsMembers(object)) return TCOMMON_WRONG_TYPE;
  if (Node *found = tjson::findMember(object, name, length)) {
    *member = found;
    return TCOMMON_SUCCESS;
  }
  return guarded([&] {
    OwnedNode absent(tjson::createNode(TJSON_TYPE_ABSENT));
    absent->name.assign(name, length);
    tjson::reserveChildren(object, 1);
    tjson::appendChild(object, absent.get());
    *member = absent.release();
    return TCOMMON_SUCCESS;
  });
}

uint32_t itemOf(Node *array, uint64_t index, Node **item) {
  if (!canBecomeArray(array)) return TCOMMON_WRONG_TYPE;
  if (index >= UINT32_MAX) return TCOMMON_OUT_OF_RANGE;
  if (array->type == TJSON_TYPE_ARRAY && !array->children.isPacked &&
      index < array->children.size) {
    *item = array->children.items[index];
    return TCOMMON_SUCCESS;
  }
  return guarded([&] {
    becomeArray(array);
    // An element's node is handed out: a packed array gets its nodes now.
    const tjson::Children &children = tjson::childNodes(array);
    if (index >= children.size) tjson::appendSiblings(array, index + 1 - children.size);
    *item = array->children.items[index];
    return TCOMMON_SUCCESS;
  });
}

// A path segment that is all decimal digits; an index too large for 64 bits saturates
// (and is then out of range).
bool parseIndex(const char *text, size_t length, uint64_t *index) {
  if (length == 0) return false;
  uint64_t value = 0;
  for (size_t i = 0; i < length; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    const uint64_t digit = static_cast<uint64_t>(text[i] - '0');
    value = value > (UINT64_MAX - digit) / 10 ? UINT64_MAX : value * 10 + digit;
  }
  *index = value;
  return true;
}

// Appends element (a root) to array, which becomes an array first if it is absent or
// null. Links element only as its last step: when it throws, element is still a root.
void appendElement(Node *array, Node *element) {
  becomeArray(array);
  tjson::reserveChildren(array, 1);
  element->name.release();
  tjson::appendChild(array, element);
}

template <typename Fill>
uint32_t appendNew(Node *array, uint8_t type, Fill &&fill) {
  if (array == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (!canBecomeArray(array)) return TCOMMON_WRONG_TYPE;
  return guarded([&] {
    OwnedNode element(tjson::createNode(type));
    fill(element.get());
    appendElement(array, element.get());
    element.release();
    return TCOMMON_SUCCESS;
  });
}

int64_t saturateToInteger(double number) {
  if (std::isnan(number)) return 0;
  if (number >= 9223372036854775808.0) return INT64_MAX;
  if (number <= -9223372036854775808.0) return INT64_MIN;
  return static_cast<int64_t>(number);  // truncates toward zero
}

uint64_t saturateToUnsigned(double number) {
  if (std::isnan(number) || number < 1.0) return 0;
  if (number >= 18446744073709551616.0) return UINT64_MAX;
  return static_cast<uint64_t>(number);
}

// Reads a number of type (integer, unsigned, float) whose payload has bits through
// convert, which is called with an int64_t, a uint64_t or a double. Other types are
// refused and out is untouched. A packed array's elements are read this way.
template <typename Out, typename Convert>
uint32_t readCell(uint8_t type, uint64_t bits, Out *out, Convert convert) {
  switch (type) {
    case TJSON_TYPE_INTEGER:
      *out = convert(static_cast<int64_t>(bits));
      return TCOMMON_SUCCESS;
    case TJSON_TYPE_UNSIGNED:
      *out = convert(bits);
      return TCOMMON_SUCCESS;
    case TJSON_TYPE_FLOAT:
      *out = convert(std::bit_cast<double>(bits));
      return TCOMMON_SUCCESS;
    default:
      return TCOMMON_WRONG_TYPE;
  }
}

// Reads a boolean (as 0 or 1) or a number of any kind through convert, as readCell.
template <typename Out, typename Convert>
uint32_t readNumber(const Node *value, Out *out, Convert convert) {
  if (value->type == TJSON_TYPE_BOOLEAN) {
    *out = convert(static_cast<int64_t>(value->boolean != 0));
    return TCOMMON_SUCCESS;
  }
  return readCell(value->type, value->unsignedInteger, out, convert);
}

uint32_t readBoolean(const Node *value, uint8_t *out) {
  return readNumber(value, out, [](auto number) -> uint8_t { return number != 0; });
}

constexpr auto toInteger = [](auto number) -> int64_t {
  if constexpr (std::is_floating_point_v<decltype(number)>) {
    return saturateToInteger(number);
  } else {
    // An unsigned above INT64_MAX gives its two's complement bit pattern, so that a
    // caller truncating it to an unsigned field gets the exact value.
    return static_cast<int64_t>(number);
  }
};
constexpr auto toFloat = [](auto number) { return static_cast<double>(number); };

uint32_t readInteger(const Node *value, int64_t *out) {
  return readNumber(value, out, toInteger);
}

uint32_t readUnsigned(const Node *value, uint64_t *out) {
  return readNumber(value, out, [](auto number) -> uint64_t {
    if constexpr (std::is_floating_point_v<decltype(number)>) {
      return saturateToUnsigned(number);
    } else {
      return static_cast<uint64_t>(number);  // negative integers wrap
    }
  });
}

uint32_t readFloat(const Node *value, double *out) {
  return readNumber(value, out, toFloat);
}

uint32_t readString(const Node *value, const char **out) {
  if (value->type != TJSON_TYPE_STRING) return TCOMMON_WRONG_TYPE;
  *out = value->string.data();
  return TCOMMON_SUCCESS;
}

// read as a lambda rather than a function pointer, so that a loop calling it inlines it.
template <typename Out, typename Read>
uint32_t readValue(const Node *value, Out *out, Read read) {
  if (value == nullptr || out == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return read(value, out);
}

// Reads element index of array (an array, index below its size) through read, packed or
// not: a packed element is read as the node it stands for.
template <typename Out, typename Read>
uint32_t readElement(const Node *array, uint64_t index, Out *out, Read read) {
  const tjson::Children &children = array->children;
  if (children.isPacked) {
    const Node element = tjson::packedElement(children, static_cast<uint32_t>(index));
    return read(&element, out);
  }
  return read(children.items[index], out);
}

template <typename Out, typename Read>
uint32_t readItem(const Node *array, uint64_t index, Out *out, Read read) {
  if (array == nullptr || out == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (array->type != TJSON_TYPE_ARRAY) return TCOMMON_WRONG_TYPE;
  if (index >= array->children.size) return TCOMMON_OUT_OF_RANGE;
  return readElement(array, index, out, read);
}

// values[i] for each element first + i that the array has, converted by convert as
// readNumber does; stops at the first refusal when strict. converted counts the elements
// read.
template <typename Out, typename Convert>
uint32_t readElements(const Node *array, uint64_t first, Out *values, uint64_t count,
                      Convert convert, bool strict, uint64_t *converted) {
  const uint64_t size = array->children.size;
  if (first >= size) return TCOMMON_SUCCESS;
  const uint64_t end = first + std::min(count, size - first);
  const tjson::Children &children = array->children;
  // The packed test once per run, not once per element.
  auto readEach = [&](auto readAt) {
    for (uint64_t i = first; i < end; ++i) {
      const uint32_t code = readAt(i, values + (i - first));
      if (strict && code != TCOMMON_SUCCESS) return code;
      ++*converted;
    }
    return uint32_t{TCOMMON_SUCCESS};
  };
  if (children.isPacked) {
    const uint8_t *types = tjson::packedTypes(children);
    return readEach(
        [&](uint64_t i, Out *out) { return readCell(types[i], children.cells[i], out, convert); });
  }
  return readEach(
      [&](uint64_t i, Out *out) { return readNumber(children.items[i], out, convert); });
}

template <typename Out, typename Convert>
uint32_t readItems(const Node *array, uint64_t first, Out *values, uint64_t count,
                   Convert convert) {
  if (array == nullptr || (values == nullptr && count != 0)) return TCOMMON_INVALID_ARGUMENT;
  if (array->type != TJSON_TYPE_ARRAY) return TCOMMON_WRONG_TYPE;
  uint64_t converted = 0;
  return readElements(array, first, values, count, convert, false, &converted);
}

// Elements first + i become numbers of type, the i-th with the payload bitsOf(i).
template <typename BitsOf>
uint32_t assignItems(Node *array, uint64_t first, uint64_t count, uint8_t type, BitsOf &&bitsOf) {
  if (array == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (count == 0) return canBecomeArray(array) ? TCOMMON_SUCCESS : TCOMMON_WRONG_TYPE;
  if (first >= UINT32_MAX || count > UINT32_MAX - first) return TCOMMON_OUT_OF_RANGE;
  const tjson::Children &children = array->children;
  // An array of no elements filled from its start, or a packed one filled without a gap,
  // stays packed: the rows of a read's tables get no nodes.
  const bool packs =
      array->type == TJSON_TYPE_ARRAY &&
      (children.isPacked ? first <= children.size : children.size == 0 && first == 0);
  if (packs) {
    return guarded([&] {
      const auto end = static_cast<uint32_t>(first + count);
      tjson::reservePacked(array, end);
      tjson::Children &cells = array->children;
      uint8_t *types = tjson::packedTypes(cells);
      for (uint64_t i = 0; i < count; ++i) {
        cells.cells[first + i] = bitsOf(i);
        types[first + i] = type;
      }
      cells.size = std::max(cells.size, end);
      return TCOMMON_SUCCESS;
    });
  }
  Node *last = nullptr;
  const uint32_t code = itemOf(array, first + count - 1, &last);
  if (code != TCOMMON_SUCCESS) return code;
  for (uint64_t i = 0; i < count; ++i) {
    Node *element = array->children.items[first + i];
    if (element->type != type) tjson::resetPayload(element, type);
    element->unsignedInteger = bitsOf(i);  // the bits of every kind of number
  }
  return TCOMMON_SUCCESS;
}

template <typename Fill>
uint32_t assignScalar(Node *value, uint8_t type, Fill &&fill) {
  if (value == nullptr) return TCOMMON_INVALID_ARGUMENT;
  changeType(value, type);
  fill(value);
  return TCOMMON_SUCCESS;
}

}  // namespace

extern "C" {

uint32_t TJsonValue_create(uint32_t type, TJsonValue **value) {
  if (value == nullptr || type > TJSON_TYPE_OBJECT) return TCOMMON_INVALID_ARGUMENT;
  if (*value != nullptr) {
    changeType(*value, static_cast<uint8_t>(type));
    return TCOMMON_SUCCESS;
  }
  return guarded([&] {
    *value = tjson::createNode(static_cast<uint8_t>(type));
    return TCOMMON_SUCCESS;
  });
}

uint32_t TJsonValue_clone(const TJsonValue *value, TJsonValue **copy) {
  if (value == nullptr || copy == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return guarded([&] {
    *copy = tjson::cloneTree(value);
    return TCOMMON_SUCCESS;
  });
}

uint32_t TJsonValue_delete(TJsonValue *value) {
  if (value == nullptr) return TCOMMON_SUCCESS;
  tjson::detach(value);
  tjson::destroyTree(value);
  return TCOMMON_SUCCESS;
}

uint32_t TJsonValue_type(const TJsonValue *value, uint32_t *type) {
  if (value == nullptr || type == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *type = value->type;
  return TCOMMON_SUCCESS;
}

uint8_t TJsonValue_isEmpty(const TJsonValue *value) {
  if (value == nullptr) return 1;
  switch (value->type) {
    case TJSON_TYPE_ABSENT:
    case TJSON_TYPE_NULL:
      return 1;
    case TJSON_TYPE_OBJECT:
    case TJSON_TYPE_ARRAY:
    case TJSON_TYPE_STRING:
      return tjson::visibleSize(value) == 0 ? 1 : 0;
    default:
      return 0;
  }
}

uint32_t TJsonValue_size(const TJsonValue *value, uint64_t *size) {
  if (value == nullptr || size == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *size = tjson::visibleSize(value);
  return TCOMMON_SUCCESS;
}

uint32_t TJsonValue_member(TJsonValue *object, const char *name, TJsonValue **member) {
  if (object == nullptr || name == nullptr || member == nullptr) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  return memberOf(object, name, std::strlen(name), member);
}

uint32_t TJsonPath(TJsonValue *value, const char *path, TJsonValue **out) {
  if (value == nullptr || path == nullptr || out == nullptr) return TCOMMON_INVALID_ARGUMENT;
  Node *current = value;
  // An empty path designates the value itself; otherwise every '.' separates two names.
  if (*path != '\0') {
    const char *segment = path;
    for (;;) {
      const char *dot = std::strchr(segment, '.');
      const size_t length =
          dot != nullptr ? static_cast<size_t>(dot - segment) : std::strlen(segment);
      uint64_t index = 0;
      uint32_t result;
      if (current->type == TJSON_TYPE_ARRAY && parseIndex(segment, length, &index)) {
        result = itemOf(current, index, &current);
      } else {
        result = memberOf(current, segment, length, &current);
      }
      if (result != TCOMMON_SUCCESS) return result;
      if (dot == nullptr) break;
      segment = dot + 1;
    }
  }
  *out = current;
  return TCOMMON_SUCCESS;
}

uint32_t TJsonValue_item(TJsonValue *array, uint64_t index, TJsonValue **item) {
  if (array == nullptr || item == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return itemOf(array, index, item);
}

uint32_t TJsonValue_forEachMember(TJsonValue *object, TJsonMemberVisitor visit, void *context) {
  if (object == nullptr || visit == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (object->type != TJSON_TYPE_OBJECT) return TCOMMON_WRONG_TYPE;
  // Indexes rather than pointers: the visitor may add members (or look some up).
  for (uint32_t i = 0; object->type == TJSON_TYPE_OBJECT && i < object->children.size; ++i) {
    Node *member = object->children.items[i];
    if (member->type == TJSON_TYPE_ABSENT) continue;
    const uint32_t result = visit(context, member->name.data(), member);
    if (result != 0) return result;
  }
  return TCOMMON_SUCCESS;
}

uint32_t TJsonValue_removeMemberFromObject(TJsonValue *object, const char *name) {
  if (object == nullptr || name == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (!holdsMembers(object)) return TCOMMON_WRONG_TYPE;
  const size_t length = std::strlen(name);
  tjson::Children &children = object->children;
  uint32_t kept = 0;
  for (uint32_t i = 0; i < children.size; ++i) {
    Node *member = children.items[i];
    if (member->name.equals(name, length)) {
      tjson::destroyTree(member);
    } else {
      children.items[kept++] = member;
    }
  }
  children.size = kept;
  return TCOMMON_SUCCESS;
}

uint32_t TJsonValue_asBoolean(const TJsonValue *value, uint8_t *out) {
  return readValue(value, out, readBoolean);
}

uint32_t TJsonValue_asInteger(const TJsonValue *value, int64_t *out) {
  return readValue(value, out, readInteger);
}

uint32_t TJsonValue_asUnsigned(const TJsonValue *value, uint64_t *out) {
  return readValue(value, out, readUnsigned);
}

uint32_t TJsonValue_asFloat(const TJsonValue *value, double *out) {
  return readValue(value, out, readFloat);
}

uint32_t TJsonValue_asString(const TJsonValue *value, const char **text) {
  return readValue(value, text, readString);
}

uint32_t TJsonValue_itemAsBoolean(const TJsonValue *array, uint64_t index, uint8_t *out) {
  return readItem(array, index, out, readBoolean);
}

uint32_t TJsonValue_itemAsInteger(const TJsonValue *array, uint64_t index, int64_t *out) {
  return readItem(array, index, out, readInteger);
}

uint32_t TJsonValue_itemAsUnsigned(const TJsonValue *array, uint64_t index, uint64_t *out) {
  return readItem(array, index, out, readUnsigned);
}

uint32_t TJsonValue_itemAsFloat(const TJsonValue *array, uint64_t index, double *out) {
  return readItem(array, index, out, readFloat);
}

uint32_t TJsonValue_itemAsString(const TJsonValue *array, uint64_t index, const char **text) {
  return readItem(array, index, text, readString);
}

uint32_t TJsonValue_itemsAsIntegers(const TJsonValue *array, uint64_t first, int64_t *values,
                                    uint64_t count) {
  return readItems(array, first, values, count, toInteger);
}

uint32_t TJsonValue_itemsAsFloats(const TJsonValue *array, uint64_t first, double *values,
                                  uint64_t count) {
  return readItems(array, first, values, count, toFloat);
}

uint32_t TJsonValue_itemsAsIntegersStrict(const TJsonValue *array, uint64_t first, int64_t *values,
                                          uint64_t count, uint64_t *converted) {
  if (array == nullptr || converted == nullptr || (values == nullptr && count != 0)) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  *converted = 0;
  if (array->type != TJSON_TYPE_ARRAY) return TCOMMON_WRONG_TYPE;
  return readElements(array, first, values, count, toInteger, true, converted);
}

uint32_t TJsonValue_assignItemsAsIntegers(TJsonValue *array, uint64_t first, const int64_t *values,
                                          uint64_t count) {
  if (values == nullptr && count != 0) return TCOMMON_INVALID_ARGUMENT;
  return assignItems(array, first, count, TJSON_TYPE_INTEGER,
                     [values](uint64_t i) { return static_cast<uint64_t>(values[i]); });
}

uint32_t TJsonValue_assignItemsAsFloats(TJsonValue *array, uint64_t first, const double *values,
                                        uint64_t count) {
  if (values == nullptr && count != 0) return TCOMMON_INVALID_ARGUMENT;
  return assignItems(array, first, count, TJSON_TYPE_FLOAT,
                     [values](uint64_t i) { return std::bit_cast<uint64_t>(values[i]); });
}

uint32_t TJsonValue_assignAsNull(TJsonValue *value) {
  return assignScalar(value, TJSON_TYPE_NULL, [](Node *) {});
}

uint32_t TJsonValue_assignAsBoolean(TJsonValue *value, uint8_t boolean) {
  return assignScalar(value, TJSON_TYPE_BOOLEAN,
                      [&](Node *node) { node->boolean = boolean != 0 ? 1 : 0; });
}

uint32_t TJsonValue_assignAsInteger(TJsonValue *value, int64_t integer) {
  return assignScalar(value, TJSON_TYPE_INTEGER, [&](Node *node) { node->integer = integer; });
}

uint32_t TJsonValue_assignAsUnsigned(TJsonValue *value, uint64_t integer) {
  // Values that fit keep the signed kind, as the reader stores them.
  if (integer <= INT64_MAX) return TJsonValue_assignAsInteger(value, static_cast<int64_t>(integer));
  return assignScalar(value, TJSON_TYPE_UNSIGNED,
                      [&](Node *node) { node->unsignedInteger = integer; });
}

uint32_t TJsonValue_assignAsFloat(TJsonValue *value, double number) {
  return assignScalar(value, TJSON_TYPE_FLOAT, [&](Node *node) { node->number = number; });
}

uint32_t TJsonValue_assignAsString(TJsonValue *value, const char *text) {
  if (value == nullptr || text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return TJsonValue_assignAsStringLength(value, text, std::strlen(text));
}

uint32_t TJsonValue_assignAsStringLength(TJsonValue *value, const char *text, uint64_t length) {
  if (value == nullptr || (text == nullptr && length != 0)) return TCOMMON_INVALID_ARGUMENT;
  if (length > tjson::Text::kMaximumLength) return TCOMMON_INVALID_ARGUMENT;
  return guarded([&] {
    // Copy first: text may point into the value's current string.
    tjson::Text copy;
    copy.init();
    copy.assign(text, static_cast<size_t>(length));
    changeType(value, TJSON_TYPE_STRING);
    value->string = copy;
    return TCOMMON_SUCCESS;
  });
}

uint32_t TJsonValue_assignAsStringSpace(TJsonValue *value, uint64_t length, char **text) {
  if (text != nullptr) *text = nullptr;
  if (value == nullptr || text == nullptr || length > tjson::Text::kMaximumLength) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  return guarded([&] {
    // Allocated first, so that a failure leaves the value as it was.
    tjson::Text space;
    space.init();
    if (length >= tjson::Text::kLocalCapacity) space.heap = new char[length + 1];
    space.length = static_cast<uint32_t>(length);
    char *bytes = length >= tjson::Text::kLocalCapacity ? space.heap : space.local;
    std::memset(bytes, 0, length < tjson::Text::kLocalCapacity ? length + 1 : 0);
    bytes[length] = '\0';
    changeType(value, TJSON_TYPE_STRING);
    value->string = space;
    *text = length >= tjson::Text::kLocalCapacity ? value->string.heap : value->string.local;
    return TCOMMON_SUCCESS;
  });
}

uint32_t TJsonValue_addValueToArray(TJsonValue *array, TJsonValue *element) {
  if (array == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (element == nullptr) return appendNew(array, TJSON_TYPE_NULL, [](Node *) {});
  if (element->parent != nullptr || isInsideTree(array, element)) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  if (!canBecomeArray(array)) return TCOMMON_WRONG_TYPE;
  return guarded([&] {
    appendElement(array, element);
    return TCOMMON_SUCCESS;
  });
}

uint32_t TJsonValue_addBooleanToArray(TJsonValue *array, uint8_t boolean) {
  return appendNew(array, TJSON_TYPE_BOOLEAN,
                   [&](Node *node) { node->boolean = boolean != 0 ? 1 : 0; });
}

uint32_t TJsonValue_addIntegerToArray(TJsonValue *array, int64_t integer) {
  return appendNew(array, TJSON_TYPE_INTEGER, [&](Node *node) { node->integer = integer; });
}

uint32_t TJsonValue_addUnsignedToArray(TJsonValue *array, uint64_t integer) {
  if (integer <= INT64_MAX)
    return TJsonValue_addIntegerToArray(array, static_cast<int64_t>(integer));
  return appendNew(array, TJSON_TYPE_UNSIGNED,
                   [&](Node *node) { node->unsignedInteger = integer; });
}

uint32_t TJsonValue_addFloatToArray(TJsonValue *array, double number) {
  return appendNew(array, TJSON_TYPE_FLOAT, [&](Node *node) { node->number = number; });
}

uint32_t TJsonValue_addStringToArray(TJsonValue *array, const char *text) {
  if (text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return appendNew(array, TJSON_TYPE_STRING,
                   [&](Node *node) { node->string.assign(text, std::strlen(text)); });
}

uint32_t TJsonValue_addValueToObject(TJsonValue *object, const char *name, TJsonValue *member) {
  if (object == nullptr || name == nullptr || member == nullptr) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  if (member->parent != nullptr || isInsideTree(object, member)) return TCOMMON_INVALID_ARGUMENT;
  if (!holdsMembers(object)) return TCOMMON_WRONG_TYPE;
  const size_t length = std::strlen(name);
  return guarded([&] {
    member->name.assign(name, length);
    Node *existing = tjson::findMember(object, name, length);
    if (existing != nullptr && existing->type != TJSON_TYPE_ABSENT) {
      object->children.items[tjson::indexOf(object, existing)] = member;
      member->parent = object;
      tjson::destroyTree(existing);
      return TCOMMON_SUCCESS;
    }
    tjson::reserveChildren(object, 1);
    if (existing != nullptr) {
      // Only looked up so far: the new value takes its turn at the end.
      tjson::detach(existing);
      tjson::destroyTree(existing);
    }
    becomeObject(object);
    tjson::appendChild(object, member);
    return TCOMMON_SUCCESS;
  });
}

}  // extern "C"
