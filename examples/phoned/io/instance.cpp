#include "phoned/io/instance.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
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

// 0: it names nobody, or is not there.
int32_t pid_in(const std::string& file) {
  return NUV_Utility_get_pid_from_file(file.c_str());
}

Error is_running(const std::string& file) {
  return {"is running already, as process " + std::to_string(pid_in(file)) + ", says " + quote_path(file) +
          "; stop it first, or choose another --run-dir"};
}

Error no_room(const std::string& file) {
  return {"pid file " + quote_path(file) + " cannot be written: is there no room? Choose another --run-dir"};
}

// Tries out whether there is room for a number, while somebody is there to read that there is none. Leaves an empty file.
std::optional<Error> reserve_pid_file(const std::string& file) {
  constexpr std::string_view kNobody = "          \n";
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  const bool is_written =
      write(fd, kNobody.data(), kNobody.size()) == static_cast<ssize_t>(kNobody.size()) && ftruncate(fd, 0) == 0;
  close(fd);
  return is_written ? std::nullopt : std::optional(no_room(file));
}

// Whether the open file is the one with this name.
bool is_file(int fd, const std::string& name) {
  struct stat opened = {};
  struct stat named = {};
  return fstat(fd, &opened) == 0 && stat(name.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

}  // namespace

std::optional<Error> Instance::claim(const std::string& run_dir, bool is_going_to_detach) {
  if (auto error = check_directory(run_dir)) {
    return error;
  }
  NUV_Daemon_construct(&daemon_, kName, run_dir.c_str());
  if (auto error = check_pid_file(pid_file())) {
    return error;
  }
  lock_file_ = run_dir + "/phoned.lock";
  if (auto error = lock()) {
    return error;
  }
  // A file that names this very process was left behind by one that had the same number.
  if (NUV_Daemon_checkPidFile(&daemon_) == 0 && NUV_Daemon_occupiedPidFile(&daemon_) == 1) {
    return is_running(pid_file());
  }
  return is_going_to_detach ? reserve_pid_file(pid_file()) : write_pid_file();
}

std::optional<Error> Instance::detach() {
  NUV_Daemon_daemonize(&daemon_);
  return write_pid_file();
}

std::optional<Error> Instance::release() {
  if (lock_fd_ < 0) {
    return std::nullopt;
  }
  std::optional<Error> error;
  const std::string file = pid_file();
  const bool is_ours = !check_pid_file(file) && (NUV_Daemon_checkPidFile(&daemon_) == 1 || pid_in(file) == 0);
  for (const std::string& name : {is_ours ? file : "", lock_file_}) {
    if (!name.empty() && unlink(name.c_str()) != 0 && errno != ENOENT && !error) {
      error = Error{"file " + quote_path(name) + " cannot be removed: " + std::strerror(errno)};
    }
  }
  close(lock_fd_);
  lock_fd_ = -1;
  return error;
}

// Four that start at the same time find each other here, before any of them has made anything. The file goes with the one
// who has locked it, so one that was locked may be gone already: only the one that has the name counts.
std::optional<Error> Instance::lock() {
  for (int i = 0; i < 100; ++i) {
    const int fd = open(lock_file_.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0) {
      return Error{"lock file " + quote_path(lock_file_) + " cannot be opened: " + std::strerror(errno) +
                   "; choose another --run-dir"};
    }
    const bool is_locked = flock(fd, LOCK_EX | LOCK_NB) == 0;
    if (is_locked && is_file(fd, lock_file_)) {
      lock_fd_ = fd;
      return std::nullopt;
    }
    close(fd);
    const int32_t pid = is_locked ? 0 : pid_in(pid_file());
    if (pid > 0 && NUV_Utility_test_pid_exists(pid) == 1) {
      return is_running(pid_file());
    }
    poll(nullptr, 0, 20);  // it is about to tell who it is, or to go
  }
  return Error{"is being started by another process, which has locked " + quote_path(lock_file_) +
               "; choose another --run-dir"};
}

std::optional<Error> Instance::write_pid_file() {
  const std::string file = pid_file();
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
  if (g_has_failed) {
    return no_room(file);
  }
  return std::nullopt;
}

}  // namespace phoned
