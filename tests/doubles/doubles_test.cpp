// Tests of the doubles and recorders that the other tests use.
#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/fake_clock.h"
#include "doubles/fake_files.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "doubles/first_report.h"
#include "doubles/syslog_double.h"
#include "doubles/time_zone.h"
#include "doubles/udp_peer.h"
#include "nuv_assert.h"

namespace {

using support::CapturedStdout;
using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::FakeClock;
using support::FakeFiles;
using support::Fault;
using support::FaultInjector;
using support::first_report;
using support::redirected_path;
using support::Report;
using support::Reports;
using support::SelectAnswer;
using support::SelectCall;
using support::SyslogDouble;
using support::SyslogLine;
using support::TimeZone;

template <typename T>
std::string printed(const T& value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

TEST(SupportContractRecorder, KeepsReportsInOrder) {
  ContractRecorder contracts;
  EXPECT_EQ(contracts.take(), Reports{});
  NUV_Assert_failed(NUV_ASSERT_REQUIRE, "nuv_first", 1, "a");
  NUV_Assert_failed(NUV_ASSERT_ENSURE, "nuv_second", 2, "b");
  const Reports reports = contracts.take();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0].type, NUV_ASSERT_REQUIRE);
  EXPECT_EQ(reports[0].file, "nuv_first");
  EXPECT_EQ(reports[0].line, 1U);
  EXPECT_EQ(reports[0].text, "a");
  EXPECT_EQ(reports[1].type, NUV_ASSERT_ENSURE);
  EXPECT_EQ(reports[1].file, "nuv_second");
  EXPECT_EQ(reports[1].line, 2U);
  EXPECT_EQ(reports[1].text, "b");
  EXPECT_EQ(contracts.take(), Reports{}) << "reports are returned once";
}

TEST(SupportContractRecorder, CopiesTheTexts) {
  ContractRecorder contracts;
  char file[] = "nuv_frame";
  char text[] = "x > 0";
  NUV_Assert_failed(NUV_ASSERT_CHECK, file, 1, text);
  file[0] = text[0] = '?';
  EXPECT_EQ(contracts.take(), (Reports{{NUV_ASSERT_CHECK, "nuv_frame", "x > 0"}}));
}

TEST(SupportContractRecorder, TellsNullFromEmpty) {
  ContractRecorder contracts;
  NUV_Assert_failed(NUV_ASSERT_CHECK, nullptr, 1, nullptr);
  NUV_Assert_failed(NUV_ASSERT_CHECK, "", 1, "");
  EXPECT_EQ(contracts.take(), (Reports{{NUV_ASSERT_CHECK, std::nullopt, std::nullopt}, {NUV_ASSERT_CHECK, "", ""}}));
}

TEST(SupportContractRecorder, FailsTheTestForEachReportNotTaken) {
  EXPECT_NONFATAL_FAILURE(
      {
        ContractRecorder contracts;
        NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 3, "x > 0");
      },
      "unexpected contract report: {class 3, file nuv_frame, line 3, text x > 0}");
}

TEST(SupportContractRecorder, InnerOneTakesOverDuringItsLifetime) {
  ContractRecorder outer;
  NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "before");
  {
    ContractRecorder inner;
    NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "during");
    EXPECT_EQ(inner.take(), (Reports{{NUV_ASSERT_CHECK, "nuv_frame", "during"}}));
  }
  NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "after");
  EXPECT_EQ(outer.take(),
            (Reports{{NUV_ASSERT_CHECK, "nuv_frame", "before"}, {NUV_ASSERT_CHECK, "nuv_frame", "after"}}));
}

TEST(SupportContractRecorder, RestoresTheDefaultHandler) {
  const ChildProcess child([] {
    { const ContractRecorder contracts; }
    NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "x > 0");
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
}

TEST(SupportReport, ComparesClassFileAndText) {
  const Report report = {NUV_ASSERT_CHECK, "nuv_frame", "x > 0", 1};
  EXPECT_EQ(report, (Report{NUV_ASSERT_CHECK, "nuv_frame", "x > 0", 2}));
  EXPECT_NE(report, (Report{NUV_ASSERT_ENSURE, "nuv_frame", "x > 0", 1}));
  EXPECT_NE(report, (Report{NUV_ASSERT_CHECK, "nuv_message", "x > 0", 1}));
  EXPECT_NE(report, (Report{NUV_ASSERT_CHECK, "nuv_frame", "x > 1", 1}));
  EXPECT_NE(report, (Report{NUV_ASSERT_CHECK, "nuv_frame", std::nullopt, 1}));
  EXPECT_NE((Report{NUV_ASSERT_CHECK, "nuv_frame", ""}), (Report{NUV_ASSERT_CHECK, "nuv_frame", std::nullopt}));
}

TEST(SupportReport, ShorthandsNameTheClass) {
  EXPECT_EQ(support::require_report("nuv_frame", "x"), (Report{NUV_ASSERT_REQUIRE, "nuv_frame", "x"}));
  EXPECT_EQ(support::ensure_report("nuv_frame", "x"), (Report{NUV_ASSERT_ENSURE, "nuv_frame", "x"}));
  EXPECT_EQ(support::check_report("nuv_frame", "x"), (Report{NUV_ASSERT_CHECK, "nuv_frame", "x"}));
}

TEST(SupportReport, PrintsItself) {
  EXPECT_EQ(printed(Report{2, "nuv_frame", "x > 0", 42}), "{class 2, file nuv_frame, line 42, text x > 0}");
  EXPECT_EQ(printed(Report{}), "{class 0, file (null), line 0, text (null)}");
}

TEST(SupportFirstReport, IsTheFirstOfTheCall) {
  const Report report = first_report([] {
    NUV_Assert_failed(NUV_ASSERT_ENSURE, "nuv_frame", 42, "((void *)0) != a_this");
    NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_other", 43, "never reached");
  });
  EXPECT_EQ(report, (Report{NUV_ASSERT_ENSURE, "nuv_frame", "((void *)0) != a_this"}));
  EXPECT_EQ(report.line, 42U);
}

TEST(SupportFirstReport, IsEmptyWithoutAReport) {
  EXPECT_EQ(first_report([] {}), Report{});
  EXPECT_EQ(first_report([] { std::abort(); }), Report{});
}

TEST(SupportFirstReport, EndsTheCallBeforeItCrashes) {
  EXPECT_EQ(first_report([] {
              NUV_Assert_failed(NUV_ASSERT_REQUIRE, "nuv_frame", 1, "x");
              std::abort();
            }),
            support::require_report("nuv_frame", "x"));
}

TEST(SupportFirstReport, KeepsTheHandlerOfTheTest) {
  ContractRecorder contracts;
  first_report([] { NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "there"); });
  EXPECT_EQ(contracts.take(), Reports{});
  NUV_Assert_failed(NUV_ASSERT_CHECK, "nuv_frame", 1, "here");
  EXPECT_EQ(contracts.take().size(), 1U);
}

TEST(SupportCapturedStdout, ReturnsTheOutputSinceTheLastCall) {
  CapturedStdout out;
  EXPECT_EQ(out.take(), "");
  std::printf("one %d\n", 1);
  EXPECT_EQ(out.take(), "one 1\n");
  EXPECT_EQ(out.take(), "");
  std::printf("two");
  ASSERT_EQ(write(STDOUT_FILENO, "three", 5), 5);
  EXPECT_EQ(out.take(), "threetwo") << "stdio output appears after a flush";
}

TEST(SupportCapturedStdout, TakesAnyAmountAndAnyByte) {
  CapturedStdout out;
  const std::string much(300000, 'x');
  std::fwrite(much.data(), 1, much.size(), stdout);
  EXPECT_EQ(out.take(), much);
  const std::string bytes("a\0b\xFF", 4);
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
  EXPECT_EQ(out.take(), bytes);
}

TEST(SupportCapturedStdout, RestoresTheRealOutput) {
  const ChildProcess child([] {
    std::printf("before,");
    {
      CapturedStdout out;
      std::printf("during,");
      out.take();
      std::printf("not taken,");
    }
    std::printf("after");
  });
  EXPECT_EQ(child.out(), "before,after");
}

TEST(SupportCapturedStdout, PrintsTheRestIfTheTestFails) {
  const ChildProcess child([] {
    CapturedStdout out;
    std::printf("taken,");
    out.take();
    ADD_FAILURE() << "expected failure";
  });
  EXPECT_EQ(child.out().find("taken,"), std::string::npos);
  EXPECT_NE(child.out().find("expected failure"), std::string::npos);
}

TEST(SupportCapturedStdout, LeaksNoDescriptor) {
  const int before = dup(STDOUT_FILENO);
  close(before);
  { const CapturedStdout out; }
  const int after = dup(STDOUT_FILENO);
  close(after);
  EXPECT_EQ(after, before);
}

TEST(SupportSyslogDouble, KeepsLinesWithTheirOptions) {
  SyslogDouble log;
  EXPECT_TRUE(log.take().empty());
  openlog("phoned", LOG_PID, LOG_USER);
  syslog(LOG_USER | LOG_ERR, "%s: %d", "line", 3);
  closelog();
  openlog(nullptr, 0, LOG_LOCAL0);
  syslog(LOG_LOCAL0 | LOG_INFO, "%s", "");
  closelog();
  const std::vector<SyslogLine> lines = log.take();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], (SyslogLine{"phoned", LOG_PID, LOG_USER, 11, "line: 3"}));
  EXPECT_EQ(lines[1], (SyslogLine{std::nullopt, 0, LOG_LOCAL0, 134, ""}));
  EXPECT_TRUE(log.take().empty());
}

TEST(SupportSyslogDouble, CopiesTheIdent) {
  SyslogDouble log;
  char ident[] = "phoned";
  openlog(ident, 0, LOG_USER);
  syslog(LOG_ERR, "%s", "x");
  closelog();
  ident[0] = '?';
  EXPECT_EQ(log.take()[0].ident, "phoned");
}

__attribute__((format(printf, 1, 2))) void log_with_arguments(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(LOG_WARNING, format, arguments);
  va_end(arguments);
}

TEST(SupportSyslogDouble, KeepsLinesWithAnArgumentList) {
  SyslogDouble log;
  openlog("phoned", 0, LOG_USER);
  log_with_arguments("%s %u", "line", 7U);
  closelog();
  EXPECT_EQ(log.take(), (std::vector<SyslogLine>{{"phoned", 0, LOG_USER, LOG_WARNING, "line 7"}}));
}

// Declared here, because only fortified builds declare and call it.
extern "C" void __syslog_chk(int priority, int flag, const char* format, ...);
extern "C" void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments);

void log_fortified(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  __vsyslog_chk(LOG_WARNING, 1, format, arguments);
  va_end(arguments);
}

TEST(SupportSyslogDouble, KeepsLinesOfFortifiedBuilds) {
  SyslogDouble log;
  openlog("phoned", 0, LOG_USER);
  __syslog_chk(LOG_ERR, 1, "%s %d", "checked", 1);
  closelog();
  openlog("phoned", 0, LOG_USER);
  log_fortified("%s %d", "checked", 2);
  closelog();
  EXPECT_EQ(log.take(), (std::vector<SyslogLine>{{"phoned", 0, LOG_USER, LOG_ERR, "checked 1"},
                                                 {"phoned", 0, LOG_USER, LOG_WARNING, "checked 2"}}));
}

TEST(SupportSyslogDouble, DropsLinesWithoutAnInstance) {
  openlog("phoned", 0, LOG_USER);
  syslog(LOG_ERR, "%s", "dropped");
  closelog();
  SyslogDouble log;
  EXPECT_TRUE(log.take().empty());
}

TEST(SupportSyslogDouble, FailsALineWithoutOpening) {
  SyslogDouble log;
  EXPECT_NONFATAL_FAILURE(syslog(LOG_ERR, "%s", "x"), "syslog() without an openlog() of its own: %s");
}

TEST(SupportSyslogDouble, FailsASecondLineInOneOpening) {
  SyslogDouble log;
  openlog("phoned", 0, LOG_USER);
  syslog(LOG_ERR, "%s", "first");
  EXPECT_NONFATAL_FAILURE(syslog(LOG_ERR, "%s", "second"), "syslog() without an openlog() of its own");
  closelog();
}

TEST(SupportSyslogDouble, FailsASecondOpening) {
  SyslogDouble log;
  openlog("phoned", 0, LOG_USER);
  EXPECT_NONFATAL_FAILURE(openlog("phoned", 0, LOG_USER), "openlog() while the log is open");
  syslog(LOG_ERR, "%s", "x");
  closelog();
}

TEST(SupportSyslogDouble, FailsAClosingWithoutOpeningOrLine) {
  SyslogDouble log;
  EXPECT_NONFATAL_FAILURE(closelog(), "closelog() without openlog() and syslog()");
  openlog("phoned", 0, LOG_USER);
  EXPECT_NONFATAL_FAILURE(closelog(), "closelog() without openlog() and syslog()");
  EXPECT_TRUE(log.take().empty()) << "neither was a line";
}

TEST(SupportSyslogDouble, FailsALogThatWasLeftOpen) {
  EXPECT_NONFATAL_FAILURE(
      {
        SyslogDouble log;
        openlog("phoned", 0, LOG_USER);
      },
      "the log was left open");
  const SyslogDouble log;
  openlog("phoned", 0, LOG_USER);
  syslog(LOG_ERR, "%s", "a new double starts with a closed log");
  closelog();
}

TEST(SupportSyslogDouble, PrintsItsLines) {
  EXPECT_EQ(printed(SyslogLine{"phoned", 1, 8, 11, "text"}),
            "{ident phoned, option 1, facility 8, priority 11, text \"text\"}");
  EXPECT_EQ(printed(SyslogLine{}), "{ident (null), option 0, facility 0, priority 0, text \"\"}");
}

TEST(SupportFakeFiles, RedirectOnlyThePathsOfTheDevice) {
  const FakeFiles files;
  for (const char* path : {"/etc/quiet", "/flash/phoned.ini", "/flash/a/b"}) {
    const std::string redirected = redirected_path(path);
    EXPECT_NE(redirected, path);
    EXPECT_EQ(redirected.substr(redirected.size() - std::string(path).size()), path);
  }
  for (const char* path : {"/etc/quiet2", "/etc/passwd", "/flash", "flash/x", "/tmp/flash/x", "relative", ""}) {
    EXPECT_EQ(redirected_path(path), path);
  }
}

TEST(SupportFakeFiles, DoNotExistWithoutADouble) {
  EXPECT_EQ(access("/etc/quiet", F_OK), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(open("/flash/phoned.ini", O_RDONLY), -1);
  EXPECT_EQ(fopen("/flash/phoned.ini", "w"), nullptr);
  EXPECT_EQ(unlink("/flash/phoned.ini"), -1);
}

TEST(SupportFakeFiles, ContainWhatTheTestWrites) {
  FakeFiles files;
  EXPECT_FALSE(files.exists("/flash/phoned.ini"));
  EXPECT_EQ(access("/flash/phoned.ini", F_OK), -1);
  const std::string content("a\nb\0c", 5);
  files.write("/flash/phoned.ini", content);
  EXPECT_TRUE(files.exists("/flash/phoned.ini"));
  EXPECT_EQ(access("/flash/phoned.ini", F_OK), 0);

  std::FILE* file = fopen("/flash/phoned.ini", "r");
  ASSERT_NE(file, nullptr);
  char buffer[8] = {};
  EXPECT_EQ(std::fread(buffer, 1, sizeof buffer, file), content.size());
  EXPECT_EQ(std::string(buffer, content.size()), content);
  std::fclose(file);

  const int fd = open("/flash/phoned.ini", O_RDONLY);
  ASSERT_GE(fd, 0);
  char first = '\0';
  EXPECT_EQ(read(fd, &first, 1), 1);
  EXPECT_EQ(first, 'a');
  close(fd);

  files.remove("/flash/phoned.ini");
  EXPECT_EQ(access("/flash/phoned.ini", F_OK), -1);
}

TEST(SupportFakeFiles, ContainWhatTheLibraryWrites) {
  FakeFiles files;
  std::FILE* file = fopen("/flash/phoned.ini", "w");
  ASSERT_NE(file, nullptr);
  std::fputs("Phoned 113\n", file);
  std::fclose(file);
  EXPECT_EQ(files.read("/flash/phoned.ini"), "Phoned 113\n");

  const int fd = open("/flash/new", O_WRONLY | O_CREAT, 0640);
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_TRUE(files.exists("/flash/new"));
  EXPECT_EQ(files.read("/flash/new"), "");
  EXPECT_EQ(unlink("/flash/new"), 0);
  EXPECT_FALSE(files.exists("/flash/new"));
}

TEST(SupportFakeFiles, AreRemovedAfterwards) {
  std::string place;
  {
    FakeFiles files;
    files.write("/etc/quiet", "");
    place = redirected_path("/etc/quiet");
    EXPECT_EQ(access(place.c_str(), F_OK), 0);
  }
  EXPECT_EQ(access(place.c_str(), F_OK), -1);
  EXPECT_EQ(access("/etc/quiet", F_OK), -1);
  FakeFiles files;
  EXPECT_FALSE(files.exists("/etc/quiet"));
}

TEST(SupportFakeClock, StandsStillUntilAdvanced) {
  FakeClock clock({5, 6});
  timespec now = {};
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &now), 0);
  EXPECT_EQ(now.tv_sec, 5);
  EXPECT_EQ(now.tv_nsec, 6000);
  clock.advance({1, 999999});
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &now), 0);
  EXPECT_EQ(now.tv_sec, 7);
  EXPECT_EQ(now.tv_nsec, 5000);
  EXPECT_EQ(clock.now().tv_sec, 7);
  EXPECT_EQ(clock.now().tv_usec, 5);
  clock.set({1, 2}, 345);
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &now), 0);
  EXPECT_EQ(now.tv_sec, 1);
  EXPECT_EQ(now.tv_nsec, 2345);
}

TEST(SupportFakeClock, HasAnIndependentWallClock) {
  FakeClock clock;
  clock.set_wall({1234567890, 42});
  clock.advance({100, 0});
  timeval wall = {};
  ASSERT_EQ(gettimeofday(&wall, nullptr), 0);
  EXPECT_EQ(wall.tv_sec, 1234567890);
  EXPECT_EQ(wall.tv_usec, 42);
  time_t seconds = 0;
  EXPECT_EQ(time(&seconds), 1234567890);
  EXPECT_EQ(seconds, 1234567890);
  EXPECT_EQ(time(nullptr), 1234567890);
}

TEST(SupportFakeClock, FakesNoOtherClocks) {
  const FakeClock clock({5, 0});
  timespec now = {};
  ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);
  EXPECT_GT(now.tv_sec, 1000000);
}

TEST(SupportFakeClock, LetsSelectThroughIfAsked) {
  FakeClock clock({5, 0});
  clock.let_select_through();
  support::TestPipe pipe;
  pipe.put("x");
  fd_set ready;
  FD_ZERO(&ready);
  FD_SET(pipe.read_end(), &ready);
  timeval wait = {0, 0};
  EXPECT_EQ(select(FD_SETSIZE, &ready, nullptr, nullptr, &wait), 1);
  EXPECT_TRUE(FD_ISSET(pipe.read_end(), &ready));
  EXPECT_TRUE(clock.take_selects().empty());
  timespec now = {};
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &now), 0);
  EXPECT_EQ(now.tv_sec, 5);
}

TEST(SupportFakeClock, CanFail) {
  FakeClock clock;
  timespec now = {};
  clock.fail_with(EPERM);
  EXPECT_EQ(clock_gettime(CLOCK_MONOTONIC, &now), -1);
  EXPECT_EQ(errno, EPERM);
  clock.fail_with(0);
  EXPECT_EQ(clock_gettime(CLOCK_MONOTONIC, &now), 0);
}

TEST(SupportFakeClock, RestoresTheClocks) {
  EXPECT_EQ(FakeClock::active(), nullptr);
  {
    const FakeClock clock({5, 0});
    EXPECT_EQ(FakeClock::active(), &clock);
  }
  EXPECT_EQ(FakeClock::active(), nullptr);
  timespec before = {};
  timespec after = {};
  clock_gettime(CLOCK_MONOTONIC, &before);
  do {
    clock_gettime(CLOCK_MONOTONIC, &after);
  } while (after.tv_sec == before.tv_sec && after.tv_nsec == before.tv_nsec);
  EXPECT_GT(time(nullptr), 1000000);
}

// An fd_set with these descriptors.
fd_set set_of(const std::vector<int>& fds) {
  fd_set set;
  FD_ZERO(&set);
  for (const int fd : fds) {
    FD_SET(fd, &set);
  }
  return set;
}

bool equal(const fd_set& a, const fd_set& b) {
  for (int fd = 0; fd < FD_SETSIZE; ++fd) {
    if ((FD_ISSET(fd, &a) != 0) != (FD_ISSET(fd, &b) != 0)) {
      return false;
    }
  }
  return true;
}

TEST(SupportFakeClockSelect, RecordsItsArguments) {
  FakeClock clock;
  fd_set read = set_of({3, 1023});
  fd_set write = set_of({0});
  fd_set except = set_of({});
  timeval wait = {2, 5};
  EXPECT_EQ(select(1024, &read, &write, &except, &wait), 0);
  const std::vector<SelectCall> calls = clock.take_selects();
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].count, 1024);
  EXPECT_EQ(calls[0].read, (std::vector<int>{3, 1023}));
  EXPECT_EQ(calls[0].write, (std::vector<int>{0}));
  EXPECT_EQ(calls[0].except, std::vector<int>{});
  EXPECT_EQ(calls[0].wait_address, &wait);
  ASSERT_TRUE(calls[0].wait.has_value());
  EXPECT_EQ(calls[0].wait->tv_sec, 2);
  EXPECT_EQ(calls[0].wait->tv_usec, 5);
  EXPECT_TRUE(clock.take_selects().empty());
}

TEST(SupportFakeClockSelect, SleepsForTheWholeWaitWithoutAnAnswer) {
  FakeClock clock({10, 0});
  fd_set read = set_of({3});
  fd_set write = set_of({4});
  fd_set except = set_of({5});
  timeval wait = {2, 5};
  EXPECT_EQ(select(1024, &read, &write, &except, &wait), 0);
  EXPECT_EQ(clock.now().tv_sec, 12);
  EXPECT_EQ(clock.now().tv_usec, 5);
  EXPECT_TRUE(equal(read, set_of({})));
  EXPECT_TRUE(equal(write, set_of({})));
  EXPECT_TRUE(equal(except, set_of({})));
}

TEST(SupportFakeClockSelect, ReturnsTheAnswersInOrder) {
  FakeClock clock({10, 0});
  SelectAnswer first;
  first.result = 3;
  first.read = {3, 9};
  first.write = {4};
  first.takes = {1, 0};
  SelectAnswer second;
  second.result = 1;
  second.except = {5};
  clock.answer_select(first);
  clock.answer_select(second);

  fd_set read = set_of({3, 9, 11});
  fd_set write = set_of({4});
  fd_set except = set_of({5});
  EXPECT_EQ(select(1024, &read, &write, &except, nullptr), 3);
  EXPECT_TRUE(equal(read, set_of({3, 9})));
  EXPECT_TRUE(equal(write, set_of({4})));
  EXPECT_TRUE(equal(except, set_of({})));
  EXPECT_EQ(clock.now().tv_sec, 11);

  EXPECT_EQ(select(1024, &read, &write, &except, nullptr), 1);
  EXPECT_TRUE(equal(read, set_of({})));
  EXPECT_TRUE(equal(write, set_of({})));
  EXPECT_TRUE(equal(except, set_of({5})));
  EXPECT_EQ(clock.now().tv_sec, 11);

  const std::vector<SelectCall> calls = clock.take_selects();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_FALSE(calls[0].wait.has_value());
  EXPECT_EQ(calls[0].wait_address, nullptr);
}

TEST(SupportFakeClockSelect, FailsOnRequestWithoutChangingTheSets) {
  FakeClock clock({10, 0});
  SelectAnswer interrupted;
  interrupted.result = -1;
  interrupted.error = EINTR;
  interrupted.takes = {0, 7};
  clock.answer_select(interrupted);
  fd_set read = set_of({3});
  fd_set write = set_of({4});
  fd_set except = set_of({5});
  EXPECT_EQ(select(1024, &read, &write, &except, nullptr), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(clock.now().tv_usec, 7);
  EXPECT_TRUE(equal(read, set_of({3})));
}

TEST(SupportFakeClockSelect, RefusesANegativeWaitLikeTheRealOne) {
  FakeClock clock({10, 0});
  for (const timeval negative : {timeval{-1, 0}, timeval{0, -1}}) {
    timeval wait = negative;
    errno = 0;
    EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &wait), -1);
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(clock.now().tv_sec, 10);
  EXPECT_EQ(clock.now().tv_usec, 0);
}

TEST(SupportFakeClockSelect, FailsATestThatWouldWaitForEver) {
  FakeClock clock;
  EXPECT_NONFATAL_FAILURE(EXPECT_EQ(select(0, nullptr, nullptr, nullptr, nullptr), -1), "select() would wait for ever");
}

TEST(SupportFakeClockSelect, FailsATestThatCallsItLessOftenThanExpected) {
  EXPECT_NONFATAL_FAILURE(
      {
        FakeClock clock;
        clock.answer_select({});
      },
      "select() was called less often than the test expected");
}

TEST(SupportChildProcess, TellsHowTheChildEnded) {
  const struct {
    const char* name;
    void (*body)();
    std::optional<int> status;
    std::optional<int> signal;
    const char* outcome;
  } kCases[] = {
      {"returns", [] {}, 0, std::nullopt, "exited with 0"},
      {"exits", [] { _exit(7); }, 7, std::nullopt, "exited with 7"},
      {"exits with -1", [] { _exit(-1); }, 255, std::nullopt, "exited with 255"},
      {"is killed", [] { raise(SIGKILL); }, std::nullopt, SIGKILL, "killed by signal 9"},
      {"is terminated", [] { raise(SIGTERM); }, std::nullopt, SIGTERM, "killed by signal 15"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const ChildProcess child(row.body);
    EXPECT_EQ(child.outcome(), row.outcome);
    EXPECT_FALSE(child.has_timed_out());
    for (const int status : {0, 7, 255}) {
      EXPECT_EQ(child.has_exited(status), row.status == status) << status;
    }
    for (const int signal : {SIGKILL, SIGTERM}) {
      EXPECT_EQ(child.was_killed_by(signal), row.signal == signal) << signal;
    }
  }
}

TEST(SupportChildProcess, KeepsTheOutputsApart) {
  const ChildProcess child([] {
    std::printf("to %s", "out");
    std::fprintf(stderr, "to %s", "err");
  });
  EXPECT_EQ(child.out(), "to out");
  EXPECT_EQ(child.err(), "to err");
}

TEST(SupportChildProcess, KeepsAnyAmountOfOutput) {
  const std::string much(300000, 'x');
  const ChildProcess child([&much] { std::fwrite(much.data(), 1, much.size(), stdout); });
  EXPECT_EQ(child.out(), much);
}

TEST(SupportChildProcess, DoesNotChangeTheMemoryOfTheTest) {
  int number = 1;
  const ChildProcess child([&number] { number = 2; });
  EXPECT_TRUE(child.has_exited(0));
  EXPECT_EQ(number, 1);
}

TEST(SupportChildProcess, IsKilledAtItsDeadline) {
  const ChildProcess child(
      [] {
        for (;;) {
          pause();
        }
      },
      /*deadline_seconds=*/0);
  EXPECT_TRUE(child.has_timed_out());
  EXPECT_EQ(child.outcome(), "timed out");
  EXPECT_FALSE(child.has_exited(0));
  EXPECT_FALSE(child.was_killed_by(SIGKILL)) << "a time-out does not count as killed";
}

TEST(SupportFaultInjector, FailsOnlyTheNthCall) {
  const FaultInjector fault("access", 2, EIO);
  EXPECT_EQ(access("/", F_OK), 0);
  EXPECT_EQ(fault.calls(), 1);
  EXPECT_FALSE(fault.has_struck());
  EXPECT_EQ(access("/", F_OK), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(fault.calls(), 2);
  EXPECT_TRUE(fault.has_struck());
  EXPECT_EQ(access("/", F_OK), 0);
  EXPECT_EQ(fault.calls(), 3);
  EXPECT_TRUE(fault.has_struck());
}

TEST(SupportFaultInjector, FailsSeveralTimesInARow) {
  const FaultInjector fault("access", 2, EIO, 2);
  for (const bool strikes : {false, true, true, false}) {
    EXPECT_EQ(FaultInjector::strikes("access"), strikes);
  }
}

TEST(SupportFaultInjector, DoesNotAffectOtherFunctions) {
  const FaultInjector fault("fopen", 1, EIO);
  EXPECT_EQ(access("/", F_OK), 0);
  EXPECT_EQ(fault.calls(), 0);
  EXPECT_FALSE(FaultInjector::strikes("open"));
}

TEST(SupportFaultInjector, EndsWithItsLifetime) {
  { const FaultInjector fault("access", 1, EIO); }
  EXPECT_EQ(access("/", F_OK), 0);
  EXPECT_FALSE(FaultInjector::strikes("access"));
}

TEST(SupportFaultInjector, MakesEveryWrappedFunctionFail) {
  const struct {
    const char* function;
    bool (*fails)();
  } kCases[] = {
      {"access", [] { return access("/", F_OK) == -1; }},
      {"bind", [] { return bind(-1, nullptr, 0) == -1; }},
      {"clock_gettime",
       [] {
         timespec now;
         return clock_gettime(CLOCK_MONOTONIC, &now) == -1;
       }},
      {"fclose", [] { return fclose(fopen("/dev/null", "r")) == EOF; }},
      {"fcntl", [] { return fcntl(STDOUT_FILENO, F_GETFD) == -1; }},
      {"fflush", [] { return fflush(nullptr) == EOF; }},
      {"fgets",
       [] {
         char line[2];
         return fgets(line, sizeof line, stdin) == nullptr;
       }},
      {"flock", [] { return flock(-1, LOCK_UN) == -1; }},
      {"fopen", [] { return fopen("/", "r") == nullptr; }},
      {"fprintf", [] { return fprintf(stdin, "%d", getpid()) < 0; }},
      {"fprintf", [] { return fputs("x", stdin) == EOF; }},
      {"fprintf", [] { return fputc('x', stdin) == EOF; }},
      {"getsockopt", [] { return getsockopt(-1, 0, 0, nullptr, nullptr) == -1; }},
      {"gettimeofday",
       [] {
         timeval now;
         return gettimeofday(&now, nullptr) == -1;
       }},
      {"gmtime",
       [] {
         const time_t start = 0;
         return gmtime(&start) == nullptr;
       }},
      {"localtime",
       [] {
         const time_t start = 0;
         return localtime(&start) == nullptr;
       }},
      {"localtime_r",
       [] {
         const time_t start = 0;
         tm parts;
         return localtime_r(&start, &parts) == nullptr;
       }},
      {"malloc",
       [] {
         void* volatile memory = std::malloc(1);
         std::free(memory);
         return memory == nullptr;
       }},
      {"open", [] { return open("/", O_RDONLY) == -1; }},
      {"pclose", [] { return pclose(popen("true", "r")) == -1; }},
      {"pipe",
       [] {
         int ends[2];
         return pipe(ends) == -1;
       }},
      {"putenv",
       [] {
         static char assignment[] = "USERLIB_TESTS=1";
         return putenv(assignment) == -1;
       }},
      {"read", [] { return read(-1, nullptr, 0) == -1; }},
      {"recvfrom", [] { return recvfrom(-1, nullptr, 0, 0, nullptr, nullptr) == -1; }},
      {"select", [] { return select(0, nullptr, nullptr, nullptr, nullptr) == -1; }},
      {"sendto", [] { return sendto(-1, nullptr, 0, 0, nullptr, 0) == -1; }},
      {"socket", [] { return socket(AF_INET, SOCK_DGRAM, 0) == -1; }},
      {"stat",
       [] {
         struct stat status;
         return stat("/", &status) == -1;
       }},
      {"strftime",
       [] {
         char text[8] = {};
         const tm date = {};
         return strftime(text, sizeof text, "%d", &date) == 0 && std::string(text, sizeof text) == "????????";
       }},
      {"time", [] { return time(nullptr) == -1; }},
      {"uname",
       [] {
         utsname name;
         return uname(&name) == -1;
       }},
      {"unlink", [] { return unlink("/") == -1; }},
      {"write", [] { return write(-1, nullptr, 0) == -1; }},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.function);
    // None of these calls fails with ENOTTY by itself.
    const FaultInjector fault(row.function, 1, ENOTTY);
    errno = 0;
    EXPECT_TRUE(row.fails());
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(fault.calls(), 1);
  }
}

// Makes three calls of access(), any of which may fail.
int access_three_times() {
  int seen = 0;
  for (int i = 0; i < 3; ++i) {
    seen += access("/", F_OK) == 0 ? 1 : 0;
  }
  return seen;
}

TEST(SupportFaultLoop, FailsEachCallOnceWithEachError) {
  std::vector<std::string> runs;
  const int strikes = each_fault("access", {EIO, EACCES}, [&](Fault& fault) {
    EXPECT_EQ(access("/", F_OK), 0) << "before the call nothing fails";
    EXPECT_FALSE(fault.has_struck());
    const int seen = fault.during(access_three_times);
    EXPECT_EQ(seen, fault.has_struck() ? 2 : 3);
    EXPECT_EQ(access_three_times(), 3) << "after the call nothing fails";
    runs.push_back(std::string(fault.function()) + " " + std::to_string(fault.nth()) + " " +
                   std::to_string(fault.error()) + (fault.has_struck() ? " failed" : ""));
  });
  EXPECT_EQ(strikes, 3);
  const std::string io = " " + std::to_string(EIO);
  const std::string access_denied = " " + std::to_string(EACCES);
  EXPECT_EQ(runs, (std::vector<std::string>{
                      "access 1" + io + " failed", "access 2" + io + " failed", "access 3" + io + " failed",
                      "access 4" + io, "access 1" + access_denied + " failed", "access 2" + access_denied + " failed",
                      "access 3" + access_denied + " failed", "access 4" + access_denied}));
}

TEST(SupportFaultLoop, ContinuesCountingFromOneStepToTheNext) {
  int struck_in_second = 0;
  EXPECT_EQ(each_fault("access", {EIO},
                       [&](Fault& fault) {
                         fault.during(access_three_times);
                         const bool struck_in_first = fault.has_struck();
                         fault.during(access_three_times);
                         struck_in_second += fault.has_struck() && !struck_in_first ? 1 : 0;
                       }),
            6);
  EXPECT_EQ(struck_in_second, 3);
}

TEST(SupportFaultLoop, AcceptsACallWithoutResult) {
  EXPECT_EQ(each_fault("access", {EIO}, [](Fault& fault) { fault.during([] { access_three_times(); }); }), 3);
}

void lose_a_descriptor() {
  each_fault("open", {EMFILE}, [](Fault& fault) { fault.during([] { return open("/", O_RDONLY); }); });
}

TEST(SupportFaultLoop, DetectsALostDescriptor) {
  const std::set<int> before = support::open_descriptors();
  EXPECT_NONFATAL_FAILURE(lose_a_descriptor(), "Holdings::now()\n    Which is: " + std::to_string(before.size() + 1));
  for (const int fd : support::open_descriptors()) {
    if (!before.contains(fd)) {
      close(fd);
    }
  }
}

// Leaks a block only in the run that fails.
void keep_a_block(void** block) {
  each_fault("access", {EIO}, [&](Fault& fault) {
    if (fault.during([] { return access("/", F_OK); }) != 0) {
      *block = std::malloc(1);
    }
  });
}

TEST(SupportFaultLoop, DetectsALeakedBlock) {
  static void* block;
  const size_t before = support::count_live_blocks();
  EXPECT_NONFATAL_FAILURE(keep_a_block(&block), " " + std::to_string(before + 1) + " blocks, ");
  EXPECT_EQ(support::count_live_blocks(), before + 1);
  std::free(block);
}

void forget_a_child() {
  each_fault("access", {EIO}, [](Fault& fault) {
    if (fault.during([] { return access("/", F_OK); }) != 0 && fork() == 0) {
      _exit(0);
    }
  });
}

TEST(SupportFaultLoop, DetectsAChildNotWaitedFor) {
  EXPECT_NONFATAL_FAILURE(forget_a_child(), "blocks, children");
  EXPECT_GT(wait(nullptr), 0);
}

TEST(SupportFaultLoop, RefusesAFunctionThatIsNeverCalled) {
  EXPECT_NONFATAL_FAILURE(each_fault("open", {EMFILE}, [](Fault& fault) { fault.during(access_three_times); }),
                          "open() is never called");
}

TEST(SupportFaultLoop, RefusesATestWithoutEnd) {
  EXPECT_NONFATAL_FAILURE(each_fault("access", {EIO},
                                     [](Fault& fault) {
                                       fault.during([&] {
                                         for (int i = 0; i < fault.nth(); ++i) {
                                           access("/", F_OK);
                                         }
                                       });
                                     }),
                          "access() is called too often");
}

TEST(SupportDescriptors, AreCountedAndFound) {
  const size_t before = support::count_open_descriptors();
  const int fd = dup(STDOUT_FILENO);
  EXPECT_TRUE(support::is_open_descriptor(fd));
  EXPECT_EQ(support::count_open_descriptors(), before + 1);
  close(fd);
  EXPECT_FALSE(support::is_open_descriptor(fd));
  EXPECT_EQ(support::count_open_descriptors(), before);
  EXPECT_FALSE(support::is_open_descriptor(-1));
}

TEST(SupportTestPipe, ReturnsWhatWasWritten) {
  support::TestPipe pipe;
  EXPECT_EQ(pipe.take(), "") << "an empty pipe does not block";
  pipe.put("one");
  pipe.put("two");
  EXPECT_EQ(pipe.take(), "onetwo");
  EXPECT_EQ(pipe.take(), "");
}

TEST(SupportTestPipe, EndsWhenItsWriteEndIsClosed) {
  support::TestPipe pipe;
  char byte = '\0';
  EXPECT_EQ(read(pipe.read_end(), &byte, 1), -1);
  EXPECT_EQ(errno, EAGAIN);
  pipe.close_write_end();
  EXPECT_EQ(read(pipe.read_end(), &byte, 1), 0);
}

TEST(SupportTestPipe, ClosesBothEnds) {
  const size_t before = support::count_open_descriptors();
  { const support::TestPipe pipe; }
  {
    support::TestPipe pipe;
    pipe.close_write_end();
  }
  EXPECT_EQ(support::count_open_descriptors(), before);
}

TEST(SupportTestFifo, ReturnsWhatWasWritten) {
  const FakeFiles files;
  const support::TestFifo fifo(files.real_path("/flash/fifo"));
  EXPECT_EQ(fifo.take(), "") << "an empty FIFO does not block";
  fifo.put("one");
  EXPECT_EQ(fifo.take(), "one");
  const int fd = open("/flash/fifo", O_WRONLY);
  EXPECT_EQ(write(fd, "two", 3), 3);
  close(fd);
  EXPECT_EQ(fifo.take(), "two");
}

TEST(SupportUdpPeer, TalksToAnother) {
  support::UdpPeer caller;
  support::UdpPeer callee;
  EXPECT_NE(caller.port(), callee.port());
  caller.send(std::string("a\0b", 3), callee.port());
  const std::optional<support::Datagram> datagram = callee.receive();
  ASSERT_TRUE(datagram.has_value());
  EXPECT_EQ(datagram->bytes, std::string("a\0b", 3));
  EXPECT_EQ(datagram->sender, caller.port());
  callee.send("", caller.port());
  const std::optional<support::Datagram> answer = caller.receive();
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(answer->bytes, "");
}

TEST(SupportTimeZone, SetsTheZoneAndRestoresTheOldOne) {
  const TimeZone outer("EST5");
  {
    const TimeZone inner("UTC0");
    EXPECT_EQ(TimeZone::current(), "UTC0");
    const time_t start = 0;
    EXPECT_EQ(localtime(&start)->tm_hour, 0);
  }
  EXPECT_EQ(TimeZone::current(), "EST5");
  EXPECT_EQ(timezone, 5 * 3600L);
}

TEST(SupportTimeZone, CanRemoveTheZone) {
  const TimeZone outer(nullptr);
  EXPECT_EQ(TimeZone::current(), std::nullopt);
  {
    const TimeZone inner("");
    EXPECT_EQ(TimeZone::current(), "");
  }
  EXPECT_EQ(TimeZone::current(), std::nullopt);
}

}  // namespace
