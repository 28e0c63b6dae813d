// Timers of real processes: beside a descriptor that is always ready, stopped for a while, and stalled. What a turn does is
// compared, and no time, so that a loaded machine or an emulator changes nothing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "nuv_timer.h"
#include "userlib.hpp"

namespace {

using std::chrono::hours;

constexpr unsigned kDeadlineSeconds = 60;
constexpr timeval kHour = {3600, 0};
constexpr timeval kTenth = {0, 100000};

// A process that ends by itself, or after its deadline by a signal. What it has found out comes back as a text.
class Process {
 public:
  explicit Process(const std::function<std::string()>& body) {
    EXPECT_EQ(pipe(pipe_), 0);
    pid_ = fork();
    if (pid_ == 0) {
      alarm(kDeadlineSeconds);
      const std::string found = body();
      static_cast<void>(!::write(pipe_[1], found.data(), found.size()));
      _exit(0);
    }
    close(pipe_[1]);
  }
  ~Process() {
    close(pipe_[0]);
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void stop_for(useconds_t microseconds) const {
    kill(pid_, SIGSTOP);
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, WUNTRACED), pid_);
    EXPECT_TRUE(WIFSTOPPED(status));
    usleep(microseconds);
    kill(pid_, SIGCONT);
  }

  // What it has found out, "killed" when it did not come to an end.
  std::string found() {
    std::string text;
    char piece[256];
    for (ssize_t length; (length = read(pipe_[0], piece, sizeof piece)) > 0;) {
      text.append(piece, static_cast<size_t>(length));
    }
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? text : "killed";
  }

 private:
  int pipe_[2] = {-1, -1};
  pid_t pid_ = -1;
};

// A reactor beside whose timers a descriptor is ready all the time.
struct Busy {
  Busy() {
    NUV_Select_construct(&loop);
    fd = open("/dev/null", O_RDONLY);
    NUV_Select_setReadExternal(&loop, fd, this, 0, [](void* self, int32_t, uint32_t) -> int32_t {
      ++static_cast<Busy*>(self)->events;
      return 0;
    });
  }
  ~Busy() {
    NUV_Select_destruct(&loop);
    close(fd);
  }

  void turn(int turns) {
    while (turns-- > 0) {
      NUV_Select_process(&loop, nullptr);
    }
  }

  static int32_t count(void* self, timeval*, uint32_t) {
    ++static_cast<Busy*>(self)->fired;
    return 1;
  }

  static int32_t set_anew(void* self, timeval*, uint32_t) {
    auto& busy = *static_cast<Busy*>(self);
    ++busy.fired;
    NUV_Select_setTempTimeout(&busy.loop, kHour, self, 0, set_anew);
    return 0;
  }

  Select loop = {};
  int fd = -1;
  int events = 0;
  int fired = 0;
};

constexpr int kTurns = 100000;

TEST(WorldReactor, ATimerOfAnHourDoesNotFireBesideABusyDescriptor) {
  Process daemon([] {
    Busy busy;
    NUV_Select_setTimeout(&busy.loop, kHour, &busy, 0, Busy::count);
    busy.turn(kTurns);
    return "fired " + std::to_string(busy.fired) + ", events " + std::to_string(busy.events);
  });
  EXPECT_EQ(daemon.found(), "fired 0, events 100000");
}

TEST(WorldReactor, AOneShotThatSetsItselfAnewDoesNotHangBesideABusyDescriptor) {
  Process daemon([] {
    Busy busy;
    NUV_Select_setTempTimeout(&busy.loop, kHour, &busy, 0, Busy::set_anew);
    busy.turn(kTurns);
    return "fired " + std::to_string(busy.fired) + ", events " + std::to_string(busy.events);
  });
  EXPECT_EQ(daemon.found(), "fired 0, events 100000");
}

TEST(WorldReactor, TimersThatStartEachOtherDoNotHangBesideABusyDescriptor) {
  Process daemon([] {
    userlib::Reactor loop;
    int events = 0;
    int fired = 0;
    std::array<std::optional<userlib::Timer>, 2> timers;
    for (size_t i = 0; i < 2; ++i) {
      timers[i].emplace(loop, [&, i] {
        ++fired;
        static_cast<void>(timers[1 - i]->start(hours(1)));
      });
    }
    const int fd = open("/dev/null", O_RDONLY);
    userlib::Watch watch(loop, [&events] { ++events; });
    if (!timers[0]->start(hours(1)) || !watch.read_external(fd)) {
      return std::string("not started");
    }
    for (int turn = 0; turn < kTurns; ++turn) {
      loop.process();
    }
    close(fd);
    return "fired " + std::to_string(fired) + ", events " + std::to_string(events);
  });
  EXPECT_EQ(daemon.found(), "fired 0, events 100000");
}

// A one-shot of a tenth of a second that sets itself anew with the function under test. How many callbacks the turn after a
// stop of half a second makes, and those that follow.
struct Stopped {
  using Set = uint32_t (*)(Select*, timeval, void*, uint32_t, NUV_TimeoutRecvFunc);

  static int32_t set_anew(void* self, timeval*, uint32_t) {
    auto& stopped = *static_cast<Stopped*>(self);
    ++stopped.fired;
    stopped.set(&stopped.loop, kTenth, self, 0, set_anew);
    return 0;
  }

  int turn() {
    fired = 0;
    NUV_Select_process(&loop, nullptr);
    return fired;
  }

  Set set;
  Select loop = {};
  int fired = 0;
};

std::string most_callbacks_of_a_turn(Stopped::Set set, int ready_fd) {
  Stopped stopped{set};
  NUV_Select_construct(&stopped.loop);
  stopped.set(&stopped.loop, kTenth, &stopped, 0, Stopped::set_anew);
  static_cast<void>(!write(ready_fd, ".", 1));
  close(ready_fd);
  int most = 0;
  for (int turn = 0; turn < 20; ++turn) {
    most = std::max(most, stopped.turn());
  }
  NUV_Select_destruct(&stopped.loop);
  return std::to_string(most);
}

// Stops the daemon once it is in its loop.
std::string most_callbacks_after_a_stop(Stopped::Set set) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  Process daemon([&] { return most_callbacks_of_a_turn(set, ready[1]); });
  close(ready[1]);
  char dot;
  EXPECT_EQ(read(ready[0], &dot, 1), 1);
  close(ready[0]);
  daemon.stop_for(500000);
  return daemon.found();
}

TEST(WorldReactor, AOneShotThatSetsItselfAnewDoesNotHangAfterAStop) {
  EXPECT_EQ(most_callbacks_after_a_stop(NUV_Select_setTempTimeout), "1024") << "as many as a turn makes at most";
}

TEST(WorldReactor, AOneShotThatCountsFromNowFiresOncePerTurnAfterAStop) {
  EXPECT_EQ(most_callbacks_after_a_stop(NUV_Timer_setTemp), "1");
}

// A daemon that reads bytes as they come, beside a periodic timer. In the middle it stalls for longer than three periods.
struct Reader {
  static int32_t on_byte(void* self, int32_t fd, uint32_t) {
    auto& reader = *static_cast<Reader*>(self);
    char byte;
    reader.bytes += read(fd, &byte, 1) == 1;
    if (reader.bytes == 6) {
      usleep(300000);
    }
    return 0;
  }

  static int32_t in_vain(void*, timeval*, uint32_t) { return 1; }
  static int32_t again(void*, timeval* time, uint32_t) { return NUV_Timer_again(time, kTenth); }
  static int32_t again_in_phase(void* self, timeval* time, uint32_t) {
    return NUV_Timer_againInPhase(time, &static_cast<Reader*>(self)->due, kTenth);
  }

  Select loop = {};
  timeval due = {0, 0};
  int bytes = 0;
  int failures = 0;
};

std::string bytes_read(NUV_TimeoutRecvFunc on_time) {
  int bytes[2];
  Reader reader;
  if (pipe(bytes) != 0 || write(bytes[1], std::string(200, '.').data(), 200) != 200) {
    return "no pipe";
  }
  NUV_Select_construct(&reader.loop);
  NUV_Select_setReadExternal(&reader.loop, bytes[0], &reader, 0, Reader::on_byte);
  NUV_Timer_set(&reader.loop, kTenth, &reader, 0, on_time);
  for (int turn = 0; turn < 1000 && reader.bytes < 200; ++turn) {
    reader.failures += NUV_Select_process(&reader.loop, nullptr) < 0;
  }
  NUV_Select_destruct(&reader.loop);
  return std::to_string(reader.bytes) + " bytes, " + (reader.failures > 1 ? "failing" : "fine");
}

TEST(WorldReactor, ATimerThatIsArmedAgainLeavesADescriptorItsTurnsAfterAStall) {
  for (const auto on_time : {Reader::again, Reader::again_in_phase}) {
    Process daemon([on_time] { return bytes_read(on_time); });
    EXPECT_EQ(daemon.found(), "200 bytes, fine");
  }
}

// What the callback owes: a kept timer without a new time leaves select() a negative wait, for ever.
TEST(WorldReactor, AnOverdueTimerWithoutANewTimeTakesThemAll) {
  Process daemon([] { return bytes_read(Reader::in_vain); });
  EXPECT_EQ(daemon.found(), "6 bytes, failing");
}

// A timer in C++ is armed by its owner.
TEST(WorldReactor, APeriodicTimerInCppLeavesADescriptorItsTurnsAfterAStall) {
  Process daemon([] {
    int bytes[2];
    if (pipe(bytes) != 0 || write(bytes[1], std::string(200, '.').data(), 200) != 200) {
      return std::string("no pipe");
    }
    userlib::Reactor loop;
    int count = 0;
    userlib::Timer timer(loop, [] {});
    userlib::Watch watch(loop, [&](int fd) {
      char byte;
      count += read(fd, &byte, 1) == 1;
      if (count == 6) {
        usleep(300000);
      }
    });
    if (!timer.start_every(kTenth) || !watch.read_external(bytes[0])) {
      return std::string("not started");
    }
    for (int turn = 0; turn < 1000 && count < 200; ++turn) {
      loop.process();
    }
    return std::to_string(count) + " bytes";
  });
  EXPECT_EQ(daemon.found(), "200 bytes");
}

// While turns are a microsecond each at least, no time is lost: the process sleeps when there is nothing to do.
TEST(WorldReactor, APeriodicTimerDoesNotSpin) {
  Process daemon([] {
    Reader reader;
    NUV_Select_construct(&reader.loop);
    NUV_Timer_set(&reader.loop, kTenth, &reader, 0, Reader::again_in_phase);
    int turns = 0;
    for (const uint32_t start = NUV_GetTickCount(); NUV_GetTickCount() - start < 1000; ++turns) {
      NUV_Select_process(&reader.loop, nullptr);
    }
    NUV_Select_destruct(&reader.loop);
    return std::string(turns <= 12 ? "sleeps" : "spins");
  });
  EXPECT_EQ(daemon.found(), "sleeps");
}

}  // namespace
