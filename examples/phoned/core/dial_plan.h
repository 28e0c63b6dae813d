// The dial plan: which digits are a number. It is a digit map of the library, which also decides while digits come in;
// this class adds what a daemon needs around it: plans from users and files, and the decision when nobody dials on.
#ifndef EXAMPLES_PHONED_CORE_DIAL_PLAN_H
#define EXAMPLES_PHONED_CORE_DIAL_PLAN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "userlib.hpp"

namespace phoned {

struct Verdict {
  enum class Kind { kMore, kComplete, kReject };

  Kind kind;
  std::string pattern;  // of kComplete: the one that decided, as the plan has it but for blanks and parentheses
};

class DialPlan {
 public:
  // A plan for those who name none.
  static constexpr const char* kDefault = "110 | 112 | 1[2-9]x | [2-9]x.T | 0x.T | *xx | #xx";

  // Reads a plan: patterns that bars or line ends separate, at least one. The Error names the pattern that is wrong.
  explicit DialPlan(std::string_view text);

  // Reads a plan from a file. The Error names the file.
  static DialPlan read(const std::string& path);

  // Judges digits after which more may come. The most specific pattern decides, wherever it stands in the plan; while
  // another one that is as specific needs more digits, the line has to wait for those: with "12|12x" the digits 12 are
  // not decided.
  Verdict check(const std::string& digits) const;

  // Judges digits after which no more have come in time. They are a number if they fit a pattern that holds a "T", by
  // the most specific one; all else is rejected: a number that has stopped half way, and also one that fits a pattern
  // without "T" and had to wait. "12T|12x" is the plan in which 12 becomes a number by waiting.
  Verdict check_at_timeout(const std::string& digits) const;

  // What the plan most likely does not mean as it is written, each in one line, as userlib-digitmap --check has it. There
  // are ten lines at most, and one that counts the rest.
  std::vector<std::string> warnings() const;

  // As they were given, but for blanks and parentheses.
  const std::vector<std::string>& patterns() const { return patterns_; }

 private:
  void add(std::string pattern);

  std::string text_;
  std::vector<std::string> patterns_;
  userlib::DigitMap map_;
};

}  // namespace phoned

#endif
