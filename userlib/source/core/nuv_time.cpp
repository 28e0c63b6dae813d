#include "nuv_time.h"

#include <errno.h>
#include <stdlib.h>

#include "core/timeval_arithmetic.h"

namespace {

// Standard time "MEZ", one hour ahead of UTC; summer time "MESZ" from the last Sunday of March at 02:00 to the last
// Sunday of October at 03:00. The environment refers to this very text, so it must live as long as the process.
constexpr char kZoneRule[] = "TZ=MEZ-1MESZ,M3.5.0,M10.5.0/3";

using nuv::kMicrosecondsPerSecond;
using nuv::Microseconds;

void use_local_zone() {
  putenv(const_cast<char*>(kZoneRule));
}

// Sums, differences and products wrap where they leave the range of the type, so that no time value is undefined
// behaviour.
template <typename Integer>
Integer wrapping_add(Integer a, Integer b) {
  Integer sum;
  static_cast<void>(__builtin_add_overflow(a, b, &sum));
  return sum;
}

template <typename Integer>
Integer wrapping_sub(Integer a, Integer b) {
  Integer difference;
  static_cast<void>(__builtin_sub_overflow(a, b, &difference));
  return difference;
}

template <typename Integer>
Integer wrapping_mul(Integer a, Integer b) {
  Integer product;
  static_cast<void>(__builtin_mul_overflow(a, b, &product));
  return product;
}

template <typename Integer>
int32_t compare(Integer a, Integer b) {
  return static_cast<int32_t>(a > b) - static_cast<int32_t>(a < b);
}

}  // namespace

[[gnu::cold]] void nuv::subtract_any(timeval& a, const timeval& b) {
  time_t seconds = b.tv_sec;
  Microseconds microseconds = b.tv_usec;
  if (a.tv_usec < microseconds) {
    const Microseconds borrowed = wrapping_sub(microseconds, a.tv_usec) / kMicrosecondsPerSecond + 1;
    microseconds = wrapping_sub(microseconds, wrapping_mul(borrowed, kMicrosecondsPerSecond));
    seconds = wrapping_add<time_t>(seconds, borrowed);
  }
  if (wrapping_sub(a.tv_usec, microseconds) > kMicrosecondsPerSecond) {
    const Microseconds carried = wrapping_sub(a.tv_usec, microseconds) / kMicrosecondsPerSecond;
    microseconds = wrapping_add(microseconds, carried * kMicrosecondsPerSecond);
    seconds = wrapping_sub<time_t>(seconds, carried);
  }
  a.tv_usec = wrapping_sub(a.tv_usec, microseconds);
  a.tv_sec = wrapping_sub(a.tv_sec, seconds);
}

uint32_t NUV_GetTickCount() {
  timespec now;
  if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
    return static_cast<uint32_t>(errno);
  }
  return static_cast<uint32_t>(now.tv_sec) * 1000U + static_cast<uint32_t>(now.tv_nsec / 1000000);
}

int32_t nuv_gettimeofday_absolute(struct timeval* r_time) {
  timespec now;
  if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
    return errno;
  }
  r_time->tv_sec = now.tv_sec;
  r_time->tv_usec = static_cast<Microseconds>(now.tv_nsec / 1000);
  return 0;
}

uint32_t NUV_Time_getTime() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return static_cast<uint32_t>(now.tv_sec) * 1000000U + static_cast<uint32_t>(now.tv_usec);
}

struct tm* NUV_getGMTime() {
  const time_t now = time(nullptr);
  return gmtime(&now);
}

struct tm* NUV_getLocalTime() {
  use_local_zone();
  const time_t now = time(nullptr);
  return localtime(&now);
}

time_t NUV_localTime(time_t* r_time) {
  use_local_zone();
  return time(r_time);
}

void NUV_timeval_inc(struct timeval* a_a, const struct timeval* a_b) {
  a_a->tv_sec = wrapping_add(a_a->tv_sec, a_b->tv_sec);
  const Microseconds sum = wrapping_add(a_a->tv_usec, a_b->tv_usec);
  // Greater, not greater or equal: exactly one second of microseconds stays, here and in NUV_timeval_dec().
  if (sum > kMicrosecondsPerSecond) {
    a_a->tv_sec = wrapping_add<time_t>(a_a->tv_sec, sum / kMicrosecondsPerSecond);
    a_a->tv_usec = sum % kMicrosecondsPerSecond;
    return;
  }
  a_a->tv_usec = sum;
}

void NUV_timeval_dec(struct timeval* a_a, const struct timeval* a_b) {
  nuv::subtract(*a_a, *a_b);
}

int32_t NUV_timeval_cmp(const struct timeval* a_a, const struct timeval* a_b) {
  const int32_t by_seconds = compare(a_a->tv_sec, a_b->tv_sec);
  return by_seconds != 0 ? by_seconds : compare(a_a->tv_usec, a_b->tv_usec);
}
