#include "dialplan/reach.h"

#include <bit>
#include <set>
#include <utility>

#include "dialplan/positions.h"

namespace dialplan {

namespace {

// What the walk finds out about one pattern.
struct Findings {
  bool decides = false;
  bool is_lost = false;
  std::set<size_t> rivals;
  std::set<size_t> longer;
};

class Walk {
 public:
  Walk(const userlib::DigitMap& map, Mode mode) : positions_(map, mode), findings_(positions_.size()) {}

  // Returns false if there are too many positions.
  bool run(size_t max_positions) {
    std::set<Position> known;
    std::vector<Position> next = {positions_.start()};  // nothing dialled; an equal position met later counts
    while (!next.empty()) {
      const Position here = std::move(next.back());
      next.pop_back();
      for (const uint32_t symbols : positions_.classes()) {
        steps_ += here.size();
        Position there = positions_.after(here, std::bit_floor(symbols));
        if (!there.empty() && known.insert(there).second && look_at(there)) {
          next.push_back(std::move(there));
        }
      }
      if (known.size() > max_positions || steps_ > max_positions * kStepsPerPosition) {
        return false;
      }
    }
    return true;
  }

  std::vector<IdlePattern> idle() const {
    std::vector<IdlePattern> idle;
    for (size_t i = 0; i < findings_.size(); ++i) {
      const Findings& found = findings_[i];
      if (!found.decides) {
        idle.push_back(
            {i, {found.rivals.begin(), found.rivals.end()}, {found.longer.begin(), found.longer.end()}, found.is_lost});
      }
    }
    return idle;
  }

 private:
  // Returns whether dialling continues here.
  bool look_at(const Position& position) {
    const Verdict now = positions_.judge(position);
    if (now.result == Result::kComplete) {
      decide(position, now.pattern);
      return false;
    }
    if (now.result == Result::kNoMatch) {
      for (const Thread& thread : position) {
        findings_[thread.pattern].is_lost = true;
      }
      return false;
    }
    look_at_timeout(position);
    return true;
  }

  // Dialling ends: all other live patterns have lost to this one.
  void decide(const Position& position, size_t winner) {
    for (const Thread& thread : position) {
      findings_[thread.pattern].rivals.insert(winner);
    }
    findings_[winner].decides = true;
  }

  void look_at_timeout(const Position& position) {
    const Verdict late = positions_.judge_at_timeout(position);
    for (const size_t pattern : positions_.fitting(position)) {
      if (positions_.pattern(pattern).m_bTimer == 0) {
        const auto longer = positions_.waited_for(position, pattern);
        steps_ += position.size();
        findings_[pattern].longer.insert(longer.begin(), longer.end());
      } else if (late.result == Result::kComplete) {
        findings_[pattern].rivals.insert(late.pattern);
      }
    }
    if (late.result == Result::kComplete) {
      findings_[late.pattern].decides = true;
    }
  }

  // Positions with many threads take longer; a plan in use has some tens of threads in each.
  static constexpr size_t kStepsPerPosition = 1000;

  size_t steps_ = 0;  // threads visited
  Positions positions_;
  std::vector<Findings> findings_;
};

}  // namespace

std::optional<std::vector<IdlePattern>> find_idle_patterns(const userlib::DigitMap& map, Mode mode,
                                                           size_t max_positions) {
  Walk walk(map, mode);
  return walk.run(max_positions) ? std::optional(walk.idle()) : std::nullopt;
}

}  // namespace dialplan
