// A pipe of the library that is closed with its owner.
#ifndef EXAMPLES_PHONED_OWNED_PIPE_H
#define EXAMPLES_PHONED_OWNED_PIPE_H

#include <array>
#include <string>
#include <string_view>

#include "nuv_pipe.h"

namespace phoned {

class OwnedPipe {
 public:
  OwnedPipe() = default;
  ~OwnedPipe() { NUV_Pipe_destruct(&pipe_); }
  OwnedPipe(const OwnedPipe&) = delete;
  OwnedPipe& operator=(const OwnedPipe&) = delete;

  // Returns false, with errno set, if the system gives no pipe.
  bool open() { return NUV_Pipe_construct(&pipe_) == 1; }

  int read_fd() const { return NUV_Pipe_readFd(&pipe_); }
  int write_fd() const { return NUV_Pipe_writeFd(&pipe_); }

  void write(std::string_view text) { NUV_Pipe_write(&pipe_, text.data(), static_cast<uint32_t>(text.size())); }

  // What one read() gives; waits for data if there is none.
  std::string read() {
    std::array<char, 1024> buffer;
    const int32_t count = NUV_Pipe_read(&pipe_, buffer.data(), buffer.size());
    return count > 0 ? std::string(buffer.data(), static_cast<size_t>(count)) : std::string();
  }

 private:
  Pipe pipe_ = {0, -1, -1};  // what destruct takes for a pipe that never was
};

}  // namespace phoned

#endif
