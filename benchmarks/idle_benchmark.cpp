// Does a daemon that mostly sleeps pay for what makes a busy one quick? One descriptor of a hundred becomes ready every
// half millisecond; measures CPU time and waiting system calls per event.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <event2/event.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "nuv_select.h"

#undef EV_READ  // of libevent; libev defines its own
#undef EV_WRITE
#undef EV_TIMEOUT
#undef EV_SIGNAL
#include <ev.h>

namespace {

uint64_t g_selects = 0;
uint64_t g_events = 0;

}  // namespace

// Replaces the C library's select() for all libraries.
extern "C" int select(int count, fd_set* read_fds, fd_set* write_fds, fd_set* except_fds, timeval* wait) {
  using Function = int (*)(int, fd_set*, fd_set*, fd_set*, timeval*);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "select"));
  ++g_selects;
  return real(count, read_fds, write_fds, except_fds, wait);
}

namespace {

constexpr int kDescriptors = 100;
constexpr long kPeriodNanoseconds = 500000;

// Idle descriptors, followed by one that becomes ready every period.
class Descriptors {
 public:
  Descriptors() {
    for (int i = 0; i < kDescriptors - 1; ++i) {
      fds_.push_back(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    }
    fds_.push_back(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    const itimerspec period = {{0, kPeriodNanoseconds}, {0, kPeriodNanoseconds}};
    timerfd_settime(fds_.back(), 0, &period, nullptr);
  }
  ~Descriptors() {
    for (const int fd : fds_) {
      close(fd);
    }
  }
  Descriptors(const Descriptors&) = delete;
  Descriptors& operator=(const Descriptors&) = delete;

  const std::vector<int>& all() const { return fds_; }

 private:
  std::vector<int> fds_;
};

void take_event(int fd) {
  uint64_t expirations = 0;
  if (read(fd, &expirations, sizeof expirations) == sizeof expirations) {
    ++g_events;
  }
}

class Userlib {
 public:
  explicit Userlib(const Descriptors& fds) {
    NUV_Select_construct(&reactor_);
    for (const int fd : fds.all()) {
      NUV_Select_setReadExternal(&reactor_, fd, nullptr, 0, [](void*, int32_t ready, uint32_t) {
        take_event(ready);
        return 0;
      });
    }
  }
  ~Userlib() { NUV_Select_destruct(&reactor_); }
  Userlib(const Userlib&) = delete;
  Userlib& operator=(const Userlib&) = delete;

  void turn() { NUV_Select_process(&reactor_, nullptr); }

 private:
  Select reactor_;
};

// Only waits.
class Bare {
 public:
  explicit Bare(const Descriptors& fds) : last_(fds.all().back()) {
    FD_ZERO(&all_);
    FD_ZERO(&none_);
    for (const int fd : fds.all()) {
      FD_SET(fd, &all_);
    }
  }

  void turn() {
    fd_set read_fds = all_;
    fd_set write_fds = none_;
    fd_set except_fds = none_;
    if (select(FD_SETSIZE, &read_fds, &write_fds, &except_fds, nullptr) > 0 && FD_ISSET(last_, &read_fds)) {
      take_event(last_);
    }
  }

 private:
  int last_;
  fd_set all_;
  fd_set none_;
};

class Libevent {
 public:
  explicit Libevent(const Descriptors& fds) {
    event_config* config = event_config_new();
    for (const char* method : {"epoll", "poll"}) {
      event_config_avoid_method(config, method);
    }
    base_ = event_base_new_with_config(config);
    event_config_free(config);
    for (const int fd : fds.all()) {
      events_.push_back(event_new(base_, fd, kReadable | EV_PERSIST, on_event, nullptr));
      event_add(events_.back(), nullptr);
    }
  }
  ~Libevent() {
    for (event* each : events_) {
      event_free(each);
    }
    event_base_free(base_);
  }
  Libevent(const Libevent&) = delete;
  Libevent& operator=(const Libevent&) = delete;

  void turn() { event_base_loop(base_, EVLOOP_ONCE); }

 private:
  static constexpr short kReadable = 2;  // EV_READ of libevent
  static void on_event(evutil_socket_t fd, short, void*) { take_event(fd); }

  event_base* base_;
  std::vector<event*> events_;
};

class Libev {
 public:
  explicit Libev(const Descriptors& fds)
      : loop_(ev_loop_new(unsigned{EVBACKEND_SELECT} | unsigned{EVFLAG_NOENV})), watchers_(fds.all().size()) {
    for (size_t i = 0; i < watchers_.size(); ++i) {
      ev_io_init(&watchers_[i], on_io, fds.all()[i], EV_READ);
      ev_io_start(loop_, &watchers_[i]);
    }
  }
  ~Libev() { ev_loop_destroy(loop_); }
  Libev(const Libev&) = delete;
  Libev& operator=(const Libev&) = delete;

  void turn() { ev_run(loop_, EVRUN_ONCE); }

 private:
  static void on_io(struct ev_loop*, ev_io* watcher, int) { take_event(watcher->fd); }

  struct ev_loop* loop_;
  std::vector<ev_io> watchers_;
};

template <typename Loop>
void run(benchmark::State& state) {
  const Descriptors fds;
  Loop loop(fds);
  g_selects = 0;
  g_events = 0;
  uint64_t expected = 0;
  for (auto _ : state) {
    ++expected;
    while (g_events < expected) {
      loop.turn();
    }
  }
  if (g_events != expected || g_selects < expected) {
    state.SkipWithError("events or system calls were not counted");
  }
  state.counters["selects"] = static_cast<double>(g_selects) / static_cast<double>(expected);
}

template <typename Loop>
void add(const char* side) {
  const std::string name = std::string("event_now_and_then/") + side;
  benchmark::RegisterBenchmark(name.c_str(), run<Loop>)->Iterations(1500);
}

[[maybe_unused]] const bool kRegistered = [] {
  add<Userlib>("userlib");
  add<Bare>("limit");
  add<Libevent>("libevent");
  add<Libev>("libev");
  return true;
}();

}  // namespace
