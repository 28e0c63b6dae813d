/** @file
 * userlib: memory block, and the allocator that the daemon may choose.
 *
 * A Memory owns one heap block: address, size, and the function that gives it back. Blocks are handed on by move or
 * swap; no operation copies the bytes. Two functions for the whole process, the allocator hook, make and free the
 * blocks of this family, of frames and of messages; a daemon may install its own to count or to pool. They must not
 * touch the block that is being worked on.
 *
 *     NUV_Memory_construct(&request, 64);
 *     uint8_t* address_field = NUV_Memory_get(&request, 4, 12);   // 4 bytes at offset 12
 *     ...
 *     NUV_Memory_move(&queue_slot, &request);                     // request is empty now
 */
#ifndef NUV_MEMORY_H
#define NUV_MEMORY_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Gives a block of a_size bytes (never 0), aligned for every type, or null. Its contents may be anything. */
typedef void* (*NUV_MemoryAlloc)(uint32_t a_size);

/** Takes back a block with the size that it was made with, or null, which stands for no block, with any size. */
typedef void (*NUV_MemoryFree)(void* a_addr, uint32_t a_size);

/** An owned block. Read the fields and write the bytes at m_pAddr, but leave writing the fields to the operations. */
typedef struct Memory {
  uint8_t* m_pAddr;       /**< start of the block, owned; null for an empty handle */
  uint32_t m_uSize;       /**< bytes in the block; 0 for an empty handle */
  NUV_MemoryFree m_pFree; /**< gives this block back */
} Memory;

/** NUV_installMemoryManager makes a_alloc and a_free the hook for blocks made from now on; a block keeps the free
 * function that it was made with. Install once at the start: the pair has no lock. */
NUV_API void NUV_installMemoryManager(NUV_MemoryAlloc a_alloc, NUV_MemoryFree a_free);

/** NUV_Memory_construct takes a block of a_size bytes, uninitialised, and returns 1. With a_size 0 the handle is
 * empty. Without memory, which is reported, it keeps its size at the address null. */
NUV_API int32_t NUV_Memory_construct(Memory* a_this, uint32_t a_size);

/** NUV_Memory_destruct gives the block back. The fields stay as they are: destruct once, or construct again. */
NUV_API void NUV_Memory_destruct(Memory* a_this);

/** NUV_Memory_size returns the size of the block in bytes, NUV_Memory_begin its address, and NUV_Memory_end the
 * address one past its last byte; 0 and null for an empty handle. */
NUV_API uint32_t NUV_Memory_size(const Memory* a_this);
NUV_API uint8_t* NUV_Memory_begin(const Memory* a_this);
NUV_API uint8_t* NUV_Memory_end(const Memory* a_this);

/** NUV_Memory_set makes the handle the owner of a block from elsewhere, which a_free gives back, or empty (null and
 * 0). What it held before is forgotten, not freed. Returns 1. */
NUV_API int32_t NUV_Memory_set(Memory* a_this, void* a_addr, uint32_t a_size, NUV_MemoryFree a_free);

/** NUV_Memory_swap exchanges the blocks of the two handles, free functions included. */
NUV_API void NUV_Memory_swap(Memory* a_this, Memory* a_src);

/** NUV_Memory_move makes a_this the owner of a_src's block and gives its own back. a_src is empty then; moved onto
 * itself, it is too. */
NUV_API void NUV_Memory_move(Memory* a_this, Memory* a_src);

/** NUV_Memory_get returns a pointer to a_size bytes at a_offset of the block, which stays the handle's. They must end
 * within it. */
NUV_API uint8_t* NUV_Memory_get(const Memory* a_this, uint32_t a_size, uint32_t a_offset);

#ifdef __cplusplus
}
#endif

#endif
