#include "phoned/io/line_reader.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

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
  for (size_t i = 0; i <= kLongestLine && has_input(fd); ++i) {
    char c = 0;
    const ssize_t count = ::read(fd, &c, sizeof c);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
      return Event::kNothing;
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
  if (is_skipping_) {
    is_skipping_ = c != '\n';
    return Event::kNothing;
  }
  if (c == '\n') {
    if (line_.ends_with('\r')) {
      line_.pop_back();
    }
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
