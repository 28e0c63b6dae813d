// A minimal reactor: the system calls of ours, and plain loops.
#ifndef BENCHMARKS_BARE_LOOP_H
#define BENCHMARKS_BARE_LOOP_H

#include <sys/select.h>
#include <sys/time.h>
#include <time.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "nuv_select.h"

class BareLoop {
 public:
  // Waits for the descriptors and an internal one (-1 for none), with timers that are due after `seconds` and more.
  BareLoop(const std::vector<int>& external, int internal, int timers, int seconds, NUV_SelectRecvFunc callback)
      : internal_(internal), has_timers_(timers > 0) {
    FD_ZERO(&all_.read);
    FD_ZERO(&all_.write);
    FD_ZERO(&all_.except);
    for (const int fd : external) {
      FD_SET(fd, &all_.read);
      callbacks_[static_cast<size_t>(fd)] = callback;
    }
    for (int i = 0; i < timers; ++i) {
      timers_.push_back({seconds + i, 0});
    }
    clock_gettime(CLOCK_MONOTONIC, &mark_);
  }

  // Returns the number of timers that were due, which should be 0.
  uint64_t turn() {
    if (internal_ >= 0) {
      Sets sets = none_;
      FD_SET(internal_, &sets.read);
      timeval poll = {0, 0};
      if (select(FD_SETSIZE, &sets.read, &sets.write, &sets.except, &poll) != 0) {
        return 0;
      }
    }
    Sets sets = all_;
    int count = 0;
    if (productive_) {
      timeval poll = {0, 0};
      count = select(FD_SETSIZE, &sets.read, &sets.write, &sets.except, &poll);
    }
    if (count == 0) {
      timeval wait = nearest();
      sets = all_;
      count = select(FD_SETSIZE, &sets.read, &sets.write, &sets.except, has_timers_ ? &wait : nullptr);
    }
    productive_ = count > 0;
    dispatch(sets.read);
    const uint64_t due = age();
    clock_gettime(CLOCK_MONOTONIC, &mark_);
    return due;
  }

 private:
  struct Sets {
    fd_set read;
    fd_set write;
    fd_set except;
  };

  timeval nearest() const {
    timeval wait = {999999, 999999};
    for (const timeval& timer : timers_) {
      if (timercmp(&timer, &wait, <)) {
        wait = timer;
      }
    }
    return wait;
  }

  void dispatch(const fd_set& ready) {
    for (size_t word = 0; word < std::size(ready.fds_bits); ++word) {
      for (auto bits = static_cast<unsigned long>(ready.fds_bits[word]); bits != 0; bits &= bits - 1) {
        const size_t fd = word * NFDBITS + static_cast<size_t>(std::countr_zero(bits));
        callbacks_[fd](nullptr, static_cast<int32_t>(fd), 0);
      }
    }
  }

  uint64_t age() {
    uint64_t due = 0;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    timeval elapsed = {now.tv_sec - mark_.tv_sec, (now.tv_nsec - mark_.tv_nsec) / 1000};
    if (now.tv_nsec < mark_.tv_nsec) {
      --elapsed.tv_sec;
      elapsed.tv_usec += 1000000;
    }
    for (timeval& timer : timers_) {
      timersub(&timer, &elapsed, &timer);
      if (timer.tv_sec < 0) {
        ++due;
      }
    }
    return due;
  }

  const Sets none_ = {};
  Sets all_;
  int internal_;
  bool has_timers_;
  bool productive_ = false;
  std::array<NUV_SelectRecvFunc, FD_SETSIZE> callbacks_ = {};
  std::vector<timeval> timers_;
  timespec mark_;
};

// Scans the array: ages each timer, and calls those that are due.
inline void scan_timers(TimeoutSet& set, const timeval& elapsed) {
  for (uint32_t i = 0; i < set.m_uCount; ++i) {
    NUV_TimeoutRecv& timer = set.m_rgRecv[i];
    timersub(&timer.m_oTime, &elapsed, &timer.m_oTime);
    if (timer.m_oTime.tv_sec < 0 || (timer.m_oTime.tv_sec == 0 && timer.m_oTime.tv_usec == 0)) {
      timer.m_pRecvFunc(timer.m_pArg1, &timer.m_oTime, timer.m_uArg2);
    }
  }
}

#endif
