/** @file
 * userlib: memory block, and the allocator that the daemon may choose.
 *
 * A Memory owns one heap block: address, size, and the function that gives it back. Two functions for the whole
 * process, the allocator hook, make and free the blocks; they start as malloc() and free(), and a daemon may put its
 * own pair in their place, to count, to pool or to take the blocks from a special region. A block remembers the free
 * function that was current when it was made, so a change of the pair never mixes up blocks that exist already. Blocks
 * are handed on by move or swap; no operation copies the bytes.
 *
 *     Memory request;
 *     NUV_Memory_construct(&request, 64);
 *     uint8_t* address_field = NUV_Memory_get(&request, 4, 12);   // 4 bytes at offset 12
 *     ...
 *     NUV_Memory_move(&queue_slot, &request);                     // request is empty now
 *     NUV_Memory_destruct(&request);
 *
 * Contracts are reported under "nuv_memory". Each operation first requires "0 != a_this", only NUV_Memory_get writes it
 * "((void *)0) != a_this". After an error handler has returned, a handle holds what it was given, however odd, and no
 * operation reads or writes through its address; a function that is null is never called. The two functions of the hook
 * run in the middle of an operation and must not touch the block that is being worked on.
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

/**
 * Takes back a block with the size that it was made with. Null stands for no block and must be let pass: with size 0, or
 * with the size that there was no memory for.
 */
typedef void (*NUV_MemoryFree)(void* a_addr, uint32_t a_size);

/** An owned block. Read the fields and write the bytes at m_pAddr, but leave writing the fields to the operations. */
typedef struct Memory {
  uint8_t* m_pAddr;       /**< start of the block, owned; null for an empty handle */
  uint32_t m_uSize;       /**< bytes in the block; 0 for an empty handle */
  NUV_MemoryFree m_pFree; /**< gives this block back */
} Memory;

/**
 * NUV_installMemoryManager puts a_alloc and a_free in place of the process's pair, for blocks made from now on. Install
 * once at start: the pair is plain data without a lock. Requires "0 != a_alloc" and "0 != a_free". A null function is
 * stored, too, and reported by each operation that would make a block with it: without the first there is no memory,
 * without the second the block is never given back.
 */
NUV_API void NUV_installMemoryManager(NUV_MemoryAlloc a_alloc, NUV_MemoryFree a_free);

/**
 * NUV_Memory_construct takes a block of a_size bytes from the hook, uninitialised, and returns 1. With a_size 0 it
 * makes an empty handle and asks for nothing. If there is no memory it reports the class "null pointer" with "NULL !=
 * a_this->m_pAddr", then "( ((void *)0) != a_this->m_pAddr) == ( 0 != a_this->m_uSize)". The handle keeps the size even
 * so: a daemon whose error handler returns looks at NUV_Memory_begin(), which is null, to see that it got no block.
 * Ensures "((void *)0) != a_this->m_pFree".
 */
NUV_API int32_t NUV_Memory_construct(Memory* a_this, uint32_t a_size);

/**
 * NUV_Memory_destruct hands address and size to the block's own free function, for an empty handle too. The fields stay
 * as they are: destruct once, or construct again. A block without a free function is lost.
 */
NUV_API void NUV_Memory_destruct(Memory* a_this);

/** NUV_Memory_size returns the size of the block in bytes, 0 for an empty handle. */
NUV_API uint32_t NUV_Memory_size(const Memory* a_this);

/** NUV_Memory_begin returns the address of the block, null for an empty handle. */
NUV_API uint8_t* NUV_Memory_begin(const Memory* a_this);

/** NUV_Memory_end returns the address one past the last byte of the block, which is begin plus size. */
NUV_API uint8_t* NUV_Memory_end(const Memory* a_this);

/**
 * NUV_Memory_set makes the handle the owner of a block from elsewhere: a_size bytes at a_addr, which a_free gives back
 * (null and 0 make it empty). What the handle held before is forgotten, not freed: move it away or destruct it first.
 * Requires "( 0 != a_addr) == ( 0 != a_size)" and "0 != a_free"; ensures "( 0 != a_this->m_pAddr) ==
 * ( 0 != a_this->m_uSize)" and "0 != a_this->m_pFree". Values that break this are stored as they are. Returns 1.
 */
NUV_API int32_t NUV_Memory_set(Memory* a_this, void* a_addr, uint32_t a_size, NUV_MemoryFree a_free);

/**
 * NUV_Memory_swap exchanges the blocks of the two handles, free functions included. Requires "0 != a_src"; with nothing
 * to exchange with it changes nothing.
 */
NUV_API void NUV_Memory_swap(Memory* a_this, Memory* a_src);

/**
 * NUV_Memory_move makes a_this the owner of a_src's block. The block that a_this held is given back through its own
 * free function; a_src becomes an empty handle with the free function of today's hook. A handle that is moved onto
 * itself loses its block and ends up empty. Requires "0 != a_src"; a null one counts as an empty handle.
 */
NUV_API void NUV_Memory_move(Memory* a_this, Memory* a_src);

/**
 * NUV_Memory_get returns a pointer to a_size bytes at a_offset of the block, which stays the handle's. The end of the
 * block may be reached but not passed: "( NUV_Memory_begin( a_this) + a_size + a_offset) <= NUV_Memory_end( a_this)" is
 * required, and no sum of the two wraps. The result is begin plus a_offset in any case.
 */
NUV_API uint8_t* NUV_Memory_get(const Memory* a_this, uint32_t a_size, uint32_t a_offset);

#ifdef __cplusplus
}
#endif

#endif
