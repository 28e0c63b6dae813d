#include "nuv_timeoutset.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"

namespace {

using support::ChildProcess;
using support::ContractRecorder;
using support::ensure_report;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_timeoutset";
constexpr char kPoolFile[] = "nuv_indexpool";
constexpr char kHasRoom[] = "1 == NUV_TimeoutSet_available( a_this)";

constexpr uint8_t kStays = 0;
constexpr uint8_t kOneShot = 1;
constexpr uint32_t kUnlimited = NUV_TIMEOUT_UNLIMITED;

constexpr timeval kNow = {0, 0};
constexpr timeval kLater = {1000, 0};

// More callbacks than any dispatch here makes; keeps an endless one from filling the memory.
constexpr size_t kEndless = 10000;

using Numbers = std::vector<uint32_t>;

// A timeval that can be compared and printed.
using Time = std::pair<int64_t, int64_t>;
Time pair_of(const timeval& time) {
  return {time.tv_sec, time.tv_usec};
}

// The pool's reports when no index is free.
const Reports& exhausted_pool() {
  static const Reports reports = {
      require_report(kPoolFile, "NUV_IndexPool_available( a_this) == 1"),
      ensure_report(kPoolFile, "a_this->m_uSize > index"),
      require_report(kPoolFile, "NUV_IndexPool_size( a_this) > a_index"),
      ensure_report(kPoolFile, "NUV_IndexPool_occupied( a_this, index)"),
  };
  return reports;
}

// A set whose timers have a number, their second argument. Each callback records its number, runs the test's planned
// action for it, and returns the planned result.
class TimeoutSetTest : public ::testing::Test {
 protected:
  struct Plan {
    int32_t result = 1;
    std::function<void(timeval*)> action = {};
  };

  TimeoutSetTest() { NUV_TimeoutSet_construct(&set_); }
  ~TimeoutSetTest() override { NUV_TimeoutSet_destruct(&set_); }

  void start_again() {
    NUV_TimeoutSet_destruct(&set_);
    NUV_TimeoutSet_construct(&set_);
  }

  uint32_t add(uint32_t number, timeval time, uint8_t temp = kStays) {
    return NUV_TimeoutSet_setReceiver(&set_, time, this, number, temp, note);
  }

  uint32_t add(uint32_t number, timeval time, Plan plan) {
    plans_[number] = std::move(plan);
    return add(number, time);
  }

  void add_all(std::initializer_list<timeval> times) {
    for (const timeval& time : times) {
      add(set_.m_uCount, time);
    }
  }

  void fill(timeval time, uint8_t temp = kStays) {
    while (set_.m_uCount < NUV_TIMEOUTSET_SIZE) {
      add(set_.m_uCount, time, temp);
    }
  }

  void remove(uint32_t id) { NUV_TimeoutSet_removeReceiver(&set_, id); }
  void purge() { NUV_TimeoutSet_internalRemoveDeleted(&set_); }

  // Returns the numbers of the timers that fired, in order.
  Numbers process(timeval elapsed = {0, 0}, uint32_t budget = kUnlimited) {
    const uint32_t fired = NUV_TimeoutSet_process(&set_, budget, &elapsed);
    EXPECT_EQ(fired, fired_.size());
    return std::exchange(fired_, {});
  }

  // The numbers of the timers in the set, in the order of the slots.
  Numbers numbers() const {
    Numbers all;
    std::transform(set_.m_rgRecv, set_.m_rgRecv + set_.m_uCount, std::back_inserter(all),
                   [](const NUV_TimeoutRecv& timer) { return timer.m_uArg2; });
    return all;
  }

  std::vector<Time> times() const {
    std::vector<Time> all;
    std::transform(set_.m_rgRecv, set_.m_rgRecv + set_.m_uCount, std::back_inserter(all),
                   [](const NUV_TimeoutRecv& timer) { return pair_of(timer.m_oTime); });
    return all;
  }

  // Each timer must have a different id, and the pool no other ids.
  void expect_consistent() const {
    ASSERT_LE(set_.m_uCount, NUV_TIMEOUTSET_SIZE);
    EXPECT_EQ(NUV_IndexPool_busy(&set_.m_oIdPool), set_.m_uCount);
    Numbers ids;
    for (uint32_t slot = 0; slot < set_.m_uCount; ++slot) {
      ids.push_back(set_.m_rgRecv[slot].m_uId);
      EXPECT_EQ(NUV_IndexPool_occupied(&set_.m_oIdPool, ids.back()), 1);
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end()) << "two timers have the same id";
  }

  static int32_t note(void* arg1, timeval* time, uint32_t arg2) {
    auto& test = *static_cast<TimeoutSetTest*>(arg1);
    test.fired_.push_back(arg2);
    if (test.fired_.size() > kEndless) {
      std::abort();
    }
    const Plan plan = test.plans_[arg2];
    if (plan.action) {
      plan.action(time);
    }
    return plan.result;
  }

  TimeoutSet set_ = {};
  std::map<uint32_t, Plan> plans_;
  Numbers fired_;
  ContractRecorder contracts_;
};

TEST_F(TimeoutSetTest, ConstructEmptiesTheRecord) {
  TimeoutSet set;
  memset(&set, 0xA5, sizeof set);
  ASSERT_EQ(NUV_TimeoutSet_construct(&set), 1);
  for (const NUV_TimeoutRecv& timer : set.m_rgRecv) {
    EXPECT_EQ(pair_of(timer.m_oTime), Time(0, 0));
    EXPECT_EQ(timer.m_pArg1, nullptr);
    EXPECT_EQ(timer.m_uArg2, 0U);
    EXPECT_EQ(timer.m_bTemp, 0);
    EXPECT_EQ(timer.m_pRecvFunc, nullptr);
    EXPECT_EQ(timer.m_uId, 0U);
    EXPECT_EQ(timer.m_bDeleted, 0);
  }
  EXPECT_EQ(set.m_uCount, 0U);
  EXPECT_EQ(set.m_bProcessing, 0);
  EXPECT_EQ(NUV_IndexPool_size(&set.m_oIdPool), 80U);
  EXPECT_EQ(NUV_IndexPool_free(&set.m_oIdPool), 80U);
  EXPECT_EQ(NUV_TimeoutSet_available(&set), 1);
  NUV_TimeoutSet_destruct(&set);
}

TEST_F(TimeoutSetTest, DestructReleasesOnlyThePool) {
  TimeoutSet set;
  NUV_TimeoutSet_construct(&set);
  NUV_TimeoutSet_setReceiver(&set, {3, 4}, this, 5, kOneShot, note);
  NUV_TimeoutSet_destruct(&set);
  EXPECT_EQ(set.m_uCount, 1U);
  EXPECT_EQ(pair_of(set.m_rgRecv[0].m_oTime), Time(3, 4));
  EXPECT_EQ(set.m_rgRecv[0].m_uArg2, 5U);
}

TEST_F(TimeoutSetTest, PutsANewTimerIntoTheNextSlot) {
  int context = 0;
  memset(set_.m_rgRecv, 0xA5, sizeof set_.m_rgRecv);
  EXPECT_EQ(NUV_TimeoutSet_setReceiver(&set_, {12, 345678}, &context, 0xFEDCBA98, kStays, note), 0U);
  EXPECT_EQ(NUV_TimeoutSet_setReceiver(&set_, {-1, 0}, nullptr, 0, kOneShot, note), 1U);
  ASSERT_EQ(set_.m_uCount, 2U);

  const NUV_TimeoutRecv& first = set_.m_rgRecv[0];
  EXPECT_EQ(pair_of(first.m_oTime), Time(12, 345678));
  EXPECT_EQ(first.m_pArg1, &context);
  EXPECT_EQ(first.m_uArg2, 0xFEDCBA98);
  EXPECT_EQ(first.m_bTemp, 0);
  EXPECT_EQ(first.m_pRecvFunc, &note);
  EXPECT_EQ(first.m_uId, 0U);
  EXPECT_EQ(first.m_bDeleted, 0);

  const NUV_TimeoutRecv& second = set_.m_rgRecv[1];
  EXPECT_EQ(pair_of(second.m_oTime), Time(-1, 0));
  EXPECT_EQ(second.m_pArg1, nullptr);
  EXPECT_EQ(second.m_uArg2, 0U);
  EXPECT_EQ(second.m_bTemp, 1);
  EXPECT_EQ(second.m_uId, 1U);
  EXPECT_EQ(second.m_bDeleted, 0);
}

TEST_F(TimeoutSetTest, HasRoomForEightyTimers) {
  for (uint32_t count = 0; count < 80; ++count) {
    EXPECT_EQ(NUV_TimeoutSet_available(&set_), 1) << count;
    EXPECT_EQ(add(count, kLater), count);
  }
  EXPECT_EQ(NUV_TimeoutSet_available(&set_), 0);
  EXPECT_EQ(set_.m_uCount, 80U);
  expect_consistent();
}

TEST_F(TimeoutSetTest, ReusesTheLowestFreeId) {
  add_all({kLater, kLater, kLater, kLater});
  remove(2);
  remove(0);
  EXPECT_EQ(add(4, kLater), 0U);
  EXPECT_EQ(add(5, kLater), 2U);
  EXPECT_EQ(add(6, kLater), 4U);
  expect_consistent();
}

// The callback gets a pointer to the remaining time inside the set.
TEST_F(TimeoutSetTest, PassesArgumentsAndRemainingTimeToTheCallback) {
  struct Call {
    timeval* pointer = nullptr;
    Time time;
    uint32_t arg2 = 0;
  } call;
  const auto keep_call = [](void* arg1, timeval* time, uint32_t arg2) -> int32_t {
    *static_cast<Call*>(arg1) = {time, pair_of(*time), arg2};
    return 1;
  };
  add(0, kLater);
  NUV_TimeoutSet_setReceiver(&set_, {2, 0}, &call, 0xFEDCBA98, kStays, keep_call);
  const timeval elapsed = {2, 500000};
  EXPECT_EQ(NUV_TimeoutSet_process(&set_, kUnlimited, &elapsed), 1U);
  EXPECT_EQ(call.pointer, &set_.m_rgRecv[1].m_oTime);
  EXPECT_EQ(call.time, Time(-1, 500000));
  EXPECT_EQ(call.arg2, 0xFEDCBA98);
}

TEST_F(TimeoutSetTest, FiresWhenTheRemainingTimeIsUsedUp) {
  const struct {
    const char* name;
    timeval time;
    timeval elapsed;
    bool fires;
    Time remaining;
  } kCases[] = {
      {"zero fires although no time has passed", {0, 0}, {0, 0}, true, {0, 0}},
      {"one microsecond is left", {0, 1}, {0, 0}, false, {0, 1}},
      {"just used up", {0, 1}, {0, 1}, true, {0, 0}},
      {"overdue by a microsecond", {0, 1}, {0, 2}, true, {-1, 999999}},
      {"a microsecond short of a second", {1, 0}, {0, 999999}, false, {0, 1}},
      {"a second", {1, 0}, {1, 0}, true, {0, 0}},
      {"more than a second", {1, 0}, {2, 0}, true, {-1, 0}},
      {"already overdue", {-5, 250000}, {1, 0}, true, {-6, 250000}},
      // Overdue for less than a second: the seconds are negative, the microseconds are not.
      {"overdue with microseconds", {-1, 999999}, {0, 0}, true, {-1, 999999}},
      // A million microseconds are not carried over into the seconds.
      {"a second in microseconds is left", {0, 1000000}, {0, 0}, false, {0, 1000000}},
      {"a second in microseconds, less one", {0, 1000000}, {0, 999999}, false, {0, 1}},
      // Subtracted from zero microseconds they leave a million, and one second less.
      {"a second less a second in microseconds", {1, 0}, {0, 1000000}, true, {-1, 1000000}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const uint32_t id = add(7, row.time);
    EXPECT_EQ(process(row.elapsed), row.fires ? Numbers{7} : Numbers{});
    EXPECT_EQ(times(), std::vector<Time>{row.remaining});
    remove(id);
  }
}

TEST_F(TimeoutSetTest, KnowsThatItIsDispatching) {
  add(0, kNow, Plan{1, [this](timeval*) { EXPECT_EQ(set_.m_bProcessing, 1); }});
  EXPECT_EQ(process(), Numbers{0});
  EXPECT_EQ(set_.m_bProcessing, 0);
  EXPECT_EQ(process(kNow, 0), Numbers{});
  EXPECT_EQ(set_.m_bProcessing, 0);
}

TEST_F(TimeoutSetTest, TimerThatStaysWithoutANewTimeFiresInEachPass) {
  add(0, {1, 0});
  EXPECT_EQ(process({1, 0}), Numbers{0});
  EXPECT_EQ(process(kNow), Numbers{0});
  EXPECT_EQ(process({5, 0}), Numbers{0});
  EXPECT_EQ(times(), (std::vector<Time>{{-5, 0}}));
}

TEST_F(TimeoutSetTest, PeriodicTimerWritesItsPeriod) {
  add(0, {1, 0}, Plan{1, [](timeval* time) { *time = {2, 0}; }});
  EXPECT_EQ(process({1, 500000}), Numbers{0});
  EXPECT_EQ(times(), (std::vector<Time>{{2, 0}}));
  EXPECT_EQ(process({1, 999999}), Numbers{});
  EXPECT_EQ(process({0, 1}), Numbers{0});
}

TEST_F(TimeoutSetTest, ResultOfTheCallbackDecidesWhetherTheTimerStays) {
  const struct {
    int32_t result;
    uint8_t temp;
    bool stays;
  } kCases[] = {
      {1, kStays, true},  {-1, kStays, true},   {2, kStays, true},    {INT32_MIN, kStays, true},
      {0, kStays, false}, {1, kOneShot, false}, {0, kOneShot, false}, {1, 0xFF, false},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(::testing::Message() << "result " << row.result << ", one-shot " << int{row.temp});
    // A new time does not keep a timer that is to be removed.
    plans_[3] = {row.result, [](timeval* time) { *time = {9, 0}; }};
    const uint32_t id = add(3, kNow, row.temp);
    EXPECT_EQ(process(), Numbers{3});
    EXPECT_EQ(set_.m_uCount, row.stays ? 1U : 0U);
    expect_consistent();
    NUV_TimeoutSet_updateReceiver(&set_, id, kNow);
    EXPECT_EQ(process(), row.stays ? Numbers{3} : Numbers{});
    remove(id);
  }
}

TEST_F(TimeoutSetTest, FiresInTheOrderOfTheSlots) {
  fill(kNow);
  Numbers all(80);
  std::iota(all.begin(), all.end(), 0U);
  EXPECT_EQ(process(), all);
  EXPECT_EQ(numbers(), all);
}

// The last timer moves into the slot of a removed one and is handled next.
TEST_F(TimeoutSetTest, HandlesTheTimerThatMovesIntoAFreedSlotNext) {
  fill(kNow, kOneShot);
  Numbers expected = {0};
  for (uint32_t number = 79; number > 0; --number) {
    expected.push_back(number);
  }
  EXPECT_EQ(process(), expected);
  EXPECT_EQ(set_.m_uCount, 0U);
  EXPECT_EQ(NUV_IndexPool_free(&set_.m_oIdPool), 80U);
}

TEST_F(TimeoutSetTest, AgesAMovedTimerOnce) {
  add(0, kNow, kOneShot);
  add(1, {5, 0});
  add(2, {7, 0});
  EXPECT_EQ(process({1, 0}), Numbers{0});
  EXPECT_EQ(numbers(), (Numbers{2, 1}));
  EXPECT_EQ(times(), (std::vector<Time>{{6, 0}, {4, 0}}));
  expect_consistent();
}

TEST_F(TimeoutSetTest, RemovesTheTimerOfTheLastSlot) {
  add(0, {5, 0});
  add(1, kNow, kOneShot);
  EXPECT_EQ(process({1, 0}), Numbers{1});
  EXPECT_EQ(numbers(), Numbers{0});
  EXPECT_EQ(times(), (std::vector<Time>{{4, 0}}));
  expect_consistent();
}

TEST_F(TimeoutSetTest, FiresWithinTheBudgetAndAgesAll) {
  const struct {
    uint32_t budget;
    Numbers fired;
  } kCases[] = {
      {0, {}},
      {1, {0}},
      {2, {0, 1}},
      {3, {0, 1, 2}},
      {4, {0, 1, 2}},
      {kUnlimited - 1, {0, 1, 2}},
      {kUnlimited, {0, 1, 2}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.budget);
    start_again();
    add_all({{1, 0}, {2, 0}, {3, 0}});
    EXPECT_EQ(process({4, 0}, row.budget), row.fired);
    EXPECT_EQ(times(), (std::vector<Time>{{-3, 0}, {-2, 0}, {-1, 0}}));
  }
}

TEST_F(TimeoutSetTest, OnlyCallbacksCostBudget) {
  add(0, kNow, Plan{1, [this](timeval*) { remove(1); }});
  add(1, kNow);
  add(2, kLater);
  add(3, kNow, kOneShot);
  add(4, kNow);
  add(5, kNow);
  EXPECT_EQ(process(kNow, 3), (Numbers{0, 3, 5})) << "removed and pending timers use no budget, one-shot timers do";
}

TEST_F(TimeoutSetTest, UsedUpBudgetDoesNotFireTheMovedTimer) {
  add(0, kNow, kOneShot);
  add(1, kNow);
  add(2, {2, 0});
  EXPECT_EQ(process({2, 0}, 1), Numbers{0});
  EXPECT_EQ(times(), (std::vector<Time>{{0, 0}, {-2, 0}}));
}

TEST_F(TimeoutSetTest, TimerAddedByACallbackAgesInTheSamePass) {
  add(0, kNow, Plan{1, [this](timeval*) {
                      add(1, {1, 0});
                      add(2, {3, 0});
                      plans_[0].action = {};
                    }});
  EXPECT_EQ(process({2, 0}), (Numbers{0, 1}));
  EXPECT_EQ(numbers(), (Numbers{0, 1, 2}));
  EXPECT_EQ(times(), (std::vector<Time>{{-2, 0}, {-1, 0}, {1, 0}}));
}

TEST_F(TimeoutSetTest, TimerAddedByARemovedOneTakesItsSlot) {
  add(0, kNow, Plan{0, [this](timeval*) { EXPECT_EQ(add(1, {1, 0}), 1U) << "the id is still in use"; }});
  EXPECT_EQ(process({2, 0}), (Numbers{0, 1}));
  EXPECT_EQ(numbers(), Numbers{1});
  EXPECT_EQ(times(), (std::vector<Time>{{-1, 0}}));
  EXPECT_EQ(add(2, kLater), 0U);
}

TEST_F(TimeoutSetTest, RemovalByACallbackOnlyMarksAPendingTimer) {
  add(0, kNow, Plan{1, [this](timeval*) { remove(1); }});
  add(1, {2, 0});
  add(2, kNow);
  EXPECT_EQ(process({3, 0}), (Numbers{0, 2}));
  EXPECT_EQ(set_.m_uCount, 3U);
  EXPECT_EQ(set_.m_rgRecv[0].m_bDeleted, 0);
  EXPECT_EQ(set_.m_rgRecv[1].m_bDeleted, 1);
  EXPECT_EQ(set_.m_rgRecv[2].m_bDeleted, 0);
  EXPECT_EQ(times()[1], Time(-1, 0)) << "marked timers age, too";
  EXPECT_EQ(add(3, kLater), 3U) << "the id stays in use until the purge";

  plans_[0].action = {};
  EXPECT_EQ(process(), (Numbers{0, 2})) << "a marked timer does not fire in later passes either";
  purge();
  EXPECT_EQ(numbers(), (Numbers{0, 3, 2}));
  expect_consistent();
  EXPECT_EQ(add(4, kLater), 1U);
}

TEST_F(TimeoutSetTest, RemovalByACallbackMarksATimerThatHasFired) {
  add(0, kNow);
  add(1, kNow, Plan{1, [this](timeval*) { remove(0); }});
  EXPECT_EQ(process(), (Numbers{0, 1}));
  EXPECT_EQ(set_.m_rgRecv[0].m_bDeleted, 1);
  purge();
  EXPECT_EQ(numbers(), Numbers{1});
}

TEST_F(TimeoutSetTest, TimerMayRemoveItself) {
  for (const int32_t result : {0, 1}) {
    SCOPED_TRACE(result);
    const uint32_t id = add(0, kNow, Plan{result, [this](timeval*) { remove(0); }});
    ASSERT_EQ(id, 0U);
    EXPECT_EQ(process(), Numbers{0});
    EXPECT_EQ(set_.m_uCount, result == 0 ? 0U : 1U) << "only marked, unless the result removes it at once";
    purge();
    EXPECT_EQ(set_.m_uCount, 0U);
    expect_consistent();
  }
}

TEST_F(TimeoutSetTest, RemovalOutsideADispatchMovesTheLastTimer) {
  const struct {
    uint32_t id;
    Numbers left;
  } kCases[] = {{0, {3, 1, 2}},
                {1, {0, 3, 2}},
                {2, {0, 1, 3}},
                {3, {0, 1, 2}},
                {4, {0, 1, 2, 3}},
                {80, {0, 1, 2, 3}},
                {0xFFFFFFFF, {0, 1, 2, 3}}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.id);
    start_again();
    add_all({{10, 0}, {11, 0}, {12, 0}, {13, 0}});
    remove(row.id);
    EXPECT_EQ(numbers(), row.left);
    for (uint32_t slot = 0; slot < set_.m_uCount; ++slot) {
      EXPECT_EQ(set_.m_rgRecv[slot].m_uId, row.left[slot]);
      EXPECT_EQ(pair_of(set_.m_rgRecv[slot].m_oTime), Time(10 + row.left[slot], 0));
    }
    expect_consistent();
  }
}

TEST_F(TimeoutSetTest, RemovingTheOnlyTimerTwiceLeavesAnEmptySet) {
  const uint32_t id = add(0, kNow);
  remove(id);
  remove(id);
  EXPECT_EQ(set_.m_uCount, 0U);
  EXPECT_EQ(process(), Numbers{});
  expect_consistent();
}

TEST_F(TimeoutSetTest, RemovalFromAFullSetEndsTheProcess) {
  fill(kLater);
  const ChildProcess child([this] {
    NUV_Assert_setErrorHandler(nullptr);
    remove(0);
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
}

TEST_F(TimeoutSetTest, UpdateSetsTheRemainingTime) {
  add_all({{10, 0}, {11, 0}, {12, 0}});
  NUV_TimeoutSet_updateReceiver(&set_, 1, {-3, 7});
  NUV_TimeoutSet_updateReceiver(&set_, 3, {99, 0});
  NUV_TimeoutSet_updateReceiver(&set_, 0xFFFFFFFF, {99, 0});
  EXPECT_EQ(times(), (std::vector<Time>{{10, 0}, {-3, 7}, {12, 0}}));
}

TEST_F(TimeoutSetTest, UpdateFindsTimersByIdAndNotBySlot) {
  add_all({{10, 0}, {11, 0}, {12, 0}});
  remove(0);
  NUV_TimeoutSet_updateReceiver(&set_, 2, {5, 0});
  NUV_TimeoutSet_updateReceiver(&set_, 0, {99, 0});
  EXPECT_EQ(numbers(), (Numbers{2, 1}));
  EXPECT_EQ(times(), (std::vector<Time>{{5, 0}, {11, 0}}));
}

TEST_F(TimeoutSetTest, UsesTheFirstTimerWithAnId) {
  add_all({{10, 0}, {11, 0}});
  set_.m_rgRecv[1].m_uId = 0;
  NUV_TimeoutSet_updateReceiver(&set_, 0, {5, 0});
  EXPECT_EQ(times(), (std::vector<Time>{{5, 0}, {11, 0}}));
}

TEST_F(TimeoutSetTest, UpdateWorksInAFullSetWithoutAReport) {
  fill(kLater);
  NUV_TimeoutSet_updateReceiver(&set_, 79, kNow);
  EXPECT_EQ(process(), Numbers{79});
}

TEST_F(TimeoutSetTest, UpdateByACallbackTakesEffectInTheSamePass) {
  add(0, kNow, Plan{1, [this](timeval* time) {
                      NUV_TimeoutSet_updateReceiver(&set_, 0, {20, 0});
                      EXPECT_EQ(pair_of(*time), Time(20, 0)) << "the pointer points to the new time";
                      NUV_TimeoutSet_updateReceiver(&set_, 1, {10, 0});
                      NUV_TimeoutSet_updateReceiver(&set_, 2, kNow);
                    }});
  add(1, kNow);
  add(2, kLater);
  EXPECT_EQ(process({1, 0}), (Numbers{0, 2}));
  EXPECT_EQ(times(), (std::vector<Time>{{20, 0}, {9, 0}, {-1, 0}}));
}

TEST_F(TimeoutSetTest, NearestTimeLowersTheBound) {
  const struct {
    const char* name;
    std::vector<timeval> timers;
    timeval bound;
    Time lowered;
  } kCases[] = {
      {"no timer", {}, {5, 0}, {5, 0}},
      {"later than the bound", {{6, 0}}, {5, 0}, {5, 0}},
      {"a microsecond later", {{5, 1}}, {5, 0}, {5, 0}},
      {"the same", {{5, 0}}, {5, 0}, {5, 0}},
      {"a microsecond earlier", {{4, 999999}}, {5, 0}, {4, 999999}},
      {"the first of three", {{1, 0}, {2, 0}, {3, 0}}, {5, 0}, {1, 0}},
      {"the middle of three", {{2, 0}, {1, 0}, {3, 0}}, {5, 0}, {1, 0}},
      {"the last of three", {{3, 0}, {2, 0}, {1, 0}}, {5, 0}, {1, 0}},
      {"due", {{0, 0}}, {5, 0}, {0, 0}},
      {"overdue", {{-1, 999999}}, {0, 0}, {-1, 999999}},
      {"most overdue", {{-1, 0}, {-3, 0}, {-2, 0}}, {5, 0}, {-3, 0}},
      // Seconds are compared first: these two times are equal, but the second one counts as less.
      {"a second in microseconds", {{0, 1000000}}, {1, 0}, {0, 1000000}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    for (const timeval& time : row.timers) {
      add(0, time);
    }
    timeval bound = row.bound;
    EXPECT_EQ(NUV_TimeoutSet_setTimeout(&set_, &bound), row.timers.empty() ? 0 : 1);
    EXPECT_EQ(pair_of(bound), row.lowered);
  }
}

TEST_F(TimeoutSetTest, NearestTimeMayBeThatOfAMarkedTimer) {
  add(0, kNow, Plan{1, [this](timeval* time) {
                      *time = {9, 0};
                      remove(1);
                    }});
  add(1, {3, 0});
  process({1, 0});
  timeval bound = {5, 0};
  EXPECT_EQ(NUV_TimeoutSet_setTimeout(&set_, &bound), 1);
  EXPECT_EQ(pair_of(bound), Time(2, 0));
}

TEST_F(TimeoutSetTest, PurgeRemovesMarkedTimers) {
  const struct {
    const char* name;
    Numbers removed;
    Numbers left;
  } kCases[] = {
      {"none", {}, {0, 1, 2, 3, 4}},
      {"the first", {1}, {0, 4, 2, 3}},
      {"the last", {4}, {0, 1, 2, 3}},
      // The timer that moves into the freed slot is marked itself.
      {"one and the last", {1, 4}, {0, 3, 2}},
      {"the last three", {2, 3, 4}, {0, 1}},
      {"all", {0, 1, 2, 3, 4}, {}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    plans_[0].action = [&](timeval*) {
      std::for_each(row.removed.begin(), row.removed.end(), [this](uint32_t id) { remove(id); });
    };
    add_all({kNow, kLater, kLater, kLater, kLater});
    EXPECT_EQ(process(), Numbers{0});
    EXPECT_EQ(set_.m_uCount, 5U);
    purge();
    EXPECT_EQ(numbers(), row.left);
    expect_consistent();
    purge();
    EXPECT_EQ(numbers(), row.left);
  }
}

// A dispatch or purge inside a callback moves timers that the outer dispatch is working on.
TEST_F(TimeoutSetTest, SurvivesADispatchAndAPurgeInsideACallback) {
  const struct {
    const char* name;
    std::function<void()> action;
    int32_t result;
    Numbers left;
  } kCases[] = {
      {"purges itself and stays", [this] { remove(0), purge(); }, 1, {2, 1}},
      {"purges itself and goes", [this] { remove(0), purge(); }, 0, {2, 1}},
      {"purges another", [this] { remove(2), purge(); }, 1, {0, 1}},
      {"purges the others and goes", [this] { remove(1), remove(2), purge(); }, 0, {}},
      {"purges all and goes", [this] { remove(0), remove(1), remove(2), purge(); }, 0, {}},
      {"dispatches again and stays", [this] { NUV_TimeoutSet_process(&set_, kUnlimited, &kNow); }, 1, {0, 1, 2}},
      {"dispatches again and goes", [this] { NUV_TimeoutSet_process(&set_, kUnlimited, &kNow); }, 0, {2, 1}},
      {"dispatches again, removes itself and goes",
       [this] { NUV_TimeoutSet_process(&set_, kUnlimited, &kNow), remove(0); },
       0,
       {2, 1}},
      {"dispatches again, removes all and goes",
       [this] { NUV_TimeoutSet_process(&set_, kUnlimited, &kNow), remove(0), remove(1), remove(2); },
       0,
       {}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    add(0, kNow, Plan{row.result, [&](timeval*) {
                        plans_[0] = {};
                        row.action();
                      }});
    add(1, kLater);
    add(2, kLater);
    NUV_TimeoutSet_process(&set_, kUnlimited, &kNow);
    fired_.clear();
    EXPECT_EQ(set_.m_bProcessing, 0);
    purge();
    EXPECT_EQ(numbers(), row.left);
    expect_consistent();
  }
}

// The purge moves the timer whose callback is running to an earlier slot. That timer, and no other, is still removed.
TEST_F(TimeoutSetTest, TimerThatPurgesAnotherOneIsStillRemoved) {
  const struct {
    const char* name;
    uint8_t temp;
    int32_t result;
    bool stays;
  } kTimers[] = {{"one-shot", kOneShot, 1, false}, {"returns 0", kStays, 0, false}, {"stays", kStays, 1, true}};
  const struct {
    uint32_t firing;
    Numbers left;
  } kSlots[] = {{1, {3, 2}}, {2, {3, 1}}, {3, {2, 1}}};
  for (const auto& timer : kTimers) {
    for (const auto& row : kSlots) {
      SCOPED_TRACE(testing::Message() << timer.name << " in slot " << row.firing);
      start_again();
      plans_.clear();
      for (uint32_t number = 0; number < 4; ++number) {
        add(number, number == row.firing ? kNow : kLater, number == row.firing ? timer.temp : kStays);
      }
      plans_[row.firing] = {timer.result, [this](timeval*) { remove(0), purge(); }};
      EXPECT_EQ(process(), Numbers{row.firing});
      Numbers left = numbers();
      EXPECT_EQ(left.size(), timer.stays ? 3U : 2U);
      EXPECT_EQ(std::count(left.begin(), left.end(), row.firing), timer.stays ? 1 : 0);
      if (!timer.stays) {
        std::sort(left.begin(), left.end(), std::greater<>());
        EXPECT_EQ(left, row.left);
      }
      for (uint32_t slot = 0; slot < set_.m_uCount; ++slot) {
        EXPECT_EQ(set_.m_rgRecv[slot].m_bDeleted, 0);
      }
      expect_consistent();
      plans_[row.firing].action = {};
      EXPECT_EQ(process(), timer.stays ? Numbers{row.firing} : Numbers{});
      EXPECT_EQ(contracts_.take(), Reports{});
    }
  }
}

// The new timer has the slot and the id of the one that removed itself.
TEST_F(TimeoutSetTest, NewTimerInPlaceOfAPurgedOneStays) {
  for (const uint8_t old_temp : {kStays, kOneShot}) {
    for (const int32_t result : {0, 1}) {
      for (const uint8_t new_temp : {kStays, kOneShot}) {
        SCOPED_TRACE(testing::Message() << int{old_temp} << result << int{new_temp});
        start_again();
        plans_.clear();
        plans_[7] = {result, [&](timeval*) {
                       remove(0);
                       purge();
                       EXPECT_EQ(add(8, {5, 0}, new_temp), 0U);
                     }};
        add(7, kNow, old_temp);
        EXPECT_EQ(process(), Numbers{7});
        EXPECT_EQ(numbers(), Numbers{8});
        EXPECT_EQ(set_.m_rgRecv[0].m_bDeleted, 0);
        EXPECT_EQ(set_.m_rgRecv[0].m_bTemp, new_temp);
        expect_consistent();
        EXPECT_EQ(process({4, 999999}), Numbers{});
        EXPECT_EQ(process({0, 1}), Numbers{8});
      }
    }
  }
}

TEST_F(TimeoutSetTest, CallbackFindsItsTimerMarkedOnlyAfterRemovingIt) {
  add(0, kNow, Plan{1, [this](timeval*) {
                      EXPECT_NE(set_.m_rgRecv[0].m_bDeleted, 1);
                      purge();
                      EXPECT_EQ(set_.m_uCount, 1U) << "not marked";
                      remove(0);
                      EXPECT_EQ(set_.m_rgRecv[0].m_bDeleted, 1);
                    }});
  EXPECT_EQ(process(), Numbers{0});
  EXPECT_EQ(set_.m_rgRecv[0].m_bDeleted, 1);
  EXPECT_EQ(process(), Numbers{});
  purge();
  EXPECT_EQ(set_.m_uCount, 0U);
}

// A one-shot timer that is late by more than its delay and sets itself again is due again in the same pass. A pass
// makes at most 1024 callbacks; the last timer ages and is left for the next pass.
TEST_F(TimeoutSetTest, PassMakesAtMost1024Callbacks) {
  plans_[0] = {0, [this](timeval*) { add(0, {1, 0}, kOneShot); }};
  for (const uint32_t budget : {1025U, 5000U, kUnlimited - 1, kUnlimited}) {
    SCOPED_TRACE(budget);
    start_again();
    add(0, {1, 0}, kOneShot);
    add(1, {5, 0});
    add(2, {2, 0});
    EXPECT_EQ(process({3, 0}, budget).size(), 1024U);
    EXPECT_EQ(set_.m_uCount, 3U);
    std::vector<Time> left = times();
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<Time>{{-2, 0}, {-1, 0}, {2, 0}})) << "all timers age";
    EXPECT_EQ(process({0, 1}).size(), 2U);
    EXPECT_EQ(process({0, 1}).size(), 1U) << "the overdue timer that stays";
    expect_consistent();
  }
}

TEST_F(TimeoutSetTest, PassOf1024CallbacksEndsLikeAUsedUpBudget) {
  for (const uint32_t limit : {1023U, 1024U, 1025U}) {
    SCOPED_TRACE(limit);
    start_again();
    uint32_t restarts = 0;
    plans_[0] = {0, [&](timeval*) {
                   if (++restarts < limit) {
                     add(0, kNow, kOneShot);
                   }
                 }};
    add(0, kNow, kOneShot);
    EXPECT_EQ(process().size(), std::min(limit, 1024U));
    EXPECT_EQ(set_.m_uCount, limit > 1024 ? 1U : 0U);
  }
}

// Callbacks that change their set at random. The seed is fixed, so every run is the same.
class Chaos {
 public:
  explicit Chaos(TimeoutSet& set) : set_(set) {}

  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_()) % limit; }
  timeval seconds_below(uint32_t limit) { return {static_cast<time_t>(below(limit)), 0}; }

  // Never due at once, because a callback that always adds due timers is always called again.
  void add() {
    const timeval time = {1 + static_cast<time_t>(below(2)), 0};
    NUV_TimeoutSet_setReceiver(&set_, time, this, 0, static_cast<uint8_t>(below(2)), call);
  }

 private:
  static int32_t call(void* arg1, timeval* time, uint32_t /*arg2*/) {
    auto& chaos = *static_cast<Chaos*>(arg1);
    for (uint32_t steps = chaos.below(4); steps > 0; --steps) {
      chaos.act(time);
    }
    return static_cast<int32_t>(chaos.below(3));
  }

  void act(timeval* time) {
    switch (below(6)) {
      case 0:
        add();
        break;
      case 1:
        NUV_TimeoutSet_removeReceiver(&set_, below(82));
        break;
      case 2:
        NUV_TimeoutSet_updateReceiver(&set_, below(82), seconds_below(3));
        break;
      case 3:
        NUV_TimeoutSet_internalRemoveDeleted(&set_);
        break;
      case 4:
        dispatch_again();
        break;
      default:
        *time = {1, 0};
        break;
    }
  }

  void dispatch_again() {
    constexpr timeval kElapsed = {0, 0};
    if (depth_ < 3) {
      ++depth_;
      NUV_TimeoutSet_process(&set_, below(5), &kElapsed);
      --depth_;
    }
  }

  TimeoutSet& set_;
  std::minstd_rand random_;
  int depth_ = 0;
};

TEST_F(TimeoutSetTest, StaysConsistentWithRandomCallbacks) {
  Chaos chaos(set_);
  uint32_t fired = 0;
  for (int round = 0; round < 2000; ++round) {
    SCOPED_TRACE(round);
    for (uint32_t more = chaos.below(12); more > 0; --more) {
      chaos.add();
    }
    const timeval elapsed = chaos.seconds_below(3);
    fired += NUV_TimeoutSet_process(&set_, chaos.below(40), &elapsed);
    if (chaos.below(4) != 0) {
      purge();
    }
    expect_consistent();
  }
  EXPECT_GT(fired, 2000U);
  // Only additions to a full set and removals from one are reported, so no id was released twice.
  Reports allowed = exhausted_pool();
  allowed.push_back(require_report(kFile, kHasRoom));
  for (const Report& report : contracts_.take()) {
    EXPECT_NE(std::find(allowed.begin(), allowed.end(), report), allowed.end()) << report;
  }
}

}  // namespace
