#include "phoned/io/signals.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include <unistd.h>

namespace phoned {

namespace {

// Where the handler writes to; -1 while nobody listens.
volatile sig_atomic_t g_write_fd = -1;

void note_signal(int signal) {
  const int saved = errno;
  const char byte = static_cast<char>(signal);
  // A write that the system refuses would be a TERM that nobody has heard.
  for (int i = 0; i < OwnedPipe::kTries && write(g_write_fd, &byte, 1) < 0; ++i) {
  }
  errno = saved;
}

}  // namespace

Signals::~Signals() {
  g_write_fd = -1;
}

std::optional<Error> Signals::open(std::initializer_list<int> signals) {
  // When the pipe is full of signals that nobody has read, one more tells nothing new.
  if (!pipe_.open()) {
    return Error{std::string("no pipe for signals to be had: ") + std::strerror(errno)};
  }
  g_write_fd = pipe_.write_fd();
  struct sigaction action = {};
  action.sa_handler = note_signal;
  // Transfers go on after a signal. select() does not, whatever is said here, and that is how the loop notices.
  action.sa_flags = SA_RESTART;
  for (const int signal : signals) {
    sigaction(signal, &action, nullptr);
  }
  return std::nullopt;
}

std::vector<int> Signals::take() {
  std::vector<int> signals;
  for (const char byte : pipe_.take()) {
    signals.push_back(static_cast<unsigned char>(byte));
  }
  return signals;
}

}  // namespace phoned
