// Test doubles of the clocks and of select().
#ifndef TESTS_DOUBLES_FAKE_CLOCK_H
#define TESTS_DOUBLES_FAKE_CLOCK_H

#include <sys/time.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace support {

// The arguments of a select().
struct SelectCall {
  int count = 0;  // its first argument
  std::vector<int> read;
  std::vector<int> write;
  std::vector<int> except;
  const timeval* wait_address = nullptr;
  std::optional<timeval> wait;  // empty: no bound
};

// The results of a select().
struct SelectAnswer {
  int result = 0;
  std::vector<int> read;
  std::vector<int> write;
  std::vector<int> except;
  timeval takes = {0, 0};  // the time that it sleeps
  int error = 0;           // errno, if the result is -1
};

// During its lifetime, only the test and select() advance the monotonic clock and the wall clock (which time() also
// reads), and select() returns the answers queued by the test. If the queue is empty, select() advances the clock by
// the wait and returns 0, or -1 with EINVAL if the wait is negative; a wait without a bound fails the test.
class FakeClock {
 public:
  explicit FakeClock(timeval monotonic = {1000, 0});
  ~FakeClock();
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;

  // The nanoseconds, 0 to 999, are added to the microseconds.
  void set(timeval monotonic, long nanoseconds = 0) {
    monotonic_ = monotonic;
    nanoseconds_ = nanoseconds;
  }
  void set_wall(timeval wall) { wall_ = wall; }
  void advance(timeval time);
  timeval now() const { return monotonic_; }

  // The monotonic clock stands still for `readings` more readings, then advances by a step.
  void stand_still(uint32_t readings, timeval step) {
    still_readings_ = readings;
    step_ = step;
  }

  // Returns the number of readings of the monotonic clock since the last call.
  uint32_t take_readings() { return std::exchange(readings_, 0); }

  // Readings of the monotonic clock fail with this errno; 0 ends that.
  void fail_with(int error) { error_ = error; }

  // Makes select() wait for real descriptors in real time. The clocks stay fake.
  void let_select_through() { select_is_real_ = true; }
  bool is_select_real() const { return select_is_real_; }

  void answer_select(SelectAnswer answer) { answers_.push_back(std::move(answer)); }

  // Returns the calls of select() since the last call.
  std::vector<SelectCall> take_selects();

  static FakeClock* active();

  // Called by the wrapped functions.
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
