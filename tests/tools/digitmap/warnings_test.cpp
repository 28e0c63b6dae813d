#include "dialplan/warnings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace dialplan {
namespace {

// Each warning with its position in the text, counted from 1.
std::vector<std::string> warnings_of(const std::string& text, Mode mode = Mode::kBest,
                                     Plan::Source source = Plan::Source::kArgument) {
  const Plan plan(text, source);
  EXPECT_TRUE(plan.problems().empty()) << text;
  std::vector<std::string> words;
  for (const Problem& warning : find_warnings(plan, mode).found) {
    words.push_back(std::to_string(warning.at + 1) + " " + warning.why);
  }
  return words;
}

using Words = std::vector<std::string>;

TEST(DialplanWarnings, SayWhatIsMeantMostLikely) {
  const std::string bars =
      "parentheses mean nothing, and a bar in them separates whole patterns: must be written out, such as 0x|1x for "
      "(0|1)x";
  const std::string open_end =
      "'.' at the end never completes in best match, and completes at once in first match, before anything is "
      "repeated: ";
  const std::string no_group = "parentheses mean nothing, but something may be missing";
  const struct {
    const char* plan;
    Words warnings;
  } kCases[] = {
      {"[0-9*#]T",
       {"1 '[0-9*#]' is one range from its first symbol to its last, 0-9 A-D #: must be '[0123456789#*]' for 0-9 # *"}},
      {"1 [2-57]x", {"3 '[2-57]' is one range from its first symbol to its last, 2-7: must be '[23457]' for 2-5 7"}},
      {"[13-5]", {"1 '[13-5]' is one range from its first symbol to its last, 1-5: must be '[1345]' for 1 3-5"}},
      {"[2-46-8]",
       {"1 '[2-46-8]' is one range from its first symbol to its last, 2-8: must be '[234678]' for 2-4 6-8"}},
      // Ranges that are right.
      {"[1-45]1|[2-5]#|[0-34-9]A|[135]B|[0-*]C", {}},
      {"1[9-1]", {"2 '[9-1]' matches nothing: must be '[1-9]'"}},
      {"1[]|2", {"2 '[]' matches nothing: must hold symbols, such as [135]"}},
      {"[5-]1", {"1 '[5-]' matches nothing: must have two ends in order, such as [2-5]"}},
      {"[-]1", {"1 '[-]' matches nothing: must have two ends in order, such as [2-5]"}},
      {"(0|1)x", {"1 " + bars}},
      {"1(0|2)|9", {"2 " + bars}},
      {"((0|1)x|2)", {"2 " + bars}},
      // Parentheses around whole patterns are harmless.
      {"(110|0x.T)|(*xx)", {}},
      {"((110|(112)))|( 1 ) 9", {}},
      {"(110|112", {"1 '(' is not closed: " + no_group}},
      {"110)|112", {"4 ')' has no '(' before it: " + no_group}},
      {"(12).T", {"5 '.' repeats only the symbol before it, not the parentheses"}},
      {"0(x).T", {}},
      {"12T3", {"3 'T' applies to the whole pattern wherever it is: must be '123T', or two patterns"}},
      {"1Tx.T", {"2 'T' applies to the whole pattern wherever it is: must be '1x.T', or two patterns"}},
      {"12 T T", {}},
      {"0x.", {"3 " + open_end + "must be '0x.T'"}},
      {"0x . ", {"4 " + open_end + "must be '0x.T'"}},
      {"0xT.",
       {"3 'T' applies to the whole pattern wherever it is: must be '0x.T', or two patterns",
        "4 " + open_end + "must have its 'T' at the end"}},
      {"110|0x.T|*x.#", {}},
      // An argument has no lines.
      {"110 #112", {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.plan);
    EXPECT_EQ(warnings_of(c.plan), c.warnings);
  }
}

TEST(DialplanWarnings, NameWhatKeepsAPatternFromDeciding) {
  const struct {
    const char* plan;
    Words best;
    Words first;
  } kCases[] = {
      {"1|10",
       {"1 '1' never decides: it has to wait for '10', and is not complete when no more digits come: must be '1T'"},
       {"3 '10' never decides: '1' does wherever it would, or sooner"}},
      {"1xx|112", {}, {"5 '112' never decides: '1xx' does wherever it would, or sooner"}},
      {"112|1xx", {}, {}},
      {"1|1",
       {"3 '1' never decides: '1' does wherever it would, or sooner"},
       {"3 '1' never decides: '1' does wherever it would, or sooner"}},
      {"1[0-4]|1[5-9]|1x",
       {"15 '1x' never decides: '1[0-4]', '1[5-9]' do wherever it would, or sooner"},
       {"15 '1x' never decides: '1[0-4]', '1[5-9]' do wherever it would, or sooner"}},
      {"1[0-4]|1[5-8]|1x", {}, {}},
      {"xT|0T|1T|2T|3T|4T|5T|6T|7T|8T|9T",
       {"1 'xT' never decides: '0T', '1T', '2T' and 7 more do wherever it would, or sooner"},
       {"4 '0T' never decides: 'xT' does wherever it would, or sooner",
        "7 '1T' never decides: 'xT' does wherever it would, or sooner",
        "10 '2T' never decides: 'xT' does wherever it would, or sooner",
        "13 '3T' never decides: 'xT' does wherever it would, or sooner",
        "16 '4T' never decides: 'xT' does wherever it would, or sooner",
        "19 '5T' never decides: 'xT' does wherever it would, or sooner",
        "22 '6T' never decides: 'xT' does wherever it would, or sooner",
        "25 '7T' never decides: 'xT' does wherever it would, or sooner",
        "28 '8T' never decides: 'xT' does wherever it would, or sooner",
        "31 '9T' never decides: 'xT' does wherever it would, or sooner"}},
      {"x.#5",
       {"1 'x.#5' never decides: a digit that a repeated symbol does not allow ends dialling, unless it completes a "
        "pattern without 'T'"},
       {"1 'x.#5' never decides: a digit that a repeated symbol does not allow ends dialling, unless it completes a "
        "pattern without 'T'"}},
      {"x.#|[1-3].xT", {}, {}},
      {"11T|11x", {}, {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.plan);
    EXPECT_EQ(warnings_of(c.plan, Mode::kBest), c.best);
    EXPECT_EQ(warnings_of(c.plan, Mode::kFirst), c.first);
  }
}

TEST(DialplanWarnings, TakeNoKeyForAComment) {
  const auto in_file = [](const char* text) { return warnings_of(text, Mode::kBest, Plan::Source::kFile); };
  const std::string no_comment = "'#' is a key, and does not start a comment: the pattern is ";
  EXPECT_EQ(in_file("110 # 112\n0"), Words({"5 " + no_comment + "'110#112'"}));
  EXPECT_EQ(in_file("110\t#\n0"), Words({"5 " + no_comment + "'110#'"}));
  EXPECT_EQ(in_file("# 1\n0"), Words({"1 " + no_comment + "'#1'"}));
  EXPECT_EQ(in_file("*21*x.#\n#31#x.T\n110 |#5\n #6 |\t#7\n"), Words());
  const Plan plan("110\n112 # fire\n", Plan::Source::kFile);
  ASSERT_EQ(plan.problems().size(), 1U);
  EXPECT_EQ(
      plan.locate(plan.problems()[0]),
      "pattern 2, line 2, position 7: 'f' means nothing in a pattern: must be one of 0-9 A-D # * x [135] [2-5] . T; "
      "'#' is a key, and does not start a comment");
}

TEST(DialplanWarnings, SayWhereTheyStopped) {
  const Plan plan("x.1xxxxxxxxxxxT|1|10", Plan::Source::kArgument);
  EXPECT_FALSE(find_warnings(plan, Mode::kBest, 100).is_whole);
  EXPECT_TRUE(find_warnings(plan, Mode::kBest, 100).found.empty());
  EXPECT_TRUE(find_warnings(plan, Mode::kBest).is_whole);
  EXPECT_FALSE(find_warnings(plan, Mode::kBest).found.empty());
}

TEST(DialplanWarnings, TellWhatOtherNotationsMean) {
  const struct {
    const char* plan;
    const char* why;
  } kCases[] = {
      {"1S", "'S' is the short timer of other plans: must be 'T' at the end to wait, or left out to complete at once"},
      {"1L", "'L' is the long timer of other plans: must be 'T' at the end"},
      {"Z1", "'Z' means a long press in other plans: must be left out, as long presses are not reported here"},
      {"<9:>x",
       "'<' belongs to <dialled:sent>, which changes a number: must be left out, as a plan only tells when a number is "
       "complete"},
      {"1900x!", "'!' bars a number in other plans: must be left out, and so must every pattern for that number"},
      {"x+", "'+' is not a key; if it repeats the symbol before it, 'x+' must be 'xx.'"},
      {"1x?", "'?' makes the symbol before it optional in other plans: must be two patterns, 1|1x for 1x?"},
      {"x{3}", "'{' belongs to a count, or encloses other plans: 'x{3}' must be 'xxx'"},
      {"\"110\"", "'\"' is not part of a plan: must be left out, unless the shell removes it"},
      {"'110'", "''' is not part of a plan: must be left out, unless the shell removes it"},
      {"Exx", "'E' is the name of a key in other plans: must be '*'"},
      {"Fxx", "'F' is the name of a key in other plans: must be '#'"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.plan);
    const Plan plan(c.plan, Plan::Source::kArgument);
    ASSERT_EQ(plan.problems().size(), 1U);
    EXPECT_EQ(plan.problems()[0].why, c.why);
  }
}

}  // namespace
}  // namespace dialplan
