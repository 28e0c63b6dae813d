// What the library's pipes and UDP bridges leave to their user: not to wait, and to look at a datagram before it is taken.
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

// A transfer that the system refuses, for want of memory or because a signal has come, is tried so often.
inline constexpr int kTries = 3;

// A pipe of the library from which texts are read. It never waits.
class TextPipe : public userlib::Pipe {
 public:
  void open(const char* what = "") {
    if (!Pipe::open() || fcntl(read_fd(), F_SETFL, O_NONBLOCK) != 0 || fcntl(write_fd(), F_SETFL, O_NONBLOCK) != 0) {
      throw Error(std::string("no pipe ") + what + "to be had: " + reason());
    }
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
    char buffer[1024];
    int32_t count = 0;
    for (int i = 0; i < kTries && count <= 0 && !is_empty(); ++i) {
      count = read(buffer, sizeof buffer);
    }
    return std::string(buffer, static_cast<size_t>(count > 0 ? count : 0));
  }
};

// What one transfer of a bridge carries; of a longer datagram the rest would be lost. Nor can a bridge pass on an empty
// one: its output is a stream.
inline constexpr size_t kMaxDatagram = 1024;

inline bool can_be_bridged(size_t size) {
  return size > 0 && size <= kMaxDatagram;
}

// The size of the datagram that waits in the socket, if one does. select() may call a socket readable whose datagram
// turns out to be damaged, and a bridge would then wait for the next one.
inline std::optional<size_t> waiting_datagram(int socket_fd) {
  char byte = 0;
  const ssize_t size = recv(socket_fd, &byte, sizeof byte, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
  return size < 0 ? std::nullopt : std::optional(static_cast<size_t>(size));
}

// Throws the datagram away that waits in the socket.
inline void drop_datagram(int socket_fd) {
  char byte = 0;
  static_cast<void>(recv(socket_fd, &byte, sizeof byte, MSG_DONTWAIT));
}

}  // namespace phoned

#endif
