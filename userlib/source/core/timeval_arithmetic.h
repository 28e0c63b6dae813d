// Differences and comparisons of struct timeval, inline because a turn makes one for every timer.
#ifndef USERLIB_SOURCE_CORE_TIMEVAL_ARITHMETIC_H
#define USERLIB_SOURCE_CORE_TIMEVAL_ARITHMETIC_H

#include <stdint.h>
#include <sys/time.h>

namespace nuv {

using Microseconds = decltype(timeval::tv_usec);

constexpr Microseconds kMicrosecondsPerSecond = 1000000;

// NUV_timeval_dec() for any number of microseconds.
void subtract_any(timeval& a, const timeval& b);

// NUV_timeval_dec(). Where both have less than a second of microseconds, there is at most one second to borrow.
inline void subtract(timeval& a, const timeval& b) {
  Microseconds difference;
  const bool wraps = __builtin_sub_overflow(a.tv_usec, b.tv_usec, &difference);
  if (wraps || difference <= -kMicrosecondsPerSecond || difference > kMicrosecondsPerSecond) {
    subtract_any(a, b);
    return;
  }
  const bool borrows = difference < 0;
  a.tv_usec = borrows ? difference + kMicrosecondsPerSecond : difference;
  time_t seconds;
  static_cast<void>(__builtin_add_overflow(b.tv_sec, borrows, &seconds));
  static_cast<void>(__builtin_sub_overflow(a.tv_sec, seconds, &a.tv_sec));
}

// Whether a is the earlier one: NUV_timeval_cmp() < 0.
inline bool is_less(const timeval& a, const timeval& b) {
  return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_usec < b.tv_usec);
}

}  // namespace nuv

#endif
