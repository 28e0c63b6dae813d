// A phoned in a hostile environment: with its own run directory, in the foreground or the background. The kernel says
// whether it is up, because its own output may be blocked or closed.
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

// The UDP port that the process is bound to; 0 if none.
uint16_t udp_port_of(pid_t pid);

// Whether the process is idle, judged by its processor time during a second: even on a busy machine, a process that
// spins uses far more than one that waits.
bool is_idle(pid_t pid);

// How long the process has been ready to run without a processor, since its start.
std::chrono::nanoseconds processor_wait_of(pid_t pid);

// Whether the process exists and has not ended.
bool is_running(pid_t pid);

class Phoned {
 public:
  enum class Mode { kForeground, kBackground };

  struct Start {
    Mode mode = Mode::kForeground;
    support::Program::Arguments options = {};
    // Shell commands before phoned is executed, such as "exec <&-;".
    std::string before = "";
    // Standard output; a file by default.
    int out_fd = -1;
    std::string input = "";
    // The directory of pid file and console; by default a new one.
    std::string run_dir = "";
  };

  static constexpr char kPlan[] = "110|11T|0x.T";

  // Does not wait until phoned is up.
  explicit Phoned(const Start& start);
  ~Phoned();
  Phoned(const Phoned&) = delete;
  Phoned& operator=(const Phoned&) = delete;

  // Waits until phoned listens. Returns false on a time-out.
  bool is_up();

  pid_t pid() const { return pid_; }
  uint16_t port() const { return port_; }
  std::string pid_file() const { return run_dir_ + "/phoned.pid"; }
  std::string console() const { return run_dir_ + "/console"; }

  void signal(int number) const;

  // Stops the process and waits until it is stopped.
  void stop() const;

  // Waits for the end of the process. Returns false on a time-out.
  bool ends_within(std::chrono::seconds time);

  // For a process in the foreground, after its end; see Program.
  int exit_status() { return launcher_->exit_status(); }
  // The program that was started: phoned, or the process that put it into the background.
  const support::Program& program() const { return *launcher_; }

 private:
  support::TemporaryDirectory directory_;
  std::string run_dir_;
  Mode mode_;
  std::unique_ptr<support::Program> launcher_;
  pid_t pid_ = -1;
  uint16_t port_ = 0;
};

// The init file that enables all traces of phoned.
std::string trace_everything();

// Makes `count` calls and checks the answers; half of them must come within 100 ms. On a busy machine single answers
// may be late, but if phoned blocks, they are late by seconds or missing.
void expect_prompt_answers(const Phoned& phoned, int calls);

// Terminates phoned, which must end within 5 s and remove its pid file and socket.
void expect_a_clean_end(Phoned& phoned);

}  // namespace world

#endif
