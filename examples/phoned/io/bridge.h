// A pipe for texts, which never blocks.
#ifndef EXAMPLES_PHONED_IO_BRIDGE_H
#define EXAMPLES_PHONED_IO_BRIDGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "phoned/core/text.h"
#include "userlib.hpp"

namespace phoned {

// Why a reactor refuses an open descriptor.
inline constexpr char kCannotWatch[] = "too many descriptors are open, or there is no memory";

// How often a transfer is tried that a signal or a shortage of memory may interrupt.
inline constexpr int kTries = 3;

class TextPipe : public userlib::Pipe {
 public:
  void open() {
    if (!open_nonblocking()) {
      throw Error("cannot make a pipe: " + reason());
    }
  }

  // Writes a text of at most PIPE_BUF bytes: all of it or nothing.
  bool put(std::string_view text) {
    bool is_written = false;
    for (int i = 0; i < kTries && !is_written; ++i) {
      is_written = write(text) == static_cast<int32_t>(text.size());
    }
    return is_written;
  }

  // Reads at most 1024 bytes; none if the pipe is empty or cannot be read.
  std::string take() {
    char buffer[1024];
    int32_t count = 0;
    for (int i = 0; i < kTries && count <= 0 && !is_empty(); ++i) {
      count = read(buffer, sizeof buffer);
    }
    return std::string(buffer, static_cast<size_t>(count > 0 ? count : 0));
  }
};

}  // namespace phoned

#endif
