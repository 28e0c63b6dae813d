/* A part of a daemon wakes another one. */
#include <errno.h>
#include <stdio.h>
#include <userlib.h>

static int32_t on_event(void* a_events, int32_t a_fd, uint32_t a_unused) {
  char event = 0;
  (void)a_fd;
  (void)a_unused;
  NUV_Pipe_read(a_events, &event, 1);
  printf("event %c\n", event);
  return 0;
}

int main(void) {
  static Select loop;
  NUV_Select_construct(&loop);
  Pipe events;
  if (!NUV_Pipe_construct(&events))
    return errno;
  NUV_Select_setRead(&loop, NUV_Pipe_readFd(&events), &events, 0, on_event);
  NUV_Pipe_write(&events, "x", 1);
  NUV_Select_process(&loop, NULL);
  NUV_Select_destruct(&loop);
  NUV_Pipe_destruct(&events);
  return 0;
}
