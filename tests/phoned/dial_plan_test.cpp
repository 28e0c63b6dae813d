#include "phoned/core/dial_plan.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "attempt.h"
#include "program.h"

namespace {

using phoned::DialPlan;
using phoned::Verdict;
using support::Attempt;
using support::TemporaryFile;

// "more", "reject", or the pattern that completes the digits.
std::string text_of(const Verdict& verdict) {
  switch (verdict.kind) {
    case Verdict::Kind::kMore:
      return "more";
    case Verdict::Kind::kReject:
      return "reject";
    case Verdict::Kind::kComplete:
      return verdict.pattern;
  }
  return "?";
}

std::string why_unreadable(const std::string& path) {
  return Attempt([&path] { return DialPlan::read(path); }).why();
}

// The decisions while digits arrive, and at the time-out.
TEST(DialPlan, Decides) {
  const struct {
    const char* plan;
    const char* digits;
    const char* now;
    const char* at_timeout;
  } kCases[] = {
      {"110", "1", "more", "reject"},
      {"110", "110", "110", "reject"},
      {"110", "12", "reject", "reject"},
      {"110", "1101", "reject", "reject"},
      {"0x.T", "0", "more", "0x.T"},
      {"0x.T", "0123", "more", "0x.T"},
      {"0x.T", "1", "reject", "reject"},
      {"0xT", "0", "more", "reject"},
      {"*x#", "*3#", "*x#", "reject"},
      // The most specific pattern decides, wherever it is.
      {"1xx|112", "112", "112", "reject"},
      {"112|1xx", "112", "112", "reject"},
      {"1xx|112", "113", "1xx", "reject"},
      {"[2-9]xxx|2345", "2345", "2345", "reject"},
      // A pattern waits for a longer one that is as specific. At the time-out, a pattern without T is lost.
      {"11|11x", "11", "more", "reject"},
      {"11|11x", "113", "11x", "reject"},
      {"11T|11x", "11", "more", "11T"},
      {"11T|11x", "113", "11x", "reject"},
      // A pattern does not wait for a longer one that is less specific.
      {"11|1x.T", "11", "11", "1x.T"},
      {"110|[1-9]xxx", "110", "110", "reject"},
      // At the time-out, the most specific complete pattern decides, even if a longer one could have followed.
      {"1x.T|11T|11x", "11", "more", "11T"},
      {"11T|1x.T|11x", "11", "more", "11T"},
      {"1x.T|11T|11x", "12", "more", "1x.T"},
      {"xxT|x.T", "12", "more", "xxT"},
      {"0T|00T", "0", "more", "0T"},
      // An open end is never complete without T.
      {"0x.", "012", "more", "reject"},
      // Nothing matches a range that runs backwards.
      {"1[5-2]|13", "13", "13", "reject"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.plan) + " for " + row.digits);
    const DialPlan plan(row.plan);
    EXPECT_EQ(text_of(plan.check(row.digits)), row.now);
    EXPECT_EQ(text_of(plan.check_at_timeout(row.digits)), row.at_timeout);
  }
}

TEST(DialPlan, ReadsPatternsBetweenBarsAndLineEnds) {
  const DialPlan plan("( 110 |\t11 2 )\r\n||\n[2-9] x x x\n");
  EXPECT_EQ(plan.patterns().size(), 3U);
  EXPECT_EQ(text_of(plan.check("112")), "112");
  EXPECT_EQ(text_of(plan.check("2345")), "[2-9]xxx");
}

TEST(DialPlan, HasADefault) {
  const DialPlan plan(DialPlan::kDefault);
  EXPECT_EQ(plan.patterns().size(), 7U);
  EXPECT_EQ(text_of(plan.check("110")), "110");
  EXPECT_EQ(text_of(plan.check("123")), "1[2-9]x");
  EXPECT_EQ(text_of(plan.check("23456")), "more");
  EXPECT_EQ(text_of(plan.check_at_timeout("23456")), "[2-9]x.T");
}

TEST(DialPlan, NamesThePatternThatIsWrong) {
  const std::string rule = " means nothing in a pattern: must be one of 0-9 A-D # * x [135] [2-5] . T";
  const struct {
    std::string plan;
    std::string why;
  } kCases[] = {
      {"110|1a|112", "pattern 2, line 1, position 6: 'a' cannot be dialled: must be 'A'"},
      {"110|1[2",
       "pattern 2, line 1, position 6: '[' is not closed: must have a ']' after its symbols, in the same pattern"},
      {"(.x)", "pattern 1, line 1, position 2: '.' repeats the symbol before it, and there is none: must follow one"},
      {"110\n1-2", "pattern 2, line 2, position 2: '-' is outside brackets: a range must be written as [2-5]"},
      {std::string("1\0002", 3), "pattern 1, line 1, position 2: byte 0x00" + rule},
      {"1\x1b", "pattern 1, line 1, position 2: byte 0x1b" + rule},
      {"", "the plan holds no pattern: must be one or more, such as '110|0x.T'"},
      {" (|) \n", "the plan holds no pattern: must be one or more, such as '110|0x.T'"},
      {std::string(101, 'x'), "pattern '" + std::string(40, 'x') + "...' is too long: at most 100 characters are read"},
      {std::string(4097, '|'), "the plan is too long: at most 4096 characters are read"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.why);
    const Attempt plan([&] { return DialPlan(row.plan); });
    ASSERT_FALSE(plan);
    EXPECT_EQ(plan.why(), row.why);
  }
}

TEST(DialPlan, TakesWhatIsJustShortEnough) {
  const std::string pattern = "1" + std::string(97, '2') + ".T";
  ASSERT_EQ(pattern.size(), 100U);
  const DialPlan plan(pattern + std::string(3996, ' '));
  EXPECT_EQ(text_of(plan.check_at_timeout("1" + std::string(96, '2'))), pattern);
}

TEST(DialPlan, WarnsOfWhatIsMostLikelyNotMeant) {
  const DialPlan plan("110\n1[2-57]x | 110");
  EXPECT_EQ(plan.warnings(),
            (std::vector<std::string>{
                "pattern 2, line 2, position 2: '[2-57]' is one range from its first symbol to its last, 2-7: must be "
                "'[23457]' for 2-5 7",
                "pattern 3, line 2, position 12: '110' never decides: '110' does wherever it would, or sooner"}));
  EXPECT_EQ(DialPlan(DialPlan::kDefault).warnings(), std::vector<std::string>());

  std::string text = "1";
  for (int i = 0; i < 12; ++i) {
    text += "|1";
  }
  const auto many = DialPlan(text).warnings();
  ASSERT_EQ(many.size(), 11U);
  EXPECT_EQ(many.back(), "2 more warnings; userlib-digitmap --check shows all of them");
}

TEST(DialPlan, IsReadFromAFile) {
  const TemporaryFile file("110\n0x.T\n");
  EXPECT_EQ(DialPlan::read(file.path()).patterns().size(), 2U);
}

TEST(DialPlan, NamesTheFileThatIsWrong) {
  const TemporaryFile file("110\n0y\n");
  EXPECT_EQ(why_unreadable(file.path()), "map file '" + file.path() +
                                             "': pattern 2, line 2, position 2: 'y' means nothing in a "
                                             "pattern: must be one of 0-9 A-D # * x [135] [2-5] . T");

  file.write(std::string(4097, '1'));
  EXPECT_EQ(why_unreadable(file.path()),
            "map file '" + file.path() + "' cannot be read: is too large: at most 4096 bytes are read");
  EXPECT_EQ(why_unreadable("/nonexistent/plan"),
            "map file '/nonexistent/plan' cannot be read: No such file or directory");
  EXPECT_EQ(why_unreadable("/tmp"), "map file '/tmp' cannot be read: is not a regular file");
}

// Opening a FIFO without a writer must not block.
TEST(DialPlan, IsNotReadFromAFifo) {
  const TemporaryFile file;
  unlink(file.path().c_str());
  ASSERT_EQ(mkfifo(file.path().c_str(), 0600), 0);
  EXPECT_EQ(why_unreadable(file.path()), "map file '" + file.path() + "' cannot be read: is not a regular file");
}

}  // namespace
