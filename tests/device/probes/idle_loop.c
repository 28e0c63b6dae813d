/* A daemon whose loop is written by hand: what tests/device/probes/idle_userlib.c does, by system calls alone. It sends each
   datagram back, ticks, logs, and hears operators on a Unix socket. "once" lets it end when it is set up. */
#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

static void send_back(int server) {
  char text[512];
  struct sockaddr_in sender;
  socklen_t length = sizeof sender;
  const ssize_t size = recvfrom(server, text, sizeof text, 0, (struct sockaddr*)&sender, &length);
  if (size >= 0)
    (void)!sendto(server, text, (size_t)size, 0, (struct sockaddr*)&sender, length);
}

static void serve_operator(int operators) {
  char line[512];
  const int fd = accept(operators, NULL, NULL);
  if (fd >= 0 && read(fd, line, sizeof line) > 0)
    (void)!write(fd, "no commands\n", 12);
  close(fd);
}

int main(int argc, char** argv) {
  struct sockaddr_in any = {.sin_family = AF_INET};
  struct sockaddr_un path = {.sun_family = AF_UNIX};
  const int server = socket(AF_INET, SOCK_DGRAM, 0);
  const int operators = socket(AF_UNIX, SOCK_STREAM, 0);
  const int last = server > operators ? server : operators;
  struct timeval left = {1, 0};
  (void)argv;
  snprintf(path.sun_path, sizeof path.sun_path, "/var/run/idle.%d", (int)getpid());
  if (bind(server, (struct sockaddr*)&any, sizeof any) != 0 ||
      bind(operators, (struct sockaddr*)&path, sizeof path) != 0)
    return 1;
  listen(operators, 1);
  openlog("idle", LOG_PID, LOG_USER);
  syslog(LOG_INFO, "started");
  while (argc == 1) {
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(server, &ready);
    FD_SET(operators, &ready);
    if (select(last + 1, &ready, NULL, NULL, &left) == 0) { /* Linux leaves the rest in left */
      syslog(LOG_DEBUG, "tick");
      left.tv_sec = 1;
    } else {
      if (FD_ISSET(server, &ready))
        send_back(server);
      if (FD_ISSET(operators, &ready))
        serve_operator(operators);
    }
  }
  unlink(path.sun_path);
  return 0;
}
