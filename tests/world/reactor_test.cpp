// Timers in real processes: with a descriptor that is always ready, after a stop, and after a stall. The tests compare
// callbacks, not times, so a busy machine or an emulator makes no difference.
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

// A child process that returns its result as a text. A signal ends it at its deadline.
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

  // The result, or "killed" after the deadline.
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

// A reactor with a descriptor that is always ready.
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

  static int32_t set_again(void* self, timeval*, uint32_t) {
    auto& busy = *static_cast<Busy*>(self);
    ++busy.fired;
    NUV_Select_setTempTimeout(&busy.loop, kHour, self, 0, set_again);
    return 0;
  }

  Select loop = {};
  int fd = -1;
  int events = 0;
  int fired = 0;
};

constexpr int kTurns = 100000;

TEST(WorldReactor, TimerOfAnHourDoesNotFireWithABusyDescriptor) {
  Process daemon([] {
    Busy busy;
    NUV_Select_setTimeout(&busy.loop, kHour, &busy, 0, Busy::count);
    busy.turn(kTurns);
    return "fired " + std::to_string(busy.fired) + ", events " + std::to_string(busy.events);
  });
  EXPECT_EQ(daemon.found(), "fired 0, events 100000");
}

TEST(WorldReactor, OneShotThatSetsItselfAgainDoesNotHangWithABusyDescriptor) {
  Process daemon([] {
    Busy busy;
    NUV_Select_setTempTimeout(&busy.loop, kHour, &busy, 0, Busy::set_again);
    busy.turn(kTurns);
    return "fired " + std::to_string(busy.fired) + ", events " + std::to_string(busy.events);
  });
  EXPECT_EQ(daemon.found(), "fired 0, events 100000");
}

TEST(WorldReactor, TimersThatStartEachOtherDoNotHangWithABusyDescriptor) {
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

// A one-shot timer of a tenth of a second that sets itself again with the function under test. Counts the callbacks in
// each cycle after a stop of half a second.
struct Stopped {
  using Set = uint32_t (*)(Select*, timeval, void*, uint32_t, NUV_TimeoutRecvFunc);

  static int32_t set_again(void* self, timeval*, uint32_t) {
    auto& stopped = *static_cast<Stopped*>(self);
    ++stopped.fired;
    stopped.set(&stopped.loop, kTenth, self, 0, set_again);
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

std::string most_callbacks_of_a_cycle(Stopped::Set set, int ready_fd) {
  Stopped stopped{set};
  NUV_Select_construct(&stopped.loop);
  stopped.set(&stopped.loop, kTenth, &stopped, 0, Stopped::set_again);
  static_cast<void>(!write(ready_fd, ".", 1));
  close(ready_fd);
  int most = 0;
  for (int turn = 0; turn < 20; ++turn) {
    most = std::max(most, stopped.turn());
  }
  NUV_Select_destruct(&stopped.loop);
  return std::to_string(most);
}

// Stops the daemon after it has reached its loop.
std::string most_callbacks_after_a_stop(Stopped::Set set) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  Process daemon([&] { return most_callbacks_of_a_cycle(set, ready[1]); });
  close(ready[1]);
  char dot;
  EXPECT_EQ(read(ready[0], &dot, 1), 1);
  close(ready[0]);
  daemon.stop_for(500000);
  return daemon.found();
}

TEST(WorldReactor, OneShotThatSetsItselfAgainDoesNotHangAfterAStop) {
  EXPECT_EQ(most_callbacks_after_a_stop(NUV_Select_setTempTimeout), "1024") << "the most callbacks of a cycle";
}

TEST(WorldReactor, OneShotThatCountsFromNowFiresOncePerCycleAfterAStop) {
  EXPECT_EQ(most_callbacks_after_a_stop(NUV_Timer_setTemp), "1");
}

// A daemon with a periodic timer that reads bytes one by one. After some bytes it stalls for three periods.
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

  static int32_t without_new_time(void*, timeval*, uint32_t) { return 1; }
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

TEST(WorldReactor, RearmedTimerDoesNotStarveADescriptorAfterAStall) {
  for (const auto on_time : {Reader::again, Reader::again_in_phase}) {
    Process daemon([on_time] { return bytes_read(on_time); });
    EXPECT_EQ(daemon.found(), "200 bytes, fine");
  }
}

// A callback must set a new time for a timer that stays; otherwise the wait of select() is negative from then on.
TEST(WorldReactor, OverdueTimerWithoutANewTimeStarvesADescriptor) {
  Process daemon([] { return bytes_read(Reader::without_new_time); });
  EXPECT_EQ(daemon.found(), "6 bytes, failing");
}

TEST(WorldReactor, PeriodicTimerInCppDoesNotStarveADescriptorAfterAStall) {
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

// As long as each cycle takes at least a microsecond, the process sleeps if there is nothing to do.
TEST(WorldReactor, PeriodicTimerDoesNotSpin) {
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
