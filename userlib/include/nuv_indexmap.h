/** @file
 * userlib: index map, numbers found by number, in storage of the caller's.
 *
 * Maps signed keys to unsigned values in an array of the caller's, each key at most once. Entries never move, so the
 * position of one (its iterator) is a handle until that entry is removed. A search walks over the array: good for tens
 * or hundreds of entries.
 *
 *     NUV_IndexMap_construct(&slot_of_line, store, 32);
 *     NUV_IndexMap_insert(&slot_of_line, line, slot);
 *     for (uint32_t i = NUV_IndexMap_begin(&slot_of_line); i != NUV_IndexMap_end(&slot_of_line);
 *          i = NUV_IndexMap_next(&slot_of_line, i)) {
 *       IndexMapPair* pair = NUV_IndexMap_get(&slot_of_line, i);
 *       ...
 *     }
 *
 * Iterators are positions from 0 to the capacity, which is the end iterator.
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

/** NUV_IndexMap_construct makes an empty map over the a_size entries at a_store, which it clears, and returns 1. The
 * array stays the caller's and must live as long as the map; without one, a_size is 0. */
NUV_API int32_t NUV_IndexMap_construct(IndexMap* a_this, IndexMapEntry* a_store, uint32_t a_size);

/** NUV_IndexMap_destruct ends the use of the map. The array is left as it is. */
NUV_API void NUV_IndexMap_destruct(IndexMap* a_this);

/** NUV_IndexMap_size returns the number of pairs in the map, NUV_IndexMap_maxSize its capacity. */
NUV_API uint32_t NUV_IndexMap_size(const IndexMap* a_this);
NUV_API uint32_t NUV_IndexMap_maxSize(const IndexMap* a_this);

/** NUV_IndexMap_empty returns 1 if the map holds no pair, else 0. */
NUV_API int32_t NUV_IndexMap_empty(const IndexMap* a_this);

/** NUV_IndexMap_begin returns the position of the first pair, NUV_IndexMap_end the end iterator. */
NUV_API uint32_t NUV_IndexMap_begin(const IndexMap* a_this);
NUV_API uint32_t NUV_IndexMap_end(const IndexMap* a_this);

/** NUV_IndexMap_next returns the position of the first pair behind a_iterator, or the end iterator. The entry at
 * a_iterator, which must be below the end, need not be in use. */
NUV_API uint32_t NUV_IndexMap_next(const IndexMap* a_this, uint32_t a_iterator);

/** NUV_IndexMap_find returns the position of the pair with the key, or the end iterator if there is none. */
NUV_API uint32_t NUV_IndexMap_find(const IndexMap* a_this, int32_t a_key);

/** NUV_IndexMap_get returns the pair at a_iterator, in the caller's array: valid until it is removed. Requires a pair
 * there. */
NUV_API IndexMapPair* NUV_IndexMap_get(const IndexMap* a_this, uint32_t a_iterator);

/** NUV_IndexMap_at returns the value of the key, which must be there. */
NUV_API uint32_t NUV_IndexMap_at(const IndexMap* a_this, int32_t a_key);

/** NUV_IndexMap_insert puts a new pair into the lowest free position and returns that. Requires room, and a key that
 * is not in the map. */
NUV_API uint32_t NUV_IndexMap_insert(IndexMap* a_this, int32_t a_key, uint32_t a_value);

/** NUV_IndexMap_remove takes the pair at a_iterator out of the map. Requires a pair there. */
NUV_API void NUV_IndexMap_remove(IndexMap* a_this, uint32_t a_iterator);

/** NUV_IndexMap_clear takes all pairs out of the map. */
NUV_API void NUV_IndexMap_clear(IndexMap* a_this);

#ifdef __cplusplus
}
#endif

#endif
