#include "phoned/dial_plan.h"

#include <algorithm>
#include <array>

#include "phoned/file.h"
#include "phoned/text.h"

namespace phoned {

namespace {

// A check takes time in proportion to the plan, and an answer must find room for a pattern.
constexpr size_t kMaxPlan = 4096;
constexpr size_t kMaxPattern = 100;

constexpr uint32_t kStillDialling = 0;
constexpr uint32_t kTimeIsUp = 1;

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

int32_t OwnedMap::check(int32_t mode, const std::string& digits, uint32_t timer, std::string& pattern) const {
  std::array<char, kMaxPattern + 1> text = {};
  const int32_t result =
      NUV_DigitMap_checkDialString(&map_, mode, digits.c_str(), timer, text.data(), static_cast<uint32_t>(text.size()));
  // The map notes candidates on its way, also when it comes to no result.
  if (result == NUV_DIGITMAP_COMPLETE) {
    pattern = text.data();
  }
  return result;
}

Result<DialPlan> DialPlan::parse(std::string_view text) {
  if (text.size() > kMaxPlan) {
    return Error{"the plan is too long: at most " + std::to_string(kMaxPlan) + " characters are read"};
  }
  DialPlan plan;
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

Verdict DialPlan::check(const std::string& digits) const {
  std::string pattern;
  switch (map_.check(NUV_DIGITMAP_BEST_MATCH, digits, kStillDialling, pattern)) {
    case NUV_DIGITMAP_COMPLETE:
      return {Verdict::Kind::kComplete, pattern};
    case NUV_DIGITMAP_UNDECIDED:
      return {Verdict::Kind::kMore, {}};
    default:
      return {Verdict::Kind::kReject, {}};
  }
}

Verdict DialPlan::check_at_timeout(const std::string& digits) const {
  // Asked as a whole, the map would still wait for patterns that need more digits, which nobody will dial. So those
  // that are complete now compete among themselves.
  OwnedMap complete;
  std::string text;
  for (const std::string& pattern : patterns_) {
    OwnedMap alone;
    alone.add(pattern);
    if (alone.check(NUV_DIGITMAP_FIRST_MATCH, digits, kTimeIsUp, text) == NUV_DIGITMAP_COMPLETE) {
      complete.add(pattern);
    }
  }
  if (complete.check(NUV_DIGITMAP_BEST_MATCH, digits, kTimeIsUp, text) == NUV_DIGITMAP_COMPLETE) {
    return {Verdict::Kind::kComplete, text};
  }
  return {Verdict::Kind::kReject, {}};
}

bool DialPlan::add(std::string pattern) {
  const bool is_text = pattern.find('\0') == std::string::npos;
  if (!is_text || !map_.add(pattern)) {
    return false;
  }
  patterns_.push_back(std::move(pattern));
  return true;
}

}  // namespace phoned
