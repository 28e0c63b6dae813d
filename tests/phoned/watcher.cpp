#include "watcher.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace support {
namespace {

constexpr char kOwner[] = "PHONED_TESTS_OWNER";

// Sends SIGKILL to every process that was started with this entry in its environment. Returns their number.
int kill_all_with(const std::string& entry) {
  int count = 0;
  std::error_code error;
  for (const auto& process : std::filesystem::directory_iterator("/proc", error)) {
    const std::string name = process.path().filename();
    if (!std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) {
      continue;
    }
    std::ifstream file(process.path() / "environ", std::ios::binary);
    const std::string environment = '\0' + std::string(std::istreambuf_iterator<char>(file), {});
    if (environment.find('\0' + entry + '\0') != std::string::npos) {
      kill(std::stoi(name), SIGKILL);
      ++count;
    }
  }
  return count;
}

// A process that forks at this moment may survive one round, but not many.
void kill_until_nobody_is_left(const std::string& entry) {
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds && kill_all_with(entry) > 0; ++round) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

void close_all_but(int kept) {
  const auto most = static_cast<int>(sysconf(_SC_OPEN_MAX));
  for (int fd = 0; fd < std::min(most, 1024); ++fd) {
    if (fd != kept) {
      close(fd);
    }
  }
}

// Continues as a process that does not end with the test program: not its child, and in a session of its own.
[[noreturn]] void watch(int pipe, const std::string& entry) {
  if (fork() != 0) {
    _exit(0);
  }
  setsid();
  // Readers that wait for the end of the test program's output must not wait for the watcher as well.
  close_all_but(pipe);
  char byte = 0;
  while (read(pipe, &byte, 1) < 0) {
  }
  kill_until_nobody_is_left(entry);
  _exit(0);
}

}  // namespace

void watch_over_programs() {
  static pid_t owner = 0;
  if (owner == getpid()) {
    return;
  }
  owner = getpid();
  // When this process ends, the write end is closed, which the watcher waits for.
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe for the watcher");
  }
  const std::string number = std::to_string(owner);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[1]);
    watch(ends[0], kOwner + ('=' + number));
  }
  close(ends[0]);
  waitpid(child, nullptr, 0);
  setenv(kOwner, number.c_str(), 1);
}

}  // namespace support
