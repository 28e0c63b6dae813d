// Test doubles of alarms, parents, owners and of the start of a child.
#ifndef TESTS_DOUBLES_PROCESS_DOUBLES_H
#define TESTS_DOUBLES_PROCESS_DOUBLES_H

#include <sys/types.h>

namespace support {

// During its lifetime, alarm() counts milliseconds instead of seconds.
class FastAlarm {
 public:
  FastAlarm();
  ~FastAlarm();
  FastAlarm(const FastAlarm&) = delete;
  FastAlarm& operator=(const FastAlarm&) = delete;

  static bool is_active();
};

// During its lifetime, a child started by clone() first gets this signal.
class SignalToClone {
 public:
  explicit SignalToClone(int signal);
  ~SignalToClone();
  SignalToClone(const SignalToClone&) = delete;
  SignalToClone& operator=(const SignalToClone&) = delete;

  // Sends the signal, if an instance exists.
  static void send();
};

// During its lifetime, getppid() returns this id.
class FakeParent {
 public:
  explicit FakeParent(pid_t pid);
  ~FakeParent();
  FakeParent(const FakeParent&) = delete;
  FakeParent& operator=(const FakeParent&) = delete;

  // The id, or 0 without an instance.
  static pid_t pid();
};

// During its lifetime, lstat() reports this user as the owner of every file.
class FakeOwner {
 public:
  explicit FakeOwner(uid_t uid);
  ~FakeOwner();
  FakeOwner(const FakeOwner&) = delete;
  FakeOwner& operator=(const FakeOwner&) = delete;

  static bool is_active();
  static uid_t uid();
};

// Whether the process has a child, running or not yet waited for.
bool has_children();

}  // namespace support

#endif
