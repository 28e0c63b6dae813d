#include "phoned/io/output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "phoned/core/clock.h"
#include "phoned/core/time_limit.h"

namespace phoned {

namespace {

// What waits for a reader at most. A pipe that is read again takes it in one go.
constexpr size_t kMostWaiting = 16384;

constexpr std::chrono::milliseconds kPatience{500};

// A file in memory to which everybody appends; -1 if there is none.
int open_memory() {
  const int fd = memfd_create("phoned", MFD_CLOEXEC);
  return fd < 0 || fcntl(fd, F_SETFL, O_APPEND) == 0 ? fd : -1;
}

// Takes all out of such a file.
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

// An open file of our own does not wait, without the others who share the descriptor hearing of it. Where the system
// refuses one, as for sockets and for pipes of another user, the same open file must do.
int open_again(int fd) {
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  const int own = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  return own >= 0 ? own : fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// Cuts the first line off, with its end.
std::string_view next_line(std::string_view& text) {
  const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
  text.remove_prefix(line.size());
  return line;
}

}  // namespace

std::optional<Error> Output::open() {
  struct stat status = {};
  if (fstat(fd_, &status) != 0 || S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  is_socket_ = S_ISSOCK(status.st_mode);
  std::fflush(stream_);
  const int memory = open_memory();
  sink_ = memory < 0 ? -1 : open_again(fd_);
  if (sink_ < 0 || dup2(memory, fd_) < 0) {
    return Error{std::string("no descriptor for what is printed to be had: ") + std::strerror(errno)};
  }
  ::close(memory);
  return std::nullopt;
}

void Output::flush() {
  std::fflush(stream_);
  if (sink_ < 0) {
    return;
  }
  const std::string printed = take_all(fd_);
  for (std::string_view rest = printed; !rest.empty();) {
    add(next_line(rest));
  }
  write_waiting();
}

void Output::finish() {
  const timeval end = later(monotonic_now(), kPatience);
  for (flush(); !waiting_.empty() && !is_reached(end, monotonic_now()); flush()) {
    poll(nullptr, 0, 10);
  }
}

void Output::close() {
  ::close(sink_);
  sink_ = -1;
  waiting_.clear();
  lost_ = 0;
}

void Output::add(std::string_view line) {
  if (waiting_.size() + line.size() > kMostWaiting || lost_ > 0) {
    write_waiting();
  }
  if (waiting_.empty() || (waiting_.size() + line.size() <= kMostWaiting && lost_ == 0)) {
    waiting_ += line;
  } else {
    ++lost_;
  }
}

// What is lost is told where it would have stood: behind all that waits, and before all that follows.
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
  pollfd state = {sink_, POLLOUT, 0};
  if (poll(&state, 1, 0) != 1) {
    return false;
  }
  const TimeLimit limit;  // others may be quicker with what room there was
  const size_t size = std::min<size_t>(waiting_.size(), PIPE_BUF);
  const ssize_t count = is_socket_ ? send(sink_, waiting_.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL)
                                   : write(sink_, waiting_.data(), size);
  if (count < 0 && errno != EAGAIN && errno != EINTR) {
    lost_ += static_cast<uint64_t>(std::count(waiting_.begin(), waiting_.end(), '\n'));
    waiting_.clear();
  }
  waiting_.erase(0, static_cast<size_t>(std::max<ssize_t>(count, 0)));
  return count > 0;
}

Capture::Capture() : memory_(open_memory()), standard_output_(-1) {
  std::fflush(stdout);
  if (memory_ >= 0) {
    standard_output_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  }
  if (standard_output_ >= 0) {
    dup2(memory_, STDOUT_FILENO);
  }
}

std::string Capture::take() {
  std::fflush(stdout);
  std::string text = is_open() ? take_all(memory_) : "";
  end();
  return text;
}

void Capture::end() {
  if (is_open()) {
    std::fflush(stdout);
    dup2(standard_output_, STDOUT_FILENO);
    ::close(standard_output_);
  }
  if (memory_ >= 0) {
    ::close(memory_);
  }
  standard_output_ = memory_ = -1;
}

}  // namespace phoned
