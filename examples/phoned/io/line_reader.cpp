#include "phoned/io/line_reader.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "phoned/core/clock.h"

namespace phoned {

namespace {

// A descriptor that others use too, such as standard input, must not be made non-blocking. So it is asked each time.
bool has_input(int fd) {
  pollfd state = {fd, POLLIN, 0};
  return poll(&state, 1, 0) > 0;
}

}  // namespace

LineReader::Event LineReader::read(int fd) {
  if (is_complete_) {
    line_.clear();
    is_complete_ = false;
  }
  const TimeLimit limit;  // others who use it may be quicker with what there was
  for (size_t i = 0; i <= kLongestLine && has_input(fd); ++i) {
    char c = 0;
    const ssize_t count = ::read(fd, &c, sizeof c);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
      return Event::kNothing;
    }
    if (count == 0 && !line_.empty()) {
      is_complete_ = true;
      return Event::kLine;
    }
    if (count <= 0) {
      return Event::kEnd;
    }
    if (const Event event = add(c); event != Event::kNothing) {
      return event;
    }
  }
  return Event::kNothing;
}

LineReader::Event LineReader::add(char c) {
  const bool is_second_half = c == '\n' && is_behind_return_;
  is_behind_return_ = c == '\r';
  const bool is_end = c == '\n' || c == '\r';
  if (is_skipping_ || is_second_half) {
    is_skipping_ = is_skipping_ && !is_end;
    return Event::kNothing;
  }
  if (is_end) {
    is_complete_ = true;
    return Event::kLine;
  }
  if (line_.size() == kLongestLine) {
    line_.clear();
    is_skipping_ = true;
    return Event::kTooLong;
  }
  line_ += c;
  return Event::kNothing;
}

}  // namespace phoned
