// A UDP socket on the loopback interface, independent of the library.
#ifndef TESTS_PHONED_UDP_SOCKET_H
#define TESTS_PHONED_UDP_SOCKET_H

#include <cstdint>
#include <string>

namespace support {

class UdpSocket {
 public:
  // The result of receive() after a timeout. No answer of phoned looks like it.
  static constexpr char kNothing[] = "(nothing)";

  // Binds to any free port, and connects to the port, if one is given.
  explicit UdpSocket(uint16_t peer_port = 0);
  ~UdpSocket();
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  uint16_t port() const;

  void send(const std::string& datagram) const;

  // The next datagram; waits for it for some seconds. send() goes to its sender from then on.
  std::string receive();

  // Sends and receives.
  std::string ask(const std::string& datagram);

  // Whether a datagram is available, or arrives within the next milliseconds.
  bool has_datagram() const { return has_datagram_within(0); }
  bool has_datagram_within(int milliseconds) const;

 private:
  int fd_;
  uint16_t peer_port_;
};

}  // namespace support

#endif
