// Owner of a descriptor.
#ifndef USERLIB_SOURCE_CORE_UNIQUE_FD_H
#define USERLIB_SOURCE_CORE_UNIQUE_FD_H

#include <unistd.h>

namespace nuv {

class UniqueFd {
 public:
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const { return fd_; }

  // Leaves the descriptor to the caller.
  int release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }

  // Closes the descriptor early. An interrupted close is not repeated: the kernel has already freed the number, which
  // another file may have by now.
  void reset() {
    if (fd_ >= 0) {
      close(fd_);
    }
    fd_ = -1;
  }

 private:
  int fd_;
};

}  // namespace nuv

#endif
