#include "raw_datagram.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace world {
namespace {

constexpr size_t kHeaders = sizeof(iphdr) + sizeof(udphdr);

in_addr_t address_of(const Endpoint& endpoint) {
  return inet_addr(endpoint.address.c_str());
}

std::string text_of(in_addr_t address) {
  char text[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

int open_raw(int protocol) {
  const int fd = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, protocol);
  if (fd < 0) {
    throw std::runtime_error("no raw socket");
  }
  return fd;
}

// The kernel fills in checksum and length of the IP header; the UDP header needs no checksum.
std::string packet_of(const Datagram& datagram) {
  iphdr ip = {};
  ip.version = 4;
  ip.ihl = sizeof ip / 4;
  ip.ttl = 64;
  ip.protocol = IPPROTO_UDP;
  ip.saddr = address_of(datagram.from);
  ip.daddr = address_of(datagram.to);
  udphdr udp = {};
  udp.source = htons(datagram.from.port);
  udp.dest = htons(datagram.to.port);
  udp.len = htons(static_cast<uint16_t>(sizeof udp + datagram.text.size()));
  std::string packet(kHeaders, '\0');
  std::memcpy(packet.data(), &ip, sizeof ip);
  std::memcpy(packet.data() + sizeof ip, &udp, sizeof udp);
  return packet + datagram.text;
}

Datagram datagram_of(const std::string& packet) {
  iphdr ip = {};
  udphdr udp = {};
  std::memcpy(&ip, packet.data(), sizeof ip);
  std::memcpy(&udp, packet.data() + sizeof ip, sizeof udp);
  return {{text_of(ip.saddr), ntohs(udp.source)}, {text_of(ip.daddr), ntohs(udp.dest)}, packet.substr(kHeaders)};
}

}  // namespace

Forger::Forger() : fd_(open_raw(IPPROTO_RAW)) {}

Forger::~Forger() {
  close(fd_);
}

void Forger::send(const Datagram& datagram) const {
  const std::string packet = packet_of(datagram);
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_addr.s_addr = address_of(datagram.to);
  if (sendto(fd_, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0) {
    throw std::runtime_error("cannot forge a datagram");
  }
}

Tap::Tap() : fd_(open_raw(IPPROTO_UDP)) {}

Tap::~Tap() {
  close(fd_);
}

std::vector<Datagram> Tap::take() const {
  constexpr int kQuietMilliseconds = 500;
  constexpr size_t kTooMuch = 10000;
  std::vector<Datagram> seen;
  pollfd state = {fd_, POLLIN, 0};
  while (seen.size() < kTooMuch && poll(&state, 1, kQuietMilliseconds) == 1) {
    std::string packet(65536, '\0');
    const ssize_t size = recv(fd_, packet.data(), packet.size(), 0);
    if (size >= static_cast<ssize_t>(kHeaders)) {
      packet.resize(static_cast<size_t>(size));
      seen.push_back(datagram_of(packet));
    }
  }
  return seen;
}

}  // namespace world
