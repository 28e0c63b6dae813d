#include "phoned/core/dial_plan.h"

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

DialPlan::DialPlan(std::string_view text) : plan_(std::string(text), dialplan::Plan::Source::kFile) {
  if (text.size() > kMaxPlan) {
    throw Error("the plan is too long: at most " + std::to_string(kMaxPlan) + " characters are read");
  }
  if (!plan_.problems().empty()) {
    throw Error(plan_.locate(plan_.problems().front()));
  }
  if (patterns().empty()) {
    throw Error("the plan holds no pattern: must be one or more, such as '110|0x.T'");
  }
  for (const std::string& pattern : patterns()) {
    if (pattern.size() > kMaxPattern) {
      throw Error("pattern " + quote(pattern) + " is too long: at most " + std::to_string(kMaxPattern) +
                  " characters are read");
    }
  }
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
  std::vector<std::string> lines;
  for (const auto& warning : dialplan::find_warnings(plan_, DigitMap::Mode::kBest, kMaxWalk).found) {
    lines.push_back(plan_.locate(warning));
  }
  if (lines.size() > kMost) {
    const std::string rest = std::to_string(lines.size() - kMost);
    lines.resize(kMost);
    lines.push_back(rest + " more warnings; userlib-digitmap --check shows all of them");
  }
  return lines;
}

Verdict DialPlan::check(const std::string& digits) const {
  char pattern[kMaxPattern + 1];
  return verdict_of(
      plan_.map().check(DigitMap::Mode::kBest, digits.c_str(), DigitMap::Timer::kRunning, pattern, sizeof pattern),
      pattern);
}

Verdict DialPlan::check_at_timeout(const std::string& digits) const {
  char pattern[kMaxPattern + 1];
  return verdict_of(plan_.map().check_at_timeout(DigitMap::Mode::kBest, digits.c_str(), pattern, sizeof pattern),
                    pattern);
}

}  // namespace phoned
