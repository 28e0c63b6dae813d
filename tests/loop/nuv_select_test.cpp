#include "nuv_select.h"

#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "select_operations.h"

namespace {

using select_operations::kRemoveOperations;
using select_operations::kSetOperations;
using select_operations::RemoveOperation;
using select_operations::SetOperation;
using select_operations::Sets;
using select_operations::total;
using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::FakeClock;
using support::Fault;
using support::FaultInjector;
using support::SelectAnswer;
using support::SelectCall;


constexpr timeval kNow = {0, 0};
constexpr timeval kSoon = {3, 0};
constexpr timeval kLater = {1000000, 0};

// More callbacks than any cycle here makes; keeps a cycle that does not end from filling the memory.
constexpr size_t kEndless = 10000;

using Fds = std::vector<int>;
using Log = std::vector<std::string>;

// A timeval that can be compared and printed.
using Time = std::pair<int64_t, int64_t>;
Time pair_of(const timeval& time) {
  return {time.tv_sec, time.tv_usec};
}

int32_t ignore_descriptor(void* /*arg1*/, int32_t /*fd*/, uint32_t /*arg2*/) {
  return 0;
}

int32_t ignore_timer(void* /*arg1*/, timeval* /*time*/, uint32_t /*arg2*/) {
  return 1;
}

// A reactor with a fake clock and select(). Its callbacks write to a log: "r5" for the read receiver of descriptor 5,
// "w5" and "e5" for write and exception, "t3" for timer 3. A test can plan an action for each.
class SelectTest : public ::testing::Test {
 protected:
  SelectTest() { NUV_Select_construct(&reactor_); }
  ~SelectTest() override { NUV_Select_destruct(&reactor_); }

  void start_again() {
    NUV_Select_destruct(&reactor_);
    NUV_Select_construct(&reactor_);
    actions_.clear();
  }

  void read(int fd) { NUV_Select_setRead(&reactor_, fd, this, 'r', note); }
  void write(int fd) { NUV_Select_setWrite(&reactor_, fd, this, 'w', note); }
  void except(int fd) { NUV_Select_setExcept(&reactor_, fd, this, 'e', note); }
  void read_external(int fd) { NUV_Select_setReadExternal(&reactor_, fd, this, 'r', note); }
  void write_external(int fd) { NUV_Select_setWriteExternal(&reactor_, fd, this, 'w', note); }
  void except_external(int fd) { NUV_Select_setExceptExternal(&reactor_, fd, this, 'e', note); }

  uint32_t timer(uint32_t number, timeval time) {
    return NUV_Select_setTimeout(&reactor_, time, this, number, note_timer);
  }
  uint32_t one_shot(uint32_t number, timeval time) {
    return NUV_Select_setTempTimeout(&reactor_, time, this, number, note_timer);
  }

  int32_t process() { return NUV_Select_process(&reactor_, nullptr); }
  int32_t process(timeval timeout) { return NUV_Select_process(&reactor_, &timeout); }

  Log take_log() { return std::exchange(log_, {}); }

  Time remaining(uint32_t slot) const { return pair_of(reactor_.m_oTimeout.m_rgRecv[slot].m_oTime); }
  Time mark() const { return pair_of(reactor_.m_oLastTime); }

  // All descriptors of a select(), read descriptors first.
  static Fds descriptors(const SelectCall& call) {
    Fds fds = call.read;
    fds.insert(fds.end(), call.write.begin(), call.write.end());
    fds.insert(fds.end(), call.except.begin(), call.except.end());
    return fds;
  }

  // The only select() since the last check.
  SelectCall only_select() {
    const std::vector<SelectCall> calls = clock_.take_selects();
    EXPECT_EQ(calls.size(), 1U);
    return calls.empty() ? SelectCall{} : calls.back();
  }

  void run_action(const std::string& name) {
    log_.push_back(name);
    if (log_.size() > kEndless) {
      std::abort();
    }
    const auto action = actions_[name];
    if (action) {
      action();
    }
  }

  static int32_t note(void* arg1, int32_t fd, uint32_t arg2) {
    static_cast<SelectTest*>(arg1)->run_action(static_cast<char>(arg2) + std::to_string(fd));
    return 0;
  }

  static int32_t note_timer(void* arg1, timeval* /*time*/, uint32_t arg2) {
    static_cast<SelectTest*>(arg1)->run_action("t" + std::to_string(arg2));
    return 1;
  }

  FakeClock clock_{{1000, 0}};
  ContractRecorder contracts_;
  Select reactor_ = {};
  std::map<std::string, std::function<void()>> actions_;
  Log log_;
};

// --- Construction and destruction ---

TEST_F(SelectTest, StartsEmptyWithItsTimeAtNow) {
  Select reactor;
  memset(&reactor, 0xA5, sizeof reactor);
  clock_.set({1234, 567890});
  ASSERT_EQ(NUV_Select_construct(&reactor), 1);
  for (const Sets sets : {&Select::m_oRead, &Select::m_oWrite, &Select::m_oExcept}) {
    for (const SelectSet& set : reactor.*sets) {
      EXPECT_EQ(set.m_pFirst, nullptr);
      EXPECT_EQ(set.m_uCount, 0U);
      EXPECT_EQ(set.m_bProcessing, 0);
    }
  }
  EXPECT_EQ(reactor.m_oTimeout.m_uCount, 0U);
  EXPECT_EQ(NUV_IndexPool_free(&reactor.m_oTimeout.m_oIdPool), 80U);
  EXPECT_EQ(pair_of(reactor.m_oLastTime), Time(1234, 567890));
  NUV_Select_destruct(&reactor);
}

TEST_F(SelectTest, StartsAtZeroWhenTheClockCannotBeRead) {
  Select reactor;
  memset(&reactor, 0xA5, sizeof reactor);
  clock_.fail_with(EINVAL);
  EXPECT_EQ(NUV_Select_construct(&reactor), 1);
  EXPECT_EQ(pair_of(reactor.m_oLastTime), Time(0, 0));
  NUV_Select_destruct(&reactor);
}

// LeakSanitizer reports receivers that are not freed.
TEST_F(SelectTest, DestructFreesTheReceiversOfAllSets) {
  Select reactor;
  NUV_Select_construct(&reactor);
  for (const SetOperation& operation : kSetOperations) {
    for (int32_t fd = 0; fd < 3; ++fd) {
      ASSERT_NE(operation.call(&reactor, fd, nullptr, 0, ignore_descriptor), nullptr);
    }
  }
  NUV_Select_setTimeout(&reactor, kNow, nullptr, 0, ignore_timer);
  NUV_Select_destruct(&reactor);
}

// --- Registering and removing ---

TEST_F(SelectTest, EverySetOperationRegistersInItsSet) {
  for (const SetOperation& operation : kSetOperations) {
    SCOPED_TRACE(operation.name);
    start_again();
    int context = 0;
    const NUV_SelectRecv* receiver = operation.call(&reactor_, 42, &context, 0xFEDCBA98, ignore_descriptor);
    ASSERT_NE(receiver, nullptr);
    EXPECT_EQ((reactor_.*operation.sets)[operation.event_type].m_pFirst, receiver);
    EXPECT_EQ(total(reactor_), 1U) << "and in no other set";
    EXPECT_EQ(receiver->m_iFd, 42);
    EXPECT_EQ(receiver->m_pArg1, &context);
    EXPECT_EQ(receiver->m_uArg2, 0xFEDCBA98);
    EXPECT_EQ(receiver->m_bTemp, operation.temp);
    EXPECT_EQ(receiver->m_bDeleted, 0);
    EXPECT_EQ(receiver->m_pRecvFunc, &ignore_descriptor);
    EXPECT_EQ(operation.call(&reactor_, 42, nullptr, 1, ignore_descriptor), receiver) << "replaced";
    EXPECT_EQ(total(reactor_), 1U);
  }
}

TEST_F(SelectTest, EveryRemoveOperationRemovesFromItsSet) {
  for (const RemoveOperation& operation : kRemoveOperations) {
    SCOPED_TRACE(operation.name);
    start_again();
    for (const SetOperation& set : kSetOperations) {
      set.call(&reactor_, 42, nullptr, 0, ignore_descriptor);
    }
    EXPECT_EQ(total(reactor_), 6U);
    operation.call(&reactor_, 42);
    EXPECT_EQ((reactor_.*operation.sets)[operation.event_type].m_uCount, 0U);
    EXPECT_EQ(total(reactor_), 5U);
  }
}

TEST_F(SelectTest, RemovingAnUnknownDescriptorEndsTheProcess) {
  const ChildProcess child([this] {
    NUV_Assert_setErrorHandler(nullptr);
    NUV_Select_removeRead(&reactor_, 3);
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
}

TEST_F(SelectTest, TimersGoIntoTheTimeoutSet) {
  int context = 0;
  EXPECT_EQ(NUV_Select_setTimeout(&reactor_, {12, 345678}, &context, 0xFEDCBA98, ignore_timer), 0U);
  EXPECT_EQ(NUV_Select_setTempTimeout(&reactor_, {-1, 5}, nullptr, 0, note_timer), 1U);
  ASSERT_EQ(reactor_.m_oTimeout.m_uCount, 2U);

  const NUV_TimeoutRecv& first = reactor_.m_oTimeout.m_rgRecv[0];
  EXPECT_EQ(pair_of(first.m_oTime), Time(12, 345678));
  EXPECT_EQ(first.m_pArg1, &context);
  EXPECT_EQ(first.m_uArg2, 0xFEDCBA98);
  EXPECT_EQ(first.m_bTemp, 0);
  EXPECT_EQ(first.m_pRecvFunc, &ignore_timer);
  EXPECT_EQ(first.m_bDeleted, 0);

  const NUV_TimeoutRecv& second = reactor_.m_oTimeout.m_rgRecv[1];
  EXPECT_EQ(pair_of(second.m_oTime), Time(-1, 5));
  EXPECT_EQ(second.m_pArg1, nullptr);
  EXPECT_EQ(second.m_uArg2, 0U);
  EXPECT_EQ(second.m_bTemp, 1);
  EXPECT_EQ(second.m_pRecvFunc, &note_timer);
}

TEST_F(SelectTest, TimersAreUpdatedAndRemovedById) {
  timer(0, {10, 0});
  timer(1, {11, 0});
  NUV_Select_updateTimeout(&reactor_, 1, {5, 6});
  NUV_Select_updateTimeout(&reactor_, 2, {99, 0});
  EXPECT_EQ(remaining(0), Time(10, 0));
  EXPECT_EQ(remaining(1), Time(5, 6));
  NUV_Select_removeTimeout(&reactor_, 2);
  NUV_Select_removeTimeout(&reactor_, 0);
  ASSERT_EQ(reactor_.m_oTimeout.m_uCount, 1U);
  EXPECT_EQ(remaining(0), Time(5, 6));
  EXPECT_EQ(timer(2, kLater), 0U);
}

TEST_F(SelectTest, RemovingATimerWhenAllAreInUseEndsTheProcess) {
  for (uint32_t number = 0; number < 80; ++number) {
    timer(number, kLater);
  }
  const ChildProcess child([this] {
    NUV_Assert_setErrorHandler(nullptr);
    NUV_Select_removeTimeout(&reactor_, 5);
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
}

// --- Which select() is called ---

TEST_F(SelectTest, WithNothingToWaitForReturnsAtOnce) {
  clock_.advance({5, 0});
  EXPECT_EQ(process(), 0);
  EXPECT_TRUE(clock_.take_selects().empty());
  EXPECT_EQ(mark(), Time(1000, 0));
}

TEST_F(SelectTest, SleepsThroughABoundWithNothingRegistered) {
  timeval timeout = {0, 200000};
  EXPECT_EQ(NUV_Select_process(&reactor_, &timeout), 0);
  const SelectCall call = only_select();
  EXPECT_EQ(call.count, 1024);
  EXPECT_EQ(call.read, Fds{});
  EXPECT_EQ(call.write, Fds{});
  EXPECT_EQ(call.except, Fds{});
  EXPECT_EQ(call.wait_address, &timeout);
  EXPECT_EQ(pair_of(*call.wait), Time(0, 200000));
  EXPECT_EQ(pair_of(clock_.now()), Time(1000, 200000));
  EXPECT_EQ(mark(), Time(1000, 200000));
}

// The three arguments of select() hold the receivers of one event type and none of the other.
TEST_F(SelectTest, WaitsForInternalReceiversAloneWithoutABound) {
  const struct {
    const char* name;
    std::function<void(int)> add;
    SelectAnswer answer;
    Fds read, write, except;
    Log log;
  } kCases[] = {
      {"read", [this](int fd) { read(fd); }, {1, {9}, {}, {}}, {9}, {}, {}, {"r9"}},
      {"write", [this](int fd) { write(fd); }, {1, {}, {9}, {}}, {}, {9}, {}, {"w9"}},
      {"except", [this](int fd) { except(fd); }, {1, {}, {}, {9}}, {}, {}, {9}, {"e9"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    row.add(9);
    clock_.answer_select(row.answer);
    clock_.advance({5, 0});
    const Time before = mark();
    EXPECT_EQ(process(), 1);
    const SelectCall call = only_select();
    EXPECT_EQ(call.count, 1024);
    EXPECT_EQ(call.read, row.read);
    EXPECT_EQ(call.write, row.write);
    EXPECT_EQ(call.except, row.except);
    EXPECT_EQ(call.wait_address, nullptr);
    EXPECT_EQ(take_log(), row.log);
    EXPECT_EQ(mark(), before) << "internal cycles do not move the time mark";
  }
}

TEST_F(SelectTest, WaitsForExternalReceiversAlone) {
  read_external(1);
  read_external(2);
  write_external(3);
  except_external(1023);
  clock_.answer_select({1, {}, {3}, {}});
  EXPECT_EQ(process(), 1);
  const SelectCall call = only_select();
  EXPECT_EQ(call.read, (Fds{1, 2}));
  EXPECT_EQ(call.write, Fds{3});
  EXPECT_EQ(call.except, Fds{1023});
  EXPECT_EQ(call.wait_address, nullptr);
  EXPECT_EQ(take_log(), Log{"w3"});
}

// With anything else to wait for, internal receivers are polled, and an external cycle follows.
TEST_F(SelectTest, PollsInternalReceiversFirst) {
  timeval timeout = {7, 0};
  const struct {
    const char* name;
    std::function<void()> add;
    timeval* timeout;
    Fds external;
    std::optional<Time> wait;
    bool callers_own;
  } kCases[] = {
      {"a bound", [] {}, &timeout, {}, Time(7, 0), true},
      {"a timer", [this] { timer(0, kSoon); }, nullptr, {}, pair_of(kSoon), false},
      {"an external read receiver", [this] { read_external(20); }, nullptr, {20}, std::nullopt, false},
      {"an external write receiver", [this] { write_external(20); }, nullptr, {20}, std::nullopt, false},
      {"an external exception receiver", [this] { except_external(20); }, nullptr, {20}, std::nullopt, false},
  };
  const std::function<void()> kInternal[] = {[this] { read(10); }, [this] { write(10); }, [this] { except(10); }};
  for (const auto& add_internal : kInternal) {
    for (const auto& row : kCases) {
      SCOPED_TRACE(row.name);
      start_again();
      add_internal();
      row.add();
      clock_.answer_select({0, {}, {}, {}});
      clock_.answer_select({0, {}, {}, {}});
      EXPECT_EQ(NUV_Select_process(&reactor_, row.timeout), 0);
      const std::vector<SelectCall> calls = clock_.take_selects();
      ASSERT_EQ(calls.size(), 2U);
      EXPECT_EQ(calls[0].count, 1024);
      EXPECT_EQ(descriptors(calls[0]), Fds{10});
      ASSERT_TRUE(calls[0].wait.has_value());
      EXPECT_EQ(pair_of(*calls[0].wait), Time(0, 0));
      EXPECT_NE(calls[0].wait_address, &timeout);
      EXPECT_EQ(descriptors(calls[1]), row.external);
      EXPECT_EQ(calls[1].wait.has_value(), row.wait.has_value());
      if (row.wait.has_value() && calls[1].wait.has_value()) {
        EXPECT_EQ(pair_of(*calls[1].wait), *row.wait);
      }
      EXPECT_EQ(calls[1].wait_address == &timeout, row.callers_own);
    }
  }
}

TEST_F(SelectTest, WaitsForTheNearestOfItsBounds) {
  const struct {
    const char* name;
    std::vector<timeval> timers;
    std::optional<timeval> timeout;
    Time wait;
  } kCases[] = {
      {"a bound alone", {}, timeval{5, 0}, {5, 0}},
      {"a timer before the bound", {{3, 0}}, timeval{5, 0}, {3, 0}},
      {"a timer after the bound", {{7, 0}}, timeval{5, 0}, {5, 0}},
      {"both the same", {{5, 0}}, timeval{5, 0}, {5, 0}},
      {"a microsecond before the bound", {{4, 999999}}, timeval{5, 0}, {4, 999999}},
      {"no wait at all", {{3, 0}}, timeval{0, 0}, {0, 0}},
      {"a timer alone", {{3, 4}}, {}, {3, 4}},
      {"two timers", {{8, 0}, {3, 0}}, {}, {3, 0}},
      {"a due timer", {{0, 0}}, {}, {0, 0}},
      // Without a bound from the caller, the longest wait is 999999.999999 seconds.
      {"a timer before the longest wait", {{999999, 999998}}, {}, {999999, 999998}},
      {"a timer at the longest wait", {{999999, 999999}}, {}, {999999, 999999}},
      {"a timer after the longest wait", {{1000000, 0}}, {}, {999999, 999999}},
      // A bound from the caller replaces the longest wait.
      {"a longer bound", {{2000000, 0}}, timeval{1500000, 0}, {1500000, 0}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    for (const timeval& time : row.timers) {
      timer(0, time);
    }
    timeval timeout = row.timeout.value_or(timeval{0, 0});
    EXPECT_EQ(NUV_Select_process(&reactor_, row.timeout.has_value() ? &timeout : nullptr), 0);
    const SelectCall call = only_select();
    ASSERT_TRUE(call.wait.has_value());
    EXPECT_EQ(pair_of(*call.wait), row.wait);
    EXPECT_EQ(call.wait_address == &timeout, row.timers.empty()) << "with timers, the caller's timeval is not passed";
    EXPECT_EQ(pair_of(timeout), pair_of(row.timeout.value_or(timeval{0, 0})));
  }
}

TEST_F(SelectTest, DescriptorsOutsideOfAnFdSetAreNeverReady) {
  for (const int fd : {-1, 1024, INT32_MAX, INT32_MIN}) {
    SCOPED_TRACE(fd);
    start_again();
    read_external(fd);
    write_external(fd);
    except_external(fd);
    clock_.answer_select({0, {}, {}, {}});
    EXPECT_EQ(process(), 0);
    const SelectCall call = only_select();
    EXPECT_EQ(call.read, Fds{});
    EXPECT_EQ(call.write, Fds{});
    EXPECT_EQ(call.except, Fds{});
    EXPECT_EQ(take_log(), Log{});
    NUV_Select_removeReadExternal(&reactor_, fd);
    NUV_Select_removeWriteExternal(&reactor_, fd);
    NUV_Select_removeExceptExternal(&reactor_, fd);
    EXPECT_EQ(total(reactor_), 0U);
  }
}

// --- What process returns ---

TEST_F(SelectTest, ReturnsWhatTheLastSelectReturned) {
  const struct {
    const char* name;
    int32_t result;
    Fds ready;
    Log log;
  } kCases[] = {{"the wait ran out", 0, {}, {}},
                {"failed", -1, {}, {}},
                {"one", 1, {4}, {"r4"}},
                {"two", 2, {4, 5}, {"r5", "r4"}}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const SelectAnswer answer = {row.result, row.ready, {}, {}, {0, 0}, EBADF};
    start_again();
    read(4);
    read(5);
    clock_.answer_select(answer);
    EXPECT_EQ(process(), row.result) << "internal receivers only";
    EXPECT_EQ(take_log(), row.log);

    start_again();
    read_external(4);
    read_external(5);
    clock_.answer_select(answer);
    EXPECT_EQ(process(), row.result) << "external receivers";
    EXPECT_EQ(take_log(), row.log);
    clock_.take_selects();
  }
}

TEST_F(SelectTest, FailedPollIsFollowedByAnExternalCycleWithItsBudget) {
  read(1);
  read_external(2);
  timer(0, kNow);
  clock_.advance({1, 0});
  clock_.answer_select({-1, {}, {}, {}, {0, 0}, EINTR});
  clock_.answer_select({1, {2}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r2"}) << "one callback uses up the budget of the timer";
  EXPECT_EQ(clock_.take_selects().size(), 2U);
}

// A failed select() does not change the sets, which then contain all descriptors; no receiver may be called.
TEST_F(SelectTest, InterruptedWaitServesOnlyTimers) {
  read_external(1);
  write_external(1);
  except_external(1);
  NUV_Select_setTempReadExternal(&reactor_, 2, this, 'r', note);
  timer(0, {5, 0});
  clock_.answer_select({-1, {}, {}, {}, {5, 0}, EINTR});
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(clock_.take_selects().size(), 1U) << "not repeated";
  EXPECT_EQ(mark(), Time(1005, 0));
  EXPECT_EQ(total(reactor_), 3U) << "the one-cycle receiver is removed";
}

TEST_F(SelectTest, OverdueTimerMakesSelectFailAndFires) {
  one_shot(0, {-1, 0});
  read_external(1);
  clock_.advance({0, 1});
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(pair_of(*only_select().wait), Time(-1, 0));
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 0U);
}

// --- Dispatching ---

TEST_F(SelectTest, ServesReadThenWriteThenExceptionEachNewestFirst) {
  for (const int fd : {1, 2}) {
    except_external(fd);
    write_external(fd);
    read_external(fd);
  }
  clock_.answer_select({6, {1, 2}, {1, 2}, {1, 2}});
  EXPECT_EQ(process(), 6);
  EXPECT_EQ(take_log(), (Log{"r2", "r1", "w2", "w1", "e2", "e1"}));
}

TEST_F(SelectTest, RepeatsPassesUntilTheCountIsReached) {
  const struct {
    const char* name;
    SelectAnswer answer;
    Log log;
  } kCases[] = {
      {"count 0", {0, {1}, {1}, {1}}, {}},
      {"a pass is completed after the count is reached", {1, {1}, {1}, {1}}, {"r1", "w1", "e1"}},
      {"one pass reaches the count", {3, {1}, {1}, {1}}, {"r1", "w1", "e1"}},
      {"one callback is missing after the pass", {4, {1}, {1}, {1}}, {"r1", "w1", "e1", "r1", "w1", "e1"}},
      {"two passes reach the count", {2, {1}, {}, {}}, {"r1", "r1"}},
      {"three passes reach the count", {5, {}, {1}, {1}}, {"w1", "e1", "w1", "e1", "w1", "e1"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    read_external(1);
    write_external(1);
    except_external(1);
    clock_.answer_select(row.answer);
    EXPECT_EQ(process(), row.answer.result);
    EXPECT_EQ(take_log(), row.log);

    start_again();
    read(1);
    write(1);
    except(1);
    clock_.answer_select(row.answer);
    EXPECT_EQ(process(), row.answer.result) << "an internal cycle";
    EXPECT_EQ(take_log(), row.log);
  }
}

// The removed receiver still counts, so the remaining one is called again instead.
TEST_F(SelectTest, CallbackThatRemovesAnotherReadyReceiverIsCalledAgain) {
  read_external(1);
  read_external(2);
  actions_["r2"] = [this] { NUV_Select_removeReadExternal(&reactor_, 1); };
  clock_.answer_select({2, {1, 2}, {}, {}});
  EXPECT_EQ(process(), 2);
  EXPECT_EQ(take_log(), (Log{"r2", "r2"}));
  EXPECT_EQ(total(reactor_), 1U);

  // The next cycle is normal again.
  clock_.take_selects();
  clock_.answer_select({1, {2}, {}, {}});
  actions_.clear();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(only_select().read, Fds{2});
}

// If no receiver is left to reach the count, the passes never end. Hence applications must not remove other ready
// receivers.
TEST_F(SelectTest, CycleThatCannotReachItsCountDoesNotEnd) {
  read_external(1);
  read_external(2);
  actions_["r2"] = [this] {
    NUV_Select_removeReadExternal(&reactor_, 1);
    NUV_Select_removeReadExternal(&reactor_, 2);
  };
  const ChildProcess child(
      [this] {
        clock_.answer_select({2, {1, 2}, {}, {}});
        process();
      },
      /*deadline_seconds=*/1);
  EXPECT_TRUE(child.has_timed_out()) << child.outcome();

  // With a count of one, the same cycle ends.
  clock_.answer_select({1, {1, 2}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r2"});
  EXPECT_EQ(total(reactor_), 0U);
}

TEST_F(SelectTest, RemovalsFromSetsThatAreNotDispatchingAreImmediate) {
  read(1);
  write(1);
  read_external(1);
  actions_["r1"] = [this] {
    NUV_Select_removeWrite(&reactor_, 1);
    NUV_Select_removeReadExternal(&reactor_, 1);
    EXPECT_EQ(total(reactor_), 1U);
    NUV_Select_removeRead(&reactor_, 1);
    EXPECT_EQ(total(reactor_), 1U) << "removed at the end of the cycle";
  };
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(total(reactor_), 0U);
}

TEST_F(SelectTest, CallbacksMayRegisterReceivers) {
  read(1);
  actions_["r1"] = [this] {
    read(2);
    write_external(3);
    timer(0, {4, 0});
  };
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r1"});
  clock_.take_selects();

  clock_.answer_select({0, {}, {}, {}});
  clock_.answer_select({1, {}, {3}, {}});
  EXPECT_EQ(process(), 1);
  const std::vector<SelectCall> calls = clock_.take_selects();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].read, (Fds{1, 2}));
  EXPECT_EQ(calls[1].write, Fds{3});
  EXPECT_EQ(pair_of(*calls[1].wait), Time(4, 0));
}

// --- Internal before external, and the budget ---

TEST_F(SelectTest, ServesInternalReceiversAloneWhileAnyIsReady) {
  read(1);
  read_external(2);
  timer(0, kNow);
  clock_.advance({1, 0});
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r1"});
  EXPECT_EQ(clock_.take_selects().size(), 1U);
  EXPECT_EQ(remaining(0), Time(0, 0)) << "timers do not age";
  EXPECT_EQ(mark(), Time(1000, 0));

  clock_.answer_select({0, {}, {}, {}});
  clock_.answer_select({1, {2}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r2"}) << "the budget is used up";
  EXPECT_EQ(remaining(0), Time(-1, 0));
  EXPECT_EQ(mark(), Time(1001, 0));

  clock_.answer_select({0, {}, {}, {}});
  clock_.advance({1, 0});
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(take_log(), Log{"t0"});
}

TEST_F(SelectTest, InternalCyclesHaveNoBudget) {
  read(1);
  read(2);
  write(1);
  except(1);
  timer(0, kLater);
  clock_.answer_select({4, {1, 2}, {1}, {1}});
  EXPECT_EQ(process(), 4);
  EXPECT_EQ(take_log(), (Log{"r2", "r1", "w1", "e1"}));
}

// While internal receivers exist, an external cycle has a budget of one callback. But each set is served completely,
// and a budget that falls below zero wraps and is unlimited from then on.
TEST_F(SelectTest, ExternalCyclesBesideInternalReceiversHaveABudgetOfOne) {
  const struct {
    const char* name;
    SelectAnswer answer;
    Log log;
  } kCases[] = {
      {"one timer when nothing is ready", {0, {}, {}, {}}, {"t0"}},
      {"one timer when select fails", {-1, {}, {}, {}}, {"t0"}},
      {"one read event leaves nothing for the timers", {1, {1}, {}, {}}, {"r1"}},
      {"one write event leaves nothing for the timers", {1, {}, {1}, {}}, {"w1"}},
      {"one exception leaves nothing for the timers", {1, {}, {}, {1}}, {"e1"}},
      {"a read event leaves nothing for a write event", {2, {1}, {1}, {}}, {"r1"}},
      {"a write event leaves nothing for an exception", {2, {}, {1}, {1}}, {"w1"}},
      {"an exception leaves nothing for a second pass", {2, {}, {}, {1}}, {"e1"}},
      {"two in a set wrap the budget", {2, {1, 2}, {}, {}}, {"r2", "r1", "t0", "t1", "t2"}},
      {"after the wrap, the other sets are served", {4, {1, 2}, {1}, {1}}, {"r2", "r1", "w1", "e1", "t0", "t1", "t2"}},
      {"two in a later set also wrap it", {2, {}, {}, {1, 2}}, {"e2", "e1", "t0", "t1", "t2"}},
      {"a second pass after the wrap", {3, {1, 2}, {}, {}}, {"r2", "r1", "r2", "r1", "t0", "t1", "t2"}},
      {"three in a set", {4, {1, 2, 3}, {1}, {}}, {"r3", "r2", "r1", "w1", "t0", "t1", "t2"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    read(10);
    for (const int fd : {1, 2, 3}) {
      read_external(fd);
      write_external(fd);
      except_external(fd);
    }
    for (const uint32_t number : {0U, 1U, 2U}) {
      timer(number, {1, 0});
    }
    clock_.advance({2, 0});
    clock_.answer_select({0, {}, {}, {}});
    clock_.answer_select(row.answer);
    EXPECT_EQ(process(), row.answer.result);
    EXPECT_EQ(take_log(), row.log);
    for (const uint32_t slot : {0U, 1U, 2U}) {
      EXPECT_EQ(remaining(slot), Time(-1, 0)) << "all timers age, even those that did not fire";
    }
  }
}

TEST_F(SelectTest, ExternalCyclesWithoutInternalReceiversHaveNoBudget) {
  read_external(1);
  write_external(1);
  except_external(1);
  timer(0, {1, 0});
  timer(1, {1, 0});
  clock_.advance({2, 0});
  clock_.answer_select({3, {1}, {1}, {1}});
  EXPECT_EQ(process(), 3);
  EXPECT_EQ(take_log(), (Log{"r1", "w1", "e1", "t0", "t1"}));
}

// --- Time ---

TEST_F(SelectTest, TimersAgeByTheTimeSinceTheLastMark) {
  timer(0, {10, 0});
  clock_.advance({1, 0});  // between two calls of process
  actions_["r1"] = [this] { clock_.advance({0, 250000}); };
  read_external(1);
  clock_.answer_select({1, {1}, {}, {}, {2, 500000}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(remaining(0), Time(6, 250000));
  EXPECT_EQ(mark(), Time(1003, 750000));
}

// The mark is set after the timer callbacks, so the time spent in them ages no timer.
TEST_F(SelectTest, TimeSpentInTimerCallbacksAgesNoTimer) {
  timer(0, {1, 0});
  timer(1, {20, 0});
  actions_["t0"] = [this] { clock_.advance({3, 0}); };
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(mark(), Time(1004, 0));
  EXPECT_EQ(remaining(1), Time(19, 0));
  NUV_Select_updateTimeout(&reactor_, 0, kLater);
  EXPECT_EQ(process({2, 0}), 0);
  EXPECT_EQ(remaining(1), Time(17, 0));
}

TEST_F(SelectTest, TimersFireAfterTheirWait) {
  timer(0, {3, 0});
  one_shot(1, {5, 0});
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_log(), Log{"t0"});
  NUV_Select_updateTimeout(&reactor_, 0, {2, 1});
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_log(), Log{"t1"});
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 1U);
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(pair_of(clock_.now()), Time(1005, 1));
}

TEST_F(SelectTest, DelayCountsFromTheLastMark) {
  clock_.advance({0, 300000});
  timer(0, {1, 0});
  EXPECT_EQ(process({0, 699999}), 0);
  EXPECT_EQ(take_log(), Log{});
  EXPECT_EQ(remaining(0), Time(0, 1));
  EXPECT_EQ(process({0, 1}), 0);
  EXPECT_EQ(take_log(), Log{"t0"});
}

TEST_F(SelectTest, TimersCatchUpAfterInternalCycles) {
  read(1);
  timer(0, {10, 0});
  for (int i = 0; i < 3; ++i) {
    clock_.advance({1, 0});
    clock_.answer_select({1, {1}, {}, {}});
    EXPECT_EQ(process(), 1);
  }
  EXPECT_EQ(remaining(0), Time(10, 0));
  EXPECT_EQ(mark(), Time(1000, 0));
  clock_.answer_select({0, {}, {}, {}});
  EXPECT_EQ(process({1, 0}), 0);
  EXPECT_EQ(remaining(0), Time(6, 0));
  EXPECT_EQ(mark(), Time(1004, 0));
}

// A clock at or before the mark counts as wrapped.
TEST_F(SelectTest, ClockThatDoesNotAdvanceCountsAsWrapped) {
  const struct {
    const char* name;
    timeval mark;
    timeval now;
    Time elapsed;
  } kCases[] = {
      {"a microsecond forward", {1000, 300000}, {1000, 300001}, {0, 1}},
      {"into the next second", {1000, 999999}, {1001, 0}, {0, 1}},
      {"standing still", {1000, 300000}, {1000, 300000}, {2147483647, 999999}},
      {"standing still on a full second", {1000, 0}, {1000, 0}, {2147483647, 999999}},
      {"a microsecond back", {1000, 300000}, {1000, 299999}, {2147483647, 999998}},
      {"a second and more back", {1000, 300000}, {999, 100000}, {2147483646, 799999}},
      {"into the previous second", {1000, 0}, {999, 500000}, {2147483647, 499999}},
      {"back to zero", {1000, 300000}, {0, 0}, {2147482647, 699999}},
      {"back over the whole range", {2147483647, 999999}, {0, 1}, {0, 1}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    clock_.set(row.mark);
    start_again();
    timer(0, {2147483647, 999999});
    clock_.set(row.now);
    EXPECT_EQ(process(kNow), 0);
    timeval left = {2147483647, 999999};
    const timeval elapsed = {static_cast<time_t>(row.elapsed.first), static_cast<suseconds_t>(row.elapsed.second)};
    timersub(&left, &elapsed, &left);
    EXPECT_EQ(remaining(0), pair_of(left));
    EXPECT_EQ(take_log(), row.elapsed == Time(2147483647, 999999) ? Log{"t0"} : Log{});
    EXPECT_EQ(mark(), pair_of(row.now));
  }
}

TEST_F(SelectTest, ClockThatStandsStillMakesEveryTimerDue) {
  timer(0, {5, 0});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(remaining(0), Time(-2147483643, 1));
}

// Two cycles within a microsecond read the same time. The clock is read until it advances.
TEST_F(SelectTest, ClockThatHasNotAdvancedIsReadAgain) {
  for (const uint32_t still : {0U, 1U, 2U, 100U, 9999U}) {
    SCOPED_TRACE(still);
    start_again();
    timer(0, {5, 0});
    clock_.take_readings();
    clock_.stand_still(still, {0, 1});
    EXPECT_EQ(process(kNow), 0);
    EXPECT_EQ(take_log(), Log{});
    EXPECT_EQ(remaining(0), Time(4, 999999));
    EXPECT_EQ(mark(), pair_of(clock_.now()));
    EXPECT_EQ(clock_.take_readings(), still + 2) << "until it advances, and for the mark";
  }
}

// The mark may equal the last reading, so the next cycle may read the same time.
TEST_F(SelectTest, ClockThatHasNotAdvancedSinceTheLastTimersIsReadAgain) {
  timer(0, {5, 0});
  clock_.advance({1, 0});
  for (const Time& left : {Time(4, 0), Time(3, 999999), Time(3, 999998)}) {
    EXPECT_EQ(process(kNow), 0);
    EXPECT_EQ(remaining(0), left);
    clock_.stand_still(7, {0, 1});
  }
  EXPECT_EQ(take_log(), Log{});
}

// Each reactor has its own mark.
TEST_F(SelectTest, SecondReactorInTheSameMicrosecondFiresNoTimer) {
  Select other;
  NUV_Select_construct(&other);
  NUV_Select_setTimeout(&other, {5, 0}, this, 9, note_timer);
  timer(0, {5, 0});
  clock_.advance({0, 1});
  timeval none = kNow;
  EXPECT_EQ(NUV_Select_process(&other, &none), 0);
  EXPECT_EQ(process(kNow), 0);
  clock_.stand_still(20, {0, 1});
  EXPECT_EQ(NUV_Select_process(&other, &none), 0);
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(take_log(), Log{});
  EXPECT_EQ(pair_of(other.m_oTimeout.m_rgRecv[0].m_oTime), Time(4, 999998));
  NUV_Select_destruct(&other);
}

TEST_F(SelectTest, ClockThatStandsStillIsNotReadForEver) {
  timer(0, {5, 0});
  clock_.take_readings();
  clock_.stand_still(10000, {0, 1});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(take_log(), Log{"t0"}) << "it counts as wrapped";
  EXPECT_EQ(clock_.take_readings(), 10001U);
}

TEST_F(SelectTest, ReadsTheClockTwicePerCycle) {
  clock_.take_readings();
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(clock_.take_readings(), 2U);
  timer(0, {5, 0});
  clock_.advance({1, 0});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(clock_.take_readings(), 2U) << "the same with timers, if the clock advances";
}

TEST_F(SelectTest, ClockThatFailsWhileItStandsStillCountsAsUnchanged) {
  timer(0, {5, 0});
  const FaultInjector failing("clock_gettime", 3, EPERM);
  EXPECT_EQ(process(kNow), 0);
  EXPECT_TRUE(failing.has_struck());
  EXPECT_EQ(take_log(), Log{});
  EXPECT_EQ(remaining(0), Time(5, 0));
  EXPECT_EQ(mark(), Time(1000, 0));
}

// No time is lost: the next reading that succeeds includes it.
TEST_F(SelectTest, ClockThatCannotBeReadCountsAsUnchanged) {
  timer(0, {10, 0});
  timer(1, kNow);
  clock_.fail_with(EPERM);
  EXPECT_EQ(process({3, 0}), 0);
  EXPECT_EQ(take_log(), Log{"t1"}) << "a timer that is already due fires anyway";
  EXPECT_EQ(remaining(0), Time(10, 0));
  EXPECT_EQ(mark(), Time(1000, 0));
  clock_.fail_with(0);
  clock_.advance({3, 0});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(remaining(0), Time(7, 0));
  EXPECT_EQ(mark(), Time(1003, 0));
}

TEST_F(SelectTest, TimerAddedByADescriptorCallbackAgesByTheWholeCycle) {
  read_external(1);
  actions_["r1"] = [this] { timer(0, {5, 0}); };
  clock_.answer_select({1, {1}, {}, {}, {4, 0}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(remaining(0), Time(1, 0));
}

TEST_F(SelectTest, TimersRemovedByATimerArePurgedInTheSameCycle) {
  timer(0, {1, 0});
  timer(1, {1, 0});
  timer(2, {1, 0});
  actions_["t0"] = [this] {
    NUV_Select_removeTimeout(&reactor_, 1);
    EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 3U);
  };
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_log(), (Log{"t0", "t2"}));
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 2U);
  EXPECT_EQ(timer(3, kLater), 1U) << "the id is free again";
}

TEST_F(SelectTest, TimerRemovedByADescriptorCallbackIsRemovedAtOnce) {
  timer(0, {1, 0});
  read_external(1);
  actions_["r1"] = [this] {
    NUV_Select_removeTimeout(&reactor_, 0);
    EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 0U);
  };
  clock_.answer_select({1, {1}, {}, {}, {2, 0}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r1"});
}

// --- The purge ---

TEST_F(SelectTest, OneCycleReceiversEndWithACycleOfTheirType) {
  const auto add_all = [this] {
    for (const SetOperation& operation : kSetOperations) {
      operation.call(&reactor_, 5, this, 'x', note);
    }
  };
  const auto counts = [this](uint32_t event_type) {
    return std::array<uint32_t, 3>{reactor_.m_oRead[event_type].m_uCount, reactor_.m_oWrite[event_type].m_uCount,
                                   reactor_.m_oExcept[event_type].m_uCount};
  };
  constexpr std::array<uint32_t, 3> kAll = {1, 1, 1};
  constexpr std::array<uint32_t, 3> kNone = {0, 0, 0};

  // The last operations in the table register for one cycle. Here an internal cycle serves one of them.
  add_all();
  clock_.answer_select({1, {5}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"x5"});
  EXPECT_EQ(counts(0), kNone);
  EXPECT_EQ(counts(1), kAll);

  // An empty poll and the external cycle after it.
  add_all();
  clock_.answer_select({0, {}, {}, {}});
  clock_.answer_select({0, {}, {}, {}});
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(counts(0), kNone);
  EXPECT_EQ(counts(1), kNone);
  EXPECT_EQ(take_log(), Log{});
}

TEST_F(SelectTest, OneCycleReceiverThatIsRegisteredAgainStays) {
  actions_["r1"] = [this] { read(1); };
  NUV_Select_setTempRead(&reactor_, 1, this, 'r', note);
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(total(reactor_), 1U);
}

// Even a cycle that serves no timers.
TEST_F(SelectTest, EveryCyclePurgesTheTimers) {
  read(1);
  timer(0, kLater);
  timer(1, kLater);
  reactor_.m_oTimeout.m_rgRecv[0].m_bDeleted = 1;
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  ASSERT_EQ(reactor_.m_oTimeout.m_uCount, 1U);
  EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[0].m_uArg2, 1U);
}

// --- Calls that fail ---

TEST_F(SelectTest, WithoutMemoryRegistersNothing) {
  for (const SetOperation& operation : kSetOperations) {
    SCOPED_TRACE(operation.name);
    each_fault("malloc", {ENOMEM}, [&](Fault& fault) {
      const NUV_SelectRecv* receiver =
          fault.during([&] { return operation.call(&reactor_, 7, nullptr, 0, ignore_descriptor); });
      EXPECT_EQ(receiver != nullptr, !fault.has_struck());
      EXPECT_EQ(total(reactor_), fault.has_struck() ? 0U : 1U);
      EXPECT_NE(operation.call(&reactor_, 7, nullptr, 0, ignore_descriptor), nullptr);
      EXPECT_EQ(total(reactor_), 1U);
      start_again();
    });
  }
}

// If any reading in an external cycle fails, no time is lost or counted twice. If the first mark fails, it is zero.
TEST_F(SelectTest, ClockThatFailsOnceLosesNoTime) {
  constexpr Time kLeft[] = {{998985, 0}, {999985, 0}, {999985, 0}, {999985, 0}};
  const int reads = each_fault("clock_gettime", {EINVAL, EPERM}, [&](Fault& fault) {
    clock_.set({1000, 0});
    Select reactor;
    fault.during([&] { NUV_Select_construct(&reactor); });
    NUV_Select_setTimeout(&reactor, {1000000, 0}, nullptr, 0, ignore_timer);
    timeval bound = {10, 0};
    const int32_t served = fault.during([&] { return NUV_Select_process(&reactor, &bound); });
    EXPECT_EQ(served, 0);
    bound = {5, 0};
    EXPECT_EQ(NUV_Select_process(&reactor, &bound), 0);
    EXPECT_EQ(pair_of(reactor.m_oTimeout.m_rgRecv[0].m_oTime), kLeft[fault.nth() - 1]);
    EXPECT_EQ(pair_of(reactor.m_oLastTime), Time(1015, 0));
    NUV_Select_destruct(&reactor);
  });
  EXPECT_EQ(reads, 3);
}

// --- Misuse ---

// No daemon should do this, but no freed memory is used.
TEST_F(SelectTest, SurvivesProcessInsideACallback) {
  read_external(1);
  read_external(2);
  NUV_Select_setTempReadExternal(&reactor_, 3, this, 'r', note);
  one_shot(0, {1, 0});
  actions_["r3"] = [this] {
    actions_["r3"] = {};
    NUV_Select_removeReadExternal(&reactor_, 2);
    clock_.answer_select({1, {1}, {}, {}, {2, 0}});
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(total(reactor_), 1U) << "the inner cycle has purged the others";
  };
  actions_["t0"] = [this] {
    actions_["t0"] = {};
    timer(1, {9, 0});
    clock_.advance({1, 0});
    EXPECT_EQ(process(kNow), -1) << "the running timer is overdue";
  };
  clock_.answer_select({2, {1, 3}, {}, {}});
  EXPECT_EQ(process(), 2);
  EXPECT_EQ(take_log(), (Log{"r3", "r1", "t0", "t0", "r1", "t1"})) << "after the inner cycle the clock is at the mark";
  EXPECT_EQ(total(reactor_), 1U);
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 1U);
  EXPECT_EQ(NUV_IndexPool_busy(&reactor_.m_oTimeout.m_oIdPool), 1U);
}

// An inner cycle waits for what was removed before it, purges it, and no later one waits for it.
TEST_F(SelectTest, ReceiverPurgedByProcessInsideACallbackIsNotAskedForAgain) {
  read_external(1);
  read_external(2);
  actions_["r1"] = [this] {
    NUV_Select_removeReadExternal(&reactor_, 1);
    NUV_Select_setTempReadExternal(&reactor_, 3, this, 'r', note);
    clock_.answer_select({1, {3}, {}, {}});
    EXPECT_EQ(process(), 1);
    clock_.answer_select({1, {2}, {}, {}});
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(clock_.take_selects().back().read, Fds{2});
  };
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), (Log{"r1", "r3", "r2"}));
  EXPECT_EQ(total(reactor_), 1U);
}

// --- With the real select() ---

class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(ends_), 0); }
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int out() const { return ends_[0]; }
  int in() const { return ends_[1]; }
  void put(char c) { EXPECT_EQ(::write(ends_[1], &c, 1), 1); }
  char get() {
    char c = '\0';
    EXPECT_EQ(::read(ends_[0], &c, 1), 1);
    return c;
  }

 private:
  int ends_[2] = {-1, -1};
};

// A reactor with the real clock and select(). Received bytes are appended to a text.
class SelectPipeTest : public ::testing::Test {
 protected:
  SelectPipeTest() { NUV_Select_construct(&reactor_); }
  ~SelectPipeTest() override { NUV_Select_destruct(&reactor_); }

  static int32_t receive(void* arg1, int32_t fd, uint32_t /*arg2*/) {
    char c = '\0';
    EXPECT_EQ(::read(fd, &c, 1), 1);
    static_cast<SelectPipeTest*>(arg1)->text_ += c;
    return 0;
  }

  static int32_t receive_end(void* arg1, int32_t fd, uint32_t /*arg2*/) {
    char c = '\0';
    EXPECT_EQ(::read(fd, &c, 1), 0);
    NUV_Select_removeReadExternal(&static_cast<SelectPipeTest*>(arg1)->reactor_, fd);
    return 0;
  }

  static int32_t send(void* arg1, int32_t fd, uint32_t arg2) {
    const char c = static_cast<char>(arg2);
    EXPECT_EQ(::write(fd, &c, 1), 1);
    static_cast<SelectPipeTest*>(arg1)->text_ += '>';
    return 0;
  }

  static int32_t tick(void* arg1, timeval* /*time*/, uint32_t /*arg2*/) {
    static_cast<SelectPipeTest*>(arg1)->text_ += '.';
    return 0;
  }

  int32_t process() { return NUV_Select_process(&reactor_, nullptr); }
  int32_t poll() {
    timeval none = {0, 0};
    return NUV_Select_process(&reactor_, &none);
  }

  Select reactor_ = {};
  std::string text_;
  ContractRecorder contracts_;
};

TEST_F(SelectPipeTest, ReadsAvailableData) {
  Pipe pipe;
  NUV_Select_setReadExternal(&reactor_, pipe.out(), this, 0, receive);
  EXPECT_EQ(poll(), 0);
  pipe.put('a');
  pipe.put('b');
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "a");
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "ab");
  EXPECT_EQ(poll(), 0);
}

TEST_F(SelectPipeTest, ServesInternalPipesBeforeExternalOnes) {
  Pipe internal;
  Pipe external;
  NUV_Select_setRead(&reactor_, internal.out(), this, 0, receive);
  NUV_Select_setReadExternal(&reactor_, external.out(), this, 0, receive);
  external.put('E');
  internal.put('1');
  internal.put('2');
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "12");
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "12E");
}

TEST_F(SelectPipeTest, WaitsOnInternalPipesAlone) {
  Pipe pipe;
  NUV_Select_setRead(&reactor_, pipe.out(), this, 0, receive);
  pipe.put('a');
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "a");
  NUV_Select_removeRead(&reactor_, pipe.out());
  EXPECT_EQ(process(), 0) << "nothing is left to wait for";
}

TEST_F(SelectPipeTest, WritesOnceIntoAPipeAndReadsItInTheSameCycle) {
  Pipe pipe;
  NUV_Select_setReadExternal(&reactor_, pipe.out(), this, 0, receive);
  NUV_Select_setTempWriteExternal(&reactor_, pipe.in(), this, 'w', send);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, ">");
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, ">w");
  EXPECT_EQ(total(reactor_), 1U);
}

TEST_F(SelectPipeTest, ClosedEndOfAPipeIsReadable) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  NUV_Select_setReadExternal(&reactor_, ends[0], this, 0, receive_end);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(total(reactor_), 0U);
  close(ends[0]);
}

TEST_F(SelectPipeTest, ClosedDescriptorMakesEveryCycleFail) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  close(ends[1]);
  NUV_Select_setReadExternal(&reactor_, ends[0], this, 0, receive);
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(text_, "");
}

// A failed select() is not repeated for any error; the next call of process does that.
TEST_F(SelectPipeTest, FailedSelectServesNoReceiver) {
  const int selects = each_fault("select", {EINTR, EBADF, ENOMEM, EINVAL}, [this](Fault& fault) {
    text_.clear();
    Pipe internal;
    Pipe external;
    NUV_Select_setRead(&reactor_, internal.out(), this, 0, receive);
    NUV_Select_setReadExternal(&reactor_, external.out(), this, 0, receive);
    NUV_Select_setTempTimeout(&reactor_, {0, 0}, this, 0, tick);
    timeval none = {0, 0};
    external.put('E');
    const int32_t served = fault.during([&] { return NUV_Select_process(&reactor_, &none); });
    if (fault.nth() == 2) {
      EXPECT_EQ(served, -1);
      EXPECT_EQ(text_, ".") << "timers are served anyway";
    } else {
      EXPECT_EQ(served, 1) << "a failed poll counts as empty";
      EXPECT_EQ(text_, "E") << "the budget is used up";
    }
    EXPECT_EQ(NUV_Select_process(&reactor_, &none), fault.nth() == 2 ? 1 : -1) << "the timer is overdue";
    EXPECT_EQ(text_, fault.nth() == 2 ? ".E" : "E.");
    NUV_Select_removeRead(&reactor_, internal.out());
    NUV_Select_removeReadExternal(&reactor_, external.out());
  });
  EXPECT_EQ(selects, 2);
}

TEST_F(SelectPipeTest, OverdueTimerFiresAtOnce) {
  NUV_Select_setTimeout(&reactor_, {-1, 0}, this, 0, tick);
  EXPECT_EQ(process(), -1) << "select() refuses a negative wait";
  EXPECT_EQ(text_, ".");
  EXPECT_EQ(process(), 0);
}

TEST_F(SelectPipeTest, DueTimerFiresTogetherWithAReadyPipe) {
  Pipe pipe;
  pipe.put('a');
  NUV_Select_setReadExternal(&reactor_, pipe.out(), this, 0, receive);
  NUV_Select_setTempTimeout(&reactor_, {0, 0}, this, 0, tick);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "a.");
}

// ---- Polling before waiting ----

constexpr timeval kMillisecond = {0, 1000};
constexpr int kFirstThreshold = 16;

// A reactor with events in successive cycles. The clock advances in each, so it does not count as wrapped.
class PollFirstTest : public SelectTest {
 protected:
  PollFirstTest() { read_external(3); }

  void answer_event() { clock_.answer_select({1, {3}, {}, {}, kMillisecond}); }
  void answer_nothing() { clock_.answer_select({0, {}, {}, {}}); }

  // Serves as many events as it takes for the next cycle to poll first.
  void get_busy() {
    for (int i = 0; i < kFirstThreshold; ++i) {
      answer_event();
      EXPECT_EQ(process(), 1);
      EXPECT_FALSE(is_poll(only_select())) << i;
    }
    take_log();
  }

  static bool is_poll(const SelectCall& call) { return call.wait && pair_of(*call.wait) == Time(0, 0); }

  // The select() calls since the last check, each "poll" or "wait".
  Log take_calls() {
    Log calls;
    for (const SelectCall& call : clock_.take_selects()) {
      EXPECT_EQ(descriptors(call), Fds{3});
      calls.push_back(is_poll(call) ? "poll" : "wait");
    }
    return calls;
  }
};

TEST_F(PollFirstTest, BusyReactorPollsAndDoesNotWait) {
  get_busy();
  for (int i = 0; i < 5; ++i) {
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_log(), Log{"r3"});
    EXPECT_EQ(take_calls(), Log{"poll"});
  }
}

TEST_F(PollFirstTest, WaitsForTheSameAfterAnEmptyPoll) {
  struct Case {
    const char* name;
    std::optional<timeval> timer;
  };
  const Case kCases[] = {{"no bound", {}}, {"a timer", kLater}};
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    read_external(3);
    write_external(4);
    except_external(5);
    if (row.timer) {
      timer(0, *row.timer);
    }
    for (int i = 0; i < kFirstThreshold; ++i) {
      answer_event();
      EXPECT_EQ(process(), 1);
    }
    clock_.take_selects();
    take_log();

    answer_nothing();
    clock_.answer_select({2, {3}, {}, {5}, kMillisecond});
    EXPECT_EQ(process(), 2);
    EXPECT_EQ(take_log(), (Log{"r3", "e5"}));
    const std::vector<SelectCall> calls = clock_.take_selects();
    ASSERT_EQ(calls.size(), 2U);
    for (const SelectCall& call : calls) {
      EXPECT_EQ(call.count, FD_SETSIZE);
      EXPECT_EQ(call.read, Fds{3});
      EXPECT_EQ(call.write, Fds{4});
      EXPECT_EQ(call.except, Fds{5});
    }
    EXPECT_TRUE(is_poll(calls[0]));
    ASSERT_EQ(calls[1].wait.has_value(), row.timer.has_value());
    if (row.timer) {
      EXPECT_EQ(pair_of(*calls[1].wait), Time(999999, 984000)) << "the rest after 16 cycles";
    }
  }
}

// In a daemon that mostly sleeps every poll is empty; soon only one in a thousand events is polled for.
TEST_F(PollFirstTest, EmptyPollsBecomeRare) {
  std::vector<int> polls;
  int last = 1;
  int distance = kFirstThreshold;
  for (int cycle = 1; cycle <= 6000; ++cycle) {
    const bool poll_is_due = cycle == last + distance;
    if (poll_is_due) {
      answer_nothing();
    }
    answer_event();
    ASSERT_EQ(process(), 1) << cycle;
    ASSERT_EQ(take_calls(), poll_is_due ? (Log{"poll", "wait"}) : Log{"wait"}) << cycle;
    if (poll_is_due) {
      polls.push_back(cycle);
      last = cycle;
      distance = std::min(distance * 2, 1024);
    }
    take_log();
  }
  EXPECT_EQ(polls, (std::vector<int>{17, 49, 113, 241, 497, 1009, 2033, 3057, 4081, 5105}));
}

// Events come in bursts: a successful poll lowers the threshold for the next, even after empty polls.
TEST_F(PollFirstTest, SuccessfulPollLowersTheThreshold) {
  get_busy();
  for (int burst = 0; burst < 3; ++burst) {
    SCOPED_TRACE(burst);
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), Log{"poll"});
    // The first two events of the next burst come after a wait.
    answer_nothing();
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), (Log{"poll", "wait"}));
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), Log{"wait"});
  }
}

TEST_F(PollFirstTest, CycleWithoutEventsEndsTheStreak) {
  get_busy();
  one_shot(0, kSoon);
  answer_nothing();
  answer_nothing();
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_calls(), (Log{"poll", "wait"}));
  // The threshold has doubled.
  for (int i = 0; i < 2 * kFirstThreshold; ++i) {
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), Log{"wait"}) << i;
  }
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), Log{"poll"});
}

TEST_F(PollFirstTest, WaitThatTimesOutEndsTheStreak) {
  for (int i = 1; i < kFirstThreshold; ++i) {
    answer_event();
    EXPECT_EQ(process(), 1);
  }
  one_shot(0, kSoon);
  EXPECT_EQ(process(), 0);
  clock_.take_selects();
  get_busy();  // from the start
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), Log{"poll"});
}

// A signal before the wait must end the call of process, so that the daemon can react to what its handler did.
TEST_F(PollFirstTest, FailedPollIsNotFollowedByAWait) {
  for (const int error : {EINTR, EBADF}) {
    SCOPED_TRACE(error);
    start_again();
    read_external(3);
    get_busy();
    one_shot(0, kMillisecond);
    clock_.answer_select({-1, {}, {}, {}, kMillisecond, error});
    EXPECT_EQ(process(), -1);
    EXPECT_EQ(take_calls(), Log{"poll"});
    EXPECT_EQ(take_log(), Log{"t0"}) << "timers are served";
    EXPECT_EQ(mark(), pair_of(clock_.now()));
    // A failed poll does not change the threshold, but the cycle without events ends the streak.
    get_busy();
  }
}

TEST_F(PollFirstTest, DoesNotPollIfThereIsNoWait) {
  struct Case {
    const char* name;
    std::optional<timeval> timeout;
    std::optional<timeval> timer;
    Time wait;
    int result;
  };
  const Case kCases[] = {
      {"a bound of zero", kNow, {}, {0, 0}, 0},
      {"a bound of zero, and a timer", kNow, kSoon, {0, 0}, 0},
      {"a timer is due", {}, kNow, {0, 0}, 0},
      {"a timer is overdue", {}, timeval{-1, 0}, {-1, 0}, -1},
      {"a timer is overdue by microseconds", {}, timeval{0, -1}, {0, -1}, -1},
      {"a negative time with positive seconds", {}, timeval{1, -1}, {1, -1}, -1},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    read_external(3);
    get_busy();
    if (row.timer) {
      one_shot(0, *row.timer);
    }
    EXPECT_EQ(row.timeout ? process(*row.timeout) : process(), row.result);
    EXPECT_EQ(pair_of(*only_select().wait), row.wait);
  }
}

// select() writes the rest of the wait into the caller's timeval, which must be passed in every call.
TEST_F(PollFirstTest, CallersTimevalIsAlwaysPassed) {
  get_busy();
  timeval timeout = {7, 0};
  answer_event();
  EXPECT_EQ(NUV_Select_process(&reactor_, &timeout), 1);
  const SelectCall call = only_select();
  EXPECT_EQ(call.wait_address, &timeout);
  EXPECT_EQ(pair_of(*call.wait), Time(7, 0));
}

TEST_F(PollFirstTest, WithATimerTheCallersTimevalIsUnchanged) {
  timer(0, kSoon);
  get_busy();
  timeval timeout = {7, 0};
  answer_nothing();
  answer_event();
  EXPECT_EQ(NUV_Select_process(&reactor_, &timeout), 1);
  EXPECT_EQ(pair_of(timeout), Time(7, 0));
  const std::vector<SelectCall> calls = clock_.take_selects();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_NE(calls[0].wait_address, &timeout);
  EXPECT_EQ(pair_of(*calls[1].wait), Time(2, 984000));
}

TEST_F(PollFirstTest, InternalReceiversAreStillPolledBefore) {
  get_busy();
  read(1);
  answer_nothing();  // the poll of the internal receivers
  answer_nothing();  // the poll of the external receivers
  answer_event();
  EXPECT_EQ(process(), 1);
  const std::vector<SelectCall> calls = clock_.take_selects();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].read, Fds{1});
  EXPECT_TRUE(is_poll(calls[0]));
  EXPECT_EQ(calls[1].read, Fds{3});
  EXPECT_TRUE(is_poll(calls[1]));
  EXPECT_EQ(calls[2].read, Fds{3});
  EXPECT_FALSE(calls[2].wait);
}

// Polls of internal receivers replace no wait, so they do not count.
TEST_F(PollFirstTest, PollsOfInternalReceiversDoNotCount) {
  read(1);
  for (int i = 0; i < 3 * kFirstThreshold; ++i) {
    clock_.answer_select({1, {1}, {}, {}});
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(clock_.take_selects().size(), 1U);
  }
  NUV_Select_removeRead(&reactor_, 1);
  get_busy();
}

TEST_F(PollFirstTest, ReactorOfInternalReceiversAlsoPollsFirst) {
  NUV_Select_removeReadExternal(&reactor_, 3);
  read(3);
  get_busy();
  answer_nothing();
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), (Log{"poll", "wait"}));
}

TEST_F(PollFirstTest, AnotherReactorTakesOverWithItsFirstEvents) {
  get_busy();
  Select other;
  NUV_Select_construct(&other);
  NUV_Select_setReadExternal(&other, 3, this, 'r', note);
  timeval timeout = kMillisecond;
  answer_nothing();
  NUV_Select_setTempTimeout(&other, kSoon, this, 0, note_timer);
  EXPECT_EQ(NUV_Select_process(&other, &timeout), 0);
  clock_.take_selects();
  // The other one had no events, so the policy still belongs to the first.
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), Log{"poll"});

  answer_event();
  EXPECT_EQ(NUV_Select_process(&other, nullptr), 1);
  EXPECT_EQ(take_calls(), Log{"wait"});
  get_busy();  // from the start
  NUV_Select_destruct(&other);
}

TEST_F(PollFirstTest, NewReactorAtTheSameAddressStartsAgain) {
  get_busy();
  start_again();
  read_external(3);
  get_busy();
}

}  // namespace
