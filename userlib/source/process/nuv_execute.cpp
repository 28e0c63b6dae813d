#include "nuv_execute.h"

#include <algorithm>
#include <iterator>
#include <span>

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/contract.h"
#include "core/unique_fd.h"

namespace {

constexpr char kFamily[] = "nuv_execute";

// Stands in where the system does not tell its limit of open descriptors.
constexpr long kUnknownLimit = 1024;

// Of the child until it has become the shell. It needs less than a third of it, even where its calls have to be looked up.
constexpr size_t kStackSize = size_t{16} * 1024;

// The part of the caller's buffer that may be written: none if a returning error handler let a bad one pass.
std::span<char> writable(char* buffer, int32_t length) {
  return buffer != nullptr && length > 0 ? std::span(buffer, static_cast<size_t>(length)) : std::span<char>();
}

// A shell that is to be started, and what it takes to do so.
struct Shell {
  const char* command;
  int32_t seconds;   // until it is ended, if there are any
  int output;        // where it prints to
  sigset_t blocked;  // the caller's blocked signals, which are the shell's, too
};

// The functions down to run_shell() run in the child, until the shell takes its place: in the memory of the daemon, whose
// calling thread waits meanwhile, beside any other threads. They make system calls and nothing else, and write to their
// own stack only (and to the errno of the thread that waits).

// The child comes with all signals blocked and with the daemon's handlers, which would take effect in the daemon's memory.
// An exec resets handlers anyway and leaves ignored signals ignored, so the shell finds what it would find after a fork.
void take_signals(const sigset_t& blocked) {
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action;
    // Some signals are reserved by the C library, and fail.
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN) {
      action.sa_handler = SIG_DFL;
      sigaction(signal, &action, nullptr);
    }
  }
  sigprocmask(SIG_SETMASK, &blocked, nullptr);
}

// Makes the second descriptor a copy of the first. A signal that comes in between is no reason to give up.
void duplicate_or_exit(int from, int to) {
  while (dup2(from, to) < 0) {
    if (errno != EINTR) {
      _exit(errno);
    }
  }
}

// What the kernel tells of a file in a directory.
struct DirectoryEntry {
  uint64_t inode;
  int64_t offset;
  uint16_t size;  // of the entry, with its name
  uint8_t type;
  char name[1];
};

// The descriptor that a file of /proc/self/fd stands for. "." and ".." pass for the first one.
int descriptor_named(const char* name) {
  int fd = 0;
  for (; *name >= '0' && *name <= '9'; ++name) {
    fd = fd * 10 + (*name - '0');
  }
  return fd;
}

// Closes those of the descriptors from first to limit - 1 that are open, and tells whether it could find them all. This is
// no place for opendir(), which allocates memory.
bool close_open_descriptors(int first, int limit) {
  const int list = open("/proc/self/fd", O_RDONLY | O_DIRECTORY);
  if (list < 0) {
    return false;
  }
  char entries[1024];
  long length = 0;
  while ((length = syscall(SYS_getdents64, list, entries, sizeof entries)) > 0) {
    uint16_t size = 0;
    for (const char* entry = entries; entry < entries + length; entry += size) {
      memcpy(&size, entry + offsetof(DirectoryEntry, size), sizeof size);
      const int fd = descriptor_named(entry + offsetof(DirectoryEntry, name));
      if (fd >= first && fd < limit && fd != list) {
        close(fd);
      }
    }
  }
  close(list);
  return length == 0;
}

// Closes the descriptors from first to limit - 1. Limits of a million are usual on larger systems, where a loop over
// them would take longer than most commands, so the kernel is asked to do it in one call. Those before 5.9 cannot, and
// without /proc there is nothing but the loop.
void close_descriptors(int first, int limit) {
  if (first >= limit) {
    return;
  }
#ifdef SYS_close_range
  if (syscall(SYS_close_range, first, limit - 1, 0) == 0) {
    return;
  }
#endif
  if (close_open_descriptors(first, limit)) {
    return;
  }
  for (int fd = first; fd < limit; ++fd) {
    close(fd);
  }
}

int descriptor_limit() {
  const long limit = sysconf(_SC_OPEN_MAX);
  return static_cast<int>(std::min<long>(limit >= 0 ? limit : kUnknownLimit, INT_MAX));
}

int run_shell(void* argument) {
  const Shell& shell = *static_cast<const Shell*>(argument);
  take_signals(shell.blocked);
  const int input = open("/dev/null", O_RDONLY);
  if (input < 0) {
    _exit(errno);
  }
  duplicate_or_exit(input, STDIN_FILENO);
  duplicate_or_exit(shell.output, STDOUT_FILENO);
  duplicate_or_exit(shell.output, STDERR_FILENO);
  close_descriptors(STDERR_FILENO + 1, descriptor_limit());
  if (shell.seconds > 0) {
    alarm(static_cast<unsigned int>(shell.seconds));
  }
  execl("/bin/sh", "sh", "-c", shell.command, static_cast<char*>(nullptr));
  _exit(errno);
}

// Starts the child and returns when it has become the shell or has ended; -1 if there is no child. A fork would copy the
// page tables of the daemon, which takes the longer the larger it is, only for the shell to throw them away. The child
// borrows the memory instead. It needs a stack of its own: on that of the caller it would overwrite what the caller has
// put there meanwhile, such as the way back. (posix_spawn does the same, but can set no alarm.)
pid_t start_child(Shell& shell) {
  alignas(16) char stack[kStackSize];
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &shell.blocked);
  const pid_t child = clone(run_shell, std::end(stack), CLONE_VM | CLONE_VFORK | SIGCHLD, &shell);
  sigprocmask(SIG_SETMASK, &shell.blocked, nullptr);
  return child;
}

// The status of the ended child, or 0 if none is available (the daemon ignores SIGCHLD). An interrupted wait is repeated:
// otherwise the child would stay a zombie and its command would seem to have succeeded.
int wait_for_end(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

// For every status that is not an exit. A child that has only been stopped is killed, and its output is not read.
void make_sure_of_end(pid_t child, nuv::UniqueFd& output) {
  int status = 0;
  kill(child, SIGKILL);
  output.reset();
  waitpid(child, &status, WNOHANG);
}

// Reads to the end of the data, every piece to the front of the buffer, and makes the last one a text.
void read_last_piece(int fd, std::span<char> buffer) {
  if (buffer.empty()) {
    return;
  }
  for (;;) {
    const ssize_t length = read(fd, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR) {
      continue;
    }
    if (length <= 0) {
      break;
    }
    if (static_cast<size_t>(length) < buffer.size()) {
      buffer[static_cast<size_t>(length)] = '\0';
    }
  }
  buffer.back() = '\0';
}

}  // namespace

int32_t NUV_Execute_Command_Timeout(const char* a_cmdline, char* r_result, int32_t a_reslen, int32_t a_seconds) {
  NUV_REQUIRE(((void *)0) != a_cmdline);
  NUV_REQUIRE(((void *)0) != r_result);
  NUV_REQUIRE(0 != a_reslen);
  const std::span<char> result = writable(r_result, a_reslen);
  if (!result.empty()) {
    result.front() = '\0';
  }
  int ends[2];
  if (pipe(ends) != 0) {
    return -1;
  }
  nuv::UniqueFd read_end(ends[0]);
  nuv::UniqueFd write_end(ends[1]);
  Shell shell = {a_cmdline, a_seconds, write_end.get(), /*blocked=*/{}};
  const pid_t child = start_child(shell);
  if (child < 0) {
    return -1;
  }
  write_end.reset();
  const int status = wait_for_end(child);
  if (WTERMSIG(status) != 0) {
    make_sure_of_end(child, read_end);
    return 1;
  }
  read_last_piece(read_end.get(), result);
  return WEXITSTATUS(status);
}

int32_t NUV_Execute_Command(const char* a_cmdline, char* r_result, int32_t a_reslen) {
  return NUV_Execute_Command_Timeout(a_cmdline, r_result, a_reslen, /*a_seconds=*/0);
}
