// The dial plan that is looked at: the library's digit map, and where in the text each pattern stands.
#ifndef TOOLS_USERLIB_DIGITMAP_PLAN_H
#define TOOLS_USERLIB_DIGITMAP_PLAN_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "userlib.hpp"

namespace digitmap_tool {

// What can be dialled, in the order of the bits of a symbol mask.
constexpr std::string_view kDialled = "0123456789ABCD#*";
constexpr uint32_t kAnyDialled = 0xFFFF;
constexpr uint32_t kRepeat = 0x10000;

// What is wrong at one place of the text.
struct Problem {
  size_t at;        // index of the character in the text
  size_t pattern;   // number of the pattern, from 1
  std::string why;  // what stands there, and what would be right
};

class Plan {
 public:
  enum class Source {
    kArgument,  // a text as NUV_DigitMap_setMap takes it
    kFile       // the same, and line ends part patterns as bars do; tabs and carriage returns are blanks
  };

  // A check takes time in proportion to the plan, and there are many checks for each digit.
  static constexpr size_t kMaxText = 16384;

  Plan(std::string text, Source source);

  // Every pattern that does not parse has one problem. The plan is of use only without any.
  const std::vector<Problem>& problems() const { return problems_; }

  // As they were given, but for blanks and parentheses.
  const std::vector<std::string>& patterns() const { return patterns_; }

  const userlib::DigitMap& map() const { return map_; }

  // The problem in words, with the line of the text and a mark below the place.
  std::string describe(const Problem& problem) const;

 private:
  void add(size_t begin, size_t end);
  bool is_filler(char c) const;
  std::optional<Problem> find_problem(size_t begin, size_t end) const;

  std::string text_;
  Source source_;
  userlib::DigitMap map_;
  size_t count_ = 0;  // of patterns, with those that do not parse
  std::vector<std::string> patterns_;
  std::vector<Problem> problems_;
};

// The characters of a mask in short, such as "2-9 #".
std::string describe_symbol(uint32_t mask);

// What a pattern asks for in words, such as "0, any number of 0-9; at time-out".
std::string describe_pattern(const NUV_DigitMapPattern& pattern);

}  // namespace digitmap_tool

#endif
