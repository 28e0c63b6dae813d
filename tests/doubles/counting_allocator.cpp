#include "doubles/counting_allocator.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace support {
namespace {

constexpr size_t kPrefix = alignof(std::max_align_t);

void* plain_malloc(uint32_t size) {
  return std::malloc(size);
}

void free_block(void* address) {
  std::free(static_cast<char*>(address) - kPrefix);
}

// The free function of the process, which each new handle gets.
NUV_MemoryFree current_free() {
  Memory handle;
  NUV_Memory_construct(&handle, 0);
  return handle.m_pFree;
}

}  // namespace

CountingAllocator* CountingAllocator::active_ = nullptr;

CountingAllocator::CountingAllocator() : outer_free_(current_free()) {
  active_ = this;
  install();
}

CountingAllocator::~CountingAllocator() {
  NUV_installMemoryManager(plain_malloc, outer_free_);
  active_ = nullptr;
  for (const auto& [address, size] : blocks_) {
    ADD_FAILURE() << "a block of " << size << " bytes was never released";
    free_block(address);
  }
}

void CountingAllocator::install() {
  NUV_installMemoryManager(allocate, release);
}

void* CountingAllocator::allocate_nothing(uint32_t size) {
  ++active_->allocations_;
  active_->refused_.insert(size);
  return nullptr;
}

void* CountingAllocator::allocate(uint32_t size) {
  if (active_->dry_) {
    return allocate_nothing(size);
  }
  ++active_->allocations_;
  char* start = static_cast<char*>(std::malloc(kPrefix + size));
  void* address = start + kPrefix;
  std::memset(address, kPattern, size);
  active_->blocks_[address] = size;
  return address;
}

void CountingAllocator::release(void* address, uint32_t size) {
  if (active_ == nullptr) {
    EXPECT_EQ(address, nullptr) << "a block was released after its allocator";
    return;
  }
  active_->take_back(address, size);
}

void CountingAllocator::take_back(void* address, uint32_t size) {
  if (address == nullptr) {
    const auto refused = refused_.find(size);
    if (refused != refused_.end()) {
      refused_.erase(refused);
    } else {
      EXPECT_EQ(size, 0U) << "null was released with the size of no refused block";
    }
    ++empty_releases_;
    return;
  }
  const auto block = blocks_.find(address);
  if (block == blocks_.end()) {
    ADD_FAILURE() << "a block was released twice or not allocated here";
    return;
  }
  EXPECT_EQ(size, block->second) << "a block was released with another size";
  blocks_.erase(block);
  free_block(address);
  ++releases_;
}

}  // namespace support
