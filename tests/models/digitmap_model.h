// A second, plain digit map for comparing the library's with.
#ifndef TESTS_SUPPORT_DIGITMAP_MODEL_H
#define TESTS_SUPPORT_DIGITMAP_MODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace support {

// Does what a digit map has to do in the way in which it is defined: it tries out all expansions of a pattern, one
// after the other. That is easy to believe, and takes for ever on patterns with many repeated symbols.
class DigitMapModel {
 public:
  struct Pattern {
    std::vector<uint32_t> symbols;
    std::string text;
    uint8_t timer = 0;
  };

  // Reads one pattern without blanks and parentheses. Empty: it is not valid.
  static std::optional<Pattern> parse(const std::string& text);

  // Reads a map: as NUV_DigitMap_setMap() does, patterns between bars into an empty map, up to the first one that is not
  // valid; or as NUV_DigitMap_addMap() does, one more pattern. False: not all of it is valid.
  bool set_map(std::string text);
  bool add_map(std::string text);

  const std::vector<Pattern>& patterns() const { return patterns_; }

  // How many expansions a check of so many digits tries at most.
  double expansions(size_t digits) const;

  // Same arguments and results as NUV_DigitMap_checkDialString(), and the same bytes written to the buffer.
  int32_t check(int32_t mode, const std::string& dialled, uint32_t timer, char* out, uint32_t out_size) const;

 private:
  std::vector<Pattern> patterns_;
};

}  // namespace support

#endif
