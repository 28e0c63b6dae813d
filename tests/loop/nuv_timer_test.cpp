#include "nuv_timer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_injector.h"
#include "nuv_timer_test.h"

namespace {

using support::ContractRecorder;
using support::FakeClock;
using support::FaultInjector;
using support::Reports;
using support::require_report;

constexpr TimerFunctions kTimerFunctionsOfCpp = {
    "C++", NUV_Timer_set, NUV_Timer_setTemp, NUV_Timer_update, NUV_Timer_again, NUV_Timer_againInPhase};

constexpr timeval kNow = {0, 0};
constexpr timeval kLater = {1000000, 0};

// A time in microseconds after the clock's start at 1000 seconds.
using Moment = int64_t;
constexpr Moment kSecond = 1000000;

// A reactor whose timers record when they fire, then run the test's plan for them and return its result.
class TimerTest : public ::testing::TestWithParam<const TimerFunctions*> {
 public:
  using Plan = std::function<int32_t(timeval*)>;
  struct Call {
    uint32_t timer;
    Moment at;
    bool operator==(const Call& other) const { return timer == other.timer && at == other.at; }
    friend void PrintTo(const Call& call, std::ostream* out) { *out << "timer " << call.timer << " at " << call.at; }
  };
  using Calls = std::vector<Call>;

  TimerTest() { NUV_Select_construct(&reactor_); }
  ~TimerTest() override { NUV_Select_destruct(&reactor_); }

  uint32_t set(uint32_t number, timeval delay) { return functions_.set(&reactor_, delay, this, number, on_due); }
  uint32_t once(uint32_t number, timeval delay) { return functions_.set_temp(&reactor_, delay, this, number, on_due); }
  void update(uint32_t id, timeval delay) { functions_.update(&reactor_, id, delay); }

  void sleep(timeval time) { clock_.advance(time); }

  // Stops the process during its next wait.
  void stop(timeval time) { clock_.answer_select({0, {}, {}, {}, time}); }

  // Runs the action in a descriptor callback, in one cycle.
  void in_a_descriptor_callback(std::function<void()> action) {
    action_ = std::move(action);
    NUV_Select_setTempReadExternal(&reactor_, 5, this, 0, [](void* test, int32_t, uint32_t) -> int32_t {
      static_cast<TimerTest*>(test)->action_();
      return 0;
    });
    clock_.answer_select({1, {5}, {}, {}, {0, 1}});
    NUV_Select_process(&reactor_, nullptr);
  }

  // Runs cycles until `count` timers have fired or none is left.
  Calls fire(size_t count) {
    for (int turns = 0; calls_.size() < count && reactor_.m_oTimeout.m_uCount > 0 && turns < 100; ++turns) {
      NUV_Select_process(&reactor_, nullptr);
    }
    return std::exchange(calls_, {});
  }

  Moment now() const { return (clock_.now().tv_sec - 1000) * kSecond + clock_.now().tv_usec; }

  static int32_t on_due(void* arg1, timeval* time, uint32_t number) {
    auto& test = *static_cast<TimerTest*>(arg1);
    test.calls_.push_back({number, test.now()});
    const Plan plan = test.plans_[number];
    return plan ? plan(time) : 0;
  }

  const TimerFunctions& functions_ = *GetParam();
  FakeClock clock_{{1000, 0}};
  ContractRecorder contracts_;
  Select reactor_ = {};
  std::map<uint32_t, Plan> plans_;
  std::function<void()> action_;
  Calls calls_;
};

INSTANTIATE_TEST_SUITE_P(Languages, TimerTest, ::testing::Values(&kTimerFunctionsOfC, &kTimerFunctionsOfCpp),
                         [](const auto& row) { return row.param == &kTimerFunctionsOfC ? "C" : "Cpp"; });

TEST_P(TimerTest, CountsFromNowBeforeTheLoop) {
  sleep({10, 0});
  set(1, {5, 0});
  once(2, {6, 250000});
  EXPECT_EQ(fire(2), (Calls{{1, 15 * kSecond}, {2, 16 * kSecond + 250000}}));
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, 0U);
}

TEST_P(TimerTest, SetsTheKindAndTheTime) {
  EXPECT_EQ(set(1, kLater), 0U);
  EXPECT_EQ(once(2, kLater), 1U);
  EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[0].m_bTemp, 0);
  EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[1].m_bTemp, 1);
  EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[1].m_oTime.tv_sec, kLater.tv_sec) << "no time has passed";
}

TEST_P(TimerTest, CountsFromNowInADescriptorCallbackThatHasSlept) {
  in_a_descriptor_callback([this] {
    sleep({10, 0});
    set(1, {5, 0});
    sleep({2, 0});
  });
  EXPECT_EQ(calls_, Calls{}) << "not in the same cycle";
  EXPECT_EQ(fire(1), (Calls{{1, 15 * kSecond + 1}}));
}

TEST_P(TimerTest, TimerSetByATimerIsNotDueInTheSamePass) {
  for (const timeval late : {timeval{1, 0}, timeval{3, 0}, timeval{3600, 7}}) {
    SCOPED_TRACE(late.tv_sec);
    plans_[1] = [this](timeval*) {
      once(2, {1, 0});
      return 0;
    };
    once(1, {1, 0});
    stop(late);
    const Calls calls = fire(2);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[1].at, calls[0].at + kSecond);
  }
}

TEST_P(TimerTest, OneShotThatSetsItselfAgainFiresOncePerCycle) {
  plans_[1] = [this](timeval*) {
    once(1, {1, 0});
    return 0;
  };
  once(1, {1, 0});
  for (int turn = 0; turn < 10; ++turn) {
    stop({3, 0});
    NUV_Select_process(&reactor_, nullptr);
    EXPECT_EQ(calls_.size(), 1U);
    calls_.clear();
  }
}

// An internal cycle serves no timers and does not move the mark.
TEST_P(TimerTest, CountsFromNowInAnInternalDescriptorCallback) {
  NUV_Select_setRead(&reactor_, 5, this, 0, [](void* test, int32_t, uint32_t) -> int32_t {
    auto& self = *static_cast<TimerTest*>(test);
    self.sleep({2, 0});
    if (self.now() == 4 * kSecond) {
      self.set(1, {10, 0});
    }
    return 0;
  });
  set(2, {9, 0});
  for (int turn = 0; turn < 2; ++turn) {
    clock_.answer_select({1, {5}, {}, {}});
    EXPECT_EQ(NUV_Select_process(&reactor_, nullptr), 1);
  }
  NUV_Select_removeRead(&reactor_, 5);
  EXPECT_EQ(fire(2), (Calls{{2, 9 * kSecond}, {1, 14 * kSecond}}));
}

TEST_P(TimerTest, CountsFromNowInEveryExternalDescriptorCallback) {
  const NUV_SelectRecvFunc act = [](void* test, int32_t, uint32_t) -> int32_t {
    static_cast<TimerTest*>(test)->sleep({1, 0});
    static_cast<TimerTest*>(test)->set(1, {5, 0});
    return 0;
  };
  NUV_Select_setTempReadExternal(&reactor_, 5, this, 0, act);
  NUV_Select_setTempWriteExternal(&reactor_, 5, this, 0, act);
  NUV_Select_setTempExceptExternal(&reactor_, 5, this, 0, act);
  clock_.answer_select({3, {5}, {5}, {5}});
  EXPECT_EQ(NUV_Select_process(&reactor_, nullptr), 3);
  EXPECT_EQ(fire(3), (Calls{{1, 6 * kSecond}, {1, 7 * kSecond}, {1, 8 * kSecond}}));
}

TEST_P(TimerTest, SettingATimerDoesNotChangeOrFireOthers) {
  set(1, {3, 0});
  set(2, {20, 0});
  sleep({10, 0});
  set(3, {5, 0});
  EXPECT_EQ(calls_, Calls{});
  timeval none = kNow;
  clock_.answer_select({0, {}, {}, {}, {0, 1}});
  NUV_Select_process(&reactor_, &none);
  EXPECT_EQ(std::exchange(calls_, {}), (Calls{{1, 10 * kSecond + 1}}));
  EXPECT_EQ(fire(2), (Calls{{3, 15 * kSecond}, {2, 20 * kSecond}}));
}

TEST_P(TimerTest, CountsFromTheMarkWhileTheClockFails) {
  sleep({2, 0});
  clock_.fail_with(EPERM);
  const uint32_t id = set(1, {5, 0});
  EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[id].m_oTime.tv_sec, 5);
  EXPECT_EQ(reactor_.m_oLastTime.tv_sec, 1000);
}

TEST_P(TimerTest, CountsFromNowIfTheCycleCannotReadTheClock) {
  in_a_descriptor_callback([this] {
    sleep({2, 0});
    set(1, {5, 0});
    clock_.fail_with(EPERM);
  });
  clock_.fail_with(0);
  timeval bound = {4, 999999};
  NUV_Select_process(&reactor_, &bound);
  EXPECT_EQ(calls_, Calls{});
  bound = {0, 1};
  NUV_Select_process(&reactor_, &bound);
  EXPECT_EQ(calls_, (Calls{{1, 7 * kSecond + 1}}));
}

TEST_P(TimerTest, KeepsTheDelayIfTheClockIsNotAfterTheMark) {
  for (const timeval now : {timeval{1000, 0}, timeval{999, 999999}, timeval{0, 0}}) {
    clock_.set(now);
    const uint32_t id = set(1, {5, 250000});
    EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[id].m_oTime.tv_sec, 5);
    EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[id].m_oTime.tv_usec, 250000);
  }
}

// 32-bit seconds overflow after 68 years.
TEST_P(TimerTest, LongestDelaysDoNotWrap) {
  const std::vector<std::pair<time_t, time_t>> kRows = {
      {0x7FFFFFFF, 0x7FFFFFFF - 10}, {1000000000, 999999990}, {999999999, 999999999}};
  in_a_descriptor_callback([&] {
    sleep({9, 999999});
    for (const auto& row : kRows) {
      set(1, {row.first, 0});
    }
  });
  for (uint32_t slot = 0; slot < kRows.size(); ++slot) {
    EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[slot].m_oTime.tv_sec, kRows[slot].second);
  }
}

TEST_P(TimerTest, UpdateCountsFromNow) {
  const uint32_t id = set(1, {5, 0});
  in_a_descriptor_callback([&] {
    sleep({3, 0});
    update(id, {5, 0});
  });
  sleep({1, 0});
  update(id, {7, 0});
  update(99, {1, 0});
  EXPECT_EQ(fire(1), (Calls{{1, 11 * kSecond + 1}}));
}

// While timers are served, those in earlier slots have aged and those in later slots have not.
TEST_P(TimerTest, UpdateByATimerCountsFromNow) {
  for (const uint32_t target : {0U, 1U, 2U}) {
    SCOPED_TRACE(target);
    plans_.clear();
    for (uint32_t number = 0; number < 3; ++number) {
      ASSERT_EQ(set(number, number == 1 ? timeval{1, 0} : kLater), number);
    }
    plans_[1] = [&](timeval* time) {
      plans_[1] = nullptr;
      *time = kLater;
      update(target, {5, 0});
      return 1;
    };
    stop({3, 0});
    const Calls calls = fire(2);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[1], (Call{target, calls[0].at + 5 * kSecond}));
    NUV_Select_destruct(&reactor_);
    NUV_Select_construct(&reactor_);
  }
}

TEST_P(TimerTest, AgainWritesBothFieldsAndStays) {
  timeval time = {-7, 654321};
  EXPECT_EQ(functions_.again(&time, {3, 5}), 1);
  EXPECT_EQ(time.tv_sec, 3);
  EXPECT_EQ(time.tv_usec, 5);
}

TEST_P(TimerTest, AgainAfterAStallFiresOnceAndThenOnTime) {
  plans_[1] = [this](timeval* time) { return functions_.again(time, {0, 200000}); };
  set(1, {0, 200000});
  stop({3, 0});
  EXPECT_EQ(fire(3), (Calls{{1, 3000000}, {1, 3200000}, {1, 3400000}}));
}

struct PhaseRow {
  const char* name;
  timeval period;
  timeval slept;  // in each call
  std::vector<Moment> calls;
};

TEST_P(TimerTest, InPhaseIsDueAtWholePeriods) {
  const PhaseRow kRows[] = {
      {"callbacks take no time", {0, 200000}, {0, 0}, {200000, 400000, 600000, 800000}},
      // The first call sets the phase: 300 ms in the next row.
      {"callbacks take half of the period", {0, 200000}, {0, 100000}, {200000, 500000, 700000, 900000}},
      {"callbacks take more than the period", {0, 200000}, {0, 250000}, {200000, 650000, 1050000, 1450000}},
      {"callbacks take the period", {1, 0}, {1, 0}, {1000000, 3000000, 5000000}},
      {"a period of seconds and a part", {1, 500000}, {0, 700000}, {1500000, 3700000, 5200000}},
  };
  for (const PhaseRow& row : kRows) {
    SCOPED_TRACE(row.name);
    clock_.set({1000, 0});
    NUV_Select_destruct(&reactor_);
    NUV_Select_construct(&reactor_);
    timeval due = {0, 0};
    plans_[1] = [&](timeval* time) {
      sleep(row.slept);
      return functions_.again_in_phase(time, &due, row.period);
    };
    set(1, row.period);
    std::vector<Moment> calls;
    for (const Call& call : fire(row.calls.size())) {
      calls.push_back(call.at);
    }
    EXPECT_EQ(calls, row.calls);
  }
}

TEST_P(TimerTest, InPhaseSkipsMissedPeriods) {
  timeval due = {0, 0};
  plans_[1] = [&](timeval* time) { return functions_.again_in_phase(time, &due, {0, 200000}); };
  set(1, {0, 200000});
  stop({3, 50000});
  EXPECT_EQ(fire(3), (Calls{{1, 3050000}, {1, 3200000}, {1, 3400000}}));
  stop({86400, 0});
  EXPECT_EQ(fire(2), (Calls{{1, 86403400000}, {1, 86403600000}}));
}

// A clock that counts as wrapped makes timers fire early.
TEST_P(TimerTest, InPhaseKeepsThePhaseAfterFiringEarly) {
  timeval due = {0, 0};
  plans_[1] = [&](timeval* time) { return functions_.again_in_phase(time, &due, {1, 0}); };
  set(1, {1, 0});
  EXPECT_EQ(fire(1), (Calls{{1, 1000000}}));
  timeval none = kNow;
  NUV_Select_process(&reactor_, &none);  // the clock stands still
  EXPECT_EQ(fire(2), (Calls{{1, 1000000}, {1, 2000000}}));
}

TEST_P(TimerTest, InPhaseWithoutAPeriodOrAClock) {
  timeval due = {0, 0};
  timeval time = {-7, 654321};
  EXPECT_EQ(functions_.again_in_phase(&time, &due, {0, 0}), 1);
  EXPECT_EQ(std::make_pair(time.tv_sec, time.tv_usec), std::make_pair(time_t{0}, suseconds_t{0}));
  time = {-7, 654321};
  EXPECT_EQ(functions_.again_in_phase(&time, &due, {-1, 0}), 1);
  EXPECT_EQ(time.tv_sec, -1);
  clock_.fail_with(EPERM);
  EXPECT_EQ(functions_.again_in_phase(&time, &due, {2, 5}), 1);
  EXPECT_EQ(std::make_pair(time.tv_sec, time.tv_usec), std::make_pair(time_t{2}, suseconds_t{5}));
  EXPECT_EQ(due.tv_sec, 0);
}

TEST_P(TimerTest, LeavesTheContractsToTheReactor) {
  EXPECT_EQ(functions_.set(&reactor_, kLater, nullptr, 0, nullptr), 0U);
  EXPECT_EQ(contracts_.take(), (Reports{require_report("nuv_select", "((void *)0) != a_recvfunc"),
                                        require_report("nuv_timeoutset", "((void *)0) != a_recvfunc")}));
  while (reactor_.m_oTimeout.m_uCount < 80) {
    set(1, kLater);
  }
  update(5, {3, 0});
  EXPECT_EQ(contracts_.take(),
            Reports{require_report("nuv_select", "1 == NUV_TimeoutSet_available( &a_this->m_oTimeout)")});
  EXPECT_EQ(reactor_.m_oTimeout.m_rgRecv[5].m_oTime.tv_sec, 3);
}

TEST(TimerTimes, AreConvertedBothWays) {
  const struct {
    int64_t microseconds;
    timeval time;
  } kRows[] = {{0, {0, 0}},        {1, {0, 1}},         {999999, {0, 999999}},    {1000000, {1, 0}},
               {-1, {-1, 999999}}, {-1000000, {-1, 0}}, {-1000001, {-2, 999999}}, {3000000000001, {3000000, 1}}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.microseconds);
    EXPECT_EQ(NUV_Timer_microseconds(&row.time), row.microseconds);
    EXPECT_EQ(NUV_Timer_time(row.microseconds).tv_sec, row.time.tv_sec);
    EXPECT_EQ(NUV_Timer_time(row.microseconds).tv_usec, row.time.tv_usec);
  }
}

TEST(TimerTimes, AreClampedBeyondThirtyThousandYears) {
  if (sizeof(time_t) < 8) {
    GTEST_SKIP() << "time_t has 32 bits";
  }
  const timeval longest = {static_cast<time_t>(INT64_MAX), 0};
  const timeval shortest = {static_cast<time_t>(INT64_MIN), 0};
  EXPECT_EQ(NUV_Timer_microseconds(&longest), INT64_C(1000000000000000000));
  EXPECT_EQ(NUV_Timer_microseconds(&shortest), INT64_C(-1000000000000000000));
}

}  // namespace
