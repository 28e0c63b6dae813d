// Runs shell commands for operators. The library waits until a command ends; here a child process does that, and answers
// the operator.
#ifndef EXAMPLES_PHONED_IO_COMMAND_RUNNER_H
#define EXAMPLES_PHONED_IO_COMMAND_RUNNER_H

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

#include "userlib.hpp"

namespace phoned {

class CommandRunner : userlib::Pinned {
 public:
  static constexpr int kSeconds = 2;           // per command
  static constexpr size_t kMaxCommands = 4;    // at the same time
  static constexpr size_t kOutputSize = 4096;  // the end of a longer output is shown

  ~CommandRunner();

  // Starts the command. Its output and status are written to the descriptor, which stays the caller's.
  void start(const std::string& command, int answer_fd);

  // To be called on SIGCHLD. Returns the number of commands that ended and whose answer was not written completely.
  uint64_t reap();

 private:
  std::vector<pid_t> children_;
};

}  // namespace phoned

#endif
