/* The smallest useful daemon: `first_daemon 7007` sends every datagram back, and tells how many every ten seconds. */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <userlib.h>

static unsigned count;

/* A datagram that has come goes into the pipe; from there, before the next one is looked at, it goes back. */
static int32_t transfer(void* a_server, int32_t a_fd, uint32_t a_from_socket) {
  if (a_from_socket)
    NUV_UdpServer_socketRead((UdpServer*)a_server, a_fd);
  else
    NUV_UdpServer_fileRead((UdpServer*)a_server, a_fd);
  count += a_from_socket;
  return 0;
}

static int32_t tell(void* a_name, struct timeval* a_time, uint32_t a_seconds) {
  printf("%s: %u datagrams\n", (const char*)a_name, count);
  *a_time = (struct timeval){(time_t)a_seconds, 0}; /* again, but not at once */
  return 1;
}

int main(int argc, char** argv) {
  static Select loop;
  static Pipe pipe;
  static UdpServer server;
  const unsigned long port = argc == 2 ? strtoul(argv[1], NULL, 10) : 0;
  if (port < 1 || port > 65535 || !NUV_Select_construct(&loop) || !NUV_Pipe_construct(&pipe) ||
      !NUV_UdpServer_construct(&server, htons((uint16_t)port), NUV_Pipe_writeFd(&pipe))) {
    fprintf(stderr, "first_daemon: '%s' must be the number of a free UDP port\n", argc > 1 ? argv[1] : "");
    return 1;
  }
  NUV_Select_setReadExternal(&loop, NUV_UdpServer_socket(&server), &server, 1, transfer);
  NUV_Select_setRead(&loop, NUV_Pipe_readFd(&pipe), &server, 0, transfer);
  NUV_Select_setTimeout(&loop, (struct timeval){10, 0}, argv[0], 10, tell);
  for (;;)
    NUV_Select_process(&loop, NULL);
}
