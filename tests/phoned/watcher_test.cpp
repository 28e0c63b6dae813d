#include "watcher.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "doubles/temporary_directory.h"
#include "program.h"

namespace {

using support::comes_true;
using support::content_of;
using support::Program;

constexpr char kPidFile[] = "/phoned.pid";
constexpr char kSleeper[] = "/sleeper";

// A test program that starts a daemon, prints its process id, and is killed before it can clean up.
[[noreturn]] void start_a_daemon_and_die(const std::string& run_dir) {
  // Its temporary files stay behind as well.
  setenv("TEST_TMPDIR", run_dir.c_str(), 1);
  Program launcher(PHONED, {"--port", "0", "--run-dir", run_dir, "--map", "110"});
  const std::string launcher_pid = std::to_string(launcher.pid());
  const Program shell(Program::kShell, {"-c", "sleep 1000 & echo $! >" + run_dir + kSleeper + "; wait"});
  if (launcher.exit_status() == 0 && comes_true([&] {
        const std::string daemon_pid = content_of(run_dir + kPidFile);
        return !daemon_pid.empty() && daemon_pid != launcher_pid && content_of(run_dir + kSleeper).ends_with('\n');
      })) {
    raise(SIGKILL);
  }
  _exit(1);
}

bool has_ended(const std::string& pid) {
  return comes_true([&pid] {
    const std::string status = content_of("/proc/" + pid + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
  });
}

TEST(Watcher, KillsWhatATestProgramLeavesBehindThatWasKilled) {
  const support::TemporaryDirectory directory;
  const std::string& run_dir = directory.path();
  const Program mine(PHONED, {"--foreground", "--port", "0", "--map", "110"});
  ASSERT_TRUE(mine.says("phoned: listening on port "));
  const pid_t child = fork();
  if (child == 0) {
    start_a_daemon_and_die(run_dir);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_TRUE(has_ended(content_of(run_dir + kPidFile))) << "the detached daemon";
  const std::string sleeper = content_of(run_dir + kSleeper);
  EXPECT_TRUE(has_ended(sleeper.substr(0, sleeper.find('\n')))) << "a program that a child has started";
  EXPECT_EQ(kill(mine.pid(), 0), 0) << "a program of another owner";
}

}  // namespace
