// The one phoned of a run directory: its pid file, which keeps a second one away, and its way into the background.
#ifndef EXAMPLES_PHONED_IO_INSTANCE_H
#define EXAMPLES_PHONED_IO_INSTANCE_H

#include <optional>
#include <string>

#include "nuv_daemon.h"
#include "phoned/core/result.h"

namespace phoned {

class Instance {
 public:
  Instance() = default;
  ~Instance();  // removes the pid file
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  // Writes the pid file, over one that a dead phoned has left behind. Refused while another phoned runs.
  std::optional<Error> claim(const std::string& run_dir);

  // Goes on in the background, under a pid of its own. Whatever can go wrong at the start should have gone wrong before:
  // nobody reads standard error any more.
  std::optional<Error> detach();

 private:
  std::optional<Error> write_pid_file();

  Daemon daemon_ = {};
  bool is_claimed_ = false;
};

}  // namespace phoned

#endif
