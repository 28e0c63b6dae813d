#include "line_reader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace flow_tool {

// An interrupted read has lost nothing, and is repeated.
bool LineReader::fill() {
  if (begin_ > 0) {
    std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  ssize_t count = 0;
  do {
    count = read(fd_, buffer_.get() + end_, kBufferSize - end_);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    error_ = errno;
    return false;
  }
  end_ += static_cast<size_t>(count);
  return count > 0;
}

Line LineReader::line_of(size_t length, bool is_cut) {
  const Line line = {{buffer_.get() + begin_, length}, is_cut};
  begin_ += length;
  searched_ = 0;
  return line;
}

std::optional<Line> LineReader::next() {
  for (;;) {
    const char* rest = buffer_.get() + begin_;
    const void* newline = std::memchr(rest + searched_, '\n', end_ - begin_ - searched_);
    if (newline != nullptr) {
      const auto length = static_cast<size_t>(static_cast<const char*>(newline) - rest);
      if (is_skipping_) {
        is_skipping_ = false;
        begin_ += length + 1;
        searched_ = 0;
        continue;
      }
      const bool is_long = length > kLongestLine;
      const Line line = line_of(is_long ? kLongestLine : length, is_long);
      begin_ += length - line.text.size() + 1;
      return line;
    }
    searched_ = end_ - begin_;
    if (is_skipping_) {
      begin_ = end_ = searched_ = 0;
    } else if (searched_ > kLongestLine) {
      is_skipping_ = true;
      const Line line = line_of(kLongestLine, /*is_cut=*/true);
      return line;
    }
    if (!fill()) {
      return std::nullopt;
    }
  }
}

std::optional<Line> LineReader::take_rest() {
  if (begin_ == end_ || is_skipping_) {
    begin_ = end_ = searched_ = 0;
    is_skipping_ = false;
    return std::nullopt;
  }
  return line_of(end_ - begin_, /*is_cut=*/true);
}

void LineReader::reopen(int fd) {
  fd_ = fd;
  begin_ = end_ = searched_ = 0;
  is_skipping_ = false;
  error_ = 0;
}

}  // namespace flow_tool
