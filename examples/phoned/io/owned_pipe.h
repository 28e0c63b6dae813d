// A pipe of the library from which texts are read.
#ifndef EXAMPLES_PHONED_IO_OWNED_PIPE_H
#define EXAMPLES_PHONED_IO_OWNED_PIPE_H

#include <array>
#include <string>

#include "userlib.hpp"

namespace phoned {

class OwnedPipe : public userlib::Pipe {
 public:
  // What one read() gives; waits for data if there is none.
  std::string read() {
    std::array<char, 1024> buffer;
    const int32_t count = Pipe::read(buffer.data(), buffer.size());
    return count > 0 ? std::string(buffer.data(), static_cast<size_t>(count)) : std::string();
  }
};

}  // namespace phoned

#endif
