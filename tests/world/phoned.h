// A phoned in a world that does it harm: with a run directory of its own, in the foreground or the background, found by
// what the kernel tells about it, because its own output may be blocked or closed.
#ifndef TESTS_WORLD_PHONED_H
#define TESTS_WORLD_PHONED_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include "doubles/temporary_directory.h"
#include "program.h"

namespace world {

using Milliseconds = std::chrono::milliseconds;

// The UDP port on which the process listens; 0: on none.
uint16_t udp_port_of(pid_t pid);

// Whether the process does nothing, while nothing is there to do. It is watched for a second, in which one that spins
// gets far more of the processor than a wait takes, on a busy machine too.
bool is_idle(pid_t pid);

// Whether the process is there, and has not ended.
bool is_running(pid_t pid);

class Phoned {
 public:
  enum class Mode { kForeground, kBackground };

  struct Start {
    Mode mode = Mode::kForeground;
    support::Program::Arguments options = {};
    // What the shell does before it becomes phoned, such as "exec <&-;".
    std::string before = "";
    // Standard output, if it is not to be a file.
    int out_fd = -1;
    std::string input = "";
    // Where pid file and console lie, if not in a directory of its own.
    std::string run_dir = "";
  };

  static constexpr char kPlan[] = "110|11T|0x.T";

  // Does not wait until it serves.
  explicit Phoned(const Start& start);
  ~Phoned();
  Phoned(const Phoned&) = delete;
  Phoned& operator=(const Phoned&) = delete;

  // Waits until it listens. False if it does not.
  bool is_up();

  pid_t pid() const { return pid_; }
  uint16_t port() const { return port_; }
  std::string pid_file() const { return run_dir_ + "/phoned.pid"; }
  std::string console() const { return run_dir_ + "/console"; }

  void signal(int number) const;

  // Stops the process, and waits until it stands still.
  void stop() const;

  // Waits for the end, not longer than the time. False if it does not come.
  bool ends_within(std::chrono::seconds time);

  // In the foreground, after the end: as Program has it.
  int exit_status() { return launcher_->exit_status(); }
  // What it, or who has started it in the background, has written into files.
  const support::Program& program() const { return *launcher_; }

 private:
  support::TemporaryDirectory directory_;
  std::string run_dir_;
  Mode mode_;
  std::unique_ptr<support::Program> launcher_;
  pid_t pid_ = -1;
  uint16_t port_ = 0;
};

// The init file that lets phoned trace all that it can.
std::string trace_everything();

// Has so many calls decided, and expects the right answers, half of them within 100 ms: a single one may be late on a
// busy machine, but one that phoned keeps back comes seconds late or never.
void expect_prompt_answers(const Phoned& phoned, int calls);

// Asks it to end, and expects that it does so within 5 s and leaves neither pid file nor socket.
void expect_a_clean_end(Phoned& phoned);

}  // namespace world

#endif
