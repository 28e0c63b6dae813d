#include "phoned/io/datagram.h"

#include <sys/socket.h>

namespace phoned {

std::optional<size_t> waiting_datagram(int socket_fd) {
  char byte = 0;
  const ssize_t size = recv(socket_fd, &byte, sizeof byte, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
  if (size < 0) {
    return std::nullopt;
  }
  return static_cast<size_t>(size);
}

bool can_be_bridged(size_t size) {
  return size > 0 && size <= kMaxDatagram;
}

void drop_datagram(int socket_fd) {
  char byte = 0;
  static_cast<void>(recv(socket_fd, &byte, sizeof byte, MSG_DONTWAIT));
}

}  // namespace phoned
