// Signals as input of the main loop. A handler may interrupt anything and so may do next to nothing: it writes the
// signal's number into a pipe, and the reactor reads it when everything is in order.
#ifndef EXAMPLES_PHONED_IO_SIGNALS_H
#define EXAMPLES_PHONED_IO_SIGNALS_H

#include <initializer_list>
#include <optional>
#include <vector>

#include "phoned/core/result.h"
#include "phoned/io/owned_pipe.h"

namespace phoned {

// There is one in a process.
class Signals {
 public:
  Signals() = default;
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  // From now on these signals come in through the pipe.
  std::optional<Error> open(std::initializer_list<int> signals);

  int fd() const { return pipe_.read_fd(); }

  // The numbers of the signals that came in, oldest first.
  std::vector<int> take();

 private:
  OwnedPipe pipe_;
};

}  // namespace phoned

#endif
