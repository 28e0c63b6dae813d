// Violates every contract of the index pool; the error handler returns.
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

const Report kNotBelowSize = require_report(kFile, kBelowSize);
const Report kNoIndex = ensure_report(kFile, "a_this->m_uSize > index");
const Report kNotTaken = ensure_report(kFile, "NUV_IndexPool_occupied( a_this, index)");
const Report kNotTakenByIndex = ensure_report(kFile, "NUV_IndexPool_occupied( a_this, a_index)");

using Row = support::Violation<IndexPool>;

void fill(IndexPool& pool) {
  while (NUV_IndexPool_free(&pool) != 0) {
    NUV_IndexPool_occupy(&pool);
  }
}

// The pool has ten indices, so two bytes of bits; index 3 is taken.
class IndexPoolContracts : public ::testing::TestWithParam<Row> {
 protected:
  IndexPoolContracts() {
    NUV_IndexPool_construct(&pool_, 10);
    NUV_IndexPool_occupyIndex(&pool_, 3);
  }
  ~IndexPoolContracts() override { NUV_IndexPool_destruct(&pool_); }

  // Whatever happened to the pool, every operation stays inside its bits and terminates.
  void expect_harmless() {
    for (int i = 0; i < 20; ++i) {
      NUV_IndexPool_occupy(&pool_);
    }
    EXPECT_EQ(NUV_IndexPool_occupy(&pool_), 10U) << "all bits are set";
    for (const uint32_t index : {0U, 9U, 10U, 15U, 16U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      NUV_IndexPool_release(&pool_, index);
      EXPECT_EQ(NUV_IndexPool_occupied(&pool_, index), 0);
      NUV_IndexPool_occupyIndex(&pool_, index);
      EXPECT_EQ(NUV_IndexPool_occupied(&pool_, index), index < 16 ? 1 : 0);
    }
    contracts_.take();
  }

  ContractRecorder contracts_;
  IndexPool pool_;
};

TEST_P(IndexPoolContracts, AreReportedAndCarriedOn) {
  GetParam().violate(pool_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  expect_harmless();
}

void expect_state(const IndexPool& pool, uint32_t free, uint8_t first_byte, uint8_t second_byte) {
  EXPECT_EQ(pool.m_uSize, 10U);
  EXPECT_EQ(pool.m_uFree, free);
  EXPECT_EQ(pool.m_pPool[0], first_byte);
  EXPECT_EQ(pool.m_pPool[1], second_byte);
}

const Row kRows[] = {
    {"occupiedOfASpareBit",
     [](IndexPool& pool) {
       EXPECT_EQ(NUV_IndexPool_occupied(&pool, 10), 0);
       pool.m_pPool[1] = 0x04;
       EXPECT_EQ(NUV_IndexPool_occupied(&pool, 10), 1);
     },
     {kNotBelowSize, kNotBelowSize}},
    {"occupiedBehindTheBits",
     [](IndexPool& pool) { EXPECT_EQ(NUV_IndexPool_occupied(&pool, 16), 0); },
     {kNotBelowSize}},
    // The search finds and takes the first spare bit, so the last check holds.
    {"occupyWhenExhausted",
     [](IndexPool& pool) {
       fill(pool);
       EXPECT_EQ(NUV_IndexPool_occupy(&pool), 10U);
       expect_state(pool, 0xFFFFFFFF, 0xFF, 0x07);
       EXPECT_EQ(NUV_IndexPool_busy(&pool), 11U);
       EXPECT_EQ(NUV_IndexPool_available(&pool), 1);
     },
     {require_report(kFile, kHasRoom), kNoIndex, kNotBelowSize}},
    {"occupyAfterTheCountHasWrapped",
     [](IndexPool& pool) {
       fill(pool);
       NUV_IndexPool_occupy(&pool);
       EXPECT_EQ(NUV_IndexPool_occupy(&pool), 11U);
       expect_state(pool, 0xFFFFFFFE, 0xFF, 0x0F);
     },
     {require_report(kFile, kHasRoom), kNoIndex, kNotBelowSize, kNoIndex, kNotBelowSize}},
    // There are free bits, but the count is 0.
    {"occupyWithAWrongCount",
     [](IndexPool& pool) {
       pool.m_uFree = 0;
       EXPECT_EQ(NUV_IndexPool_occupy(&pool), 0U);
       expect_state(pool, 0xFFFFFFFF, 0x09, 0x00);
     },
     {require_report(kFile, kHasRoom)}},
    // The count says that there are free bits, but there are none.
    {"occupyWhenAllBitsAreSet",
     [](IndexPool& pool) {
       pool.m_pPool[0] = 0xFF;
       pool.m_pPool[1] = 0xFF;
       EXPECT_EQ(NUV_IndexPool_occupy(&pool), 10U);
       expect_state(pool, 9, 0xFF, 0xFF);
     },
     {kNoIndex, kNotBelowSize}},
    {"occupyIndexOfASpareBit",
     [](IndexPool& pool) {
       NUV_IndexPool_occupyIndex(&pool, 15);
       expect_state(pool, 8, 0x08, 0x80);
     },
     {kNotBelowSize, kNotBelowSize, kNotBelowSize}},
    {"occupyIndexOfASpareBitTwice",
     [](IndexPool& pool) {
       NUV_IndexPool_occupyIndex(&pool, 15);
       NUV_IndexPool_occupyIndex(&pool, 15);
       expect_state(pool, 7, 0x08, 0x80);
     },
     {kNotBelowSize, kNotBelowSize, kNotBelowSize, kNotBelowSize, kNotBelowSize, require_report(kFile, kIsFree),
      kNotBelowSize}},
    {"occupyIndexBehindTheBits",
     [](IndexPool& pool) {
       NUV_IndexPool_occupyIndex(&pool, 16);
       expect_state(pool, 9, 0x08, 0x00);
     },
     {kNotBelowSize, kNotBelowSize, kNotBelowSize, kNotTakenByIndex}},
    {"occupyIndexTwice",
     [](IndexPool& pool) {
       NUV_IndexPool_occupyIndex(&pool, 3);
       expect_state(pool, 8, 0x08, 0x00);
     },
     {require_report(kFile, kIsFree)}},
    {"releaseAFreeIndex",
     [](IndexPool& pool) {
       NUV_IndexPool_release(&pool, 4);
       expect_state(pool, 10, 0x08, 0x00);
     },
     {require_report(kFile, kIsTaken)}},
    {"releaseMoreThanThereAre",
     [](IndexPool& pool) {
       NUV_IndexPool_release(&pool, 3);
       NUV_IndexPool_release(&pool, 3);
       expect_state(pool, 11, 0x00, 0x00);
       EXPECT_EQ(NUV_IndexPool_busy(&pool), 0xFFFFFFFFU);
     },
     {require_report(kFile, kIsTaken)}},
    {"releaseAFreeSpareBit",
     [](IndexPool& pool) {
       NUV_IndexPool_release(&pool, 10);
       expect_state(pool, 10, 0x08, 0x00);
     },
     {kNotBelowSize, kNotBelowSize, require_report(kFile, kIsTaken), kNotBelowSize}},
    {"releaseATakenSpareBit",
     [](IndexPool& pool) {
       pool.m_pPool[1] = 0xFC;
       NUV_IndexPool_release(&pool, 10);
       expect_state(pool, 10, 0x08, 0xF8);
     },
     {kNotBelowSize, kNotBelowSize, kNotBelowSize}},
    {"releaseBehindTheBits",
     [](IndexPool& pool) {
       NUV_IndexPool_release(&pool, 0xFFFFFFFF);
       expect_state(pool, 9, 0x08, 0x00);
     },
     {kNotBelowSize, kNotBelowSize, require_report(kFile, kIsTaken), kNotBelowSize}},
};

INSTANTIATE_TEST_SUITE_P(All, IndexPoolContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// Without spare bits, an exhausted pool stays exhausted.
TEST(IndexPoolContractsOfSize, ExhaustedPoolWithoutSpareBitsReturnsNoIndex) {
  for (const uint32_t size : {0U, 8U, 64U, 80U}) {
    SCOPED_TRACE(size);
    ContractRecorder contracts;
    IndexPool pool;
    NUV_IndexPool_construct(&pool, size);
    fill(pool);
    EXPECT_EQ(NUV_IndexPool_occupy(&pool), size);
    EXPECT_EQ(contracts.take(), (Reports{require_report(kFile, kHasRoom), kNoIndex, kNotBelowSize, kNotTaken}));
    EXPECT_EQ(NUV_IndexPool_free(&pool), 0U);
    EXPECT_EQ(NUV_IndexPool_busy(&pool), size);
    NUV_IndexPool_destruct(&pool);
  }
}

TEST(IndexPoolContractsOfMemory, PoolWithoutMemoryReturnsNoIndex) {
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

// release has just cleared the bit, so this check fails only if the handler sets it again.
TEST(IndexPoolContractsOfHandler, ReleaseChecksTheIndexAgain) {
  ContractRecorder contracts;
  IndexPool pool;
  NUV_IndexPool_construct(&pool, 10);
  contracts.meddle([&](const Report&) { pool.m_pPool[1] = 0x04; });
  NUV_IndexPool_release(&pool, 10);
  EXPECT_EQ(contracts.take(), (Reports{kNotBelowSize, kNotBelowSize, kNotBelowSize,
                                       ensure_report(kFile, "NUV_IndexPool_occupied( a_this, a_index) == 0")}));
  EXPECT_EQ(NUV_IndexPool_free(&pool), 11U);
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
  EXPECT_EQ(lines.size(), 10U) << "one report for each operation";
}

}  // namespace
