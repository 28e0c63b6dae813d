#include "userlib-digitmap/svg.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace digitmap_tool {

namespace {

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

Picture failed(const std::string& why) {
  return {Picture::Outcome::kFailed, {}, why};
}

bool write_all(FILE* file, const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
}

// Everything that another process has written to the file.
std::string read_all(FILE* file) {
  std::string text;
  std::array<char, 4096> buffer;
  std::rewind(file);
  for (size_t count; (count = std::fread(buffer.data(), 1, buffer.size(), file)) > 0;) {
    text.append(buffer.data(), count);
  }
  return text;
}

// Starts dot with the two files as its input and output. Returns 0 or an error number.
int start_dot(pid_t& pid, FILE* in, FILE* out) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(in), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(out), STDOUT_FILENO);
  char program[] = "dot";
  char format[] = "-Tsvg";
  char* const arguments[] = {program, format, nullptr};
  const int problem = posix_spawnp(&pid, program, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  return problem;
}

// Returns the status from waitpid().
int wait_for(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

Picture make_svg(const std::string& graph) {
  // Files instead of pipes: neither process waits for the other, and either may die.
  const File in(std::tmpfile());
  const File out(std::tmpfile());
  if (in == nullptr || out == nullptr || !write_all(in.get(), graph)) {
    return failed(std::string("a temporary file cannot be created: ") + std::strerror(errno));
  }
  std::rewind(in.get());
  pid_t pid = -1;
  if (const int problem = start_dot(pid, in.get(), out.get()); problem != 0) {
    if (problem == ENOENT) {
      return {Picture::Outcome::kNoDot, {}, "the program 'dot' is missing: install graphviz, or use --dot"};
    }
    return {Picture::Outcome::kNoDot, {}, std::string("the program 'dot' does not start: ") + std::strerror(problem)};
  }
  const int status = wait_for(pid);
  if (WIFSIGNALED(status)) {
    return failed("the program 'dot' was ended by signal " + std::to_string(WTERMSIG(status)));
  }
  if (WEXITSTATUS(status) != 0) {
    return failed("the program 'dot' has failed with status " + std::to_string(WEXITSTATUS(status)));
  }
  std::string svg = read_all(out.get());
  if (svg.empty()) {
    return failed("the program 'dot' has printed nothing");
  }
  return {Picture::Outcome::kMade, std::move(svg), {}};
}

}  // namespace digitmap_tool
