#include "phoned/core/allocator.h"

#include <algorithm>
#include <cstdlib>

#include "nuv_memory.h"

namespace phoned {

namespace {

MemoryFigures g_figures;

void* allocate(uint32_t size) {
  void* const block = std::malloc(size);
  if (block != nullptr) {
    ++g_figures.blocks;
    ++g_figures.allocations;
    g_figures.bytes += size;
    g_figures.peak_bytes = std::max(g_figures.peak_bytes, g_figures.bytes);
  }
  return block;
}

// Is called for empty handles too.
void release(void* block, uint32_t size) {
  if (block != nullptr) {
    --g_figures.blocks;
    g_figures.bytes -= size;
    std::free(block);
  }
}

}  // namespace

void install_counting_allocator() {
  NUV_installMemoryManager(allocate, release);
}

const MemoryFigures& memory_figures() {
  return g_figures;
}

std::string describe(const MemoryFigures& figures) {
  return std::to_string(figures.blocks) + " blocks of " + std::to_string(figures.bytes) + " bytes in use, " +
         std::to_string(figures.peak_bytes) + " bytes at most, " + std::to_string(figures.allocations) + " allocations";
}

}  // namespace phoned
