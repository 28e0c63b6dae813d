// The channel between line cards and the dial layer: a UDP server of the library and two pipes.
//
//     socket --on_datagram()--> request pipe --on_request()--> dial layer --answer()--> reply pipe --> socket
//
// A pipe is a stream, yet datagrams stay apart: the request pipe holds one at most, and send() empties the reply pipe that
// it fills. An answer that cannot be sent is discarded, so that no other card gets it.
#ifndef EXAMPLES_PHONED_IO_CHANNEL_H
#define EXAMPLES_PHONED_IO_CHANNEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <netinet/in.h>

#include "phoned/core/dial_layer.h"
#include "phoned/core/statistics.h"
#include "phoned/core/trace.h"
#include "phoned/io/bridge.h"
#include "userlib.hpp"

namespace phoned {

// The network whose line cards are answered.
struct Network {
  uint32_t address = 0x7F000000;  // both in host byte order: 127.0.0.0/8
  uint32_t mask = 0xFF000000;

  // Reads "192.168.1.0/24", or a single address.
  static std::optional<Network> parse(const std::string& text);

  bool contains(const sockaddr_in& card) const { return ((ntohl(card.sin_addr.s_addr) ^ address) & mask) == 0; }

  bool operator==(const Network&) const = default;
};

class Channel : userlib::Pinned {
 public:
  Channel(userlib::Reactor& loop, const Network& allowed, DialLayer& dial_layer, Statistics& counts)
      : allowed_(allowed),
        dial_layer_(dial_layer),
        counts_(counts),
        datagram_(loop, [this] { on_datagram(); }),
        request_(loop, [this] { on_request(); }),
        deadline_(loop, [] {}) {}

  // Listens on the port of every interface; 0 takes any free port.
  void open(uint16_t port);

  uint16_t port() const { return port_; }

  // Decides the lines whose time has run out. To be called after every turn of the loop.
  void decide_overdue();

  // Leaves in the socket what has not been read yet.
  void stop() { datagram_.stop(); }

 private:
  // The next datagram in the socket, not read yet.
  struct Waiting {
    sockaddr_in sender = {};
    size_t size = 0;
    std::string text;  // the first userlib::kMaxDatagram bytes
  };

  void on_datagram();
  std::optional<Waiting> peek() const;
  uint64_t Statistics::*silence_for(const Waiting& waiting) const;
  void on_request();
  void answer(const sockaddr_in& card, const std::string& text);
  bool send(const sockaddr_in& card, std::string_view text);
  void count_loss(const char* what);
  bool wait_for_deadline();
  trace::Part part() const { return {"channel", port_}; }

  const Network allowed_;
  DialLayer& dial_layer_;
  Statistics& counts_;
  TextPipe requests_;
  TextPipe replies_;
  userlib::UdpServer server_;
  uint16_t port_ = 0;
  sockaddr_in sender_ = {};       // of the datagram in the request pipe
  uint32_t turns_since_due_ = 0;  // since a deadline was reached that is not handled yet
  userlib::Watch datagram_;
  userlib::Watch request_;
  userlib::Timer deadline_;  // ends the wait, for decide_overdue()
};

}  // namespace phoned

#endif
