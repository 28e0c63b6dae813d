// The commands of phoned's console, which docs/operator.md lists. An Error becomes an answer that begins with "error: ".
// What the larger ones do is in files of its own.
#ifndef EXAMPLES_PHONED_IO_COMMANDS_H
#define EXAMPLES_PHONED_IO_COMMANDS_H

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "phoned/core/dial_layer.h"
#include "phoned/core/statistics.h"
#include "phoned/io/bridge.h"
#include "userlib.hpp"

namespace phoned {

// certificate.cpp: whether the subject of the first certificate in a PEM file matches the needle, in words.
std::string match_subject(const std::string& file, const std::string& needle);

// shell_command.cpp: a child process that runs the command, and writes its output and status to the descriptor. It ends with
// a status other than 0 if that was not possible.
pid_t start_shell_command(const std::string& command, int answer_fd);

// The library's console reads from a pipe and writes into memory, so that it never waits for an operator.
class Commands : userlib::Pinned {
 public:
  Commands(const DialLayer& dial_layer, Statistics& statistics, const std::function<void()>& stop);
  ~Commands();

  void open() { pipe_.open(); }

  // Carries out a line of at most 255 characters.
  void handle(const std::string& line, int answer_fd);

  // Writes to a descriptor that does not block. A text that does not fit is cut, and counted.
  void say(int fd, const std::string& text);

  // To be called on SIGCHLD.
  void reap();

 private:
  using Words = userlib::Invocation;
  struct Row {
    const char* name;
    const char* arguments;
    int32_t min;  // number of arguments
    int32_t max;
    std::function<std::string(const Words&)> function;
  };

  std::string carry_out(const Row& row, const Words& words);
  std::string tr(const Words& words);
  std::string run(const Words& words);

  Statistics& statistics_;
  const std::vector<Row> rows_;
  std::vector<pid_t> children_;  // that run shell commands
  TextPipe pipe_;
  userlib::Console<10> console_{""};
  std::deque<userlib::Command> commands_;
  int operator_fd_ = -1;  // whose line is being carried out
};

}  // namespace phoned

#endif
