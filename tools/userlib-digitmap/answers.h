// The answers of a plan, digit by digit.
#ifndef TOOLS_USERLIB_DIGITMAP_ANSWERS_H
#define TOOLS_USERLIB_DIGITMAP_ANSWERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "dialplan/plan.h"

namespace digitmap_tool {

// An answer takes time in proportion to the digits.
constexpr size_t kMaxDigits = 64;

using dialplan::Mode;
using dialplan::Plan;
using dialplan::Result;
using dialplan::Timer;

struct Answer {
  Result result;
  std::string pattern;  // of a complete number: the pattern that decided
};

// Once the timer has expired, no answer is undecided.
Answer ask(const Plan& plan, Mode mode, const std::string& digits, Timer timer);

// The answer of a single pattern.
enum class State {
  kDead,       // no match
  kWantsMore,  // more digits are needed
  kComplete,   // complete while the timer runs
  kAtTimeOut   // complete once it has expired
};

// The states of all patterns, in the order of the plan.
class Patterns {
 public:
  explicit Patterns(const Plan& plan);

  State state(size_t pattern, const std::string& digits) const;

 private:
  std::vector<userlib::DigitMap> alone_;
};

// A table with one line per digit: the answers in both modes, before and after the time-out, and the patterns that are
// still alive.
std::string tabulate(const Plan& plan, const std::string& digits);

// The plan with one line per pattern: the pattern, and what it matches in words.
std::string list(const Plan& plan);

}  // namespace digitmap_tool

#endif
