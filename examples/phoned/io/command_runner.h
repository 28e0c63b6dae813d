// Runs shell commands for operators. The library waits for a command's end, and phoned has calls to decide: so a child
// process of phoned's does the waiting, and answers the operator.
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
  static constexpr int kSeconds = 2;           // what a command has
  static constexpr size_t kMaxCommands = 4;    // at the same time
  static constexpr size_t kOutputSize = 4096;  // of a longer output the last piece is shown

  ~CommandRunner();

  // Starts the command, and has its output and its status written to the descriptor, which stays the caller's.
  void start(const std::string& command, int answer_fd);

  // Forgets the children that have ended. To be called when a child of phoned's has (SIGCHLD). Returns how many of them
  // had more to say than the descriptor took.
  uint64_t reap();

 private:
  std::vector<pid_t> children_;
};

}  // namespace phoned

#endif
