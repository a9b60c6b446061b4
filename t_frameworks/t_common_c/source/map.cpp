#include <list>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>

#include "t_common.h"

namespace {

struct Entry {
  std::string key;
  void *value;
};

struct KeyHash {
  using is_transparent = void;
  size_t operator()(std::string_view key) const noexcept {
    return std::hash<std::string_view>{}(key);
  }
};

}  // namespace

// Entries live in a list so that forEach sees them in the order they were added and
// removal is constant time; the index maps views of the list's own key strings (list
// nodes never move) to their nodes, so a lookup neither copies nor allocates.
struct TCommonMap {
  std::list<Entry> entries;
  std::unordered_map<std::string_view, std::list<Entry>::iterator, KeyHash, std::equal_to<>> index;
};

extern "C" TCOMMON_API uint32_t TCommonMap_open(TCommonMap **map) {
  if (map == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *map = new (std::nothrow) TCommonMap;
  return *map == nullptr ? TCOMMON_NO_MEMORY : TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonMap_close(TCommonMap **map) {
  if (map == nullptr) return TCOMMON_INVALID_ARGUMENT;
  delete *map;
  *map = nullptr;
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonMap_add(TCommonMap *map, const char *key, void *value) {
  if (map == nullptr || key == nullptr) return TCOMMON_INVALID_ARGUMENT;
  const std::string_view view(key);
  if (map->index.find(view) != map->index.end()) return TCOMMON_INVALID_ARGUMENT;
  try {
    map->entries.push_back(Entry{std::string(view), value});
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
  auto node = std::prev(map->entries.end());
  try {
    map->index.emplace(std::string_view(node->key), node);
  } catch (const std::bad_alloc &) {
    map->entries.pop_back();
    return TCOMMON_NO_MEMORY;
  }
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonMap_get(const TCommonMap *map, const char *key,
                                               void **value) {
  if (map == nullptr || key == nullptr || value == nullptr) return TCOMMON_INVALID_ARGUMENT;
  const auto found = map->index.find(std::string_view(key));
  if (found == map->index.end()) return TCOMMON_OUT_OF_RANGE;
  *value = found->second->value;
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonMap_remove(TCommonMap *map, const char *key) {
  if (map == nullptr || key == nullptr) return TCOMMON_INVALID_ARGUMENT;
  const auto found = map->index.find(std::string_view(key));
  if (found == map->index.end()) return TCOMMON_OUT_OF_RANGE;
  const auto node = found->second;
  map->index.erase(found);  // before the node, whose string the index key views
  map->entries.erase(node);
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonMap_size(const TCommonMap *map, uint64_t *size) {
  if (map == nullptr || size == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *size = map->entries.size();
  return TCOMMON_SUCCESS;
}

extern "C" TCOMMON_API uint32_t TCommonMap_forEach(const TCommonMap *map, TCommonMapVisitor visit,
                                                   void *context) {
  if (map == nullptr || visit == nullptr) return TCOMMON_INVALID_ARGUMENT;
  for (auto it = map->entries.begin(); it != map->entries.end();) {
    // Step first, so that a visitor may remove the entry it is given.
    const auto current = it++;
    const uint32_t result = visit(context, current->key.c_str(), current->value);
    if (result != TCOMMON_SUCCESS) return result;
  }
  return TCOMMON_SUCCESS;
}
