/* A daemon that uses only the library: a reactor with a UDP socket, a timer, a console and a pipe for its signals. It
   sends each datagram back to its sender, and tells operators how often its timer has fired.

       small_daemon SOCKET

   A failed call may only affect its datagram, operator or tick. */
#include <arpa/inet.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <userlib.h>

enum { TICK_MICROSECONDS = 50000 };

static Select loop;
static Pipe signals;
static Console console;
static unsigned ticks;
static volatile sig_atomic_t is_ending;

static void note_signal(int number) {
  const int saved = errno;
  const char byte = (char)number;
  if (write(NUV_Pipe_writeFd(&signals), &byte, 1) < 0) {
    is_ending = 1; /* the loop would not notice the signal */
  }
  errno = saved;
}

static int32_t on_signal(void* unused, int32_t fd, uint32_t unused_too) {
  char byte;
  (void)unused, (void)fd, (void)unused_too;
  if (NUV_Pipe_read(&signals, &byte, 1) == 1) {
    is_ending = 1;
  }
  return 0;
}

static int32_t on_tick(void* unused, struct timeval* again, uint32_t unused_too) {
  (void)unused, (void)unused_too;
  ++ticks;
  again->tv_sec = 0; /* the old time may be negative */
  again->tv_usec = TICK_MICROSECONDS;
  return 1;
}

static int32_t on_datagram(void* unused, int32_t fd, uint32_t unused_too) {
  char text[1024];
  struct sockaddr_in sender;
  socklen_t length = sizeof sender;
  const ssize_t size = recvfrom(fd, text, sizeof text, MSG_DONTWAIT, (struct sockaddr*)&sender, &length);
  (void)unused, (void)unused_too;
  if (size >= 0) {
    (void)!sendto(fd, text, (size_t)size, MSG_DONTWAIT, (struct sockaddr*)&sender, length);
  }
  return 0;
}

static int32_t on_operator(void* unused, int32_t fd, uint32_t unused_too) {
  (void)unused, (void)unused_too;
  return NUV_Console_handle(&console, fd, -1);
}

static int32_t tell_ticks(void* unused, int32_t count, char** words, int32_t fd) {
  (void)unused, (void)count, (void)words;
  return NUV_Console_output(fd, VAStr("%u ticks\n", ticks));
}

static int give_up(const char* what) {
  perror(what);
  return EXIT_FAILURE;
}

int main(int argc, char** argv) {
  static ConsoleCommand commands[1];
  const struct timeval tick = {0, TICK_MICROSECONDS};
  struct sockaddr_un path = {AF_UNIX, ""};
  UdpServer server;
  int operators;
  if (argc != 2 || strlen(argv[1]) >= sizeof path.sun_path) {
    fputs("usage: small_daemon SOCKET\n", stderr);
    return 2;
  }
  strcpy(path.sun_path, argv[1]);
  signal(SIGPIPE, SIG_IGN);
  if (NUV_Pipe_construct(&signals) == 0) {
    return give_up("pipe");
  }
  signal(SIGTERM, note_signal);
  if (NUV_UdpServer_construct(&server, 0, -1) == 0) {
    return give_up("UDP socket");
  }
  operators = socket(AF_UNIX, SOCK_STREAM, 0);
  if (operators < 0 || bind(operators, (struct sockaddr*)&path, sizeof path) != 0) {
    return give_up("console socket");
  }
  listen(operators, 1);
  NUV_Console_construct(&console, commands, 1, "");
  NUV_Console_setCommand(&console, "ticks", NULL, tell_ticks);
  NUV_Select_construct(&loop);
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&signals), NULL, 0, on_signal);
  NUV_Select_setReadExternal(&loop, NUV_UdpServer_socket(&server), NULL, 0, on_datagram);
  NUV_Select_setReadExternal(&loop, operators, NULL, 0, on_operator);
  NUV_Select_setTimeout(&loop, tick, NULL, 0, on_tick);
  while (!is_ending) {
    NUV_Select_process(&loop, NULL);
  }
  NUV_Select_destruct(&loop);
  NUV_UdpServer_destruct(&server);
  close(operators);
  if (unlink(argv[1]) != 0) {
    return give_up(argv[1]);
  }
  NUV_Pipe_destruct(&signals);
  return EXIT_SUCCESS;
}
