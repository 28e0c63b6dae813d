#include "dialplan/plan.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "userlib-digitmap/answers.h"

namespace digitmap_tool {

using namespace dialplan;  // NOLINT: what is tested here
namespace {

using Texts = std::vector<std::string>;

std::vector<std::string> patterns_of(const DigitMap& map) {
  std::vector<std::string> texts;
  for (const NUV_DigitMapPattern* pattern = map; pattern != nullptr; pattern = pattern->m_pNext) {
    texts.emplace_back(pattern->m_pText);
  }
  return texts;
}

std::string random_text(std::mt19937& random, const std::string& alphabet, size_t longest) {
  std::string text(random() % (longest + 1), ' ');
  for (char& c : text) {
    c = alphabet[random() % alphabet.size()];
  }
  return text;
}

TEST(DigitmapToolPlan, TakesWhatTheLibraryTakes) {
  std::mt19937 random(1);
  size_t good = 0;
  size_t bad = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = random_text(random, "0129ABD#*xX..TT[[]]-||  ()ta\tE\n", 10);
    SCOPED_TRACE(text);
    DigitMap map = nullptr;
    NUV_DigitMap_construct(&map);
    const bool is_good = NUV_DigitMap_setMap(&map, text.c_str()) == 1;
    const Plan plan(text, Plan::Source::kArgument);
    EXPECT_EQ(plan.problems().empty(), is_good);
    if (is_good) {
      EXPECT_EQ(plan.patterns(), patterns_of(map));
      EXPECT_EQ(patterns_of(plan.map().record()), patterns_of(map));
    }
    NUV_DigitMap_destruct(&map);
    ++(is_good ? good : bad);
  }
  EXPECT_GT(good, 1000U);
  EXPECT_GT(bad, 1000U);
}

// Each reported place is in its pattern, and is the first that no continuation could repair.
TEST(DigitmapToolPlan, FindsTheFirstWrongCharacter) {
  std::mt19937 random(2);
  size_t looked_at = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = random_text(random, "019A*x.T[[]]-ta E", 8);
    SCOPED_TRACE(text);
    const Plan plan(text, Plan::Source::kArgument);
    if (plan.problems().empty()) {
      continue;
    }
    ++looked_at;
    ASSERT_EQ(plan.problems().size(), 1U);
    const Problem& problem = plan.problems().front();
    ASSERT_LT(problem.at, text.size());
    EXPECT_EQ(problem.why.find("memory"), std::string::npos);
    const std::string before = text.substr(0, problem.at);
    // The text before it can be continued to a pattern; with it, only an unclosed bracket can.
    const bool is_good_before = Plan(before, Plan::Source::kArgument).problems().empty() ||
                                Plan(before + "]", Plan::Source::kArgument).problems().empty();
    EXPECT_TRUE(is_good_before);
    const std::string with = text.substr(0, problem.at + 1);
    EXPECT_FALSE(Plan(with, Plan::Source::kArgument).problems().empty());
    if (text[problem.at] != '[' || problem.why.find("not closed") == std::string::npos) {
      EXPECT_FALSE(Plan(with + "]", Plan::Source::kArgument).problems().empty());
    }
  }
  EXPECT_GT(looked_at, 1000U);
}

TEST(DigitmapToolPlan, SaysWhatIsWrongAndWhatWouldBeRight) {
  const struct {
    const char* name;
    std::string text;
    Plan::Source source;
    std::string description;
  } kCases[] = {
      {"small timer", "110|0x.t", Plan::Source::kArgument,
       "pattern 2, position 8: 't' is not the timer: must be 'T'\n  110|0x.t\n         ^\n"},
      {"small letter", "1d", Plan::Source::kArgument,
       "pattern 1, position 2: 'd' cannot be dialled: must be 'D'\n  1d\n   ^\n"},
      {"blanks and parentheses count in the position", "( 1 e )", Plan::Source::kArgument,
       "pattern 1, position 5: 'e' means nothing in a pattern: must be one of 0-9 A-D # * x [135] [2-5] . T\n"
       "  ( 1 e )\n      ^\n"},
      {"nothing to repeat", "1|.", Plan::Source::kArgument,
       "pattern 2, position 3: '.' repeats the symbol before it, and there is none: must follow one\n"
       "  1|.\n    ^\n"},
      {"the timer cannot be repeated alone", "T.", Plan::Source::kArgument,
       "pattern 1, position 2: '.' repeats the symbol before it, and there is none: must follow one\n"
       "  T.\n   ^\n"},
      {"open bracket", "[12|3", Plan::Source::kArgument,
       "pattern 1, position 1: '[' is not closed: must have a ']' after its symbols, in the same pattern\n"
       "  [12|3\n  ^\n"},
      {"wildcard in brackets", "[1x]", Plan::Source::kArgument,
       "pattern 1, position 3: 'x' is not allowed in brackets: must be one of 0-9 A-D # * or '-', or ']' before it\n"
       "  [1x]\n    ^\n"},
      {"closed twice", "[1]]", Plan::Source::kArgument,
       "pattern 1, position 4: ']' has no '[' before it: must close one, as in [135]\n  [1]]\n     ^\n"},
      {"range without brackets", "1-2", Plan::Source::kArgument,
       "pattern 1, position 2: '-' is outside brackets: a range must be written as [2-5]\n  1-2\n   ^\n"},
      {"comma", "1,2", Plan::Source::kArgument,
       "pattern 1, position 2: ',' does not separate patterns: must be '|'\n  1,2\n   ^\n"},
      {"line end in an argument", "1\n2", Plan::Source::kArgument,
       "pattern 1, position 2: byte 0x0a does not separate patterns in an argument: must be '|', or the plan must come "
       "from a file\n  1?2\n   ^\n"},
      {"tab in an argument", "1\t2", Plan::Source::kArgument,
       "pattern 1, position 2: byte 0x09 is not a blank in an argument: must be ' '\n  1 2\n   ^\n"},
      {"null character", std::string("1\0002", 3), Plan::Source::kFile,
       "pattern 1, line 1, position 2: byte 0x00 means nothing in a pattern: must be one of 0-9 A-D # * x [135] "
       "[2-5] . T\n  1?2\n   ^\n"},
      {"later line of a file", "1\r\n\n\t2|3é\n4", Plan::Source::kFile,
       "pattern 3, line 3, position 5: byte 0xc3 means nothing in a pattern: must be one of 0-9 A-D # * x [135] "
       "[2-5] . T\n   2|3??\n      ^\n"},
      {"first character of a line", "1\na", Plan::Source::kFile,
       "pattern 2, line 2, position 1: 'a' cannot be dialled: must be 'A'\n  a\n  ^\n"},
      {"a long line is cut on both sides", std::string(60, '1') + "a" + std::string(60, '2'), Plan::Source::kArgument,
       "pattern 1, position 61: 'a' cannot be dialled: must be 'A'\n  " + std::string(50, '1') + "a" +
           std::string(21, '2') + "\n  " + std::string(50, ' ') + "^\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Plan plan(c.text, c.source);
    EXPECT_EQ(plan.problems().size(), 1U);
    if (!plan.problems().empty()) {
      EXPECT_EQ(plan.describe(plan.problems().front()), c.description);
    }
  }
}

TEST(DigitmapToolPlan, HasAProblemForEachBadPattern) {
  const Plan plan("a|110||E|0x.T|[", Plan::Source::kArgument);
  ASSERT_EQ(plan.problems().size(), 3U);
  EXPECT_EQ(plan.problems()[0].pattern, 1U);
  EXPECT_EQ(plan.problems()[1].pattern, 3U);
  EXPECT_EQ(plan.problems()[2].pattern, 5U);
  EXPECT_EQ(plan.problems()[2].at, 14U);
  EXPECT_EQ(plan.patterns(), Texts({"110", "0x.T"}));
}

TEST(DigitmapToolPlan, TakesLineEndsOfAFileForBars) {
  const Plan plan("110\r\n( 0x.T\t)|\n\n1 1\n", Plan::Source::kFile);
  EXPECT_TRUE(plan.problems().empty());
  EXPECT_EQ(plan.patterns(), Texts({"110", "0x.T", "11"}));
}

TEST(DigitmapToolPlan, NamesSymbols) {
  const struct {
    uint32_t mask;
    const char* words;
  } kCases[] = {
      {0, "nothing"},          {kRepeat, "nothing"}, {1, "0"},          {0x3, "0 1"},    {0x7, "0-2"},
      {0x3FF, "0-9"},          {0x7FF, "0-9 A"},     {0x3C00, "A-D"},   {0xC000, "# *"}, {0xFFFF, "0-9 A-D # *"},
      {0x3C | 0x200, "2-5 9"}, {0xE00, "9 A B"},     {0x13FF, "0-9 C"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(describe_symbol(c.mask), c.words) << c.mask;
  }
}

TEST(DigitmapToolPlan, TellsInWordsWhatPatternsAskFor) {
  const Plan plan("110|0x.T|[1-9]xxx|*2[5-2]|T|1111xx.T", Plan::Source::kArgument);
  EXPECT_EQ(list(plan),
            "1  110       110\n"
            "2  0x.T      0, any number of 0-9; at time-out\n"
            "3  [1-9]xxx  one of 1-9, 3 of 0-9\n"
            "4  *2[5-2]   *2, one of nothing\n"
            "5  T         no digit; at time-out\n"
            "6  1111xx.T  1111, one of 0-9, any number of 0-9; at time-out\n");
}

TEST(DigitmapToolAnswers, TellWhichPatternsAreAlive) {
  const Plan plan("11T|110|1xx|1.|2", Plan::Source::kArgument);
  const Patterns patterns(plan);
  const struct {
    size_t pattern;
    const char* digits;
    State state;
  } kCases[] = {
      {0, "1", State::kWantsMore},  {0, "11", State::kAtTimeOut}, {0, "110", State::kDead},
      {1, "11", State::kWantsMore}, {1, "110", State::kComplete}, {2, "", State::kWantsMore},
      {2, "119", State::kComplete}, {3, "", State::kComplete},    {3, "111", State::kComplete},
      {3, "112", State::kDead},     {4, "2", State::kComplete},   {4, "1", State::kDead},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(patterns.state(c.pattern, c.digits), c.state) << c.pattern << " " << c.digits;
  }
}

TEST(DigitmapToolAnswers, NameThePatternOfACompleteNumberOnly) {
  const Plan plan("11|11x", Plan::Source::kArgument);
  const Answer undecided = ask(plan, Mode::kBest, "11", Timer::kRunning);
  EXPECT_EQ(undecided.result, Result::kUndecided);
  EXPECT_EQ(undecided.pattern, "");
  const Answer complete = ask(plan, Mode::kBest, "112", Timer::kRunning);
  EXPECT_EQ(complete.result, Result::kComplete);
  EXPECT_EQ(complete.pattern, "11x");
}

TEST(DigitmapToolAnswers, HoldPatternsAsLongAsAPlan) {
  const std::string longest(Plan::kMaxText - 1, '.');
  const Plan plan("1" + longest, Plan::Source::kArgument);
  EXPECT_EQ(ask(plan, Mode::kFirst, "1", Timer::kRunning).pattern, "1" + longest);
}

}  // namespace
}  // namespace digitmap_tool
