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
  TJsonValue **items;
  uint32_t size;
  uint32_t capacity;
  // items lies in the block of siblings that the children were made in (adoptChildren,
  // appendSiblings), which stays allocated until the array is given back.
  bool isInBlock;
};

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
// Makes room for extra more children. Throws std::bad_alloc.
void reserveChildren(Node *node, uint32_t extra);
// Appends child (a root) to node's children; room must have been reserved.
void appendChild(Node *node, Node *child) noexcept;
// Appends count (at least 1) new null children, made in one block of siblings; a node
// without children storage yet gets it in the same block. Returns the first of them.
// Throws std::bad_alloc, and then has appended nothing.
Node *appendSiblings(Node *node, size_t count);
// Moves count finished values (held by value, e.g. by the reader while their container
// is open) into one block of siblings and installs them as the children of an empty
// container; their own children are re-linked to their new addresses. Throws
// std::bad_alloc, and then has taken nothing.
void adoptChildren(Node *node, const Node *values, size_t count);
// Removes node from its parent's children; node becomes a root.
void detach(Node *node) noexcept;
// Position of child among parent's children.
uint32_t indexOf(const Node *parent, const Node *child) noexcept;
// The first member called name (absent ones included), or nullptr.
Node *findMember(const Node *node, const char *name, size_t length) noexcept;
// After node (already of its new type) stopped being absent: moves it to the end of its
// object, and turns absent or null containers above it into objects that appear in
// their own parents.
void makeReal(Node *node, uint8_t previousType) noexcept;
// Counts real members of an object, elements of an array.
uint64_t visibleSize(const Node *node) noexcept;
// Deep copy as a new root; absent members are left out. Throws std::bad_alloc.
Node *cloneTree(const Node *node);

}  // namespace tjson

#endif  // JSON_NODE_H
