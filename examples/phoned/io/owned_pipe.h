// A pipe of the library from which texts are read. It never waits.
#ifndef EXAMPLES_PHONED_IO_OWNED_PIPE_H
#define EXAMPLES_PHONED_IO_OWNED_PIPE_H

#include <array>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "userlib.hpp"

namespace phoned {

// The system may refuse a transfer, for want of memory or because a signal has come. So each has more than one chance.
class OwnedPipe : public userlib::Pipe {
 public:
  static constexpr int kTries = 3;

  [[nodiscard]] bool open() {
    return Pipe::open() && fcntl(read_fd(), F_SETFL, O_NONBLOCK) == 0 && fcntl(write_fd(), F_SETFL, O_NONBLOCK) == 0;
  }

  bool is_empty() const {
    int size = 0;
    return ioctl(read_fd(), FIONREAD, &size) == 0 && size == 0;
  }

  // Writes all of a text, of at most PIPE_BUF bytes, or nothing.
  bool put(std::string_view text) {
    bool is_written = false;
    for (int i = 0; i < kTries && !is_written; ++i) {
      is_written = write(text) == static_cast<int32_t>(text.size());
    }
    return is_written;
  }

  // What lies in the pipe, at most 1024 bytes of it; empty if nothing does, or if it cannot be read.
  std::string take() {
    std::array<char, 1024> buffer;
    int32_t count = 0;
    for (int i = 0; i < kTries && count <= 0 && !is_empty(); ++i) {
      count = read(buffer.data(), buffer.size());
    }
    return std::string(buffer.data(), static_cast<size_t>(count > 0 ? count : 0));
  }
};

}  // namespace phoned

#endif
