/** @file
 * userlib: index map, numbers found by number, in storage of the caller's.
 *
 * A map from signed keys to unsigned values that allocates nothing: the caller brings an array of entries. Entries
 * never move, so the position of one (its iterator) stays good as a handle until that entry is removed. A new pair
 * takes the lowest free position; a search looks at one entry after the other, which suits tables of tens or hundreds.
 * Each key is there at most once.
 *
 *     IndexMapEntry store[32];
 *     IndexMap slot_of_line;
 *     NUV_IndexMap_construct(&slot_of_line, store, 32);
 *     NUV_IndexMap_insert(&slot_of_line, line, slot);
 *     for (uint32_t i = NUV_IndexMap_begin(&slot_of_line); i != NUV_IndexMap_end(&slot_of_line);
 *          i = NUV_IndexMap_next(&slot_of_line, i)) {
 *       IndexMapPair* pair = NUV_IndexMap_get(&slot_of_line, i);
 *       ...
 *     }
 *
 * Iterators are positions from 0 to the capacity; the capacity itself is the end iterator. Contracts are reported under
 * "nuv_indexmap"; every operation first requires "((void *)0) != a_this". After an error handler has returned, an
 * operation carries on with what there is: a key may then be there twice, and m_uCount may wrap. A position without an
 * entry (behind the end, and anywhere in a map with a size but no store) reads as unused, and nothing changes there.
 */
#ifndef NUV_INDEXMAP_H
#define NUV_INDEXMAP_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A key and its value. The value may be written through NUV_IndexMap_get, the key must stay. */
typedef struct IndexMapPair {
  int32_t m_iKey;    /**< any number, negative ones too */
  uint32_t m_uValue; /**< any number */
} IndexMapPair;

/** One entry of the caller's array. The operations write it. */
typedef struct IndexMapEntry {
  uint8_t m_bUsed;      /**< 1: holds a pair, 0: free; any other number: a pair that get and remove complain about */
  IndexMapPair m_oPair; /**< the pair; left over from the last one while the entry is free */
} IndexMapEntry;

/** A map. Read the fields if you like, but leave writing to the operations. */
typedef struct IndexMap {
  IndexMapEntry* m_rgMap; /**< the array of entries, the caller's */
  uint32_t m_uMapSize;    /**< number of entries in the array, the capacity */
  uint32_t m_uCount;      /**< number of entries that hold a pair */
} IndexMap;

/**
 * NUV_IndexMap_construct makes an empty map over the a_size entries at a_store, which it clears, and returns 1. The
 * array stays the caller's and must live as long as the map. Without a store the size is 0, a map that is always full.
 * Requires "( 0 != a_size) == ( ((void *)0) != a_store)". Ensures
 * "NUV_IndexMap_size( a_this) == 0", "NUV_IndexMap_maxSize( a_this) == a_size", "NUV_IndexMap_empty( a_this) == 1" and
 * "NUV_IndexMap_end( a_this) == NUV_IndexMap_begin( a_this)".
 */
NUV_API int32_t NUV_IndexMap_construct(IndexMap* a_this, IndexMapEntry* a_store, uint32_t a_size);

/** NUV_IndexMap_destruct ends the use of the map. The array is left as it is. */
NUV_API void NUV_IndexMap_destruct(IndexMap* a_this);

/** NUV_IndexMap_size returns the number of pairs in the map. */
NUV_API uint32_t NUV_IndexMap_size(const IndexMap* a_this);

/** NUV_IndexMap_maxSize returns the number of pairs that the map can hold. */
NUV_API uint32_t NUV_IndexMap_maxSize(const IndexMap* a_this);

/** NUV_IndexMap_empty returns 1 if the map holds no pair, else 0. */
NUV_API int32_t NUV_IndexMap_empty(const IndexMap* a_this);

/** NUV_IndexMap_begin returns the position of the first pair, or the end iterator if there is none. */
NUV_API uint32_t NUV_IndexMap_begin(const IndexMap* a_this);

/** NUV_IndexMap_end returns the end iterator, which is the capacity of the map. */
NUV_API uint32_t NUV_IndexMap_end(const IndexMap* a_this);

/**
 * NUV_IndexMap_next returns the position of the first pair behind a_iterator, or the end iterator if there is none. The
 * entry at a_iterator need not be in use. Requires "NUV_IndexMap_end( a_this) > a_iterator"; behind the end there is
 * none.
 */
NUV_API uint32_t NUV_IndexMap_next(const IndexMap* a_this, uint32_t a_iterator);

/** NUV_IndexMap_find returns the position of the pair with the key, or the end iterator if there is none. */
NUV_API uint32_t NUV_IndexMap_find(const IndexMap* a_this, int32_t a_key);

/**
 * NUV_IndexMap_get returns the pair at a_iterator, in the caller's array: valid until it is removed. Requires
 * "NUV_IndexMap_end( a_this) > a_iterator" and "1 == a_this->m_rgMap[a_iterator].m_bUsed"; for a position without an
 * entry it returns null.
 */
NUV_API IndexMapPair* NUV_IndexMap_get(const IndexMap* a_this, uint32_t a_iterator);

/**
 * NUV_IndexMap_at returns the value of the key. Requires that the key is there,
 * "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)"; otherwise the result is 0.
 */
NUV_API uint32_t NUV_IndexMap_at(const IndexMap* a_this, int32_t a_key);

/**
 * NUV_IndexMap_insert puts a new pair into the lowest free position and returns that. Requires room,
 * "NUV_IndexMap_size( a_this) < NUV_IndexMap_maxSize( a_this)", and a key that is not there yet,
 * "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, a_key)". Checks "i < a_this->m_uMapSize"; ensures
 * "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)" and "NUV_IndexMap_size( a_this) == ( oldsize + 1)".
 * Where no entry is free, nothing is inserted and the end iterator is returned.
 */
NUV_API uint32_t NUV_IndexMap_insert(IndexMap* a_this, int32_t a_key, uint32_t a_value);

/**
 * NUV_IndexMap_remove takes the pair at a_iterator out of the map. Requires "NUV_IndexMap_end( a_this) > a_iterator"
 * and "1 == a_this->m_rgMap[a_iterator].m_bUsed"; ensures "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this,
 * key)" and "NUV_IndexMap_size( a_this) == ( oldsize - 1)". A free entry counts as removed once more, with the key that
 * it was left with.
 */
NUV_API void NUV_IndexMap_remove(IndexMap* a_this, uint32_t a_iterator);

/** NUV_IndexMap_clear takes all pairs out of the map. Ensures "1 == NUV_IndexMap_empty( a_this)". */
NUV_API void NUV_IndexMap_clear(IndexMap* a_this);

#ifdef __cplusplus
}
#endif

#endif
