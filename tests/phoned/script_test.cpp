#include <gtest/gtest.h>

#include "attempt.h"
#include "phonectl/options.h"
#include "userlib.hpp"

namespace {

using phonectl::parse_script;
using phonectl::parse_step;
using phonectl::Step;
using support::Attempt;

TEST(Script, ReadsEveryCommand) {
  const struct {
    const char* command;
    Step::Kind kind;
    const char* text;
  } kCases[] = {
      {"offhook 3", Step::Kind::kSend, "3 offhook"},
      {"onhook 255", Step::Kind::kSend, "255 onhook"},
      {"digit 3 #", Step::Kind::kSend, "3 digit #"},
      {"dial  3   110", Step::Kind::kSend, "3 dial 110"},
      {"raw 3  dance", Step::Kind::kSend, "3  dance"},
      {"raw raw", Step::Kind::kSend, "raw"},
      {"expect 3 more 1", Step::Kind::kExpect, "3 more 1"},
      // Leaves other mistakes to phoned.
      {"dial 300 xyz", Step::Kind::kSend, "300 dial xyz"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.command);
    const Attempt step([&] { return parse_step(row.command); });
    ASSERT_TRUE(step) << step.why();
    EXPECT_EQ(step->kind, row.kind);
    EXPECT_EQ(step->text, row.text);
  }
  const Step wait = parse_step("wait 60000");
  EXPECT_EQ(wait.kind, Step::Kind::kWait);
  EXPECT_EQ(wait.wait, std::chrono::milliseconds(60000));
}

TEST(Script, SaysWhatIsWrongWithACommand) {
  const struct {
    std::string command;
    std::string why;
  } kCases[] = {
      {"offhook", "'offhook' needs a line, such as 'offhook 3'"},
      {"offhook 3 4", "'offhook' needs a line, such as 'offhook 3'"},
      {"onhook", "'onhook' needs a line, such as 'onhook 3'"},
      {"digit 3", "'digit' needs a line and a digit, such as 'digit 3 1'"},
      {"dial 3", "'dial' needs a line and digits, such as 'dial 3 110'"},
      {"dial 3 1 1 0", "'dial' needs a line and digits, such as 'dial 3 110'"},
      {"raw", "'raw' needs a text, such as 'raw 3 idle'"},
      {"expect ", "'expect' needs a text, such as 'expect 3 idle'"},
      {"wait", "'wait' needs milliseconds from 0 to 60000, not ''"},
      {"wait 60001", "'wait' needs milliseconds from 0 to 60000, not '60001'"},
      {"wait 1 s", "'wait' needs milliseconds from 0 to 60000, not '1 s'"},
      {"dance 3", "unknown command 'dance': must be offhook, onhook, digit, dial, raw, expect or wait"},
      {"", "unknown command '': must be offhook, onhook, digit, dial, raw, expect or wait"},
      {"raw " + std::string(userlib::kMaxDatagram + 1, 'y'),
       "'" + std::string(40, 'y') + "...' is too long: a datagram takes at most 1024 bytes"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.why);
    const Attempt step([&] { return parse_step(row.command); });
    ASSERT_FALSE(step);
    EXPECT_EQ(step.why(), row.why);
  }
  EXPECT_EQ(parse_step("raw " + std::string(userlib::kMaxDatagram, 'y')).text.size(), userlib::kMaxDatagram);
}

TEST(Script, NumbersItsLinesAndSkipsComments) {
  const Attempt steps(
      [] { return parse_script("# first\n\noffhook 3\r\n  expect 3 ready  \n\t# digit 3 #\ndigit 3 #"); });
  ASSERT_TRUE(steps) << steps.why();
  ASSERT_EQ(steps->size(), 3U);
  EXPECT_EQ((*steps)[0].line, 3U);
  EXPECT_EQ((*steps)[0].text, "3 offhook");
  EXPECT_EQ((*steps)[1].line, 4U);
  EXPECT_EQ((*steps)[1].text, "3 ready");
  EXPECT_EQ((*steps)[2].line, 6U);
  EXPECT_EQ((*steps)[2].text, "3 digit #");
}

TEST(Script, MayBeEmpty) {
  EXPECT_EQ(parse_script("").size(), 0U);
  EXPECT_EQ(parse_script("\n# nothing\n").size(), 0U);
}

TEST(Script, NamesTheLineThatIsWrong) {
  const Attempt steps([] { return parse_script("offhook 3\n\nwait long\n"); });
  ASSERT_FALSE(steps);
  EXPECT_EQ(steps.why(), "line 3: 'wait' needs milliseconds from 0 to 60000, not 'long'");
}

}  // namespace
