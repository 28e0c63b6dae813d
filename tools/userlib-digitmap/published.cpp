#include "userlib-digitmap/published.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "dialplan/plan.h"

namespace digitmap_tool {

namespace {

using dialplan::bit_of;
using dialplan::name_of;

constexpr uint32_t kAnyDigit = 0x3FF;
constexpr size_t kMostRepetitions = 32;
constexpr size_t kDeepest = 32;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// The bit of a key, by any of its names.
uint32_t key_bit(char c) {
  switch (c) {
    case 'a':
    case 'b':
    case 'c':
    case 'd':
      return bit_of(static_cast<char>(c - 'a' + 'A'));
    case 'E':
    case 'e':
      return bit_of('*');
    case 'F':
    case 'f':
      return bit_of('#');
    default:
      return bit_of(c);
  }
}

const char* why_not(char c) {
  switch (c) {
    case '<':
    case '>':
    case ':':
    case '=':
      return " belongs to a substitution, which changes the number: a plan here only tells when a number is complete";
    case '!':
    case '^':
      return " bars numbers or leaves them out: a plan here only lists the allowed ones";
    case '+':
      return " is not a key, and has nothing before it to repeat";
    case '.':
    case '?':
    case '{':
    case '}':
      return " has nothing before it to repeat";
    case '@':
    case '\\':
      return " stands for characters that are not keys";
    case 'Z':
    case 'z':
      return " means a long press: keys here do not report how long they were pressed";
    case 'L':
    case 'l':
    case 'S':
    case 's':
    case 'P':
    case 'p':
      return " sets a time within a pattern: a plan here has one timer, at the end";
    case ']':
      return " has no '[' before it";
    case ')':
      return " has no '(' before it";
    default:
      return " has no meaning in any plan known here";
  }
}

// Reads the text in one pass, up to the first mistake.
class Reader {
 public:
  Reader(const std::string& text, Form form) : text_(text), form_(form) {}

  Published read() {
    strip('"', '"');
    strip('\'', '\'');
    is_braced_ = strip('{', '}');
    published_.plan = take_choice(0);
    if (published_.why.empty() && at_ < end_) {
      refuse(at_, why_not(text_[at_]));
    }
    // Bars at the ends of a plan and empty lines make no patterns.
    std::erase_if(published_.plan.parts, [](const Node& pattern) { return pattern.parts.empty(); });
    if (published_.why.empty() && published_.plan.parts.empty()) {
      published_.why = "the plan holds no pattern";
    }
    return std::move(published_);
  }

 private:
  void refuse(size_t at, const std::string& why) {
    if (published_.why.empty()) {
      published_.why = name_of(text_[at]) + why;
      published_.at = at;
    }
    at_ = end_;
  }

  void lose(const std::string& what) {
    if (std::find(published_.losses.begin(), published_.losses.end(), what) == published_.losses.end()) {
      published_.losses.push_back(what);
    }
  }

  // Removes a pair that encloses the whole plan. Returns whether there was one.
  bool strip(char open, char close) {
    const auto is_space = [](char c) { return is_blank(c) || c == '\n'; };
    size_t begin = at_;
    size_t end = end_;
    while (begin < end && is_space(text_[begin])) {
      ++begin;
    }
    while (end > begin && is_space(text_[end - 1])) {
      --end;
    }
    const bool is_there = end - begin >= 2 && text_[begin] == open && text_[end - 1] == close;
    if (is_there) {
      at_ = begin + 1;
      end_ = end - 1;
    }
    return is_there;
  }

  void skip_blanks() {
    while (at_ < end_ && (is_blank(text_[at_]) || (depth_ > 0 && text_[at_] == '\n'))) {
      ++at_;
    }
  }

  bool is_at(char c) {
    skip_blanks();
    return at_ < end_ && text_[at_] == c;
  }

  bool take(char c) {
    const bool is_there = is_at(c);
    at_ += is_there ? 1 : 0;
    return is_there;
  }

  // Alternatives up to the end or a parenthesis.
  Node take_choice(size_t depth) {
    Node choice = {Node::Kind::kChoice};
    depth_ = depth;
    do {
      choice.parts.push_back(take_sequence());
      depth_ = depth;
    } while (take('|') || take('\n'));
    return choice;
  }

  Node take_sequence() {
    Node sequence = {Node::Kind::kSequence};
    const size_t depth = depth_;
    while (true) {
      if (is_at_end()) {
        return sequence;
      }
      if (text_[at_] == ',' && form_ == Form::kH248) {
        ++at_;
        lose("the dial tone at ','");
        continue;
      }
      sequence.parts.push_back(take_repeats(take_atom(depth)));
      depth_ = depth;
    }
  }

  Node symbol(uint32_t mask) {
    ++at_;
    return {Node::Kind::kSymbol, mask};
  }

  Node take_atom(size_t depth) {
    const char c = text_[at_];
    switch (c) {
      case '(':
        return take_group(depth);
      case '[':
        return take_set();
      case 'x':
        return symbol(kAnyDigit);
      case 'X':
        if (form_ == Form::kH248) {
          refuse(at_, " means 'x' in some plans and '[x*]' or more in others: must be one of these");
          return {Node::Kind::kSequence};
        }
        return symbol(kAnyDigit);
      case 'T':
      case 't':
        return form_ == Form::kH248 ? take_timer_with_seconds() : symbol(kTimer);
      case 'S':
      case 's':
      case 'L':
      case 'l':
        if (form_ == Form::kMgcp) {
          refuse(at_, " waits in H.248 plans and does not in others: must be 'T', or nothing");
          return {Node::Kind::kSequence};
        }
        return take_other_timer();
      default:
        break;
    }
    if (key_bit(c) == 0) {
      refuse(at_, why_not(c));
      return {Node::Kind::kSequence};
    }
    return symbol(key_bit(c));
  }

  Node take_group(size_t depth) {
    const size_t begin = at_;
    ++at_;
    if (depth == kDeepest) {
      refuse(begin, " is nested too deeply");
      return {Node::Kind::kSequence};
    }
    Node choice = take_choice(depth + 1);
    if (published_.why.empty() && !take(')')) {
      refuse(begin, " is not closed");
    }
    return choice;
  }

  // T, or T4 for a timer of 4 seconds, T0 for none.
  Node take_timer_with_seconds() {
    const size_t begin = at_++;
    const bool has_count = at_ < end_ && is_digit(text_[at_]);
    const bool is_zero = has_count && text_[at_] == '0';
    at_ += has_count ? 1 : 0;
    if (has_count && !is_at_end()) {
      refuse(begin, " is in the middle of a pattern");
    } else if (has_count && !is_zero) {
      lose("how long " + name_of(text_[begin]) + " waits");
    }
    return {Node::Kind::kSymbol, is_zero ? kAtOnce : kTimer};
  }

  // Whether a pattern ends here.
  bool is_at_end() {
    skip_blanks();
    return at_ == end_ || text_[at_] == '|' || text_[at_] == ')' || text_[at_] == '\n';
  }

  // A short or long timer. At the end of a pattern it ends the number: S0 at once, S2 after 2 seconds. Before a digit
  // it only tells how long to wait for that digit.
  Node take_other_timer() {
    const size_t begin = at_++;
    const bool is_long = text_[begin] == 'L' || text_[begin] == 'l';
    const size_t count_begin = at_;
    while (at_ < end_ && is_digit(text_[at_])) {
      ++at_;
    }
    const std::string count = text_.substr(count_begin, at_ - count_begin);
    if (!is_at_end()) {
      at_ = count_begin;
      lose("how long " + name_of(text_[begin]) + " waits");
      return {Node::Kind::kSequence};
    }
    if (is_long && !count.empty()) {
      refuse(begin, " before a number at the end is ambiguous: it may mean seconds, or digits to dial");
      return {Node::Kind::kSequence};
    }
    if (count == "0") {
      return {Node::Kind::kSymbol, kAtOnce};
    }
    lose("how long " + name_of(text_[begin]) + " waits");
    return {Node::Kind::kSymbol, kTimer};
  }

  // ---- sets ----

  Node take_set() {
    const size_t begin = at_++;
    uint32_t mask = 0;
    while (at_ < end_ && text_[at_] != ']') {
      mask |= take_set_item();
    }
    if (!published_.why.empty()) {
      return {Node::Kind::kSequence};
    }
    if (at_ == end_ || mask == 0) {
      refuse(begin, at_ == end_ ? " is not closed" : " holds no key");
      return {Node::Kind::kSequence};
    }
    return symbol(mask);
  }

  // One key or range of a set, or something between them.
  uint32_t take_set_item() {
    const char c = text_[at_];
    if (is_blank(c) || c == ',') {
      ++at_;
      return 0;
    }
    const bool is_range = at_ + 2 < end_ && text_[at_ + 1] == '-';
    const size_t first = at_;
    at_ += is_range ? 3 : 1;
    if (is_range) {
      return range(first);
    }
    if (c == 'x' || (c == 'X' && form_ == Form::kMgcp)) {
      return kAnyDigit;
    }
    if ((c == 'T' || c == 't') && form_ == Form::kMgcp) {
      return kTimer;
    }
    if (key_bit(c) == 0) {
      refuse(first, c == '^' ? " in brackets excludes keys, from a set that differs between plans"
                             : " is not a key, and not allowed in brackets");
    }
    return key_bit(c);
  }

  // Both ends must be digits, or both letters: no standard defines other ranges.
  uint32_t range(size_t first) {
    const uint32_t low = key_bit(text_[first]);
    const uint32_t high = key_bit(text_[first + 2]);
    const uint32_t letters = bit_of('A') | bit_of('B') | bit_of('C') | bit_of('D');
    const bool is_known =
        ((low & kAnyDigit) != 0 && (high & kAnyDigit) != 0) || ((low & letters) != 0 && (high & letters) != 0);
    if (!is_known || low > high) {
      refuse(first, " begins a range that runs backwards, or whose ends are not both digits or both letters");
      return 0;
    }
    return (high << 1) - low;
  }

  // ---- repetitions ----

  Node repeat(Node node, size_t least, size_t most) {
    Node repeated = {Node::Kind::kRepeat};
    repeated.parts.push_back(std::move(node));
    repeated.least = least;
    repeated.most = most;
    return repeated;
  }

  Node take_repeats(Node node) {
    for (size_t i = 0; published_.why.empty(); ++i) {
      if (i == kDeepest) {
        refuse(at_ - 1, " follows too many other repetitions");
      } else if (is_at('.') || is_at('+')) {
        node = take_unlimited(std::move(node));
      } else if (take('?')) {
        node = repeat(std::move(node), 0, 1);
      } else if (is_at('{')) {
        node = take_count(std::move(node));
      } else {
        break;
      }
    }
    return node;
  }

  // Plans in braces write "+" for once or more, and some of them "." too. Elsewhere "." means any number of times, and
  // "+" does in some.
  Node take_unlimited(Node node) {
    const bool is_plus = text_[at_] == '+';
    if (is_plus != is_braced_) {
      refuse(at_, is_plus
                      ? " repeats any number of times in some plans and at least once in others: must be '.', or the "
                        "plan in braces"
                      : " repeats at least once in some plans in braces: must be '+'");
      return node;
    }
    ++at_;
    return repeat(std::move(node), is_plus ? 1 : 0, kUnlimited);
  }

  size_t take_number() {
    skip_blanks();
    size_t number = 0;
    while (at_ < end_ && is_digit(text_[at_])) {
      number = std::min(number * 10 + static_cast<size_t>(text_[at_++] - '0'), kMostRepetitions + 1);
    }
    return number;
  }

  // {n}, {n,} or {n,m}.
  Node take_count(Node node) {
    const size_t begin = at_++;
    skip_blanks();
    const bool has_number = at_ < end_ && is_digit(text_[at_]);
    const size_t least = take_number();
    size_t most = least;
    if (take(',')) {
      most = is_at('}') ? kUnlimited : take_number();
    }
    const bool is_good = has_number && most >= least && least <= kMostRepetitions &&
                         (most <= kMostRepetitions || most == kUnlimited) && take('}');
    if (!is_good) {
      refuse(begin, " is not a count: must be {3}, {3,} or {3,5}, up to " + std::to_string(kMostRepetitions));
    }
    return repeat(std::move(node), least, most);
  }

  const std::string& text_;
  Form form_;
  bool is_braced_ = false;
  size_t at_ = 0;
  size_t end_ = text_.size();
  size_t depth_ = 0;  // of parentheses; in them a line end is a blank
  Published published_;
};

}  // namespace

Published read_published(const std::string& text, Form form) {
  return Reader(text, form).read();
}

}  // namespace digitmap_tool
