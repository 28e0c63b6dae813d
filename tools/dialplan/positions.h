// The patterns of a plan as one automaton. A position holds everything that the library's answer depends on, now and
// after any further digits, so a walk over all positions covers every dial string.
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

// One way in which a pattern can match the digits so far.
struct Thread {
  uint32_t pattern;  // index in the plan
  uint32_t symbol;   // index of the next one; the number of symbols at the end
  uint32_t rank;     // best match: how specific the matching symbols were, 0 for the most specific

  auto operator<=>(const Thread&) const = default;
};

// The threads in the order of the plan, each symbol of a pattern at most once. The library takes a pattern's first
// thread that leads to the end.
using Position = std::vector<Thread>;

struct Verdict {
  Result result;
  size_t pattern;  // of a complete number: the pattern that decides
};

class Positions {
 public:
  Positions(const userlib::DigitMap& map, Mode mode);

  // The position before the first digit.
  Position start() const;

  // The position after one more digit. Bits of one class lead to the same position.
  Position after(const Position& position, uint32_t bit) const;

  // The keys, in classes that no pattern tells apart. Keys that no pattern has are left out.
  const std::vector<uint32_t>& classes() const { return classes_; }

  // What the plan answers here, if any digit was dialled: while the timer runs, and after it has expired.
  Verdict judge(const Position& position) const;
  Verdict judge_at_timeout(const Position& position) const;

  // The patterns that have all their digits here. Some may be complete only with the timer in the other state, or have
  // to wait.
  std::vector<size_t> fitting(const Position& position) const;

  // The patterns that need more digits here, and that a fitting pattern waits for in best match.
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
  std::vector<size_t> first_repeated_;  // symbol index in each pattern, or the number of its symbols
  std::vector<uint32_t> classes_;
};

}  // namespace dialplan

#endif
