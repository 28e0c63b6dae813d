// Memory blocks inside other records: what nuv_memory.h does, without the contracts that such a block cannot break.
//
// A returning error handler may have let in functions that are null. They are stored, and checked before each call.
#ifndef USERLIB_SOURCE_CORE_MEMORY_BLOCK_H
#define USERLIB_SOURCE_CORE_MEMORY_BLOCK_H

#include "nuv_memory.h"

namespace nuv {

struct MemoryHook {
  NUV_MemoryAlloc alloc;
  NUV_MemoryFree free;
};

// The functions that new blocks are made with.
extern MemoryHook g_memory_hook;

// Reports, as NUV_Memory_construct() does, that a new block has no free function.
[[gnu::cold]] void report_missing_free_function();

inline void expect_free_function(const Memory& block) {
  if (__builtin_expect(block.m_pFree == nullptr, false)) {
    report_missing_free_function();
  }
}

// Computed as a number: after a failed contract the address may be null or outside its block, where arithmetic with
// pointers is undefined.
inline uint8_t* moved_up(uint8_t* address, uint32_t offset) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(address) + offset);
}

inline Memory empty_block() {
  const Memory block = {/*m_pAddr=*/nullptr, /*m_uSize=*/0, g_memory_hook.free};
  expect_free_function(block);
  return block;
}

// A block without a free function is leaked: that does less harm than to guess one.
inline void release_block(const Memory& block) {
  if (block.m_pFree != nullptr) {
    block.m_pFree(block.m_pAddr, block.m_uSize);
  }
}

// A move copies the old target, lets the target take over the source, empties the source, and releases the blocks of
// the copy. They are released last, when both records are complete: the free functions belong to the daemon and may
// read them. A record that is moved onto itself is released.
//
// This is the second step. Returns what has to be emptied: the source, or the target itself if there is no source,
// which only a returning error handler lets in.
template <typename Record>
Record& take_over(Record& target, Record* source) {
  if (source == nullptr) {
    return target;
  }
  target = *source;
  return *source;
}

}  // namespace nuv

#endif
