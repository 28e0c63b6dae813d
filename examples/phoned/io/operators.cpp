#include "phoned/io/operators.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "phoned/core/text.h"
#include "phoned/core/trace.h"

namespace phoned {

namespace {

using userlib::UniqueFd;

// Opened for reading and writing: so it neither waits for the other side nor ends with it.
UniqueFd open_fifo(const std::string& path) {
  if (mkfifo(path.c_str(), 0600) != 0 && errno != EEXIST) {
    throw Error("FIFO " + quote_path(path) + " cannot be made: " + reason());
  }
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && !S_ISFIFO(status.st_mode)) {
    throw Error(quote_path(path) + " is not a FIFO");
  }
  UniqueFd fd(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (!fd) {
    throw Error("FIFO " + quote_path(path) + " cannot be opened: " + reason());
  }
  return fd;
}

// Discards what follows the line: closing a socket with unread input resets the connection, and the answer may be lost.
void drain(int fd) {
  char waste[4096];
  for (int i = 0; i < 16 && recv(fd, waste, sizeof waste, MSG_DONTWAIT) > 0; ++i) {
  }
}

}  // namespace

// ---- Where to listen ----

void Operators::open(const Channels& channels) {
  patience_ = channels.patience;
  if (channels.socket_path) {
    open_socket(*channels.socket_path);
  }
  if (channels.fifo_in && channels.fifo_out) {
    UniqueFd in = open_fifo(*channels.fifo_in);
    add_stream(std::move(in), open_fifo(*channels.fifo_out));
  }
  if (channels.use_stdin) {
    // Copies, because standard output is captured while a command is carried out.
    UniqueFd in = userlib::duplicate(STDIN_FILENO);
    UniqueFd out = userlib::duplicate(STDOUT_FILENO);
    if (!in || !out) {
      throw Error("cannot copy standard input and output: " + reason());
    }
    add_stream(std::move(in), std::move(out));
  }
}

void Operators::open_socket(const std::string& path) {
  socket_name_ = "console socket " + quote_path(path);
  if (!listener_.open(path)) {
    switch (errno) {
      case ENAMETOOLONG:
        throw Error("console socket " + quote(path) + ": must be a path of 1 to " +
                    std::to_string(sizeof sockaddr_un::sun_path - 1) + " characters");
      case ENOTSOCK:
        throw Error(socket_name_ + " cannot be made: a file that is not a socket is there");
      case EADDRINUSE:
        throw Error(socket_name_ + " is in use: another process listens there");
      default:
        throw Error(socket_name_ + " cannot be made: " + reason());
    }
  }
  if (!operator_.read_external(listener_.fd())) {
    throw Error(kCannotWatch);
  }
}

void Operators::add_stream(UniqueFd in, UniqueFd out) {
  Session& session = sessions_.emplace_back(*this, std::move(in), std::move(out));
  if (!session.input.read_external(session.in.get())) {
    throw Error(kCannotWatch);
  }
}

Operators::Session::Session(Operators& operators, UniqueFd in_fd, UniqueFd out_fd)
    : in(std::move(in_fd)),
      out(std::move(out_fd)),
      input(operators.loop_, [&operators, this] { operators.on_input(*this); }),
      patience(operators.loop_, [&operators, this] {
        operators.refuse(answer_fd(), "no line within " + std::to_string(operators.patience_.count()) + " s");
        operators.end(*this);
      }) {}

std::string Operators::close() {
  while (!sessions_.empty()) {
    end(sessions_.front());
  }
  operator_.stop();
  if (listener_.close()) {
    return "";
  }
  return socket_name_ + " cannot be removed: " + (errno == ENOENT ? "it is gone" : reason());
}

// ---- An operator connects ----

void Operators::on_operator() {
  UniqueFd fd = listener_.accept();
  if (!fd) {
    if (userlib::UnixListener::is_shortage(errno)) {
      refuse_without_descriptor();
    }
    return;
  }
  PHONED_LOG(TRACE, trace::modules.console, "operator %d has connected", fd.get());
  Session& session = sessions_.emplace_back(*this, std::move(fd), UniqueFd());
  const auto connections = std::ranges::count_if(sessions_, &Session::is_connection);
  if (connections > static_cast<ptrdiff_t>(kMaxConnections) || !session.input.read_external(session.in.get()) ||
      !session.patience.start(patience_)) {
    refuse(session.answer_fd(),
           "too many operators: at most " + std::to_string(kMaxConnections) + " are served at the same time");
    end(session);
  }
}

void Operators::refuse_without_descriptor() {
  PHONED_LOG(ERROR, trace::modules.console, "no descriptor is free for an operator");
  const auto tell = [this](int fd) { refuse(fd, "no descriptor is free for another operator: try again later"); };
  if (!listener_.refuse(tell)) {
    listen_later();
  }
}

void Operators::listen_later() {
  operator_.stop();
  static_cast<void>(pause_.start(std::chrono::seconds(1)));
}

void Operators::listen_again() {
  if (!operator_.read_external(listener_.fd())) {
    listen_later();
  }
}

// ---- An operator says something, or nothing ----

void Operators::on_input(Session& session) {
  const LineReader::Event event = session.reader.read(session.in.get());
  switch (event) {
    case LineReader::Event::kNothing:
      return;
    case LineReader::Event::kLine:
      PHONED_LOG(INFO, trace::modules.console, "line %s", quote_path(session.reader.line()).c_str());
      commands_.handle(std::string(session.reader.line()), session.answer_fd());
      break;
    case LineReader::Event::kTooLong:
      refuse(session.answer_fd(),
             "the line is too long: at most " + std::to_string(kLongestLine) + " bytes are allowed");
      break;
    case LineReader::Event::kEnd:
      on_end(session);
      break;
  }
  if (session.is_connection() || event == LineReader::Event::kEnd) {
    end(session);
  }
}

void Operators::on_end(const Session& session) {
  if (session.is_connection()) {
    PHONED_LOG(TRACE, trace::modules.console, "operator %d has hung up", session.in.get());
  } else {
    PHONED_LOG(INFO, trace::modules.console, "the standard input has ended");
    commands_.say(session.answer_fd(), "phoned: the standard input has ended\n");
  }
}

void Operators::refuse(int fd, const std::string& why) {
  PHONED_LOG(WARNING, trace::modules.console, "%s", why.c_str());
  commands_.say(fd, "error: " + why + "\n");
}

void Operators::end(Session& session) {
  drain(session.in.get());
  sessions_.remove_if([&session](const Session& each) { return &each == &session; });
}

}  // namespace phoned
