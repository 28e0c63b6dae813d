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

// More callbacks than any turn here makes: one that does not end must not fill the memory.
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

// A reactor whose clock and select() obey the test. Its callbacks write into a log: "r5" for the read receiver of
// descriptor 5, "w5" and "e5" likewise, "t3" for the timer with the number 3. A test can plan an action for each.
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

  // All descriptors of a select(), those to read first.
  static Fds descriptors(const SelectCall& call) {
    Fds fds = call.read;
    fds.insert(fds.end(), call.write.begin(), call.write.end());
    fds.insert(fds.end(), call.except.begin(), call.except.end());
    return fds;
  }

  // The one select() since the last look.
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

// --- Life ---

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

// The leak sanitizer sees what is not freed.
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
    EXPECT_EQ(total(reactor_), 1U) << "in no other set";
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

// The three kinds of receivers of one event type arrive in the three arguments, and nothing of the other type does.
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
    EXPECT_EQ(mark(), before) << "internal cycles leave the time mark alone";
  }
}

TEST_F(SelectTest, ExternalReceiversAreWaitedForOnTheirOwn) {
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

// Anything else to wait for turns the wait for internal receivers into a poll, which an external cycle follows.
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
      // Without a bound of the caller's, the longest wait is 999999.999999 seconds.
      {"a timer before the longest wait", {{999999, 999998}}, {}, {999999, 999998}},
      {"a timer at the longest wait", {{999999, 999999}}, {}, {999999, 999999}},
      {"a timer after the longest wait", {{1000000, 0}}, {}, {999999, 999999}},
      // A bound of the caller's replaces the longest wait.
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
    EXPECT_EQ(call.wait_address == &timeout, row.timers.empty()) << "with timers, the caller's timeval is left alone";
    EXPECT_EQ(pair_of(timeout), pair_of(row.timeout.value_or(timeval{0, 0})));
  }
}

TEST_F(SelectTest, DescriptorsOutsideOfAnFdSetAreWaitedForInVain) {
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

TEST_F(SelectTest, AFailedPollIsFollowedByAnExternalCycleWithItsBudget) {
  read(1);
  read_external(2);
  timer(0, kNow);
  clock_.advance({1, 0});
  clock_.answer_select({-1, {}, {}, {}, {0, 0}, EINTR});
  clock_.answer_select({1, {2}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r2"}) << "one callback, and none is left for the timer";
  EXPECT_EQ(clock_.take_selects().size(), 2U);
}

// select() leaves the sets alone when it fails, so that they name every receiver: none of them is called.
TEST_F(SelectTest, AnInterruptedWaitServesTheTimersOnly) {
  read_external(1);
  write_external(1);
  except_external(1);
  NUV_Select_setTempReadExternal(&reactor_, 2, this, 'r', note);
  timer(0, {5, 0});
  clock_.answer_select({-1, {}, {}, {}, {5, 0}, EINTR});
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(clock_.take_selects().size(), 1U) << "not tried again";
  EXPECT_EQ(mark(), Time(1005, 0));
  EXPECT_EQ(total(reactor_), 3U) << "the one-cycle receiver had its cycle";
}

TEST_F(SelectTest, AnOverdueTimerMakesSelectFailAndFires) {
  one_shot(0, {-1, 0});
  read_external(1);
  clock_.advance({0, 1});
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(pair_of(*only_select().wait), Time(-1, 0));
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 0U);
}

// --- Dispatching ---

TEST_F(SelectTest, ServesReadThenWriteThenExceptionTheNewestFirst) {
  for (const int fd : {1, 2}) {
    except_external(fd);
    write_external(fd);
    read_external(fd);
  }
  clock_.answer_select({6, {1, 2}, {1, 2}, {1, 2}});
  EXPECT_EQ(process(), 6);
  EXPECT_EQ(take_log(), (Log{"r2", "r1", "w2", "w1", "e2", "e1"}));
}

TEST_F(SelectTest, PassesOverTheSetsUntilTheCountIsMade) {
  const struct {
    const char* name;
    SelectAnswer answer;
    Log log;
  } kCases[] = {
      {"nothing is owed", {0, {1}, {1}, {1}}, {}},
      {"a pass is finished although the count is made", {1, {1}, {1}, {1}}, {"r1", "w1", "e1"}},
      {"the pass makes the count", {3, {1}, {1}, {1}}, {"r1", "w1", "e1"}},
      {"one is owed after the pass", {4, {1}, {1}, {1}}, {"r1", "w1", "e1", "r1", "w1", "e1"}},
      {"two passes make the count", {2, {1}, {}, {}}, {"r1", "r1"}},
      {"three passes make the count", {5, {}, {1}, {1}}, {"w1", "e1", "w1", "e1", "w1", "e1"}},
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

// The callback that it took away is still owed, and the one that is left makes up for it.
TEST_F(SelectTest, ACallbackThatRemovesAnotherReadyReceiverIsCalledAgain) {
  read_external(1);
  read_external(2);
  actions_["r2"] = [this] { NUV_Select_removeReadExternal(&reactor_, 1); };
  clock_.answer_select({2, {1, 2}, {}, {}});
  EXPECT_EQ(process(), 2);
  EXPECT_EQ(take_log(), (Log{"r2", "r2"}));
  EXPECT_EQ(total(reactor_), 1U);

  // In the next cycle nothing is left of it.
  clock_.take_selects();
  clock_.answer_select({1, {2}, {}, {}});
  actions_.clear();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(only_select().read, Fds{2});
}

// With none left that could make up for it, the passes go on for ever: applications leave other ready receivers alone.
TEST_F(SelectTest, ACycleThatNobodyCanFinishDoesNotEnd) {
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

  // With one owed only, the same cycle ends.
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
    EXPECT_EQ(total(reactor_), 1U) << "this one waits for the end of the cycle";
  };
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(total(reactor_), 0U);
}

TEST_F(SelectTest, CallbacksRegisterWhatTheyLike) {
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
  EXPECT_EQ(remaining(0), Time(0, 0)) << "timers are not aged";
  EXPECT_EQ(mark(), Time(1000, 0));

  clock_.answer_select({0, {}, {}, {}});
  clock_.answer_select({1, {2}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"r2"}) << "the budget is spent";
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

// While internal receivers exist, an external cycle may make one callback. The set that makes it is served completely,
// though, and a budget that falls below zero by one is unlimited from there on.
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
      {"the read event spends what the write event needs", {2, {1}, {1}, {}}, {"r1"}},
      {"the write event spends what the exception needs", {2, {}, {1}, {1}}, {"w1"}},
      {"the exception spends what a second pass needs", {2, {}, {}, {1}}, {"e1"}},
      {"two of a set wrap the budget", {2, {1, 2}, {}, {}}, {"r2", "r1", "t0", "t1", "t2"}},
      {"and the other sets are served", {4, {1, 2}, {1}, {1}}, {"r2", "r1", "w1", "e1", "t0", "t1", "t2"}},
      {"two of a later set wrap it too", {2, {}, {}, {1, 2}}, {"e2", "e1", "t0", "t1", "t2"}},
      {"a second pass after the wrap", {3, {1, 2}, {}, {}}, {"r2", "r1", "r2", "r1", "t0", "t1", "t2"}},
      {"three of a set", {4, {1, 2, 3}, {1}, {}}, {"r3", "r2", "r1", "w1", "t0", "t1", "t2"}},
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
      EXPECT_EQ(remaining(slot), Time(-1, 0)) << "all timers age, fired or not";
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

// The mark is set after the timers have called back: what they take is on nobody's account.
TEST_F(SelectTest, TheTimeThatTimersTakeIsNotCounted) {
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

TEST_F(SelectTest, ADelayCountsFromTheLastMark) {
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

// A clock that does not lie behind the mark counts as wrapped, one that stands still as well.
TEST_F(SelectTest, AClockThatDoesNotAdvanceCountsAsWrapped) {
  const struct {
    const char* name;
    timeval mark;
    timeval now;
    Time elapsed;
  } kCases[] = {
      {"a microsecond on", {1000, 300000}, {1000, 300001}, {0, 1}},
      {"into the next second", {1000, 999999}, {1001, 0}, {0, 1}},
      {"standing still", {1000, 300000}, {1000, 300000}, {2147483647, 999999}},
      {"standing still on a full second", {1000, 0}, {1000, 0}, {2147483647, 999999}},
      {"a microsecond back", {1000, 300000}, {1000, 299999}, {2147483647, 999998}},
      {"a second and more back", {1000, 300000}, {999, 100000}, {2147483646, 799999}},
      {"into the second before", {1000, 0}, {999, 500000}, {2147483647, 499999}},
      {"back to zero", {1000, 300000}, {0, 0}, {2147482647, 699999}},
      {"back over all of the range", {2147483647, 999999}, {0, 1}, {0, 1}},
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

TEST_F(SelectTest, AClockThatStandsStillMakesEveryTimerDue) {
  timer(0, {5, 0});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(take_log(), Log{"t0"});
  EXPECT_EQ(remaining(0), Time(-2147483643, 1));
}

// Two cycles within a microsecond read the same time: the clock is read until it has moved.
TEST_F(SelectTest, AClockThatHasNotMovedYetIsReadAgain) {
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
    EXPECT_EQ(clock_.take_readings(), still + 2) << "until it moves, and for the mark";
  }
}

// The mark may stand where the reading did, which the next cycle finds again.
TEST_F(SelectTest, AClockThatHasNotMovedSinceTheLastTimersIsReadAgain) {
  timer(0, {5, 0});
  clock_.advance({1, 0});
  for (const Time& left : {Time(4, 0), Time(3, 999999), Time(3, 999998)}) {
    EXPECT_EQ(process(kNow), 0);
    EXPECT_EQ(remaining(0), left);
    clock_.stand_still(7, {0, 1});
  }
  EXPECT_EQ(take_log(), Log{});
}

// Each reactor has a mark of its own.
TEST_F(SelectTest, ASecondReactorInTheSameMicrosecondIsNoReasonToFire) {
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

TEST_F(SelectTest, AClockThatStandsStillIsNotReadForEver) {
  timer(0, {5, 0});
  clock_.take_readings();
  clock_.stand_still(10000, {0, 1});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(take_log(), Log{"t0"}) << "it counts as wrapped";
  EXPECT_EQ(clock_.take_readings(), 10001U);
}

TEST_F(SelectTest, WithoutTimersTheClockIsReadOncePerCycleAndOnceForTheMark) {
  clock_.take_readings();
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(clock_.take_readings(), 2U);
  timer(0, {5, 0});
  clock_.advance({1, 0});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(clock_.take_readings(), 2U) << "nor is a clock that has moved read more often";
}

TEST_F(SelectTest, AClockThatFailsWhileItStandsStillHasNotMoved) {
  timer(0, {5, 0});
  const FaultInjector failing("clock_gettime", 3, EPERM);
  EXPECT_EQ(process(kNow), 0);
  EXPECT_TRUE(failing.has_struck());
  EXPECT_EQ(take_log(), Log{});
  EXPECT_EQ(remaining(0), Time(5, 0));
  EXPECT_EQ(mark(), Time(1000, 0));
}

// The time is not lost: it is made up for when the clock can be read again.
TEST_F(SelectTest, AClockThatCannotBeReadHasNotMoved) {
  timer(0, {10, 0});
  timer(1, kNow);
  clock_.fail_with(EPERM);
  EXPECT_EQ(process({3, 0}), 0);
  EXPECT_EQ(take_log(), Log{"t1"}) << "what is due already fires all the same";
  EXPECT_EQ(remaining(0), Time(10, 0));
  EXPECT_EQ(mark(), Time(1000, 0));
  clock_.fail_with(0);
  clock_.advance({3, 0});
  EXPECT_EQ(process(kNow), 0);
  EXPECT_EQ(remaining(0), Time(7, 0));
  EXPECT_EQ(mark(), Time(1003, 0));
}

TEST_F(SelectTest, ATimerAddedByADescriptorCallbackIsAgedByTheWholeCycle) {
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

TEST_F(SelectTest, ATimerRemovedByADescriptorCallbackGoesAtOnce) {
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

TEST_F(SelectTest, OneCycleReceiversGoWithTheCycleOfTheirType) {
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

  // The last registrations in the table are those for one cycle. An internal cycle that serves something:
  add_all();
  clock_.answer_select({1, {5}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_log(), Log{"x5"});
  EXPECT_EQ(counts(0), kNone);
  EXPECT_EQ(counts(1), kAll);

  // A poll that finds nothing, and the external cycle after it.
  add_all();
  clock_.answer_select({0, {}, {}, {}});
  clock_.answer_select({0, {}, {}, {}});
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(counts(0), kNone);
  EXPECT_EQ(counts(1), kNone);
  EXPECT_EQ(take_log(), Log{});
}

TEST_F(SelectTest, AOneCycleReceiverThatIsRegisteredAgainLivesOn) {
  actions_["r1"] = [this] { read(1); };
  NUV_Select_setTempRead(&reactor_, 1, this, 'r', note);
  clock_.answer_select({1, {1}, {}, {}});
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(total(reactor_), 1U);
}

// Whatever the cycle was about, marked timers leave with it.
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

// Whichever reading of an external cycle fails: no time is lost, and none is counted twice. Without the first mark of
// all, a timer is as old as the clock.
TEST_F(SelectTest, AClockThatFailsOnceCostsNoTime) {
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

// --- Abuse ---

// A turn inside a turn is no way to write a daemon, but it touches no memory that is gone.
TEST_F(SelectTest, SurvivesATurnInsideACallback) {
  read_external(1);
  read_external(2);
  NUV_Select_setTempReadExternal(&reactor_, 3, this, 'r', note);
  one_shot(0, {1, 0});
  actions_["r3"] = [this] {
    actions_["r3"] = {};
    NUV_Select_removeReadExternal(&reactor_, 2);
    clock_.answer_select({1, {1}, {}, {}, {2, 0}});
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(total(reactor_), 3U) << "the outer turn still walks over them";
  };
  actions_["t0"] = [this] {
    actions_["t0"] = {};
    timer(1, {9, 0});
    clock_.advance({1, 0});
    EXPECT_EQ(process(kNow), -1) << "the timer that runs is overdue";
  };
  clock_.answer_select({2, {1, 3}, {}, {}});
  EXPECT_EQ(process(), 2);
  EXPECT_EQ(take_log(), (Log{"r3", "r1", "t0", "t0", "r1", "t1"})) << "the inner turn left the clock on the mark";
  EXPECT_EQ(total(reactor_), 1U);
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 1U);
  EXPECT_EQ(NUV_IndexPool_busy(&reactor_.m_oTimeout.m_oIdPool), 1U);
}

// --- With the system's own select() ---

// A pipe that keeps its ends for the test.
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

// A reactor in the real world. What is received is appended to a text.
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

TEST_F(SelectPipeTest, ReadsWhatIsThere) {
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

TEST_F(SelectPipeTest, WritesOnceIntoAPipeAndReadsItInTheSameTurn) {
  Pipe pipe;
  NUV_Select_setReadExternal(&reactor_, pipe.out(), this, 0, receive);
  NUV_Select_setTempWriteExternal(&reactor_, pipe.in(), this, 'w', send);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, ">");
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, ">w");
  EXPECT_EQ(total(reactor_), 1U);
}

TEST_F(SelectPipeTest, TheClosedEndOfAPipeIsReadable) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  NUV_Select_setReadExternal(&reactor_, ends[0], this, 0, receive_end);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(total(reactor_), 0U);
  close(ends[0]);
}

TEST_F(SelectPipeTest, AClosedDescriptorMakesEveryTurnFail) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  close(ends[1]);
  NUV_Select_setReadExternal(&reactor_, ends[0], this, 0, receive);
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(text_, "");
}

// Neither is tried again, whatever the reason: the next turn does.
TEST_F(SelectPipeTest, AFailedSelectServesNobodyUntilTheNextTurn) {
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
      EXPECT_EQ(text_, ".") << "timers are served all the same";
    } else {
      EXPECT_EQ(served, 1) << "a poll that fails finds nothing";
      EXPECT_EQ(text_, "E") << "the budget is spent";
    }
    EXPECT_EQ(NUV_Select_process(&reactor_, &none), fault.nth() == 2 ? 1 : -1) << "the timer is overdue";
    EXPECT_EQ(text_, fault.nth() == 2 ? ".E" : "E.");
    NUV_Select_removeRead(&reactor_, internal.out());
    NUV_Select_removeReadExternal(&reactor_, external.out());
  });
  EXPECT_EQ(selects, 2);
}

TEST_F(SelectPipeTest, AnOverdueTimerFiresAtOnce) {
  NUV_Select_setTimeout(&reactor_, {-1, 0}, this, 0, tick);
  EXPECT_EQ(process(), -1) << "no select() takes a wait below zero";
  EXPECT_EQ(text_, ".");
  EXPECT_EQ(process(), 0);
}

TEST_F(SelectPipeTest, ADueTimerFiresBesideAReadyPipe) {
  Pipe pipe;
  pipe.put('a');
  NUV_Select_setReadExternal(&reactor_, pipe.out(), this, 0, receive);
  NUV_Select_setTempTimeout(&reactor_, {0, 0}, this, 0, tick);
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(text_, "a.");
}

// ---- Looking before waiting ----

constexpr timeval kMillisecond = {0, 1000};
constexpr int kCyclesBeforeTheFirstLook = 16;

// Cycles that have events one after the other. The clock moves in each, so that it does not count as wrapped.
class LookTest : public SelectTest {
 protected:
  LookTest() { read_external(3); }

  void answer_event() { clock_.answer_select({1, {3}, {}, {}, kMillisecond}); }
  void answer_nothing() { clock_.answer_select({0, {}, {}, {}}); }

  // So many events that the next cycle looks first.
  void get_busy() {
    for (int i = 0; i < kCyclesBeforeTheFirstLook; ++i) {
      answer_event();
      EXPECT_EQ(process(), 1);
      EXPECT_FALSE(is_look(only_select())) << i;
    }
    take_log();
  }

  static bool is_look(const SelectCall& call) { return call.wait && pair_of(*call.wait) == Time(0, 0); }

  // What the select() calls since the last time were: "look" or "wait".
  Log take_calls() {
    Log calls;
    for (const SelectCall& call : clock_.take_selects()) {
      EXPECT_EQ(descriptors(call), Fds{3});
      calls.push_back(is_look(call) ? "look" : "wait");
    }
    return calls;
  }
};

TEST_F(LookTest, ABusyReactorLooksFirstAndNeedsNotWait) {
  get_busy();
  for (int i = 0; i < 5; ++i) {
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_log(), Log{"r3"});
    EXPECT_EQ(take_calls(), Log{"look"});
  }
}

TEST_F(LookTest, AfterALookInVainItWaitsForTheSameAsEver) {
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
    for (int i = 0; i < kCyclesBeforeTheFirstLook; ++i) {
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
    EXPECT_TRUE(is_look(calls[0]));
    ASSERT_EQ(calls[1].wait.has_value(), row.timer.has_value());
    if (row.timer) {
      EXPECT_EQ(pair_of(*calls[1].wait), Time(999999, 984000)) << "what is left after sixteen cycles";
    }
  }
}

// A daemon that mostly sleeps: each look is in vain, and there is soon one in a thousand events only.
TEST_F(LookTest, LooksInVainBecomeRare) {
  std::vector<int> looks;
  int last = 1;
  int distance = kCyclesBeforeTheFirstLook;
  for (int cycle = 1; cycle <= 6000; ++cycle) {
    const bool look_is_due = cycle == last + distance;
    if (look_is_due) {
      answer_nothing();
    }
    answer_event();
    ASSERT_EQ(process(), 1) << cycle;
    ASSERT_EQ(take_calls(), look_is_due ? (Log{"look", "wait"}) : Log{"wait"}) << cycle;
    if (look_is_due) {
      looks.push_back(cycle);
      last = cycle;
      distance = std::min(distance * 2, 1024);
    }
    take_log();
  }
  EXPECT_EQ(looks, (std::vector<int>{17, 49, 113, 241, 497, 1009, 2033, 3057, 4081, 5105}));
}

// Events in bursts: what a look has found brings the next look near, even after some in vain.
TEST_F(LookTest, ALookThatHasFoundSomethingBringsTheNextOneNear) {
  get_busy();
  for (int burst = 0; burst < 3; ++burst) {
    SCOPED_TRACE(burst);
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), Log{"look"});
    // The burst is over, the next one comes after a wait; its second event is waited for as well.
    answer_nothing();
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), (Log{"look", "wait"}));
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), Log{"wait"});
  }
}

TEST_F(LookTest, ACycleWithoutEventsEndsTheBusyTime) {
  get_busy();
  one_shot(0, kSoon);
  answer_nothing();
  answer_nothing();
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(take_calls(), (Log{"look", "wait"}));
  // It takes twice as many events now.
  for (int i = 0; i < 2 * kCyclesBeforeTheFirstLook; ++i) {
    answer_event();
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(take_calls(), Log{"wait"}) << i;
  }
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), Log{"look"});
}

TEST_F(LookTest, AWaitThatRunsOutMeansThatNobodyIsBusy) {
  for (int i = 1; i < kCyclesBeforeTheFirstLook; ++i) {
    answer_event();
    EXPECT_EQ(process(), 1);
  }
  one_shot(0, kSoon);
  EXPECT_EQ(process(), 0);
  clock_.take_selects();
  get_busy();  // from the beginning
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), Log{"look"});
}

// A signal that came before the wait must end the turn: the daemon wants to see what its handler has left.
TEST_F(LookTest, ALookThatFailsEndsTheWaitBeforeItBegins) {
  for (const int error : {EINTR, EBADF}) {
    SCOPED_TRACE(error);
    start_again();
    read_external(3);
    get_busy();
    one_shot(0, kMillisecond);
    clock_.answer_select({-1, {}, {}, {}, kMillisecond, error});
    EXPECT_EQ(process(), -1);
    EXPECT_EQ(take_calls(), Log{"look"});
    EXPECT_EQ(take_log(), Log{"t0"}) << "timers are served";
    EXPECT_EQ(mark(), pair_of(clock_.now()));
    // Of a look that has failed nothing is learnt, but the cycle had no events.
    get_busy();
  }
}

TEST_F(LookTest, LooksNeverWhereThereIsNothingToWait) {
  struct Case {
    const char* name;
    std::optional<timeval> timeout;
    std::optional<timeval> timer;
    Time wait;
    int result;
  };
  const Case kCases[] = {
      {"no wait wanted", kNow, {}, {0, 0}, 0},
      {"no wait wanted, a timer ahead", kNow, kSoon, {0, 0}, 0},
      {"a timer is due", {}, kNow, {0, 0}, 0},
      {"a timer is overdue", {}, timeval{-1, 0}, {-1, 0}, -1},
      {"a timer is overdue by microseconds", {}, timeval{0, -1}, {0, -1}, -1},
      {"less than nothing", {}, timeval{1, -1}, {1, -1}, -1},
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

// select() tells the rest of the wait in the caller's timeval, so that one goes to select() itself, every time.
TEST_F(LookTest, TheCallersOwnTimevalIsNeverLeftOut) {
  get_busy();
  timeval timeout = {7, 0};
  answer_event();
  EXPECT_EQ(NUV_Select_process(&reactor_, &timeout), 1);
  const SelectCall call = only_select();
  EXPECT_EQ(call.wait_address, &timeout);
  EXPECT_EQ(pair_of(*call.wait), Time(7, 0));
}

TEST_F(LookTest, WithATimerTheCallersTimevalStaysAsItIs) {
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

TEST_F(LookTest, InternalReceiversArePolledFirstAllTheSame) {
  get_busy();
  read(1);
  answer_nothing();  // the poll
  answer_nothing();  // the look
  answer_event();
  EXPECT_EQ(process(), 1);
  const std::vector<SelectCall> calls = clock_.take_selects();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].read, Fds{1});
  EXPECT_TRUE(is_look(calls[0]));
  EXPECT_EQ(calls[1].read, Fds{3});
  EXPECT_TRUE(is_look(calls[1]));
  EXPECT_EQ(calls[2].read, Fds{3});
  EXPECT_FALSE(calls[2].wait);
}

// Polls of internal descriptors cost no wait, and say nothing about one.
TEST_F(LookTest, PollsAreNoLooks) {
  read(1);
  for (int i = 0; i < 3 * kCyclesBeforeTheFirstLook; ++i) {
    clock_.answer_select({1, {1}, {}, {}});
    EXPECT_EQ(process(), 1);
    EXPECT_EQ(clock_.take_selects().size(), 1U);
  }
  NUV_Select_removeRead(&reactor_, 1);
  get_busy();
}

TEST_F(LookTest, AReactorOfInternalReceiversLooksAsWell) {
  NUV_Select_removeReadExternal(&reactor_, 3);
  read(3);
  get_busy();
  answer_nothing();
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), (Log{"look", "wait"}));
}

TEST_F(LookTest, AnotherReactorTakesOverWithItsFirstEvents) {
  get_busy();
  Select other;
  NUV_Select_construct(&other);
  NUV_Select_setReadExternal(&other, 3, this, 'r', note);
  timeval timeout = kMillisecond;
  answer_nothing();
  NUV_Select_setTempTimeout(&other, kSoon, this, 0, note_timer);
  EXPECT_EQ(NUV_Select_process(&other, &timeout), 0);
  clock_.take_selects();
  // It had no events, so that the busy one is still the busy one.
  answer_event();
  EXPECT_EQ(process(), 1);
  EXPECT_EQ(take_calls(), Log{"look"});

  answer_event();
  EXPECT_EQ(NUV_Select_process(&other, nullptr), 1);
  EXPECT_EQ(take_calls(), Log{"wait"});
  get_busy();  // from the beginning
  NUV_Select_destruct(&other);
}

TEST_F(LookTest, ANewReactorInTheOldOnesPlaceLearnsAnew) {
  get_busy();
  start_again();
  read_external(3);
  get_busy();
}

}  // namespace
