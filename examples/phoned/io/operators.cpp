#include "phoned/io/operators.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "nuv_time.h"
#include "phoned/core/clock.h"
#include "phoned/core/text.h"
#include "phoned/core/trace.h"

namespace phoned {

namespace {

constexpr std::chrono::hours kNobodyWaits{24};
constexpr std::chrono::seconds kPause{1};

std::string reason() {
  return std::strerror(errno);
}

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// Tells whether somebody listens at the address. One who has no time for us just now does.
bool is_alive(const sockaddr_un& address) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const bool is_connected = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  const bool is_there = is_connected || errno == EAGAIN;
  close(fd);
  return is_there;
}

// A socket that a phoned left behind which could not clean up is removed; anything else stays.
std::optional<Error> make_room(const std::string& path, const sockaddr_un& address) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  if (!S_ISSOCK(status.st_mode)) {
    return Error{"console socket " + quote_path(path) + " cannot be made: there is a file that is no socket"};
  }
  if (is_alive(address)) {
    return Error{"console socket " + quote_path(path) + " is in use: another process listens there"};
  }
  unlink(path.c_str());
  return std::nullopt;
}

// Only phoned's own user may speak to it.
bool bind_privately(int fd, const sockaddr_un& address) {
  const mode_t mask = umask(0177);
  const bool is_bound = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  const int saved = errno;
  umask(mask);
  errno = saved;
  return is_bound;
}

// Open at both ends, so that it neither waits for somebody at the other one nor ends when they go.
Result<int> open_fifo(const std::string& path) {
  if (mkfifo(path.c_str(), 0600) != 0 && errno != EEXIST) {
    return Error{"FIFO " + quote_path(path) + " cannot be made: " + reason()};
  }
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && !S_ISFIFO(status.st_mode)) {
    return Error{quote_path(path) + " is no FIFO"};
  }
  const int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    return Error{"FIFO " + quote_path(path) + " cannot be opened: " + reason()};
  }
  return fd;
}

// 0: there is none.
ino_t inode_of(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// What keeps a connection waiting in the socket, which stays ready for that.
bool is_shortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Throws away what the operator has sent behind the line: a socket that is closed with something in it tells the other
// side of an error, which may then miss the answer.
void drain(int fd) {
  char waste[4096];
  for (int i = 0; i < 16 && recv(fd, waste, sizeof waste, MSG_DONTWAIT) > 0; ++i) {
  }
}

}  // namespace

std::optional<Error> Operators::open(const Channels& channels) {
  patience_ = channels.patience;
  if (!wait_for_deadline()) {
    return Error{kCannotWatch};
  }
  if (channels.socket_path) {
    if (auto error = open_socket(*channels.socket_path)) {
      return error;
    }
  }
  if (channels.fifo_in && channels.fifo_out) {
    if (auto error = open_fifos(*channels.fifo_in, *channels.fifo_out)) {
      return error;
    }
  }
  if (channels.use_stdin) {
    // A descriptor of its own: what commands print on standard output is caught while they run, and one that goes on
    // after that would answer there.
    const int out_fd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return out_fd < 0 ? Error{"no descriptor for the console's answers to be had: " + reason()}
                      : listen_to(standard_input_, STDIN_FILENO, out_fd);
  }
  return std::nullopt;
}

std::optional<Error> Operators::close() {
  while (!connections_.empty()) {
    end(connections_.begin()->first);
  }
  // Whatever lies in the socket's place by now is not phoned's.
  const ino_t inode = listening_fd_ < 0 ? 0 : inode_of(socket_path_);
  const bool is_gone = listening_fd_ >= 0 && inode == 0;
  const bool is_left = listening_fd_ >= 0 && inode == socket_inode_ && unlink(socket_path_.c_str()) != 0;
  const std::string why = is_gone ? "it is not there any more" : reason();
  for (int* const fd : {&listening_fd_, &reserve_fd_, &fifos_.in_fd, &fifos_.out_fd, &standard_input_.out_fd}) {
    if (*fd >= 0) {
      ::close(*fd);
    }
    *fd = -1;
  }
  return is_gone || is_left
             ? std::optional(Error{"console socket " + quote_path(socket_path_) + " cannot be removed: " + why})
             : std::nullopt;
}

std::optional<Error> Operators::open_socket(const std::string& path) {
  constexpr size_t kLongest = sizeof sockaddr_un::sun_path - 1;
  const sockaddr_un address = address_of(path);
  if (path.empty() || path.size() > kLongest) {
    return Error{"console socket " + quote(path) + ": must be a path of 1 to " + std::to_string(kLongest) +
                 " characters"};
  }
  if (auto error = make_room(path, address)) {
    return error;
  }
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0 || !bind_privately(fd, address)) {
    const Error error{"console socket " + quote_path(path) + " cannot be made: " + reason()};
    ::close(fd);
    return error;
  }
  // phoned may change its directory before it comes to removing the socket.
  std::error_code unused;
  socket_path_ = std::filesystem::absolute(path, unused).string();
  socket_inode_ = inode_of(socket_path_);
  listening_fd_ = fd;
  reserve_fd_ = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  listen(fd, SOMAXCONN);
  return operator_.read_external(fd) ? std::nullopt : std::optional(Error{kCannotWatch});
}

std::optional<Error> Operators::open_fifos(const std::string& in, const std::string& out) {
  const auto in_fd = open_fifo(in);
  if (!in_fd) {
    return in_fd.error();
  }
  const auto out_fd = open_fifo(out);
  if (!out_fd) {
    ::close(*in_fd);
    return out_fd.error();
  }
  return listen_to(fifos_, *in_fd, *out_fd);
}

std::optional<Error> Operators::listen_to(Stream& stream, int in_fd, int out_fd) {
  stream.in_fd = in_fd;
  stream.out_fd = out_fd;
  stream.watch.emplace(loop_, [this, &stream] { on_stream(stream); });
  return stream.watch->read_external(in_fd) ? std::nullopt : std::optional(Error{kCannotWatch});
}

// ---- Somebody connects ----

Operators::Connection::Connection(Operators& operators)
    : deadline(later(monotonic_now(), operators.patience_)),
      watch(operators.loop_, [&operators](int fd) { operators.on_connection(fd); }) {}

void Operators::on_operator() {
  const int fd = accept4(listening_fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) {
    if (is_shortage(errno)) {
      refuse_without_descriptor();
    }
    return;
  }
  PHONED_LOG(TRACE, trace::modules.console, "operator %d has come", fd);
  Connection& connection = connections_.try_emplace(fd, *this).first->second;
  if (connections_.size() > kMaxConnections || !connection.watch.read_external(fd)) {
    say(fd, "too many operators: at most " + std::to_string(kMaxConnections) + " are heard at the same time");
    end(fd);
    return;
  }
  wait_for_deadline();
}

// An operator who is not accepted keeps the socket ready, and the loop turning, for as long as he likes to wait. So he is
// refused with the descriptor that is kept for that, and when this does not help either, nobody is listened to for a
// while.
void Operators::refuse_without_descriptor() {
  PHONED_LOG(ERROR, trace::modules.console, "no descriptor for an operator to be had");
  ::close(reserve_fd_);
  const int fd = accept4(listening_fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  const bool is_hopeless = fd < 0 && is_shortage(errno);
  if (fd >= 0) {
    say(fd, "no descriptor is free for another operator: try again later");
    ::close(fd);
  }
  reserve_fd_ = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (is_hopeless) {
    listen_later();
  }
}

void Operators::listen_later() {
  operator_.stop();
  listen_at_ = later(monotonic_now(), kPause);
  wait_for_deadline();
}

void Operators::listen_again() {
  listen_at_.reset();
  if (reserve_fd_ < 0) {
    reserve_fd_ = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  }
  if (!operator_.read_external(listening_fd_)) {
    listen_later();
  }
}

// ---- Somebody says something ----

void Operators::on_connection(int fd) {
  LineReader& reader = connections_.at(fd).reader;
  switch (reader.read(fd)) {
    case LineReader::Event::kNothing:
      return;
    case LineReader::Event::kLine:
      handle(reader.line(), fd);
      break;
    case LineReader::Event::kTooLong:
      say(fd, "the line is too long: at most " + std::to_string(LineReader::kLongestLine) + " bytes are taken");
      break;
    case LineReader::Event::kEnd:
      PHONED_LOG(TRACE, trace::modules.console, "operator %d has hung up", fd);
      break;
  }
  end(fd);
}

void Operators::on_stream(Stream& stream) {
  switch (stream.reader.read(stream.in_fd)) {
    case LineReader::Event::kNothing:
      break;
    case LineReader::Event::kLine:
      handle(stream.reader.line(), stream.out_fd);
      break;
    case LineReader::Event::kTooLong:
      say(stream.out_fd,
          "the line is too long: at most " + std::to_string(LineReader::kLongestLine) + " bytes are taken");
      break;
    case LineReader::Event::kEnd:
      PHONED_LOG(INFO, trace::modules.console, "the standard input has ended");
      NUV_Console_output(stream.out_fd, "phoned: the standard input has ended\n");
      stream.watch.reset();
      break;
  }
}

void Operators::handle(const std::string& line, int answer_fd) {
  PHONED_LOG(INFO, trace::modules.console, "line %s", quote_path(line).c_str());
  commands_.handle(line, answer_fd);
}

void Operators::say(int fd, const std::string& why) const {
  PHONED_LOG(WARNING, trace::modules.console, "%s", why.c_str());
  NUV_Console_output(fd, ("error: " + why + "\n").c_str());
}

// ---- Somebody says nothing ----

// It may come too early, when the clock has not moved between two turns.
void Operators::on_idle() {
  const timeval now = monotonic_now();
  const auto is_overdue = [&now](const auto& entry) { return is_reached(entry.second.deadline, now); };
  const auto next_overdue = [&] { return std::find_if(connections_.begin(), connections_.end(), is_overdue); };
  for (auto it = next_overdue(); it != connections_.end(); it = next_overdue()) {
    say(it->first, "no line within " + std::to_string(patience_.count()) + " s");
    end(it->first);
  }
  if (listen_at_ && is_reached(*listen_at_, now)) {
    listen_again();
  }
  wait_for_deadline();
}

void Operators::end(int fd) {
  drain(fd);
  connections_.erase(fd);
  ::close(fd);
}

// Sets the timer to when somebody's patience ends. Fails only when it is set for the first time.
bool Operators::wait_for_deadline() {
  const timeval now = monotonic_now();
  timeval first = listen_at_.value_or(later(now, kNobodyWaits));
  for (const auto& [fd, connection] : connections_) {
    if (NUV_timeval_cmp(&connection.deadline, &first) < 0) {
      first = connection.deadline;
    }
  }
  return idle_.start(wait_until(first, now));
}

}  // namespace phoned
