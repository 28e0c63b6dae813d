#include "console_operator.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <stdexcept>

#include "program.h"

namespace support {

Operator::Operator(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    hang_up();
    throw std::runtime_error("no connection to " + path);
  }
}

void Operator::say(const std::string& text) const {
  send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
}

std::string Operator::answer() const {
  std::string text;
  char buffer[4096];
  for (;;) {
    pollfd state = {fd_, POLLIN, 0};
    if (poll(&state, 1, Program::kPatienceSeconds * 1000) <= 0) {
      return "(nothing)";
    }
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    if (count <= 0) {
      return text;
    }
    text.append(buffer, static_cast<size_t>(count));
  }
}

std::string Operator::ask(const std::string& line) const {
  say(line + "\n");
  return answer();
}

void Operator::hang_up() {
  close(fd_);
  fd_ = -1;
}

}  // namespace support
