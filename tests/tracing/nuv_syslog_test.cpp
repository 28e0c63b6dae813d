// The plain logger.
#include "nuv_syslog.h"

#include <gtest/gtest.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_loop.h"
#include "doubles/syslog_double.h"
#include "doubles/time_zone.h"

namespace {

using support::CapturedStdout;
using support::each_fault;
using support::FakeClock;
using support::Fault;
using support::SyslogDouble;
using support::SyslogLine;
using support::TimeZone;
using Texts = std::vector<std::string>;

constexpr char kStamp[] = "Mar  5 09:04:07";

// The operations that write a text.
struct Operation {
  const char* name;
  void (*call)(const char* file, uint32_t line, const char* text);
  bool is_located;
};

constexpr Operation kOperations[] = {
    {"info", NUV_Syslog_info, false},      {"trace", NUV_Syslog_trace, false}, {"debug", NUV_Syslog_debug, true},
    {"warning", NUV_Syslog_warning, true}, {"error", NUV_Syslog_error, true},
};

// Leaves the switch alone before a test, and resets it afterwards. Nothing calls openlog().
class SyslogTest : public ::testing::Test {
 protected:
  SyslogTest() { set_time(124, 2, 5, 9, 4, 7); }
  ~SyslogTest() override { NUV_Syslog_set(1); }

  void set_time(int year, int month, int day, int hour, int minute, int second) {
    tm date = {};
    date.tm_year = year;
    date.tm_mon = month;
    date.tm_mday = day;
    date.tm_hour = hour;
    date.tm_min = minute;
    date.tm_sec = second;
    clock_.set_wall({timegm(&date), 999999});
  }

  static SyslogLine line(const std::string& text) { return {std::nullopt, 0, 0, 1, text}; }

  static std::vector<SyslogLine> lines(const Texts& texts) {
    std::vector<SyslogLine> lines;
    for (const std::string& text : texts) {
      lines.push_back(line(text));
    }
    return lines;
  }

  static std::string printed(const Texts& texts) {
    std::string printed;
    for (const std::string& text : texts) {
      printed += std::string(kStamp) + ":" + text + "\n";
    }
    return printed;
  }

  static std::string timestamp() {
    std::array<char, 17> buffer;
    buffer.fill('#');
    _getTimestamp(buffer.data());
    EXPECT_EQ(buffer[16], '#') << "writes no more than 16 bytes";
    return buffer.data();
  }

  TimeZone zone_;
  FakeClock clock_;
  SyslogDouble log_{SyslogDouble::Opening::kNever};
  CapturedStdout console_;
};

// Must be the first test, to see the initial state of the switch.
TEST_F(SyslogTest, StartsWithTheSystemLog) {
  NUV_Syslog_info("line.c", 7, "boom");
  EXPECT_EQ(log_.take(), std::vector{line("info:boom")});
  EXPECT_EQ(console_.take(), "");
}

TEST_F(SyslogTest, WritesALineForEachType) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    const std::string place = operation.is_located ? "line.c:7:" : "";
    const Texts texts = {std::string(operation.name) + ":" + place + "boom"};
    NUV_Syslog_set(1);
    operation.call("user/source/line.c", 7, "boom");
    EXPECT_EQ(log_.take(), lines(texts));
    EXPECT_EQ(console_.take(), "");
    NUV_Syslog_set(0);
    operation.call("user/source/line.c", 7, "boom");
    EXPECT_TRUE(log_.take().empty());
    EXPECT_EQ(console_.take(), printed(texts));
  }
}

TEST_F(SyslogTest, TheSwitchIsAByte) {
  const struct {
    uint32_t flag;
    bool log;
  } kCases[] = {{0, false}, {1, true}, {2, true}, {255, true}, {256, false}, {257, true}, {0xFFFFFF00, false}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.flag);
    NUV_Syslog_set(row.flag);
    NUV_Syslog_info("line.c", 7, "boom");
    EXPECT_EQ(log_.take().size(), row.log ? 1U : 0U);
    EXPECT_EQ(console_.take().empty(), row.log);
  }
}

TEST_F(SyslogTest, PrintsTheBaseNameOfTheFile) {
  const struct {
    const char* path;
    const char* name;
  } kCases[] = {{"dir/x.c", "x.c"}, {"dir\\x.c", "x.c"}, {"x.c", "x.c"}, {"dir/", ""}, {"", ""}, {nullptr, ""}};
  NUV_Syslog_set(0);
  for (const auto& row : kCases) {
    NUV_Syslog_error(row.path, 7, "boom");
    EXPECT_EQ(console_.take(), printed({std::string("error:") + row.name + ":7:boom"}));
  }
}

// Line numbers are signed in the system log.
TEST_F(SyslogTest, PrintsLineNumbersOfAllSizes) {
  NUV_Syslog_debug("x.c", 0, "boom");
  NUV_Syslog_debug("x.c", 0x80000000, "boom");
  NUV_Syslog_debug("x.c", 0xFFFFFFFF, "boom");
  EXPECT_EQ(log_.take(), lines({"debug:x.c:0:boom", "debug:x.c:-2147483648:boom", "debug:x.c:-1:boom"}));
  NUV_Syslog_set(0);
  NUV_Syslog_debug("x.c", 0xFFFFFFFF, "boom");
  EXPECT_EQ(console_.take(), printed({"debug:x.c:4294967295:boom"}));
}

TEST_F(SyslogTest, WritesTextsUnchanged) {
  for (const std::string& text : {std::string("100%s %n"), std::string(), std::string(2000, 'x')}) {
    NUV_Syslog_set(1);
    NUV_Syslog_info("%s", 7, text.c_str());
    NUV_Syslog_error("%s", 7, text.c_str());
    EXPECT_EQ(log_.take(), lines({"info:" + text, "error:%s:7:" + text}));
    NUV_Syslog_set(0);
    NUV_Syslog_info("%s", 7, text.c_str());
    NUV_Syslog_error("%s", 7, text.c_str());
    EXPECT_EQ(console_.take(), printed({"info:" + text, "error:%s:7:" + text}));
  }
}

TEST_F(SyslogTest, NullTextsReadAsEmpty) {
  const Texts texts = {"info:", "trace:", "debug::7:", "warning::7:", "error::7:", ":AB"};
  const uint8_t byte = 0xAB;
  for (const uint32_t flag : {1U, 0U}) {
    NUV_Syslog_set(flag);
    for (const Operation& operation : kOperations) {
      operation.call(nullptr, 7, nullptr);
    }
    NUV_Syslog_dump(nullptr, 7, nullptr, &byte, 1);
    NUV_Syslog_dump("x.c", 7, "frame", nullptr, 16);
  }
  EXPECT_EQ(log_.take(), lines(texts));
  EXPECT_EQ(console_.take(), printed(texts));
}

TEST_F(SyslogTest, DumpsBytesInLinesOfSixteen) {
  std::array<uint8_t, 64> bytes;
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(0xFF - i);
  }
  const std::string first = "frame:FF FE FD FC FB FA F9 F8 F7 F6 F5 F4 F3 F2 F1 F0";
  const std::string second = "frame:EF EE ED EC EB EA E9 E8 E7 E6 E5 E4 E3 E2 E1 E0";
  const struct {
    uint32_t length;
    Texts texts;
  } kCases[] = {
      {0, {}},
      {1, {"frame:FF"}},
      {15, {"frame:FF FE FD FC FB FA F9 F8 F7 F6 F5 F4 F3 F2 F1"}},
      {16, {first}},
      {17, {first, "frame:EF"}},
      {32, {first, second}},
      {33, {first, second, "frame:DF"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.length);
    NUV_Syslog_set(1);
    NUV_Syslog_dump("x.c", 7, "frame", bytes.data(), row.length);
    EXPECT_EQ(log_.take(), lines(row.texts));
    NUV_Syslog_set(0);
    NUV_Syslog_dump("x.c", 7, "frame", bytes.data(), row.length);
    EXPECT_EQ(console_.take(), printed(row.texts));
  }
}

TEST_F(SyslogTest, EveryTypeHasAName) {
  const char* const kNames[] = {"info", "trace", "debug", "dump", "warning", "error"};
  for (uint32_t type = 0; type < std::size(kNames); ++type) {
    EXPECT_STREQ(NUV_ESyslogType_name(type), kNames[type]);
  }
  EXPECT_STREQ(NUV_ESyslogType_name(6), "unknown");
  EXPECT_STREQ(NUV_ESyslogType_name(0xFFFFFFFF), "unknown");
  EXPECT_STREQ(NUV_ESyslogType_name(NUV_SYSLOG_ERROR), "error");
}

TEST_F(SyslogTest, TimestampHasWholeSeconds) {
  EXPECT_EQ(timestamp(), kStamp);
  set_time(99, 11, 31, 23, 59, 59);
  EXPECT_EQ(timestamp(), "Dec 31 23:59:59");
  set_time(70, 0, 1, 0, 0, 0);
  EXPECT_EQ(timestamp(), "Jan  1 00:00:00");
}

TEST_F(SyslogTest, TimestampIsLocalTime) {
  const TimeZone east("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(timestamp(), "Mar  5 04:04:07");
}

// A change of TZ takes effect without a call of tzset().
TEST_F(SyslogTest, TimestampFollowsTheTimeZone) {
  setenv("TZ", "AAA-3", 1);
  EXPECT_EQ(timestamp(), "Mar  5 12:04:07");
}

TEST_F(SyslogTest, TimestampIsEmptyForAYearOfFiveCharacters) {
  if (sizeof(time_t) < sizeof(int64_t)) {
    GTEST_SKIP() << "time_t is too small for such a year";
  }
  set_time(8099, 11, 31, 23, 59, 59);
  EXPECT_EQ(timestamp(), "Dec 31 23:59:59");
  set_time(8100, 0, 1, 0, 0, 0);
  EXPECT_EQ(timestamp(), "");
  set_time(-2899, 0, 1, 0, 0, 0);
  EXPECT_EQ(timestamp(), "Jan  1 00:00:00");
  set_time(-2900, 11, 31, 23, 59, 59);
  EXPECT_EQ(timestamp(), "");
}

// Passes if it returns.
TEST_F(SyslogTest, TimestampIgnoresNull) {
  _getTimestamp(nullptr);
}

TEST_F(SyslogTest, LinesAreWrittenEvenIfTheClockOrTheDateFails) {
  NUV_Syslog_set(0);
  const struct {
    const char* function;
    std::string text;
  } kCases[] = {{"time", "Dec 31 23:59:59"}, {"localtime_r", ""}};
  for (const auto& row : kCases) {
    each_fault(row.function, {EFAULT, EINTR}, [&](Fault& fault) {
      const uint8_t byte = 0xAB;
      fault.during([&] {
        NUV_Syslog_info("x.c", 7, "one");
        NUV_Syslog_error("x.c", 7, "two");
        NUV_Syslog_dump("x.c", 7, "frame", &byte, 1);
      });
      EXPECT_EQ(console_.take(), (fault.nth() == 1 ? row.text : kStamp) + ":info:one\n" +
                                     (fault.nth() == 2 ? row.text : kStamp) + ":error:x.c:7:two\n" +
                                     (fault.nth() == 3 ? row.text : kStamp) + ":frame:AB\n");
    });
  }
}

TEST_F(SyslogTest, EveryConsoleLineHasItsOwnTime) {
  NUV_Syslog_set(0);
  NUV_Syslog_info("x.c", 7, "one");
  set_time(124, 2, 5, 9, 4, 8);
  NUV_Syslog_info("x.c", 7, "two");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:info:one\nMar  5 09:04:08:info:two\n");
}

}  // namespace
