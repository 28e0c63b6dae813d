/* A small daemon in C99 that uses the public headers and is linked by the C compiler.
 *
 * A subscriber dials through a UDP client, a UDP server passes the digits to a dial plan, and the result returns the
 * same way. Pipes connect the parts. Sockets are external to the reactor, pipes internal:
 *
 *   keys -> client ~~~ server -> requests -> dial plan -> replies -> server ~~~ client -> display
 *
 * The program exits with 0 if all checks succeed.
 */
#define _POSIX_C_SOURCE 200809L

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <userlib.h>

#define EXPECT(condition) expect((condition) ? 1 : 0, #condition, __LINE__)

enum { TICKS = 3, DEADLINE_SECONDS = 30 };

static int g_failures;

static void expect(int a_holds, const char* a_text, int a_line) {
  if (!a_holds) {
    fprintf(stderr, "c_daemon.c:%d: %s\n", a_line, a_text);
    ++g_failures;
  }
}

/* The last arguments of the error handler, and the number of its calls. */
static struct {
  uint32_t type;
  char file[32];
  char expression[64];
  unsigned count;
} g_report;

static void note_report(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  (void)a_line;
  g_report.type = a_type;
  snprintf(g_report.file, sizeof g_report.file, "%s", a_file);
  snprintf(g_report.expression, sizeof g_report.expression, "%s", a_expression);
  ++g_report.count;
}

static const char* verdict(int32_t a_result) {
  switch (a_result) {
    case NUV_DIGITMAP_COMPLETE:
      return "complete";
    case NUV_DIGITMAP_UNDECIDED:
      return "more";
    default:
      return "reject";
  }
}

/* The dialled digits, one datagram each, and the expected display. */
static const struct {
  const char* digits;
  const char* answer;
} g_dialogue[] = {
    {"1", "more 1"}, {"11", "more 11"}, {"110", "complete 110"}, {"12", "reject 12"}, {"2345", "complete 2345"},
};

#define DIALOGUE_LENGTH (sizeof g_dialogue / sizeof g_dialogue[0])

typedef struct DialDaemon {
  Select loop;
  Pipe keys;
  Pipe requests;
  Pipe replies;
  Pipe display;
  UdpServer server;
  UdpClient client;
  DigitMap plan;
  size_t shown;   /* completed lines of the dialogue */
  unsigned ticks; /* calls of the periodic timer */
  unsigned shots; /* calls of the one-shot timer */
} DialDaemon;

static DialDaemon g_daemon;

static void dial(DialDaemon* a_this) {
  const char* digits = g_dialogue[a_this->shown].digits;
  EXPECT(NUV_Pipe_write(&a_this->keys, digits, (uint32_t)strlen(digits)) == (int32_t)strlen(digits));
}

static int32_t on_keys(void* a_daemon, int32_t a_fd, uint32_t a_number) {
  DialDaemon* daemon = (DialDaemon*)a_daemon;
  EXPECT(a_fd == NUV_Pipe_readFd(&daemon->keys));
  EXPECT(a_number == 1);
  NUV_UdpClient_fileRead(&daemon->client, a_fd);
  return 0;
}

static int32_t on_server_socket(void* a_daemon, int32_t a_fd, uint32_t a_number) {
  EXPECT(a_number == 2);
  NUV_UdpServer_socketRead(&((DialDaemon*)a_daemon)->server, a_fd);
  return 0;
}

static int32_t on_request(void* a_daemon, int32_t a_fd, uint32_t a_number) {
  DialDaemon* daemon = (DialDaemon*)a_daemon;
  char digits[32] = "";
  char answer[64];
  int32_t length = NUV_Pipe_read(&daemon->requests, digits, sizeof digits - 1);
  int32_t result = NUV_DigitMap_checkDialString(&daemon->plan, NUV_DIGITMAP_FIRST_MATCH, digits, 0, NULL, 0);
  (void)a_fd;
  EXPECT(a_number == 3);
  EXPECT(length == (int32_t)strlen(g_dialogue[daemon->shown].digits));
  snprintf(answer, sizeof answer, "%s %s", verdict(result), digits);
  EXPECT(NUV_Pipe_write(&daemon->replies, answer, (uint32_t)strlen(answer)) == (int32_t)strlen(answer));
  return 0;
}

static int32_t on_reply(void* a_daemon, int32_t a_fd, uint32_t a_number) {
  EXPECT(a_number == 4);
  NUV_UdpServer_fileRead(&((DialDaemon*)a_daemon)->server, a_fd);
  return 0;
}

static int32_t on_client_socket(void* a_daemon, int32_t a_fd, uint32_t a_number) {
  EXPECT(a_number == 5);
  NUV_UdpClient_socketRead(&((DialDaemon*)a_daemon)->client, a_fd);
  return 0;
}

static int32_t on_display(void* a_daemon, int32_t a_fd, uint32_t a_number) {
  DialDaemon* daemon = (DialDaemon*)a_daemon;
  char text[64] = "";
  (void)a_fd;
  EXPECT(a_number == 6);
  EXPECT(NUV_Pipe_read(&daemon->display, text, sizeof text - 1) > 0);
  EXPECT(strcmp(text, g_dialogue[daemon->shown].answer) == 0);
  ++daemon->shown;
  if (daemon->shown < DIALOGUE_LENGTH) {
    dial(daemon);
  }
  return 0;
}

/* The subscriber starts to dial. */
static int32_t on_shot(void* a_daemon, struct timeval* a_time, uint32_t a_number) {
  DialDaemon* daemon = (DialDaemon*)a_daemon;
  (void)a_time;
  EXPECT(a_number == 7);
  ++daemon->shots;
  dial(daemon);
  return 1;
}

static int32_t on_tick(void* a_daemon, struct timeval* a_time, uint32_t a_number) {
  DialDaemon* daemon = (DialDaemon*)a_daemon;
  EXPECT(a_number == 8);
  ++daemon->ticks;
  a_time->tv_sec = 0;
  a_time->tv_usec = 1000;
  return daemon->ticks < TICKS ? 1 : 0;
}

/* The default handler: prints a report, then exits with 255. */
static void check_default_handler(void) {
  char text[512] = "";
  size_t length = 0;
  ssize_t got = 0;
  int status = 0;
  pid_t pid;
  Pipe output;
  EXPECT(NUV_Pipe_construct(&output) == 1);
  fflush(NULL);
  pid = fork();
  if (pid == 0) {
    dup2(NUV_Pipe_writeFd(&output), STDOUT_FILENO);
    NUV_Pipe_destruct(&output);
    NUV_Assert_failed(NUV_ASSERT_REQUIRE, "examples/c_daemon", 42, "number > 0");
    _exit(0);
  }
  EXPECT(pid > 0);
  close(NUV_Pipe_writeFd(&output));
  while (length < sizeof text - 1 &&
         (got = read(NUV_Pipe_readFd(&output), text + length, sizeof text - 1 - length)) > 0) {
    length += (size_t)got;
  }
  close(NUV_Pipe_readFd(&output));
  EXPECT(waitpid(pid, &status, 0) == pid);
  EXPECT(WIFEXITED(status) && WEXITSTATUS(status) == 255);
  /* With the marker file, no report is printed. */
  if (access("/etc/quiet", F_OK) != 0) {
    EXPECT(strstr(text, ": error: c_daemon:42   :require failed:number > 0\n\n") != NULL);
  }
}

static void check_installed_handler(void) {
  IndexPool pool;
  NUV_Assert_setErrorHandler(note_report);
  EXPECT(NUV_IndexPool_construct(&pool, 8) == 1);
  EXPECT(g_report.count == 0);
  NUV_IndexPool_release(&pool, 3);
  EXPECT(g_report.count == 1);
  EXPECT(g_report.type == NUV_ASSERT_REQUIRE);
  EXPECT(strcmp(g_report.file, "nuv_indexpool") == 0);
  EXPECT(strcmp(g_report.expression, "NUV_IndexPool_occupied( a_this, a_index) == 1") == 0);
  NUV_IndexPool_destruct(&pool);
  g_report.count = 0;
}

/* The server's port, chosen by the system. */
static in_port_t port_of(const UdpServer* a_server) {
  struct sockaddr_in address;
  socklen_t length = sizeof address;
  memset(&address, 0, sizeof address);
  EXPECT(getsockname(NUV_UdpServer_socket(a_server), (struct sockaddr*)&address, &length) == 0);
  return address.sin_port;
}

static void construct(DialDaemon* a_this) {
  EXPECT(NUV_Select_construct(&a_this->loop) == 1);
  EXPECT(NUV_Pipe_construct(&a_this->keys) == 1);
  EXPECT(NUV_Pipe_construct(&a_this->requests) == 1);
  EXPECT(NUV_Pipe_construct(&a_this->replies) == 1);
  EXPECT(NUV_Pipe_construct(&a_this->display) == 1);
  EXPECT(NUV_UdpServer_construct(&a_this->server, 0, NUV_Pipe_writeFd(&a_this->requests)) == 1);
  EXPECT(NUV_UdpClient_construct(&a_this->client, "127.0.0.1", port_of(&a_this->server),
                                 NUV_Pipe_writeFd(&a_this->display)) == 1);
  EXPECT(NUV_DigitMap_construct(&a_this->plan) == 1);
  EXPECT(NUV_DigitMap_setMap(&a_this->plan, "(0x.T | 110 | [2-9]xxx)") == 1);
}

static void watch(DialDaemon* a_this) {
  Select* loop = &a_this->loop;
  EXPECT(NUV_Select_setRead(loop, NUV_Pipe_readFd(&a_this->keys), a_this, 1, on_keys) != NULL);
  EXPECT(NUV_Select_setReadExternal(loop, NUV_UdpServer_socket(&a_this->server), a_this, 2, on_server_socket) != NULL);
  EXPECT(NUV_Select_setRead(loop, NUV_Pipe_readFd(&a_this->requests), a_this, 3, on_request) != NULL);
  EXPECT(NUV_Select_setRead(loop, NUV_Pipe_readFd(&a_this->replies), a_this, 4, on_reply) != NULL);
  EXPECT(NUV_Select_setReadExternal(loop, NUV_UdpClient_socket(&a_this->client), a_this, 5, on_client_socket) != NULL);
  EXPECT(NUV_Select_setRead(loop, NUV_Pipe_readFd(&a_this->display), a_this, 6, on_display) != NULL);
}

static void turn(DialDaemon* a_this, long a_microseconds) {
  struct timeval wait;
  wait.tv_sec = 0;
  wait.tv_usec = a_microseconds;
  NUV_Select_process(&a_this->loop, &wait);
}

static void run(DialDaemon* a_this) {
  const struct timeval millisecond = {0, 1000};
  int i;
  NUV_Select_setTempTimeout(&a_this->loop, millisecond, a_this, 7, on_shot);
  NUV_Select_setTimeout(&a_this->loop, millisecond, a_this, 8, on_tick);
  while (a_this->shown < DIALOGUE_LENGTH || a_this->ticks < TICKS) {
    turn(a_this, 500000);
  }
  /* Nothing is left to wait for. */
  for (i = 0; i < 3; ++i) {
    turn(a_this, 2000);
  }
  EXPECT(a_this->shown == DIALOGUE_LENGTH);
  EXPECT(a_this->ticks == TICKS);
  EXPECT(a_this->shots == 1);
}

static void unwatch(DialDaemon* a_this) {
  NUV_Select_removeRead(&a_this->loop, NUV_Pipe_readFd(&a_this->keys));
  NUV_Select_removeRead(&a_this->loop, NUV_Pipe_readFd(&a_this->requests));
  NUV_Select_removeRead(&a_this->loop, NUV_Pipe_readFd(&a_this->replies));
  NUV_Select_removeRead(&a_this->loop, NUV_Pipe_readFd(&a_this->display));
  NUV_Select_removeReadExternal(&a_this->loop, NUV_UdpServer_socket(&a_this->server));
  NUV_Select_removeReadExternal(&a_this->loop, NUV_UdpClient_socket(&a_this->client));
}

static int is_closed(int a_fd) {
  return fcntl(a_fd, F_GETFD) == -1 && errno == EBADF;
}

static void destruct(DialDaemon* a_this) {
  const int server = NUV_UdpServer_socket(&a_this->server);
  const int client = NUV_UdpClient_socket(&a_this->client);
  const int keys = NUV_Pipe_readFd(&a_this->keys);
  NUV_DigitMap_destruct(&a_this->plan);
  NUV_UdpClient_destruct(&a_this->client);
  NUV_UdpServer_destruct(&a_this->server);
  NUV_Pipe_destruct(&a_this->display);
  NUV_Pipe_destruct(&a_this->replies);
  NUV_Pipe_destruct(&a_this->requests);
  NUV_Pipe_destruct(&a_this->keys);
  NUV_Select_destruct(&a_this->loop);
  EXPECT(is_closed(server) && is_closed(client) && is_closed(keys));
}

int main(void) {
  alarm(DEADLINE_SECONDS);
  EXPECT(NUV_Userlib_checkVersion(NUV_USERLIB_VERSION_MAJOR, NUV_USERLIB_VERSION_MINOR) == 1);
  EXPECT(NUV_Userlib_checkVersion(NUV_USERLIB_VERSION_MAJOR + 1, 0) == 0);
  EXPECT(strcmp(NUV_Userlib_getVersionString(), "userlib-1.4.3") == 0);
  /* Keeps the traces out of the machine's log. */
  NUV_Sysloglevel_set(0);
  check_default_handler();
  check_installed_handler();
  construct(&g_daemon);
  watch(&g_daemon);
  run(&g_daemon);
  unwatch(&g_daemon);
  destruct(&g_daemon);
  EXPECT(g_report.count == 0);
  return g_failures == 0 ? 0 : 1;
}
