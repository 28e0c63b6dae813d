// phoned as a daemon: in the background, with a pid file, only once per run directory, and under heavy load.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <vector>

#include "doubles/temporary_directory.h"
#include "program.h"
#include "udp_socket.h"

namespace {

using support::comes_true;
using support::content_of;
using support::Program;
using support::TemporaryDirectory;
using support::TemporaryFile;
using support::UdpSocket;

constexpr char kListening[] = "phoned: listening on port ";

// Whether the process has ended, and has been reaped.
bool is_gone(pid_t pid) {
  return comes_true([pid] { return kill(pid, 0) != 0; });
}

// Whether the process has ended, even if it has not been reaped.
bool has_ended(pid_t pid) {
  return comes_true([pid] {
    const std::string status = content_of("/proc/" + std::to_string(pid) + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
  });
}

uint16_t port_in(const std::string& output) {
  const size_t at = output.find(kListening);
  return at == std::string::npos ? 0 : static_cast<uint16_t>(std::stoul(output.substr(at + sizeof kListening - 1)));
}

// A run directory. Removes it, and kills the daemon in its pid file, after the test.
class DaemonTest : public ::testing::Test {
 protected:
  ~DaemonTest() override { kill_daemon(); }

  std::string pid_file() const { return run_dir_ + "/phoned.pid"; }

  void leave_pid_file(const std::string& content) const { support::write_content(pid_file(), content); }

  Program::Arguments with_run_dir(Program::Arguments more = {}) const {
    Program::Arguments arguments = {"--port", "0", "--run-dir", run_dir_, "--map", "110|0x.T"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  // Starts a daemon and waits until its pid file names it.
  void start(const Program::Arguments& arguments) {
    Program launcher(PHONED, arguments);
    const pid_t launcher_pid = launcher.pid();
    ASSERT_EQ(launcher.exit_status(), 0) << launcher.err();
    EXPECT_EQ(launcher.err(), "");
    port_ = port_in(launcher.out());
    ASSERT_TRUE(comes_true([this, launcher_pid] {
      const std::string content = content_of(pid_file());
      daemon_ = content.empty() ? -1 : static_cast<pid_t>(std::stol(content));
      return daemon_ > 0 && daemon_ != launcher_pid;
    }));
  }

  void expect_a_call() const {
    UdpSocket card(port_);
    EXPECT_EQ(card.ask("3 onhook"), "3 idle");
    EXPECT_EQ(card.ask("3 offhook"), "3 ready");
    EXPECT_EQ(card.ask("3 dial 110"), "3 complete 110 110");
  }

  void kill_daemon() {
    if (daemon_ > 0) {
      kill(daemon_, SIGKILL);
      EXPECT_TRUE(has_ended(daemon_));
      daemon_ = -1;
    }
  }

  TemporaryDirectory directory_;
  const std::string& run_dir_ = directory_.path();
  pid_t daemon_ = -1;
  uint16_t port_ = 0;
};

TEST_F(DaemonTest, RunsInTheBackgroundUntilItIsAskedToEnd) {
  start(with_run_dir());
  EXPECT_EQ(content_of(pid_file()), std::to_string(daemon_)) << "only the number";
  expect_a_call();
  const std::string process = "/proc/" + std::to_string(daemon_);
  for (const char* descriptor : {"0", "1", "2"}) {
    EXPECT_EQ(std::filesystem::read_symlink(process + "/fd/" + descriptor), "/dev/null");
  }
  EXPECT_EQ(std::filesystem::read_symlink(process + "/cwd"), "/");
  EXPECT_EQ(getsid(daemon_) == daemon_, false) << "not a session leader, so it never gets a terminal";
  EXPECT_NE(getsid(daemon_), getsid(0));
  kill(daemon_, SIGTERM);
  EXPECT_TRUE(has_ended(daemon_));
  EXPECT_FALSE(std::filesystem::exists(pid_file()));
}

TEST_F(DaemonTest, RefusesASecondOne) {
  start(with_run_dir());
  Program second(PHONED, with_run_dir());
  EXPECT_EQ(second.exit_status(), 1);
  EXPECT_EQ(second.err(), "phoned: is already running as process " + std::to_string(daemon_) + ", see '" + pid_file() +
                              "'; stop it first, or choose another --run-dir\n");
  EXPECT_EQ(second.out(), "");
  EXPECT_EQ(content_of(pid_file()), std::to_string(daemon_));
  expect_a_call();
}

TEST_F(DaemonTest, StartsOverThePidFileOfOneThatWasKilled) {
  start(with_run_dir());
  const std::string killed = content_of(pid_file());
  const pid_t pid = daemon_;
  kill_daemon();
  ASSERT_TRUE(is_gone(pid));
  ASSERT_EQ(content_of(pid_file()), killed);
  start(with_run_dir());
  EXPECT_NE(content_of(pid_file()), killed);
  expect_a_call();
}

TEST_F(DaemonTest, StartsOverAPidFileThatNamesNobody) {
  for (const char* content : {"", "0", "-1", "nobody", "2147483647"}) {
    SCOPED_TRACE(content);
    leave_pid_file(content);
    start(with_run_dir());
    expect_a_call();
    kill(daemon_, SIGTERM);
    EXPECT_TRUE(has_ended(daemon_));
  }
}

// A pid file on flash survives a reboot; its number may then belong to another process.
TEST_F(DaemonTest, StartsOverThePidFileOfOneWhoseNumberAnotherProcessHas) {
  leave_pid_file(std::to_string(getpid()));
  start(with_run_dir());
  EXPECT_NE(daemon_, getpid());
  expect_a_call();
  leave_pid_file(std::to_string(getpid()));
  Program second(PHONED, with_run_dir());
  EXPECT_EQ(second.exit_status(), 1) << "the lock refuses it";
}

TEST_F(DaemonTest, ReadsAMapFileWithARelativeNameAgain) {
  const std::string plan = run_dir_ + "/plan";
  std::ofstream(plan) << "110\n";
  // The name is relative to the directory in which phoned was started.
  const std::string name = std::filesystem::relative(plan);
  start({"--port", "0", "--run-dir", run_dir_, "--map-file", name});
  UdpSocket card(port_);
  EXPECT_EQ(card.ask("3 offhook"), "3 ready");
  EXPECT_EQ(card.ask("3 dial 5"), "3 reject 5");
  std::ofstream(plan) << "5\n";
  kill(daemon_, SIGHUP);
  EXPECT_TRUE(comes_true([&card] {
    card.ask("3 onhook");
    card.ask("3 offhook");
    return card.ask("3 dial 5") == "3 complete 5 5";
  }));
}

TEST_F(DaemonTest, KeepsAPidFileInTheForegroundIfAsked) {
  Program phoned(PHONED, with_run_dir({"--foreground"}));
  ASSERT_TRUE(phoned.says(kListening));
  EXPECT_EQ(content_of(pid_file()), std::to_string(phoned.pid()));
  phoned.signal(SIGINT);
  EXPECT_EQ(phoned.exit_status(), 0);
  EXPECT_FALSE(std::filesystem::exists(pid_file()));
}

TEST_F(DaemonTest, RefusesARunDirectoryThatItCannotUse) {
  const TemporaryFile file;
  const std::string long_name = "/" + std::string(73, 'x');
  const struct {
    std::string run_dir;
    std::string complaint;
  } kCases[] = {
      {"/nonexistent", "cannot be written to: No such file or directory; choose another with --run-dir\n"},
      {file.path(), "cannot be written to: Not a directory; choose another with --run-dir\n"},
      {long_name, "is too long: at most 73 characters are allowed\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.run_dir);
    Program phoned(PHONED, {"--port", "0", "--run-dir", row.run_dir});
    EXPECT_EQ(phoned.exit_status(), 1);
    EXPECT_EQ(phoned.err(), "phoned: run directory '" + row.run_dir + "' " + row.complaint);
    EXPECT_EQ(phoned.out(), "");
  }
}

// phoned must not follow a symbolic link and overwrite its target, nor block on a FIFO.
TEST_F(DaemonTest, RefusesAPidFileThatIsNoRegularFile) {
  const TemporaryFile precious("keep me");
  const struct {
    const char* name;
    std::function<void()> make;
  } kCases[] = {
      {"a symbolic link", [&] { std::filesystem::create_symlink(precious.path(), pid_file()); }},
      {"a dangling link", [&] { std::filesystem::create_symlink(run_dir_ + "/nowhere", pid_file()); }},
      {"a FIFO", [&] { ASSERT_EQ(mkfifo(pid_file().c_str(), 0600), 0); }},
      {"a directory", [&] { std::filesystem::create_directory(pid_file()); }},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    row.make();
    for (const Program::Arguments& options : {Program::Arguments{"--foreground"}, Program::Arguments{}}) {
      Program phoned(PHONED, with_run_dir(options));
      EXPECT_EQ(phoned.exit_status(), 1);
      EXPECT_EQ(phoned.err(), "phoned: pid file '" + pid_file() +
                                  "' is not a regular file; remove it, or choose another --run-dir\n");
    }
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::symlink_status(pid_file()))) << "it stays";
    std::filesystem::remove(pid_file());
  }
  EXPECT_EQ(precious.content(), "keep me");
  EXPECT_FALSE(std::filesystem::exists(run_dir_ + "/nowhere"));
}

TEST_F(DaemonTest, EndsEvenIfItsPidFileHasBecomeAFifo) {
  Program phoned(PHONED, with_run_dir({"--foreground"}));
  ASSERT_TRUE(phoned.says(kListening));
  std::filesystem::remove(pid_file());
  ASSERT_EQ(mkfifo(pid_file().c_str(), 0600), 0);
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
  EXPECT_TRUE(std::filesystem::is_fifo(pid_file())) << "it is not phoned's";
}

TEST_F(DaemonTest, SaysThatThereIsNoRoomForThePidFile) {
  if (mount("tmpfs", run_dir_.c_str(), "tmpfs", 0, "size=4k") != 0) {
    GTEST_SKIP() << "needs the right to mount a full disk";
  }
  std::ofstream(run_dir_ + "/filler") << std::string(8192, 'x');
  Program phoned(PHONED, with_run_dir());
  EXPECT_EQ(phoned.exit_status(), 1);
  EXPECT_EQ(phoned.err(), "phoned: pid file '" + pid_file() +
                              "' cannot be written: the disk may be full; choose another --run-dir\n");
  EXPECT_FALSE(std::filesystem::exists(pid_file())) << "not even an empty one";
  EXPECT_EQ(umount(run_dir_.c_str()), 0);
}

TEST_F(DaemonTest, OneOfFourLivesThatStartAtTheSameTime) {
  for (int round = 0; round < Program::few_if_emulated(20) && !HasFailure(); ++round) {
    leave_pid_file("999999");
    std::vector<std::unique_ptr<Program>> launchers;
    for (int i = 0; i < 4; ++i) {
      launchers.push_back(std::make_unique<Program>(PHONED, with_run_dir()));
    }
    std::string complaints;
    int living = 0;
    for (const auto& launcher : launchers) {
      living += launcher->exit_status() == 0 ? 1 : 0;
      complaints += launcher->err();
    }
    ASSERT_TRUE(comes_true([this] { return !content_of(pid_file()).empty(); }));
    daemon_ = std::stoi(content_of(pid_file()));
    const std::string complaint = "phoned: is already running as process " + std::to_string(daemon_) + ", see '" +
                                  pid_file() + "'; stop it first, or choose another --run-dir\n";
    EXPECT_EQ(living, 1);
    EXPECT_EQ(complaints, complaint + complaint + complaint);
    kill(daemon_, SIGTERM);
    EXPECT_TRUE(has_ended(daemon_));
    EXPECT_TRUE(std::filesystem::is_empty(run_dir_));
    daemon_ = -1;
  }
}

TEST_F(DaemonTest, SaysWhatItCannotRemove) {
  const std::string console = run_dir_ + "/console";
  Program phoned(PHONED, with_run_dir({"--foreground", "--console", console}));
  ASSERT_TRUE(phoned.says(kListening));
  std::filesystem::remove(console);
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 1);
  EXPECT_EQ(phoned.err(), "phoned: console socket '" + console + "' cannot be removed: it is gone\n");
  EXPECT_TRUE(phoned.out().ends_with("phoned: farewell\n"));
}

// A hundred thousand datagrams, a third of them malformed. Six are answered before the next six are sent, so that the
// kernel drops none; every answer must match its datagram, and no resource may leak.
TEST_F(DaemonTest, AnswersAHundredThousandDatagramsAndHoldsNothing) {
  Program phoned(PHONED, {"--foreground", "--port", "0", "--map", "110|0x.T", "--interdigit", "60000"});
  ASSERT_TRUE(phoned.says(kListening));
  UdpSocket card(port_in(phoned.out()));
  constexpr int kRounds = Program::few_if_emulated(16667);
  for (int round = 0; round < kRounds; ++round) {
    const std::string line = std::to_string(round % 256);
    const std::string sequence = std::to_string(100000 + round);
    for (const std::string& event : {line + " offhook", sequence + " offhook", line + " digit 0",
                                     line + " dial " + sequence, line + " dance" + sequence, line + " onhook"}) {
      card.send(event);
    }
    ASSERT_EQ(card.receive(), line + " ready");
    ASSERT_EQ(card.receive(), "error unknown line '" + sequence + "': must be a number from 0 to 255");
    ASSERT_EQ(card.receive(), line + " more 0");
    ASSERT_EQ(card.receive(), line + " more 0" + sequence);
    ASSERT_EQ(card.receive(), "error unknown word 'dance" + sequence + "': must be offhook, digit, dial or onhook");
    ASSERT_EQ(card.receive(), line + " idle");
  }
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
  EXPECT_NE(phoned.out().find("phoned: datagrams " + std::to_string(6 * kRounds)), std::string::npos);
  EXPECT_NE(phoned.out().find("errors " + std::to_string(2 * kRounds) + "\n"), std::string::npos);
  EXPECT_NE(phoned.out().find("phoned: memory: 0 blocks of 0 bytes in use"), std::string::npos);
}

}  // namespace
