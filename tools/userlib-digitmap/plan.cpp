#include "plan.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <span>
#include <utility>

namespace digitmap_tool {

namespace {

constexpr std::string_view kFamilies[] = {"0123456789", "ABCD", "#", "*"};

constexpr char kSymbols[] = "0-9 A-D # * x [135] [2-5] . T";

bool is_dialled(char c) {
  return c != '\0' && kDialled.find(c) != std::string_view::npos;
}

// A character in a message: those that cannot be seen by their number.
std::string name_of(char c) {
  if (c > ' ' && c <= '~') {
    return std::string("'") + c + "'";
  }
  char name[16];
  std::snprintf(name, sizeof name, "byte 0x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return name;
}

// What is wrong with a character that no pattern may hold outside of brackets.
std::string refuse(char c, Plan::Source source) {
  const std::string name = name_of(c);
  switch (c) {
    case 't':
      return name + " is not the timer: must be 'T'";
    case 'a':
    case 'b':
    case 'c':
    case 'd':
      return name + " cannot be dialled: must be '" + static_cast<char>(c - 'a' + 'A') + "'";
    case ']':
      return name + " has no '[' before it: must stand behind one, as in [135]";
    case '-':
      return name + " stands outside of brackets: a range is written [2-5]";
    case ',':
    case ';':
      return name + " does not part patterns: must be '|'";
    case '\n':
      return name + " does not part patterns in an argument: must be '|', or the plan must come from a file";
    case '\t':
    case '\r':
      return name + (source == Plan::Source::kArgument ? " is no blank in an argument: must be ' '" : "");
    default:
      return name + " means nothing in a pattern: must be one of " + kSymbols;
  }
}

// A line of the plan, with a mark for every character that cannot be seen.
std::string printable(std::string text) {
  std::replace(text.begin(), text.end(), '\t', ' ');
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

void append_with_blank(std::string& text, const std::string& more) {
  text += (text.empty() ? "" : " ") + more;
}

}  // namespace

Plan::Plan(std::string text, Source source) : text_(std::move(text)), source_(source) {
  const std::string_view bars = source == Source::kFile ? "|\n" : "|";
  for (size_t begin = 0; begin <= text_.size();) {
    const size_t end = std::min(text_.find_first_of(bars, begin), text_.size());
    add(begin, end);
    begin = end + 1;
  }
}

bool Plan::is_filler(char c) const {
  const bool is_blank_of_file = source_ == Source::kFile && (c == '\t' || c == '\r');
  return c == ' ' || c == '(' || c == ')' || is_blank_of_file;
}

void Plan::add(size_t begin, size_t end) {
  std::string pattern = text_.substr(begin, end - begin);
  std::erase_if(pattern, [this](char c) { return is_filler(c); });
  if (pattern.empty()) {
    return;
  }
  ++count_;
  // The library would take a null character for the end of the pattern.
  const bool is_text = pattern.find('\0') == std::string::npos;
  if (is_text && map_.add(pattern.c_str())) {
    patterns_.push_back(std::move(pattern));
    return;
  }
  problems_.push_back(find_problem(begin, end).value_or(Problem{begin, count_, "there is no memory for the pattern"}));
}

std::optional<Problem> Plan::find_problem(size_t begin, size_t end) const {
  bool has_symbol = false;
  std::optional<size_t> bracket;
  for (size_t at = begin; at < end; ++at) {
    const char c = text_[at];
    if (is_filler(c)) {
      continue;
    }
    if (bracket && c != ']' && c != '-' && !is_dialled(c)) {
      return Problem{at, count_,
                     name_of(c) + " cannot stand in brackets: must be one of 0-9 A-D # * or '-', or ']' before it"};
    }
    if (!bracket && c == '.' && !has_symbol) {
      return Problem{at, count_, "'.' repeats the symbol before it, and there is none: must stand behind one"};
    }
    const bool is_pattern_symbol = is_dialled(c) || c == 'x' || c == 'X' || c == '.' || c == 'T' || c == '[';
    if (!bracket && !is_pattern_symbol) {
      return Problem{at, count_, refuse(c, source_)};
    }
    if (c == '[') {
      bracket = at;
    } else if (c == ']') {
      bracket.reset();
    }
    has_symbol = has_symbol || (c != 'T' && !bracket);
  }
  if (bracket) {
    return Problem{*bracket, count_, "'[' is not closed: must have a ']' behind its symbols, in the same pattern"};
  }
  return std::nullopt;
}

std::string Plan::describe(const Problem& problem) const {
  // Long lines are shown in part.
  constexpr size_t kBefore = 50;
  constexpr size_t kShown = 72;
  const bool has_lines = source_ == Source::kFile;
  const size_t line_end = has_lines ? std::min(text_.find('\n', problem.at), text_.size()) : text_.size();
  size_t line_begin = 0;
  if (has_lines && problem.at > 0) {
    const size_t break_before = text_.rfind('\n', problem.at - 1);
    line_begin = break_before == std::string::npos ? 0 : break_before + 1;
  }
  const size_t column = problem.at - line_begin;
  const size_t shown_begin = line_begin + (column > kBefore ? column - kBefore : 0);
  const std::string shown = text_.substr(shown_begin, std::min(kShown, line_end - shown_begin));

  std::string words = "pattern " + std::to_string(problem.pattern) + ", ";
  if (has_lines) {
    words += "line " +
             std::to_string(1 + std::count(text_.begin(), text_.begin() + static_cast<ptrdiff_t>(line_begin), '\n')) +
             ", ";
  }
  words += "position " + std::to_string(column + 1) + ": " + problem.why + "\n";
  words += "  " + printable(shown) + "\n";
  words += "  " + std::string(problem.at - shown_begin, ' ') + "^\n";
  return words;
}

std::string describe_symbol(uint32_t mask) {
  std::string words;
  size_t bit = 0;
  for (const std::string_view family : kFamilies) {
    for (size_t i = 0; i < family.size();) {
      const auto run = static_cast<size_t>(std::countr_one((mask & kAnyDialled) >> (bit + i)));
      const size_t length = std::min(run, family.size() - i);
      if (length >= 3) {
        append_with_blank(words, {family[i], '-', family[i + length - 1]});
      } else {
        for (size_t k = 0; k < length; ++k) {
          append_with_blank(words, {family[i + k]});
        }
      }
      i += length + 1;
    }
    bit += family.size();
  }
  return words.empty() ? "nothing" : words;
}

std::string describe_pattern(const NUV_DigitMapPattern& pattern) {
  const std::span<const uint32_t> symbols(pattern.m_pSymbols, pattern.m_uCount);
  std::string words;
  bool was_single = false;
  for (size_t i = 0; i < symbols.size();) {
    size_t same = 1;
    while (i + same < symbols.size() && symbols[i + same] == symbols[i]) {
      ++same;
    }
    const std::string symbol = describe_symbol(symbols[i]);
    const bool is_single = std::popcount(symbols[i]) == 1;
    words += words.empty() || (is_single && was_single) ? "" : ", ";
    if ((symbols[i] & kRepeat) != 0) {
      words += "any number of " + symbol;
    } else if (is_single) {
      words += std::string(same, symbol.front());
    } else {
      words += (same == 1 ? "one" : std::to_string(same)) + " of " + symbol;
    }
    was_single = is_single;
    i += same;
  }
  if (words.empty()) {
    words = "no digit";
  }
  return words + (pattern.m_bTimer != 0 ? "; at time-out" : "");
}

}  // namespace digitmap_tool
