/* The smallest useful daemon: `first_daemon 7007` sends every datagram back, counts them, and listens to its operator. */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <userlib.h>

static Select loop;
static int module; /* what the daemon's traces are written under */
static unsigned count;

/* A datagram that has come goes into the pipe; from there, before the next one is looked at, it goes back. */
static int32_t transfer(void* a_server, int32_t a_fd, uint32_t a_from_socket) {
  if (a_from_socket)
    NUV_UdpServer_socketRead((UdpServer*)a_server, a_fd);
  else
    NUV_UdpServer_fileRead((UdpServer*)a_server, a_fd);
  count += a_from_socket;
  NUV_LOG_TRACE(module, "datagram %u %s", count, a_from_socket ? "has come" : "goes back");
  return 0;
}

static int32_t tell(void* a_unused, struct timeval* a_time, uint32_t a_seconds) {
  (void)a_unused;
  NUV_LOG_INFO(module, "%u datagrams", count);
  return NUV_Timer_again(a_time, (struct timeval){(time_t)a_seconds, 0}); /* 0 would remove the timer */
}

/* The operator's command "tr" shows and changes what is traced. */
static int32_t trace(void* a_console, int32_t a_argc, char** a_argv, int32_t a_fd) {
  (void)a_fd;
  NUV_Sysloglevel_handleCmd(a_console, a_argc, a_argv);
  return 0;
}

static int32_t on_line(void* a_console, int32_t a_fd, uint32_t a_out_fd) {
  if (NUV_Console_handle((Console*)a_console, a_fd, (int32_t)a_out_fd) <= 0)
    NUV_Select_removeReadExternal(&loop, a_fd); /* the operator has gone, the daemon stays */
  return 0;
}

int main(int argc, char** argv) {
  static Pipe pipe;
  static UdpServer server;
  static Console console;
  static ConsoleCommand command;
  const unsigned long port = argc == 2 ? strtoul(argv[1], NULL, 10) : 0;
  setvbuf(stdout, NULL, _IOLBF, 0);
  NUV_Sysloglevel_construct2("", "first_daemon");
  module = NUV_Sysloglevel_registerModul("Echo");
  if (port < 1 || port > 65535 || !NUV_Select_construct(&loop) || !NUV_Pipe_construct(&pipe) ||
      !NUV_UdpServer_construct(&server, htons((uint16_t)port), NUV_Pipe_writeFd(&pipe))) {
    fprintf(stderr, "first_daemon: '%s' must be the number of a free UDP port\n", argc > 1 ? argv[1] : "");
    return 1;
  }
  NUV_Select_setReadExternal(&loop, NUV_UdpServer_socket(&server), &server, 1, transfer);
  NUV_Select_setRead(&loop, NUV_Pipe_readFd(&pipe), &server, 0, transfer);
  NUV_Timer_set(&loop, (struct timeval){10, 0}, NULL, 10, tell);
  NUV_Console_construct(&console, &command, 1, "> ");
  NUV_Console_setCommand(&console, "tr", &console, trace);
  NUV_Select_setReadExternal(&loop, 0, &console, 1, on_line);
  for (;;)
    NUV_Select_process(&loop, NULL);
}
