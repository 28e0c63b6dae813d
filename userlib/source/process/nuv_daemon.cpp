#include "nuv_daemon.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/contract.h"
#include "core/text.h"
#include "core/unique_fd.h"
#include "nuv_utility.h"

namespace {

constexpr char kFamily[] = "nuv_daemon";

constexpr pid_t kInit = 1;
constexpr mode_t kFileMask = 027;
constexpr mode_t kPidFileMode = 0666;  // as for any file; the mask takes from it

bool ends_in_slash(const char* path) {
  const size_t length = strlen(path);
  return length > 0 && path[length - 1] == '/';
}

// Goes on in a child. Streams are flushed before the fork, so that their content is written once. The parent does not run
// its exit handlers: they would undo what the daemon still needs.
void continue_in_child() {
  fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    exit(EXIT_FAILURE);
  }
  if (child > 0) {
    _exit(EXIT_SUCCESS);
  }
}

// Keeps the three numbers in use for as long as the daemon lives: a file that got one of them would be printed into.
bool lead_standard_descriptors_nowhere() {
  close(STDIN_FILENO);
  close(STDOUT_FILENO);
  close(STDERR_FILENO);
  return open("/dev/null", O_RDWR) == STDIN_FILENO && dup2(STDIN_FILENO, STDOUT_FILENO) == STDOUT_FILENO &&
         dup2(STDIN_FILENO, STDERR_FILENO) == STDERR_FILENO;
}

void detach() {
  continue_in_child();
  if (setsid() < 0) {
    exit(EXIT_FAILURE);
  }
  // The leader of a session gets a terminal when it opens one; its children do not.
  continue_in_child();
  static_cast<void>(!chdir("/"));
  umask(kFileMask);
  if (!lead_standard_descriptors_nowhere()) {
    exit(EXIT_FAILURE);
  }
}

bool has_pid_file(const Daemon& daemon) {
  return access(daemon.m_szPidFileName, F_OK) == 0;
}

int32_t pid_in_file(const Daemon& daemon) {
  return NUV_Utility_get_pid_from_file(daemon.m_szPidFileName);
}

// Root and the daemon's own user may lead the pid file elsewhere.
bool is_trusted_link(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISLNK(status.st_mode) && (status.st_uid == 0 || status.st_uid == geteuid());
}

// Opens the file and empties it. Others may be able to write to its directory: a link of theirs would make the daemon
// overwrite one of its own files, and a FIFO would make it wait for a reader.
int open_pid_file(const char* path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK;
  const int fd = open(path, kFlags | O_NOFOLLOW, kPidFileMode);
  if (fd < 0 && errno == ELOOP && is_trusted_link(path)) {
    return open(path, kFlags, kPidFileMode);
  }
  return fd;
}

bool is_fifo(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode);
}

FILE* stream_of_pid_file(const char* path) {
  nuv::UniqueFd fd(open_pid_file(path));
  FILE* const stream = fd.get() >= 0 && !is_fifo(fd.get()) ? fdopen(fd.get(), "w") : nullptr;
  if (stream != nullptr) {
    fd.release();
  }
  return stream;
}

}  // namespace

int32_t NUV_Daemon_construct(Daemon* a_this, const char* a_processname, const char* a_pidfilepath) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_processname);
  NUV_REQUIRE(((void *)0) != a_pidfilepath);
  a_processname = nuv::text_or_empty(a_processname);
  a_pidfilepath = nuv::text_or_empty(a_pidfilepath);
  NUV_REQUIRE(( 0 < strlen( a_processname)) && ( 16 > strlen( a_processname)));
  NUV_REQUIRE(( 96 - 16 - 6 > strlen( a_pidfilepath)));
  a_this->m_bDaemonized = 0;
  snprintf(a_this->m_szProcessName, sizeof a_this->m_szProcessName, "%s", a_processname);
  snprintf(a_this->m_szPidFileName, sizeof a_this->m_szPidFileName, "%s%s%s.pid", a_pidfilepath,
           ends_in_slash(a_pidfilepath) ? "" : "/", a_this->m_szProcessName);
  NUV_ENSURE_TEXT(a_this->m_bDaemonized == 0, "0 == NUV_Daemon_daemonized( a_this)");
  return 1;
}

void NUV_Daemon_destruct([[maybe_unused]] Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
}

const char* NUV_Daemon_getProcessName(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_szProcessName;
}

const char* NUV_Daemon_getPidFileName(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_szPidFileName;
}

int32_t NUV_Daemon_getPid() {
  return getpid();
}

int32_t NUV_Daemon_daemonized(const Daemon* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_bDaemonized;
}

void NUV_Daemon_daemonize(Daemon* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_bDaemonized == 0, "0 == NUV_Daemon_daemonized( a_this)");
  if (getppid() != kInit) {
    detach();
  }
  a_this->m_bDaemonized = 1;
}

int32_t NUV_Daemon_hasPidFile(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return has_pid_file(*a_this) ? 1 : 0;
}

int32_t NUV_Daemon_checkPidFile(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return pid_in_file(*a_this) == NUV_Daemon_getPid() ? 1 : 0;
}

void NUV_Daemon_createPidFile(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(0 == NUV_Daemon_checkPidFile( a_this));
  FILE* const pPidFile = stream_of_pid_file(a_this->m_szPidFileName);
  NUV_RESOURCE(((void *)0) != pPidFile);
  if (pPidFile != nullptr) {
    fprintf(pPidFile, "%d", NUV_Daemon_getPid());
    fclose(pPidFile);
  }
  NUV_ENSURE(1 == NUV_Daemon_checkPidFile( a_this));
}

void NUV_Daemon_deletePidFile(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  if (NUV_Daemon_checkPidFile(a_this) == 1) {
    unlink(a_this->m_szPidFileName);
  }
  NUV_ENSURE(0 == NUV_Daemon_checkPidFile( a_this));
}

int32_t NUV_Daemon_occupiedPidFile(const Daemon* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  if (!has_pid_file(*a_this)) {
    return 0;
  }
  const int32_t pid = pid_in_file(*a_this);
  return pid >= 1 && NUV_Utility_test_pid_exists(pid) != 0 ? 1 : 0;
}
