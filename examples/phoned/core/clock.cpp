#include "phoned/core/clock.h"

#include "nuv_time.h"

namespace phoned {

timeval monotonic_now() {
  timeval now = {};
  nuv_gettimeofday_absolute(&now);
  return now;
}

timeval later(timeval time, std::chrono::milliseconds wait) {
  const auto milliseconds = wait.count();
  const timeval interval = {static_cast<time_t>(milliseconds / 1000),
                            static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  NUV_timeval_inc(&time, &interval);
  return time;
}

bool is_reached(const timeval& deadline, const timeval& now) {
  return NUV_timeval_cmp(&deadline, &now) <= 0;
}

timeval wait_until(const timeval& deadline, const timeval& now) {
  constexpr timeval kShortest = {0, 1000};
  timeval wait = deadline;
  NUV_timeval_dec(&wait, &now);
  return NUV_timeval_cmp(&wait, &kShortest) < 0 ? kShortest : wait;
}

}  // namespace phoned
