// The way between line cards and the dial layer: a UDP server of the library and two pipes.
//
//     socket --receive()--> request pipe --take_request()--> dial layer --send()--> reply pipe --> socket
//
// A pipe is a stream and knows no datagrams; yet none ever runs into the next one: the request pipe holds one datagram at
// most, and send() empties the reply pipe that it fills. An answer that does not get through is thrown away, so that no
// other card gets it.
#ifndef EXAMPLES_PHONED_IO_CHANNEL_H
#define EXAMPLES_PHONED_IO_CHANNEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <netinet/in.h>

#include "phoned/io/bridge.h"
#include "userlib.hpp"

namespace phoned {

// The network whose line cards are answered.
struct Network {
  uint32_t address = 0x7F000000;  // both in host byte order: 127.0.0.0/8
  uint32_t mask = 0xFF000000;

  // Reads "192.168.1.0/24", or an address alone, which is a network of one.
  static std::optional<Network> parse(const std::string& text);

  bool contains(const sockaddr_in& card) const { return ((ntohl(card.sin_addr.s_addr) ^ address) & mask) == 0; }

  bool operator==(const Network&) const = default;
};

class Channel {
 public:
  // A datagram that waits in the socket.
  struct Waiting {
    sockaddr_in sender = {};
    size_t size = 0;
    std::string text;  // the first kMaxDatagram bytes
  };

  // Listens on the port of every interface; 0 takes any free port.
  void open(uint16_t port);

  // The port that it listens on.
  uint16_t port() const { return port_; }

  int socket_fd() const { return server_.socket(); }
  int request_fd() const { return requests_.read_fd(); }

  // Shows the next datagram without taking it. Nothing if there is none, or if the one before is not taken yet.
  std::optional<Waiting> peek() const;

  // Whether a datagram is on its way to the dial layer.
  bool has_datagram() const { return waiting_datagram(socket_fd()) || !requests_.is_empty(); }

  // Throws the next datagram away.
  void drop() { drop_datagram(socket_fd()); }

  // Moves the next datagram, of 1 to kMaxDatagram bytes, into the request pipe. Returns false if it is lost.
  bool receive();

  // Takes the datagram out of the request pipe, as a frame. Empty if it is lost.
  userlib::Frame take_request() { return userlib::Frame::copy_of(requests_.take()); }

  // Who sent the datagram that was received last.
  const sockaddr_in& sender() const { return sender_; }

  // Returns false if the answer is lost.
  bool send(const sockaddr_in& card, std::string_view text);

 private:
  TextPipe requests_;
  TextPipe replies_;
  userlib::UdpServer server_;
  uint16_t port_ = 0;
  sockaddr_in sender_ = {};
};

}  // namespace phoned

#endif
