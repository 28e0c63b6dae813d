#include "phonectl/console.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "phoned/core/text.h"

namespace phonectl {

using phoned::Error;
using phoned::quote_path;
using phoned::Result;

namespace {

using Clock = std::chrono::steady_clock;

class Connection {
 public:
  Connection() : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  ~Connection() { close(fd_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool open(const std::string& path) const {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
      errno = ENAMETOOLONG;
      return false;
    }
    path.copy(address.sun_path, path.size());
    return connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

  // phoned may have closed the connection already: then the answer says why.
  void send(const std::string& text) const { static_cast<void>(!::send(fd_, text.data(), text.size(), MSG_NOSIGNAL)); }

  // Nothing if the end does not come in time.
  std::optional<std::string> receive_all(Clock::time_point deadline) const {
    std::string text;
    while (true) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd state = {fd_, POLLIN, 0};
      if (left <= 0 || poll(&state, 1, static_cast<int>(left)) <= 0) {
        return std::nullopt;
      }
      char buffer[4096];
      const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
      if (count <= 0) {
        return text;
      }
      text.append(buffer, static_cast<size_t>(count));
    }
  }

 private:
  int fd_;
};

}  // namespace

Result<std::string> ask_console(const std::string& path, const std::string& line, std::chrono::milliseconds timeout) {
  const Connection connection;
  if (!connection.open(path)) {
    return Error{"no console at " + quote_path(path) + ": " + std::strerror(errno)};
  }
  connection.send(line + "\n");
  auto answer = connection.receive_all(Clock::now() + timeout);
  if (!answer) {
    return Error{"no answer from the console at " + quote_path(path) + " within " + std::to_string(timeout.count()) +
                 " ms"};
  }
  return *answer;
}

bool is_refusal(std::string_view answer) {
  return answer.starts_with("error: ") || answer == "command not found\n" || answer == "syntax error\n";
}

}  // namespace phonectl
