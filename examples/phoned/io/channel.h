// The channel between line cards and the dial layer: a UDP server of the library and two pipes.
//
//     socket --receive()--> request pipe --take_request()--> dial layer --send()--> reply pipe --> socket
//
// A pipe is a stream, yet datagrams stay apart: the request pipe holds one at most, and send() empties the reply pipe that
// it fills. An answer that cannot be sent is discarded, so that no other card gets it.
#ifndef EXAMPLES_PHONED_IO_CHANNEL_H
#define EXAMPLES_PHONED_IO_CHANNEL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <netinet/in.h>

#include "phoned/io/bridge.h"
#include "userlib.hpp"

namespace phoned {

class Channel {
 public:
  // A datagram in the socket.
  struct Waiting {
    sockaddr_in sender = {};
    size_t size = 0;
    std::string text;  // the first kMaxDatagram bytes
  };

  // Listens on the port of every interface; 0 takes any free port.
  void open(uint16_t port) {
    requests_.open();
    replies_.open();
    if (!server_.open(htons(port), requests_.write_fd())) {
      throw Error("cannot listen on port " + std::to_string(port) + ": " + reason() +
                  "; choose another with --port, or 0 for any free one");
    }
    fcntl(socket_fd(), F_SETFL, O_NONBLOCK);  // rather lose an answer than wait for the network
    sockaddr_in local = {};
    socklen_t length = sizeof local;
    getsockname(socket_fd(), reinterpret_cast<sockaddr*>(&local), &length);
    port_ = ntohs(local.sin_port);
  }

  uint16_t port() const { return port_; }
  int socket_fd() const { return server_.socket(); }
  int request_fd() const { return requests_.read_fd(); }

  // Shows the next datagram without reading it. Nothing while the one before is in the request pipe.
  std::optional<Waiting> peek() const {
    Waiting waiting;
    waiting.text.resize(kMaxDatagram);
    socklen_t length = sizeof waiting.sender;
    const ssize_t size = recvfrom(socket_fd(), waiting.text.data(), waiting.text.size(), MSG_PEEK | MSG_TRUNC,
                                  reinterpret_cast<sockaddr*>(&waiting.sender), &length);
    if (size < 0 || !requests_.is_empty()) {
      return std::nullopt;
    }
    waiting.size = static_cast<size_t>(size);
    waiting.text.resize(std::min(waiting.size, kMaxDatagram));
    return waiting;
  }

  // Whether a datagram is on its way to the dial layer.
  bool has_datagram() const { return waiting_datagram(socket_fd()) || !requests_.is_empty(); }

  // Discards the next datagram.
  void drop() { drop_datagram(socket_fd()); }

  // Moves the next datagram, of 1 to kMaxDatagram bytes, into the request pipe. Returns false if it is lost.
  bool receive() {
    server_.socket_read();
    sender_ = server_.peer();
    return !requests_.is_empty();
  }

  // The sender of the datagram that was received last.
  const sockaddr_in& sender() const { return sender_; }

  // Takes that datagram out of the request pipe, as a frame. The frame is empty if the datagram is lost.
  userlib::Frame take_request() { return userlib::Frame::copy_of(requests_.take()); }

  // Returns false if the answer is lost.
  bool send(const sockaddr_in& card, std::string_view text) {
    server_.peer() = card;
    if (replies_.is_empty() && replies_.put(text)) {
      for (int i = 0; i < kTries && !replies_.is_empty(); ++i) {
        server_.file_read(replies_.read_fd());
      }
      return replies_.take().empty();
    }
    replies_.take();
    return false;
  }

 private:
  TextPipe requests_;
  TextPipe replies_;
  userlib::UdpServer server_;
  uint16_t port_ = 0;
  sockaddr_in sender_ = {};
};

}  // namespace phoned

#endif
