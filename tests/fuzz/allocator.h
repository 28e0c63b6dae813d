// The memory blocks of the library, counted.
#ifndef TESTS_FUZZ_ALLOCATOR_H
#define TESTS_FUZZ_ALLOCATOR_H

#include <cstdint>

namespace fuzz {

// While it lives, blocks come from it, filled with kPattern. Whatever comes back must have been given out, with this size
// (null with 0, or with a size that was refused); all must have come back when it dies.
class Allocator {
 public:
  static constexpr uint8_t kPattern = 0xA5;

  Allocator();
  ~Allocator();
  Allocator(const Allocator&) = delete;
  Allocator& operator=(const Allocator&) = delete;

  // From now on, or no more, there is no memory.
  void run_dry(bool dry);
};

}  // namespace fuzz

#endif
