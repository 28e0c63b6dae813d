#include "userlib-flow/selection.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "userlib-flow/line_parser.h"

namespace flow_tool {
namespace {

constexpr time_t kNow = 1'772'701'447;  // 2026-03-05 09:04:07 in UTC

// The texts of the records that are selected from a log.
std::string chosen(const Choice& choice, const std::string& log) {
  setenv("TZ", "UTC", 1);
  tzset();
  LineParser parser(kNow);
  std::string texts;
  Selection selection(choice, [&texts](const Record& record) { texts += std::string(record.text) + ", "; });
  for (size_t begin = 0; begin < log.size();) {
    const size_t end = log.find('\n', begin);
    Record record;
    if (parser.parse(std::string_view(log).substr(begin, end - begin), record) == Verdict::kTrace) {
      selection.take(record);
    }
    begin = end + 1;
  }
  return texts;
}

std::string message(int second, const std::string& from, const std::string& text, const std::string& to) {
  return "Mar  5 09:04:0" + std::to_string(second) + ":000:tracemf: " + from + ":1 -->" + text + "--> " + to +
         ":1  RX\n";
}

const std::string kLog =
    "Mar  5 09:04:01:000:info:Line   line 3 is there\n"
    "Mar  5 09:04:02:000:debug:Plan: x.c:7   looks\n"
    "Mar  5 09:04:03:000:error:Phoned: x.c:7   event '3 dial' fails\n"
    "Mar  5 09:04:04:000:info:Line   line 33 is there\n" +
    message(5, "card", "3 m", "channel") + "Mar  5 09:04:06:000:dump:Line: d: 01\n" +
    message(7, "card", "4 m", "channel") + "Mar  5 09:04:08:000:dump:Line: e: 01\nMar  5 09:04:09:000 up\n";

TEST(Selection, TakesAllUnlessTold) {
  EXPECT_EQ(chosen({}, kLog), "line 3 is there, looks, event '3 dial' fails, line 33 is there, 3 m, d, 4 m, e, up, ");
}

TEST(Selection, KnowsModulesAndLanes) {
  Choice choice;
  choice.modules = {"Plan", "Phoned"};
  EXPECT_EQ(chosen(choice, kLog), "looks, event '3 dial' fails, ");
  choice.modules = {"channel"};
  EXPECT_EQ(chosen(choice, kLog), "3 m, 4 m, ");
}

TEST(Selection, KnowsTypes) {
  Choice choice;
  choice.types = 1U << NUV_SYSLOGLEVEL_TRACEMF | 1U << NUV_SYSLOGLEVEL_ERROR;
  EXPECT_EQ(chosen(choice, kLog), "event '3 dial' fails, 3 m, 4 m, ");
}

TEST(Selection, KnowsLinesByTheirTextsAndDumpsByWhatTheyBelongTo) {
  Choice choice;
  choice.line = 3;
  EXPECT_EQ(chosen(choice, kLog), "line 3 is there, event '3 dial' fails, 3 m, d, ");
  choice.line = 33;
  EXPECT_EQ(chosen(choice, kLog), "line 33 is there, ");
}

TEST(Selection, KnowsTimes) {
  Choice choice;
  choice.since = Moment::read("09:04:03", kNow);
  choice.until = Moment::read("2026-03-05 09:04:04.5", kNow);
  EXPECT_EQ(chosen(choice, kLog), "event '3 dial' fails, line 33 is there, ");
  choice.since = Moment::read("Mar  5 09:04:09", kNow);
  choice.until = std::nullopt;
  EXPECT_EQ(chosen(choice, kLog), "up, ");
  choice.since = Moment::read("2026-03-05 09:05", kNow);
  EXPECT_EQ(chosen(choice, kLog), "");
}

TEST(Selection, ReadsOnlyTimes) {
  for (const char* text : {"", "9", "9:4", "25:00", "09:60", "09:04x", "2026-03-05", "yesterday", "Mar  5"}) {
    EXPECT_FALSE(Moment::read(text, kNow)) << text;
  }
  for (const char* text : {"09:04", "09:04:07", "09:04:07.042", "2026-03-05 09:04", "2026-03-05T09:04:07Z",
                           "2026-03-05 09:04:07.5", "Mar  5 09:04:07", "Mar 05 09:04:07"}) {
    EXPECT_TRUE(Moment::read(text, kNow)) << text;
  }
}

TEST(Selection, ShowsWhatIsAroundAText) {
  Choice choice;
  choice.around = "fails";
  choice.context = 1;
  EXPECT_EQ(chosen(choice, kLog), "looks, event '3 dial' fails, line 33 is there, ");
  choice.context = 0;
  EXPECT_EQ(chosen(choice, kLog), "event '3 dial' fails, ");
  choice.around = "Line";
  choice.context = 2;
  EXPECT_EQ(chosen(choice, kLog),
            "line 3 is there, looks, event '3 dial' fails, line 33 is there, 3 m, d, 4 m, e, up, ");
  choice.around = "up";
  choice.context = 3;
  EXPECT_EQ(chosen(choice, kLog), "d, 4 m, e, up, ");
}

// Two calls of line 3 with one of line 4 in between, and other records.
const std::string kCalls = "Mar  5 09:04:00:000:info:Line   line 3: too early\n" +
                           message(1, "card", "3 dial 1", "channel") + message(1, "card", "3 offhook", "channel") +
                           message(1, "channel", "3 offhook", "layer") + message(1, "channel", "3 ready", "card") +
                           message(2, "card", "4 offhook", "channel") + message(2, "card", "3 onhook", "channel") +
                           "Mar  5 09:04:02:000:info:Line   line 3: ends\n" +
                           message(2, "channel", "3 onhook", "layer") + message(3, "layer", "3 idle", "channel") +
                           message(3, "channel", "3 idle", "card") + message(4, "channel", "3 late", "card") +
                           message(5, "card", "3 offhook", "channel") + message(6, "channel", "3 ready", "card");

TEST(Selection, FollowsACallFromOffhookToOnhook) {
  Choice choice;
  choice.call = Call{3, 1};
  EXPECT_EQ(chosen(choice, kCalls),
            "3 offhook, 3 offhook, 3 ready, 3 onhook, line 3: ends, 3 onhook, 3 idle, 3 idle, ");
  choice.call = Call{3, 2};
  EXPECT_EQ(chosen(choice, kCalls), "3 offhook, 3 ready, ");
  choice.call = Call{3, 3};
  EXPECT_EQ(chosen(choice, kCalls), "");
}

TEST(Selection, EndsACallWithoutAnswerAtTheNextOne) {
  Choice choice;
  choice.call = Call{3, 1};
  const std::string log = message(1, "card", "3 offhook", "channel") + message(1, "card", "3 onhook", "channel") +
                          message(1, "card", "3 offhook", "channel") + message(1, "channel", "3 ready", "card");
  EXPECT_EQ(chosen(choice, log), "3 offhook, 3 onhook, ");
  choice.call = Call{3, 2};
  EXPECT_EQ(chosen(choice, log), "3 offhook, 3 ready, ");
}

}  // namespace
}  // namespace flow_tool
