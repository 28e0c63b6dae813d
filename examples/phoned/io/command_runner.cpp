#include "phoned/io/command_runner.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>

#include <sys/select.h>
#include <sys/wait.h>
#include <unistd.h>

#include "nuv_execute.h"
#include "phoned/core/text.h"

namespace phoned {

namespace {

// Where the child's answer goes to.
constexpr int kAnswerFd = 3;

void write_answer(const std::string& text) {
  static_cast<void>(!write(kAnswerFd, text.data(), text.size()));
}

pid_t g_reader = -1;

// A command may have left something behind that keeps its output open; nobody waits for the end of that.
void give_up(int) {
  constexpr char kText[] = "error: what the command has started goes on writing, and is not waited for\n";
  static_cast<void>(!write(kAnswerFd, kText, sizeof kText - 1));
  if (g_reader > 0) {
    kill(g_reader, SIGKILL);
  }
  _exit(1);
}

// The child has nothing to do with phoned's signals, sockets and files. It lives longer than any command may.
void leave_the_daemon(int answer_fd) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE, SIGTTOU, SIGTTIN}) {
    std::signal(signal, SIG_DFL);
  }
  std::signal(SIGALRM, give_up);
  dup2(answer_fd, kAnswerFd);
  for (int fd = kAnswerFd + 1; fd < FD_SETSIZE; ++fd) {
    close(fd);
  }
  alarm(CommandRunner::kSeconds + 1);
}

std::string describe_status(int32_t status) {
  if (status < 0) {
    return "error: the command cannot be started\n";
  }
  // The library gives 1 for a command that was ended, too.
  const std::string limit = std::to_string(CommandRunner::kSeconds);
  return "status " + std::to_string(status) +
         (status == 1 ? ", or ended by its time limit of " + limit + " s\n" : "\n");
}

// Reads to the end, and answers with the last piece of it.
void answer_with_last_piece(int fd) {
  std::string piece;
  std::array<char, CommandRunner::kOutputSize> buffer;
  for (ssize_t count = 0; (count = read(fd, buffer.data(), buffer.size())) > 0 || (count < 0 && errno == EINTR);) {
    piece.append(buffer.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)));
    piece.erase(0, piece.size() - std::min(piece.size(), CommandRunner::kOutputSize - 1));
  }
  if (!piece.empty() && !piece.ends_with('\n')) {
    piece += '\n';
  }
  write_answer(printable_lines(piece));
}

// The library reads nothing before the command has ended, and a pipe holds 64 KiB. So a process of its own reads, and the
// shell is told to print to that one; by the library comes only what the shell says if it cannot.
void run(const std::string& command) {
  std::array<int, 2> ends = {};
  if (pipe(ends.data()) != 0 || (g_reader = fork()) < 0) {
    return write_answer(std::string("error: no pipe and no process to be had: ") + std::strerror(errno) + "\n");
  }
  if (g_reader == 0) {
    close(ends[1]);
    answer_with_last_piece(ends[0]);
    _exit(0);
  }
  close(ends[0]);
  const std::string path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(ends[1]);
  std::array<char, CommandRunner::kOutputSize> output = {};
  const int32_t status = NUV_Execute_Command_Timeout(("exec >" + path + " 2>&1\n" + command).c_str(), output.data(),
                                                     output.size(), CommandRunner::kSeconds);
  close(ends[1]);
  while (waitpid(g_reader, nullptr, 0) < 0 && errno == EINTR) {
  }
  write_answer(printable_lines(output.data()) + describe_status(status));
}

// A child whom the system does not want to tell about just now is asked after once more, and then with the next one.
bool has_ended(pid_t child) {
  constexpr int kTries = 3;
  pid_t ended = -1;
  for (int i = 0; i < kTries && ended < 0; ++i) {
    ended = waitpid(child, nullptr, WNOHANG);
  }
  return ended == child || (ended < 0 && errno == ECHILD);
}

}  // namespace

CommandRunner::~CommandRunner() {
  for (const pid_t child : children_) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

std::optional<Error> CommandRunner::start(const std::string& command, int answer_fd) {
  if (children_.size() == kMaxCommands) {
    return Error{std::to_string(kMaxCommands) + " commands are running already: wait for the end of one"};
  }
  const pid_t child = fork();
  if (child < 0) {
    return Error{std::string("no process to be had: ") + std::strerror(errno)};
  }
  if (child == 0) {
    leave_the_daemon(answer_fd);
    run(command);
    _exit(0);
  }
  children_.push_back(child);
  return std::nullopt;
}

void CommandRunner::reap() {
  std::erase_if(children_, has_ended);
}

}  // namespace phoned
