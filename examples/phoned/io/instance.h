// The one phoned of a run directory: its lock, which keeps a second one away, its pid file, which tells who it is, and its
// way into the background.
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
  ~Instance() { release(); }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  // Locks the directory and writes the pid file, over one that a dead phoned has left behind. Refused while another phoned
  // runs. The pid file of one that is going to detach names nobody until then: its process is about to be another one.
  std::optional<Error> claim(const std::string& run_dir, bool is_going_to_detach);

  // Goes on in the background, under a pid of its own. Whatever can go wrong at the start should have gone wrong before:
  // nobody reads standard error any more.
  std::optional<Error> detach();

  // Removes both files. The error names the one that could not be removed.
  std::optional<Error> release();

 private:
  std::optional<Error> lock();
  std::optional<Error> write_pid_file();
  std::string pid_file() const { return NUV_Daemon_getPidFileName(&daemon_); }

  Daemon daemon_ = {};
  int lock_fd_ = -1;  // of a file that only phoned's own user may lock
  std::string lock_file_;
};

}  // namespace phoned

#endif
