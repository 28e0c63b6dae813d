// Violates every contract of the index map; the error handler returns.
#include <gtest/gtest.h>

#include <array>

#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_indexmap.h"

namespace {

using support::check_report;
using support::ContractRecorder;
using support::ensure_report;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_indexmap";
constexpr char kStore[] = "( 0 != a_size) == ( ((void *)0) != a_store)";
constexpr char kBelowEnd[] = "NUV_IndexMap_end( a_this) > a_iterator";
constexpr char kUsed[] = "1 == a_this->m_rgMap[a_iterator].m_bUsed";
constexpr char kHasRoom[] = "NUV_IndexMap_size( a_this) < NUV_IndexMap_maxSize( a_this)";
constexpr char kIsNew[] = "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, a_key)";
constexpr char kIsThere[] = "NUV_IndexMap_end( a_this) != NUV_IndexMap_find( a_this, a_key)";
constexpr char kFree[] = "i < a_this->m_uMapSize";
constexpr char kHasGrown[] = "NUV_IndexMap_size( a_this) == ( oldsize + 1)";
constexpr char kIsGone[] = "NUV_IndexMap_end( a_this) == NUV_IndexMap_find( a_this, key)";
constexpr char kHasShrunk[] = "NUV_IndexMap_size( a_this) == ( oldsize - 1)";
constexpr char kCleared[] = "1 == NUV_IndexMap_empty( a_this)";

constexpr uint32_t kSize = 4;

void fill(IndexMap& map) {
  for (int32_t key = 12; NUV_IndexMap_size(&map) < kSize; ++key) {
    NUV_IndexMap_insert(&map, key, 100);
  }
}

void expect_pairs_untouched(const IndexMap& map) {
  EXPECT_EQ(NUV_IndexMap_at(&map, 10), 100U);
  EXPECT_EQ(NUV_IndexMap_at(&map, 11), 101U);
}

using Row = support::Violation<IndexMap>;

// The map has four entries, 0 with (10, 100) and 1 with (11, 101), between two guard entries. The guards are marked as
// used, so that a search beyond the map finds them.
class IndexMapContracts : public ::testing::TestWithParam<Row> {
 protected:
  static constexpr IndexMapEntry kGuard = {1, {77, 0xDEADBEEF}};

  IndexMapContracts() {
    entries_.fill(kGuard);
    NUV_IndexMap_construct(&map_, &entries_[1], kSize);
    NUV_IndexMap_insert(&map_, 10, 100);
    NUV_IndexMap_insert(&map_, 11, 101);
  }

  ~IndexMapContracts() override {
    for (const IndexMapEntry* guard : {&entries_.front(), &entries_.back()}) {
      EXPECT_EQ(guard->m_bUsed, kGuard.m_bUsed);
      EXPECT_EQ(guard->m_oPair.m_iKey, kGuard.m_oPair.m_iKey);
      EXPECT_EQ(guard->m_oPair.m_uValue, kGuard.m_oPair.m_uValue);
    }
    NUV_IndexMap_destruct(&map_);
  }

  // Whatever happened to the map, every operation stays inside its entries and terminates.
  void expect_harmless() {
    uint32_t steps = 0;
    for (uint32_t i = NUV_IndexMap_begin(&map_); i != kSize; i = NUV_IndexMap_next(&map_, i)) {
      ASSERT_LT(i, kSize);
      ASSERT_LE(++steps, kSize);
      EXPECT_EQ(NUV_IndexMap_get(&map_, i), &entries_[i + 1].m_oPair);
    }
    for (int32_t key = 0; key < 8; ++key) {
      EXPECT_LE(NUV_IndexMap_insert(&map_, key, 1), kSize);
      EXPECT_LE(NUV_IndexMap_find(&map_, key), kSize);
    }
    EXPECT_EQ(NUV_IndexMap_insert(&map_, 8, 1), kSize) << "all entries are used";
    for (const uint32_t position : {3U, 0U, 4U, 3U, 0x80000000U, 0xFFFFFFFFU}) {
      NUV_IndexMap_remove(&map_, position);
    }
    NUV_IndexMap_clear(&map_);
    EXPECT_EQ(NUV_IndexMap_begin(&map_), kSize);
    EXPECT_EQ(NUV_IndexMap_find(&map_, 10), kSize);
    contracts_.take();
  }

  std::array<IndexMapEntry, kSize + 2> entries_;
  IndexMap map_ = {};
  ContractRecorder contracts_;
};

TEST_P(IndexMapContracts, AreReportedAndCarriedOn) {
  GetParam().violate(map_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  expect_harmless();
}

void expect_entry(const IndexMap& map, uint32_t position, uint8_t used, int32_t key, uint32_t value) {
  const IndexMapEntry& entry = map.m_rgMap[position];
  EXPECT_EQ(entry.m_bUsed, used);
  EXPECT_EQ(entry.m_oPair.m_iKey, key);
  EXPECT_EQ(entry.m_oPair.m_uValue, value);
}

const Row kRows[] = {
    {"nextOfTheEnd",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_next(&map, 4), 4U); },
     {require_report(kFile, kBelowEnd)}},
    {"nextBehindTheEnd",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_next(&map, 5), 4U); },
     {require_report(kFile, kBelowEnd)}},
    {"nextOfTheLargestNumber",  // a counter wraps after it
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_next(&map, 0xFFFFFFFF), 4U); },
     {require_report(kFile, kBelowEnd)}},
    {"getAFreePosition",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_get(&map, 3), &map.m_rgMap[3].m_oPair); },
     {require_report(kFile, kUsed)}},
    {"getTheEnd",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_get(&map, 4), nullptr); },
     {require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}},
    {"getTheLargestNumber",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_get(&map, 0xFFFFFFFF), nullptr); },
     {require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}},
    {"atAMissingKey",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_at(&map, 12), 0U); },
     {require_report(kFile, kIsThere)}},
    {"atAKeyBehindTheEnd",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_at(&map, 77), 0U); },
     {require_report(kFile, kIsThere)}},
    {"insertAKeyThatIsThere",
     [](IndexMap& map) {
       EXPECT_EQ(NUV_IndexMap_insert(&map, 10, 2), 2U);
       EXPECT_EQ(NUV_IndexMap_size(&map), 3U);
       expect_entry(map, 2, 1, 10, 2);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kIsNew)}},
    {"removeAKeyThatIsThereTwice",
     [](IndexMap& map) {
       NUV_IndexMap_insert(&map, 10, 2);
       NUV_IndexMap_remove(&map, 0);
       EXPECT_EQ(NUV_IndexMap_size(&map), 2U);
       expect_entry(map, 0, 0, 10, 100);
       EXPECT_EQ(NUV_IndexMap_find(&map, 10), 2U);
     },
     {require_report(kFile, kIsNew), ensure_report(kFile, kIsGone)}},
    {"clearAMapWithAKeyThatIsThereTwice",
     [](IndexMap& map) {
       NUV_IndexMap_insert(&map, 10, 2);
       NUV_IndexMap_clear(&map);
       EXPECT_EQ(NUV_IndexMap_size(&map), 0U);
     },
     {require_report(kFile, kIsNew), ensure_report(kFile, kIsGone)}},
    {"insertIntoAFullMap",
     [](IndexMap& map) {
       fill(map);
       EXPECT_EQ(NUV_IndexMap_insert(&map, 50, 1), 4U);
       EXPECT_EQ(NUV_IndexMap_size(&map), 4U);
       expect_pairs_untouched(map);
       NUV_IndexMap_remove(&map, 3);
       EXPECT_EQ(NUV_IndexMap_insert(&map, 50, 1), 3U);
     },
     {require_report(kFile, kHasRoom), check_report(kFile, kFree), ensure_report(kFile, kIsThere),
      ensure_report(kFile, kHasGrown)}},
    {"insertAKeyThatIsThereIntoAFullMap",
     [](IndexMap& map) {
       fill(map);
       EXPECT_EQ(NUV_IndexMap_insert(&map, 10, 2), 4U);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kHasRoom), require_report(kFile, kIsNew), check_report(kFile, kFree),
      ensure_report(kFile, kHasGrown)}},
    {"removeAFreePosition",
     [](IndexMap& map) {
       NUV_IndexMap_remove(&map, 3);
       EXPECT_EQ(NUV_IndexMap_size(&map), 1U);
       expect_entry(map, 3, 0, 0, 0);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kUsed)}},
    // The former key of the position is still in the map, at another position.
    {"removeAFreePositionWhoseLastKeyIsThere",
     [](IndexMap& map) {
       map.m_rgMap[3].m_oPair.m_iKey = 11;
       NUV_IndexMap_remove(&map, 3);
       EXPECT_EQ(NUV_IndexMap_size(&map), 1U);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kUsed), ensure_report(kFile, kIsGone)}},
    {"removeFromAnEmptyMap",
     [](IndexMap& map) {
       NUV_IndexMap_clear(&map);
       NUV_IndexMap_remove(&map, 0);
       EXPECT_EQ(NUV_IndexMap_size(&map), 0xFFFFFFFFU);
       EXPECT_EQ(NUV_IndexMap_empty(&map), 0);
     },
     {require_report(kFile, kUsed)}},
    {"insertAfterTheCountHasWrapped",
     [](IndexMap& map) {
       NUV_IndexMap_clear(&map);
       NUV_IndexMap_remove(&map, 0);
       EXPECT_EQ(NUV_IndexMap_insert(&map, 12, 102), 0U);
       EXPECT_EQ(NUV_IndexMap_size(&map), 0U);
       expect_entry(map, 0, 1, 12, 102);
     },
     {require_report(kFile, kUsed), require_report(kFile, kHasRoom)}},
    {"removeTheEnd",
     [](IndexMap& map) {
       NUV_IndexMap_remove(&map, 4);
       EXPECT_EQ(NUV_IndexMap_size(&map), 2U) << "nothing was removed";
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}},
    {"removeTheLargestNumber",
     [](IndexMap& map) {
       NUV_IndexMap_remove(&map, 0xFFFFFFFF);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}},
    // Operations also check their postconditions, in case something else has written to the record.
    {"removeADuplicatedKey",
     [](IndexMap& map) {
       map.m_rgMap[1].m_oPair.m_iKey = 10;
       NUV_IndexMap_remove(&map, 0);
       EXPECT_EQ(NUV_IndexMap_size(&map), 1U);
     },
     {ensure_report(kFile, kIsGone)}},
    {"getAnEntryWithAnInvalidMark",
     [](IndexMap& map) {
       map.m_rgMap[1].m_bUsed = 2;
       EXPECT_EQ(NUV_IndexMap_next(&map, 0), 1U);
       EXPECT_EQ(NUV_IndexMap_find(&map, 11), 1U);
       EXPECT_EQ(NUV_IndexMap_insert(&map, 12, 102), 2U);
       EXPECT_EQ(NUV_IndexMap_get(&map, 1), &map.m_rgMap[1].m_oPair);
       NUV_IndexMap_remove(&map, 1);
       EXPECT_EQ(NUV_IndexMap_size(&map), 2U);
       expect_entry(map, 1, 0, 11, 101);
     },
     {require_report(kFile, kUsed), require_report(kFile, kUsed)}},
    {"clearAMapWithAWrongCount",
     [](IndexMap& map) {
       map.m_uCount = 3;
       NUV_IndexMap_clear(&map);
       EXPECT_EQ(NUV_IndexMap_begin(&map), NUV_IndexMap_end(&map));
       EXPECT_EQ(NUV_IndexMap_size(&map), 1U);
     },
     {ensure_report(kFile, kCleared)}},
};

INSTANTIATE_TEST_SUITE_P(All, IndexMapContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST_F(IndexMapContracts, ReportsACountThatTheHandlerChanged) {
  map_.m_rgMap[1].m_oPair.m_iKey = 10;
  contracts_.meddle([this](const Report&) { map_.m_uCount = 7; });
  NUV_IndexMap_remove(&map_, 0);
  EXPECT_EQ(contracts_.take(), (Reports{ensure_report(kFile, kIsGone), ensure_report(kFile, kHasShrunk)}));
  EXPECT_EQ(NUV_IndexMap_size(&map_), 7U);
  contracts_.meddle(nullptr);
  expect_harmless();
}

class IndexMapContractsOfStore : public ::testing::Test {
 protected:
  // Checks that the map has no entries and is always full.
  void expect_no_place() {
    EXPECT_EQ(NUV_IndexMap_maxSize(&map_), 0U);
    EXPECT_EQ(NUV_IndexMap_begin(&map_), 0U);
    EXPECT_EQ(NUV_IndexMap_find(&map_, 0), 0U);
    EXPECT_EQ(NUV_IndexMap_insert(&map_, 1, 2), 0U);
    EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kHasRoom), check_report(kFile, kFree),
                                          ensure_report(kFile, kIsThere), ensure_report(kFile, kHasGrown)}));
    EXPECT_EQ(NUV_IndexMap_size(&map_), 0U);
  }

  IndexMapEntry entry_ = {1, {77, 88}};
  IndexMap map_ = {};
  ContractRecorder contracts_;
};

TEST_F(IndexMapContractsOfStore, MapWithoutAStoreIsAlwaysFull) {
  EXPECT_EQ(NUV_IndexMap_construct(&map_, nullptr, 0), 1);
  expect_no_place();
}

// The size is kept, but no operation touches an entry.
TEST_F(IndexMapContractsOfStore, SizeWithoutAStoreHasNoEntries) {
  EXPECT_EQ(NUV_IndexMap_construct(&map_, nullptr, 4), 1);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kStore)});
  EXPECT_EQ(NUV_IndexMap_maxSize(&map_), 4U);
  EXPECT_EQ(NUV_IndexMap_size(&map_), 0U);
  EXPECT_EQ(NUV_IndexMap_begin(&map_), 4U);
  EXPECT_EQ(NUV_IndexMap_next(&map_, 0), 4U);
  EXPECT_EQ(NUV_IndexMap_find(&map_, 0), 4U);
  EXPECT_EQ(contracts_.take(), Reports{});
  EXPECT_EQ(NUV_IndexMap_insert(&map_, 1, 2), 4U);
  EXPECT_EQ(contracts_.take(),
            (Reports{check_report(kFile, kFree), ensure_report(kFile, kIsThere), ensure_report(kFile, kHasGrown)}));
  EXPECT_EQ(NUV_IndexMap_get(&map_, 3), nullptr);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kUsed)});
  EXPECT_EQ(NUV_IndexMap_at(&map_, 0), 0U);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kIsThere)});
  NUV_IndexMap_remove(&map_, 3);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kUsed)});
  NUV_IndexMap_clear(&map_);
  EXPECT_EQ(contracts_.take(), Reports{});
  EXPECT_EQ(NUV_IndexMap_size(&map_), 0U);
}

TEST_F(IndexMapContractsOfStore, StoreWithoutASizeIsNotTouched) {
  EXPECT_EQ(NUV_IndexMap_construct(&map_, &entry_, 0), 1);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kStore)});
  EXPECT_EQ(entry_.m_bUsed, 1);
  expect_no_place();
}

TEST(IndexMapContractsNull, EveryOperationReportsANullMap) {
  const auto lines = support::expect_null_reports(kFile, "((void *)0) != a_this",
                                                  {{"construct", [] { NUV_IndexMap_construct(nullptr, nullptr, 1); }},
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
                                                   {"clear", [] { NUV_IndexMap_clear(nullptr); }}});
  EXPECT_EQ(lines.size(), 14U) << "one report for each operation";
}

}  // namespace
