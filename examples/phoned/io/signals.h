// Signals as input of the main loop: the handler writes the signal's number into a pipe, which the reactor reads.
#ifndef EXAMPLES_PHONED_IO_SIGNALS_H
#define EXAMPLES_PHONED_IO_SIGNALS_H

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <string>

#include <unistd.h>

#include "phoned/io/bridge.h"

namespace phoned {

// One per process.
class Signals : userlib::Pinned {
 public:
  ~Signals() { write_fd_ = -1; }

  // Handles these signals from now on.
  void open(std::initializer_list<int> signals) {
    pipe_.open("for signals ");
    write_fd_ = pipe_.write_fd();
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;  // for transfers; select() returns nevertheless, and so the loop notices
    for (const int signal : signals) {
      sigaction(signal, &action, nullptr);
    }
  }

  int fd() const { return pipe_.read_fd(); }

  // The signals received, oldest first: one character each, whose code is the signal's number.
  std::string take() { return pipe_.take(); }

 private:
  // Tries again, lest a TERM is lost. One that finds the pipe full tells nothing new.
  static void note(int signal) {
    const int saved = errno;
    const char byte = static_cast<char>(signal);
    for (int i = 0; i < kTries && write(write_fd_, &byte, 1) < 0; ++i) {
    }
    errno = saved;
  }

  inline static volatile sig_atomic_t write_fd_ = -1;

  TextPipe pipe_;
};

}  // namespace phoned

#endif
