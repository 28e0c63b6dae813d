#include "phonectl/client.h"

#include <cerrno>
#include <cstring>

#include "phoned/core/clock.h"
#include "phoned/io/datagram.h"

namespace phonectl {

using phoned::Error;

std::optional<Error> Client::open(const std::string& host, uint16_t port) {
  if (!requests_.open() || !incoming_.open()) {
    return Error{std::string("no pipe to be had: ") + std::strerror(errno)};
  }
  if (!bridge_.open(host.c_str(), port, incoming_.write_fd())) {
    return Error{std::string("no socket to be had: ") + std::strerror(errno)};
  }
  if (!datagram_.read_external(bridge_.socket()) || !answer_.read(incoming_.read_fd())) {
    return Error{phoned::kCannotWatch};
  }
  return std::nullopt;
}

void Client::send(std::string_view text) {
  answers_.clear();
  requests_.put(text);
  bridge_.file_read(requests_.read_fd());
}

bool Client::wait_for_answer(std::chrono::milliseconds timeout) {
  const timeval deadline = phoned::later(phoned::monotonic_now(), timeout);
  while (answers_.empty() && !phoned::is_reached(deadline, phoned::monotonic_now())) {
    turn(deadline);
  }
  return !answers_.empty();
}

std::string Client::take_answer() {
  std::string answer = std::move(answers_.front());
  answers_.pop_front();
  return answer;
}

void Client::wait(std::chrono::milliseconds time) {
  const timeval deadline = phoned::later(phoned::monotonic_now(), time);
  while (!phoned::is_reached(deadline, phoned::monotonic_now())) {
    turn(deadline);
  }
}

// A datagram goes from the socket into the pipe; the reactor empties the pipe before it looks at the socket again.
void Client::receive() {
  const auto size = phoned::waiting_datagram(bridge_.socket());
  if (size && phoned::can_be_bridged(*size)) {
    bridge_.socket_read();
  } else if (size) {
    phoned::drop_datagram(bridge_.socket());  // phoned never sends such
  }
}

// One turn of the reactor, no longer than to the deadline.
void Client::turn(const timeval& deadline) {
  loop_.process(phoned::wait_until(deadline, phoned::monotonic_now()));
}

}  // namespace phonectl
