// A dial plan as written: the library's digit map, and the place of each pattern in the text.
#ifndef TOOLS_DIALPLAN_PLAN_H
#define TOOLS_DIALPLAN_PLAN_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "userlib.hpp"

namespace dialplan {

// The keys, in the order of the bits of a symbol mask.
constexpr std::string_view kDialled = userlib::DigitMap::kDialled;
constexpr uint32_t kAnyDialled = 0xFFFF;
constexpr uint32_t kRepeat = 0x10000;

using Mode = userlib::DigitMap::Mode;
using Timer = userlib::DigitMap::Timer;
using Result = userlib::DigitMap::Result;

// An error, or a likely mistake, at one place in the text.
struct Problem {
  size_t at;        // index of the character in the text
  size_t pattern;   // number of the pattern, from 1
  std::string why;  // what is there, and what would be right
};

class Plan {
 public:
  enum class Source {
    kArgument,  // a text as NUV_DigitMap_setMap takes it
    kFile       // the same, but line ends separate patterns as bars do; tabs and carriage returns are blanks
  };

  // A check takes time in proportion to the plan, and each digit takes many checks.
  static constexpr size_t kMaxText = 16384;

  Plan(std::string text, Source source);

  // One problem for each pattern that does not parse. Only a plan without problems can be used.
  const std::vector<Problem>& problems() const { return problems_; }

  // The patterns as given, without blanks and parentheses.
  const std::vector<std::string>& patterns() const { return patterns_; }

  const userlib::DigitMap& map() const { return map_; }

  const std::string& text() const { return text_; }
  Source source() const { return source_; }

  // The text between two bars: a pattern without problems, with its blanks and parentheses.
  struct Place {
    size_t begin;
    size_t end;  // one past its last character
  };
  const std::vector<Place>& places() const { return places_; }

  // Whether a character means nothing: a blank or a parenthesis.
  bool is_filler(char c) const;

  // Whether a character of the text separates patterns.
  bool is_bar(char c) const { return c == '|' || (c == '\n' && source_ == Source::kFile); }

  // The problem in one line, with pattern, line and position.
  std::string locate(const Problem& problem) const;

  // The same, followed by the line of the text with a mark below the place.
  std::string describe(const Problem& problem) const;

 private:
  void add(size_t begin, size_t end);
  size_t line_begin(size_t at) const;

  // Whether a wrong letter in a file seems to be part of a comment.
  bool is_in_comment(size_t at) const;
  std::optional<Problem> find_problem(size_t begin, size_t end) const;

  std::string text_;
  Source source_;
  userlib::DigitMap map_;
  size_t count_ = 0;  // of patterns, including those that do not parse
  std::vector<std::string> patterns_;
  std::vector<Place> places_;
  std::vector<Problem> problems_;
};

// The bit of a character in a symbol mask; 0 if it cannot be dialled.
uint32_t bit_of(char c);

// A character as messages name it: in quotes, or by its number if it cannot be printed.
std::string name_of(char c);

// The shortest way to write a symbol, such as "5", "x", "[2-9]" or "[0123456789*#]".
std::string write_symbol(uint32_t mask);

// The characters of a mask in short, such as "2-9 #".
std::string describe_symbol(uint32_t mask);

// What a pattern matches, in words, such as "0, any number of 0-9; at time-out".
std::string describe_pattern(const NUV_DigitMapPattern& pattern);

}  // namespace dialplan

#endif
