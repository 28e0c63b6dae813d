// What an operator may say: the commands of phoned's console, which docs/operator.md lists.
//
// Every answer that begins with "error: " says what is wrong and what would be right.
#ifndef EXAMPLES_PHONED_IO_COMMANDS_H
#define EXAMPLES_PHONED_IO_COMMANDS_H

#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "phoned/core/dial_layer.h"
#include "phoned/core/statistics.h"
#include "phoned/io/bridge.h"
#include "phoned/io/command_runner.h"
#include "userlib.hpp"

namespace phoned {

// Says whether the subject of the first certificate in a PEM file is as the needle wants it.
std::string match_subject(const std::string& file, const std::string& needle);

// Lines go to the console of the library through a pipe, which it reads as it would read a FIFO: so it never meets an
// operator, who might let it wait.
class Commands : userlib::Pinned {
 public:
  Commands(const DialLayer& dial_layer, Statistics& statistics, std::function<void()> stop);

  void open() { pipe_.open("for the console "); }

  // Carries out a line of at most LineReader::kLongestLine characters, and answers on the descriptor.
  void handle(const std::string& line, int answer_fd);

  // Answers on a descriptor that does not block. What does not fit is lost, and counted.
  void say(int fd, const std::string& text);

  // A child of phoned's has ended.
  void reap() { statistics_.cut += runner_.reap(); }

 private:
  using Words = userlib::Invocation;
  struct Row {
    const char* name;
    const char* arguments;  // their names, for an operator who gives too few or too many
    int32_t min;
    int32_t max;
    std::string (Commands::*function)(const Words& words);
  };
  static const Row kTable[];

  std::string carry_out(const Row& row, const Words& words);

  std::string tr(const Words& words);
  std::string lines(const Words& words);
  std::string map(const Words& words);
  std::string check(const Words& words);
  std::string run(const Words& words);
  std::string mac(const Words& words);
  std::string bandwidth(const Words& words);
  std::string cert(const Words& words);
  std::string mem(const Words& words);
  std::string stop(const Words& words);

  const DialLayer& dial_layer_;
  Statistics& statistics_;
  std::function<void()> stop_;
  CommandRunner runner_;
  TextPipe pipe_;
  userlib::Console<10> console_{""};
  std::deque<userlib::Command> commands_;
  int operator_fd_ = -1;  // of the one whose line is being carried out
};

}  // namespace phoned

#endif
