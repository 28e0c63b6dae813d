#include "nuv_memory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/fault_loop.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;
using support::each_fault;
using support::ensure_report;
using support::Fault;
using support::Reports;

constexpr char kFile[] = "nuv_memory";

const Reports kNoMemory = {
    {NUV_ASSERT_NULL_POINTER, kFile, "NULL != a_this->m_pAddr"},
    ensure_report(kFile, "( ((void *)0) != a_this->m_pAddr) == ( 0 != a_this->m_uSize)"),
};

testing::AssertionResult is_empty(const Memory& memory) {
  if (memory.m_pAddr != nullptr || memory.m_uSize != 0) {
    return testing::AssertionFailure() << "address " << static_cast<void*>(memory.m_pAddr) << ", size "
                                       << memory.m_uSize;
  }
  return memory.m_pFree != nullptr ? testing::AssertionSuccess() : testing::AssertionFailure() << "no free function";
}

// A free function for blocks that do not come from the hook; it records its arguments.
using Released = std::vector<std::pair<void*, uint32_t>>;
Released g_released;

void write_down(void* address, uint32_t size) {
  g_released.emplace_back(address, size);
}

class MemoryTest : public ::testing::Test {
 protected:
  MemoryTest() { g_released.clear(); }

  ContractRecorder contracts_;
};

// Under CTest this runs in its own process and tests the default hook. After tests that install an allocator, it tests
// the pair that they restore.
TEST_F(MemoryTest, TakesBlocksFromMallocUnlessToldOtherwise) {
  const int calls = each_fault("malloc", {ENOMEM}, [this](Fault& fault) {
    Memory memory;
    EXPECT_EQ(fault.during([&] { return NUV_Memory_construct(&memory, 100); }), 1);
    EXPECT_EQ(contracts_.take(), fault.has_struck() ? kNoMemory : Reports{});
    EXPECT_EQ(memory.m_pAddr == nullptr, fault.has_struck());
    EXPECT_EQ(memory.m_uSize, 100U) << "even without memory";
    NUV_Memory_destruct(&memory);

    EXPECT_EQ(NUV_Memory_construct(&memory, 100), 1);
    ASSERT_NE(memory.m_pAddr, nullptr);
    EXPECT_EQ(memory.m_uSize, 100U);
    std::memset(memory.m_pAddr, 1, 100);
    NUV_Memory_destruct(&memory);
  });
  EXPECT_EQ(calls, 1);
}

TEST_F(MemoryTest, FreesBlocksAsTheyWereAllocated) {
  Memory before;
  NUV_Memory_construct(&before, 10);
  {
    CountingAllocator allocator;
    Memory after;
    NUV_Memory_construct(&after, 20);
    EXPECT_NE(before.m_pFree, after.m_pFree);
    EXPECT_EQ(allocator.live(), 1);
    NUV_Memory_destruct(&before);
    EXPECT_EQ(allocator.releases(), 0);
    NUV_Memory_destruct(&after);
    EXPECT_EQ(allocator.releases(), 1);
  }
}

TEST_F(MemoryTest, BlocksOutliveAChangeOfTheHook) {
  CountingAllocator allocator;
  Memory memory;
  NUV_Memory_construct(&memory, 20);
  NUV_installMemoryManager(CountingAllocator::allocate, write_down);
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(allocator.releases(), 1);
  EXPECT_EQ(g_released, Released{});
  NUV_installMemoryManager(CountingAllocator::allocate, CountingAllocator::release);
}

TEST_F(MemoryTest, AllocatesABlockOfAnySize) {
  CountingAllocator allocator;
  for (const uint32_t size : {1U, 2U, 255U, 256U, 65537U}) {
    SCOPED_TRACE(size);
    Memory memory;
    EXPECT_EQ(NUV_Memory_construct(&memory, size), 1);
    ASSERT_NE(memory.m_pAddr, nullptr);
    EXPECT_EQ(NUV_Memory_size(&memory), size);
    EXPECT_EQ(NUV_Memory_begin(&memory), memory.m_pAddr);
    EXPECT_EQ(NUV_Memory_end(&memory), memory.m_pAddr + size);
    EXPECT_EQ(memory.m_pAddr[0], CountingAllocator::kPattern) << "construct does not write to the block";
    EXPECT_EQ(memory.m_pAddr[size - 1], CountingAllocator::kPattern);
    NUV_Memory_destruct(&memory);
  }
  EXPECT_EQ(allocator.allocations(), 5);
  EXPECT_EQ(allocator.releases(), 5);
}

TEST_F(MemoryTest, IsEmptyWithSizeZero) {
  CountingAllocator allocator;
  Memory memory = {reinterpret_cast<uint8_t*>(&allocator), 7, nullptr};
  EXPECT_EQ(NUV_Memory_construct(&memory, 0), 1);
  EXPECT_TRUE(is_empty(memory));
  EXPECT_EQ(NUV_Memory_size(&memory), 0U);
  EXPECT_EQ(NUV_Memory_begin(&memory), nullptr);
  EXPECT_EQ(NUV_Memory_end(&memory), nullptr);
  EXPECT_EQ(NUV_Memory_get(&memory, 0, 0), nullptr);
  EXPECT_EQ(allocator.allocations(), 0);
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(allocator.empty_releases(), 1) << "an empty handle calls its free function, too";
}

TEST_F(MemoryTest, KeepsItsFieldsWhenItIsDestructed) {
  std::vector<uint8_t> block(8);
  Memory memory;
  NUV_Memory_set(&memory, block.data(), 8, write_down);
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(memory.m_pAddr, block.data());
  EXPECT_EQ(memory.m_uSize, 8U);
  EXPECT_EQ(memory.m_pFree, write_down);
  EXPECT_EQ(g_released, (Released{{block.data(), 8}}));
}

TEST_F(MemoryTest, TakesOverABlockFromElsewhere) {
  CountingAllocator allocator;
  uint8_t block[8];
  Memory memory;
  EXPECT_EQ(NUV_Memory_set(&memory, block, sizeof block, write_down), 1);
  EXPECT_EQ(memory.m_pAddr, block);
  EXPECT_EQ(memory.m_uSize, 8U);
  EXPECT_EQ(memory.m_pFree, write_down);
  EXPECT_EQ(NUV_Memory_set(&memory, nullptr, 0, write_down), 1);
  EXPECT_EQ(g_released, Released{}) << "set does not free the former block";
  EXPECT_TRUE(is_empty(memory));
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(g_released, (Released{{nullptr, 0}}));
  EXPECT_EQ(allocator.allocations() + allocator.empty_releases(), 0);
}

TEST_F(MemoryTest, SwapsAllFields) {
  CountingAllocator allocator;
  uint8_t block[4];
  Memory set;
  Memory made;
  NUV_Memory_set(&set, block, sizeof block, write_down);
  NUV_Memory_construct(&made, 9);
  uint8_t* made_block = made.m_pAddr;

  NUV_Memory_swap(&set, &made);
  EXPECT_EQ(set.m_pAddr, made_block);
  EXPECT_EQ(set.m_uSize, 9U);
  EXPECT_EQ(set.m_pFree, CountingAllocator::release);
  EXPECT_EQ(made.m_pAddr, block);
  EXPECT_EQ(made.m_uSize, 4U);
  EXPECT_EQ(made.m_pFree, write_down);

  NUV_Memory_swap(&set, &set);
  EXPECT_EQ(set.m_pAddr, made_block);
  NUV_Memory_destruct(&set);
  EXPECT_EQ(g_released, Released{});
  NUV_Memory_destruct(&made);
  EXPECT_EQ(g_released, (Released{{block, 4}}));
}

TEST_F(MemoryTest, MovesABlockAndFreesTheOldOneWithItsOwnFunction) {
  CountingAllocator allocator;
  uint8_t old_block[4];
  Memory target;
  Memory source;
  NUV_Memory_set(&target, old_block, sizeof old_block, write_down);
  NUV_Memory_construct(&source, 9);
  uint8_t* moved_block = source.m_pAddr;

  NUV_Memory_move(&target, &source);
  EXPECT_EQ(target.m_pAddr, moved_block);
  EXPECT_EQ(target.m_uSize, 9U);
  EXPECT_EQ(target.m_pFree, CountingAllocator::release);
  EXPECT_TRUE(is_empty(source));
  EXPECT_EQ(source.m_pFree, CountingAllocator::release) << "the free function of the current hook";
  EXPECT_EQ(g_released, (Released{{old_block, 4}}));
  EXPECT_EQ(allocator.releases(), 0);

  NUV_Memory_destruct(&target);
  NUV_Memory_destruct(&source);
  EXPECT_EQ(allocator.allocations(), 1);
  EXPECT_EQ(allocator.releases(), 1);
}

TEST_F(MemoryTest, MovesEmptyHandles) {
  CountingAllocator allocator;
  Memory target;
  Memory source;
  NUV_Memory_construct(&target, 3);
  NUV_Memory_construct(&source, 0);
  NUV_Memory_move(&target, &source);
  EXPECT_TRUE(is_empty(target));
  EXPECT_TRUE(is_empty(source));
  EXPECT_EQ(allocator.releases(), 1);
  NUV_Memory_move(&target, &source);
  EXPECT_EQ(allocator.empty_releases(), 1);
  NUV_Memory_destruct(&target);
  NUV_Memory_destruct(&source);
}

TEST_F(MemoryTest, LosesItsBlockWhenMovedOntoItself) {
  CountingAllocator allocator;
  Memory memory;
  NUV_Memory_construct(&memory, 9);
  NUV_Memory_move(&memory, &memory);
  EXPECT_TRUE(is_empty(memory));
  EXPECT_EQ(allocator.releases(), 1);
  NUV_Memory_destruct(&memory);
}

TEST_F(MemoryTest, ReturnsPiecesUpToItsEnd) {
  uint8_t block[8];
  Memory memory;
  NUV_Memory_set(&memory, block, sizeof block, write_down);
  const struct {
    const char* name;
    uint32_t size;
    uint32_t offset;
  } kCases[] = {
      {"nothing at the start", 0, 0},   {"the first byte", 1, 0},     {"the last byte", 1, 7}, {"all", 8, 0},
      {"all but the first byte", 7, 1}, {"nothing at the end", 0, 8},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(NUV_Memory_get(&memory, row.size, row.offset), block + row.offset);
  }
}

}  // namespace
