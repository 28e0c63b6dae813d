// The one phoned of a run directory: its lock, its pid file, and its way into the background.
#ifndef EXAMPLES_PHONED_IO_INSTANCE_H
#define EXAMPLES_PHONED_IO_INSTANCE_H

#include <functional>
#include <optional>
#include <string>

#include "userlib.hpp"

namespace phoned {

class Instance : userlib::Pinned {
 public:
  ~Instance() { release(); }

  // Locks the directory and writes the pid file, replacing that of a dead phoned. An Error while another phoned runs. The pid
  // file stays empty until a phoned that is going to detach has its final pid.
  void claim(const std::string& run_dir, bool is_going_to_detach);

  // Continues in the background with another pid. If that is not possible, the library ends the process; "give_up" is
  // called before.
  void detach(std::function<void()> give_up);

  void write_pid_file();

  // Removes both files. Returns a complaint about one that could not be removed, or nothing.
  std::string release();

 private:
  void lock();

  std::optional<userlib::Daemon> daemon_;
  std::string pid_file_;
  std::string lock_file_;
  userlib::LockFile lock_;
};

}  // namespace phoned

#endif
