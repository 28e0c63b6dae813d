#include "phonectl/client.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>

#include "phoned/clock.h"
#include "phoned/datagram.h"

namespace phonectl {

using phoned::Error;

Client::Client(Listener listener) : listener_(std::move(listener)) {
  NUV_Select_construct(&loop_);
}

Client::~Client() {
  NUV_Select_destruct(&loop_);
  if (is_open_) {
    NUV_UdpClient_destruct(&bridge_);
  }
}

std::optional<Error> Client::open(const std::string& host, uint16_t port) {
  if (!requests_.open() || !incoming_.open()) {
    return Error{std::string("no pipe to be had: ") + std::strerror(errno)};
  }
  is_open_ = NUV_UdpClient_construct(&bridge_, host.c_str(), htons(port), incoming_.write_fd()) == 1;
  if (!is_open_) {
    return Error{std::string("no socket to be had: ") + std::strerror(errno)};
  }
  NUV_Select_setReadExternal(&loop_, NUV_UdpClient_socket(&bridge_), this, 0, on_datagram);
  NUV_Select_setRead(&loop_, incoming_.read_fd(), this, 0, on_answer);
  return std::nullopt;
}

void Client::send(std::string_view text) {
  answers_.clear();
  requests_.write(text);
  NUV_UdpClient_fileRead(&bridge_, requests_.read_fd());
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
int32_t Client::on_datagram(void* client, int32_t fd, uint32_t) {
  const auto size = phoned::waiting_datagram(fd);
  if (!size) {
    return 0;
  }
  if (phoned::can_be_bridged(*size)) {
    NUV_UdpClient_socketRead(&static_cast<Client*>(client)->bridge_, fd);
  } else {
    phoned::drop_datagram(fd);  // phoned never sends such
  }
  return 0;
}

int32_t Client::on_answer(void* client, int32_t, uint32_t) {
  auto* self = static_cast<Client*>(client);
  self->answers_.push_back(self->incoming_.read());
  self->listener_(self->answers_.back());
  return 0;
}

// One turn of the reactor, no longer than to the deadline.
void Client::turn(const timeval& deadline) {
  timeval wait = phoned::wait_until(deadline, phoned::monotonic_now());
  NUV_Select_process(&loop_, &wait);
}

}  // namespace phonectl
