// Violates every contract of the daemon and its pid file; the error handler returns.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "doubles/contract_recorder.h"
#include "doubles/fault_injector.h"
#include "doubles/process_doubles.h"
#include "doubles/temporary_directory.h"
#include "doubles/violation.h"
#include "nuv_daemon.h"

namespace {

using support::content_of;
using support::ContractRecorder;
using support::ensure_report;
using support::FakeParent;
using support::FaultInjector;
using support::Report;
using support::Reports;
using support::require_report;
using support::TemporaryDirectory;

constexpr char kFile[] = "nuv_daemon";
constexpr char kNameLength[] = "( 0 < strlen( a_processname)) && ( 16 > strlen( a_processname))";
constexpr char kPathLength[] = "( 96 - 16 - 6 > strlen( a_pidfilepath))";

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

TEST(DaemonContractsOfConstruct, KeepToTheLimitsOfTheFields) {
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

TEST(DaemonContractsOfConstruct, ReadNullAsAnEmptyText) {
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

// ---- all other operations ----

const Report kIsOwnAlready = require_report(kFile, "0 == NUV_Daemon_checkPidFile( a_this)");
const Report kNotOpened = {NUV_ASSERT_RESOURCE, kFile, "((void *)0) != pPidFile"};
const Report kNotWritten = ensure_report(kFile, "1 == NUV_Daemon_checkPidFile( a_this)");
const Report kNotDeleted = ensure_report(kFile, "0 == NUV_Daemon_checkPidFile( a_this)");

using Row = support::Violation<Daemon>;

// The daemon has no pid file yet.
class DaemonContracts : public ::testing::TestWithParam<Row> {};

TEST_P(DaemonContracts, AreReportedAndLeaveAWorkingDaemon) {
  ContractRecorder contracts;
  const TemporaryDirectory directory;
  Daemon daemon;
  NUV_Daemon_construct(&daemon, "phoned", directory.path().c_str());

  GetParam().violate(daemon);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  std::filesystem::remove(daemon.m_szPidFileName);
  NUV_Daemon_createPidFile(&daemon);
  EXPECT_EQ(content_of(daemon.m_szPidFileName), std::to_string(getpid()));
  EXPECT_EQ(NUV_Daemon_occupiedPidFile(&daemon), 1);
  NUV_Daemon_deletePidFile(&daemon);
  EXPECT_EQ(NUV_Daemon_hasPidFile(&daemon), 0);
  NUV_Daemon_destruct(&daemon);
}

const Row kRows[] = {
    {"daemonizeTwice",
     [](Daemon& daemon) {
       const FakeParent init(1);
       NUV_Daemon_daemonize(&daemon);
       NUV_Daemon_daemonize(&daemon);
       EXPECT_EQ(NUV_Daemon_daemonized(&daemon), 1);
     },
     {require_report(kFile, "0 == NUV_Daemon_daemonized( a_this)")}},
    {"createPidFileTwice",
     [](Daemon& daemon) {
       NUV_Daemon_createPidFile(&daemon);
       NUV_Daemon_createPidFile(&daemon);
       EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon), 1);
     },
     {kIsOwnAlready}},
    {"createPidFileInNoDirectory",
     [](Daemon&) {
       Daemon lost;
       NUV_Daemon_construct(&lost, "phoned", "/nonexistent/directory");
       NUV_Daemon_createPidFile(&lost);
     },
     {kNotOpened, kNotWritten}},
    {"createPidFileOverADirectory",
     [](Daemon& daemon) {
       std::filesystem::create_directory(daemon.m_szPidFileName);
       NUV_Daemon_createPidFile(&daemon);
     },
     {kNotOpened, kNotWritten}},
    {"createPidFileWithoutAStream",
     [](Daemon& daemon) {
       const FaultInjector no_memory("fdopen", 1, ENOMEM);
       NUV_Daemon_createPidFile(&daemon);
     },
     {kNotOpened, kNotWritten}},
    {"createPidFileOnAFullDevice",
     [](Daemon& daemon) {
       std::filesystem::create_symlink("/dev/full", daemon.m_szPidFileName);
       NUV_Daemon_createPidFile(&daemon);
     },
     {kNotWritten}},
    {"deletePidFileThatStays",
     [](Daemon& daemon) {
       NUV_Daemon_createPidFile(&daemon);
       const FaultInjector read_only("unlink", 1, EROFS);
       NUV_Daemon_deletePidFile(&daemon);
       EXPECT_EQ(NUV_Daemon_checkPidFile(&daemon), 1);
     },
     {kNotDeleted}},
};

INSTANTIATE_TEST_SUITE_P(All, DaemonContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(DaemonContractsNull, EveryOperationReportsANullDaemon) {
  support::expect_null_reports(kFile, "((void *)0) != a_this",
                               {{"construct", [] { NUV_Daemon_construct(nullptr, "d", "/tmp"); }},
                                {"destruct", [] { NUV_Daemon_destruct(nullptr); }},
                                {"getProcessName", [] { NUV_Daemon_getProcessName(nullptr); }},
                                {"getPidFileName", [] { NUV_Daemon_getPidFileName(nullptr); }},
                                {"daemonized", [] { NUV_Daemon_daemonized(nullptr); }},
                                {"daemonize", [] { NUV_Daemon_daemonize(nullptr); }},
                                {"hasPidFile", [] { NUV_Daemon_hasPidFile(nullptr); }},
                                {"checkPidFile", [] { NUV_Daemon_checkPidFile(nullptr); }},
                                {"createPidFile", [] { NUV_Daemon_createPidFile(nullptr); }},
                                {"deletePidFile", [] { NUV_Daemon_deletePidFile(nullptr); }},
                                {"occupiedPidFile", [] { NUV_Daemon_occupiedPidFile(nullptr); }}});
}

}  // namespace
