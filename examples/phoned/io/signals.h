// Signals as input of the main loop. A handler may interrupt anything and so may do next to nothing: it writes the
// signal's number into a pipe, and the reactor reads it when everything is in order.
#ifndef EXAMPLES_PHONED_IO_SIGNALS_H
#define EXAMPLES_PHONED_IO_SIGNALS_H

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <string>

#include <unistd.h>

#include "phoned/io/bridge.h"

namespace phoned {

// There is one in a process.
class Signals : userlib::Pinned {
 public:
  ~Signals() { write_fd_ = -1; }

  // From now on these signals come in through the pipe.
  void open(std::initializer_list<int> signals) {
    pipe_.open("for signals ");
    write_fd_ = pipe_.write_fd();
    struct sigaction action = {};
    action.sa_handler = note;
    // Transfers go on after a signal. select() does not, whatever is said here, and that is how the loop notices.
    action.sa_flags = SA_RESTART;
    for (const int signal : signals) {
      sigaction(signal, &action, nullptr);
    }
  }

  int fd() const { return pipe_.read_fd(); }

  // The signals that came in, oldest first: a character for each, whose code is its number.
  std::string take() { return pipe_.take(); }

 private:
  // A write that the system refuses would be a TERM that nobody has heard. When the pipe is full of signals that nobody
  // has read, one more tells nothing new.
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
