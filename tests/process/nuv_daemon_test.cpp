#include "nuv_daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
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
#include "doubles/temporary_directory.h"

namespace {

using support::CallLog;
using support::ChildProcess;
using support::content_of;
using support::ContractRecorder;
using support::each_fault;
using support::ensure_report;
using support::FakeParent;
using support::Fault;
using support::FaultInjector;
using support::Report;
using support::Reports;
using support::TemporaryDirectory;
using support::write_content;

constexpr char kFile[] = "nuv_daemon";
constexpr char kName[] = "phoned";

// ---- construction ----

TEST(DaemonConstruct, FillsTheRecord) {
  const ContractRecorder contracts;
  Daemon daemon;
  memset(&daemon, 0x55, sizeof daemon);
  EXPECT_EQ(NUV_Daemon_construct(&daemon, "phoned", "/var/run"), 1);
  EXPECT_EQ(daemon.m_bDaemonized, 0);
  EXPECT_STREQ(daemon.m_szProcessName, "phoned");
  EXPECT_STREQ(daemon.m_szPidFileName, "/var/run/phoned.pid");
  EXPECT_EQ(NUV_Daemon_daemonized(&daemon), 0);
  EXPECT_EQ(NUV_Daemon_getProcessName(&daemon), daemon.m_szProcessName);
  EXPECT_EQ(NUV_Daemon_getPidFileName(&daemon), daemon.m_szPidFileName);
  NUV_Daemon_destruct(&daemon);
  EXPECT_STREQ(daemon.m_szProcessName, "phoned");
}

TEST(DaemonConstruct, JoinsDirectoryAndName) {
  const ContractRecorder contracts;
  const struct {
    const char* directory;
    const char* name;
    const char* file;
  } kCases[] = {
      {"/tmp", "d", "/tmp/d.pid"},
      {"/tmp/", "d", "/tmp/d.pid"},
      {"/var/run", "d", "/var/run/d.pid"},
      {"/", "d", "/d.pid"},
      {"", "d", "/d.pid"},
      {"/tmp//", "d", "/tmp//d.pid"},
      {"run", "d", "run/d.pid"},
      {"/tmp", "a.b", "/tmp/a.b.pid"},
      {"/%s%n", "%d", "/%s%n/%d.pid"},
      {".", "x y", "./x y.pid"},
      {"/a\\", "d", "/a\\/d.pid"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.file);
    Daemon daemon;
    EXPECT_EQ(NUV_Daemon_construct(&daemon, row.name, row.directory), 1);
    EXPECT_STREQ(NUV_Daemon_getPidFileName(&daemon), row.file);
    EXPECT_STREQ(NUV_Daemon_getProcessName(&daemon), row.name);
  }
}

// ---- pid files ----

// Returns the id of a process that has ended and was waited for.
pid_t ended_process() {
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(0);
  }
  waitpid(pid, nullptr, 0);
  return pid;
}

// Another process, which lives as long as this object.
class LivingProcess {
 public:
  LivingProcess() : pid_(fork()) {
    while (pid_ == 0) {
      pause();
    }
  }
  ~LivingProcess() {
    if (pid_ > 0) {  // -1 would kill every process
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  LivingProcess(const LivingProcess&) = delete;
  LivingProcess& operator=(const LivingProcess&) = delete;

  std::string id() const { return std::to_string(pid_); }

 private:
  pid_t pid_;
};

class DaemonPidFileTest : public ::testing::Test {
 protected:
  DaemonPidFileTest() { EXPECT_EQ(NUV_Daemon_construct(&daemon_, kName, directory_.path().c_str()), 1); }
  ~DaemonPidFileTest() override { NUV_Daemon_destruct(&daemon_); }

  std::string file() const { return directory_.path() + "/phoned.pid"; }
  void write_file(const std::string& content) const { write_content(file(), content); }

  ContractRecorder contracts_;
  TemporaryDirectory directory_;
  Daemon daemon_ = {};
  const std::string own_pid_ = std::to_string(getpid());
};

TEST_F(DaemonPidFileTest, DoesNotExistAtFirst) {
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 0);
  EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 0);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(DaemonPidFileTest, HoldsTheProcessIdAndNothingElse) {
  EXPECT_EQ(NUV_Daemon_getPid(), getpid());
  NUV_Daemon_createPidFile(&daemon_);
  EXPECT_EQ(content_of(file()), own_pid_);
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 1);
  EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 1);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 1);
}

TEST_F(DaemonPidFileTest, IsNotRemovedByDestruct) {
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_destruct(&daemon_);
  EXPECT_EQ(content_of(file()), own_pid_);
}

TEST_F(DaemonPidFileTest, ReplacesTheFormerContent) {
  for (const char* before : {"", "0", "1", "123456789012345678901234567890", "some text that is longer\n"}) {
    SCOPED_TRACE(before);
    write_file(before);
    NUV_Daemon_createPidFile(&daemon_);
    EXPECT_EQ(content_of(file()), own_pid_);
  }
}

TEST_F(DaemonPidFileTest, LeavesNoStreamOpen) {
  const std::set<int> before = support::open_descriptors();
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_checkPidFile(&daemon_);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_EQ(support::open_descriptors(), before);
}

// If a daemon has closed its standard descriptors, the file gets descriptor 0.
TEST_F(DaemonPidFileTest, IsWrittenThroughAnyDescriptor) {
  const ChildProcess child([this] {
    close(STDIN_FILENO);
    NUV_Daemon_createPidFile(&daemon_);
    _exit(NUV_Daemon_checkPidFile(&daemon_) == 1 && contracts_.take().empty() ? 0 : 1);
  });
  EXPECT_TRUE(child.has_exited(0)) << child.outcome();
}

TEST_F(DaemonPidFileTest, IsRemovedByItsOwner) {
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 0);
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(DaemonPidFileTest, IsNotRemovedByAnotherProcess) {
  const LivingProcess other;
  for (const std::string& content :
       {other.id(), own_pid_ + "0", std::string("0"), std::string("text"), std::string(), "-" + own_pid_}) {
    SCOPED_TRACE(content);
    write_file(content);
    NUV_Daemon_deletePidFile(&daemon_);
    EXPECT_TRUE(std::filesystem::exists(file()));
    EXPECT_EQ(content_of(file()), content);
  }
}

TEST_F(DaemonPidFileTest, TellsItsOwner) {
  const LivingProcess other;
  const struct {
    const char* name;
    std::string content;
    int32_t is_own;
    int32_t is_occupied;
  } kCases[] = {
      {"the own id", own_pid_, 1, 1},
      {"the own id and a newline", own_pid_ + "\n", 1, 1},
      {"the own id behind blanks", "  " + own_pid_, 1, 1},
      {"the own id and more", own_pid_ + " phoned", 1, 1},
      {"the id of another process", other.id(), 0, 1},
      {"the id of a process that has ended", std::to_string(ended_process()), 0, 0},
      {"zero", "0", 0, 0},
      {"a negative number: the own process group", "-" + std::to_string(getpgrp()), 0, 0},
      {"minus one: every process", "-1", 0, 0},
      {"no number", "phoned", 0, 0},
      {"nothing", "", 0, 0},
      {"a zero byte", std::string(1, '\0'), 0, 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    write_file(row.content);
    EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 1);
    EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), row.is_own);
    EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), row.is_occupied);
    EXPECT_EQ(content_of(file()), row.content);
  }
}

TEST_F(DaemonPidFileTest, ChecksProcessIdOneToo) {
  write_file("1");
  {
    // Whether the tests may signal init depends on the user; here they may not.
    const FaultInjector refused("kill", 1, EPERM);
    EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
    EXPECT_EQ(refused.calls(), 1);
  }
  write_file("0");
  const FaultInjector counter("kill", 0, EPERM);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
  EXPECT_EQ(counter.calls(), 0);
}

// ---- pid files: calls that fail ----

using PidFileQuestion = int32_t (*)(const Daemon*);

TEST_F(DaemonPidFileTest, FileThatCannotBeReadHasNoOwner) {
  NUV_Daemon_createPidFile(&daemon_);
  const struct {
    const char* name;
    PidFileQuestion ask;
    std::vector<const char*> functions;
  } kCases[] = {
      {"hasPidFile", NUV_Daemon_hasPidFile, {"access"}},
      {"checkPidFile", NUV_Daemon_checkPidFile, {"fopen"}},
      {"occupiedPidFile", NUV_Daemon_occupiedPidFile, {"access", "fopen", "kill"}},
  };
  for (const auto& row : kCases) {
    for (const char* function : row.functions) {
      SCOPED_TRACE(std::string(row.name) + " without " + function);
      const int calls = each_fault(function, {EACCES, EINTR, EMFILE, ENOMEM}, [&](Fault& fault) {
        const int32_t answer = fault.during([&] { return row.ask(&daemon_); });
        EXPECT_EQ(answer, fault.has_struck() ? 0 : 1);
        EXPECT_EQ(row.ask(&daemon_), 1);
        EXPECT_EQ(content_of(file()), own_pid_);
      });
      EXPECT_EQ(calls, 1);
    }
  }
}

// create reads the file twice: first to check that the daemon has no pid file yet, which also holds if that read fails,
// and afterwards to check that the id was written.
TEST_F(DaemonPidFileTest, EveryFailureToCreateItIsReported) {
  const Report not_opened = {NUV_ASSERT_RESOURCE, kFile, "((void *)0) != pPidFile"};
  const Report not_own = ensure_report(kFile, "1 == NUV_Daemon_checkPidFile( a_this)");
  const struct {
    const char* function;
    std::vector<Reports> reports;  // for each call that fails
  } kCases[] = {
      {"fopen", {{}, {not_own}}},
      {"open", {{not_opened, not_own}}},
      {"fdopen", {{not_opened, not_own}}},
      {"fprintf", {{not_own}}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.function);
    const int calls = each_fault(row.function, {ENOSPC, EINTR, EMFILE}, [&](Fault& fault) {
      fault.during([this] { NUV_Daemon_createPidFile(&daemon_); });
      EXPECT_EQ(contracts_.take(), fault.has_struck() ? row.reports[static_cast<size_t>(fault.nth() - 1)] : Reports());
      std::filesystem::remove(file());
      NUV_Daemon_createPidFile(&daemon_);
      EXPECT_EQ(content_of(file()), own_pid_);
      std::filesystem::remove(file());
    });
    EXPECT_EQ(calls, static_cast<int>(row.reports.size()));
  }
  // A failed fclose() is ignored: the file is complete by then.
  each_fault("fclose", {EIO}, [this](Fault& fault) {
    fault.during([this] { NUV_Daemon_createPidFile(&daemon_); });
    EXPECT_EQ(content_of(file()), own_pid_);
    std::filesystem::remove(file());
  });
}

TEST_F(DaemonPidFileTest, EveryFailureToDeleteItIsReportedOrLeavesIt) {
  const struct {
    const char* function;
    std::vector<Reports> reports;
    bool is_left;
  } kCases[] = {
      {"unlink", {{ensure_report(kFile, "0 == NUV_Daemon_checkPidFile( a_this)")}}, true},
      // A file that cannot be read has no owner and is not deleted. The last check finds no file in any case.
      {"fopen", {{ensure_report(kFile, "0 == NUV_Daemon_checkPidFile( a_this)")}, {}}, true},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.function);
    each_fault(row.function, {EACCES, EINTR, EROFS}, [&](Fault& fault) {
      NUV_Daemon_createPidFile(&daemon_);
      fault.during([this] { NUV_Daemon_deletePidFile(&daemon_); });
      EXPECT_EQ(contracts_.take(), fault.has_struck() ? row.reports[static_cast<size_t>(fault.nth() - 1)] : Reports());
      EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), fault.nth() == 1 ? 1 : 0);
      NUV_Daemon_deletePidFile(&daemon_);
      EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 0);
    });
  }
}

// ---- pid files: other things in their place ----

TEST_F(DaemonPidFileTest, FollowsALinkOfItsUserOrRoot) {
  const std::string target = directory_.path() + "/target";
  for (const uid_t owner : {uid_t{0}, geteuid()}) {
    SCOPED_TRACE(owner);
    const support::FakeOwner faked(owner);
    write_content(target, "a longer content than an id");
    std::filesystem::create_symlink("target", file());
    NUV_Daemon_createPidFile(&daemon_);
    EXPECT_EQ(content_of(target), own_pid_);
    EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 1);
    NUV_Daemon_deletePidFile(&daemon_);
    EXPECT_FALSE(std::filesystem::is_symlink(file())) << "the link is removed";
    EXPECT_EQ(content_of(target), own_pid_) << "the target of the link is not";
  }
}

TEST_F(DaemonPidFileTest, FollowsNoOtherLink) {
  const Reports not_created = {Report{NUV_ASSERT_RESOURCE, kFile, "((void *)0) != pPidFile"},
                               ensure_report(kFile, "1 == NUV_Daemon_checkPidFile( a_this)")};
  const std::string target = directory_.path() + "/target";
  const support::FakeOwner stranger(geteuid() + 1);
  std::filesystem::create_symlink("target", file());
  NUV_Daemon_createPidFile(&daemon_);
  EXPECT_EQ(contracts_.take(), not_created);
  EXPECT_FALSE(std::filesystem::exists(target));

  write_content(target, "precious");
  NUV_Daemon_createPidFile(&daemon_);
  EXPECT_EQ(contracts_.take(), not_created);
  EXPECT_EQ(content_of(target), "precious");

  const FaultInjector vanished("lstat", 1, ENOENT);
  NUV_Daemon_createPidFile(&daemon_);
  EXPECT_TRUE(vanished.has_struck());
  EXPECT_EQ(contracts_.take(), not_created);
  EXPECT_EQ(content_of(target), "precious");
}

// No operation blocks until the other end is opened, and nothing is written.
TEST_F(DaemonPidFileTest, RefusesAFifoInItsPlace) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  for (const bool has_ends : {false, true}) {
    SCOPED_TRACE(has_ends ? "with both ends open" : "closed");
    const int ends = has_ends ? open(file().c_str(), O_RDWR | O_NONBLOCK) : -1;
    EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 1);
    EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 0);
    EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
    NUV_Daemon_deletePidFile(&daemon_);
    EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 1);
    NUV_Daemon_createPidFile(&daemon_);
    EXPECT_EQ(contracts_.take(), (Reports{Report{NUV_ASSERT_RESOURCE, kFile, "((void *)0) != pPidFile"},
                                          ensure_report(kFile, "1 == NUV_Daemon_checkPidFile( a_this)")}));
    char byte = '~';
    EXPECT_EQ(read(ends, &byte, 1), -1);
    close(ends);
  }
}

TEST_F(DaemonPidFileTest, RefusesADirectoryInItsPlace) {
  std::filesystem::create_directory(file());
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 1);
  EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 0);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_TRUE(std::filesystem::exists(file()));
}

// ---- daemonize ----

// These tests must become the parent of orphaned processes. Linux 3.4 and later support that; emulators may not.
class DaemonDaemonize : public ::testing::Test {
 protected:
  void SetUp() override {
    if (prctl(PR_SET_CHILD_SUBREAPER, 0) == -1 && errno == EINVAL) {
      GTEST_SKIP() << "prctl(PR_SET_CHILD_SUBREAPER) is not available, as in user-mode emulation";
    }
  }
};

// Runs the body in a child process that daemonizes itself. Meanwhile the test takes the role of init: it becomes the
// parent of all orphaned processes and waits for them.
class Background {
 public:
  explicit Background(const std::function<void(Daemon&, int)>& body) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const ChildProcess started([&] {
      // The parent of the tests may be init, which daemonize treats differently.
      const FakeParent not_init(getpid() + 1);
      Daemon daemon;
      NUV_Daemon_construct(&daemon, kName, "/tmp");
      body(daemon, ends[1]);
    });
    close(ends[1]);
    outcome_ = started.outcome();
    out_ = started.out();
    read_report(ends[0]);
    close(ends[0]);
    wait_for_orphans();
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 0), 0);
  }

  // How the calling process ended.
  const std::string& outcome() const { return outcome_; }
  const std::string& out() const { return out_; }

  // The text that the daemon wrote to the descriptor passed to the body.
  const std::string& report() const { return report_; }

  // The exit statuses of the orphaned processes, in ascending order; -1 if a process was killed.
  const std::multiset<int>& statuses() const { return statuses_; }

 private:
  void read_report(int fd) {
    std::array<char, 4096> piece;
    for (ssize_t length; (length = read(fd, piece.data(), piece.size())) > 0;) {
      report_.append(piece.data(), static_cast<size_t>(length));
    }
  }

  void wait_for_orphans() {
    int status = 0;
    while (waitpid(-1, &status, 0) > 0) {
      statuses_.insert(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }
  }

  std::string outcome_;
  std::string out_;
  std::string report_;
  std::multiset<int> statuses_;
};

constexpr int kDaemonStatus = 42;

std::string link_of(int fd) {
  std::array<char, 64> target = {};
  const std::string name = "/proc/self/fd/" + std::to_string(fd);
  return readlink(name.c_str(), target.data(), target.size() - 1) > 0 ? target.data() : "nothing";
}

TEST_F(DaemonDaemonize, MovesIntoTheBackground) {
  const pid_t session = getsid(0);
  const Background background([session](Daemon& daemon, int report) {
    const pid_t caller = getpid();
    NUV_Daemon_daemonize(&daemon);
    dprintf(report, "daemonized %d\n", NUV_Daemon_daemonized(&daemon));
    dprintf(report, "process %s\n", getpid() != caller ? "new" : "old");
    dprintf(report, "session %s\n", getsid(0) != session && getsid(0) != caller ? "new" : "old");
    dprintf(report, "leader %s\n", getsid(0) == getpid() ? "yes" : "no");
    dprintf(report, "group %s\n", getpgrp() == getsid(0) ? "of the session" : "another");
    dprintf(report, "directory %s\n", std::filesystem::current_path().c_str());
    dprintf(report, "mask %03o\n", umask(0));
    for (const int fd : {0, 1, 2}) {
      dprintf(report, "%d %s %s\n", fd, link_of(fd).c_str(), (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDWR ? "rw" : "?");
    }
    std::printf("not read\n");
    std::fflush(nullptr);
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.outcome(), "exited with 0");
  EXPECT_EQ(background.report(),
            "daemonized 1\nprocess new\nsession new\nleader no\ngroup of the session\ndirectory /\nmask 027\n"
            "0 /dev/null rw\n1 /dev/null rw\n2 /dev/null rw\n");
  // The intermediate process and the daemon.
  EXPECT_EQ(background.statuses(), (std::multiset<int>{0, kDaemonStatus}));
  EXPECT_EQ(background.out(), "");
}

TEST_F(DaemonDaemonize, MakesItsCallsInThisOrder) {
  const Background background([](Daemon& daemon, int report) {
    const CallLog log;
    NUV_Daemon_daemonize(&daemon);
    for (const std::string& call : log.calls()) {
      dprintf(report, "%s\n", call.c_str());
    }
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(),
            "fork()\nsetsid()\nfork()\nchdir(/)\numask(027)\nclose(0)\nclose(1)\nclose(2)\nopen(/dev/null)\n"
            "dup2(0, 1)\ndup2(0, 2)\n");
}

TEST_F(DaemonDaemonize, KeepsTheOtherDescriptors) {
  const Background background([](Daemon& daemon, int report) {
    const std::set<int> before = support::open_descriptors();
    NUV_Daemon_daemonize(&daemon);
    dprintf(report, "%s", support::open_descriptors() == before ? "the same" : "others");
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(), "the same");
}

TEST_F(DaemonDaemonize, WorksWithoutStandardDescriptors) {
  const Background background([](Daemon& daemon, int report) {
    for (const int fd : {0, 1, 2}) {
      close(fd);
    }
    NUV_Daemon_daemonize(&daemon);
    dprintf(report, "%s %s %s", link_of(0).c_str(), link_of(1).c_str(), link_of(2).c_str());
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(), "/dev/null /dev/null /dev/null");
}

// fork() copies the buffers of streams, so a text could be written more than once.
TEST_F(DaemonDaemonize, WritesBufferedOutputOnce) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/log";
  const Background background([&path](Daemon& daemon, int /*report*/) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    std::fputs("starting\n", file);
    std::printf("phoned is starting\n");
    NUV_Daemon_daemonize(&daemon);
    std::fputs("started\n", file);
    std::fflush(nullptr);
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(content_of(path), "starting\nstarted\n");
  EXPECT_EQ(background.out(), "phoned is starting\n");
}

int g_report = -1;

TEST_F(DaemonDaemonize, LeavesTheExitHandlersToTheDaemon) {
  const Background background([](Daemon& daemon, int report) {
    g_report = report;
    std::atexit([] { dprintf(g_report, "%s", "exit handler"); });
    NUV_Daemon_daemonize(&daemon);
    dprintf(report, "daemon, ");
    // Not exit(), because the test program has exit handlers itself.
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(), "daemon, ");
}

TEST_F(DaemonDaemonize, ExitsWithOneIfAStepFails) {
  const std::multiset<int> no_one;
  const struct {
    const char* name;
    const char* function;
    int nth;
    const char* outcome;
    std::multiset<int> statuses;
    int error = EAGAIN;
  } kCases[] = {
      {"the first fork", "fork", 1, "exited with 1", no_one},
      {"the session", "setsid", 1, "exited with 0", {1}},
      {"the second fork", "fork", 2, "exited with 0", {1}},
      {"the null device", "open", 1, "exited with 0", {0, 1}},
      {"another number for the null device", "close", 1, "exited with 0", {0, 1}, EBADF},
      {"standard output", "dup2", 1, "exited with 0", {0, 1}},
      {"standard error", "dup2", 2, "exited with 0", {0, 1}},
      {"the directory, which does not matter", "chdir", 1, "exited with 0", {0, kDaemonStatus}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const Background background([&row](Daemon& daemon, int report) {
      const FaultInjector failure(row.function, row.nth, row.error);
      NUV_Daemon_daemonize(&daemon);
      dprintf(report, "running");
      _exit(kDaemonStatus);
    });
    EXPECT_EQ(background.outcome(), row.outcome);
    EXPECT_EQ(background.statuses(), row.statuses);
    EXPECT_EQ(background.report(), row.statuses.contains(kDaemonStatus) ? "running" : "");
  }
}

TEST(DaemonOfInit, IsAlreadyADaemon) {
  const ContractRecorder contracts;
  const FakeParent init(1);
  const CallLog log;
  Daemon daemon;
  NUV_Daemon_construct(&daemon, kName, "/tmp");
  NUV_Daemon_daemonize(&daemon);
  EXPECT_EQ(NUV_Daemon_daemonized(&daemon), 1);
  EXPECT_EQ(daemon.m_bDaemonized, 1);
  EXPECT_EQ(log.calls(), std::vector<std::string>{});
  NUV_Daemon_construct(&daemon, kName, "/tmp");
  EXPECT_EQ(NUV_Daemon_daemonized(&daemon), 0) << "a new record";
}

TEST_F(DaemonDaemonize, WritesTheIdOfTheDaemonIntoThePidFile) {
  const TemporaryDirectory directory;
  const Background background([&directory](Daemon& daemon, int report) {
    NUV_Daemon_construct(&daemon, kName, directory.path().c_str());
    const pid_t caller = NUV_Daemon_getPid();
    NUV_Daemon_daemonize(&daemon);
    NUV_Daemon_createPidFile(&daemon);
    const bool is_own = content_of(daemon.m_szPidFileName) == std::to_string(NUV_Daemon_getPid());
    dprintf(report, "%s %s", NUV_Daemon_getPid() != caller ? "new" : "old", is_own ? "own" : "foreign");
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(), "new own");
  Daemon second;
  NUV_Daemon_construct(&second, kName, directory.path().c_str());
  EXPECT_EQ(NUV_Daemon_hasPidFile(&second), 1);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&second), 0) << "the daemon has ended";
}

}  // namespace
