/** @file
 * userlib: index pool.
 *
 * Hands out the indices 0 to size - 1, each to one holder at a time and always the lowest that is free, so that
 * records in a fixed array can be given out and taken back. It keeps one bit an index, set while the index is
 * occupied.
 *
 *     NUV_IndexPool_construct(&lines, 256);
 *     if (NUV_IndexPool_available(&lines)) {
 *       uint32_t line = NUV_IndexPool_occupy(&lines);
 *       ...
 *       NUV_IndexPool_release(&lines, line);
 *     }
 */
#ifndef NUV_INDEXPOOL_H
#define NUV_INDEXPOOL_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Read the fields if you like, but leave writing to the operations. Index i is bit i % 8 of byte i / 8. */
typedef struct IndexPool {
  uint8_t* m_pPool; /**< the bits, from malloc, owned by the pool; spare ones of the last byte are 0 */
  uint32_t m_uSize; /**< number of indices */
  uint32_t m_uFree; /**< number of free indices */
} IndexPool;

/** NUV_IndexPool_construct makes a pool of a_size free indices (0: always exhausted) and returns 1. The bits come from
 * malloc, not from the allocator hook. A pool without memory, which is reported, can be destructed, and has no index
 * to give. */
NUV_API int32_t NUV_IndexPool_construct(IndexPool* a_this, uint32_t a_size);

/** NUV_IndexPool_destruct frees the bits. Indices that are still held need no release first. */
NUV_API void NUV_IndexPool_destruct(IndexPool* a_this);

/** NUV_IndexPool_size returns the number of indices of the pool, NUV_IndexPool_free that of the free ones, and
 * NUV_IndexPool_busy that of the occupied ones. */
NUV_API uint32_t NUV_IndexPool_size(const IndexPool* a_this);
NUV_API uint32_t NUV_IndexPool_free(const IndexPool* a_this);
NUV_API uint32_t NUV_IndexPool_busy(const IndexPool* a_this);

/** NUV_IndexPool_available returns 1 if some index is free, else 0. */
NUV_API int32_t NUV_IndexPool_available(const IndexPool* a_this);

/** NUV_IndexPool_occupied returns 1 if a_index is occupied, else 0. Requires an index below the size. */
NUV_API int32_t NUV_IndexPool_occupied(const IndexPool* a_this, uint32_t a_index);

/** NUV_IndexPool_occupy occupies the lowest free index and returns it. Requires that one is available. */
NUV_API uint32_t NUV_IndexPool_occupy(IndexPool* a_this);

/** NUV_IndexPool_occupyIndex occupies a_index. Requires an index below the size that is free. */
NUV_API void NUV_IndexPool_occupyIndex(IndexPool* a_this, uint32_t a_index);

/** NUV_IndexPool_release makes a_index free again. Requires an index below the size that is occupied. */
NUV_API void NUV_IndexPool_release(IndexPool* a_this, uint32_t a_index);

#ifdef __cplusplus
}
#endif

#endif
