// A plain UDP socket on the loopback interface, without anything of the library.
#ifndef TESTS_PHONED_UDP_SOCKET_H
#define TESTS_PHONED_UDP_SOCKET_H

#include <cstdint>
#include <string>

namespace support {

class UdpSocket {
 public:
  // What receive() returns when nothing has come in time. No answer of phoned looks like that.
  static constexpr char kNothing[] = "(nothing)";

  // Bound to any free port; talks to the port, if one is given.
  explicit UdpSocket(uint16_t peer_port = 0);
  ~UdpSocket();
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  uint16_t port() const;

  void send(const std::string& datagram) const;

  // The next datagram, whole; waits for it some seconds. Its sender is who the next one is sent to.
  std::string receive();

  // Sends and receives.
  std::string ask(const std::string& datagram);

  // Tells whether a datagram is there already, or comes in the next milliseconds.
  bool has_datagram() const { return has_datagram_within(0); }
  bool has_datagram_within(int milliseconds) const;

 private:
  int fd_;
  uint16_t peer_port_;
};

}  // namespace support

#endif
