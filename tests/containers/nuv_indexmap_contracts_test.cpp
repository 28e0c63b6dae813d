// Every check of the index map, violated while the error handler returns.
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
constexpr char kMaxSize[] = "NUV_IndexMap_maxSize( a_this) == a_size";
constexpr char kMadeEmpty[] = "NUV_IndexMap_empty( a_this) == 1";
constexpr char kMadeBegin[] = "NUV_IndexMap_end( a_this) == NUV_IndexMap_begin( a_this)";
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

// The map has four places, of which 0 holds (10, 100) and 1 holds (11, 101), between two entries that are not its own:
// used ones, so that a search that strays finds something.
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

  void expect_works() {
    NUV_IndexMap_clear(&map_);
    for (uint32_t i = 0; i < kSize; ++i) {
      EXPECT_EQ(NUV_IndexMap_insert(&map_, static_cast<int32_t>(i), i), i);
    }
    EXPECT_EQ(NUV_IndexMap_at(&map_, 3), 3U);
    NUV_IndexMap_remove(&map_, 1);
    EXPECT_EQ(NUV_IndexMap_next(&map_, 0), 2U);
    EXPECT_EQ(NUV_IndexMap_size(&map_), 3U);
  }

  std::array<IndexMapEntry, kSize + 2> entries_;
  IndexMap map_ = {};
  ContractRecorder contracts_;
};

TEST_P(IndexMapContracts, AreReportedAndLeaveAWorkingMap) {
  GetParam().violate(map_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  expect_works();
}

const Row kRows[] = {
    {"nextOfTheEnd",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_next(&map, 4), 4U); },
     {require_report(kFile, kBelowEnd)}},
    {"nextBehindTheEnd",
     [](IndexMap& map) { EXPECT_EQ(NUV_IndexMap_next(&map, 5), 4U); },
     {require_report(kFile, kBelowEnd)}},
    {"nextOfTheLargestNumber",  // behind which a counter wraps
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
       EXPECT_EQ(NUV_IndexMap_insert(&map, 10, 2), 4U);
       EXPECT_EQ(NUV_IndexMap_size(&map), 2U);
       expect_pairs_untouched(map);
       NUV_IndexMap_remove(&map, 0);
       EXPECT_EQ(NUV_IndexMap_find(&map, 10), 4U);
     },
     {require_report(kFile, kIsNew), ensure_report(kFile, kHasGrown)}},
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
       EXPECT_EQ(NUV_IndexMap_size(&map), 2U);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kUsed)}},
    {"removeTheEnd",
     [](IndexMap& map) {
       NUV_IndexMap_remove(&map, 4);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}},
    {"removeTheLargestNumber",
     [](IndexMap& map) {
       NUV_IndexMap_remove(&map, 0xFFFFFFFF);
       expect_pairs_untouched(map);
     },
     {require_report(kFile, kBelowEnd), require_report(kFile, kUsed)}},
    // What an operation promises it also looks at, for the sake of records that somebody else wrote to.
    {"removeAKeyThatSomebodyDoubled",
     [](IndexMap& map) {
       map.m_rgMap[1].m_oPair.m_iKey = 10;
       NUV_IndexMap_remove(&map, 0);
       EXPECT_EQ(NUV_IndexMap_size(&map), 1U);
     },
     {ensure_report(kFile, kIsGone)}},
    {"clearAMapThatSomebodyMiscounted",
     [](IndexMap& map) {
       map.m_uCount = 3;
       NUV_IndexMap_clear(&map);
       EXPECT_EQ(NUV_IndexMap_begin(&map), NUV_IndexMap_end(&map));
       map.m_uCount = 0;
     },
     {ensure_report(kFile, kCleared)}},
};

INSTANTIATE_TEST_SUITE_P(All, IndexMapContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST_F(IndexMapContracts, EvenAHandlerThatMiscountsLeavesAWorkingMap) {
  map_.m_rgMap[1].m_oPair.m_iKey = 10;
  contracts_.meddle([this](const Report&) { map_.m_uCount = 7; });
  NUV_IndexMap_remove(&map_, 0);
  EXPECT_EQ(contracts_.take(), (Reports{ensure_report(kFile, kIsGone), ensure_report(kFile, kHasShrunk)}));
  map_.m_uCount = 1;
  expect_works();
}

class IndexMapContractsOfStore : public ::testing::Test {
 protected:
  // Looks that the map is one that is always full.
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

TEST_F(IndexMapContractsOfStore, AMapWithoutAStoreIsAlwaysFull) {
  EXPECT_EQ(NUV_IndexMap_construct(&map_, nullptr, 0), 1);
  expect_no_place();
}

TEST_F(IndexMapContractsOfStore, ASizeWithoutAStoreCountsAsZero) {
  EXPECT_EQ(NUV_IndexMap_construct(&map_, nullptr, 4), 1);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kStore), ensure_report(kFile, kMaxSize)}));
  expect_no_place();
}

TEST_F(IndexMapContractsOfStore, NothingOfAStoreWithoutASizeIsTheMaps) {
  EXPECT_EQ(NUV_IndexMap_construct(&map_, &entry_, 0), 1);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kStore)});
  EXPECT_EQ(entry_.m_bUsed, 1);
  expect_no_place();
}

// Only a handler that puts another store in gets this far.
TEST_F(IndexMapContractsOfStore, ConstructLooksAtTheCountAndAtTheEntries) {
  contracts_.meddle([this](const Report& report) {
    if (report == ensure_report(kFile, kMaxSize)) {
      map_ = {&entry_, 1, 1};
    }
  });
  EXPECT_EQ(NUV_IndexMap_construct(&map_, nullptr, 4), 1);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, kStore), ensure_report(kFile, kMaxSize),
                                        ensure_report(kFile, kMadeEmpty), ensure_report(kFile, kMadeBegin)}));
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
  EXPECT_EQ(lines.size(), 14U) << "each operation has a check of its own";
}

}  // namespace
