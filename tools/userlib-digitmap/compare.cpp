#include "userlib-digitmap/compare.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "dialplan/positions.h"

namespace digitmap_tool {

namespace {

using dialplan::kAnyDialled;
using dialplan::Mode;
using dialplan::Plan;
using dialplan::Result;

// The answers for one dial string.
struct Answers {
  Result now;
  bool is_complete_late;  // after the time-out; unused once there is a result

  bool operator==(const Answers& other) const {
    return now == other.now && (now != Result::kUndecided || is_complete_late == other.is_complete_late);
  }
};

std::string in_words(const Answers& answers) {
  switch (answers.now) {
    case Result::kComplete:
      return "complete";
    case Result::kNoMatch:
      return "no match";
    case Result::kUndecided:
      break;
  }
  return answers.is_complete_late ? "complete at the time-out" : "incomplete";
}

// A published plan as a nondeterministic automaton.
class Automaton {
 public:
  using States = std::vector<size_t>;  // in ascending order

  explicit Automaton(const Node& plan) { end_ = build(plan, add({})); }

  bool is_too_large() const { return is_too_large_; }
  size_t size() const { return states_.size(); }

  States start() const { return close({0}); }

  States after(const States& states, uint32_t bit) const {
    States next;
    for (const size_t state : states) {
      if ((states_[state].mask & bit) != 0) {
        next.push_back(states_[state].next);
      }
    }
    return close(std::move(next));
  }

  Answers answer(const States& states, Form form) const {
    uint32_t mask = 0;
    for (const size_t state : states) {
      mask |= states_[state].mask;
    }
    const bool fits = std::binary_search(states.begin(), states.end(), end_);
    const bool wants_more = (mask & kAnyDialled) != 0;
    const bool waits = form == Form::kH248 && wants_more;
    if ((mask & kAtOnce) != 0 || (fits && !waits)) {
      return {Result::kComplete, false};
    }
    const bool is_complete_late = fits || (mask & kTimer) != 0;
    return {wants_more || is_complete_late ? Result::kUndecided : Result::kNoMatch, is_complete_late};
  }

  std::vector<uint32_t> masks() const {
    std::vector<uint32_t> masks;
    for (const State& state : states_) {
      masks.push_back(state.mask);
    }
    return masks;
  }

 private:
  static constexpr size_t kMostStates = 50000;

  struct State {
    uint32_t mask = 0;  // of the symbols that lead to the next state
    size_t next = 0;
    std::vector<size_t> free;  // states that it leads to without a symbol
  };

  size_t add(State state) {
    is_too_large_ = is_too_large_ || states_.size() == kMostStates;
    states_.push_back(std::move(state));
    return states_.size() - 1;
  }

  // Adds the states of a node after a state. Returns the state in which it ends.
  size_t build(const Node& node, size_t from) {
    size_t at = add({});
    states_[from].free.push_back(at);
    if (is_too_large_) {
      return at;
    }
    switch (node.kind) {
      case Node::Kind::kSymbol: {
        const size_t end = add({});
        states_[at].mask = node.mask;
        states_[at].next = end;
        return end;
      }
      case Node::Kind::kSequence:
        for (const Node& part : node.parts) {
          at = build(part, at);
        }
        return at;
      case Node::Kind::kChoice: {
        const size_t end = add({});
        for (const Node& part : node.parts) {
          states_[build(part, at)].free.push_back(end);
        }
        return end;
      }
      case Node::Kind::kRepeat:
        break;
    }
    return build_repeat(node, at);
  }

  size_t build_repeat(const Node& node, size_t at) {
    const Node& once = node.parts.front();
    for (size_t i = 0; i < node.least && !is_too_large_; ++i) {
      at = build(once, at);
    }
    const size_t end = add({});
    states_[at].free.push_back(end);
    if (node.most == kUnlimited) {
      states_[build(once, end)].free.push_back(end);
      return end;
    }
    for (size_t i = node.least; i < node.most && !is_too_large_; ++i) {
      at = build(once, at);
      states_[at].free.push_back(end);
    }
    return end;
  }

  States close(States states) const {
    std::vector<bool> is_known(states_.size());
    States all;
    while (!states.empty()) {
      const size_t state = states.back();
      states.pop_back();
      if (!is_known[state]) {
        is_known[state] = true;
        all.push_back(state);
        states.insert(states.end(), states_[state].free.begin(), states_[state].free.end());
      }
    }
    std::sort(all.begin(), all.end());
    return all;
  }

  std::vector<State> states_;
  size_t end_ = 0;
  bool is_too_large_ = false;
};

Answers ask_library(const Plan& plan, Mode mode, const std::string& digits) {
  return {plan.map().check(mode, digits.c_str(), dialplan::Timer::kRunning),
          plan.map().check_at_timeout(mode, digits.c_str()) == Result::kComplete};
}

// One key of each class that neither side tells apart.
std::string find_keys(const Automaton& published, const dialplan::Positions& ours) {
  std::vector<uint32_t> masks = published.masks();
  masks.insert(masks.end(), ours.classes().begin(), ours.classes().end());
  std::string keys;
  std::set<std::vector<bool>> known = {std::vector<bool>(masks.size())};  // a key that is in no mask is left out
  for (const char key : dialplan::kDialled) {
    std::vector<bool> where(masks.size());
    std::transform(masks.begin(), masks.end(), where.begin(),
                   [bit = dialplan::bit_of(key)](uint32_t mask) { return (mask & bit) != 0; });
    if (known.insert(where).second) {
      keys += key;
    }
  }
  return keys;
}

class Dialling {
 public:
  Dialling(const Automaton& published, Form form, const Plan& ours, Mode mode)
      : published_(published),
        form_(form),
        ours_(ours),
        mode_(mode),
        positions_(ours.map(), mode),
        keys_(find_keys(published, positions_)) {}

  Comparison run(size_t length) {
    result_.length = length;
    std::vector<Line> lines = {{"", published_.start(), positions_.start()}};
    size_t steps = 0;
    for (size_t digits = 1; !lines.empty() && result_.is_same; ++digits) {
      const size_t strings = lines.size() * keys_.size();
      const size_t more_steps = strings * published_.size();
      if (!is_selecting_ && (digits > length || strings > kMostStrings || more_steps > kMostSteps)) {
        is_selecting_ = true;
        result_.length = digits - 1;
      }
      steps += more_steps;
      if (known_.size() > kMostPositions || steps > 2 * kMostSteps) {
        result_.is_whole = false;
        break;
      }
      lines = dial_one_more(lines);
    }
    return result_;
  }

 private:
  // States of the published plan to visit for one length of dial strings.
  static constexpr size_t kMostSteps = 500'000'000;

  // The digits dialled so far, and where they lead on both sides.
  struct Line {
    std::string digits;
    Automaton::States states;
    dialplan::Position position;
  };

  std::vector<Line> dial_one_more(const std::vector<Line>& lines) {
    std::vector<Line> next;
    for (const Line& line : lines) {
      for (const char key : keys_) {
        const uint32_t bit = dialplan::bit_of(key);
        Line longer = {line.digits + key, published_.after(line.states, bit), positions_.after(line.position, bit)};
        if (is_selecting_ && !known_.insert({longer.states, longer.position}).second) {
          continue;
        }
        if (look_at(longer)) {
          next.push_back(std::move(longer));
        }
        if (!result_.is_same) {
          return {};
        }
      }
    }
    return next;
  }

  // Returns whether dialling continues.
  bool look_at(const Line& line) {
    ++(is_selecting_ ? result_.positions : result_.strings);
    const Answers theirs = published_.answer(line.states, form_);
    const Answers library = ask_library(ours_, mode_, line.digits);
    if (!(theirs == library)) {
      result_.is_same = false;
      result_.difference =
          "after " + line.digits + " the published plan is " + in_words(theirs) + ", ours is " + in_words(library);
    }
    return theirs.now == Result::kUndecided;
  }

  const Automaton& published_;
  Form form_;
  const Plan& ours_;
  Mode mode_;
  dialplan::Positions positions_;
  std::string keys_;
  bool is_selecting_ = false;
  std::set<std::pair<Automaton::States, dialplan::Position>> known_;
  Comparison result_;
};

}  // namespace

Comparison compare(const Node& published, Form form, const Plan& ours, Mode mode, size_t length) {
  const Automaton automaton(published);
  if (automaton.is_too_large()) {
    Comparison none;
    none.is_same = false;
    none.difference = "the published plan is too large to be compared";
    return none;
  }
  return Dialling(automaton, form, ours, mode).run(length);
}

}  // namespace digitmap_tool
