#include "nuv_indexmap.h"

#include <string.h>

#include "core/contract.h"

namespace {

constexpr char kFamily[] = "nuv_indexmap";

// The entry at a position, or null behind the end or without a store.
IndexMapEntry* entry_at(const IndexMap& map, uint32_t position) {
  return position < map.m_uMapSize && map.m_rgMap != nullptr ? &map.m_rgMap[position] : nullptr;
}

// The first position at or after the given one whose entry meets the condition, or the end.
template <typename Condition>
uint32_t first_position(const IndexMap& map, uint32_t position, Condition condition) {
  for (; const IndexMapEntry* entry = entry_at(map, position); ++position) {
    if (condition(*entry)) {
      return position;
    }
  }
  return map.m_uMapSize;
}

uint32_t first_used(const IndexMap& map, uint32_t position) {
  return first_position(map, position, [](const IndexMapEntry& entry) { return entry.m_bUsed != 0; });
}

uint32_t position_of(const IndexMap& map, int32_t key) {
  return first_position(
      map, 0, [key](const IndexMapEntry& entry) { return entry.m_bUsed != 0 && entry.m_oPair.m_iKey == key; });
}

bool has_key(const IndexMap& map, int32_t key) {
  return position_of(map, key) != map.m_uMapSize;
}

uint32_t first_free(const IndexMap& map) {
  return first_position(map, 0, [](const IndexMapEntry& entry) { return entry.m_bUsed == 0; });
}

}  // namespace

int32_t NUV_IndexMap_construct(IndexMap* a_this, IndexMapEntry* a_store, uint32_t a_size) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(( 0 != a_size) == ( ((void *)0) != a_store));
  *a_this = {a_store, a_size, /*m_uCount=*/0};
  if (a_store != nullptr) {
    memset(a_store, 0, a_size * sizeof(IndexMapEntry));
  }
  NUV_ENSURE_TEXT(a_this->m_uCount == 0, "NUV_IndexMap_size( a_this) == 0");
  NUV_ENSURE_TEXT(a_this->m_uMapSize == a_size, "NUV_IndexMap_maxSize( a_this) == a_size");
  NUV_ENSURE_TEXT(a_this->m_uCount == 0, "NUV_IndexMap_empty( a_this) == 1");
  NUV_ENSURE_TEXT(first_used(*a_this, 0) == a_this->m_uMapSize,
                  "NUV_IndexMap_end( a_this) == NUV_IndexMap_begin( a_this)");
  return 1;
}

void NUV_IndexMap_destruct([[maybe_unused]] IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
}

uint32_t NUV_IndexMap_size(const IndexMap* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uCount;
}

uint32_t NUV_IndexMap_maxSize(const IndexMap* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uMapSize;
}

int32_t NUV_IndexMap_empty(const IndexMap* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uCount == 0 ? 1 : 0;
}

uint32_t NUV_IndexMap_begin(const IndexMap* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return first_used(*a_this, 0);
}

uint32_t NUV_IndexMap_end(const IndexMap* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uMapSize;
}

uint32_t NUV_IndexMap_next(const IndexMap* a_this, uint32_t a_iterator) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uMapSize > a_iterator, "NUV_IndexMap_end( a_this) > a_iterator");
  // UINT32_MAX + 1 would wrap to the first position.
  return a_iterator < a_this->m_uMapSize ? first_used(*a_this, a_iterator + 1) : a_this->m_uMapSize;
}

uint32_t NUV_IndexMap_find(const IndexMap* a_this, int32_t a_key) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return position_of(*a_this, a_key);
}

IndexMapPair* NUV_IndexMap_get(const IndexMap* a_this, uint32_t a_iterator) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uMapSize > a_iterator, "NUV_IndexMap_end( a_this) > a_iterator");
  IndexMapEntry* const entry = entry_at(*a_this, a_iterator);
  NUV_REQUIRE_TEXT(entry != nullptr && entry->m_bUsed == 1, "1 == a_this->m_rgMap[a_iterator].m_bUsed");
  return entry != nullptr ? &entry->m_oPair : nullptr;
}

uint32_t NUV_IndexMap_at(const IndexMap* a_this, int32_t a_key) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  const IndexMapEntry* const entry = entry_at(*a_this, position_of(*a_this, a_key));
  NUV_REQUIRE_TEXT(entry != nullptr, "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)");
  return entry != nullptr ? entry->m_oPair.m_uValue : 0;
}

uint32_t NUV_IndexMap_insert(IndexMap* a_this, int32_t a_key, uint32_t a_value) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uCount < a_this->m_uMapSize, "NUV_IndexMap_size( a_this) < NUV_IndexMap_maxSize( a_this)");
  NUV_REQUIRE_TEXT(!has_key(*a_this, a_key), "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, a_key)");
  const uint32_t oldsize = a_this->m_uCount;
  const uint32_t i = first_free(*a_this);
  NUV_CHECK(i < a_this->m_uMapSize);
  if (IndexMapEntry* const entry = entry_at(*a_this, i)) {
    *entry = {/*m_bUsed=*/1, {a_key, a_value}};
    ++a_this->m_uCount;
  }
  NUV_ENSURE_TEXT(has_key(*a_this, a_key), "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)");
  NUV_ENSURE_TEXT(a_this->m_uCount == oldsize + 1, "NUV_IndexMap_size( a_this) == ( oldsize + 1)");
  return i;
}

void NUV_IndexMap_remove(IndexMap* a_this, uint32_t a_iterator) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uMapSize > a_iterator, "NUV_IndexMap_end( a_this) > a_iterator");
  IndexMapEntry* const entry = entry_at(*a_this, a_iterator);
  NUV_REQUIRE_TEXT(entry != nullptr && entry->m_bUsed == 1, "1 == a_this->m_rgMap[a_iterator].m_bUsed");
  if (entry == nullptr) {
    return;
  }
  const int32_t key = entry->m_oPair.m_iKey;
  const uint32_t oldsize = a_this->m_uCount;
  entry->m_bUsed = 0;
  --a_this->m_uCount;
  NUV_ENSURE_TEXT(!has_key(*a_this, key), "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, key)");
  NUV_ENSURE_TEXT(a_this->m_uCount == oldsize - 1, "NUV_IndexMap_size( a_this) == ( oldsize - 1)");
}

void NUV_IndexMap_clear(IndexMap* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  for (uint32_t i = first_used(*a_this, 0); i < a_this->m_uMapSize;) {
    const uint32_t following = NUV_IndexMap_next(a_this, i);
    NUV_IndexMap_remove(a_this, i);
    i = following;
  }
  NUV_ENSURE_TEXT(a_this->m_uCount == 0, "1 == NUV_IndexMap_empty( a_this)");
}
