// Which patterns of a plan never decide anything, whatever is dialled.
#ifndef TOOLS_DIALPLAN_REACH_H
#define TOOLS_DIALPLAN_REACH_H

#include <cstddef>
#include <optional>
#include <vector>

#include "dialplan/plan.h"

namespace dialplan {

// A pattern that decides nowhere, and why. Both lists may be empty: then no digits fit it.
struct IdlePattern {
  size_t pattern;              // index
  std::vector<size_t> rivals;  // those that decide where it would, or sooner
  std::vector<size_t> longer;  // those that want more digits, for which it has to wait, and at the time-out it has no T
  bool is_lost;                // digits that begin like it are given up: a repeated symbol before the end is not grown
};

// Walks over all positions that dialling can get to, and no further than where the plan has decided. Nothing comes back
// if there are more than so many of them, or fewer that are very large.
std::optional<std::vector<IdlePattern>> find_idle_patterns(const userlib::DigitMap& map, Mode mode,
                                                           size_t max_positions);

}  // namespace dialplan

#endif
