#include "phoned/io/channel.h"

#include <algorithm>

#include <arpa/inet.h>

namespace phoned {

std::optional<Network> Network::parse(const std::string& text) {
  constexpr uint32_t kBits = 32;
  std::string_view rest = text;
  const std::string address(take_until(rest, "/"));
  in_addr parsed = {};
  const auto bits = address.size() == text.size() ? kBits : to_number(rest, 0, kBits);
  if (!bits || inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
    return std::nullopt;
  }
  return Network{ntohl(parsed.s_addr), *bits == 0 ? 0 : ~uint32_t{0} << (kBits - *bits)};
}

void Channel::open(uint16_t port) {
  requests_.open();
  replies_.open();
  if (!server_.open(htons(port), requests_.write_fd())) {
    throw Error("cannot listen on port " + std::to_string(port) + ": " + reason() +
                "; choose another with --port, or 0 for any free one");
  }
  // Whatever keeps a datagram from leaving, a card's answer is not worth the wait.
  fcntl(socket_fd(), F_SETFL, O_NONBLOCK);
  sockaddr_in local = {};
  socklen_t length = sizeof local;
  getsockname(socket_fd(), reinterpret_cast<sockaddr*>(&local), &length);
  port_ = ntohs(local.sin_port);
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

bool Channel::send(const sockaddr_in& card, std::string_view text) {
  server_.peer() = card;
  if (!replies_.is_empty() || !replies_.put(text)) {
    replies_.take();
    return false;
  }
  for (int i = 0; i < kTries && !replies_.is_empty(); ++i) {
    server_.file_read(replies_.read_fd());
  }
  return replies_.take().empty();
}

}  // namespace phoned
