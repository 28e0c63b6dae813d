#include "doubles/process_doubles.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <optional>

namespace support {
namespace {

bool g_alarm_is_fast = false;
int g_signal_to_clone = 0;
pid_t g_parent = 0;
std::optional<uid_t> g_owner;

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

SignalToClone::SignalToClone(int signal) {
  g_signal_to_clone = signal;
}

SignalToClone::~SignalToClone() {
  g_signal_to_clone = 0;
}

void SignalToClone::send() {
  if (g_signal_to_clone != 0) {
    kill(getpid(), g_signal_to_clone);
  }
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

FakeOwner::FakeOwner(uid_t uid) {
  g_owner = uid;
}

FakeOwner::~FakeOwner() {
  g_owner.reset();
}

bool FakeOwner::is_active() {
  return g_owner.has_value();
}

uid_t FakeOwner::uid() {
  return *g_owner;
}

bool has_children() {
  siginfo_t child = {};
  return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace support
