// What does it cost to bring one event from the kernel to its callback? Ready descriptors stay ready, so that only the
// loop is measured.
#include <benchmark/benchmark.h>
#include <glib-unix.h>
#include <glib.h>
#include <sched.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <systemd/sd-event.h>
#include <time.h>
#include <unistd.h>
#include <uv.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bare_loop.h"
#include "nuv_select.h"

#include <ev.h>
// libevent and libev define EV_READ with different values.
constexpr int kEvRead = EV_READ;
#include <event2/event.h>

namespace {

struct Scene {
  std::string name;
  int descriptors = 1;
  int active = 1;
  int timers = 0;
  bool internal = false;  // one more descriptor, of the internal class
};

uint64_t g_events = 0;

int open_eventfd(uint64_t value) {
  return eventfd(static_cast<unsigned>(value), EFD_NONBLOCK | EFD_CLOEXEC);
}

// The descriptors of a scene, numbered from the lowest free one, as in a daemon. The highest ones are ready.
class Descriptors {
 public:
  explicit Descriptors(const Scene& scene) {
    for (int i = 0; i < scene.descriptors; ++i) {
      fds_.push_back(open_eventfd(i >= scene.descriptors - scene.active ? 1 : 0));
    }
    if (scene.internal) {
      internal_ = open_eventfd(0);
    }
  }
  ~Descriptors() {
    for (const int fd : fds_) {
      close(fd);
    }
    close(internal_);
  }
  Descriptors(const Descriptors&) = delete;
  Descriptors& operator=(const Descriptors&) = delete;

  const std::vector<int>& external() const { return fds_; }
  int internal() const { return internal_; }
  bool fit() const { return fds_.front() >= 0 && fds_.back() < FD_SETSIZE && internal_ < FD_SETSIZE; }

 private:
  std::vector<int> fds_;
  int internal_ = -1;
};

// select() visits as many bits as the process's descriptor table has, and the table never shrinks. Each scene gets a
// table of its own, so that one with a single descriptor does not pay for one with a thousand: the kernel copies only
// the open descriptors when a table that was shared with another process is unshared.
void use_small_table() {
  const long sharer = syscall(SYS_clone, CLONE_FILES | SIGCHLD, nullptr, nullptr, nullptr, 0L);
  if (sharer == 0) {
    for (;;) {
      pause();
    }
  }
  unshare(CLONE_FILES);
  kill(static_cast<pid_t>(sharer), SIGKILL);
  waitpid(static_cast<pid_t>(sharer), nullptr, 0);
}

// Timers that stay pending: a thousand seconds ahead and more.
constexpr int kFarSeconds = 1000;

// ---- userlib ----

int32_t on_ready(void*, int32_t, uint32_t) {
  ++g_events;
  return 0;
}

int32_t on_far_timer(void*, timeval*, uint32_t) {
  return 1;
}

class Userlib {
 public:
  Userlib(const Scene& scene, const Descriptors& fds) {
    NUV_Select_construct(&reactor_);
    for (const int fd : fds.external()) {
      NUV_Select_setReadExternal(&reactor_, fd, nullptr, 0, on_ready);
    }
    if (scene.internal) {
      NUV_Select_setRead(&reactor_, fds.internal(), nullptr, 0, on_ready);
    }
    for (int i = 0; i < scene.timers; ++i) {
      NUV_Select_setTimeout(&reactor_, {kFarSeconds + i, 0}, nullptr, 0, on_far_timer);
    }
  }
  ~Userlib() { NUV_Select_destruct(&reactor_); }
  Userlib(const Userlib&) = delete;
  Userlib& operator=(const Userlib&) = delete;

  void turn() { NUV_Select_process(&reactor_, nullptr); }

 private:
  Select reactor_;
};

// ---- The limit: the same system calls and nothing else ----

class Bare {
 public:
  Bare(const Scene& scene, const Descriptors& fds)
      : loop_(fds.external(), fds.internal(), scene.timers, kFarSeconds, on_ready) {}
  void turn() { g_events += loop_.turn(); }

 private:
  BareLoop loop_;
};

// ---- libevent, with its back end for select() ----

class Libevent {
 public:
  Libevent(const Scene& scene, const Descriptors& fds) {
    event_config* config = event_config_new();
    for (const char* method : {"epoll", "poll", "devpoll", "kqueue", "evport"}) {
      event_config_avoid_method(config, method);
    }
    base_ = event_base_new_with_config(config);
    event_config_free(config);
    for (const int fd : fds.external()) {
      events_.push_back(event_new(base_, fd, EV_READ | EV_PERSIST, on_event, nullptr));
      event_add(events_.back(), nullptr);
    }
    for (int i = 0; i < scene.timers; ++i) {
      events_.push_back(event_new(base_, -1, 0, on_event, nullptr));
      const timeval wait = {kFarSeconds + i, 0};
      event_add(events_.back(), &wait);
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

  bool is_select() const { return std::string(event_base_get_method(base_)) == "select"; }
  void turn() { event_base_loop(base_, EVLOOP_ONCE); }

 private:
  static void on_event(evutil_socket_t, short, void*) { ++g_events; }

  event_base* base_;
  std::vector<event*> events_;
};

// ---- libev, with its back end for select() ----

class Libev {
 public:
  Libev(const Scene& scene, const Descriptors& fds)
      : loop_(ev_loop_new(unsigned{EVBACKEND_SELECT} | unsigned{EVFLAG_NOENV})),
        watchers_(fds.external().size()),
        timers_(static_cast<size_t>(scene.timers)) {
    for (size_t i = 0; i < watchers_.size(); ++i) {
      ev_io_init(&watchers_[i], on_io, fds.external()[i], kEvRead);
      ev_io_start(loop_, &watchers_[i]);
    }
    for (size_t i = 0; i < timers_.size(); ++i) {
      ev_timer_init(&timers_[i], on_timer, kFarSeconds + static_cast<double>(i), 0.);
      ev_timer_start(loop_, &timers_[i]);
    }
  }
  ~Libev() { ev_loop_destroy(loop_); }
  Libev(const Libev&) = delete;
  Libev& operator=(const Libev&) = delete;

  bool is_select() const { return ev_backend(loop_) == EVBACKEND_SELECT; }
  void turn() { ev_run(loop_, EVRUN_ONCE); }

 private:
  static void on_io(struct ev_loop*, ev_io*, int) { ++g_events; }
  static void on_timer(struct ev_loop*, ev_timer*, int) { ++g_events; }

  struct ev_loop* loop_;
  std::vector<ev_io> watchers_;
  std::vector<ev_timer> timers_;
};

// ---- libuv, on epoll ----

class Libuv {
 public:
  Libuv(const Scene& scene, const Descriptors& fds)
      : polls_(fds.external().size()), timers_(static_cast<size_t>(scene.timers)) {
    uv_loop_init(&loop_);
    for (size_t i = 0; i < polls_.size(); ++i) {
      uv_poll_init(&loop_, &polls_[i], fds.external()[i]);
      uv_poll_start(&polls_[i], UV_READABLE, [](uv_poll_t*, int, int) { ++g_events; });
    }
    for (size_t i = 0; i < timers_.size(); ++i) {
      uv_timer_init(&loop_, &timers_[i]);
      uv_timer_start(
          &timers_[i], [](uv_timer_t*) { ++g_events; }, (kFarSeconds + i) * 1000, 0);
    }
  }
  ~Libuv() {
    for (uv_poll_t& each : polls_) {
      uv_close(reinterpret_cast<uv_handle_t*>(&each), nullptr);
    }
    for (uv_timer_t& each : timers_) {
      uv_close(reinterpret_cast<uv_handle_t*>(&each), nullptr);
    }
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_loop_close(&loop_);
  }
  Libuv(const Libuv&) = delete;
  Libuv& operator=(const Libuv&) = delete;

  void turn() { uv_run(&loop_, UV_RUN_ONCE); }

 private:
  uv_loop_t loop_;
  std::vector<uv_poll_t> polls_;
  std::vector<uv_timer_t> timers_;
};

// ---- GLib, on poll() ----

class Glib {
 public:
  Glib(const Scene& scene, const Descriptors& fds) : context_(g_main_context_new()) {
    for (const int fd : fds.external()) {
      GSource* source = g_unix_fd_source_new(fd, G_IO_IN);
      g_source_set_callback(source, reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(on_fd)), nullptr,
                            nullptr);
      attach(source);
    }
    for (int i = 0; i < scene.timers; ++i) {
      GSource* source = g_timeout_source_new_seconds(static_cast<guint>(kFarSeconds + i));
      g_source_set_callback(source, on_timer, nullptr, nullptr);
      attach(source);
    }
  }
  ~Glib() {
    for (GSource* source : sources_) {
      g_source_destroy(source);
      g_source_unref(source);
    }
    g_main_context_unref(context_);
  }
  Glib(const Glib&) = delete;
  Glib& operator=(const Glib&) = delete;

  void turn() { g_main_context_iteration(context_, TRUE); }

 private:
  static gboolean on_fd(gint, GIOCondition, gpointer) {
    ++g_events;
    return G_SOURCE_CONTINUE;
  }
  static gboolean on_timer(gpointer) {
    ++g_events;
    return G_SOURCE_CONTINUE;
  }

  void attach(GSource* source) {
    g_source_attach(source, context_);
    sources_.push_back(source);
  }

  GMainContext* context_;
  std::vector<GSource*> sources_;
};

// ---- sd-event, on epoll ----

class SdEvent {
 public:
  SdEvent(const Scene& scene, const Descriptors& fds) {
    sd_event_new(&event_);
    for (const int fd : fds.external()) {
      sd_event_source* source = nullptr;
      sd_event_add_io(event_, &source, fd, 1 /* EPOLLIN */, on_io, nullptr);
      sources_.push_back(source);
    }
    uint64_t now = 0;
    sd_event_now(event_, CLOCK_MONOTONIC, &now);
    for (int i = 0; i < scene.timers; ++i) {
      sd_event_source* source = nullptr;
      const uint64_t due = now + (kFarSeconds + static_cast<uint64_t>(i)) * 1000000;
      sd_event_add_time(event_, &source, CLOCK_MONOTONIC, due, 0, on_time, nullptr);
      sources_.push_back(source);
    }
  }
  ~SdEvent() {
    for (sd_event_source* source : sources_) {
      sd_event_source_unref(source);
    }
    sd_event_unref(event_);
  }
  SdEvent(const SdEvent&) = delete;
  SdEvent& operator=(const SdEvent&) = delete;

  void turn() { sd_event_run(event_, UINT64_MAX); }

 private:
  static int on_io(sd_event_source*, int, uint32_t, void*) {
    ++g_events;
    return 0;
  }
  static int on_time(sd_event_source*, uint64_t, void*) {
    ++g_events;
    return 0;
  }

  sd_event* event_ = nullptr;
  std::vector<sd_event_source*> sources_;
};

// ---- The measurement ----

template <typename Loop>
constexpr bool kHasBackEnds = requires(const Loop& loop) {
  loop.is_select();
};

// One iteration ends when each ready descriptor has called back once; some loops need several turns for that.
template <typename Loop>
void run(benchmark::State& state, const Scene& scene) {
  use_small_table();
  const Descriptors fds(scene);
  if (!fds.fit()) {
    state.SkipWithError("the descriptors do not fit into an fd_set");
    return;
  }
  Loop loop(scene, fds);
  if constexpr (kHasBackEnds<Loop>) {
    if (!loop.is_select()) {
      state.SkipWithError("the peer does not use select()");
      return;
    }
  }
  const auto active = static_cast<uint64_t>(scene.active);
  for (int i = 0; i < 100; ++i) {
    loop.turn();
  }
  g_events = 0;
  uint64_t expected = 0;
  for (auto _ : state) {
    expected += active;
    do {
      loop.turn();
    } while (g_events < expected);
  }
  if (g_events != expected) {
    state.SkipWithError(("callbacks: " + std::to_string(g_events) + " instead of " + std::to_string(expected)).c_str());
  }
}

template <typename Loop>
void add(const Scene& scene, const char* side) {
  benchmark::RegisterBenchmark((scene.name + "/" + side).c_str(), [scene](auto& state) { run<Loop>(state, scene); });
}

void add_all(const Scene& scene) {
  add<Userlib>(scene, "userlib");
  add<Bare>(scene, "limit");
  if (scene.internal) {
    return;  // the peers have no internal descriptors
  }
  add<Libevent>(scene, "libevent");
  add<Libev>(scene, "libev");
  add<Libuv>(scene, "libuv");
  add<Glib>(scene, "glib");
  add<SdEvent>(scene, "sd-event");
}

[[maybe_unused]] const bool kRegistered = [] {
  const rlimit limit = {4096, 4096};
  setrlimit(RLIMIT_NOFILE, &limit);
  {
    // From their first loop on, some peers keep a descriptor for the whole process. It must be a low one, as a high one
    // would keep every table large.
    const Scene scene;
    const Descriptors fds(scene);
    const Libuv libuv(scene, fds);
    const Glib glib(scene, fds);
    const SdEvent sd_event(scene, fds);
  }
  for (const int count : {1, 16, 100, 500, 1000}) {
    add_all({.name = "one_of/" + std::to_string(count), .descriptors = count});
  }
  for (const int count : {16, 100, 1000}) {
    add_all({.name = "ten_of/" + std::to_string(count), .descriptors = count, .active = 10});
  }
  add_all({.name = "with_79_timers/100", .descriptors = 100, .timers = 79});
  add_all({.name = "with_80_timers/100", .descriptors = 100, .timers = 80});
  add_all({.name = "with_internal/16", .descriptors = 16, .internal = true});
  add_all({.name = "with_internal/100", .descriptors = 100, .internal = true});
  return true;
}();

}  // namespace
