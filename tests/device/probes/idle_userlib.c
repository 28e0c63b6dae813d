/* An idle daemon in C with the reactor, traces and a console: it sends each datagram back, ticks, logs, and hears operators
   on a Unix socket. "once" lets it end when it is set up. */
#include <arpa/inet.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <userlib.h>

static Select loop;
static int module;

static int32_t on_datagram(void* a_unused, int32_t a_fd, uint32_t a_unused_too) {
  char text[512];
  struct sockaddr_in sender;
  socklen_t length = sizeof sender;
  const ssize_t size = recvfrom(a_fd, text, sizeof text, 0, (struct sockaddr*)&sender, &length);
  (void)a_unused, (void)a_unused_too;
  if (size >= 0)
    (void)!sendto(a_fd, text, (size_t)size, 0, (struct sockaddr*)&sender, length);
  return 0;
}

static int32_t on_operator(void* a_console, int32_t a_fd, uint32_t a_unused) {
  (void)a_unused;
  return NUV_Console_handle((Console*)a_console, a_fd, -1);
}

static int32_t trace(void* a_console, int32_t a_argc, char** a_argv, int32_t a_fd) {
  (void)a_fd;
  NUV_Sysloglevel_handleCmd(a_console, a_argc, a_argv);
  return 0;
}

static int32_t tick(void* a_unused, struct timeval* a_remaining, uint32_t a_seconds) {
  (void)a_unused;
  NUV_LOG_DEBUG(module, "tick %u", (unsigned)a_seconds);
  return NUV_Timer_again(a_remaining, (struct timeval){(time_t)a_seconds, 0});
}

int main(int argc, char** argv) {
  static Console console;
  static ConsoleCommand command;
  struct sockaddr_in any = {.sin_family = AF_INET};
  struct sockaddr_un path = {.sun_family = AF_UNIX};
  const int server = socket(AF_INET, SOCK_DGRAM, 0);
  const int operators = socket(AF_UNIX, SOCK_STREAM, 0);
  (void)argv;
  snprintf(path.sun_path, sizeof path.sun_path, "/var/run/idle.%d", (int)getpid());
  if (bind(server, (struct sockaddr*)&any, sizeof any) != 0 ||
      bind(operators, (struct sockaddr*)&path, sizeof path) != 0)
    return 1;
  listen(operators, 1);
  NUV_Sysloglevel_construct2("", "idle");
  module = NUV_Sysloglevel_registerModul("Idle");
  NUV_Console_construct(&console, &command, 1, "> ");
  NUV_Console_setCommand(&console, "tr", &console, trace);
  NUV_Select_construct(&loop);
  NUV_Select_setReadExternal(&loop, server, NULL, 0, on_datagram);
  NUV_Select_setReadExternal(&loop, operators, &console, 0, on_operator);
  NUV_Timer_set(&loop, (struct timeval){1, 0}, NULL, 1, tick);
  NUV_LOG_INFO(module, "started on socket %d", server);
  while (argc == 1)
    NUV_Select_process(&loop, NULL);
  unlink(path.sun_path);
  return 0;
}
