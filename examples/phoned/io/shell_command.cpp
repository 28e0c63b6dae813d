// The command "run". The library waits until a shell command ends; here a child process of phoned does that, and answers the
// operator.
#include <algorithm>
#include <cerrno>
#include <csignal>

#include <sys/select.h>
#include <sys/wait.h>
#include <unistd.h>

#include "nuv_execute.h"
#include "phoned/core/text.h"
#include "phoned/io/commands.h"

namespace phoned {

namespace {

constexpr int kSeconds = 2;           // per command
constexpr size_t kOutputSize = 4096;  // the end of a longer output is shown
constexpr int kAnswerFd = 3;
constexpr int kCut = 1;  // exit status if the answer was not written completely

// Returns the exit status.
int answer(const std::string& text) {
  const std::string shown = printable(text, "\n\t");
  return write(kAnswerFd, shown.data(), shown.size()) == static_cast<ssize_t>(shown.size()) ? 0 : kCut;
}

pid_t g_reader = -1;

// What a command leaves running in the background may keep its output open for ever.
void give_up(int) {
  constexpr std::string_view kText =
      "error: phoned does not wait for what the command left running, which keeps its output open\n";
  const ssize_t count = write(kAnswerFd, kText.data(), kText.size());
  if (g_reader > 0) {
    kill(g_reader, SIGKILL);
  }
  _exit(count == static_cast<ssize_t>(kText.size()) ? 0 : kCut);
}

// Gives up phoned's signals, sockets and files. The alarm comes after the command's own limit.
void leave_the_daemon(int answer_fd) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE, SIGTTOU, SIGTTIN}) {
    std::signal(signal, SIG_DFL);
  }
  std::signal(SIGALRM, give_up);
  dup2(answer_fd, kAnswerFd);
  for (int fd = kAnswerFd + 1; fd < FD_SETSIZE; ++fd) {
    close(fd);
  }
  alarm(kSeconds + 1);
}

std::string describe_status(int32_t status) {
  if (status < 0) {
    return "error: the command cannot be started\n";
  }
  // The library returns 1 for a command that it has ended, too.
  const std::string limit = std::to_string(kSeconds);
  return "status " + std::to_string(status) +
         (status == 1 ? ", or ended by its time limit of " + limit + " s\n" : "\n");
}

// Reads to the end, and answers with the last part.
int answer_with_last_piece(int fd) {
  std::string piece;
  char buffer[kOutputSize];
  for (ssize_t count = 0; (count = read(fd, buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR);) {
    piece.append(buffer, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    piece.erase(0, piece.size() - std::min(piece.size(), kOutputSize - 1));
  }
  if (!piece.empty() && !piece.ends_with('\n')) {
    piece += '\n';
  }
  return answer(piece);
}

// The library reads after the command has ended, and a pipe holds only 64 KiB. So another process reads meanwhile, and the
// shell prints to that one; the library gets what the shell says if it cannot.
int run(const std::string& command) {
  int ends[2];
  if (pipe(ends) != 0 || (g_reader = fork()) < 0) {
    return answer("error: cannot start a process: " + reason() + "\n");
  }
  if (g_reader == 0) {
    close(ends[1]);
    _exit(answer_with_last_piece(ends[0]));
  }
  close(ends[0]);
  const std::string path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(ends[1]);
  char output[kOutputSize] = {};
  const int32_t status =
      NUV_Execute_Command_Timeout(("exec >" + path + " 2>&1\n" + command).c_str(), output, sizeof output, kSeconds);
  close(ends[1]);
  int reader = 0;
  while (waitpid(g_reader, &reader, 0) < 0 && errno == EINTR) {
  }
  return answer(output + describe_status(status)) | (reader == 0 ? 0 : kCut);
}

}  // namespace

pid_t start_shell_command(const std::string& command, int answer_fd) {
  const pid_t child = fork();
  if (child < 0) {
    throw Error("cannot start a process: " + reason());
  }
  if (child == 0) {
    leave_the_daemon(answer_fd);
    _exit(run(command));
  }
  return child;
}

}  // namespace phoned
