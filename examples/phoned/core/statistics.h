// What phoned counts: what it has done since it started, and the memory of the library's frames and messages.
#ifndef EXAMPLES_PHONED_CORE_STATISTICS_H
#define EXAMPLES_PHONED_CORE_STATISTICS_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <tuple>

#include "nuv_memory.h"

namespace phoned {

struct Statistics {
  uint64_t datagrams = 0;  // accepted, whatever they held
  uint64_t complete = 0;   // numbers decided, by digits and by time
  uint64_t rejected = 0;   // the same
  uint64_t timeouts = 0;   // decisions by time
  uint64_t errors = 0;     // datagrams that changed nothing
  // Datagrams that are not accepted:
  uint64_t strangers = 0;  // from outside of --allow
  uint64_t answers = 0;    // look like answers themselves
  uint64_t empty = 0;
  uint64_t lost = 0;  // questions or answers that could not be moved through a pipe
  // Answers that did not fit into an operator's socket or FIFO:
  uint64_t cut = 0;

  bool operator==(const Statistics&) const = default;
};

// The first line of the report, and each other line with a count that has changed.
inline std::string report(const Statistics& counts, const Statistics& before) {
  const auto text = [](uint64_t count) { return std::to_string(count); };
  const auto unanswered = [](const Statistics& s) { return std::tie(s.strangers, s.answers, s.empty, s.lost); };
  std::string lines = "phoned: datagrams " + text(counts.datagrams) + ", complete " + text(counts.complete) +
                      ", rejected " + text(counts.rejected) + ", by time " + text(counts.timeouts) + ", errors " +
                      text(counts.errors) + "\n";
  if (unanswered(counts) != unanswered(before)) {
    lines += "phoned: not answered: " + text(counts.strangers) + " from strangers, " + text(counts.answers) +
             " that were answers, " + text(counts.empty) + " empty, " + text(counts.lost) + " lost\n";
  }
  if (counts.cut != before.cut) {
    lines += "phoned: operators: " + text(counts.cut) + " answers cut\n";
  }
  return lines;
}

struct MemoryFigures {
  uint64_t blocks = 0;       // allocated now
  uint64_t bytes = 0;        // allocated now
  uint64_t peak_bytes = 0;   // allocated at most
  uint64_t allocations = 0;  // since the start
};
inline MemoryFigures memory_figures;

// Makes the library allocate its blocks here. To be called before it has allocated any.
inline void install_counting_allocator() {
  const auto allocate = [](uint32_t size) {
    void* const block = std::malloc(size);
    if (block != nullptr) {
      ++memory_figures.blocks;
      ++memory_figures.allocations;
      memory_figures.bytes += size;
      memory_figures.peak_bytes = std::max(memory_figures.peak_bytes, memory_figures.bytes);
    }
    return block;
  };
  const auto release = [](void* block, uint32_t size) {
    if (block != nullptr) {
      --memory_figures.blocks;
      memory_figures.bytes -= size;
      std::free(block);
    }
  };
  NUV_installMemoryManager(allocate, release);
}

inline std::string describe(const MemoryFigures& figures) {
  return std::to_string(figures.blocks) + " blocks of " + std::to_string(figures.bytes) + " bytes in use, " +
         std::to_string(figures.peak_bytes) + " bytes at most, " + std::to_string(figures.allocations) + " allocations";
}

}  // namespace phoned

#endif
