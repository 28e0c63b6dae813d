// Reads the bytes of a fuzz input: as lines of text, so that inputs can also be written by hand, or as numbers, for
// sequences of operations.
#ifndef TESTS_FUZZ_FUZZ_INPUT_H
#define TESTS_FUZZ_FUZZ_INPUT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace fuzz {

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  bool empty() const { return rest_.empty(); }

  // The unread rest.
  std::string_view rest() const { return rest_; }

  // The text up to the next newline, without it.
  std::string_view line() {
    const size_t length = std::min(rest_.find('\n'), rest_.size());
    const std::string_view line(rest_.data(), length);
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    return line;
  }

  // The next byte, or 0 at the end.
  uint8_t byte() {
    if (rest_.empty()) {
      return 0;
    }
    const auto next = static_cast<uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return next;
  }

  bool flag() { return byte() % 2 != 0; }

  // A number from 0 to most, from one byte if that is enough.
  uint32_t up_to(uint32_t most) {
    uint32_t number = byte();
    for (uint32_t limit = most; limit > 0xFF; limit >>= 8) {
      number = number << 8 | byte();
    }
    return most == UINT32_MAX ? number : number % (most + 1);
  }

  // Any number, with a preference for those at which arithmetic overflows.
  uint32_t number() {
    constexpr std::array<uint32_t, 8> kLimits = {0x7F,       0xFF,       0x7FFF,     0xFFFF,
                                                 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
    const uint8_t kind = byte();
    if (kind < 0xC0) {
      return kind;
    }
    return kind < 0xE0 ? kLimits[kind % kLimits.size()] : up_to(UINT32_MAX);
  }

 private:
  std::string_view rest_;
};

// A text in a block of memory that ends right after its terminator, so that AddressSanitizer detects reading beyond it.
class ExactText {
 public:
  explicit ExactText(std::string_view text) : bytes_(new char[text.size() + 1]) {
    std::memcpy(bytes_.get(), text.data(), text.size());
    bytes_[text.size()] = '\0';
  }

  char* get() { return bytes_.get(); }
  const char* get() const { return bytes_.get(); }

 private:
  std::unique_ptr<char[]> bytes_;
};

// The text as a C string: up to the first zero byte.
inline std::string_view c_text(std::string_view text) {
  return {text.data(), std::min(text.find('\0'), text.size())};
}

}  // namespace fuzz

#endif
