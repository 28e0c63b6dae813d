#include "phoned/core/dial_plan.h"

#include <algorithm>

#include "dialplan/plan.h"
#include "dialplan/warnings.h"
#include "phoned/core/file.h"
#include "phoned/core/text.h"

namespace phoned {

namespace {

// A check takes time in proportion to the plan, and an answer must find room for a pattern.
constexpr size_t kMaxPlan = 4096;
constexpr size_t kMaxPattern = 100;

// Warnings are for whoever has written the plan, and lines must not wait for them.
constexpr size_t kMaxWalk = 1000;
constexpr size_t kMostWarnings = 10;

using userlib::DigitMap;

// What may stand anywhere in a pattern and means nothing.
bool is_filler(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '(' || c == ')';
}

// Cuts the first pattern off the plan.
std::string next_pattern(std::string_view& plan) {
  const size_t end = std::min(plan.find_first_of("|\n"), plan.size());
  std::string pattern(plan.substr(0, end));
  plan.remove_prefix(std::min(end + 1, plan.size()));
  std::erase_if(pattern, is_filler);
  return pattern;
}

// The verdict that goes with a result of the map.
Verdict verdict_of(DigitMap::Result result, const char* pattern) {
  switch (result) {
    case DigitMap::Result::kComplete:
      return {Verdict::Kind::kComplete, pattern};
    case DigitMap::Result::kUndecided:
      return {Verdict::Kind::kMore, {}};
    case DigitMap::Result::kNoMatch:
      break;
  }
  return {Verdict::Kind::kReject, {}};
}

}  // namespace

std::string describe(const Verdict& verdict) {
  switch (verdict.kind) {
    case Verdict::Kind::kMore:
      return "more";
    case Verdict::Kind::kComplete:
      return "complete by " + verdict.pattern;
    case Verdict::Kind::kReject:
      return "reject";
  }
  return {};
}

Result<DialPlan> DialPlan::parse(std::string_view text) {
  if (text.size() > kMaxPlan) {
    return Error{"the plan is too long: at most " + std::to_string(kMaxPlan) + " characters are read"};
  }
  DialPlan plan;
  plan.text_ = text;
  while (!text.empty()) {
    const std::string pattern = next_pattern(text);
    if (pattern.size() > kMaxPattern) {
      return Error{"pattern " + quote(pattern) + " is too long: at most " + std::to_string(kMaxPattern) +
                   " characters are read"};
    }
    if (!pattern.empty() && !plan.add(pattern)) {
      return Error{"pattern " + quote(pattern) +
                   " is not valid: must be made of 0-9 A-D # * x [135] [2-5], '.' behind any of them, and T"};
    }
  }
  if (plan.size() == 0) {
    return Error{"the plan holds no pattern: must be one or more, such as '110|0x.T'"};
  }
  return plan;
}

Result<DialPlan> DialPlan::read(const std::string& path) {
  const auto in_file = [&path](const std::string& separator, const Error& error) {
    return Error{"map file " + quote_path(path) + separator + error.why};
  };
  const auto text = read_file(path, kMaxPlan);
  if (!text) {
    return in_file(" cannot be read: ", text.error());
  }
  auto plan = parse(*text);
  if (!plan) {
    return in_file(": ", plan.error());
  }
  return plan;
}

std::vector<std::string> DialPlan::warnings() const {
  const dialplan::Plan plan(text_, dialplan::Plan::Source::kFile);
  const dialplan::Warnings warnings = dialplan::find_warnings(plan, DigitMap::Mode::kBest, kMaxWalk);
  std::vector<std::string> lines;
  for (const dialplan::Problem& warning : warnings.found) {
    lines.push_back(plan.locate(warning));
  }
  if (lines.size() > kMostWarnings) {
    const std::string rest = std::to_string(lines.size() - kMostWarnings);
    lines.resize(kMostWarnings);
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

bool DialPlan::add(std::string pattern) {
  const bool is_text = pattern.find('\0') == std::string::npos;
  if (!is_text || !map_.add(pattern.c_str())) {
    return false;
  }
  patterns_.push_back(std::move(pattern));
  return true;
}

}  // namespace phoned
