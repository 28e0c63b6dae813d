#include "phoned/io/instance.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "nuv_assert.h"
#include "nuv_utility.h"
#include "phoned/core/text.h"

namespace phoned {

namespace {

constexpr char kName[] = "phoned";
constexpr size_t kMaxRunDir = 73;  // what the library has room for

bool g_has_failed = false;

void note_failure(uint32_t, const char*, uint32_t, const char*) {
  g_has_failed = true;
}

std::optional<Error> check_directory(const std::string& run_dir) {
  if (run_dir.size() > kMaxRunDir) {
    return Error{"run directory " + quote_path(run_dir) + " has too long a name: at most " +
                 std::to_string(kMaxRunDir) + " characters are taken"};
  }
  struct stat status = {};
  if (stat(run_dir.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
    errno = ENOTDIR;
  } else if (access(run_dir.c_str(), W_OK | X_OK) == 0) {
    return std::nullopt;
  }
  return Error{"run directory " + quote_path(run_dir) + " cannot be written to: " + std::strerror(errno) +
               "; choose another with --run-dir"};
}

// What the library would follow (a symbolic link) or wait for (a FIFO) when it opens the file.
std::optional<Error> check_pid_file(const std::string& file) {
  struct stat status = {};
  if (lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return Error{"pid file " + quote_path(file) + " is not a regular file; remove it, or choose another --run-dir"};
  }
  return std::nullopt;
}

}  // namespace

Instance::~Instance() {
  if (is_claimed_ && !check_pid_file(NUV_Daemon_getPidFileName(&daemon_))) {
    NUV_Daemon_deletePidFile(&daemon_);
  }
}

std::optional<Error> Instance::claim(const std::string& run_dir) {
  if (auto error = check_directory(run_dir)) {
    return error;
  }
  NUV_Daemon_construct(&daemon_, kName, run_dir.c_str());
  if (auto error = check_pid_file(NUV_Daemon_getPidFileName(&daemon_))) {
    return error;
  }
  // A file that names this very process was left behind by one that had the same number.
  if (NUV_Daemon_checkPidFile(&daemon_) == 0 && NUV_Daemon_occupiedPidFile(&daemon_) == 1) {
    const std::string file = NUV_Daemon_getPidFileName(&daemon_);
    return Error{"is running already, as process " + std::to_string(NUV_Utility_get_pid_from_file(file.c_str())) +
                 ", says " + quote_path(file) + "; stop it first, or choose another --run-dir"};
  }
  return write_pid_file();
}

std::optional<Error> Instance::detach() {
  NUV_Daemon_daemonize(&daemon_);
  return write_pid_file();
}

std::optional<Error> Instance::write_pid_file() {
  const std::string file = NUV_Daemon_getPidFileName(&daemon_);
  if (auto error = check_pid_file(file)) {
    return error;
  }
  // A disk without room is no reason to die of a broken contract: it is said in one line instead.
  g_has_failed = false;
  NUV_Assert_setErrorHandler(note_failure);
  if (NUV_Daemon_checkPidFile(&daemon_) == 0) {
    NUV_Daemon_createPidFile(&daemon_);
  }
  NUV_Assert_setErrorHandler(nullptr);
  is_claimed_ = !g_has_failed;
  if (g_has_failed) {
    unlink(file.c_str());
    return Error{"pid file " + quote_path(file) + " cannot be written: is there no room? Choose another --run-dir"};
  }
  return std::nullopt;
}

}  // namespace phoned
