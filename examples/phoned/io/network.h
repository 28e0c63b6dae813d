// The network whose line cards phoned listens to.
#ifndef EXAMPLES_PHONED_IO_NETWORK_H
#define EXAMPLES_PHONED_IO_NETWORK_H

#include <cstdint>
#include <optional>
#include <string>

#include <netinet/in.h>

namespace phoned {

struct Network {
  uint32_t address = 0x7F000000;  // both in host byte order: 127.0.0.0/8
  uint32_t mask = 0xFF000000;

  // Reads "192.168.1.0/24", or an address alone, which is a network of one.
  static std::optional<Network> parse(const std::string& text);

  bool contains(const sockaddr_in& peer) const { return ((ntohl(peer.sin_addr.s_addr) ^ address) & mask) == 0; }

  bool operator==(const Network&) const = default;
};

}  // namespace phoned

#endif
