#include "outputs.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>

namespace world {

std::string read_all(int fd) {
  std::string text;
  char buffer[4096];
  pollfd state = {fd, POLLIN, 0};
  while (poll(&state, 1, 0) == 1) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) {
      break;
    }
    text.append(buffer, static_cast<size_t>(count));
  }
  return text;
}

Pipe::Pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  read_fd_ = ends[0];
  write_fd_ = ends[1];
}

Pipe::~Pipe() {
  close_read_end();
  close(write_fd_);
}

void Pipe::close_read_end() {
  if (read_fd_ >= 0) {
    close(read_fd_);
    read_fd_ = -1;
  }
}

void Pipe::fill() const {
  const int flags = fcntl(write_fd_, F_GETFL);
  fcntl(write_fd_, F_SETFL, flags | O_NONBLOCK);
  while (write(write_fd_, "x", 1) == 1) {
  }
  fcntl(write_fd_, F_SETFL, flags);
}

Terminal::Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  grantpt(master_);
  unlockpt(master_);
  slave_ = open(ptsname(master_), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (slave_ < 0) {
    throw std::runtime_error("no terminal");
  }
}

Terminal::~Terminal() {
  close(slave_);
  close(master_);
}

void Terminal::stop() const {
  tcflow(slave_, TCOOFF);
}

void Terminal::go_on() const {
  tcflow(slave_, TCOON);
}

}  // namespace world
