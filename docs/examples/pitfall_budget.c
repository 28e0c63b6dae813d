/* Timers beside a busy descriptor while there is an internal receiver, and the way round: make that one external. */
#include <stdio.h>
#include <userlib.h>

static Select loop;
static Pipe own_work, outside;
static unsigned descriptor_calls, timer_calls[2];

static int32_t on_descriptor(void* a_unused, int32_t a_fd, uint32_t a_number) {
  (void)a_unused, (void)a_fd, (void)a_number;
  ++descriptor_calls; /* and it stays readable */
  return 0;
}

/* The first timer is due in every turn. */
static int32_t on_time(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  const struct timeval at_once = {0, 0};
  (void)a_unused;
  ++timer_calls[a_number];
  return a_number == 0 ? NUV_Timer_again(a_remaining, at_once) : 0;
}

static void try_out(const char* a_how, int a_is_internal) {
  const struct timeval at_once = {0, 0};
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&own_work);
  NUV_Pipe_construct(&outside);
  NUV_Pipe_write(&outside, "x", 1);
  if (a_is_internal)
    NUV_Select_setRead(&loop, NUV_Pipe_readFd(&own_work), NULL, 0, on_descriptor);
  else
    NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&own_work), NULL, 0, on_descriptor);
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&outside), NULL, 0, on_descriptor);
  NUV_Select_setTimeout(&loop, at_once, NULL, 0, on_time);
  NUV_Select_setTimeout(&loop, at_once, NULL, 1, on_time);
  descriptor_calls = timer_calls[0] = timer_calls[1] = 0;
  for (int turn = 0; turn < 100; ++turn)
    NUV_Select_process(&loop, NULL);
  printf("%s: 100 turns, timers called %u and %u times, descriptor %u times\n", a_how, timer_calls[0], timer_calls[1],
         descriptor_calls);
  NUV_Pipe_destruct(&own_work);
  NUV_Pipe_destruct(&outside);
  NUV_Select_destruct(&loop);
}

int main(void) {
  try_out("with an internal receiver", 1);
  try_out("with external ones only", 0);
  return 0;
}
