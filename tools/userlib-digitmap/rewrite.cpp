#include "userlib-digitmap/rewrite.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "dialplan/plan.h"

namespace digitmap_tool {

namespace {

using dialplan::kAnyDialled;
using dialplan::kRepeat;

constexpr size_t kLongestPattern = 100;

// One pattern: masks of keys, of which some may repeat.
struct Pattern {
  std::vector<uint32_t> symbols;
  uint32_t end = 0;  // kTimer, kAtOnce, or 0 if unspecified

  bool operator==(const Pattern&) const = default;
};

using Patterns = std::vector<Pattern>;

// Multiplies a plan out, up to the first part that has no equivalent.
class Expansion {
 public:
  Patterns expand(const Node& node) {
    if (!why_.empty()) {
      return {};
    }
    switch (node.kind) {
      case Node::Kind::kSymbol:
        return expand_symbol(node.mask);
      case Node::Kind::kSequence: {
        Patterns all = {Pattern{}};
        for (const Node& part : node.parts) {
          all = join(all, expand(part));
        }
        return all;
      }
      case Node::Kind::kChoice: {
        Patterns all;
        for (const Node& part : node.parts) {
          append(all, expand(part));
        }
        return all;
      }
      case Node::Kind::kRepeat:
        return expand_repeat(node);
    }
    return {};
  }

  const std::string& why() const { return why_; }

 private:
  // A timer in brackets is one more alternative.
  static Patterns expand_symbol(uint32_t mask) {
    Patterns all;
    if ((mask & kAnyDialled) != 0) {
      all.push_back({{mask & kAnyDialled}});
    }
    for (const uint32_t end : {kTimer, kAtOnce}) {
      if ((mask & end) != 0) {
        all.push_back({{}, end});
      }
    }
    return all;
  }

  Patterns expand_repeat(const Node& node) {
    const Patterns once = expand(node.parts.front());
    Patterns all = {Pattern{}};
    for (size_t i = 0; i < node.least; ++i) {
      all = join(all, once);
    }
    if (node.most == kUnlimited) {
      return join(all, {{{any_number_of(once)}}});
    }
    Patterns longer = all;
    for (size_t i = node.least; i < node.most; ++i) {
      longer = join(longer, once);
      append(all, longer);
    }
    return all;
  }

  // Only single symbols can be repeated without a limit.
  uint32_t any_number_of(const Patterns& once) {
    uint32_t mask = 0;
    for (const Pattern& each : once) {
      if (each.symbols.size() != 1 || (each.symbols[0] & kRepeat) != 0 || each.end != 0) {
        refuse("a group of several symbols is repeated without a limit: must be a single symbol");
        return kRepeat;
      }
      mask |= each.symbols[0];
    }
    return mask | kRepeat;
  }

  Patterns join(const Patterns& heads, const Patterns& tails) {
    Patterns all;
    for (const Pattern& head : heads) {
      for (const Pattern& tail : tails) {
        const bool goes_on = !tail.symbols.empty() || (tail.end != 0 && tail.end != head.end);
        if (head.end != 0 && goes_on) {
          refuse("a timer is in the middle of a pattern: must be at its end");
          return {};
        }
        if (head.symbols.size() + tail.symbols.size() > kLongestPattern) {
          refuse("a pattern has more than " + std::to_string(kLongestPattern) + " symbols");
          return {};
        }
        Pattern both = head;
        both.symbols.insert(both.symbols.end(), tail.symbols.begin(), tail.symbols.end());
        both.end |= tail.end;
        append(all, {std::move(both)});
      }
    }
    return all;
  }

  void append(Patterns& all, const Patterns& more) {
    for (const Pattern& each : more) {
      if (std::find(all.begin(), all.end(), each) == all.end()) {
        all.push_back(each);
      }
    }
    if (all.size() > kMostPatterns) {
      refuse("written out, it has more than " + std::to_string(kMostPatterns) + " patterns");
      all.clear();
    }
  }

  void refuse(const std::string& why) {
    if (why_.empty()) {
      why_ = why;
    }
  }

  std::string why_;
};

// ---- complete numbers that could be longer ----

bool repeats(uint32_t symbol) {
  return (symbol & kRepeat) != 0;
}

bool can_repeat(const Pattern& pattern) {
  return std::any_of(pattern.symbols.begin(), pattern.symbols.end(), repeats);
}

// Collects the beginnings of a pattern, of a given length, that more digits can follow.
void collect_beginnings(const Pattern& pattern, size_t at, size_t length, std::vector<uint32_t>& begun,
                        Patterns& beginnings) {
  if (at == pattern.symbols.size() || beginnings.size() > kMostPatterns) {
    return;
  }
  if (begun.size() == length) {
    beginnings.push_back({begun});
    return;
  }
  const uint32_t symbol = pattern.symbols[at];
  begun.push_back(symbol & kAnyDialled);
  collect_beginnings(pattern, repeats(symbol) ? at : at + 1, length, begun, beginnings);
  begun.pop_back();
  if (repeats(symbol)) {
    collect_beginnings(pattern, at + 1, length, begun, beginnings);
  }
}

// The numbers common to two patterns of equal length without repetitions.
std::optional<Pattern> common(const Pattern& a, const Pattern& b) {
  Pattern both = a;
  for (size_t i = 0; i < a.symbols.size(); ++i) {
    both.symbols[i] &= b.symbols[i];
    if (both.symbols[i] == 0) {
      return std::nullopt;
    }
  }
  return both;
}

// The numbers of a pattern that are not in another of equal length, which is a subset of it.
Patterns difference(Pattern whole, const Pattern& part) {
  Patterns rest;
  for (size_t i = 0; i < whole.symbols.size(); ++i) {
    Pattern other = whole;
    other.symbols[i] &= ~part.symbols[i];
    if (other.symbols[i] != 0) {
      rest.push_back(other);
    }
    whole.symbols[i] = part.symbols[i];
  }
  return rest;
}

// Whether every number of a pattern begins a longer one: its last repeated symbol also allows all symbols that follow
// it.
bool can_grow(const Pattern& pattern) {
  const auto& symbols = pattern.symbols;
  const auto last = std::find_if(symbols.rbegin(), symbols.rend(), repeats);
  return last != symbols.rend() &&
         std::all_of(symbols.rbegin(), last, [&](uint32_t symbol) { return (symbol & ~*last) == 0; });
}

// Splits a pattern into the numbers that more digits could follow, which get a timer, and the others.
Patterns part_by_length(const Pattern& pattern, const Patterns& plan) {
  if (can_grow(pattern)) {
    return {{pattern.symbols, kTimer}};
  }
  if (can_repeat(pattern)) {
    return {pattern};
  }
  Patterns parts;
  Patterns rest = {pattern};
  for (const Pattern& other : plan) {
    Patterns beginnings;
    std::vector<uint32_t> begun;
    collect_beginnings(other, 0, pattern.symbols.size(), begun, beginnings);
    for (const Pattern& beginning : beginnings) {
      Patterns left;
      for (const Pattern& each : rest) {
        const auto both = common(each, beginning);
        if (!both) {
          left.push_back(each);
          continue;
        }
        parts.push_back({both->symbols, kTimer});
        const Patterns without = difference(each, *both);
        left.insert(left.end(), without.begin(), without.end());
      }
      rest = std::move(left);
    }
  }
  parts.insert(parts.end(), rest.begin(), rest.end());
  return parts;
}

Patterns part_all(const Patterns& plan) {
  Patterns all;
  for (const Pattern& pattern : plan) {
    const Patterns parts = pattern.end == 0 ? part_by_length(pattern, plan) : Patterns{pattern};
    all.insert(all.end(), parts.begin(), parts.end());
  }
  return all;
}

// A number is complete at once, so a repetition at its end is never dialled. At least one key is dialled.
void cut_open_ends(Patterns& plan) {
  for (Pattern& pattern : plan) {
    while (pattern.end != kTimer && !pattern.symbols.empty() && repeats(pattern.symbols.back())) {
      if (pattern.symbols.size() == 1) {
        pattern.symbols[0] &= kAnyDialled;
      } else {
        pattern.symbols.pop_back();
      }
    }
  }
}

// Removes from a pattern the numbers that begin with one that is complete at once.
Patterns remove_beginning(const Pattern& pattern, const Pattern& number) {
  const size_t length = number.symbols.size();
  if (number.end == kTimer || can_repeat(number) || pattern.symbols.size() <= length) {
    return {pattern};
  }
  Pattern begun = pattern;
  for (size_t i = 0; i < length; ++i) {
    begun.symbols[i] &= number.symbols[i];
    if (begun.symbols[i] == 0 || repeats(pattern.symbols[i])) {
      return {pattern};
    }
  }
  return difference(pattern, begun);
}

Patterns remove_overlaps(const Patterns& plan) {
  Patterns all;
  for (const Pattern& pattern : plan) {
    Patterns rest = {pattern};
    for (const Pattern& number : plan) {
      Patterns left;
      for (const Pattern& each : rest) {
        const Patterns without = remove_beginning(each, number);
        left.insert(left.end(), without.begin(), without.end());
      }
      rest = std::move(left);
    }
    all.insert(all.end(), rest.begin(), rest.end());
  }
  return all;
}

std::string write(const Pattern& pattern) {
  std::string text;
  for (const uint32_t symbol : pattern.symbols) {
    text += dialplan::write_symbol(symbol & kAnyDialled) + (repeats(symbol) ? "." : "");
  }
  return text + (pattern.end == kTimer ? "T" : "");
}

}  // namespace

Rewritten rewrite(const Node& plan, Form form, Overlap overlap) {
  Expansion expansion;
  Patterns patterns = expansion.expand(plan);
  if (!expansion.why().empty()) {
    return {{}, expansion.why()};
  }
  if (form == Form::kH248) {
    patterns = part_all(patterns);
  } else {
    cut_open_ends(patterns);
  }
  if (overlap == Overlap::kRemoved) {
    patterns = remove_overlaps(patterns);
  }
  Rewritten rewritten;
  for (const Pattern& pattern : patterns) {
    const std::string text = write(pattern);
    const auto& all = rewritten.patterns;
    if (!text.empty() && std::find(all.begin(), all.end(), text) == all.end()) {
      rewritten.patterns.push_back(text);
    }
  }
  if (rewritten.patterns.empty() || rewritten.patterns.size() > kMostPatterns) {
    const std::string most = std::to_string(kMostPatterns);
    return {{},
            rewritten.patterns.empty() ? "no digits fit it" : "written out, it has more than " + most + " patterns"};
  }
  return rewritten;
}

}  // namespace digitmap_tool
