// Violates every contract of the reactor; the error handler returns. Most violations are reported twice: by the
// reactor, then by its set.
#include <gtest/gtest.h>
#include <string.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "doubles/contract_recorder.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_injector.h"
#include "doubles/first_report.h"
#include "doubles/violation.h"
#include "nuv_select.h"
#include "select_operations.h"

namespace {

using select_operations::kInternalRemoveOperations;
using select_operations::kInternalSetOperations;
using select_operations::kRemoveOperations;
using select_operations::kSetOperations;
using select_operations::RemoveOperation;
using select_operations::room_text;
using select_operations::SetOperation;
using select_operations::total;
using support::check_report;
using support::ContractRecorder;
using support::ensure_report;
using support::FakeClock;
using support::FaultInjector;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_select";
constexpr char kSetFile[] = "nuv_selectset";
constexpr char kTimersFile[] = "nuv_timeoutset";
constexpr char kPoolFile[] = "nuv_indexpool";
constexpr char kHasCallback[] = "((void *)0) != a_recvfunc";
constexpr char kHasRoomForTimer[] = "1 == NUV_TimeoutSet_available( &a_this->m_oTimeout)";

constexpr timeval kNow = {0, 0};
constexpr timeval kLater = {1000, 0};

int32_t ignore(void* /*arg1*/, int32_t /*fd*/, uint32_t /*arg2*/) {
  return 0;
}

int32_t go(void* /*arg1*/, timeval* /*time*/, uint32_t /*arg2*/) {
  return 0;
}

void fill(Select& reactor, const SetOperation& operation) {
  for (int32_t fd = 0; fd < 1024; ++fd) {
    operation.call(&reactor, fd, nullptr, 0, ignore);
  }
}

void fill_timers(Select& reactor) {
  while (reactor.m_oTimeout.m_uCount < 80) {
    NUV_Select_setTimeout(&reactor, kLater, nullptr, 0, go);
  }
}

// A reactor that must still work after each violation.
class SelectContracts : public ::testing::Test {
 protected:
  SelectContracts() { NUV_Select_construct(&reactor_); }
  ~SelectContracts() override { NUV_Select_destruct(&reactor_); }

  void start_again() {
    NUV_Select_destruct(&reactor_);
    NUV_Select_construct(&reactor_);
  }

  // Removes everything that the violation left, then runs a cycle.
  void expect_it_works() {
    for (const RemoveOperation& operation : kRemoveOperations) {
      SelectSet& set = (reactor_.*operation.sets)[operation.event_type];
      while (set.m_uCount > 0) {
        operation.call(&reactor_, set.m_pFirst->m_iFd);
        contracts_.take();  // reported while the set is full
      }
      EXPECT_EQ(set.m_pFirst, nullptr);
    }
    while (reactor_.m_oTimeout.m_uCount > 0) {
      NUV_Select_removeTimeout(&reactor_, reactor_.m_oTimeout.m_rgRecv[0].m_uId);
      contracts_.take();
    }
    NUV_Select_setReadExternal(&reactor_, 5, nullptr, 0, ignore);
    NUV_Select_setTempTimeout(&reactor_, {1, 0}, nullptr, 0, go);
    clock_.answer_select({1, {5}, {}, {}, {2, 0}});
    EXPECT_EQ(NUV_Select_process(&reactor_, nullptr), 1);
    EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 0U);
    EXPECT_EQ(NUV_IndexPool_free(&reactor_.m_oTimeout.m_oIdPool), 80U);
    EXPECT_EQ(total(reactor_), 1U);
  }

  FakeClock clock_{{1000, 0}};
  ContractRecorder contracts_;
  Select reactor_ = {};
};

TEST_F(SelectContracts, EverySetOperationReportsANullCallback) {
  for (const SetOperation& operation : kSetOperations) {
    SCOPED_TRACE(operation.name);
    start_again();
    EXPECT_NE(operation.call(&reactor_, 1, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(contracts_.take(),
              (Reports{require_report(kFile, kHasCallback), require_report(kSetFile, kHasCallback)}));
    // It counts as called, so the cycle ends.
    clock_.answer_select({1, {1}, {1}, {1}});
    EXPECT_EQ(NUV_Select_process(&reactor_, nullptr), 1);
    expect_it_works();
  }
}

TEST_F(SelectContracts, EverySetOperationReportsAFullSet) {
  for (const SetOperation& operation : kSetOperations) {
    SCOPED_TRACE(operation.name);
    start_again();
    fill(reactor_, operation);
    const Reports expected = {require_report(kFile, room_text(operation.sets)),
                              require_report(kSetFile, "NUV_SelectSet_available( a_this) == 1")};
    EXPECT_NE(operation.call(&reactor_, 7, nullptr, 0, ignore), nullptr);
    EXPECT_EQ(contracts_.take(), expected) << "replaced";
    EXPECT_EQ(total(reactor_), 1024U);
    EXPECT_NE(operation.call(&reactor_, -1, nullptr, 0, ignore), nullptr);
    EXPECT_EQ(contracts_.take(), expected) << "added";
    EXPECT_EQ(total(reactor_), 1025U);
    expect_it_works();
  }
}

// The callback is checked before the room.
TEST_F(SelectContracts, EverySetOperationReportsAllViolations) {
  for (const SetOperation& operation : kSetOperations) {
    SCOPED_TRACE(operation.name);
    start_again();
    fill(reactor_, operation);
    EXPECT_NE(operation.call(&reactor_, 7, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(contracts_.take(),
              (Reports{require_report(kFile, kHasCallback), require_report(kFile, room_text(operation.sets)),
                       require_report(kSetFile, kHasCallback),
                       require_report(kSetFile, "NUV_SelectSet_available( a_this) == 1")}));
    expect_it_works();
  }
}

TEST_F(SelectContracts, EveryRemoveOperationReportsAFullSet) {
  for (const RemoveOperation& operation : kRemoveOperations) {
    SCOPED_TRACE(operation.name);
    start_again();
    for (const SetOperation& set : kSetOperations) {
      if (set.sets == operation.sets && set.event_type == operation.event_type) {
        fill(reactor_, set);
        break;
      }
    }
    operation.call(&reactor_, 7);
    EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, room_text(operation.sets))});
    EXPECT_EQ(total(reactor_), 1023U);
    operation.call(&reactor_, 8);
    EXPECT_EQ(total(reactor_), 1022U);
    expect_it_works();
  }
}

TEST_F(SelectContracts, DeferredRemovalFromAFullSetIsReportedTwice) {
  for (int fd = 0; fd < 1024; ++fd) {
    NUV_Select_setReadExternal(&reactor_, fd, &reactor_, 0, [](void* arg1, int32_t, uint32_t) -> int32_t {
      NUV_Select_removeReadExternal(static_cast<Select*>(arg1), 2);
      return 0;
    });
  }
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(NUV_Select_process(&reactor_, nullptr), 1);
  EXPECT_EQ(contracts_.take(), (Reports{require_report(kFile, room_text(&Select::m_oRead)),
                                        require_report(kSetFile, "1 == NUV_SelectSet_available( a_this)")}));
  EXPECT_EQ(total(reactor_), 1023U);
  expect_it_works();
}

TEST_F(SelectContracts, OtherEventTypesNameNoSet) {
  for (const uint32_t event_type : {2U, 3U, 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(event_type);
    for (const auto operation : kInternalSetOperations) {
      EXPECT_EQ(operation(&reactor_, event_type, 1, nullptr, 0, ignore), nullptr);
      EXPECT_EQ(operation(&reactor_, event_type, 1, nullptr, 0, nullptr), nullptr);
      EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kHasCallback)});
    }
    for (const auto operation : kInternalRemoveOperations) {
      operation(&reactor_, event_type, 1);
    }
    EXPECT_EQ(total(reactor_), 0U);
  }
  expect_it_works();
}

// After a handler that returns, an assertion aborts, so only the first report can be checked.
TEST_F(SelectContracts, RemovingAnUnknownDescriptorIsReportedByItsSet) {
  for (const RemoveOperation& operation : kRemoveOperations) {
    SCOPED_TRACE(operation.name);
    EXPECT_EQ(support::first_report([&] { operation.call(&reactor_, 3); }),
              check_report(kSetFile, "((void *)0) != pTmpRecv"));
  }
}

// The pool's reports when all ids are taken.
const Reports kNoId = {require_report(kPoolFile, "NUV_IndexPool_available( a_this) == 1"),
                       ensure_report(kPoolFile, "a_this->m_uSize > index"),
                       require_report(kPoolFile, "NUV_IndexPool_size( a_this) > a_index"),
                       ensure_report(kPoolFile, "NUV_IndexPool_occupied( a_this, index)")};

Reports operator+(Reports first, const Reports& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

struct TimerRow {
  const char* name;
  bool is_full;
  void (*violate)(Select& reactor);
  Reports reports;
  uint32_t left;
};

const TimerRow kTimerRows[] = {
    {"setTimeout without a callback",
     false,
     [](Select& reactor) {
       EXPECT_EQ(NUV_Select_setTimeout(&reactor, kNow, nullptr, 0, nullptr), 0U);
       EXPECT_EQ(reactor.m_oTimeout.m_uCount, 1U);
       timeval none = kNow;
       EXPECT_EQ(NUV_Select_process(&reactor, &none), 0) << "removed, because it is due";
     },
     {require_report(kFile, kHasCallback), require_report(kTimersFile, kHasCallback)},
     0},
    {"setTempTimeout without a callback",
     false,
     [](Select& reactor) {
       EXPECT_EQ(NUV_Select_setTempTimeout(&reactor, kNow, nullptr, 0, nullptr), 0U);
       EXPECT_EQ(reactor.m_oTimeout.m_uCount, 1U);
       timeval none = kNow;
       EXPECT_EQ(NUV_Select_process(&reactor, &none), 0) << "removed, because it is due";
     },
     {require_report(kFile, kHasCallback), require_report(kTimersFile, kHasCallback)},
     0},
    {"setTimeout without room", true,
     [](Select& reactor) { EXPECT_EQ(NUV_Select_setTimeout(&reactor, kNow, nullptr, 0, go), 80U); },
     Reports{require_report(kFile, kHasRoomForTimer)} + kNoId, 80},
    {"setTempTimeout without room", true,
     [](Select& reactor) { EXPECT_EQ(NUV_Select_setTempTimeout(&reactor, kNow, nullptr, 0, go), 80U); },
     Reports{require_report(kFile, kHasRoomForTimer)} + kNoId, 80},
    {"setTimeout without room and callback", true,
     [](Select& reactor) { EXPECT_EQ(NUV_Select_setTimeout(&reactor, kNow, nullptr, 0, nullptr), 80U); },
     Reports{require_report(kFile, kHasRoomForTimer), require_report(kFile, kHasCallback),
             require_report(kTimersFile, kHasCallback)} +
         kNoId,
     80},
    // These also require room, although they do not need it.
    {"updateTimeout without room",
     true,
     [](Select& reactor) {
       NUV_Select_updateTimeout(&reactor, 5, {7, 0});
       EXPECT_EQ(reactor.m_oTimeout.m_rgRecv[5].m_oTime.tv_sec, 7);
       reactor.m_oTimeout.m_rgRecv[5].m_oTime = kLater;
     },
     {require_report(kFile, kHasRoomForTimer)},
     80},
    {"removeTimeout without room",
     true,
     [](Select& reactor) { NUV_Select_removeTimeout(&reactor, 5); },
     {require_report(kFile, kHasRoomForTimer), require_report(kTimersFile, "1 == NUV_TimeoutSet_available( a_this)")},
     79},
    {"removeTimeout of an unknown id without room",
     true,
     [](Select& reactor) { NUV_Select_removeTimeout(&reactor, 80); },
     {require_report(kFile, kHasRoomForTimer), require_report(kTimersFile, "1 == NUV_TimeoutSet_available( a_this)")},
     80},
};

TEST_F(SelectContracts, OfTimersAreReportedAndLeaveAWorkingReactor) {
  for (const TimerRow& row : kTimerRows) {
    SCOPED_TRACE(row.name);
    start_again();
    if (row.is_full) {
      fill_timers(reactor_);
    }
    TimeoutSet before;
    memcpy(&before, &reactor_.m_oTimeout, sizeof before);
    row.violate(reactor_);
    EXPECT_EQ(contracts_.take(), row.reports);
    EXPECT_EQ(reactor_.m_oTimeout.m_uCount, row.left);
    if (row.left == 80) {
      // Nothing is written beyond the slots, where the pool's record is.
      EXPECT_EQ(memcmp(&before.m_rgRecv, &reactor_.m_oTimeout.m_rgRecv, sizeof before.m_rgRecv), 0);
      EXPECT_EQ(before.m_oIdPool.m_pPool, reactor_.m_oTimeout.m_oIdPool.m_pPool);
      EXPECT_EQ(before.m_oIdPool.m_uSize, reactor_.m_oTimeout.m_oIdPool.m_uSize);
    }
    expect_it_works();
  }
}

TEST_F(SelectContracts, ServesTimersAndDescriptorsWithoutMemoryForTimerIds) {
  Select reactor;
  {
    const FaultInjector no_memory("malloc", 1, ENOMEM);
    EXPECT_EQ(NUV_Select_construct(&reactor), 1);
    EXPECT_TRUE(no_memory.has_struck());
  }
  EXPECT_EQ(contracts_.take(), (Reports{Report{NUV_ASSERT_NULL_POINTER, kPoolFile, "NULL != a_this->m_pPool"}}));
  NUV_Select_setTimeout(&reactor, {1, 0}, nullptr, 0, go);
  EXPECT_FALSE(contracts_.take().empty()) << "the pool has no bits";
  EXPECT_EQ(reactor.m_oTimeout.m_uCount, 1U);
  NUV_Select_setReadExternal(&reactor, 5, nullptr, 0, ignore);
  clock_.answer_select({1, {5}, {}, {}, {1, 0}});
  EXPECT_EQ(NUV_Select_process(&reactor, nullptr), 1);
  EXPECT_EQ(reactor.m_oTimeout.m_uCount, 0U);
  contracts_.take();
  NUV_Select_destruct(&reactor);
}

TEST(SelectContractsNull, EveryOperationReportsANullReactor) {
  constexpr char kThis[] = "((void *)0) != a_this";
  support::expect_null_reports(
      kFile, kThis,
      {{"construct", [] { NUV_Select_construct(nullptr); }},
       {"destruct", [] { NUV_Select_destruct(nullptr); }},
       {"setTimeout", [] { NUV_Select_setTimeout(nullptr, kNow, nullptr, 0, nullptr); }},
       {"setTempTimeout", [] { NUV_Select_setTempTimeout(nullptr, kNow, nullptr, 0, nullptr); }},
       {"removeTimeout", [] { NUV_Select_removeTimeout(nullptr, 0); }},
       {"updateTimeout", [] { NUV_Select_updateTimeout(nullptr, 0, kNow); }},
       {"process", [] { NUV_Select_process(nullptr, nullptr); }}});
  for (const SetOperation& operation : kSetOperations) {
    SCOPED_TRACE(operation.name);
    EXPECT_EQ(support::first_report([&] { operation.call(nullptr, 0, nullptr, 0, nullptr); }),
              require_report(kFile, kThis));
  }
  for (const RemoveOperation& operation : kRemoveOperations) {
    SCOPED_TRACE(operation.name);
    EXPECT_EQ(support::first_report([&] { operation.call(nullptr, 0); }), require_report(kFile, kThis));
  }
}

}  // namespace
