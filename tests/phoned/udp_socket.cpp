#include "udp_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "program.h"

namespace support {
namespace {

sockaddr_in loopback(uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

}  // namespace

UdpSocket::UdpSocket(uint16_t peer_port) : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), peer_port_(peer_port) {
  const sockaddr_in any = loopback(0);
  if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) {
    throw std::runtime_error("no socket");
  }
}

UdpSocket::~UdpSocket() {
  close(fd_);
}

uint16_t UdpSocket::port() const {
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

void UdpSocket::send(const std::string& datagram) const {
  const sockaddr_in peer = loopback(peer_port_);
  const ssize_t sent =
      sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
  if (sent != static_cast<ssize_t>(datagram.size())) {
    throw std::runtime_error("cannot send");
  }
}

std::string UdpSocket::receive() {
  if (!has_datagram_within(Program::kPatienceSeconds * 1000)) {
    return kNothing;
  }
  char datagram[65536];
  sockaddr_in sender = {};
  socklen_t length = sizeof sender;
  const ssize_t size = recvfrom(fd_, datagram, sizeof datagram, 0, reinterpret_cast<sockaddr*>(&sender), &length);
  peer_port_ = ntohs(sender.sin_port);
  return {datagram, size > 0 ? static_cast<size_t>(size) : 0};
}

std::string UdpSocket::ask(const std::string& datagram) {
  send(datagram);
  return receive();
}

bool UdpSocket::has_datagram_within(int milliseconds) const {
  pollfd ready = {fd_, POLLIN, 0};
  return poll(&ready, 1, milliseconds) == 1;
}

}  // namespace support
