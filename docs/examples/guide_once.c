/* Two ways to serve a descriptor once: for one cycle, fired or not, and until it has fired. */
#include <stdio.h>
#include <userlib.h>

static Select loop;

static int32_t on_cycle(void* a_pipe, int32_t a_fd, uint32_t a_unused) {
  char byte = 0;
  (void)a_fd, (void)a_unused;
  NUV_Pipe_read(a_pipe, &byte, 1);
  printf("within its cycle: %c\n", byte);
  return 0;
}

static int32_t on_first(void* a_pipe, int32_t a_fd, uint32_t a_unused) {
  char byte = 0;
  (void)a_unused;
  NUV_Pipe_read(a_pipe, &byte, 1);
  printf("the first: %c\n", byte);
  NUV_Select_removeReadExternal(&loop, a_fd); /* its own receiver: that is always fine */
  return 0;
}

int main(void) {
  static Pipe pipe;
  const struct timeval no_wait = {0, 0};
  struct timeval wait = no_wait;
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&pipe);
  const int32_t fd = NUV_Pipe_readFd(&pipe);

  NUV_Select_setTempReadExternal(&loop, fd, &pipe, 0, on_cycle);
  NUV_Select_process(&loop, &wait); /* nothing there: the receiver is gone all the same */
  NUV_Pipe_write(&pipe, "abc", 3);
  wait = no_wait;
  NUV_Select_process(&loop, &wait);

  NUV_Select_setTempReadExternal(&loop, fd, &pipe, 0, on_cycle);
  NUV_Select_process(&loop, NULL);

  NUV_Select_setReadExternal(&loop, fd, &pipe, 0, on_first);
  NUV_Select_process(&loop, NULL);
  wait = no_wait;
  NUV_Select_process(&loop, &wait); /* "c" is still in the pipe, and nobody looks */
  NUV_Pipe_destruct(&pipe);
  NUV_Select_destruct(&loop);
  return 0;
}
