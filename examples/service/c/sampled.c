/* sampled: a small but complete service. It takes samples, which are numbers, from a FIFO, tells what they come to on a
 * UDP port, listens to its operators on a Unix socket, and runs shell commands for them. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <userlib.h>

#define NAME "sampled"
enum { SECONDS_BETWEEN_REPORTS = 10, SECONDS_FOR_LINE = 5, SECONDS_FOR_COMMAND = 5, MAX_COMMANDS = 4 };

static const struct sockaddr_un console_address = {AF_UNIX, NAME ".console"};
static char *directory, *ini_file; /* the service works in the directory: it is absolute, other names are relative */
static Select loop;
static Daemon process;
static UdpServer server;
static Console console;
static ConsoleCommand commands[3];
static Pipe signals, lines;
static uint32_t patience; /* the timer of the operator who is connected */
static int module, console_socket, connection = -1, running_commands, is_ending;

/* ---- The service's own work ---- */
static unsigned long long count, last, sum;
static const char* describe_state(void) {
  return VAStr(NAME ": %llu samples, last %llu, mean %llu\n", count, last, count == 0 ? 0 : sum / count);
}

static void take_sample(const char* a_line) {
  uint32_t sample;
  if (strlen(a_line) > 9 || !NUV_Convert_uint32(&sample, a_line)) {
    NUV_LOG_WARNING(module, "a line is no sample: must be a number of 1 to 9 digits");
    return;
  }
  ++count;
  last = sample;
  sum += sample;
  NUV_LOG_TRACE(module, "sample %llu", last);
}

/* A line may come in pieces, and several may come at once. What is kept of a long one is too long, too. */
static int32_t on_fifo(void* a_unused, int32_t a_fd, uint32_t a_number) {
  static char line[16];
  static size_t length;
  char bytes[512];
  const ssize_t received = read(a_fd, bytes, sizeof bytes);
  for (ssize_t i = 0; i < received; ++i) {
    if (bytes[i] == '\n') {
      line[length] = '\0';
      length = 0;
      take_sample(line);
    } else if (length < sizeof line - 1) {
      line[length++] = bytes[i];
    }
  }
  return 0;
}

/* Only this machine is answered. An answer gets no answer: two services would talk for ever if somebody forged one. */
static int32_t on_datagram(void* a_unused, int32_t a_socket, uint32_t a_number) {
  char text[128] = "";
  const char* const answer = describe_state();
  struct sockaddr_in sender = {0};
  socklen_t size = sizeof sender;
  const ssize_t length = recvfrom(a_socket, text, sizeof text - 1, MSG_DONTWAIT, (struct sockaddr*)&sender, &size);
  if (length <= 0 || ntohl(sender.sin_addr.s_addr) >> 24 != 127 || strncmp(text, NAME ":", sizeof NAME) == 0) return 0;
  NUV_LOG_TRACE(module, "asked from port %u", (unsigned)ntohs(sender.sin_port));
  sendto(a_socket, answer, strlen(answer), MSG_DONTWAIT, (const struct sockaddr*)&sender, size);
  return 0;
}

static int32_t on_report(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  NUV_LOG_TRACE(module, "%llu samples", count);
  return NUV_Timer_again(a_remaining, (struct timeval){SECONDS_BETWEEN_REPORTS, 0}); /* 0 would remove the timer */
}

/* ---- Operators: a connection is for one line and its answer ---- */
/* One operator at a time; the others wait in the socket. One who says nothing is hung up on. If there was no descriptor
 * for one, nobody is accepted for as long: the socket stays ready, and the loop would never rest. */
static int32_t on_operator(void* a_unused, int32_t a_socket, uint32_t a_number);

static int32_t listen_again(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  if (connection >= 0) NUV_Select_removeReadExternal(&loop, connection);
  if (connection >= 0) close(connection);
  NUV_Select_setReadExternal(&loop, console_socket, NULL, 0, on_operator);
  return 0;
}

/* The console takes a line from a pipe. What "help" and "tr" print on standard output goes to the operator as well. */
static int32_t on_line(void* a_unused, int32_t a_fd, uint32_t a_number) {
  char line[256];
  const ssize_t length = read(a_fd, line, sizeof line - 1);
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (length > 0 && output >= 0) {
    NUV_Pipe_write(&lines, line, (uint32_t)length);
    dup2(a_fd, STDOUT_FILENO);
    NUV_Console_handle(&console, NUV_Pipe_readFd(&lines), a_fd);
    fflush(stdout);
    dup2(output, STDOUT_FILENO);
  }
  close(output);
  NUV_Select_removeTimeout(&loop, patience);
  return listen_again(NULL, NULL, 0);
}

static int32_t on_operator(void* a_unused, int32_t a_socket, uint32_t a_number) {
  connection = accept4(a_socket, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
  NUV_Select_removeReadExternal(&loop, a_socket);
  if (connection >= 0) NUV_Select_setReadExternal(&loop, connection, NULL, 0, on_line);
  patience = NUV_Timer_setTemp(&loop, (struct timeval){SECONDS_FOR_LINE, 0}, NULL, 0, listen_again);
  return 0;
}

static int32_t do_state(void* a_unused, int32_t a_argc, char** a_argv, int32_t a_fd) {
  return NUV_Console_output(a_fd, describe_state());
}

/* "tr save" and "tr restore" mean the service's own file. */
static int32_t do_tr(void* a_console, int32_t a_argc, char** a_argv, int32_t a_fd) {
  char* words[] = {a_argv[0], a_argv[1], ini_file, NULL};
  const int is_own = a_argc == 2 && (strcmp(a_argv[1], "save") == 0 || strcmp(a_argv[1], "restore") == 0);
  NUV_Sysloglevel_handleCmd(a_console, is_own ? 3 : a_argc, is_own ? words : a_argv);
  return 0;
}

/* ---- Shell commands: each in a child, which answers the operator itself, while the loop goes on ---- */
static void run_in_child(const char* a_command) {
  char output[4096];
  setpgid(0, 0);
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  for (int fd = STDERR_FILENO + 1; fd < FD_SETSIZE; ++fd) close(fd); /* the lock, too: it belongs to the service */
  fcntl(STDOUT_FILENO, F_SETFL, 0);                                  /* here it may wait for the operator to read */
  alarm(SECONDS_FOR_COMMAND + 1); /* if what the command has started keeps its output open, nobody waits for that */
  const int status = NUV_Execute_Command_Timeout(a_command, output, sizeof output, SECONDS_FOR_COMMAND);
  NUV_Console_output(STDOUT_FILENO, output);
  NUV_Console_output(STDOUT_FILENO, VAStr("status %d%s\n", status, status == 1 ? ", or ended by the time limit" : ""));
  _exit(0);
}

static void reap_commands(void) {
  for (pid_t child; running_commands > 0 && (child = waitpid(-1, NULL, WNOHANG)) > 0; --running_commands)
    kill(-child, SIGKILL); /* what the command has left behind */
}

static int32_t do_run(void* a_unused, int32_t a_argc, char** a_argv, int32_t a_fd) {
  if (a_argc != 2) return NUV_Console_output(a_fd, "error: 'run' takes one command, in double quotes\n");
  if (running_commands == MAX_COMMANDS)
    return NUV_Console_output(a_fd, "error: too many commands are running: wait for the end of one\n");
  const pid_t child = fork();
  if (child == 0) run_in_child(a_argv[1]);
  if (child < 0) return NUV_Console_output(a_fd, "error: the system has no process for the command\n");
  ++running_commands;
  return 0;
}

/* ---- Signals: the handler writes a byte into a pipe, the loop does the rest ---- */
static void note_signal(int a_signal) {
  const int saved = errno;
  const char byte = (char)a_signal;
  (void)!write(NUV_Pipe_writeFd(&signals), &byte, 1);
  errno = saved;
}

static int32_t on_signal(void* a_unused, int32_t a_fd, uint32_t a_number) {
  char byte = 0;
  NUV_Pipe_read(&signals, &byte, 1);
  if (byte == SIGCHLD) reap_commands();
  if (byte == SIGTERM || byte == SIGINT) is_ending = 1;
  if (byte != SIGHUP) return 0;
  NUV_Sysloglevel_readInitFile(ini_file);
  NUV_LOG_INFO(module, "HUP: the masks are those of %s", ini_file);
  return 0;
}

/* ---- Start and end ---- */
static int fail(const char* a_what, const char* a_value) {
  fprintf(stderr, NAME ": %s '%s': %s\n", a_what, a_value, strerror(errno));
  return 0;
}

/* The report is in the system log by now. Die in a way that supervisors and debuggers notice. */
static void on_broken_contract(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  fprintf(stderr, NAME ": broken contract in %s:%u: %s\n", a_file, (unsigned)a_line, a_expression);
  abort();
}

/* The first descriptor that is opened would become standard output, and what is printed would go there. */
static void open_standard_descriptors(void) {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  close(fd);
}

/* Only one gets the lock, however many start at once, and the system takes it back even from one that was killed. */
static int claim_directory(void) {
  NUV_Daemon_construct(&process, NAME, directory);
  const char* const pid_file = NUV_Daemon_getPidFileName(&process);
  const int lock = open(NAME ".lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (lock < 0) return fail("cannot open the lock file", NAME ".lock");
  /* A pid file that a killed one has left may name any process by now. */
  if (flock(lock, LOCK_EX | LOCK_NB) == 0)
    return unlink(pid_file) == 0 || errno == ENOENT || fail("cannot remove the old pid file", pid_file);
  fprintf(stderr, NAME ": runs already, as process %d (%s)\n", (int)NUV_Utility_get_pid_from_file(pid_file), pid_file);
  return 0;
}

static int open_signals(void) {
  static const int heard[] = {SIGTERM, SIGINT, SIGHUP, SIGCHLD};
  if (!NUV_Pipe_construct(&signals) || !NUV_Pipe_construct(&lines)) return fail("no pipes for", NAME);
  fcntl(NUV_Pipe_writeFd(&signals), F_SETFL, O_NONBLOCK); /* a full pipe tells enough; a handler must not wait */
  for (size_t i = 0; i < sizeof heard / sizeof heard[0]; ++i) signal(heard[i], note_signal);
  signal(SIGPIPE, SIG_IGN); /* an operator who goes is no reason to end */
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&signals), NULL, 0, on_signal);
  return 1;
}

/* Open at both ends, or it would be at its end, and always ready, as soon as a writer has gone. */
static int open_fifo(void) {
  struct stat status;
  const int is_there = mkfifo(NAME ".fifo", 0600) == 0 || errno == EEXIST;
  const int fd = is_there ? open(NAME ".fifo", O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC) : -1;
  if (fd < 0 || fstat(fd, &status) != 0 || !S_ISFIFO(status.st_mode)) return fail("cannot open the FIFO", NAME ".fifo");
  NUV_Select_setReadExternal(&loop, fd, NULL, 0, on_fifo);
  return 1;
}

static int open_console(void) {
  unlink(console_address.sun_path); /* left by one that was killed: the lock is ours */
  console_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int result = bind(console_socket, (const struct sockaddr*)&console_address, sizeof console_address);
  if (result != 0 || listen(console_socket, 8) != 0) return fail("cannot make the socket", console_address.sun_path);
  NUV_Console_construct(&console, commands, sizeof commands / sizeof commands[0], "");
  NUV_Console_setCommand(&console, "state", NULL, do_state);
  NUV_Console_setCommand(&console, "run", NULL, do_run);
  NUV_Console_setCommand(&console, "tr", &console, do_tr);
  return !listen_again(NULL, NULL, 0);
}

/* All that can fail is tried while somebody is there to read about it. */
static int start(const char* a_port) {
  uint16_t port;
  umask(0077); /* what the service makes is for its own user */
  NUV_Sysloglevel_construct2(ini_file, NAME);
  module = NUV_Sysloglevel_registerModul(NAME);
  NUV_Select_construct(&loop);
  NUV_Timer_set(&loop, (struct timeval){SECONDS_BETWEEN_REPORTS, 0}, NULL, 0, on_report);
  if (!claim_directory()) return 0;
  errno = EINVAL; /* unless the system has something else to say */
  if (!NUV_Convert_uint16(&port, a_port) || port == 0 || !NUV_UdpServer_construct(&server, htons(port), -1))
    return fail("the UDP port must be free, and a number of 1 to 65535", a_port);
  NUV_Select_setReadExternal(&loop, NUV_UdpServer_socket(&server), NULL, 0, on_datagram);
  return open_signals() && open_fifo() && open_console();
}

/* The other side of the console, for operators and scripts. */
static int ask(const char* a_line) {
  char answer[512];
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (connect(fd, (const struct sockaddr*)&console_address, sizeof console_address) != 0 ||
      write(fd, a_line, strlen(a_line)) <= 0)
    return fail("nobody answers at", console_address.sun_path);
  for (ssize_t length; (length = read(fd, answer, sizeof answer)) > 0;) fwrite(answer, 1, (size_t)length, stdout);
  return 1;
}

int main(int argc, char** argv) {
  const int is_in_foreground = argc == 5 && strcmp(argv[1], "-f") == 0;
  const int is_question = argc == 4 && strcmp(argv[1], "-a") == 0;
  char** const words = argv + 1 + (is_in_foreground || is_question);
  open_standard_descriptors();
  setvbuf(stdout, NULL, _IOLBF, 0); /* what goes into a pipe comes line by line, too */
  NUV_Assert_setErrorHandler(on_broken_contract);
  if (argc != 4 && !is_in_foreground) {
    fprintf(stderr, "usage: " NAME " [-f] DIRECTORY PORT INIT-FILE\n       " NAME " -a DIRECTORY LINE\n");
    return 2;
  }
  directory = realpath(words[0], NULL);
  if (directory != NULL) errno = ENAMETOOLONG; /* unless it fits: a Daemon has room for 73 characters */
  if (directory == NULL || strlen(directory) > 73 || chdir(directory) != 0)
    return !fail("cannot work in the directory", words[0]);
  if (is_question) return !ask(words[1]);
  ini_file = words[2];
  if (!start(words[1])) return 1;
  if (!is_in_foreground) NUV_Daemon_daemonize(&process);
  if (chdir(directory) != 0) return 1; /* a daemon begins in "/" */
  NUV_Daemon_createPidFile(&process);
  NUV_LOG_INFO(module, "is there");
  while (!is_ending) NUV_Select_process(&loop, NULL);
  NUV_LOG_INFO(module, "ends with %llu samples", count);
  unlink(console_address.sun_path);
  NUV_Daemon_deletePidFile(&process);
  return 0;
}
