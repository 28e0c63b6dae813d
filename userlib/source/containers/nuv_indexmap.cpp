#include "nuv_indexmap.h"

#include <string.h>

#include "core/contract.h"

namespace {

constexpr char kFamily[] = "nuv_indexmap";

bool is_used(const IndexMap& map, uint32_t position) {
  return position < map.m_uMapSize && map.m_rgMap[position].m_bUsed == 1;
}

// The first position from the given one on whose entry holds a pair, or the end.
uint32_t first_used(const IndexMap& map, uint32_t position) {
  while (position < map.m_uMapSize && !is_used(map, position)) {
    ++position;
  }
  return position;
}

// The position of the entry with the key, or the end.
uint32_t position_of(const IndexMap& map, int32_t key) {
  uint32_t position = 0;
  while (position < map.m_uMapSize && !(is_used(map, position) && map.m_rgMap[position].m_oPair.m_iKey == key)) {
    ++position;
  }
  return position;
}

// The lowest position whose entry is free, or the end.
uint32_t first_free(const IndexMap& map) {
  uint32_t position = 0;
  while (is_used(map, position)) {
    ++position;
  }
  return position;
}

}  // namespace

int32_t NUV_IndexMap_construct(IndexMap* a_this, IndexMapEntry* a_store, uint32_t a_size) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(( 0 != a_size) == ( ((void *)0) != a_store));
  // Entries that no store holds do not count, or searches would read them.
  *a_this = {a_store, a_store != nullptr ? a_size : 0, /*m_uCount=*/0};
  if (a_this->m_uMapSize != 0) {
    memset(a_store, 0, a_this->m_uMapSize * sizeof(IndexMapEntry));
  }
  NUV_ENSURE(NUV_IndexMap_size( a_this) == 0);
  NUV_ENSURE(NUV_IndexMap_maxSize( a_this) == a_size);
  NUV_ENSURE(NUV_IndexMap_empty( a_this) == 1);
  NUV_ENSURE(NUV_IndexMap_end( a_this) == NUV_IndexMap_begin( a_this));
  return 1;
}

void NUV_IndexMap_destruct([[maybe_unused]] IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
}

uint32_t NUV_IndexMap_size(const IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uCount;
}

uint32_t NUV_IndexMap_maxSize(const IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uMapSize;
}

int32_t NUV_IndexMap_empty(const IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uCount == 0 ? 1 : 0;
}

uint32_t NUV_IndexMap_begin(const IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return first_used(*a_this, 0);
}

uint32_t NUV_IndexMap_end(const IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uMapSize;
}

uint32_t NUV_IndexMap_next(const IndexMap* a_this, uint32_t a_iterator) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(NUV_IndexMap_end( a_this) > a_iterator);
  // Behind the end there is nothing; the last number of all would even wrap to the first position.
  return a_iterator < a_this->m_uMapSize ? first_used(*a_this, a_iterator + 1) : a_this->m_uMapSize;
}

uint32_t NUV_IndexMap_find(const IndexMap* a_this, int32_t a_key) {
  NUV_REQUIRE(((void *)0) != a_this);
  return position_of(*a_this, a_key);
}

IndexMapPair* NUV_IndexMap_get(const IndexMap* a_this, uint32_t a_iterator) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(NUV_IndexMap_end( a_this) > a_iterator);
  NUV_REQUIRE_TEXT(is_used(*a_this, a_iterator), "1 == a_this->m_rgMap[a_iterator].m_bUsed");
  return a_iterator < a_this->m_uMapSize ? &a_this->m_rgMap[a_iterator].m_oPair : nullptr;
}

uint32_t NUV_IndexMap_at(const IndexMap* a_this, int32_t a_key) {
  NUV_REQUIRE(((void *)0) != a_this);
  const uint32_t position = NUV_IndexMap_find(a_this, a_key);
  const bool is_there = position < a_this->m_uMapSize;
  NUV_REQUIRE_TEXT(is_there, "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)");
  return is_there ? a_this->m_rgMap[position].m_oPair.m_uValue : 0;
}

uint32_t NUV_IndexMap_insert(IndexMap* a_this, int32_t a_key, uint32_t a_value) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(NUV_IndexMap_size( a_this) < NUV_IndexMap_maxSize( a_this));
  const bool is_new = NUV_IndexMap_find(a_this, a_key) == a_this->m_uMapSize;
  NUV_REQUIRE_TEXT(is_new, "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, a_key)");
  const uint32_t oldsize = a_this->m_uCount;
  const uint32_t i = first_free(*a_this);
  NUV_CHECK(i < a_this->m_uMapSize);
  // A key that is there already stays there once, or removing it would leave the other one behind.
  const bool is_accepted = is_new && i < a_this->m_uMapSize;
  if (is_accepted) {
    a_this->m_rgMap[i].m_bUsed = 1;
    a_this->m_rgMap[i].m_oPair = {a_key, a_value};
    ++a_this->m_uCount;
  }
  NUV_ENSURE(NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key));
  NUV_ENSURE(NUV_IndexMap_size( a_this) == ( oldsize + 1));
  return is_accepted ? i : a_this->m_uMapSize;
}

void NUV_IndexMap_remove(IndexMap* a_this, uint32_t a_iterator) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(NUV_IndexMap_end( a_this) > a_iterator);
  const bool was_used = is_used(*a_this, a_iterator);
  NUV_REQUIRE_TEXT(was_used, "1 == a_this->m_rgMap[a_iterator].m_bUsed");
  if (!was_used) {
    return;
  }
  const int32_t key = a_this->m_rgMap[a_iterator].m_oPair.m_iKey;
  const uint32_t oldsize = a_this->m_uCount;
  a_this->m_rgMap[a_iterator].m_bUsed = 0;
  --a_this->m_uCount;
  NUV_ENSURE(NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, key));
  NUV_ENSURE(NUV_IndexMap_size( a_this) == ( oldsize - 1));
}

void NUV_IndexMap_clear(IndexMap* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  for (uint32_t i = first_used(*a_this, 0); i < a_this->m_uMapSize;) {
    const uint32_t following = NUV_IndexMap_next(a_this, i);
    NUV_IndexMap_remove(a_this, i);
    i = following;
  }
  NUV_ENSURE(1 == NUV_IndexMap_empty( a_this));
}
