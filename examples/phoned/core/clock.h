// The clock that phoned and phonectl live by: the library's monotonic one, which is also the reactor's.
#ifndef EXAMPLES_PHONED_CORE_CLOCK_H
#define EXAMPLES_PHONED_CORE_CLOCK_H

#include <chrono>

#include <sys/time.h>

namespace phoned {

timeval monotonic_now();

// The time so much later.
timeval later(timeval time, std::chrono::milliseconds wait);

bool is_reached(const timeval& deadline, const timeval& now);

// The wait from now to the deadline. It is a millisecond at least: a reactor's timer that gets nothing or less is due
// again at once, and select() refuses a negative wait.
timeval wait_until(const timeval& deadline, const timeval& now);

}  // namespace phoned

#endif
