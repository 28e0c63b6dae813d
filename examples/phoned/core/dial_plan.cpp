#include "phoned/core/dial_plan.h"

#include "dialplan/plan.h"
#include "dialplan/warnings.h"
#include "phoned/core/text.h"

namespace phoned {

namespace {

using userlib::DigitMap;

// The time of a check is proportional to the plan, and a pattern has to fit into an answer.
constexpr size_t kMaxPlan = 4096;
constexpr size_t kMaxPattern = 100;

Verdict verdict_of(DigitMap::Result result, const char* pattern) {
  if (result == DigitMap::Result::kComplete) {
    return {Verdict::Kind::kComplete, pattern};
  }
  return {result == DigitMap::Result::kUndecided ? Verdict::Kind::kMore : Verdict::Kind::kReject};
}

}  // namespace

DialPlan::DialPlan(std::string_view text) : text_(text) {
  if (text.size() > kMaxPlan) {
    throw Error("the plan is too long: at most " + std::to_string(kMaxPlan) + " characters are read");
  }
  while (!text.empty()) {
    std::string pattern(take_until(text, "|\n"));
    std::erase_if(pattern, [](char c) { return std::string_view(" \t\r()").find(c) != std::string_view::npos; });
    if (!pattern.empty()) {
      add(std::move(pattern));
    }
  }
  if (patterns_.empty()) {
    throw Error("the plan holds no pattern: must be one or more, such as '110|0x.T'");
  }
}

void DialPlan::add(std::string pattern) {
  if (pattern.size() > kMaxPattern) {
    throw Error("pattern " + quote(pattern) + " is too long: at most " + std::to_string(kMaxPattern) +
                " characters are read");
  }
  const bool is_text = pattern.find('\0') == pattern.npos;
  if (!is_text || !map_.add(pattern.c_str())) {
    throw Error("pattern " + quote(pattern) +
                " is not valid: must be made of 0-9 A-D # * x [135] [2-5], '.' behind any of them, and T");
  }
  patterns_.push_back(std::move(pattern));
}

DialPlan DialPlan::read(const std::string& path) {
  const std::string name = "map file " + quote_path(path);
  std::string text;
  try {
    text = read_file(path, kMaxPlan);
  } catch (const Error& error) {
    throw Error(name + " cannot be read: " + error.what());
  }
  try {
    return DialPlan(text);
  } catch (const Error& error) {
    throw Error(name + ": " + error.what());
  }
}

std::vector<std::string> DialPlan::warnings() const {
  constexpr size_t kMaxWalk = 1000;  // lines must not wait for this
  constexpr size_t kMost = 10;
  const dialplan::Plan plan(text_, dialplan::Plan::Source::kFile);
  std::vector<std::string> lines;
  for (const auto& warning : dialplan::find_warnings(plan, DigitMap::Mode::kBest, kMaxWalk).found) {
    lines.push_back(plan.locate(warning));
  }
  if (lines.size() > kMost) {
    const std::string rest = std::to_string(lines.size() - kMost);
    lines.resize(kMost);
    lines.push_back(rest + " warnings more; userlib-digitmap --check tells all");
  }
  return lines;
}

Verdict DialPlan::check(const std::string& digits) const {
  char pattern[kMaxPattern + 1];
  return verdict_of(
      map_.check(DigitMap::Mode::kBest, digits.c_str(), DigitMap::Timer::kRunning, pattern, sizeof pattern), pattern);
}

Verdict DialPlan::check_at_timeout(const std::string& digits) const {
  char pattern[kMaxPattern + 1];
  return verdict_of(map_.check_at_timeout(DigitMap::Mode::kBest, digits.c_str(), pattern, sizeof pattern), pattern);
}

}  // namespace phoned
