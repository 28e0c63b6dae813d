// The other side of a UDP socket.
#ifndef TESTS_DOUBLES_UDP_PEER_H
#define TESTS_DOUBLES_UDP_PEER_H

#include <netinet/in.h>

#include <optional>
#include <string>

namespace support {

struct Datagram {
  std::string bytes;
  in_port_t sender = 0;  // port, in network byte order
};

// A socket on the loopback interface.
class UdpPeer {
 public:
  UdpPeer();
  ~UdpPeer();
  UdpPeer(const UdpPeer&) = delete;
  UdpPeer& operator=(const UdpPeer&) = delete;

  // In network byte order.
  in_port_t port() const;

  // Sends to a port of the loopback interface, in network byte order.
  void send(const std::string& bytes, in_port_t port);

  // Returns the next datagram, or nothing if none arrives within some seconds.
  std::optional<Datagram> receive();

 private:
  int fd_;
};

// The port that a socket is bound to, in network byte order.
in_port_t bound_port(int fd);

}  // namespace support

#endif
