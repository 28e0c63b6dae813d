// Runs shell commands for operators. The library waits for a command's end, and phoned has calls to decide: so a child
// process of phoned's does the waiting, and answers the operator.
#ifndef EXAMPLES_PHONED_IO_COMMAND_RUNNER_H
#define EXAMPLES_PHONED_IO_COMMAND_RUNNER_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "phoned/core/result.h"

namespace phoned {

class CommandRunner {
 public:
  static constexpr int kSeconds = 2;           // what a command has
  static constexpr size_t kMaxCommands = 4;    // at the same time
  static constexpr size_t kOutputSize = 4096;  // of a longer output the last piece is shown

  CommandRunner() = default;
  ~CommandRunner();
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;

  // Starts the command, and has its output and its status written to the descriptor, which stays the caller's.
  std::optional<Error> start(const std::string& command, int answer_fd);

  // Forgets the children that have ended. To be called when a child of phoned's has (SIGCHLD).
  void reap();

 private:
  std::vector<pid_t> children_;
};

}  // namespace phoned

#endif
