/* A question to a server and its answer, each one datagram. */
#include <arpa/inet.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <userlib.h>

static int32_t from_socket(void* a_client, int32_t a_fd, uint32_t a_unused) {
  (void)a_unused;
  NUV_UdpClient_socketRead((UdpClient*)a_client, a_fd);
  return 0;
}

/* A server on any free port of this host: the test's, not the example's business. */
static uint16_t start_server(UdpServer* a_server, int a_outfd) {
  struct sockaddr_in address;
  socklen_t length = sizeof address;
  NUV_UdpServer_construct(a_server, 0, a_outfd);
  memset(&address, 0, sizeof address);
  getsockname(NUV_UdpServer_socket(a_server), (struct sockaddr*)&address, &length);
  return address.sin_port;
}

int main(void) {
  static Select loop;
  static Pipe wire, words;
  static UdpServer server;
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&wire);
  NUV_Pipe_construct(&words);
  const uint16_t port = start_server(&server, NUV_Pipe_writeFd(&wire));

  UdpClient client;
  if (!NUV_UdpClient_construct(&client, "127.0.0.1", port, 1))
    return errno;
  NUV_Select_setReadExternal(&loop, NUV_UdpClient_socket(&client), &client, 0, from_socket);

  setvbuf(stdout, NULL, _IONBF, 0);
  NUV_Pipe_write(&words, "hello\n", 6);
  NUV_UdpClient_fileRead(&client, NUV_Pipe_readFd(&words));
  NUV_UdpServer_socketRead(&server, NUV_UdpServer_socket(&server));
  NUV_UdpServer_fileRead(&server, NUV_Pipe_readFd(&wire)); /* and back */
  NUV_Select_process(&loop, NULL);

  NUV_UdpClient_destruct(&client);
  NUV_UdpServer_destruct(&server);
  NUV_Pipe_destruct(&wire);
  NUV_Pipe_destruct(&words);
  NUV_Select_destruct(&loop);
  return 0;
}
