// Time and select() under the control of a test.
#ifndef TESTS_SUPPORT_FAKE_CLOCK_H
#define TESTS_SUPPORT_FAKE_CLOCK_H

#include <sys/time.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace support {

// What select() was asked.
struct SelectCall {
  int count = 0;  // its first argument
  std::vector<int> read;
  std::vector<int> write;
  std::vector<int> except;
  const timeval* wait_address = nullptr;
  std::optional<timeval> wait;  // empty: no bound
};

// What select() is to answer.
struct SelectAnswer {
  int result = 0;
  std::vector<int> read;
  std::vector<int> write;
  std::vector<int> except;
  timeval takes = {0, 0};  // how long it slept
  int error = 0;           // errno, when the result is -1
};

// While it lives, the monotonic clock and the wall clock, which time() reads too, stand still but for what the test and
// select() move them, and select() answers what the test has put into its queue. With an empty queue it sleeps through
// the wait that it was given and answers 0, or -1 with EINVAL where the wait is negative; a wait without end fails the
// test.
class FakeClock {
 public:
  explicit FakeClock(timeval monotonic = {1000, 0});
  ~FakeClock();
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;

  // The nanoseconds, 0 to 999, come on top of the microseconds.
  void set(timeval monotonic, long nanoseconds = 0) {
    monotonic_ = monotonic;
    nanoseconds_ = nanoseconds;
  }
  void set_wall(timeval wall) { wall_ = wall; }
  void advance(timeval time);
  timeval now() const { return monotonic_; }

  // The monotonic clock stands still for so many readings more, and then goes on by a step.
  void stand_still(uint32_t readings, timeval step) {
    still_readings_ = readings;
    step_ = step;
  }

  // The readings of the monotonic clock since the last call of this.
  uint32_t take_readings() { return std::exchange(readings_, 0); }

  // From now on the monotonic clock cannot be read (0: it can again).
  void fail_with(int error) { error_ = error; }

  // From now on select() looks at real descriptors and waits for them in real time, while the clocks stay the test's.
  void let_select_through() { select_is_real_ = true; }
  bool is_select_real() const { return select_is_real_; }

  void answer_select(SelectAnswer answer) { answers_.push_back(std::move(answer)); }

  // The calls of select() since the last call of this.
  std::vector<SelectCall> take_selects();

  static FakeClock* active();

  // The doubles' ways in.
  int read_monotonic(timespec* time);
  timeval wall() const { return wall_; }
  int select(int count, void* read, void* write, void* except, timeval* wait);

 private:
  timeval monotonic_;
  long nanoseconds_ = 0;
  timeval wall_ = {0, 0};
  uint32_t readings_ = 0;
  uint32_t still_readings_ = 0;
  timeval step_ = {0, 0};
  int error_ = 0;
  bool select_is_real_ = false;
  std::deque<SelectAnswer> answers_;
  std::vector<SelectCall> calls_;
};

}  // namespace support

#endif
