// Finds the patterns of a plan that never decide, whatever is dialled.
#ifndef TOOLS_DIALPLAN_REACH_H
#define TOOLS_DIALPLAN_REACH_H

#include <cstddef>
#include <optional>
#include <vector>

#include "dialplan/plan.h"

namespace dialplan {

// A pattern that never decides, and why. If both lists are empty, no digits fit it.
struct IdlePattern {
  size_t pattern;              // index
  std::vector<size_t> rivals;  // patterns that decide where it would, or sooner
  std::vector<size_t> longer;  // patterns with more digits; it waits for them, and has no T to complete at the time-out
  bool is_lost;                // some of its digits match nothing, as the library never leaves a repeated symbol
};

// Walks over all positions that dialling can reach before the plan decides. Returns nothing if there are more than
// max_positions, or fewer but very large ones.
std::optional<std::vector<IdlePattern>> find_idle_patterns(const userlib::DigitMap& map, Mode mode,
                                                           size_t max_positions);

}  // namespace dialplan

#endif
