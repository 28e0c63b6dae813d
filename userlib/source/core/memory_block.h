// Memory blocks as part of another record: what nuv_memory.h does with a block, without the contracts that a block inside
// of a record cannot break. Frames and messages have checked the record by then.
#ifndef USERLIB_SOURCE_MEMORY_BLOCK_H
#define USERLIB_SOURCE_MEMORY_BLOCK_H

#include "nuv_memory.h"

namespace userlib {

struct MemoryHook {
  NUV_MemoryAlloc alloc;
  NUV_MemoryFree free;
};

// The functions that blocks are made with from now on; neither is ever null.
extern MemoryHook g_memory_hook;

inline Memory empty_block() {
  return {/*m_pAddr=*/nullptr, /*m_uSize=*/0, g_memory_hook.free};
}

inline void release_block(const Memory& block) {
  block.m_pFree(block.m_pAddr, block.m_uSize);
}

// Copies field by field. Those of a block that has just been made are still on their way to memory, one by one, and a load
// that spans two of them would have to wait.
inline Memory copy_of(const Memory& block) {
  return {block.m_pAddr, block.m_uSize, block.m_pFree};
}

// Leaves the source empty. The target's former block goes last, when all is in its place: its free function belongs to the
// daemon, and may look. A block that is moved to itself is released.
inline void move_block(Memory& target, Memory& source) {
  const Memory old = copy_of(target);
  target = copy_of(source);
  source = empty_block();
  release_block(old);
}

}  // namespace userlib

#endif
