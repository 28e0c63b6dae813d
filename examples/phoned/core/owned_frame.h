// A datagram in a frame of the library, whose words are taken off its front.
#ifndef EXAMPLES_PHONED_CORE_OWNED_FRAME_H
#define EXAMPLES_PHONED_CORE_OWNED_FRAME_H

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "userlib.hpp"

namespace phoned {

// What is left of the datagram is its text(). Texts that were taken off stay where they are, and good as long as the
// frame lives.
class OwnedFrame : public userlib::Frame {
 public:
  explicit OwnedFrame(std::string_view bytes) : Frame(copy_of(bytes)) {}

  // Takes the next word off, and the blanks in front of it. Empty when there is none.
  std::string_view take_word() {
    strip(std::min(text().find_first_not_of(' '), text().size()));
    const std::string_view word(text().data(), std::min(text().find(' '), text().size()));
    strip(word.size());
    return word;
  }

 private:
  void strip(size_t size) { reduce_front(static_cast<uint32_t>(size)); }
};

}  // namespace phoned

#endif
