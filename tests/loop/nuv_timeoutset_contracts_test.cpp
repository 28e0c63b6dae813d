// Violates every contract of the timeout set; the error handler returns.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "doubles/contract_recorder.h"
#include "doubles/fault_injector.h"
#include "doubles/violation.h"
#include "nuv_timeoutset.h"

namespace {

using support::ContractRecorder;
using support::ensure_report;
using support::FaultInjector;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_timeoutset";
constexpr char kPoolFile[] = "nuv_indexpool";
constexpr char kHasRoom[] = "1 == NUV_TimeoutSet_available( a_this)";
constexpr char kHasTime[] = "((void *)0) != a_currtimeout";
constexpr char kHasCallback[] = "((void *)0) != a_recvfunc";

constexpr uint32_t kUnlimited = NUV_TIMEOUT_UNLIMITED;
constexpr timeval kNow = {0, 0};
constexpr timeval kLater = {1000, 0};

int32_t go(void* /*arg1*/, timeval* /*time*/, uint32_t /*arg2*/) {
  return 0;
}

int32_t fail(void* /*arg1*/, timeval* /*time*/, uint32_t /*arg2*/) {
  ADD_FAILURE() << "called";
  return 0;
}

uint32_t add(TimeoutSet& set, timeval time, NUV_TimeoutRecvFunc function = go) {
  return NUV_TimeoutSet_setReceiver(&set, time, &set, 0, /*a_temp=*/0, function);
}

void fill(TimeoutSet& set) {
  while (set.m_uCount < NUV_TIMEOUTSET_SIZE) {
    add(set, kLater);
  }
}

// The pool's reports when no id is free.
const Reports kExhaustedPool = {
    require_report(kPoolFile, "NUV_IndexPool_available( a_this) == 1"),
    ensure_report(kPoolFile, "a_this->m_uSize > index"),
    require_report(kPoolFile, "NUV_IndexPool_size( a_this) > a_index"),
    ensure_report(kPoolFile, "NUV_IndexPool_occupied( a_this, index)"),
};

using Row = support::Violation<TimeoutSet>;

// The set has two timers, 0 and 1, and lies between guard bytes.
class TimeoutSetContracts : public ::testing::TestWithParam<Row> {
 protected:
  static constexpr uint8_t kGuard = 0xA5;
  struct Guarded {
    uint8_t before[64];
    TimeoutSet set;
    uint8_t after[64];
  };

  TimeoutSetContracts() {
    memset(&guarded_, kGuard, sizeof guarded_);
    NUV_TimeoutSet_construct(&set_);
    add(set_, kLater);
    add(set_, kLater);
  }

  ~TimeoutSetContracts() override {
    NUV_TimeoutSet_destruct(&set_);
    const auto is_touched = [](uint8_t byte) { return byte != kGuard; };
    EXPECT_TRUE(std::ranges::none_of(guarded_.before, is_touched));
    EXPECT_TRUE(std::ranges::none_of(guarded_.after, is_touched));
  }

  ContractRecorder contracts_;
  Guarded guarded_;
  TimeoutSet& set_ = guarded_.set;
};

TEST_P(TimeoutSetContracts, AreReportedAndLeaveAWorkingSet) {
  GetParam().violate(set_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);

  NUV_TimeoutSet_internalRemoveDeleted(&set_);
  const uint32_t count = set_.m_uCount;
  EXPECT_EQ(set_.m_bProcessing, 0);
  EXPECT_EQ(NUV_IndexPool_busy(&set_.m_oIdPool), count);
  EXPECT_EQ(NUV_TimeoutSet_process(&set_, kUnlimited, &kLater), count);
  EXPECT_EQ(NUV_IndexPool_free(&set_.m_oIdPool), NUV_TIMEOUTSET_SIZE);
  for (uint32_t id = 0; id < NUV_TIMEOUTSET_SIZE; ++id) {
    EXPECT_EQ(add(set_, kLater), id);
  }
}

const Row kRows[] = {
    {"setReceiverWithoutACallback",
     [](TimeoutSet& set) {
       EXPECT_EQ(add(set, {1, 0}, nullptr), 2U);
       EXPECT_EQ(NUV_TimeoutSet_process(&set, kUnlimited, &kNow), 0U);
       EXPECT_EQ(set.m_uCount, 3U) << "not due yet";
     },
     {require_report(kFile, kHasCallback)}},
    // No slot is free, but the pool is asked for an id anyway.
    {"setReceiverInAFullSet",
     [](TimeoutSet& set) {
       fill(set);
       TimeoutSet before;
       memcpy(&before, &set, sizeof before);
       EXPECT_EQ(NUV_TimeoutSet_setReceiver(&set, kNow, nullptr, 0xFFFFFFFF, 1, go), 80U);
       EXPECT_EQ(memcmp(&before.m_rgRecv, &set.m_rgRecv, sizeof before.m_rgRecv), 0);
       EXPECT_EQ(set.m_uCount, 80U);
     },
     kExhaustedPool},
    // Room is required even for a removal, which is done anyway.
    {"removeReceiverFromAFullSet",
     [](TimeoutSet& set) {
       fill(set);
       const uint32_t last = set.m_rgRecv[79].m_uId;
       NUV_TimeoutSet_removeReceiver(&set, set.m_rgRecv[5].m_uId);
       EXPECT_EQ(set.m_uCount, 79U);
       EXPECT_EQ(set.m_rgRecv[5].m_uId, last);
     },
     {require_report(kFile, kHasRoom)}},
    {"removeAnUnknownIdFromAFullSet",
     [](TimeoutSet& set) {
       fill(set);
       NUV_TimeoutSet_removeReceiver(&set, 80);
       EXPECT_EQ(set.m_uCount, 80U);
     },
     {require_report(kFile, kHasRoom)}},
    {"removeReceiverFromAFullSetInADispatch",
     [](TimeoutSet& set) {
       fill(set);
       set.m_rgRecv[0].m_oTime = kNow;
       set.m_rgRecv[0].m_pRecvFunc = [](void* arg1, timeval* time, uint32_t) -> int32_t {
         auto& inner = *static_cast<TimeoutSet*>(arg1);
         NUV_TimeoutSet_removeReceiver(&inner, inner.m_rgRecv[79].m_uId);
         *time = kLater;
         return 1;
       };
       EXPECT_EQ(NUV_TimeoutSet_process(&set, kUnlimited, &kNow), 1U);
       EXPECT_EQ(set.m_uCount, 80U);
       EXPECT_EQ(set.m_rgRecv[79].m_bDeleted, 1);
       set.m_rgRecv[0].m_pRecvFunc = go;
     },
     {require_report(kFile, kHasRoom)}},
    {"setTimeoutWithoutATime",
     [](TimeoutSet& set) { EXPECT_EQ(NUV_TimeoutSet_setTimeout(&set, nullptr), 1); },
     {require_report(kFile, kHasTime)}},
    {"setTimeoutOfNoTimerWithoutATime",
     [](TimeoutSet& set) {
       NUV_TimeoutSet_removeReceiver(&set, 0);
       NUV_TimeoutSet_removeReceiver(&set, 1);
       EXPECT_EQ(NUV_TimeoutSet_setTimeout(&set, nullptr), 0);
     },
     {require_report(kFile, kHasTime)}},
    {"processWithoutATime",
     [](TimeoutSet& set) {
       add(set, kNow, fail);
       EXPECT_EQ(NUV_TimeoutSet_process(&set, kUnlimited, nullptr), 0U);
       EXPECT_EQ(set.m_uCount, 3U);
       set.m_rgRecv[2].m_pRecvFunc = go;
     },
     {require_report(kFile, kHasTime)}},
};

INSTANTIATE_TEST_SUITE_P(All, TimeoutSetContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// Takes all ids from a set's pool directly, so that there are fewer ids than slots.
void exhaust(IndexPool& pool) {
  while (NUV_IndexPool_available(&pool) == 1) {
    NUV_IndexPool_occupy(&pool);
  }
}

// A slot is free, so the timer is set, with the id that the pool returns.
TEST(TimeoutSetContractsOfIds, WithoutIdsStillSetsTimers) {
  ContractRecorder contracts;
  TimeoutSet set;
  NUV_TimeoutSet_construct(&set);
  EXPECT_EQ(add(set, kNow), 0U);
  exhaust(set.m_oIdPool);
  contracts.take();
  const uint32_t id = NUV_TimeoutSet_setReceiver(&set, {1, 2}, &set, 3, 1, go);
  EXPECT_EQ(contracts.take(), kExhaustedPool);
  EXPECT_GE(id, 80U);
  ASSERT_EQ(set.m_uCount, 2U);
  const NUV_TimeoutRecv& timer = set.m_rgRecv[1];
  EXPECT_EQ(timer.m_oTime.tv_sec, 1);
  EXPECT_EQ(timer.m_oTime.tv_usec, 2);
  EXPECT_EQ(timer.m_pArg1, &set);
  EXPECT_EQ(timer.m_uArg2, 3U);
  EXPECT_EQ(timer.m_bTemp, 1);
  EXPECT_EQ(timer.m_uId, id);
  EXPECT_EQ(timer.m_bDeleted, 0);
  EXPECT_EQ(timer.m_pRecvFunc, &go);
  EXPECT_EQ(NUV_TimeoutSet_process(&set, kUnlimited, &kLater), 2U);
  EXPECT_EQ(set.m_uCount, 0U);
  EXPECT_FALSE(contracts.take().empty()) << "the pool reports the unknown id";
  NUV_TimeoutSet_destruct(&set);
}

TEST(TimeoutSetContractsOfIds, WithoutIdsFillsOnlyItsSlots) {
  ContractRecorder contracts;
  struct {
    TimeoutSet set;
    uint8_t after[sizeof(NUV_TimeoutRecv)];
  } guarded;
  memset(&guarded, 0xA5, sizeof guarded);
  NUV_TimeoutSet_construct(&guarded.set);
  exhaust(guarded.set.m_oIdPool);
  for (uint32_t i = 0; i < 100; ++i) {
    add(guarded.set, kNow);
  }
  EXPECT_EQ(guarded.set.m_uCount, 80U);
  EXPECT_EQ(NUV_IndexPool_size(&guarded.set.m_oIdPool), 80U) << "the pool's record follows the slots";
  EXPECT_EQ(NUV_TimeoutSet_process(&guarded.set, kUnlimited, &kNow), 80U);
  EXPECT_EQ(guarded.set.m_uCount, 0U);
  for (const uint8_t byte : guarded.after) {
    EXPECT_EQ(byte, 0xA5);
  }
  NUV_TimeoutSet_destruct(&guarded.set);
  contracts.take();
}

TEST(TimeoutSetContractsOfMemory, WithoutMemoryForIdsStillSetsTimers) {
  ContractRecorder contracts;
  TimeoutSet set;
  {
    const FaultInjector no_memory("malloc", 1, ENOMEM);
    EXPECT_EQ(NUV_TimeoutSet_construct(&set), 1);
    EXPECT_TRUE(no_memory.has_struck());
  }
  EXPECT_EQ(contracts.take(), (Reports{Report{NUV_ASSERT_NULL_POINTER, kPoolFile, "NULL != a_this->m_pPool"}}));
  const uint32_t id = add(set, kLater);
  EXPECT_FALSE(contracts.take().empty()) << "the pool has no bits";
  EXPECT_EQ(set.m_uCount, 1U);
  NUV_TimeoutSet_updateReceiver(&set, id, kNow);
  EXPECT_EQ(NUV_TimeoutSet_process(&set, kUnlimited, &kNow), 1U);
  EXPECT_EQ(set.m_uCount, 0U);
  contracts.take();
  NUV_TimeoutSet_destruct(&set);
  {
    const FaultInjector no_more_memory("malloc", 2, ENOMEM);
    EXPECT_EQ(NUV_TimeoutSet_construct(&set), 1);
    EXPECT_FALSE(no_more_memory.has_struck()) << "only the ids need memory";
  }
  EXPECT_EQ(add(set, kNow), 0U);
  NUV_TimeoutSet_destruct(&set);
}

TEST(TimeoutSetContractsNull, EveryOperationReportsANullSet) {
  support::expect_null_reports(
      kFile, "((void *)0) != a_this",
      {{"construct", [] { NUV_TimeoutSet_construct(nullptr); }},
       {"destruct", [] { NUV_TimeoutSet_destruct(nullptr); }},
       {"available", [] { NUV_TimeoutSet_available(nullptr); }},
       {"setReceiver", [] { NUV_TimeoutSet_setReceiver(nullptr, kNow, nullptr, 0, 0, nullptr); }},
       {"updateReceiver", [] { NUV_TimeoutSet_updateReceiver(nullptr, 0, kNow); }},
       {"removeReceiver", [] { NUV_TimeoutSet_removeReceiver(nullptr, 0); }},
       {"setTimeout", [] { NUV_TimeoutSet_setTimeout(nullptr, nullptr); }},
       {"process", [] { NUV_TimeoutSet_process(nullptr, 1, nullptr); }},
       {"internalRemoveDeleted", [] { NUV_TimeoutSet_internalRemoveDeleted(nullptr); }}});
}

}  // namespace
