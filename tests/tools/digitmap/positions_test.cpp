#include "dialplan/positions.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "dialplan/reach.h"

namespace dialplan {
namespace {

std::string random_text(std::mt19937& random, const std::string& alphabet, size_t longest) {
  std::string text(random() % (longest + 1), ' ');
  for (char& c : text) {
    c = alphabet[random() % alphabet.size()];
  }
  return text;
}

std::string random_plan(std::mt19937& random) {
  constexpr std::array kParts = {"0", "1", "2", "x", "[01]", "[0-2]", "[12].", "x.", "1.", "T", "0.", "#", "[2-1]"};
  std::string text;
  for (uint64_t patterns = 1 + random() % 5; patterns > 0; --patterns) {
    for (uint64_t parts = 1 + random() % 4; parts > 0; --parts) {
      text += kParts[random() % kParts.size()];
    }
    text += random() % 3 == 0 ? "T|" : "|";
  }
  return text;
}

Position position_of(const Positions& positions, const std::string& digits) {
  Position position = positions.start();
  for (const char digit : digits) {
    position = positions.after(position, bit_of(digit));
  }
  return position;
}

// The pattern that the library names if a number is complete.
std::string answer(const Plan& plan, Mode mode, const std::string& digits, bool is_late) {
  std::array<char, 64> pattern = {};
  const Result result = is_late
                            ? plan.map().check_at_timeout(mode, digits.c_str(), pattern.data(), pattern.size())
                            : plan.map().check(mode, digits.c_str(), Timer::kRunning, pattern.data(), pattern.size());
  return result == Result::kComplete ? pattern.data() : result == Result::kUndecided ? "undecided" : "no match";
}

std::string told(const Plan& plan, const Verdict& verdict) {
  switch (verdict.result) {
    case Result::kComplete:
      return plan.patterns()[verdict.pattern];
    case Result::kUndecided:
      return "undecided";
    case Result::kNoMatch:
      break;
  }
  return "no match";
}

TEST(DialplanPositions, KnowWhatTheLibraryAnswers) {
  std::mt19937 random(5);
  size_t complete = 0;
  for (int i = 0; i < 4000; ++i) {
    const Plan plan(random_plan(random), Plan::Source::kArgument);
    SCOPED_TRACE(plan.text());
    for (const Mode mode : {Mode::kFirst, Mode::kBest}) {
      const Positions positions(plan.map(), mode);
      for (int k = 0; k < 12; ++k) {
        const std::string digits = random_text(random, "00112#3", 5) + "1";
        SCOPED_TRACE(digits);
        const Position position = position_of(positions, digits);
        const Verdict now = positions.judge(position);
        EXPECT_EQ(told(plan, now), answer(plan, mode, digits, false));
        EXPECT_EQ(told(plan, positions.judge_at_timeout(position)), answer(plan, mode, digits, true));
        complete += now.result == Result::kComplete ? 1 : 0;
      }
    }
  }
  EXPECT_GT(complete, 5000U);
}

TEST(DialplanPositions, CountKeysAsOneThatNoPatternTellsApart) {
  const Plan plan("0x|[2-5]#", Plan::Source::kArgument);
  const Positions positions(plan.map(), Mode::kBest);
  EXPECT_EQ(positions.classes(), (std::vector<uint32_t>{0x1, 0x3C, 0x3C2 & ~0x3CU, 0x4000}));
}

// ---- patterns that never decide ----

std::set<size_t> idle_patterns(const Plan& plan, Mode mode) {
  std::set<size_t> idle;
  const auto found = find_idle_patterns(plan.map(), mode, 20000);
  EXPECT_TRUE(found);
  for (const IdlePattern& each : *found) {
    idle.insert(each.pattern);
  }
  return idle;
}

// Dials all strings up to a length until the plan decides, and removes the patterns that decide.
void strike_out(const Plan& plan, Mode mode, const std::string& digits, size_t longest, std::set<std::string>& idle) {
  for (const char key : {'0', '1', '2', '3', '#'}) {
    const std::string longer = digits + key;
    const std::string now = answer(plan, mode, longer, false);
    idle.erase(now);
    if (now == "undecided") {
      idle.erase(answer(plan, mode, longer, true));
      if (longer.size() < longest) {
        strike_out(plan, mode, longer, longest, idle);
      }
    }
  }
}

TEST(DialplanReach, FindsWhatNoDialStringBringsAbout) {
  std::mt19937 random(6);
  size_t found = 0;
  for (int i = 0; i < 400; ++i) {
    const Plan plan(random_plan(random), Plan::Source::kArgument);
    SCOPED_TRACE(plan.text());
    for (const Mode mode : {Mode::kFirst, Mode::kBest}) {
      // Of two equal patterns, the first one decides.
      std::set<std::string> expected(plan.patterns().begin(), plan.patterns().end());
      strike_out(plan, mode, "", 6, expected);
      std::set<std::string> idle;
      std::set<std::string> active;
      const auto indices = idle_patterns(plan, mode);
      for (size_t k = 0; k < plan.patterns().size(); ++k) {
        (indices.count(k) != 0 ? idle : active).insert(plan.patterns()[k]);
      }
      for (const std::string& pattern : active) {
        idle.erase(pattern);
      }
      EXPECT_EQ(idle, expected);
      found += idle.size();
    }
  }
  EXPECT_GT(found, 200U);
}

TEST(DialplanReach, GivesUpWhereThereAreTooManyPositions) {
  const Plan plan("x.1xxxxxxxxxxxT", Plan::Source::kArgument);
  EXPECT_FALSE(find_idle_patterns(plan.map(), Mode::kBest, 1000));
  EXPECT_TRUE(find_idle_patterns(plan.map(), Mode::kBest, 20000));
}

}  // namespace
}  // namespace dialplan
