#include "nuv_indexmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "support/contract_recorder.h"
#include "support/first_report.h"

namespace {

using support::check_report;
using support::ContractRecorder;
using support::ensure_report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_indexmap";
constexpr char kStore[] = "( 0 != a_size) == ( ((void *)0) != a_store)";
constexpr char kMaxSize[] = "NUV_IndexMap_maxSize( a_this) == a_size";
constexpr char kBelowEnd[] = "NUV_IndexMap_end( a_this) > a_iterator";
constexpr char kUsed[] = "1 == a_this->m_rgMap[a_iterator].m_bUsed";
constexpr char kHasRoom[] = "NUV_IndexMap_size( a_this) < NUV_IndexMap_maxSize( a_this)";
constexpr char kIsNew[] = "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, a_key)";
constexpr char kIsThere[] = "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)";
constexpr char kHasGrown[] = "NUV_IndexMap_size( a_this) == ( oldsize + 1)";

// Numbers that are no position of a map with 4 entries; behind the last one a counter wraps.
constexpr uint32_t kNoPositions[] = {4, 5, 0xFFFFFFFF};

// A map of 4 entries with guard entries round its store: used ones, so that a search that strays finds something.
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

  // All pairs as a walk finds them: position, key. A walk that does not end is cut.
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

TEST_F(IndexMapTest, TakesAnyNumberAsKeyAndValue) {
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
  EXPECT_EQ(NUV_IndexMap_next(&map_, 0), 1U) << "from a free position too";
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
  EXPECT_EQ(store_[2].m_oPair.m_iKey, 12) << "left in the entry, but not counted";
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

TEST_F(IndexMapTest, CanBeMadeAgainOverItsStore) {
  fill();
  NUV_IndexMap_destruct(&map_);
  EXPECT_EQ(store_[3].m_bUsed, 1) << "the array is the caller's";
  EXPECT_EQ(NUV_IndexMap_construct(&map_, store_, kSize), 1);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 10), 4U);
}

TEST_F(IndexMapTest, RefusesMoreThanItHolds) {
  fill();
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 50, 1), 4U);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kHasRoom), check_report(kFile, "i < a_this->m_uMapSize"),
                                        ensure_report(kFile, kIsThere), ensure_report(kFile, kHasGrown)}));
  EXPECT_EQ(walk(), (Walk{{0, 10}, {1, 11}, {2, 12}, {3, 13}}));
  NUV_IndexMap_remove(&map_, 3);
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 50, 1), 3U);
}

TEST_F(IndexMapTest, RefusesAKeyThatIsThere) {
  NUV_IndexMap_insert(&map_, 10, 1);
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 10, 2), 4U);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kIsNew), ensure_report(kFile, kHasGrown)}));
  EXPECT_EQ(NUV_IndexMap_at(&map_, 10), 1U);
  EXPECT_EQ(walk(), (Walk{{0, 10}}));
  NUV_IndexMap_remove(&map_, 0);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 10), 4U);
}

TEST_F(IndexMapTest, RefusesAKeyThatIsThereInAFullMap) {
  fill();
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 10, 2), 4U);
  EXPECT_EQ(contracts_.take(),
            (Reports{require_report(kFile, kHasRoom), require_report(kFile, kIsNew),
                     check_report(kFile, "i < a_this->m_uMapSize"), ensure_report(kFile, kHasGrown)}));
  EXPECT_EQ(NUV_IndexMap_at(&map_, 10), 100U);
}

TEST_F(IndexMapTest, ReportsAMissingKey) {
  EXPECT_EQ(NUV_IndexMap_at(&map_, 5), 0U);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kIsThere)});
  fill();
  EXPECT_EQ(NUV_IndexMap_at(&map_, 77), 0U);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kIsThere)});
}

TEST_F(IndexMapTest, ReportsAPositionThatDoesNotExist) {
  fill();
  for (const uint32_t position : kNoPositions) {
    SCOPED_TRACE(position);
    EXPECT_EQ(NUV_IndexMap_next(&map_, position), 4U);
    EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kBelowEnd)});
    EXPECT_EQ(NUV_IndexMap_get(&map_, position), nullptr);
    EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}));
    NUV_IndexMap_remove(&map_, position);
    EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}));
  }
  EXPECT_EQ(walk(), (Walk{{0, 10}, {1, 11}, {2, 12}, {3, 13}}));
}

TEST_F(IndexMapTest, ReportsAPositionThatIsFree) {
  NUV_IndexMap_insert(&map_, 10, 1);
  EXPECT_EQ(NUV_IndexMap_get(&map_, 3), &store_[3].m_oPair);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kUsed)});
  NUV_IndexMap_remove(&map_, 3);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kUsed)});
  EXPECT_EQ(NUV_IndexMap_size(&map_), 1U);
}

// What an operation promises it also looks at, for the sake of records that somebody else wrote to.
TEST_F(IndexMapTest, ReportsARecordThatWasTamperedWith) {
  fill();
  store_[3].m_oPair.m_iKey = 11;
  NUV_IndexMap_remove(&map_, 1);
  EXPECT_EQ(contracts_.take(),
            Reports{ensure_report(kFile, "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, key)")});
  EXPECT_EQ(NUV_IndexMap_size(&map_), 3U);

  map_.m_uCount = 4;
  NUV_IndexMap_clear(&map_);
  EXPECT_EQ(contracts_.take(), Reports{ensure_report(kFile, "1 == NUV_IndexMap_empty( a_this)")});
  EXPECT_EQ(NUV_IndexMap_begin(&map_), NUV_IndexMap_end(&map_));
}

TEST_F(IndexMapTest, HasNoPlaceWithoutAStore) {
  IndexMap map;
  EXPECT_EQ(NUV_IndexMap_construct(&map, nullptr, 0), 1);
  EXPECT_EQ(NUV_IndexMap_maxSize(&map), 0U);
  EXPECT_EQ(NUV_IndexMap_begin(&map), NUV_IndexMap_end(&map));
  EXPECT_EQ(NUV_IndexMap_find(&map, 0), 0U);
  NUV_IndexMap_clear(&map);
  EXPECT_EQ(NUV_IndexMap_insert(&map, 1, 2), 0U);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kHasRoom), check_report(kFile, "i < a_this->m_uMapSize"),
                                        ensure_report(kFile, kIsThere), ensure_report(kFile, kHasGrown)}));
  EXPECT_EQ(NUV_IndexMap_size(&map), 0U);
}

TEST_F(IndexMapTest, CountsASizeWithoutAStoreAsZero) {
  IndexMap map;
  EXPECT_EQ(NUV_IndexMap_construct(&map, nullptr, 4), 1);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kStore), ensure_report(kFile, kMaxSize)}));
  EXPECT_EQ(NUV_IndexMap_maxSize(&map), 0U);
  EXPECT_EQ(NUV_IndexMap_begin(&map), 0U);
  EXPECT_EQ(NUV_IndexMap_find(&map, 0), 0U);
}

TEST_F(IndexMapTest, ReportsAStoreWithoutASize) {
  IndexMap map;
  EXPECT_EQ(NUV_IndexMap_construct(&map, entries_.data(), 0), 1);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kStore)});
  EXPECT_EQ(NUV_IndexMap_maxSize(&map), 0U);
  EXPECT_EQ(entries_.front().m_bUsed, kGuard.m_bUsed) << "nothing of the store is the map's";
}

TEST(IndexMapNull, EveryOperationReportsANullMap) {
  const struct {
    const char* name;
    void (*call)();
  } kCases[] = {
      {"construct", [] { NUV_IndexMap_construct(nullptr, nullptr, 1); }},
      {"destruct", [] { NUV_IndexMap_destruct(nullptr); }},
      {"size", [] { NUV_IndexMap_size(nullptr); }},
      {"maxSize", [] { NUV_IndexMap_maxSize(nullptr); }},
      {"empty", [] { NUV_IndexMap_empty(nullptr); }},
      {"begin", [] { NUV_IndexMap_begin(nullptr); }},
      {"end", [] { NUV_IndexMap_end(nullptr); }},
      {"next", [] { NUV_IndexMap_next(nullptr, 0); }},
      {"find", [] { NUV_IndexMap_find(nullptr, 0); }},
      {"get", [] { NUV_IndexMap_get(nullptr, 0); }},
      {"at", [] { NUV_IndexMap_at(nullptr, 0); }},
      {"insert", [] { NUV_IndexMap_insert(nullptr, 0, 0); }},
      {"remove", [] { NUV_IndexMap_remove(nullptr, 0); }},
      {"clear", [] { NUV_IndexMap_clear(nullptr); }},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(support::first_report(row.call), require_report(kFile, "((void *)0) != a_this"));
  }
}

}  // namespace
