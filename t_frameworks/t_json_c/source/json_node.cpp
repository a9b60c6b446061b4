#include "json_node.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace tjson {

namespace {

// The header of a block of siblings; the nodes follow it. A block may also hold the
// children array of the nodes' parent, after the nodes and a pointer back to the header.
struct alignas(Node) SiblingBlock {
  uint32_t live;  // nodes of the block not yet freed, plus one for a children array in it
};
static_assert(sizeof(SiblingBlock) % alignof(Node) == 0, "nodes follow the header aligned");

Node *firstSibling(SiblingBlock *block) {
  return reinterpret_cast<Node *>(reinterpret_cast<char *>(block) + sizeof(SiblingBlock));
}
SiblingBlock *blockOf(Node *node) {
  return reinterpret_cast<SiblingBlock *>(reinterpret_cast<char *>(node - (node->slot - 1)) -
                                          sizeof(SiblingBlock));
}

// Nodes allocated on their own come and go with every request (the "value" looked up in
// an item, a member added to it): a read of a few hundred keys makes two per key and
// frees them all at its end. Each thread keeps up to 1 024 freed ones (64 KiB) for the
// next allocations, enough for the next request of that size to take no new ones.
class NodeCache {
 public:
  NodeCache() = default;
  NodeCache(const NodeCache &) = delete;
  NodeCache &operator=(const NodeCache &) = delete;
  ~NodeCache() {
    while (void *memory = take()) ::operator delete(memory);
    count_ = kLimit;  // a node freed later in this thread's exit goes straight back
  }
  void *take() noexcept {
    if (head_ == nullptr) return nullptr;
    Free *first = head_;
    head_ = first->next;
    --count_;
    return first;
  }
  bool give(void *memory) noexcept {
    if (count_ == kLimit) return false;
    head_ = new (memory) Free{head_};
    ++count_;
    return true;
  }

 private:
  // Under AddressSanitizer every node goes back to the allocator, so that a use after
  // free is still caught.
#if defined(__SANITIZE_ADDRESS__)
  static constexpr uint32_t kLimit = 0;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  static constexpr uint32_t kLimit = 0;
#else
  static constexpr uint32_t kLimit = 1024;
#endif
#else
  static constexpr uint32_t kLimit = 1024;
#endif
  struct Free {
    Free *next;
  };
  Free *head_ = nullptr;
  uint32_t count_ = 0;
};

thread_local NodeCache nodeCache;

// Frees the node itself; its payload must hold nothing.
void freeStorage(Node *node) noexcept {
  if (node->slot == 0) {
    if (!nodeCache.give(node)) ::operator delete(node);
    return;
  }
  SiblingBlock *block = blockOf(node);
  if (--block->live == 0) std::free(block);
}

// A node of a block of siblings that holds nothing to free: a number, a boolean, with a
// name (if any) stored in the node.
bool isPlainSibling(const Node *node) noexcept {
  return node->slot != 0 && !hasChildren(node->type) && node->type != TJSON_TYPE_STRING &&
         node->name.length < Text::kLocalCapacity;
}

// Gives a children array back: to the allocator, or to the block of siblings it lies in.
// A packed array's cells are one allocation of their own (never in a block).
void releaseItems(Children &children) noexcept {
  if (children.items == nullptr) return;
  if (children.isInBlock) {
    SiblingBlock *block = reinterpret_cast<SiblingBlock **>(children.items)[-1];
    if (--block->live == 0) std::free(block);
  } else {
    std::free(children.items);
  }
  children.items = nullptr;
  children.isInBlock = false;
  children.isPacked = false;
}

void freeNode(Node *node) noexcept {
  node->name.release();
  if (node->type == TJSON_TYPE_STRING) {
    node->string.release();
  } else if (hasChildren(node->type)) {
    releaseItems(node->children);
  }
  freeStorage(node);
}

void initPayload(Node *node, uint8_t type) noexcept {
  node->type = type;
  if (type == TJSON_TYPE_STRING) {
    node->string.init();
  } else if (hasChildren(type)) {
    node->children = Children{{nullptr}, 0, 0, false, false};
  } else {
    node->unsignedInteger = 0;  // also false and 0.0
  }
}

void moveToEnd(Node *parent, Node *child) noexcept {
  Children &children = parent->children;
  const uint32_t index = indexOf(parent, child);
  if (index + 1 >= children.size) return;
  std::memmove(children.items + index, children.items + index + 1,
               (children.size - index - 1) * sizeof(Node *));
  children.items[children.size - 1] = child;
}

// Makes copy (an empty null) a copy of source without its children; withName also copies
// the member name. Throws std::bad_alloc, and then copy holds nothing.
void copyShallow(const Node *source, Node *copy, bool withName) {
  initPayload(copy, source->type);
  switch (source->type) {
    case TJSON_TYPE_STRING:
      copy->string.assign(source->string.data(), source->string.length);
      break;
    case TJSON_TYPE_BOOLEAN:
    case TJSON_TYPE_INTEGER:
    case TJSON_TYPE_UNSIGNED:
    case TJSON_TYPE_FLOAT:
      copy->unsignedInteger = source->unsignedInteger;  // copies the bits of every scalar
      break;
    default:
      break;
  }
  if (!withName) return;
  try {
    copy->name.assign(source->name.data(), source->name.length);
  } catch (...) {
    releaseContents(copy);
    throw;
  }
}

}  // namespace

void Text::assign(const char *bytes, size_t size) {
  if (size > kMaximumLength) throw std::bad_alloc();
  if (size < kLocalCapacity) {
    // local shares its storage with heap: keep the old block until the copy is done.
    char *old = length >= kLocalCapacity ? heap : nullptr;
    if (size != 0) std::memmove(local, bytes, size);
    local[size] = '\0';
    length = static_cast<uint32_t>(size);
    delete[] old;
    return;
  }
  char *fresh = new char[size + 1];
  std::memcpy(fresh, bytes, size);
  fresh[size] = '\0';
  if (length >= kLocalCapacity) delete[] heap;
  heap = fresh;
  length = static_cast<uint32_t>(size);
}

namespace {

void initNode(Node *node, uint8_t type, uint32_t slot) noexcept {
  node->parent = nullptr;
  node->name.init();
  node->slot = slot;
  initPayload(node, type);
}

// One block for count siblings; the rest of each node is left to the caller. With
// capacity, the block also holds a children array of that many entries for their parent,
// returned in items.
Node *allocateSiblings(size_t count, size_t capacity = 0, Node ***items = nullptr) {
  if (count == 0 || count >= UINT32_MAX || capacity > UINT32_MAX) throw std::bad_alloc();
  const size_t itemBytes = capacity != 0 ? sizeof(SiblingBlock *) + capacity * sizeof(Node *) : 0;
  void *memory = std::malloc(sizeof(SiblingBlock) + count * sizeof(Node) + itemBytes);
  if (memory == nullptr) throw std::bad_alloc();
  auto *block = static_cast<SiblingBlock *>(memory);
  block->live = static_cast<uint32_t>(count);
  Node *nodes = firstSibling(block);
  if (capacity != 0) {
    auto *back = reinterpret_cast<SiblingBlock **>(nodes + count);
    *back = block;
    *items = reinterpret_cast<Node **>(back + 1);
    ++block->live;
  }
  return nodes;
}

}  // namespace

Node *createNode(uint8_t type) {
  void *memory = nodeCache.take();
  if (memory == nullptr) memory = ::operator new(sizeof(Node));
  Node *node = static_cast<Node *>(memory);
  initNode(node, type, 0);
  return node;
}

void releaseContents(Node *node) noexcept {
  node->name.release();
  resetPayload(node, TJSON_TYPE_NULL);
}

void destroyTree(Node *root) noexcept {
  // Walks down to the last child and frees on the way back up through the parent
  // links, so that neither depth nor a failed allocation can stop a release.
  Node *node = root;
  while (node != nullptr) {
    if (hasChildren(node->type)) {
      Children &children = node->children;
      if (children.isPacked) {  // one free, no nodes
        releaseItems(children);
        children.size = 0;
      }
      // Childless children (the numbers of a table) are freed right here; a run of plain
      // scalars that lie side by side in one block of siblings (a row of numbers) is
      // given back to its block in one step.
      while (children.size != 0) {
        Node *last = children.items[children.size - 1];
        if (hasChildren(last->type) && last->children.size != 0 && !last->children.isPacked) {
          break;
        }
        if (isPlainSibling(last)) {
          uint32_t run = 1;
          while (run < children.size && last->slot > run &&
                 children.items[children.size - 1 - run] == last - run &&
                 isPlainSibling(last - run)) {
            ++run;
          }
          children.size -= run;
          SiblingBlock *block = blockOf(last);
          block->live -= run;
          if (block->live == 0) std::free(block);
          continue;
        }
        --children.size;
        freeNode(last);
      }
      if (children.size != 0) {
        node = children.items[--children.size];
        continue;
      }
    }
    Node *up = node == root ? nullptr : node->parent;
    freeNode(node);
    node = up;
  }
}

void resetPayload(Node *node, uint8_t type) noexcept {
  if (node->type == TJSON_TYPE_STRING) {
    node->string.release();
  } else if (hasChildren(node->type) && node->children.items != nullptr) {
    // Most values that change type are fresh nulls with no storage (the elements of a
    // reply's arrays): they skip the walk and the call to free.
    Children &children = node->children;
    if (!children.isPacked) {
      for (uint32_t i = 0; i < children.size; ++i) destroyTree(children.items[i]);
    }
    releaseItems(children);
  }
  initPayload(node, type);
}

void reserveChildren(Node *node, uint32_t extra) {
  Children &children = childNodes(node);
  const uint64_t needed = uint64_t{children.size} + extra;
  if (needed <= children.capacity) return;
  if (needed > UINT32_MAX) throw std::bad_alloc();
  uint64_t capacity = children.capacity < 4 ? 4 : uint64_t{children.capacity} * 2;
  if (capacity < needed) capacity = needed;
  if (capacity > UINT32_MAX) capacity = UINT32_MAX;
  if (children.isInBlock) {
    // An array in a block of siblings cannot grow there: it moves out.
    auto *items = static_cast<Node **>(std::malloc(capacity * sizeof(Node *)));
    if (items == nullptr) throw std::bad_alloc();
    std::memcpy(items, children.items, children.size * sizeof(Node *));
    releaseItems(children);
    children.items = items;
  } else {
    void *items = std::realloc(children.items, capacity * sizeof(Node *));
    if (items == nullptr) throw std::bad_alloc();
    children.items = static_cast<Node **>(items);
  }
  children.capacity = static_cast<uint32_t>(capacity);
}

Node *appendSiblings(Node *node, size_t count) {
  Children &children = childNodes(node);
  Node *nodes = nullptr;
  if (children.items == nullptr) {
    Node **items = nullptr;
    nodes = allocateSiblings(count, count, &items);
    children = Children{{items}, 0, static_cast<uint32_t>(count), true, false};
  } else {
    if (count > UINT32_MAX) throw std::bad_alloc();
    reserveChildren(node, static_cast<uint32_t>(count));
    nodes = allocateSiblings(count);
  }
  for (size_t i = 0; i < count; ++i) {
    initNode(nodes + i, TJSON_TYPE_NULL, static_cast<uint32_t>(i + 1));
    appendChild(node, nodes + i);
  }
  return nodes;
}

void appendChild(Node *node, Node *child) noexcept {
  child->parent = node;
  node->children.items[node->children.size++] = child;
}

void adoptChildren(Node *node, const Node *values, size_t count) {
  if (count == 0) return;
  if (count > UINT32_MAX) throw std::bad_alloc();
  // An object gets room for one more member: a request item is answered by adding
  // "value" to it. The children array lies in the block of the children.
  const size_t capacity = node->type == TJSON_TYPE_OBJECT ? count + 1 : count;
  Node **items = nullptr;
  Node *nodes = allocateSiblings(count, capacity, &items);
  std::memcpy(static_cast<void *>(nodes), values, count * sizeof(Node));
  for (size_t i = 0; i < count; ++i) {
    Node *child = nodes + i;
    child->slot = static_cast<uint32_t>(i + 1);
    child->parent = node;
    items[i] = child;
    if (hasChildren(child->type) && !child->children.isPacked) {
      for (uint32_t j = 0; j < child->children.size; ++j) child->children.items[j]->parent = child;
    }
  }
  node->children =
      Children{{items}, static_cast<uint32_t>(count), static_cast<uint32_t>(capacity), true, false};
}

void adoptNumbers(Node *node, const uint64_t *bits, const uint8_t *types, size_t count) {
  if (count == 0) return;
  if (count > UINT32_MAX) throw std::bad_alloc();
  auto *cells = static_cast<uint64_t *>(std::malloc(count * (sizeof(uint64_t) + 1)));
  if (cells == nullptr) throw std::bad_alloc();
  std::memcpy(cells, bits, count * sizeof(uint64_t));
  std::memcpy(cells + count, types, count);
  const auto size = static_cast<uint32_t>(count);
  node->children = Children{{nullptr}, size, size, false, true};
  node->children.cells = cells;
}

void reservePacked(Node *node, uint32_t capacity) {
  Children &children = node->children;
  if (children.isPacked && capacity <= children.capacity) return;
  const uint32_t size = children.isPacked ? children.size : 0;
  // Doubling: a row assigned run by run is copied a few times, not once per run.
  uint64_t room = capacity;
  if (children.isPacked) room = std::max<uint64_t>(room, uint64_t{children.capacity} * 2);
  if (room > UINT32_MAX) room = UINT32_MAX;
  auto *cells = static_cast<uint64_t *>(std::malloc(room * (sizeof(uint64_t) + 1)));
  if (cells == nullptr) throw std::bad_alloc();
  if (size != 0) {
    std::memcpy(cells, children.cells, size * sizeof(uint64_t));
    std::memcpy(cells + room, packedTypes(children), size);
  }
  releaseItems(children);
  children = Children{{nullptr}, size, static_cast<uint32_t>(room), false, true};
  children.cells = cells;
}

Children &unpack(Node *node) {
  Children &children = node->children;
  // The block the parse would have made: the nodes, then the children array.
  const uint32_t count = children.size;
  Node **items = nullptr;
  Node *nodes = allocateSiblings(count, count, &items);
  const uint8_t *types = packedTypes(children);
  for (uint32_t i = 0; i < count; ++i) {
    Node *child = nodes + i;
    initNode(child, types[i], i + 1);
    child->unsignedInteger = children.cells[i];
    child->parent = node;
    items[i] = child;
  }
  std::free(children.cells);
  children = Children{{items}, count, count, true, false};
  return children;
}

uint32_t indexOf(const Node *parent, const Node *child) noexcept {
  const Children &children = parent->children;
  // Callers mostly touch recent members: search from the end.
  for (uint32_t i = children.size; i-- > 0;) {
    if (children.items[i] == child) return i;
  }
  return children.size;
}

void detach(Node *node) noexcept {
  Node *parent = node->parent;
  if (parent == nullptr) return;
  Children &children = parent->children;
  const uint32_t index = indexOf(parent, node);
  if (index < children.size) {
    std::memmove(children.items + index, children.items + index + 1,
                 (children.size - index - 1) * sizeof(Node *));
    --children.size;
  }
  node->parent = nullptr;
  node->name.release();
}

Node *findMember(const Node *node, const char *name, size_t length) noexcept {
  const Children &children = node->children;
  for (uint32_t i = 0; i < children.size; ++i) {
    if (children.items[i]->name.equals(name, length)) return children.items[i];
  }
  return nullptr;
}

void makeReal(Node *node, uint8_t previousType) noexcept {
  if (node->type == TJSON_TYPE_ABSENT) return;
  bool appeared = previousType == TJSON_TYPE_ABSENT;
  Node *child = node;
  while (Node *parent = child->parent) {
    if (parent->type == TJSON_TYPE_ARRAY) return;
    // A member that appears goes to the end, as if it had just been added.
    if (appeared) moveToEnd(parent, child);
    if (parent->type != TJSON_TYPE_ABSENT && parent->type != TJSON_TYPE_NULL) return;
    const uint8_t was = parent->type;
    parent->type = TJSON_TYPE_OBJECT;    // keeps its (absent) members
    if (was == TJSON_TYPE_NULL) return;  // a null was already printed in its parent
    child = parent;
    appeared = true;
  }
}

uint64_t visibleSize(const Node *node) noexcept {
  switch (node->type) {
    case TJSON_TYPE_ARRAY:
      return node->children.size;
    case TJSON_TYPE_OBJECT: {
      uint64_t count = 0;
      for (uint32_t i = 0; i < node->children.size; ++i) {
        if (node->children.items[i]->type != TJSON_TYPE_ABSENT) ++count;
      }
      return count;
    }
    case TJSON_TYPE_STRING:
      return node->string.length;
    default:
      return 0;
  }
}

Node *cloneTree(const Node *source) {
  OwnedNode root(createNode(TJSON_TYPE_NULL));
  copyShallow(source, root.get(), false);
  // Explicit stack: a tree built through the API has no depth limit.
  std::vector<std::pair<const Node *, Node *>> pending;
  pending.emplace_back(source, root.get());
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    if (from->type != TJSON_TYPE_ARRAY && from->type != TJSON_TYPE_OBJECT) continue;
    const bool isObject = from->type == TJSON_TYPE_OBJECT;
    const uint64_t count = visibleSize(from);
    if (count == 0) continue;
    if (from->children.isPacked) {
      const Children &cells = from->children;
      const size_t bytes = cells.capacity * (sizeof(uint64_t) + 1);
      void *copy = std::malloc(bytes);
      if (copy == nullptr) throw std::bad_alloc();
      std::memcpy(copy, cells.cells, bytes);
      to->children = cells;
      to->children.cells = static_cast<uint64_t *>(copy);
      continue;
    }
    // Linked first, so that the tree frees them whatever throws next.
    Node *copies = appendSiblings(to, count);
    Node *copy = copies;
    for (uint32_t i = 0; i < from->children.size; ++i) {
      const Node *child = from->children.items[i];
      if (isObject && child->type == TJSON_TYPE_ABSENT) continue;
      copyShallow(child, copy, isObject);
      pending.emplace_back(child, copy);
      ++copy;
    }
  }
  return root.release();
}

}  // namespace tjson
