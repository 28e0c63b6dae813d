#include "phoned/io/channel.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <sys/socket.h>

#include "phoned/io/datagram.h"

namespace phoned {

std::optional<Error> Channel::open(uint16_t port) {
  if (!requests_.open() || !replies_.open()) {
    return Error{std::string("no pipe to be had: ") + std::strerror(errno)};
  }
  if (!server_.open(port, requests_.write_fd())) {
    return Error{"cannot listen on port " + std::to_string(port) + ": " + std::strerror(errno) +
                 "; choose another with --port, or 0 for any free one"};
  }
  return std::nullopt;
}

uint16_t Channel::port() const {
  sockaddr_in local = {};
  socklen_t length = sizeof local;
  getsockname(socket_fd(), reinterpret_cast<sockaddr*>(&local), &length);
  return ntohs(local.sin_port);
}

std::optional<size_t> Channel::receive() {
  const auto size = waiting_datagram(socket_fd());
  if (!size) {
    return std::nullopt;
  }
  if (!can_be_bridged(*size)) {
    sender_ = drop_datagram(socket_fd());
    return size;
  }
  server_.socket_read();
  sender_ = server_.peer();
  return std::nullopt;
}

void Channel::send(const sockaddr_in& peer, std::string_view text) {
  server_.peer() = peer;
  replies_.write(text);
  server_.file_read(replies_.read_fd());
}

}  // namespace phoned
