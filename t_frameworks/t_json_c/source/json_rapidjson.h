// What the reader and the writer share of RapidJSON: the allocator of its work stacks.
#ifndef JSON_RAPIDJSON_H
#define JSON_RAPIDJSON_H

#include <cstdlib>
#include <new>

namespace tjson {

// RapidJSON's CrtAllocator hands a failed allocation back as NULL, which its stacks then
// dereference. This one throws std::bad_alloc instead, which the C entry points turn into
// TCOMMON_NO_MEMORY; the stacks only assign the new block after the call returns, so they
// stay consistent.
class ThrowingAllocator {
 public:
  static const bool kNeedFree = true;
  void *Malloc(size_t size) {
    if (size == 0) return nullptr;
    void *block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
  }
  void *Realloc(void *original, size_t, size_t newSize) {
    if (newSize == 0) {
      std::free(original);
      return nullptr;
    }
    void *block = std::realloc(original, newSize);
    if (block == nullptr) throw std::bad_alloc();
    return block;
  }
  static void Free(void *block) { std::free(block); }
};

}  // namespace tjson

#endif  // JSON_RAPIDJSON_H
