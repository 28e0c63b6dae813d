// The way between line cards and the dial layer: a UDP server of the library and two pipes.
//
//     socket --receive()--> request pipe --take_request()--> dial layer --send()--> reply pipe --> socket
//
// A pipe is a stream and knows no datagrams; yet none ever runs into the next one:
//
//  - The request pipe holds one datagram at most: no other is received before it is taken.
//  - The reply pipe is emptied into the socket by the same send() that fills it. An answer that does not get through is
//    thrown away, so that no other card gets it.
#ifndef EXAMPLES_PHONED_IO_CHANNEL_H
#define EXAMPLES_PHONED_IO_CHANNEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "phoned/core/owned_frame.h"
#include "phoned/core/result.h"
#include "phoned/io/datagram.h"
#include "phoned/io/owned_pipe.h"
#include "userlib.hpp"

namespace phoned {

class Channel {
 public:
  // A datagram that waits in the socket.
  struct Waiting {
    sockaddr_in sender = {};
    size_t size = 0;
    std::string text;  // the first kMaxDatagram bytes
  };

  // Listens on the port of every interface; 0 takes any free port.
  std::optional<Error> open(uint16_t port);

  // The port that it listens on.
  uint16_t port() const;

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

  // Takes the datagram out of the request pipe. Returns nothing if it is lost.
  std::optional<OwnedFrame> take_request();

  // Who sent the datagram that was received last.
  const sockaddr_in& sender() const { return sender_; }

  // Returns false if the answer is lost.
  bool send(const sockaddr_in& peer, std::string_view text);

 private:
  OwnedPipe requests_;
  OwnedPipe replies_;
  userlib::UdpServer server_;
  sockaddr_in sender_ = {};
};

}  // namespace phoned

#endif
