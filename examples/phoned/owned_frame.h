// A frame of the library that is freed with its owner: a datagram whose words are taken off its front.
#ifndef EXAMPLES_PHONED_OWNED_FRAME_H
#define EXAMPLES_PHONED_OWNED_FRAME_H

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "nuv_frame.h"

namespace phoned {

class OwnedFrame {
 public:
  explicit OwnedFrame(std::string_view bytes) {
    NUV_Frame_construct(&frame_, static_cast<uint32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), NUV_Frame_begin(&frame_));
  }
  ~OwnedFrame() { NUV_Frame_destruct(&frame_); }
  OwnedFrame(const OwnedFrame&) = delete;
  OwnedFrame& operator=(const OwnedFrame&) = delete;

  // What is left of it. Texts that were taken off stay where they are, and good as long as the frame lives.
  std::string_view text() const {
    return {reinterpret_cast<const char*>(NUV_Frame_begin(&frame_)), NUV_Frame_size(&frame_)};
  }

  // Takes the next word off, and the blanks in front of it. Empty when there is none.
  std::string_view take_word() {
    strip(std::min(text().find_first_not_of(' '), text().size()));
    const std::string_view word(text().data(), std::min(text().find(' '), text().size()));
    strip(word.size());
    return word;
  }

 private:
  void strip(size_t size) { NUV_Frame_reduceFront(&frame_, static_cast<uint32_t>(size)); }

  Frame frame_;
};

}  // namespace phoned

#endif
