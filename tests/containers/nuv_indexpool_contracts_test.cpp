// Every check of the index pool, violated while the error handler returns.
#include <gtest/gtest.h>

#include <cerrno>

#include "doubles/contract_recorder.h"
#include "doubles/fault_loop.h"
#include "doubles/violation.h"
#include "nuv_indexpool.h"

namespace {

using support::ContractRecorder;
using support::ensure_report;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_indexpool";
constexpr char kHasRoom[] = "NUV_IndexPool_available( a_this) == 1";
constexpr char kBelowSize[] = "NUV_IndexPool_size( a_this) > a_index";
constexpr char kIsTaken[] = "NUV_IndexPool_occupied( a_this, a_index) == 1";
constexpr char kIsFree[] = "NUV_IndexPool_occupied( a_this, a_index) == 0";

using Row = support::Violation<IndexPool>;

// The pool has ten indices, of which 3 is taken.
class IndexPoolContracts : public ::testing::TestWithParam<Row> {};

TEST_P(IndexPoolContracts, AreReportedAndLeaveAWorkingPool) {
  ContractRecorder contracts;
  IndexPool pool;
  NUV_IndexPool_construct(&pool, 10);
  NUV_IndexPool_occupyIndex(&pool, 3);

  GetParam().violate(pool);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  while (NUV_IndexPool_available(&pool) == 1) {
    EXPECT_LT(NUV_IndexPool_occupy(&pool), 10U);
  }
  EXPECT_EQ(NUV_IndexPool_busy(&pool), 10U);
  NUV_IndexPool_release(&pool, 7);
  EXPECT_EQ(NUV_IndexPool_occupy(&pool), 7U);
  NUV_IndexPool_destruct(&pool);
}

void fill(IndexPool& pool) {
  while (NUV_IndexPool_available(&pool) == 1) {
    NUV_IndexPool_occupy(&pool);
  }
}

const Row kRows[] = {
    {"occupiedOfAnIndexPastTheEnd",
     [](IndexPool& pool) { EXPECT_EQ(NUV_IndexPool_occupied(&pool, 10), 0); },
     {require_report(kFile, kBelowSize)}},
    {"occupyWhenExhausted",
     [](IndexPool& pool) {
       fill(pool);
       EXPECT_EQ(NUV_IndexPool_occupy(&pool), 10U);
     },
     {require_report(kFile, kHasRoom), ensure_report(kFile, "a_this->m_uSize > index"),
      require_report(kFile, kBelowSize), ensure_report(kFile, "NUV_IndexPool_occupied( a_this, index)")}},
    {"occupyIndexPastTheEnd",
     [](IndexPool& pool) { NUV_IndexPool_occupyIndex(&pool, 10); },
     {require_report(kFile, kBelowSize), require_report(kFile, kBelowSize), require_report(kFile, kBelowSize),
      ensure_report(kFile, "NUV_IndexPool_occupied( a_this, a_index)")}},
    {"occupyIndexTwice",
     [](IndexPool& pool) {
       NUV_IndexPool_occupyIndex(&pool, 3);
       EXPECT_EQ(NUV_IndexPool_busy(&pool), 1U);
     },
     {require_report(kFile, kIsFree)}},
    {"releaseAFreeIndex",
     [](IndexPool& pool) {
       NUV_IndexPool_release(&pool, 4);
       EXPECT_EQ(NUV_IndexPool_free(&pool), 9U);
     },
     {require_report(kFile, kIsTaken)}},
    {"releasePastTheEnd",
     [](IndexPool& pool) {
       NUV_IndexPool_release(&pool, 0xFFFFFFFF);
       EXPECT_EQ(NUV_IndexPool_free(&pool), 9U);
     },
     {require_report(kFile, kBelowSize), require_report(kFile, kBelowSize), require_report(kFile, kIsTaken),
      require_report(kFile, kBelowSize)}},
};

INSTANTIATE_TEST_SUITE_P(All, IndexPoolContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// A pool without indices, and one whose last byte is full, are exhausted in the same way.
TEST(IndexPoolContractsOfSize, ExhaustedPoolsStayExhausted) {
  for (const uint32_t size : {0U, 8U}) {
    SCOPED_TRACE(size);
    ContractRecorder contracts;
    IndexPool pool;
    NUV_IndexPool_construct(&pool, size);
    fill(pool);
    EXPECT_EQ(NUV_IndexPool_occupy(&pool), size);
    EXPECT_EQ(
        contracts.take(),
        (Reports{require_report(kFile, kHasRoom), ensure_report(kFile, "a_this->m_uSize > index"),
                 require_report(kFile, kBelowSize), ensure_report(kFile, "NUV_IndexPool_occupied( a_this, index)")}));
    EXPECT_EQ(NUV_IndexPool_free(&pool), 0U);
    EXPECT_EQ(NUV_IndexPool_busy(&pool), size);
    NUV_IndexPool_destruct(&pool);
  }
}

TEST(IndexPoolContractsOfMemory, WithoutMemoryThePoolGivesNoIndex) {
  const int calls = support::each_fault("malloc", {ENOMEM}, [](support::Fault& fault) {
    ContractRecorder contracts;
    IndexPool pool;
    EXPECT_EQ(fault.during([&] { return NUV_IndexPool_construct(&pool, 10); }), 1);
    EXPECT_EQ(NUV_IndexPool_size(&pool), 10U);
    EXPECT_EQ(NUV_IndexPool_occupied(&pool, 0), 0);
    if (fault.has_struck()) {
      EXPECT_EQ(contracts.take(), (Reports{Report{NUV_ASSERT_NULL_POINTER, kFile, "NULL != a_this->m_pPool"}}));
      EXPECT_EQ(NUV_IndexPool_occupy(&pool), 10U);
      EXPECT_EQ(contracts.take(),
                (Reports{ensure_report(kFile, "a_this->m_uSize > index"), require_report(kFile, kBelowSize),
                         ensure_report(kFile, "NUV_IndexPool_occupied( a_this, index)")}));
      NUV_IndexPool_occupyIndex(&pool, 3);
      EXPECT_EQ(contracts.take(), Reports{ensure_report(kFile, "NUV_IndexPool_occupied( a_this, a_index)")});
      NUV_IndexPool_release(&pool, 3);
      EXPECT_EQ(contracts.take(), Reports{require_report(kFile, kIsTaken)});
    }
    EXPECT_EQ(NUV_IndexPool_free(&pool), 10U);
    NUV_IndexPool_destruct(&pool);

    EXPECT_EQ(NUV_IndexPool_construct(&pool, 10), 1);
    EXPECT_EQ(NUV_IndexPool_occupy(&pool), 0U);
    NUV_IndexPool_destruct(&pool);
  });
  EXPECT_EQ(calls, 1);
}

// An index that is not free after its release is one that the pool does not have, so only a handler that makes the pool
// larger meanwhile gets this far.
TEST(IndexPoolContractsOfHandler, ReleaseLooksAtTheIndexOnceMore) {
  ContractRecorder contracts;
  IndexPool pool;
  NUV_IndexPool_construct(&pool, 10);
  NUV_IndexPool_occupyIndex(&pool, 3);
  pool.m_uSize = 3;
  int reports = 0;
  contracts.meddle([&](const Report&) { pool.m_uSize = ++reports < 4 ? 3 : 10; });
  NUV_IndexPool_release(&pool, 3);
  EXPECT_EQ(contracts.take(), (Reports{require_report(kFile, kBelowSize), require_report(kFile, kBelowSize),
                                       require_report(kFile, kIsTaken), require_report(kFile, kBelowSize),
                                       ensure_report(kFile, "NUV_IndexPool_occupied( a_this, a_index) == 0")}));
  EXPECT_EQ(NUV_IndexPool_busy(&pool), 1U);
  NUV_IndexPool_destruct(&pool);
}

TEST(IndexPoolContractsNull, EveryOperationReportsANullPool) {
  const auto lines = support::expect_null_reports(kFile, "((void *)0) != a_this",
                                                  {{"construct", [] { NUV_IndexPool_construct(nullptr, 1); }},
                                                   {"destruct", [] { NUV_IndexPool_destruct(nullptr); }},
                                                   {"size", [] { NUV_IndexPool_size(nullptr); }},
                                                   {"free", [] { NUV_IndexPool_free(nullptr); }},
                                                   {"busy", [] { NUV_IndexPool_busy(nullptr); }},
                                                   {"available", [] { NUV_IndexPool_available(nullptr); }},
                                                   {"occupied", [] { NUV_IndexPool_occupied(nullptr, 0); }},
                                                   {"occupy", [] { NUV_IndexPool_occupy(nullptr); }},
                                                   {"occupyIndex", [] { NUV_IndexPool_occupyIndex(nullptr, 0); }},
                                                   {"release", [] { NUV_IndexPool_release(nullptr, 0); }}});
  EXPECT_EQ(lines.size(), 10U) << "each operation has a check of its own";
}

}  // namespace
