// What the library's pipes and UDP bridges leave to the daemon: never to block, and to check a datagram before it is read.
#ifndef EXAMPLES_PHONED_IO_BRIDGE_H
#define EXAMPLES_PHONED_IO_BRIDGE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "phoned/core/text.h"
#include "userlib.hpp"

namespace phoned {

// Why a reactor refuses an open descriptor.
inline constexpr char kCannotWatch[] = "too many descriptors are open, or there is no memory";

// How often a transfer is tried that a signal or a shortage of memory may interrupt.
inline constexpr int kTries = 3;

// A pipe that carries texts and never blocks.
class TextPipe : public userlib::Pipe {
 public:
  void open() {
    if (!Pipe::open() || fcntl(read_fd(), F_SETFL, O_NONBLOCK) != 0 || fcntl(write_fd(), F_SETFL, O_NONBLOCK) != 0) {
      throw Error("cannot make a pipe: " + reason());
    }
  }

  bool is_empty() const {
    int size = 0;
    return ioctl(read_fd(), FIONREAD, &size) == 0 && size == 0;
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

// A bridge loses the bytes of a datagram beyond this, and cannot pass on an empty one, because its output is a stream.
inline constexpr size_t kMaxDatagram = 1024;

inline bool can_be_bridged(size_t size) {
  return size > 0 && size <= kMaxDatagram;
}

// The size of the next datagram. select() may report a datagram that turns out to be damaged; a bridge would then block.
inline std::optional<size_t> waiting_datagram(int socket_fd) {
  char byte = 0;
  const ssize_t size = recv(socket_fd, &byte, sizeof byte, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
  return size < 0 ? std::nullopt : std::optional(static_cast<size_t>(size));
}

inline void drop_datagram(int socket_fd) {
  char byte = 0;
  static_cast<void>(recv(socket_fd, &byte, sizeof byte, MSG_DONTWAIT));
}

}  // namespace phoned

#endif
