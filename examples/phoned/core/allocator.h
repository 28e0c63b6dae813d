// The memory of the library's frames and messages, counted: what a daemon holds, and whether it gives everything back.
#ifndef EXAMPLES_PHONED_CORE_ALLOCATOR_H
#define EXAMPLES_PHONED_CORE_ALLOCATOR_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "nuv_memory.h"

namespace phoned {

struct MemoryFigures {
  uint64_t blocks = 0;       // held now
  uint64_t bytes = 0;        // held now
  uint64_t peak_bytes = 0;   // held at most
  uint64_t allocations = 0;  // since the start
};
inline MemoryFigures memory_figures;

inline void* allocate(uint32_t size) {
  void* const block = std::malloc(size);
  if (block != nullptr) {
    ++memory_figures.blocks;
    ++memory_figures.allocations;
    memory_figures.bytes += size;
    memory_figures.peak_bytes = std::max(memory_figures.peak_bytes, memory_figures.bytes);
  }
  return block;
}

// The library calls it for empty blocks, too.
inline void release(void* block, uint32_t size) {
  if (block != nullptr) {
    --memory_figures.blocks;
    memory_figures.bytes -= size;
    std::free(block);
  }
}

// Call it before the library has made any block.
inline void install_counting_allocator() {
  NUV_installMemoryManager(allocate, release);
}

inline std::string describe(const MemoryFigures& figures) {
  return std::to_string(figures.blocks) + " blocks of " + std::to_string(figures.bytes) + " bytes in use, " +
         std::to_string(figures.peak_bytes) + " bytes at most, " + std::to_string(figures.allocations) + " allocations";
}

}  // namespace phoned

#endif
