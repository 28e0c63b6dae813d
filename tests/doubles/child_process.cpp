#include "doubles/child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

namespace support {
namespace {

std::string content_of(std::FILE* file) {
  std::string text;
  std::array<char, 4096> piece;
  std::rewind(file);
  while (const size_t length = std::fread(piece.data(), 1, piece.size(), file)) {
    text.append(piece.data(), length);
  }
  std::fclose(file);
  return text;
}

// If a signal kills the child under an emulator, the emulator appends a line of its own.
void drop_line_of_emulator(std::string& text) {
  const size_t at = text.rfind("qemu: uncaught target signal ");
  const bool begins_line = at != std::string::npos && (at == 0 || text[at - 1] == '\n');
  if (begins_line && text.find('\n', at) == text.size() - 1) {
    text.erase(at);
  }
}

[[noreturn]] void run(const std::function<void()>& body, std::FILE* out, std::FILE* err) {
  dup2(fileno(out), STDOUT_FILENO);
  dup2(fileno(err), STDERR_FILENO);
  body();
  std::fflush(nullptr);
  _exit(0);
}

// Waits for the child to end. Kills it at the deadline and returns false.
bool wait_for(pid_t pid, int deadline_seconds, int& status) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(deadline_seconds);
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void()>& body, int deadline_seconds) {
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    run(body, out, err);
  }
  // If fork() failed there is no child to wait for, and kill(-1) would kill every process.
  timed_out_ = pid < 0 || !wait_for(pid, deadline_seconds, status_);
  out_ = content_of(out);
  err_ = content_of(err);
  if (!timed_out_ && WIFSIGNALED(status_)) {
    drop_line_of_emulator(err_);
  }
}

bool ChildProcess::has_exited(int status) const {
  return !timed_out_ && WIFEXITED(status_) && WEXITSTATUS(status_) == status;
}

bool ChildProcess::was_killed_by(int signal) const {
  return !timed_out_ && WIFSIGNALED(status_) && WTERMSIG(status_) == signal;
}

std::string ChildProcess::outcome() const {
  if (timed_out_) {
    return "timed out";
  }
  return WIFEXITED(status_) ? "exited with " + std::to_string(WEXITSTATUS(status_))
                            : "killed by signal " + std::to_string(WTERMSIG(status_));
}

}  // namespace support
