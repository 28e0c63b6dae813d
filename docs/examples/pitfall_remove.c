/* A callback that removes another receiver which is ready in the same turn, and the way round. */
#include <stdio.h>
#include <userlib.h>

static Select loop;
static Pipe first, second;
static unsigned first_calls, second_calls;

static int32_t on_second(void* a_unused, int32_t a_fd, uint32_t a_number) {
  (void)a_unused, (void)a_fd, (void)a_number;
  ++second_calls;
  return 0;
}

static int32_t hangs_up(void* a_unused, int32_t a_fd, uint32_t a_number) {
  (void)a_unused, (void)a_fd, (void)a_number;
  if (++first_calls == 1)
    NUV_Select_removeReadExternal(&loop, NUV_Pipe_readFd(&second)); /* it is ready, and its call is still owed */
  return 0;
}

static int32_t hang_up(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_unused, (void)a_remaining, (void)a_number;
  NUV_Select_removeReadExternal(&loop, NUV_Pipe_readFd(&second));
  return 0;
}

static int32_t hangs_up_later(void* a_unused, int32_t a_fd, uint32_t a_number) {
  const struct timeval soon = {0, 0};
  (void)a_unused, (void)a_fd, (void)a_number;
  ++first_calls;
  NUV_Select_setTempTimeout(&loop, soon, NULL, 0, hang_up); /* when the turn's callbacks have been made */
  return 0;
}

static void try_out(const char* a_how, NUV_SelectRecvFunc a_callback) {
  first_calls = second_calls = 0;
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&second), NULL, 0, on_second);
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&first), NULL, 0, a_callback);
  const int32_t ready = NUV_Select_process(&loop, NULL);
  printf("%s: %d ready, first called %u times, second %u times\n", a_how, (int)ready, first_calls, second_calls);
  NUV_Select_removeReadExternal(&loop, NUV_Pipe_readFd(&first));
}

int main(void) {
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&first);
  NUV_Pipe_construct(&second);
  NUV_Pipe_write(&first, "x", 1);
  NUV_Pipe_write(&second, "x", 1);
  try_out("removed at once", hangs_up);
  try_out("removed by a timer", hangs_up_later);
  NUV_Pipe_destruct(&first);
  NUV_Pipe_destruct(&second);
  NUV_Select_destruct(&loop);
  return 0;
}
