#include "dialplan/plan.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <span>
#include <utility>

namespace dialplan {

namespace {

constexpr std::string_view kFamilies[] = {"0123456789", "ABCD", "#", "*"};

constexpr char kSymbols[] = "0-9 A-D # * x [135] [2-5] . T";

bool is_dialled(char c) {
  return bit_of(c) != 0;
}

// Why a character of other notations is not allowed in a pattern here; null for any other character.
const char* refuse_foreign(char c) {
  switch (c) {
    case 'S':
    case 's':
      return " is the short timer of other plans: must be 'T' at the end to wait, or left out to complete at once";
    case 'L':
    case 'l':
      return " is the long timer of other plans: must be 'T' at the end";
    case 'Z':
    case 'z':
      return " means a long press in other plans: must be left out, as long presses are not reported here";
    case 'E':
      return " is the name of a key in other plans: must be '*'";
    case 'F':
      return " is the name of a key in other plans: must be '#'";
    case '<':
    case '>':
    case ':':
    case '=':
      return " belongs to <dialled:sent>, which changes a number: must be left out, as a plan only tells when a number "
             "is complete";
    case '!':
      return " bars a number in other plans: must be left out, and so must every pattern for that number";
    case '+':
      return " is not a key; if it repeats the symbol before it, 'x+' must be 'xx.'";
    case '?':
      return " makes the symbol before it optional in other plans: must be two patterns, 1|1x for 1x?";
    case '{':
    case '}':
      return " belongs to a count, or encloses other plans: 'x{3}' must be 'xxx'";
    case '"':
    case '\'':
      return " is not part of a plan: must be left out, unless the shell removes it";
    default:
      return nullptr;
  }
}

// What is wrong with a character that is not allowed outside brackets.
std::string refuse(char c, Plan::Source source) {
  const std::string name = name_of(c);
  if (const char* why = refuse_foreign(c); why != nullptr) {
    return name + why;
  }
  switch (c) {
    case 't':
      return name + " is not the timer: must be 'T'";
    case 'a':
    case 'b':
    case 'c':
    case 'd':
      return name + " cannot be dialled: must be '" + static_cast<char>(c - 'a' + 'A') + "'";
    case ']':
      return name + " has no '[' before it: must close one, as in [135]";
    case '-':
      return name + " is outside brackets: a range must be written as [2-5]";
    case ',':
    case ';':
      return name + " does not separate patterns: must be '|'";
    case '\n':
      return name + " does not separate patterns in an argument: must be '|', or the plan must come from a file";
    case '\t':
    case '\r':
      return name + (source == Plan::Source::kArgument ? " is not a blank in an argument: must be ' '" : "");
    default:
      return name + " means nothing in a pattern: must be one of " + kSymbols;
  }
}

// A line of the plan, with '?' for every character that cannot be printed.
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
  // The library would take a null character as the end of the pattern.
  const bool is_text = pattern.find('\0') == std::string::npos;
  if (is_text && map_.add(pattern.c_str())) {
    patterns_.push_back(std::move(pattern));
    places_.push_back({begin, end});
    return;
  }
  Problem problem = find_problem(begin, end).value_or(Problem{begin, count_, "out of memory for the pattern"});
  if (is_in_comment(problem.at)) {
    problem.why += "; '#' is a key, and does not start a comment";
  }
  problems_.push_back(std::move(problem));
}

bool Plan::is_in_comment(size_t at) const {
  const bool is_letter = (text_[at] >= 'a' && text_[at] <= 'z') || (text_[at] >= 'A' && text_[at] <= 'Z');
  const size_t begin = line_begin(at);
  return source_ == Source::kFile && is_letter && text_.find('#', begin) < at;
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
                     name_of(c) + " is not allowed in brackets: must be one of 0-9 A-D # * or '-', or ']' before it"};
    }
    if (!bracket && c == '.' && !has_symbol) {
      return Problem{at, count_, "'.' repeats the symbol before it, and there is none: must follow one"};
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
    return Problem{*bracket, count_, "'[' is not closed: must have a ']' after its symbols, in the same pattern"};
  }
  return std::nullopt;
}

size_t Plan::line_begin(size_t at) const {
  const size_t before = source_ == Source::kFile && at > 0 ? text_.rfind('\n', at - 1) : std::string::npos;
  return before == std::string::npos ? 0 : before + 1;
}

std::string Plan::locate(const Problem& problem) const {
  const size_t begin = line_begin(problem.at);
  std::string words = "pattern " + std::to_string(problem.pattern) + ", ";
  if (source_ == Source::kFile) {
    const auto lines = std::count(text_.begin(), text_.begin() + static_cast<ptrdiff_t>(begin), '\n');
    words += "line " + std::to_string(1 + lines) + ", ";
  }
  return words + "position " + std::to_string(problem.at - begin + 1) + ": " + problem.why;
}

std::string Plan::describe(const Problem& problem) const {
  constexpr size_t kBefore = 50;
  constexpr size_t kShown = 72;
  const char* const line_ends = source_ == Source::kFile ? "\n" : "";
  const size_t end = std::min(text_.find_first_of(line_ends, problem.at), text_.size());
  const size_t begin = std::max(line_begin(problem.at), problem.at - std::min(problem.at, kBefore));
  const std::string shown = text_.substr(begin, std::min(kShown, end - begin));
  return locate(problem) + "\n  " + printable(shown) + "\n  " + std::string(problem.at - begin, ' ') + "^\n";
}

uint32_t bit_of(char c) {
  const size_t place = c != '\0' ? kDialled.find(c) : std::string_view::npos;
  return place != std::string_view::npos ? uint32_t{1} << place : 0;
}

std::string name_of(char c) {
  if (c > ' ' && c <= '~') {
    return std::string("'") + c + "'";
  }
  char name[16];
  std::snprintf(name, sizeof name, "byte 0x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return name;
}

std::string write_symbol(uint32_t mask) {
  constexpr uint32_t kAnyDigit = 0x3FF;
  std::string characters;
  for (size_t i = 0; i < kDialled.size(); ++i) {
    characters += (mask >> i & 1) != 0 ? std::string(1, kDialled[i]) : "";
  }
  if (mask == kAnyDigit) {
    return "x";
  }
  if (characters.size() == 1) {
    return characters;
  }
  const size_t first = characters.empty() ? 0 : kDialled.find(characters.front());
  const bool is_range = characters.size() > 2 && kDialled.compare(first, characters.size(), characters) == 0;
  return is_range ? std::string("[") + characters.front() + '-' + characters.back() + ']' : "[" + characters + "]";
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

}  // namespace dialplan
