// A simple digit map, to compare the library's with.
#ifndef TESTS_MODELS_DIGITMAP_MODEL_H
#define TESTS_MODELS_DIGITMAP_MODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace support {

// Follows the definition of a digit map: tries all expansions of a pattern one after the other. That is easy to verify,
// but takes exponential time for patterns with many repeated symbols.
class DigitMapModel {
 public:
  struct Pattern {
    std::vector<uint32_t> symbols;
    std::string text;
    uint8_t timer = 0;
  };

  // Reads one pattern without blanks and parentheses. Returns nothing if it is not valid.
  static std::optional<Pattern> parse(const std::string& text);

  // Same as NUV_DigitMap_setMap(), which reads patterns between bars up to the first invalid one, and as
  // NUV_DigitMap_addMap(), which adds one pattern. Return false if anything is invalid.
  bool set_map(std::string text);
  bool add_map(std::string text);

  const std::vector<Pattern>& patterns() const { return patterns_; }

  // The most expansions that a check of `digits` digits tries.
  double expansions(size_t digits) const;

  // Same arguments and results as NUV_DigitMap_checkDialString(), and the same bytes written to the buffer.
  int32_t check(int32_t mode, const std::string& dialled, uint32_t timer, char* out, uint32_t out_size) const;

 private:
  std::vector<Pattern> patterns_;
};

}  // namespace support

#endif
