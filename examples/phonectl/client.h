// Talks to phoned: to its port by a UDP client of the library between two pipes, driven by a reactor, and to its console.
//
//     send() --> request pipe --> socket --> phoned --> socket --> answer pipe --> answers
#ifndef EXAMPLES_PHONECTL_CLIENT_H
#define EXAMPLES_PHONECTL_CLIENT_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "phoned/io/bridge.h"
#include "userlib.hpp"

namespace phonectl {

class Client {
 public:
  using Listener = std::function<void(const std::string& answer)>;

  // The listener hears every answer when it comes.
  explicit Client(Listener listener) : listener_(std::move(listener)) {}

  // Talks to this IPv4 address and port from now on.
  void open(const std::string& host, uint16_t port);

  // Sends a datagram of 1 to 1024 bytes. Forgets the answers that nobody has taken.
  void send(std::string_view text);

  // Waits until there is an answer that nobody has taken. Returns false if none came in time.
  bool wait_for_answer(std::chrono::milliseconds timeout);

  // Takes the oldest answer; there must be one.
  std::string take_answer();

  // Does nothing but hear what comes.
  void wait(std::chrono::milliseconds time);

 private:
  void receive();
  template <typename Question>
  void turn_until(std::chrono::milliseconds time, Question is_enough);

  Listener listener_;
  std::deque<std::string> answers_;  // those that nobody has taken
  phoned::TextPipe requests_;
  phoned::TextPipe incoming_;
  userlib::UdpClient bridge_;
  userlib::Reactor loop_;
  userlib::Watch datagram_{loop_, [this] { receive(); }};
  userlib::Watch answer_{loop_, [this] { listener_(answers_.emplace_back(incoming_.take())); }};
};

// Says a line on phoned's console socket. The answer is what phoned sends until it closes the connection.
std::string ask_console(const std::string& path, const std::string& line, std::chrono::milliseconds timeout);

}  // namespace phonectl

#endif
