// Memory blocks as part of another record: what nuv_memory.h does with a block, without the contracts that a block inside
// of a record cannot break. Frames and messages have checked the record by then.
//
// An error handler that returned may have let in functions that are null. They are kept as they are, and looked at
// where they would be called.
#ifndef USERLIB_SOURCE_MEMORY_BLOCK_H
#define USERLIB_SOURCE_MEMORY_BLOCK_H

#include "nuv_memory.h"

namespace nuv {

struct MemoryHook {
  NUV_MemoryAlloc alloc;
  NUV_MemoryFree free;
};

// The functions that blocks are made with from now on.
extern MemoryHook g_memory_hook;

// The report of NUV_Memory_construct() that a new block has no free function.
[[gnu::cold]] void report_missing_free_function();

inline void expect_free_function(const Memory& block) {
  if (__builtin_expect(block.m_pFree == nullptr, false)) {
    report_missing_free_function();
  }
}

// After a failed contract an address may lie outside of its block, or the block have none: there is no arithmetic with
// pointers then. With numbers there is.
inline uint8_t* moved_up(uint8_t* address, uint32_t offset) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(address) + offset);
}

inline Memory empty_block() {
  const Memory block = {/*m_pAddr=*/nullptr, /*m_uSize=*/0, g_memory_hook.free};
  expect_free_function(block);
  return block;
}

// A block without a free function is lost: that does less harm than to guess one.
inline void release_block(const Memory& block) {
  if (block.m_pFree != nullptr) {
    block.m_pFree(block.m_pAddr, block.m_uSize);
  }
}

// A move of a record goes in three steps, after a copy of what the target was: the target takes over the source, what is
// left is made empty, and the blocks of the copy are released. They go last, when all is in its place: their free functions
// belong to the daemon, and may look. So a record that is moved onto itself is released.
//
// This is the first step. Returns what is left: the source, or the target itself where there is none, which only an error
// handler that returned lets in.
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
