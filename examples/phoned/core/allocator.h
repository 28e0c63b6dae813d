// The memory of the library's frames and messages, counted: what a daemon holds, and whether it gives everything back.
#ifndef EXAMPLES_PHONED_CORE_ALLOCATOR_H
#define EXAMPLES_PHONED_CORE_ALLOCATOR_H

#include <cstdint>
#include <string>

namespace phoned {

struct MemoryFigures {
  uint64_t blocks = 0;       // held now
  uint64_t bytes = 0;        // held now
  uint64_t peak_bytes = 0;   // held at most
  uint64_t allocations = 0;  // since the start
};

// Makes the library take its blocks from here. Call it before the library has made any.
void install_counting_allocator();

const MemoryFigures& memory_figures();

// The figures in words: "0 blocks of 0 bytes in use, 42 bytes at most, 7 allocations".
std::string describe(const MemoryFigures& figures);

}  // namespace phoned

#endif
