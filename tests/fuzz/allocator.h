// Tracks the library's memory blocks.
#ifndef TESTS_FUZZ_ALLOCATOR_H
#define TESTS_FUZZ_ALLOCATOR_H

#include <cstdint>

namespace fuzz {

// During its lifetime, the library allocates its blocks here, filled with kPattern. A released block must have been
// allocated here with the same size (null: with 0 or a refused size). The destructor checks that all were released.
class Allocator {
 public:
  static constexpr uint8_t kPattern = 0xA5;

  Allocator();
  ~Allocator();
  Allocator(const Allocator&) = delete;
  Allocator& operator=(const Allocator&) = delete;

  // If true, all allocations are refused.
  void run_dry(bool dry);
};

}  // namespace fuzz

#endif
