#include "nuv_indexpool.h"

#include <gtest/gtest.h>

#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/fault_loop.h"

namespace {

using support::ContractRecorder;

class IndexPoolTest : public ::testing::Test {
 protected:
  ~IndexPoolTest() override { NUV_IndexPool_destruct(&pool_); }

  void make(uint32_t size) { ASSERT_EQ(NUV_IndexPool_construct(&pool_, size), 1); }

  std::vector<uint32_t> occupy(int count) {
    std::vector<uint32_t> indices;
    for (int i = 0; i < count; ++i) {
      indices.push_back(NUV_IndexPool_occupy(&pool_));
    }
    return indices;
  }

  IndexPool pool_ = {};
  ContractRecorder contracts_;
};

TEST_F(IndexPoolTest, StartsWithAllIndicesFree) {
  make(10);
  EXPECT_EQ(NUV_IndexPool_size(&pool_), 10U);
  EXPECT_EQ(NUV_IndexPool_free(&pool_), 10U);
  EXPECT_EQ(NUV_IndexPool_busy(&pool_), 0U);
  EXPECT_EQ(NUV_IndexPool_available(&pool_), 1);
  for (uint32_t i = 0; i < 10; ++i) {
    EXPECT_EQ(NUV_IndexPool_occupied(&pool_, i), 0) << i;
  }
}

TEST_F(IndexPoolTest, FillsTheBitsFromTheLeastSignificantOn) {
  make(10);
  occupy(9);
  EXPECT_EQ(pool_.m_pPool[0], 0xFF);
  EXPECT_EQ(pool_.m_pPool[1], 0x01);
  occupy(1);
  EXPECT_EQ(pool_.m_pPool[1], 0x03) << "bits after the last index stay 0";
  EXPECT_EQ(pool_.m_uSize, 10U);
  EXPECT_EQ(pool_.m_uFree, 0U);
}

TEST_F(IndexPoolTest, ReturnsTheLowestFreeIndex) {
  make(10);
  EXPECT_EQ(occupy(3), (std::vector<uint32_t>{0, 1, 2}));
  NUV_IndexPool_release(&pool_, 1);
  EXPECT_EQ(occupy(2), (std::vector<uint32_t>{1, 3}));
}

TEST_F(IndexPoolTest, SkipsIndicesThatWereOccupiedByNumber) {
  make(10);
  NUV_IndexPool_occupyIndex(&pool_, 5);
  EXPECT_EQ(NUV_IndexPool_busy(&pool_), 1U);
  EXPECT_EQ(occupy(6), (std::vector<uint32_t>{0, 1, 2, 3, 4, 6}));
}

TEST_F(IndexPoolTest, CountsTakenAndFreeIndices) {
  make(10);
  occupy(4);
  EXPECT_EQ(NUV_IndexPool_free(&pool_), 6U);
  EXPECT_EQ(NUV_IndexPool_busy(&pool_), 4U);
  NUV_IndexPool_release(&pool_, 0);
  EXPECT_EQ(NUV_IndexPool_free(&pool_), 7U);
  EXPECT_EQ(NUV_IndexPool_busy(&pool_), 3U);
  EXPECT_EQ(NUV_IndexPool_occupied(&pool_, 0), 0);
  EXPECT_EQ(NUV_IndexPool_occupied(&pool_, 1), 1);
}

// Sizes around a byte boundary and beyond a machine word: each index is returned once. AddressSanitizer checks the
// array's end.
TEST_F(IndexPoolTest, ReturnsEachIndexOnce) {
  for (const uint32_t size : {0U, 1U, 7U, 8U, 9U, 15U, 16U, 17U, 64U, 80U, 128U, 200U}) {
    SCOPED_TRACE(size);
    IndexPool pool;
    ASSERT_EQ(NUV_IndexPool_construct(&pool, size), 1);
    for (uint32_t i = 0; i < size; ++i) {
      EXPECT_EQ(NUV_IndexPool_available(&pool), 1);
      EXPECT_EQ(NUV_IndexPool_occupied(&pool, i), 0);
      EXPECT_EQ(NUV_IndexPool_occupy(&pool), i);
      EXPECT_EQ(NUV_IndexPool_occupied(&pool, i), 1);
    }
    EXPECT_EQ(NUV_IndexPool_available(&pool), 0);
    NUV_IndexPool_destruct(&pool);
  }
}

TEST_F(IndexPoolTest, NeedsOneBitForEachIndex) {
  const struct {
    uint32_t size;
    size_t bytes;
  } kCases[] = {
      {0, 1},  // allocates one byte anyway
      {1, 1}, {7, 1}, {8, 1}, {9, 2}, {10, 2}, {16, 2}, {17, 3},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.size);
    IndexPool pool;
    NUV_IndexPool_construct(&pool, row.size);
    EXPECT_EQ(support::size_of_live_block(pool.m_pPool), row.bytes);
    NUV_IndexPool_destruct(&pool);
    EXPECT_EQ(support::size_of_live_block(pool.m_pPool), 0U) << "freed";
  }
}

TEST_F(IndexPoolTest, DoesNotUseTheMemoryHook) {
  const support::CountingAllocator allocator;
  IndexPool pool;
  NUV_IndexPool_construct(&pool, 10);
  NUV_IndexPool_destruct(&pool);
  EXPECT_EQ(allocator.allocations() + allocator.empty_releases(), 0);
}

}  // namespace
