#include "nuv_indexmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "doubles/contract_recorder.h"

namespace {

using support::ContractRecorder;

// A map of 4 entries between two guard entries, marked as used so that a search beyond the map finds them.
class IndexMapTest : public ::testing::Test {
 protected:
  static constexpr uint32_t kSize = 4;
  static constexpr IndexMapEntry kGuard = {1, {77, 0xDEADBEEF}};

  IndexMapTest() {
    entries_.fill(kGuard);
    EXPECT_EQ(NUV_IndexMap_construct(&map_, &entries_[1], kSize), 1);
  }

  ~IndexMapTest() override {
    for (const IndexMapEntry* guard : {&entries_.front(), &entries_.back()}) {
      EXPECT_EQ(guard->m_bUsed, kGuard.m_bUsed);
      EXPECT_EQ(guard->m_oPair.m_iKey, kGuard.m_oPair.m_iKey);
      EXPECT_EQ(guard->m_oPair.m_uValue, kGuard.m_oPair.m_uValue);
    }
    NUV_IndexMap_destruct(&map_);
  }

  void fill() {
    for (int32_t i = 0; i < static_cast<int32_t>(kSize); ++i) {
      EXPECT_EQ(NUV_IndexMap_insert(&map_, 10 + i, 100U + static_cast<uint32_t>(i)), static_cast<uint32_t>(i));
    }
  }

  using Walk = std::vector<std::pair<uint32_t, int32_t>>;

  // Position and key of all pairs, in the order of a walk. A walk that does not end is cut.
  Walk walk() const {
    Walk found;
    uint32_t i = NUV_IndexMap_begin(&map_);
    while (i != NUV_IndexMap_end(&map_) && found.size() <= kSize) {
      found.emplace_back(i, NUV_IndexMap_get(&map_, i)->m_iKey);
      i = NUV_IndexMap_next(&map_, i);
    }
    EXPECT_EQ(found.size(), NUV_IndexMap_size(&map_));
    return found;
  }

  std::array<IndexMapEntry, kSize + 2> entries_;
  IndexMapEntry* store_ = &entries_[1];
  IndexMap map_ = {};
  ContractRecorder contracts_;
};

TEST_F(IndexMapTest, StartsEmptyOverAClearedStore) {
  EXPECT_EQ(NUV_IndexMap_size(&map_), 0U);
  EXPECT_EQ(NUV_IndexMap_maxSize(&map_), 4U);
  EXPECT_EQ(NUV_IndexMap_empty(&map_), 1);
  EXPECT_EQ(NUV_IndexMap_begin(&map_), 4U);
  EXPECT_EQ(NUV_IndexMap_end(&map_), 4U);
  EXPECT_EQ(map_.m_rgMap, store_);
  EXPECT_EQ(map_.m_uMapSize, 4U);
  EXPECT_EQ(map_.m_uCount, 0U);
  const std::array<IndexMapEntry, kSize> zeros = {};
  EXPECT_EQ(std::memcmp(store_, zeros.data(), sizeof zeros), 0);
}

TEST_F(IndexMapTest, FindsWhatWasInserted) {
  fill();
  EXPECT_EQ(NUV_IndexMap_size(&map_), 4U);
  EXPECT_EQ(NUV_IndexMap_empty(&map_), 0);
  for (uint32_t i = 0; i < kSize; ++i) {
    SCOPED_TRACE(i);
    const int32_t key = 10 + static_cast<int32_t>(i);
    EXPECT_EQ(NUV_IndexMap_find(&map_, key), i);
    EXPECT_EQ(NUV_IndexMap_at(&map_, key), 100 + i);
    EXPECT_EQ(NUV_IndexMap_get(&map_, i), &store_[i].m_oPair);
    EXPECT_EQ(store_[i].m_bUsed, 1);
    EXPECT_EQ(store_[i].m_oPair.m_iKey, key);
    EXPECT_EQ(store_[i].m_oPair.m_uValue, 100 + i);
  }
  EXPECT_EQ(NUV_IndexMap_find(&map_, 9), 4U);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 77), 4U) << "the guards are not in the map";
  EXPECT_EQ(NUV_IndexMap_find(&map_, 0), 4U);
}

TEST_F(IndexMapTest, AcceptsAnyNumberAsKeyAndValue) {
  const struct {
    int32_t key;
    uint32_t value;
  } kCases[] = {{-1, 0}, {INT32_MIN, 0xFFFFFFFF}, {INT32_MAX, 0x80000000}, {0, 1}};
  for (const auto& row : kCases) {
    const uint32_t position = NUV_IndexMap_insert(&map_, row.key, row.value);
    EXPECT_EQ(NUV_IndexMap_find(&map_, row.key), position);
    EXPECT_EQ(NUV_IndexMap_at(&map_, row.key), row.value);
  }
}

TEST_F(IndexMapTest, FillsTheLowestFreePosition) {
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 10, 1), 0U);
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 11, 2), 1U);
  NUV_IndexMap_remove(&map_, 0);
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 12, 3), 0U);
  EXPECT_EQ(walk(), (Walk{{0, 12}, {1, 11}}));
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 13, 4), 2U);
  NUV_IndexMap_remove(&map_, 1);
  EXPECT_EQ(walk(), (Walk{{0, 12}, {2, 13}}));
}

TEST_F(IndexMapTest, WalksFromUsedToUsed) {
  fill();
  EXPECT_EQ(walk(), (Walk{{0, 10}, {1, 11}, {2, 12}, {3, 13}}));
  NUV_IndexMap_remove(&map_, 0);
  NUV_IndexMap_remove(&map_, 2);
  EXPECT_EQ(NUV_IndexMap_begin(&map_), 1U);
  EXPECT_EQ(NUV_IndexMap_next(&map_, 0), 1U) << "from a free position, too";
  EXPECT_EQ(NUV_IndexMap_next(&map_, 1), 3U);
  EXPECT_EQ(NUV_IndexMap_next(&map_, 3), 4U);
  EXPECT_EQ(walk(), (Walk{{1, 11}, {3, 13}}));
}

TEST_F(IndexMapTest, ForgetsWhatWasRemoved) {
  fill();
  NUV_IndexMap_remove(&map_, 2);
  EXPECT_EQ(NUV_IndexMap_size(&map_), 3U);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 12), 4U);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 13), 3U);
  EXPECT_EQ(store_[2].m_bUsed, 0);
  EXPECT_EQ(store_[2].m_oPair.m_iKey, 12) << "left in the entry, but not used";
  EXPECT_EQ(store_[2].m_oPair.m_uValue, 102U);
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 12, 5), 2U);
  EXPECT_EQ(NUV_IndexMap_at(&map_, 12), 5U);
}

TEST_F(IndexMapTest, LetsValuesBeWrittenThroughThePair) {
  fill();
  NUV_IndexMap_get(&map_, 1)->m_uValue = 7;
  EXPECT_EQ(NUV_IndexMap_at(&map_, 11), 7U);
}

TEST_F(IndexMapTest, ClearsFullSparseAndEmptyMaps) {
  fill();
  NUV_IndexMap_clear(&map_);
  EXPECT_EQ(walk(), Walk{});
  EXPECT_EQ(NUV_IndexMap_empty(&map_), 1);
  fill();
  NUV_IndexMap_remove(&map_, 0);
  NUV_IndexMap_remove(&map_, 2);
  NUV_IndexMap_clear(&map_);
  EXPECT_EQ(NUV_IndexMap_size(&map_), 0U);
  EXPECT_TRUE(std::all_of(store_, store_ + kSize, [](const auto& entry) { return entry.m_bUsed == 0; }));
  NUV_IndexMap_clear(&map_);
  EXPECT_EQ(NUV_IndexMap_begin(&map_), 4U);
}

TEST_F(IndexMapTest, CanBeConstructedAgainOverItsStore) {
  fill();
  NUV_IndexMap_destruct(&map_);
  EXPECT_EQ(store_[3].m_bUsed, 1) << "destruct does not touch the caller's array";
  EXPECT_EQ(NUV_IndexMap_construct(&map_, store_, kSize), 1);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 10), 4U);
}

TEST_F(IndexMapTest, HasNoRoomWithoutAStore) {
  IndexMap map;
  EXPECT_EQ(NUV_IndexMap_construct(&map, nullptr, 0), 1);
  EXPECT_EQ(NUV_IndexMap_maxSize(&map), 0U);
  EXPECT_EQ(NUV_IndexMap_begin(&map), NUV_IndexMap_end(&map));
  EXPECT_EQ(NUV_IndexMap_find(&map, 0), 0U);
  NUV_IndexMap_clear(&map);
  EXPECT_EQ(NUV_IndexMap_size(&map), 0U);
}

}  // namespace
