// The reactor under load: a thousand real descriptors, eighty timers and signals, with every byte counted. Before each
// cycle a model predicts which receivers must be called, and which timers may be.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "doubles/descriptors.h"
#include "doubles/fake_clock.h"
#include "nuv_select.h"

namespace {

using support::count_open_descriptors;
using support::FakeClock;

constexpr size_t kFeeds = 1000;
constexpr size_t kTimers = NUV_TIMEOUTSET_SIZE;
constexpr size_t kMostTimers = 1000;
constexpr int kArrivals = 20000;
constexpr uint64_t kMostWaiting = 4096;  // a pipe holds 16 times as much, so it is always writable
constexpr int kSignals = 200;
constexpr int kMostTurns = 100000;  // many more than needed; ends the test if something is lost

constexpr uint32_t kInternal = NUV_SELECT_INTERNAL;
constexpr uint32_t kExternal = NUV_SELECT_EXTERNAL;
constexpr uint32_t kUnlimited = NUV_TIMEOUT_UNLIMITED;

constexpr int64_t kMillisecond = 1000;

timeval timeval_of(int64_t microseconds) {
  return {static_cast<time_t>(microseconds / 1000000), static_cast<suseconds_t>(microseconds % 1000000)};
}

int64_t microseconds_of(const timeval& time) {
  return time.tv_sec * 1000000 + time.tv_usec;
}

// ---- A descriptor and its model ----

struct Feed {
  enum class Life { kNone, kStays, kOneCycle };

  int fd = -1;  // both ends of a pipe
  uint32_t number = 0;
  uint64_t written = 0;
  uint64_t taken = 0;

  Life life = Life::kNone;  // of the read receiver
  uint32_t type = kInternal;
  uint32_t generation = 0;  // counts its registrations
  bool has_writer = false;  // a one-cycle write receiver
  uint32_t writer_type = kInternal;

  // In this cycle.
  bool must_fire = false;
  bool writer_must_fire = false;
  uint32_t fired = 0;
  uint32_t writer_fired = 0;

  uint64_t waiting() const { return written - taken; }
  bool is_registered() const { return life != Life::kNone; }
  bool is_ready(uint32_t event_type) const { return is_registered() && type == event_type && waiting() > 0; }
  uint32_t tag() const { return generation << 10 | number; }
};

// Differs between neighbours in a pipe and between neighbouring pipes.
uint8_t byte_of(uint32_t number, uint64_t position) {
  return static_cast<uint8_t>(number * 37 + position);
}

void put_byte(int fd, uint8_t byte) {
  if (write(fd, &byte, 1) != 1) {
    abort();
  }
}

// ---- A timer and its model ----

struct Timer {
  uint32_t id = 0;
  int64_t due = 0;
  int64_t period = 0;
  bool is_one_shot = false;
  bool is_live = true;
  uint32_t fired = 0;
  uint32_t wanted = 1;
  uint32_t fired_in_turn = 0;
};

// ---- Signals ----

volatile sig_atomic_t g_signals = 0;
volatile sig_atomic_t g_signal_fd = -1;  // the handler writes here, if not -1
volatile sig_atomic_t g_signal_start = 0;

// Writes to the first feed.
void note_alarm(int) {
  if (g_signal_fd >= 0) {
    put_byte(g_signal_fd, byte_of(0, static_cast<uint64_t>(g_signal_start + g_signals)));
    g_signals = g_signals + 1;
  }
}

// An alarm every millisecond during its lifetime.
class Alarms {
 public:
  Alarms() {
    struct sigaction action = {};
    action.sa_handler = note_alarm;
    // Restarts everything but select(), which is interrupted in any case.
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, &before_);
    const itimerval ticks = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &ticks, nullptr);
  }
  ~Alarms() {
    // A pending alarm must not reach the former handler, which may end the process.
    sigset_t alarm;
    sigset_t mask;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    sigprocmask(SIG_BLOCK, &alarm, &mask);
    const itimerval none = {};
    setitimer(ITIMER_REAL, &none, nullptr);
    const timespec at_once = {};
    while (sigtimedwait(&alarm, nullptr, &at_once) > 0) {
    }
    sigaction(SIGALRM, &before_, nullptr);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
  }
  Alarms(const Alarms&) = delete;
  Alarms& operator=(const Alarms&) = delete;

 private:
  struct sigaction before_ = {};
};

// Raises the limit to the descriptors that select() supports during its lifetime.
class DescriptorLimit {
 public:
  DescriptorLimit() {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit wanted = before_;
    wanted.rlim_cur = std::min<rlim_t>(std::max<rlim_t>(before_.rlim_cur, FD_SETSIZE), before_.rlim_max);
    setrlimit(RLIMIT_NOFILE, &wanted);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_ = {};
};

// ---- The reactor and its model ----

class Soak {
 public:
  Soak() {
    clock_.let_select_through();
    NUV_Select_construct(&reactor_);
    mark_ = now();
    g_signal_fd = -1;
    g_signals = 0;
  }
  ~Soak() {
    NUV_Select_destruct(&reactor_);
    for (const Feed& feed : feeds_) {
      close(feed.fd);
    }
  }
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  // Returns false if there are not enough descriptors below FD_SETSIZE.
  bool open_feeds();

  void register_all();
  void fill_timers();

  void run();
  void calm_down();
  void wait_for_signals();
  void remove_all();

  // How often this event happened.
  int times(const std::string& what) const { return seen_.contains(what) ? seen_.at(what) : 0; }

  uint64_t written() const { return total(&Feed::written); }
  uint64_t taken() const { return total(&Feed::taken); }
  const std::vector<Feed>& feeds() const { return feeds_; }
  const std::vector<Timer>& timers() const { return timers_; }
  const Select& reactor() const { return reactor_; }
  int32_t process(timeval* wait) { return NUV_Select_process(&reactor_, wait); }

 private:
  // The expected result of the next cycle.
  struct Prediction {
    bool is_internal_only = false;
    int32_t result = 0;
    uint32_t timer_budget = 0;
  };

  static int32_t on_read(void* soak, int32_t fd, uint32_t tag);
  static int32_t on_write(void* soak, int32_t fd, uint32_t tag);
  static int32_t on_timer(void* soak, timeval* remaining, uint32_t index);

  uint32_t random(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
  bool happens_once_in(uint32_t count) { return random(count) == 0; }
  void note(const char* what) { ++seen_[what]; }
  int64_t now() const { return microseconds_of(clock_.now()); }
  bool has_room_for_timer() const { return NUV_TimeoutSet_available(&reactor_.m_oTimeout) == 1; }
  Feed& any_feed() { return feeds_[random(kFeeds)]; }
  uint64_t total(uint64_t Feed::*figure) const;
  uint32_t receivers(uint32_t type) const;

  void set(Feed& feed, uint32_t type, Feed::Life life);
  void remove(Feed& feed);
  void set_writer(Feed& feed, uint32_t type);
  void put(Feed& feed, uint32_t length);
  void take(Feed& feed, uint64_t most);
  void act_in_read(Feed& feed);
  void add_timer();
  void remove_any_timer();
  void update_any_timer();
  void act_outside();

  bool goes_well();
  void turn();
  Prediction predict();
  bool is_any_timer_overdue() const;
  void purge_model(uint32_t type);
  void verify_feeds() const;
  void verify_timers(uint32_t budget);
  void verify_counts() const;

  FakeClock clock_;
  Select reactor_;
  std::mt19937 random_{20};
  std::vector<Feed> feeds_;
  std::vector<Timer> timers_;
  int64_t mark_ = 0;  // the reactor's last time mark
  bool is_calm_ = false;
  int turns_ = 0;
  std::map<std::string, int> seen_;
};

bool Soak::open_feeds() {
  while (feeds_.size() < kFeeds) {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
      return false;
    }
    Feed feed;
    const std::string name = "/proc/self/fd/" + std::to_string(ends[0]);
    feed.fd = open(name.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    feed.number = static_cast<uint32_t>(feeds_.size());
    close(ends[0]);
    close(ends[1]);
    if (feed.fd < 0) {
      return false;
    }
    feeds_.push_back(feed);
    if (feed.fd >= FD_SETSIZE) {
      return false;
    }
  }
  return true;
}

uint64_t Soak::total(uint64_t Feed::*figure) const {
  uint64_t sum = 0;
  for (const Feed& feed : feeds_) {
    sum += feed.*figure;
  }
  return sum;
}

uint32_t Soak::receivers(uint32_t type) const {
  uint32_t count = 0;
  for (const Feed& feed : feeds_) {
    count += feed.is_registered() && feed.type == type;
    count += feed.has_writer && feed.writer_type == type;
  }
  return count;
}

// ---- Changes of the reactor and its model ----

void Soak::set(Feed& feed, uint32_t type, Feed::Life life) {
  ++feed.generation;
  feed.type = type;
  feed.life = life;
  if (life == Feed::Life::kOneCycle) {
    NUV_Select_internalSetTempRead(&reactor_, type, feed.fd, this, feed.tag(), on_read);
  } else if (type == kInternal) {
    NUV_Select_setRead(&reactor_, feed.fd, this, feed.tag(), on_read);
  } else {
    NUV_Select_setReadExternal(&reactor_, feed.fd, this, feed.tag(), on_read);
  }
}

void Soak::remove(Feed& feed) {
  feed.life = Feed::Life::kNone;
  NUV_Select_internalRemoveRead(&reactor_, feed.type, feed.fd);
}

void Soak::set_writer(Feed& feed, uint32_t type) {
  feed.has_writer = true;
  feed.writer_type = type;
  NUV_Select_internalSetTempWrite(&reactor_, type, feed.fd, this, feed.number, on_write);
}

void Soak::put(Feed& feed, uint32_t length) {
  for (uint32_t i = 0; i < length && feed.waiting() < kMostWaiting; ++i) {
    put_byte(feed.fd, byte_of(feed.number, feed.written));
    ++feed.written;
  }
}

void Soak::take(Feed& feed, uint64_t most) {
  std::vector<uint8_t> bytes(static_cast<size_t>(most));
  const ssize_t count = read(feed.fd, bytes.data(), bytes.size());
  ASSERT_GT(count, 0) << "feed " << feed.number << " was called without data";
  for (ssize_t i = 0; i < count; ++i) {
    ASSERT_EQ(bytes[static_cast<size_t>(i)], byte_of(feed.number, feed.taken)) << "feed " << feed.number;
    ++feed.taken;
  }
}

void Soak::add_timer() {
  if (timers_.size() == kMostTimers || !has_room_for_timer()) {
    return;
  }
  Timer timer;
  timer.is_one_shot = happens_once_in(4);
  // With internal receivers a cycle serves at most one timer, so timers must not fall due too often.
  timer.wanted = timer.is_one_shot ? 1 : 1 + random(12);
  timer.period = (100 + random(2000)) * kMillisecond;
  const int64_t delay = random(2000) * kMillisecond;
  timer.due = mark_ + delay;
  const auto index = static_cast<uint32_t>(timers_.size());
  timer.id = timer.is_one_shot ? NUV_Select_setTempTimeout(&reactor_, timeval_of(delay), this, index, on_timer)
                               : NUV_Select_setTimeout(&reactor_, timeval_of(delay), this, index, on_timer);
  timers_.push_back(timer);
}

void Soak::remove_any_timer() {
  Timer& timer = timers_[random(static_cast<uint32_t>(timers_.size()))];
  if (timer.is_live && has_room_for_timer()) {
    timer.is_live = false;
    timer.wanted = timer.fired;
    NUV_Select_removeTimeout(&reactor_, timer.id);
    note("timer removed");
  }
}

void Soak::update_any_timer() {
  Timer& timer = timers_[random(static_cast<uint32_t>(timers_.size()))];
  if (timer.is_live && has_room_for_timer()) {
    const int64_t delay = random(1000) * kMillisecond;
    timer.due = mark_ + delay;
    NUV_Select_updateTimeout(&reactor_, timer.id, timeval_of(delay));
    note("timer updated");
  }
}

// ---- Callbacks ----

// Does not touch other receivers that are still to be called in this cycle: the reactor forbids that.
void Soak::act_in_read(Feed& feed) {
  Feed& other = any_feed();
  switch (random(16)) {
    case 0:
      remove(feed);
      note("removes itself");
      break;
    case 1:
      remove(feed);
      set(feed, feed.type, Feed::Life::kStays);
      note("removes and sets itself");
      break;
    case 2:
      remove(feed);
      set(feed, 1 - feed.type, Feed::Life::kStays);
      note("changes its event type");
      break;
    case 3:
      set(feed, feed.type, Feed::Life::kStays);
      note("replaces itself");
      break;
    case 4:
      if (other.is_registered() && (other.waiting() == 0 || other.type != feed.type)) {
        remove(other);
        note("removes another");
      }
      break;
    case 5:
      if (!other.is_registered()) {
        set(other, random(2), Feed::Life::kStays);
        note("sets another");
      }
      break;
    case 6:
      if (!other.is_registered()) {
        set(other, random(2), Feed::Life::kOneCycle);
        note("sets another for one cycle");
      }
      break;
    case 7:
      put(other, 1 + random(32));
      note("writes to another");
      break;
    case 8:
      add_timer();
      break;
    case 9:
      remove_any_timer();
      break;
    case 10:
      update_any_timer();
      break;
    default:
      break;
  }
}

int32_t Soak::on_read(void* soak, int32_t fd, uint32_t tag) {
  auto& self = *static_cast<Soak*>(soak);
  Feed& feed = self.feeds_[tag % 1024];
  EXPECT_EQ(feed.fd, fd);
  EXPECT_TRUE(feed.is_registered()) << "feed " << feed.number << " was removed";
  EXPECT_EQ(feed.tag(), tag) << "feed " << feed.number << " was replaced";
  ++feed.fired;
  if (self.is_calm_) {
    self.take(feed, kMostWaiting);
  } else {
    self.take(feed, 1 + self.random(40));
    self.act_in_read(feed);
  }
  return static_cast<int32_t>(self.random(3)) - 1;
}

int32_t Soak::on_write(void* soak, int32_t fd, uint32_t number) {
  auto& self = *static_cast<Soak*>(soak);
  Feed& feed = self.feeds_[number];
  EXPECT_EQ(feed.fd, fd);
  EXPECT_TRUE(feed.has_writer);
  ++feed.writer_fired;
  self.put(feed, 1 + self.random(8));
  self.note("write receiver called");
  return 0;
}

int32_t Soak::on_timer(void* soak, timeval* remaining, uint32_t index) {
  auto& self = *static_cast<Soak*>(soak);
  // Looked up each time, because adding timers may move them.
  const auto timer = [&self, index]() -> Timer& { return self.timers_[index]; };
  EXPECT_TRUE(timer().is_live) << "timer " << index << " was called after its end";
  EXPECT_LE(timer().due, self.now()) << "timer " << index << " fired early";
  ++timer().fired;
  ++timer().fired_in_turn;
  if (timer().fired == timer().wanted) {
    timer().is_live = false;
  }
  if (!self.is_calm_) {
    Feed& feed = self.any_feed();
    switch (self.random(8)) {
      case 0:
        if (feed.is_registered()) {
          self.remove(feed);
          self.note("removed by a timer");
        }
        break;
      case 1:
        if (!feed.is_registered()) {
          self.set(feed, self.random(2), self.happens_once_in(3) ? Feed::Life::kOneCycle : Feed::Life::kStays);
        }
        break;
      case 2:
        self.put(feed, 1 + self.random(32));
        break;
      case 3:
        self.add_timer();
        break;
      case 4:
        self.remove_any_timer();
        break;
      default:
        break;
    }
  }
  if (timer().is_one_shot) {
    return static_cast<int32_t>(self.random(2));
  }
  if (timer().is_live && !(self.happens_once_in(20) && !self.is_calm_)) {
    timer().due = self.now() + timer().period;
    *remaining = timeval_of(timer().period);
  }
  return timer().is_live ? 1 : 0;
}

// ---- One cycle ----

void Soak::act_outside() {
  if (happens_once_in(4)) {
    for (uint32_t count = random(48); count > 0; --count) {
      put(any_feed(), 1 + random(32));
      note("arrival");
    }
  }
  for (int i = 0; i < 4; ++i) {
    Feed& feed = any_feed();
    const uint32_t type = random(2);
    switch (random(8)) {
      case 0:
      case 1:
        if (!feed.is_registered()) {
          set(feed, type, Feed::Life::kStays);
        }
        break;
      case 2:
        if (!feed.is_registered()) {
          set(feed, type, Feed::Life::kOneCycle);
          note("one cycle");
        }
        break;
      case 3:
        if (!feed.has_writer) {
          set_writer(feed, happens_once_in(4) ? kInternal : kExternal);
        }
        break;
      case 4:
        if (feed.is_registered() && happens_once_in(4)) {
          remove(feed);
        }
        break;
      default:
        break;
    }
  }
  if (happens_once_in(16)) {
    add_timer();
  }
}

// The wait for an overdue timer would be negative, which select() refuses.
bool Soak::is_any_timer_overdue() const {
  return std::any_of(timers_.begin(), timers_.end(),
                     [this](const Timer& timer) { return timer.is_live && timer.due < mark_; });
}

Soak::Prediction Soak::predict() {
  Prediction prediction;
  const bool has_internal = receivers(kInternal) > 0;
  uint32_t reads[2] = {};
  uint32_t writes[2] = {};
  for (const Feed& feed : feeds_) {
    reads[feed.type] += feed.is_ready(feed.type);
    writes[feed.writer_type] += feed.has_writer;
  }
  const auto expect_calls = [this](uint32_t type, bool with_reads, bool with_writes) {
    for (Feed& feed : feeds_) {
      feed.must_fire = with_reads && feed.is_ready(type);
      feed.writer_must_fire = with_writes && feed.has_writer && feed.writer_type == type;
    }
  };
  if (reads[kInternal] + writes[kInternal] > 0) {
    prediction.is_internal_only = true;
    prediction.result = static_cast<int32_t>(reads[kInternal] + writes[kInternal]);
    expect_calls(kInternal, true, true);
    return prediction;
  }
  // The poll of the internal receivers ends without a callback and purges.
  purge_model(kInternal);
  uint32_t budget = has_internal ? 1 : kUnlimited;
  if (is_any_timer_overdue()) {
    note("overdue");
    prediction.result = -1;
    expect_calls(kExternal, false, false);
  } else {
    prediction.result = static_cast<int32_t>(reads[kExternal] + writes[kExternal]);
    budget -= budget != kUnlimited ? reads[kExternal] : 0;
    expect_calls(kExternal, true, budget != 0);
    if (budget == 0 && writes[kExternal] > 0) {
      note("write receiver not called");
    }
    budget -= budget != kUnlimited && budget != 0 ? writes[kExternal] : 0;
  }
  prediction.timer_budget = budget;
  return prediction;
}

// Removes the receivers that last for one cycle of this type.
void Soak::purge_model(uint32_t type) {
  for (Feed& feed : feeds_) {
    if (feed.life == Feed::Life::kOneCycle && feed.type == type) {
      feed.life = Feed::Life::kNone;
    }
    if (feed.has_writer && feed.writer_type == type) {
      feed.has_writer = false;
    }
  }
}

// Stops the test at the first failure, because later ones only follow from it.
bool Soak::goes_well() {
  EXPECT_LT(++turns_, kMostTurns);
  return !testing::Test::HasFailure();
}

void Soak::turn() {
  clock_.advance(timeval_of((1 + random(4)) * kMillisecond));
  for (Feed& feed : feeds_) {
    feed.fired = 0;
    feed.writer_fired = 0;
  }
  for (Timer& timer : timers_) {
    timer.fired_in_turn = 0;
  }
  const Prediction prediction = predict();
  timeval poll = {0, 0};
  const int32_t result = process(&poll);
  if (result == -1 && prediction.result == 0) {
    note("interrupted");
  } else {
    EXPECT_EQ(result, prediction.result);
  }
  verify_feeds();
  if (prediction.is_internal_only) {
    note("internal only");
    purge_model(kInternal);
  } else {
    verify_timers(prediction.timer_budget);
    purge_model(kExternal);
    mark_ = now();
  }
  verify_counts();
}

void Soak::verify_feeds() const {
  for (const Feed& feed : feeds_) {
    if (feed.fired != feed.must_fire || feed.writer_fired != feed.writer_must_fire) {
      ADD_FAILURE() << "feed " << feed.number << " was called " << feed.fired << " times to read and "
                    << feed.writer_fired << " times to write, instead of " << feed.must_fire << " and "
                    << feed.writer_must_fire;
    }
  }
}

void Soak::verify_timers(uint32_t budget) {
  uint32_t fired = 0;
  uint32_t left_out = 0;
  for (const Timer& timer : timers_) {
    EXPECT_LE(timer.fired_in_turn, 1U);
    fired += timer.fired_in_turn;
    left_out += timer.is_live && timer.due <= now() && timer.fired_in_turn == 0;
  }
  if (budget == 0) {
    EXPECT_EQ(fired, 0U);
    note("no budget for timers");
  } else if (budget == 1) {
    EXPECT_LE(fired, 1U);
    EXPECT_TRUE(fired == 1 || left_out == 0);
    note("budget for one timer");
  } else {
    EXPECT_EQ(left_out, 0U);
    note("budget for all timers");
  }
}

void Soak::verify_counts() const {
  uint32_t reads[2] = {};
  uint32_t writes[2] = {};
  for (const Feed& feed : feeds_) {
    reads[feed.type] += feed.is_registered();
    writes[feed.writer_type] += feed.has_writer;
  }
  for (const uint32_t type : {kInternal, kExternal}) {
    EXPECT_EQ(reactor_.m_oRead[type].m_uCount, reads[type]);
    EXPECT_EQ(reactor_.m_oWrite[type].m_uCount, writes[type]);
  }
  const auto live = std::count_if(timers_.begin(), timers_.end(), [](const Timer& timer) { return timer.is_live; });
  EXPECT_EQ(reactor_.m_oTimeout.m_uCount, static_cast<uint32_t>(live));
}

// ---- The whole run ----

void Soak::register_all() {
  for (Feed& feed : feeds_) {
    if (!feed.is_registered()) {
      set(feed, random(2), Feed::Life::kStays);
    }
  }
}

void Soak::fill_timers() {
  while (has_room_for_timer()) {
    add_timer();
  }
}

void Soak::run() {
  const Alarms alarms;
  while (times("arrival") < kArrivals && goes_well()) {
    act_outside();
    turn();
  }
}

// No more data arrives and callbacks only read: reads the rest, and lets the timers run out.
void Soak::calm_down() {
  is_calm_ = true;
  const auto is_live = [](const Timer& timer) { return timer.is_live; };
  while ((written() != taken() || std::any_of(timers_.begin(), timers_.end(), is_live)) && goes_well()) {
    register_all();
    turn();
  }
  register_all();
}

// Each signal writes a byte to the first feed, which is external. The reactor waits without a bound, so only a signal
// ends the wait.
void Soak::wait_for_signals() {
  Feed& feed = feeds_[0];
  remove(feed);
  set(feed, kExternal, Feed::Life::kStays);
  g_signal_start = static_cast<sig_atomic_t>(feed.written);
  g_signal_fd = feed.fd;
  {
    const Alarms alarms;
    while (g_signals < kSignals && goes_well()) {
      const uint32_t before = feed.fired;
      const int32_t result = process(nullptr);
      ASSERT_TRUE(result == -1 || result == 1) << result;
      EXPECT_EQ(feed.fired - before, result == 1 ? 1U : 0U);
      note(result == 1 ? "signal's byte" : "interrupted without a bound");
    }
  }
  g_signal_fd = -1;
  feed.written += static_cast<uint64_t>(g_signals);
  while (feed.waiting() > 0 && goes_well()) {
    turn();
  }
}

void Soak::remove_all() {
  for (Feed& feed : feeds_) {
    remove(feed);
  }
}

// ---- Tests ----

TEST(SelectSoak, ServesAThousandDescriptorsAndEightyTimers) {
  const DescriptorLimit limit;
  const size_t descriptors = count_open_descriptors();
  {
    const auto soak = std::make_unique<Soak>();
    if (!soak->open_feeds()) {
      GTEST_SKIP() << "no " << kFeeds << " descriptors below " << FD_SETSIZE
                   << ": the limit is too low, or the test program has inherited too many";
    }
    soak->register_all();
    soak->fill_timers();
    ASSERT_EQ(soak->reactor().m_oRead[kInternal].m_uCount + soak->reactor().m_oRead[kExternal].m_uCount, kFeeds);
    ASSERT_EQ(soak->reactor().m_oTimeout.m_uCount, kTimers);

    soak->run();
    soak->calm_down();
    soak->wait_for_signals();

    EXPECT_EQ(soak->taken(), soak->written());
    for (const Feed& feed : soak->feeds()) {
      uint8_t byte = 0;
      EXPECT_EQ(feed.taken, feed.written) << "feed " << feed.number;
      EXPECT_EQ(read(feed.fd, &byte, 1), -1) << "feed " << feed.number;
    }
    EXPECT_GT(soak->timers().size(), kTimers);
    for (const Timer& timer : soak->timers()) {
      EXPECT_FALSE(timer.is_live);
      EXPECT_EQ(timer.fired, timer.wanted);
    }
    for (const char* what : {"removes itself",
                             "removes and sets itself",
                             "changes its event type",
                             "replaces itself",
                             "removes another",
                             "sets another",
                             "sets another for one cycle",
                             "writes to another",
                             "removed by a timer",
                             "one cycle",
                             "write receiver called",
                             "write receiver not called",
                             "timer removed",
                             "timer updated",
                             "overdue",
                             "internal only",
                             "no budget for timers",
                             "budget for one timer",
                             "budget for all timers",
                             "interrupted without a bound",
                             "signal's byte"}) {
      EXPECT_GT(soak->times(what), 0) << what;
      RecordProperty(what, soak->times(what));
    }

    soak->remove_all();
    for (const uint32_t type : {kInternal, kExternal}) {
      EXPECT_EQ(soak->reactor().m_oRead[type].m_pFirst, nullptr);
      EXPECT_EQ(soak->reactor().m_oWrite[type].m_pFirst, nullptr);
      EXPECT_EQ(soak->reactor().m_oExcept[type].m_pFirst, nullptr);
    }
    EXPECT_EQ(soak->process(nullptr), 0) << "nothing is left to wait for";
  }
  EXPECT_EQ(count_open_descriptors(), descriptors);
}

}  // namespace
