#include "program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "watcher.h"

namespace support {
namespace {

bool holds(const TemporaryFile& file, const std::string& text) {
  return comes_true([&] { return file.content().find(text) != std::string::npos; });
}

// Programs get only their three standard descriptors.
void keep_descriptors_to_ourselves() {
  constexpr int kMost = 256;
  for (int fd = STDERR_FILENO + 1; fd < kMost; ++fd) {
    fcntl(fd, F_SETFD, FD_CLOEXEC);
  }
}

}  // namespace

bool comes_true(const std::function<bool()>& question) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(Program::kPatienceSeconds);
  while (!question()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

TemporaryFile::TemporaryFile(const std::string& content) : path_(::testing::TempDir() + "phoned_tests.XXXXXX") {
  const int fd = mkstemp(path_.data());
  if (fd < 0) {
    throw std::runtime_error("no temporary file");
  }
  close(fd);
  write(content);
}

TemporaryFile::~TemporaryFile() {
  unlink(path_.c_str());
}

void TemporaryFile::write(const std::string& content) const {
  write_content(path_, content);
}

Program::Arguments Program::start_of(const Arguments& command) {
  Arguments words;
  if (command.front().starts_with(BUILT)) {
    std::istringstream emulator(EMULATOR);
    words.assign(std::istream_iterator<std::string>(emulator), {});
  }
  words.insert(words.end(), command.begin(), command.end());
  return words;
}

Program::Arguments Program::with_descriptors(int count, const Arguments& command) {
  Arguments arguments = {"-c", "ulimit -n \"$1\"; shift; exec \"$@\"", "sh", std::to_string(count)};
  const Arguments start = start_of(command);
  arguments.insert(arguments.end(), start.begin(), start.end());
  return arguments;
}

Program::Program(const std::string& path, const Arguments& arguments, const std::string& input, int out_fd)
    : in_(input) {
  watch_over_programs();
  keep_descriptors_to_ourselves();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in_.path().c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_.path().c_str(), O_WRONLY, 0);
  if (out_fd >= 0) {
    posix_spawn_file_actions_adddup2(&actions, out_fd, STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out_fd);
  } else {
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_.path().c_str(), O_WRONLY, 0);
  }
  Arguments command = {path};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const Arguments start = start_of(command);
  std::vector<char*> argv;
  for (const std::string& word : start) {
    argv.push_back(const_cast<char*>(word.c_str()));
  }
  argv.push_back(nullptr);
  const int problem = posix_spawn(&pid_, argv.front(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (problem != 0) {
    throw std::runtime_error("cannot start " + path);
  }
}

Program::~Program() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

bool Program::says(const std::string& text) const {
  return holds(out_, text);
}

bool Program::complains(const std::string& text) const {
  return holds(err_, text);
}

size_t Program::descriptors() const {
  const auto entries = std::filesystem::directory_iterator("/proc/" + std::to_string(pid_) + "/fd");
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

bool Program::sleeps() const {
  return comes_true([this] {
    const std::string status = content_of("/proc/" + std::to_string(pid_) + "/stat");
    return status.find(") S ") != std::string::npos;
  });
}

void Program::signal(int number) const {
  kill(pid_, number);
}

int Program::exit_status() {
  int status = 0;
  if (!comes_true([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) {
    return -1;
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Outcome outcome_of(const std::string& path, const Program::Arguments& arguments, const std::string& input) {
  Program program(path, arguments, input);
  const int status = program.exit_status();
  return {status, program.out(), program.err()};
}

}  // namespace support
