// The way between line cards and the dial layer: a UDP server of the library and two pipes.
//
//     socket --receive()--> request pipe --take_request()--> dial layer --send()--> reply pipe --> socket
//
// A pipe is a stream and knows no datagrams; yet none ever runs into the next one:
//
//  - The request pipe holds one datagram at most. Its read end is the only internal descriptor of the reactor, the socket
//    an external one: an internal descriptor that is ready is served before the socket is looked at again.
//  - The reply pipe is emptied into the socket by the same send() that fills it.
#ifndef EXAMPLES_PHONED_IO_CHANNEL_H
#define EXAMPLES_PHONED_IO_CHANNEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "phoned/core/owned_frame.h"
#include "phoned/core/result.h"
#include "phoned/io/owned_pipe.h"
#include "userlib.hpp"

namespace phoned {

class Channel {
 public:
  // Listens on the port of every interface; 0 takes any free port.
  std::optional<Error> open(uint16_t port);

  // The port that it listens on.
  uint16_t port() const;

  int socket_fd() const { return server_.socket(); }
  int request_fd() const { return requests_.read_fd(); }

  // Moves the datagram that waits in the socket into the request pipe. One that a pipe cannot carry, because it is
  // empty or too long, is thrown away, and its size returned.
  std::optional<size_t> receive();

  // Takes the datagram out of the request pipe.
  OwnedFrame take_request() { return OwnedFrame(requests_.read()); }

  // Who sent the datagram that was received last.
  const sockaddr_in& sender() const { return sender_; }

  void send(const sockaddr_in& peer, std::string_view text);

 private:
  OwnedPipe requests_;
  OwnedPipe replies_;
  userlib::UdpServer server_;
  sockaddr_in sender_ = {};
};

}  // namespace phoned

#endif
