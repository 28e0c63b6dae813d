#include "phoned/io/instance.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "nuv_assert.h"
#include "nuv_utility.h"
#include "phoned/core/text.h"

namespace phoned {

namespace {

bool g_has_failed = false;
std::function<void()> g_give_up;

void check_directory(const std::string& run_dir) {
  constexpr size_t kLongest = 73;  // the library's limit
  if (run_dir.size() > kLongest) {
    throw Error("run directory " + quote_path(run_dir) + " is too long: at most " + std::to_string(kLongest) +
                " characters are allowed");
  }
  if (access((run_dir + "/.").c_str(), W_OK | X_OK) != 0) {
    throw Error("run directory " + quote_path(run_dir) + " cannot be written to: " + reason() +
                "; choose another with --run-dir");
  }
}

// The library would follow a symbolic link, and block on a FIFO.
bool is_odd(const std::string& file) {
  std::error_code unused;
  const auto status = std::filesystem::symlink_status(file, unused);
  return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

void check_pid_file(const std::string& file) {
  if (is_odd(file)) {
    throw Error("pid file " + quote_path(file) + " is not a regular file; remove it, or choose another --run-dir");
  }
}

std::string cannot_remove(const std::string& file) {
  return "file " + quote_path(file) + " cannot be removed: " + reason();
}

Error no_room(const std::string& file) {
  return Error("pid file " + quote_path(file) + " cannot be written: the disk may be full; choose another --run-dir");
}

// Makes an empty file, having tried whether there is room for a number while an Error can still be read.
void reserve(const std::string& file) {
  constexpr std::string_view kBlank = "          \n";
  const userlib::UniqueFd fd(
      open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
  if (write(fd.get(), kBlank.data(), kBlank.size()) != static_cast<ssize_t>(kBlank.size()) ||
      ftruncate(fd.get(), 0) != 0) {
    throw no_room(file);
  }
}

}  // namespace

void Instance::claim(const std::string& run_dir, bool is_going_to_detach) {
  check_directory(run_dir);
  daemon_.emplace("phoned", run_dir.c_str());
  pid_file_ = daemon_->pid_file_name();
  lock_file_ = run_dir + "/phoned.lock";
  check_pid_file(pid_file_);
  lock();
  // Whatever number the file has: whoever wrote it is dead, as it had the lock. After a reboot others have such numbers.
  if (is_going_to_detach) {
    reserve(pid_file_);
  } else {
    write_pid_file();
  }
}

void Instance::detach(std::function<void()> give_up) {
  g_give_up = std::move(give_up);
  std::atexit([] {
    if (g_give_up) {
      g_give_up();
    }
  });
  daemon_->daemonize();
  g_give_up = nullptr;
}

std::string Instance::release() {
  if (!lock_) {
    return "";
  }
  const bool is_ours =
      !is_odd(pid_file_) && (daemon_->check_pid_file() || NUV_Utility_get_pid_from_file(pid_file_.c_str()) == 0);
  std::string problem;
  if (is_ours && unlink(pid_file_.c_str()) != 0 && errno != ENOENT) {
    problem = cannot_remove(pid_file_);
  }
  if (!lock_.release() && problem.empty()) {
    problem = cannot_remove(lock_file_);
  }
  return problem;
}

void Instance::lock() {
  for (int i = 0; i < 100; ++i) {
    if (lock_.take(lock_file_.c_str())) {
      return;
    }
    if (errno != EWOULDBLOCK) {
      throw Error("lock file " + quote_path(lock_file_) + " cannot be opened: " + reason() +
                  "; choose another --run-dir");
    }
    const int32_t pid = NUV_Utility_get_pid_from_file(pid_file_.c_str());
    if (pid > 0 && NUV_Utility_test_pid_exists(pid) == 1) {
      throw Error("is already running as process " + std::to_string(pid) + ", see " + quote_path(pid_file_) +
                  "; stop it first, or choose another --run-dir");
    }
    poll(nullptr, 0, 20);  // the other one is about to write its pid file, or to end
  }
  throw Error("is being started by another process, which has locked " + quote_path(lock_file_) +
              "; choose another --run-dir");
}

// A full disk would break a contract of the library and end the process; here it is an Error.
void Instance::write_pid_file() {
  check_pid_file(pid_file_);
  g_has_failed = false;
  NUV_Assert_setErrorHandler([](uint32_t, const char*, uint32_t, const char*) { g_has_failed = true; });
  if (!daemon_->check_pid_file()) {
    NUV_Daemon_createPidFile(&daemon_->record());  // release() removes it, and tells if it cannot
  }
  NUV_Assert_setErrorHandler(nullptr);
  if (g_has_failed) {
    throw no_room(pid_file_);
  }
}

}  // namespace phoned
