// For a system call that should not wait, but might: a signal interrupts it.
#ifndef EXAMPLES_PHONED_CORE_TIME_LIMIT_H
#define EXAMPLES_PHONED_CORE_TIME_LIMIT_H

#include <csignal>

#include <sys/time.h>

namespace phoned {

// While one lives, a signal comes every 20 ms; the call that waits fails with EINTR.
class TimeLimit {
 public:
  TimeLimit() { set(20000); }
  ~TimeLimit() { set(0); }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;

 private:
  static void set(suseconds_t microseconds) {
    if (microseconds > 0) {
      struct sigaction action = {};  // without SA_RESTART
      action.sa_handler = [](int) {};
      sigaction(SIGALRM, &action, nullptr);
    }
    const itimerval interval = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &interval, nullptr);
  }
};

}  // namespace phoned

#endif
