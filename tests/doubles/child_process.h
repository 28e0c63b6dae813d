// Runs a part of a test in a child process.
#ifndef TESTS_DOUBLES_CHILD_PROCESS_H
#define TESTS_DOUBLES_CHILD_PROCESS_H

#include <functional>
#include <string>

namespace support {

// Forks, runs the body in the child and waits for it. If the body returns, the child exits with 0. A child that exceeds
// the deadline is killed and counts as timed out, not as killed.
class ChildProcess {
 public:
  static constexpr int kDeadlineSeconds = 30;

  explicit ChildProcess(const std::function<void()>& body, int deadline_seconds = kDeadlineSeconds);

  bool has_exited(int status) const;
  bool was_killed_by(int signal) const;
  bool has_timed_out() const { return timed_out_; }

  // The child's standard output and standard error.
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
