#include "nuv_assert.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "core/contract.h"
#include "doubles/captured_stdout.h"
#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_loop.h"
#include "doubles/syslog_double.h"
#include "doubles/time_zone.h"
#include "nuv_sysloglevel.h"

namespace {

using support::CapturedStdout;
using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::FakeClock;
using support::Fault;
using support::rename_utc;
using support::Report;
using support::Reports;
using support::require_report;
using support::SyslogDouble;
using support::SyslogLine;
using support::TimeZone;

// The family name under which the macros in this file report.
constexpr char kFamily[] = "nuv_contracttest";

constexpr char kNullObject[] = "((void *)0) != a_this";

// The texts that reached the system log.
std::vector<std::string> texts(const std::vector<SyslogLine>& lines) {
  std::vector<std::string> result;
  std::transform(lines.begin(), lines.end(), std::back_inserter(result),
                 [](const SyslogLine& line) { return line.text; });
  return result;
}

// Runs before the other tests of this file install handlers, so it sees the handler that the library starts with.
TEST(AssertDefaultHandler, WritesTheReportAndExitsWithMinusOne) {
  const ChildProcess child([] {
    const TimeZone zone("UTC0");
    FakeClock clock;
    clock.set_wall({0, 0});
    NUV_Sysloglevel_set(0);
    atexit([] { std::puts("exit handlers ran"); });
    NUV_Assert_failed(NUV_ASSERT_REQUIRE, "nuv_frame", 42, kNullObject);
    std::puts("went on");
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
  EXPECT_EQ(child.out(),
            "Jan  1 00:00:00:000: error: nuv_frame:42   :require failed:((void *)0) != a_this\n\n"
            "exit handlers ran\n");
  EXPECT_EQ(child.err(), "");
}

TEST(AssertDefaultHandler, EndsTheProcessForEveryClass) {
  for (const uint32_t type : {NUV_ASSERT_NO_ERROR, NUV_ASSERT_RESOURCE}) {
    SCOPED_TRACE(type);
    const ChildProcess child([type] { NUV_Assert_failed(type, nullptr, 0, nullptr); });
    EXPECT_TRUE(child.has_exited(255)) << child.outcome();
  }
}

TEST(AssertDefaultHandler, IsRestoredByInstallingNull) {
  const ChildProcess child([] {
    NUV_Assert_setErrorHandler([](uint32_t, const char*, uint32_t, const char*) { _exit(7); });
    NUV_Assert_setErrorHandler(nullptr);
    NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "x");
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
}

TEST(AssertHandler, CallsTheOneInstalledLast) {
  const ChildProcess child([] {
    NUV_Assert_setErrorHandler([](uint32_t, const char*, uint32_t, const char*) { _exit(7); });
    NUV_Assert_setErrorHandler([](uint32_t, const char*, uint32_t, const char*) { _exit(8); });
    NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "x");
  });
  EXPECT_TRUE(child.has_exited(8)) << child.outcome();
}

// Contract reports in the system log, with a recorder as the error handler.
class AssertReportTest : public ::testing::Test {
 protected:
  // The text that one failed contract logs, without the prefix that Sysloglevel adds.
  std::string message_of(uint32_t type, const char* expression) {
    NUV_Assert_failed(type, "nuv_frame", 42, expression);
    contracts_.take();
    const std::vector<SyslogLine> lines = log_.take();
    const std::string prefix = "error: nuv_frame:42   ";
    if (lines.size() != 1 || lines[0].text.compare(0, prefix.size(), prefix) != 0) {
      ADD_FAILURE() << "expected exactly one report of nuv_frame:42";
      return "";
    }
    return lines[0].text.substr(prefix.size());
  }

  SyslogDouble log_;
  ContractRecorder contracts_;
};

// A report is printed even if its time stamp cannot be computed.
TEST_F(AssertReportTest, IsPrintedWhenTheClockFails) {
  const TimeZone zone;
  CapturedStdout console;
  for (const char* function : {"access", "gettimeofday", "localtime_r", "strftime"}) {
    each_fault(function, {EINVAL, EINTR}, [&](Fault& fault) {
      fault.during([] {
        NUV_Sysloglevel_set(0);
        rename_utc();
        NUV_Assert_failed(NUV_ASSERT_REQUIRE, "nuv_frame", 42, kNullObject);
      });
      NUV_Sysloglevel_set(1);
      const std::string line = console.take();
      EXPECT_NE(line.find(": error: nuv_frame:42   :require failed:((void *)0) != a_this\n\n"), std::string::npos)
          << line;
      EXPECT_EQ(contracts_.take(), Reports{require_report("nuv_frame", kNullObject)});
    });
  }
}

TEST_F(AssertReportTest, NamesTheClass) {
  const struct {
    uint32_t type;
    const char* message;
  } kCases[] = {
      {NUV_ASSERT_NO_ERROR, ":no error:i < 60\n"},
      {NUV_ASSERT_REQUIRE, ":require failed:i < 60\n"},
      {NUV_ASSERT_ENSURE, ":ensure failed:i < 60\n"},
      {NUV_ASSERT_CHECK, ":check failed:i < 60\n"},
      {NUV_ASSERT_NULL_POINTER, ":null pointer:i < 60\n"},
      {NUV_ASSERT_RESOURCE, ":resource error:i < 60\n"},
      {6, ":unknown error:i < 60\n"},
      {7, ":unknown error:i < 60\n"},
      {1000, ":unknown error:i < 60\n"},
      {0x7FFFFFFF, ":unknown error:i < 60\n"},
      {0x80000000, ":unknown error:i < 60\n"},
      {0xFFFFFFFF, ":unknown error:i < 60\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.type);
    EXPECT_EQ(message_of(row.type, "i < 60"), row.message);
  }
}

TEST_F(AssertReportTest, ClassesHaveFixedNumbers) {
  EXPECT_EQ(NUV_ASSERT_NO_ERROR, 0U);
  EXPECT_EQ(NUV_ASSERT_REQUIRE, 1U);
  EXPECT_EQ(NUV_ASSERT_ENSURE, 2U);
  EXPECT_EQ(NUV_ASSERT_CHECK, 3U);
  EXPECT_EQ(NUV_ASSERT_NULL_POINTER, 4U);
  EXPECT_EQ(NUV_ASSERT_RESOURCE, 5U);
}

TEST_F(AssertReportTest, GoesToTheLogAsOneErrorLine) {
  NUV_Assert_failed(NUV_ASSERT_REQUIRE, "nuv_frame", 42, kNullObject);
  contracts_.take();
  const std::vector<SyslogLine> lines = log_.take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].priority, 11);
  EXPECT_EQ(lines[0].text, "error: nuv_frame:42   :require failed:((void *)0) != a_this\n");
}

TEST_F(AssertReportTest, PrintsTheBaseNameWhileTheHandlerGetsThePath) {
  NUV_Assert_failed(NUV_ASSERT_ENSURE, "platform/userlib/source/nuv_frame", 7, "x");
  EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_ENSURE, "platform/userlib/source/nuv_frame", "x"}}));
  EXPECT_EQ(texts(log_.take()), std::vector<std::string>{"error: nuv_frame:7   :ensure failed:x\n"});
}

// The message buffer has 256 bytes: 14 for ":check failed:", one for the newline and one for the terminator.
TEST_F(AssertReportTest, IsCutTo255Characters) {
  const std::string prefix = ":check failed:";
  const struct {
    const char* name;
    size_t length;
    std::string expected_end;
  } kCases[] = {
      {"room for one more", 239, "x\n"}, {"just fits", 240, "x\n"},    {"newline falls off", 241, "xx"},
      {"text falls off", 242, "xx"},     {"far too long", 5000, "xx"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const std::string expression(row.length, 'x');
    const std::string message = message_of(NUV_ASSERT_CHECK, expression.c_str());
    EXPECT_EQ(message, (prefix + expression + "\n").substr(0, 255));
    EXPECT_EQ(message.size(), std::min<size_t>(prefix.size() + row.length + 1, 255));
    EXPECT_EQ(message.substr(message.size() - 2), row.expected_end);
  }
}

TEST_F(AssertReportTest, HandlerGetsTheWholeTextOfALongReport) {
  const std::string expression(1000, 'x');
  const std::string file = "some/" + std::string(1000, 'f');
  NUV_Assert_failed(NUV_ASSERT_CHECK, file.c_str(), 1, expression.c_str());
  EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_CHECK, file, expression}}));
}

TEST_F(AssertReportTest, PrintsPercentSignsLiterally) {
  EXPECT_EQ(message_of(NUV_ASSERT_CHECK, "a % 2 == 0 %s%n%d"), ":check failed:a % 2 == 0 %s%n%d\n");
}

TEST_F(AssertReportTest, AcceptsEmptyTexts) {
  NUV_Assert_failed(NUV_ASSERT_CHECK, "", 0, "");
  EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_CHECK, "", ""}}));
  EXPECT_EQ(texts(log_.take()), std::vector<std::string>{"error: :0   :check failed:\n"});
}

TEST_F(AssertReportTest, NullTextsReadAsEmptyAndReachTheHandlerAsNull) {
  const struct {
    const char* name;
    const char* file;
    const char* expression;
    const char* line;
  } kCases[] = {
      {"both", nullptr, nullptr, "error: :9   :check failed:\n"},
      {"file", nullptr, "x", "error: :9   :check failed:x\n"},
      {"expression", "nuv_frame", nullptr, "error: nuv_frame:9   :check failed:\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Assert_failed(NUV_ASSERT_CHECK, row.file, 9, row.expression);
    const Reports reports = contracts_.take();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].file.has_value(), row.file != nullptr);
    EXPECT_EQ(reports[0].text.has_value(), row.expression != nullptr);
    EXPECT_EQ(texts(log_.take()), std::vector<std::string>{row.line});
  }
}

// The arguments of a handler call; the pointers are compared, too.
struct HandlerCall {
  uint32_t type;
  const char* file;
  uint32_t line;
  const char* expression;
  size_t lines_before;  // log lines at the start of the handler
};

SyslogDouble* g_log = nullptr;
std::vector<HandlerCall> g_calls;

// Restores the default handler after each test.
class AssertHandlerTest : public ::testing::Test {
 protected:
  AssertHandlerTest() {
    g_log = &log_;
    g_calls.clear();
  }
  ~AssertHandlerTest() override { NUV_Assert_setErrorHandler(nullptr); }

  static void note(uint32_t type, const char* file, uint32_t line, const char* expression) {
    g_calls.push_back({type, file, line, expression, g_log->take().size()});
  }

  // Violates a contract itself on the first call.
  static void note_and_violate_once(uint32_t type, const char* file, uint32_t line, const char* expression) {
    note(type, file, line, expression);
    if (g_calls.size() == 1) {
      NUV_Assert_failed(NUV_ASSERT_ENSURE, "inner", 2, "inner text");
    }
  }

  static void note_and_hand_over(uint32_t type, const char* file, uint32_t line, const char* expression) {
    note(type, file, line, expression);
    NUV_Assert_setErrorHandler([](uint32_t, const char*, uint32_t, const char*) { g_calls.clear(); });
  }

  SyslogDouble log_;
};

TEST_F(AssertHandlerTest, GetsTheCallersOwnPointersAfterTheReportWasWritten) {
  NUV_Assert_setErrorHandler(note);
  const char file[] = "dir/nuv_frame";
  const char expression[] = "x > 0";
  NUV_Assert_failed(0xFFFFFFFF, file, 0xFFFFFFFE, expression);
  ASSERT_EQ(g_calls.size(), 1U);
  EXPECT_EQ(g_calls[0].type, 0xFFFFFFFF);
  EXPECT_EQ(g_calls[0].file, file);
  EXPECT_EQ(g_calls[0].line, 0xFFFFFFFE);
  EXPECT_EQ(g_calls[0].expression, expression);
  EXPECT_EQ(g_calls[0].lines_before, 1U);
}

TEST_F(AssertHandlerTest, IsCalledOncePerFailureAndStaysInstalled) {
  NUV_Assert_setErrorHandler(note);
  for (uint32_t line = 1; line <= 3; ++line) {
    NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", line, "x");
  }
  ASSERT_EQ(g_calls.size(), 3U);
  EXPECT_EQ(g_calls[0].line, 1U);
  EXPECT_EQ(g_calls[2].line, 3U);
}

TEST_F(AssertHandlerTest, MayViolateAContractItself) {
  NUV_Assert_setErrorHandler(note_and_violate_once);
  NUV_Assert_failed(NUV_ASSERT_REQUIRE, "outer", 1, "outer text");
  ASSERT_EQ(g_calls.size(), 2U);
  EXPECT_STREQ(g_calls[0].file, "outer");
  EXPECT_STREQ(g_calls[0].expression, "outer text");
  EXPECT_EQ(g_calls[0].lines_before, 1U);
  EXPECT_STREQ(g_calls[1].file, "inner");
  EXPECT_STREQ(g_calls[1].expression, "inner text");
  EXPECT_EQ(g_calls[1].lines_before, 1U);
  EXPECT_TRUE(log_.take().empty()) << "two failures log two lines";
}

TEST_F(AssertHandlerTest, MayInstallAnother) {
  NUV_Assert_setErrorHandler(note_and_hand_over);
  NUV_Assert_failed(NUV_ASSERT_REQUIRE, "first", 1, "x");
  EXPECT_EQ(g_calls.size(), 1U);
  NUV_Assert_failed(NUV_ASSERT_REQUIRE, "second", 1, "x");
  EXPECT_TRUE(g_calls.empty()) << "the new handler clears the recorded calls";
}

TEST(AssertFunctions, IsNullTellsNullFromOthers) {
  const int object = 0;
  EXPECT_EQ(is_null(nullptr), 1);
  EXPECT_EQ(is_null(&object), 0);
  EXPECT_EQ(is_null(""), 0);
}

TEST(AssertFunctions, IllegalBranchesReturnZero) {
  EXPECT_EQ(illegal_else(), 0);
  EXPECT_EQ(illegal_default(), 0);
}

TEST(AssertVersion, IsOneFourThree) {
  EXPECT_EQ(NUV_Userlib_getVersionMajor(), 1U);
  EXPECT_EQ(NUV_Userlib_getVersionMinor(), 4U);
  EXPECT_EQ(NUV_Userlib_getVersionPatch(), 3U);
  EXPECT_STREQ(NUV_Userlib_getVersionString(), "userlib-1.4.3");
  EXPECT_EQ(NUV_Userlib_getVersionString(), NUV_Userlib_getVersionString()) << "static storage";
}

TEST(AssertVersion, MacrosAgreeWithTheFunctions) {
  static_assert(NUV_USERLIB_VERSION_MAJOR == 1);
  static_assert(NUV_USERLIB_VERSION_MINOR == 4);
  static_assert(NUV_USERLIB_VERSION_PATCH == 3);
  const std::string from_macros = "userlib-" + std::to_string(NUV_USERLIB_VERSION_MAJOR) + "." +
                                  std::to_string(NUV_USERLIB_VERSION_MINOR) + "." +
                                  std::to_string(NUV_USERLIB_VERSION_PATCH);
  EXPECT_EQ(NUV_Userlib_getVersionString(), from_macros);
}

TEST(AssertVersion, AcceptsTheSameMajorAndNoNewerMinor) {
  const struct {
    uint32_t major;
    uint32_t minor;
    int32_t expected;
  } kCases[] = {
      {1, 0, 1},          {1, 1, 1},          {1, 3, 1},          {1, 4, 1},          {1, 5, 0}, {1, 6, 0},
      {1, 0x7FFFFFFF, 0}, {1, 0x80000000, 0}, {1, 0xFFFFFFFF, 0}, {0, 0, 0},          {0, 4, 0}, {0, 0xFFFFFFFF, 0},
      {2, 0, 0},          {2, 4, 0},          {0x101, 4, 0},      {0xFFFFFFFF, 4, 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::to_string(row.major) + "." + std::to_string(row.minor));
    EXPECT_EQ(NUV_Userlib_checkVersion(row.major, row.minor), row.expected);
  }
}

// The macros that the library's sources use to check contracts.
class ContractMacrosTest : public ::testing::Test {
 protected:
  ContractRecorder contracts_;
};

int twice(int number, int factor = 2) {
  return number * factor;
}

TEST_F(ContractMacrosTest, ReportTheirClass) {
  const bool holds = false;
  NUV_REQUIRE(holds);
  NUV_ENSURE(holds);
  NUV_CHECK(holds);
  NUV_NOT_NULL(holds);
  NUV_RESOURCE(holds);
  NUV_REQUIRE_TEXT(holds, "of arguments");
  NUV_ENSURE_TEXT(holds, "of results");
  EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_REQUIRE, kFamily, "holds"},
                                        {NUV_ASSERT_ENSURE, kFamily, "holds"},
                                        {NUV_ASSERT_CHECK, kFamily, "holds"},
                                        {NUV_ASSERT_NULL_POINTER, kFamily, "holds"},
                                        {NUV_ASSERT_RESOURCE, kFamily, "holds"},
                                        {NUV_ASSERT_REQUIRE, kFamily, "of arguments"},
                                        {NUV_ASSERT_ENSURE, kFamily, "of results"}}));
}

TEST_F(ContractMacrosTest, DoNothingWhileTheConditionHolds) {
  const int number = 1;
  const int* a_this = &number;
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_ENSURE(number);
  NUV_CHECK(number == 1);
  NUV_NOT_NULL(a_this);
  NUV_RESOURCE(twice( number) == 2);
  NUV_REQUIRE_TEXT(a_this != nullptr, "of arguments");
  NUV_ENSURE_TEXT(number == 1, "of results");
  EXPECT_EQ(contracts_.take(), Reports{});
}

// The preprocessor keeps whether two tokens have white space between them, but not how much.
TEST_F(ContractMacrosTest, KeepTheTextIncludingSpaces) {
  static const int* const a_this = nullptr;
  static const int i = 60;
  static const char path[] = "";
  const struct {
    void (*check)();
    const char* text;
  } kCases[] = {
      {[] { NUV_REQUIRE(((void *)0) != a_this); }, "((void *)0) != a_this"},
      {[] { NUV_REQUIRE(((void*)0) != a_this); }, "((void*)0) != a_this"},
      {[] { NUV_REQUIRE(NULL != a_this); }, "NULL != a_this"},
      {[] { NUV_REQUIRE(0 != a_this); }, "0 != a_this"},
      {[] { NUV_REQUIRE(0 == is_null(a_this)); }, "0 == is_null(a_this)"},
      {[] { NUV_REQUIRE(i < 60); }, "i < 60"},
      {[] { NUV_REQUIRE(i<60); }, "i<60"},
      {[] { NUV_REQUIRE( i  <   60 ); }, "i < 60"},
      {[] { NUV_REQUIRE(twice( i) == 1); }, "twice( i) == 1"},
      {[] { NUV_REQUIRE(twice( i, 3) == 1); }, "twice( i, 3) == 1"},
      {[] { NUV_REQUIRE(twice(i,3)==1); }, "twice(i,3)==1"},
      {[] { NUV_REQUIRE(twice (i) == 1); }, "twice (i) == 1"},
      {[] { NUV_REQUIRE(i % 7 == 0 && i > 1); }, "i % 7 == 0 && i > 1"},
      {[] { NUV_REQUIRE(i == 1 || i == 2); }, "i == 1 || i == 2"},
      {[] { NUV_REQUIRE(path[0] == '\\'); }, "path[0] == '\\\\'"},
      {[] { NUV_REQUIRE(*path == *"%s\n"); }, "*path == *\"%s\\n\""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.text);
    row.check();
    EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_REQUIRE, kFamily, row.text}}));
  }
}

// The outermost macro stringizes its argument, before NULL or another macro in it is expanded.
TEST_F(ContractMacrosTest, DoNotExpandMacrosInTheText) {
  const int* a_this = nullptr;
  const int number = 0;
  NUV_ENSURE(NULL != a_this);
  NUV_CHECK(NULL != a_this);
  NUV_NOT_NULL(NULL != a_this);
  NUV_RESOURCE(number == NUV_USERLIB_VERSION_MINOR);
  EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_ENSURE, kFamily, "NULL != a_this"},
                                        {NUV_ASSERT_CHECK, kFamily, "NULL != a_this"},
                                        {NUV_ASSERT_NULL_POINTER, kFamily, "NULL != a_this"},
                                        {NUV_ASSERT_RESOURCE, kFamily, "number == NUV_USERLIB_VERSION_MINOR"}}));
}

TEST_F(ContractMacrosTest, ReportAGivenTextInsteadOfTheCondition) {
  void (*const callback)() = nullptr;
  NUV_REQUIRE_TEXT(callback != nullptr, "((void *)0) != a_recvfunc");
  NUV_ENSURE_TEXT(twice(1, 1) == 2, "((void *)0) != result");
  EXPECT_EQ(contracts_.take(), (Reports{{NUV_ASSERT_REQUIRE, kFamily, "((void *)0) != a_recvfunc"},
                                        {NUV_ASSERT_ENSURE, kFamily, "((void *)0) != result"}}));
}

TEST_F(ContractMacrosTest, EvaluateTheConditionOnce) {
  int count = 0;
  NUV_REQUIRE(++count > 0);
  EXPECT_EQ(count, 1);
  NUV_ENSURE(++count > 0);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(contracts_.take(), Reports{});

  NUV_CHECK(++count == 0);
  EXPECT_EQ(count, 3);
  NUV_NOT_NULL(++count == 0);
  EXPECT_EQ(count, 4);
  NUV_RESOURCE(++count == 0);
  EXPECT_EQ(count, 5);
  NUV_REQUIRE_TEXT(++count == 0, "count");
  EXPECT_EQ(count, 6);
  NUV_ENSURE_TEXT(++count == 0, "count");
  EXPECT_EQ(count, 7);
  EXPECT_EQ(contracts_.take().size(), 5U);
}

TEST_F(ContractMacrosTest, ReportTheLineTheyStandIn) {
  const bool holds = false;
  const uint32_t line = __LINE__;
  NUV_REQUIRE(holds);
  NUV_ENSURE(holds);
  NUV_CHECK(holds);
  NUV_NOT_NULL(holds);
  NUV_RESOURCE(holds);
  NUV_REQUIRE_TEXT(holds, "holds");
  NUV_ENSURE_TEXT(holds, "holds");
  const Reports reports = contracts_.take();
  ASSERT_EQ(reports.size(), 7U);
  for (uint32_t i = 0; i < 7; ++i) {
    EXPECT_EQ(reports[i].line, line + 1 + i);
  }
}

// The else belongs to the if before the macro, with and without a failure.
TEST_F(ContractMacrosTest, AreOneStatementInAnIfWithoutBraces) {
  for (const bool is_checked : {true, false}) {
    SCOPED_TRACE(is_checked);
    const bool holds = false;
    bool was_else = false;
    // clang-format off
    if (is_checked)
      NUV_REQUIRE(holds);
    else
      was_else = true;
    // clang-format on
    EXPECT_EQ(was_else, !is_checked);
    EXPECT_EQ(contracts_.take().size(), is_checked ? 1U : 0U);
  }
}

TEST_F(ContractMacrosTest, AreOneStatementInAnElseWithoutBraces) {
  for (const bool is_checked : {true, false}) {
    SCOPED_TRACE(is_checked);
    const bool holds = false;
    // clang-format off
    if (!is_checked)
      static_cast<void>(0);
    else
      NUV_CHECK(holds);
    // clang-format on
    EXPECT_EQ(contracts_.take().size(), is_checked ? 1U : 0U);
  }
}

TEST_F(ContractMacrosTest, ContinueAfterAHandlerThatReturns) {
  bool went_on = false;
  [&] {
    NUV_REQUIRE(!went_on && 1 > 2);
    went_on = true;
  }();
  EXPECT_TRUE(went_on);
  EXPECT_EQ(contracts_.take().size(), 1U);
}

}  // namespace
