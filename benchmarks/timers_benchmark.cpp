// What do the timers of a reactor cost: to arm, to rearm, to remove, and to expire all at once?
#include <benchmark/benchmark.h>
#include <event2/event.h>
#include <sys/time.h>
#include <time.h>
#include <uv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bare_loop.h"
#include "nuv_select.h"

#undef EV_READ  // of libevent; libev defines its own
#undef EV_WRITE
#undef EV_TIMEOUT
#undef EV_SIGNAL
#include <ev.h>

namespace {

// One less than the set holds: no timer can be removed from a full set.
constexpr size_t kTimers = NUV_TIMEOUTSET_SIZE - 1;

uint64_t g_expiries = 0;

// Unordered delays between 1000 and 2000 seconds, the same for all sides.
const std::array<timeval, kTimers>& delays() {
  static const auto result = [] {
    std::array<timeval, kTimers> times;
    std::minstd_rand random(7);
    for (timeval& time : times) {
      time.tv_sec = 1000 + static_cast<time_t>(random() % 1000);
      time.tv_usec = static_cast<suseconds_t>(random() % 1000000);
    }
    return times;
  }();
  return result;
}

// The timers in another order than that of arming.
const std::array<size_t, kTimers>& shuffled() {
  static const auto result = [] {
    std::array<size_t, kTimers> order;
    std::iota(order.begin(), order.end(), size_t{0});
    std::shuffle(order.begin(), order.end(), std::minstd_rand(11));
    return order;
  }();
  return result;
}

int32_t on_timer(void*, timeval*, uint32_t) {
  ++g_expiries;
  return 1;
}

class Userlib {
 public:
  Userlib() { NUV_Select_construct(&reactor_); }
  ~Userlib() { NUV_Select_destruct(&reactor_); }
  Userlib(const Userlib&) = delete;
  Userlib& operator=(const Userlib&) = delete;

  void arm(size_t i) { ids_[i] = NUV_Select_setTimeout(&reactor_, delays()[i], this, 0, on_timer); }
  void update(size_t i, size_t delay) { NUV_Select_updateTimeout(&reactor_, ids_[i], delays()[delay]); }
  void remove(size_t i) { NUV_Select_removeTimeout(&reactor_, ids_[i]); }
  size_t count() const { return reactor_.m_oTimeout.m_uCount; }

 private:
  Select reactor_;
  std::array<uint32_t, kTimers> ids_ = {};
};

// Only writes the record to an array, and finds it there by its index.
class Bare {
 public:
  void arm(size_t i) {
    timers_[count_++] = {delays()[i], this, 0, 0, on_timer, static_cast<uint32_t>(i), 0};
    benchmark::ClobberMemory();
  }
  void update(size_t i, size_t delay) {
    timers_[i].m_oTime = delays()[delay];
    benchmark::ClobberMemory();
  }
  void remove(size_t i) {
    timers_[i].m_pRecvFunc = nullptr;
    --count_;
    benchmark::ClobberMemory();
  }
  size_t count() const { return count_; }

 private:
  std::array<NUV_TimeoutRecv, kTimers> timers_ = {};
  size_t count_ = 0;
};

class Libevent {
 public:
  Libevent() : base_(event_base_new()) {
    for (event*& timer : timers_) {
      timer = event_new(
          base_, -1, 0, [](evutil_socket_t, short, void*) { ++g_expiries; }, nullptr);
    }
  }
  ~Libevent() {
    for (event* timer : timers_) {
      event_free(timer);
    }
    event_base_free(base_);
  }
  Libevent(const Libevent&) = delete;
  Libevent& operator=(const Libevent&) = delete;

  void arm(size_t i) { event_add(timers_[i], &delays()[i]); }
  void update(size_t i, size_t delay) { event_add(timers_[i], &delays()[delay]); }
  void remove(size_t i) { event_del(timers_[i]); }
  size_t count() const { return static_cast<size_t>(event_base_get_num_events(base_, EVENT_BASE_COUNT_ADDED)); }

 private:
  event_base* base_;
  std::array<event*, kTimers> timers_;
};

class Libev {
 public:
  Libev() : loop_(ev_loop_new(unsigned{EVFLAG_NOENV})) {
    for (size_t i = 0; i < kTimers; ++i) {
      seconds_[i] = static_cast<double>(delays()[i].tv_sec) + static_cast<double>(delays()[i].tv_usec) * 1e-6;
    }
  }
  ~Libev() { ev_loop_destroy(loop_); }
  Libev(const Libev&) = delete;
  Libev& operator=(const Libev&) = delete;

  void arm(size_t i) {
    ev_timer_init(
        &timers_[i], [](struct ev_loop*, ev_timer*, int) { ++g_expiries; }, seconds_[i], 0.);
    ev_timer_start(loop_, &timers_[i]);
  }
  void update(size_t i, size_t delay) {
    timers_[i].repeat = seconds_[delay];
    ev_timer_again(loop_, &timers_[i]);
  }
  void remove(size_t i) { ev_timer_stop(loop_, &timers_[i]); }
  size_t count() const {
    return static_cast<size_t>(
        std::count_if(timers_.begin(), timers_.end(), [](const ev_timer& each) { return ev_is_active(&each); }));
  }

 private:
  struct ev_loop* loop_;
  std::array<ev_timer, kTimers> timers_ = {};
  std::array<double, kTimers> seconds_ = {};
};

class Libuv {
 public:
  Libuv() {
    uv_loop_init(&loop_);
    for (uv_timer_t& timer : timers_) {
      uv_timer_init(&loop_, &timer);
    }
    for (size_t i = 0; i < kTimers; ++i) {
      milliseconds_[i] = static_cast<uint64_t>(delays()[i].tv_sec * 1000 + delays()[i].tv_usec / 1000);
    }
  }
  ~Libuv() {
    for (uv_timer_t& timer : timers_) {
      uv_close(reinterpret_cast<uv_handle_t*>(&timer), nullptr);
    }
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_loop_close(&loop_);
  }
  Libuv(const Libuv&) = delete;
  Libuv& operator=(const Libuv&) = delete;

  void arm(size_t i) { start(i, i); }
  void update(size_t i, size_t delay) { start(i, delay); }
  void remove(size_t i) { uv_timer_stop(&timers_[i]); }
  size_t count() const {
    return static_cast<size_t>(std::count_if(timers_.begin(), timers_.end(), [](const uv_timer_t& each) {
      return uv_is_active(reinterpret_cast<const uv_handle_t*>(&each)) != 0;
    }));
  }

 private:
  void start(size_t i, size_t delay) {
    uv_timer_start(
        &timers_[i], [](uv_timer_t*) { ++g_expiries; }, milliseconds_[delay], 0);
  }

  uv_loop_t loop_;
  std::array<uv_timer_t, kTimers> timers_;
  std::array<uint64_t, kTimers> milliseconds_ = {};
};

// ---- Arming, rearming, removing: the time for one timer of 79 ----

enum class Step { kArm, kUpdate, kRemove };

double seconds_now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <typename Function>
double seconds_of(Function function) {
  const double start = seconds_now();
  function();
  return seconds_now() - start;
}

// The seconds of one round of a step; negative if at first not all timers, or in the end not none, were armed.
template <typename Timers>
double seconds_of_step(Timers& timers, Step measured) {
  const double arming = seconds_of([&] {
    for (size_t i = 0; i < kTimers; ++i) {
      timers.arm(i);
    }
  });
  const size_t armed = timers.count();
  const double updating = seconds_of([&] {
    for (const size_t i : shuffled()) {
      timers.update(i, kTimers - 1 - i);
    }
  });
  const double removing = seconds_of([&] {
    for (const size_t i : shuffled()) {
      timers.remove(i);
    }
  });
  if (armed != kTimers || timers.count() != 0) {
    return -1;
  }
  return measured == Step::kArm ? arming : measured == Step::kUpdate ? updating : removing;
}

// A repetition is the median of many rounds, as in an average one interrupted round would weigh as much as a thousand
// others.
template <typename Timers>
void run(benchmark::State& state, Step measured) {
  constexpr size_t kRounds = 4001;
  Timers timers;
  std::vector<double> rounds(kRounds);
  for (auto _ : state) {
    std::generate(rounds.begin(), rounds.end(), [&] { return seconds_of_step(timers, measured); });
    if (*std::min_element(rounds.begin(), rounds.end()) < 0) {
      state.SkipWithError("not all timers are armed and removed");
      break;
    }
    std::nth_element(rounds.begin(), rounds.begin() + kRounds / 2, rounds.end());
    state.SetIterationTime(rounds[kRounds / 2] / kTimers);
  }
  if (g_expiries != 0) {
    state.SkipWithError("a timer has fired");
  }
}

// ---- 80 timers that expire at once and rearm themselves: the time for all of them ----

constexpr timeval kPeriod = {0, 20000};

int32_t on_period(void*, timeval* time, uint32_t) {
  ++g_expiries;
  *time = kPeriod;
  return 1;
}

void run_expiries(benchmark::State& state, void (*process)(TimeoutSet&, const timeval&)) {
  TimeoutSet set;
  NUV_TimeoutSet_construct(&set);
  for (uint32_t i = 0; i < NUV_TIMEOUTSET_SIZE; ++i) {
    NUV_TimeoutSet_setReceiver(&set, kPeriod, nullptr, i, 0, on_period);
  }
  g_expiries = 0;
  uint64_t expected = 0;
  for (auto _ : state) {
    process(set, kPeriod);
    expected += NUV_TIMEOUTSET_SIZE;
  }
  if (g_expiries != expected) {
    state.SkipWithError("not all timers have fired once per turn");
  }
  g_expiries = 0;
  NUV_TimeoutSet_destruct(&set);
}

void process_userlib(TimeoutSet& set, const timeval& elapsed) {
  NUV_TimeoutSet_process(&set, NUV_TIMEOUT_UNLIMITED, &elapsed);
}

template <typename Timers>
void add(const char* name, Step step, const char* side) {
  benchmark::RegisterBenchmark((std::string(name) + "/" + side).c_str(),
                               [step](auto& state) { run<Timers>(state, step); })
      ->UseManualTime()
      ->Iterations(1);
}

[[maybe_unused]] const bool kRegistered = [] {
  for (const auto& [name, step] :
       {std::pair{"arm", Step::kArm}, {"update", Step::kUpdate}, {"remove", Step::kRemove}}) {
    add<Userlib>(name, step, "userlib");
    add<Bare>(name, step, "limit");
    add<Libevent>(name, step, "libevent");
    add<Libev>(name, step, "libev");
    add<Libuv>(name, step, "libuv");
  }
  benchmark::RegisterBenchmark("expire_80/userlib", run_expiries, process_userlib);
  benchmark::RegisterBenchmark("expire_80/limit", run_expiries, scan_timers);
  return true;
}();

}  // namespace
