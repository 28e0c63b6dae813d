// What an operator may say: the commands of phoned's console.
//
//     tr ...                    the trace masks; it prints to phoned's standard output
//     lines                     what the lines that are off the hook are doing
//     map                       the dial plan
//     check DIGITS              what the dial plan says to digits
//     run COMMAND               a shell command, with a time limit
//     mac BASE OFFSET           a MAC address so many behind another one
//     bandwidth ...             what a media stream needs
//     cert FILE NEEDLE          whether the subject of a certificate is as the needle wants it
//     mem                       the memory of frames and messages
//     stop                      ends phoned
//
// Every answer that begins with "error: " says what is wrong and what would be right.
#ifndef EXAMPLES_PHONED_IO_COMMANDS_H
#define EXAMPLES_PHONED_IO_COMMANDS_H

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "phoned/core/dial_layer.h"
#include "phoned/core/result.h"
#include "phoned/io/command_runner.h"
#include "phoned/io/owned_pipe.h"
#include "userlib.hpp"

namespace phoned {

// Lines go to the console of the library through a pipe, which it reads as it would read a FIFO: so it never meets an
// operator, who might let it wait.
class Commands {
 public:
  Commands(const DialLayer& dial_layer, std::function<void()> stop);
  Commands(const Commands&) = delete;
  Commands& operator=(const Commands&) = delete;

  std::optional<Error> open();

  // Carries out a line of at most LineReader::kLongestLine characters, and answers on the descriptor.
  void handle(const std::string& line, int answer_fd);

  // A child of phoned's has ended.
  void reap() { runner_.reap(); }

 private:
  struct Invocation;
  using Function = std::string (Commands::*)(const Invocation& call);

  void add(const char* name, Function function);

  std::string tr(const Invocation& call);
  std::string lines(const Invocation& call);
  std::string map(const Invocation& call);
  std::string check(const Invocation& call);
  std::string run(const Invocation& call);
  std::string mac(const Invocation& call);
  std::string bandwidth(const Invocation& call);
  std::string cert(const Invocation& call);
  std::string mem(const Invocation& call);
  std::string stop(const Invocation& call);

  const DialLayer& dial_layer_;
  std::function<void()> stop_;
  CommandRunner runner_;
  OwnedPipe pipe_;
  userlib::Console<12> console_{""};
  std::deque<userlib::Command> table_;
};

}  // namespace phoned

#endif
