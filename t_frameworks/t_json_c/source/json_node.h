// The JSON tree behind TJsonValue handles.
//
// The tree is ours rather than RapidJSON's DOM for two reasons: handles that the shell
// keeps must stay valid while siblings are added or removed, and a member that was looked
// up but never assigned must exist as a node that the writer skips and that becomes real
// when something is assigned to it. RapidJSON's DOM stores values inline in growing
// arrays and has no such state, so it only parses (SAX) and prints (Writer) for us.
//
// A node's address never changes. Nodes are allocated on their own or, where a container
// gets many children at once (a parsed array or object, an array grown to an index, a
// copy), as one block of siblings that is freed with the last of them: a table of 4 000
// numbers costs one allocation, not 4 000. A node knows its parent,
// which lets an assignment deep inside absent or null containers turn them into objects
// on the way up. A member stores its own name; member order is the order of `children`.
// Absent and null nodes may hold children too: the absent members that were looked up in
// them.
//
// A parsed array that holds numbers only (a row of a calibration table) has no nodes for
// its elements: it is packed, each element kept as its 8-byte payload and its type byte,
// 9 bytes instead of 72 (node and pointer). So is an array that typed runs of numbers are
// assigned to in order from empty (a table row of a read's answer). Reading it (size,
// typed reads of elements and runs, printing, copying, freeing) works on the packed
// cells. Anything that needs an element's node (an item handed out, an element added, an
// element assigned on its own) first unpacks it, once and for good, into one block of
// sibling nodes as the parse would have made: handles stay valid because a packed array
// never hands one out. Every mutable access to a container's children goes through
// childNodes(), which unpacks; so a node that exists always has a parent with unpacked
// children.
#ifndef JSON_NODE_H
#define JSON_NODE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "t_json.h"

namespace tjson {

// Bytes plus a terminating NUL. Short texts (most member names, enum strings) live in the
// node itself; longer ones get their own allocation. Trivial, so that it can sit in the
// node's union: init() and release() manage it explicitly.
struct Text {
  static constexpr uint32_t kLocalCapacity = 16;  // lengths below this are stored inline
  static constexpr uint64_t kMaximumLength = UINT32_MAX - 1;

  uint32_t length;
  union {
    char local[kLocalCapacity];
    char *heap;
  };

  const char *data() const { return length < kLocalCapacity ? local : heap; }
  bool equals(const char *bytes, size_t size) const {
    return length == size && std::memcmp(data(), bytes, size) == 0;
  }
  void init() {
    length = 0;
    local[0] = '\0';
  }
  void release() {
    if (length >= kLocalCapacity) delete[] heap;
    init();
  }
  // Replaces the content with a copy of size bytes. Throws std::bad_alloc and then leaves
  // the text unchanged. bytes may point into this text.
  void assign(const char *bytes, size_t size);
};

struct Children {
  union {
    TJsonValue **items;  // unless isPacked
    // When isPacked: the payloads of capacity elements (size of them in use), followed by
    // their types (see packedTypes), in one allocation.
    uint64_t *cells;
  };
  uint32_t size;
  uint32_t capacity;
  // items lies in the block of siblings that the children were made in (adoptChildren,
  // appendSiblings), which stays allocated until the array is given back.
  bool isInBlock;
  // An array of numbers without element nodes (see above). Never empty; grows only by
  // packed assignments (reservePacked).
  bool isPacked;
};

constexpr bool isNumberType(uint8_t type) {
  return type == TJSON_TYPE_INTEGER || type == TJSON_TYPE_UNSIGNED || type == TJSON_TYPE_FLOAT;
}
inline const uint8_t *packedTypes(const Children &children) {
  return reinterpret_cast<const uint8_t *>(children.cells + children.capacity);
}
inline uint8_t *packedTypes(Children &children) {
  return reinterpret_cast<uint8_t *>(children.cells + children.capacity);
}

// A type holds children storage when it is a container or may hold looked-up members.
constexpr bool hasChildren(uint8_t type) {
  return type == TJSON_TYPE_ABSENT || type == TJSON_TYPE_NULL || type == TJSON_TYPE_ARRAY ||
         type == TJSON_TYPE_OBJECT;
}

}  // namespace tjson

struct TJsonValue {
  TJsonValue *parent;  // nullptr for a root
  tjson::Text name;    // members only
  uint8_t type;        // TJSON_TYPE_*
  uint32_t slot;       // 0: allocated alone; n: the n-th node of a block of siblings
  union {
    uint8_t boolean;
    int64_t integer;
    uint64_t unsignedInteger;
    double number;
    tjson::Text string;
    tjson::Children children;  // when hasChildren(type)
  };
};

namespace tjson {

using Node = TJsonValue;

// Allocates a node of type with an empty payload. Throws std::bad_alloc.
Node *createNode(uint8_t type);
// Frees what node holds (name, string, children with their trees) but not the node itself,
// which is left an empty null.
void releaseContents(Node *node) noexcept;
// Frees node and everything below it; does not touch its parent. nullptr is accepted.
void destroyTree(Node *node) noexcept;
struct TreeDeleter {
  void operator()(Node *node) const noexcept { destroyTree(node); }
};
// A tree under construction, freed if a later step throws.
using OwnedNode = std::unique_ptr<Node, TreeDeleter>;
// Frees the payload (children, string) and makes node an empty value of type, in place.
// Does not make anything real upwards: see makeReal.
void resetPayload(Node *node, uint8_t type) noexcept;
// Makes room for extra more children (unpacks first). Throws std::bad_alloc.
void reserveChildren(Node *node, uint32_t extra);
// Appends child (a root) to node's children; room must have been reserved (so node is
// not packed).
void appendChild(Node *node, Node *child) noexcept;
// Appends count (at least 1) new null children, made in one block of siblings; a node
// without children storage yet gets it in the same block, a packed one is unpacked first.
// Returns the first of them.
// Throws std::bad_alloc, and then has appended nothing.
Node *appendSiblings(Node *node, size_t count);
// Moves count finished values (held by value, e.g. by the reader while their container
// is open) into one block of siblings and installs them as the children of an empty
// container; their own children are re-linked to their new addresses. Throws
// std::bad_alloc, and then has taken nothing.
void adoptChildren(Node *node, const Node *values, size_t count);
// Makes an empty array hold count numbers packed: bits[i] is the payload of element i
// (of every kind of number), types[i] its type (isNumberType). Throws std::bad_alloc,
// and then has taken nothing.
void adoptNumbers(Node *node, const uint64_t *bits, const uint8_t *types, size_t count);
// Makes an array that is packed or has no elements packed, with room for capacity
// elements (at least); the elements it has are kept. Throws std::bad_alloc, and then
// the array is unchanged.
void reservePacked(Node *node, uint32_t capacity);
// Gives a packed array its element nodes (see childNodes).
Children &unpack(Node *node);
// node's children as nodes: a packed array is unpacked first. Throws std::bad_alloc, and
// then node is still packed.
inline Children &childNodes(Node *node) {
  return node->children.isPacked ? unpack(node) : node->children;
}
// The i-th element of a packed array as a node of its own, by value (no parent, no
// slot): what its node would hold.
inline Node packedElement(const Children &children, uint32_t i) noexcept {
  Node element;
  element.parent = nullptr;
  element.name.init();
  element.type = packedTypes(children)[i];
  element.slot = 0;
  element.unsignedInteger = children.cells[i];
  return element;
}
// Removes node from its parent's children; node becomes a root.
void detach(Node *node) noexcept;
// Position of child among parent's children (never packed: child is a node).
uint32_t indexOf(const Node *parent, const Node *child) noexcept;
// The first member called name (absent ones included), or nullptr. node holds members
// (object, absent or null), so it is never packed.
Node *findMember(const Node *node, const char *name, size_t length) noexcept;
// After node (already of its new type) stopped being absent: moves it to the end of its
// object, and turns absent or null containers above it into objects that appear in
// their own parents.
void makeReal(Node *node, uint8_t previousType) noexcept;
// Counts real members of an object, elements of an array (packed or not).
uint64_t visibleSize(const Node *node) noexcept;
// Deep copy as a new root; absent members are left out, packed arrays stay packed. Throws
// std::bad_alloc.
Node *cloneTree(const Node *node);

}  // namespace tjson

#endif  // JSON_NODE_H
