#include "doubles/udp_peer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace support {
namespace {

constexpr int kPatienceMilliseconds = 10000;

sockaddr_in loopback(in_port_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = port;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

UdpPeer::UdpPeer() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in any_port = loopback(0);
  EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&any_port), sizeof any_port), 0);
}

UdpPeer::~UdpPeer() {
  close(fd_);
}

in_port_t UdpPeer::port() const {
  return bound_port(fd_);
}

void UdpPeer::send(const std::string& bytes, in_port_t port) {
  const sockaddr_in address = loopback(port);
  const ssize_t sent =
      sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  EXPECT_EQ(sent, static_cast<ssize_t>(bytes.size()));
}

std::optional<Datagram> UdpPeer::receive() {
  pollfd wait = {fd_, POLLIN, 0};
  if (poll(&wait, 1, kPatienceMilliseconds) != 1) {
    return std::nullopt;
  }
  std::array<char, 65536> buffer;
  sockaddr_in sender = {};
  socklen_t length = sizeof sender;
  const ssize_t received =
      recvfrom(fd_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender), &length);
  if (received < 0) {
    return std::nullopt;
  }
  return Datagram{std::string(buffer.data(), static_cast<size_t>(received)), sender.sin_port};
}

in_port_t bound_port(int fd) {
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
  return address.sin_port;
}

}  // namespace support
