#include "doubles/fake_clock.h"

#include <gtest/gtest.h>
#include <sys/select.h>

#include <cerrno>
#include <utility>

namespace support {
namespace {

FakeClock* g_active = nullptr;

std::vector<int> members(const void* set) {
  std::vector<int> fds;
  for (int fd = 0; set != nullptr && fd < FD_SETSIZE; ++fd) {
    if (FD_ISSET(fd, static_cast<const fd_set*>(set))) {
      fds.push_back(fd);
    }
  }
  return fds;
}

void assign(void* set, const std::vector<int>& fds) {
  auto* target = static_cast<fd_set*>(set);
  FD_ZERO(target);
  for (const int fd : fds) {
    FD_SET(fd, target);
  }
}

}  // namespace

FakeClock::FakeClock(timeval monotonic) : monotonic_(monotonic) {
  g_active = this;
}

FakeClock::~FakeClock() {
  g_active = nullptr;
  EXPECT_TRUE(answers_.empty()) << "select() was called less often than the test expected";
}

FakeClock* FakeClock::active() {
  return g_active;
}

void FakeClock::advance(timeval time) {
  timeradd(&monotonic_, &time, &monotonic_);
}

std::vector<SelectCall> FakeClock::take_selects() {
  return std::exchange(calls_, {});
}

int FakeClock::read_monotonic(timespec* time) {
  ++readings_;
  if (error_ != 0) {
    errno = error_;
    return -1;
  }
  if (still_readings_ > 0) {
    --still_readings_;
  } else {
    advance(std::exchange(step_, {0, 0}));
  }
  time->tv_sec = monotonic_.tv_sec;
  time->tv_nsec = monotonic_.tv_usec * 1000L + nanoseconds_;
  return 0;
}

int FakeClock::select(int count, void* read, void* write, void* except, timeval* wait) {
  calls_.push_back({count, members(read), members(write), members(except), wait,
                    wait != nullptr ? std::optional<timeval>(*wait) : std::nullopt});
  SelectAnswer answer;
  if (!answers_.empty()) {
    answer = answers_.front();
    answers_.pop_front();
  } else if (wait == nullptr) {
    ADD_FAILURE() << "select() would wait for ever";
    answer.result = -1;
    answer.error = EINTR;
  } else if (wait->tv_sec < 0 || wait->tv_usec < 0) {
    answer.result = -1;
    answer.error = EINVAL;
  } else {
    answer.takes = *wait;
  }
  advance(answer.takes);
  if (answer.result < 0) {
    errno = answer.error;
    return answer.result;
  }
  assign(read, answer.read);
  assign(write, answer.write);
  assign(except, answer.except);
  return answer.result;
}

}  // namespace support
