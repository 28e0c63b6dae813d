// Likely mistakes in a plan: valid for the library, but a trap.
#ifndef TOOLS_DIALPLAN_WARNINGS_H
#define TOOLS_DIALPLAN_WARNINGS_H

#include <cstddef>
#include <vector>

#include "dialplan/plan.h"

namespace dialplan {

// Finding patterns that never decide takes time and memory in proportion to the positions of a plan, whose number can
// grow exponentially with its length. Plans in use have some hundreds.
constexpr size_t kMaxWalk = 20000;

struct Warnings {
  std::vector<Problem> found;  // in the order of the text
  bool is_whole;               // false: there were too many positions to look for patterns that never decide
};

// Inspects a plan without problems. Which patterns decide depends on the mode.
Warnings find_warnings(const Plan& plan, Mode mode, size_t max_positions = kMaxWalk);

}  // namespace dialplan

#endif
