// At the time-out, the tool, phoned and a simple model give the same answer for every plan.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <random>
#include <string>

#include "models/digitmap_model.h"
#include "phoned/core/dial_plan.h"
#include "phoned/core/text.h"
#include "userlib-digitmap/answers.h"

namespace digitmap_tool {
namespace {

using support::DigitMapModel;

// The pattern that decides, or nothing.
std::string told_by_tool(const Plan& plan, const std::string& digits) {
  const Answer answer = ask(plan, Mode::kBest, digits, Timer::kExpired);
  EXPECT_NE(answer.result, Result::kUndecided);
  return answer.pattern;
}

// Nothing if phoned refuses it.
std::optional<phoned::DialPlan> phoneds_plan(const std::string& text) {
  try {
    return phoned::DialPlan(text);
  } catch (const phoned::Error&) {
    return std::nullopt;
  }
}

std::string told_by_phoned(const phoned::DialPlan& plan, const std::string& digits) {
  const phoned::Verdict verdict = plan.check_at_timeout(digits);
  EXPECT_NE(verdict.kind, phoned::Verdict::Kind::kMore);
  return verdict.pattern;
}

// Only patterns that the digits complete take part.
std::string told_by_model(const Plan& plan, const std::string& digits) {
  DigitMapModel complete;
  for (const std::string& pattern : plan.patterns()) {
    DigitMapModel alone;
    alone.add_map(pattern);
    if (alone.check(0, digits, 1, nullptr, 0) == 1) {
      complete.add_map(pattern);
    }
  }
  std::array<char, 64> pattern = {};
  return complete.check(1, digits, 1, pattern.data(), pattern.size()) == 1 ? pattern.data() : "";
}

std::string random_text(std::mt19937& random, const std::string& alphabet, size_t shortest, size_t longest) {
  std::string text(shortest + random() % (longest - shortest + 1), ' ');
  for (char& c : text) {
    c = alphabet[random() % alphabet.size()];
  }
  return text;
}

TEST(DigitmapTimeOut, LetsNothingWaitThatIsComplete) {
  const Plan plan("(0T|00T|[1-7]xxx|8xxxxxxx|#xxxxxxx|*xx|91xxxxxxxxxx|9011x.T)", Plan::Source::kArgument);
  EXPECT_EQ(told_by_tool(plan, "0"), "0T");
  EXPECT_EQ(told_by_tool(plan, "00"), "00T");
  EXPECT_EQ(told_by_tool(plan, "12"), "");
  EXPECT_EQ(told_by_tool(plan, "901144"), "9011x.T");
  EXPECT_EQ(ask(plan, Mode::kFirst, "0", Timer::kExpired).pattern, "0T");
}

TEST(DigitmapTimeOut, IsTheSameForToolAndPhoned) {
  std::mt19937 random(4);
  size_t complete = 0;
  size_t rejected = 0;
  for (int i = 0; i < 3000; ++i) {
    std::string text = random_text(random, "01x", 1, 2);
    for (uint64_t more = random() % 6; more > 0; --more) {
      text += random_text(random, "01x..TT[|", 0, 3) + "|" + random_text(random, "01x.T", 0, 4) + "T";
    }
    SCOPED_TRACE(text);
    const Plan plan(text, Plan::Source::kFile);
    const auto phoned_plan = phoneds_plan(text);
    ASSERT_EQ(plan.problems().empty(), phoned_plan.has_value());
    if (!phoned_plan) {
      continue;
    }
    for (int k = 0; k < 8; ++k) {
      const std::string digits = random_text(random, "0012", 1, 5);
      SCOPED_TRACE(digits);
      const std::string expected = told_by_model(plan, digits);
      EXPECT_EQ(told_by_tool(plan, digits), expected);
      EXPECT_EQ(told_by_phoned(*phoned_plan, digits), expected);
      ++(expected.empty() ? rejected : complete);
    }
  }
  EXPECT_GT(complete, 1000U);
  EXPECT_GT(rejected, 1000U);
}

}  // namespace
}  // namespace digitmap_tool
