// The one phoned of a run directory: its lock, which keeps a second one away, its pid file, which tells who it is, and its
// way into the background.
#ifndef EXAMPLES_PHONED_IO_INSTANCE_H
#define EXAMPLES_PHONED_IO_INSTANCE_H

#include <functional>
#include <optional>
#include <string>

#include "phoned/core/descriptor.h"
#include "userlib.hpp"

namespace phoned {

class Instance : userlib::Pinned {
 public:
  ~Instance() { release(); }

  // Locks the directory and writes the pid file, over one that a dead phoned has left behind. Refused while another phoned
  // runs. The pid file of one that is going to detach names nobody until then: its process is about to be another one.
  void claim(const std::string& run_dir, bool is_going_to_detach);

  // Goes on in the background, under a pid of its own. Whatever can go wrong at the start should have gone wrong before:
  // nobody reads standard error any more. Where the system has no process for the background, the library ends this one;
  // "give_up" is called before.
  void detach(std::function<void()> give_up);

  // Writes the pid file.
  void write_pid_file();

  // Removes both files. Returns what to say about one that could not be removed.
  std::string release();

 private:
  void lock();

  std::optional<userlib::Daemon> daemon_;
  std::string pid_file_;
  std::string lock_file_;
  UniqueFd lock_;  // of a file that only phoned's own user may lock
};

}  // namespace phoned

#endif
