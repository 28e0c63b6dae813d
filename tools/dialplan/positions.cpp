#include "dialplan/positions.h"

#include <algorithm>
#include <bit>
#include <span>
#include <string_view>
#include <utility>

namespace dialplan {

namespace {

std::span<const uint32_t> symbols_of(const NUV_DigitMapPattern& pattern) {
  return {pattern.m_pSymbols, pattern.m_uCount};
}

// Parts every class in those that are in the mask and those that are not.
void split_classes(std::vector<uint32_t>& classes, uint32_t mask) {
  std::vector<uint32_t> parts;
  for (const uint32_t whole : classes) {
    for (const uint32_t part : {whole & mask, whole & ~mask}) {
      if (part != 0) {
        parts.push_back(part);
      }
    }
  }
  classes = std::move(parts);
}

// Ranks in the order of the keys, without gaps: how threads compare is all that matters.
void renumber(Position& position, const std::vector<std::pair<uint32_t, uint32_t>>& keys) {
  auto order = keys;
  std::sort(order.begin(), order.end());
  order.erase(std::unique(order.begin(), order.end()), order.end());
  for (Thread& thread : position) {
    const auto& key = keys[thread.rank];
    thread.rank = static_cast<uint32_t>(std::lower_bound(order.begin(), order.end(), key) - order.begin());
  }
}

}  // namespace

Positions::Positions(const userlib::DigitMap& map, Mode mode) : mode_(mode), classes_{kAnyDialled} {
  uint32_t dialled = 0;
  for (const NUV_DigitMapPattern* pattern = map.record(); pattern != nullptr; pattern = pattern->m_pNext) {
    const auto symbols = symbols_of(*pattern);
    patterns_.push_back(pattern);
    const auto repeated =
        std::find_if(symbols.begin(), symbols.end(), [](uint32_t symbol) { return (symbol & kRepeat) != 0; });
    first_repeated_.push_back(static_cast<size_t>(repeated - symbols.begin()));
    for (const uint32_t symbol : symbols) {
      split_classes(classes_, symbol);
      dialled |= symbol & kAnyDialled;
    }
  }
  std::erase_if(classes_, [dialled](uint32_t each) { return (each & dialled) == 0; });
  std::sort(classes_.begin(), classes_.end());
}

bool Positions::is_repeated(size_t pattern, size_t symbol) const {
  return symbol < patterns_[pattern]->m_uCount && (patterns_[pattern]->m_pSymbols[symbol] & kRepeat) != 0;
}

// Adds a thread, and in front of it those that leave out repeated symbols: the library prefers few repetitions.
void Positions::enter(Position& position, Thread thread) const {
  const bool is_known = std::any_of(position.rbegin(), position.rend(), [&thread](const Thread& each) {
    return each.pattern == thread.pattern && each.symbol == thread.symbol;
  });
  if (is_known) {
    return;
  }
  if (is_repeated(thread.pattern, thread.symbol)) {
    enter(position, {thread.pattern, thread.symbol + 1, thread.rank});
  }
  position.push_back(thread);
}

Position Positions::start() const {
  Position position;
  for (uint32_t i = 0; i < patterns_.size(); ++i) {
    enter(position, {i, 0, 0});
  }
  return position;
}

Position Positions::after(const Position& position, uint32_t bit) const {
  Position next;
  std::vector<std::pair<uint32_t, uint32_t>> keys;  // the rank before, and how many characters the symbol allows
  for (const Thread& thread : position) {
    const NUV_DigitMapPattern& pattern = *patterns_[thread.pattern];
    const uint32_t symbol = thread.symbol < pattern.m_uCount ? pattern.m_pSymbols[thread.symbol] : 0;
    if ((symbol & bit) == 0) {
      continue;
    }
    const uint32_t step = is_repeated(thread.pattern, thread.symbol) ? 0 : 1;
    enter(next, {thread.pattern, thread.symbol + step, static_cast<uint32_t>(keys.size())});
    keys.emplace_back(thread.rank, static_cast<uint32_t>(std::popcount(symbol & kAnyDialled)));
  }
  if (mode_ == Mode::kFirst) {
    keys.assign(keys.size(), {0, 0});  // whoever comes first decides
  }
  renumber(next, keys);
  return next;
}

const Thread* Positions::at_end(const Position& position, size_t pattern) const {
  for (const Thread& thread : position) {
    if (thread.pattern == pattern && thread.symbol == patterns_[pattern]->m_uCount) {
      return &thread;
    }
  }
  return nullptr;
}

// A pattern that may complete in this state of the timer but has not, or that fits and may not, wants more digits; with
// repeated symbols only as long as the first of them may take all that come.
const Thread* Positions::wanting_more(const Position& position, size_t pattern, bool has_expired) const {
  const bool may_complete = (patterns_[pattern]->m_bTimer != 0) == has_expired;
  if (may_complete && at_end(position, pattern) != nullptr) {
    return nullptr;
  }
  for (const Thread& thread : position) {
    if (thread.pattern == pattern && thread.symbol <= first_repeated_[pattern]) {
      return &thread;
    }
  }
  return nullptr;
}

std::optional<Thread> Positions::best_complete(const Position& position, bool has_expired) const {
  std::optional<Thread> best;
  for (const Thread& thread : position) {
    const NUV_DigitMapPattern& pattern = *patterns_[thread.pattern];
    const bool is_complete = thread.symbol == pattern.m_uCount && (pattern.m_bTimer != 0) == has_expired;
    if (is_complete && (!best || thread.rank < best->rank)) {
      best = thread;
    }
  }
  return best;
}

bool Positions::is_open_ended(size_t pattern) const {
  const std::string_view text = patterns_[pattern]->m_pText;
  return !text.empty() && text.back() == '.';
}

Verdict Positions::judge(const Position& position) const {
  const auto best = best_complete(position, /*has_expired=*/false);
  if (best && mode_ == Mode::kFirst) {
    return {Result::kComplete, best->pattern};
  }
  bool has_to_wait = false;
  for (size_t i = 0; i < patterns_.size(); ++i) {
    const Thread* thread = wanting_more(position, i, /*has_expired=*/false);
    has_to_wait = has_to_wait || (thread != nullptr && (!best || thread->rank <= best->rank));
  }
  if (has_to_wait || (best && is_open_ended(best->pattern))) {
    return {Result::kUndecided, 0};
  }
  return best ? Verdict{Result::kComplete, best->pattern} : Verdict{Result::kNoMatch, 0};
}

Verdict Positions::judge_at_timeout(const Position& position) const {
  const auto best = best_complete(position, /*has_expired=*/true);
  if (!best || (mode_ == Mode::kBest && is_open_ended(best->pattern))) {
    return {Result::kNoMatch, 0};
  }
  return {Result::kComplete, best->pattern};
}

std::vector<size_t> Positions::waited_for(const Position& position, size_t pattern) const {
  std::vector<size_t> others;
  const Thread* end = at_end(position, pattern);
  for (size_t i = 0; i < patterns_.size(); ++i) {
    const Thread* thread = wanting_more(position, i, /*has_expired=*/false);
    if (end != nullptr && i != pattern && thread != nullptr && thread->rank <= end->rank) {
      others.push_back(i);
    }
  }
  return others;
}

}  // namespace dialplan
