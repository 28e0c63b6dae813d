#include "phoned/io/output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "phoned/core/text.h"

namespace phoned {

namespace {

using userlib::UniqueFd;

// What is kept for a reader at most; a pipe takes it at once.
constexpr size_t kMostWaiting = 16384;

constexpr std::chrono::milliseconds kPatience{500};

UniqueFd open_memory() {
  UniqueFd fd(memfd_create("phoned", MFD_CLOEXEC));
  if (fcntl(fd.get(), F_SETFL, O_APPEND) != 0) {
    fd.reset();
  }
  return fd;
}

uint64_t count_lines(std::string_view text) {
  return static_cast<uint64_t>(std::ranges::count(text, '\n'));
}

std::string take_all(int fd) {
  const off_t size = lseek(fd, 0, SEEK_END);
  std::string text(static_cast<size_t>(std::max<off_t>(size, 0)), '\0');
  const ssize_t count = pread(fd, text.data(), text.size(), 0);
  text.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
  if (count > 0) {
    static_cast<void>(!ftruncate(fd, 0));
  }
  return text;
}

// Opens the file anew, so that O_NONBLOCK does not affect those who share the descriptor. For sockets, and for pipes of
// another user, the system refuses that, and the same open file must do.
int open_again(int fd) {
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  const int own = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  return own >= 0 ? own : duplicate(fd);
}

}  // namespace

void Output::open() {
  struct stat status = {};
  if (fstat(fd_, &status) != 0 || S_ISREG(status.st_mode)) {
    return;
  }
  is_socket_ = S_ISSOCK(status.st_mode);
  std::fflush(stream_);
  const UniqueFd memory = open_memory();
  sink_.reset(memory ? open_again(fd_) : -1);
  if (!sink_ || dup2(memory.get(), fd_) < 0) {
    throw Error("cannot redirect what is printed: " + reason());
  }
}

void Output::flush() {
  std::fflush(stream_);
  if (!sink_) {
    return;
  }
  write_waiting();
  const std::string printed = take_all(fd_);
  if (lost_ > 0) {
    lost_ += count_lines(printed);
    return;
  }
  waiting_ += printed;
  write_waiting();
  if (waiting_.size() > kMostWaiting) {
    const size_t kept = waiting_.rfind('\n', kMostWaiting - 1) + 1;
    lost_ += count_lines(std::string_view(waiting_).substr(kept));
    waiting_.resize(kept);
  }
}

void Output::finish() {
  const timeval end = userlib::later(userlib::monotonic_now(), kPatience);
  for (flush(); !waiting_.empty() && !userlib::is_reached(end, userlib::monotonic_now()); flush()) {
    poll(nullptr, 0, 10);
  }
}

void Output::close() {
  sink_.reset();
  waiting_.clear();
  lost_ = 0;
}

// The number of lines that were dropped stands in their place: behind what waits, and before what follows.
void Output::write_waiting() {
  while (!waiting_.empty() && write_piece()) {
  }
  if (waiting_.empty() && lost_ > 0) {
    const uint64_t lost = std::exchange(lost_, 0);
    waiting_ = "phoned: " + std::to_string(lost) + " lines could not be printed\n";
    if (!write_piece() && waiting_.empty()) {
      lost_ = lost;
    }
  }
}

bool Output::write_piece() {
  pollfd state = {sink_.get(), POLLOUT, 0};
  if (poll(&state, 1, 0) != 1) {
    return false;
  }
  const userlib::TimeLimit limit;  // another process may have taken the room
  const size_t size = std::min<size_t>(waiting_.size(), PIPE_BUF);
  const ssize_t count = is_socket_ ? send(sink_.get(), waiting_.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL)
                                   : write(sink_.get(), waiting_.data(), size);
  if (count < 0 && errno != EAGAIN && errno != EINTR) {
    lost_ += count_lines(waiting_);
    waiting_.clear();
  }
  waiting_.erase(0, static_cast<size_t>(std::max<ssize_t>(count, 0)));
  return count > 0;
}

int duplicate(int standard_fd) {
  return fcntl(standard_fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

Capture::Capture() : memory_(open_memory()) {
  std::fflush(stdout);
  if (memory_) {
    standard_output_.reset(duplicate(STDOUT_FILENO));
  }
  if (standard_output_) {
    dup2(memory_.get(), STDOUT_FILENO);
  }
}

std::string Capture::take() {
  if (!is_open()) {
    return "";
  }
  std::fflush(stdout);
  dup2(standard_output_.get(), STDOUT_FILENO);
  standard_output_.reset();
  return take_all(memory_.get());
}

}  // namespace phoned
