#include "phoned/core/file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace phoned {

namespace {

Error system_error() {
  return {std::strerror(errno)};
}

Result<std::string> read_descriptor(int fd, size_t limit) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) {
    return system_error();
  }
  if (!S_ISREG(status.st_mode)) {
    return Error{"is not a regular file"};
  }
  std::string content(limit + 1, '\0');
  size_t size = 0;
  while (size < content.size()) {
    const ssize_t count = read(fd, content.data() + size, content.size() - size);
    if (count < 0) {
      return system_error();
    }
    if (count == 0) {
      content.resize(size);
      return content;
    }
    size += static_cast<size_t>(count);
  }
  return Error{"is too large: at most " + std::to_string(limit) + " bytes are read"};
}

}  // namespace

bool is_no_regular_file(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

Result<std::string> read_file(const std::string& path, size_t limit) {
  // A FIFO in the file's place must not make a daemon wait for somebody who writes.
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    return system_error();
  }
  auto content = read_descriptor(fd, limit);
  close(fd);
  return content;
}

}  // namespace phoned
