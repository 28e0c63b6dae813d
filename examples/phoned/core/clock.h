// Time: the library's monotonic clock, which is also the reactor's, and a limit for system calls that might wait.
#ifndef EXAMPLES_PHONED_CORE_CLOCK_H
#define EXAMPLES_PHONED_CORE_CLOCK_H

#include <chrono>
#include <csignal>

#include <sys/time.h>

#include "userlib.hpp"

namespace phoned {

inline timeval monotonic_now() {
  timeval now = {};
  nuv_gettimeofday_absolute(&now);
  return now;
}

inline timeval later(timeval time, std::chrono::milliseconds wait) {
  const timeval interval = userlib::to_timeval(wait);
  NUV_timeval_inc(&time, &interval);
  return time;
}

inline bool is_reached(const timeval& deadline, const timeval& now) {
  return NUV_timeval_cmp(&deadline, &now) <= 0;
}

// The time left, at least a millisecond: select() refuses a negative wait, and with none the loop would spin.
inline timeval wait_until(timeval deadline, const timeval& now) {
  constexpr timeval kShortest = {0, 1000};
  NUV_timeval_dec(&deadline, &now);
  return NUV_timeval_cmp(&deadline, &kShortest) < 0 ? kShortest : deadline;
}

// For a system call that might block although it should not: while this lives, a signal comes every 20 ms and the call fails
// with EINTR.
class TimeLimit : userlib::Pinned {
 public:
  TimeLimit() {
    struct sigaction action = {};  // without SA_RESTART
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    set({0, 20000});
  }
  ~TimeLimit() { set({0, 0}); }

 private:
  static void set(timeval period) {
    const itimerval interval = {period, period};
    setitimer(ITIMER_REAL, &interval, nullptr);
  }
};

}  // namespace phoned

#endif
