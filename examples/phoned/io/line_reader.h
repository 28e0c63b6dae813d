// Collects lines from a descriptor that may deliver them in pieces, or never.
#ifndef EXAMPLES_PHONED_IO_LINE_READER_H
#define EXAMPLES_PHONED_IO_LINE_READER_H

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "phoned/core/clock.h"

namespace phoned {

class LineReader {
 public:
  static constexpr size_t kLongestLine = 255;  // what the library's console takes

  enum class Event {
    kNothing,  // the line is not complete yet
    kLine,     // line() is complete
    kTooLong,  // returned once for a line that is too long; the rest of it is discarded
    kEnd       // end of input
  };

  // Reads what is available, without waiting, up to the end of one line; the next line stays in the descriptor. A line
  // ends with LF, CR or both; the last one may end with the input.
  Event read(int fd) {
    const TimeLimit limit;  // another reader may have taken what poll() saw
    for (size_t i = 0; i <= kLongestLine && has_input(fd); ++i) {
      char c = 0;
      const ssize_t count = ::read(fd, &c, sizeof c);
      if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return Event::kNothing;
      }
      if (count <= 0) {
        return count == 0 && !collected_.empty() ? finish() : Event::kEnd;
      }
      if (const Event event = add(c); event != Event::kNothing) {
        return event;
      }
    }
    return Event::kNothing;
  }

  // The last line, without its end.
  const std::string& line() const { return line_; }

 private:
  // The descriptor may be shared, as standard input is, and so cannot be made non-blocking.
  static bool has_input(int fd) {
    pollfd state = {fd, POLLIN, 0};
    return poll(&state, 1, 0) > 0;
  }

  Event add(char c) {
    const bool is_second_half = c == '\n' && is_behind_return_;
    is_behind_return_ = c == '\r';
    const bool is_end = c == '\n' || c == '\r';
    if (is_skipping_ || is_second_half) {
      is_skipping_ = is_skipping_ && !is_end;
      return Event::kNothing;
    }
    if (is_end) {
      return finish();
    }
    if (collected_.size() == kLongestLine) {
      collected_.clear();
      is_skipping_ = true;
      return Event::kTooLong;
    }
    collected_ += c;
    return Event::kNothing;
  }

  Event finish() {
    line_ = std::exchange(collected_, {});
    return Event::kLine;
  }

  std::string line_;
  std::string collected_;  // of the next line
  bool is_skipping_ = false;
  bool is_behind_return_ = false;
};

}  // namespace phoned

#endif
