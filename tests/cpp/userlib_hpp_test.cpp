#include "userlib.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/descriptors.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_injector.h"
#include "doubles/temporary_directory.h"
#include "doubles/udp_peer.h"
#include "nuv_level.h"

namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using support::CapturedStdout;
using support::ContractRecorder;
using support::CountingAllocator;
using support::FakeClock;
using support::FaultInjector;
using support::Reports;
using support::SelectAnswer;
using support::TemporaryDirectory;
using userlib::Reactor;
using userlib::Timer;
using userlib::Watch;

template <class Owner>
constexpr bool kMoves = std::is_nothrow_move_constructible_v<Owner>&& std::is_nothrow_move_assignable_v<Owner> &&
                        !std::is_copy_constructible_v<Owner> && !std::is_copy_assignable_v<Owner>;

template <class Owner>
constexpr bool kStays = !std::is_move_constructible_v<Owner> && !std::is_move_assignable_v<Owner> &&
                        !std::is_copy_constructible_v<Owner> && !std::is_copy_assignable_v<Owner>;

static_assert(kMoves<userlib::Memory> && kMoves<userlib::Frame> && kMoves<userlib::MessageData> &&
              kMoves<userlib::Message> && kMoves<userlib::IndexPool> && kMoves<userlib::Pipe> &&
              kMoves<userlib::UdpServer> && kMoves<userlib::UdpClient> && kMoves<userlib::DigitMap> &&
              kMoves<userlib::UniqueFd>);
static_assert(kStays<Reactor> && kStays<Timer> && kStays<Watch> && kStays<userlib::IndexMap<1>> &&
              kStays<userlib::Console<1>> && kStays<userlib::Command> && kStays<userlib::Daemon> &&
              kStays<userlib::Tracing> && kStays<userlib::Signals> && kStays<userlib::LineReader<1>> &&
              kStays<userlib::UnixListener> && kStays<userlib::Output> && kStays<userlib::Capture> &&
              kStays<userlib::LockFile> && kStays<userlib::TimeLimit> &&
              kStays<userlib::Owned<Level, NUV_Level_construct, NUV_Level_destruct>>);

std::pair<int64_t, int64_t> pair_of(const timeval& time) {
  return {time.tv_sec, time.tv_usec};
}

TEST(UserlibHpp, ConvertsDurations) {
  using Pair = std::pair<int64_t, int64_t>;
  EXPECT_EQ(pair_of(userlib::to_timeval(seconds(0))), Pair(0, 0));
  EXPECT_EQ(pair_of(userlib::to_timeval(hours(24))), Pair(86400, 0));
  EXPECT_EQ(pair_of(userlib::to_timeval(milliseconds(1999))), Pair(1, 999000));
  EXPECT_EQ(pair_of(userlib::to_timeval(microseconds(1000001))), Pair(1, 1));
  EXPECT_EQ(pair_of(userlib::to_timeval(std::chrono::nanoseconds(1999))), Pair(0, 1));
  EXPECT_EQ(pair_of(userlib::to_timeval(std::chrono::duration<double>(2.5))), Pair(2, 500000));
}

TEST(UserlibHppTime, AddsMilliseconds) {
  const timeval time = userlib::later({5, 999000}, milliseconds(2002));
  EXPECT_EQ(time.tv_sec, 8);
  EXPECT_EQ(time.tv_usec, 1000);
}

TEST(UserlibHppTime, ADeadlineIsReachedFromItsMicrosecondOn) {
  EXPECT_FALSE(userlib::is_reached({5, 1}, {5, 0}));
  EXPECT_TRUE(userlib::is_reached({5, 1}, {5, 1}));
  EXPECT_TRUE(userlib::is_reached({5, 1}, {6, 0}));
}

TEST(UserlibHppTime, NeverWaitsForNothing) {
  const struct {
    timeval deadline;
    timeval wait;
  } kCases[] = {
      {{5, 500000}, {0, 500000}}, {{6, 499999}, {1, 499999}}, {{5, 1000}, {0, 1000}}, {{5, 999}, {0, 1000}},
      {{5, 0}, {0, 1000}},        {{4, 999999}, {0, 1000}},   {{1, 0}, {0, 1000}},
  };
  for (const auto& row : kCases) {
    const timeval wait = userlib::wait_until(row.deadline, {5, 0});
    EXPECT_EQ(wait.tv_sec, row.wait.tv_sec);
    EXPECT_EQ(wait.tv_usec, row.wait.tv_usec);
  }
}

TEST(UserlibHppTime, MovesOn) {
  const timeval before = userlib::monotonic_now();
  EXPECT_GT(before.tv_sec + before.tv_usec, 0);
  EXPECT_TRUE(userlib::is_reached(before, userlib::monotonic_now()));
}

// ---- Callables ----

int g_plain_calls = 0;
void call_plainly() {
  ++g_plain_calls;
}

TEST(UserlibHppCallback, AcceptsAnyCallable) {
  using Callback = userlib::Callback<int>;
  int sum = 0;
  const Callback with_argument([&sum](int number) { sum += number; });
  with_argument(3);
  EXPECT_EQ(sum, 3);
  const Callback without_argument([&sum] { sum += 10; });
  without_argument(3);
  EXPECT_EQ(sum, 13);
  const Callback with_result([&sum](int number) { return sum += 2 * number; });
  with_result(1);
  EXPECT_EQ(sum, 15);
  const Callback plain(call_plainly);
  plain(0);
  EXPECT_EQ(g_plain_calls, 1);
  std::function<void(int)> large = [&sum, text = std::string(100, 'x')](int) { sum += static_cast<int>(text.size()); };
  const Callback referring(std::ref(large));
  referring(0);
  EXPECT_EQ(sum, 115);
  void* pointers[4] = {&sum, &sum, &sum, &sum};
  const Callback full([a = pointers[0], b = pointers[1], c = pointers[2], d = pointers[3]] {
    *static_cast<int*>(a) = (a == b && b == c && c == d) ? 1 : 0;
  });
  const Callback copy = full;
  copy(0);
  EXPECT_EQ(sum, 1);
}

// ---- Watches ----

// The next select() reports these descriptors as readable.
void make_ready(FakeClock& clock, std::vector<int> fds) {
  SelectAnswer answer;
  answer.result = static_cast<int>(fds.size());
  answer.read = std::move(fds);
  clock.answer_select(answer);
}

TEST(UserlibHppWatch, CallsWhenItsDescriptorIsReady) {
  FakeClock clock;
  Reactor loop;
  std::vector<int> seen;
  Watch watch(loop, [&seen](int fd) { seen.push_back(fd); });
  EXPECT_FALSE(watch.is_running());
  EXPECT_EQ(watch.fd(), -1);
  ASSERT_TRUE(watch.read_external(7));
  EXPECT_TRUE(watch.is_running());
  EXPECT_EQ(watch.fd(), 7);
  make_ready(clock, {7});
  EXPECT_EQ(loop.process(seconds(1)), 1);
  EXPECT_EQ(seen, std::vector<int>({7}));
  watch.stop();
  watch.stop();
  EXPECT_FALSE(watch.is_running());
  EXPECT_EQ(watch.fd(), -1);
  EXPECT_EQ(loop.process(), 0);
  EXPECT_EQ(seen.size(), 1U);
}

TEST(UserlibHppWatch, HasSixKinds) {
  const struct {
    const char* name;
    bool (Watch::*start)(int);
    SelectSet (Select::*sets)[2];
    int priority;
  } kCases[] = {
      {"read", &Watch::read, &Select::m_oRead, NUV_SELECT_INTERNAL},
      {"read_external", &Watch::read_external, &Select::m_oRead, NUV_SELECT_EXTERNAL},
      {"write", &Watch::write, &Select::m_oWrite, NUV_SELECT_INTERNAL},
      {"write_external", &Watch::write_external, &Select::m_oWrite, NUV_SELECT_EXTERNAL},
      {"except", &Watch::except, &Select::m_oExcept, NUV_SELECT_INTERNAL},
      {"except_external", &Watch::except_external, &Select::m_oExcept, NUV_SELECT_EXTERNAL},
  };
  FakeClock clock;
  Reactor loop;
  std::deque<Watch> watches;
  std::vector<std::string> calls;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    // All kinds can watch the same descriptor.
    Watch& watch = watches.emplace_back(loop, [&calls, &c] { calls.emplace_back(c.name); });
    ASSERT_TRUE((watch.*c.start)(9));
    EXPECT_EQ((loop.record().*c.sets)[c.priority].m_uCount, 1U);
    SelectAnswer answer;
    answer.result = 1;
    (c.sets == &Select::m_oRead ? answer.read : c.sets == &Select::m_oWrite ? answer.write : answer.except) = {9};
    if (c.priority == NUV_SELECT_EXTERNAL) {
      clock.answer_select({});  // the poll of the internal descriptors
    }
    clock.answer_select(answer);
    loop.process(seconds(0));
    EXPECT_EQ(calls, std::vector<std::string>({c.name}));
    calls.clear();
  }
  for (size_t i = 0; i < watches.size(); ++i) {
    watches[i].stop();
    EXPECT_EQ((loop.record().*kCases[i].sets)[kCases[i].priority].m_uCount, 0U);
  }
}

TEST(UserlibHppWatch, RefusesWhatSelectCannotWatch) {
  Reactor loop;
  Watch watch(loop, [] {});
  for (const int fd : {-1, 1024, INT32_MAX, INT32_MIN}) {
    ASSERT_TRUE(watch.read(5));
    EXPECT_FALSE(watch.read(fd)) << fd;
    EXPECT_FALSE(watch.is_running());
    EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 0U);
  }
  EXPECT_TRUE(watch.read(1023));
  EXPECT_TRUE(watch.read(0));
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 1U);
}

TEST(UserlibHppWatch, ReportsThatMemoryIsMissing) {
  Reactor loop;
  Watch watch(loop, [] {});
  {
    FaultInjector fault("malloc", 1, ENOMEM);
    EXPECT_FALSE(watch.write_external(5));
  }
  EXPECT_FALSE(watch.is_running());
  EXPECT_TRUE(watch.write_external(5));
}

TEST(UserlibHppWatch, LastOneStartedTakesOverTheDescriptor) {
  ContractRecorder recorder;
  FakeClock clock;
  Reactor loop;
  std::string calls;
  std::optional<Watch> first(std::in_place, loop, [&calls] { calls += '1'; });
  Watch second(loop, [&calls] { calls += '2'; });
  ASSERT_TRUE(first->read(5));
  ASSERT_TRUE(second.read(5));
  EXPECT_FALSE(first->is_running());
  make_ready(clock, {5});
  loop.process();
  EXPECT_EQ(calls, "2");
  first.reset();
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 1U);
  make_ready(clock, {5});
  loop.process();
  EXPECT_EQ(calls, "22");
  second.stop();
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 0U);
}

TEST(UserlibHppWatch, MayStopItselfAndOtherReadyWatches) {
  for (const bool dies : {false, true}) {
    FakeClock clock;
    Reactor loop;
    int calls = 0;
    std::array<std::optional<Watch>, 3> watches;
    for (auto& watch : watches) {
      // The first one called stops all of them.
      watch.emplace(loop, [&calls, &watches, dies] {
        ++calls;
        for (auto& other : watches) {
          if (dies) {
            other.reset();
          } else {
            other->stop();
          }
        }
      });
    }
    ASSERT_TRUE(watches[0]->read_external(3));
    ASSERT_TRUE(watches[1]->read_external(4));
    ASSERT_TRUE(watches[2]->write_external(5));
    clock.answer_select({3, {3, 4}, {5}, {}});
    EXPECT_EQ(loop.process(), 3);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(loop.record().m_oRead[1].m_uCount, 0U);
    EXPECT_EQ(loop.record().m_oWrite[1].m_uCount, 0U);
  }
}

// A descriptor was ready, is closed, and its number is reused: the new one is not ready.
TEST(UserlibHppWatch, DoesNotReportTheOldDescriptorForTheNewOne) {
  FakeClock clock;
  Reactor loop;
  std::string calls;
  std::optional<Watch> old(std::in_place, loop, [&calls] { calls += "old "; });
  Watch fresh(loop, [&calls] { calls += "fresh "; });
  Watch changer(loop, [&] {
    calls += "changer ";
    old.reset();
    if (!fresh.is_running()) {
      EXPECT_TRUE(fresh.read(4));
    }
  });
  ASSERT_TRUE(old->read(4));
  ASSERT_TRUE(changer.read(3));
  make_ready(clock, {3, 4});
  loop.process();
  EXPECT_EQ(calls, "changer ");
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 2U);
  make_ready(clock, {4});
  loop.process();
  EXPECT_EQ(calls, "changer fresh ");
}

TEST(UserlibHppWatch, StartedInACallIsCalledInTheNextCycle) {
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  Watch second(loop, [&calls] { ++calls; });
  Watch first(loop, [&second] { EXPECT_TRUE(second.read(8)); });
  ASSERT_TRUE(first.read(3));
  make_ready(clock, {3});
  loop.process();
  EXPECT_EQ(calls, 0);
  first.stop();
  make_ready(clock, {8});
  loop.process();
  EXPECT_EQ(calls, 1);
}

TEST(UserlibHppWatch, LeavesOneSlotFree) {
  ContractRecorder recorder;
  Reactor loop;
  std::deque<Watch> watches;
  for (int fd = 0; fd < 1023; ++fd) {
    ASSERT_TRUE(watches.emplace_back(loop, [] {}).read(fd));
  }
  Watch last(loop, [] {});
  EXPECT_FALSE(last.read(1023));
  EXPECT_FALSE(last.is_running());
  // Watches can still take over a descriptor, change theirs, and stop.
  EXPECT_TRUE(last.read(1022));
  EXPECT_FALSE(watches.back().is_running());
  last.stop();
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 1022U);
  EXPECT_TRUE(last.read(1023));
}

TEST(UserlibHppWatch, TakesTheSlotOfOneStoppedInTheSameCycle) {
  ContractRecorder recorder;
  FakeClock clock;
  Reactor loop;
  Watch fresh(loop, [] {});
  Watch stranger(loop, [] {});
  std::deque<Watch> watches;
  Watch first(loop, [&] {
    watches[5].stop();
    EXPECT_FALSE(stranger.read(1023));
    EXPECT_TRUE(fresh.read(6));
  });
  ASSERT_TRUE(first.read(0));
  for (int fd = 1; fd < 1023; ++fd) {
    ASSERT_TRUE(watches.emplace_back(loop, [] {}).read(fd));
  }
  make_ready(clock, {0});
  loop.process();
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 1023U);
  EXPECT_EQ(fresh.fd(), 6);
}

TEST(UserlibHppWatch, ReportsNothingWhileOthersHaveFilledTheSet) {
  ContractRecorder recorder;
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  std::deque<Watch> watches;
  for (int fd = 0; fd < 1023; ++fd) {
    ASSERT_TRUE(watches.emplace_back(loop, [&calls] { ++calls; }).read(fd));
  }
  NUV_Select_setRead(&loop.record(), 1023, &loop, 0, [](void*, int32_t, uint32_t) { return 0; });
  watches.front().stop();
  EXPECT_FALSE(watches.back().read(1022));
  make_ready(clock, {0, 1022, 1});
  loop.process();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 1024U);
  EXPECT_EQ(recorder.take(), Reports());
  // As soon as there is room, the receivers of stopped watches are removed.
  NUV_Select_removeRead(&loop.record(), 1023);
  recorder.take();
  clock.take_selects();
  make_ready(clock, {1});
  loop.process();
  EXPECT_EQ(clock.take_selects().at(0).read.size(), 1021U);
  EXPECT_EQ(loop.record().m_oRead[0].m_uCount, 1021U);
}

TEST(UserlibHppWatch, MayOutliveItsReactor) {
  std::optional<Reactor> loop(std::in_place);
  Watch watch(*loop, [] {});
  Watch idle(*loop, [] {});
  ASSERT_TRUE(watch.read(5));
  loop.reset();
  EXPECT_FALSE(watch.is_running());
  EXPECT_FALSE(watch.read(5));
  watch.stop();
}

// ---- Timers ----

TEST(UserlibHppTimer, CallsOnce) {
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  Timer timer(loop, [&calls](Timer& self) {
    ++calls;
    EXPECT_FALSE(self.is_running());
  });
  EXPECT_FALSE(timer.is_running());
  ASSERT_TRUE(timer.start(seconds(3)));
  EXPECT_TRUE(timer.is_running());
  EXPECT_EQ(loop.process(seconds(2)), 0);
  EXPECT_EQ(calls, 0);
  loop.process();
  EXPECT_EQ(clock.now().tv_sec, 1003);
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(timer.is_running());
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 0U);
  ASSERT_TRUE(timer.start(timeval{1, 0}));
  loop.process();
  EXPECT_EQ(calls, 2);
}

TEST(UserlibHppTimer, CanBeRestarted) {
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  Timer timer(loop, [&calls] { ++calls; });
  ASSERT_TRUE(timer.start_every(seconds(1)));
  ASSERT_TRUE(timer.start(seconds(5)));
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 1U);
  loop.process();
  EXPECT_EQ(clock.now().tv_sec, 1005);
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(timer.is_running());
}

TEST(UserlibHppTimer, CallsPeriodically) {
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  Timer timer(loop, [&calls](Timer& self) {
    EXPECT_TRUE(self.is_running());
    if (++calls == 3) {
      self.stop();
      EXPECT_FALSE(self.is_running());
    }
  });
  ASSERT_TRUE(timer.start_every(milliseconds(1500)));
  for (int i = 0; i < 3; ++i) {
    loop.process();
  }
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(pair_of(clock.now()), (std::pair<int64_t, int64_t>(1004, 500000)));
  EXPECT_FALSE(timer.is_running());
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 0U);
}

TEST(UserlibHppTimer, CanBeRestartedInItsOwnCall) {
  FakeClock clock;
  Reactor loop;
  std::vector<int64_t> calls;
  Timer timer(loop, [&](Timer& self) {
    calls.push_back(clock.now().tv_sec);
    switch (calls.size()) {
      case 1:
        EXPECT_TRUE(self.start(seconds(10)));
        EXPECT_TRUE(self.is_running());
        break;
      case 2:  // the last start counts
        EXPECT_TRUE(self.start(seconds(1)));
        EXPECT_TRUE(self.start_every(seconds(2)));
        break;
      case 4:  // no longer periodic
        EXPECT_TRUE(self.start(seconds(3)));
        break;
      case 5:  // stopped, and started again like one that is not running
        EXPECT_TRUE(self.start(seconds(1)));
        self.stop();
        EXPECT_FALSE(self.is_running());
        EXPECT_TRUE(self.start(seconds(20)));
        EXPECT_TRUE(self.is_running());
        break;
      case 6:
        self.stop();
        EXPECT_TRUE(self.start(seconds(1)));
        EXPECT_TRUE(self.is_running());
        break;
      default:
        break;
    }
  });
  ASSERT_TRUE(timer.start(seconds(1)));
  while (timer.is_running() && calls.size() < 10) {
    loop.process();
    EXPECT_LE(loop.record().m_oTimeout.m_uCount, 1U);
  }
  EXPECT_EQ(calls, std::vector<int64_t>({1001, 1011, 1013, 1015, 1018, 1038, 1039}));
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 0U);
}

TEST(UserlibHppTimer, MayEndItselfAndOtherDueTimers) {
  for (const bool dies : {false, true}) {
    FakeClock clock;
    Reactor loop;
    int calls = 0;
    std::array<std::optional<Timer>, 3> timers;
    for (auto& timer : timers) {
      timer.emplace(loop, [&calls, &timers, dies] {
        ++calls;
        for (auto& other : timers) {
          if (dies) {
            other.reset();
          } else {
            other->stop();
          }
        }
      });
      ASSERT_TRUE(timer->start_every(seconds(1)));
    }
    loop.process();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 0U);
  }
}

TEST(UserlibHppTimer, MayReplaceItselfInItsOwnCall) {
  FakeClock clock;
  Reactor loop;
  std::string calls;
  std::optional<Timer> timer;
  timer.emplace(loop, [&] {
    calls += "first ";
    timer.emplace(loop, [&calls] { calls += "second "; });
    EXPECT_TRUE(timer->start(seconds(5)));
  });
  ASSERT_TRUE(timer->start(seconds(1)));
  loop.process();
  EXPECT_TRUE(timer->is_running());
  loop.process();
  EXPECT_EQ(calls, "first second ");
  EXPECT_FALSE(timer->is_running());
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 0U);
}

TEST(UserlibHppTimer, LeavesOneSlotFree) {
  ContractRecorder recorder;
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  std::deque<Timer> timers;
  for (int i = 0; i < 79; ++i) {
    ASSERT_TRUE(timers.emplace_back(loop, [&calls] { ++calls; }).start(seconds(1)));
  }
  Timer last(loop, [&calls] { calls += 1000; });
  EXPECT_FALSE(last.start(seconds(1)));
  EXPECT_FALSE(last.start_every(seconds(1)));
  EXPECT_FALSE(last.is_running());
  // Running timers can be changed and stopped.
  EXPECT_TRUE(timers[5].start(seconds(2)));
  timers[7].stop();
  EXPECT_TRUE(last.start(seconds(1)));
  loop.process();
  EXPECT_EQ(calls, 1077);
}

TEST(UserlibHppTimer, ReportsThatItsReactorHasNoTimers) {
  ContractRecorder recorder;
  std::optional<Reactor> loop;
  {
    FaultInjector fault("malloc", 1, ENOMEM);
    loop.emplace();
  }
  Timer timer(*loop, [] {});
  recorder.take();
  EXPECT_FALSE(timer.start(seconds(1)));
  EXPECT_FALSE(recorder.take().empty());
  EXPECT_FALSE(timer.is_running());
  EXPECT_EQ(loop->record().m_oTimeout.m_uCount, 0U);
  recorder.take();
}

// Time passes before each start, outside of select().
TEST(UserlibHppTimer, CountsFromNow) {
  for (const bool is_running : {false, true}) {
    SCOPED_TRACE(is_running);
    FakeClock clock;
    Reactor loop;
    int64_t fired_at = 0;
    Timer timer(loop, [&] { fired_at = clock.now().tv_sec; });
    EXPECT_TRUE(!is_running || timer.start(hours(10)));

    clock.advance({10, 0});
    ASSERT_TRUE(timer.start(seconds(5)));  // before the loop
    loop.process();
    EXPECT_EQ(fired_at, 1015);

    EXPECT_TRUE(!is_running || timer.start(hours(10)));
    std::optional<Watch> watch(std::in_place, loop, [&] {
      clock.advance({10, 0});
      EXPECT_TRUE(timer.start(seconds(5)));
      clock.advance({2, 0});
      watch.reset();
    });
    ASSERT_TRUE(watch->read_external(0));
    make_ready(clock, {0});
    loop.process();
    EXPECT_EQ(fired_at, 1015) << "not in the same cycle";
    loop.process();
    EXPECT_EQ(fired_at, 1030);
  }
}

// Time spent in a timer callback counts for a timer started there, although the reactor ignores it.
TEST(UserlibHppTimer, CountsFromNowWhileTimersAreServed) {
  for (const bool is_running : {false, true}) {
    for (const bool is_behind : {false, true}) {
      SCOPED_TRACE(testing::Message() << is_running << is_behind);
      FakeClock clock;
      Reactor loop;
      std::vector<int64_t> fired_at;
      Timer other(loop, [&] { fired_at.push_back(clock.now().tv_sec); });
      Timer starter(loop, [&] {
        clock.advance({10, 0});
        EXPECT_TRUE(other.start(seconds(5)));
        clock.advance({2, 0});
      });
      if (is_running && !is_behind) {
        ASSERT_TRUE(other.start(hours(10)));
      }
      ASSERT_TRUE(starter.start(seconds(1)));
      if (is_running && is_behind) {
        ASSERT_TRUE(other.start(hours(10)));
      }
      clock.answer_select({0, {}, {}, {}, {3, 0}});  // the process was stopped
      loop.process();
      EXPECT_EQ(fired_at, std::vector<int64_t>());
      loop.process();
      EXPECT_EQ(fired_at, std::vector<int64_t>({1018}));
    }
  }
}

TEST(UserlibHppTimer, CountsFromNowInItsOwnCall) {
  FakeClock clock;
  Reactor loop;
  std::vector<int64_t> fired_at;
  Timer timer(loop, [&](Timer& self) {
    fired_at.push_back(clock.now().tv_sec);
    EXPECT_TRUE(self.start(seconds(5)));
    clock.advance({2, 0});
  });
  Timer slow(loop, [&] { clock.advance({1, 0}); });
  ASSERT_TRUE(timer.start(seconds(1)));
  ASSERT_TRUE(slow.start(seconds(1)));
  for (int turn = 0; turn < 3; ++turn) {
    loop.process();
  }
  EXPECT_EQ(fired_at, std::vector<int64_t>({1001, 1006, 1011}));
}

// Otherwise two timers that start each other would run for ever after the process was stopped.
TEST(UserlibHppTimer, StartsAnotherOneForALaterCycle) {
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  std::array<std::optional<Timer>, 2> timers;
  for (size_t i = 0; i < 2; ++i) {
    timers[i].emplace(loop, [&, i] {
      ++calls;
      EXPECT_TRUE(timers[1 - i]->start(seconds(1)));
    });
  }
  ASSERT_TRUE(timers[0]->start(seconds(1)));
  clock.answer_select({0, {}, {}, {}, {3, 0}});
  loop.process();
  EXPECT_EQ(calls, 1);
  loop.process();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(clock.now().tv_sec, 1004);
}

TEST(UserlibHppTimer, DelayOfZeroIsCalledInTheSameCycle) {
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  Timer other(loop, [&] { ++calls; });
  Timer starter(loop, [&] { EXPECT_TRUE(other.start(seconds(0))); });
  ASSERT_TRUE(starter.start(seconds(1)));
  loop.process();
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(other.is_running());
}

int g_filler_calls = 0;
int32_t fill(void*, timeval* time, uint32_t) {
  ++g_filler_calls;
  time->tv_sec = 1000;
  return 1;
}

class UserlibHppFullTimers : public testing::TestWithParam<bool> {};

TEST_P(UserlibHppFullTimers, ReportNothingAndMakeRoom) {
  const bool has_cycle_between = GetParam();
  ContractRecorder recorder;
  FakeClock clock;
  Reactor loop;
  int calls = 0;
  std::deque<std::optional<Timer>> timers;
  for (int i = 0; i < 79; ++i) {
    auto& timer = timers.emplace_back();
    timer.emplace(loop, [&calls] { ++calls; });
    ASSERT_TRUE(timer->start(seconds(1000 + i)));
  }
  const uint32_t filler = NUV_Select_setTimeout(&loop.record(), {1000, 0}, nullptr, 0, fill);
  ASSERT_EQ(loop.record().m_oTimeout.m_uCount, 80U);

  EXPECT_FALSE(timers[0]->start(seconds(1)));
  EXPECT_TRUE(timers[0]->is_running());
  EXPECT_FALSE(timers[0]->start_every(seconds(1)));
  timers[1].reset();
  timers[2]->stop();
  EXPECT_FALSE(timers[2]->start(seconds(1)));
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 80U);

  // A destroyed timer falls due while the set is full. It is removed without a call, which makes room for the others.
  clock.answer_select({0, {}, {}, {}, {1001, 0}});
  g_filler_calls = 0;
  loop.process();
  EXPECT_EQ(calls, 1);  // of the first timer; the second was destroyed
  EXPECT_EQ(g_filler_calls, 1);
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 78U);
  if (has_cycle_between) {
    loop.process(milliseconds(1));
    EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 77U);
  }
  EXPECT_TRUE(timers[2]->start(seconds(1)));  // and removes its former timer
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 78U);
  NUV_Select_removeTimeout(&loop.record(), filler);
  loop.process();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(recorder.take(), Reports());
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutACycleBetween, UserlibHppFullTimers, testing::Bool());

// Even in a full set, a timer can be restarted, stopped and destroyed in its own call.
TEST(UserlibHppTimer, MayDoAnythingInItsOwnCallWhileTheSetIsFull) {
  ContractRecorder recorder;
  FakeClock clock;
  Reactor loop;
  std::deque<std::optional<Timer>> timers(79);
  int calls = 0;
  timers[0].emplace(loop, [&calls](Timer& self) { EXPECT_TRUE(++calls > 1 || self.start(seconds(5))); });
  timers[1].emplace(loop, [](Timer& self) { self.stop(); });
  timers[2].emplace(loop, [&timers] { timers[2].reset(); });
  for (size_t i = 0; i < timers.size(); ++i) {
    if (!timers[i]) {
      timers[i].emplace(loop, [] {});
    }
    ASSERT_TRUE(timers[i]->start(i < 3 ? seconds(1) : seconds(100)));
  }
  NUV_Select_setTimeout(&loop.record(), {1000, 0}, nullptr, 0, fill);
  loop.process();
  EXPECT_EQ(loop.record().m_oTimeout.m_uCount, 78U);
  EXPECT_TRUE(timers[0]->is_running());
  EXPECT_FALSE(timers[1]->is_running());
  loop.process();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(recorder.take(), Reports());
}

TEST(UserlibHppTimer, MayOutliveItsReactor) {
  std::optional<Reactor> loop(std::in_place);
  Timer timer(*loop, [] {});
  ASSERT_TRUE(timer.start_every(seconds(1)));
  loop.reset();
  EXPECT_FALSE(timer.is_running());
  EXPECT_FALSE(timer.start(seconds(1)));
  timer.stop();
}

// ---- Random changes ----

// Watches and timers start, stop, destroy and create each other in their calls. After each cycle the reactor must have
// those that run and no others, and only running ones may have been called.
class Turmoil {
 public:
  explicit Turmoil(unsigned seed) : random_(seed) {
    for (size_t i = 0; i < kCount; ++i) {
      revive(i);
    }
  }

  void turn() {
    SelectAnswer answer;
    for (auto& watch : watches_) {
      if (watch && watch->is_running() && random_() % 2 == 0) {
        answer.read.push_back(watch->fd());
      }
    }
    answer.result = static_cast<int>(answer.read.size());
    answer.takes = {static_cast<time_t>(random_() % 3), 1};
    clock_.answer_select(answer);
    loop_.process(seconds(1));
    calls_in_turn_ = 0;
    EXPECT_EQ(loop_.record().m_oRead[1].m_uCount, running(watches_));
    EXPECT_EQ(loop_.record().m_oTimeout.m_uCount, running(timers_));
  }

  int calls() const { return calls_; }

 private:
  static constexpr size_t kCount = 6;

  template <class Owners>
  static uint32_t running(const Owners& owners) {
    uint32_t count = 0;
    for (const auto& owner : owners) {
      count += owner && owner->is_running() ? 1 : 0;
    }
    return count;
  }

  void revive(size_t i) {
    watches_[i].emplace(loop_, [this, i](int fd) {
      EXPECT_TRUE(watches_[i] && watches_[i]->fd() == fd);
      happen();
    });
    timers_[i].emplace(loop_, [this, i](Timer& self) {
      EXPECT_TRUE(timers_[i] && &*timers_[i] == &self);
      happen();
    });
    change(i);
  }

  void happen() {
    ++calls_;
    // A cycle in which each call starts a due timer would never end.
    if (++calls_in_turn_ > 50) {
      return;
    }
    for (size_t n = random_() % 4; n > 0; --n) {
      change(random_() % kCount);
    }
  }

  void change(size_t i) {
    switch (random_() % 8) {
      case 0:
        watches_[i].reset();
        break;
      case 1:
        timers_[i].reset();
        break;
      case 2:
        if (!watches_[i] && !timers_[i]) {
          revive(i);
        }
        break;
      case 3:
        if (watches_[i]) {
          watches_[i]->stop();
        }
        break;
      case 4:
        if (timers_[i]) {
          timers_[i]->stop();
        }
        break;
      case 5:
        EXPECT_TRUE(!timers_[i] || timers_[i]->start(seconds(random_() % 3 + 1)));
        break;
      case 6:
        EXPECT_TRUE(!timers_[i] || timers_[i]->start_every(seconds(random_() % 3 + 1)));
        break;
      default:
        // Fewer descriptors than watches, so they take descriptors from each other.
        EXPECT_TRUE(!watches_[i] || watches_[i]->read_external(static_cast<int>(random_() % 4)));
        break;
    }
  }

  std::mt19937 random_;
  FakeClock clock_;
  Reactor loop_;
  std::array<std::optional<Watch>, kCount> watches_;
  std::array<std::optional<Timer>, kCount> timers_;
  int calls_ = 0;
  int calls_in_turn_ = 0;
};

TEST(UserlibHppReactor, StaysConsistentWithRandomChanges) {
  ContractRecorder recorder;
  int calls = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    Turmoil turmoil(seed);
    for (int i = 0; i < 50; ++i) {
      turmoil.turn();
    }
    calls += turmoil.calls();
  }
  EXPECT_GT(calls, 1000);
  EXPECT_EQ(recorder.take(), Reports());
}

// ---- Blocks of bytes ----

TEST(UserlibHppMemory, IsCounted) {
  const CountingAllocator restores_the_hook;
  userlib::count_memory();
  const userlib::MemoryFigures before = userlib::memory_figures;
  {
    const userlib::Memory block(10);
    const userlib::Memory other(3);
    EXPECT_EQ(userlib::memory_figures.blocks, before.blocks + 2);
    EXPECT_EQ(userlib::memory_figures.bytes, before.bytes + 13);
  }
  EXPECT_EQ(userlib::memory_figures.blocks, before.blocks);
  EXPECT_EQ(userlib::memory_figures.bytes, before.bytes);
  EXPECT_EQ(userlib::memory_figures.allocations, before.allocations + 2);
  EXPECT_GE(userlib::memory_figures.peak_bytes, before.bytes + 13);
}

TEST(UserlibHppMemory, OwnsAndMovesItsBlock) {
  CountingAllocator allocator;
  {
    userlib::Memory empty;
    EXPECT_EQ(empty.size(), 0U);
    EXPECT_EQ(empty.begin(), nullptr);
    userlib::Memory block(8);
    EXPECT_EQ(block.end() - block.begin(), 8);
    EXPECT_EQ(block.get(2, 6), block.begin() + 6);
    uint8_t* const address = block.begin();
    userlib::Memory moved(std::move(block));
    EXPECT_EQ(moved.begin(), address);
    EXPECT_EQ(block.size(), 0U);  // NOLINT(bugprone-use-after-move): the moved-from state is documented
    empty = std::move(moved);
    EXPECT_EQ(empty.begin(), address);
    userlib::Memory& same = empty;
    empty = std::move(same);
    EXPECT_EQ(empty.size(), 8U);
    empty = userlib::Memory::copy_of("digits");
    EXPECT_EQ(empty.text(), "digits");
    EXPECT_EQ(allocator.live(), 1);
    EXPECT_EQ(userlib::Memory::copy_of("").text(), "");
  }
  EXPECT_EQ(allocator.live(), 0);
}

TEST(UserlibHppMemory, TakesOverAForeignBlock) {
  static uint32_t released;
  released = 0;
  char bytes[4] = {'a', 'b', 'c', 'd'};
  {
    const userlib::Memory memory(bytes, sizeof bytes, [](void*, uint32_t size) { released += size; });
    EXPECT_EQ(memory.text(), "abcd");
  }
  EXPECT_EQ(released, 4U);
}

TEST(UserlibHppFrame, OwnsAndMovesItsBlock) {
  CountingAllocator allocator;
  {
    userlib::Frame frame = userlib::Frame::copy_of("12 offhook");
    EXPECT_EQ(frame.text(), "12 offhook");
    frame.reduce_front(3);
    frame.reduce_rear(4);
    EXPECT_EQ(frame.text(), "off");
    EXPECT_EQ(frame.offset_front(), 3U);
    EXPECT_EQ(frame.offset_rear(), 4U);
    EXPECT_EQ(frame.size(), 3U);
    EXPECT_EQ(frame.absolute_size(), 10U);
    EXPECT_EQ(frame.begin(), frame.address() + 3);
    EXPECT_EQ(frame.end(), frame.address() + 6);
    userlib::Frame moved(std::move(frame));
    EXPECT_EQ(moved.text(), "off");
    EXPECT_EQ(frame.absolute_size(), 0U);  // NOLINT(bugprone-use-after-move)
    frame = std::move(moved);
    userlib::Frame& same = frame;
    frame = std::move(same);
    frame.expand_front(2);
    frame.expand_rear(1);
    EXPECT_EQ(frame.text(), "2 offh");
    EXPECT_EQ(allocator.live(), 1);
    frame = userlib::Frame(20);
    EXPECT_EQ(frame.size(), 20U);
    EXPECT_EQ(allocator.live(), 1);
    EXPECT_EQ(userlib::Frame::copy_of("").text(), "");
    EXPECT_EQ(userlib::Frame().size(), 0U);
  }
  EXPECT_EQ(allocator.live(), 0);
}

TEST(UserlibHppFrame, HasNoTextWithoutMemory) {
  ContractRecorder recorder;
  CountingAllocator allocator;
  allocator.run_dry(true);
  userlib::Frame frame = userlib::Frame::copy_of("12");
  EXPECT_EQ(frame.text(), "");
  EXPECT_EQ(frame.size(), 2U);
  frame.reduce_front(1);
  EXPECT_EQ(frame.text(), "");
  EXPECT_EQ(userlib::Memory::copy_of("12").text(), "");
  EXPECT_EQ(userlib::Memory::copy_of("12").size(), 2U);
  EXPECT_EQ(userlib::MessageData(1, userlib::Memory::copy_of("12")).text(), "");
  EXPECT_FALSE(recorder.take().empty());
}

TEST(UserlibHppMessage, OwnsAndMovesItsItems) {
  CountingAllocator allocator;
  {
    userlib::Message message(1, 2, 3);
    EXPECT_EQ(message.msg_type(), 1);
    EXPECT_EQ(message.dest_port(), 2);
    EXPECT_EQ(message.src_port(), 3);
    EXPECT_EQ(message.header().m_iSrcPort, 3);
    userlib::Memory block = userlib::Memory::copy_of("110");
    message.add(7, std::move(block));
    EXPECT_EQ(block.size(), 0U);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(message.size(), 1U);
    EXPECT_EQ(message.max_size(), 5U);
    EXPECT_EQ(NUV_MessageData_type(message.data(0)), 7);
    userlib::Message moved(std::move(message));
    EXPECT_EQ(moved.size(), 1U);
    EXPECT_EQ(message.size(), 0U);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(message.msg_type(), 0);
    message = std::move(moved);
    userlib::Message& same = message;
    message = std::move(same);
    EXPECT_EQ(message.msg_type(), 1);
    EXPECT_EQ(message.size(), 1U);
    EXPECT_EQ(allocator.live(), 1);
  }
  EXPECT_EQ(allocator.live(), 0);
}

TEST(UserlibHppMessageData, OwnsAndMovesItsBlock) {
  CountingAllocator allocator;
  {
    userlib::MessageData none;
    EXPECT_EQ(none.type(), NUV_MESSAGEDATA_NONE);
    userlib::MessageData item(4, userlib::Memory::copy_of("110"));
    EXPECT_EQ(item.type(), 4);
    EXPECT_EQ(item.text(), "110");
    none = std::move(item);
    userlib::MessageData& same = none;
    none = std::move(same);
    EXPECT_EQ(none.text(), "110");
    EXPECT_EQ(item.type(), NUV_MESSAGEDATA_NONE);  // NOLINT(bugprone-use-after-move)
    const userlib::MessageData moved(std::move(none));
    EXPECT_EQ(moved.text(), "110");
  }
  EXPECT_EQ(allocator.live(), 0);
}

// ---- Numbers ----

TEST(UserlibHppIndexPool, ReturnsIndices) {
  userlib::IndexPool pool(2);
  EXPECT_EQ(pool.size(), 2U);
  EXPECT_EQ(pool.occupy(), 0U);
  EXPECT_EQ(pool.try_occupy(), 1U);
  EXPECT_EQ(pool.try_occupy(), std::nullopt);
  EXPECT_FALSE(pool.available());
  pool.release(0);
  EXPECT_EQ(pool.free(), 1U);
  EXPECT_EQ(pool.busy(), 1U);
  EXPECT_TRUE(pool.occupied(1));
  EXPECT_FALSE(pool.occupied(0));
  pool.occupy_index(0);
  userlib::IndexPool moved(std::move(pool));
  EXPECT_EQ(moved.busy(), 2U);
  EXPECT_EQ(pool.size(), 0U);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(pool.try_occupy(), std::nullopt);
  pool = std::move(moved);
  EXPECT_EQ(pool.busy(), 2U);
  userlib::IndexPool other(9);
  pool = std::move(other);
  EXPECT_EQ(pool.size(), 9U);
  EXPECT_EQ(other.size(), 0U);  // NOLINT(bugprone-use-after-move)
}

TEST(UserlibHppIndexMap, FindsValues) {
  userlib::IndexMap<3> map;
  EXPECT_TRUE(map.empty());
  EXPECT_TRUE(map.begin() == map.end());
  EXPECT_EQ(map.max_size(), 3U);
  map.insert(-7, 70);
  map.insert(8, 80);
  map.insert(9, 90);
  EXPECT_EQ(map.size(), 3U);
  EXPECT_EQ(map.at(8), 80U);
  EXPECT_TRUE(map.contains(-7));
  EXPECT_FALSE(map.contains(7));
  EXPECT_EQ(map.find(1), nullptr);
  map.find(9)->m_uValue = 91;
  EXPECT_FALSE(map.remove(1));
  EXPECT_TRUE(map.remove(8));
  std::map<int32_t, uint32_t> pairs;
  for (const IndexMapPair& pair : map) {
    pairs[pair.m_iKey] = pair.m_uValue;
  }
  EXPECT_EQ(pairs, (std::map<int32_t, uint32_t>{{-7, 70}, {9, 91}}));
  for (auto it = map.begin(); it != map.end(); ++it) {
    EXPECT_TRUE(map.remove(it->m_iKey));
  }
  EXPECT_TRUE(map.empty());
  map.insert(1, 2);
  map.clear();
  EXPECT_TRUE(map.empty());
}

// ---- Pipes and sockets ----

TEST(UserlibHppPipe, CarriesBytesAndCloses) {
  userlib::Pipe pipe;
  EXPECT_FALSE(pipe.is_open());
  EXPECT_EQ(pipe.read_fd(), -1);
  ASSERT_TRUE(pipe.open());
  EXPECT_EQ(pipe.write("hello"), 5);
  char buffer[8];
  EXPECT_EQ(pipe.read(buffer, sizeof buffer), 5);
  const int read_fd = pipe.read_fd();
  const int write_fd = pipe.write_fd();
  {
    userlib::Pipe moved(std::move(pipe));
    EXPECT_FALSE(pipe.is_open());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved.read_fd(), read_fd);
    pipe = std::move(moved);
  }
  EXPECT_TRUE(support::is_open_descriptor(read_fd));
  ASSERT_TRUE(pipe.open());
  EXPECT_EQ(pipe.write("x", 1), 1);
  pipe.close();
  pipe.close();
  EXPECT_FALSE(support::is_open_descriptor(read_fd));
  EXPECT_FALSE(support::is_open_descriptor(write_fd));
}

TEST(UserlibHppPipe, DoesNotWaitIfItIsNotToBlock) {
  userlib::Pipe pipe;
  ASSERT_TRUE(pipe.open_nonblocking());
  char byte = 0;
  EXPECT_TRUE(pipe.is_empty());
  EXPECT_EQ(pipe.read(&byte, 1), -1);
  EXPECT_EQ(errno, EAGAIN);
  while (pipe.write(std::string(4096, 'x')) > 0) {
  }
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_FALSE(pipe.is_empty());
}

TEST(UserlibHppUdp, LooksAtADatagramBeforeABridgeReads) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
  EXPECT_EQ(userlib::waiting_datagram(ends[0]), std::nullopt) << "does not wait";
  EXPECT_EQ(send(ends[1], "", 0, 0), 0);
  EXPECT_EQ(send(ends[1], std::string(1025, 'x').data(), 1025, 0), 1025);
  EXPECT_EQ(userlib::waiting_datagram(ends[0]), std::optional<size_t>(0));
  userlib::drop_datagram(ends[0]);
  EXPECT_EQ(userlib::waiting_datagram(ends[0]), std::optional<size_t>(1025));
  userlib::drop_datagram(ends[0]);
  userlib::drop_datagram(ends[0]);
  EXPECT_EQ(userlib::waiting_datagram(ends[0]), std::nullopt);
  EXPECT_FALSE(userlib::can_be_bridged(0));
  EXPECT_TRUE(userlib::can_be_bridged(1) && userlib::can_be_bridged(1024));
  EXPECT_FALSE(userlib::can_be_bridged(1025));
  close(ends[0]);
  close(ends[1]);
}

TEST(UserlibHppMessage, ShowsItsItemsAsText) {
  userlib::Message message;
  message.add(0, userlib::Memory::copy_of("110"));
  message.add(0, userlib::Memory());
  EXPECT_EQ(message.text(0), "110");
  EXPECT_EQ(message.text(1), "");
  EXPECT_EQ(message.text(2), "") << "there is no such item";
}

TEST(UserlibHppPipe, IsClosedByAssigningAnother) {
  userlib::Pipe pipe;
  userlib::Pipe other;
  ASSERT_TRUE(pipe.open() && other.open());
  const int read_fd = pipe.read_fd();
  const int write_fd = pipe.write_fd();
  const int other_fd = other.read_fd();
  pipe = std::move(other);
  EXPECT_EQ(pipe.read_fd(), other_fd);
  EXPECT_FALSE(other.is_open());  // NOLINT(bugprone-use-after-move)
  EXPECT_FALSE(support::is_open_descriptor(read_fd));
  EXPECT_FALSE(support::is_open_descriptor(write_fd));
  userlib::Pipe& same = pipe;
  pipe = std::move(same);
  EXPECT_EQ(pipe.read_fd(), other_fd);
  EXPECT_TRUE(support::is_open_descriptor(other_fd));
}

TEST(UserlibHppPipe, ReportsThatThePipeCannotBeCreated) {
  FaultInjector fault("pipe", 1, EMFILE);
  userlib::Pipe pipe;
  EXPECT_FALSE(pipe.open());
  EXPECT_EQ(errno, EMFILE);
  EXPECT_FALSE(pipe.is_open());
  EXPECT_EQ(pipe.write_fd(), -1);
}

TEST(UserlibHppUniqueFd, ClosesItsDescriptorOnce) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_FALSE(userlib::UniqueFd());
  {
    userlib::UniqueFd fd(ends[0]);
    EXPECT_TRUE(fd);
    userlib::UniqueFd moved(std::move(fd));
    EXPECT_EQ(fd.get(), -1);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved.get(), ends[0]);
    fd = std::move(moved);
    EXPECT_EQ(fd.get(), ends[0]);
    EXPECT_TRUE(support::is_open_descriptor(ends[0]));
    fd.reset(ends[1]);
    EXPECT_FALSE(support::is_open_descriptor(ends[0]));
    EXPECT_EQ(fd.get(), ends[1]);
    userlib::UniqueFd other(dup(ends[1]));
    const int copy = other.get();
    fd = std::move(other);
    EXPECT_EQ(fd.get(), copy);
    EXPECT_FALSE(other);  // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(support::is_open_descriptor(ends[1]));
    ends[1] = copy;
  }
  EXPECT_FALSE(support::is_open_descriptor(ends[1]));
}

TEST(UserlibHppUdp, CarriesDatagramsBetweenClientAndServer) {
  CapturedStdout out;
  userlib::Pipe to_client;
  userlib::Pipe to_server;
  userlib::Pipe words;
  ASSERT_TRUE(to_client.open() && to_server.open() && words.open());
  userlib::UdpServer server;
  userlib::UdpClient client;
  EXPECT_FALSE(server.is_open());
  EXPECT_FALSE(client.is_open());
  ASSERT_TRUE(server.open(0, to_server.write_fd()));
  ASSERT_TRUE(client.open("127.0.0.1", support::bound_port(server.socket()), to_client.write_fd()));
  userlib::UdpServer moved_server(std::move(server));
  userlib::UdpClient moved_client(std::move(client));
  EXPECT_FALSE(server.is_open());  // NOLINT(bugprone-use-after-move)
  EXPECT_FALSE(client.is_open());  // NOLINT(bugprone-use-after-move)
  server = std::move(moved_server);
  client = std::move(moved_client);

  words.write("ping");
  client.file_read(words.read_fd());
  server.socket_read();
  char buffer[8];
  EXPECT_EQ(to_server.read(buffer, sizeof buffer), 4);
  EXPECT_EQ(server.peer().sin_addr.s_addr, htonl(INADDR_LOOPBACK));
  words.write("pong!");
  server.file_read(words.read_fd());
  client.socket_read();
  EXPECT_EQ(to_client.read(buffer, sizeof buffer), 5);

  int server_fd = server.socket();
  int client_fd = client.socket();
  server = userlib::UdpServer();
  client = userlib::UdpClient();
  EXPECT_FALSE(support::is_open_descriptor(server_fd));
  EXPECT_FALSE(support::is_open_descriptor(client_fd));
  ASSERT_TRUE(server.open(0, to_server.write_fd()));
  ASSERT_TRUE(client.open("127.0.0.1", support::bound_port(server.socket()), to_client.write_fd()));
  server_fd = server.socket();
  client_fd = client.socket();
  server.close();
  client.close();
  client.close();
  EXPECT_FALSE(support::is_open_descriptor(server_fd));
  EXPECT_FALSE(support::is_open_descriptor(client_fd));
  EXPECT_NE(out.take(), "");
}

TEST(UserlibHppUdp, ReportsThatTheSocketCannotBeCreated) {
  FaultInjector fault("socket", 1, EMFILE);
  userlib::UdpServer server;
  EXPECT_FALSE(server.open(0, 1));
  EXPECT_FALSE(server.is_open());
  EXPECT_EQ(server.socket(), -1);
}

// ---- Dial plans, operators, the process ----

TEST(UserlibHppDigitMap, Checks) {
  using userlib::DigitMap;
  DigitMap plan;
  EXPECT_FALSE(plan.set("11|a"));
  EXPECT_TRUE(plan.set("11|11x"));
  EXPECT_TRUE(plan.add("0x.T"));
  DigitMap moved(std::move(plan));
  const auto check = [](const DigitMap& map, const char* digits, DigitMap::Timer timer) {
    return map.check(DigitMap::Mode::kBest, digits, timer);
  };
  EXPECT_EQ(check(plan, "110", DigitMap::Timer::kRunning), DigitMap::Result::kNoMatch);  // NOLINT
  plan = std::move(moved);
  DigitMap other;
  EXPECT_TRUE(other.set("5"));
  moved = std::move(other);
  other = std::move(moved);
  EXPECT_EQ(check(moved, "5", DigitMap::Timer::kRunning), DigitMap::Result::kNoMatch);  // NOLINT
  EXPECT_EQ(check(other, "5", DigitMap::Timer::kRunning), DigitMap::Result::kComplete);
  char pattern[8];
  EXPECT_EQ(plan.check(DigitMap::Mode::kFirst, "11", DigitMap::Timer::kRunning, pattern, sizeof pattern),
            DigitMap::Result::kComplete);
  EXPECT_STREQ(pattern, "11");
  EXPECT_EQ(check(plan, "11", DigitMap::Timer::kRunning), DigitMap::Result::kUndecided);
  EXPECT_EQ(check(plan, "01", DigitMap::Timer::kExpired), DigitMap::Result::kComplete);
  EXPECT_TRUE(plan.add("01x"));
  EXPECT_EQ(check(plan, "01", DigitMap::Timer::kExpired), DigitMap::Result::kUndecided);
  EXPECT_EQ(plan.check_at_timeout(DigitMap::Mode::kBest, "01", pattern, sizeof pattern), DigitMap::Result::kComplete);
  EXPECT_STREQ(pattern, "0x.T");
  EXPECT_EQ(plan.check_at_timeout(DigitMap::Mode::kFirst, "11"), DigitMap::Result::kNoMatch);
  CapturedStdout out;
  plan.dump();
  EXPECT_NE(out.take().find("OrigString: 0x.T"), std::string::npos);
}

TEST(UserlibHppConsole, CallsItsCommands) {
  userlib::Pipe lines;
  userlib::Pipe answers;
  ASSERT_TRUE(lines.open() && answers.open());
  userlib::Console<2> console("> ");
  EXPECT_EQ(console.max_size(), 2U);
  const auto say = [&](const char* line) {
    lines.write(line);
    console.handle(lines.read_fd(), answers.write_fd());
    char answer[100];
    const int32_t count = answers.read(answer, sizeof answer);
    return std::string(answer, count > 0 ? static_cast<size_t>(count) : 0);
  };
  int stops = 0;
  const userlib::Command stop(console, "stop", [&stops] { ++stops; });
  {
    std::optional<userlib::Command> once;
    once.emplace(console.record(), "once", [&once](const userlib::Invocation& call) {
      const std::string words = std::string(call.word(1)) + "," + std::string(call.word(2)) + "," +
                                std::string(call.word(-1)) + std::to_string(call.count) + "\n";
      once.reset();
      call.answer(words.c_str());
    });
    EXPECT_EQ(console.size(), 2U);
    EXPECT_EQ(say("once more\n").substr(0, 9), "more,,2\n>");
    EXPECT_EQ(console.size(), 1U);
  }
  EXPECT_NE(say("once\n").find("command not found\n"), std::string::npos);
  say("stop\n");
  EXPECT_EQ(stops, 1);
}

TEST(UserlibHppDaemon, RemovesItsPidFile) {
  const TemporaryDirectory directory;
  {
    userlib::Daemon daemon("phoned", directory.path().c_str());
    EXPECT_STREQ(daemon.process_name(), "phoned");
    EXPECT_EQ(daemon.pid_file_name(), directory.file("phoned.pid"));
    EXPECT_FALSE(daemon.daemonized());
    EXPECT_FALSE(daemon.has_pid_file());
    daemon.create_pid_file();
    EXPECT_TRUE(daemon.check_pid_file());
    EXPECT_TRUE(daemon.occupied_pid_file());
    // A daemon that did not create the file does not remove it.
    { const userlib::Daemon other("phoned", directory.path().c_str()); }
    EXPECT_TRUE(daemon.has_pid_file());
  }
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(UserlibHppSignals, AreReturnedInOrder) {
  userlib::Signals signals;
  EXPECT_EQ(signals.fd(), -1);
  ASSERT_TRUE(signals.open({SIGUSR1, SIGUSR2}));
  EXPECT_EQ(signals.take(), 0);
  raise(SIGUSR2);
  raise(SIGUSR1);
  raise(SIGUSR2);
  for (const int signal : {SIGUSR2, SIGUSR1, SIGUSR2, 0}) {
    EXPECT_EQ(signals.take(), signal);
  }
}

TEST(UserlibHppSignals, EndTheWaitOfTheLoop) {
  Reactor loop;
  userlib::Signals signals;
  std::vector<int> taken;
  Watch watch(loop, [&] { taken.push_back(signals.take()); });
  ASSERT_TRUE(signals.open({SIGUSR1}));
  ASSERT_TRUE(watch.read_external(signals.fd()));
  raise(SIGUSR1);
  loop.process();
  EXPECT_EQ(taken, std::vector<int>{SIGUSR1});
}

TEST(UserlibHppSignals, KeepErrno) {
  userlib::Signals signals;
  ASSERT_TRUE(signals.open({SIGUSR1}));
  // The last signals find the pipe full. The handler must not block then, because only this thread reads the pipe.
  for (int i = 0; i < 70000; ++i) {
    errno = ENOENT;
    raise(SIGUSR1);
    ASSERT_EQ(errno, ENOENT);
  }
  EXPECT_EQ(signals.take(), SIGUSR1);
}

TEST(UserlibHppSignals, AreIgnoredAfterwards) {
  {
    userlib::Signals signals;
    ASSERT_TRUE(signals.open({SIGUSR1}));
  }
  raise(SIGUSR1);
}

TEST(UserlibHppSignals, ReportThatThePipeCannotBeCreated) {
  const FaultInjector fault("pipe", 1, EMFILE);
  userlib::Signals signals;
  EXPECT_FALSE(signals.open({SIGUSR1}));
  EXPECT_EQ(errno, EMFILE);
}

TEST(UserlibHppOwned, ConstructsAndDestructsAnyRecord) {
  const userlib::Owned<Level, NUV_Level_construct, NUV_Level_destruct> masks;
  EXPECT_EQ(masks->u16ActSize, 0);
  userlib::Owned<TimeoutSet, NUV_TimeoutSet_construct, NUV_TimeoutSet_destruct> timers;
  EXPECT_EQ(NUV_TimeoutSet_available(&timers.record()), 1);
}

}  // namespace
