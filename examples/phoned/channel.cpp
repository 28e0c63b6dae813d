#include "phoned/channel.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <sys/socket.h>

#include "phoned/datagram.h"

namespace phoned {

Channel::~Channel() {
  if (is_open_) {
    NUV_UdpServer_destruct(&server_);
  }
}

std::optional<Error> Channel::open(uint16_t port) {
  if (!requests_.open() || !replies_.open()) {
    return Error{std::string("no pipe to be had: ") + std::strerror(errno)};
  }
  is_open_ = NUV_UdpServer_construct(&server_, htons(port), requests_.write_fd()) == 1;
  if (!is_open_) {
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
  NUV_UdpServer_socketRead(&server_, socket_fd());
  sender_ = server_.m_oPeer;
  return std::nullopt;
}

void Channel::send(const sockaddr_in& peer, std::string_view text) {
  server_.m_oPeer = peer;
  replies_.write(text);
  NUV_UdpServer_fileRead(&server_, replies_.read_fd());
}

}  // namespace phoned
