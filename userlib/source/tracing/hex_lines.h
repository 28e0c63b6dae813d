// Hex dumps, as both loggers write them.
#ifndef USERLIB_SOURCE_TRACING_HEX_LINES_H
#define USERLIB_SOURCE_TRACING_HEX_LINES_H

#include <algorithm>
#include <span>

#include <stdint.h>

namespace nuv {

// One line of a dump: 1 to 16 bytes as two upper-case digits each, with a blank between them.
struct HexLine {
  static constexpr size_t kBytes = 16;

  explicit HexLine(std::span<const uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    char* end = text;
    for (const uint8_t byte : bytes.first(std::min(bytes.size(), kBytes))) {
      *end++ = kDigits[byte >> 4];
      *end++ = kDigits[byte & 0xF];
      *end++ = ' ';
    }
    *(end - 1) = '\0';
  }

  char text[kBytes * 3];
};

// Calls write(text) for every line of the data, never for null.
template <typename Write>
void for_each_hex_line(const void* data, uint32_t length, Write write) {
  std::span rest(static_cast<const uint8_t*>(data), data != nullptr ? length : 0);
  while (!rest.empty()) {
    const size_t size = std::min(rest.size(), HexLine::kBytes);
    write(HexLine(rest.first(size)).text);
    rest = rest.subspan(size);
  }
}

}  // namespace nuv

#endif
