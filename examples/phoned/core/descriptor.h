// A descriptor with one owner, who closes it; and Unix sockets.
#ifndef EXAMPLES_PHONED_CORE_DESCRIPTOR_H
#define EXAMPLES_PHONED_CORE_DESCRIPTOR_H

#include <cerrno>
#include <string>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace phoned {

class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(std::exchange(other.fd_, -1));
    return *this;
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

  // Closes it, and owns another one.
  void reset(int fd = -1) {
    if (fd_ >= 0) {
      close(fd_);
    }
    fd_ = fd;
  }

 private:
  int fd_;
};

// A path that is too long is cut.
inline sockaddr_un unix_address(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// A socket of this type that is connected to the path; none, with errno set, if that is not possible.
inline UniqueFd connect_unix(const std::string& path, int type) {
  const sockaddr_un address = unix_address(path);
  UniqueFd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (path != address.sun_path) {
    errno = ENAMETOOLONG;
    return UniqueFd();
  }
  const bool is_connected = connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return is_connected ? std::move(fd) : UniqueFd();
}

}  // namespace phoned

#endif
