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
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/call_log.h"
#include "support/child_process.h"
#include "support/contract_recorder.h"
#include "support/descriptors.h"
#include "support/fault_injector.h"
#include "support/first_report.h"
#include "support/process_doubles.h"

namespace {

using support::CallLog;
using support::ChildProcess;
using support::ContractRecorder;
using support::ensure_report;
using support::FakeParent;
using support::FaultInjector;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_daemon";
constexpr char kNameLength[] = "( 0 < strlen( a_processname)) && ( 16 > strlen( a_processname))";
constexpr char kPathLength[] = "( 96 - 16 - 6 > strlen( a_pidfilepath))";
constexpr char kName[] = "phoned";

// ---- construction ----

constexpr char kGuard = '\x55';

// A record between guard bytes, filled with them before it is constructed.
struct GuardedDaemon {
  GuardedDaemon() { memset(this, kGuard, sizeof *this); }

  bool is_guarded() const {
    const std::string guard(sizeof before, kGuard);
    return std::string(before, sizeof before) == guard && std::string(after, sizeof after) == guard;
  }

  char before[64];
  Daemon record;
  char after[64];
};

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

TEST(DaemonConstruct, KeepsToTheLimitsOfItsFields) {
  ContractRecorder contracts;
  const Reports fine;
  const Reports bad_name = {require_report(kFile, kNameLength)};
  const Reports bad_path = {require_report(kFile, kPathLength)};
  const Reports both = {require_report(kFile, kNameLength), require_report(kFile, kPathLength)};
  const struct {
    size_t name_length;
    size_t path_length;
    Reports reports;
  } kCases[] = {
      {1, 10, fine},      {14, 10, fine},      {15, 10, fine},     {0, 10, bad_name},    {16, 10, bad_name},
      {17, 10, bad_name}, {500, 10, bad_name}, {15, 72, fine},     {15, 73, fine},       {1, 73, fine},
      {15, 74, bad_path}, {1, 74, bad_path},   {15, 96, bad_path}, {15, 5000, bad_path}, {16, 74, both},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::to_string(row.name_length) + " and " + std::to_string(row.path_length));
    const std::string name(row.name_length, 'n');
    const std::string path = std::string(row.path_length, 'p');
    const std::string whole = path + "/" + name.substr(0, 15) + ".pid";
    GuardedDaemon daemon;
    EXPECT_EQ(NUV_Daemon_construct(&daemon.record, name.c_str(), path.c_str()), 1);
    EXPECT_EQ(contracts.take(), row.reports);
    EXPECT_EQ(NUV_Daemon_getProcessName(&daemon.record), name.substr(0, 15));
    EXPECT_EQ(NUV_Daemon_getPidFileName(&daemon.record), whole.substr(0, 95));
    EXPECT_EQ(NUV_Daemon_daemonized(&daemon.record), 0);
    EXPECT_TRUE(daemon.is_guarded());
  }
}

TEST(DaemonConstruct, ReportsNullTexts) {
  ContractRecorder contracts;
  Daemon daemon;
  EXPECT_EQ(NUV_Daemon_construct(&daemon, nullptr, "/tmp"), 1);
  EXPECT_EQ(contracts.take(),
            (Reports{require_report(kFile, "((void *)0) != a_processname"), require_report(kFile, kNameLength)}));
  EXPECT_STREQ(daemon.m_szProcessName, "");
  EXPECT_EQ(NUV_Daemon_construct(&daemon, "d", nullptr), 1);
  EXPECT_EQ(contracts.take(), Reports{require_report(kFile, "((void *)0) != a_pidfilepath")});
  EXPECT_STREQ(daemon.m_szPidFileName, "/d.pid");
  EXPECT_EQ(NUV_Daemon_construct(&daemon, nullptr, nullptr), 1);
  EXPECT_EQ(contracts.take(),
            (Reports{require_report(kFile, "((void *)0) != a_processname"),
                     require_report(kFile, "((void *)0) != a_pidfilepath"), require_report(kFile, kNameLength)}));
}

TEST(DaemonNull, EveryOperationReportsANullDaemon) {
  const struct {
    const char* name;
    void (*call)();
  } kCases[] = {
      {"construct", [] { NUV_Daemon_construct(nullptr, "d", "/tmp"); }},
      {"destruct", [] { NUV_Daemon_destruct(nullptr); }},
      {"getProcessName", [] { NUV_Daemon_getProcessName(nullptr); }},
      {"getPidFileName", [] { NUV_Daemon_getPidFileName(nullptr); }},
      {"daemonized", [] { NUV_Daemon_daemonized(nullptr); }},
      {"daemonize", [] { NUV_Daemon_daemonize(nullptr); }},
      {"hasPidFile", [] { NUV_Daemon_hasPidFile(nullptr); }},
      {"checkPidFile", [] { NUV_Daemon_checkPidFile(nullptr); }},
      {"createPidFile", [] { NUV_Daemon_createPidFile(nullptr); }},
      {"deletePidFile", [] { NUV_Daemon_deletePidFile(nullptr); }},
      {"occupiedPidFile", [] { NUV_Daemon_occupiedPidFile(nullptr); }},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(support::first_report(row.call), require_report(kFile, "((void *)0) != a_this"));
  }
}

// ---- pid files ----

class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_(::testing::TempDir() + "daemon-XXXXXX") { EXPECT_NE(mkdtemp(path_.data()), nullptr); }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string content_of(const std::string& path) {
  std::stringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

// The id of a process that has ended and was waited for.
pid_t ended_process() {
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(0);
  }
  waitpid(pid, nullptr, 0);
  return pid;
}

// Another process, alive for as long as this object.
class LivingProcess {
 public:
  LivingProcess() : pid_(fork()) {
    while (pid_ == 0) {
      pause();
    }
  }
  ~LivingProcess() {
    if (pid_ > 0) {  // -1 would be everyone
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
  void write_file(const std::string& content) const { std::ofstream(file(), std::ios::binary) << content; }

  ContractRecorder contracts_;
  TemporaryDirectory directory_;
  Daemon daemon_ = {};
  const std::string own_pid_ = std::to_string(getpid());
};

TEST_F(DaemonPidFileTest, ThereIsNoneAtFirst) {
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

TEST_F(DaemonPidFileTest, IsLeftAloneByDestruct) {
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_destruct(&daemon_);
  EXPECT_EQ(content_of(file()), own_pid_);
}

TEST_F(DaemonPidFileTest, ReplacesWhateverAFileHeldBefore) {
  for (const char* before : {"", "0", "1", "123456789012345678901234567890", "some text that is longer\n"}) {
    SCOPED_TRACE(before);
    write_file(before);
    NUV_Daemon_createPidFile(&daemon_);
    EXPECT_EQ(content_of(file()), own_pid_);
  }
}

TEST_F(DaemonPidFileTest, IsNotCreatedTwice) {
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_createPidFile(&daemon_);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, "0 == NUV_Daemon_checkPidFile( a_this)")});
  EXPECT_EQ(content_of(file()), own_pid_);
}

TEST_F(DaemonPidFileTest, ReportsAFileThatCannotBeCreated) {
  const Reports expected = {Report{NUV_ASSERT_RESOURCE, kFile, "((void *)0) != pPidFile"},
                            ensure_report(kFile, "1 == NUV_Daemon_checkPidFile( a_this)")};
  Daemon lost;
  NUV_Daemon_construct(&lost, kName, "/nonexistent/directory");
  NUV_Daemon_createPidFile(&lost);
  EXPECT_EQ(contracts_.take(), expected);
  {
    const FaultInjector failure("fopen", 2, EMFILE);  // the first one looks what the file holds
    NUV_Daemon_createPidFile(&daemon_);
    EXPECT_TRUE(failure.has_struck());
  }
  EXPECT_EQ(contracts_.take(), expected);
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 0);
}

TEST_F(DaemonPidFileTest, ReportsAnIdThatCouldNotBeWritten) {
  std::filesystem::create_symlink("/dev/full", file());
  NUV_Daemon_createPidFile(&daemon_);
  EXPECT_EQ(contracts_.take(), Reports{ensure_report(kFile, "1 == NUV_Daemon_checkPidFile( a_this)")});
}

TEST_F(DaemonPidFileTest, LeavesNoStreamOpen) {
  const std::set<int> before = support::open_descriptors();
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_checkPidFile(&daemon_);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_EQ(support::open_descriptors(), before);
}

TEST_F(DaemonPidFileTest, IsRemovedByItsOwner) {
  NUV_Daemon_createPidFile(&daemon_);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 0);
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(DaemonPidFileTest, IsNotRemovedByAnyoneElse) {
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

TEST_F(DaemonPidFileTest, ReportsAFileThatCannotBeRemoved) {
  NUV_Daemon_createPidFile(&daemon_);
  const FaultInjector failure("unlink", 1, EACCES);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_EQ(contracts_.take(), Reports{ensure_report(kFile, "0 == NUV_Daemon_checkPidFile( a_this)")});
  EXPECT_EQ(content_of(file()), own_pid_);
}

TEST_F(DaemonPidFileTest, TellsWhoseFileItIs) {
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
      {"another one's", other.id(), 0, 1},
      {"of a process that has ended", std::to_string(ended_process()), 0, 0},
      {"zero", "0", 0, 0},
      {"a negative number, the own group", "-" + std::to_string(getpgrp()), 0, 0},
      {"minus one, everyone", "-1", 0, 0},
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

TEST_F(DaemonPidFileTest, LooksAtTheNumberOneToo) {
  write_file("1");
  {
    // Who runs the tests may signal init or not; here it is not so.
    const FaultInjector refused("kill", 1, EPERM);
    EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
    EXPECT_EQ(refused.calls(), 1);
  }
  write_file("0");
  const FaultInjector counter("kill", 0, EPERM);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
  EXPECT_EQ(counter.calls(), 0);
}

TEST_F(DaemonPidFileTest, AFileThatCannotBeReadIsNobodys) {
  NUV_Daemon_createPidFile(&daemon_);
  {
    const FaultInjector failure("fopen", 1, EACCES);
    EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 0);
  }
  {
    const FaultInjector failure("fopen", 1, EACCES);
    EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
    EXPECT_TRUE(failure.has_struck());
  }
  {
    const FaultInjector failure("access", 1, EACCES);
    EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 0);
  }
  {
    const FaultInjector failure("access", 1, EACCES);
    EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
  }
}

TEST_F(DaemonPidFileTest, ADirectoryInItsPlaceIsNoPidFile) {
  std::filesystem::create_directory(file());
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon_), 1);
  EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon_), 0);
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon_), 0);
  NUV_Daemon_deletePidFile(&daemon_);
  EXPECT_TRUE(std::filesystem::exists(file()));
}

// ---- the way into the background ----

// Runs the body in a process that becomes a daemon in it. The test stands in for init meanwhile: it becomes the parent
// of every process that has lost its own, and waits for all of them.
class Background {
 public:
  explicit Background(const std::function<void(Daemon&, int)>& body) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const ChildProcess started([&] {
      // Whoever runs the tests may be init.
      const FakeParent somebody(getpid() + 1);
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

  // How the process that called ended.
  const std::string& outcome() const { return outcome_; }
  const std::string& out() const { return out_; }

  // What the processes behind it wrote to the descriptor that the body got.
  const std::string& report() const { return report_; }

  // The statuses of the processes behind it, smallest first; those that did not exit count as -1.
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

TEST(DaemonDaemonize, LeadsIntoTheBackground) {
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
    std::printf("nobody reads this\n");
    std::fflush(nullptr);
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.outcome(), "exited with 0");
  EXPECT_EQ(background.report(),
            "daemonized 1\nprocess new\nsession new\nleader no\ngroup of the session\ndirectory /\nmask 027\n"
            "0 /dev/null rw\n1 /dev/null rw\n2 /dev/null rw\n");
  // One process in between and the daemon, both of which lost their parent: the test could wait for them.
  EXPECT_EQ(background.statuses(), (std::multiset<int>{0, kDaemonStatus}));
  EXPECT_EQ(background.out(), "");
}

TEST(DaemonDaemonize, TakesItsStepsInThisOrder) {
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

TEST(DaemonDaemonize, KeepsTheOtherDescriptors) {
  const Background background([](Daemon& daemon, int report) {
    const std::set<int> before = support::open_descriptors();
    NUV_Daemon_daemonize(&daemon);
    dprintf(report, "%s", support::open_descriptors() == before ? "the same" : "others");
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(), "the same");
}

TEST(DaemonDaemonize, WorksWithoutStandardDescriptors) {
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

// Streams are copied with the process; each copy that is written would repeat the text.
TEST(DaemonDaemonize, WritesWhatStreamsHoldOnce) {
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

TEST(DaemonDaemonize, LeavesTheExitHandlersToTheDaemon) {
  const Background background([](Daemon& daemon, int report) {
    g_report = report;
    std::atexit([] { dprintf(g_report, "%s", "exit handler"); });
    NUV_Daemon_daemonize(&daemon);
    dprintf(report, "daemon, ");
    // Not exit(): the test program has handlers of its own.
    _exit(kDaemonStatus);
  });
  EXPECT_EQ(background.report(), "daemon, ");
}

TEST(DaemonDaemonize, EndsWithOneWhereAStepFails) {
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

TEST(DaemonDaemonize, AChildOfInitIsADaemonAlready) {
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
  EXPECT_EQ(NUV_Daemon_daemonized(&daemon), 0) << "a record made anew";
}

TEST(DaemonDaemonize, ReportsASecondCall) {
  ContractRecorder contracts;
  const FakeParent init(1);
  Daemon daemon;
  NUV_Daemon_construct(&daemon, kName, "/tmp");
  NUV_Daemon_daemonize(&daemon);
  NUV_Daemon_daemonize(&daemon);
  EXPECT_EQ(contracts.take(), Reports{require_report(kFile, "0 == NUV_Daemon_daemonized( a_this)")});
  EXPECT_EQ(NUV_Daemon_daemonized(&daemon), 1);
}

TEST(DaemonDaemonize, ADaemonWritesItsNewIdIntoThePidFile) {
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
