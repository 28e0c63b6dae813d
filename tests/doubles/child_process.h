// Runs a piece of a test in a process of its own.
#ifndef TESTS_SUPPORT_CHILD_PROCESS_H
#define TESTS_SUPPORT_CHILD_PROCESS_H

#include <functional>
#include <string>

namespace support {

// Forks, runs the body and waits for the end; a body that returns ends with status 0. What takes longer than the
// deadline is killed, and counts as neither exited nor aborted.
class ChildProcess {
 public:
  static constexpr int kDeadlineSeconds = 30;

  explicit ChildProcess(const std::function<void()>& body, int deadline_seconds = kDeadlineSeconds);

  bool has_exited(int status) const;
  bool was_killed_by(int signal) const;
  bool has_timed_out() const { return timed_out_; }

  // What the child wrote to standard output and to standard error.
  const std::string& out() const { return out_; }
  const std::string& err() const { return err_; }

  // For messages: "exited with 255", "killed by signal 6", "timed out".
  std::string outcome() const;

 private:
  int status_ = 0;
  bool timed_out_ = false;
  std::string out_;
  std::string err_;
};

}  // namespace support

#endif
