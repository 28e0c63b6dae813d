// The output half of the trace facility: switches, time stamp, contract report and status line.
#include "nuv_sysloglevel.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <syslog.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <climits>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "doubles/time_zone.h"
#include "doubles/trace_fixture.h"
#include "nuv_assert.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace {

using nuv::g_trace_output;
using support::each_fault;
using support::Fault;
using support::rename_utc;
using support::SyslogLine;
using support::TimeZone;

class SysloglevelOutputTest : public support::TraceTest {
 protected:
  // Where a status line goes: "log", "console", "both" or "nowhere".
  std::string output() {
    NUV_Sysloglevel_statusinfo("phoned", "probe");
    const bool is_logged = !log_.take().empty();
    const bool is_printed = !console_.take().empty();
    if (is_logged) {
      return is_printed ? "both" : "log";
    }
    return is_printed ? "console" : "nowhere";
  }

  void be_quiet() { files_.write("/etc/quiet", ""); }
};

TEST_F(SysloglevelOutputTest, StartsWithTheSystemLogOnly) {
  EXPECT_EQ(g_trace_output.syslog, 1);
  EXPECT_EQ(g_trace_output.console, 0);
  EXPECT_EQ(g_trace_output.ident_pointer, nullptr);
  EXPECT_STREQ(g_trace_output.ident, "");
  EXPECT_EQ(output(), "log");
}

// The switch of the system log is the low byte of the flag; that of the console is the low byte of flag ^ 1.
TEST_F(SysloglevelOutputTest, SetSwitchesBothOutputs) {
  const struct {
    uint32_t flag;
    const char* output;
  } kCases[] = {
      {1, "log"},          {0, "console"},       {2, "both"},
      {3, "both"},         {255, "both"},        {256, "console"},
      {257, "log"},        {0x1FF, "both"},      {0xFFFFFF00, "console"},
      {0xFFFFFF01, "log"}, {0xFFFFFFFF, "both"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.flag);
    for (const uint32_t before : {0U, 1U, 2U}) {
      NUV_Sysloglevel_set(before);
      NUV_Sysloglevel_set(row.flag);
      EXPECT_EQ(output(), row.output) << "after " << before;
    }
  }
}

TEST_F(SysloglevelOutputTest, SetConsoleSwitchesTheConsoleOnly) {
  const struct {
    uint32_t flag;
    const char* with_log;
    const char* without_log;
  } kCases[] = {
      {0, "log", "nowhere"},          {1, "both", "console"},         {2, "both", "console"},
      {255, "both", "console"},       {256, "log", "nowhere"},        {257, "both", "console"},
      {0x80000000, "log", "nowhere"}, {0xFFFFFF00, "log", "nowhere"}, {0xFFFFFFFF, "both", "console"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.flag);
    NUV_Sysloglevel_set(1);
    NUV_Sysloglevel_setConsole(row.flag);
    EXPECT_EQ(output(), row.with_log);
    NUV_Sysloglevel_set(0);
    NUV_Sysloglevel_setConsole(row.flag);
    EXPECT_EQ(output(), row.without_log);
  }
}

TEST_F(SysloglevelOutputTest, SetTurnsTheConsoleOffAgain) {
  NUV_Sysloglevel_setConsole(1);
  EXPECT_EQ(output(), "both");
  NUV_Sysloglevel_set(1);
  EXPECT_EQ(output(), "log");
}

TEST_F(SysloglevelOutputTest, QuietMarkerLeavesOnlyTheSystemLogsSwitchWorking) {
  be_quiet();
  NUV_Sysloglevel_set(0);
  EXPECT_EQ(output(), "nowhere");
  NUV_Sysloglevel_set(1);
  EXPECT_EQ(output(), "log");
  NUV_Sysloglevel_set(2);
  EXPECT_EQ(output(), "log");
}

TEST_F(SysloglevelOutputTest, QuietMarkerKeepsTheConsoleFromBeingTurnedOn) {
  be_quiet();
  NUV_Sysloglevel_setConsole(1);
  EXPECT_EQ(output(), "log");
}

TEST_F(SysloglevelOutputTest, QuietMarkerKeepsAConsoleThatIsOn) {
  NUV_Sysloglevel_setConsole(1);
  be_quiet();
  EXPECT_EQ(output(), "both");
  NUV_Sysloglevel_setConsole(0);
  EXPECT_EQ(output(), "both");
  NUV_Sysloglevel_set(1);
  EXPECT_EQ(output(), "both");
  NUV_Sysloglevel_set(0);
  EXPECT_EQ(output(), "console");
}

TEST_F(SysloglevelOutputTest, QuietMarkerIsSearchedAtEachCall) {
  be_quiet();
  NUV_Sysloglevel_set(0);
  EXPECT_EQ(output(), "nowhere");
  files_.remove("/etc/quiet");
  EXPECT_EQ(output(), "nowhere") << "removing the marker alone changes nothing";
  NUV_Sysloglevel_set(0);
  EXPECT_EQ(output(), "console");
}

TEST_F(SysloglevelOutputTest, FailedSearchForTheQuietMarkerCountsAsMissing) {
  be_quiet();
  each_fault("access", {EACCES, EIO, EINTR}, [this](Fault& fault) {
    g_trace_output.console = 0;
    fault.during([] { NUV_Sysloglevel_setConsole(1); });
    EXPECT_EQ(output(), fault.has_struck() ? "both" : "log");
    g_trace_output.console = 0;
    NUV_Sysloglevel_setConsole(1);
    EXPECT_EQ(output(), "log");
  });
  each_fault("access", {EACCES}, [this](Fault& fault) {
    restore_start();
    fault.during([] { NUV_Sysloglevel_set(0); });
    EXPECT_EQ(output(), fault.has_struck() ? "console" : "nowhere");
  });
}

TEST_F(SysloglevelOutputTest, ReportIsOneErrorLineOfTheSystemLog) {
  NUV_Sysloglevel_assert("nuv_frame", 42, ":require failed:((void *)0) != a_this\n");
  EXPECT_EQ(log_.take(), (std::vector<SyslogLine>{{std::nullopt, LOG_PID, LOG_USER, 11,
                                                   "error: nuv_frame:42   :require failed:((void *)0) != a_this\n"}}));
  EXPECT_EQ(console_.take(), "");
}

TEST_F(SysloglevelOutputTest, ReportUsesTheDaemonsIdent) {
  g_trace_output.ident_pointer = "phoned";
  NUV_Sysloglevel_assert("nuv_frame", 42, "text");
  EXPECT_EQ(log_.take(),
            (std::vector<SyslogLine>{{"phoned", LOG_PID, LOG_USER, LOG_USER | LOG_ERR, "error: nuv_frame:42   text"}}));
}

TEST_F(SysloglevelOutputTest, ReportOpensTheLogForEveryLine) {
  NUV_Sysloglevel_assert("a", 1, "one");
  NUV_Sysloglevel_statusinfo("other", "two");
  NUV_Sysloglevel_assert("b", 2, "three");
  EXPECT_EQ(log_.take(), (std::vector<SyslogLine>{
                             {std::nullopt, LOG_PID, LOG_USER, 11, "error: a:1   one"},
                             {"other", 0, LOG_LOCAL0, 134, "two"},
                             {std::nullopt, LOG_PID, LOG_USER, 11, "error: b:2   three"},
                         }));
}

TEST_F(SysloglevelOutputTest, ReportOnTheConsoleStartsWithTheTimeAndEndsItsLine) {
  NUV_Sysloglevel_set(0);
  NUV_Sysloglevel_assert("nuv_frame", 42, "text");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042: error: nuv_frame:42   text\n");
  EXPECT_TRUE(log_.take().empty());
}

TEST_F(SysloglevelOutputTest, ReportGoesToBothOutputs) {
  NUV_Sysloglevel_setConsole(1);
  NUV_Sysloglevel_assert("nuv_frame", 42, "text");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042: error: nuv_frame:42   text\n");
  EXPECT_EQ(log_.take().size(), 1U);
}

TEST_F(SysloglevelOutputTest, ReportIsLostWhileBothOutputsAreOff) {
  be_quiet();
  NUV_Sysloglevel_set(0);
  NUV_Sysloglevel_assert("nuv_frame", 42, "text");
  EXPECT_TRUE(log_.take().empty());
  EXPECT_EQ(console_.take(), "");
}

// The message of a failed contract ends with a newline itself.
TEST_F(SysloglevelOutputTest, ReportOfAFailedContractIsFollowedByAnEmptyConsoleLine) {
  NUV_Sysloglevel_set(0);
  NUV_Assert_failed(NUV_ASSERT_REQUIRE, "source/nuv_frame", 42, "((void *)0) != a_this");
  EXPECT_EQ(contracts_.take().size(), 1U);
  EXPECT_EQ(console_.take(),
            "Mar  5 09:04:07:042: error: nuv_frame:42   :require failed:((void *)0) != a_this\n"
            "\n");
}

TEST_F(SysloglevelOutputTest, ReportPrintsTheLineSignedInTheLogAndUnsignedOnTheConsole) {
  NUV_Sysloglevel_setConsole(1);
  const struct {
    uint32_t line;
    const char* logged;
    const char* printed;
  } kCases[] = {
      {0, "error: f:0   t", "Mar  5 09:04:07:042: error: f:0   t\n"},
      {0x7FFFFFFF, "error: f:2147483647   t", "Mar  5 09:04:07:042: error: f:2147483647   t\n"},
      {0x80000000, "error: f:-2147483648   t", "Mar  5 09:04:07:042: error: f:2147483648   t\n"},
      {0xFFFFFFFF, "error: f:-1   t", "Mar  5 09:04:07:042: error: f:4294967295   t\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.line);
    NUV_Sysloglevel_assert("f", row.line, "t");
    const std::vector<SyslogLine> lines = log_.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, row.logged);
    EXPECT_EQ(console_.take(), row.printed);
  }
}

TEST_F(SysloglevelOutputTest, ReportPrintsTheBaseNameOfTheFile) {
  NUV_Sysloglevel_setConsole(1);
  const struct {
    const char* file;
    const char* base_name;
  } kCases[] = {
      {"platform/iad/user/userlib/source/nuv_selectset", "nuv_selectset"},
      {"nuv_selectset", "nuv_selectset"},
      {"C:\\userlib\\nuv_frame.c", "nuv_frame.c"},
      {"source\\dir/nuv_frame", "nuv_frame"},
      {"source/dir\\nuv_frame", "nuv_frame"},
      {"/nuv_frame", "nuv_frame"},
      {"\\nuv_frame", "nuv_frame"},
      {"//nuv_frame", "nuv_frame"},
      {"source/", ""},
      {"source\\", ""},
      {"/", ""},
      {"", ""},
      {nullptr, ""},
      {".", "."},
      {"a|b", "a|b"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.file != nullptr ? row.file : "(null)");
    NUV_Sysloglevel_assert(row.file, 7, "t");
    const std::vector<SyslogLine> lines = log_.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "error: " + std::string(row.base_name) + ":7   t");
    EXPECT_EQ(console_.take(), std::string(kStamp) + ": error: " + row.base_name + ":7   t\n");
  }
}

TEST_F(SysloglevelOutputTest, ReportPrintsItsTextsUnchanged) {
  NUV_Sysloglevel_setConsole(1);
  NUV_Sysloglevel_assert("%s%n", 7, "%d %s %n 100%");
  EXPECT_EQ(log_.take()[0].text, "error: %s%n:7   %d %s %n 100%");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042: error: %s%n:7   %d %s %n 100%\n");
  NUV_Sysloglevel_assert("f", 7, nullptr);
  EXPECT_EQ(log_.take()[0].text, "error: f:7   ");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042: error: f:7   \n");
}

TEST_F(SysloglevelOutputTest, StatusLineGoesToTheLogUnderTheCallersIdent) {
  g_trace_output.ident_pointer = "phoned";
  NUV_Sysloglevel_statusinfo("monitor", "line 3 up");
  EXPECT_EQ(log_.take(), (std::vector<SyslogLine>{{"monitor", 0, LOG_LOCAL0, LOG_LOCAL0 | LOG_INFO, "line 3 up"}}));
  EXPECT_EQ(console_.take(), "");
}

TEST_F(SysloglevelOutputTest, StatusLineWithoutIdentUsesTheSystemsDefault) {
  NUV_Sysloglevel_statusinfo(nullptr, "line 3 up");
  EXPECT_EQ(log_.take(), (std::vector<SyslogLine>{{std::nullopt, 0, LOG_LOCAL0, 134, "line 3 up"}}));
}

TEST_F(SysloglevelOutputTest, StatusLineOnTheConsoleFollowsTheTime) {
  NUV_Sysloglevel_set(0);
  NUV_Sysloglevel_statusinfo("monitor", "line 3 up");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042 line 3 up\n");
  EXPECT_TRUE(log_.take().empty());
}

TEST_F(SysloglevelOutputTest, StatusLinePrintsItsTextUnchanged) {
  NUV_Sysloglevel_setConsole(1);
  NUV_Sysloglevel_statusinfo("monitor", "%s %n 100%");
  EXPECT_EQ(log_.take()[0].text, "%s %n 100%");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042 %s %n 100%\n");
  NUV_Sysloglevel_statusinfo("monitor", nullptr);
  EXPECT_EQ(log_.take()[0].text, "");
  EXPECT_EQ(console_.take(), "Mar  5 09:04:07:042 \n");
}

// 26 bytes between guard bytes.
struct GuardedBuffer {
  static constexpr char kGuard = '#';

  GuardedBuffer() { bytes.fill(kGuard); }
  char* text() { return bytes.data() + 8; }
  // True if nothing outside the first size bytes was written.
  bool is_untouched_behind(uint32_t size) const {
    for (size_t i = 0; i < bytes.size(); ++i) {
      if ((i < 8 || i >= 8 + size) && bytes[i] != kGuard) {
        return false;
      }
    }
    return true;
  }

  std::array<char, 8 + 26 + 8> bytes;
};

TEST_F(SysloglevelOutputTest, TimestampIsDateTimeAndMilliseconds) {
  char text[26] = {};
  getTimestamp(text, sizeof text);
  EXPECT_STREQ(text, kStamp);
}

TEST_F(SysloglevelOutputTest, TimestampNeverWritesBehindItsBuffer) {
  for (uint32_t size = 0; size <= 26; ++size) {
    SCOPED_TRACE(size);
    GuardedBuffer buffer;
    getTimestamp(buffer.text(), size);
    EXPECT_TRUE(buffer.is_untouched_behind(size));
    if (size == 0) {
      continue;
    }
    const std::string expected = size < 17 ? "" : std::string(kStamp).substr(0, size - 2);
    EXPECT_EQ(std::string(buffer.text()), expected);
  }
}

TEST_F(SysloglevelOutputTest, TimestampFollowsTheWallClock) {
  const timeval base = stamp_time();
  constexpr time_t kDay = 86400;
  const struct {
    const char* name;
    timeval wall;
    const char* text;
  } kCases[] = {
      {"no milliseconds yet", {base.tv_sec, 999}, "Mar  5 09:04:07:000"},
      {"first millisecond", {base.tv_sec, 1000}, "Mar  5 09:04:07:001"},
      {"last millisecond", {base.tv_sec, 999999}, "Mar  5 09:04:07:999"},
      {"two digits of day", {base.tv_sec + 5 * kDay, 0}, "Mar 10 09:04:07:000"},
      {"start of time", {0, 0}, "Jan  1 00:00:00:000"},
      {"last second of a year", {31535999, 500000}, "Dec 31 23:59:59:500"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    clock_.set_wall(row.wall);
    char text[26] = {};
    getTimestamp(text, sizeof text);
    EXPECT_STREQ(text, row.text);
  }
}

// The date is computed once for each second.
TEST_F(SysloglevelOutputTest, TimestampKeepsTheDateForItsSecond) {
  const timeval base = stamp_time();
  clock_.set_wall({base.tv_sec + 1, 999999});
  char text[26] = {};
  getTimestamp(text, sizeof text);
  {
    const support::FaultInjector counter("localtime_r", INT_MAX, 0);
    clock_.set_wall({base.tv_sec + 1, 1000});
    getTimestamp(text, sizeof text);
    EXPECT_STREQ(text, "Mar  5 09:04:08:001");
    EXPECT_EQ(counter.calls(), 0);
    clock_.set_wall(base);
    getTimestamp(text, sizeof text);
    EXPECT_STREQ(text, kStamp);
    EXPECT_EQ(counter.calls(), 1);
  }
}

// The cached rule of the zone is compared as a whole, and a rule too long for the cache never matches another.
TEST_F(SysloglevelOutputTest, TimestampTellsZonesApart) {
  const std::string padding(80, 'A');
  const struct {
    std::string zone;
    const char* text;
  } kCases[] = {
      {"EST5", "Mar  5 04:04:07:042"},
      {"EST5EDT,M3.1.0,M11.1.0", "Mar  5 05:04:07:042"},
      {"EST6", "Mar  5 03:04:07:042"},
      {"", kStamp},
      {padding + "5", "Mar  5 04:04:07:042"},
      {padding + "6", "Mar  5 03:04:07:042"},
      {padding.substr(0, 39) + "7", "Mar  5 02:04:07:042"},
      {padding.substr(0, 38) + "8", "Mar  5 01:04:07:042"},
  };
  for (const auto& before : kCases) {
    for (const auto& row : kCases) {
      char text[26] = {};
      setenv("TZ", before.zone.c_str(), 1);
      getTimestamp(text, sizeof text);
      EXPECT_STREQ(text, before.text) << before.zone;
      setenv("TZ", row.zone.c_str(), 1);
      getTimestamp(text, sizeof text);
      EXPECT_STREQ(text, row.text) << row.zone;
    }
  }
}

// A daemon may set TZ while it runs, without calling tzset().
TEST_F(SysloglevelOutputTest, TimestampIsLocalTime) {
  char text[26] = {};
  setenv("TZ", "MEZ-1MESZ,M3.5.0,M10.5.0/3", 1);
  getTimestamp(text, sizeof text);
  EXPECT_STREQ(text, "Mar  5 10:04:07:042");
  setenv("TZ", "EST5", 1);
  getTimestamp(text, sizeof text);
  EXPECT_STREQ(text, "Mar  5 04:04:07:042");
}

TEST_F(SysloglevelOutputTest, TimestampOfATimeWithoutDateIsEmpty) {
  if (sizeof(time_t) < 8) {
    GTEST_SKIP() << "every time_t has a date";
  }
  clock_.set_wall({std::numeric_limits<time_t>::max(), 42000});
  char text[26] = "left over";
  getTimestamp(text, sizeof text);
  EXPECT_STREQ(text, "");
}

// strftime() may also fail because a locale's month names are too long for the buffer.
TEST_F(SysloglevelOutputTest, TimestampStartsAt1970WithoutAClockAndIsEmptyWithoutADate) {
  const struct {
    const char* function;
    const char* text;
  } kCases[] = {
      {"gettimeofday", "Jan  1 00:00:00:000"},
      {"localtime_r", ""},
      {"strftime", ""},
  };
  for (const auto& row : kCases) {
    for (uint32_t size = 17; size <= 26; ++size) {
      each_fault(row.function, {EINVAL, EINTR}, [&](Fault& fault) {
        rename_utc();
        GuardedBuffer buffer;
        fault.during([&] { getTimestamp(buffer.text(), size); });
        EXPECT_EQ(buffer.text(), std::string(fault.has_struck() ? row.text : kStamp).substr(0, size - 2));
        EXPECT_TRUE(buffer.is_untouched_behind(size));
      });
    }
  }
}

// Passes if it returns.
TEST_F(SysloglevelOutputTest, TimestampIgnoresNull) {
  getTimestamp(nullptr, 0);
  getTimestamp(nullptr, 26);
}

TEST_F(SysloglevelOutputTest, LinesAreWrittenWithoutATime) {
  for (const char* function : {"gettimeofday", "localtime_r", "strftime"}) {
    each_fault(function, {EINVAL, EINTR}, [&](Fault& fault) {
      NUV_Sysloglevel_set(0);
      fault.during([&] {
        rename_utc();
        NUV_Sysloglevel_assert("nuv_frame", 42, "text");
        rename_utc();
        NUV_Sysloglevel_statusinfo("phoned", "running");
      });
      const std::string without = function == std::string("gettimeofday") ? "Jan  1 00:00:00:000" : "";
      EXPECT_EQ(console_.take(), (fault.nth() == 1 ? without : kStamp) + ": error: nuv_frame:42   text\n" +
                                     (fault.nth() == 2 ? without : kStamp) + " running\n");
    });
  }
}

}  // namespace
