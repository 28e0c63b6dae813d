/** @file userlib_output.hpp
 *
 * Part of userlib.hpp: what the process prints, while nobody reads it or somebody else should: Output, Capture.
 *
 * Both let the system keep what is printed in a file without a name, in memory (memfd_create).
 */
#ifndef USERLIB_OUTPUT_HPP
#define USERLIB_OUTPUT_HPP

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "userlib_core.hpp"
#include "userlib_resident.hpp"

namespace userlib {

/// duplicate returns a copy of a standard descriptor, with another number than those have; none if no descriptor is free.
inline UniqueFd duplicate(int standard_fd) {
  return UniqueFd(fcntl(standard_fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

/// open_memory_file returns an empty file in memory that what is written is appended to; none, with errno set, without room.
inline UniqueFd open_memory_file() {
  UniqueFd fd(memfd_create("userlib", MFD_CLOEXEC));
  if (fd && fcntl(fd.get(), F_SETFL, O_APPEND) != 0) {
    fd.reset();
  }
  return fd;
}

/// Output is the standard output or standard error of a daemon that must not wait for its reader.
///
/// All prints, the library's too, go into a file in memory, and from there to the reader as far as it keeps up; what is
/// beyond 16 KiB is dropped, line by line. The descriptor that the process was given may be shared with others, and so is not
/// made non-blocking. SIGPIPE should be ignored.
class Output : Pinned {
 public:
  /// The stream is stdout or stderr. The name, of the program, must live as long as the Output.
  Output(std::FILE* stream, const char* name) : stream_(stream), name_(name), fd_(fileno(stream)) {}

  /// open lets prints not block from now on. Regular files never do, and are left alone. Returns false, with errno set, if
  /// the system refuses.
  [[nodiscard]] bool open() {
    struct stat status = {};
    if (fstat(fd_, &status) != 0 || S_ISREG(status.st_mode)) {
      return true;
    }
    is_socket_ = S_ISSOCK(status.st_mode);
    std::fflush(stream_);
    UniqueFd reader = open_again();
    if (!reader) {
      return false;
    }
    const UniqueFd memory = open_memory_file();
    if (!memory || dup2(memory.get(), fd_) < 0) {
      return false;
    }
    reader_ = std::move(reader);
    return true;
  }

  /// flush writes what was printed, as far as that is possible without waiting. Lines for which there is no room are
  /// dropped, and their number is printed in their place.
  void flush() {
    std::fflush(stream_);
    if (!reader_) {
      return;
    }
    write_waiting();
    const off_t printed = lseek(fd_, 0, SEEK_END);
    if (printed <= 0) {
      return;
    }
    off_t taken = 0;
    while (lost_ == 0 && taken < printed && take_piece(taken)) {
      write_waiting();
    }
    if (lost_ == 0 && taken < printed) {
      size_ = std::string_view(waiting_, size_).rfind('\n') + 1;  // the rest of the last line is lost
    }
    lost_ += drop_from(taken);
  }

  /// finish writes all of it, but waits no longer than half a second.
  void finish() {
    const timeval end = later(monotonic_now(), std::chrono::milliseconds(500));
    for (flush(); size_ > 0 && !is_reached(end, monotonic_now()); flush()) {
      poll(nullptr, 0, 10);
    }
  }

  /// is_behind tells whether there is something left to write.
  bool is_behind() const { return size_ > 0 || lost_ > 0; }

  /// close forgets the reader, for a stream that leads elsewhere by now.
  void close() {
    reader_.reset();
    size_ = 0;
    lost_ = 0;
  }

 private:
  // Opens the file anew, so that O_NONBLOCK does not affect those who share the descriptor. For sockets, and for pipes of
  // another user, the system refuses that, and the same open file must do.
  UniqueFd open_again() const {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd_);
    UniqueFd own(::open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return own ? std::move(own) : duplicate(fd_);
  }

  // Takes as much from the file as there is room for. Returns false if there is none.
  bool take_piece(off_t& offset) {
    const ssize_t count = pread(fd_, waiting_ + size_, sizeof waiting_ - size_, offset);
    offset += std::max<ssize_t>(count, 0);
    size_ += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    return count > 0;
  }

  // Empties the file, and returns how many lines there are from this offset on.
  uint64_t drop_from(off_t offset) const {
    uint64_t lines = 0;
    char bytes[4096];
    for (ssize_t count = 0; (count = pread(fd_, bytes, sizeof bytes, offset)) > 0; offset += count) {
      lines += static_cast<uint64_t>(std::count(bytes, bytes + count, '\n'));
    }
    static_cast<void>(!ftruncate(fd_, 0));
    return lines;
  }

  // The number of lines that were dropped stands in their place: behind what waits, and before what follows.
  void write_waiting() {
    while (size_ > 0 && write_piece()) {
    }
    if (size_ > 0 || lost_ == 0) {
      return;
    }
    const uint64_t lost = std::exchange(lost_, 0);
    size_ = static_cast<std::size_t>(std::snprintf(waiting_, sizeof waiting_, "%s: %llu lines could not be printed\n",
                                                   name_, static_cast<unsigned long long>(lost)));
    if (!write_piece() && size_ == 0) {
      lost_ = lost;
    }
  }

  bool write_piece() {
    pollfd state = {reader_.get(), POLLOUT, 0};
    if (poll(&state, 1, 0) != 1) {
      return false;
    }
    const TimeLimit limit;  // another process may have taken the room
    const std::size_t size = std::min<std::size_t>(size_, PIPE_BUF);
    const ssize_t count = is_socket_ ? send(reader_.get(), waiting_, size, MSG_DONTWAIT | MSG_NOSIGNAL)
                                     : write(reader_.get(), waiting_, size);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
      lost_ += static_cast<uint64_t>(std::count(waiting_, waiting_ + size_, '\n'));
      size_ = 0;
    }
    if (count > 0) {
      size_ -= static_cast<std::size_t>(count);
      std::memmove(waiting_, waiting_ + count, size_);
    }
    return count > 0;
  }

  std::FILE* stream_;
  const char* name_;
  int fd_;  // of the stream; leads to the file in memory
  UniqueFd reader_;
  bool is_socket_ = false;
  char waiting_[16384];  // a pipe takes as much at once
  std::size_t size_ = 0;
  uint64_t lost_ = 0;  // lines
};

/// Capture collects what is printed on standard output, as long as it lives or until it ends. One may be inside another.
class Capture : Pinned {
 public:
  Capture() : memory_(open_memory_file()) {
    std::fflush(stdout);
    if (memory_) {
      standard_output_ = duplicate(STDOUT_FILENO);
    }
    if (standard_output_ && dup2(memory_.get(), STDOUT_FILENO) < 0) {
      standard_output_.reset();
    }
  }
  ~Capture() { end(); }

  /// is_open is false if the system refuses it, or it has ended: nothing is collected then.
  bool is_open() const { return static_cast<bool>(standard_output_); }

  /// end lets standard output lead to where it led before.
  void end() {
    if (is_open()) {
      std::fflush(stdout);
      dup2(standard_output_.get(), STDOUT_FILENO);
      standard_output_.reset();
    }
  }

  /// size returns the number of bytes that were collected, and read copies the first ones of them and returns how many.
  std::size_t size() const { return static_cast<std::size_t>(std::max<off_t>(lseek(memory_.get(), 0, SEEK_END), 0)); }
  std::size_t read(char* text, std::size_t size) const {
    return static_cast<std::size_t>(std::max<ssize_t>(pread(memory_.get(), text, size, 0), 0));
  }

 private:
  UniqueFd memory_;
  UniqueFd standard_output_;  // where it led before
};

}  // namespace userlib

#endif
