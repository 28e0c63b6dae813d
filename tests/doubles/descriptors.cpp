#include "doubles/descriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <utility>

namespace support {
namespace {

std::string take_from(int fd) {
  std::string bytes;
  std::array<char, 4096> piece;
  for (ssize_t length; (length = read(fd, piece.data(), piece.size())) > 0;) {
    bytes.append(piece.data(), static_cast<size_t>(length));
  }
  return bytes;
}

}  // namespace

std::set<int> open_descriptors() {
  std::set<int> fds;
  DIR* directory = opendir("/proc/self/fd");
  if (directory == nullptr) {
    ADD_FAILURE() << "/proc/self/fd cannot be read";
    return fds;
  }
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') {
      fds.insert(std::atoi(entry->d_name));
    }
  }
  fds.erase(dirfd(directory));
  closedir(directory);
  return fds;
}

size_t count_open_descriptors() {
  return open_descriptors().size();
}

bool is_open_descriptor(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

TestPipe::TestPipe() : ends_{-1, -1} {
  EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
  EXPECT_EQ(fcntl(ends_[0], F_SETFL, O_NONBLOCK), 0);
}

TestPipe::~TestPipe() {
  close(ends_[0]);
  close_write_end();
}

void TestPipe::put(const std::string& bytes) {
  EXPECT_EQ(write(ends_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void TestPipe::close_write_end() {
  const int end = std::exchange(ends_[1], -1);
  if (end >= 0) {
    close(end);
  }
}

std::string TestPipe::take() {
  return take_from(ends_[0]);
}

TestFifo::TestFifo(const std::string& path) {
  EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
  fd_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  EXPECT_GE(fd_, 0);
}

TestFifo::~TestFifo() {
  close(fd_);
}

void TestFifo::put(const std::string& bytes) const {
  EXPECT_EQ(write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

std::string TestFifo::take() const {
  return take_from(fd_);
}

}  // namespace support
