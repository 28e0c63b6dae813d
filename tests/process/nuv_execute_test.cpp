#include "nuv_execute.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "doubles/call_log.h"
#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "doubles/process_doubles.h"

namespace {

using support::CallLog;
using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::FastAlarm;
using support::Fault;
using support::FaultInjector;

constexpr char kGuard = '\x55';

// With AddressSanitizer a fork takes far longer, because it copies the sanitizer's memory, too.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kManyRuns = 100;
#elif defined(__has_feature)
constexpr int kManyRuns = __has_feature(address_sanitizer) ? 100 : 1000;
#else
constexpr int kManyRuns = 1000;
#endif

// A result buffer between guard bytes, also filled with them.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size) : bytes_(kMargin + size + kMargin, kGuard), size_(size) {}

  char* data() { return bytes_.data() + kMargin; }
  int32_t size() const { return static_cast<int32_t>(size_); }
  std::string text() const { return bytes_.data() + kMargin; }
  std::string content() const { return {bytes_.data() + kMargin, size_}; }

  bool is_guarded() const {
    const std::string margin(kMargin, kGuard);
    return std::string(bytes_.data(), kMargin) == margin &&
           std::string(bytes_.data() + kMargin + size_, kMargin) == margin;
  }

 private:
  static constexpr size_t kMargin = 16;

  std::vector<char> bytes_;
  size_t size_;
};

// All tests run commands with this function or in a ChildProcess. A child that returned would continue with the tests
// and fork more children.
int32_t execute(const char* command, char* result, int32_t length, std::optional<int32_t> seconds = {}) {
  const pid_t test = getpid();
  const int32_t status = seconds ? NUV_Execute_Command_Timeout(command, result, length, *seconds)
                                 : NUV_Execute_Command(command, result, length);
  if (getpid() != test) {
    _exit(99);
  }
  return status;
}

// Checks that no test leaves descriptors or children behind.
class ExecuteTest : public ::testing::Test {
 protected:
  ~ExecuteTest() override {
    EXPECT_EQ(support::open_descriptors(), descriptors_);
    EXPECT_FALSE(support::has_children());
  }

  int32_t run(const std::string& command, int32_t seconds = 0) {
    return execute(command.c_str(), buffer_.data(), buffer_.size(), seconds);
  }

  ContractRecorder contracts_;
  std::set<int> descriptors_ = support::open_descriptors();
  GuardedBuffer buffer_{64};
};

// `length` digits: 0 to 9, repeated.
std::string digits(size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text.push_back(static_cast<char>('0' + i % 10));
  }
  return text;
}

std::string print(const std::string& text) {
  return "printf %s '" + text + "'";
}

TEST_F(ExecuteTest, ReturnsOutputAndStatusOfACommand) {
  const struct {
    const char* name;
    const char* command;
    int32_t status;
    const char* output;
  } kCases[] = {
      {"a word", "echo hello", 0, "hello\n"},
      {"nothing", ":", 0, ""},
      {"an empty command", "", 0, ""},
      {"both outputs in order", "echo a; echo b >&2; echo c", 0, "a\nb\nc\n"},
      {"a status", "exit 3", 3, ""},
      {"the status that a signal also gives", "echo one; exit 1", 1, "one\n"},
      {"the largest status", "echo most; exit 255", 255, "most\n"},
      {"the status of the last command", "false; true", 0, ""},
      {"a command that the shell does not find", "exec 2>/dev/null; /nonexistent/command", 127, ""},
      {"shell syntax", "X=1; Y=2; echo $((X + Y)) | tr 3 4", 0, "4\n"},
      {"percent signs, which are not formatted", "printf '%s' '%s%n%d'", 0, "%s%n%d"},
      {"a zero byte, which ends the text", "printf 'a\\000b'", 0, "a"},
      {"nothing to read", "read word || echo end", 0, "end\n"},
      {"input from the null device", "readlink /proc/self/fd/0", 0, "/dev/null\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    GuardedBuffer buffer(64);
    EXPECT_EQ(execute(row.command, buffer.data(), buffer.size()), row.status);
    EXPECT_EQ(buffer.text(), row.output);
    EXPECT_EQ(buffer.content().back(), '\0');
    EXPECT_TRUE(buffer.is_guarded());
  }
}

// Sizes around the output's length and around fractions of it.
TEST_F(ExecuteTest, LeavesTheLastPieceOfALongOutput) {
  const struct {
    size_t length;
    size_t size;
    size_t begin;  // the part of the output that is left
    size_t end;
  } kCases[] = {
      {5, 1, 0, 0},
      {0, 1, 0, 0},
      {1, 1, 0, 0},
      {5, 2, 4, 5},
      {4, 2, 2, 3},
      {300, 100, 200, 299},
      {299, 100, 200, 299},
      {301, 100, 300, 301},
      {250, 100, 200, 250},
      {99, 100, 0, 99},
      {100, 100, 0, 99},
      {101, 100, 100, 101},
      {60000, 4096, 57344, 60000},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::to_string(row.length) + " into " + std::to_string(row.size));
    const std::string output = digits(row.length);
    GuardedBuffer buffer(row.size);
    EXPECT_EQ(execute(print(output).c_str(), buffer.data(), buffer.size()), 0);
    EXPECT_EQ(buffer.text(), output.substr(row.begin, row.end - row.begin));
    EXPECT_EQ(buffer.content().back(), '\0');
    EXPECT_TRUE(buffer.is_guarded());
  }
}

TEST_F(ExecuteTest, DoesNotClearTheBufferBetweenPieces) {
  GuardedBuffer buffer(10);
  EXPECT_EQ(execute("printf abcdefghijkl", buffer.data(), buffer.size()), 0);
  EXPECT_EQ(buffer.content(), std::string("kl\0defghi\0", 10));
}

TEST_F(ExecuteTest, EndsTheShellAfterTheTimeLimit) {
  const FastAlarm fast;
  EXPECT_EQ(run("echo early; exec sleep 60", 5), 1);
  EXPECT_EQ(buffer_.text(), "");
}

TEST_F(ExecuteTest, SetsAnAlarmOnlyForATimeLimit) {
  const struct {
    int32_t seconds;
    std::vector<std::string> alarms;
  } kCases[] = {{7, {"alarm(7)"}}, {1, {"alarm(1)"}}, {0, {}},
                {-1, {}},          {INT32_MIN, {}},   {INT32_MAX, {"alarm(2147483647)"}}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.seconds);
    const CallLog log;
    EXPECT_EQ(run("echo in time", row.seconds), 0);
    EXPECT_EQ(log.calls_of("alarm"), row.alarms);
    EXPECT_EQ(buffer_.text(), "in time\n");
  }
}

TEST_F(ExecuteTest, HasNoTimeLimitByDefault) {
  const CallLog log;
  EXPECT_EQ(execute("echo at last; exit 4", buffer_.data(), buffer_.size()), 4);
  EXPECT_EQ(log.calls_of("alarm"), std::vector<std::string>{});
}

// The command prints more than a pipe holds, so it blocks until the time limit.
TEST_F(ExecuteTest, ReadsNothingBeforeTheCommandHasEnded) {
  const FastAlarm fast;
  EXPECT_EQ(run("i=0; while [ $i -lt 80 ]; do " + print(digits(1000)) + "; i=$((i + 1)); done", 500), 1);
  EXPECT_EQ(buffer_.text(), "");
}

TEST_F(ExecuteTest, SignalGivesStatusOneAndAnEmptyText) {
  const char* const kSignals[] = {"KILL", "TERM", "USR1", "ALRM"};
  for (const char* signal : kSignals) {
    SCOPED_TRACE(signal);
    const CallLog log;
    EXPECT_EQ(run("echo lost; kill -" + std::string(signal) + " $$"), 1);
    EXPECT_EQ(buffer_.text(), "");
    EXPECT_EQ(log.calls_of("kill"), std::vector<std::string>{"kill(9)"}) << "killed again after any signal";
    EXPECT_EQ(log.calls_of("waitpid"),
              (std::vector<std::string>{"waitpid(0)", "waitpid(" + std::to_string(WNOHANG) + ")"}));
  }
}

TEST_F(ExecuteTest, AfterASignalKillsClosesAndWaitsInThisOrder) {
  const CallLog log;
  EXPECT_EQ(run("kill -TERM $$"), 1);
  const std::vector<std::string> calls = log.calls();
  const auto wait = std::find(calls.begin(), calls.end(), "waitpid(0)");
  // Under an emulator the parent does not wait for the exec, so the child's calls may follow the wait.
  ASSERT_GE(calls.end() - wait, 4) << testing::PrintToString(calls);
  EXPECT_EQ(calls.end()[-3], "kill(9)");
  EXPECT_EQ(calls.end()[-2].substr(0, 6), "close(");
  EXPECT_EQ(calls.end()[-1], "waitpid(" + std::to_string(WNOHANG) + ")");
}

TEST_F(ExecuteTest, SendsNoSignalToAChildThatExited) {
  const CallLog log;
  EXPECT_EQ(run("exit 9"), 9);
  EXPECT_EQ(log.calls_of("kill"), std::vector<std::string>{});
  EXPECT_EQ(log.calls_of("waitpid"), std::vector<std::string>{"waitpid(0)"});
}

// Until its exec the child shares the parent's memory, so a signal handler would run there, too.
TEST_F(ExecuteTest, ChildRunsNoHandlersOfItsParent) {
  static volatile sig_atomic_t taken;
  taken = 0;
  struct sigaction action = {};
  struct sigaction before = {};
  action.sa_handler = [](int) { taken = 1; };
  sigaction(SIGUSR1, &action, &before);
  {
    const support::SignalToClone signal(SIGUSR1);
    EXPECT_EQ(run("exit 7"), 1) << "as a signal to the shell";
  }
  EXPECT_EQ(taken, 0);
  raise(SIGUSR1);
  EXPECT_EQ(taken, 1) << "the parent keeps its handler";
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(ExecuteTest, ShellInheritsSignalsAsInAnExec) {
  const ChildProcess child([] {
    signal(SIGUSR1, SIG_IGN);
    signal(SIGHUP, [](int) {});
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGUSR2);
    sigprocmask(SIG_SETMASK, &held, nullptr);
    char result[64];
    dprintf(STDOUT_FILENO, "%d ", execute("kill -USR1 $$; exit 6", result, sizeof result));
    dprintf(STDOUT_FILENO, "%d ", execute("kill -USR2 $$; exit 7", result, sizeof result));
    dprintf(STDOUT_FILENO, "%d ", execute("kill -HUP $$; exit 8", result, sizeof result));
    _exit(0);
  });
  EXPECT_EQ(child.out(), "6 7 1 ") << "ignored, blocked, and without a handler";
}

std::set<int> blocked_signals() {
  sigset_t blocked;
  sigprocmask(SIG_SETMASK, nullptr, &blocked);
  std::set<int> signals;
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&blocked, signal) == 1) {
      signals.insert(signal);
    }
  }
  return signals;
}

TEST_F(ExecuteTest, RestoresTheSignalMask) {
  const std::set<int> before = blocked_signals();
  EXPECT_EQ(run("exit 2"), 2);
  EXPECT_EQ(blocked_signals(), before);
  const FaultInjector no_child("clone", 1, EAGAIN);
  EXPECT_EQ(run("exit 2"), -1);
  EXPECT_EQ(blocked_signals(), before);
}

// Lists which of these descriptors the shell has. The limit is 64; descriptor 64 was opened before it was set.
std::string descriptors_of_the_shell() {
  const ChildProcess child([] {
    const int fd = open("/dev/null", O_RDONLY);
    for (const int copy : {3, 10, 63, 64}) {
      dup2(fd, copy);
    }
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 64;
    setrlimit(RLIMIT_NOFILE, &limit);
    char result[64];
    execute("for n in 0 1 2 3 4 5 10 63 64; do [ -e /proc/self/fd/$n ] && printf '%s ' $n; done", result,
            sizeof result);
    dprintf(STDOUT_FILENO, "%s", result);
    _exit(0);
  });
  return child.out();
}

TEST_F(ExecuteTest, PassesNoDescriptorBelowTheLimitOn) {
  EXPECT_EQ(descriptors_of_the_shell(), "0 1 2 64 ");
}

TEST_F(ExecuteTest, PassesNoDescriptorOnIfTheKernelCannotCloseARange) {
  const FaultInjector old_kernel("syscall", 1, ENOSYS);
  EXPECT_EQ(descriptors_of_the_shell(), "0 1 2 64 ");
}

// Without close_range() and without a list of the open descriptors.
TEST_F(ExecuteTest, PassesNoDescriptorOnIfTheKernelCannotListThem) {
  const FaultInjector ancient_kernel("syscall", 1, ENOSYS, 2);
  EXPECT_EQ(descriptors_of_the_shell(), "0 1 2 64 ");
}

// No descriptor is left for reading the list of open descriptors.
TEST_F(ExecuteTest, PassesNoDescriptorOnIfAllAreInUse) {
  const FaultInjector old_kernel("syscall", 1, ENOSYS);
  const ChildProcess child([] {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 64;
    setrlimit(RLIMIT_NOFILE, &limit);
    while (dup(STDIN_FILENO) >= 0) {
    }
    for (const int needed : {40, 50, 60}) {  // for both ends of the pipe and the null device
      close(needed);
    }
    char result[64];
    execute("for n in 0 1 2 3 30 40 50 60 61 63; do [ -e /proc/self/fd/$n ] && printf '%s ' $n; done", result,
            sizeof result);
    dprintf(STDOUT_FILENO, "%s", result);
    _exit(0);
  });
  EXPECT_EQ(child.out(), "0 1 2 ");
}

TEST_F(ExecuteTest, ClosesOnlyOpenDescriptorsIfTheKernelCannotCloseARange) {
  const FaultInjector old_kernel("syscall", 1, ENOSYS);
  const CallLog log;
  EXPECT_EQ(run(":"), 0);
  EXPECT_LE(log.calls_of("close").size(), descriptors_.size() + 6)
      << "for the null device, the list, and the ends of the pipe in both processes";
}

TEST_F(ExecuteTest, ClosesARangeInOneCall) {
  const CallLog log;
  EXPECT_EQ(run(":"), 0);
  EXPECT_EQ(log.calls_of("close").size(), 2U) << "the parent's ends of the pipe";
}

TEST_F(ExecuteTest, ClosesUpToADefaultLimitIfNoneIsKnown) {
  const FaultInjector unknown("sysconf", 1, EINVAL);
  EXPECT_EQ(descriptors_of_the_shell(), "0 1 2 ");
}

// If a daemon has closed its standard descriptors, the pipe gets their numbers.
TEST_F(ExecuteTest, WorksWithoutStandardDescriptors) {
  const std::vector<std::vector<int>> kCases = {{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}};
  for (const auto& closed : kCases) {
    const ChildProcess child([&closed] {
      const int out = fcntl(STDOUT_FILENO, F_DUPFD, 10);
      for (const int fd : closed) {
        close(fd);
      }
      char result[64];
      const int32_t status = execute("readlink /proc/self/fd/0; echo b >&2; exit 5", result, sizeof result);
      dprintf(out, "%d %s", status, result);
      _exit(0);
    });
    EXPECT_EQ(child.out(), "5 /dev/null\nb\n") << "first closed: " << closed.front();
  }
}

TEST_F(ExecuteTest, FailedSetupOfTheShellReturnsErrno) {
  const struct {
    const char* function;
    int nth;
    int error;
  } kCases[] = {{"open", 1, EMFILE}, {"dup2", 1, EBADF}, {"dup2", 2, EBUSY}, {"dup2", 3, EMFILE}, {"execl", 1, ENOENT}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.function) + " " + std::to_string(row.nth));
    const FaultInjector failure(row.function, row.nth, row.error);
    EXPECT_EQ(run("echo never"), row.error);
    EXPECT_EQ(buffer_.text(), "");
  }
}

// each_fault() cannot count calls of the child: an emulator forks, and the child then has its own memory. So the loops
// below are for the parent's calls.
TEST_F(ExecuteTest, RepeatsAnInterruptedDup2) {
  for (const int nth : {1, 2, 3}) {
    SCOPED_TRACE(nth);
    const FaultInjector interruption("dup2", nth, EINTR);
    EXPECT_EQ(run("echo out; echo error >&2; readlink /proc/self/fd/0; exit 6"), 6);
    EXPECT_EQ(buffer_.text(), "out\nerror\n/dev/null\n");
  }
}

TEST_F(ExecuteTest, WithoutAPipeOrAChildReturnsMinusOne) {
  for (const char* function : {"pipe", "clone"}) {
    const int calls = each_fault(function, {EAGAIN, ENFILE, ENOMEM, EINTR}, [](Fault& fault) {
      GuardedBuffer buffer(64);
      const int32_t status = fault.during([&] { return execute("echo ever", buffer.data(), buffer.size()); });
      EXPECT_EQ(status, fault.has_struck() ? -1 : 0);
      EXPECT_EQ(buffer.text(), fault.has_struck() ? "" : "ever\n");
      if (fault.has_struck()) {
        EXPECT_EQ(buffer.content().substr(1), std::string(63, kGuard));
      }
      EXPECT_EQ(execute("echo after", buffer.data(), buffer.size()), 0);
      EXPECT_EQ(buffer.text(), "after\n");
    });
    EXPECT_EQ(calls, 1) << function;
  }
}

TEST_F(ExecuteTest, RepeatsOnlyAReadInterruptedByASignal) {
  for (const int error : {EINTR, EIO, EAGAIN}) {
    const int reads = each_fault("read", {error}, [error](Fault& fault) {
      GuardedBuffer buffer(10);
      const int32_t status = fault.during(
          [&] { return execute("printf abcdefghijklmnopqrstuvwx; exit 8", buffer.data(), buffer.size()); });
      EXPECT_EQ(status, 8);
      // If reading a piece fails, the one before it is left.
      const char* const kLeft[] = {"", "abcdefghi", "klmnopqrs", "uvwx", "uvwx"};
      EXPECT_EQ(buffer.text(), error == EINTR ? "uvwx" : kLeft[fault.nth() - 1]);
      EXPECT_TRUE(buffer.is_guarded());
      EXPECT_EQ(execute("echo after", buffer.data(), buffer.size()), 0);
      EXPECT_EQ(buffer.text(), "after\n");
    });
    EXPECT_EQ(reads, 4) << "three pieces and the end of file";
  }
}

// An interrupted wait is repeated. Any other failure counts as success, and the child is not reaped.
TEST_F(ExecuteTest, FailedWaitCountsAsSuccess) {
  for (const int error : {EINTR, ECHILD, EINVAL}) {
    const int waits = each_fault("waitpid", {error}, [this, error](Fault& fault) {
      const int32_t status = fault.during([this] { return run("echo done; exit 3"); });
      const bool is_lost = fault.has_struck() && error != EINTR;
      EXPECT_EQ(status, is_lost ? 0 : 3);
      EXPECT_EQ(buffer_.text(), "done\n");
      if (is_lost) {
        EXPECT_GT(waitpid(-1, nullptr, 0), 0);
      }
      EXPECT_EQ(run("exit 4"), 4);
    });
    EXPECT_EQ(waits, 1);
  }
}

// The kill and the second wait are for a child that may have ended, so they may fail.
TEST_F(ExecuteTest, SignalGivesStatusOneEvenIfLaterCallsFail) {
  for (const char* function : {"kill", "waitpid"}) {
    const int calls = each_fault(function, {EINTR}, [this](Fault& fault) {
      const int32_t status = fault.during([this] { return run("echo lost; kill -TERM $$"); });
      EXPECT_EQ(status, 1);
      EXPECT_EQ(buffer_.text(), "");
      EXPECT_EQ(run("exit 4"), 4);
    });
    EXPECT_EQ(calls, function == std::string("kill") ? 1 : 2);
  }
}

TEST_F(ExecuteTest, FailedCloseIsNotRepeated) {
  const int closes = each_fault("close", {EINTR, EIO}, [this](Fault& fault) {
    const int32_t status = fault.during([this] { return run("echo closed; exit 5"); });
    EXPECT_EQ(status, 5);
    EXPECT_EQ(buffer_.text(), "closed\n");
  });
  EXPECT_EQ(closes, 2);
}

TEST_F(ExecuteTest, ReturnsZeroIfSigchldIsIgnored) {
  const ChildProcess child([] {
    signal(SIGCHLD, SIG_IGN);
    char result[64];
    const int32_t status = execute("echo output; exit 3", result, sizeof result);
    dprintf(STDOUT_FILENO, "%d %s", status, result);
    _exit(0);
  });
  EXPECT_EQ(child.out(), "0 output\n");
}

TEST_F(ExecuteTest, LeavesNothingBehindAfterManyRuns) {
  for (int i = 0; i < kManyRuns; ++i) {
    ASSERT_EQ(run("exit 2"), 2) << i;
  }
  EXPECT_EQ(support::open_descriptors(), descriptors_);
  EXPECT_FALSE(support::has_children());
}

}  // namespace
