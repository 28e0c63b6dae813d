/* A server that answers later: each request keeps its sender. */
#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <userlib.h>

struct request {
  struct sockaddr_in peer;
  char text[16];
};

int main(void) {
  static UdpServer server;
  static UdpClient client[2];
  Pipe requests, answers;
  struct request request[2];
  struct sockaddr_in address;
  socklen_t length = sizeof address;
  setvbuf(stdout, NULL, _IONBF, 0);
  memset(request, 0, sizeof request);
  memset(&address, 0, sizeof address);
  NUV_Pipe_construct(&requests);
  NUV_Pipe_construct(&answers);
  if (!NUV_UdpServer_construct(&server, 0, NUV_Pipe_writeFd(&requests)))
    return 1;
  getsockname(NUV_UdpServer_socket(&server), (struct sockaddr*)&address, &length);

  for (int i = 0; i < 2; ++i) { /* two clients ask before anybody gets an answer */
    NUV_UdpClient_construct(&client[i], "127.0.0.1", address.sin_port, 1);
    NUV_Pipe_write(&answers, i == 0 ? "first\n" : "second\n", i == 0 ? 6 : 7);
    NUV_UdpClient_fileRead(&client[i], NUV_Pipe_readFd(&answers));
    NUV_UdpServer_socketRead(&server, NUV_UdpServer_socket(&server));
    request[i].peer = server.m_oPeer;
    NUV_Pipe_read(&requests, request[i].text, sizeof request[i].text);
  }
  for (int i = 0; i < 2; ++i) {
    server.m_oPeer = request[i].peer;
    NUV_Pipe_write(&answers, request[i].text, (uint32_t)strlen(request[i].text));
    NUV_UdpServer_fileRead(&server, NUV_Pipe_readFd(&answers));
    NUV_UdpClient_socketRead(&client[i], NUV_UdpClient_socket(&client[i]));
    NUV_UdpClient_destruct(&client[i]);
  }
  NUV_UdpServer_destruct(&server);
  NUV_Pipe_destruct(&requests);
  NUV_Pipe_destruct(&answers);
  return 0;
}
