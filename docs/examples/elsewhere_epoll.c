/* An epoll descriptor below the reactor: to select() it is one more descriptor that becomes readable. */
#include <stdio.h>
#include <sys/epoll.h>
#include <unistd.h>
#include <userlib.h>

enum { CONNECTIONS = 3 };

/* One of the many is ready; what they are has been noted when they were added. */
static int32_t serve_many(void* a_open, int32_t a_epoll, uint32_t a_unused) {
  struct epoll_event ready[16];
  const int count = epoll_wait(a_epoll, ready, 16, 0);
  (void)a_unused;
  for (int i = 0; i < count; ++i) {
    char text[32];
    const ssize_t length = read(ready[i].data.fd, text, sizeof text);
    if (length > 0) {
      printf("connection says: %.*s\n", (int)length, text);
    } else {
      epoll_ctl(a_epoll, EPOLL_CTL_DEL, ready[i].data.fd, NULL);
      close(ready[i].data.fd);
      --*(int*)a_open;
    }
  }
  return 0;
}

int main(void) {
  static Select loop;
  int open_ones = 0;
  const int many = epoll_create1(EPOLL_CLOEXEC);
  NUV_Select_construct(&loop);
  NUV_Select_setReadExternal(&loop, many, &open_ones, 0, serve_many);
  for (int i = 0; i < CONNECTIONS; ++i) {
    int ends[2];
    if (pipe(ends) != 0)
      return 1;
    struct epoll_event event = {.events = EPOLLIN, .data.fd = ends[0]};
    epoll_ctl(many, EPOLL_CTL_ADD, ends[0], &event);
    ++open_ones;
    if (write(ends[1], "hello", 5) != 5)
      return 1;
    close(ends[1]);
  }
  while (open_ones > 0)
    NUV_Select_process(&loop, NULL);
  puts("all are closed");
  NUV_Select_destruct(&loop);
  close(many);
  return 0;
}
