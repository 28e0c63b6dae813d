// An allocator for NUV_installMemoryManager() that keeps books.
#ifndef TESTS_SUPPORT_COUNTING_ALLOCATOR_H
#define TESTS_SUPPORT_COUNTING_ALLOCATOR_H

#include <cstdint>
#include <map>
#include <set>

#include "nuv_memory.h"

namespace support {

// While it lives, blocks come from it, filled with a pattern instead of zeros. A block that comes back twice, with
// another size, or that was never given out fails the test, and so does a block that is still out when it dies; then
// the process's free function is put back, next to malloc(). Null comes back with 0, or once with a size that was asked
// for and refused. One at a time.
//
// The blocks do not start where malloc() put them, so that free() cannot pass for the right function.
class CountingAllocator {
 public:
  static constexpr uint8_t kPattern = 0xA5;

  CountingAllocator();
  ~CountingAllocator();
  CountingAllocator(const CountingAllocator&) = delete;
  CountingAllocator& operator=(const CountingAllocator&) = delete;

  // From now on, or no more, there is no memory.
  void run_dry(bool dry) { dry_ = dry; }

  int allocations() const { return allocations_; }        // calls, the refused ones included
  int releases() const { return releases_; }              // blocks that came back
  int empty_releases() const { return empty_releases_; }  // calls with null
  int live() const { return static_cast<int>(blocks_.size()); }

  // The two functions of the hook, and one for the first place that has no memory.
  static void* allocate(uint32_t size);
  static void* allocate_nothing(uint32_t size);
  static void release(void* address, uint32_t size);

 private:
  void take_back(void* address, uint32_t size);

  static CountingAllocator* active_;
  NUV_MemoryFree outer_free_ = nullptr;
  bool dry_ = false;
  int allocations_ = 0;
  int releases_ = 0;
  int empty_releases_ = 0;
  std::map<void*, uint32_t> blocks_;
  std::multiset<uint32_t> refused_;
};

}  // namespace support

#endif
