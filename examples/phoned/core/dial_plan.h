// The dial plan: which digits are a number. It is read as userlib-digitmap reads it, and so has the same complaints and
// warnings.
#ifndef EXAMPLES_PHONED_CORE_DIAL_PLAN_H
#define EXAMPLES_PHONED_CORE_DIAL_PLAN_H

#include <string>
#include <string_view>
#include <vector>

#include "dialplan/plan.h"

namespace phoned {

struct Verdict {
  enum class Kind { kMore, kComplete, kReject };

  Kind kind;
  std::string pattern = {};  // of kComplete: the one that decided, without blanks and parentheses
};

class DialPlan {
 public:
  static constexpr char kDefault[] = "110 | 112 | 1[2-9]x | [2-9]x.T | 0x.T | *xx | #xx";

  // Reads patterns separated by bars or line ends, at least one. The Error names the pattern that is wrong.
  explicit DialPlan(std::string_view text);

  // Reads a plan from a file. The Error names the file.
  static DialPlan read(const std::string& path);

  // Judges digits that more may follow. The most specific pattern decides, wherever it stands; while an equally specific
  // one needs more digits, the line has to wait: with "12|12x", 12 is not decided.
  Verdict check(const std::string& digits) const;

  // Judges digits that no more have followed in time. The most specific pattern with a "T" that they complete decides;
  // without one they are rejected. With "12T|12x", 12 becomes a number by waiting.
  Verdict check_at_timeout(const std::string& digits) const;

  // What the plan's author has probably not meant, one line each, as userlib-digitmap --check prints it. At most ten lines,
  // and one that counts the rest.
  std::vector<std::string> warnings() const;

  // Without blanks and parentheses.
  const std::vector<std::string>& patterns() const { return plan_.patterns(); }

 private:
  dialplan::Plan plan_;
};

}  // namespace phoned

#endif
