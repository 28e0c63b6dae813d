#include "phonectl/client.h"

#include <poll.h>
#include <sys/socket.h>


namespace phonectl {

using phoned::Error;
using std::chrono::milliseconds;

void Client::open(const std::string& host, uint16_t port) {
  requests_.open();
  incoming_.open();
  if (!bridge_.open(host.c_str(), htons(port), incoming_.write_fd())) {
    throw Error("cannot make a socket: " + phoned::reason());
  }
  if (!datagram_.read_external(bridge_.socket()) || !answer_.read(incoming_.read_fd())) {
    throw Error(phoned::kCannotWatch);
  }
}

void Client::send(std::string_view text) {
  answers_.clear();
  requests_.put(text);
  bridge_.file_read(requests_.read_fd());
}

bool Client::wait_for_answer(milliseconds timeout) {
  turn_until(timeout, [this] { return !answers_.empty(); });
  return !answers_.empty();
}

std::string Client::take_answer() {
  std::string answer = std::move(answers_.front());
  answers_.pop_front();
  return answer;
}

void Client::wait(milliseconds time) {
  turn_until(time, [] { return false; });
}

// A datagram goes from the socket into the pipe; the reactor empties the pipe before it looks at the socket again.
void Client::receive() {
  const auto size = userlib::waiting_datagram(bridge_.socket());
  if (size && userlib::can_be_bridged(*size)) {
    bridge_.socket_read();
  } else if (size) {
    userlib::drop_datagram(bridge_.socket());  // phoned never sends such
  }
}

template <typename Question>
void Client::turn_until(milliseconds time, Question is_enough) {
  const timeval deadline = userlib::later(userlib::monotonic_now(), time);
  while (!is_enough() && !userlib::is_reached(deadline, userlib::monotonic_now())) {
    loop_.process(userlib::wait_until(deadline, userlib::monotonic_now()));
  }
}

std::string ask_console(const std::string& path, const std::string& line, milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const userlib::UniqueFd fd = userlib::connect_unix(path, SOCK_STREAM);
  if (!fd) {
    throw Error("no console at " + phoned::quote_path(path) + ": " + phoned::reason());
  }
  // phoned may have closed the connection already: then the answer says why.
  static_cast<void>(!::send(fd.get(), (line + "\n").data(), line.size() + 1, MSG_NOSIGNAL));
  std::string answer;
  while (true) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    pollfd state = {fd.get(), POLLIN, 0};
    if (left <= 0 || poll(&state, 1, static_cast<int>(left)) <= 0) {
      throw Error("no answer from the console at " + phoned::quote_path(path) + " within " +
                  std::to_string(timeout.count()) + " ms");
    }
    char buffer[4096];
    const ssize_t count = recv(fd.get(), buffer, sizeof buffer, 0);
    if (count <= 0) {
      return answer;
    }
    answer.append(buffer, static_cast<size_t>(count));
  }
}

}  // namespace phonectl
