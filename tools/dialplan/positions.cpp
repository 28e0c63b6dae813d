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

// Splits every class into the symbols in the mask and the others.
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

// Numbers the ranks in the order of the keys, without gaps: only their order matters.
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

// Adds a thread, preceded by those that skip repeated symbols: the library prefers few repetitions. A thread that is
// already there was preferred.
void Positions::enter(Position& position, Thread thread) const {
  size_t first = position.size();
  while (first > 0 && position[first - 1].pattern == thread.pattern) {
    --first;
  }
  const auto is_known = [&](uint32_t symbol) {
    return std::any_of(position.begin() + static_cast<ptrdiff_t>(first), position.end(),
                       [symbol](const Thread& each) { return each.symbol == symbol; });
  };
  uint32_t last = thread.symbol;
  while (!is_known(last) && is_repeated(thread.pattern, last)) {
    ++last;
  }
  for (uint32_t symbol = last + 1; symbol-- > thread.symbol;) {
    if (!is_known(symbol)) {
      position.push_back({thread.pattern, symbol, thread.rank});
    }
  }
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
    keys.assign(keys.size(), {0, 0});  // the first pattern decides
  }
  renumber(next, keys);
  return next;
}

std::vector<size_t> Positions::fitting(const Position& position) const {
  std::vector<size_t> patterns;
  for (const Thread& thread : position) {
    if (is_at_end(thread)) {
      patterns.push_back(thread.pattern);
    }
  }
  return patterns;
}

// While the timer runs, a pattern without T needs more digits if it does not fit; a pattern with T always does. A
// pattern with repeated symbols only does while its first repeated symbol can take all further digits.
std::vector<Thread> Positions::wanting_more(const Position& position) const {
  std::vector<Thread> wanting;
  for (size_t begin = 0, end = 0; begin < position.size(); begin = end) {
    const size_t pattern = position[begin].pattern;
    const Thread* keen = nullptr;
    bool fits = false;
    for (end = begin; end < position.size() && position[end].pattern == pattern; ++end) {
      fits = fits || is_at_end(position[end]);
      keen = position[end].symbol <= first_repeated_[pattern] ? &position[end] : keen;
    }
    if (keen != nullptr && (!fits || waits_for_timer(pattern))) {
      wanting.push_back(*keen);
    }
  }
  return wanting;
}

std::optional<Thread> Positions::best_complete(const Position& position, bool has_expired) const {
  std::optional<Thread> best;
  for (const Thread& thread : position) {
    const bool is_complete = is_at_end(thread) && waits_for_timer(thread.pattern) == has_expired;
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
  const auto wanting = wanting_more(position);
  const bool has_to_wait = std::any_of(wanting.begin(), wanting.end(),
                                       [&](const Thread& thread) { return !best || thread.rank <= best->rank; });
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
  const auto end = std::find_if(position.begin(), position.end(),
                                [&](const Thread& thread) { return thread.pattern == pattern && is_at_end(thread); });
  std::vector<size_t> others;
  for (const Thread& thread : wanting_more(position)) {
    if (end != position.end() && thread.pattern != pattern && thread.rank <= end->rank) {
      others.push_back(thread.pattern);
    }
  }
  return others;
}

}  // namespace dialplan
