// Lines that the library does not print like this: cut lines, foreign lines, texts changed by log daemons.
#include "userlib-flow/line_parser.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace flow_tool {
namespace {

constexpr time_t kNow = 1'772'701'447;  // 2026-03-05 09:04:07 in UTC

class LineParserTest : public ::testing::Test {
 protected:
  LineParserTest() {
    setenv("TZ", "UTC", 1);
    tzset();
  }

  Verdict parse(const std::string& line) {
    line_ = line;
    return parser_.parse(line_, record_);
  }

  std::string line_;
  LineParser parser_ = LineParser(kNow);
  Record record_;
};

TEST_F(LineParserTest, TakesLinesOfOthersForForeign) {
  for (const char* line : {
           "",
           "phoned: listening on port 7171",
           "The tracelevel of modul Line is changed to 1023",
           "Mar  5 09:04:07 box sshd[12]: error: kex_exchange_identification: closed",
           "Mar  5 09:04:07 box kernel: usb 1-1: new device",
           "Mar  5 09:04:07 box systemd[1]: phoned.service: Deactivated successfully.",
           "2026-03-05T09:04:07.042123+01:00 box CRON[7]: (root) CMD (true)",
           "Mar  5 09:04:07 box syslog.info syslogd started: BusyBox v1.35.0",
           "Mar  5 09:04:07 box daemon.info x[1]: word: text",
           "Mar 35 09:04:07 box phoned[7]: info:Line   text",
           "Mar  5 24:04:07:042:info:Line   text",
           "2026-13-05T09:04:07 box phoned[7]: info:Line   text",
           "<13>1 - box phoned 7 - - info:Line   text",
           "{\"a\":1}",
           "{",
           "-- Boot 0123 --",
           "Mar  5 09:04:07 box -- MARK --",
       }) {
    EXPECT_EQ(parse(line), Verdict::kForeign) << line;
  }
}

TEST_F(LineParserTest, TakesCutLinesForBroken) {
  for (const char* line : {
           "Mar  5 09:04:07:042",
           "Mar  5 09:04:07:042:tracemf: card:340",
           "Mar  5 09:04:07:042:tracemf: card:34017 -->3 offhook--> channel:7171  R",
           "Mar  5 09:04:07:042:tracemf: card:34017 -->3 offhook",
           "Mar  5 09:04:07:042:tracemf: card:99999999999 -->m--> channel:1  RX",
           "Mar  5 09:04:07:042:dump:Line: title: 01 0",
           "Mar  5 09:04:07:042:dump:Line",
           "Mar  5 09:04:07:042:debug:Line: x.c:",
           "Mar  5 09:04:07 box phoned[7]: debug:Line",
           "Mar  5 09:04:07 box user.notice phoned[7]: info:Line",
           "{\"MESSAGE\":\"tracemf: card:1",
       }) {
    EXPECT_EQ(parse(line), Verdict::kBroken) << line;
  }
}

// A line cut anywhere must not be taken for another message.
TEST_F(LineParserTest, SurvivesEachCut) {
  const std::string whole =
      "Mar  5 09:04:07 box user.debug phoned[7]: tracemf: card:34017 -->3 offhook--> channel:7171  RX";
  for (size_t length = 0; length < whole.size(); ++length) {
    const Verdict verdict = parse(whole.substr(0, length));
    EXPECT_TRUE(verdict != Verdict::kTrace || record_.kind != Kind::kMessage) << line_;
  }
  EXPECT_EQ(parse(whole), Verdict::kTrace);
}

TEST_F(LineParserTest, KeepsArrowsThatAreInTheMessage) {
  ASSERT_EQ(parse("Mar  5 09:04:07:042:tracemf: a:1 -->x --> y:2 -->z--> b:3  TX"), Verdict::kTrace);
  EXPECT_EQ(record_.text, "x --> y:2 -->z");
  EXPECT_EQ(record_.from, "a");
  EXPECT_EQ(record_.to, "b");
  EXPECT_EQ(record_.to_number, 3U);
}

TEST_F(LineParserTest, DropsTheNewlineOfAReportAsLogsKeepIt) {
  for (const char* end : {"", "#012", " ", "\\n"}) {
    const std::string line = "Mar  5 09:04:07 box phoned[7]: error: x.c:7   require failed";
    ASSERT_EQ(parse(line + end), Verdict::kTrace);
    EXPECT_EQ(record_.kind, Kind::kReport);
    EXPECT_EQ(record_.text, std::string("require failed") + (end[0] == '\\' ? end : ""));
  }
}

TEST_F(LineParserTest, ReadsTheJournalsWays) {
  // Invalid UTF-8 is an array of bytes; escapes of all kinds; fields in any order, and more than once.
  ASSERT_EQ(parse(R"({"_PID":"7","MESSAGE":[105,110,102,111,58,76,32,32,32,228],"X":null,"Y":["a","b"],"Z":12.5 })"),
            Verdict::kTrace);
  EXPECT_EQ(record_.module, "L");
  EXPECT_EQ(record_.text, "\xE4");
  EXPECT_EQ(record_.pid, 7U);
  EXPECT_EQ(record_.time, kNoTime);
  ASSERT_EQ(parse(R"({"MESSAGE":"info:L   \"\\\/\b\f\t\u00e4\u20ac\ud83d\ude00","SYSLOG_PID":"8","_PID":"7"})"),
            Verdict::kTrace);
  EXPECT_EQ(record_.text, "\"\\/\b\f\t\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(record_.pid, 8U);
  for (const char* line : {R"({"MESSAGE":"info:L   \x"})", R"({"MESSAGE":"info:L   \u12"})",
                           R"({"MESSAGE":"info:L   x"}})", R"({"MESSAGE":[300]})", R"({"MESSAGE":[1,})"}) {
    EXPECT_EQ(parse(line), Verdict::kBroken) << line;
  }
}

TEST_F(LineParserTest, ReadsStructuredData) {
  ASSERT_EQ(parse(R"(<15>1 2026-03-05T09:04:07Z box phoned 7 ID [a b="]\""][c] tracemf: a:1 -->m--> b:2  RX)"),
            Verdict::kTrace);
  EXPECT_EQ(record_.from, "a");
}

TEST_F(LineParserTest, GivesYearlessTimesTheirYear) {
  ASSERT_EQ(parse("Mar  5 09:04:07:042:info:L   x"), Verdict::kTrace);
  EXPECT_EQ(record_.time, kNow * kSecond + 42'000);
  // In March, December was last year; the last 29 February was two years ago.
  ASSERT_EQ(parse("Dec 31 00:00:00:000:info:L   x"), Verdict::kTrace);
  EXPECT_EQ(record_.time, Time{1'767'139'200} * kSecond);
  ASSERT_EQ(parse("Feb 29 00:00:00:000:info:L   x"), Verdict::kTrace);
  EXPECT_EQ(record_.time, Time{1'709'164'800} * kSecond);
}

TEST_F(LineParserTest, TakesTimesWithoutZoneAsLocal) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  LineParser parser(kNow);
  ASSERT_EQ(parser.parse("Mar  5 10:04:07:042:info:L   x", record_), Verdict::kTrace);
  EXPECT_EQ(record_.time, kNow * kSecond + 42'000);
  ASSERT_EQ(parser.parse("2026-03-05T09:04:07.042Z box p[1]: info:L   x", record_), Verdict::kTrace);
  EXPECT_EQ(record_.time, kNow * kSecond + 42'000);
  EXPECT_EQ(clock_text(record_.time), "10:04:07.042");
}

TEST(Spans, AreShownWithTheUnitThatSuits) {
  EXPECT_EQ(span_text(0), "0 us");
  EXPECT_EQ(span_text(999), "999 us");
  EXPECT_EQ(span_text(1'234), "1.23 ms");
  EXPECT_EQ(span_text(12'340), "12.3 ms");
  EXPECT_EQ(span_text(4'000'000), "4.00 s");
  EXPECT_EQ(span_text(119'000'000), "119 s");
  EXPECT_EQ(span_text(120'000'000), "2.00 min");
  EXPECT_EQ(span_text(Time{7'200} * kSecond), "2.00 h");
  EXPECT_EQ(span_text(Time{3 * 86'400} * kSecond), "3.00 days");
}

TEST(Messages, HaveANameAndASubject) {
  EXPECT_EQ(name_of_message("3 offhook"), "offhook");
  EXPECT_EQ(name_of_message("3 110# dial 11"), "dial");
  EXPECT_EQ(name_of_message("12 34"), "12 34");
  EXPECT_EQ(name_of_message(""), "");
  EXPECT_EQ(subject_of_message("3 offhook"), "3");
  EXPECT_EQ(subject_of_message("offhook 3"), "");
  EXPECT_EQ(subject_of_message("3"), "");
}

}  // namespace
}  // namespace flow_tool
