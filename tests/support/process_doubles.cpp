#include "support/process_doubles.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

namespace support {
namespace {

bool g_alarm_is_fast = false;
pid_t g_parent = 0;

}  // namespace

FastAlarm::FastAlarm() {
  g_alarm_is_fast = true;
}

FastAlarm::~FastAlarm() {
  g_alarm_is_fast = false;
}

bool FastAlarm::is_active() {
  return g_alarm_is_fast;
}

FakeParent::FakeParent(pid_t pid) {
  g_parent = pid;
}

FakeParent::~FakeParent() {
  g_parent = 0;
}

pid_t FakeParent::pid() {
  return g_parent;
}

std::set<int> open_descriptors() {
  std::set<int> fds;
  DIR* directory = opendir("/proc/self/fd");
  if (directory == nullptr) {
    ADD_FAILURE() << "/proc/self/fd cannot be read";
    return fds;
  }
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') {
      fds.insert(std::atoi(entry->d_name));
    }
  }
  fds.erase(dirfd(directory));
  closedir(directory);
  return fds;
}

bool has_children() {
  siginfo_t child = {};
  return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace support
