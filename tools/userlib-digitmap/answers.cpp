#include "userlib-digitmap/answers.h"

#include <algorithm>
#include <array>
#include <utility>

namespace digitmap_tool {

namespace {

// All columns of the table but the last, whose width does not matter.
constexpr size_t kColumns = 5;
using Row = std::array<std::string, kColumns + 1>;

std::string in_words(const Answer& answer) {
  switch (answer.result) {
    case Result::kComplete:
      return "complete " + answer.pattern;
    case Result::kUndecided:
      return "undecided";
    case Result::kNoMatch:
      break;
  }
  return "no match";
}

std::string alive(const Plan& plan, const Patterns& patterns, const std::string& digits) {
  std::string words;
  for (size_t i = 0; i < plan.patterns().size(); ++i) {
    const State state = patterns.state(i, digits);
    if (state == State::kDead) {
      continue;
    }
    words += (words.empty() ? "" : ", ") + plan.patterns()[i];
    if (state == State::kComplete) {
      words += " (complete)";
    } else if (state == State::kAtTimeOut) {
      words += " (at time-out)";
    }
  }
  return words.empty() ? "none" : words;
}

std::string print_rows(const std::vector<Row>& rows) {
  std::array<size_t, kColumns> widths = {};
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  std::string text;
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) {
      text += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    }
    text += row.back() + "\n";
  }
  return text;
}

}  // namespace

Answer ask(const Plan& plan, Mode mode, const std::string& digits, Timer timer) {
  // No pattern is longer than the plan.
  std::string pattern(Plan::kMaxText + 1, '\0');
  const auto size = static_cast<uint32_t>(pattern.size());
  const Result result = timer == Timer::kExpired
                            ? plan.map().check_at_timeout(mode, digits.c_str(), pattern.data(), size)
                            : plan.map().check(mode, digits.c_str(), timer, pattern.data(), size);
  // The map writes candidates to the buffer even if it finds no match.
  pattern.resize(result == Result::kComplete ? pattern.find('\0') : 0);
  return {result, std::move(pattern)};
}

Patterns::Patterns(const Plan& plan) {
  for (const std::string& pattern : plan.patterns()) {
    // A pattern that no longer fits into memory counts as dead.
    static_cast<void>(alone_.emplace_back().add(pattern.c_str()));
  }
}

State Patterns::state(size_t pattern, const std::string& digits) const {
  const Result running = alone_[pattern].check(Mode::kFirst, digits.c_str(), Timer::kRunning);
  const Result expired = alone_[pattern].check(Mode::kFirst, digits.c_str(), Timer::kExpired);
  if (running == Result::kComplete) {
    return State::kComplete;
  }
  if (expired == Result::kComplete) {
    return State::kAtTimeOut;
  }
  const bool is_dead = running == Result::kNoMatch && expired == Result::kNoMatch;
  return is_dead ? State::kDead : State::kWantsMore;
}

std::string tabulate(const Plan& plan, const std::string& digits) {
  const Patterns patterns(plan);
  std::vector<Row> rows = {{"dialled", "first match", "at time-out", "best match", "at time-out", "alive"}};
  // The row for no digits appears only if that is what was asked for.
  for (size_t length = digits.empty() ? 0 : 1; length <= digits.size(); ++length) {
    const std::string dialled = digits.substr(0, length);
    rows.push_back({dialled.empty() ? "nothing" : dialled, in_words(ask(plan, Mode::kFirst, dialled, Timer::kRunning)),
                    in_words(ask(plan, Mode::kFirst, dialled, Timer::kExpired)),
                    in_words(ask(plan, Mode::kBest, dialled, Timer::kRunning)),
                    in_words(ask(plan, Mode::kBest, dialled, Timer::kExpired)), alive(plan, patterns, dialled)});
  }
  return print_rows(rows);
}

std::string list(const Plan& plan) {
  std::string text;
  size_t width = 0;
  for (const std::string& pattern : plan.patterns()) {
    width = std::max(width, pattern.size());
  }
  const std::string last_number = std::to_string(plan.patterns().size());
  size_t number = 0;
  for (const NUV_DigitMapPattern* pattern = plan.map().record(); pattern != nullptr; pattern = pattern->m_pNext) {
    const std::string shown = std::to_string(++number);
    const std::string written = pattern->m_pText;
    text.append(last_number.size() - shown.size(), ' ').append(shown).append("  ").append(written);
    text.append(width - written.size() + 2, ' ').append(dialplan::describe_pattern(*pattern)).append("\n");
  }
  return text;
}

}  // namespace digitmap_tool
