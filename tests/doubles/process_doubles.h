// What a process is told about itself and its surroundings, under the control of a test.
#ifndef TESTS_SUPPORT_PROCESS_DOUBLES_H
#define TESTS_SUPPORT_PROCESS_DOUBLES_H

#include <sys/types.h>

namespace support {

// While it lives, an alarm rings after as many milliseconds as it was set to seconds.
class FastAlarm {
 public:
  FastAlarm();
  ~FastAlarm();
  FastAlarm(const FastAlarm&) = delete;
  FastAlarm& operator=(const FastAlarm&) = delete;

  static bool is_active();
};

// While it lives, a child that clone() starts gets this signal before it does anything else.
class SignalToClone {
 public:
  explicit SignalToClone(int signal);
  ~SignalToClone();
  SignalToClone(const SignalToClone&) = delete;
  SignalToClone& operator=(const SignalToClone&) = delete;

  // Sends it, if there is one.
  static void send();
};

// While it lives, getppid() gives this number.
class FakeParent {
 public:
  explicit FakeParent(pid_t pid);
  ~FakeParent();
  FakeParent(const FakeParent&) = delete;
  FakeParent& operator=(const FakeParent&) = delete;

  // The number, or 0 while there is no double.
  static pid_t pid();
};

// While it lives, lstat() finds that everything belongs to this user.
class FakeOwner {
 public:
  explicit FakeOwner(uid_t uid);
  ~FakeOwner();
  FakeOwner(const FakeOwner&) = delete;
  FakeOwner& operator=(const FakeOwner&) = delete;

  static bool is_active();
  static uid_t uid();
};

// Whether the process has a child, ended or not, that nobody has waited for.
bool has_children();

}  // namespace support

#endif
