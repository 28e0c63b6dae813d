#include "phoned/io/channel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

namespace phoned {

std::optional<Error> Channel::open(uint16_t port) {
  if (!requests_.open() || !replies_.open()) {
    return Error{std::string("no pipe to be had: ") + std::strerror(errno)};
  }
  if (!server_.open(port, requests_.write_fd())) {
    return Error{"cannot listen on port " + std::to_string(port) + ": " + std::strerror(errno) +
                 "; choose another with --port, or 0 for any free one"};
  }
  // Whatever keeps a datagram from leaving, a card's answer is not worth the wait.
  fcntl(socket_fd(), F_SETFL, O_NONBLOCK);
  return std::nullopt;
}

uint16_t Channel::port() const {
  sockaddr_in local = {};
  socklen_t length = sizeof local;
  getsockname(socket_fd(), reinterpret_cast<sockaddr*>(&local), &length);
  return ntohs(local.sin_port);
}

std::optional<Channel::Waiting> Channel::peek() const {
  Waiting waiting;
  waiting.text.resize(kMaxDatagram);
  socklen_t length = sizeof waiting.sender;
  const ssize_t size = recvfrom(socket_fd(), waiting.text.data(), waiting.text.size(), MSG_PEEK | MSG_TRUNC,
                                reinterpret_cast<sockaddr*>(&waiting.sender), &length);
  if (size < 0 || !requests_.is_empty()) {
    return std::nullopt;
  }
  waiting.size = static_cast<size_t>(size);
  waiting.text.resize(std::min(waiting.size, kMaxDatagram));
  return waiting;
}

bool Channel::receive() {
  server_.socket_read();
  sender_ = server_.peer();
  return !requests_.is_empty();
}

std::optional<OwnedFrame> Channel::take_request() {
  const std::string request = requests_.take();
  return request.empty() ? std::nullopt : std::optional<OwnedFrame>(request);
}

bool Channel::send(const sockaddr_in& peer, std::string_view text) {
  server_.peer() = peer;
  if (!replies_.is_empty() || !replies_.put(text)) {
    replies_.take();
    return false;
  }
  for (int i = 0; i < OwnedPipe::kTries && !replies_.is_empty(); ++i) {
    server_.file_read(replies_.read_fd());
  }
  return replies_.take().empty();
}

}  // namespace phoned
