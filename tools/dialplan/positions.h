// Where dialling can get to in a plan: its patterns as one automaton. A position holds all that the library's answer
// depends on, now and after any further digits, so that a walk over all positions tells about every dial string.
#ifndef TOOLS_DIALPLAN_POSITIONS_H
#define TOOLS_DIALPLAN_POSITIONS_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dialplan/plan.h"

namespace dialplan {

// One way in which a pattern can have taken the digits so far.
struct Thread {
  uint32_t pattern;  // its index in the plan
  uint32_t symbol;   // index of the next one; the number of symbols at the end
  uint32_t rank;     // best match: how specific the symbols were that took the digits, 0 for the most specific

  auto operator<=>(const Thread&) const = default;
};

// The threads of one pattern stand together, in the order of the plan, each symbol once. The library takes the first of
// them that leads to the end.
using Position = std::vector<Thread>;

struct Verdict {
  Result result;
  size_t pattern;  // of a complete number: the one that decides
};

class Positions {
 public:
  Positions(const userlib::DigitMap& map, Mode mode);

  // With nothing dialled.
  Position start() const;

  // One digit further. Bits of one class lead to the same position.
  Position after(const Position& position, uint32_t bit) const;

  // What can be dialled, in classes that no pattern tells apart. What no pattern has is left out.
  const std::vector<uint32_t>& classes() const { return classes_; }

  // What the plan answers here, if any digit was dialled: while the timer runs, and when it has expired.
  Verdict judge(const Position& position) const;
  Verdict judge_at_timeout(const Position& position) const;

  // The patterns that have all of their digits here; one may be complete only with the timer in another state, or have to
  // wait.
  std::vector<size_t> fitting(const Position& position) const;

  // The patterns that want more digits here, and for which a pattern that fits has to wait in best match.
  std::vector<size_t> waited_for(const Position& position, size_t pattern) const;

  const NUV_DigitMapPattern& pattern(size_t index) const { return *patterns_[index]; }
  size_t size() const { return patterns_.size(); }

 private:
  bool is_repeated(size_t pattern, size_t symbol) const;
  bool is_at_end(const Thread& thread) const { return thread.symbol == patterns_[thread.pattern]->m_uCount; }
  bool waits_for_timer(size_t pattern) const { return patterns_[pattern]->m_bTimer != 0; }
  void enter(Position& position, Thread thread) const;
  std::vector<Thread> wanting_more(const Position& position) const;
  std::optional<Thread> best_complete(const Position& position, bool has_expired) const;
  bool is_open_ended(size_t pattern) const;

  Mode mode_;
  std::vector<const NUV_DigitMapPattern*> patterns_;
  std::vector<size_t> first_repeated_;  // symbol of each pattern, or their number
  std::vector<uint32_t> classes_;
};

}  // namespace dialplan

#endif
