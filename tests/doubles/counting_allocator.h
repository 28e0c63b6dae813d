// An allocator for NUV_installMemoryManager() that tracks its blocks.
#ifndef TESTS_DOUBLES_COUNTING_ALLOCATOR_H
#define TESTS_DOUBLES_COUNTING_ALLOCATOR_H

#include <cstdint>
#include <map>
#include <set>

#include "nuv_memory.h"

namespace support {

// During its lifetime, the library allocates its blocks here; they are filled with a pattern. The test fails if a block
// is released twice, with another size, never, or was not allocated here. Null may be released with size 0, or once for
// each refused allocation, with its size. The destructor restores the process's free function, together with malloc().
// Only one instance may exist.
//
// The blocks are offset from malloc()'s, so that using free() by mistake is detected.
class CountingAllocator {
 public:
  static constexpr uint8_t kPattern = 0xA5;

  CountingAllocator();
  ~CountingAllocator();
  CountingAllocator(const CountingAllocator&) = delete;
  CountingAllocator& operator=(const CountingAllocator&) = delete;

  // Installs the hook again, after a test has installed another one.
  static void install();

  // If true, all allocations are refused.
  void run_dry(bool dry) { dry_ = dry; }

  int allocations() const { return allocations_; }        // calls, including refused ones
  int releases() const { return releases_; }              // blocks released
  int empty_releases() const { return empty_releases_; }  // releases of null
  int live() const { return static_cast<int>(blocks_.size()); }

  // The two functions of the hook, and an allocation function that always fails.
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
