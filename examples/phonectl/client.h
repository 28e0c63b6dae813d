// Sends to phoned and gathers what it answers: a UDP client of the library between two pipes, driven by a reactor.
//
//     send() --> request pipe --> socket --> phoned --> socket --> answer pipe --> answers
#ifndef EXAMPLES_PHONECTL_CLIENT_H
#define EXAMPLES_PHONECTL_CLIENT_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "nuv_select.h"
#include "nuv_udpclient.h"
#include "phoned/owned_pipe.h"
#include "phoned/result.h"

namespace phonectl {

class Client {
 public:
  using Listener = std::function<void(const std::string& answer)>;

  // The listener hears every answer when it comes.
  explicit Client(Listener listener);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Talks to this IPv4 address and port from now on.
  std::optional<phoned::Error> open(const std::string& host, uint16_t port);

  // Sends a datagram of 1 to 1024 bytes. Forgets the answers that nobody has taken.
  void send(std::string_view text);

  // Waits until there is an answer that nobody has taken. Returns false if none came in time.
  bool wait_for_answer(std::chrono::milliseconds timeout);

  // Takes the oldest answer; there must be one.
  std::string take_answer();

  // Does nothing but hear what comes.
  void wait(std::chrono::milliseconds time);

 private:
  static int32_t on_datagram(void* client, int32_t fd, uint32_t unused);
  static int32_t on_answer(void* client, int32_t fd, uint32_t unused);
  void turn(const timeval& deadline);

  Listener listener_;
  UdpClient bridge_ = {};
  bool is_open_ = false;
  phoned::OwnedPipe requests_;
  phoned::OwnedPipe incoming_;
  Select loop_;
  std::deque<std::string> answers_;  // those that nobody has taken
};

}  // namespace phonectl

#endif
