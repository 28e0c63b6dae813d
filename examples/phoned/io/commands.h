// The commands of phoned's console, which docs/operator.md lists. An Error becomes an answer that begins with "error: ".
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

// Whether the subject of the first certificate in a PEM file matches the needle, in words.
std::string match_subject(const std::string& file, const std::string& needle);

// The library's console reads from a pipe and writes into memory, so that it never waits for an operator.
class Commands : userlib::Pinned {
 public:
  Commands(const DialLayer& dial_layer, Statistics& statistics, std::function<void()> stop);

  void open() { pipe_.open("for the console "); }

  // Carries out a line of at most LineReader::kLongestLine characters.
  void handle(const std::string& line, int answer_fd);

  // Writes to a descriptor that does not block. A text that does not fit is cut, and counted.
  void say(int fd, const std::string& text);

  // To be called on SIGCHLD.
  void reap() { statistics_.cut += runner_.reap(); }

 private:
  using Words = userlib::Invocation;
  struct Row {
    const char* name;
    const char* arguments;
    int32_t min;  // number of arguments
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
  int operator_fd_ = -1;  // whose line is being carried out
};

}  // namespace phoned

#endif
